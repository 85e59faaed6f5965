// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <memory>
#include <type_traits>

/// Calls an FFmpeg function that frees an object, be it given the object or the address of the
/// pointer to it.
template<auto Free>
struct FFmpegDeleter
{
    template<typename T>
    void operator()(T *object) const ///< frees
    {
        if constexpr (std::is_invocable_v<decltype(Free), T *>)
            Free(object);
        else
            Free(&object);
    }
};

template<typename T, auto Free>
using FFmpegPtr = std::unique_ptr<T, FFmpegDeleter<Free>>;

using AVFramePtr = FFmpegPtr<AVFrame, &av_frame_free>;
using AVPacketPtr = FFmpegPtr<AVPacket, &av_packet_free>;
using AVCodecContextPtr = FFmpegPtr<AVCodecContext, &avcodec_free_context>;
/// An input, opened or not.
using AVFormatInputPtr = FFmpegPtr<AVFormatContext, &avformat_close_input>;
/// An output; its file has an owner of its own, which must live longer.
using AVFormatOutputPtr = FFmpegPtr<AVFormatContext, &avformat_free_context>;
/// An open file. Whoever wrote to it closes it by hand, to see the result.
using AVIOContextPtr = FFmpegPtr<AVIOContext, &avio_close>;
using AVBSFContextPtr = FFmpegPtr<AVBSFContext, &av_bsf_free>;   ///< a bit-stream filter
using SwsContextPtr = FFmpegPtr<SwsContext, &sws_freeContext>;   ///< a scaler
using SwrContextPtr = FFmpegPtr<SwrContext, &swr_free>;          ///< a resampler
using AVBufferRefPtr = FFmpegPtr<AVBufferRef, &av_buffer_unref>; ///< one reference
/// Bytes from av_malloc().
using AVBytesPtr = FFmpegPtr<std::uint8_t, &av_free>;

/// Owner of an AVDictionary. FFmpeg makes, replaces and frees the dictionary through the address of
/// the pointer to it, which is why this is no unique_ptr.
class AVDictionaryOwner
{
public:
    AVDictionaryOwner() = default;
    ~AVDictionaryOwner() { reset(); }
    AVDictionaryOwner(const AVDictionaryOwner &) = delete;
    AVDictionaryOwner &operator=(const AVDictionaryOwner &) = delete;

    /// Adds or replaces an entry.
    void set(const char *key, const char *value) { av_dict_set(&dictionary, key, value, 0); }
    void reset() { av_dict_free(&dictionary); }      ///< frees all entries
    AVDictionary **address() { return &dictionary; } ///< for FFmpeg

private:
    AVDictionary *dictionary = nullptr;
};
