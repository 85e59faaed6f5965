// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "aac_transcoder/idecodetopcm_p.h"

/// What the two laws of G.711 share: each byte is one sample.
class DecodeToPcmBase : public IDecodeToPcm
{
public:
    int Init(const G7ToAacInitParam &param) override;
    int Decode(short *pcm, unsigned int *pcmLen, const unsigned char *g7,
               unsigned int g7Len) override;
    int GetPcmSize() override;
    int GetG7Size() override;
    virtual short DecodeOne(unsigned char code) = 0;

private:
    int g7FrameSize = kFrameBytes;
};

/// A-law expansion, ITU-T G.711 table 1, scaled to 16 bits.
class G711AToPcm final : public DecodeToPcmBase
{
public:
    short DecodeOne(unsigned char code) override;
};

/// mu-law expansion, ITU-T G.711 table 2, scaled to 16 bits.
class G711UToPcm final : public DecodeToPcmBase
{
public:
    short DecodeOne(unsigned char code) override;
};
