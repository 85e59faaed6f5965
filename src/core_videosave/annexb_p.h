// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

extern "C" {
#include <libavcodec/codec_id.h>
}

/// What stands in a packet of video up to its first slice.
struct AnnexBContent
{
    bool isVideo = false;          ///< has a start code, and nothing of the other codec
    bool hasParameterSets = false; ///< all that a decoder needs to begin
    bool isOfOtherCodec = false;   ///< H.265 where H.264 was meant, or the other way round
    bool isBareSlice = false;      ///< video with a slice, and no parameter set before it
    int begin = 0; ///< of the first start code, 3 bytes or 4; what stands before belongs to no unit
};

/// Looks at the NAL units of a packet (ITU-T H.264 and H.265, Annex B) up to its first slice.
/// `codec` is AV_CODEC_ID_H264 or AV_CODEC_ID_HEVC.
AnnexBContent lookIntoAnnexB(AVCodecID codec, const quint8 *data, int size);
