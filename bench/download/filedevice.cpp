// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "filedevice.h"

#include "devicelink/hframeheader.h"

#include <cstring>

FileDevice::FileDevice(const QString &file) : input(file), packet(av_packet_alloc()) {}

HRetError FileDevice::vodDownloadStart(unsigned int, const VodDownloadPara &)
{
    return input.stream() ? HRetOk : HRetRefused;
}

HRetError FileDevice::vodDownloadStop(unsigned int)
{
    return HRetOk;
}

HRetError FileDevice::vodReadDLFrame(unsigned int, HFrameHeader *frame, int)
{
    if (!input.read(packet.get()))
        return HRetEndOfFile;
    if (packet->size > int(kHFrameMaxPayload))
        return HRetRefused;
    frame->frameType =
        packet->flags & AV_PKT_FLAG_KEY ? HFrameHeader::VideoKeyFrame : HFrameHeader::VideoFrame;
    frame->frameSize = quint32(packet->size);
    frame->pts = av_rescale_q(packet->pts, input.stream()->time_base, {1, 1000});
    std::memcpy(frame->payload(), packet->data, frame->frameSize);
    return HRetOk;
}

HRetError FileDevice::vodGetDownloadSdp(unsigned int, VodSdp &sdp)
{
    const AVCodecParameters *form = input.stream()->codecpar;
    sdp.hasVideo = true;
    sdp.video.codecId = form->codec_id == AV_CODEC_ID_HEVC ? HCodecH265 : HCodecH264;
    sdp.video.width = form->width;
    sdp.video.height = form->height;
    return HRetOk;
}
