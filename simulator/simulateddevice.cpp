// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/simulateddevice.h"

#include <thread>
#include <utility>

namespace vantrasim {

namespace {

/// As if nothing came from a stream that there is not.
HRetError waitInVain(int timeoutMs)
{
    if (timeoutMs > 0)
        std::this_thread::sleep_for(Milliseconds(timeoutMs));
    return HRetTimeout;
}

QVariantList fieldsOf(const HVideoEncPara &para)
{
    return {para.codecId, para.width, para.height, para.frameRate, para.mode, para.bitRate};
}

qlonglong millisecondsOf(const QDateTime &time)
{
    return time.isValid() ? deviceTime(time) : -1;
}

QVariantList fieldsOf(const HAudioEncPara &para)
{
    return {para.codecId, para.sampleRate, para.bitsPerSample, para.channels};
}

} // namespace

SimulatedDevice::SimulatedDevice(std::shared_ptr<DeviceControl> control)
    : m_control(std::move(control))
{
}

SimulatedDevice::~SimulatedDevice()
{
    m_control->closeAll();
}

HRetError SimulatedDevice::asked(DeviceOp operation, const QVariantList &arguments, int channel,
                                 int stream) const
{
    m_control->m_calls.note(operation, arguments);
    return m_control->m_faults.answerTo(operation, channel, stream);
}

HRetError SimulatedDevice::onPlayback(DeviceOp operation, const QVariantList &arguments,
                                      unsigned int channel,
                                      const std::function<HRetError(RecordedStream &)> &action)
{
    const HRetError refusal = asked(operation, arguments, int(channel));
    const DeviceControl::Recorder *recorder = m_control->recorder(channel);
    if (refusal != HRetOk || recorder == nullptr)
        return refusal != HRetOk ? refusal : HRetRefused;
    return action(*recorder->playback);
}

HChannelStatus SimulatedDevice::getConnectStatus() const
{
    asked(DeviceOp::getConnectStatus, {});
    return m_control->isConnected() ? HChannelConnected : HChannelDisconnected;
}

HChannelStatus SimulatedDevice::getStreamStatus(int channel, int stream) const
{
    asked(DeviceOp::getStreamStatus, {channel, stream}, channel, stream);
    return m_control->isConnected() && m_control->has(channel, stream) ? HChannelConnected
                                                                       : HChannelDisconnected;
}

int SimulatedDevice::getChannelCount() const
{
    asked(DeviceOp::getChannelCount, {});
    return m_control->m_config.channels.size();
}

int SimulatedDevice::getStreamCount() const
{
    asked(DeviceOp::getStreamCount, {});
    const int pretended = m_control->m_pretendedStreams;
    return pretended >= 0 ? pretended : int(m_control->m_live.size());
}

int SimulatedDevice::getStreamCountPerChannel() const
{
    asked(DeviceOp::getStreamCountPerChannel, {});
    return m_control->m_perChannel;
}

HTransportProtocol SimulatedDevice::getStreamProtocol() const
{
    asked(DeviceOp::getStreamProtocol, {});
    return m_control->m_config.protocol;
}

QStringList SimulatedDevice::getRtspUrls() const
{
    asked(DeviceOp::getRtspUrls, {});
    return m_control->m_rtsp ? m_control->m_rtsp->urls() : QStringList();
}

QString SimulatedDevice::getIPAddr() const
{
    asked(DeviceOp::getIPAddr, {});
    return m_control->m_config.address;
}

QString SimulatedDevice::serialNumber() const
{
    asked(DeviceOp::serialNumber, {});
    return m_control->m_config.serial;
}

HRetError SimulatedDevice::enableMediaTransmit(int channel, int stream, bool enable)
{
    const HRetError refusal =
        asked(DeviceOp::enableMediaTransmit, {channel, stream, enable}, channel, stream);
    return refusal != HRetOk ? refusal : m_control->enable(channel, stream, enable);
}

HRetError SimulatedDevice::requestVideoIFrame(int channel, int stream)
{
    const HRetError refusal =
        asked(DeviceOp::requestVideoIFrame, {channel, stream}, channel, stream);
    LiveStream *target = m_control->live(channel, stream);
    if (refusal != HRetOk || target == nullptr || !target->isOpen())
        return refusal != HRetOk ? refusal : HRetRefused;
    target->requestKeyFrame();
    return HRetOk;
}

HRetError SimulatedDevice::readFrame(int channel, int stream, HFrameHeader *frame, int timeoutMs)
{
    const HRetError refusal =
        asked(DeviceOp::readFrame, {channel, stream, timeoutMs}, channel, stream);
    if (refusal != HRetOk || frame == nullptr)
        return refusal != HRetOk ? refusal : HRetRefused;
    LiveStream *source = m_control->live(channel, stream);
    return source == nullptr ? waitInVain(timeoutMs) : source->read(frame, timeoutMs);
}

HRetError SimulatedDevice::getCodecInfo(int channel, int stream, HVideoEncPara &video,
                                        HAudioEncPara &audio)
{
    const HRetError refusal = asked(DeviceOp::getCodecInfo, {channel, stream}, channel, stream);
    const LiveStream *source = m_control->live(channel, stream);
    if (refusal != HRetOk || source == nullptr)
        return refusal != HRetOk ? refusal : HRetRefused;
    source->codec(&video, &audio);
    return HRetOk;
}

HRetError SimulatedDevice::setCodecInfo(int channel, int stream, HVideoEncPara &video,
                                        HAudioEncPara &audio)
{
    const HRetError refusal = asked(
        DeviceOp::setCodecInfo,
        {channel, stream, QVariant(fieldsOf(video)), QVariant(fieldsOf(audio))}, channel, stream);
    LiveStream *target = m_control->live(channel, stream);
    if (refusal != HRetOk || target == nullptr)
        return refusal != HRetOk ? refusal : HRetRefused;
    target->setCodec(video, audio);
    return HRetOk;
}

HRetError SimulatedDevice::vodStart(unsigned int channel, const VodStartPara &para)
{
    const HRetError refusal = asked(DeviceOp::vodStart,
                                    {channel, millisecondsOf(para.time0),
                                     millisecondsOf(para.time1), millisecondsOf(para.time2)},
                                    int(channel));
    return refusal != HRetOk ? refusal : m_control->startPlayback(channel, para);
}

HRetError SimulatedDevice::vodStop(unsigned int channel)
{
    return onPlayback(DeviceOp::vodStop, {channel}, channel, [](RecordedStream &playback) {
        playback.close();
        return HRetOk;
    });
}

HRetError SimulatedDevice::vodPause(unsigned int channel)
{
    return onPlayback(DeviceOp::vodPause, {channel}, channel,
                      [](RecordedStream &playback) { return playback.setPaused(true); });
}

HRetError SimulatedDevice::vodResume(unsigned int channel)
{
    return onPlayback(DeviceOp::vodResume, {channel}, channel,
                      [](RecordedStream &playback) { return playback.setPaused(false); });
}

HRetError SimulatedDevice::vodSeek(unsigned int channel, const QDateTime &time)
{
    return onPlayback(DeviceOp::vodSeek, {channel, millisecondsOf(time)}, channel,
                      [&time](RecordedStream &playback) {
                          return time.isValid() ? playback.seek(deviceTime(time)) : HRetRefused;
                      });
}

HRetError SimulatedDevice::vodSetSpeed(unsigned int channel, int speed)
{
    constexpr double kSlow = 0.5;
    return onPlayback(DeviceOp::vodSetSpeed, {channel, speed}, channel,
                      [speed](RecordedStream &playback) {
                          return playback.setSpeed(speed == 0 ? kSlow : double(speed));
                      });
}

HRetError SimulatedDevice::vodReadFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs)
{
    const HRetError refusal = asked(DeviceOp::vodReadFrame, {channel, timeoutMs}, int(channel));
    if (refusal != HRetOk || frame == nullptr)
        return refusal != HRetOk ? refusal : HRetRefused;
    const DeviceControl::Recorder *recorder = m_control->recorder(channel);
    return recorder == nullptr ? waitInVain(timeoutMs) : recorder->playback->read(frame, timeoutMs);
}

HRetError SimulatedDevice::vodDownloadStart(unsigned int channel, const VodDownloadPara &para)
{
    const HRetError refusal = asked(
        DeviceOp::vodDownloadStart,
        {channel, millisecondsOf(para.beginTime), millisecondsOf(para.endTime)}, int(channel));
    return refusal != HRetOk ? refusal : m_control->startDownload(channel, para);
}

HRetError SimulatedDevice::vodDownloadStop(unsigned int channel)
{
    const HRetError refusal = asked(DeviceOp::vodDownloadStop, {channel}, int(channel));
    const DeviceControl::Recorder *recorder = m_control->recorder(channel);
    if (refusal != HRetOk || recorder == nullptr)
        return refusal != HRetOk ? refusal : HRetRefused;
    recorder->download->close();
    return HRetOk;
}

HRetError SimulatedDevice::vodReadDLFrame(unsigned int channel, HFrameHeader *frame, int timeoutMs)
{
    const HRetError refusal = asked(DeviceOp::vodReadDLFrame, {channel, timeoutMs}, int(channel));
    if (refusal != HRetOk || frame == nullptr)
        return refusal != HRetOk ? refusal : HRetRefused;
    const DeviceControl::Recorder *recorder = m_control->recorder(channel);
    return recorder == nullptr ? waitInVain(timeoutMs) : recorder->download->read(frame, timeoutMs);
}

HRetError SimulatedDevice::vodGetDownloadSdp(unsigned int channel, VodSdp &sdp)
{
    const HRetError refusal = asked(DeviceOp::vodGetDownloadSdp, {channel}, int(channel));
    const DeviceControl::Recorder *recorder = m_control->recorder(channel);
    if (refusal != HRetOk || recorder == nullptr)
        return refusal != HRetOk ? refusal : HRetRefused;
    return recorder->download->describe(&sdp);
}

HRetError SimulatedDevice::startTalk(int channel)
{
    const HRetError refusal = asked(DeviceOp::startTalk, {channel}, channel);
    if (refusal != HRetOk)
        return refusal;
    return m_control->isConnected() ? m_control->m_talk.start() : HRetRefused;
}

HRetError SimulatedDevice::stopTalk(int channel)
{
    const HRetError refusal = asked(DeviceOp::stopTalk, {channel}, channel);
    m_control->m_talk.stop();
    return refusal;
}

HRetError SimulatedDevice::sendTalkData(char *data, int size, int channel)
{
    const HRetError refusal = asked(DeviceOp::sendTalkData, {size, channel}, channel);
    return refusal != HRetOk ? refusal : m_control->sendTalk(data, size);
}

} // namespace vantrasim
