// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegcompat.h"

/// Whether the parameter sets that came with the description of a live stream (RFC 6184 and RFC
/// 7798, "sprop") tell all that FFmpeg would otherwise find out from several pictures: how the
/// pictures are reordered, and how many there are in a second. Then one picture is enough to open
/// it.
///
/// H.264 (ITU-T H.264, 7.3.2.1.1 and E.1.1): every sequence parameter set must say how many
/// pictures may come late, that pictures are frames, and a rate of 1 to 60. H.265 always tells the
/// order; its rate is asked of FFmpeg's decoder. False for anything else, and for what cannot be
/// read. Any thread; the sets are those of a stranger.
bool tellsOrderAndRate(const AVCodecParameters *parameters);
