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

void SliceJoiner::join(const Strip &strip, const LowerSlice &lower, Bytes *stream) const
{
    for (const auto &part : strip) {
        BitWriter header;
        writeUpperHeader(*part, lower, &header);
        Bytes unit = header.bytes();
        unit.insert(unit.end(), part->payload.begin(), part->payload.end());
        appendUnit(unit, stream);
    }
    stream->insert(stream->end(), lower.coded.begin(), lower.coded.end());
}

} // namespace vantrasim
