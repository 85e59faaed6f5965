// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/clipmaker.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace vantratest {

namespace {

constexpr int kNumberBits = 16; // after one white and one black block by which it is recognised
constexpr int kBlocks = kNumberBits + 2;
constexpr quint8 kBlack = 16;
constexpr quint8 kWhite = 235;
constexpr int kThreshold = 126;
constexpr double kPi = 3.14159265358979323846;

struct EncoderDeleter
{
    void operator()(AVCodecContext *ctx) const { avcodec_free_context(&ctx); }
};
struct FrameDeleter
{
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
using EncoderPtr = std::unique_ptr<AVCodecContext, EncoderDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;

int blockWidth(int width)
{
    return width / kBlocks;
}

int blockHeight(int height)
{
    return std::max(8, height / 8);
}

bool isWhiteBlock(int block, int number)
{
    return block == 0 || (block >= 2 && (number >> (kBlocks - 1 - block)) & 1);
}

EncoderPtr openEncoder(const ClipOptions &options)
{
    const bool isH265 = options.codec == 2;
    const AVCodec *codec = avcodec_find_encoder_by_name(isH265 ? "libx265" : "libx264");
    if (!codec)
        return nullptr;
    EncoderPtr ctx(avcodec_alloc_context3(codec));
    ctx->width = options.width;
    ctx->height = options.height;
    ctx->time_base = {1, options.fps};
    ctx->framerate = {options.fps, 1};
    ctx->gop_size = options.gop;
    ctx->max_b_frames = options.bFrames;
    ctx->pix_fmt = options.format;
    ctx->thread_count = 1; // sliced key frames would carry parameter sets between the slices
    AVDictionary *dictionary = nullptr;
    av_dict_set(&dictionary, "preset", options.bFrames > 0 ? "veryfast" : "ultrafast", 0);
    if (options.bFrames == 0)
        av_dict_set(&dictionary, "tune", "zerolatency", 0);
    av_dict_set(&dictionary, "crf", options.losslessColour ? "4" : "24", 0);
    if (isH265) {
        av_dict_set(&dictionary, "x265-params",
                    "log-level=none:pools=none:frame-threads=1:repeat-headers=1:open-gop=0", 0);
    } else {
        av_dict_set(&dictionary, "x264-params", "log=-1", 0);
    }
    const int result = avcodec_open2(ctx.get(), codec, &dictionary);
    av_dict_free(&dictionary);
    return result < 0 ? nullptr : std::move(ctx);
}

void fillPlane(AVFrame *frame, int plane, int lines, quint8 value)
{
    memset(frame->data[plane], value, size_t(frame->linesize[plane]) * size_t(lines));
}

void drawPicture(AVFrame *frame, const ClipOptions &options, int number)
{
    fillPlane(frame, 0, frame->height, options.colour.y);
    if (frame->data[1]) {
        fillPlane(frame, 1, (frame->height + 1) / 2, options.colour.u);
        fillPlane(frame, 2, (frame->height + 1) / 2, options.colour.v);
    }
    const int width = blockWidth(frame->width);
    for (int y = 0; y < blockHeight(frame->height); ++y) {
        quint8 *line = frame->data[0] + qptrdiff(frame->linesize[0]) * y;
        for (int block = 0; block < kBlocks; ++block) {
            memset(line + block * width, isWhiteBlock(block, number) ? kWhite : kBlack,
                   size_t(width));
        }
    }
}

void receiveUnits(AVCodecContext *ctx, QVector<AccessUnit> *units)
{
    AVPacket *packet = av_packet_alloc();
    while (avcodec_receive_packet(ctx, packet) >= 0) {
        units->append({QByteArray(reinterpret_cast<const char *>(packet->data), packet->size),
                       bool(packet->flags & AV_PKT_FLAG_KEY),
                       av_rescale_q(packet->pts, ctx->time_base, {1, 1000})});
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
}

} // namespace

QVector<AccessUnit> makeClip(const ClipOptions &options)
{
    QVector<AccessUnit> units;
    const EncoderPtr ctx = openEncoder(options);
    if (!ctx)
        return units;
    for (int i = 0; i < options.count; ++i) {
        const FramePtr frame(av_frame_alloc());
        frame->width = options.width;
        frame->height = options.height;
        frame->format = options.format;
        frame->pts = i;
        if (av_frame_get_buffer(frame.get(), 0) < 0)
            return {};
        drawPicture(frame.get(), options, options.firstNumber + i);
        if (avcodec_send_frame(ctx.get(), frame.get()) < 0)
            return {};
        receiveUnits(ctx.get(), &units);
    }
    avcodec_send_frame(ctx.get(), nullptr);
    receiveUnits(ctx.get(), &units);
    return units;
}

QByteArray joinUnits(const QVector<AccessUnit> &units)
{
    QByteArray stream;
    for (const AccessUnit &unit : units)
        stream += unit.data;
    return stream;
}

int readNumber(const quint8 *luma, int lineSize, int width, int height)
{
    const int blockSize = blockWidth(width);
    if (!luma || blockSize < 1)
        return -1;
    const quint8 *line = luma + qptrdiff(lineSize) * (blockHeight(height) / 2);
    int bits = 0;
    for (int block = 0; block < kBlocks; ++block)
        bits = bits * 2 + (line[block * blockSize + blockSize / 2] > kThreshold ? 1 : 0);
    return bits >> kNumberBits == 2 ? bits & ((1 << kNumberBits) - 1) : -1;
}

QVector<qint16> makeTone(int samples, int sampleRate, double hertz, int amplitude)
{
    QVector<qint16> tone(samples);
    for (int i = 0; i < samples; ++i)
        tone[i] = qint16(std::lround(amplitude * std::sin(2 * kPi * hertz * i / sampleRate)));
    return tone;
}

QByteArray pcmBytes(const QVector<qint16> &samples)
{
    return {reinterpret_cast<const char *>(samples.constData()),
            int(samples.size() * sizeof(qint16))};
}

QByteArray encodeALaw(const QVector<qint16> &samples)
{
    QByteArray bytes;
    for (const qint16 sample : samples) {
        // 13 bits; negative values count from -1, so that -1 and 0 mirror each other.
        int magnitude = (sample < 0 ? -1 - sample : sample) >> 4;
        const int sign = sample < 0 ? 0x00 : 0x80;
        int segment = 0;
        for (; magnitude > 31; ++segment)
            magnitude >>= 1;
        const int code = magnitude < 16 ? magnitude : ((segment + 1) << 4) | (magnitude & 0x0f);
        bytes.append(char((sign | code) ^ 0x55));
    }
    return bytes;
}

QByteArray encodeMuLaw(const QVector<qint16> &samples)
{
    constexpr int kBias = 33;
    constexpr int kClip = 8191;
    QByteArray bytes;
    for (const qint16 sample : samples) {
        // 14 bits.
        int magnitude = std::min((sample < 0 ? -1 - sample : sample) >> 2, kClip - kBias) + kBias;
        const int sign = sample < 0 ? 0x80 : 0x00;
        int segment = 0;
        for (; magnitude > 63; ++segment)
            magnitude >>= 1;
        bytes.append(char(~(sign | (segment << 4) | ((magnitude >> 1) & 0x0f))));
    }
    return bytes;
}

} // namespace vantratest
