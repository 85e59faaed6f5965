// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegptr.h"

/// Many cameras tell their parameter sets only once, in the description of the stream (SDP, RFC
/// 6184 and RFC 7798), and a file whose first picture lacks them can be played by nobody. This
/// gives a copy of a key picture with the sets of the description in front.
///
/// Null if there is nothing to add: the picture has its own, the description has none in the form
/// of byte streams (ITU-T H.264 and H.265, Annex B), or memory is short.
AVPacketPtr withParameterSets(const AVPacket *packet, const AVCodecParameters *description);
