// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The sound of simulated devices on its way through live widgets to a real sound server: of the
// stream that is shown, and of no other.
#include "devicelink/hnetdevice.h"
#include "livecase.h"
#include "support/privatepulse.h"
#include "support/tone.h"

using namespace vantratest;
using namespace vantrasim;

namespace {

constexpr int kMainHertz = 440;
constexpr int kSubHertz = 1000;
constexpr int kHeardLateMs = 200;
constexpr int kHeardMs = 60000; ///< safeguard
constexpr int kRate = SinkRecorder::kSampleRate;

} // namespace

class TestLiveSound : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override
    {
        announceRtspStop(log.get());
        QVERIFY(Vantra::init());
        recorder = std::make_unique<SinkRecorder>();
        QVERIFY(recorder->waitUntilRunning());
    }
    void tearDown() override
    {
        recorder.reset();
        Vantra::release();
    }

private slots:
    void initTestCase()
    {
        quietConsole();
        QVERIFY2(pulse.start(), qPrintable(pulse.log()));
    }

    void sound_isThatOfTheShownStream_data();
    void sound_isThatOfTheShownStream();
    void sound_ofAStreamThatAnotherWidgetShows_isNotHeardHere();

private:
    DeviceConfig twoTones(HTransportProtocol protocol)
    {
        DeviceConfig config = smallDevice(protocol, 1, 2);
        config.channels[0].streams[0].audio.hertz = kMainHertz;
        config.channels[0].streams[1].audio.hertz = kSubHertz;
        return config;
    }
    /// Waits until this tone is heard and hardly anything else.
    bool isHeard(double hertz)
    {
        return waitFor(
            [&] { return bestTone(recorder->last(kHeardLateMs), kRate, hertz).purity > 0.98; },
            kHeardMs);
    }
    bool isSilent()
    {
        return waitFor(
            [&] {
                const QByteArray last = recorder->last(kHeardLateMs);
                return !last.isEmpty() &&
                       std::all_of(last.begin(), last.end(), [](char byte) { return byte == 0; });
            },
            kHeardMs);
    }

    PrivatePulse pulse;
    std::unique_ptr<SinkRecorder> recorder;
};

void TestLiveSound::sound_isThatOfTheShownStream_data()
{
    QTest::addColumn<int>("protocol");
    QTest::newRow("orvo") << int(HTransportOrvo);
    QTest::newRow("zelk") << int(HTransportZelk);
}

void TestLiveSound::sound_isThatOfTheShownStream()
{
    QFETCH(int, protocol);
    const auto transport = static_cast<HTransportProtocol>(protocol);
    const Simulation sim = simulateDevice(twoTones(transport));
    LiveView view(transport);
    QVERIFY(view.begin(sim.device, 0, 0));
    view.setMuted(false);
    QVERIFY(isHeard(kMainHertz));
    view.look(1);
    QVERIFY(isHeard(kSubHertz));
    view.look(0);
    QVERIFY(isHeard(kMainHertz));
    view.playStop(true);
    QVERIFY(isSilent());
    view.look(1);
    QVERIFY(isHeard(kSubHertz));
}

/// Both streams are decoded then, and both widgets are joined to both.
void TestLiveSound::sound_ofAStreamThatAnotherWidgetShows_isNotHeardHere()
{
    const Simulation sim = simulateDevice(twoTones(HTransportOrvo));
    LiveView main;
    LiveView sub;
    QVERIFY(main.begin(sim.device, 0, 0));
    QVERIFY(sub.begin(sim.device, 0, 1));
    QVERIFY(sub.showsMore());
    main.setMuted(false);
    QVERIFY(isHeard(kMainHertz));
    main.setMuted(true);
    QVERIFY(isSilent());
    sub.setMuted(false);
    QVERIFY(isHeard(kSubHertz));
}

QTEST_MAIN(TestLiveSound)
#include "tst_livesound.moc"
