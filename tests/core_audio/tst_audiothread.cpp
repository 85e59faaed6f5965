// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "workerprobe.h"

#include "core_audio/audioplayer.h"
#include "core_codec/mediacodec.h"
#include "support/loggedtest.h"
#include "support/metaobject.h"
#include "support/privatepulse.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include <QAudioInput>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <atomic>

using namespace vantratest;

/// The worker thread with a real sound server.
class TestAudioThread : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void signalsAndSlots_standInOrder();
    void encoder_standsFromBirth_forTalk();
    void encoder_staysAlive_afterDestruction();
    void controls_answerFalseOrZero_withoutPlayer();
    void play_doesNothing_beforeTheThreadRuns();
    void play_doesNothing_whenQueuedBeforeTheStart();
    void player_standsOnceStarted();

    void play_reachesTheSpeaker_throughQueuedCalls();
    void muted_silencesSpeakerAndMicrophone();
    void volume_isSetAndReadAcrossThreads();
    void level_isSetAcrossThreads_byBothNames();
    void level_isNeverPassedOn();
    void closing_endsOutputAndInput();
    void slots_runOnTheWorker();
    void microphone_reachesTheOverride_onTheWorker();
    void talkOperations_areEmpty();

private:
    PrivatePulse pulse;
};

void TestAudioThread::initTestCase()
{
    QVERIFY2(pulse.start(), qPrintable(pulse.log()));
}

void TestAudioThread::signalsAndSlots_standInOrder()
{
    const QMetaObject &meta = AudioThread::staticMetaObject;
    QCOMPARE(methodsOf(meta, QMetaMethod::Signal),
             QStringList({"receiveLevel(double)", "sig_startTalkDeviceBusy(QString)",
                          "sig_startTalkError(QString)"}));
    QCOMPARE(methodsOf(meta, QMetaMethod::Slot),
             QStringList({"openAudioOutput(int,int,int)", "closeAudioOutput()", "play(QByteArray)",
                          "receiveVolume(int)", "receiveMuted(bool)", "openAudioInput(int,int,int)",
                          "closeAudioInput()", "receiveInputData(QByteArray)", "startTalk()",
                          "stopTalk()", "onStarted()", "onStoped()"}));
}

void TestAudioThread::encoder_standsFromBirth_forTalk()
{
    Probe audio;
    QVERIFY(audio.codec);
    // 40 ms of 8000 Hz mono in 16 bits become one byte per sample; silence is 0xd5 in A-law.
    QByteArray silence(640, '\0');
    _tag_audio_frame_s frame{};
    QVERIFY(audio.codec->encodeAudioFrame(reinterpret_cast<unsigned char *>(silence.data()),
                                          unsigned(silence.size()), 7, &frame));
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(frame.data), int(frame.size)),
             QByteArray(320, char(0xd5)));
    QCOMPARE(frame.pts, uint64_t(7));
}

void TestAudioThread::encoder_staysAlive_afterDestruction()
{
    // Intended: the codec goes without its destroy operations, so what an encoder has lent stays
    // valid until the process ends. The sanitizer would tell otherwise.
    _tag_audio_frame_s frame{};
    {
        Probe audio;
        QByteArray silence(640, '\0');
        QVERIFY(audio.codec->encodeAudioFrame(reinterpret_cast<unsigned char *>(silence.data()),
                                              unsigned(silence.size()), 0, &frame));
    }
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(frame.data), int(frame.size)),
             QByteArray(320, char(0xd5)));
}

void TestAudioThread::controls_answerFalseOrZero_withoutPlayer()
{
    AudioThread audio;
    audio.setLevel(true);
    audio.setCalcLevel(true);
    QVERIFY(!audio.getLevel());
    QVERIFY(!audio.getMuted());
    QCOMPARE(audio.getVolume(), 0);
    audio.openAudioOutput(kRate, 1, 16);
    audio.openAudioInput(kRate, 1, 16);
    audio.receiveVolume(50);
    audio.receiveMuted(true);
    audio.closeAudioOutput();
    audio.closeAudioInput();
    QVERIFY(!audio.getMuted());
    QCOMPARE(audio.getVolume(), 0);
}

void TestAudioThread::play_doesNothing_beforeTheThreadRuns()
{
    AudioThread audio;
    QSignalSpy level(&audio, &AudioThread::receiveLevel);
    audio.play(QByteArray(320, '\x40'));
    QVERIFY(level.isEmpty());
    QCOMPARE(audio.getVolume(), 0);
    QCOMPARE(audio.QObject::thread(), QThread::currentThread());
}

void TestAudioThread::play_doesNothing_whenQueuedBeforeTheStart()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    Probe audio;
    for (int block = 0; block < 50; ++block)
        QVERIFY(queue(audio, "play",
                      sinePcm(880.0, kRate, kBlockFrames, 0.5, 1, block * kBlockFrames)));
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(playUntilHeard(audio, recorder, 440.0));
    QVERIFY(!hasTone(recorder.pcm(), kRecordedRate, 880.0));
}

void TestAudioThread::player_standsOnceStarted()
{
    Probe audio;
    audio.startThread();
    QVERIFY(audio.QObject::thread() != QThread::currentThread());
    // A player without an output answers 100; no player would answer 0.
    QVERIFY(waitFor([&] { return audio.getVolume() == 100; }));
    QVERIFY(!audio.getLevel());
    audio.stopThread();
    QCOMPARE(audio.getVolume(), 0);
}

void TestAudioThread::play_reachesTheSpeaker_throughQueuedCalls()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    Probe audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(playUntilHeard(audio, recorder, 440.0));
    const double hertz = zeroCrossingHertz(recorder.last(kHeardLately / 2), kRecordedRate);
    QVERIFY2(qAbs(hertz - 440.0) < 5.0, qPrintable(QString::number(hertz)));
}

void TestAudioThread::muted_silencesSpeakerAndMicrophone()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    Probe audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(audio.showPlayer());
    QVERIFY(queue(audio, "receiveMuted", true));
    QVERIFY(audio.settle());
    const int heardBefore = audio.inputBytes;
    for (int block = 0; block < 50; ++block)
        QVERIFY(queue(audio, "play",
                      sinePcm(880.0, kRate, kBlockFrames, 0.5, 1, block * kBlockFrames)));
    // The microphone is read on: what it has delivered grows, and none of it arrives.
    QAudioInput *input = audio.input;
    qint64 processed = 0;
    audio.onTalk = [&] { processed = input->processedUSecs(); };
    QVERIFY(audio.settle());
    const qint64 processedBefore = processed;
    QVERIFY(waitFor([&] { return audio.settle() && processed > processedBefore + 200000; }));
    QCOMPARE(int(audio.inputBytes), heardBefore);

    QVERIFY(queue(audio, "receiveMuted", false));
    QVERIFY(playUntilHeard(audio, recorder, 1320.0));
    QVERIFY(!hasTone(recorder.pcm(), kRecordedRate, 880.0));
    QVERIFY(waitFor([&] { return audio.inputBytes > heardBefore; }));
}

void TestAudioThread::volume_isSetAndReadAcrossThreads()
{
    Probe audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(queue(audio, "receiveVolume", 0));
    QVERIFY(waitFor([&] { return audio.getMuted(); }));
    QCOMPARE(audio.getVolume(), 0);
    QVERIFY(queue(audio, "receiveVolume", 100));
    QVERIFY(waitFor([&] { return audio.getVolume() == 100; }));
    QVERIFY(!audio.getMuted());
    // The mute flag is another thing than a volume of 0.
    QVERIFY(queue(audio, "receiveMuted", true));
    QVERIFY(audio.settle());
    QVERIFY(!audio.getMuted());
    QVERIFY(queue(audio, "closeAudioOutput"));
    QVERIFY(queue(audio, "receiveVolume", 0));
    QVERIFY(audio.settle());
    QCOMPARE(audio.getVolume(), 100);
}

void TestAudioThread::level_isSetAcrossThreads_byBothNames()
{
    Probe audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(audio.showPlayer());
    QList<double> levels;
    QSemaphore told;
    connect(audio.seenPlayer.load(), &AudioPlayer::receiveLevel, audio.seenPlayer.load(),
            [&](double level) {
                levels.append(level);
                told.release();
            });
    const QByteArray half = QByteArray::fromHex("0040");
    QVERIFY(queue(audio, "play", half));
    QVERIFY(audio.settle());
    audio.setCalcLevel(true);
    QVERIFY(audio.getLevel());
    QVERIFY(queue(audio, "play", half));
    QVERIFY(told.tryAcquire(1, 20000));
    audio.setLevel(false);
    QVERIFY(!audio.getLevel());
    QVERIFY(queue(audio, "play", half));
    QVERIFY(audio.settle());
    audio.setLevel(true);
    QVERIFY(audio.getLevel());
    audio.setCalcLevel(false);
    QVERIFY(!audio.getLevel());
    audio.stopThread();
    QCOMPARE(levels, QList<double>({16384.0 / 32767.0}));
}

void TestAudioThread::level_isNeverPassedOn()
{
    // Intended: the signal stands for hosts, and the level of the player does not reach it.
    Probe audio;
    std::atomic<int> passedOn{0};
    connect(
        &audio, &AudioThread::receiveLevel, &audio, [&] { ++passedOn; }, Qt::DirectConnection);
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(audio.settle());
    audio.setLevel(true);
    QVERIFY(queue(audio, "play", QByteArray(320, '\x40')));
    QVERIFY(audio.settle());
    audio.stopThread();
    QCOMPARE(int(passedOn), 0);
}

void TestAudioThread::closing_endsOutputAndInput()
{
    Probe audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(audio.showPlayer());
    AudioPlayer *player = audio.seenPlayer;
    bool output = false;
    bool input = false;
    audio.onTalk = [&] {
        output = player->getAudioOutput();
        input = player->getAudioInput();
    };
    QVERIFY(audio.settle());
    QVERIFY(output && input);
    QVERIFY(queue(audio, "closeAudioOutput"));
    QVERIFY(audio.settle());
    QVERIFY(!output && input);
    QVERIFY(queue(audio, "closeAudioInput"));
    QVERIFY(audio.settle());
    QVERIFY(!output && !input);
    const int heard = audio.inputBytes;
    QVERIFY(audio.settle());
    QCOMPARE(int(audio.inputBytes), heard);
}

void TestAudioThread::slots_runOnTheWorker()
{
    Probe audio;
    audio.startThread();
    QThread *worker = audio.QObject::thread();
    QVERIFY(audio.settle());
    QVERIFY(queue(audio, "stopTalk"));
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(audio.showPlayer());
    QCOMPARE(audio.talkThread.load(), worker);
    QCOMPARE(audio.stopTalkThread.load(), worker);
    QCOMPARE(audio.playerThread.load(), worker);
    QCOMPARE(audio.input.load()->thread(), worker);
    QCOMPARE(audio.output.load()->thread(), worker);
    QVERIFY(worker != QThread::currentThread());
}

void TestAudioThread::microphone_reachesTheOverride_onTheWorker()
{
    Probe audio;
    audio.startThread();
    QVERIFY(audio.showPlayer());
    QCOMPARE(audio.inputThread.load(), audio.QObject::thread());
    QVERIFY(audio.inputThread != QThread::currentThread());
}

void TestAudioThread::talkOperations_areEmpty()
{
    AudioThread audio;
    QSignalSpy busy(&audio, &AudioThread::sig_startTalkDeviceBusy);
    QSignalSpy error(&audio, &AudioThread::sig_startTalkError);
    const int lines = log->lines().size();
    audio.startTalk();
    audio.receiveInputData(QByteArray(320, '\0'));
    audio.stopTalk();
    QVERIFY(busy.isEmpty());
    QVERIFY(error.isEmpty());
    QCOMPARE(log->lines().size(), lines);
}

QTEST_GUILESS_MAIN(TestAudioThread)
#include "tst_audiothread.moc"
