// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

/// Decoders and encoders as plain functions over opaque handles.
///
/// A handle turns one elementary stream, given frame by frame, into pictures or PCM, or PCM into
/// G.711. Failure is a null handle or -1, with the reason in the log; nothing is thrown.
///
/// Threads: handles are independent of each other, and may be created, used and destroyed on any
/// threads at once. One handle is used by one thread at a time.
///
/// Memory: what an output record points to belongs to the handle and is valid until the next call
/// on that handle or its destruction; ffmpeg_share_video_rgb lends for longer. Input is only read
/// during the call, and needs no padding.

// Hosts know the records by these names.
// NOLINTBEGIN(bugprone-reserved-identifier)

/// What a video decoder is made from.
struct _tag_vdec_param_s
{
    int32_t codec;      ///< 1 H.264, 2 H.265
    int32_t width;      ///< pixels; only told in the log
    int32_t height;     ///< pixels; only told in the log
    char hw_device[32]; ///< FFmpeg's name of a hardware device type, such as "dxva2"; "" or "none":
                        ///< software. Need not be terminated when all 32 characters are used.
};

/// A decoded picture: three planes in software, else a surface of the video card.
///
/// DXVA2: `y` is the Direct3D 9 surface. D3D11: `y` is the texture, `linesize_y` the index in its
/// array. In both, all but the size is zero. Other surfaces: only `pts` is filled.
struct _tag_yuv_frame_s
{
    uint8_t *y;          ///< plane 0, or the surface
    uint8_t *u;          ///< plane 1; null for a surface
    uint8_t *v;          ///< plane 2; null for a surface
    int32_t width;       ///< pixels
    int32_t height;      ///< pixels
    int32_t linesize_y;  ///< bytes per line of plane 0
    int32_t linesize_uv; ///< bytes per line of plane 1
    uint64_t pts;        ///< the time stamp of the call
};

/// A picture as packed red, green, blue, three bytes per pixel.
struct _tag_rgb_frame_s
{
    uint8_t *data;    ///< the handle's
    int32_t width;    ///< pixels
    int32_t height;   ///< pixels
    int32_t linesize; ///< bytes per line
    uint64_t pts;     ///< the time stamp of the call
};

/// What an audio decoder is made from.
struct _tag_adec_param_s
{
    int32_t codec;      ///< 33 G.711 A-law, 34 G.711 mu-law
    int32_t sampleRate; ///< Hz
    int32_t sampleSize; ///< bits; only told in the log
    int32_t channels;   ///< 1 or more
};

/// What an audio encoder is made from.
struct _tag_aenc_param_s
{
    int32_t codec;      ///< 33 G.711 A-law, 34 G.711 mu-law
    int32_t sampleRate; ///< Hz
    int32_t sampleSize; ///< bits; only told in the log
    int32_t channels;   ///< 1 or more
};

/// Decoded PCM (signed 16 bit, native byte order, channels interleaved), or encoded bytes.
struct _tag_audio_frame_s
{
    uint8_t *data; ///< the handle's
    uint32_t size; ///< bytes
    uint64_t pts;  ///< the time stamp of the call
};

// NOLINTEND(bugprone-reserved-identifier)

/// Returns a decoder, or null. A hardware device that is unknown, unsupported by the codec or
/// absent ends in a software decoder. Release with ffmpeg_destroy_video_decoder.
void *ffmpeg_create_video_decoder(const _tag_vdec_param_s *param);

/// Decodes one access unit (Annex B) and yields at most one picture.
/// @param key  not zero: a key frame
/// @param yuv  receives planes or surface; null if not wanted
/// @param rgb  receives the picture converted to RGB; null if not wanted. The buffer is made for
///             the first picture that is asked for: a larger one later cannot be converted.
/// @return 0 with a picture; -1 on failure, and also as long as the decoder holds its pictures back
int ffmpeg_decoder_video_frame(void *handle, unsigned char *data, unsigned int size, int key,
                               uint64_t pts, _tag_yuv_frame_s *yuv, _tag_rgb_frame_s *rgb);

/// Whether the decoder gives surfaces of the video card; fixed for its life.
bool ffmpeg_is_hardware_decoder(const void *handle);

/// A share of the memory of the RGB pictures, which then outlives the decoder. The next picture is
/// written into the same bytes. Null as long as no RGB picture was made. The share may be released
/// on any thread.
std::shared_ptr<void> ffmpeg_share_video_rgb(const void *handle);

/// Releases a decoder and all that was lent from it; null is allowed. Returns 0.
int ffmpeg_destroy_video_decoder(void *handle);

/// Returns a decoder from G.711 to PCM, or null. Release with ffmpeg_destroy_audio_decoder.
void *ffmpeg_create_audio_decoder(const _tag_adec_param_s *param);

/// Decodes one chunk of any length; bytes at its end that are no sample of all channels are left
/// out. Returns 0 with PCM in `out`, or -1.
int ffmpeg_decoder_audio_frame(void *handle, unsigned char *data, unsigned int size, uint64_t pts,
                               _tag_audio_frame_s *out);

/// Releases a decoder and all that was lent from it; null is allowed. Returns 0.
int ffmpeg_destroy_audio_decoder(void *handle);

/// Returns an encoder from PCM to G.711, or null. Release with ffmpeg_destroy_audio_encoder.
void *ffmpeg_create_audio_encoder(const _tag_aenc_param_s *param);

/// Encodes one frame of PCM; its length is fixed at create: 320 samples at 8000 Hz. Of longer input
/// the rest is left out; shorter input is followed by the tail of what came before.
/// Returns 0 with the encoded bytes in `out`, or -1.
int ffmpeg_encoder_audio_frame(void *handle, unsigned char *data, unsigned int size, uint64_t pts,
                               _tag_audio_frame_s *out);

/// Releases an encoder and all that was lent from it; null is allowed. Returns 0.
int ffmpeg_destroy_audio_encoder(void *handle);
