// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_codec/ffmpeg.h"

/// Holds at most one video decoder, one audio decoder and one audio encoder of ffmpeg.h, refuses a
/// second of a kind, and turns results into bool with a line in the log.
///
/// Threads: none of its own and no lock; an instance is used by the one thread that owns it.
///
/// Ownership: it has no destructor. The owner calls the destroy operations before it lets go of the
/// object; a handle that is left in place stays alive, and in its registry, until the process ends.
class MediaCodec
{
public:
    /// The first one of the process sets FFmpeg's log level to AV_LOG_WARNING.
    MediaCodec();
    MediaCodec(const MediaCodec &) = delete;            ///< there would be two owners of one handle
    MediaCodec &operator=(const MediaCodec &) = delete; ///< likewise

    /// Make a decoder or encoder. False if there is one already, which is kept, or on failure.
    bool createVideoDecoder(const _tag_vdec_param_s &param);
    bool createAudioDecoder(const _tag_adec_param_s &param);
    bool createAudioEncoder(const _tag_aenc_param_s &param);

    /// As ffmpeg_decoder_video_frame. False also as long as the decoder has no picture yet.
    bool decodeVideoFrame(unsigned char *data, unsigned int size, int key, uint64_t pts,
                          _tag_yuv_frame_s *yuv, _tag_rgb_frame_s *rgb);

    /// As ffmpeg_decoder_audio_frame.
    bool decodeAudioFrame(unsigned char *data, unsigned int size, uint64_t pts,
                          _tag_audio_frame_s *out);

    /// As ffmpeg_encoder_audio_frame.
    bool encodeAudioFrame(unsigned char *data, unsigned int size, uint64_t pts,
                          _tag_audio_frame_s *out);

    /// Release what was created, with all memory lent from it. Nothing happens without.
    void destroyVideoDecoder();
    void destroyAudioDecoder();
    void destroyAudioEncoder();

    bool isVideoDecoderNull() const { return !videoDecoder; } ///< there is none
    bool isAudioDecoderNull() const { return !audioDecoder; } ///< there is none

    /// As ffmpeg_is_hardware_decoder and ffmpeg_share_video_rgb.
    bool isVideoDecoderHardware() const { return ffmpeg_is_hardware_decoder(videoDecoder); }
    std::shared_ptr<void> shareVideoRgb() const { return ffmpeg_share_video_rgb(videoDecoder); }

private:
    void *videoDecoder = nullptr;
    void *audioDecoder = nullptr;
    void *audioEncoder = nullptr;
};
