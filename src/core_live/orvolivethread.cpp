// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/orvolivethread.h"

#include "core_live/livefilenames_p.h"
#include "core_video/devicesteps_p.h"
#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

namespace {

constexpr char kLogTag[] = "(orlvthr)";
constexpr int kBuiltMode = 1; ///< HVideoEncPara::mode of whoever builds a record

} // namespace

OrvoLiveThread::OrvoLiveThread(QObject *parent) : PvProtoVideoThread(parent)
{
    setObjectName(QStringLiteral("OrvoLiveThread"));
}

OrvoLiveThread::~OrvoLiveThread()
{
    endRun();
}

bool OrvoLiveThread::checkConnect()
{
    const auto dev = devicesteps::deviceOrError(*this, kLogTag);
    if (!dev)
        return false;
    const HChannelStatus status = devicesteps::waitUntilConnected(
        connectTimeout, stopped, [&] { return dev->getConnectStatus(); });
    if (status == HChannelConnected)
        return true;
    VANTRA_LOG(Logger::Info)
        << QStringLiteral("not connected (%1)").arg(static_cast<short>(status));
    return false;
}

bool OrvoLiveThread::initInput()
{
    // While the link is down there is nothing to ask for: the reads go on timing out.
    const auto dev = boundDevice();
    if (!dev || dev->getConnectStatus() != HChannelConnected)
        return true;
    const HRetError result = dev->enableMediaTransmit(channel, stream, true);
    if (result == HRetOk || result == HRetAlready) {
        exceedCount = 0;
        return true;
    }
    VANTRA_LOG(Logger::Warning) << QStringLiteral("start media transmit fail (%1:%2:%3)")
                                       .arg(channel)
                                       .arg(stream)
                                       .arg(static_cast<int>(result));
    if (result == HRetExceedMax) {
        ++exceedCount;
        emit sig_connExceedMax();
    }
    return false;
}

void OrvoLiveThread::closeVideo()
{
    const auto dev = boundDevice();
    if (dev && dev->getConnectStatus() == HChannelConnected)
        dev->enableMediaTransmit(channel, stream, false);
    PvProtoVideoThread::closeVideo();
}

int OrvoLiveThread::readFrame(HFrameHeader *frame, int timeoutMs)
{
    return devicesteps::readLiveFrame(*this, frame, timeoutMs, timeoutCount, getReadTimeout(),
                                      kLogTag);
}

void OrvoLiveThread::handlePreviewClose()
{
    // Sub streams keep theirs: they are cheap to hold, and first to be shown again.
    if (stream == kMainStream)
        destroyDecoders();
}

int OrvoLiveThread::getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio)
{
    return devicesteps::readCodecInfo(*this, video, audio, kLogTag);
}

void OrvoLiveThread::setMP4FileName(RecordType type)
{
    if (isRecordType(type))
        setFileName(type, newLiveRecordName(getSavePath(type), saver.at(type)));
}

void OrvoLiveThread::renameMP4File(RecordType type)
{
    const QString name = getFileName(type);
    if (!renameLiveRecord(name, channel))
        VANTRA_LOG(Logger::Error) << QStringLiteral("%1 is not exists").arg(name);
}

// --- What the frames say of the stream ----------------------------------------------------------

void OrvoLiveThread::beforeSaveMP4(HFrameHeader *frame)
{
    updateAVCodec(frame);
}

void OrvoLiveThread::updateAVCodec(HFrameHeader *frame)
{
    HVideoEncPara video;
    HAudioEncPara audio;
    if (getLatestRecordCodec(video, audio) != 0)
        return;
    // An unknown codec leaves the one known before, with the new form around it: that is intended.
    if (frame->isKeyFrame()) {
        const qint32 codecId = codecOfVideoFrame(frame->codecId);
        if (codecId != 0)
            video.codecId = codecId;
        else
            VANTRA_LOG(Logger::Warning) << "unknown code_id " << frame->codecId;
        video.width = frame->widthOrSampleRate;
        video.height = frame->heightOrBits;
        video.frameRate = frame->frameRateOrChannels;
        video.bitRate = frame->bitRate;
        video.mode = kBuiltMode;
    } else if (frame->isAudio()) {
        const qint32 codecId = codecOfAudioFrame(frame->codecId);
        if (codecId != 0)
            audio.codecId = codecId;
        audio.sampleRate = frame->widthOrSampleRate;
        audio.bitsPerSample = frame->heightOrBits;
        audio.channels = frame->frameRateOrChannels;
    }
    updateDeviceAVCodec(video, audio); // for other frames too, as they were read
}

void OrvoLiveThread::updateDeviceAVCodec(HVideoEncPara &video, HAudioEncPara &audio)
{
    const auto dev = devicesteps::deviceOrError(*this, kLogTag);
    if (!dev)
        return;
    const HRetError result = dev->setCodecInfo(channel, stream, video, audio);
    if (result != HRetOk)
        VANTRA_LOG(Logger::Error) << "set codec err " << static_cast<int>(result);
}
