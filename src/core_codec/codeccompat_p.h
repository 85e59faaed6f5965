// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

/// Channel layouts of audio: a count and a mask before FFmpeg 5.1, one record since. All that the
/// codec layer meets of differences between FFmpeg releases.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include <cstdint>

#define VANTRA_HAS_CHANNEL_LAYOUT_RECORD (LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 28, 100))

/// Sets the channel count of a decoder's context, with no layout.
inline void set_channels(AVCodecContext *ctx, int32_t channels)
{
#if VANTRA_HAS_CHANNEL_LAYOUT_RECORD
    av_channel_layout_uninit(&ctx->ch_layout);
    ctx->ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
    ctx->ch_layout.nb_channels = channels;
#else
    ctx->channels = channels;
#endif
}

/// Sets channel count and default layout of an encoder's context.
inline void set_channels_and_layout(AVCodecContext *ctx, int32_t channels)
{
#if VANTRA_HAS_CHANNEL_LAYOUT_RECORD
    av_channel_layout_uninit(&ctx->ch_layout);
    av_channel_layout_default(&ctx->ch_layout, channels);
#else
    ctx->channels = channels;
    ctx->channel_layout = static_cast<uint64_t>(av_get_default_channel_layout(channels));
#endif
}

/// Gives a frame the layout of a context. Returns a negative code on failure.
inline int copy_layout(AVFrame *frame, const AVCodecContext *ctx)
{
#if VANTRA_HAS_CHANNEL_LAYOUT_RECORD
    return av_channel_layout_copy(&frame->ch_layout, &ctx->ch_layout);
#else
    frame->channel_layout = ctx->channel_layout;
    return 0;
#endif
}

/// A resampler from 16 bit PCM to the very same, or null. It still has to be initialised.
inline SwrContext *alloc_copying_resampler(int32_t channels, int32_t sampleRate)
{
#if VANTRA_HAS_CHANNEL_LAYOUT_RECORD
    AVChannelLayout layout = {};
    av_channel_layout_default(&layout, channels);
    SwrContext *swr = nullptr;
    if (swr_alloc_set_opts2(&swr, &layout, AV_SAMPLE_FMT_S16, sampleRate, &layout,
                            AV_SAMPLE_FMT_S16, sampleRate, 0, nullptr) < 0)
        swr_free(&swr);
    av_channel_layout_uninit(&layout);
    return swr;
#else
    const int64_t layout = av_get_default_channel_layout(channels);
    return swr_alloc_set_opts(nullptr, layout, AV_SAMPLE_FMT_S16, sampleRate, layout,
                              AV_SAMPLE_FMT_S16, sampleRate, 0, nullptr);
#endif
}
