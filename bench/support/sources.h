// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <QString>

class QTemporaryDir;

/// A stream as a camera sends it: 25 pictures a second, a key picture every two.
struct Source
{
    const char *name;
    const char *encoder;
    const char *size;
    const char *bitRate;
};
/// Main streams in either codec, and a sub stream.
constexpr Source kSources[] = {
    {"main h264", "libx264", "1920x1080", "4M"},
    {"main h265", "libx265", "1920x1080", "2M"},
    {"sub h264", "libx264", "640x360", "512k"},
};
constexpr int kSourceSeconds = 300;

/// Encodes it into a file that is so long. Empty if ffmpeg cannot.
QString makeSource(const QTemporaryDir &dir, const Source &source);

/// The video of a file, packet by packet.
class VideoInput
{
public:
    explicit VideoInput(const QString &file);
    /// Null if there is none.
    const AVStream *stream() const { return index < 0 ? nullptr : format->streams[index]; }
    /// The next packet of video.
    bool read(AVPacket *packet);

private:
    AVFormatInputPtr format;
    int index = -1;
};

/// Video packets in a file.
int countPackets(const QString &file);
