// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <QMutex>
#include <QWaitCondition>

#include <deque>

/// A counting semaphore that exists from create() to destroy(), which any thread may call at any
/// time; a wait under way then fails.
class CountingSemaphore
{
    Q_DISABLE_COPY(CountingSemaphore)

public:
    static constexpr int kMaximum = 1024;

    /// How a wait ended. The numbers stand in the log.
    enum Result : quint32 { Signalled = 0, TimedOut = 258, Failed = 0xffffffff };

    CountingSemaphore() = default;

    /// With a count of 0. False if there is no memory for it.
    bool create();
    void destroy();
    /// Nothing happens without a semaphore, and at the maximum.
    void release();
    /// Takes one off the count, waiting at most so many milliseconds; negative: without a limit.
    Result wait(int milliseconds);

private:
    QMutex mutex;
    QWaitCondition changed;
    bool exists = false;
    int count = 0;
};

/// The packets between the producer, who never waits, and the writer. Any thread may call anything.
class PacketQueue
{
    Q_DISABLE_COPY(PacketQueue)

public:
    static constexpr std::size_t kLimit = 100; ///< packets; so many are full

    PacketQueue() = default;

    bool isQueueEmpty();
    bool isQueueFull();
    /// Null when empty.
    AVPacketPtr dequeue();
    /// False, with a warning, when full: the packet stays the caller's.
    bool enqueue(AVPacketPtr &packet);
    void clearQueue();

    /// Puts a packet in and wakes the writer. When full it is dropped, with a warning.
    void writePacket(AVPacketPtr packet);

    CountingSemaphore semaphore; ///< counts the packets

private:
    QMutex queueMutex;
    std::deque<AVPacketPtr> queue;
};
