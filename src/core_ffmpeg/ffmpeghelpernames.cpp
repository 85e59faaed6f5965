// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// FFmpegHelper: texts, set-up and lists.
#include "core_ffmpeg/ffmpeghelper.h"

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpegerror_p.h"
#include "core_ffmpeg/ffmpegptr.h"

extern "C" {
#include <libavutil/log.h>
#include <libavutil/pixfmt.h>
}

#include <QMutex>
#include <QMutexLocker>
#include <QStringList>

namespace {

/// Opens `device` of the input format `type` with one option that makes it print and fail.
void openToPrint(const QString &type, const char *option, const QByteArray &device,
                 bool withOptions = true)
{
    AVFormatContext *formatCtx = avformat_alloc_context();
    auto *format = av_find_input_format(type.toUtf8().constData());
    AVDictionaryOwner options;
    options.set(option, "true");
    // On failure FFmpeg frees the context that it was given.
    avformat_open_input(&formatCtx, device.constData(), format,
                        withOptions ? options.address() : nullptr);
    avformat_close_input(&formatCtx);
}

} // namespace

QString FFmpegHelper::errorText(int code)
{
    return ffmpegErrorText(code);
}

QString FFmpegHelper::pixelFormatName(int format)
{
#define VANTRA_NAMED(constant)                                                                     \
    case constant:                                                                                 \
        return QStringLiteral(#constant)
    switch (format) {
        VANTRA_NAMED(AV_PIX_FMT_NONE);
        VANTRA_NAMED(AV_PIX_FMT_YUV420P);
        VANTRA_NAMED(AV_PIX_FMT_YUYV422);
        VANTRA_NAMED(AV_PIX_FMT_RGB24);
        VANTRA_NAMED(AV_PIX_FMT_BGR24);
        VANTRA_NAMED(AV_PIX_FMT_RGBA);
        VANTRA_NAMED(AV_PIX_FMT_BGRA);
        VANTRA_NAMED(AV_PIX_FMT_YUV422P);
        VANTRA_NAMED(AV_PIX_FMT_YUVJ420P);
        VANTRA_NAMED(AV_PIX_FMT_YUVJ422P);
        VANTRA_NAMED(AV_PIX_FMT_UYVY422);
        VANTRA_NAMED(AV_PIX_FMT_NV12);
        VANTRA_NAMED(AV_PIX_FMT_NV21);
        VANTRA_NAMED(AV_PIX_FMT_VAAPI);
        VANTRA_NAMED(AV_PIX_FMT_VDPAU);
        VANTRA_NAMED(AV_PIX_FMT_YVYU422);
        VANTRA_NAMED(AV_PIX_FMT_QSV);
        VANTRA_NAMED(AV_PIX_FMT_CUDA);
        VANTRA_NAMED(AV_PIX_FMT_D3D11);
        VANTRA_NAMED(AV_PIX_FMT_YUV420P10LE);
    default:
        return QString::number(format);
    }
#undef VANTRA_NAMED
}

QString FFmpegHelper::versionString()
{
    // The release that the interface is written to, not the one in use: that is intended.
    return QStringLiteral("%1").arg(QLatin1String("4.4.2"));
}

void FFmpegHelper::initLib()
{
    static QMutex mutex;
    static bool done = false;
    QMutexLocker lock(&mutex);
    if (done)
        return;
    avformat_network_init();
    av_log_set_level(AV_LOG_QUIET);
    done = true;
}

void FFmpegHelper::codecLists()
{
    QStringList videoEncoders, audioEncoders, otherEncoders;
    QStringList videoDecoders, audioDecoders, otherDecoders;
    void *state = nullptr;
    while (const AVCodec *codec = av_codec_iterate(&state)) {
        const QString name = QStringLiteral("%1").arg(QLatin1String(codec->name));
        const bool video = codec->type == AVMEDIA_TYPE_VIDEO;
        const bool audio = codec->type == AVMEDIA_TYPE_AUDIO;
        if (av_codec_is_encoder(codec))
            (video ? videoEncoders : audio ? audioEncoders : otherEncoders) << name;
        else if (av_codec_is_decoder(codec))
            (video ? videoDecoders : audio ? audioDecoders : otherDecoders) << name;
    }
    const auto protocols = [](int output) {
        QStringList names;
        void *position = nullptr;
        while (const char *name = avio_enum_protocols(&position, output))
            names << QStringLiteral("%1").arg(QLatin1String(name));
        return names;
    };
    const QStringList inputProtocols = protocols(0);
    const QStringList outputProtocols = protocols(1);
    // The lists are dropped on purpose: a build that wants to see them prints them here.
}

void FFmpegHelper::listDevices(const QString &deviceType)
{
    if (deviceType == QLatin1String("vfwcap"))
        openToPrint(deviceType, "list_devices", "list", false);
    else if (deviceType == QLatin1String("dshow"))
        openToPrint(deviceType, "list_devices", "video=dummy");
    else
        openToPrint(deviceType, "list_devices", "");
}

void FFmpegHelper::listDevices()
{
    listDevices(QStringLiteral("dshow"));
}

void FFmpegHelper::listOptions(const QString &deviceType, const QString &deviceName)
{
    const bool dshow = deviceType == QLatin1String("dshow");
    openToPrint(deviceType, "list_options",
                (dshow ? QStringLiteral("video=%1").arg(deviceName) : deviceName).toUtf8());
}

void FFmpegHelper::listOptions(const QString &deviceName)
{
    listOptions(QStringLiteral("dshow"), deviceName);
}
