// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_codec/codeccompat_p.h"
#include "core_codec/ffmpeg_p.h"

#include "log.h"

#include <QWriteLocker>

extern "C" {
#include <libavutil/samplefmt.h>
}

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kLogTag[] = "(ffpg)";

constexpr int32_t kCodecG711A = 33;
constexpr int32_t kCodecG711U = 34;
constexpr AVSampleFormat kSampleFormat = AV_SAMPLE_FMT_S16;
constexpr int kFramesPerSecond = 50; // of an encoder
// The buffer of a decoder is made once, from its first frame. The reserve lets longer frames, which
// cameras do send after a short first one, use the same memory: 4 s of PCM at 8000 Hz.
constexpr int kDecoderBufferReserve = 64 * 1024; // bytes

/// FFmpeg's id, or AV_CODEC_ID_NONE for what has no handle; PCM (35) is such.
AVCodecID audioCodecId(int32_t codec)
{
    switch (codec) {
    case kCodecG711A:
        return AV_CODEC_ID_PCM_ALAW;
    case kCodecG711U:
        return AV_CODEC_ID_PCM_MULAW;
    default:
        VANTRA_LOG(Logger::Error) << QString::asprintf("codec %d is not supported", codec);
        return AV_CODEC_ID_NONE;
    }
}

template<typename Handle>
void freeAudio(Handle *handle)
{
    if (handle->ctx)
        avcodec_free_context(&handle->ctx);
    if (handle->swr)
        swr_free(&handle->swr);
    av_frame_free(&handle->frame);
    av_free(handle->buffer);
    free(handle);
}

/// The resampler of a handle: input and output are the same, so it only copies.
SwrContext *openResampler(int32_t channels, int32_t sampleRate)
{
    SwrContext *swr = alloc_copying_resampler(channels, sampleRate);
    if (!swr) {
        VANTRA_LOG(Logger::Error) << "swr_alloc_set_opts failed";
        return nullptr;
    }
    const int result = swr_init(swr);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << failed_with("swr_init", result);
        swr_free(&swr);
    }
    return swr;
}

/// A handle around `ctx`, which is set up and not open yet; owned by the handle, or freed when null
/// is returned.
template<typename Handle, typename Param>
Handle *openAudio(AVCodecContext *ctx, const AVCodec *codec, const Param *param)
{
    const int result = avcodec_open2(ctx, codec, nullptr);
    if (result < 0)
        VANTRA_LOG(Logger::Error) << failed_with("avcodec_open2", result);
    SwrContext *swr = result < 0 ? nullptr : openResampler(param->channels, param->sampleRate);
    // That there is no memory for the handle has no line of its own.
    auto *handle = swr ? static_cast<Handle *>(calloc(1, sizeof(Handle))) : nullptr;
    if (!handle) {
        swr_free(&swr);
        avcodec_free_context(&ctx);
        return nullptr;
    }
    handle->codec = param->codec;
    handle->channels = param->channels;
    handle->sampleFormat = kSampleFormat;
    handle->sampleRate = param->sampleRate;
    handle->bytesPerSample = av_get_bytes_per_sample(kSampleFormat);
    handle->ctx = ctx;
    handle->swr = swr;
    handle->frame = av_frame_alloc();
    if (!handle->frame) {
        freeAudio(handle);
        return nullptr;
    }
    return handle;
}

/// A context with sample format and rate set, or null.
AVCodecContext *allocContext(const AVCodec *codec, int32_t sampleRate)
{
    AVCodecContext *ctx = avcodec_alloc_context3(codec);
    if (!ctx) {
        VANTRA_LOG(Logger::Error) << "avcodec_alloc_context3 failed";
        return nullptr;
    }
    ctx->sample_fmt = kSampleFormat;
    ctx->sample_rate = sampleRate;
    return ctx;
}

template<typename Param>
void logCreated(const char *what, const void *handle, const AVCodec *codec, const Param *param)
{
    VANTRA_LOG(Logger::Debug) << QString::asprintf("create audio %s %p (%s, %d, %d, %d)", what,
                                                   handle, codec->name, param->sampleRate,
                                                   param->sampleSize, param->channels);
}

/// Makes the buffer that takes the input of an encoder.
bool makeInputFrame(aenc_handle_s *encoder)
{
    AVFrame *frame = encoder->frame;
    const AVCodecContext *ctx = encoder->ctx;
    frame->format = ctx->sample_fmt;
    // Bytes per sample as a factor is intended: 320 samples at 8000 Hz.
    frame->nb_samples =
        static_cast<int>(int64_t(encoder->bytesPerSample) * ctx->sample_rate / kFramesPerSecond);
    int result = copy_layout(frame, ctx);
    if (result >= 0)
        result = av_frame_get_buffer(frame, 0);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << failed_with("av_frame_get_buffer", result);
        return false;
    }
    memset(frame->data[0], 0, static_cast<size_t>(frame->linesize[0]));
    return true;
}

/// The part of a chunk that holds whole samples of all channels, at a byte each. FFmpeg would keep
/// the rest back, fail the next chunk for it, and then take no further one.
unsigned int wholeSamples(const adec_handle_s *decoder, unsigned int size)
{
    const auto sample = static_cast<unsigned int>(decoder->channels);
    return size < sample ? size : size - size % sample;
}

int samplesSize(const adec_handle_s *decoder, int *lineSize)
{
    return av_samples_get_buffer_size(lineSize, decoder->channels, decoder->frame->nb_samples,
                                      static_cast<AVSampleFormat>(decoder->sampleFormat), 1);
}

bool ensureBuffer(adec_handle_s *decoder)
{
    if (decoder->buffer)
        return true;
    int lineSize = 0;
    const int bytes = samplesSize(decoder, &lineSize);
    if (bytes < 1) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("av_samples_get_buffer_size failed with %d",
                                                       bytes);
        return false;
    }
    VANTRA_LOG(Logger::Debug) << QString::asprintf("av_samples_get_buffer_size ret %d, linesize %d",
                                                   bytes, lineSize);
    const int reserved = std::max(bytes, kDecoderBufferReserve);
    decoder->buffer = static_cast<uint8_t *>(av_malloc(static_cast<size_t>(reserved)));
    if (!decoder->buffer) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("av_samples_malloc_buffer %d failed", bytes);
        return false;
    }
    decoder->bufferSize = reserved;
    return true;
}

/// Copies the received frame to the buffer. Returns what swr_convert does; `bytes` gets the size.
int convertFrame(adec_handle_s *decoder, int *bytes)
{
    *bytes = samplesSize(decoder, nullptr);
    if (*bytes < 1 || *bytes > decoder->bufferSize)
        return AVERROR_BUFFER_TOO_SMALL;
    // Room is given as bytes where samples are asked for; it is never less than what goes in, and
    // what comes out is what went in.
    return swr_convert(decoder->swr, &decoder->buffer, *bytes,
                       const_cast<const uint8_t **>(decoder->frame->extended_data),
                       decoder->frame->nb_samples);
}

bool ensureBuffer(aenc_handle_s *encoder, int packetSize)
{
    if (!encoder->buffer) {
        encoder->buffer = static_cast<uint8_t *>(av_malloc(static_cast<size_t>(packetSize)));
        encoder->bufferSize = encoder->buffer ? packetSize : 0;
    }
    // All packets of an encoder are of one size; a larger one has no room.
    if (packetSize <= encoder->bufferSize)
        return true;
    VANTRA_LOG(Logger::Error) << QString::asprintf("av_malloc %d failed", packetSize);
    return false;
}

} // namespace

void *ffmpeg_create_audio_decoder(const _tag_adec_param_s *param)
{
    if (!param)
        return nullptr;
    const AVCodecID id = audioCodecId(param->codec);
    if (id == AV_CODEC_ID_NONE)
        return nullptr;
    const AVCodec *codec = avcodec_find_decoder(id);
    if (!codec) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("found no decoder with codec %d", id);
        return nullptr;
    }
    AVCodecContext *ctx = allocContext(codec, param->sampleRate);
    if (!ctx)
        return nullptr;
    set_channels(ctx, param->channels);
    auto *decoder = openAudio<adec_handle_s>(ctx, codec, param);
    if (!decoder)
        return nullptr;
    {
        const QWriteLocker locker(&audio_decoders_lock);
        add_audio_decoder(decoder); // a duplicate is told there, and works all the same
    }
    logCreated("decoder", decoder, codec, param);
    return decoder;
}

int ffmpeg_decoder_audio_frame(void *handle, unsigned char *data, unsigned int size, uint64_t pts,
                               _tag_audio_frame_s *out)
{
    if (!out)
        return -1;
    *out = {};
    if (!handle)
        return -1;
    auto *decoder = static_cast<adec_handle_s *>(handle);

    const AVPacket packet = borrowed_packet(data, wholeSamples(decoder, size), pts);
    int result =
        is_valid_input(data, size) ? avcodec_send_packet(decoder->ctx, &packet) : AVERROR(EINVAL);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << failed_with("avcodec_send_packet", result);
        return -1;
    }
    for (;;) {
        result = avcodec_receive_frame(decoder->ctx, decoder->frame);
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
            return -1;
        if (result < 0) {
            VANTRA_LOG(Logger::Error) << failed_with("avcodec_receive_frame", result);
            return -1;
        }
        if (!ensureBuffer(decoder))
            return -1;
        int bytes = 0;
        result = convertFrame(decoder, &bytes);
        if (result > 0) {
            out->data = decoder->buffer;
            out->size = static_cast<uint32_t>(bytes);
            out->pts = pts;
            return 0;
        }
        // Not the end: another frame may have come of the same chunk.
        VANTRA_LOG(Logger::Error) << QString::asprintf("swr_convert failed with %x",
                                                       static_cast<unsigned int>(result));
    }
}

int ffmpeg_destroy_audio_decoder(void *handle)
{
    if (!handle)
        return 0;
    auto *decoder = static_cast<adec_handle_s *>(handle);
    remove_audio_decoder(decoder);
    const QString text = QString::asprintf("destroy audio decoder %p", handle);
    freeAudio(decoder);
    VANTRA_LOG(Logger::Debug) << text;
    return 0;
}

void *ffmpeg_create_audio_encoder(const _tag_aenc_param_s *param)
{
    if (!param)
        return nullptr;
    const AVCodecID id = audioCodecId(param->codec);
    if (id == AV_CODEC_ID_NONE)
        return nullptr;
    const AVCodec *codec = avcodec_find_encoder(id);
    if (!codec) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("found no encoder with codec %d", id);
        return nullptr;
    }
    AVCodecContext *ctx = allocContext(codec, param->sampleRate);
    if (!ctx)
        return nullptr;
    set_channels_and_layout(ctx, param->channels);
    auto *encoder = openAudio<aenc_handle_s>(ctx, codec, param);
    if (!encoder)
        return nullptr;
    if (!makeInputFrame(encoder)) {
        freeAudio(encoder);
        return nullptr;
    }
    // Nothing is resampled on the way to the codec. That a resampler can be made is asked of an
    // encoder all the same; to keep it would cost 86 KB in each of those that AudioThread leaves in
    // the registry, one for each start of a widget.
    swr_free(&encoder->swr);
    {
        const QWriteLocker locker(&audio_encoders_lock);
        add_audio_encoder(encoder); // a duplicate is told there, and works all the same
    }
    logCreated("encoder", encoder, codec, param);
    return encoder;
}

int ffmpeg_encoder_audio_frame(void *handle, unsigned char *data, unsigned int size, uint64_t pts,
                               _tag_audio_frame_s *out)
{
    if (!out)
        return -1;
    *out = {};
    if (!handle)
        return -1;
    auto *encoder = static_cast<aenc_handle_s *>(handle);

    int result = AVERROR(EINVAL);
    if (data) {
        // A frame is always encoded whole: behind a shorter chunk stands the tail of the last one.
        AVFrame *frame = encoder->frame;
        memcpy(frame->data[0], data,
               std::min(static_cast<size_t>(size), static_cast<size_t>(frame->linesize[0])));
        result = avcodec_send_frame(encoder->ctx, frame);
    }
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << failed_with("avcodec_send_frame", result);
        return -1;
    }
    AVPacket packet = {};
    result = avcodec_receive_packet(encoder->ctx, &packet);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << failed_with("avcodec_receive_packet", result);
        return -1;
    }
    const bool hasRoom = ensureBuffer(encoder, packet.size);
    if (hasRoom) {
        memcpy(encoder->buffer, packet.data, static_cast<size_t>(packet.size));
        out->data = encoder->buffer;
        out->size = static_cast<uint32_t>(packet.size);
        out->pts = pts;
    }
    av_packet_unref(&packet);
    return hasRoom ? 0 : -1;
}

int ffmpeg_destroy_audio_encoder(void *handle)
{
    if (!handle)
        return 0;
    auto *encoder = static_cast<aenc_handle_s *>(handle);
    remove_audio_encoder(encoder);
    const QString text = QString::asprintf("destroy audio encoder %p", handle);
    freeAudio(encoder);
    VANTRA_LOG(Logger::Debug) << text;
    return 0;
}
