// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace vantrasim {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
/// From one character to the next, in dots.
constexpr int kGlyphAdvance = kGlyphWidth + 1;

/// One character: a byte per line from the top, of which the lower five bits are dots with the
/// leftmost highest.
using Glyph = std::array<std::uint8_t, kGlyphHeight>;

/// Letters (small ones appear as capitals), digits and a little punctuation; a box for the rest.
const Glyph &glyphOf(char character);

} // namespace vantrasim
