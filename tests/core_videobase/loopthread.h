// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideothread.h"

#include <QWidget>

#include <atomic>
#include <functional>

/// What the tests of the stream thread's base play with.
namespace vantratest {

/// Emits a blocking signal again and again, and opens the inside of the base to the tests.
class LoopThread final : public AbstractVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(LoopThread)

public:
    explicit LoopThread(QObject *parent = nullptr) : AbstractVideoThread(parent) {}
    ~LoopThread() override { endRun(); }

    using AbstractVideoThread::channelCount;
    using AbstractVideoThread::endRun;
    using AbstractVideoThread::errorCount;
    using AbstractVideoThread::isOk;
    using AbstractVideoThread::isPause;
    using AbstractVideoThread::isSnap;
    using AbstractVideoThread::keyFrameSeen;
    using AbstractVideoThread::lastTime;
    using AbstractVideoThread::openFailCount;
    using AbstractVideoThread::parentObject;
    using AbstractVideoThread::playedOnce;
    using AbstractVideoThread::profile;
    using AbstractVideoThread::readTimedOut;
    using AbstractVideoThread::renderStartPending;
    using AbstractVideoThread::resetSession;
    using AbstractVideoThread::rotate;
    using AbstractVideoThread::sampleRate;
    using AbstractVideoThread::saveAudio;
    using AbstractVideoThread::savePath;
    using AbstractVideoThread::saveTimer;
    using AbstractVideoThread::stopped;
    using AbstractVideoThread::videoHeight;
    using AbstractVideoThread::videoSize;
    using AbstractVideoThread::videoWidth;

    std::atomic<int> runs{0};
    std::atomic<int> rounds{0};
    std::atomic<int> restarts{0};      ///< how often run() asks to be started again
    std::atomic<bool> opening{false};  ///< run() only stands in checkOpen()
    std::atomic<bool> emitting{false}; ///< run() is in the blocking signal, or just before it
    std::atomic<int> geometries{0};

    void setGeometry() override { ++geometries; }

protected:
    void run() override
    {
        restartPending = false;
        ++runs;
        if (restarts > 0) {
            --restarts;
            restartAfterRun();
            return;
        }
        while (!stopped) {
            if (opening) {
                emitting = true;
                checkOpen();
                continue;
            }
            emitting = true;
            emit receivePlayStart(0);
            emitting = false;
            ++rounds;
        }
    }
};

/// A receiver whose slot uses what its destructor takes away.
class Receiver : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Receiver)

public:
    explicit Receiver(QWidget *parent = nullptr) : QWidget(parent), calls(new int(0)) {}
    ~Receiver() override
    {
        destroyed = true;
        delete calls;
        calls = nullptr;
    }

    static inline bool destroyed = false;
    static inline bool calledTooLate = false;
    int *calls;

public slots:
    void started(int)
    {
        if (destroyed)
            calledTooLate = true;
        else
            ++*calls;
    }
};

inline void connectBlocking(AbstractVideoThread *thread, Receiver *receiver)
{
    QObject::connect(
        thread, &AbstractVideoThread::receivePlayStart, receiver, &Receiver::started,
        static_cast<Qt::ConnectionType>(Qt::BlockingQueuedConnection | Qt::UniqueConnection));
}

/// Waits without serving events, so that a thread that emits is blocked and stays so.
inline void waitBlind(const std::function<bool()> &condition)
{
    while (!condition())
        QThread::msleep(1);
}

} // namespace vantratest
