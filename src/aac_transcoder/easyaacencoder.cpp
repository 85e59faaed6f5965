// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "aac_transcoder/easyaacencoder.h"

#include "aac_transcoder/g7toaac_p.h"

#include <cstddef>
#include <memory>

static_assert(sizeof(G7ToAacInitParam) == 16);
static_assert(offsetof(G7ToAacInitParam, channels) == 1);
static_assert(offsetof(G7ToAacInitParam, sampleRate) == 4);
static_assert(offsetof(G7ToAacInitParam, bitsPerSample) == 8);
static_assert(offsetof(G7ToAacInitParam, g726Rate) == 12);

void *Easy_AACEncoder_Init(G7ToAacInitParam param)
{
    auto transcoder = std::make_unique<G7ToAac>(param);
    return transcoder->Init() ? transcoder.release() : nullptr;
}

int Easy_AACEncoder_Encode(void *handle, unsigned char *in, unsigned int inLen, unsigned char *out,
                           unsigned int *outLen)
{
    if (!handle || !out || !outLen)
        return -1;
    return static_cast<G7ToAac *>(handle)->Encode(in, inLen, out, outLen);
}

void Easy_AACEncoder_Release(void *handle)
{
    delete static_cast<G7ToAac *>(handle);
}
