// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/packetqueue_p.h"

#include "log.h"

#include <QDeadlineTimer>
#include <QMutexLocker>

#include <utility>

namespace {
constexpr char kLogTag[] = "(svmp4ff)";
} // namespace

bool CountingSemaphore::create()
{
    const QMutexLocker locker(&mutex);
    exists = true;
    count = 0;
    return true;
}

void CountingSemaphore::destroy()
{
    const QMutexLocker locker(&mutex);
    exists = false;
    changed.wakeAll();
}

void CountingSemaphore::release()
{
    {
        const QMutexLocker locker(&mutex);
        if (!exists || count >= kMaximum)
            return;
        ++count;
    }
    changed.wakeOne(); // without the lock, which who wakes up needs
}

CountingSemaphore::Result CountingSemaphore::wait(int milliseconds)
{
    const QDeadlineTimer deadline =
        milliseconds < 0 ? QDeadlineTimer(QDeadlineTimer::Forever) : QDeadlineTimer(milliseconds);
    const QMutexLocker locker(&mutex);
    while (exists && count == 0) {
        if (!changed.wait(&mutex, deadline) && exists && count == 0)
            return TimedOut;
    }
    if (!exists)
        return Failed;
    --count;
    return Signalled;
}

bool PacketQueue::isQueueEmpty()
{
    const QMutexLocker locker(&queueMutex);
    return queue.empty();
}

bool PacketQueue::isQueueFull()
{
    const QMutexLocker locker(&queueMutex);
    return !hasRoom(PacketKind::Sound);
}

/// Under the lock of the queue.
bool PacketQueue::hasRoom(PacketKind kind) const
{
    return queue.size() < kLimit && (kind != PacketKind::Sound || soundBytes < kSoundLimit);
}

AVPacketPtr PacketQueue::dequeue()
{
    const QMutexLocker locker(&queueMutex);
    if (queue.empty())
        return nullptr;
    AVPacketPtr packet = std::move(queue.front().packet);
    soundBytes -= queue.front().soundBytes;
    queue.pop_front();
    return packet;
}

bool PacketQueue::enqueue(AVPacketPtr &packet, PacketKind kind)
{
    {
        const QMutexLocker locker(&queueMutex);
        if (hasRoom(kind)) {
            resting.reset();
            const qint64 bytes = kind == PacketKind::Sound ? packet->size : 0;
            soundBytes += bytes;
            queue.push_back({std::move(packet), bytes});
            return true;
        }
    }
    VANTRA_LOG(Logger::Warning) << "queue is full";
    return false;
}

void PacketQueue::clearQueue()
{
    std::deque<Waiting> dropped; // freed without the lock
    std::vector<AVPacketPtr> droppedToo;
    const QMutexLocker locker(&queueMutex);
    queue.swap(dropped);
    soundBytes = 0;
    gathered.swap(droppedToo);
    resting.reset();
}

void PacketQueue::beginRest(const std::optional<PlainPictures> &plain)
{
    const QMutexLocker locker(&queueMutex);
    resting = queue.empty() ? plain : std::nullopt;
    if (resting)
        gathered.reserve(kMostGathered);
    gatheredBytes = 0;
}

PacketQueue::Gathered PacketQueue::endRest()
{
    Gathered result;
    const QMutexLocker locker(&queueMutex);
    resting.reset();
    if (!gathered.empty()) {
        result.packets.swap(gathered);
        result.quietMs = sinceGathered.elapsed();
    }
    return result;
}

/// Under the lock of the queue.
bool PacketQueue::hasPlaceToGather(const AVPacket &packet) const
{
    if (!resting || packet.pts <= resting->newest)
        return false;
    const quint64 step = static_cast<quint64>(packet.pts) - static_cast<quint64>(resting->newest);
    return step <= resting->longestStep && gathered.size() < kMostGathered &&
           gatheredBytes + packet.size <= kMostGatheredBytes;
}

bool PacketQueue::mayGather(const AVPacket &packet)
{
    const QMutexLocker locker(&queueMutex);
    return hasPlaceToGather(packet);
}

bool PacketQueue::gather(AVPacketPtr &packet)
{
    const QMutexLocker locker(&queueMutex);
    if (!hasPlaceToGather(*packet))
        return false;
    resting->newest = packet->pts;
    gatheredBytes += packet->size;
    gathered.push_back(std::move(packet));
    sinceGathered.start();
    return true;
}

void PacketQueue::writePacket(AVPacketPtr packet, PacketKind kind)
{
    if (kind == PacketKind::PlainPicture && gather(packet))
        return;
    {
        QMutexLocker locker(&queueMutex);
        if (!hasRoom(kind)) {
            locker.unlock();
            VANTRA_LOG(Logger::Warning) << "queue is full";
            return;
        }
    }
    if (!enqueue(packet, kind)) { // another producer was faster
        VANTRA_LOG(Logger::Warning) << "enqueue fail";
        return;
    }
    semaphore.release();
}
