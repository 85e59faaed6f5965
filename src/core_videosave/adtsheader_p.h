// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <array>
#include <iterator>

namespace vantra {

/// Bytes that stand in front of an AAC block.
using AdtsHeader = std::array<quint8, 7>;

/// Index of a rate in the MPEG-4 table of sampling frequencies; that of 48 kHz for all others.
inline int adtsFrequencyIndex(int sampleRate)
{
    constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                              24000, 22050, 16000, 12000, 11025, 8000};
    constexpr int kIndexOf48000 = 3;
    for (size_t i = 0; i < std::size(kRates); ++i) {
        if (kRates[i] == sampleRate)
            return int(i);
    }
    return kIndexOf48000;
}

/// Header of a block of `payload` bytes. Three oddities are intended: `profile` moves the field of
/// the frequency and not its own, which always says AAC-LC; the low bits of the channel field
/// always say two; a length beyond 13 bits spills over. 64 bits keep any argument from overflowing.
inline AdtsHeader adtsHeader(qint64 payload, int sampleRate, int channelCount, int profile)
{
    const qint64 length = payload + qint64(AdtsHeader().size());
    qint64 index = adtsFrequencyIndex(sampleRate);
    if (profile > 1)
        index += qint64(profile) - 1;
    return {0xFF,
            0xF1,
            quint8((index + 16) * 4 + (channelCount >> 2)),
            quint8(0x80 + (length >> 11)),
            quint8(length >> 3),
            quint8(length * 32 + 0x1F),
            0xFC};
}

} // namespace vantra
