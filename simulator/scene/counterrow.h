// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

/// The frame counter as a row of black and white blocks, which a program can read from a picture.
///
/// The row lies at the top of the picture, spans its whole width with kCounterCells cells of equal
/// width and is 1 / kCounterRowDivisor of the picture high. From the left: start marker, 24 bits of
/// the counter with the highest first, 8 bits of check sum, end marker. White is 1. Everything is
/// relative to the size of the picture, so the row survives scaling.
namespace vantrasim {

constexpr int kCounterBits = 24;
constexpr std::uint32_t kCounterMask = (1U << kCounterBits) - 1;
constexpr int kCounterRowDivisor = 16;
constexpr std::array<bool, 4> kCounterStart = {true, false, true, true};
constexpr std::array<bool, 4> kCounterEnd = {false, false, true, false};
constexpr int kCounterCheckBits = 8;
constexpr int kCounterCells = 4 + kCounterBits + kCounterCheckBits + 4;

using CounterCells = std::array<bool, kCounterCells>;

/// CRC-8 (polynomial 0x07) over the three bytes of the counter. It starts at 0xA5 so that neither
/// an all black nor an all white row is a counter.
inline std::uint8_t counterCheck(std::uint32_t value)
{
    std::uint8_t crc = 0xA5;
    for (int shift = 16; shift >= 0; shift -= 8) {
        crc = static_cast<std::uint8_t>(crc ^ (value >> shift));
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint8_t>((crc & 0x80) != 0 ? (crc << 1) ^ 0x07 : crc << 1);
    }
    return crc;
}

/// The cells of `value`, of which the lower 24 bits count.
inline CounterCells counterToCells(std::uint32_t value)
{
    value &= kCounterMask;
    CounterCells cells{};
    std::size_t at = 0;
    for (bool cell : kCounterStart)
        cells[at++] = cell;
    for (int bit = kCounterBits - 1; bit >= 0; --bit)
        cells[at++] = ((value >> bit) & 1U) != 0;
    const unsigned check = counterCheck(value);
    for (int bit = kCounterCheckBits - 1; bit >= 0; --bit)
        cells[at++] = ((check >> bit) & 1U) != 0;
    for (bool cell : kCounterEnd)
        cells[at++] = cell;
    return cells;
}

/// Puts the counter of `cells` into *value; false if markers or check sum are wrong.
inline bool counterFromCells(const CounterCells &cells, std::uint32_t *value)
{
    std::uint32_t result = 0;
    for (std::size_t bit = 0; bit < kCounterBits; ++bit)
        result = (result << 1) | (cells[kCounterStart.size() + bit] ? 1U : 0U);
    if (cells != counterToCells(result))
        return false;
    *value = result;
    return true;
}

} // namespace vantrasim
