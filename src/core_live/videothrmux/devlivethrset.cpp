// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/videothrmux/devlivethrset.h"

#include "core_live/videothrmux/livethreadmaker_p.h"
#include "core_live/videothrmux/waitwhiledelivering_p.h"
#include "core_video/deviceinterface.h"
#include "core_videobase/abstractvideothread.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

#include <QMutexLocker>

#include <algorithm>

namespace {

constexpr char kLogTag[] = "(dvlvthrst)";

constexpr int kAskAgainMs = 100;
// No device has more; one that claims to would only use up the memory.
constexpr int kMostStreams = 4096;

} // namespace

DevLiveThrSet::DevLiveThrSet() = default;
DevLiveThrSet::~DevLiveThrSet() = default;

int DevLiveThrSet::bindDevice(const QSharedPointer<HNetDevice> &dev, HTransportProtocol protocol)
{
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev in live thr set is null";
        return -1;
    }
    const HTransportProtocol spoken = dev->getStreamProtocol();
    if (protocol != spoken) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("trans proto %1 not match %2 in live thr set")
                                         .arg(int(protocol))
                                         .arg(int(spoken));
        return -1;
    }
    const int streams = qMax(dev->getStreamCount(), 0);
    bool complete = streams <= kMostStreams;
    QVector<QSharedPointer<AbstractVideoThread>> made(complete ? streams : 0);
    for (auto &thread : made) {
        thread.reset(liveThreadMaker(protocol));
        complete = !thread.isNull();
        if (!complete)
            break; // the entries from here on stay empty
        if (auto *bound = dynamic_cast<DeviceInterface *>(thread.data()))
            bound->bindDevice(dev);
    }
    // What was bound before goes outside the lock, with its last reference.
    QSharedPointer<HNetDevice> device = dev;
    {
        QMutexLocker locker(&mutex);
        devPtr.swap(device);
        this->protocol = protocol;
        threads.swap(made);
    }
    if (complete)
        return 0; // without a stream too: who wants to show one finds none
    VANTRA_LOG(Logger::Error) << "create stream thread err";
    return -1;
}

void DevLiveThrSet::unbindDevice()
{
    for (const auto &thread : getChannelThreads()) {
        if (auto *bound = dynamic_cast<DeviceInterface *>(thread.data()))
            bound->unbindDevice();
    }
    // What goes with its last reference goes outside the lock.
    QSharedPointer<HNetDevice> formerDevice;
    QVector<QSharedPointer<AbstractVideoThread>> formerThreads;
    QMutexLocker locker(&mutex);
    devPtr.swap(formerDevice);
    threads.swap(formerThreads);
}

QVector<QSharedPointer<AbstractVideoThread>> DevLiveThrSet::getChannelThreads() const
{
    QMutexLocker locker(&mutex);
    return threads;
}

QSharedPointer<HNetDevice> DevLiveThrSet::getDevPtr() const
{
    QMutexLocker locker(&mutex);
    return devPtr;
}

int DevLiveThrSet::referenceCount() const
{
    int count = 0;
    for (const auto &thread : getChannelThreads())
        count += thread ? thread->referenceCount() : 0;
    return count;
}

bool DevLiveThrSet::isOwned() const
{
    const auto all = getChannelThreads();
    return std::any_of(all.begin(), all.end(),
                       [](const auto &thread) { return thread && thread->isOwned(); });
}

void DevLiveThrSet::quit()
{
    for (const auto &thread : getChannelThreads()) {
        if (thread)
            thread->stop();
    }
}

void DevLiveThrSet::wait()
{
    for (const auto &thread : getChannelThreads()) {
        if (thread)
            waitWhileDelivering(*thread);
    }
}

void DevLiveThrSet::waitForEnd()
{
    for (const auto &thread : getChannelThreads()) {
        while (thread && !waitWhileDelivering(*thread, kAskAgainMs))
            thread->stop();
    }
}
