// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicelink/hnetdevice.h"

#include "devicelink/devicebackend.h"

#include <utility>

namespace {

/// Spares every operation the question whether there is a backend.
class NoBackend final : public DeviceBackend
{
};

} // namespace

HNetDevice::HNetDevice(std::unique_ptr<DeviceBackend> backend)
    : m_backend(backend ? std::move(backend) : std::make_unique<NoBackend>())
{
}

HNetDevice::~HNetDevice() = default;

HChannelStatus HNetDevice::getConnectStatus() const
{
    return m_backend->getConnectStatus();
}

HChannelStatus HNetDevice::getStreamStatus(int channel, int stream) const
{
    return m_backend->getStreamStatus(channel, stream);
}

int HNetDevice::getChannelCount() const
{
    return m_backend->getChannelCount();
}

int HNetDevice::getStreamCount() const
{
    return m_backend->getStreamCount();
}

int HNetDevice::getStreamCountPerChannel() const
{
    return m_backend->getStreamCountPerChannel();
}

HTransportProtocol HNetDevice::getStreamProtocol() const
{
    return m_backend->getStreamProtocol();
}

QStringList HNetDevice::getRtspUrls() const
{
    return m_backend->getRtspUrls();
}

QString HNetDevice::getIPAddr() const
{
    return m_backend->getIPAddr();
}

QString HNetDevice::serialNumber() const
{
    return m_backend->serialNumber();
}

HRetError HNetDevice::enableMediaTransmit(int channel, int stream, bool enable)
{
    return m_backend->enableMediaTransmit(channel, stream, enable);
}

HRetError HNetDevice::requestVideoIFrame(int channel, int stream)
{
    return m_backend->requestVideoIFrame(channel, stream);
}

HRetError HNetDevice::readFrame(int channel, int stream, HFrameHeader *frame, int timeoutMs)
{
    return m_backend->readFrame(channel, stream, frame, timeoutMs);
}

HRetError HNetDevice::getCodecInfo(int channel, int stream, HVideoEncPara &video,
                                   HAudioEncPara &audio)
{
    return m_backend->getCodecInfo(channel, stream, video, audio);
}

HRetError HNetDevice::setCodecInfo(int channel, int stream, HVideoEncPara &video,
                                   HAudioEncPara &audio)
{
    return m_backend->setCodecInfo(channel, stream, video, audio);
}

HRetError HNetDevice::vodStart(unsigned int channel, const VodStartPara &para)
{
    return m_backend->vodStart(channel, para);
}

HRetError HNetDevice::vodStop(unsigned int channel)
{
    return m_backend->vodStop(channel);
}

HRetError HNetDevice::vodPause(unsigned int channel)
{
    return m_backend->vodPause(channel);
}

HRetError HNetDevice::vodResume(unsigned int channel)
{
    return m_backend->vodResume(channel);
}

HRetError HNetDevice::vodSeek(unsigned int channel, const QDateTime &time)
{
    return m_backend->vodSeek(channel, time);
}

HRetError HNetDevice::vodSetSpeed(unsigned int channel, int speed)
{
    return m_backend->vodSetSpeed(channel, speed);
}

HRetError HNetDevice::vodReadFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs)
{
    return m_backend->vodReadFrame(channel, frame, timeoutMs);
}

HRetError HNetDevice::vodDownloadStart(unsigned int channel, const VodDownloadPara &para)
{
    return m_backend->vodDownloadStart(channel, para);
}

HRetError HNetDevice::vodDownloadStop(unsigned int channel)
{
    return m_backend->vodDownloadStop(channel);
}

HRetError HNetDevice::vodReadDLFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs)
{
    return m_backend->vodReadDLFrame(channel, frame, timeoutMs);
}

HRetError HNetDevice::vodGetDownloadSdp(unsigned int channel, VodSdp &sdp)
{
    return m_backend->vodGetDownloadSdp(channel, sdp);
}

HRetError HNetDevice::startTalk(int channel)
{
    return m_backend->startTalk(channel);
}

HRetError HNetDevice::stopTalk(int channel)
{
    return m_backend->stopTalk(channel);
}

HRetError HNetDevice::sendTalkData(char *data, int size, int channel)
{
    return m_backend->sendTalkData(data, size, channel);
}
