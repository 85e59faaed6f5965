// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/rtsp/options.h"
#include "simulator/rtsp/source.h"
#include "simulator/scene/scene.h"

#include <atomic>
#include <memory>

namespace vantrasim {

/// What the control channel may change while a camera is being watched, and the counter, which goes
/// on from one viewer to the next. Shared between threads.
struct CameraState
{
    std::atomic<int> width{0};
    std::atomic<int> height{0};
    std::atomic<int> fps{0};
    std::atomic<std::uint32_t> counter{0}; ///< of the next frame
};

/// Paints the pictures (I420) and plays the tone (16 bit, 8000 Hz, mono) of a test camera.
class CameraSource final : public Source
{
public:
    CameraSource(const CameraOptions &options, std::shared_ptr<CameraState> state);
    ~CameraSource() override;

    Unit next() override;

private:
    Unit nextPicture();
    Unit nextSound();

    CameraOptions m_options;
    std::shared_ptr<CameraState> m_state;
    Scene m_scene;
    GstCaps *m_videoCaps = nullptr;
    GstCaps *m_audioCaps = nullptr;
    int m_width = 0;
    int m_height = 0;
    int m_fps = 0;
    GstClockTime m_videoDue = 0;
    GstClockTime m_audioDue = 0;
    std::uint64_t m_audioSample = 0;
};

} // namespace vantrasim
