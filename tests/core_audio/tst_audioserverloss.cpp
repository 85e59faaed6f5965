// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "audiocalls.h"
#include "core_audio/audioplayer.h"
#include "core_audio/audiothread.h"
#include "support/loggedtest.h"
#include "support/privatepulse.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include <QAudioInput>
#include <QAudioOutput>
#include <QTest>

#include <functional>

using namespace vantratest;

/// A sound server that hangs for a while and then is gone. The tests stand in the order of a story:
/// the last ones have no server.
class TestAudioServerLoss : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void frozenServer_leavesTheOwnerFree_andSoundComesBack();
    void vanishedServer_endsSound_withoutHarm();
    void vanishedServer_refusesWhatIsOpenedLater();

private:
    PrivatePulse pulse;
};

void TestAudioServerLoss::initTestCase()
{
    QVERIFY2(pulse.start(), qPrintable(pulse.log()));
}

void TestAudioServerLoss::frozenServer_leavesTheOwnerFree_andSoundComesBack()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    AudioThread audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    qint64 frame = 0;
    const auto playOn = [&](double hertz, int milliseconds) {
        QElapsedTimer clock;
        clock.start();
        const qint64 start = frame;
        return waitFor([&] {
            for (; (frame - start) * 1000 / kRate < clock.elapsed() + 100; frame += kBlockFrames)
                queue(audio, "play", sinePcm(hertz, kRate, kBlockFrames, 0.5, 1, frame));
            return milliseconds ? clock.elapsed() > milliseconds
                                : hasTone(recorder.last(200), SinkRecorder::kSampleRate, hertz);
        });
    };
    QVERIFY(playOn(440.0, 0));
    pulse.freeze();
    QVERIFY(playOn(660.0, 1500)); // longer than every buffer on the way
    // This hangs on the worker, and only there.
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    audio.setCalcLevel(true);
    QVERIFY(audio.getLevel());
    QCOMPARE(audio.getVolume(), 100);
    pulse.thaw();
    QVERIFY(playOn(880.0, 0));
    audio.stopThread();
}

void TestAudioServerLoss::vanishedServer_endsSound_withoutHarm()
{
    CountingThread audio;
    audio.startThread();
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    player.openAudioInput(kRate, 1, 16);
    QVERIFY(player.isPlaying());
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(queueOpen(audio, "openAudioInput"));
    // Not before: Qt waits for ever on a server that goes while it is being asked to open.
    QVERIFY(audio.settle());
    const QByteArray block(kBlockFrames * 2, '\x10');
    player.play(block.constData(), block.size());

    // Full when the server goes: Qt keeps the lock of its connection for ever if the server is gone
    // between the question for room and the write.
    pulse.freeze();
    int told = 0;
    connect(&player, &AudioPlayer::receiveOutputData, this, [&] { ++told; });
    const auto playUntil = [&](const std::function<bool()> &isEnough) {
        told = 0;
        return waitFor([&] {
            player.play(block.constData(), block.size());
            queue(audio, "play", block);
            return isEnough() && told > 200;
        });
    };
    QVERIFY(playUntil([&] { return player.getAudioOutput()->bytesFree() == 0; }));
    QVERIFY(audio.settle());
    pulse.kill();
    QVERIFY(playUntil([&] { return !player.isPlaying(); }));
    audio.setCalcLevel(true);
    QVERIFY(queueOpen(audio, "openAudioInput"));
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(queue(audio, "play", block));
    audio.stopThread();
    player.closeAudioInput();
    player.closeAudioOutput();
    player.play(block.constData(), block.size());
    QCOMPARE(audio.getVolume(), 0);
}

void TestAudioServerLoss::vanishedServer_refusesWhatIsOpenedLater()
{
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    player.openAudioInput(kRate, 1, 16);
    QVERIFY(!player.isPlaying());
    int told = 0;
    connect(&player, &AudioPlayer::receiveOutputData, this, [&] { ++told; });
    const QByteArray block(kBlockFrames * 2, '\x10');
    player.play(block.constData(), block.size());
    QCOMPARE(told, 0);

    AudioThread audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(queue(audio, "play", block));
    QVERIFY(waitFor([&] { return audio.getVolume() > 0; }));
    audio.stopThread();
}

QTEST_GUILESS_MAIN(TestAudioServerLoss)
#include "tst_audioserverloss.moc"
