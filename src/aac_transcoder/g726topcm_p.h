// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "aac_transcoder/idecodetopcm_p.h"

#include <memory>

struct G726State;

/// G.726 at 16, 24, 32 or 40 kbit/s, codes packed from the most significant bit on. Bits of an
/// unfinished code wait for the next call.
class G726ToPcm final : public IDecodeToPcm
{
public:
    G726ToPcm();
    ~G726ToPcm() override;
    G726ToPcm(const G726ToPcm &) = delete;
    G726ToPcm &operator=(const G726ToPcm &) = delete;

    int Init(const G7ToAacInitParam &param) override;
    int Decode(short *pcm, unsigned int *pcmLen, const unsigned char *g7,
               unsigned int g7Len) override;
    int GetPcmSize() override;
    int GetG7Size() override;

private:
    std::unique_ptr<G726State> state;
    int bitRate = 0; ///< bits per second
    int g7FrameSize = kFrameBytes;
    int pcmFrameSize = 0; ///< bytes
};
