// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/h265sets_p.h"

#include "core_ffmpeg/ffmpegptr.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstring>

namespace {

constexpr int kVps = 32;
constexpr int kSps = 33;
constexpr int kCodeBytes = 3; ///< of a start code
/// Bytes. Cameras send a hundred; what is kept and given to a decoder twice is not to be of any
/// size.
constexpr int kLargestSets = 65536;

/// The next 00 00 01 from `at` on, or the end. Every picture is looked through, hence memchr().
const quint8 *startCode(const quint8 *at, const quint8 *end)
{
    while (end - at >= 3) {
        const void *const found = memchr(at + 2, 1, static_cast<size_t>(end - at - 2));
        if (!found)
            break;
        const auto *const one = static_cast<const quint8 *>(found);
        if (one[-1] == 0 && one[-2] == 0)
            return one - 2;
        at = one - 1;
    }
    return end;
}

/// Of the unit whose start code begins at `unit`; -1 if there is nothing before `end`.
int typeOf(const quint8 *unit, const quint8 *end)
{
    return end - unit > kCodeBytes ? unit[kCodeBytes] >> 1 & 0x3f : -1;
}

bool isReadByMuxer(int type)
{
    return type == kVps || type == kSps;
}

/// All video and sequence parameter sets of a packet, with start codes. Their heads are made those
/// of the base layer: others the decoder leaves aside, and the muxer reads.
QByteArray setsOf(const quint8 *data, int size)
{
    constexpr int kHeadBytes = 2;
    QByteArray sets;
    const quint8 *const end = data + size;
    for (const quint8 *unit = startCode(data, end); unit != end;) {
        const quint8 *const next = startCode(unit + kCodeBytes, end);
        const auto bytes = static_cast<int>(next - unit);
        const int type = typeOf(unit, next);
        if (isReadByMuxer(type)) {
            const int before = sets.size();
            sets.append(reinterpret_cast<const char *>(unit), bytes);
            sets[before + kCodeBytes] = static_cast<char>(type << 1);
            if (bytes >= kCodeBytes + kHeadBytes)
                sets[before + kCodeBytes + 1] = 1;
        }
        unit = next;
    }
    return sets;
}

bool isReadByDecoder(const QByteArray &sets)
{
    const auto *decoder = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    const AVCodecContextPtr ctx(avcodec_alloc_context3(decoder));
    if (!decoder || !ctx)
        return false;
    const auto size = static_cast<size_t>(sets.size());
    ctx->extradata = static_cast<quint8 *>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!ctx->extradata)
        return false;
    memcpy(ctx->extradata, sets.constData(), size);
    ctx->extradata_size = sets.size();
    ctx->thread_count = 1;
    ctx->err_recognition = AV_EF_EXPLODE;
    return avcodec_open2(ctx.get(), decoder, nullptr) >= 0;
}

} // namespace

bool H265Sets::areIn(const quint8 *data, int size)
{
    const quint8 *const end = data + size;
    for (const quint8 *unit = startCode(data, end); unit != end;
         unit = startCode(unit + kCodeBytes, end)) {
        if (isReadByMuxer(typeOf(unit, end)))
            return true;
    }
    return false;
}

bool H265Sets::areReadable(const quint8 *data, int size)
{
    const QByteArray sets = setsOf(data, size);
    if (sets.isEmpty() || sets == readable)
        return true;
    if (sets.size() > kLargestSets)
        return false;
    // Some devices send each set by itself: a sequence needs the set of the video before it.
    if (!isReadByDecoder(sets) && !isReadByDecoder(readable + sets))
        return false;
    readable = sets;
    return true;
}
