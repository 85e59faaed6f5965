// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/rtsp/clip.h"
#include "simulator/rtsp/source.h"

#include <memory>

namespace vantrasim {

/// Plays a clip once or for ever. Time stamps go on from one pass to the next, and the sound of
/// each pass is cut or filled with silence to the length of its pictures.
class ClipSource final : public Source
{
public:
    ClipSource(std::shared_ptr<const Clip> clip, bool once);
    ~ClipSource() override;

    Unit next() override;

private:
    Unit nextPicture();
    Unit nextSound();

    std::shared_ptr<const Clip> m_clip;
    bool m_once;
    GstCaps *m_videoCaps = nullptr;
    GstCaps *m_audioCaps = nullptr;
    std::size_t m_index = 0; // of the next picture in its pass
    GstClockTime m_pass = 0; // time at which the pass began
    GstClockTime m_audioDue = 0;
    std::uint64_t m_audioSample = 0; // since the first pass
};

} // namespace vantrasim
