// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/encpara.h"
#include "devicelink/hframeheader.h"
#include "devicelink/hretcodes.h"
#include "devicelink/vodrecords.h"

#include <QStringList>

#include <memory>

class DeviceBackend;

/// One network camera or recorder, as the host hands it to widgets and threads, which share it by
/// QSharedPointer. Everything behind it, login and protocol, is the backend's.
///
/// All operations may be called on any thread and from several at once; none is retried here.
/// `channel` counts from 0, `stream` from 0 within its channel, 0 being the main stream.
class VANTRA_DEVICELINK_EXPORT HNetDevice
{
    Q_DISABLE_COPY(HNetDevice)

public:
    /// Owns the backend. Without one (null), every operation refuses.
    explicit HNetDevice(std::unique_ptr<DeviceBackend> backend);
    /// No call may be under way.
    ~HNetDevice();

    // Device and topology

    /// State of the link to the device. Polled ten times a second while a stream starts.
    HChannelStatus getConnectStatus() const;
    /// State of one stream; HChannelConnected once it is opened.
    HChannelStatus getStreamStatus(int channel, int stream) const;
    /// Channels are numbered from 0 to this minus 1.
    int getChannelCount() const;
    /// Streams of all channels together. Every flat index lies below it.
    int getStreamCount() const;
    /// The same for every channel; see flatStreamIndex().
    int getStreamCountPerChannel() const;
    /// How the device sends its live streams.
    HTransportProtocol getStreamProtocol() const;
    /// One address per stream, in the order of flat indices. Empty without HTransportRtsp.
    QStringList getRtspUrls() const;
    /// Only for texts of the log.
    QString getIPAddr() const;
    /// Tells devices apart; handed on when talking to one fails.
    QString serialNumber() const;

    // Live stream

    /// Starts or ends sending. Repeated after every time-out: HRetAlready where it is already on.
    /// HRetExceedMax where the device takes no further connection.
    HRetError enableMediaTransmit(int channel, int stream, bool enable);
    /// Asks for a key frame as soon as may be.
    HRetError requestVideoIFrame(int channel, int stream);
    /// Waits at most `timeoutMs`, then answers HRetTimeout. On HRetOk one whole frame is in the
    /// buffer `frame`, which the caller owns: kHFrameBufferSize bytes, so at most kHFrameMaxPayload
    /// (1 MiB + 8) bytes of payload. Must not hold up a read of another stream.
    HRetError readFrame(int channel, int stream, HFrameHeader *frame, int timeoutMs);
    /// The newest parameters known of a stream.
    HRetError getCodecInfo(int channel, int stream, HVideoEncPara &video, HAudioEncPara &audio);
    /// Parameters as seen in frames, kept per stream so that the next getCodecInfo() answers them.
    HRetError setCodecInfo(int channel, int stream, HVideoEncPara &video, HAudioEncPara &audio);

    // Recorded playback, at most one per channel

    /// Opens the playback. HRetAlready counts as success; HRetExceedMax as in
    /// enableMediaTransmit().
    HRetError vodStart(unsigned int channel, const VodStartPara &para);
    /// Closes it.
    HRetError vodStop(unsigned int channel);
    /// Stops delivery.
    HRetError vodPause(unsigned int channel);
    /// Goes on with delivery.
    HRetError vodResume(unsigned int channel);
    /// Goes on with delivery from that time.
    HRetError vodSeek(unsigned int channel, const QDateTime &time);
    /// A whole multiple of the recorded speed; slower than that arrives as 0, see wholeSpeed().
    HRetError vodSetSpeed(unsigned int channel, int speed);
    /// As readFrame(), and HRetEndOfFile at the end of the recording.
    HRetError vodReadFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs);

    // Download of recorded video, at most one per channel

    /// Opens the download. HRetExceedMax as in enableMediaTransmit().
    HRetError vodDownloadStart(unsigned int channel, const VodDownloadPara &para);
    /// Closes it.
    HRetError vodDownloadStop(unsigned int channel);
    /// As vodReadFrame().
    HRetError vodReadDLFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs);
    /// The stream as it stands now. Asked on every key frame while a file is written. `sdp` arrives
    /// as a new record.
    HRetError vodGetDownloadSdp(unsigned int channel, VodSdp &sdp);

    // Talk, always on channel 0

    /// HRetBusy where somebody else is talking.
    HRetError startTalk(int channel);
    /// Ends it.
    HRetError stopTalk(int channel);
    /// `size` bytes of encoded sound. `data` is the caller's and is lent for the call.
    HRetError sendTalkData(char *data, int size, int channel);

private:
    const std::unique_ptr<DeviceBackend> m_backend;
};
