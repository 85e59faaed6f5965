// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "aac_transcoder/g7toaac_p.h"

#include "aac_transcoder/g711topcm_p.h"
#include "aac_transcoder/g726topcm_p.h"

#include <algorithm>
#include <climits>

namespace {

/// A decoded frame below this is taken for the last one of a sequence, and encoded at once.
constexpr unsigned int kWholeFrameBytes = 320;

G7ToAacInitParam defaultParam()
{
    G7ToAacInitParam param{};
    param.audioCodec = G7CodecALaw;
    param.channels = 1;
    param.sampleRate = 8000;
    param.bitsPerSample = 16;
    return param;
}

std::unique_ptr<IDecodeToPcm> makeDecoder(int audioCodec)
{
    switch (audioCodec) {
    case G7CodecMuLaw:
        return std::make_unique<G711UToPcm>();
    case G7CodecG726:
        return std::make_unique<G726ToPcm>();
    default:
        return std::make_unique<G711AToPcm>(); // unknown codes too: this is intended
    }
}

} // namespace

G7ToAac::G7ToAac() : G7ToAac(defaultParam()) {}
G7ToAac::G7ToAac(const G7ToAacInitParam &param) : param(param) {}
G7ToAac::~G7ToAac() = default;

bool G7ToAac::Init()
{
    decoder = makeDecoder(param.audioCodec);
    decoder->Init(param);
    if (!encoder.Open(param.sampleRate, param.channels, param.bitsPerSample))
        return false;
    const auto inputSamples = static_cast<unsigned int>(encoder.InputSamples());
    pcmBufferSize = (param.bitsPerSample / 8) * inputSamples;
    // FAAC reads 16-bit samples even where bitsPerSample says less.
    pcmBuffer.assign(std::max<std::size_t>(pcmBufferSize, inputSamples * sizeof(short)), 0);
    aacBuffer.assign(encoder.MaxOutputBytes(), 0);
    g7Frame.assign(static_cast<std::size_t>(decoder->GetG7Size()), 0);
    pcmFrame.assign(static_cast<std::size_t>(decoder->GetPcmSize() + 1) / sizeof(short), 0);
    return true;
}

int G7ToAac::Encode(const unsigned char *in, unsigned int inLen, unsigned char *out,
                    unsigned int *outLen)
{
    if (inLen <= INT_MAX)
        ring.Write(in, static_cast<int>(inLen)); // what does not fit is lost
    *outLen = 0;
    int bytes = 0;
    while ((bytes = ring.Read(g7Frame.data(), static_cast<int>(g7Frame.size()))) > 0) {
        std::fill(pcmFrame.begin(), pcmFrame.end(), short(0));
        auto room = static_cast<unsigned int>(pcmFrame.size() * sizeof(short));
        const int decoded = decoder->Decode(pcmFrame.data(), &room, g7Frame.data(),
                                            static_cast<unsigned int>(bytes));
        if (decoded < 0)
            return -1;
        pcmDecoded = static_cast<unsigned int>(decoded);
        takeFrame(out, outLen);
    }
    return static_cast<int>(*outLen);
}

void G7ToAac::takeFrame(unsigned char *out, unsigned int *outLen)
{
    const auto *frame = reinterpret_cast<const unsigned char *>(pcmFrame.data());
    unsigned int taken = 0;
    // A frame that just fills the buffer is only appended; the encode comes with the next one.
    while (pcmBufferSize - pcmFill < pcmDecoded - taken) {
        const unsigned int part = pcmBufferSize - pcmFill;
        std::copy_n(frame + taken, part, pcmBuffer.data() + pcmFill);
        taken += part;
        encodeBuffer(pcmBufferSize, out, outLen);
        std::fill(pcmBuffer.begin(), pcmBuffer.end(), static_cast<unsigned char>(0));
        pcmFill = 0;
    }
    std::copy_n(frame + taken, pcmDecoded - taken, pcmBuffer.data() + pcmFill);
    pcmFill += pcmDecoded - taken;
    // The bytes stay in the buffer and are encoded again with what follows: this is intended.
    if (pcmDecoded < kWholeFrameBytes)
        encodeBuffer(pcmFill, out, outLen);
}

void G7ToAac::encodeBuffer(unsigned int bytes, unsigned char *out, unsigned int *outLen)
{
    std::fill(aacBuffer.begin(), aacBuffer.end(), static_cast<unsigned char>(0));
    lastAacSize = encoder.Encode(pcmBuffer.data(), bytes, aacBuffer.data(),
                                 static_cast<unsigned int>(aacBuffer.size()));
    if (lastAacSize <= 0)
        return; // FAAC has an encoder delay
    std::copy_n(aacBuffer.data(), lastAacSize, out + *outLen);
    *outLen += static_cast<unsigned int>(lastAacSize);
}
