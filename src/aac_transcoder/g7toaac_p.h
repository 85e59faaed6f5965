// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "aac_transcoder/easyaacencoder.h"
#include "aac_transcoder/faacwrap_p.h"
#include "aac_transcoder/g7ring_p.h"
#include "aac_transcoder/idecodetopcm_p.h"

#include <memory>
#include <vector>

/// One stream: gathers narrow-band frames, decodes them, and encodes when an AAC frame is full.
class G7ToAac
{
public:
    /// G.711 A-law, mono, 8000 Hz.
    G7ToAac();
    explicit G7ToAac(const G7ToAacInitParam &param);
    virtual ~G7ToAac();
    G7ToAac(const G7ToAac &) = delete;
    G7ToAac &operator=(const G7ToAac &) = delete;

    /// Makes decoder and encoder; false if the encoder refuses.
    bool Init();
    /// As Easy_AACEncoder_Encode().
    int Encode(const unsigned char *in, unsigned int inLen, unsigned char *out,
               unsigned int *outLen);

protected:
    /// Appends the decoded frame to pcmBuffer, and encodes when that is full.
    void takeFrame(unsigned char *out, unsigned int *outLen);
    /// Encodes the first `bytes` of pcmBuffer and appends the result to `out`.
    void encodeBuffer(unsigned int bytes, unsigned char *out, unsigned int *outLen);

    G7ToAacInitParam param;
    std::unique_ptr<IDecodeToPcm> decoder;
    FaacWrap encoder;
    G7Ring ring;
    std::vector<unsigned char> g7Frame;
    std::vector<short> pcmFrame;          ///< one decoded frame
    unsigned int pcmDecoded = 0;          ///< bytes of it
    std::vector<unsigned char> pcmBuffer; ///< PCM of one AAC frame, with room for what FAAC reads
    unsigned int pcmBufferSize = 0;       ///< bytes of PCM in one AAC frame
    unsigned int pcmFill = 0;             ///< bytes that wait in pcmBuffer
    std::vector<unsigned char> aacBuffer;
    int lastAacSize = 0; ///< bytes of the latest AAC output
};
