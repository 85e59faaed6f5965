// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideowidget.h"

#include <QList>

#include <atomic>

class QDateTime;

/// Base of every widget that plays through one stream thread of its own: start and stop of that
/// thread, the connections to it, and playback control. A subclass makes the thread.
///
/// The stop from the host and the end that the thread reports take the same path,
/// receivePlayFinsh(). Nothing here waits for a stream thread: it is told to stop and let go of,
/// and its QThread::finished, which stays connected, turns `isRunning` off.
class VANTRA_EXPORT StandardVideoWidget : public AbstractVideoWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(StandardVideoWidget)

public:
    explicit StandardVideoWidget(QWidget *parent = nullptr); ///< not started
    ~StandardVideoWidget() override;

    /// Starts play; true also if it has been started before. False, with a log line, if the
    /// subclass could not make a thread.
    virtual bool start();
    virtual void stop();   ///< returns at once
    virtual void pause();  ///< of its thread
    virtual void resume(); ///< of its thread
    /// Queued to the thread's slot of the same name, if the thread runs.
    virtual void seekFile(const QDateTime &dateTime);
    /// As seekFile(). 1.0 is the speed of recording.
    virtual void setSpeed(double speed);

signals:
    void receivePosition(qlonglong position); ///< as the thread tells it

protected:
    /// Sees to it that `videoThread` is set and has all its parameters; returns whether it can be
    /// started. The thread is to be a child of this widget, so that it outlives its own end.
    virtual bool createVideoThread() = 0;
    /// With a `videoThread`: takes back previewRef (not below 0), stops the thread, appends it to
    /// `stoppedThreads`, and sets `videoThread` to null.
    virtual void releaseVideoThread() = 0;

    void closeEvent(QCloseEvent *event) override;
    void finished() override;
    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject *thread) override;

    /// State and sound. Unmade but for QThread::finished, the two errors and the position, which
    /// stay: a stopping thread still reports them.
    void connectBaseSignalSlots();
    void disconnectBaseSignalSlots();
    /// Pictures and what belongs to them.
    void connectStreamSignalSlots();
    void disconnectStreamSignalSlots();
    /// Forgets the stopped threads that have ended. It deletes none.
    void removeStoppedVideoThreads();

    std::atomic<int> isStart{0}; ///< 1 from a successful start() to receivePlayFinsh()
    QList<QPointer<AbstractVideoThread>> stoppedThreads; ///< told to stop, perhaps still running

private:
    bool isStopped(const QObject *thread) const;
};
