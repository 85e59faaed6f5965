// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/yuvtobgra_p.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#if defined(__x86_64__) && defined(__GNUC__)

#include <immintrin.h>

#include <algorithm>

namespace {

constexpr int kColumns = 32; ///< of one step
constexpr int kSampleShift = 3;
constexpr int kChromaZero = 128 << kSampleShift;

using Factors = YuvToBgra::Factors;

/// A factor of 16.16 bits, rounded as swscale does.
std::int16_t factor(std::int64_t value)
{
    constexpr std::int64_t kLargest = 0x7fff;
    constexpr int kUnit = 1 << 13;
    return static_cast<std::int16_t>(
        std::clamp((value * kUnit + (1 << 15)) >> 16, -kLargest, kLargest));
}

/// One line, or the part of one, of three planes.
struct Line
{
    const std::uint8_t *y;
    const std::uint8_t *u;
    const std::uint8_t *v;
    std::uint8_t *bgra;
};

int product(int sample, int by)
{
    return (sample * by) >> 16;
}

std::uint8_t bounded(int value)
{
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

void convertPixel(const Line &line, const Factors &factors)
{
    const int luma = product((*line.y << kSampleShift) - factors.black, factors.luma);
    const int u = (*line.u << kSampleShift) - kChromaZero;
    const int v = (*line.v << kSampleShift) - kChromaZero;
    line.bgra[0] = bounded(luma + product(u, factors.blueOfU));
    line.bgra[1] = bounded(luma + product(u, factors.greenOfU) + product(v, factors.greenOfV));
    line.bgra[2] = bounded(luma + product(v, factors.redOfV));
    line.bgra[3] = 255;
}

#define VANTRA_AVX2 __attribute__((target("avx2")))

VANTRA_AVX2 inline __m256i chroma(const std::uint8_t *samples)
{
    const __m256i wide =
        _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(samples)));
    return _mm256_sub_epi16(_mm256_slli_epi16(wide, kSampleShift), _mm256_set1_epi16(kChromaZero));
}

VANTRA_AVX2 inline __m256i times(__m256i samples, std::int16_t by)
{
    return _mm256_mulhi_epi16(samples, _mm256_set1_epi16(by));
}

VANTRA_AVX2 inline __m256i luma(__m256i samples, const Factors &factors)
{
    const __m256i above = _mm256_sub_epi16(_mm256_slli_epi16(samples, kSampleShift),
                                           _mm256_set1_epi16(factors.black));
    return times(above, factors.luma);
}

/// Bytes of one colour: in each half of the register those of 8 even columns, then of 8 odd ones.
VANTRA_AVX2 inline __m256i colour(__m256i even, __m256i odd, __m256i part)
{
    return _mm256_packus_epi16(_mm256_adds_epi16(even, part), _mm256_adds_epi16(odd, part));
}

/// Converts kColumns columns; the first is an even one.
VANTRA_AVX2 inline void convertColumns(const Line &line, const Factors &factors)
{
    const __m256i u = chroma(line.u);
    const __m256i v = chroma(line.v);
    const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(line.y));
    const __m256i even = luma(_mm256_and_si256(y, _mm256_set1_epi16(0xff)), factors);
    const __m256i odd = luma(_mm256_srli_epi16(y, 8), factors);

    const __m256i blue = colour(even, odd, times(u, factors.blueOfU));
    const __m256i green = colour(
        even, odd, _mm256_adds_epi16(times(u, factors.greenOfU), times(v, factors.greenOfV)));
    const __m256i red = colour(even, odd, times(v, factors.redOfV));
    const __m256i alpha = _mm256_set1_epi8(-1);

    // From four colours of 8 columns each to columns of four colours, by halves of the register.
    const __m256i evenBlueGreen = _mm256_unpacklo_epi8(blue, green);
    const __m256i oddBlueGreen = _mm256_unpackhi_epi8(blue, green);
    const __m256i evenRedAlpha = _mm256_unpacklo_epi8(red, alpha);
    const __m256i oddRedAlpha = _mm256_unpackhi_epi8(red, alpha);
    const __m256i even0 = _mm256_unpacklo_epi16(evenBlueGreen, evenRedAlpha);
    const __m256i even4 = _mm256_unpackhi_epi16(evenBlueGreen, evenRedAlpha);
    const __m256i odd0 = _mm256_unpacklo_epi16(oddBlueGreen, oddRedAlpha);
    const __m256i odd4 = _mm256_unpackhi_epi16(oddBlueGreen, oddRedAlpha);
    const __m256i columns0 = _mm256_unpacklo_epi32(even0, odd0); // 0 to 3, and 16 to 19
    const __m256i columns4 = _mm256_unpackhi_epi32(even0, odd0);
    const __m256i columns8 = _mm256_unpacklo_epi32(even4, odd4);
    const __m256i columns12 = _mm256_unpackhi_epi32(even4, odd4);

    auto *out = reinterpret_cast<__m256i *>(line.bgra);
    _mm256_storeu_si256(out, _mm256_permute2x128_si256(columns0, columns4, 0x20));
    _mm256_storeu_si256(out + 1, _mm256_permute2x128_si256(columns8, columns12, 0x20));
    _mm256_storeu_si256(out + 2, _mm256_permute2x128_si256(columns0, columns4, 0x31));
    _mm256_storeu_si256(out + 3, _mm256_permute2x128_si256(columns8, columns12, 0x31));
}

Line from(const Line &line, int column)
{
    return {line.y + column, line.u + column / 2, line.v + column / 2, line.bgra + 4 * column};
}

VANTRA_AVX2 void convertLine(const Line &line, int width, const Factors &factors)
{
    int column = 0;
    for (; column + kColumns <= width; column += kColumns)
        convertColumns(from(line, column), factors);
    if (column == width)
        return;
    // What is left is done with columns before it once more, which are a step in all.
    convertColumns(from(line, (width - kColumns) / 2 * 2), factors);
    if (width % 2 != 0)
        convertPixel(from(line, width - 1), factors);
}

} // namespace

std::optional<YuvToBgra> YuvToBgra::like(SwsContext *scaler, AVPixelFormat format, int width,
                                         int height)
{
    if ((format != AV_PIX_FMT_YUV420P && format != AV_PIX_FMT_YUVJ420P) || width < kColumns ||
        height <= 0 || height % 2 != 0 || !__builtin_cpu_supports("avx2"))
        return std::nullopt;
    constexpr int kNeutral = 1 << 16;
    int *matrix = nullptr; // red of V, blue of U, green of U and of V, from limited range
    int *targetMatrix = nullptr;
    int isFull = 0;
    int isTargetFull = 0;
    int brightness = 0;
    int contrast = 0;
    int saturation = 0;
    if (sws_getColorspaceDetails(scaler, &matrix, &isFull, &targetMatrix, &isTargetFull,
                                 &brightness, &contrast, &saturation) < 0 ||
        !matrix || brightness != 0 || contrast != kNeutral || saturation != kNeutral)
        return std::nullopt;

    // In full range chroma has 255 steps instead of 224, luma 255 instead of 219.
    const auto chromaFactor = [&](std::int64_t value) {
        return factor(isFull ? value * 224 / 255 : value);
    };
    Factors factors;
    factors.black = isFull ? 0 : 16 << kSampleShift;
    factors.luma = factor(isFull ? kNeutral : kNeutral * std::int64_t(255) / 219);
    factors.redOfV = chromaFactor(matrix[0]);
    factors.blueOfU = chromaFactor(matrix[1]);
    factors.greenOfU = chromaFactor(-matrix[2]);
    factors.greenOfV = chromaFactor(-matrix[3]);
    return YuvToBgra(factors);
}

void YuvToBgra::convert(const AVFrame *frame, std::uint8_t *bgra, int lineBytes) const
{
    for (std::ptrdiff_t row = 0; row < frame->height; ++row) {
        const Line line{frame->data[0] + row * frame->linesize[0],
                        frame->data[1] + row / 2 * frame->linesize[1],
                        frame->data[2] + row / 2 * frame->linesize[2], bgra + row * lineBytes};
        convertLine(line, frame->width, factors);
    }
}

#else // no other processor is known here

std::optional<YuvToBgra> YuvToBgra::like(SwsContext *, AVPixelFormat, int, int)
{
    return std::nullopt;
}

void YuvToBgra::convert(const AVFrame *, std::uint8_t *, int) const {}

#endif
