// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/audiothread.h"

#include "audiocalls.h"
#include "core_audio/audioplayer.h"
#include "core_codec/mediacodec.h"
#include "support/loggedtest.h"
#include "support/metaobject.h"
#include "support/privatepulse.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include <QAudioInput>
#include <QAudioOutput>
#include <QDir>
#include <QPointer>
#include <QSemaphore>
#include <QSharedPointer>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <functional>
#include <thread>

#include <malloc.h>

using namespace vantratest;

namespace {

constexpr int kBlockMilliseconds = 20;

/// An AudioThread that notes what its overrides see, on the worker.
class Probe final : public AudioThread
{
public:
    ~Probe() override { stopThread(); }

    void receiveInputData(const QByteArray &data) override
    {
        if (auto *player = qobject_cast<AudioPlayer *>(sender())) {
            seenPlayer = player;
            playerThread = player->thread();
            input = player->getAudioInput();
            output = player->getAudioOutput();
        }
        inputThread = QThread::currentThread();
        inputBytes += data.size();
    }

    void startTalk() override
    {
        talkThread = QThread::currentThread();
        entered.release();
        if (onTalk)
            onTalk();
        left.release();
    }

    void stopTalk() override { stopTalkThread = QThread::currentThread(); }

    using AudioThread::codec;

    /// Opens the microphone and waits for a block, which shows the player.
    bool showPlayer()
    {
        const int before = inputBytes;
        return queueOpen(*this, "openAudioInput") && waitFor([&] { return inputBytes > before; });
    }

    /// Waits until everything queued so far has run.
    bool settle()
    {
        const int before = left.available();
        if (!queue(*this, "startTalk") || !waitFor([&] { return left.available() > before; }))
            return false;
        left.acquire(); // orders what onTalk() has noted, as a look at the count does not
        left.release();
        return true;
    }

    std::atomic<AudioPlayer *> seenPlayer{nullptr};
    std::atomic<QThread *> playerThread{nullptr};
    std::atomic<QAudioInput *> input{nullptr};
    std::atomic<QAudioOutput *> output{nullptr};
    std::atomic<QThread *> inputThread{nullptr};
    std::atomic<QThread *> talkThread{nullptr};
    std::atomic<QThread *> stopTalkThread{nullptr};
    std::atomic<int> inputBytes{0};
    QSemaphore entered;
    std::function<void()> onTalk;
    QSemaphore left;
};

/// Queues a sine in real time, as a stream thread does, until the recorder hears it.
bool playUntilHeard(AudioThread &audio, SinkRecorder &recorder, double hertz)
{
    QElapsedTimer clock;
    clock.start();
    qint64 frame = 0;
    return waitFor([&] {
        // A little ahead of the clock, so that the output does not run dry.
        const qint64 due = clock.elapsed() + 100;
        for (; frame * 1000 / kRate < due; frame += kBlockFrames)
            queue(audio, "play", sinePcm(hertz, kRate, kBlockFrames, 0.5, 1, frame));
        return hasTone(recorder.last(kHeardLately), kRecordedRate, hertz);
    });
}

int entriesOf(const char *folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System).size();
}

} // namespace

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

    void stop_returnsAtOnce_whenNotStarted();
    void stop_returnsAtOnce_whenStoppedTwice();
    void stop_waits_whileTheWorkerIsBusy();
    void stop_leavesNothingPlaying_withQueuedPlays();
    void stop_releasesDevicesAndPlayer_beforeItReturns();
    void restart_bringsANewPlayer_notMutedAndNotMeasuring();
    void restart_playsAgain();
    void start_changesNothing_whenRunning();
    void rounds_leaveThreadsHandlesAndMemoryFlat();
    void flags_mayBeSetFromOutside_whileThePlayerComesAndGoes();

    void destruction_stopsARunningThread();
    void destruction_stopsAThreadThatHasHardlyStarted();
    void destruction_waits_whileTheWorkerEndsByItself();
    void destruction_onItsOwnWorker_isSurvived();
    void destruction_queuedAtTheEndOfTheWorker_isSurvived();

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

void TestAudioThread::stop_returnsAtOnce_whenNotStarted()
{
    AudioThread audio;
    audio.stopThread();
    QCOMPARE(audio.QObject::thread(), QThread::currentThread());
}

void TestAudioThread::stop_returnsAtOnce_whenStoppedTwice()
{
    Probe audio;
    audio.startThread();
    QVERIFY(audio.settle());
    audio.stopThread();
    QVERIFY(audio.QObject::thread()->isFinished());
    audio.stopThread();
    QVERIFY(audio.QObject::thread()->isFinished());
}

void TestAudioThread::stop_waits_whileTheWorkerIsBusy()
{
    Probe audio;
    QSemaphore go;
    audio.onTalk = [&] { go.acquire(); };
    audio.startThread();
    QVERIFY(queue(audio, "startTalk"));
    QVERIFY(audio.entered.tryAcquire(1, 20000));
    QCOMPARE(audio.left.available(), 0);
    std::thread helper([&] { go.release(); });
    audio.stopThread();
    helper.join();
    QCOMPARE(audio.left.available(), 1);
    QCOMPARE(audio.getVolume(), 0);
}

void TestAudioThread::stop_leavesNothingPlaying_withQueuedPlays()
{
    Probe audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    for (int block = 0; block < 2000; ++block)
        QVERIFY(queue(audio, "play", QByteArray(320, '\0')));
    audio.stopThread();
    QCOMPARE(audio.getVolume(), 0);
    // What was left in the queue meets a player without an output.
    audio.startThread();
    QVERIFY(audio.settle());
    QCOMPARE(audio.getVolume(), 100);
}

void TestAudioThread::stop_releasesDevicesAndPlayer_beforeItReturns()
{
    Probe audio;
    audio.startThread();
    QVERIFY(queueOpen(audio, "openAudioOutput"));
    QVERIFY(audio.showPlayer());
    std::atomic<int> gone{0};
    std::atomic<int> goneElsewhere{0};
    QThread *worker = audio.QObject::thread();
    const auto note = [&] {
        ++gone;
        if (QThread::currentThread() != worker)
            ++goneElsewhere;
    };
    for (QObject *object : std::initializer_list<QObject *>{
             audio.seenPlayer.load(), audio.input.load(), audio.output.load()})
        connect(object, &QObject::destroyed, object, note, Qt::DirectConnection);
    audio.stopThread();
    QCOMPARE(int(gone), 3);
    QCOMPARE(int(goneElsewhere), 0);
}

void TestAudioThread::restart_bringsANewPlayer_notMutedAndNotMeasuring()
{
    Probe audio;
    audio.startThread();
    QVERIFY(audio.showPlayer());
    std::atomic<bool> firstGone{false};
    connect(audio.seenPlayer.load(), &QObject::destroyed, audio.seenPlayer.load(),
            [&] { firstGone = true; });
    QVERIFY(queue(audio, "receiveMuted", true));
    audio.setLevel(true);
    QVERIFY(audio.settle());
    QVERIFY(audio.getLevel());
    audio.stopThread();
    QVERIFY(firstGone);

    audio.seenPlayer = nullptr;
    audio.startThread();
    QVERIFY(audio.showPlayer()); // a muted player would pass on no block
    QVERIFY(audio.seenPlayer);
    QVERIFY(!audio.getLevel());
    QCOMPARE(audio.playerThread.load(), audio.QObject::thread());
}

void TestAudioThread::restart_playsAgain()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    Probe audio;
    for (const double hertz : {500.0, 700.0}) {
        audio.startThread();
        QVERIFY(queueOpen(audio, "openAudioOutput"));
        QVERIFY(playUntilHeard(audio, recorder, hertz));
        audio.stopThread();
    }
}

void TestAudioThread::start_changesNothing_whenRunning()
{
    Probe audio;
    audio.startThread();
    QVERIFY(audio.showPlayer());
    AudioPlayer *player = audio.seenPlayer;
    audio.startThread();
    audio.seenPlayer = nullptr;
    QVERIFY(waitFor([&] { return audio.seenPlayer != nullptr; }));
    QCOMPARE(audio.seenPlayer.load(), player);
}

void TestAudioThread::rounds_leaveThreadsHandlesAndMemoryFlat()
{
    constexpr int kRounds = 200;
    constexpr int kWarm = 50; ///< rounds until caches of Qt and of the server's client are filled
    constexpr size_t kSlack = 256 * 1024; ///< bytes over all rounds, far less than a leaked device
    Probe audio;
    const auto round = [&](bool settled) {
        audio.startThread();
        queueOpen(audio, "openAudioOutput");
        queueOpen(audio, "openAudioInput");
        queue(audio, "play", QByteArray(3200, '\x10'));
        audio.setCalcLevel(true);
        const bool fine = !settled || audio.settle();
        audio.stopThread();
        return fine;
    };
    for (int i = 0; i < kWarm; ++i)
        QVERIFY(round(i % 2));
    const int threads = entriesOf("/proc/self/task");
    const int handles = entriesOf("/proc/self/fd");
    const size_t memory = mallinfo2().uordblks;
    for (int i = kWarm; i < kRounds; ++i)
        QVERIFY(round(i % 2));
    // The system takes a thread off its list a little after the thread has told its end.
    QVERIFY(waitFor([&] { return entriesOf("/proc/self/task") <= threads; }));
    QVERIFY(waitFor([&] { return entriesOf("/proc/self/fd") <= handles; }));
    QVERIFY2(mallinfo2().uordblks < memory + kSlack,
             qPrintable(QString::number(mallinfo2().uordblks - memory)));
}

void TestAudioThread::flags_mayBeSetFromOutside_whileThePlayerComesAndGoes()
{
    Probe audio;
    std::atomic<bool> done{false};
    std::thread host([&] {
        while (!done) {
            audio.setCalcLevel(true);
            audio.getLevel();
            audio.getMuted();
            audio.getVolume();
        }
    });
    for (int i = 0; i < 50; ++i) {
        audio.startThread();
        queueOpen(audio, "openAudioOutput");
        queue(audio, "receiveVolume", i);
        queueOpen(audio, "openAudioOutput");
        audio.stopThread();
    }
    done = true;
    host.join();
    QVERIFY(!audio.getLevel());
}

void TestAudioThread::destruction_stopsARunningThread()
{
    auto audio = QSharedPointer<Probe>::create();
    audio->startThread();
    QVERIFY(queueOpen(*audio, "openAudioOutput"));
    QVERIFY(audio->showPlayer());
    std::atomic<int> gone{0};
    for (QObject *object :
         std::initializer_list<QObject *>{audio->seenPlayer.load(), audio->input.load()})
        connect(
            object, &QObject::destroyed, object, [&] { ++gone; }, Qt::DirectConnection);
    audio.reset();
    QCOMPARE(int(gone), 2);
}

void TestAudioThread::destruction_stopsAThreadThatHasHardlyStarted()
{
    const int threads = entriesOf("/proc/self/task");
    for (int i = 0; i < 50; ++i) {
        AudioThread audio;
        audio.startThread();
    }
    QVERIFY(waitFor([&] { return entriesOf("/proc/self/task") <= threads; }));
}

void TestAudioThread::destruction_waits_whileTheWorkerEndsByItself()
{
    for (int i = 0; i < 50; ++i) {
        AudioThread audio;
        audio.startThread();
        queueOpen(audio, "openAudioOutput");
        if (i % 2)
            QVERIFY(waitFor([&] { return audio.getVolume() == 100; }));
        audio.QObject::thread()->quit();
    }
}

void TestAudioThread::destruction_onItsOwnWorker_isSurvived()
{
    auto *audio = new AudioThread;
    audio->startThread();
    const QPointer<QThread> worker = audio->QObject::thread();
    const QPointer<AudioThread> watched = audio;
    queueOpen(*audio, "openAudioOutput");
    queueOpen(*audio, "openAudioInput");
    audio->deleteLater();
    QVERIFY(waitFor([&] { return watched.isNull() && worker.isNull(); }));
}

void TestAudioThread::destruction_queuedAtTheEndOfTheWorker_isSurvived()
{
    for (int i = 0; i < 20; ++i) {
        auto *audio = new AudioThread;
        audio->startThread();
        const QPointer<QThread> worker = audio->QObject::thread();
        const QPointer<AudioThread> watched = audio;
        // From a listener of the very end: the event is then run when the loop has ended.
        connect(worker, &QThread::finished, audio, &QObject::deleteLater);
        worker->quit();
        QVERIFY(waitFor([&] { return watched.isNull() && worker.isNull(); }));
    }
}

QTEST_GUILESS_MAIN(TestAudioThread)
#include "tst_audiothread.moc"
