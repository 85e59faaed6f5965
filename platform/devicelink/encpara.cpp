// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicelink/encpara.h"

bool HVideoEncPara::isValid() const
{
    return (codecId == HCodecH264 || codecId == HCodecH265) && width >= 1 && height >= 1;
}

bool HAudioEncPara::isValid() const
{
    return codecId >= HCodecG711A && codecId <= HCodecPcm && sampleRate >= 1 &&
           bitsPerSample >= 1 && channels >= 1;
}

bool operator==(const HVideoEncPara &a, const HVideoEncPara &b)
{
    return a.codecId == b.codecId && a.width == b.width && a.height == b.height;
}

bool operator!=(const HVideoEncPara &a, const HVideoEncPara &b)
{
    return !(a == b);
}

bool operator==(const HAudioEncPara &a, const HAudioEncPara &b)
{
    return a.codecId == b.codecId && a.sampleRate == b.sampleRate &&
           a.bitsPerSample == b.bitsPerSample && a.channels == b.channels;
}

bool operator!=(const HAudioEncPara &a, const HAudioEncPara &b)
{
    return !(a == b);
}
