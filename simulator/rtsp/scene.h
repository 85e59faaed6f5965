// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vantrasim {

/// A picture of planes Y, U, V in memory of somebody else; U and V have half width and height.
struct I420View
{
    std::uint8_t *plane[3] = {};
    int stride[3] = {};
    int width = 0;  ///< pixels, even
    int height = 0; ///< pixels, even
};

/// One colour, limited range BT.601.
struct Yuv
{
    std::uint8_t y = 16;
    std::uint8_t u = 128;
    std::uint8_t v = 128;
};

/// `rgb` is 0xRRGGBB.
Yuv yuvFromRgb(std::uint32_t rgb);

/// What a test camera sees: its own colour and name, a running clock, a ball on its way and the
/// frame counter, as text and as a row of blocks (counterrow.h). Used by one thread at a time.
class Scene
{
public:
    /// `rgb` 0xRRGGBB is the colour of the room.
    Scene(std::string name, std::uint32_t rgb);

    /// Paints frame `counter` over the whole picture. `clock` stands in it as it is.
    void paint(const I420View &picture, std::uint32_t counter, const std::string &clock);

private:
    void makeBackground(int width, int height);

    std::string m_name;
    std::uint32_t m_rgb;
    int m_width = 0;
    int m_height = 0;
    std::vector<std::uint8_t> m_background; // Y, U, V without padding
};

} // namespace vantrasim
