// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/clipsource.h"

#include <array>

namespace vantrasim {

namespace {

constexpr std::uint64_t kSampleRate = 8000; // Hz
constexpr std::size_t kPacketSamples = 160;
constexpr GstClockTime kPacketTime = 20 * GST_MSECOND;
constexpr std::uint8_t kSilenceAlaw = 0xD5;
constexpr std::uint8_t kSilenceMulaw = 0xFF;

GstBuffer *bufferOf(const std::uint8_t *data, std::size_t size)
{
    GstBuffer *buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
    gst_buffer_fill(buffer, 0, data, size);
    return buffer;
}

} // namespace

ClipSource::ClipSource(std::shared_ptr<const Clip> clip, bool once)
    : m_clip(std::move(clip)), m_once(once)
{
    const bool h264 = m_clip->video == VideoForm::H264;
    m_videoCaps =
        gst_caps_new_simple(h264 ? "video/x-h264" : "video/x-h265", "stream-format", G_TYPE_STRING,
                            "byte-stream", "alignment", G_TYPE_STRING, "au", nullptr);
    m_audioCaps = gst_caps_new_simple(
        m_clip->audio == AudioForm::Pcmu ? "audio/x-mulaw" : "audio/x-alaw", "rate", G_TYPE_INT,
        static_cast<int>(kSampleRate), "channels", G_TYPE_INT, 1, nullptr);
}

ClipSource::~ClipSource()
{
    gst_clear_caps(&m_videoCaps);
    gst_clear_caps(&m_audioCaps);
}

Unit ClipSource::next()
{
    const auto duration = static_cast<GstClockTime>(m_clip->duration);
    if (m_index == m_clip->pictures.size() && !m_once) {
        m_index = 0;
        m_pass += duration;
    }
    const bool ended = m_index == m_clip->pictures.size();
    const GstClockTime videoDue =
        ended ? duration : m_pass + static_cast<GstClockTime>(m_clip->pictures[m_index].due);
    if (m_clip->audio != AudioForm::None && m_audioDue < videoDue)
        return nextSound();
    return ended ? Unit() : nextPicture();
}

Unit ClipSource::nextPicture()
{
    const Clip::Picture &picture = m_clip->pictures[m_index++];
    GstBuffer *buffer = bufferOf(picture.data.data(), picture.data.size());
    Unit unit;
    unit.due = m_pass + static_cast<GstClockTime>(picture.due);
    GST_BUFFER_DTS(buffer) = unit.due;
    GST_BUFFER_PTS(buffer) = m_pass + static_cast<GstClockTime>(picture.pts);
    unit.sample = SamplePtr(gst_sample_new(buffer, m_videoCaps, nullptr, nullptr));
    gst_buffer_unref(buffer);
    return unit;
}

Unit ClipSource::nextSound()
{
    const std::uint64_t perPass =
        static_cast<std::uint64_t>(m_clip->duration) * kSampleRate / GST_SECOND;
    std::array<std::uint8_t, kPacketSamples> bytes{};
    bytes.fill(m_clip->audio == AudioForm::Pcmu ? kSilenceMulaw : kSilenceAlaw);
    for (std::size_t i = 0; i < kPacketSamples; ++i) {
        const std::uint64_t at = m_audioSample + i;
        const std::uint64_t inPass = m_once || perPass == 0 ? at : at % perPass;
        if (inPass < m_clip->sound.size())
            bytes[i] = m_clip->sound[inPass];
    }
    GstBuffer *buffer = bufferOf(bytes.data(), bytes.size());
    GST_BUFFER_PTS(buffer) = GST_BUFFER_DTS(buffer) = m_audioDue;
    GST_BUFFER_DURATION(buffer) = kPacketTime;
    Unit unit;
    unit.audio = true;
    unit.due = m_audioDue;
    unit.sample = SamplePtr(gst_sample_new(buffer, m_audioCaps, nullptr, nullptr));
    gst_buffer_unref(buffer);
    m_audioSample += kPacketSamples;
    m_audioDue += kPacketTime;
    return unit;
}

} // namespace vantrasim
