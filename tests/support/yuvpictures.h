// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>

/// The pictures that every surface must show right, each by its own conversion to RGB: colour bars,
/// ramps over the whole range of each plane, odd and least sizes, padded lines. Without Qt, so that
/// Windows programs use them too.
namespace vantratest {

struct Yuv
{
    int y;
    int u;
    int v;
};

struct PictureForm
{
    const char *name;
    int width;
    int height;
    int padding; ///< bytes by which a line of luma is longer than the picture
    Yuv (*color)(int x, int y);
};

inline Yuv barColor(int x, int)
{
    // 75 percent bars of ITU-R BT.601 between white and black.
    constexpr std::array<Yuv, 8> kBars{{{235, 128, 128},
                                        {162, 44, 142},
                                        {131, 156, 44},
                                        {112, 72, 58},
                                        {84, 184, 198},
                                        {65, 100, 212},
                                        {35, 212, 114},
                                        {16, 128, 128}}};
    return kBars[static_cast<std::size_t>(x / 8) % kBars.size()];
}

inline Yuv rampColor(int x, int y)
{
    return {(x * 3 + y) % 256, 255 - x * 2 % 256, y * 4 % 256};
}

inline Yuv lumaRampColor(int x, int)
{
    return {x % 256, 128, 128};
}

inline Yuv lumaRampDownColor(int, int y)
{
    return {y % 256, 128, 128};
}

inline Yuv chromaRampColor(int x, int y)
{
    return {140, x * 2 % 256, y * 2 % 256};
}

inline Yuv leastColor(int, int)
{
    return {0, 0, 0};
}

inline Yuv largestColor(int, int)
{
    return {255, 255, 255};
}

constexpr std::array<PictureForm, 16> kPictureForms{{
    {"colour bars", 64, 48, 0, barColor},
    {"colour bars, padded lines", 64, 48, 32, barColor},
    {"colour bars, lines of odd length", 64, 48, 3, barColor},
    {"colour bars, lines of even length", 66, 48, 0, barColor},
    {"ramp of luma", 256, 16, 0, lumaRampColor},
    {"ramp of luma downwards", 16, 256, 0, lumaRampDownColor},
    {"ramps of chroma", 128, 128, 0, chromaRampColor},
    {"least values", 16, 16, 0, leastColor},
    {"largest values", 16, 16, 0, largestColor},
    {"odd width", 63, 48, 1, rampColor},
    {"odd height", 64, 47, 0, rampColor},
    {"odd width and height", 67, 35, 5, rampColor},
    {"two pixels", 2, 2, 0, barColor},
    {"one pixel", 1, 1, 0, barColor},
    {"one line", 14, 1, 2, rampColor},
    {"one column", 1, 14, 2, rampColor},
}};

} // namespace vantratest
