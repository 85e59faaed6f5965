// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/zelklivethread.h"

#include "core_live/livefilenames_p.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

#include <QtDebug>

namespace {

constexpr char kLogTag[] = "(zklvthr)";
constexpr int kConnectPollMs = 100;
constexpr int kSilentTimeouts = 4; ///< in a row; each further one is told
constexpr int kMainStream = 0;

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
    const auto dev = boundDevice();
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return false;
    }
    HChannelStatus status = HChannelDisconnected;
    for (int i = 0; i < connectTimeout / kConnectPollMs && !stopped; ++i) {
        status = dev->getStreamStatus(channel, stream);
        if (status == HChannelConnected)
            return true;
        msleep(kConnectPollMs);
    }
    VANTRA_LOG(Logger::Info) << QStringLiteral("stream not opened (%1:%2:%3)")
                                    .arg(channel)
                                    .arg(stream)
                                    .arg(static_cast<short>(status));
    return false;
}

bool ZelkLiveThread::initInput()
{
    const auto dev = boundDevice();
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return false;
    }
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
    const auto dev = boundDevice();
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return DeviceReadError;
    }
    const HRetError answer = dev->readFrame(channel, stream, frame, timeoutMs);
    const DeviceReadResult result = liveReadResult(answer);
    if (result == DeviceReadTimeout && timeoutCount >= kSilentTimeouts) {
        VANTRA_LOG(Logger::Info) << QStringLiteral("read [%1:%2] frame timeout(%3 ms) ")
                                        .arg(dev->getIPAddr(), QString::number(stream),
                                             QString::number(getReadTimeout()));
    } else if (result == DeviceReadError) {
        VANTRA_LOG(Logger::Error) << "read frame err " << static_cast<int>(answer);
    }
    return result;
}

void ZelkLiveThread::handlePreviewClose()
{
    // Sub streams keep theirs: they are cheap to hold, and first to be shown again.
    if (stream == kMainStream)
        destroyDecoders();
}

int ZelkLiveThread::getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio)
{
    const auto dev = boundDevice();
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return -1;
    }
    const HRetError result = dev->getCodecInfo(channel, stream, video, audio);
    if (result != HRetOk) {
        VANTRA_LOG(Logger::Error) << "get codec err " << static_cast<int>(result);
        return -1;
    }
    return 0;
}

void ZelkLiveThread::setMP4FileName(RecordType type)
{
    if (isRecordType(type))
        setFileName(type, newLiveRecordName(getSavePath(type)));
}

void ZelkLiveThread::renameMP4File(RecordType type)
{
    // To Qt's own output and not to the log of the library: that is intended.
    const QString name = getFileName(type);
    if (!renameLiveRecord(name, channel))
        qCritical("%s", qUtf8Printable(QStringLiteral("%1 is not exists").arg(name)));
}
