// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "recordedfile.h"

#include "support/clipmaker.h"
#include "support/counterblocks.h"

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/ffmpegptr.h"

#include <QProcess>

#include <algorithm>
#include <map>

namespace {

void take(const AVFrame *frame, bool video, RecordedFile *file)
{
    if (video) {
        if (file->pictures.isEmpty())
            file->size = QSize(frame->width, frame->height);
        const auto counter = vantratest::readCounter(frame->data[0], frame->linesize[0],
                                                     frame->width, frame->height);
        file->counters.append(counter ? qint64(*counter) : -1);
        file->pictures.append(vantratest::readNumber(frame->data[0], frame->linesize[0],
                                                     frame->width, frame->height));
        return;
    }
    file->sampleRate = frame->sample_rate;
    if (frame->format != AV_SAMPLE_FMT_FLTP) {
        file->error = QStringLiteral("unexpected sample format");
        return;
    }
    const auto *samples = reinterpret_cast<const float *>(frame->data[0]);
    for (int i = 0; i < frame->nb_samples; ++i) {
        const auto sample = qint16(std::clamp(samples[i], -1.f, 1.f) * 32767);
        file->sound.append(reinterpret_cast<const char *>(&sample), sizeof(sample));
    }
}

void decode(AVCodecContext *decoder, const AVPacket *packet, RecordedFile *file)
{
    int result = avcodec_send_packet(decoder, packet);
    const AVFramePtr frame(av_frame_alloc());
    while (result >= 0) {
        result = avcodec_receive_frame(decoder, frame.get());
        if (result >= 0)
            take(frame.get(), decoder->codec_type == AVMEDIA_TYPE_VIDEO, file);
    }
    if (result != AVERROR(EAGAIN) && result != AVERROR_EOF)
        file->error = QStringLiteral("decode: ") + FFmpegHelper::errorText(result);
}

} // namespace

RecordedFile readRecording(const QString &fileName)
{
    RecordedFile file;
    AVFormatContext *opened = nullptr;
    int result = avformat_open_input(&opened, fileName.toUtf8().constData(), nullptr, nullptr);
    const AVFormatInputPtr input(opened);
    if (result >= 0)
        result = avformat_find_stream_info(opened, nullptr);
    if (result < 0) {
        file.error = QStringLiteral("open: ") + FFmpegHelper::errorText(result);
        return file;
    }
    file.format = QString::fromLatin1(input->iformat->name);
    file.streams = int(input->nb_streams);
    file.start = input->start_time / 1000;
    file.duration = input->duration / 1000;
    std::map<int, AVCodecContextPtr> decoders;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVCodecParameters *parameters = input->streams[i]->codecpar;
        const bool video = parameters->codec_type == AVMEDIA_TYPE_VIDEO;
        (video ? file.videoCodec : file.audioCodec) = parameters->codec_id;
        if (!video)
            file.tellsSound = parameters->extradata_size >= 2; // AudioSpecificConfig
        const AVCodec *codec = avcodec_find_decoder(parameters->codec_id);
        AVCodecContextPtr decoder(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(decoder.get(), parameters);
        decoder->thread_count = 1;
        decoder->err_recognition = AV_EF_EXPLODE;
        if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
            file.error = QStringLiteral("no decoder");
        decoders[int(i)] = std::move(decoder);
    }
    qint64 first = AV_NOPTS_VALUE;
    const AVPacketPtr packet(av_packet_alloc());
    while (file.error.isEmpty() && (result = av_read_frame(opened, packet.get())) >= 0) {
        const AVStream *stream = opened->streams[packet->stream_index];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
            const qint64 time = av_rescale_q(packet->pts, stream->time_base, {1, 1000});
            if (first == AV_NOPTS_VALUE)
                first = time;
            file.times.append(time - first);
            file.keys.append(packet->flags & AV_PKT_FLAG_KEY);
        }
        decode(decoders[packet->stream_index].get(), packet.get(), &file);
        av_packet_unref(packet.get());
    }
    if (file.error.isEmpty() && result != AVERROR_EOF)
        file.error = QStringLiteral("read: ") + FFmpegHelper::errorText(result);
    for (const auto &decoder : decoders)
        if (file.error.isEmpty())
            decode(decoder.second.get(), nullptr, &file);
    return file;
}

QString complaintsAbout(const QString &fileName)
{
    const QVector<QPair<QString, QStringList>> programs = {
        {QStringLiteral("ffprobe"),
         {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_packets"),
          fileName}},
        {QStringLiteral("ffmpeg"),
         {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
          QStringLiteral("-xerror"), QStringLiteral("-i"), fileName,
          QStringLiteral("-enc_time_base"), QStringLiteral("-1"), QStringLiteral("-f"),
          QStringLiteral("null"), QStringLiteral("-")}},
    };
    QString complaints;
    for (const auto &program : programs) {
        QProcess process;
        process.start(program.first, program.second);
        if (!process.waitForFinished(60000))
            complaints += program.first + QStringLiteral(": does not end\n");
        else if (process.exitCode() != 0)
            complaints += program.first + QStringLiteral(": exit %1\n").arg(process.exitCode());
        complaints += QString::fromUtf8(process.readAllStandardError());
    }
    return complaints;
}
