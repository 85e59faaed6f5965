// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Start, restart, stop and end of a stream thread, and of those that wait for it.
#include "loopthread.h"
#include "support/processload.h"
#include "support/waitfor.h"

#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

using namespace vantratest;

class TestThreadLife : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Receiver::destroyed = false;
        Receiver::calledTooLate = false;
    }

    void restart_startsAgain_afterFinished();
    void restart_isDropped_byStopBetween();
    void restart_givesWay_toAStartByAnotherHand();
    void restart_isDropped_withTheObject();
    void stopBeforeStart_thenPlayRuns();
    void stopTwice_endsOnce();
    void stopWhileBlocked_ends();
    void deleted_whileRunning();
    void deleted_whileOpening();
    void deleted_whileBlockedInEmit();
    void deleted_byAnotherThread_whileBlockedInEmit();
    void deleted_whenNeverStarted_andWhenFinished();
    void parentDeleted_whileBlockedInEmit();
    void grandparentDeleted_whileBlockedInEmit();
    void receiverDeleted_threadGoesOn();
    void endRun_keepsFinishedAndDestroyed();
    void manyRounds_leaveNothingBehind();
};

void TestThreadLife::restart_startsAgain_afterFinished()
{
    LoopThread thread;
    thread.restarts = 3;
    QStringList events;
    QObject context;
    connect(&thread, &QThread::started, &context, [&] { events << QStringLiteral("started"); });
    connect(&thread, &QThread::finished, &context, [&] { events << QStringLiteral("finished"); });
    thread.play();
    QVERIFY(waitFor([&] { return thread.rounds > 0 && events.size() == 7; }));
    QCOMPARE(thread.runs.load(), 4);
    QCOMPARE(events.count(QStringLiteral("started")), 4);
    QCOMPARE(events.last(), QStringLiteral("started"));
}

void TestThreadLife::restart_isDropped_byStopBetween()
{
    LoopThread thread;
    thread.restarts = 1;
    thread.play();
    QVERIFY(thread.wait(20000));
    thread.stop(); // nothing runs, and nothing is to run
    QVERIFY(!thread.stopped);
    QCoreApplication::processEvents();
    QVERIFY(!thread.isRunning());
    QCOMPARE(thread.runs.load(), 1);
    thread.play();
    QVERIFY(waitFor([&] { return thread.rounds > 0; }));
    QCOMPARE(thread.runs.load(), 2);
}

void TestThreadLife::restart_givesWay_toAStartByAnotherHand()
{
    LoopThread thread;
    thread.restarts = 1;
    thread.play();
    QVERIFY(thread.wait(20000));
    thread.start();
    QVERIFY(waitFor([&] { return thread.rounds > 0; }));
    QCOMPARE(thread.runs.load(), 2);
    thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCoreApplication::processEvents();
    QVERIFY(!thread.isRunning());
    QCOMPARE(thread.runs.load(), 2);
}

void TestThreadLife::restart_isDropped_withTheObject()
{
    auto thread = std::make_unique<LoopThread>();
    thread->restarts = 1;
    thread->play();
    QVERIFY(thread->wait(20000));
    thread.reset();
    QCoreApplication::processEvents();
}

void TestThreadLife::stopBeforeStart_thenPlayRuns()
{
    LoopThread thread;
    thread.stop();
    thread.play();
    QVERIFY(waitFor([&] { return thread.rounds > 2; }));
}

void TestThreadLife::stopTwice_endsOnce()
{
    LoopThread thread;
    QSignalSpy finished(&thread, &QThread::finished);
    thread.play();
    thread.stop();
    thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished() && finished.count() > 0; }));
    thread.stop();
    QCoreApplication::processEvents();
    QCOMPARE(finished.count(), 1);
}

void TestThreadLife::stopWhileBlocked_ends()
{
    LoopThread thread;
    Receiver receiver;
    connectBlocking(&thread, &receiver);
    thread.play();
    waitBlind([&] { return thread.emitting.load(); });
    thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QVERIFY(*receiver.calls > 0);
}

void TestThreadLife::deleted_whileRunning()
{
    auto *thread = new LoopThread;
    thread->play();
    waitBlind([&] { return thread->rounds > 0; });
    delete thread;
}

void TestThreadLife::deleted_whileOpening()
{
    auto *thread = new LoopThread;
    thread->setOpenSleepTime(24 * 3600 * 1000);
    thread->opening = true;
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    delete thread;
}

void TestThreadLife::deleted_whileBlockedInEmit()
{
    Receiver receiver;
    auto *thread = new LoopThread;
    connectBlocking(thread, &receiver);
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    delete thread;
    QCoreApplication::processEvents();
    QVERIFY(*receiver.calls <= 1); // the one that it stood waiting for
}

void TestThreadLife::deleted_byAnotherThread_whileBlockedInEmit()
{
    Receiver receiver;
    auto *thread = new LoopThread;
    connectBlocking(thread, &receiver);
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    std::unique_ptr<QThread> killer(QThread::create([thread] { delete thread; }));
    killer->start();
    QVERIFY(waitFor([&] { return killer->isFinished(); }));
}

void TestThreadLife::deleted_whenNeverStarted_andWhenFinished()
{
    delete new LoopThread;
    auto *thread = new LoopThread;
    thread->play();
    thread->stop();
    QVERIFY(waitFor([&] { return thread->isFinished(); }));
    delete thread;
}

void TestThreadLife::parentDeleted_whileBlockedInEmit()
{
    auto *parent = new Receiver;
    QWidget sibling;
    auto *thread = new LoopThread(parent);
    connectBlocking(thread, parent);
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    delete parent;
    QVERIFY(Receiver::destroyed);
    QVERIFY(!Receiver::calledTooLate);
}

void TestThreadLife::grandparentDeleted_whileBlockedInEmit()
{
    QWidget window;
    auto *top = new QWidget(&window);
    auto *parent = new Receiver(top);
    auto *owner = new QObject(parent);
    auto *thread = new LoopThread(owner);
    connectBlocking(thread, parent);
    // What other parts of the program have queued for a whole object stays in its queue or is
    // served.
    int served = 0;
    QMetaObject::invokeMethod(
        &window, [&] { ++served; }, Qt::QueuedConnection);
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    delete top;
    QCoreApplication::processEvents();
    QVERIFY(!Receiver::calledTooLate);
    QCOMPARE(served, 1);
}

void TestThreadLife::receiverDeleted_threadGoesOn()
{
    auto *receiver = new Receiver;
    LoopThread thread;
    connectBlocking(&thread, receiver);
    thread.play();
    waitBlind([&] { return thread.emitting.load(); });
    const int before = thread.rounds;
    delete receiver;
    QVERIFY(waitFor([&] { return thread.rounds > before + 2; }));
    QVERIFY(!Receiver::calledTooLate);
}

void TestThreadLife::endRun_keepsFinishedAndDestroyed()
{
    auto *thread = new LoopThread;
    int destroyed = 0;
    std::atomic<int> finished{0};
    connect(thread, &QObject::destroyed, this, [&] { ++destroyed; });
    connect(
        thread, &QThread::finished, this, [&] { ++finished; }, Qt::DirectConnection);
    thread->play();
    waitBlind([&] { return thread->rounds > 0; });
    delete thread;
    QCOMPARE(destroyed, 1);
    QCOMPARE(finished.load(), 1);
}

void TestThreadLife::manyRounds_leaveNothingBehind()
{
    Receiver receiver;
    LoopThread thread;
    connectBlocking(&thread, &receiver);
    ProcessLoad first;
    for (int round = 0; round < 200; ++round) {
        thread.play();
        thread.stop();
        QVERIFY(waitFor([&] { return thread.isFinished(); }));
        if (round == 20)
            first = ProcessLoad::now();
    }
    const ProcessLoad last = ProcessLoad::now();
    QCOMPARE(last.threads, first.threads);
    QCOMPARE(last.handles, first.handles);
    QVERIFY2(last.residentKiB < first.residentKiB + 4096,
             qPrintable(QString::number(last.residentKiB - first.residentKiB)));
}

QTEST_MAIN(TestThreadLife)
#include "tst_threadlife.moc"
