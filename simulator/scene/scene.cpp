// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/scene/scene.h"

#include "simulator/scene/counterrow.h"
#include "simulator/scene/pixelfont.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace vantrasim {

namespace {

constexpr Yuv kBlack = {16, 128, 128};
constexpr Yuv kWhite = {235, 128, 128};
constexpr Yuv kShade = {28, 128, 128}; // behind small text
constexpr std::uint32_t kBallRgb = 0xFFD54A;
constexpr int kBallStepsPerTurn = 250; // frames from the left edge to the right one and back

void fillPlane(const I420View &picture, int plane, int left, int top, int right, int bottom,
               std::uint8_t value)
{
    const int width = plane == 0 ? picture.width : picture.width / 2;
    const int height = plane == 0 ? picture.height : picture.height / 2;
    left = std::clamp(left, 0, width);
    right = std::clamp(right, left, width);
    bottom = std::min(bottom, height);
    for (int y = std::max(top, 0); y < bottom; ++y)
        std::memset(picture.plane[plane] + static_cast<std::ptrdiff_t>(y) * picture.stride[plane] +
                        left,
                    value, static_cast<std::size_t>(right - left));
}

void fill(const I420View &picture, int left, int top, int right, int bottom, Yuv colour)
{
    fillPlane(picture, 0, left, top, right, bottom, colour.y);
    fillPlane(picture, 1, left / 2, top / 2, (right + 1) / 2, (bottom + 1) / 2, colour.u);
    fillPlane(picture, 2, left / 2, top / 2, (right + 1) / 2, (bottom + 1) / 2, colour.v);
}

int textWidth(const std::string &text, int scale)
{
    return (static_cast<int>(text.size()) * kGlyphAdvance - 1) * scale;
}

void drawText(const I420View &picture, int left, int top, int scale, const std::string &text,
              Yuv colour)
{
    for (char character : text) {
        const Glyph &glyph = glyphOf(character);
        for (int row = 0; row < kGlyphHeight; ++row) {
            for (int column = 0; column < kGlyphWidth; ++column) {
                if (((glyph[static_cast<std::size_t>(row)] >> (kGlyphWidth - 1 - column)) & 1) == 0)
                    continue;
                const int x = left + column * scale;
                const int y = top + row * scale;
                fillPlane(picture, 0, x, y, x + scale, y + scale, colour.y);
            }
        }
        left += kGlyphAdvance * scale;
    }
}

/// Text on a dark bar whose outer corner is given; `fromRight` counts from the right edge.
void drawLabel(const I420View &picture, bool fromRight, int scale, const std::string &text)
{
    const int margin = 2 * scale;
    const int width = textWidth(text, scale) + 2 * margin;
    const int height = kGlyphHeight * scale + 2 * margin;
    const int left = fromRight ? (picture.width - margin - width) & ~1 : margin & ~1;
    const int top = (picture.height - margin - height) & ~1;
    fill(picture, left, top, left + width, top + height, kShade);
    drawText(picture, left + margin, top + margin, scale, text, kWhite);
}

void drawBall(const I420View &picture, int step, int stepsPerTurn)
{
    const int radius = std::max(picture.height / 14, 3);
    const int way = std::min(step, stepsPerTurn - step); // of half a turn, there and back
    const int centreX = radius + way * 2 * (picture.width - 2 * radius) / stepsPerTurn;
    const int centreY = picture.height * 11 / 16;
    const Yuv colour = yuvFromRgb(kBallRgb);
    for (int dy = -radius; dy <= radius; ++dy) {
        int dx = 0;
        while ((dx + 1) * (dx + 1) + dy * dy <= radius * radius)
            ++dx;
        fillPlane(picture, 0, centreX - dx, centreY + dy, centreX + dx, centreY + dy + 1, colour.y);
        if (((centreY + dy) & 1) != 0)
            continue;
        const int line = (centreY + dy) / 2;
        for (int plane = 1; plane < 3; ++plane)
            fillPlane(picture, plane, (centreX - dx) / 2, line, (centreX + dx) / 2, line + 1,
                      plane == 1 ? colour.u : colour.v);
    }
}

void drawRow(const I420View &picture, int top, int bottom, std::uint32_t value)
{
    const CounterCells cells = counterToCells(value);
    fill(picture, 0, top, picture.width, bottom, kBlack);
    for (int i = 0; i < kCounterCells; ++i) {
        if (cells[static_cast<std::size_t>(i)])
            fillPlane(picture, 0, i * picture.width / kCounterCells, top,
                      (i + 1) * picture.width / kCounterCells, bottom, kWhite.y);
    }
}

int rowHeight(const I420View &picture)
{
    return picture.height / kCounterRowDivisor;
}

int wholeBlocks(int lines)
{
    constexpr int kBlock = 16;
    return (lines + kBlock - 1) / kBlock * kBlock;
}

/// Of the text in the strip, chosen so that a clock fits with room to spare.
int stripTextScale(int width, int height)
{
    return std::max(std::min(height / 160, width / 220), 1);
}

} // namespace

std::size_t i420Size(int width, int height)
{
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3 / 2;
}

I420View i420View(std::vector<std::uint8_t> &bytes, int width, int height)
{
    I420View view;
    view.width = width;
    view.height = height;
    view.stride[0] = width;
    view.stride[1] = view.stride[2] = width / 2;
    view.plane[0] = bytes.data();
    view.plane[1] = view.plane[0] + static_cast<std::ptrdiff_t>(width) * height;
    view.plane[2] = view.plane[1] + static_cast<std::ptrdiff_t>(width / 2) * (height / 2);
    return view;
}

I420View i420Below(const I420View &picture, int top)
{
    I420View below = picture;
    below.height -= top;
    for (int plane = 0; plane < 3; ++plane)
        below.plane[plane] +=
            static_cast<std::ptrdiff_t>(plane == 0 ? top : top / 2) * picture.stride[plane];
    return below;
}

Yuv yuvFromRgb(std::uint32_t rgb)
{
    const int r = static_cast<int>((rgb >> 16) & 0xFF);
    const int g = static_cast<int>((rgb >> 8) & 0xFF);
    const int b = static_cast<int>(rgb & 0xFF);
    return {static_cast<std::uint8_t>(((66 * r + 129 * g + 25 * b + 128) >> 8) + 16),
            static_cast<std::uint8_t>(((-38 * r - 74 * g + 112 * b + 128) >> 8) + 128),
            static_cast<std::uint8_t>(((112 * r - 94 * g - 18 * b + 128) >> 8) + 128)};
}

Scene::Scene(std::string name, std::uint32_t rgb) : m_name(std::move(name)), m_rgb(rgb) {}

void Scene::makeBackground(int width, int height)
{
    m_width = width;
    m_height = height;
    m_background.assign(i420Size(width, height), 0);
    const I420View view = i420View(m_background, width, height);
    const Yuv room = yuvFromRgb(m_rgb);
    fill(view, 0, 0, width, height, room);
    // Light falls from above onto the wall; the floor is darker.
    const int horizon = (height * 3 / 4) & ~1;
    for (int y = 0; y < height; ++y) {
        const int light = y < horizon ? 24 - 40 * y / horizon : -36 + 20 * (y - horizon) / height;
        fillPlane(view, 0, 0, y, width, y + 1,
                  static_cast<std::uint8_t>(std::clamp(room.y + light, 20, 225)));
    }
    int scale = std::max(height / 50, 1);
    while (scale > 1 && textWidth(m_name, scale) > width - 4 * scale)
        --scale;
    const int left = (width - textWidth(m_name, scale)) / 2;
    const int top = height / 4;
    const int shadow = std::max(scale / 3, 1);
    drawText(view, left + shadow, top + shadow, scale, m_name, kBlack);
    drawText(view, left, top, scale, m_name, kWhite);
}

int stripRowHeight(int height)
{
    return wholeBlocks((height + kCounterRowDivisor - 1) / kCounterRowDivisor);
}

int stripTextHeight(int width, int height)
{
    return wholeBlocks((kGlyphHeight + 1) * stripTextScale(width, height));
}

void paintStripRow(const I420View &row, std::uint32_t counter)
{
    drawRow(row, 0, row.height, counter);
}

bool isStripRowWhite(int x, int width, std::uint32_t counter)
{
    return counterToCells(counter)[static_cast<std::size_t>(x * kCounterCells / width)];
}

void paintStripText(const I420View &strip, int pictureHeight, const std::string &text)
{
    fill(strip, 0, 0, strip.width, strip.height, kShade);
    const int scale = stripTextScale(strip.width, pictureHeight);
    drawText(strip, 2 * scale, (strip.height - kGlyphHeight * scale) / 2, scale, text, kWhite);
}

void Scene::setId(std::uint32_t id)
{
    m_hasId = true;
    m_id = id;
}

void Scene::paintRoom(const I420View &picture, int step, int stepsPerTurn)
{
    if (picture.width != m_width || picture.height != m_height)
        makeBackground(picture.width, picture.height);
    const I420View background = i420View(m_background, m_width, m_height);
    for (int plane = 0; plane < 3; ++plane) {
        const int lines = plane == 0 ? m_height : m_height / 2;
        const int width = background.stride[plane];
        for (int y = 0; y < lines; ++y)
            std::memcpy(picture.plane[plane] +
                            static_cast<std::ptrdiff_t>(y) * picture.stride[plane],
                        background.plane[plane] + static_cast<std::ptrdiff_t>(y) * width,
                        static_cast<std::size_t>(width));
    }
    drawBall(picture, step, stepsPerTurn);
    if (m_hasId)
        drawRow(picture, picture.height - rowHeight(picture), picture.height, m_id);
}

void Scene::paint(const I420View &picture, std::uint32_t counter, const std::string &clock)
{
    paintRoom(picture, static_cast<int>(counter % kBallStepsPerTurn), kBallStepsPerTurn);
    const int scale = std::max(std::min(picture.height / 120, picture.width / 220), 1);
    char number[16];
    std::snprintf(number, sizeof number, "#%u", counter & kCounterMask);
    I420View aboveRow = picture;
    aboveRow.height -= m_hasId ? rowHeight(picture) : 0;
    drawLabel(aboveRow, false, scale, clock);
    drawLabel(aboveRow, true, scale, number);
    drawRow(picture, 0, rowHeight(picture), counter);
}

} // namespace vantrasim
