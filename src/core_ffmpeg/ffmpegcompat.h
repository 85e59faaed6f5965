// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

/// Every difference between the FFmpeg releases from 4.4 to 6.1 that the library meets, under
/// positive names; those of the codec layer, which leans on nothing, are in
/// core_codec/codeccompat_p.h. Depends on nothing but FFmpeg. A codec pointer that is only read is
/// written `const AVCodec *`, and a format pointer `auto *`, which fit all of them.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/version.h>
#include <libswresample/swresample.h>
}

/// AVChannelLayout has taken the place of a count and a mask (5.1).
#define VANTRA_HAS_CHANNEL_LAYOUT (LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100))
/// The mark of a key picture is a flag of the frame (6.1).
#define VANTRA_HAS_FRAME_FLAG_KEY (LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100))
/// The RTSP demuxer calls its socket time-out "timeout" (5.0); before, that key meant "listen".
#define VANTRA_HAS_RTSP_TIMEOUT (LIBAVFORMAT_VERSION_MAJOR >= 59)

namespace ffcompat {

/// Channels of a decoder context.
inline int channels(const AVCodecContext *ctx)
{
#if VANTRA_HAS_CHANNEL_LAYOUT
    return ctx->ch_layout.nb_channels;
#else
    return ctx->channels;
#endif
}

/// Channels of a decoded frame.
inline int channels(const AVFrame *frame)
{
#if VANTRA_HAS_CHANNEL_LAYOUT
    return frame->ch_layout.nb_channels;
#else
    return frame->channels;
#endif
}

/// Describes sound as front left and right, whatever `channels` says.
inline void setStereo(AVCodecParameters *parameters, int channels)
{
#if VANTRA_HAS_CHANNEL_LAYOUT
    (void)channels; // the layout tells how many there are
    av_channel_layout_uninit(&parameters->ch_layout);
    av_channel_layout_from_mask(&parameters->ch_layout, AV_CH_LAYOUT_STEREO);
#else
    parameters->channels = channels;
    parameters->channel_layout = AV_CH_LAYOUT_STEREO;
#endif
}

/// A resampler, not yet initialised, from what `ctx` decodes to, laid out as is usual for its count
/// of channels, to interleaved 16-bit stereo at `sampleRate`. Null on failure; swr_free() frees it.
inline SwrContext *newStereoResampler(const AVCodecContext *ctx, int sampleRate)
{
#if VANTRA_HAS_CHANNEL_LAYOUT
    AVChannelLayout in;
    AVChannelLayout out;
    av_channel_layout_default(&in, ctx->ch_layout.nb_channels);
    av_channel_layout_default(&out, 2);
    SwrContext *swr = nullptr;
    if (swr_alloc_set_opts2(&swr, &out, AV_SAMPLE_FMT_S16, sampleRate, &in, ctx->sample_fmt,
                            ctx->sample_rate, 0, nullptr) < 0)
        swr_free(&swr);
    av_channel_layout_uninit(&in);
    av_channel_layout_uninit(&out);
    return swr;
#else
    return swr_alloc_set_opts(nullptr, AV_CH_LAYOUT_STEREO, AV_SAMPLE_FMT_S16, sampleRate,
                              av_get_default_channel_layout(ctx->channels), ctx->sample_fmt,
                              ctx->sample_rate, 0, nullptr);
#endif
}

/// Sets the socket time-out of an RTSP source, in microseconds as text. A key that a release does
/// not know does no harm.
inline void setSocketTimeout(AVDictionary **options, const char *microseconds)
{
    av_dict_set(options, "stimeout", microseconds, 0);
#if VANTRA_HAS_RTSP_TIMEOUT
    av_dict_set(options, "timeout", microseconds, 0);
#endif
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
inline bool isKeyFrame(const AVFrame *frame)
{
#if VANTRA_HAS_FRAME_FLAG_KEY
    return frame->flags & AV_FRAME_FLAG_KEY;
#else
    return frame->key_frame;
#endif
}

inline void setKeyFrame(AVFrame *frame, bool key)
{
#if VANTRA_HAS_FRAME_FLAG_KEY
    if (key)
        frame->flags |= AV_FRAME_FLAG_KEY;
    else
        frame->flags &= ~AV_FRAME_FLAG_KEY;
#endif
    frame->key_frame = key;
}
#pragma GCC diagnostic pop

} // namespace ffcompat
