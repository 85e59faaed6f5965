// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

/// Peak level of a block of interleaved little-endian PCM, 0 to 1 of full scale.
///
/// `len` counts bytes; a rest that is no whole frame is not looked at. `sampleSize` is in bits: 8
/// is unsigned, 16 and 32 are signed, any other size counts as silence. 8-bit samples rest at 128,
/// and their level is the largest byte's share of 255 less 0.5: silence is then about 0, not
/// exactly. A block without a whole frame has level 0, whatever the format; so have null data, a
/// negative length and a format of no bytes per frame. `data` need not be aligned. Any thread.
double pcmLevel(const char *data, int len, int sampleSize, int channelCount);
