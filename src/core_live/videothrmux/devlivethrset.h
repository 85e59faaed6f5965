// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/hretcodes.h"
#include "vantraglobal.h"

#include <QHash>
#include <QMutex>
#include <QSharedPointer>
#include <QVector>

class AbstractVideoThread;
class HNetDevice;
class QObject;

/// The live streams of one device, each fetched once: one stream thread per stream, made together,
/// idle, and shared by all widgets that show the device. A widget tells a thread its channel and
/// stream just before it starts it.
///
/// References. A thread counts the widgets that show it and its wanted recordings; the set is let
/// go of, by DevLiveThrSetManager, when a widget stops and finds no reference left on any stream. A
/// recording that outlives the last widget keeps the set until the next widget of this device
/// stops, or Vantra::release().
///
/// Threads. Made and bound on the GUI thread, on which the stream threads then live; quit, waited
/// for and unbound on the manager's. Every function may be called on any thread.
class VANTRA_EXPORT DevLiveThrSet
{
    Q_DISABLE_COPY(DevLiveThrSet)

public:
    DevLiveThrSet();
    /// Drops the threads, of which none may run.
    ~DevLiveThrSet();

    /// Makes a thread for each stream that the device has now, and binds it. Once per set. Returns
    /// 0; a device without streams gets a set without threads. -1, with an error in the log: no
    /// device; a device that sends by another protocol; a protocol that no thread plays, where the
    /// list has an entry per stream, empty from there on; more streams than a device can have,
    /// where none is made.
    int bindDevice(const QSharedPointer<HNetDevice> &dev, HTransportProtocol protocol);
    /// Lets go of the device and of the threads, none of which may run. Whoever shares a thread
    /// still keeps it, unbound.
    void unbindDevice();

    /// In the order of flatStreamIndex(). Empty before the bind and after the unbind.
    QVector<QSharedPointer<AbstractVideoThread>> getChannelThreads() const;
    /// Null before the bind and after the unbind.
    QSharedPointer<HNetDevice> getDevPtr() const;

    /// Widgets that show a stream, and wanted recordings, over all streams.
    int referenceCount() const;
    /// Whether some widget has marked a thread as one it has started. For hosts.
    bool isOwned() const;

    /// Tells every thread to end; returns at once.
    void quit();
    /// Waits, without a limit, until none runs. Not for the GUI thread, for which a stream thread
    /// may be waiting; there it delivers queued slot calls meanwhile.
    void wait();

private:
    friend class DevLiveThrSetManager;
    friend class LiveVideoWidget;

    /// As wait(), but a thread that has been started, or has started itself again, since quit() is
    /// told to end as well.
    void waitForEnd();

    QSharedPointer<HNetDevice> devPtr;
    HTransportProtocol protocol = HTransportZelk; ///< of the bind
    mutable QMutex mutex;                         ///< guards devPtr and threads; held for a copy
    QVector<QSharedPointer<AbstractVideoThread>> threads;

    // What the widgets tell each other, on the GUI thread.

    /// Hz, channels, bits, as a thread has announced them last.
    struct AudioForm
    {
        int sampleRate;
        int channelCount;
        int sampleSize;
    };
    QHash<const QObject *, AudioForm> audioForms; ///< by thread
    /// Orders to stop that widgets have given to a thread.
    struct StopOrders
    {
        int count = 0;        ///< ever
        bool isGiven = false; ///< since its last start
    };
    QHash<const QObject *, StopOrders> stopOrders; ///< by thread
};
