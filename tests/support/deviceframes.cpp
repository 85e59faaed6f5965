// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/deviceframes.h"

#include <map>
#include <tuple>

namespace vantratest {

namespace {

constexpr int kPictures = 30;
constexpr int kGop = 10;
constexpr int kSampleRate = 8000; // Hz
constexpr int kPieceSamples = 160;
constexpr int kPieceMs = 20;
constexpr int kToneSamples = 10 * kSampleRate;
constexpr double kHertz = 440;
constexpr quint32 kALaw = 3; // as frames have it

} // namespace

const QVector<AccessUnit> &DeviceFrames::units(int codec, int width, int height)
{
    static std::map<std::tuple<int, int, int>, QVector<AccessUnit>> made;
    QVector<AccessUnit> &units = made[{codec, width, height}];
    if (units.isEmpty()) {
        ClipOptions options;
        options.codec = codec;
        options.width = width;
        options.height = height;
        options.gop = kGop;
        options.count = kPictures;
        units = makeClip(options);
    }
    return units;
}

ScriptedFrame DeviceFrames::picture(int number, int codec, int width, int height)
{
    return pictures(number, 1, codec, width, height).value(0);
}

QVector<ScriptedFrame> DeviceFrames::pictures(int first, int count, int codec, int width,
                                              int height, qint64 firstPts)
{
    QVector<ScriptedFrame> frames;
    for (int i = first; i < first + count; ++i) {
        const AccessUnit unit = units(codec, width, height).value(i);
        frames << ScriptedFrame::video(unit.key ? 0 : 1, quint32(codec - 1), width, height,
                                       unit.data, firstPts + i * kFrameMs);
    }
    return frames;
}

ScriptedFrame DeviceFrames::sound(int piece)
{
    static const QByteArray tone = encodeALaw(makeTone(kToneSamples, kSampleRate, kHertz));
    return ScriptedFrame::audio(kALaw, kSampleRate, 16, 1,
                                tone.mid(piece * kPieceSamples % kToneSamples, kPieceSamples),
                                1000 + piece * kPieceMs);
}

HVideoEncPara DeviceFrames::videoPara(int codec, int width, int height)
{
    HVideoEncPara para;
    para.codecId = codec;
    para.width = width;
    para.height = height;
    para.frameRate = 25;
    para.mode = 1;
    return para;
}

HAudioEncPara DeviceFrames::audioPara()
{
    HAudioEncPara para;
    para.codecId = HCodecG711A;
    para.sampleRate = kSampleRate;
    para.bitsPerSample = 16;
    return para;
}

} // namespace vantratest
