// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/accessunits.h"

#include "support/filecontent.h"

#include <QFile>
#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

#include <memory>

namespace vantratest {

namespace {

constexpr int kRawMillisecondsPerPicture = 40;
constexpr AVRational kMilliseconds = {1, 1000};

/// Codec number of a raw stream by its suffix, or 0.
int rawCodec(const QString &file)
{
    const QString suffix = QFileInfo(file).suffix().toLower();
    if (suffix == QLatin1String("265") || suffix == QLatin1String("h265"))
        return 2;
    const QStringList h264 = {QStringLiteral("264"), QStringLiteral("h264"), QStringLiteral("avc"),
                              QStringLiteral("jsv")};
    return h264.contains(suffix) ? 1 : 0;
}

AVCodecID codecId(int codec)
{
    return codec == 2 ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264;
}

template<typename T, void (*Free)(T **)>
struct Deleter
{
    void operator()(T *object) const { Free(&object); }
};
using ContextPtr = std::unique_ptr<AVCodecContext, Deleter<AVCodecContext, avcodec_free_context>>;
using FormatPtr = std::unique_ptr<AVFormatContext, Deleter<AVFormatContext, avformat_close_input>>;
using FilterPtr = std::unique_ptr<AVBSFContext, Deleter<AVBSFContext, av_bsf_free>>;
using PacketPtr = std::unique_ptr<AVPacket, Deleter<AVPacket, av_packet_free>>;

FilterPtr openFilter(const AVStream *stream, int codec)
{
    AVBSFContext *filter = nullptr;
    const AVBitStreamFilter *form =
        av_bsf_get_by_name(codec == 2 ? "hevc_mp4toannexb" : "h264_mp4toannexb");
    if (av_bsf_alloc(form, &filter) < 0)
        return nullptr;
    FilterPtr owned(filter);
    avcodec_parameters_copy(filter->par_in, stream->codecpar);
    filter->time_base_in = stream->time_base;
    return av_bsf_init(filter) < 0 ? nullptr : std::move(owned);
}

void appendUnits(AVBSFContext *filter, QVector<AccessUnit> *units)
{
    const PacketPtr packet(av_packet_alloc());
    while (av_bsf_receive_packet(filter, packet.get()) >= 0) {
        AccessUnit unit;
        unit.data = QByteArray(reinterpret_cast<const char *>(packet->data), packet->size);
        unit.key = packet->flags & AV_PKT_FLAG_KEY;
        unit.pts = av_rescale_q(packet->pts, filter->time_base_out, kMilliseconds);
        units->append(unit);
        av_packet_unref(packet.get());
    }
}

VideoUnits readContainer(const QString &file)
{
    VideoUnits result;
    AVFormatContext *opened = nullptr;
    if (avformat_open_input(&opened, QFile::encodeName(file).constData(), nullptr, nullptr) < 0)
        return result;
    const FormatPtr format(opened);
    avformat_find_stream_info(opened, nullptr);
    const AVStream *stream = nullptr;
    for (unsigned i = 0; i < opened->nb_streams && !stream; ++i) {
        if (opened->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            stream = opened->streams[i];
    }
    if (!stream)
        return result;
    const AVCodecID id = stream->codecpar->codec_id;
    result.codec = id == AV_CODEC_ID_H264 ? 1 : id == AV_CODEC_ID_HEVC ? 2 : 0;
    const FilterPtr filter = result.codec ? openFilter(stream, result.codec) : nullptr;
    if (!filter)
        return result;
    const PacketPtr packet(av_packet_alloc());
    while (av_read_frame(opened, packet.get()) >= 0) {
        if (packet->stream_index == stream->index &&
            av_bsf_send_packet(filter.get(), packet.get()) >= 0)
            appendUnits(filter.get(), &result.units);
        av_packet_unref(packet.get());
    }
    return result;
}

} // namespace

QByteArray giantPicture()
{
    return QByteArray::fromHex("0000000167420033d84400fdc01fbe40" // baseline, 16 to refer to
                               "0000000168ce3880"
                               "00000001658884d55540");
}

QVector<AccessUnit> cutAccessUnits(const QByteArray &stream, int codec)
{
    QVector<AccessUnit> units;
    AVCodecParserContext *parser = av_parser_init(codecId(codec));
    const ContextPtr ctx(avcodec_alloc_context3(avcodec_find_decoder(codecId(codec))));
    // The parser reads a little beyond what it is told of.
    const QByteArray padded = stream + QByteArray(AV_INPUT_BUFFER_PADDING_SIZE, '\0');
    const auto *data = reinterpret_cast<const uint8_t *>(padded.constData());
    int left = stream.size();
    // After the end, calls with no data bring what the parser holds.
    for (bool more = true; more;) {
        uint8_t *unit = nullptr;
        int size = 0;
        more = left > 0;
        const int used = av_parser_parse2(parser, ctx.get(), &unit, &size, data, left,
                                          AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
        data += used;
        left -= used;
        if (size > 0) {
            units.append({QByteArray(reinterpret_cast<const char *>(unit), size),
                          parser->key_frame == 1, units.size() * kRawMillisecondsPerPicture});
            more = true;
        }
    }
    av_parser_close(parser);
    return units;
}

VideoUnits readVideoUnits(const QString &file)
{
    const int codec = rawCodec(file);
    return codec ? VideoUnits{codec, cutAccessUnits(contentOf(file), codec)} : readContainer(file);
}

} // namespace vantratest
