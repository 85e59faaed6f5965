// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

/// Short ways to make and use audio handles, and G.711 expansion from its definition.

#include "codechandles.h"
#include "support/clipmaker.h"

namespace vantratest {

constexpr int kALaw = 33;
constexpr int kMuLaw = 34;
constexpr int kPcm = 35;

inline AudioDecoderHandle makeDecoder(int codec, int sampleRate = 8000, int channels = 1)
{
    const _tag_adec_param_s param = {codec, sampleRate, 16, channels};
    return AudioDecoderHandle(ffmpeg_create_audio_decoder(&param));
}

inline AudioEncoderHandle makeEncoder(int codec, int sampleRate = 8000, int channels = 1)
{
    const _tag_aenc_param_s param = {codec, sampleRate, 16, channels};
    return AudioEncoderHandle(ffmpeg_create_audio_encoder(&param));
}

inline int decode(const AudioDecoderHandle &handle, const QByteArray &data, _tag_audio_frame_s *out,
                  quint64 pts = 0)
{
    return ffmpeg_decoder_audio_frame(handle.get(), bytesOf(data), unsigned(data.size()), pts, out);
}

inline int encode(const AudioEncoderHandle &handle, const QByteArray &data, _tag_audio_frame_s *out,
                  quint64 pts = 0)
{
    return ffmpeg_encoder_audio_frame(handle.get(), bytesOf(data), unsigned(data.size()), pts, out);
}

inline QByteArray content(const _tag_audio_frame_s &out)
{
    return QByteArray(reinterpret_cast<const char *>(out.data), int(out.size));
}

/// G.711 expansion from its definition.
inline qint16 expand(int codec, quint8 code)
{
    if (codec == kALaw) {
        const int bits = code ^ 0x55;
        const int segment = (bits >> 4) & 7;
        const int step = bits & 0x0f;
        const int magnitude = segment == 0 ? step * 16 + 8 : (step * 16 + 264) << (segment - 1);
        return qint16(bits & 0x80 ? magnitude : -magnitude);
    }
    const int bits = ~code & 0xff;
    const int magnitude = ((((bits & 0x0f) << 3) + 132) << ((bits >> 4) & 7)) - 132;
    return qint16(bits & 0x80 ? -magnitude : magnitude);
}

inline QByteArray expanded(int codec, const QByteArray &codes)
{
    QVector<qint16> samples;
    for (const char code : codes)
        samples.append(expand(codec, quint8(code)));
    return pcmBytes(samples);
}

} // namespace vantratest
