// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/camerasource.h"

#include "simulator/scene/counterrow.h"

#include <gst/video/video.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace vantrasim {

namespace {

constexpr int kSampleRate = 8000; // Hz
constexpr int kPacketSamples = 160;
constexpr GstClockTime kPacketTime = 20 * GST_MSECOND;
constexpr double kAmplitude = 12000;

/// "2026-05-31 14:03:07.25", local time.
std::string clockText()
{
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto hundredths = duration_cast<milliseconds>(now.time_since_epoch()).count() / 10 % 100;
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(text + length, sizeof text - length, ".%02d", static_cast<int>(hundredths));
    return text;
}

} // namespace

CameraSource::CameraSource(const CameraOptions &options, std::shared_ptr<CameraState> state)
    : m_options(options), m_state(std::move(state)),
      m_scene(options.label.empty() ? options.name : options.label, options.rgb)
{
    if (options.id >= 0)
        m_scene.setId(static_cast<std::uint32_t>(options.id));
    m_audioCaps = gst_caps_new_simple("audio/x-raw", "format", G_TYPE_STRING, "S16LE", "rate",
                                      G_TYPE_INT, kSampleRate, "channels", G_TYPE_INT, 1, "layout",
                                      G_TYPE_STRING, "interleaved", nullptr);
}

CameraSource::~CameraSource()
{
    gst_clear_caps(&m_videoCaps);
    gst_clear_caps(&m_audioCaps);
}

Unit CameraSource::next()
{
    if (m_options.audio != AudioForm::None && m_audioDue < m_videoDue)
        return nextSound();
    return nextPicture();
}

Unit CameraSource::nextPicture()
{
    const int width = m_state->width;
    const int height = m_state->height;
    const int fps = m_state->fps;
    if (width != m_width || height != m_height || fps != m_fps) {
        m_width = width;
        m_height = height;
        m_fps = fps;
        gst_clear_caps(&m_videoCaps);
        m_videoCaps = gst_caps_new_simple(
            "video/x-raw", "format", G_TYPE_STRING, "I420", "width", G_TYPE_INT, width, "height",
            G_TYPE_INT, height, "framerate", GST_TYPE_FRACTION, fps, 1, "pixel-aspect-ratio",
            GST_TYPE_FRACTION, 1, 1, "interlace-mode", G_TYPE_STRING, "progressive", "colorimetry",
            G_TYPE_STRING, "bt601", nullptr);
    }
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_I420, static_cast<guint>(width),
                              static_cast<guint>(height));
    GstBuffer *buffer = gst_buffer_new_allocate(nullptr, info.size, nullptr);
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_WRITE) != FALSE) {
        I420View view;
        view.width = width;
        view.height = height;
        for (guint plane = 0; plane < 3; ++plane) {
            view.plane[plane] = map.data + GST_VIDEO_INFO_PLANE_OFFSET(&info, plane);
            view.stride[plane] = GST_VIDEO_INFO_PLANE_STRIDE(&info, plane);
        }
        m_scene.paint(view, m_state->counter.fetch_add(1) & kCounterMask, clockText());
        gst_buffer_unmap(buffer, &map);
    }
    const GstClockTime period = GST_SECOND / static_cast<GstClockTime>(fps);
    GST_BUFFER_PTS(buffer) = GST_BUFFER_DTS(buffer) = m_videoDue;
    GST_BUFFER_DURATION(buffer) = period;
    Unit unit;
    unit.due = m_videoDue;
    unit.sample = SamplePtr(gst_sample_new(buffer, m_videoCaps, nullptr, nullptr));
    gst_buffer_unref(buffer);
    m_videoDue += period;
    return unit;
}

Unit CameraSource::nextSound()
{
    GstBuffer *buffer = gst_buffer_new_allocate(nullptr, kPacketSamples * 2, nullptr);
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_WRITE) != FALSE) {
        for (std::size_t i = 0; i < kPacketSamples; ++i) {
            // Whole turns are taken off first, which keeps the sine exact after days.
            const auto phase =
                (m_audioSample + i) * static_cast<std::uint64_t>(m_options.tone) % kSampleRate;
            const double angle = 2 * G_PI * static_cast<double>(phase) / kSampleRate;
            const auto value = static_cast<std::int16_t>(std::lround(kAmplitude * std::sin(angle)));
            GST_WRITE_UINT16_LE(map.data + 2 * i, static_cast<std::uint16_t>(value));
        }
        gst_buffer_unmap(buffer, &map);
    }
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
