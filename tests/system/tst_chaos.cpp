// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A host that does anything, on devices in which everything fails, for a while; and from time to
// time nothing fails, and then all must be as it should be. VANTRA_TEST_SEED repeats a run,
// VANTRA_CHAOS_SECONDS makes it longer.
#include "chaoshost.h"
#include "devicelink/hnetdevice.h"
#include "support/privatepulse.h"
#include "support/processload.h"
#include "support/seed.h"
#include "support/watchdog.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <limits>

#include <malloc.h>

using namespace vantratest;
using namespace vantrasim;

namespace {

constexpr int kDefaultSeconds = 60;
constexpr int kActsPerRound = 60;
constexpr int kDeadMs = 120000; ///< longer than a round may take to settle
constexpr int kLastActs = 30;   ///< told when a run fails, and what was logged last
constexpr int kLastLines = 200;
constexpr int kFewThreads = 4; ///< of what plays and records sound, which stay
constexpr int kFewHandles = 6;
// A round starts some widgets, each of which leaves an encoder in its registry.
constexpr qint64 kKeptKiB = 96 * 1024;
constexpr qint64 kKeptPerRoundKiB = 64;

const QVector<FrameFault> kFrameFaults{
    FrameFault::ReadError,       FrameFault::StampForward,   FrameFault::StampBack,
    FrameFault::StampRepeat,     FrameFault::HeaderTooSmall, FrameFault::HeaderTooLarge,
    FrameFault::OtherSize,       FrameFault::Garbage,        FrameFault::Truncated,
    FrameFault::Empty,           FrameFault::UnknownType,    FrameFault::UnknownCodec,
    FrameFault::NoParameterSets, FrameFault::Lost,           FrameFault::Repeated,
    FrameFault::Swapped};

/// Fails in random ways. What it does follows from its seed alone.
class ChaosDevices
{
public:
    ChaosDevices(const std::vector<Simulation> &devices, unsigned seed)
        : m_devices(devices), m_random(seed)
    {
    }

    QString act()
    {
        // All is drawn before anything is looked at, so that a seed means the same faults always.
        const auto index = size_t(draw(int(m_devices.size())));
        const int what = draw(9);
        Detail detail(m_random());
        DeviceControl &control = *m_devices[index].control;
        switch (what) {
        case 0:
        case 1:
            control.faults().strikeAtRandom(detail.seed(), 0.002 * detail.draw(40), kFrameFaults);
            break;
        case 2:
        case 3:
            refuse(&control, &detail);
            break;
        case 4:
            control.loseConnection(50 + detail.draw(2000));
            break;
        case 5:
            control.setStalled(detail.draw(3) != 0);
            break;
        case 6:
            changeForm(&control, &detail);
            break;
        default:
            control.faults().clear();
            break;
        }
        return QStringLiteral("device %1: %2, %3").arg(index).arg(what).arg(detail.seed());
    }

    /// From now on nothing fails.
    void heal()
    {
        for (const Simulation &device : m_devices) {
            device.control->faults().clear();
            device.control->setStalled(false);
            device.control->restoreConnection();
        }
    }

private:
    int draw(int below) { return int(m_random() % unsigned(below)); }

    static void refuse(DeviceControl *control, Detail *detail)
    {
        const QVector<DeviceOp> operations{DeviceOp::enableMediaTransmit,
                                           DeviceOp::requestVideoIFrame,
                                           DeviceOp::getCodecInfo,
                                           DeviceOp::vodStart,
                                           DeviceOp::vodPause,
                                           DeviceOp::vodSeek,
                                           DeviceOp::vodDownloadStart,
                                           DeviceOp::vodGetDownloadSdp,
                                           DeviceOp::startTalk};
        const QVector<HRetError> answers{HRetExceedMax, HRetTimeout, HRetAlready, HRetEndOfFile};
        const DeviceOp operation = operations.at(detail->draw(operations.size()));
        const HRetError answer = answers.at(detail->draw(answers.size()));
        control->faults().refuse(operation, answer, 1 + detail->draw(5));
    }

    static void changeForm(DeviceControl *control, Detail *detail)
    {
        const int channel = detail->draw(2);
        const int stream = detail->draw(2);
        StreamConfig form = control->config().channels.at(channel).streams.at(stream);
        if (detail->draw(3) != 0) {
            form.video.codec = detail->draw(2) ? HCodecH264 : HCodecH265;
            form.audio.codec = detail->draw(3) ? HCodecG711U : 0;
            form.video.width = 192;
            form.video.height = 108;
        }
        control->setForm(channel, stream, form);
    }

    const std::vector<Simulation> m_devices;
    std::mt19937 m_random;
};

DeviceConfig deviceNumber(int number, HTransportProtocol protocol)
{
    DeviceConfig config = smallDevice(protocol, 2, 2);
    config.number = number;
    config.queueMs = 2000;
    config.mostPlaybacks = 2;
    config.mostDownloads = 1;
    return config;
}

} // namespace

class TestChaos : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override
    {
        // Anything may be told, as long as we tell it.
        for (const Logger::LogLevel level : {Logger::Warning, Logger::Error})
            log->expectMatching(level, QRegularExpression(QStringLiteral("^\\(\\w+\\)")));
        QVERIFY(Vantra::init());
    }
    void tearDown() override { Vantra::release(); }

private slots:
    void initTestCase()
    {
        QVERIFY2(pulse.start(), qPrintable(pulse.log())); // talk needs a microphone
        quietConsole();
    }

    void everythingFails_andIsWellAgain_whenNothingFails();

private:
    PrivatePulse pulse;
};

void TestChaos::everythingFails_andIsWellAgain_whenNothingFails()
{
    const unsigned seed = seedOfThisRun();
    bool isSet = false;
    const int wanted = qEnvironmentVariableIntValue("VANTRA_CHAOS_SECONDS", &isSet);
    const qint64 lastMs = qint64(isSet ? wanted : kDefaultSeconds) * 1000;

    const QTemporaryDir folder;
    std::vector<Simulation> devices;
    const std::vector<HTransportProtocol> protocols{HTransportOrvo, HTransportZelk, HTransportRtsp};
    for (const HTransportProtocol protocol : protocols)
        devices.push_back(simulateDevice(deviceNumber(int(devices.size()) + 1, protocol)));
    devices.back().device->getRtspUrls(); // starts the server
    const ProcessLoad before = ProcessLoad::now();

    QStringList told;
    QString fault;
    int rounds = 0;
    {
        ChaosDevices breaker(devices, seed + 1);
        ChaosHost host(devices, folder.path(), seed);
        Watchdog dog(kDeadMs);
        QElapsedTimer timer;
        timer.start();
        std::mt19937 pace(seed + 2);
        while (fault.isEmpty() && timer.elapsed() < lastMs) {
            Heartbeat heart;
            for (int i = 0; i < kActsPerRound; ++i) {
                // The end of the library waits for its threads: that is the host's own doing.
                told << heart.leaveOut([&] { return host.act(); });
                if (pace() % 4 == 0)
                    told << breaker.act();
                while (told.size() > kLastActs)
                    told.removeFirst();
                dog.feed();
                QElapsedTimer pause;
                pause.start();
                const int ms = int(pace() % 60);
                do {
                    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
                } while (pause.elapsed() < ms);
            }
            breaker.heal();
            if (heart.longestGap() >= kFrozenMs)
                fault = QStringLiteral("frozen for %1 ms").arg(heart.longestGap());
            host.revive();
            if (fault.isEmpty())
                fault = host.settle();
            dog.feed();
            ++rounds;
            const auto lines = log->lines();
            for (int i = fault.isEmpty() ? lines.size() : qMax(0, lines.size() - kLastLines);
                 i < lines.size(); ++i)
                told << lines.at(i).text;
            log->clear();
        }
        breaker.heal();
        if (fault.isEmpty())
            fault = host.finish();
    }
    const qint64 keptKiB = ProcessLoad::now().heapKiB - before.heapKiB;
    qInfo("%d rounds, %d files, %d KiB kept", rounds, int(filesBelow(folder.path()).size()),
          int(keptKiB));
    if (!fault.isEmpty())
        fprintf(stderr, "what went before:\n%s\n", qPrintable(told.join(QLatin1Char('\n'))));
    QVERIFY2(fault.isEmpty(),
             qPrintable(QStringLiteral("seed %1, round %2: %3").arg(seed).arg(rounds).arg(fault)));
    QCOMPARE(loadLeftBehind(before, kFewThreads, kFewHandles), QString());
    QVERIFY2(keptKiB < kKeptKiB + rounds * kKeptPerRoundKiB,
             qPrintable(QStringLiteral("%1 KiB after %2 rounds").arg(keptKiB).arg(rounds)));
    Vantra::init();
}

int main(int argc, char *argv[])
{
    // The watchdog looks after what hangs; a run may take as long as one likes.
    qputenv("QTEST_FUNCTION_TIMEOUT", QByteArray::number(std::numeric_limits<int>::max()));
    QApplication app(argc, argv);
    TestChaos test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_chaos.moc"
