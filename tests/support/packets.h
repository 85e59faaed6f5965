// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <QByteArray>

#include <cstring>

namespace vantratest {

/// A packet with a copy of these bytes, as a demuxer hands it out.
inline AVPacketPtr packetOf(const QByteArray &bytes)
{
    AVPacketPtr packet(av_packet_alloc());
    av_new_packet(packet.get(), bytes.size());
    memcpy(packet->data, bytes.constData(), static_cast<size_t>(bytes.size()));
    return packet;
}

/// A decoder that waits for its first packet; null if it cannot be opened.
inline AVCodecContextPtr openDecoder(AVCodecID id)
{
    const AVCodec *codec = avcodec_find_decoder(id);
    AVCodecContextPtr ctx(avcodec_alloc_context3(codec));
    return avcodec_open2(ctx.get(), codec, nullptr) < 0 ? AVCodecContextPtr() : std::move(ctx);
}

} // namespace vantratest
