// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "audiocalls.h"
#include "core_audio/audiothread.h"
#include "support/loggedtest.h"
#include "support/privatepulse.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include <QElapsedTimer>
#include <QTest>

#include <array>
#include <functional>

using namespace vantratest;

namespace {

constexpr int kPatienceMs = 60000;
constexpr int kOpenEveryMs = 4000; ///< so that what has been opened is heard before it is again

} // namespace

/// A wall of views whose sound server is started anew, more than once.
class TestAudioServerRestart : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void restartedServer_isHeardAgain_byWhatIsOpenedThen();

private:
    PrivatePulse pulse;
};

void TestAudioServerRestart::initTestCase()
{
    QVERIFY2(pulse.start(), qPrintable(pulse.log()));
}

/// Nobody asks the server while it is away: Qt waits for ever on one that goes meanwhile. The view
/// that was the first to make a sound is long gone, and one goes on with what it had.
void TestAudioServerRestart::restartedServer_isHeardAgain_byWhatIsOpenedThen()
{
    {
        CountingThread first;
        first.startThread();
        QVERIFY(queueOpen(first, "openAudioOutput"));
        QVERIFY(first.settle());
        first.stopThread();
    }
    std::array<CountingThread, 8> views;
    CountingThread &heard = views.front();
    CountingThread &deaf = views.back();
    for (CountingThread &view : views) {
        view.startThread();
        QVERIFY(queueOpen(view, "openAudioOutput"));
        QVERIFY(&view == &heard || queue(view, "receiveMuted", true));
    }

    qint64 frame = 0;
    const auto playUntil = [&](double hertz, const std::function<bool()> &isEnough) {
        QElapsedTimer clock;
        clock.start();
        const qint64 start = frame;
        return waitFor(
            [&] {
                for (; (frame - start) * 1000 / kRate < clock.elapsed() + 100;
                     frame += kBlockFrames) {
                    const QByteArray block = sinePcm(hertz, kRate, kBlockFrames, 0.5, 1, frame);
                    for (CountingThread &view : views)
                        queue(view, "play", block);
                }
                return isEnough();
            },
            kPatienceMs);
    };
    double hertz = 440;
    for (int round = 0; round < 3; ++round, hertz *= 1.5) {
        QVERIFY(queueOpen(deaf, "openAudioInput"));
        {
            SinkRecorder recorder;
            QVERIFY(recorder.waitUntilRunning());
            QElapsedTimer opened;
            opened.start();
            const auto isHeard = [&] {
                // Qt comes back to the server some seconds after it has gone.
                if (round > 0 && opened.elapsed() > kOpenEveryMs * kSlowness) {
                    for (CountingThread &view : views) {
                        if (&view != &deaf)
                            queueOpen(view, "openAudioOutput");
                    }
                    opened.start();
                }
                return hasTone(recorder.last(kHeardLately), kRecordedRate, hertz);
            };
            QVERIFY2(playUntil(hertz, isHeard), qPrintable(QString::number(round)));
        }
        pulse.freeze(); // full, and nobody writes when it goes
        QElapsedTimer frozen;
        frozen.start();
        QVERIFY(playUntil(hertz, [&] { return frozen.elapsed() > 1000; }));
        for (CountingThread &view : views)
            QVERIFY(view.settle());
        pulse.kill();
        QVERIFY(queue(deaf, "closeAudioInput"));
        QVERIFY2(pulse.start(), qPrintable(pulse.log()));
    }
}

QTEST_GUILESS_MAIN(TestAudioServerRestart)
#include "tst_audioserverrestart.moc"
