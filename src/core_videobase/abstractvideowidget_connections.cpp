// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// AbstractVideoWidget: its connections to the thread whose pictures it shows.
#include "core_videobase/abstractvideowidget.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/threadconnections_p.h"

using threadconnection::kBlocking;
using threadconnection::kUnique;

// Receivers that are virtual are reached in their override, by name and by member pointer alike.
// The overloaded signals and the two that pass an image on are named by their signatures.

void AbstractVideoWidget::connectPictures(const AbstractVideoThread *thread)
{
    using Thread = AbstractVideoThread;
    using Widget = AbstractVideoWidget;
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
    connect(thread, &Thread::receiveSizeChanged, this, &Widget::receiveSizeChanged);
    connect(thread, &Thread::sig_updateCodecRender, this, &Widget::onUpdateCodecRender, kBlocking);
    connect(thread, &Thread::receiveRenderStart, this, &Widget::receiveRenderStart, kBlocking);
}

void AbstractVideoWidget::disconnectPictures(const AbstractVideoThread *thread)
{
    using Thread = AbstractVideoThread;
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
    disconnect(thread, &Thread::receiveSizeChanged, this, nullptr);
    disconnect(thread, &Thread::sig_updateCodecRender, this, nullptr);
    disconnect(thread, &Thread::receiveRenderStart, this, nullptr);
}
