// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/sound.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vantrasim {

namespace {

constexpr double kAmplitude = 8192;
constexpr double kPi = 3.14159265358979323846;
constexpr int kMuBias = 0x84;
constexpr int kMuClip = 32635;

} // namespace

quint8 toALaw(qint16 sample)
{
    const bool positive = sample >= 0;
    const int magnitude = (positive ? sample : -1 - sample) >> 3; // 12 bits
    int segment = 0;
    while (magnitude >= (0x20 << segment))
        ++segment;
    const int code = segment << 4 | ((magnitude >> std::max(segment, 1)) & 0x0F);
    return quint8((positive ? code | 0x80 : code) ^ 0x55);
}

qint16 fromALaw(quint8 code)
{
    code ^= 0x55;
    const int segment = (code >> 4) & 7;
    int magnitude = (code & 0x0F) << 4 | 8;
    if (segment > 0)
        magnitude = (magnitude + 0x100) << (segment - 1);
    return qint16((code & 0x80) != 0 ? magnitude : -magnitude);
}

quint8 toMuLaw(qint16 sample)
{
    const bool negative = sample < 0;
    const int magnitude = std::min(negative ? -int(sample) : int(sample), kMuClip) + kMuBias;
    int segment = 7;
    while (segment > 0 && (magnitude & (0x80 << segment)) == 0)
        --segment;
    const int code = segment << 4 | ((magnitude >> (segment + 3)) & 0x0F);
    return quint8(~(negative ? code | 0x80 : code));
}

qint16 fromMuLaw(quint8 code)
{
    code = quint8(~code);
    const int segment = (code >> 4) & 7;
    const int magnitude = (((code & 0x0F) << 3 | kMuBias) << segment) - kMuBias;
    return qint16((code & 0x80) != 0 ? -magnitude : magnitude);
}

QByteArray encodeSound(const QByteArray &pcm, const AudioFormat &format)
{
    QByteArray sound;
    for (int at = 0; at + 1 < pcm.size(); at += 2) {
        qint16 sample = 0;
        std::memcpy(&sample, pcm.constData() + at, sizeof sample);
        for (int channel = 0; channel < format.channels; ++channel) {
            if (format.codec == HCodecG711A)
                sound.append(char(toALaw(sample)));
            else if (format.codec == HCodecG711U)
                sound.append(char(toMuLaw(sample)));
            else
                sound.append(pcm.constData() + at, sizeof sample);
        }
    }
    return sound;
}

Sound::Sound(const AudioFormat &format) : m_format(format)
{
    QByteArray pcm;
    for (int i = 0; i < format.sampleRate; ++i) {
        const double turn = double(qint64(i) * format.hertz % format.sampleRate);
        const auto sample =
            qint16(std::lround(kAmplitude * std::sin(2 * kPi * turn / format.sampleRate)));
        pcm.append(reinterpret_cast<const char *>(&sample), sizeof sample);
    }
    m_round = encodeSound(pcm, format);
}

Sound::Sound(const AudioFormat &format, const QByteArray &coded) : m_format(format), m_round(coded)
{
}

QByteArray Sound::packet(qint64 number) const
{
    const int bytesPerSample = m_format.channels * (m_format.codec == HCodecPcm ? 2 : 1);
    const int size = m_format.sampleRate * m_format.packetMs / 1000 * bytesPerSample;
    qint64 at = number * size % m_round.size();
    QByteArray sound;
    while (sound.size() < size) {
        const int part = std::min(size - int(sound.size()), int(m_round.size() - at));
        sound.append(m_round.constData() + at, part);
        at = 0;
    }
    return sound;
}

} // namespace vantrasim
