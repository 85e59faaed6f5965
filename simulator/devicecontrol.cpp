// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/devicecontrol.h"

#include "simulator/simulateddevice.h"

#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"

#include <algorithm>
#include <limits>

namespace vantrasim {

namespace {

/// What of `form` the stream plays that was said in A-law at 8000 Hz.
QByteArray echoFor(const AudioFormat &form, const char *data, int size)
{
    QByteArray pcm;
    for (int i = 0; i < size; ++i) {
        const qint16 sample = fromALaw(quint8(data[i]));
        pcm.append(reinterpret_cast<const char *>(&sample), sizeof sample);
    }
    return encodeSound(pcm, form);
}

} // namespace

DeviceControl::DeviceControl(const DeviceConfig &config)
    : m_config(config), m_perChannel(config.streamsPerChannel())
{
    for (int channel = 0; channel < config.channels.size(); ++channel) {
        const ChannelConfig &form = config.channels[channel];
        for (int stream = 0; stream < m_perChannel; ++stream) {
            LiveStream::Place place;
            place.device = config.number;
            place.channel = channel;
            place.stream = stream;
            place.name = form.name;
            place.colour = form.colour;
            const StreamConfig streamForm =
                form.streams.isEmpty()
                    ? StreamConfig()
                    : form.streams[std::min(stream, int(form.streams.size()) - 1)];
            m_live.push_back(
                std::make_unique<LiveStream>(place, streamForm, &m_faults, config.queueMs));
        }
        Recorder recorder;
        recorder.archive = std::make_shared<const Archive>(config, channel);
        recorder.playback = std::make_unique<RecordedStream>(recorder.archive, &m_faults,
                                                             FaultRoad::Playback, channel);
        recorder.download = std::make_unique<RecordedStream>(recorder.archive, &m_faults,
                                                             FaultRoad::Download, channel);
        m_recorders.push_back(std::move(recorder));
    }
    if (config.protocol == HTransportRtsp)
        m_rtsp = std::make_unique<RtspCameras>(config);
}

DeviceControl::~DeviceControl() = default;

bool DeviceControl::has(int channel, int stream) const
{
    return channel >= 0 && channel < m_config.channels.size() && stream >= 0 &&
           stream < m_perChannel;
}

LiveStream *DeviceControl::live(int channel, int stream) const
{
    if (!has(channel, stream))
        return nullptr;
    return m_live[std::size_t(flatStreamIndex(m_perChannel, channel, stream))].get();
}

void DeviceControl::loseConnection(int ms)
{
    {
        const std::lock_guard<std::mutex> lock(m_openMutex);
        m_goneUntil = ms < 0 ? std::numeric_limits<qint64>::max() : deviceNow() + ms;
        closeAll();
    }
    if (m_rtsp)
        m_rtsp->vanish(ms);
}

void DeviceControl::closeAll()
{
    for (const auto &stream : m_live)
        stream->close();
    for (const Recorder &recorder : m_recorders) {
        recorder.playback->close();
        recorder.download->close();
    }
    m_talk.stop();
}

void DeviceControl::restoreConnection()
{
    m_goneUntil = 0;
    if (m_rtsp)
        m_rtsp->comeBack();
}

bool DeviceControl::isConnected() const
{
    const qint64 until = m_goneUntil;
    return until == 0 || deviceNow() >= until;
}

void DeviceControl::setStalled(bool stalled, FaultPlace place)
{
    for (int channel = 0; channel < m_config.channels.size(); ++channel) {
        for (int stream = 0; stream < m_perChannel; ++stream) {
            if ((place.channel < 0 || place.channel == channel) &&
                (place.stream < 0 || place.stream == stream)) {
                live(channel, stream)->setStalled(stalled);
                if (m_rtsp)
                    m_rtsp->setStalled(channel, stream, stalled);
            }
        }
    }
}

void DeviceControl::setForm(int channel, int stream, const StreamConfig &form)
{
    LiveStream *target = live(channel, stream);
    if (target == nullptr)
        return;
    StreamConfig possible = form;
    if (m_rtsp) {
        possible.audio = target->form().audio;
        m_rtsp->setForm(channel, stream, possible.video);
    }
    target->setForm(possible);
}

StreamCounts DeviceControl::counts(int channel, int stream) const
{
    const LiveStream *source = live(channel, stream);
    return source == nullptr ? StreamCounts() : source->counts();
}

QString DeviceControl::problem(int channel, int stream) const
{
    const LiveStream *source = live(channel, stream);
    return source == nullptr ? QString() : source->problem();
}

bool DeviceControl::isOpen(int channel, int stream) const
{
    const LiveStream *source = live(channel, stream);
    return source != nullptr && source->isOpen();
}

int DeviceControl::openStreams() const
{
    return int(std::count_if(m_live.begin(), m_live.end(),
                             [](const auto &stream) { return stream->isOpen(); }));
}

HRetError DeviceControl::enable(int channel, int stream, bool on)
{
    LiveStream *target = live(channel, stream);
    if (target == nullptr || m_rtsp) // those are read by address
        return HRetRefused;
    const std::lock_guard<std::mutex> lock(m_openMutex);
    if (!isConnected())
        return HRetRefused;
    if (!on) {
        target->close();
        return HRetOk;
    }
    if (target->isOpen())
        return HRetAlready;
    if (m_config.mostLive >= 0 && openStreams() >= m_config.mostLive)
        return HRetExceedMax;
    target->open();
    return HRetOk;
}

const DeviceControl::Recorder *DeviceControl::recorder(unsigned int channel) const
{
    return channel < m_recorders.size() ? &m_recorders[channel] : nullptr;
}

HRetError DeviceControl::startPlayback(unsigned int channel, const VodStartPara &para)
{
    const Recorder *here = recorder(channel);
    const std::lock_guard<std::mutex> lock(m_openMutex);
    if (here == nullptr || !isConnected() || !para.time0.isValid())
        return HRetRefused;
    if (here->playback->isOpen())
        return HRetAlready;
    if (m_config.mostPlaybacks >= 0 && openPlaybacks() >= m_config.mostPlaybacks)
        return HRetExceedMax;
    const qint64 begin = deviceTime(para.time0);
    here->playback->open(begin, para.time1.isValid() ? deviceTime(para.time1) : deviceNow(),
                         para.time2.isValid() ? deviceTime(para.time2) : begin, 1);
    return HRetOk;
}

HRetError DeviceControl::startDownload(unsigned int channel, const VodDownloadPara &para)
{
    const Recorder *here = recorder(channel);
    const std::lock_guard<std::mutex> lock(m_openMutex);
    if (here == nullptr || !isConnected() || !para.beginTime.isValid() || !para.endTime.isValid())
        return HRetRefused;
    if (here->download->isOpen())
        return HRetAlready;
    if (m_config.mostDownloads >= 0 && openDownloads() >= m_config.mostDownloads)
        return HRetExceedMax;
    const qint64 begin = deviceTime(para.beginTime);
    here->download->open(begin, deviceTime(para.endTime), begin, m_config.downloadSpeed);
    return HRetOk;
}

RecordedState DeviceControl::playback(unsigned int channel) const
{
    const Recorder *here = recorder(channel);
    return here == nullptr ? RecordedState() : here->playback->state();
}

RecordedState DeviceControl::download(unsigned int channel) const
{
    const Recorder *here = recorder(channel);
    return here == nullptr ? RecordedState() : here->download->state();
}

int DeviceControl::openPlaybacks() const
{
    return int(std::count_if(m_recorders.begin(), m_recorders.end(),
                             [](const Recorder &here) { return here.playback->isOpen(); }));
}

int DeviceControl::openDownloads() const
{
    return int(std::count_if(m_recorders.begin(), m_recorders.end(),
                             [](const Recorder &here) { return here.download->isOpen(); }));
}

QVector<Archive::Segment> DeviceControl::recorded(unsigned int channel, const QDateTime &begin,
                                                  const QDateTime &end) const
{
    QVector<Archive::Segment> found;
    const Recorder *here = recorder(channel);
    if (here == nullptr)
        return found;
    for (Archive::Segment segment : here->archive->segments(deviceNow())) {
        segment.begin = std::max(segment.begin, deviceTime(begin));
        segment.end = std::min(segment.end, deviceTime(end));
        if (segment.begin < segment.end)
            found.append(segment);
    }
    return found;
}

HRetError DeviceControl::sendTalk(const char *data, int size)
{
    const HRetError answer = m_talk.take(data, size);
    if (answer != HRetOk || !m_config.echoTalk)
        return answer;
    for (int stream = 0; stream < m_perChannel; ++stream) {
        if (LiveStream *target = live(0, stream))
            target->addSound(echoFor(target->form().audio, data, size));
    }
    return answer;
}

Simulation simulateDevice(const DeviceConfig &config)
{
    Simulation simulation;
    simulation.control = std::make_shared<DeviceControl>(config);
    simulation.device =
        QSharedPointer<HNetDevice>::create(std::make_unique<SimulatedDevice>(simulation.control));
    return simulation;
}

} // namespace vantrasim
