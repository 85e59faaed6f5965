// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/annexb_p.h"

namespace {

enum class Unit { Slice, Vps, Sps, Pps, OfOtherCodec, Other };

Unit unitOfH264(int first, int second)
{
    if (first == 0x40 && second == 0x01) // a VPS of H.265, which every one of its sequences has
        return Unit::OfOtherCodec;
    switch (first & 0x1f) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
        return Unit::Slice;
    case 7:
        return Unit::Sps;
    case 8:
        return Unit::Pps;
    default:
        return Unit::Other;
    }
}

Unit unitOfH265(int first, int second)
{
    // The layer is 0 in all that a camera sends; the header of H.264 has only one byte.
    if ((first & 0x01) != 0 || (second & 0xf8) != 0)
        return Unit::OfOtherCodec;
    switch (first >> 1) {
    case 32:
        return Unit::Vps;
    case 33:
        return Unit::Sps;
    case 34:
        return Unit::Pps;
    default:
        return first >> 1 < 32 ? Unit::Slice : Unit::Other;
    }
}

/// Position behind the next 00 00 01 from `at` on; `size` if there is none.
int behindStartCode(const quint8 *data, int size, int at)
{
    for (; at + 2 < size; ++at) {
        if (data[at] == 0 && data[at + 1] == 0 && data[at + 2] == 1)
            return at + 3;
    }
    return size;
}

} // namespace

AnnexBContent lookIntoAnnexB(AVCodecID codec, const quint8 *data, int size)
{
    const bool isH265 = codec == AV_CODEC_ID_HEVC;
    AnnexBContent content;
    bool vps = !isH265;
    bool sps = false;
    bool pps = false;
    const int first = behindStartCode(data, size, 0);
    if (first + 1 < size)
        content.begin = first > 3 && data[first - 4] == 0 ? first - 4 : first - 3;
    for (int at = first; at + 1 < size; at = behindStartCode(data, size, at)) {
        const Unit unit =
            isH265 ? unitOfH265(data[at], data[at + 1]) : unitOfH264(data[at], data[at + 1]);
        if (unit == Unit::OfOtherCodec) {
            content = AnnexBContent();
            content.isOfOtherCodec = true;
            return content;
        }
        content.isVideo = true;
        vps = vps || unit == Unit::Vps;
        sps = sps || unit == Unit::Sps;
        pps = pps || unit == Unit::Pps;
        if (unit == Unit::Slice) {
            content.isBareSlice = !sps && !pps && !(isH265 && vps);
            break;
        }
    }
    content.hasParameterSets = vps && sps && pps;
    return content;
}
