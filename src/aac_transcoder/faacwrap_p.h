// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

/// One FAAC encoder, set to AAC-LC with an ADTS header on every frame.
class FaacWrap
{
public:
    FaacWrap() = default;
    ~FaacWrap();
    FaacWrap(const FaacWrap &) = delete;
    FaacWrap &operator=(const FaacWrap &) = delete;

    /// Returns false if FAAC refuses these parameters.
    bool Open(unsigned int sampleRate, unsigned int channels, unsigned int bits);
    /// Encodes `bytes` of PCM; returns the bytes written to `out`, 0 while FAAC gathers, or less.
    int Encode(void *pcm, unsigned int bytes, unsigned char *out, unsigned int outSize);

    unsigned long InputSamples() const { return inputSamples; }
    unsigned long MaxOutputBytes() const { return maxOutputBytes; }

private:
    void *handle = nullptr;
    unsigned int bitsPerSample = 16;
    unsigned long inputSamples = 0; ///< of all channels, in one AAC frame
    unsigned long maxOutputBytes = 0;
};
