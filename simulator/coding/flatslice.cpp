// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/flatslice.h"

#include "simulator/coding/cabac.h"

#include <algorithm>
#include <array>
#include <cstdlib>

// Names and order of the syntax elements, and the start values of their contexts in I slices, are
// those of ITU-T H.265, clauses 7.3.8 and 9.3.

namespace vantrasim {

namespace {

constexpr int kSize = kFlatBlock;
constexpr int kHighestLevel = 4000; // more than the finest quantiser asks for
constexpr int kUnknownSample = 128; // prediction where there is no neighbour

class FlatEncoder
{
public:
    FlatEncoder(int columns, int qp)
        : m_qp(qp), m_above(static_cast<std::size_t>(columns) * kSize), m_partMode(184, qp),
          m_predMode(184, qp), m_chromaMode(63, qp), m_cbfChroma(94, qp), m_cbfLuma(141, qp),
          m_lastX(125, qp), m_lastY(125, qp), m_greater1(92, qp), m_greater2(138, qp)
    {
    }

    void block(int column, bool hasAbove, int luma);
    void terminate(bool last) { m_coder.terminate(last); }
    const Bytes &bytes() const { return m_coder.bytes(); }

private:
    using Line = std::array<int, kSize>;

    void writeLevel(int level);
    int residualOf(int level) const;
    int levelFor(int residual) const;

    const int m_qp;
    CabacEncoder m_coder;
    std::vector<int> m_above; // lowest line of the blocks above, decoded
    Line m_left{};            // rightmost column of the block to the left, decoded
    CabacContext m_partMode;
    CabacContext m_predMode;
    CabacContext m_chromaMode;
    CabacContext m_cbfChroma;
    CabacContext m_cbfLuma;
    CabacContext m_lastX;
    CabacContext m_lastY;
    CabacContext m_greater1;
    CabacContext m_greater2;
};

/// What a level of the lowest frequency alone adds to all samples of the block (clause 8.6).
int FlatEncoder::residualOf(int level) const
{
    constexpr int kScales[] = {40, 45, 51, 57, 64, 72};
    constexpr int kFlatMatrix = 16;
    constexpr int kLowest = 64; // of the transform matrix
    const std::int64_t scaled =
        (static_cast<std::int64_t>(level) * kFlatMatrix * kScales[m_qp % 6]) * (1 << (m_qp / 6));
    const auto coefficient =
        static_cast<int>(std::clamp<std::int64_t>((scaled + 64) >> 7, -32768, 32767));
    const int first = (kLowest * coefficient + 64) >> 7;
    return (kLowest * first + 2048) >> 12;
}

/// The smallest level whose residual comes nearest. One level may be less than one step of
/// brightness, or more.
int FlatEncoder::levelFor(int residual) const
{
    const int step = residual < 0 ? -1 : 1;
    int level = 0;
    while (std::abs(residualOf(level)) < std::abs(residual) && std::abs(level) < kHighestLevel)
        level += step;
    const int before = level - step;
    if (level != 0 &&
        std::abs(residualOf(before) - residual) <= std::abs(residualOf(level) - residual))
        level = before;
    return level;
}

void FlatEncoder::writeLevel(int level)
{
    m_coder.encode(&m_lastX, false); // last_sig_coeff_x_prefix
    m_coder.encode(&m_lastY, false); // last_sig_coeff_y_prefix
    const int size = std::abs(level);
    m_coder.encode(&m_greater1, size > 1);
    if (size > 1)
        m_coder.encode(&m_greater2, size > 2);
    m_coder.bypass(level < 0);
    if (size < 3)
        return;
    // coeff_abs_level_remaining with a Rice parameter of 0
    auto rest = static_cast<unsigned>(size - 3);
    if (rest < 3) {
        m_coder.bypass((1U << (rest + 1)) - 2, static_cast<int>(rest) + 1);
        return;
    }
    rest -= 3;
    int length = 0;
    while (rest >= (1U << length))
        rest -= 1U << length++;
    m_coder.bypass((1U << (4 + length)) - 2, 4 + length);
    m_coder.bypass(rest, length);
}

void FlatEncoder::block(int column, bool hasAbove, int luma)
{
    const bool hasLeft = column > 0;
    int *aboveHere = &m_above[static_cast<std::size_t>(column) * kSize];
    Line above;
    Line left;
    for (std::size_t i = 0; i < kSize; ++i) { // what is missing is taken from what there is
        above[i] = hasAbove ? aboveHere[i] : hasLeft ? m_left[0] : kUnknownSample;
        left[i] = hasLeft ? m_left[i] : hasAbove ? aboveHere[0] : kUnknownSample;
    }
    int sum = kSize;
    for (std::size_t i = 0; i < kSize; ++i)
        sum += above[i] + left[i];
    const int mean = sum / (2 * kSize);
    const int level = levelFor(luma - mean);
    const int residual = residualOf(level);

    m_coder.encode(&m_partMode, true); // not split
    m_coder.encode(&m_predMode, true); // prev_intra_luma_pred_flag
    m_coder.bypass(2U, 2);             // mpm_idx 1: all neighbours predict by their mean, too
    m_coder.encode(&m_chromaMode, false);
    m_coder.encode(&m_cbfChroma, false);
    m_coder.encode(&m_cbfChroma, false);
    m_coder.encode(&m_cbfLuma, level != 0);
    if (level != 0)
        writeLevel(level);

    // The prediction is smoothed along the edges to the neighbours; what lies beyond the other two
    // edges is what later blocks see.
    const auto decoded = [&](int prediction) { return std::clamp(prediction + residual, 0, 255); };
    for (std::size_t i = 0; i < kSize; ++i) {
        m_left[i] = decoded(i == 0 ? (above[kSize - 1] + 3 * mean + 2) >> 2 : mean);
        aboveHere[i] = decoded(i == 0 ? (left[kSize - 1] + 3 * mean + 2) >> 2 : mean);
    }
}

} // namespace

Bytes encodeFlatSlice(const Bytes &luma, int lines, int qp)
{
    const auto columns = static_cast<int>(luma.size());
    FlatEncoder encoder(columns, qp);
    for (int line = 0; line < lines; ++line) {
        for (int column = 0; column < columns; ++column) {
            encoder.block(column, line > 0, luma[static_cast<std::size_t>(column)]);
            encoder.terminate(line == lines - 1 && column == columns - 1);
        }
    }
    return encoder.bytes();
}

} // namespace vantrasim
