// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "aac_transcoder/g711topcm_p.h"

namespace {

constexpr int kBytesPerSample = 2;

// A code is a sign bit, three bits of segment and four of mantissa.
constexpr unsigned kSign = 0x80;
constexpr unsigned segmentOf(unsigned code)
{
    return (code >> 4) & 7;
}
constexpr unsigned mantissaOf(unsigned code)
{
    return code & 15;
}

} // namespace

int DecodeToPcmBase::Init(const G7ToAacInitParam &)
{
    g7FrameSize = kFrameBytes;
    return 0;
}

int DecodeToPcmBase::Decode(short *pcm, unsigned int *pcmLen, const unsigned char *g7,
                            unsigned int g7Len)
{
    if (!pcm || !pcmLen || !g7 || g7Len == 0)
        return kBadArgument;
    if (*pcmLen / kBytesPerSample < g7Len)
        return kNoRoom;
    for (unsigned int i = 0; i < g7Len; ++i)
        pcm[i] = DecodeOne(g7[i]);
    *pcmLen = kBytesPerSample * g7Len;
    return static_cast<int>(*pcmLen);
}

int DecodeToPcmBase::GetPcmSize()
{
    return kBytesPerSample * kFrameBytes;
}

int DecodeToPcmBase::GetG7Size()
{
    return g7FrameSize;
}

short G711AToPcm::DecodeOne(unsigned char wire)
{
    const unsigned code = wire ^ 0x55u; // the even bits travel inverted
    const unsigned segment = segmentOf(code);
    int magnitude = static_cast<int>(mantissaOf(code) << 4) + 8;
    if (segment > 0)
        magnitude = (magnitude + 0x100) << (segment - 1);
    return static_cast<short>((code & kSign) ? magnitude : -magnitude);
}

short G711UToPcm::DecodeOne(unsigned char wire)
{
    constexpr int kBias = 0x84;         // 33 of the 14-bit law, at 16 bits
    const unsigned code = wire ^ 0xFFu; // all bits travel inverted
    const int magnitude =
        ((static_cast<int>(mantissaOf(code) << 3) + kBias) << segmentOf(code)) - kBias;
    return static_cast<short>((code & kSign) ? -magnitude : magnitude);
}
