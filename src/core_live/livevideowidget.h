// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideowidget.h"
#include "devicelink/hretcodes.h"
#include "vantraglobal.h"

#include <QHash>
#include <QSharedPointer>
#include <QVector>

#include <atomic>

class AbstractVideoThread;
class DevLiveThrSet;
class HNetDevice;

/// Shows the live picture of one channel of a device. It owns no stream thread: it borrows those of
/// the set that all widgets of the device share, starts the streams that it wants, and shows one of
/// them at a time. Changing from main to sub stream shows another running thread, without
/// reconnecting.
///
///     widget.init(device, channel, -1);
///     widget.start();
///     widget.playStart(0);   // then replay(), snap(), recordStart(), talkStart() ...
///     widget.playStop(true);
///     widget.stop(false);
///
/// `stream` counts within the channel; 0 is the main stream, on which recordStart() always records,
/// whichever is shown; nothing is recorded until somebody runs it, which a widget does with those
/// of its mask. Recordings go on without a widget.
///
/// Reports. sig_receivePlayStart comes when every stream that this widget has started plays, and
/// for each stream that was playing when the widget joined; sig_receivePlayFinsh when none does any
/// more, in stop() once for each stream of the device from there on. A stream that a device of
/// HTransportOrvo refuses for want of connections is sig_connExceedMax.
///
/// References. playStart() counts the widget on the stream that it shows, playStop() takes that
/// back. stop() alone does not, and neither does the destruction of the widget: a stream that is
/// still counted goes on, and its set with it.
///
/// Threads. GUI thread only. It never waits for a stream thread: those are ended by the manager of
/// the sets. Picture and state signals of the stream threads are blocking, so a thread stands still
/// while its slot here runs; a host may delete the widget, or stop it, in any of its reports.
class VANTRA_EXPORT LiveVideoWidget : public AbstractVideoWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(LiveVideoWidget)

public:
    /// `protocol` must be the one that the devices send by.
    explicit LiveVideoWidget(HTransportProtocol protocol, QWidget *parent = nullptr);
    ~LiveVideoWidget() override;

    /// What to show; only while stopped. Bit n of `streamMask` selects stream n of the channel; -1
    /// all. A channel that the device does not have is found out by nobody: such a widget starts
    /// and shows nothing. False, with an error in the log: no device, or a mask of 0.
    bool init(const QSharedPointer<HNetDevice> &dev, int channel, int streamMask);
    /// Joins the device's set and starts the streams that do not run yet; true also if started
    /// before. The configured video mode and hardware reach running streams too: the last widget to
    /// start decides them. False, with an error in the log: no init(), no set for the device, a
    /// device without streams, or with another number of streams than its set, which is let go of
    /// if nobody uses it.
    bool start();
    /// Leaves the set. Streams of the device that nobody shows or records are told to end, with
    /// `force` all of them, of all channels and whoever uses them. A set without references is let
    /// go of.
    void stop(bool force);
    /// Shows a stream, whether this widget has started it or not. An error in the log before
    /// start(); nothing for a stream that the device does not have.
    void playStart(int stream);
    /// Ends showing; with `clear` the picture goes too.
    void playStop(bool clear);
    /// Shows another stream. The old picture stays until the first new one, unless the main stream,
    /// no longer shown by anybody, ends its decoder before.
    void replay(int stream);

    /// Saves the next picture of the shown stream as PATH/yyyy-MM-dd/live/TIME_CHANNEL.jpg; with
    /// `preview` snapImage tells when.
    void snap(const QString &path = QString(), bool preview = false) override;
    /// Two-way talk with the device; refusals come as sig_startTalkDeviceBusy and
    /// sig_startTalkError.
    void talkStart() override;
    /// Ends it as soon as the sound worker comes to it; a stop() that comes first ends the worker.
    void talkStop() override;

    /// Whether the last attempts to open the shown stream failed; false while none is shown, and
    /// always for HTransportRtsp, whose threads do not count them.
    bool isOpenStreamTimeout() const;
    /// Whether the shown stream has timed out. True while none is shown: other than above, and
    /// meant so, as nothing is read then.
    bool isReadStreamTimeout() const;
    /// Whether a device of HTransportOrvo refuses the shown stream for want of connections; false
    /// with the others.
    bool isStreamExceedMax() const;

protected:
    void closeEvent(QCloseEvent *event) override;
    void startAudioThread() override;
    void stopAudioThread() override;
    void started() override;
    void finished() override;
    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject *sender) override;
    /// Sound of the stream that is shown, and of no other.
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize) override;
    void playAudio(const QByteArray &data) override;

private:
    /// What this widget knows of one stream of the device.
    struct StreamState
    {
        bool used = false;        ///< selected by the mask
        bool thrStarted = false;  ///< its thread is up
        bool playStarted = false; ///< its thread has reported the start of play here
        bool previewing = false;  ///< shown here, and counted in previewRef()
    };

    /// Place of a stream of this channel among all streams; 0 without a device.
    int stream2Index(int stream) const;
    bool initVideoThrSet(const QSharedPointer<HNetDevice> &dev);
    void releaseVideoThrSet(const QSharedPointer<HNetDevice> &dev);
    /// State and sound of a stream. Unmade but for QThread::finished, which stays: the real end of
    /// a thread still reaches a widget that has let go of it.
    void connectBaseSignalSlots(int index);
    void disconnectBaseSignalSlots(int index);
    /// What only a shown stream needs.
    void connectStreamSignalSlots(int index);
    void disconnectStreamSignalSlots(int index);
    void handleThrStarted(const QObject *thread);
    void handleThrFinished(const QObject *thread);

    bool joinStream(int stream);
    bool bringUpToDate(const QSharedPointer<AbstractVideoThread> &thread);
    void startThread(AbstractVideoThread *thread);
    void restartAfterStop(const QObject *thread);
    bool reportEnd(AbstractVideoThread *thread);
    /// Static: a host may have deleted the widget before.
    static void releaseUnused(const QSharedPointer<DevLiveThrSet> &set);
    /// -1 if it is none of the streams.
    int indexOf(const QObject *thread) const;
    bool isFormerThread(const QObject *object) const;
    /// Null, with an error in the log, for an index without a thread.
    const AbstractVideoThread *threadAt(int index) const;

    std::atomic<bool> isInit{false};
    std::atomic<bool> isStart{false};
    HTransportProtocol protocol;
    int streamMask = -1; ///< bit n: stream n of the channel
    QSharedPointer<HNetDevice> dev;
    int channel = 0;
    QSharedPointer<DevLiveThrSet> thrSet;
    QVector<StreamState> streamStates; ///< of all streams of the device, by flatStreamIndex()
    QVector<QSharedPointer<AbstractVideoThread>> streamThreads; ///< in the same order

    bool isChanging = false;   ///< start() or stop() is under way, and may be calling a host
    bool isDirectCall = false; ///< a slot is being called by this widget, not for a signal
    /// Threads that were running when they were joined, but had been told to stop before, with the
    /// number of those orders: they are started again when they have ended.
    QHash<const QObject *, int> endingThreads;
};
