// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// LiveVideoWidget: its connections to the stream threads.
#include "core_live/livevideowidget.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/threadconnections_p.h"
#include "log.h"

namespace {

constexpr char kLogTag[] = "(lvvdwgt)";

} // namespace

using threadconnection::kBlocking;
using threadconnection::kUnique;

const AbstractVideoThread *LiveVideoWidget::threadAt(int index) const
{
    if (index < 0 || index >= streamThreads.size()) {
        VANTRA_LOG(Logger::Error)
            << QStringLiteral("invalid param (%1:%2)").arg(index).arg(streamThreads.size());
        return nullptr;
    }
    const AbstractVideoThread *thread = streamThreads.at(index).data();
    if (!thread)
        VANTRA_LOG(Logger::Error) << QStringLiteral("invalid param (%1)").arg(index);
    return thread;
}

// Receivers that are virtual are reached in their override, by name and by member pointer alike.

void LiveVideoWidget::connectBaseSignalSlots(int index)
{
    using Thread = AbstractVideoThread;
    using Widget = LiveVideoWidget;
    const Thread *thread = threadAt(index);
    if (!thread)
        return;
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
    const Thread *thread = threadAt(index);
    if (!thread)
        return;
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
    if (const AbstractVideoThread *thread = threadAt(index))
        connectPictures(thread);
}

void LiveVideoWidget::disconnectStreamSignalSlots(int index)
{
    if (const AbstractVideoThread *thread = threadAt(index))
        disconnectPictures(thread);
}
