// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "aac_transcoder/easyaacencoder.h"

/// A decoder of one narrow-band codec to 16-bit PCM.
class IDecodeToPcm
{
public:
    virtual ~IDecodeToPcm() = default;

    /// Prepares; returns 0.
    virtual int Init(const G7ToAacInitParam &param) = 0;
    /// Decodes `g7Len` bytes into `pcm`, which has room for `*pcmLen` bytes. Returns the bytes
    /// written, also stored in `*pcmLen`, or a negative code.
    virtual int Decode(short *pcm, unsigned int *pcmLen, const unsigned char *g7,
                       unsigned int g7Len) = 0;
    /// Bytes of PCM that one frame can yield.
    virtual int GetPcmSize() = 0;
    /// Bytes of one frame of input.
    virtual int GetG7Size() = 0;

protected:
    static constexpr int kFrameBytes = 160; ///< 20 ms of G.711 at 8000 Hz
    static constexpr int kBadArgument = -1;
    static constexpr int kNoRoom = -2;
};
