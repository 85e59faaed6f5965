// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/videothrmux/devlivethrsetmanager.h"

#include "core_live/videothrmux/waitwhiledelivering_p.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/abstractvideowidget.h"
#include "devicelink/hnetdevice.h"
#include "log.h"
#include "processend_p.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <QPointer>

#include <cstdlib>
#include <utility>

namespace {

constexpr char kLogTag[] = "(dvltsmg)";

constexpr int kEndWithProcessMs = 5000;

} // namespace

QScopedPointer<DevLiveThrSetManager> DevLiveThrSetManager::self;

DevLiveThrSetManager *DevLiveThrSetManager::Instance()
{
    static QBasicMutex making;
    static QBasicAtomicPointer<DevLiveThrSetManager> made;
    if (DevLiveThrSetManager *manager = made.loadAcquire())
        return manager;
    QMutexLocker locker(&making);
    if (!self) {
        self.reset(new DevLiveThrSetManager);
        std::atexit(&DevLiveThrSetManager::endWithProcess);
        made.storeRelease(self.data());
    }
    return self.data();
}

DevLiveThrSetManager::DevLiveThrSetManager()
{
    qRegisterMetaType<PtrDevLiveThrSet>("PtrDevLiveThrSet");
    // Whoever has asked first, it is the GUI thread that moves it to its own.
    if (const QCoreApplication *application = QCoreApplication::instance())
        moveToThread(application->thread());
}

DevLiveThrSetManager::~DevLiveThrSetManager()
{
    endAll();
}

bool DevLiveThrSetManager::start()
{
    static QPointer<QCoreApplication> guarded;
    if (guarded != QCoreApplication::instance()) {
        guarded = QCoreApplication::instance();
        qAddPostRoutine(&DevLiveThrSetManager::stopWithApplication);
    }
    if (isEnding) {
        startWanted = true;
        if (!AbstractVideoWidget::isReporting())
            awaitEnd();
        return true;
    }
    moveToThread(&thread);
    thread.start(QThread::InheritPriority);
    connect(&thread, &QThread::finished, this, &DevLiveThrSetManager::slot_quitAllVideoThreadSets,
            Qt::UniqueConnection);
    return true;
}

void DevLiveThrSetManager::stop()
{
    startWanted = false;
    // When the process ends, what cannot end has been left alone: see endWithProcess().
    const bool mayWait = processend::hasBegun() || !AbstractVideoWidget::isReporting();
    if (thread.isRunning() && !isEnding) {
        isEnding = true;
        if (!mayWait) {
            endReport = connect(
                &thread, &QThread::finished, QCoreApplication::instance(), [this] { awaitEnd(); },
                Qt::QueuedConnection);
        }
        thread.quit();
    }
    if (mayWait)
        awaitEnd();
}

void DevLiveThrSetManager::awaitEnd()
{
    if (!isEnding || isWaiting)
        return;
    isWaiting = true;
    waitWhileDelivering(thread);
    isWaiting = isEnding = false;
    disconnect(endReport);
    buryAll();
    if (std::exchange(startWanted, false))
        start();
}

void DevLiveThrSetManager::endAll()
{
    stop();
    // What came after a stop, or without a start.
    slot_quitAllVideoThreadSets();
    buryAll();
    // The application goes, and with it what was posted to it.
    QMutexLocker locker(&mutex);
    endedThreads.clear();
}

void DevLiveThrSetManager::stopWithApplication()
{
    if (self)
        self->endAll();
}

void DevLiveThrSetManager::endWithProcess()
{
    const bool areEnded = processend::endWorkers();
    if (!self)
        return;
    self->thread.quit();
    // It waits for those that have not ended, and nothing that belongs to a thread that runs may be
    // destroyed.
    if (!areEnded || !waitWhileDelivering(self->thread, kEndWithProcessMs))
        self.take();
}

bool DevLiveThrSetManager::isRunning() const
{
    return thread.isRunning();
}

PtrDevLiveThrSet DevLiveThrSetManager::getVideoThreadSet(const QSharedPointer<HNetDevice> &dev)
{
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return {};
    }
    QMutexLocker locker(&mutex);
    return deviceSets.value(dev.data());
}

PtrDevLiveThrSet DevLiveThrSetManager::newVideoThreadSet(const QSharedPointer<HNetDevice> &dev,
                                                         HTransportProtocol protocol)
{
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return {};
    }
    PtrDevLiveThrSet former; // goes outside the lock, if it goes
    QMutexLocker locker(&mutex);
    const auto set = PtrDevLiveThrSet::create();
    if (set->bindDevice(dev, protocol) != 0)
        return {};
    former = std::exchange(deviceSets[dev.data()], set);
    allSets.insert(set);
    return set;
}

void DevLiveThrSetManager::releaseVideoThreadSet(const QSharedPointer<HNetDevice> &dev)
{
    if (!dev)
        return;
    PtrDevLiveThrSet set;
    {
        QMutexLocker locker(&mutex);
        set = deviceSets.take(dev.data());
    }
    // With nothing, too, if the device had no set.
    QMetaObject::invokeMethod(this, "slot_releaseVThreadSet", Qt::QueuedConnection,
                              Q_ARG(PtrDevLiveThrSet, set));
}

void DevLiveThrSetManager::slot_releaseVThreadSet(const PtrDevLiveThrSet &set)
{
    if (!set)
        return;
    set->quit();
    set->waitForEnd();
    unbind(set);
    QMutexLocker locker(&mutex);
    allSets.remove(set);
}

void DevLiveThrSetManager::slot_quitAllVideoThreadSets()
{
    QSet<PtrDevLiveThrSet> sets;
    QHash<HNetDevice *, PtrDevLiveThrSet> inUse;
    {
        QMutexLocker locker(&mutex);
        sets.swap(allSets);
        inUse.swap(deviceSets);
    }
    for (const PtrDevLiveThrSet &set : std::as_const(sets))
        set->quit(); // so that all end at the same time
    for (const PtrDevLiveThrSet &set : std::as_const(sets)) {
        set->waitForEnd();
        unbind(set);
    }
}

void DevLiveThrSetManager::unbind(const PtrDevLiveThrSet &set)
{
    // The GUI thread may be calling a slot of a thread object at this moment, so it deletes them:
    // once they are handed over, nothing here has a share in them.
    auto threads = set->getChannelThreads();
    set->unbindDevice();
    QCoreApplication *application = QCoreApplication::instance();
    {
        QMutexLocker locker(&mutex);
        if (application)
            endedThreads.append(threads);
        else
            unburied += threads;
        threads.clear();
    }
    if (application) {
        QMetaObject::invokeMethod(
            application, [] { Instance()->bury(); }, Qt::QueuedConnection);
    }
}

void DevLiveThrSetManager::bury()
{
    Threads ended; // deleted without the lock
    QMutexLocker locker(&mutex);
    if (!endedThreads.isEmpty())
        ended = endedThreads.takeFirst();
    locker.unlock();
}

void DevLiveThrSetManager::buryAll()
{
    Threads ended;
    QMutexLocker locker(&mutex);
    ended.swap(unburied);
    for (Threads &threads : endedThreads) {
        ended += threads;
        threads.clear();
    }
    locker.unlock();
}
