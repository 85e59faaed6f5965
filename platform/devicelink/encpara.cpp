// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicelink/encpara.h"

#include <cstddef>
#include <type_traits>

// The device link fills these records byte by byte.
static_assert(sizeof(HAVCodecID) == 4);
static_assert(std::is_standard_layout<HVideoEncPara>::value &&
              std::is_trivially_copyable<HVideoEncPara>::value);
static_assert(offsetof(HVideoEncPara, codecId) == 0 && offsetof(HVideoEncPara, width) == 4 &&
              offsetof(HVideoEncPara, height) == 8 && offsetof(HVideoEncPara, frameRate) == 12 &&
              offsetof(HVideoEncPara, mode) == 16 && offsetof(HVideoEncPara, bitRate) == 20);
static_assert(std::is_standard_layout<HAudioEncPara>::value &&
              std::is_trivially_copyable<HAudioEncPara>::value);
static_assert(offsetof(HAudioEncPara, codecId) == 0 && offsetof(HAudioEncPara, sampleRate) == 4 &&
              offsetof(HAudioEncPara, bitsPerSample) == 8 &&
              offsetof(HAudioEncPara, channels) == 12);

bool HVideoEncPara::isValid() const
{
    return (codecId == HCodecH264 || codecId == HCodecH265) && width >= 1 && height >= 1;
}

bool HAudioEncPara::isValid() const
{
    return codecId >= HCodecG711A && codecId <= HCodecPcm && sampleRate >= 1 &&
           bitsPerSample >= 1 && channels >= 1;
}

bool operator==(const HVideoEncPara &a, const HVideoEncPara &b)
{
    return a.codecId == b.codecId && a.width == b.width && a.height == b.height;
}

bool operator!=(const HVideoEncPara &a, const HVideoEncPara &b)
{
    return !(a == b);
}

bool operator==(const HAudioEncPara &a, const HAudioEncPara &b)
{
    return a.codecId == b.codecId && a.sampleRate == b.sampleRate &&
           a.bitsPerSample == b.bitsPerSample && a.channels == b.channels;
}

bool operator!=(const HAudioEncPara &a, const HAudioEncPara &b)
{
    return !(a == b);
}
