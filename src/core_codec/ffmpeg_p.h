// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

/// What stands behind the handles of ffmpeg.h, and the registries that they are kept in.

#include "core_codec/ffmpeg.h"

#include <QReadWriteLock>
#include <QString>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <uthash.h>

/// A video decoder. Its mode, hardware or software, is fixed for life: hardware where `ctx` holds a
/// device reference. Made by calloc: what is not set is zero.
struct vdec_handle_s
{
    int32_t codec;                 ///< as in the parameters
    AVCodecContext *ctx;           ///< owned; key in the registry
    AVFrame *frame;                ///< owned; software picture, or a hardware one brought down
    AVFrame *hw_frame;             ///< owned; hardware picture, only in hardware mode
    enum AVPixelFormat hw_pix_fmt; ///< surface format chosen at create, or AV_PIX_FMT_NONE
    uint8_t *rgb_data[4];          ///< RGB buffer, made on first need, never resized
    int32_t rgb_linesize[4];       ///< belongs to rgb_data
    SwsContext *sws_ctx;           ///< owned if set; nothing here creates one
    UT_hash_handle hh;
    int32_t rgb_size;       ///< bytes of the RGB buffer
    AVBufferRef *rgb_owner; ///< owned; share of the RGB buffer, which goes with the last one
};

/// An audio decoder.
struct adec_handle_s
{
    int32_t codec; ///< as in the parameters
    int32_t channels;
    int32_t sampleFormat; ///< always AV_SAMPLE_FMT_S16
    int32_t sampleRate;   ///< Hz
    int32_t bytesPerSample;
    AVCodecContext *ctx; ///< owned; key in the registry
    SwrContext *swr;     ///< owned
    AVFrame *frame;      ///< owned
    uint8_t *buffer;     ///< owned; output, made on first need, once
    UT_hash_handle hh;
    int32_t bufferSize; ///< bytes of the buffer
};

/// An audio encoder.
struct aenc_handle_s
{
    int32_t codec; ///< as in the parameters
    int32_t channels;
    int32_t sampleFormat; ///< always AV_SAMPLE_FMT_S16
    int32_t sampleRate;   ///< Hz
    int32_t bytesPerSample;
    AVCodecContext *ctx; ///< owned; key in the registry
    SwrContext *swr;     ///< owned; null once the handle is made
    AVFrame *frame;      ///< owned; takes the input
    uint8_t *buffer;     ///< owned; output, made on first need, once
    UT_hash_handle hh;
    int32_t bufferSize; ///< bytes of the buffer
};

/// The registries: hash tables keyed on the value of `ctx`, null while empty. Each has a lock,
/// which guards the table and nothing else: no decoder is opened, used or freed while it is held.
extern vdec_handle_s *video_decoders;
extern adec_handle_s *audio_decoders;
extern aenc_handle_s *audio_encoders;
extern QReadWriteLock video_decoders_lock;
extern QReadWriteLock audio_decoders_lock;
extern QReadWriteLock audio_encoders_lock;

/// Add a record: 0, or -1 if one with the same context is there already. The caller holds the write
/// lock. Memory exhaustion inside the table ends the process, as uthash has it.
int add_video_decoder(vdec_handle_s *handle);
int add_audio_decoder(adec_handle_s *handle);
int add_audio_encoder(aenc_handle_s *handle);

/// Take a record out, under the write lock, which they take themselves. A record that was refused
/// as a duplicate is not in the table, and nothing happens.
void remove_video_decoder(vdec_handle_s *handle);
void remove_audio_decoder(adec_handle_s *handle);
void remove_audio_encoder(aenc_handle_s *handle);

/// The get_format callback of hardware decoders: picks the surface format chosen at create, or
/// AV_PIX_FMT_NONE, with which FFmpeg fails the decode. `formats` ends with AV_PIX_FMT_NONE. Called
/// by FFmpeg on the thread that decodes.
enum AVPixelFormat get_hw_format(AVCodecContext *ctx, const enum AVPixelFormat *formats);

/// Fills all of `yuv` but the time stamp from a picture in video memory.
void fill_hw_picture(const AVFrame *picture, _tag_yuv_frame_s *yuv);

/// Converts a picture in system memory to red, green, blue in memory order. Returns -1 on failure.
int picture_to_rgb(const AVFrame *picture, uint8_t *rgb, int linesize);

/// A packet that borrows `data`. FFmpeg copies, and pads, what it is sent in such a packet.
AVPacket borrowed_packet(unsigned char *data, unsigned int size, uint64_t pts);

/// Whether FFmpeg can be given this input. No data would put a decoder into its final drain, and
/// the handle would be of no more use; sizes beyond int are negative for FFmpeg.
bool is_valid_input(const unsigned char *data, unsigned int size);

/// "CALL failed with %x (%s)", with the code and FFmpeg's text for it.
QString failed_with(const char *call, int code);

/// The text of av_strerror for a code.
QString error_text(int code);
