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

void plainField()
{
    Worker worker([](Worker *self) {
        while (self->field < kRounds)
            ++self->field;
    });
    worker.start();
    worker.field = 1;
    worker.wait();
}

void objectThatGoesBetween()
{
    Worker worker([](Worker *self) {
        ++g_plain;
        delete new QObject; // has nothing to do with it
        self->pass(1);
        self->await(2);
    });
    worker.start();
    worker.await(1);
    Worker other([](Worker *) {});
    emit other.told(nullptr);
    ++g_plain;
    worker.pass(2);
    worker.wait();
}

void lockOnOneSide()
{
    QMutex lock;
    Worker worker([&](Worker *self) {
        QMutexLocker locker(&lock);
        ++g_plain;
        self->pass(1);
    });
    worker.start();
    worker.await(1);
    ++g_plain;
    worker.wait();
}

void twoLocks()
{
    QMutex first;
    QMutex second;
    Worker worker([&](Worker *self) {
        QMutexLocker locker(&first);
        ++g_plain;
        self->pass(1);
    });
    worker.start();
    worker.await(1);
    {
        QMutexLocker locker(&second);
        ++g_plain;
    }
    worker.wait();
}

void writeUnderReadLock()
{
    QReadWriteLock lock;
    Worker worker([&](Worker *self) {
        {
            QReadLocker locker(&lock);
            ++g_plain;
        }
        self->pass(1);
    });
    worker.start();
    worker.await(1);
    {
        QReadLocker locker(&lock);
        ++g_plain;
    }
    worker.wait();
}

/// What a thread does after an emit is not ordered before the slot.
void writeAfterQueuedSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        emit self->told(&self->field);
        self->field = 2;
        self->pass(1);
    });
    QObject::connect(&worker, &Worker::told, &receiver, &Receiver::take);
    worker.start();
    worker.await(1);
    spinUntilCalled(receiver);
    worker.wait();
}

/// Nor before what is thrown away of it.
void writeAfterADroppedSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        emit self->told(&self->field);
        self->field = 2;
        self->pass(1);
    });
    QObject::connect(&worker, &Worker::told, &receiver, &Receiver::take, Qt::QueuedConnection);
    worker.start();
    worker.await(1);
    QCoreApplication::removePostedEvents(&receiver);
    ++worker.field;
    worker.wait();
}

/// A slot does not order what another thread does.
void signalOfAnotherSender()
{
    Receiver receiver;
    Worker writer([](Worker *self) {
        ++g_plain;
        self->pass(1);
    });
    Worker teller([](Worker *self) { emit self->told(&self->field); });
    QObject::connect(&teller, &Worker::told, &receiver, [&](int *) { receiver.takeGlobal(); });
    writer.start();
    writer.await(1);
    teller.start();
    spinUntilCalled(receiver);
    teller.wait();
    writer.wait();
}

/// Without a blocking connection the sender goes on beside the slot.
void slotBesideItsSender()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        emit self->told(&self->field);
        self->await(1);
        ++self->field;
    });
    QObject::connect(&worker, &Worker::told, &receiver, [&](int *value) {
        receiver.take(value);
        worker.pass(1);
    });
    worker.start();
    spinUntilCalled(receiver);
    worker.wait();
}

void writeBeforeTheEndIsKnown()
{
    Worker worker([](Worker *self) {
        ++g_plain;
        self->pass(1);
    });
    worker.start();
    worker.await(1);
    ++g_plain;
    worker.wait();
}

/// What is the loop's alone has no place in the list.
void unsharedFieldOfAStreamThread()
{
    Loop loop;
    loop.play();
    while (loop.rounds.load(std::memory_order_relaxed) < 100)
        QThread::yieldCurrentThread();
    g_plain = loop.readErrors();
    loop.stop();
    loop.wait();
}

/// The object that Qt's own code calls in a loop is not exempt.
void insideAnEventLoop()
{
    QThread loop;
    loop.start();
    Receiver far;
    far.moveToThread(&loop);
    std::atomic<int> step{0};
    QMetaObject::invokeMethod(&far, [&] {
        ++g_plain;
        step.store(1, std::memory_order_relaxed);
    });
    while (step.load(std::memory_order_relaxed) < 1)
        QThread::yieldCurrentThread();
    ++g_plain;
    loop.quit();
    loop.wait();
}

} // namespace

const Scenes &qtlockscenes::racingScenes()
{
    static const Scenes scenes = {
        VANTRA_SCENE(plainField),
        VANTRA_SCENE(unsharedFieldOfAStreamThread),
        VANTRA_SCENE(objectThatGoesBetween),
        VANTRA_SCENE(lockOnOneSide),
        VANTRA_SCENE(twoLocks),
        VANTRA_SCENE(writeUnderReadLock),
        VANTRA_SCENE(writeAfterQueuedSignal),
        VANTRA_SCENE(writeAfterADroppedSignal),
        VANTRA_SCENE(signalOfAnotherSender),
        VANTRA_SCENE(slotBesideItsSender),
        VANTRA_SCENE(writeBeforeTheEndIsKnown),
        VANTRA_SCENE(insideAnEventLoop),
    };
    return scenes;
}
