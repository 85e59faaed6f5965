// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/accessunits.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace vantratest {

/// Colour of a patch, in the planes' own values.
struct Yuv
{
    quint8 y = 0;
    quint8 u = 128;
    quint8 v = 128;
};

/// What makeClip encodes. Each picture carries its number, from firstNumber on, as a row of black
/// and white blocks at the top; below is one colour.
struct ClipOptions
{
    int codec = 1;    ///< 1 H.264, 2 H.265
    int width = 320;  ///< pixels, even
    int height = 240; ///< pixels, even
    int fps = 25;
    int gop = 25;    ///< pictures from one key frame to the next
    int count = 25;  ///< pictures
    int bFrames = 0; ///< with any, pictures leave a decoder later than they enter it
    int firstNumber = 0;
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    Yuv colour = {126, 128, 128};
    bool losslessColour = false; ///< almost exact colours, at the cost of size
};

/// Encodes a clip with libx264 or libx265; parameter sets stand before every key frame. Empty if
/// the encoder is missing.
QVector<AccessUnit> makeClip(const ClipOptions &options);

/// All units one after the other.
QByteArray joinUnits(const QVector<AccessUnit> &units);

/// The number in the blocks of a decoded picture, from its luma plane; -1 if it has none.
int readNumber(const quint8 *luma, int lineSize, int width, int height);

/// 16 bit mono PCM of a sine.
QVector<qint16> makeTone(int samples, int sampleRate, double hertz, int amplitude = 12000);

/// PCM as bytes, in native order.
QByteArray pcmBytes(const QVector<qint16> &samples);

/// G.711 by its definition, one byte per sample.
QByteArray encodeALaw(const QVector<qint16> &samples);
QByteArray encodeMuLaw(const QVector<qint16> &samples);

} // namespace vantratest
