// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Stop, restart and destruction of the worker.

#include "workerprobe.h"

#include "core_audio/audioplayer.h"
#include "support/loggedtest.h"
#include "support/privatepulse.h"
#include "support/processload.h"
#include "support/waitfor.h"

#include <QPointer>
#include <QSemaphore>
#include <QSharedPointer>
#include <QTest>

#include <atomic>
#include <thread>

#include <malloc.h>

using namespace vantratest;

class TestAudioThreadLife : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

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

void TestAudioThreadLife::initTestCase()
{
    QVERIFY2(pulse.start(), qPrintable(pulse.log()));
}

void TestAudioThreadLife::stop_returnsAtOnce_whenNotStarted()
{
    AudioThread audio;
    audio.stopThread();
    QCOMPARE(audio.QObject::thread(), QThread::currentThread());
}

void TestAudioThreadLife::stop_returnsAtOnce_whenStoppedTwice()
{
    Probe audio;
    audio.startThread();
    QVERIFY(audio.settle());
    audio.stopThread();
    QVERIFY(audio.QObject::thread()->isFinished());
    audio.stopThread();
    QVERIFY(audio.QObject::thread()->isFinished());
}

void TestAudioThreadLife::stop_waits_whileTheWorkerIsBusy()
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

void TestAudioThreadLife::stop_leavesNothingPlaying_withQueuedPlays()
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

void TestAudioThreadLife::stop_releasesDevicesAndPlayer_beforeItReturns()
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

void TestAudioThreadLife::restart_bringsANewPlayer_notMutedAndNotMeasuring()
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

void TestAudioThreadLife::restart_playsAgain()
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

void TestAudioThreadLife::start_changesNothing_whenRunning()
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

void TestAudioThreadLife::rounds_leaveThreadsHandlesAndMemoryFlat()
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
    const ProcessLoad before = ProcessLoad::now();
    const size_t memory = mallinfo2().uordblks;
    for (int i = kWarm; i < kRounds; ++i)
        QVERIFY(round(i % 2));
    QCOMPARE(loadLeftBehind(before, 0, 0), QString());
    QVERIFY2(mallinfo2().uordblks < memory + kSlack,
             qPrintable(QString::number(mallinfo2().uordblks - memory)));
}

void TestAudioThreadLife::flags_mayBeSetFromOutside_whileThePlayerComesAndGoes()
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

void TestAudioThreadLife::destruction_stopsARunningThread()
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

void TestAudioThreadLife::destruction_stopsAThreadThatHasHardlyStarted()
{
    const ProcessLoad before = ProcessLoad::now();
    for (int i = 0; i < 50; ++i) {
        AudioThread audio;
        audio.startThread();
    }
    QCOMPARE(loadLeftBehind(before, 0, 0), QString());
}

void TestAudioThreadLife::destruction_waits_whileTheWorkerEndsByItself()
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

void TestAudioThreadLife::destruction_onItsOwnWorker_isSurvived()
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

void TestAudioThreadLife::destruction_queuedAtTheEndOfTheWorker_isSurvived()
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

QTEST_GUILESS_MAIN(TestAudioThreadLife)
#include "tst_audiothreadlife.moc"
