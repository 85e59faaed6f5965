// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <QScopeGuard>
#include <QString>

#include <vector>

namespace vantratest {

/// What is wrong with an MP4 file as such, whatever its pictures hold; empty if it can be played:
/// it opens, its pictures begin with a key picture, and the stamps of each stream go forward.
/// Without any picture it is right too: all that came may have been noise.
inline QString containerFault(const QString &path)
{
    AVFormatContext *raw = nullptr;
    const int opened = avformat_open_input(&raw, path.toUtf8().constData(), nullptr, nullptr);
    if (opened < 0)
        return QStringLiteral("cannot be opened (%1)").arg(opened);
    const auto close = qScopeGuard([&raw] { avformat_close_input(&raw); });
    std::vector<qint64> last(raw->nb_streams, AV_NOPTS_VALUE);
    bool pictures = false;
    AVPacket *packet = av_packet_alloc();
    const auto freePacket = qScopeGuard([&packet] { av_packet_free(&packet); });
    int result = 0;
    while ((result = av_read_frame(raw, packet)) >= 0) {
        const auto index = size_t(packet->stream_index);
        const bool isPicture = raw->streams[index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        if (isPicture && !pictures && !(packet->flags & AV_PKT_FLAG_KEY))
            return QStringLiteral("begins without a key picture");
        pictures = pictures || isPicture;
        if (last[index] != AV_NOPTS_VALUE && packet->dts <= last[index])
            return QStringLiteral("stamp %1 after %2").arg(packet->dts).arg(last[index]);
        last[index] = packet->dts;
        av_packet_unref(packet);
    }
    if (result != AVERROR_EOF)
        return QStringLiteral("cannot be read to its end (%1)").arg(result);
    return {};
}

} // namespace vantratest
