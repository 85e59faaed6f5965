// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "core_video/ffmpegvideothread.h"

#include <memory>

/// What one open of a FFmpegVideoThread builds and its close frees: one packet and one set of
/// frames that all packets share. Touched on the stream thread only. Members are destroyed from the
/// last to the first, the input after everything that was made from it.
struct FFmpegVideoThread::Session
{
    /// Bytes of a picture in BGRA, shared with every QImage that wraps them, because a widget may
    /// paint a queued image after the source was closed.
    using RgbBytes = std::shared_ptr<std::uint8_t>;

    /// What the resampler takes in; a decoder may change it in the middle of a stream.
    struct AudioForm
    {
        int sampleFormat = -1;
        int channels = 0;
        int sampleRate = 0; ///< Hz
    };

    /// What a picture is converted from, and how.
    struct RgbForm
    {
        int width = 0;
        int height = 0;
        int pixelFormat = AV_PIX_FMT_NONE;
        int scalerFlag = 0;
    };

    AVDictionaryOwner options;
    AVFormatInputPtr formatCtx;
    AVCodecContextPtr videoCtx;
    AVCodecContextPtr audioCtx;

    AVPacketPtr packet;
    AVFramePtr videoFrame; ///< output of the decoder: the picture that leaves the thread
    AVFramePtr hwFrame;    ///< a picture brought down from the video card, for a snapshot
    AVFramePtr audioFrame;

    SwsContextPtr rgbScaler; ///< for pictures of the form rgbForm
    RgbBytes rgbBuffer;      ///< for pictures of the size of rgbForm
    RgbForm rgbForm;

    SwrContextPtr resampler;
    AudioForm resamplerForm;
    AVBytesPtr audioBuffer; ///< kAudioBufferBytes

    static constexpr int kAudioBufferBytes = 288000;
    static constexpr int kOutputChannels = 2; ///< sound is always handed over in stereo
};
