// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/sources.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

namespace {

constexpr int kClipSeconds = 10;
constexpr int kLoops = kSourceSeconds / kClipSeconds; ///< clips one after the other in a source

} // namespace

QString makeSource(const QTemporaryDir &dir, const Source &source)
{
    const QString name = QLatin1String(source.encoder) + QLatin1String(source.size);
    const QString clip = dir.filePath(name + QStringLiteral("-clip.ts"));
    const QString whole = dir.filePath(name + QStringLiteral(".ts"));
    const QStringList tuning =
        source.encoder == QLatin1String("libx264")
            ? QStringList{"-tune", "zerolatency", "-x264-params", "threads=1:keyint=50"}
            : QStringList{"-x265-params", "log-level=none:bframes=0:keyint=50"};
    const QString picture = QStringLiteral("testsrc2=size=%1:rate=25,noise=alls=4:allf=t")
                                .arg(QLatin1String(source.size));
    const QStringList encode =
        QStringList{"-v",   "error",        "-f",       "lavfi",
                    "-i",   picture,        "-t",       QString::number(kClipSeconds),
                    "-b:v", source.bitRate, "-pix_fmt", "yuv420p",
                    "-c:v", source.encoder, "-preset",  "ultrafast"} +
        tuning + QStringList{clip};
    const QStringList join{"-v", "error", "-stream_loop", QString::number(kLoops - 1), "-i", clip,
                           "-c", "copy",  whole};
    if (QProcess::execute(QStringLiteral("ffmpeg"), encode) != 0 ||
        QProcess::execute(QStringLiteral("ffmpeg"), join) != 0)
        return QString();
    return whole;
}

VideoInput::VideoInput(const QString &file)
{
    AVFormatContext *opened = nullptr;
    if (avformat_open_input(&opened, QFile::encodeName(file).constData(), nullptr, nullptr) < 0)
        return;
    format.reset(opened);
    avformat_find_stream_info(opened, nullptr);
    index = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
}

bool VideoInput::read(AVPacket *packet)
{
    while (index >= 0) {
        av_packet_unref(packet);
        if (av_read_frame(format.get(), packet) < 0)
            return false;
        if (packet->stream_index == index)
            return true;
    }
    return false;
}

int countPackets(const QString &file)
{
    VideoInput input(file);
    const AVPacketPtr packet(av_packet_alloc());
    int count = 0;
    while (input.read(packet.get()))
        ++count;
    return count;
}
