// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/devicebackend.h"
#include "support/sources.h"

/// A recorder whose one recording is the video of a file, handed out as fast as it is read.
class FileDevice final : public DeviceBackend
{
public:
    explicit FileDevice(const QString &file);

    HRetError vodDownloadStart(unsigned int channel, const VodDownloadPara &para) override;
    HRetError vodDownloadStop(unsigned int channel) override;
    HRetError vodReadDLFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs) override;
    HRetError vodGetDownloadSdp(unsigned int channel, VodSdp &sdp) override;

private:
    VideoInput input;
    AVPacketPtr packet;
};
