// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// LiveVideoWidget: its connections to the stream threads.
#include "core_live/livevideowidget.h"

#include "core_videobase/abstractvideothread.h"
#include "log.h"

namespace {

constexpr char kLogTag[] = "(lvvdwgt)";

constexpr auto kUnique = Qt::UniqueConnection; // queued, where the thread emits in its run()
// The thread stands still until the slot has returned, so lent frames stay valid and none pile up.
constexpr auto kBlocking = Qt::ConnectionType(Qt::BlockingQueuedConnection | Qt::UniqueConnection);

} // namespace

// Receivers that are virtual are reached in their override, by name and by member pointer alike.

void LiveVideoWidget::connectBaseSignalSlots(int index)
{
    using Thread = AbstractVideoThread;
    using Widget = LiveVideoWidget;
    const QString error = indexError(index);
    if (!error.isEmpty()) {
        VANTRA_LOG(Logger::Error) << error;
        return;
    }
    const Thread *thread = streamThreads.at(index).data();
    connect(thread, &QThread::started, this, &Widget::started, kUnique);
    connect(thread, &QThread::finished, this, &Widget::finished, kUnique);
    connect(thread, &Thread::receivePlayStart, this, &Widget::receivePlayStart, kBlocking);
    connect(thread, &Thread::receivePlayFinsh, this, &Widget::receivePlayFinsh, kBlocking);
    connect(thread, &Thread::sig_decoderDestroyed, this, &Widget::onDecoderDestroyed, kBlocking);
    connect(thread, &Thread::sig_connExceedMax, this, &Widget::sig_connExceedMax, kUnique);
    if (noStreamControl)
        return;
    connect(thread, &Thread::receiveAudioFormat, this, &Widget::openAudioOutput, kUnique);
    connect(thread, &Thread::receiveAudio, this, &Widget::playAudio, kUnique);
}

void LiveVideoWidget::disconnectBaseSignalSlots(int index)
{
    using Thread = AbstractVideoThread;
    const QString error = indexError(index);
    if (!error.isEmpty()) {
        VANTRA_LOG(Logger::Error) << error;
        return;
    }
    const Thread *thread = streamThreads.at(index).data();
    disconnect(thread, &QThread::started, this, nullptr);
    disconnect(thread, &Thread::receivePlayStart, this, nullptr);
    disconnect(thread, &Thread::receivePlayFinsh, this, nullptr);
    disconnect(thread, &Thread::sig_decoderDestroyed, this, nullptr);
    disconnect(thread, &Thread::sig_connExceedMax, this, nullptr);
    disconnect(thread, &Thread::receiveAudioFormat, this, nullptr);
    disconnect(thread, &Thread::receiveAudio, this, nullptr);
}

void LiveVideoWidget::connectStreamSignalSlots(int index)
{
    using Thread = AbstractVideoThread;
    using Widget = LiveVideoWidget;
    const QString error = indexError(index);
    if (!error.isEmpty()) {
        VANTRA_LOG(Logger::Error) << error;
        return;
    }
    const Thread *thread = streamThreads.at(index).data();
    connect(thread, SIGNAL(receiveImage(QImage, int)), this, SLOT(receiveImage(QImage, int)),
            kUnique);
    connect(thread, SIGNAL(snapImage(QImage, QString)), this, SIGNAL(snapImage(QImage, QString)),
            kUnique);
    connect(thread,
            SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)),
            this,
            SLOT(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)),
            kBlocking);
    connect(thread, SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)), this,
            SLOT(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)), kBlocking);
    connect(thread, SIGNAL(receiveFrame(int, int, quint8 *, bool)), this,
            SLOT(receiveFrame(int, int, quint8 *, bool)), kBlocking);
    connect(thread, SIGNAL(receiveFrame(int, int, quint8 *, qint32, bool)), this,
            SLOT(receiveFrame(int, int, quint8 *, qint32, bool)), kBlocking);
    connect(thread, SIGNAL(receiveSizeChanged()), this, SLOT(receiveSizeChanged()));
    connect(thread, &Thread::sig_updateCodecRender, this, &Widget::onUpdateCodecRender, kBlocking);
    connect(thread, &Thread::receiveRenderStart, this, &Widget::receiveRenderStart, kBlocking);
}

void LiveVideoWidget::disconnectStreamSignalSlots(int index)
{
    using Thread = AbstractVideoThread;
    const QString error = indexError(index);
    if (!error.isEmpty()) {
        VANTRA_LOG(Logger::Error) << error;
        return;
    }
    const Thread *thread = streamThreads.at(index).data();
    disconnect(thread, SIGNAL(receiveImage(QImage, int)), this, nullptr);
    disconnect(thread, SIGNAL(snapImage(QImage, QString)), this, nullptr);
    disconnect(
        thread,
        SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)),
        this, nullptr);
    disconnect(thread, SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)), this,
               nullptr);
    disconnect(thread, SIGNAL(receiveFrame(int, int, quint8 *, bool)), this, nullptr);
    disconnect(thread, SIGNAL(receiveFrame(int, int, quint8 *, qint32, bool)), this, nullptr);
    disconnect(thread, SIGNAL(receiveSizeChanged()), this, nullptr);
    disconnect(thread, &Thread::sig_updateCodecRender, this, nullptr);
    disconnect(thread, &Thread::receiveRenderStart, this, nullptr);
}
