// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_ffmpeg/livedescription_p.h"

#include "core_ffmpeg/ffmpegptr.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kLargestSets = 1 << 16; ///< bytes; more is not the description of a camera
constexpr int kLowestRate = 1, kHighestRate = 60; ///< per second, as for any stream
constexpr int kUnitTypeMask = 0x1f;
constexpr int kSequenceSet = 7;

/// Bits from the left (ITU-T H.264, 7.2 and 9.1). Past the end it gives zeros and isOk() turns
/// false.
class Bits
{
public:
    explicit Bits(const Bytes &unit) : m_unit(unit) {}

    bool isOk() const { return m_ok; }
    bool flag() { return bits(1) != 0; }

    std::uint32_t bits(int count)
    {
        std::uint32_t value = 0;
        for (; count > 0; --count, ++m_at) {
            if (m_at / 8 >= m_unit.size()) {
                m_ok = false;
                return 0;
            }
            value = (value << 1) | ((m_unit[m_at / 8] >> (7 - m_at % 8)) & 1U);
        }
        return value;
    }

    std::uint32_t ue() ///< Exp-Golomb
    {
        int zeros = 0;
        while (m_ok && zeros < 32 && !flag())
            ++zeros;
        if (!m_ok || zeros == 32) {
            m_ok = false;
            return 0;
        }
        return (1U << zeros) - 1 + bits(zeros);
    }

    std::int32_t se() ///< Exp-Golomb, signed
    {
        const std::uint32_t code = ue();
        const auto size = static_cast<std::int32_t>(code / 2 + code % 2);
        return code % 2 != 0 ? size : -size;
    }

    void skipBits(int count)
    {
        for (; count > 0; count -= std::min(count, 32))
            bits(std::min(count, 32));
    }
    void skipUe(std::uint32_t times)
    {
        for (; times > 0 && m_ok; --times)
            ue();
    }

private:
    const Bytes &m_unit;
    std::size_t m_at = 0;
    bool m_ok = true;
};

/// The H.264 sequence parameter sets of `data` in Annex B, without their heads and escapes.
std::vector<Bytes> sequenceSets(const std::uint8_t *data, int size)
{
    std::vector<Bytes> sets;
    bool inSet = false;
    int zeros = 0;
    for (int i = 0; i < size; ++i) {
        if (zeros >= 2 && data[i] == 1) {
            inSet = i + 1 < size && (data[i + 1] & kUnitTypeMask) == kSequenceSet;
            if (inSet)
                sets.emplace_back();
            ++i; // the head
            zeros = 0;
            continue;
        }
        const bool isEscape = zeros >= 2 && data[i] == 3;
        zeros = data[i] == 0 ? zeros + 1 : 0;
        if (inSet && !isEscape)
            sets.back().push_back(data[i]);
    }
    return sets;
}

bool hasChromaForm(std::uint32_t profile)
{
    constexpr std::uint32_t kProfiles[] = {100, 110, 122, 244, 44,  83, 86,
                                           118, 128, 138, 139, 134, 135};
    return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

void skipScalingList(Bits *in, int size)
{
    std::int64_t last = 8;
    std::int64_t next = 8;
    for (int i = 0; i < size && in->isOk(); ++i) {
        if (next != 0)
            next = (last + in->se() + 256) % 256;
        if (next != 0)
            last = next;
    }
}

void skipChromaForm(Bits *in)
{
    constexpr std::uint32_t kFullChroma = 3;
    const std::uint32_t chroma = in->ue();
    if (chroma == kFullChroma)
        in->flag();
    in->skipUe(2); // bit depths
    in->flag();
    if (!in->flag())
        return;
    const int lists = chroma == kFullChroma ? 12 : 8;
    for (int i = 0; i < lists && in->isOk(); ++i) {
        if (in->flag())
            skipScalingList(in, i < 6 ? 16 : 64);
    }
}

/// Gives the type of the picture order count, and skips what belongs to it.
std::uint32_t readPictureOrder(Bits *in)
{
    const std::uint32_t type = in->ue();
    if (type == 0) {
        in->ue();
    } else if (type == 1) {
        in->flag();
        in->skipUe(2);
        in->skipUe(std::min(in->ue(), 255U));
    }
    return type;
}

void skipBufferModel(Bits *in)
{
    const std::uint32_t schedules = std::min(in->ue(), 31U) + 1;
    in->skipBits(8);
    for (std::uint32_t i = 0; i < schedules && in->isOk(); ++i) {
        in->skipUe(2);
        in->flag();
    }
    in->skipBits(20);
}

/// Skips the part of the usability information that stands before the timing.
void skipLooks(Bits *in)
{
    constexpr std::uint32_t kOwnAspect = 255;
    if (in->flag() && in->bits(8) == kOwnAspect)
        in->skipBits(32);
    if (in->flag()) // overscan
        in->flag();
    if (in->flag()) { // video signal
        in->skipBits(4);
        if (in->flag())
            in->skipBits(24);
    }
    if (in->flag()) // places of chroma samples
        in->skipUe(2);
}

bool readsAsUsualRate(Bits *in)
{
    if (!in->flag())
        return false;
    const std::uint64_t tick = in->bits(32);
    const std::uint64_t scale = in->bits(32);
    in->flag();
    // A frame lasts two ticks.
    return tick > 0 && scale >= 2 * tick * kLowestRate && scale < 2 * tick * (kHighestRate + 1);
}

/// Whether the number of pictures is told that may come late.
bool tellsReordering(Bits *in)
{
    const bool hasNalModel = in->flag();
    if (hasNalModel)
        skipBufferModel(in);
    const bool hasVclModel = in->flag();
    if (hasVclModel)
        skipBufferModel(in);
    if (hasNalModel || hasVclModel)
        in->flag();
    in->flag();
    if (!in->flag()) // no restrictions are told
        return false;
    in->flag();
    in->skipUe(5);
    return in->isOk();
}

bool setTells(const Bytes &sequenceSet)
{
    constexpr std::uint32_t kOutputOrder = 2; // of the picture order count: as decoded
    Bits in(sequenceSet);
    const std::uint32_t profile = in.bits(8);
    in.skipBits(16);
    in.ue();
    if (hasChromaForm(profile))
        skipChromaForm(&in);
    in.ue();
    const bool isAsDecoded = readPictureOrder(&in) == kOutputOrder;
    in.ue();
    in.flag();
    in.skipUe(2);
    const bool isOfFrames = in.flag();
    if (!isOfFrames)
        return false; // fields may come as pictures of their own
    in.flag();
    if (in.flag()) // cropping
        in.skipUe(4);
    if (!in.flag()) // no usability information
        return false;
    skipLooks(&in);
    return readsAsUsualRate(&in) && in.isOk() && (isAsDecoded || tellsReordering(&in));
}

/// Of H.265, whose sets FFmpeg's decoder makes known as soon as it is open.
bool decoderKnowsRate(const AVCodecParameters *parameters)
{
    const AVCodec *codec = avcodec_find_decoder(parameters->codec_id);
    if (!codec)
        return false;
    const AVCodecContextPtr ctx(avcodec_alloc_context3(codec));
    if (!ctx || avcodec_parameters_to_context(ctx.get(), parameters) < 0)
        return false;
    ctx->thread_count = 1;
    if (avcodec_open2(ctx.get(), codec, nullptr) < 0 || ctx->framerate.den == 0)
        return false;
    const double rate = av_q2d(ctx->framerate);
    return rate >= kLowestRate && rate < kHighestRate + 1;
}

} // namespace

bool tellsOrderAndRate(const AVCodecParameters *parameters)
{
    if (!parameters || !parameters->extradata || parameters->extradata_size <= 0 ||
        parameters->extradata_size > kLargestSets)
        return false;
    if (parameters->codec_id == AV_CODEC_ID_HEVC)
        return decoderKnowsRate(parameters);
    if (parameters->codec_id != AV_CODEC_ID_H264)
        return false;
    const std::vector<Bytes> sets = sequenceSets(parameters->extradata, parameters->extradata_size);
    return !sets.empty() && std::all_of(sets.begin(), sets.end(), setTells);
}
