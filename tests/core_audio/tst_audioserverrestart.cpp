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
/// that was the first to make a sound is long gone.
void TestAudioServerRestart::restartedServer_isHeardAgain_byWhatIsOpenedThen()
{
    {
        AudioThread first;
        first.startThread();
        QVERIFY(queueOpen(first, "openAudioOutput"));
        first.stopThread();
    }
    std::array<AudioThread, 8> views;
    const auto openAll = [&] {
        for (AudioThread &view : views)
            queueOpen(view, "openAudioOutput");
    };
    for (AudioThread &view : views) {
        view.startThread();
        if (&view != &views.front())
            QVERIFY(queue(view, "receiveMuted", true));
    }
    openAll();
    QVERIFY(queueOpen(views.back(), "openAudioInput"));

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
                    for (AudioThread &view : views)
                        queue(view, "play", block);
                }
                return isEnough();
            },
            60000);
    };
    double hertz = 440;
    for (int round = 0; round < 3; ++round, hertz *= 1.5) {
        {
            SinkRecorder recorder;
            QVERIFY(recorder.waitUntilRunning());
            QElapsedTimer opened;
            opened.start();
            // Qt comes back to the server some seconds after it has gone.
            QVERIFY2(playUntil(hertz,
                               [&] {
                                   if (round > 0 && opened.elapsed() > 1000) {
                                       openAll();
                                       opened.start();
                                   }
                                   return hasTone(recorder.last(kHeardLately), kRecordedRate,
                                                  hertz);
                               }),
                     qPrintable(QString::number(round)));
        }
        pulse.freeze(); // full, and nobody writes when it goes
        QElapsedTimer frozen;
        frozen.start();
        QVERIFY(playUntil(hertz, [&] { return frozen.elapsed() > 1000; }));
        pulse.kill();
        QVERIFY(queue(views.back(), "closeAudioInput"));
        QVERIFY2(pulse.start(), qPrintable(pulse.log()));
    }
    for (AudioThread &view : views)
        view.stopThread();
}

QTEST_GUILESS_MAIN(TestAudioServerRestart)
#include "tst_audioserverrestart.moc"
