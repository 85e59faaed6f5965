// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "aac_transcoder/easyaacencoder.h"

#include <cstdint>

namespace vantratest {

inline constexpr int kRate = 8000; ///< Hz
inline constexpr int kFrameBytes = 160;

/// Of a device that sends mono of 16 bits.
inline G7ToAacInitParam param(int codec, int g726Rate = 0)
{
    G7ToAacInitParam result{};
    result.audioCodec = static_cast<uint8_t>(codec);
    result.channels = 1;
    result.sampleRate = kRate;
    result.bitsPerSample = 16;
    result.g726Rate = static_cast<uint8_t>(g726Rate);
    return result;
}

} // namespace vantratest
