// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/ffrtsplivethread.h"

#include "core_live/livefilenames_p.h"
#include "core_video/devicesteps_p.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

namespace {
constexpr char kLogTag[] = "(ffrlthr)";
}

FFRtspLiveThread::FFRtspLiveThread(QObject *parent) : FFmpegVideoThread(parent)
{
    setObjectName(QStringLiteral("FFRtspLiveThread"));
}

FFRtspLiveThread::~FFRtspLiveThread()
{
    endRun();
}

bool FFRtspLiveThread::parseVideoUrl()
{
    const auto dev = devicesteps::deviceOrError(*this, kLogTag);
    if (!dev)
        return false;
    const int index = flatStreamIndex(dev->getStreamCountPerChannel(), channel, stream);
    const QStringList urls = dev->getRtspUrls();
    if (index < 0 || index >= urls.size()) {
        VANTRA_LOG(Logger::Error)
            << QStringLiteral("get urls (%1:%2)  fail").arg(urls.size()).arg(index);
        return false;
    }
    setVideoUrl(urls.at(index));
    return true;
}

int FFRtspLiveThread::getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio)
{
    return devicesteps::readCodecInfo(*this, video, audio, kLogTag);
}

void FFRtspLiveThread::setMP4FileName(RecordType type)
{
    if (isRecordType(type))
        setFileName(type, newLiveRecordName(getSavePath(type), saver.at(type)));
}

void FFRtspLiveThread::renameMP4File(RecordType type)
{
    const QString name = getFileName(type);
    if (!renameLiveRecord(name, channel))
        VANTRA_LOG(Logger::Warning) << QStringLiteral("%1 not exist").arg(name);
}
