// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/rtsp/options.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vantrasim {

/// A media file in memory, as it is sent: whole pictures as byte streams with start codes, and
/// G.711 sound.
struct Clip
{
    struct Picture
    {
        std::vector<std::uint8_t> data;
        std::int64_t due = 0; ///< ns from the first picture; never falls
        std::int64_t pts = 0; ///< ns, on the same clock; not below `due`
        bool key = false;
    };

    VideoForm video = VideoForm::H264;
    int width = 0;                 ///< pixels
    int height = 0;                ///< pixels
    std::vector<Picture> pictures; ///< in decoding order; the first is a key picture
    std::int64_t duration = 0;     ///< ns
    AudioForm audio = AudioForm::None;
    std::vector<std::uint8_t> sound; ///< 8000 bytes a second
    std::string note;                ///< what of the file is left out, for the log; may be empty
};

/// Reads `file` whole. False with a line in *error if it cannot be served.
bool loadClip(const std::string &file, Clip *clip, std::string *error);

} // namespace vantrasim
