// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/encpara.h"
#include "devicelink/hframeheader.h"
#include "devicelink/hretcodes.h"
#include "devicelink/vodrecords.h"

#include <QStringList>

/// What stands behind an HNetDevice: a protocol, a simulator, a script. The operations, their
/// answers and what they are expected to do are those of HNetDevice; a backend overrides those that
/// it has, and every other one refuses: HRetRefused, not connected, nothing there.
///
/// All operations are called on several threads at once, with no lock held: one thread per open
/// stream, playback and download reads, the GUI thread asks and steers, an audio thread talks. A
/// backend brings its own locks, and never holds one while it waits for a frame of one stream that
/// a call for another would need. It may be destroyed on any of these threads, with no call left.
class VANTRA_DEVICELINK_EXPORT DeviceBackend
{
    Q_DISABLE_COPY(DeviceBackend)

public:
    DeviceBackend() = default;
    virtual ~DeviceBackend() = 0;

    /// Device and topology: as in HNetDevice.
    virtual HChannelStatus getConnectStatus() const;
    virtual HChannelStatus getStreamStatus(int channel, int stream) const;
    virtual int getChannelCount() const;
    virtual int getStreamCount() const;
    virtual int getStreamCountPerChannel() const;
    virtual HTransportProtocol getStreamProtocol() const;
    virtual QStringList getRtspUrls() const;
    virtual QString getIPAddr() const;
    virtual QString serialNumber() const;

    /// Live stream: as in HNetDevice.
    virtual HRetError enableMediaTransmit(int channel, int stream, bool enable);
    virtual HRetError requestVideoIFrame(int channel, int stream);
    virtual HRetError readFrame(int channel, int stream, HFrameHeader *frame, int timeoutMs);
    virtual HRetError getCodecInfo(int channel, int stream, HVideoEncPara &video,
                                   HAudioEncPara &audio);
    virtual HRetError setCodecInfo(int channel, int stream, HVideoEncPara &video,
                                   HAudioEncPara &audio);

    /// Recorded playback, at most one per channel: as in HNetDevice.
    virtual HRetError vodStart(unsigned int channel, const VodStartPara &para);
    virtual HRetError vodStop(unsigned int channel);
    virtual HRetError vodPause(unsigned int channel);
    virtual HRetError vodResume(unsigned int channel);
    virtual HRetError vodSeek(unsigned int channel, const QDateTime &time);
    virtual HRetError vodSetSpeed(unsigned int channel, int speed);
    virtual HRetError vodReadFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs);

    /// Download of recorded video, at most one per channel: as in HNetDevice.
    virtual HRetError vodDownloadStart(unsigned int channel, const VodDownloadPara &para);
    virtual HRetError vodDownloadStop(unsigned int channel);
    virtual HRetError vodReadDLFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs);
    virtual HRetError vodGetDownloadSdp(unsigned int channel, VodSdp &sdp);

    /// Talk, always on channel 0: as in HNetDevice.
    virtual HRetError startTalk(int channel);
    virtual HRetError stopTalk(int channel);
    virtual HRetError sendTalkData(char *data, int size, int channel);
};
