// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_codec/ffmpeg_p.h"
#include "logger/logger.h"
#include "support/accessunits.h"
#include "support/framemd5.h"

#include <cstring>
#include <utility>

namespace vantratest {

inline const char kAgain[] =
    "(ffpg)avcodec_receive_frame failed with fffffff5 (Resource temporarily unavailable)";
inline const char kInvalidSend[] =
    "(ffpg)avcodec_send_packet failed with ffffffea (Invalid argument)";

inline _tag_vdec_param_s videoParam(int codec, const char *device = "")
{
    _tag_vdec_param_s param = {};
    param.codec = codec;
    param.width = 320;
    param.height = 240;
    strncpy(param.hw_device, device, sizeof(param.hw_device));
    return param;
}

/// A handle of the codec layer that is destroyed with its scope; Record is what stands behind it.
template<typename Record, int (*Destroy)(void *)>
class Handle
{
    Q_DISABLE_COPY(Handle)

public:
    explicit Handle(void *handle) : m_handle(handle) {}
    Handle(Handle &&other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    ~Handle() { Destroy(m_handle); }

    void *get() const { return m_handle; }
    Record *record() const { return static_cast<Record *>(m_handle); }
    Record *operator->() const { return record(); }
    explicit operator bool() const { return m_handle; }
    void destroy() { Destroy(std::exchange(m_handle, nullptr)); }

private:
    void *m_handle;
};

using VideoHandle = Handle<vdec_handle_s, ffmpeg_destroy_video_decoder>;
using AudioDecoderHandle = Handle<adec_handle_s, ffmpeg_destroy_audio_decoder>;
using AudioEncoderHandle = Handle<aenc_handle_s, ffmpeg_destroy_audio_encoder>;

inline VideoHandle makeVideo(int codec, const char *device = "")
{
    const _tag_vdec_param_s param = videoParam(codec, device);
    return VideoHandle(ffmpeg_create_video_decoder(&param));
}

inline unsigned char *bytesOf(const QByteArray &data)
{
    return reinterpret_cast<unsigned char *>(const_cast<char *>(data.constData()));
}

inline int decode(const VideoHandle &handle, const AccessUnit &unit,
                  _tag_yuv_frame_s *yuv = nullptr, _tag_rgb_frame_s *rgb = nullptr)
{
    return ffmpeg_decoder_video_frame(handle.get(), bytesOf(unit.data), unsigned(unit.data.size()),
                                      unit.key, quint64(unit.pts), yuv, rgb);
}

/// Decodes all units; returns the checksums of the pictures that came, and counts the failed calls.
inline QVector<QByteArray> decodeSums(const VideoHandle &handle, const QVector<AccessUnit> &units,
                                      int *failures)
{
    QVector<QByteArray> sums;
    *failures = 0;
    for (const AccessUnit &unit : units) {
        _tag_yuv_frame_s yuv;
        if (decode(handle, unit, &yuv) != 0) {
            ++*failures;
            continue;
        }
        const uint8_t *const planes[] = {yuv.y, yuv.u, yuv.v};
        const int lineSizes[] = {yuv.linesize_y, yuv.linesize_uv, yuv.linesize_uv};
        sums.append(pictureMd5(planes, lineSizes, yuv.width, yuv.height,
                               AVPixelFormat(handle->frame->format)));
    }
    return sums;
}

} // namespace vantratest
