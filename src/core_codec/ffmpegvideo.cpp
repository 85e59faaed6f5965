// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_codec/ffmpeg_p.h"

#include "largestpicture_p.h"
#include "log.h"

#include <QWriteLocker>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <libyuv.h>

#include <cstdlib>

namespace {

constexpr char kLogTag[] = "(ffpg)";

constexpr int32_t kCodecH264 = 1;
constexpr int32_t kCodecH265 = 2;
constexpr int kRgbBytesPerPixel = 3;

/// The configuration with which `decoder` uses a device of this type, or null.
const AVCodecHWConfig *findHwConfig(const AVCodec *decoder, AVHWDeviceType type)
{
    for (int i = 0;; ++i) {
        const AVCodecHWConfig *config = avcodec_get_hw_config(decoder, i);
        if (!config)
            return nullptr;
        if ((config->methods & AV_CODEC_HW_CONFIG_METHOD_HW_DEVICE_CTX) &&
            config->device_type == type)
            return config;
    }
}

/// Negotiates the mode: in hardware mode the context gets a device reference. Whatever fails leaves
/// the context ready for software. Returns the surface format that was chosen.
AVPixelFormat attachHardware(AVCodecContext *ctx, const AVCodec *decoder, const QByteArray &device)
{
    if (device.isEmpty() || device == "none") {
        VANTRA_LOG(Logger::Debug) << QString::asprintf("use soft %s decoder", decoder->name);
        return AV_PIX_FMT_NONE;
    }
    const AVHWDeviceType type = av_hwdevice_find_type_by_name(device.constData());
    if (type == AV_HWDEVICE_TYPE_NONE) {
        VANTRA_LOG(Logger::Warning) << QString::asprintf("find no %s decoder support device %s",
                                                         decoder->name, device.constData());
        return AV_PIX_FMT_NONE;
    }
    const AVCodecHWConfig *config = findHwConfig(decoder, type);
    if (!config) {
        VANTRA_LOG(Logger::Warning) << QString::asprintf("%s decoder does not support device %s",
                                                         decoder->name, device.constData());
        return AV_PIX_FMT_NONE;
    }
    if (config->pix_fmt == AV_PIX_FMT_NONE)
        return AV_PIX_FMT_NONE;

    AVBufferRef *hwDevice = nullptr;
    const int result = av_hwdevice_ctx_create(&hwDevice, type, nullptr, nullptr, 0);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << failed_with("av_hwdevice_ctx_create", result);
    } else {
        ctx->get_format = get_hw_format;
        ctx->hw_device_ctx = hwDevice; // the context owns it now
    }
    return config->pix_fmt;
}

/// A context that is open for decoding, or null. `surfaceFormat` receives what was negotiated.
AVCodecContext *openVideo(const AVCodec *decoder, const QByteArray &device,
                          AVPixelFormat *surfaceFormat)
{
    AVCodecContext *ctx = avcodec_alloc_context3(decoder);
    if (!ctx) {
        VANTRA_LOG(Logger::Error) << "avcodec_alloc_context3 failed";
        return nullptr;
    }
    *surfaceFormat = attachHardware(ctx, decoder, device);
    // Size, parameter sets and the like come with the stream.
    ctx->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_LOW_DELAY;
    ctx->flags2 |= AV_CODEC_FLAG2_FAST;
    ctx->max_pixels = kLargestPicture;

    const int result = avcodec_open2(ctx, decoder, nullptr);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << failed_with("avcodec_open2", result);
        avcodec_free_context(&ctx);
    }
    return ctx;
}

void freeVideo(vdec_handle_s *handle)
{
    if (handle->ctx)
        avcodec_free_context(&handle->ctx);
    av_frame_free(&handle->frame);
    av_frame_free(&handle->hw_frame);
    av_buffer_unref(&handle->rgb_owner);
    if (handle->sws_ctx)
        sws_freeContext(handle->sws_ctx);
    free(handle);
}

/// Receives one picture: into `hw_frame` in hardware mode, else into `frame`.
bool receivePicture(vdec_handle_s *handle)
{
    if (!handle->ctx->hw_device_ctx) {
        // That a decoder without a picture yet is told as an error here, and passed over in silence
        // below, is intended.
        const int result = avcodec_receive_frame(handle->ctx, handle->frame);
        if (result < 0)
            VANTRA_LOG(Logger::Error) << failed_with("avcodec_receive_frame", result);
        return result >= 0;
    }
    const int result = avcodec_receive_frame(handle->ctx, handle->hw_frame);
    if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("avcodec_receive_frame with %x (%s)",
                                                       static_cast<unsigned int>(result),
                                                       qUtf8Printable(error_text(result)));
    }
    return result >= 0;
}

void fillSoftwarePicture(const AVFrame *picture, _tag_yuv_frame_s *yuv)
{
    yuv->y = picture->data[0];
    yuv->u = picture->data[1];
    yuv->v = picture->data[2];
    yuv->width = picture->width;
    yuv->height = picture->height;
    yuv->linesize_y = picture->linesize[0];
    yuv->linesize_uv = picture->linesize[1];
}

/// Brings the picture in `hw_frame` down into `frame`.
bool transferPicture(vdec_handle_s *handle)
{
    AVFrame *target = handle->frame;
    const AVFrame *source = handle->hw_frame;
    int result = AVERROR(EINVAL); // FFmpeg does not bear a picture without a frames context
    if (source->hw_frames_ctx) {
        const auto *frames = reinterpret_cast<AVHWFramesContext *>(source->hw_frames_ctx->data);
        // The memory of the last transfer is used again, but only for a picture of the same form:
        // FFmpeg does not check that the new one fits.
        if (target->width != source->width || target->height != source->height ||
            target->format != frames->sw_format)
            av_frame_unref(target);
        result = av_hwframe_transfer_data(target, source, 0);
    }
    if (result < 0)
        VANTRA_LOG(Logger::Error) << failed_with("av_hwframe_transfer_data", result);
    return result >= 0;
}

bool ensureRgbBuffer(vdec_handle_s *handle)
{
    if (handle->rgb_data[0])
        return true;
    const AVFrame *picture = handle->frame;
    const int result = av_image_alloc(handle->rgb_data, handle->rgb_linesize, picture->width,
                                      picture->height, AV_PIX_FMT_RGB24, 1);
    if (result < 1) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("av_image_alloc failed[%d] %d * %d", result,
                                                       picture->width, picture->height);
        return false;
    }
    handle->rgb_size = result;
    handle->rgb_owner = av_buffer_create(handle->rgb_data[0], static_cast<size_t>(result),
                                         av_buffer_default_free, nullptr, 0);
    if (!handle->rgb_owner) {
        VANTRA_LOG(Logger::Error) << QString::asprintf(
            "av_image_alloc failed[%d] %d * %d", AVERROR(ENOMEM), picture->width, picture->height);
        av_freep(&handle->rgb_data[0]);
        return false;
    }
    return true;
}

/// Whether the planes of this format are at least as large as those of YUV420P.
bool hasI420Planes(int format)
{
    const AVPixFmtDescriptor *form = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return form && form->log2_chroma_w <= 1 && form->log2_chroma_h <= 1;
}

/// Whether a picture of this size has room in the RGB buffer, which is as large as the first one.
bool fitsRgbBuffer(const vdec_handle_s *handle, int width, int height)
{
    const int64_t line = int64_t(width) * kRgbBytesPerPixel;
    return line <= handle->rgb_linesize[0] &&
           int64_t(handle->rgb_linesize[0]) * (height - 1) + line <= handle->rgb_size;
}

bool fillRgbPicture(vdec_handle_s *handle, _tag_rgb_frame_s *rgb)
{
    if (handle->ctx->hw_device_ctx && !transferPicture(handle))
        return false;
    if (!ensureRgbBuffer(handle))
        return false;

    const AVFrame *picture = handle->frame;
    const int result = fitsRgbBuffer(handle, picture->width, picture->height)
                           ? picture_to_rgb(picture, handle->rgb_data[0], handle->rgb_linesize[0])
                           : -1;
    if (result == -1) {
        VANTRA_LOG(Logger::Warning)
            << QStringLiteral("yuv2rgb fmt: %1 err: %2").arg(picture->format).arg(result);
        return false;
    }
    rgb->data = handle->rgb_data[0];
    rgb->linesize = handle->rgb_linesize[0];
    rgb->width = picture->width;
    rgb->height = picture->height;
    return true;
}

} // namespace

void fill_hw_picture(const AVFrame *picture, _tag_yuv_frame_s *yuv)
{
    switch (picture->format) {
    case AV_PIX_FMT_DXVA2_VLD:
        yuv->y = picture->data[3];
        break;
    case AV_PIX_FMT_D3D11:
        yuv->y = picture->data[0];
        yuv->linesize_y = static_cast<int32_t>(reinterpret_cast<intptr_t>(picture->data[1]));
        break;
    default:
        return; // no renderer takes other surfaces
    }
    yuv->width = picture->width;
    yuv->height = picture->height;
}

int picture_to_rgb(const AVFrame *picture, uint8_t *rgb, int linesize)
{
    // The chroma inputs are exchanged against their names, and must be: libyuv's "RGB24" has blue
    // first in memory, this buffer red.
    uint8_t *const *data = picture->data;
    const int *lines = picture->linesize;
    const int width = picture->width;
    const int height = picture->height;
    switch (picture->format) {
    case AV_PIX_FMT_YUVJ420P:
        return libyuv::J420ToRGB24(data[0], lines[0], data[2], lines[2], data[1], lines[1], rgb,
                                   linesize, width, height);
    case AV_PIX_FMT_NV12:
        return libyuv::NV21ToRGB24(data[0], lines[0], data[1], lines[1], rgb, linesize, width,
                                   height);
    case AV_PIX_FMT_NV21:
        return libyuv::NV12ToRGB24(data[0], lines[0], data[1], lines[1], rgb, linesize, width,
                                   height);
    default: // AV_PIX_FMT_YUV420P, and as well as it goes all others
        if (!hasI420Planes(picture->format))
            return -1;
        return libyuv::I420ToRGB24(data[0], lines[0], data[2], lines[2], data[1], lines[1], rgb,
                                   linesize, width, height);
    }
}

void *ffmpeg_create_video_decoder(const _tag_vdec_param_s *param)
{
    if (!param)
        return nullptr;
    if (param->codec != kCodecH264 && param->codec != kCodecH265) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("codec %d is not supported", param->codec);
        return nullptr;
    }
    const AVCodecID id = param->codec == kCodecH264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    const AVCodec *decoder = avcodec_find_decoder(id);
    if (!decoder) {
        VANTRA_LOG(Logger::Error) << QString::asprintf("find no decoder with codec %d", id);
        return nullptr;
    }
    const char *device = param->hw_device;
    AVPixelFormat surfaceFormat = AV_PIX_FMT_NONE;
    AVCodecContext *ctx =
        openVideo(decoder, QByteArray(device, int(qstrnlen(device, sizeof(param->hw_device)))),
                  &surfaceFormat);
    if (!ctx)
        return nullptr;

    auto *handle = static_cast<vdec_handle_s *>(calloc(1, sizeof(vdec_handle_s)));
    if (!handle) {
        VANTRA_LOG(Logger::Error) << "calloc failed";
        avcodec_free_context(&ctx);
        return nullptr;
    }
    handle->codec = param->codec;
    handle->ctx = ctx;
    handle->frame = av_frame_alloc();
    if (ctx->hw_device_ctx)
        handle->hw_frame = av_frame_alloc();
    handle->hw_pix_fmt = surfaceFormat;
    if (!handle->frame || (ctx->hw_device_ctx && !handle->hw_frame)) {
        VANTRA_LOG(Logger::Error) << "calloc failed";
        freeVideo(handle);
        return nullptr;
    }
    {
        const QWriteLocker locker(&video_decoders_lock);
        add_video_decoder(handle); // a duplicate is told there, and works all the same
    }
    VANTRA_LOG(Logger::Debug) << QString::asprintf("create video decoder %p (%s, %d * %d)",
                                                   static_cast<void *>(handle), decoder->name,
                                                   param->width, param->height);
    return handle;
}

int ffmpeg_decoder_video_frame(void *handle, unsigned char *data, unsigned int size, int key,
                               uint64_t pts, _tag_yuv_frame_s *yuv, _tag_rgb_frame_s *rgb)
{
    if (yuv)
        *yuv = {};
    if (rgb)
        *rgb = {};
    if (!handle)
        return -1;
    auto *decoder = static_cast<vdec_handle_s *>(handle);

    AVPacket packet = borrowed_packet(data, size, pts);
    if (key)
        packet.flags |= AV_PKT_FLAG_KEY;
    const int result =
        is_valid_input(data, size) ? avcodec_send_packet(decoder->ctx, &packet) : AVERROR(EINVAL);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << failed_with("avcodec_send_packet", result);
        return -1;
    }
    // One picture at most for each packet keeps the delay at one frame.
    if (!receivePicture(decoder))
        return -1;

    if (yuv) {
        if (decoder->ctx->hw_device_ctx)
            fill_hw_picture(decoder->hw_frame, yuv);
        else
            fillSoftwarePicture(decoder->frame, yuv);
        yuv->pts = pts;
    }
    if (!rgb)
        return 0;
    if (!fillRgbPicture(decoder, rgb))
        return -1;
    rgb->pts = pts;
    return 0;
}

bool ffmpeg_is_hardware_decoder(const void *handle)
{
    return handle && static_cast<const vdec_handle_s *>(handle)->ctx->hw_device_ctx;
}

std::shared_ptr<void> ffmpeg_share_video_rgb(const void *handle)
{
    const AVBufferRef *owner =
        handle ? static_cast<const vdec_handle_s *>(handle)->rgb_owner : nullptr;
    AVBufferRef *share = owner ? av_buffer_ref(owner) : nullptr;
    if (!share)
        return nullptr;
    return std::shared_ptr<void>(share->data, [share](void *) {
        AVBufferRef *last = share;
        av_buffer_unref(&last);
    });
}

int ffmpeg_destroy_video_decoder(void *handle)
{
    if (!handle)
        return 0;
    auto *decoder = static_cast<vdec_handle_s *>(handle);
    // Out of the registry first; freeing may take long and must not keep other decoders waiting.
    remove_video_decoder(decoder);
    const QString text = QString::asprintf("destroy video decoder %p", handle);
    freeVideo(decoder);
    VANTRA_LOG(Logger::Debug) << text;
    return 0;
}
