// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_live/videothrmux/devlivethrset.h"
#include "vantraglobal.h"

#include <QHash>
#include <QList>
#include <QMetaType>
#include <QMutex>
#include <QObject>
#include <QScopedPointer>
#include <QSet>
#include <QSharedPointer>
#include <QThread>
#include <QVector>

using PtrDevLiveThrSet = QSharedPointer<DevLiveThrSet>;
Q_DECLARE_METATYPE(PtrDevLiveThrSet)

/// The sets of live stream threads of the process, one in use per device. It ends sets on a thread
/// of its own, so that no widget ever waits for a stream thread.
///
/// A set that is let go of leaves its device at once and ends in its own time; whoever asks for the
/// device meanwhile makes a new one, and both exist for a while.
///
/// Threads. getVideoThreadSet() and releaseVideoThreadSet() may be called on any thread,
/// newVideoThreadSet(), start() and stop() belong to the GUI thread. Until start() and after stop()
/// sets can be had, but none that is let go of ends.
///
/// Ownership. The manager shares a set until all its threads have ended. The thread objects, which
/// live on the GUI thread, are deleted there.
class VANTRA_EXPORT DevLiveThrSetManager : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(DevLiveThrSetManager)

public:
    /// The one of the process, made at the first call. Any thread.
    static DevLiveThrSetManager *Instance();
    ~DevLiveThrSetManager() override;

    /// Starts the manager's thread; always true. Vantra::init() calls it. While a stop() is under
    /// way, the start follows its end.
    bool start();
    /// Ends every set there is and waits for that, without a limit. Slots of the GUI thread may be
    /// called meanwhile, as stream threads may be waiting for them. Nothing, not even to the sets,
    /// while the manager's thread does not run. Vantra::release() calls it.
    ///
    /// In a report of a widget it returns at once, since a stream thread may be waiting for that
    /// report to return; the sets end then. So it does where it is called in a slot that another
    /// stop() delivers.
    void stop();
    bool isRunning() const; ///< between start() and stop()

    /// The set in use for the device; null if there is none. Null with an error in the log: no
    /// device.
    PtrDevLiveThrSet getVideoThreadSet(const QSharedPointer<HNetDevice> &dev);
    /// Makes a set and puts it into use, in the place of the one there may be. Null, with an error
    /// in the log, where there is no device or the set cannot be bound.
    PtrDevLiveThrSet newVideoThreadSet(const QSharedPointer<HNetDevice> &dev,
                                       HTransportProtocol protocol);
    /// Takes the set of the device out of use at once and has it ended; returns at once.
    void releaseVideoThreadSet(const QSharedPointer<HNetDevice> &dev);

private slots:
    /// Ends one set, on the manager's thread.
    void slot_releaseVThreadSet(const PtrDevLiveThrSet &set);
    /// Ends all sets, when the manager's thread has finished, still on it.
    void slot_quitAllVideoThreadSets();

private:
    DevLiveThrSetManager();
    /// Unbinds a set that has ended; its threads are deleted by bury().
    void unbind(const PtrDevLiveThrSet &set);
    /// Deletes the threads of the set that ended first, on the GUI thread. Those of others may not
    /// have told their end there yet.
    void bury();
    /// Those of all sets; a bury() that is still to come finds the place of its set empty.
    void buryAll();
    /// The second half of stop(), as soon as it may wait.
    void awaitEnd();
    /// Ends what there is, whether the manager's thread runs or not.
    void endAll();
    /// For the end of the application, which stop() may have been forgotten at.
    static void stopWithApplication();
    /// For the end of the process by exit(), at which there may be an application that lives on.
    static void endWithProcess();

    QMutex mutex; ///< guards the containers
    QHash<HNetDevice *, PtrDevLiveThrSet> deviceSets;
    QSet<PtrDevLiveThrSet> allSets; ///< made and not yet ended, in use or not
    using Threads = QVector<QSharedPointer<AbstractVideoThread>>;
    QList<Threads> endedThreads; ///< of each ended set, in their order, one for each bury()
    Threads unburied;            ///< that ended where there was no application
    QThread thread;

    // On the GUI thread.
    bool isEnding = false;    ///< told to stop; the end has not been seen yet
    bool isWaiting = false;   ///< for that end
    bool startWanted = false; ///< once that end has come
    QMetaObject::Connection endReport;

    static QScopedPointer<DevLiveThrSetManager> self;
};
