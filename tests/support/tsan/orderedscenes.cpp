// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "qtlockscenes.h"

#include <QMutex>
#include <QReadWriteLock>
#include <QSemaphore>
#include <QWaitCondition>

#include <memory>
#include <mutex>

using namespace qtlockscenes;

namespace {

void mutex()
{
    QMutex lock;
    both([&] {
        for (int i = 0; i < kRounds; ++i) {
            QMutexLocker locker(&lock);
            ++g_plain;
        }
    });
}

void triedMutex()
{
    QMutex lock;
    both([&] {
        for (int i = 0; i < kRounds; ++i) {
            while (!lock.tryLock(1)) {
            }
            ++g_plain;
            lock.unlock();
        }
    });
}

void standardMutex()
{
    std::mutex lock;
    both([&] {
        for (int i = 0; i < kRounds; ++i) {
            std::lock_guard<std::mutex> locker(lock);
            ++g_plain;
        }
    });
}

void readWriteLock()
{
    QReadWriteLock lock;
    std::atomic<int> sum{0};
    both([&] {
        for (int i = 0; i < kRounds; ++i) {
            {
                QReadLocker locker(&lock);
                sum.fetch_add(g_plain, std::memory_order_relaxed);
            }
            QWriteLocker locker(&lock);
            ++g_plain;
        }
    });
}

void semaphore()
{
    QSemaphore full;
    QSemaphore empty(1);
    Worker worker([&](Worker *) {
        for (int i = 0; i < kRounds; ++i) {
            empty.acquire();
            ++g_plain;
            full.release();
        }
    });
    worker.start();
    for (int i = 0; i < kRounds; ++i) {
        while (!full.tryAcquire(1, 10)) {
        }
        ++g_plain;
        empty.release();
    }
    worker.wait();
}

void waitCondition()
{
    QMutex lock;
    QWaitCondition changed;
    bool isSet = false;
    Worker worker([&](Worker *) {
        QMutexLocker locker(&lock);
        isSet = true;
        changed.wakeAll();
    });
    QMutexLocker locker(&lock);
    worker.start();
    while (!isSet)
        changed.wait(&lock);
    locker.unlock();
    worker.wait();
}

void startAndWait()
{
    for (int i = 0; i < 50; ++i) {
        ++g_plain;
        Worker worker([](Worker *) { ++g_plain; });
        worker.start();
        worker.wait();
        ++g_plain;
    }
}

void polledEnd()
{
    for (int i = 0; i < 50; ++i) {
        Worker worker([](Worker *) { ++g_plain; });
        worker.start();
        while (i % 2 ? worker.isRunning() : !worker.isFinished())
            QThread::msleep(1);
        ++g_plain;
        worker.wait();
    }
}

void finishedSignal()
{
    for (int i = 0; i < 20; ++i) {
        Receiver receiver;
        Worker worker([](Worker *) { ++g_plain; });
        QObject::connect(&worker, &QThread::finished, &receiver, &Receiver::takeGlobal);
        worker.start();
        spinUntilCalled(receiver);
    }
}

/// The report of one end comes when the thread runs again: it must not wait for the next end.
void finishedSignalOfAnEarlierRun()
{
    Receiver receiver;
    QSemaphore mayEnd;
    Worker worker([&](Worker *self) {
        if (self->step.load() > 0)
            mayEnd.acquire();
        else
            ++g_plain;
    });
    QObject::connect(&worker, &QThread::finished, &receiver, &Receiver::takeGlobal);
    worker.start();
    worker.wait();
    worker.step = 1;
    worker.start();
    spinUntilCalled(receiver);
    mayEnd.release();
    worker.wait();
}

void queuedSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        for (int i = 0; i < 20; ++i) {
            auto *value = new int(i); // the receiver's from now on
            emit self->told(value);
        }
    });
    QObject::connect(&worker, &Worker::told, &receiver, [&](int *value) {
        receiver.take(value);
        delete value;
    });
    worker.start();
    spinUntilCalled(receiver, 20);
    worker.wait();
}

void blockingSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        for (int i = 0; i < 20; ++i) {
            ++self->field;
            emit self->told(&self->field);
            ++self->field;
        }
    });
    QObject::connect(&worker, &Worker::told, &receiver, &Receiver::take,
                     Qt::BlockingQueuedConnection);
    worker.start();
    spinUntilCalled(receiver, 20);
    worker.wait();
}

void droppedBlockingSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        emit self->told(&self->field);
        ++g_plain;
    });
    QObject::connect(&worker, &Worker::told, &receiver, &Receiver::take,
                     Qt::BlockingQueuedConnection);
    ++g_plain;
    worker.start();
    ++worker.field;
    do {
        QCoreApplication::removePostedEvents(&receiver);
    } while (!worker.wait(1));
}

void droppedQueuedSignal()
{
    qRegisterMetaType<Note>("Note");
    Receiver receiver;
    int dropped = 0;
    Worker worker([](Worker *self) {
        emit self->wrote(Note());
        self->pass(1);
    });
    QObject::connect(
        &worker, &Worker::wrote, &receiver, [&](const Note &) { ++dropped; }, Qt::QueuedConnection);
    worker.start();
    worker.await(1);
    QCoreApplication::removePostedEvents(&receiver);
    QCoreApplication::processEvents();
    if (dropped > 0)
        abort(); // it was not dropped
    worker.wait();
}

void queuedSignalThatOutlivesItsReceiver()
{
    qRegisterMetaType<Note>("Note");
    auto receiver = std::make_unique<Receiver>();
    Worker worker([](Worker *self) {
        emit self->wrote(Note());
        self->pass(1);
        self->await(2);
    });
    QObject::connect(
        &worker, &Worker::wrote, receiver.get(), [](const Note &) { abort(); },
        Qt::QueuedConnection);
    worker.start();
    worker.await(1);
    receiver.reset();
    worker.pass(2);
    worker.wait();
}

void invokedMethod()
{
    Receiver receiver;
    Worker worker([&](Worker *) {
        ++g_plain;
        QMetaObject::invokeMethod(&receiver, "takeGlobal", Qt::QueuedConnection);
    });
    worker.start();
    spinUntilCalled(receiver);
    worker.wait();
}

void invokedFunction()
{
    Receiver receiver;
    Worker worker([&](Worker *) {
        for (int i = 0; i < 20; ++i) {
            ++g_plain;
            QMetaObject::invokeMethod(
                &receiver, [&] { receiver.takeGlobal(); }, Qt::BlockingQueuedConnection);
            ++g_plain;
        }
    });
    worker.start();
    spinUntilCalled(receiver, 20);
    worker.wait();
}

void postedEvent()
{
    Receiver receiver;
    Worker worker([&](Worker *) {
        ++g_plain;
        QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
    });
    worker.start();
    spinUntilCalled(receiver);
    ++g_plain;
    worker.wait();
}

void objectDeletedLater()
{
    QThread loop;
    loop.start();
    auto *receiver = new Receiver;
    receiver->moveToThread(&loop);
    receiver->seen = 1;
    receiver->deleteLater();
    loop.quit();
    loop.wait();
}

/// Flags and parameters that are shared on purpose, and what has a guard.
void sharedFieldsOfAStreamThread()
{
    Loop loop;
    loop.previewRef() = 1;
    loop.play();
    for (int i = 0; i < 50 || loop.rounds < 200; ++i) {
        loop.pause();
        loop.next();
        loop.snap(QStringLiteral("./a.jpg"));
        loop.setReadTimeout(i);
        loop.setRotate(i);
        loop.setVideoUrl(QString::number(i));
        loop.updateTime();
        loop.stop2();
        loop.recordStart(AbstractVideoThread::MANUAL_RECORD);
        loop.recordStop(AbstractVideoThread::MANUAL_RECORD);
        g_plain += loop.getIsOk() + loop.getIsSnap() + loop.getVideoWidth() + loop.getFrameRate() +
                   loop.getSnapName().size() + loop.referenceCount();
    }
    loop.stop();
    loop.wait();
}

} // namespace

const Scenes &qtlockscenes::orderedScenes()
{
    static const Scenes scenes = {
        VANTRA_SCENE(mutex),
        VANTRA_SCENE(triedMutex),
        VANTRA_SCENE(standardMutex),
        VANTRA_SCENE(readWriteLock),
        VANTRA_SCENE(semaphore),
        VANTRA_SCENE(waitCondition),
        VANTRA_SCENE(startAndWait),
        VANTRA_SCENE(polledEnd),
        VANTRA_SCENE(finishedSignal),
        VANTRA_SCENE(queuedSignal),
        VANTRA_SCENE(blockingSignal),
        VANTRA_SCENE(invokedMethod),
        VANTRA_SCENE(invokedFunction),
        VANTRA_SCENE(postedEvent),
        VANTRA_SCENE(finishedSignalOfAnEarlierRun),
        VANTRA_SCENE(sharedFieldsOfAStreamThread),
        VANTRA_SCENE(droppedBlockingSignal),
        VANTRA_SCENE(droppedQueuedSignal),
        VANTRA_SCENE(queuedSignalThatOutlivesItsReceiver),
        VANTRA_SCENE(objectDeletedLater),
    };
    return scenes;
}
