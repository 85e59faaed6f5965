// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "peers.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <ctime>

double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

RunResult bareLoop(const QString &url, const std::function<void(const QImage &)> &onImage)
{
    RunResult result;
    const double begin = threadCpuSeconds();
    AVFormatContext *format = nullptr;
    if (avformat_open_input(&format, url.toUtf8().constData(), nullptr, nullptr) < 0)
        return result;
    avformat_find_stream_info(format, nullptr);
    const int index = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) {
        avformat_close_input(&format);
        return result;
    }
    const AVCodecParameters *parameters = format->streams[index]->codecpar;
    const auto *codec = avcodec_find_decoder(parameters->codec_id);
    AVCodecContext *context = avcodec_alloc_context3(nullptr);
    avcodec_parameters_to_context(context, parameters);
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_LOW_DELAY;
    context->flags2 |= AV_CODEC_FLAG2_FAST;
    avcodec_open2(context, codec, nullptr);
    AVPacket *packet = av_packet_alloc();
    AVFrame *frame = av_frame_alloc();
    SwsContext *scaler = nullptr;
    QImage image;

    while (av_read_frame(format, packet) >= 0) {
        if (packet->stream_index == index && avcodec_send_packet(context, packet) >= 0 &&
            avcodec_receive_frame(context, frame) >= 0) {
            ++result.frames;
            if (onImage) {
                if (!scaler) {
                    scaler =
                        sws_getContext(frame->width, frame->height, AVPixelFormat(frame->format),
                                       frame->width, frame->height, AV_PIX_FMT_BGRA,
                                       SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
                    image = QImage(frame->width, frame->height, QImage::Format_RGB32);
                }
                uint8_t *target[4] = {image.bits()};
                const int lines[4] = {int(image.bytesPerLine())};
                sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, target, lines);
                onImage(image);
                ++result.paints;
            }
        }
        av_packet_unref(packet);
    }

    sws_freeContext(scaler);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
    avformat_close_input(&format);
    result.cpuSeconds = threadCpuSeconds() - begin;
    return result;
}
