// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/devicecontrol.h"

#include "devicelink/devicebackend.h"

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

    HRetError startTalk(int channel) override;
    HRetError stopTalk(int channel) override;
    HRetError sendTalkData(char *data, int size, int channel) override;

private:
    /// Notes the call and says whether it is refused.
    HRetError asked(DeviceOp operation, const QVariantList &arguments, int channel = 0,
                    int stream = 0) const;

    const std::shared_ptr<DeviceControl> m_control;
};

} // namespace vantrasim
