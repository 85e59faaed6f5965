// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The decoder of ITU-T G.726. Names of values are those of the recommendation: dq is the quantized
// difference, sr the reconstructed signal, se and sez the estimates of the whole predictor and of
// its zeros, y the scale factor, a and b the coefficients of poles and zeros.
#include "aac_transcoder/g726topcm_p.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>

namespace {

constexpr int kSamplesPerSecond = 8000;
constexpr int kFirstWidth = 2;
constexpr int kLastWidth = 5;
constexpr int kFloatZero = 32; ///< zero in the 11-bit floating format: mantissa 100000, exponent 0

/// Inverse quantizer (log2 of dq), scale factor multiplier and speed control function for the codes
/// of one half: a code and its bit-wise complement differ in sign alone.
struct Rate
{
    const short *dqln;
    const short *wi;
    const short *fi;
};

constexpr short kDqln16[] = {116, 365};
constexpr short kWi16[] = {-704, 14048};
constexpr short kFi16[] = {0, 0xE00};
constexpr short kDqln24[] = {-2048, 135, 273, 373};
constexpr short kWi24[] = {-128, 960, 4384, 18624};
constexpr short kFi24[] = {0, 0x200, 0x400, 0xE00};
constexpr short kDqln32[] = {-2048, 4, 135, 213, 273, 323, 373, 425};
constexpr short kWi32[] = {-384, 576, 1312, 2048, 3584, 6336, 11360, 0}; // the last: kWi32Top
constexpr int kWi32Top = 35904;                                          // beyond a short
constexpr short kFi32[] = {0, 0, 0, 0x200, 0x200, 0x200, 0x600, 0xE00};
constexpr short kDqln40[] = {-2048, -66, 28,  104, 169, 224, 274, 318,
                             358,   395, 429, 459, 488, 514, 539, 566};
constexpr short kWi40[] = {448,  448,  768,  1248, 1280,  1312,  1856,  3200,
                           4512, 5728, 7008, 8960, 11456, 14080, 16928, 22272};
constexpr short kFi40[] = {0,     0,     0,     0,     0,     0x200, 0x200, 0x200,
                           0x200, 0x200, 0x400, 0x600, 0x800, 0xA00, 0xC00, 0xC00};

constexpr Rate kRates[] = {{kDqln16, kWi16, kFi16},
                           {kDqln24, kWi24, kFi24},
                           {kDqln32, kWi32, kFi32},
                           {kDqln40, kWi40, kFi40}};

/// Bits that a number below 2^15 needs.
int bitLength(int value)
{
    int bits = 0;
    for (; value > 0 && bits < 15; value >>= 1)
        ++bits;
    return bits;
}

/// A 16-bit number in the floating format of the predictor: sign, four bits of exponent, six of
/// mantissa; negative ones less 0x400.
int toFloat(int magnitude, bool negative)
{
    const int exponent = bitLength(magnitude);
    const int value =
        magnitude == 0 ? kFloatZero : (exponent << 6) + ((magnitude << 6) >> exponent);
    return negative ? value - 0x400 : value;
}

/// Product of a coefficient and a number in the floating format.
int multiply(int coefficient, int floating)
{
    const int magnitude = coefficient > 0 ? coefficient : (-coefficient & 0x1FFF);
    const int exponent = bitLength(magnitude) - 6;
    const int mantissa = magnitude == 0  ? 32
                         : exponent >= 0 ? magnitude >> exponent
                                         : magnitude << -exponent;
    const int productExponent = exponent + ((floating >> 6) & 15) - 13;
    const int productMantissa = (mantissa * (floating & 0x3F) + 0x30) >> 4;
    const int product = productExponent >= 0 ? (productMantissa << productExponent) & 0x7FFF
                                             : productMantissa >> -productExponent;
    return ((coefficient ^ floating) < 0) ? -product : product;
}

} // namespace

/// State of one decoder, with the reset values of the recommendation.
struct G726State
{
    explicit G726State(int width) : width(width), rate(kRates[width - kFirstWidth]) {}

    int decode(unsigned code);

    const int width; ///< bits of one code
    const Rate rate;
    std::uint32_t pending = 0; ///< bits that wait for the rest of their code
    int pendingBits = 0;

private:
    int scaleFactor() const;
    void update(int y, int wi, int fi, int dq, int sr, int dqsez);
    void updatePredictor(int dq, int dqsez, bool transition);

    int yl = 34816; ///< slow scale factor
    int yu = 544;   ///< fast scale factor
    int dms = 0;    ///< short-term mean of fi
    int dml = 0;    ///< long-term mean of fi
    int ap = 0;     ///< speed control
    int a[2] = {};
    int b[6] = {};
    bool pk[2] = {}; ///< signs of the last two partial signals
    int dq[6] = {kFloatZero, kFloatZero, kFloatZero, kFloatZero, kFloatZero, kFloatZero};
    int sr[2] = {kFloatZero, kFloatZero};
    bool td = false; ///< a narrow-band tone was detected
};

int G726State::scaleFactor() const
{
    if (ap >= 256)
        return yu;
    const int slow = yl >> 6;
    const int difference = yu - slow;
    const int al = ap >> 2;
    return slow + (difference > 0   ? (difference * al) >> 6
                   : difference < 0 ? (difference * al + 0x3F) >> 6
                                    : 0);
}

int G726State::decode(unsigned code)
{
    const unsigned half = 1u << (width - 1);
    const bool negative = (code & half) != 0;
    const unsigned index = negative ? (2 * half - 1 - code) : code;

    int sezi = 0;
    for (int i = 0; i < 6; ++i)
        sezi += multiply(b[i] >> 2, dq[i]);
    const int sez = sezi >> 1;
    const int se = (sezi + multiply(a[1] >> 2, sr[1]) + multiply(a[0] >> 2, sr[0])) >> 1;
    const int y = scaleFactor();

    const int dql = rate.dqln[index] + (y >> 2);
    int magnitude = 0;
    if (dql >= 0)
        magnitude = ((128 + (dql & 127)) << 7) >> (14 - ((dql >> 7) & 15));
    const int reconstructed = se + (negative ? -(magnitude & 0x3FFF) : magnitude);

    const int wi = width == 4 && index == 7 ? kWi32Top : rate.wi[index];
    update(y, wi, rate.fi[index], negative ? magnitude - 0x8000 : magnitude, reconstructed,
           reconstructed - se + sez);
    return reconstructed;
}

void G726State::update(int y, int wi, int fi, int difference, int reconstructed, int dqsez)
{
    const int magnitude = difference & 0x7FFF;
    const int ylInteger = yl >> 15;
    const int threshold = ylInteger > 9 ? 31 << 10 : (32 + ((yl >> 10) & 0x1F)) << ylInteger;
    const bool transition = td && magnitude > ((threshold + (threshold >> 1)) >> 1);

    yu = std::clamp(y + ((wi - y) >> 5), 544, 5120);
    yl += yu + ((-yl) >> 6);

    updatePredictor(difference, dqsez, transition);

    for (int i = 5; i > 0; --i)
        dq[i] = dq[i - 1];
    dq[0] = toFloat(magnitude, difference < 0);
    sr[1] = sr[0];
    sr[0] = reconstructed > -32768 ? toFloat(std::abs(reconstructed), reconstructed < 0)
                                   : kFloatZero - 0x400;
    pk[1] = pk[0];
    pk[0] = dqsez < 0;
    td = !transition && a[1] < -11776;

    dms += (fi - dms) >> 5;
    dml += ((fi << 2) - dml) >> 7;
    if (transition)
        ap = 256;
    else if (y < 1536 || td || std::abs((dms << 2) - dml) >= (dml >> 3))
        ap += (0x200 - ap) >> 4;
    else
        ap += (-ap) >> 4;
}

void G726State::updatePredictor(int difference, int dqsez, bool transition)
{
    if (transition) {
        std::fill(std::begin(a), std::end(a), 0);
        std::fill(std::begin(b), std::end(b), 0);
        return;
    }
    const bool sign = dqsez < 0;
    int a2 = a[1] - (a[1] >> 7);
    if (dqsez != 0) {
        const int fa1 = sign != pk[0] ? a[0] : -a[0];
        a2 += fa1 < -8191 ? -0x100 : fa1 > 8191 ? 0xFF : fa1 >> 5;
        const int step = sign != pk[1] ? -0x80 : 0x80;
        a2 = std::clamp(a2 + step, -12288, 12288);
    }
    a[1] = a2;

    a[0] -= a[0] >> 8;
    if (dqsez != 0)
        a[0] += sign == pk[0] ? 192 : -192;
    const int limit = 15360 - a2;
    a[0] = std::clamp(a[0], -limit, limit);

    const int leak = width == kLastWidth ? 9 : 8;
    for (int i = 0; i < 6; ++i) {
        b[i] -= b[i] >> leak;
        if (difference & 0x7FFF)
            b[i] += (difference ^ dq[i]) >= 0 ? 128 : -128;
    }
}

G726ToPcm::G726ToPcm() = default;
G726ToPcm::~G726ToPcm() = default;

int G726ToPcm::Init(const G7ToAacInitParam &param)
{
    const int asked = param.g726Rate;
    const int width = asked >= kFirstWidth && asked <= kLastWidth ? asked : kFirstWidth;
    state = std::make_unique<G726State>(width);
    bitRate = width * kSamplesPerSecond;
    g7FrameSize = kFrameBytes;
    // 1281, 854, 641 and 513 bytes: just what a frame of input yields, kept as hosts know it.
    const int k = 480 / width;
    pcmFrameSize = (kFrameBytes * k + 30) / 30;
    return 0;
}

int G726ToPcm::Decode(short *pcm, unsigned int *pcmLen, const unsigned char *g7, unsigned int g7Len)
{
    if (!state || !pcm || !pcmLen || !g7)
        return kBadArgument;
    const unsigned room = *pcmLen / 2;
    unsigned samples = 0;
    unsigned used = 0;
    for (;;) {
        while (state->pendingBits < state->width && used < g7Len) {
            state->pending = (state->pending << 8) | g7[used++];
            state->pendingBits += 8;
        }
        if (state->pendingBits < state->width || samples == room)
            break;
        state->pendingBits -= state->width;
        const unsigned code = (state->pending >> state->pendingBits) & ((1u << state->width) - 1);
        const int linear = state->decode(code) * 4; // 14 bits to 16
        pcm[samples++] = static_cast<short>(std::clamp(linear, -32768, 32767));
    }
    *pcmLen = 2 * samples;
    return static_cast<int>(*pcmLen);
}

int G726ToPcm::GetPcmSize()
{
    return pcmFrameSize;
}

int G726ToPcm::GetG7Size()
{
    return g7FrameSize;
}
