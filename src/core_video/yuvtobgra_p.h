// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <cstdint>
#include <optional>

struct AVFrame;
struct SwsContext;

/// Does what a scaler of pictures of one size does from three planes to BGRA, byte for byte, in two
/// thirds of its time. The scaler says which colours: matrix and range. Used by the stream thread;
/// holds nothing.
class YuvToBgra
{
public:
    /// Nothing where the scaler has to do it itself: another processor, another layout than 8 bits
    /// with chroma half as wide and high, a very narrow picture, or an odd height, for which it
    /// interpolates chroma.
    static std::optional<YuvToBgra> like(SwsContext *scaler, AVPixelFormat format, int width,
                                         int height);

    /// Writes a picture of that form and size. A line of the result takes `lineBytes`, at least 4
    /// for each column; nothing is read or written beyond the last column.
    void convert(const AVFrame *frame, std::uint8_t *bgra, int lineBytes) const;

    /// In 1/8192. Of a product with a sample that is shifted left by 3, the upper 16 bits are
    /// taken.
    struct Factors
    {
        std::int16_t black; ///< the luma sample that is black, shifted
        std::int16_t luma;
        std::int16_t redOfV;
        std::int16_t greenOfU;
        std::int16_t greenOfV;
        std::int16_t blueOfU;
    };

private:
    explicit YuvToBgra(const Factors &factors) : factors(factors) {}

    Factors factors;
};
