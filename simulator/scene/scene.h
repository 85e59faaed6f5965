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

/// Bytes of a picture without padding.
std::size_t i420Size(int width, int height);
/// The picture in `bytes`, which has i420Size() of them.
I420View i420View(std::vector<std::uint8_t> &bytes, int width, int height);
/// The lines of `picture` from `top` on; even.
I420View i420Below(const I420View &picture, int top);

/// One colour, limited range BT.601.
struct Yuv
{
    std::uint8_t y = 16;
    std::uint8_t u = 128;
    std::uint8_t v = 128;
};

/// `rgb` is 0xRRGGBB.
Yuv yuvFromRgb(std::uint32_t rgb);

/// The strip along the top of a picture holds all that tells one frame from the next: a row of
/// blocks, and a line of text below it. Both are whole blocks of 16 lines high, so that an encoder
/// can treat each by itself.
int stripRowHeight(int height);
int stripTextHeight(int width, int height);
inline int stripHeight(int width, int height)
{
    return stripRowHeight(height) + stripTextHeight(width, height);
}

/// Paints the row of blocks of `counter` over a picture of stripRowHeight().
void paintStripRow(const I420View &row, std::uint32_t counter);
/// Whether column `x` of that row is white.
bool isStripRowWhite(int x, int width, std::uint32_t counter);
/// Paints `text` over a picture of stripTextHeight(), of a whole one of `pictureHeight`.
void paintStripText(const I420View &strip, int pictureHeight, const std::string &text);

/// What a test camera sees: its own colour and name, a running clock, a ball on its way and the
/// frame counter, as text and as a row of blocks (counterrow.h). Used by one thread at a time.
class Scene
{
public:
    /// `rgb` 0xRRGGBB is the colour of the room.
    Scene(std::string name, std::uint32_t rgb);

    /// A row of blocks along the bottom, in the same code as the counter's, that says who took the
    /// picture instead of when (sceneid.h). Without it there is none.
    void setId(std::uint32_t id);

    /// Paints what needs no counter over the whole picture: room, name and the ball, which is back
    /// where it was after `stepsPerTurn` steps.
    void paintRoom(const I420View &picture, int step, int stepsPerTurn);

    /// Paints frame `counter` over the whole picture. `clock` stands in it as it is.
    void paint(const I420View &picture, std::uint32_t counter, const std::string &clock);

private:
    void makeBackground(int width, int height);

    std::string m_name;
    std::uint32_t m_rgb;
    bool m_hasId = false;
    std::uint32_t m_id = 0;
    int m_width = 0;
    int m_height = 0;
    std::vector<std::uint8_t> m_background; // Y, U, V without padding
};

} // namespace vantrasim
