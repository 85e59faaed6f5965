// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/slices_p.h"

namespace vantrasim {

std::unique_ptr<SliceJoiner> SliceJoiner::create(int codec, const Bytes &parameterSets, int width,
                                                 int stripHeight)
{
    return codec == 1 ? createH264Joiner(parameterSets, width, stripHeight)
                      : createH265Joiner(parameterSets, width, stripHeight);
}

void SliceJoiner::join(const UpperSlice &upper, const LowerSlice &lower, Bytes *stream) const
{
    BitWriter header;
    writeUpperHeader(upper, lower, &header);
    Bytes unit = header.bytes();
    unit.insert(unit.end(), upper.payload.begin(), upper.payload.end());
    appendUnit(unit, stream);
    stream->insert(stream->end(), lower.coded.begin(), lower.coded.end());
}

} // namespace vantrasim
