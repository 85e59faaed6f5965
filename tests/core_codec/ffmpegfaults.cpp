// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "ffmpegfaults.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/hwcontext.h>
#include <libavutil/imgutils.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstring>

namespace vantratest {

std::atomic<const char *> Faults::failing{nullptr};
int Faults::code = 0;
bool Faults::hasCard = false;
std::deque<Faults::Received> Faults::results;
int Faults::transferFormat = AV_PIX_FMT_NV12;
bool Faults::hasReusedMemory = false;
AVPacket Faults::sentPacket = {};
int64_t Faults::sentFramePts = 0;
int Faults::convertRoom = 0;
int Faults::convertSamples = 0;
int Faults::transferWidth = 0;
int Faults::transferHeight = 0;
std::function<void(AVCodecContext *, AVFrame *)> Faults::atFrame;
std::string Faults::inputName;
bool Faults::inputHasOptions = false;
std::vector<std::pair<std::string, std::string>> Faults::inputOptions;
int Faults::scalerFlags = 0;
std::function<void(Faults::Step, AVCodecContext *)> Faults::watcher;

void Faults::reset()
{
    failing = nullptr;
    code = 0;
    hasCard = false;
    results.clear();
    transferFormat = AV_PIX_FMT_NV12;
    hasReusedMemory = false;
    sentPacket = {};
    sentFramePts = 0;
    convertRoom = 0;
    convertSamples = 0;
    transferWidth = transferHeight = 0;
    atFrame = nullptr;
    inputName.clear();
    inputHasOptions = false;
    inputOptions.clear();
    scalerFlags = 0;
    watcher = nullptr;
}

} // namespace vantratest

using vantratest::Faults;

static bool fails(const char *name)
{
    const char *failing = Faults::failing;
    return failing && strcmp(failing, name) == 0;
}

static void tell(Faults::Step step, AVCodecContext *ctx)
{
    if (Faults::watcher)
        Faults::watcher(step, ctx);
}

// The linker leads every call of NAME to __wrap_NAME, and calls of __real_NAME to NAME.
#define FAULT(type, name, failure, parameters, arguments)                                          \
    extern "C" type __real_##name parameters;                                                      \
    extern "C" type __wrap_##name parameters;                                                      \
    extern "C" type __wrap_##name parameters                                                       \
    {                                                                                              \
        return fails(#name) ? failure : __real_##name arguments;                                   \
    }

FAULT(void *, calloc, nullptr, (size_t count, size_t size), (count, size))
FAULT(void *, malloc, nullptr, (size_t size), (size))
FAULT(void *, av_malloc, nullptr, (size_t size), (size))
FAULT(AVFrame *, av_frame_alloc, nullptr, (void), ())
FAULT(const AVCodec *, avcodec_find_decoder, nullptr, (AVCodecID id), (id))
FAULT(const AVCodec *, avcodec_find_encoder, nullptr, (AVCodecID id), (id))
FAULT(AVCodecContext *, avcodec_alloc_context3, nullptr, (const AVCodec *codec), (codec))
FAULT(int, avcodec_parameters_to_context, Faults::code,
      (AVCodecContext * ctx, const AVCodecParameters *parameters), (ctx, parameters))
FAULT(AVPacket *, av_packet_alloc, nullptr, (void), ())
FAULT(void *, av_mallocz, nullptr, (size_t size), (size))
FAULT(int, sws_scale, Faults::code,
      (SwsContext * scaler, const uint8_t *const source[], const int sourceLines[], int y,
       int height, uint8_t *const target[], const int targetLines[]),
      (scaler, source, sourceLines, y, height, target, targetLines))
FAULT(int, swr_init, Faults::code, (SwrContext * swr), (swr))
FAULT(int, av_frame_get_buffer, Faults::code, (AVFrame * frame, int align), (frame, align))
FAULT(int, av_samples_get_buffer_size, Faults::code,
      (int *lineSize, int channels, int samples, AVSampleFormat format, int align),
      (lineSize, channels, samples, format, align))
FAULT(int, av_image_alloc, Faults::code,
      (uint8_t * data[4], int lineSizes[4], int width, int height, AVPixelFormat format, int align),
      (data, lineSizes, width, height, format, align))

#if LIBSWRESAMPLE_VERSION_INT >= AV_VERSION_INT(4, 5, 100)
FAULT(int, swr_alloc_set_opts2, AVERROR(ENOMEM),
      (SwrContext * *swr, const AVChannelLayout *out, AVSampleFormat outFormat, int outRate,
       const AVChannelLayout *in, AVSampleFormat inFormat, int inRate, int offset, void *logger),
      (swr, out, outFormat, outRate, in, inFormat, inRate, offset, logger))
#else
FAULT(SwrContext *, swr_alloc_set_opts, nullptr,
      (SwrContext * swr, int64_t out, AVSampleFormat outFormat, int outRate, int64_t in,
       AVSampleFormat inFormat, int inRate, int offset, void *logger),
      (swr, out, outFormat, outRate, in, inFormat, inRate, offset, logger))
#endif

extern "C" {

int __real_avcodec_open2(AVCodecContext *ctx, const AVCodec *codec, AVDictionary **options);
int __wrap_avcodec_open2(AVCodecContext *ctx, const AVCodec *codec, AVDictionary **options);
void __real_avcodec_free_context(AVCodecContext **ctx);
void __wrap_avcodec_free_context(AVCodecContext **ctx);
int __real_avformat_open_input(AVFormatContext **input, const char *url, const AVInputFormat *form,
                               AVDictionary **options);
int __wrap_avformat_open_input(AVFormatContext **input, const char *url, const AVInputFormat *form,
                               AVDictionary **options);
SwsContext *__real_sws_getContext(int w, int h, AVPixelFormat form, int targetW, int targetH,
                                  AVPixelFormat targetForm, int flags, SwsFilter *from,
                                  SwsFilter *to, const double *parameters);
SwsContext *__wrap_sws_getContext(int w, int h, AVPixelFormat form, int targetW, int targetH,
                                  AVPixelFormat targetForm, int flags, SwsFilter *from,
                                  SwsFilter *to, const double *parameters);
int __real_av_hwdevice_ctx_create(AVBufferRef **device, AVHWDeviceType type, const char *name,
                                  AVDictionary *options, int flags);
int __wrap_av_hwdevice_ctx_create(AVBufferRef **device, AVHWDeviceType type, const char *name,
                                  AVDictionary *options, int flags);
int __real_avcodec_send_packet(AVCodecContext *ctx, const AVPacket *packet);
int __wrap_avcodec_send_packet(AVCodecContext *ctx, const AVPacket *packet);
int __real_avcodec_send_frame(AVCodecContext *ctx, const AVFrame *frame);
int __wrap_avcodec_send_frame(AVCodecContext *ctx, const AVFrame *frame);
int __real_swr_convert(SwrContext *swr, uint8_t **out, int room, const uint8_t **in, int samples);
int __wrap_swr_convert(SwrContext *swr, uint8_t **out, int room, const uint8_t **in, int samples);
int __real_avcodec_receive_frame(AVCodecContext *ctx, AVFrame *frame);
int __wrap_avcodec_receive_frame(AVCodecContext *ctx, AVFrame *frame);
int __real_avcodec_receive_packet(AVCodecContext *ctx, AVPacket *packet);
int __wrap_avcodec_receive_packet(AVCodecContext *ctx, AVPacket *packet);
int __real_av_hwframe_transfer_data(AVFrame *target, const AVFrame *source, int flags);
int __wrap_av_hwframe_transfer_data(AVFrame *target, const AVFrame *source, int flags);

int __wrap_avcodec_open2(AVCodecContext *ctx, const AVCodec *codec, AVDictionary **options)
{
    tell(Faults::Step::Open, ctx);
    return fails("avcodec_open2") ? Faults::code : __real_avcodec_open2(ctx, codec, options);
}

void __wrap_avcodec_free_context(AVCodecContext **ctx)
{
    tell(Faults::Step::Free, *ctx);
    __real_avcodec_free_context(ctx);
}

int __wrap_avformat_open_input(AVFormatContext **input, const char *url, const AVInputFormat *form,
                               AVDictionary **options)
{
    Faults::inputName = url;
    Faults::inputHasOptions = options;
    Faults::inputOptions.clear();
    const AVDictionaryEntry *entry = nullptr;
    while (options && (entry = av_dict_get(*options, "", entry, AV_DICT_IGNORE_SUFFIX)))
        Faults::inputOptions.emplace_back(entry->key, entry->value);
    return __real_avformat_open_input(input, url, form, options);
}

SwsContext *__wrap_sws_getContext(int w, int h, AVPixelFormat form, int targetW, int targetH,
                                  AVPixelFormat targetForm, int flags, SwsFilter *from,
                                  SwsFilter *to, const double *parameters)
{
    Faults::scalerFlags = flags;
    return fails("sws_getContext") ? nullptr
                                   : __real_sws_getContext(w, h, form, targetW, targetH, targetForm,
                                                           flags, from, to, parameters);
}

int __wrap_av_hwdevice_ctx_create(AVBufferRef **device, AVHWDeviceType type, const char *name,
                                  AVDictionary *options, int flags)
{
    if (fails("av_hwdevice_ctx_create"))
        return Faults::code;
    if (!Faults::hasCard)
        return __real_av_hwdevice_ctx_create(device, type, name, options, flags);
    *device = av_hwdevice_ctx_alloc(type);
    return *device ? 0 : AVERROR(ENOMEM);
}

int __wrap_avcodec_send_packet(AVCodecContext *ctx, const AVPacket *packet)
{
    tell(Faults::Step::Decode, ctx);
    if (packet) // null drains the decoder
        Faults::sentPacket = *packet;
    return Faults::hasCard ? 0 : __real_avcodec_send_packet(ctx, packet);
}

int __wrap_avcodec_send_frame(AVCodecContext *ctx, const AVFrame *frame)
{
    Faults::sentFramePts = frame ? frame->pts : AV_NOPTS_VALUE; // null drains the encoder
    return fails("avcodec_send_frame") ? Faults::code : __real_avcodec_send_frame(ctx, frame);
}

int __wrap_swr_convert(SwrContext *swr, uint8_t **out, int room, const uint8_t **in, int samples)
{
    Faults::convertRoom = room;
    Faults::convertSamples = samples;
    return fails("swr_convert") ? Faults::code : __real_swr_convert(swr, out, room, in, samples);
}

int __wrap_avcodec_receive_packet(AVCodecContext *ctx, AVPacket *packet)
{
    const int result = __real_avcodec_receive_packet(ctx, packet);
    if (!fails("avcodec_receive_packet"))
        return result;
    av_packet_unref(packet);
    return Faults::code;
}

int __wrap_avcodec_receive_frame(AVCodecContext *ctx, AVFrame *frame)
{
    if (!Faults::hasCard) {
        const int result = __real_avcodec_receive_frame(ctx, frame);
        if (result >= 0 && Faults::atFrame)
            Faults::atFrame(ctx, frame);
        if (!fails("avcodec_receive_frame"))
            return result;
        av_frame_unref(frame); // a frame whose receiving failed is gone
        return Faults::code;
    }
    av_frame_unref(frame);
    if (Faults::results.empty())
        return AVERROR(EAGAIN);
    const Faults::Received received = Faults::results.front();
    Faults::results.pop_front();
    if (received.result < 0)
        return received.result;
    frame->format = received.format;
    frame->width = received.width;
    frame->height = received.height;
    memcpy(frame->data, received.data, sizeof(received.data));
    frame->hw_frames_ctx = av_hwframe_ctx_alloc(ctx->hw_device_ctx);
    auto *frames = reinterpret_cast<AVHWFramesContext *>(frame->hw_frames_ctx->data);
    frames->sw_format = static_cast<AVPixelFormat>(Faults::transferFormat);
    return 0;
}

int __wrap_av_hwframe_transfer_data(AVFrame *target, const AVFrame *source, int flags)
{
    if (fails("av_hwframe_transfer_data"))
        return Faults::code;
    if (!Faults::hasCard)
        return __real_av_hwframe_transfer_data(target, source, flags);
    Faults::hasReusedMemory = target->buf[0];
    if (!target->buf[0]) {
        target->format = Faults::transferFormat;
        target->width = Faults::transferWidth ? Faults::transferWidth : source->width;
        target->height = Faults::transferHeight ? Faults::transferHeight : source->height;
        const int result = av_frame_get_buffer(target, 0);
        if (result < 0)
            return result;
    }
    // One red: Y 81, U 90, V 240. As a card does, lines of the source's number are written.
    const bool isNv12 = Faults::transferFormat == AV_PIX_FMT_NV12;
    const int lines = Faults::transferHeight ? target->height : source->height;
    memset(target->data[0], 81, size_t(target->linesize[0]) * size_t(lines));
    for (int i = 0; i < target->linesize[1] * ((lines + 1) / 2); ++i)
        target->data[1][i] = (i % 2 == 0) == isNv12 ? 90 : 240;
    return 0;
}

} // extern "C"
