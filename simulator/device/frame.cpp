// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/frame.h"

#include "devicelink/devicerules.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace vantrasim {

namespace {

constexpr int kReadError = 99;
constexpr quint32 kUnknownType = 5;
constexpr quint32 kUnknownCodec = 6;
constexpr qint64 kOtherSizePercent = 50;

qint32 scaled(qint32 size, qint64 percent)
{
    return qint32(std::min<qint64>(size * percent / 100, std::numeric_limits<qint32>::max()));
}

} // namespace

Frame Frame::video(const VideoFormat &format, bool key, qint64 pts, Bytes payload)
{
    Frame frame;
    frame.header.frameType = key ? HFrameHeader::VideoKeyFrame : HFrameHeader::VideoFrame;
    frame.header.frameSize = quint32(payload.size());
    frame.header.codecId = quint32(frameCodeOfCodec(format.codec));
    frame.header.widthOrSampleRate = format.width;
    frame.header.heightOrBits = format.height;
    frame.header.frameRateOrChannels = format.fps;
    frame.header.bitRate = format.para().bitRate;
    frame.header.pts = pts;
    frame.payload = std::move(payload);
    return frame;
}

Frame Frame::audio(const AudioFormat &format, qint64 pts, const QByteArray &payload)
{
    Frame frame;
    const HAudioEncPara para = format.para();
    frame.header.frameType = HFrameHeader::AudioFrame;
    frame.header.frameSize = quint32(payload.size());
    frame.header.codecId = quint32(frameCodeOfCodec(format.codec));
    frame.header.widthOrSampleRate = para.sampleRate;
    frame.header.heightOrBits = para.bitsPerSample;
    frame.header.frameRateOrChannels = para.channels;
    frame.header.pts = pts;
    frame.payload.assign(payload.begin(), payload.end());
    return frame;
}

void Frame::write(HFrameHeader *buffer) const
{
    std::memcpy(buffer, &header, kHFramePayloadOffset);
    const std::size_t size = std::min<std::size_t>(payload.size(), kHFrameMaxPayload);
    if (size > 0)
        std::memcpy(reinterpret_cast<uchar *>(buffer) + kHFramePayloadOffset, payload.data(), size);
}

FrameMangler::FrameMangler(DeviceFaults *faults, FaultRoad road, int channel, int stream)
    : m_faults(faults), m_road(road), m_channel(channel), m_stream(stream)
{
}

HRetError FrameMangler::begin(bool key, bool audio)
{
    m_now = m_faults->take(m_road, m_channel, m_stream, key, audio);
    m_sets = true;
    for (const ScriptedFault &fault : m_now) {
        if (fault.fault == FrameFault::ReadError)
            return HRetError(fault.value != 0 ? int(fault.value) : kReadError);
        m_sets = m_sets && fault.fault != FrameFault::NoParameterSets;
    }
    return HRetOk;
}

void FrameMangler::put(Frame frame)
{
    const auto has = [this](FrameFault kind) {
        return std::any_of(m_now.begin(), m_now.end(),
                           [kind](const ScriptedFault &fault) { return fault.fault == kind; });
    };
    if (has(FrameFault::Lost))
        return;
    for (const ScriptedFault &fault : m_now)
        strike(fault, &frame);
    frame.header.pts = has(FrameFault::StampRepeat) ? m_lastPts : frame.header.pts + m_shift;
    m_lastPts = frame.header.pts;
    if (has(FrameFault::Swapped)) {
        m_later.push_back(std::move(frame));
        return;
    }
    if (has(FrameFault::Repeated))
        m_ready.push_back(frame);
    m_ready.push_back(std::move(frame));
    std::move(m_later.begin(), m_later.end(), std::back_inserter(m_ready));
    m_later.clear();
}

void FrameMangler::strike(const ScriptedFault &fault, Frame *frame)
{
    HFrameHeader &header = frame->header;
    Bytes &payload = frame->payload;
    const auto size = qint64(payload.size());
    switch (fault.fault) {
    case FrameFault::StampForward:
        m_shift += fault.value;
        break;
    case FrameFault::StampBack:
        m_shift -= fault.value;
        break;
    case FrameFault::HeaderTooSmall:
        header.frameSize =
            quint32(fault.value != 0 ? std::max<qint64>(size - fault.value, 0) : size / 2);
        break;
    case FrameFault::HeaderTooLarge:
        header.frameSize =
            fault.value != 0 ? quint32(size + fault.value) : std::numeric_limits<quint32>::max();
        break;
    case FrameFault::OtherSize: {
        if (header.frameType == HFrameHeader::AudioFrame)
            break; // the fields mean something else there
        const qint64 percent = fault.value != 0 ? fault.value : kOtherSizePercent;
        header.widthOrSampleRate = scaled(header.widthOrSampleRate, percent);
        header.heightOrBits = scaled(header.heightOrBits, percent);
        break;
    }
    case FrameFault::Garbage:
        for (std::uint8_t &byte : payload)
            byte = std::uint8_t(m_noise());
        break;
    case FrameFault::Truncated:
        payload.resize(
            std::size_t(std::clamp<qint64>(fault.value != 0 ? fault.value : size / 2, 0, size)));
        header.frameSize = quint32(payload.size());
        break;
    case FrameFault::Empty:
        payload.clear();
        header.frameSize = 0;
        break;
    case FrameFault::UnknownType:
        header.frameType = fault.value != 0 ? quint32(fault.value) : kUnknownType;
        break;
    case FrameFault::UnknownCodec:
        header.codecId = fault.value != 0 ? quint32(fault.value) : kUnknownCodec;
        break;
    case FrameFault::Largest: // zeros may follow any unit of a byte stream
        payload.resize(kHFrameMaxPayload, 0);
        header.frameSize = kHFrameMaxPayload;
        break;
    case FrameFault::ReadError:
    case FrameFault::StampRepeat:
    case FrameFault::NoParameterSets:
    case FrameFault::Lost:
    case FrameFault::Repeated:
    case FrameFault::Swapped:
        break;
    }
}

bool FrameMangler::next(Frame *frame)
{
    if (m_ready.empty())
        return false;
    *frame = std::move(m_ready.front());
    m_ready.pop_front();
    return true;
}

void FrameMangler::reset()
{
    m_ready.clear();
    m_later.clear();
    m_now.clear();
    m_shift = 0;
}

} // namespace vantrasim
