// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/devicecontrol.h"

#include "devicelink/devicebackend.h"

#include <functional>

namespace vantrasim {

/// Cameras and a recorder in one process, as a host gets them: one connection to what a
/// DeviceControl runs. See simulateDevice().
class SimulatedDevice final : public DeviceBackend
{
public:
    explicit SimulatedDevice(std::shared_ptr<DeviceControl> control);
    /// Ends what is still open, as a device does whose client has gone.
    ~SimulatedDevice() override;

    HChannelStatus getConnectStatus() const override;
    HChannelStatus getStreamStatus(int channel, int stream) const override;
    int getChannelCount() const override;
    int getStreamCount() const override;
    int getStreamCountPerChannel() const override;
    HTransportProtocol getStreamProtocol() const override;
    QStringList getRtspUrls() const override;
    QString getIPAddr() const override;
    QString serialNumber() const override;

    HRetError enableMediaTransmit(int channel, int stream, bool enable) override;
    HRetError requestVideoIFrame(int channel, int stream) override;
    HRetError readFrame(int channel, int stream, HFrameHeader *frame, int timeoutMs) override;
    HRetError getCodecInfo(int channel, int stream, HVideoEncPara &video,
                           HAudioEncPara &audio) override;
    HRetError setCodecInfo(int channel, int stream, HVideoEncPara &video,
                           HAudioEncPara &audio) override;

    /// `time0` and `time1` are begin and end of what is played, `time2` where to begin (not valid:
    /// at the begin). Without an end it goes on to the time of the call.
    HRetError vodStart(unsigned int channel, const VodStartPara &para) override;
    HRetError vodStop(unsigned int channel) override;
    HRetError vodPause(unsigned int channel) override;
    HRetError vodResume(unsigned int channel) override;
    HRetError vodSeek(unsigned int channel, const QDateTime &time) override;
    /// 0, as which everything below 1 arrives, plays at half the speed.
    HRetError vodSetSpeed(unsigned int channel, int speed) override;
    HRetError vodReadFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs) override;

    HRetError vodDownloadStart(unsigned int channel, const VodDownloadPara &para) override;
    HRetError vodDownloadStop(unsigned int channel) override;
    HRetError vodReadDLFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs) override;
    HRetError vodGetDownloadSdp(unsigned int channel, VodSdp &sdp) override;

    HRetError startTalk(int channel) override;
    HRetError stopTalk(int channel) override;
    HRetError sendTalkData(char *data, int size, int channel) override;

private:
    /// Notes the call and says whether it is refused.
    HRetError asked(DeviceOp operation, const QVariantList &arguments, int channel = 0,
                    int stream = 0) const;

    HRetError onPlayback(DeviceOp operation, const QVariantList &arguments, unsigned int channel,
                         const std::function<HRetError(RecordedStream &)> &action);

    const std::shared_ptr<DeviceControl> m_control;
};

} // namespace vantrasim
