// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/zelklivethread.h"

#include "core_live/livefilenames_p.h"
#include "core_video/devicesteps_p.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

#include <QtDebug>

namespace {

constexpr char kLogTag[] = "(zklvthr)";

} // namespace

ZelkLiveThread::ZelkLiveThread(QObject *parent) : PvProtoVideoThread(parent)
{
    setObjectName(QStringLiteral("ZelkLiveThread"));
}

ZelkLiveThread::~ZelkLiveThread()
{
    endRun();
}

bool ZelkLiveThread::checkConnect()
{
    const auto dev = devicesteps::deviceOrError(*this, kLogTag);
    if (!dev)
        return false;
    const HChannelStatus status = devicesteps::waitUntilConnected(
        connectTimeout, stopped, [&] { return dev->getStreamStatus(channel, stream); });
    if (status == HChannelConnected)
        return true;
    VANTRA_LOG(Logger::Info) << QStringLiteral("stream not opened (%1:%2:%3)")
                                    .arg(channel)
                                    .arg(stream)
                                    .arg(static_cast<short>(status));
    return false;
}

bool ZelkLiveThread::initInput()
{
    const auto dev = devicesteps::deviceOrError(*this, kLogTag);
    if (!dev)
        return false;
    const HRetError result = dev->enableMediaTransmit(channel, stream, true);
    if (result == HRetAlready)
        return true; // it is flowing, and need not begin anew
    if (result != HRetOk) {
        // HRetExceedMax is a refusal like any other here: that is intended.
        VANTRA_LOG(Logger::Warning) << QStringLiteral("start media transmit fail (%1:%2:%3)")
                                           .arg(channel)
                                           .arg(stream)
                                           .arg(static_cast<int>(result));
        return false;
    }
    const HRetError asked = dev->requestVideoIFrame(channel, stream);
    if (asked != HRetOk) {
        VANTRA_LOG(Logger::Warning) << QStringLiteral("req i fram fail (%1:%2:%3)")
                                           .arg(channel)
                                           .arg(stream)
                                           .arg(static_cast<int>(asked));
    }
    return true;
}

void ZelkLiveThread::closeVideo()
{
    const auto dev = boundDevice();
    if (dev) // without asking for the state of the stream: that is intended
        dev->enableMediaTransmit(channel, stream, false);
    PvProtoVideoThread::closeVideo();
}

int ZelkLiveThread::readFrame(HFrameHeader *frame, int timeoutMs)
{
    return devicesteps::readLiveFrame(*this, frame, timeoutMs, timeoutCount, getReadTimeout(),
                                      kLogTag);
}

void ZelkLiveThread::handlePreviewClose()
{
    // Sub streams keep theirs: they are cheap to hold, and first to be shown again.
    if (stream == kMainStream)
        destroyDecoders();
}

int ZelkLiveThread::getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio)
{
    return devicesteps::readCodecInfo(*this, video, audio, kLogTag);
}

void ZelkLiveThread::setMP4FileName(RecordType type)
{
    if (isRecordType(type))
        setFileName(type, newLiveRecordName(getSavePath(type), saver.at(type)));
}

void ZelkLiveThread::renameMP4File(RecordType type)
{
    // To Qt's own output and not to the log of the library: that is intended.
    const QString name = getFileName(type);
    if (!renameLiveRecord(name, channel))
        qCritical("%s", qUtf8Printable(QStringLiteral("%1 is not exists").arg(name)));
}
