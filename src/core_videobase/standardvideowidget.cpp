// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/standardvideowidget.h"

#include "core_videobase/threadconnections_p.h"
#include "log.h"

#include <QDateTime>

#include <algorithm>

namespace {

constexpr char kLogTag[] = "(stdvwgt)";

} // namespace

using threadconnection::kBlocking;
using threadconnection::kUnique;

StandardVideoWidget::StandardVideoWidget(QWidget *parent) : AbstractVideoWidget(parent) {}

StandardVideoWidget::~StandardVideoWidget()
{
    for (const auto &thread : std::as_const(stoppedThreads)) {
        if (thread)
            thread->disconnect(this);
    }
}

bool StandardVideoWidget::start()
{
    // A play whose thread the host has deleted is over, though nothing has reported its end.
    if (isStart && videoThread)
        return true;
    removeStoppedVideoThreads();
    initWidgetHandle();
    if (!createVideoThread() || !videoThread) {
        VANTRA_LOG(Logger::Error) << "create video thread fail";
        return false;
    }
    connectBaseSignalSlots();
    connectStreamSignalSlots();
    videoThread->previewRef().fetch_add(1);
    videoThread->start(QThread::InheritPriority);
    startAudioThread();
    isStart.exchange(1);
    return true;
}

void StandardVideoWidget::stop()
{
    if (isStart && videoThread)
        QMetaObject::invokeMethod(this, "receivePlayFinsh", Qt::DirectConnection,
                                  Q_ARG(QObject *, videoThread.data()));
}

void StandardVideoWidget::pause()
{
    if (videoThread)
        videoThread->pause();
}

void StandardVideoWidget::resume()
{
    if (videoThread)
        videoThread->next();
}

void StandardVideoWidget::seekFile(const QDateTime &dateTime)
{
    if (videoThread && videoThread->isRunning())
        QMetaObject::invokeMethod(videoThread, "seekFile", Qt::QueuedConnection,
                                  Q_ARG(QDateTime, dateTime));
}

void StandardVideoWidget::setSpeed(double speed)
{
    if (videoThread && videoThread->isRunning())
        QMetaObject::invokeMethod(videoThread, "setSpeed", Qt::QueuedConnection,
                                  Q_ARG(double, speed));
}

void StandardVideoWidget::closeEvent(QCloseEvent *event)
{
    const QPointer<StandardVideoWidget> self(this);
    stop();
    if (self) // a host may delete the widget at the end of play
        AbstractVideoWidget::closeEvent(event);
}

bool StandardVideoWidget::isStopped(const QObject *thread) const
{
    return thread && thread != videoThread &&
           std::any_of(stoppedThreads.cbegin(), stoppedThreads.cend(),
                       [thread](const auto &stopped) { return stopped.data() == thread; });
}

// A report of a former thread belongs to a play that is over; the next three leave the present play
// alone then. The end stays connected, the others were in the event queue before they were
// disconnected.

void StandardVideoWidget::finished()
{
    // A thread that is about to report its end does not count as running any more, and so may have
    // been taken from stoppedThreads already.
    const auto *thread = qobject_cast<AbstractVideoThread *>(sender());
    if (thread && thread != videoThread && videoThread && videoThread->isRunning())
        return;
    AbstractVideoWidget::finished();
}

void StandardVideoWidget::receivePlayStart(int time)
{
    if (isStopped(sender()))
        return;
    AbstractVideoWidget::receivePlayStart(time);
    emit sig_receivePlayStart(time);
}

void StandardVideoWidget::receivePlayFinsh(QObject *thread)
{
    if (isStopped(thread))
        return;
    disconnectStreamSignalSlots(); // from here on no frame arrives
    disconnectBaseSignalSlots();
    releaseVideoThread();
    isStart.exchange(0);
    clear();
    const QPointer<StandardVideoWidget> self(this);
    AbstractVideoWidget::receivePlayFinsh(thread);
    if (!self || isStart)
        return; // the host has deleted the widget, or started the next play, whose sound runs now
    stopAudioThread();
    setDigitalZoom(false);
}

void StandardVideoWidget::removeStoppedVideoThreads()
{
    const auto ended = [](const QPointer<AbstractVideoThread> &thread) {
        return !thread || !thread->isRunning();
    };
    stoppedThreads.erase(std::remove_if(stoppedThreads.begin(), stoppedThreads.end(), ended),
                         stoppedThreads.end());
}

// Receivers that are virtual are reached in their override, by name and by member pointer alike.

void StandardVideoWidget::connectBaseSignalSlots()
{
    using Thread = AbstractVideoThread;
    using Widget = StandardVideoWidget;
    Thread *thread = videoThread;
    if (!thread)
        return;
    connect(thread, &QThread::started, this, &Widget::started, kUnique);
    connect(thread, &QThread::finished, this, &Widget::finished, kUnique);
    connect(thread, &Thread::receivePlayStart, this, &Widget::receivePlayStart, kBlocking);
    connect(thread, &Thread::receivePlayFinsh, this, &Widget::receivePlayFinsh, kBlocking);
    connect(thread, &Thread::sig_decoderDestroyed, this, &Widget::onDecoderDestroyed, kBlocking);
    connect(thread, &Thread::sig_connExceedMax, this, &Widget::sig_connExceedMax, kUnique);
    connect(thread, &Thread::sig_otherError, this, &Widget::sig_otherError, kUnique);
    connect(thread, &Thread::receivePosition, this, &Widget::receivePosition, kUnique);
    if (noStreamControl)
        return;
    connect(thread, &Thread::receiveAudioFormat, this, &Widget::openAudioOutput, kUnique);
    connect(thread, &Thread::receiveAudio, this, &Widget::playAudio, kUnique);
}

void StandardVideoWidget::disconnectBaseSignalSlots()
{
    using Thread = AbstractVideoThread;
    Thread *thread = videoThread;
    if (!thread)
        return;
    // QThread::finished, the two errors and the position stay connected: the real end of the
    // thread turns isRunning off, and a late error still reaches the host.
    disconnect(thread, &QThread::started, this, nullptr);
    disconnect(thread, &Thread::receivePlayStart, this, nullptr);
    disconnect(thread, &Thread::receivePlayFinsh, this, nullptr);
    disconnect(thread, &Thread::sig_decoderDestroyed, this, nullptr);
    if (noStreamControl)
        return;
    disconnect(thread, &Thread::receiveAudioFormat, this, nullptr);
    disconnect(thread, &Thread::receiveAudio, this, nullptr);
}

void StandardVideoWidget::connectStreamSignalSlots()
{
    if (videoThread)
        connectPictures(videoThread);
}

void StandardVideoWidget::disconnectStreamSignalSlots()
{
    if (videoThread)
        disconnectPictures(videoThread);
}
