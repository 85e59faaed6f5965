// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QWaitCondition>

#include <deque>
#include <optional>
#include <vector>

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

/// Pictures that can wait, since the file has nothing to show for them until the next key picture:
/// the muxer would only keep them, and no line of the log can come of them. Which ones those are
/// depends on what has been written last.
struct PlainPictures
{
    qint64 newest = 0;       ///< stamp of the last one; the next is later
    quint64 longestStep = 0; ///< from one to the next
};

/// What a packet is, as far as the queue cares.
enum class PacketKind {
    Sound,
    Picture,
    PlainPicture, ///< as others, by what is in it
};

/// The packets between the producer, who never waits, and the writer. Any thread may call anything.
///
/// To wake a thread costs more than to write a picture of a sub stream. So while the writer has
/// nothing to do it rests: plain pictures count as taken, and gather without waking it, until any
/// other packet comes, or many have gathered, or its wait ends.
class PacketQueue
{
    Q_DISABLE_COPY(PacketQueue)

public:
    static constexpr std::size_t kLimit = 100; ///< packets; so many are full
    /// Bytes of sound that make it full, too: some two minutes of G.711. Devices send a kilobyte at
    /// a time, but may claim any size, and what waits at the end of a file is encoded before it
    /// ends.
    static constexpr qint64 kSoundLimit = 1024 * 1024;

    /// What gathers in one rest, at most.
    static constexpr std::size_t kMostGathered = 16;
    static constexpr qint64 kMostGatheredBytes = 1024 * 1024;

    struct Gathered
    {
        std::vector<AVPacketPtr> packets; ///< in their order; before all that is in the queue
        qint64 quietMs = 0;               ///< since the last of them
    };

    PacketQueue() = default;

    bool isQueueEmpty();
    bool isQueueFull();
    /// Null when empty.
    AVPacketPtr dequeue();
    /// False, with a warning, when full: the packet stays the caller's. Sound in plenty leaves room
    /// for pictures.
    bool enqueue(AVPacketPtr &packet, PacketKind kind = PacketKind::Picture);
    void clearQueue();

    /// Whether the writer rests now, and a plain picture like this one would not wake it.
    bool mayGather(const AVPacket &packet);
    /// Puts a packet in and wakes the writer, unless that rests and the packet is a plain picture.
    /// When full it is dropped, with a warning.
    void writePacket(AVPacketPtr packet, PacketKind kind = PacketKind::Picture);

    /// For the writer, around its wait. No rest begins if nothing is plain, or something waits.
    void beginRest(const std::optional<PlainPictures> &plain);
    Gathered endRest();

    CountingSemaphore semaphore; ///< counts the packets

private:
    struct Waiting
    {
        AVPacketPtr packet;
        qint64 soundBytes = 0;
    };

    bool hasRoom(PacketKind kind) const;
    bool hasPlaceToGather(const AVPacket &packet) const;
    bool gather(AVPacketPtr &packet);

    QMutex queueMutex;
    std::deque<Waiting> queue;
    qint64 soundBytes = 0;                ///< of the packets in it
    std::optional<PlainPictures> resting; ///< until another packet comes
    std::vector<AVPacketPtr> gathered;
    qint64 gatheredBytes = 0;
    QElapsedTimer sinceGathered; ///< the last one
};
