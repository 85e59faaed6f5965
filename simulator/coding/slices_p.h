// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/slices.h"

namespace vantrasim {

std::unique_ptr<SliceJoiner> createH264Joiner(const Bytes &parameterSets, int width,
                                              int stripHeight);
std::unique_ptr<SliceJoiner> createH265Joiner(const Bytes &parameterSets, int width,
                                              int stripHeight);

} // namespace vantrasim
