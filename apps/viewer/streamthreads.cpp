// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "streamthreads.h"

#include "core_live/videothrmux/devlivethrset.h"
#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_videobase/abstractvideothread.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"

#include <QDateTime>
#include <QVariant>
#include <QWeakPointer>

#include <algorithm>

namespace streamthreads {

namespace {

constexpr int kPauseBetweenOpensMs = 1000;
constexpr int kPauseBetweenStartsMs = 1000;
/// When a thread was started last from here, milliseconds since 1970.
const char kStartedProperty[] = "viewer started";

/// Not owners: the library ends the threads and deletes them.
QVector<QWeakPointer<AbstractVideoThread>> &left()
{
    static QVector<QWeakPointer<AbstractVideoThread>> threads;
    return threads;
}

bool runs(const QWeakPointer<AbstractVideoThread> &weak)
{
    const QSharedPointer<AbstractVideoThread> thread = weak.toStrongRef();
    return thread && thread->isRunning();
}

} // namespace

void prepare(const QSharedPointer<HNetDevice> &device, const QString &transport)
{
    auto *sets = DevLiveThrSetManager::Instance();
    PtrDevLiveThrSet set = sets->getVideoThreadSet(device);
    if (!set)
        set = sets->newVideoThreadSet(device, device->getStreamProtocol());
    if (!set)
        return;
    for (const QSharedPointer<AbstractVideoThread> &thread : set->getChannelThreads()) {
        if (!thread)
            continue;
        thread->setTransport(transport);
        thread->setOpenSleepTime(kPauseBetweenOpensMs);
    }
}

void keepRunning(const QSharedPointer<HNetDevice> &device, int channel)
{
    const PtrDevLiveThrSet set = DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
    if (!set)
        return;
    const QVector<QSharedPointer<AbstractVideoThread>> threads = set->getChannelThreads();
    const int streams = device->getStreamCountPerChannel();
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (int stream = 0; stream < streams; ++stream) {
        const auto thread = threads.value(flatStreamIndex(streams, channel, stream));
        if (!thread || thread->isRunning())
            continue;
        const qint64 since = now - thread->property(kStartedProperty).toLongLong();
        if (since >= 0 && since < kPauseBetweenStartsMs)
            continue;
        thread->setProperty(kStartedProperty, now);
        thread->play();
    }
}

void leave(const QSharedPointer<HNetDevice> &device)
{
    const PtrDevLiveThrSet set = DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
    if (!set)
        return;
    QVector<QWeakPointer<AbstractVideoThread>> &threads = left();
    threads.erase(std::remove_if(threads.begin(), threads.end(),
                                 [](const auto &thread) { return !runs(thread); }),
                  threads.end());
    for (const QSharedPointer<AbstractVideoThread> &thread : set->getChannelThreads())
        if (thread && !threads.contains(thread.toWeakRef()))
            threads.append(thread.toWeakRef());
}

bool anyLeftRuns()
{
    return std::any_of(left().begin(), left().end(), runs);
}

} // namespace streamthreads
