// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_codec/mediacodec.h"

#include "log.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

constexpr char kLogTag[] = "(mdcdc)";

} // namespace

MediaCodec::MediaCodec()
{
    // Once in a process: a host may set another level later.
    static const bool isLevelSet = [] {
        av_log_set_level(AV_LOG_WARNING);
        return true;
    }();
    Q_UNUSED(isLevelSet)
}

bool MediaCodec::createVideoDecoder(const _tag_vdec_param_s &param)
{
    if (videoDecoder) {
        VANTRA_LOG(Logger::Warning) << "video decoder already exist";
        return false;
    }
    videoDecoder = ffmpeg_create_video_decoder(&param);
    if (!videoDecoder)
        VANTRA_LOG(Logger::Error) << "create video decoder fail";
    return videoDecoder;
}

bool MediaCodec::createAudioDecoder(const _tag_adec_param_s &param)
{
    if (audioDecoder) {
        VANTRA_LOG(Logger::Warning) << "audio decoder already exist";
        return false;
    }
    audioDecoder = ffmpeg_create_audio_decoder(&param);
    if (!audioDecoder)
        VANTRA_LOG(Logger::Error) << "create audio decoder fail";
    return audioDecoder;
}

bool MediaCodec::createAudioEncoder(const _tag_aenc_param_s &param)
{
    if (audioEncoder) {
        VANTRA_LOG(Logger::Warning) << "audio encoder already exist";
        return false;
    }
    audioEncoder = ffmpeg_create_audio_encoder(&param);
    if (!audioEncoder)
        VANTRA_LOG(Logger::Error) << "create audio encoder fail";
    return audioEncoder;
}

bool MediaCodec::decodeVideoFrame(unsigned char *data, unsigned int size, int key, uint64_t pts,
                                  _tag_yuv_frame_s *yuv, _tag_rgb_frame_s *rgb)
{
    if (!videoDecoder) {
        VANTRA_LOG(Logger::Warning) << "video decoder is null";
        return false;
    }
    if (ffmpeg_decoder_video_frame(videoDecoder, data, size, key, pts, yuv, rgb) == -1) {
        VANTRA_LOG(Logger::Warning)
            << QStringLiteral("video decoder fail (%1:%2)").arg(size).arg(key);
        return false;
    }
    return true;
}

bool MediaCodec::decodeAudioFrame(unsigned char *data, unsigned int size, uint64_t pts,
                                  _tag_audio_frame_s *out)
{
    if (!audioDecoder) {
        VANTRA_LOG(Logger::Warning) << "audio decoder is null";
        return false;
    }
    if (ffmpeg_decoder_audio_frame(audioDecoder, data, size, pts, out) == -1) {
        VANTRA_LOG(Logger::Warning) << "decode audio frame fail " << size;
        return false;
    }
    return true;
}

// A failed encode is an error where a failed decode is a warning: what is spoken into the talk is
// gone for good, while decoding goes on with the next frame.
bool MediaCodec::encodeAudioFrame(unsigned char *data, unsigned int size, uint64_t pts,
                                  _tag_audio_frame_s *out)
{
    if (!audioEncoder) {
        VANTRA_LOG(Logger::Warning) << "audio encoder is null";
        return false;
    }
    if (ffmpeg_encoder_audio_frame(audioEncoder, data, size, pts, out) == -1) {
        VANTRA_LOG(Logger::Error) << "encode audio frame fail " << size;
        return false;
    }
    return true;
}

void MediaCodec::destroyVideoDecoder()
{
    if (!videoDecoder)
        return;
    if (ffmpeg_destroy_video_decoder(videoDecoder) == -1)
        VANTRA_LOG(Logger::Warning) << "destroy video decoder fail";
    videoDecoder = nullptr;
}

void MediaCodec::destroyAudioDecoder()
{
    if (!audioDecoder)
        return;
    if (ffmpeg_destroy_audio_decoder(audioDecoder) == -1)
        VANTRA_LOG(Logger::Warning) << "destroy audio decoder fail";
    audioDecoder = nullptr;
}

void MediaCodec::destroyAudioEncoder()
{
    if (!audioEncoder)
        return;
    if (ffmpeg_destroy_audio_encoder(audioEncoder) == -1)
        VANTRA_LOG(Logger::Warning) << "destroy audio encoder fail";
    audioEncoder = nullptr;
}
