// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "aac_transcoder/faacwrap_p.h"

#include <faac.h>

#include <algorithm>
#include <cstdint>

namespace {

constexpr unsigned int kAdts = 1;
constexpr unsigned int kBitsPerByte = 8;
constexpr unsigned int kMaxBits = 32; ///< keeps the size of a frame within bounds

} // namespace

FaacWrap::~FaacWrap()
{
    if (handle)
        faacEncClose(handle);
}

bool FaacWrap::Open(unsigned int sampleRate, unsigned int channels, unsigned int bits)
{
    if (bits < kBitsPerByte || bits > kMaxBits || channels == 0 || sampleRate == 0)
        return false;
    bitsPerSample = bits;
    handle = faacEncOpen(sampleRate, channels, &inputSamples, &maxOutputBytes);
    if (!handle)
        return false;
    faacEncConfigurationPtr configuration = faacEncGetCurrentConfiguration(handle);
    if (!configuration)
        return false;
    configuration->inputFormat = FAAC_INPUT_16BIT;
    configuration->outputFormat = kAdts;
    configuration->useTns = 0;
    configuration->aacObjectType = LOW;
    configuration->mpegVersion = MPEG2;
    faacEncSetConfiguration(handle, configuration);
    return true;
}

int FaacWrap::Encode(void *pcm, unsigned int bytes, unsigned char *out, unsigned int outSize)
{
    // FAAC takes 16-bit samples, whatever they are called here: never more than it expects.
    const auto samples =
        std::min<unsigned long>(bytes / (bitsPerSample / kBitsPerByte), inputSamples);
    return faacEncEncode(handle, static_cast<std::int32_t *>(pcm),
                         static_cast<unsigned int>(samples), out, outSize);
}
