// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Writing packets into the file.
#include "core_videosave/mp4file_p.h"

#include "aac_transcoder/easyaacencoder.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "log.h"

#include <QtDebug>

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr char kLogTag[] = "(svmp4ff)";

/// Most bytes that the transcoder may be given at once, by the room that it is given.
constexpr int kTranscoderBytes = G7ToAacInputChunk;
constexpr int kAdtsHeader = 7;

/// Beyond these the muxer is told to write what it holds, key picture or not: a stream without key
/// pictures, or without the sound that was announced, must not fill the memory.
constexpr qint64 kMaxHeldBytes = 8 * 1024 * 1024;
constexpr int kMaxHeldPackets = 750; ///< half a minute of pictures

/// "（" is a wide bracket and ")" is not: this is intended.
void tellWriteError(const char *kind, const AVPacket *packet, const AVFormatContext *ctx, int code)
{
    VANTRA_LOG(Logger::Error) << QStringLiteral("write %1 （%2:%3)  err (%4:%5)")
                                     .arg(QLatin1String(kind), QString::number(packet->pts),
                                          QString::fromUtf8(ctx->url), QString::number(code),
                                          FFmpegHelper::errorText(code));
}

qint64 later(qint64 pts, qint64 by)
{
    const bool isStamp = pts != AV_NOPTS_VALUE && pts <= std::numeric_limits<qint64>::max() - by;
    return isStamp ? pts + by : pts;
}

} // namespace

int adtsFrameSize(const quint8 *data, int size)
{
    if (size < kAdtsHeader || data[0] != 0xff || (data[1] & 0xf0) != 0xf0)
        return size;
    const int length = (data[3] & 0x03) << 11 | data[4] << 3 | data[5] >> 5;
    return length < kAdtsHeader || length > size ? size : length;
}

void Mp4File::write(const AVPacket *packet, bool followsPictures)
{
    if (!fmtCtx || packet->stream_index < 0)
        return;
    if (packet->stream_index == videoIndex && !isSafeToMux(packet))
        tellWriteError("video", packet, fmtCtx.get(), AVERROR_INVALIDDATA);
    else if (packet->stream_index == videoIndex)
        writeVideo(packet);
    else if (packet->stream_index == audioIndex)
        writeAudio(packet, followsPictures);
}

bool Mp4File::isSafeToMux(const AVPacket *packet)
{
    // Without a byte: at the end of an MPEG file its muxer waits for the rest of it, without an end.
    if (packet->size < 1)
        return false;
    const bool isH265 = fmtCtx->streams[videoIndex]->codecpar->codec_id == AV_CODEC_ID_HEVC;
    return !isH265 || h265Sets.areReadable(packet->data, packet->size);
}

void Mp4File::writeVideo(const AVPacket *packet)
{
    const AVPacketPtr picture(av_packet_clone(packet));
    const int result = picture ? writeToMuxer(picture.get()) : AVERROR(ENOMEM);
    if (result < 0)
        tellWriteError("video", packet, fmtCtx.get(), result);
}

void Mp4File::writeAudio(const AVPacket *packet, bool followsPictures)
{
    if (!audioG711ToAAC(packet))
        return;
    // One packet of the file is one frame. The first bears the time of the block that completed it.
    const AVRational timebase = fmtCtx->streams[audioIndex]->time_base;
    const int sampleRate = fmtCtx->streams[audioIndex]->codecpar->sample_rate;
    const qint64 frameTime = av_rescale_q(frameSamples, {1, sampleRate}, timebase);
    qint64 pts = packet->pts;
    // The pictures of a slow camera are further apart than the frames of sound. The muxer would
    // refuse the second one with the time of the same picture, and the sound would have holes.
    if (followsPictures && soundWritten && pts >= blockPts && pts <= soundPts)
        pts = later(soundPts, frameTime);
    blockPts = packet->pts;
    const auto end = static_cast<int>(aacFrames.size());
    for (int at = 0; at < end; pts = later(pts, frameTime)) {
        const int size = adtsFrameSize(aacFrames.data() + at, end - at);
        writeAac(packet, aacFrames.data() + at, size, pts);
        at += size;
    }
}

bool Mp4File::audioG711ToAAC(const AVPacket *in)
{
    if (!aacEncoder || !in || !in->data) {
        qCritical();
        return false;
    }
    aacFrames.clear();
    for (int at = 0; at < in->size; at += kTranscoderBytes) {
        std::fill_n(aacBuffer.begin(), 8, quint8(0));
        unsigned int length = 0;
        const int bytes = std::min(in->size - at, kTranscoderBytes);
        if (Easy_AACEncoder_Encode(aacEncoder.get(), in->data + at, static_cast<unsigned>(bytes),
                                   aacBuffer.data(), &length) < 1)
            continue; // no frame is complete yet
        aacFrames.insert(aacFrames.end(), aacBuffer.begin(), aacBuffer.begin() + length);
    }
    return !aacFrames.empty();
}

void Mp4File::writeAac(const AVPacket *in, const quint8 *frame, int size, qint64 pts)
{
    // A packet of its own: the bytes of `in` may be shared with whoever plays them.
    const AVPacketPtr aac(av_packet_alloc());
    if (!aac || av_new_packet(aac.get(), size) < 0) {
        tellWriteError("audio", in, fmtCtx.get(), AVERROR(ENOMEM));
        return;
    }
    memcpy(aac->data, frame, static_cast<size_t>(size));
    aac->stream_index = in->stream_index;
    aac->flags = in->flags;
    aac->pts = pts;
    aac->dts = pts;
    aac->duration = 0;
    aac->pos = -1;

    const int sent = av_bsf_send_packet(bsfCtx.get(), aac.get());
    if (sent != 0) {
        VANTRA_LOG(Logger::Warning) << "bsf send audio pkt err " << sent;
        av_packet_unref(aac.get()); // the filter may still have one to give
    }
    if (av_bsf_receive_packet(bsfCtx.get(), aac.get()) != 0)
        return;
    const int result = writeToMuxer(aac.get());
    if (result < 0)
        tellWriteError("audio", in, fmtCtx.get(), result);
    else
        soundWritten = true;
    soundPts = pts;
}

int Mp4File::writeToMuxer(AVPacket *packet)
{
    // Not the interleaving call: the order of arrival is the order in the file.
    const int result = av_write_frame(fmtCtx.get(), packet);
    // A key picture ends the fragment before it, once the header can be written.
    const bool isKeyVideo = packet->stream_index == videoIndex && (packet->flags & AV_PKT_FLAG_KEY);
    if (isKeyVideo && (audioIndex < 0 || soundWritten))
        held = Held();
    held.bytes += packet->size;
    ++held.packets;
    if (held.bytes < kMaxHeldBytes && held.packets < kMaxHeldPackets)
        return result;
    held = Held();
    const int flushed = av_write_frame(fmtCtx.get(), nullptr);
    return result < 0 ? result : flushed;
}
