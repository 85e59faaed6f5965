// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/bits.h"

namespace vantrasim {

/// Lines and columns of a block of encodeFlatSlice().
constexpr int kFlatBlock = 16;

/// Encodes a grey picture of blocks of one brightness each as an H.265 I slice: what follows its
/// header. All lines of blocks are alike; `luma` has the brightness of each block of a line. It
/// takes microseconds where an encoder, which does not know what it is about to see, takes
/// milliseconds.
///
/// The parameter sets must say: coding tree units of 16, not split further, transforms of 16, not
/// split in intra blocks, no change of quantiser within a slice, no in-loop filters. Edges between
/// blocks come out a little soft, as the prediction of H.265 wants it.
Bytes encodeFlatSlice(const Bytes &luma, int lines, int qp);

} // namespace vantrasim
