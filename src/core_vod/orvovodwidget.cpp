// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_vod/orvovodwidget.h"

#include "core_vod/orvovodthread.h"
#include "core_vod/vodsnapnames_p.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

namespace {

constexpr char kLogTag[] = "(orvodwgt)";

} // namespace

OrvoVodWidget::OrvoVodWidget(QWidget *parent) : StandardVideoWidget(parent) {}

bool OrvoVodWidget::init(const QSharedPointer<HNetDevice> &dev, int channel)
{
    if (!dev || channel < 0) {
        VANTRA_LOG(Logger::Error) << QString::asprintf(
            "init param err (%p:%d)", static_cast<const void *>(dev.data()), channel);
        return false;
    }
    this->dev = dev;
    this->channel = channel;
    return true;
}

void OrvoVodWidget::setVodStartPara(const VodStartPara &para)
{
    vodStartPara = para;
}

bool OrvoVodWidget::isReadStreamTimeout() const
{
    return !videoThread || videoThread->isReadTimeout();
}

void OrvoVodWidget::snap(const QString &path, bool preview)
{
    if (!videoThread)
        return;
    videoThread->snap(vodSnapName(path, QDateTime::currentDateTime(), channel));
    videoThread->setSnapPreview(preview);
}

bool OrvoVodWidget::createVideoThread()
{
    if (!videoThread)
        videoThread = new OrvoVodThread(this);
    auto *thread = qobject_cast<OrvoVodThread *>(videoThread.data());
    if (!thread)
        return false;
    // Without a device this is told, and the thread ends by itself: that is intended.
    thread->bindDevice(dev);
    thread->setVideoMode(widgetPara.videoMode);
    thread->setHardware(videoPara.hardware);
    thread->setReadTimeout(videoPara.readTimeout);
    thread->setConnectTimeout(videoPara.connectTimeout);
    thread->setStreamChannel(channel, kMainStream);
    thread->setVodStartPara(vodStartPara);
    return true;
}

void OrvoVodWidget::releaseVideoThread()
{
    if (!videoThread)
        return;
    if (videoThread->previewRef() > 0)
        videoThread->previewRef().fetch_sub(1);
    videoThread->stop();
    stoppedThreads.append(videoThread);
    videoThread = nullptr;
}
