// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// FFmpegVideoThread: how a decoded picture or sound leaves the thread.
#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_video/ffmpegvideothread.h"
#include "core_video/ffmpegvideothread_p.h"
#include "core_video/picturememory_p.h"
#include "core_video/yuvtobgra_p.h"
#include "core_videobase/snapfile_p.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <QFile>

namespace {

/// Sound may have so many times the rate that the source announced; cameras have 8 to 48 kHz.
constexpr int kMostTimes = 16;

constexpr int kRgbAlignment = 1;
/// swscale writes whole vectors, and so a little beyond the last line.
constexpr int kRgbPaddingBytes = 256;

int scalerFlag(DecodeType type)
{
    switch (type) {
    case DecodeType_Quality:
        return SWS_BICUBIC;
    case DecodeType_Balanced:
        return SWS_BILINEAR;
    default:
        return SWS_FAST_BILINEAR;
    }
}

bool isOnVideoCard(const AVFrame *frame)
{
    const AVPixFmtDescriptor *form = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
    return form && (form->flags & AV_PIX_FMT_FLAG_HWACCEL);
}

/// What a receiver of three planes can read: it takes the chroma planes for half as wide and half
/// as high, with one line size for both.
bool isPlanar420(const AVFrame *frame)
{
    return (frame->format == AV_PIX_FMT_YUV420P || frame->format == AV_PIX_FMT_YUVJ420P) &&
           frame->data[0] && frame->data[1] && frame->data[2] && frame->linesize[0] > 0 &&
           frame->linesize[1] > 0 && frame->linesize[2] == frame->linesize[1];
}

} // namespace

QString FFmpegVideoThread::codecName() const
{
    return session->videoCtx->codec_id == AV_CODEC_ID_HEVC ? QStringLiteral("H265")
                                                           : QStringLiteral("H264");
}

void FFmpegVideoThread::decodeVideo()
{
    const AVCodecContext *ctx = session->videoCtx.get();
    if (renderStartPending) {
        renderStartPending = false;
        emit sig_updateCodecRender(codecName(), ctx->width, ctx->height);
        emit receiveRenderStart();
    }
    if (FFmpegHelper::decodeFrame(this, session->videoCtx.get(), session->packet.get(),
                                  session->videoFrame.get(), true) < 0)
        return;
    // A picture in a new size never reaches a renderer that was built for the old one. A stop2()
    // that has cleared the flag meanwhile stays.
    if (videoCodecId != ctx->codec_id || videoWidth != ctx->width || videoHeight != ctx->height) {
        isOk = false;
        isShapeDoubtful = true;
    }
    if (isOk)
        deliver();
}

void FFmpegVideoThread::deliver()
{
    AVFrame *frame = session->videoFrame.get();
    const bool software = getHardware() == QLatin1String("none");
    const VideoMode mode = videoMode; // which a receiver may change at any time
    switch (mode) {
    case VideoMode_Painter:
        decodeImage();
        break;
    case VideoMode_Opengl:
        // With hardware nothing is handed over in this mode; that is intended. A software picture
        // of another layout is held back: its planes would be read beyond their end.
        if (software && isPlanar420(frame)) {
            const auto lumaLine = static_cast<quint32>(frame->linesize[0]);
            const auto chromaLine = static_cast<quint32>(frame->linesize[1]);
            emit receiveFrame(frame->width, frame->height, frame->data[0], frame->data[1],
                              frame->data[2], lumaLine, chromaLine, chromaLine);
        }
        if (isSnap)
            decodeImage();
        break;
    case VideoMode_D3D9:
    case VideoMode_D3D11:
        // Decoders without hardware support ignore the device and give pictures in memory, whose
        // planes must not pass for a surface or a texture.
        if (!software && isOnVideoCard(frame)) {
            if (mode == VideoMode_D3D9)
                emit receiveFrame(frame->width, frame->height, frame->data[3], false);
            else
                emit receiveFrame(frame->width, frame->height, frame->data[0],
                                  static_cast<qint32>(reinterpret_cast<quintptr>(frame->data[1])),
                                  false);
        }
        if (isSnap)
            snapHardwareFrame();
        break;
    default: // VideoMode_Hwnd: decoded, and handed to nobody
        break;
    }
}

/// A picture in memory as a QImage that shares rgbBuffer; null if it cannot be converted. The next
/// picture is written into the same bytes: a receiver that has not copied it by then sees it tear,
/// which is accepted, but never freed memory.
QImage FFmpegVideoThread::toRgb(const AVFrame *frame, int width, int height)
{
    const auto format = static_cast<AVPixelFormat>(frame->format);
    if (!frame->data[0] || frame->width != width || frame->height != height || isOnVideoCard(frame))
        return QImage();
    const int size = av_image_get_buffer_size(AV_PIX_FMT_BGRA, width, height, kRgbAlignment);
    if (size <= 0)
        return QImage();

    // Built anew only when size or form change. sws_getCachedContext() would build for each picture
    // of a full-range layout, since it compares with the layout that it has made of it.
    const Session::RgbForm form{width, height, format, scalerFlag(decodeType)};
    const Session::RgbForm built = session->rgbForm;
    const bool sameSize = form.width == built.width && form.height == built.height;
    const bool sameScaler =
        sameSize && form.pixelFormat == built.pixelFormat && form.scalerFlag == built.scalerFlag;
    session->rgbForm = form;
    if (!session->rgbScaler || !sameScaler) {
        session->rgbScaler.reset(sws_getContext(width, height, format, width, height,
                                                AV_PIX_FMT_BGRA, form.scalerFlag, nullptr, nullptr,
                                                nullptr));
    }
    if (!session->rgbBuffer || !sameSize)
        session->rgbBuffer = newPictureMemory(static_cast<std::size_t>(size) + kRgbPaddingBytes);
    if (!session->rgbScaler || !session->rgbBuffer)
        return QImage();

    std::uint8_t *planes[4] = {};
    int lines[4] = {};
    av_image_fill_arrays(planes, lines, session->rgbBuffer.get(), AV_PIX_FMT_BGRA, width, height,
                         kRgbAlignment);
    SwsContext *scaler = session->rgbScaler.get();
    if (const auto quicker = YuvToBgra::like(scaler, format, width, height))
        quicker->convert(frame, planes[0], lines[0]);
    else if (sws_scale(scaler, frame->data, frame->linesize, 0, height, planes, lines) < 0)
        return QImage();
    const auto release = [](void *holder) { delete static_cast<Session::RgbBytes *>(holder); };
    auto *holder = new Session::RgbBytes(session->rgbBuffer);
    QImage image(planes[0], width, height, lines[0], QImage::Format_RGB32, release, holder);
    if (image.isNull())
        delete holder;
    return image;
}

void FFmpegVideoThread::saveSnap(const QImage &image)
{
    const QString name = getSnapName();
    saveSnapFile(image, name);
    // If snapFinsh() has given the picture before its last name meanwhile, this one is left over.
    const QString png = QStringLiteral(".png");
    if (name.endsWith(png) &&
        getSnapName() == name.left(name.size() - png.size()) + QStringLiteral(".jpg"))
        QFile::remove(name);
    QMetaObject::invokeMethod(this, "snapFinsh");
}

void FFmpegVideoThread::decodeImage()
{
    const QImage image = toRgb(session->videoFrame.get(), videoWidth, videoHeight);
    if (image.isNull())
        return;
    // isSnap stays set until snapFinsh() has run on the thread of this object, so that a second
    // picture may be saved over the first meanwhile.
    if (isSnap)
        saveSnap(image);
    if (videoMode == VideoMode_Painter)
        emit receiveImage(image, 0);
}

void FFmpegVideoThread::snapHardwareFrame()
{
    AVFrame *onCard = session->videoFrame.get();
    AVFrame *frame = session->hwFrame.get();
    av_frame_unref(frame);
    if (!onCard->hw_frames_ctx || av_hwframe_transfer_data(frame, onCard, 0) != 0)
        return;
    const QImage image = toRgb(frame, frame->width, frame->height);
    av_frame_unref(frame);
    if (image.isNull())
        return;
    saveSnap(image);
    isSnap = false;
}

void FFmpegVideoThread::decodeAudio()
{
    AVCodecContext *ctx = session->audioCtx.get();
    AVFrame *frame = session->audioFrame.get();
    if (FFmpegHelper::decodeFrame(this, ctx, session->packet.get(), frame, false) < 0)
        return;
    // The resampler reads as many planes as it was built for.
    const Session::AudioForm form{frame->format, ffcompat::channels(frame), frame->sample_rate};
    const Session::AudioForm &built = session->resamplerForm;
    const auto fits = [&] {
        return session->resampler && form.sampleFormat == built.sampleFormat &&
               form.channels == built.channels && form.sampleRate == built.sampleRate;
    };
    if (!fits()) {
        // The filter of a resampler is as long as the rate is to fall, and takes its time to build.
        if (form.sampleRate / kMostTimes > sampleRate)
            return;
        initResampler();
        if (!fits())
            return;
    }

    constexpr int kBytesPerSample = Session::kOutputChannels * sizeof(qint16);
    constexpr int kRoom = Session::kAudioBufferBytes / kBytesPerSample;
    const int size = av_samples_get_buffer_size(nullptr, Session::kOutputChannels,
                                                frame->nb_samples, AV_SAMPLE_FMT_S16, 1);
    if (size < 0)
        return;
    if (swr_get_out_samples(session->resampler.get(), frame->nb_samples) > kRoom) {
        session->resampler.reset(); // what waits in it would never have room
        return;
    }
    std::uint8_t *out = session->audioBuffer.get();
    const int converted =
        swr_convert(session->resampler.get(), &out, qMin(size, kRoom),
                    const_cast<const std::uint8_t **>(frame->extended_data), frame->nb_samples);
    if (converted < 0)
        return;
    emit receiveAudio(QByteArray(reinterpret_cast<const char *>(out), converted * kBytesPerSample));
}
