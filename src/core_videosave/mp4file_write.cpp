// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Writing packets into the file.
#include "core_videosave/mp4file_p.h"

#include "aac_transcoder/easyaacencoder.h"
#include "core_ffmpeg/ffmpegerror_p.h"
#include "core_videosave/annexb_p.h"
#include "log.h"
#include "systemcompat_p.h"

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
constexpr qint64 kMaxHeldBytes = 32 * 1024 * 1024;
constexpr int kMaxHeldPackets = 750; ///< half a minute of pictures
/// The same for a file of sound alone, where no key picture ends a fragment: two seconds.
constexpr int kMaxHeldSound = 16;

/// How long the header waits for the sound that was announced, in microseconds of the recording.
constexpr qint64 kSoundAwaited = 2000000;
/// Seconds. A longer step of pictures is perhaps not plain.
constexpr qint64 kLongestPlainStep = 10;
constexpr int kSilentBytes = 160;
constexpr int kSilentBlocks = 200; ///< far more than the transcoder needs to begin
/// The first frame of AAC holds no sound yet, and there are players that refuse a file which has no
/// other.
constexpr int kFewestAacFrames = 2;

/// "（" is a wide bracket and ")" is not: this is intended.
void tellWriteError(const char *kind, qint64 pts, const AVFormatContext *ctx, int code)
{
    VANTRA_LOG(Logger::Error) << QStringLiteral("write %1 （%2:%3)  err (%4:%5)")
                                     .arg(QLatin1String(kind), QString::number(pts),
                                          QString::fromUtf8(ctx->url), QString::number(code),
                                          ffmpegErrorText(code));
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

void Mp4File::write(AVPacket *packet, bool followsPictures)
{
    if (!fmtCtx || packet->stream_index < 0)
        return;
    if (packet->stream_index == videoIndex)
        writeVideo(packet);
    else if (packet->stream_index == audioIndex)
        writeAudio(packet, followsPictures);
}

void Mp4File::writeVideo(AVPacket *packet)
{
    // Nothing without a byte either: at the end of an MPEG file its muxer waits for the rest of
    // such a picture, without an end.
    const qint64 pts = packet->pts;
    const AVCodecID codec = fmtCtx->streams[videoIndex]->codecpar->codec_id;
    const AnnexBContent content = lookIntoAnnexB(codec, packet->data, packet->size);
    if (content.isOfOtherCodec)
        awaitsParameterSets = true; // what follows is not for this file, until it is again
    const bool isWelcome =
        content.isVideo && (content.hasParameterSets || !awaitsParameterSets) &&
        (codec != AV_CODEC_ID_HEVC || h265Sets.areReadable(packet->data, packet->size));
    // By the first bytes of the first picture the muxer decides in which form all of them come:
    // zeros before its start code, which a stream may have, would make a file that nobody can play.
    if (isWelcome && awaitsParameterSets) {
        packet->data += content.begin;
        packet->size -= content.begin;
    }
    const int result = isWelcome ? writeToMuxer(packet) : AVERROR_INVALIDDATA;
    lastPicture.reset();
    if (result < 0) {
        tellWriteError("video", pts, fmtCtx.get(), result);
        return;
    }
    awaitsParameterSets = false;
    lastPicture = pts;
}

bool isPlainPicture(AVCodecID codec, const AVPacket *packet)
{
    return packet->flags == 0 && lookIntoAnnexB(codec, packet->data, packet->size).isBareSlice &&
           (codec != AV_CODEC_ID_HEVC || !H265Sets::areIn(packet->data, packet->size));
}

std::optional<PlainPictures> Mp4File::plainPictures() const
{
    constexpr auto kMore = static_cast<int>(PacketQueue::kMostGathered);
    if (!holdsFragments || !lastPicture || isLost() || held.packets + kMore >= kMaxHeldPackets ||
        held.bytes + PacketQueue::kMostGatheredBytes >= kMaxHeldBytes)
        return std::nullopt;
    const AVRational timebase = fmtCtx->streams[videoIndex]->time_base;
    if (!timeline.isAmid(*lastPicture, timebase))
        return std::nullopt;
    const qint64 step = rescaleTime(kLongestPlainStep, {1, 1}, timebase);
    return PlainPictures{*lastPicture, static_cast<quint64>(step)};
}

void Mp4File::writeAudio(const AVPacket *packet, bool followsPictures)
{
    if (!audioG711ToAAC(packet))
        return;
    // One packet of the file is one frame. The first bears the time of the block that completed it.
    const qint64 frameTime = aacFrameTime();
    qint64 pts = packet->pts;
    // The pictures of a slow camera are further apart than the frames of sound. The muxer would
    // refuse the second one with the time of the same picture, and the sound would have holes.
    if (followsPictures && aacWritten > 0 && pts >= blockPts && pts <= soundPts)
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
        tellWriteError("audio", in->pts, fmtCtx.get(), AVERROR(ENOMEM));
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
        tellWriteError("audio", in->pts, fmtCtx.get(), result);
    else
        ++aacWritten;
    soundPts = pts;
}

qint64 Mp4File::aacFrameTime() const
{
    const AVStream *stream = fmtCtx->streams[audioIndex];
    return av_rescale_q(frameSamples, {1, stream->codecpar->sample_rate}, stream->time_base);
}

void Mp4File::writeSilence(void *encoder, int frames, qint64 pts)
{
    const AVPacketPtr block(av_packet_alloc());
    if (!encoder || !block)
        return;
    block->stream_index = audioIndex;
    quint8 silence[kSilentBytes];
    std::fill_n(silence, kSilentBytes,
                soundPara.codecId == HCodecG711U ? quint8(0xff) : quint8(0xd5));
    for (int i = 0; i < kSilentBlocks && frames > 0; ++i) {
        unsigned int length = 0;
        if (Easy_AACEncoder_Encode(encoder, silence, kSilentBytes, aacBuffer.data(), &length) < 1)
            continue;
        block->pts = pts;
        writeAac(block.get(), aacBuffer.data(), static_cast<int>(length), pts);
        pts = later(pts, aacFrameTime());
        --frames;
    }
}

void Mp4File::beginSound(qint64 pictureTime)
{
    // The header is written when there is sound, of which it tells the form. Where none comes,
    // silence at the very beginning stands for it: else nothing would be in the file for long, and
    // sound that comes later could not be played.
    const AVRational timebase = fmtCtx->streams[videoIndex]->time_base;
    if (!firstPicture || aacWritten > 0 || audioIndex < 0 ||
        rescaleTime(pictureTime - *firstPicture, timebase, {1, 1000000}) < kSoundAwaited)
        return;
    const std::unique_ptr<void, EncoderDeleter> encoder = newEncoder();
    writeSilence(encoder.get(), kFewestAacFrames,
                 rescaleTime(*firstPicture, timebase, fmtCtx->streams[audioIndex]->time_base));
}

void Mp4File::endSound()
{
    if (aacWritten > 0 && aacWritten < kFewestAacFrames && !isDiskFull())
        writeSilence(aacEncoder.get(), kFewestAacFrames - aacWritten,
                     later(soundPts, aacFrameTime()));
}

bool Mp4File::isKeyPicture(const AVPacket *packet) const
{
    return packet->stream_index == videoIndex && (packet->flags & AV_PKT_FLAG_KEY);
}

bool meansNoRoom(int result)
{
    return result == AVERROR(ENOSPC) || result == AVERROR(EDQUOT);
}

bool Mp4File::isDiskFull() const
{
    return noRoom || (pb && meansNoRoom(pb->error));
}

bool Mp4File::isLost() const
{
    return lost || (pb && pb->error < 0);
}

int Mp4File::writeToMuxer(AVPacket *packet)
{
    const AVRational timebase = fmtCtx->streams[packet->stream_index]->time_base;
    const std::optional<qint64> stamp = timeline.fit(packet->dts, timebase, packet->stream_index);
    if (!stamp)
        return AVERROR(ERANGE);
    packet->pts = *stamp;
    packet->dts = *stamp;
    if (isKeyPicture(packet)) {
        lookForFile();
        beginSound(*stamp);
    }
    // Not the interleaving call: the order of arrival is the order in the file.
    const int result = av_write_frame(fmtCtx.get(), packet);
    const bool isTaken = result >= 0 || (fmtCtx->pb && fmtCtx->pb->error < 0);
    if (!isTaken)
        return result;
    timeline.written(*stamp, timebase, packet->stream_index);
    if (packet->stream_index == videoIndex && !firstPicture)
        firstPicture = stamp;
    const int flushed = limitHeld(packet);
    return result < 0 ? result : flushed;
}

int Mp4File::limitHeld(const AVPacket *packet)
{
    // A key picture ends the fragment before it, once the header can be written.
    if (isKeyPicture(packet) && (audioIndex < 0 || aacWritten > 0))
        held = Held();
    held.bytes += packet->size;
    ++held.packets;
    const int most = videoIndex < 0 ? kMaxHeldSound : kMaxHeldPackets;
    if (held.bytes < kMaxHeldBytes && held.packets < most)
        return 0;
    held = Held();
    // The first time, one call writes the header and only the next one the fragment.
    const int flushed = av_write_frame(fmtCtx.get(), nullptr);
    return flushed < 0 ? flushed : av_write_frame(fmtCtx.get(), nullptr);
}
