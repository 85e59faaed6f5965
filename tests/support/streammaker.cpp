// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/streammaker.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
}

namespace vantratest {

namespace {

constexpr int kIoBytes = 4096;

#if LIBAVFORMAT_VERSION_MAJOR >= 61
int append(void *target, const uint8_t *data, int size)
#else
int append(void *target, uint8_t *data, int size)
#endif
{
    static_cast<QByteArray *>(target)->append(reinterpret_cast<const char *>(data), size);
    return size;
}

AVStream *addVideo(AVFormatContext *output, const StreamOptions &options)
{
    AVStream *stream = avformat_new_stream(output, nullptr);
    stream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream->codecpar->codec_id = static_cast<AVCodecID>(options.videoCodec);
    stream->codecpar->width = options.width;
    stream->codecpar->height = options.height;
    stream->time_base = {1, options.fps};
    stream->avg_frame_rate = {options.fps, 1};
    return stream;
}

AVStream *addAudio(AVFormatContext *output, const StreamOptions &options)
{
    AVStream *stream = avformat_new_stream(output, nullptr);
    stream->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    stream->codecpar->codec_id = static_cast<AVCodecID>(options.audioCodec);
    stream->codecpar->sample_rate = options.sampleRate;
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100)
    av_channel_layout_default(&stream->codecpar->ch_layout, options.channels);
#else
    stream->codecpar->channels = options.channels;
    stream->codecpar->channel_layout = av_get_default_channel_layout(options.channels);
#endif
    stream->codecpar->block_align = options.channels;
    stream->codecpar->bits_per_coded_sample = 8;
    stream->time_base = {1, options.sampleRate};
    return stream;
}

bool write(AVFormatContext *output, AVStream *stream, const QByteArray &data, qint64 time,
           AVRational base, qint64 duration, bool key)
{
    AVPacket *packet = av_packet_alloc();
    av_new_packet(packet, data.size());
    memcpy(packet->data, data.constData(), static_cast<size_t>(data.size()));
    packet->stream_index = stream->index;
    packet->pts = packet->dts = av_rescale_q(time, base, stream->time_base);
    packet->duration = av_rescale_q(duration, base, stream->time_base);
    packet->flags = key ? AV_PKT_FLAG_KEY : 0;
    const bool ok = av_write_frame(output, packet) >= 0;
    av_packet_free(&packet);
    return ok;
}

} // namespace

QByteArray makeStream(const QVector<AccessUnit> &units, const StreamOptions &options,
                      QVector<int> *unitOffsets)
{
    QByteArray bytes;
    AVFormatContext *output = nullptr;
    if (avformat_alloc_output_context2(&output, nullptr, options.format, nullptr) < 0)
        return {};
    AVIOContext *io = avio_alloc_context(static_cast<uint8_t *>(av_malloc(kIoBytes)), kIoBytes, 1,
                                         &bytes, nullptr, append, nullptr);
    io->seekable = 0;
    output->pb = io;
    output->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    AVStream *video = units.isEmpty() ? nullptr : addVideo(output, options);
    AVStream *audio = options.audioCodec ? addAudio(output, options) : nullptr;
    bool ok = avformat_write_header(output, nullptr) >= 0;

    const int packetBytes = options.samplesPerPacket * options.channels;
    const int audioPackets = packetBytes > 0 ? options.audio.size() / packetBytes : 0;
    int unit = 0;
    int sound = 0;
    while (ok && (unit < units.size() || (audio && sound < audioPackets))) {
        const qint64 soundTime = static_cast<qint64>(sound) * options.samplesPerPacket;
        const bool videoNext =
            unit < units.size() &&
            (!audio || sound >= audioPackets ||
             av_compare_ts(unit, {1, options.fps}, soundTime, {1, options.sampleRate}) <= 0);
        if (videoNext) {
            avio_flush(io);
            if (unitOffsets)
                unitOffsets->append(bytes.size());
            ok = write(output, video, units.at(unit).data, unit, {1, options.fps}, 1,
                       units.at(unit).key);
            ++unit;
        } else {
            ok = write(output, audio, options.audio.mid(sound * packetBytes, packetBytes),
                       soundTime, {1, options.sampleRate}, options.samplesPerPacket, true);
            ++sound;
        }
    }
    if (ok)
        av_write_trailer(output);
    avio_flush(io);
    av_free(io->buffer);
    avio_context_free(&io);
    output->pb = nullptr;
    avformat_free_context(output);
    return ok ? bytes : QByteArray();
}

int codecWithoutDecoder()
{
    const AVCodecTag *const tags[] = {avformat_get_riff_video_tags(), nullptr};
    for (int id = 1; id < 0x20000; ++id) {
        const auto codec = static_cast<AVCodecID>(id);
        const unsigned tag = av_codec_get_tag(tags, codec);
        if (tag != 0 && av_codec_get_id(tags, tag) == codec && !avcodec_find_decoder(codec))
            return id;
    }
    return 0;
}

QVector<AccessUnit> withoutParameterSets(QVector<AccessUnit> units, int codec)
{
    const auto isParameterSet = [codec](quint8 header) {
        const int type = codec == 2 ? header >> 1 & 0x3f : header & 0x1f;
        return codec == 2 ? type >= 32 && type <= 34 : type == 7 || type == 8;
    };
    const QByteArray start("\0\0\1", 3);
    for (AccessUnit &unit : units) {
        QByteArray kept;
        for (int at = unit.data.indexOf(start); at >= 0;) {
            const int next = unit.data.indexOf(start, at + start.size());
            const QByteArray nal = unit.data.mid(at, next < 0 ? -1 : next - at);
            if (nal.size() <= start.size() || !isParameterSet(quint8(nal.at(start.size()))))
                kept += nal;
            at = next;
        }
        unit.data = kept;
    }
    return units;
}

} // namespace vantratest
