// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What tst_recordcrash kills: records a raw H.264 clip again and again, and tells on standard
// output how many pictures the file has been given.
//
//     recorderprogram CLIP OUTPUT packets|frames sound|silent BYTES
//
// BYTES of filler go with each picture, as a camera with that bit rate would send.
#include "recordingmatrix.h"

#include <QCoreApplication>

#include <cstdio>

using namespace vantratest;

namespace {

/// Data that decoders leave out, as a unit of its own behind the picture.
QByteArray filler(int bytes)
{
    constexpr char kFillerUnit = 12;
    return bytes > 0 ? QByteArray("\0\0\0\1", 4) + kFillerUnit + QByteArray(bytes, '\xff') + '\x80'
                     : QByteArray();
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() != 6)
        return 2;
    const QVector<AccessUnit> units = readVideoUnits(arguments.at(1)).units;
    const bool sound = arguments.at(4) == "sound";
    const QByteArray more = filler(arguments.at(5).toInt());

    HVideoEncPara video;
    video.codecId = HCodecH264;
    video.width = kPictureSize.width();
    video.height = kPictureSize.height();
    HAudioEncPara audio;
    audio.codecId = sound ? HCodecG711A : 0;
    audio.sampleRate = kSoundRate;
    audio.bitsPerSample = 16;
    SaveMp4FFmpeg writer;
    RecordingFeeder feeder(writer, arguments.at(3) == "packets");
    writer.setPara(video, audio);
    writer.setTimebase(feeder.timebase());
    writer.open(arguments.at(2));
    if (!writer.getOpened() || units.isEmpty())
        return 1;
    const QByteArray silence(kBlockMs * kSoundRate / 1000, '\xd5');
    for (int i = 0;; ++i) {
        constexpr int kPictureMs = 2 * kBlockMs;
        AccessUnit unit = units.at(i % units.size());
        unit.data += more;
        feeder.picture(unit, i * kPictureMs);
        for (int block = 0; sound && block < 2; ++block)
            feeder.sound(silence, i * kPictureMs + block * kBlockMs);
        // The writer has taken this picture, and so is done with those before it.
        feeder.settle();
        std::printf("%d\n", i);
        std::fflush(stdout);
    }
}
