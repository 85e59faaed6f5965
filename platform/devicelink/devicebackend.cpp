// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicelink/devicebackend.h"

DeviceBackend::~DeviceBackend() = default;

HChannelStatus DeviceBackend::getConnectStatus() const
{
    return HChannelDisconnected;
}

HChannelStatus DeviceBackend::getStreamStatus(int, int) const
{
    return HChannelDisconnected;
}

int DeviceBackend::getChannelCount() const
{
    return 0;
}

int DeviceBackend::getStreamCount() const
{
    return 0;
}

int DeviceBackend::getStreamCountPerChannel() const
{
    return 0;
}

HTransportProtocol DeviceBackend::getStreamProtocol() const
{
    return HTransportProtocol(0);
}

QStringList DeviceBackend::getRtspUrls() const
{
    return QStringList();
}

QString DeviceBackend::getIPAddr() const
{
    return QString();
}

QString DeviceBackend::serialNumber() const
{
    return QString();
}

HRetError DeviceBackend::enableMediaTransmit(int, int, bool)
{
    return HRetRefused;
}

HRetError DeviceBackend::requestVideoIFrame(int, int)
{
    return HRetRefused;
}

HRetError DeviceBackend::readFrame(int, int, HFrameHeader *, int)
{
    return HRetRefused;
}

HRetError DeviceBackend::getCodecInfo(int, int, HVideoEncPara &, HAudioEncPara &)
{
    return HRetRefused;
}

HRetError DeviceBackend::setCodecInfo(int, int, HVideoEncPara &, HAudioEncPara &)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodStart(unsigned int, const VodStartPara &)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodStop(unsigned int)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodPause(unsigned int)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodResume(unsigned int)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodSeek(unsigned int, const QDateTime &)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodSetSpeed(unsigned int, int)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodReadFrame(unsigned int, HFrameHeader *, int)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodDownloadStart(unsigned int, const VodDownloadPara &)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodDownloadStop(unsigned int)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodReadDLFrame(unsigned int, HFrameHeader *, int)
{
    return HRetRefused;
}

HRetError DeviceBackend::vodGetDownloadSdp(unsigned int, VodSdp &)
{
    return HRetRefused;
}

HRetError DeviceBackend::startTalk(int)
{
    return HRetRefused;
}

HRetError DeviceBackend::stopTalk(int)
{
    return HRetRefused;
}

HRetError DeviceBackend::sendTalkData(char *, int, int)
{
    return HRetRefused;
}
