// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_ffmpeg/ffmpeghelper.h"

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_videobase/abstractvideothread.h"
#include "uitoolkit/quihelper.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/hwcontext.h>
#include <libavutil/time.h>
}

#include <QEventLoop>
#include <QFile>
#include <QStringList>
#include <QTcpSocket>
#include <QTimer>

#include <limits>

namespace {

constexpr int kUrlFile = 0;
constexpr int kUrlNetwork = 3;
constexpr int kUrlUnknown = 255;
constexpr int kDefaultRtspPort = 554;
constexpr int kPauseAfterRefusalMs = 50;
constexpr int kPortLength = 6; ///< characters behind the last ":" among which a port is looked for
constexpr qint64 kLongestDelayUs = 1000000;
constexpr int kMaxPlausibleFrameRate = 60;
constexpr AVRational kMicroseconds{1, 1000000};

/// The stream of a packet, or null.
const AVStream *streamOf(const AVFormatContext *formatCtx, const AVPacket *packet)
{
    if (!formatCtx || !packet || packet->stream_index < 0 ||
        static_cast<unsigned>(packet->stream_index) >= formatCtx->nb_streams)
        return nullptr;
    return formatCtx->streams[packet->stream_index];
}

/// A rate cut to an integer; 0 for one that is not a number. The smallest integer over -1 is one
/// more than the largest.
int wholeRate(AVRational rate)
{
    constexpr double kMost = std::numeric_limits<int>::max();
    return rate.den == 0 ? 0 : static_cast<int>(qMin(av_q2d(rate), kMost));
}

/// Decoders that want more input, or have ended, are no failures.
bool isFailure(int result)
{
    return result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF;
}

void debugStep(AbstractVideoThread *thread, bool video, const char *step, int result)
{
    if (!thread)
        return;
    thread->debug(video ? QStringLiteral("视频解码") : QStringLiteral("音频解码"),
                  QStringLiteral("步骤: %1 原因: %2")
                      .arg(QLatin1String(step), FFmpegHelper::errorText(result)));
}

} // namespace

std::atomic<int> FFmpegHelper::hwPixFmt{AV_PIX_FMT_NONE};

// --- Addresses ----------------------------------------------------------------------------------

bool FFmpegHelper::checkUrl(const QString &url, int timeout)
{
    if (url.isEmpty()) {
        qCritical("url is empty");
        return false;
    }
    if (timeout < 1)
        return true;

    const QString ip = QUIHelper::urlToIp(url);
    const QString behindColon = url.mid(url.lastIndexOf(QLatin1Char(':')) + 1, kPortLength);
    int port = behindColon.section(QLatin1Char('/'), 0, 0).toInt();
    if (port == 0)
        port = kDefaultRtspPort;

    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    QTcpSocket socket;
    QObject::connect(&timer, SIGNAL(timeout()), &loop, SLOT(quit()));
    QObject::connect(&socket, SIGNAL(connected()), &loop, SLOT(quit()));
    const auto tryIt = [&] {
        socket.connectToHost(ip, static_cast<quint16>(port), QIODevice::ReadWrite,
                             QAbstractSocket::AnyIPProtocol);
    };
    // A refusal does not end the probe, whose whole time is part of the pause between two opens. A
    // server that begins to listen within it is found at once rather than at the next open.
    const auto tryAgainAfterRefusal = [&](QAbstractSocket::SocketState state) {
        if (state == QAbstractSocket::UnconnectedState &&
            socket.error() == QAbstractSocket::ConnectionRefusedError)
            QTimer::singleShot(kPauseAfterRefusalMs, &socket, tryIt);
    };
    QObject::connect(&socket, &QTcpSocket::stateChanged, &socket, tryAgainAfterRefusal);
    timer.start(timeout);
    tryIt();
    loop.exec();
    return socket.state() == QAbstractSocket::ConnectedState;
}

bool FFmpegHelper::checkUrlOfType(AbstractVideoThread *thread, const int &urlType,
                                  const QString &url, int timeout)
{
    QString reason;
    if (url.isEmpty())
        reason = QStringLiteral("地址为空");
    else if (urlType == kUrlNetwork && !checkUrl(url, timeout))
        reason = QStringLiteral("网络地址不可达");
    else if (urlType == kUrlFile && !QFile::exists(url))
        reason = QStringLiteral("文件不存在");
    else if (urlType == kUrlUnknown)
        reason = QStringLiteral("未知地址");
    if (reason.isEmpty())
        return true;
    if (thread)
        thread->debug(QStringLiteral("地址有误"), QStringLiteral("原因: ") + reason);
    return false;
}

QString FFmpegHelper::encodeUrl(const QString &url)
{
    const int at = url.lastIndexOf(QLatin1Char('@'));
    if (at < 1)
        return url;
    QString left = url.left(at);
    left.remove(QStringLiteral("rtsp://"));
    const QStringList parts = left.split(QLatin1Char(':'));
    const auto encoded = [&parts](int index) {
        return QString::fromLatin1(parts.value(index).toUtf8().toPercentEncoding());
    };
    return QStringLiteral("rtsp://") + encoded(0) + QLatin1Char(':') + encoded(1) +
           QLatin1Char('@') + url.mid(at + 1);
}

QString FFmpegHelper::encodeUrlOfType(const int &urlType, const QString &url)
{
    return urlType == kUrlNetwork ? encodeUrl(url) : url;
}

// --- Decoding -----------------------------------------------------------------------------------

int FFmpegHelper::decodeFrame(AbstractVideoThread *thread, AVCodecContext *ctx, AVPacket *packet,
                              AVFrame *frame, bool video)
{
    if (!ctx || !frame)
        return AVERROR(EINVAL);
    int result = avcodec_send_packet(ctx, packet);
    if (result < 0) {
        if (isFailure(result))
            debugStep(thread, video, "avcodec_send_packet", result);
        // Packets that hold more than one frame have filled the decoder. One frame is given up for
        // each packet that finds no room: without it none would ever find any again.
        if (result == AVERROR(EAGAIN) && avcodec_receive_frame(ctx, frame) >= 0)
            av_frame_unref(frame);
        return result;
    }
    // One receive for each send: a second picture of the same packet waits for the next one.
    result = avcodec_receive_frame(ctx, frame);
    if (isFailure(result))
        debugStep(thread, video, "avcodec_receive_frame", result);
    return result;
}

int FFmpegHelper::copyParameters(AVCodecContext *ctx, AVStream *stream, bool fromContext)
{
    if (!ctx || !stream)
        return AVERROR(EINVAL);
    return fromContext ? avcodec_parameters_from_context(stream->codecpar, ctx)
                       : avcodec_parameters_to_context(ctx, stream->codecpar);
}

AVPacket *FFmpegHelper::newPacket(AVPacket *source)
{
    return source ? av_packet_clone(source) : av_packet_alloc();
}

void FFmpegHelper::freeFrame(AVFrame *frame)
{
    av_frame_free(&frame);
}

void FFmpegHelper::freePacket(AVPacket *packet)
{
    av_packet_free(&packet);
}

// --- Time ---------------------------------------------------------------------------------------

qint64 FFmpegHelper::packetTime(AVPacket *packet)
{
    if (!packet)
        return 0;
    if (packet->dts != AV_NOPTS_VALUE)
        return packet->dts;
    return packet->pts != AV_NOPTS_VALUE ? packet->pts : 0;
}

qint64 FFmpegHelper::ptsUs(AVFormatContext *formatCtx, AVPacket *packet, qint64 startTime)
{
    const AVStream *stream = streamOf(formatCtx, packet);
    if (!stream)
        return 0;
    // A time stamp of a hostile stream may be of any size.
    const qint64 time = av_rescale_q(packetTime(packet), stream->time_base, kMicroseconds);
    return av_sat_sub64(av_sat_add64(time, startTime), av_gettime());
}

void FFmpegHelper::delayTime(AVFormatContext *formatCtx, AVPacket *packet, qint64 startTime)
{
    const qint64 wait = ptsUs(formatCtx, packet, startTime);
    // A longer wait is a jump of the time stamps; it is skipped on purpose.
    if (wait > 0 && wait < kLongestDelayUs)
        av_usleep(static_cast<unsigned>(wait));
}

double FFmpegHelper::ptsSeconds(AVFormatContext *formatCtx, AVPacket *packet)
{
    const AVStream *stream = streamOf(formatCtx, packet);
    return stream ? av_q2d(stream->time_base) * static_cast<double>(packet->duration) : 0.0;
}

double FFmpegHelper::packetUs(AVFormatContext *formatCtx, AVPacket *packet)
{
    const AVStream *stream = streamOf(formatCtx, packet);
    return stream ? static_cast<double>(packetTime(packet)) * av_q2d(stream->time_base) * 1e6 : 0.0;
}

// --- Streams ------------------------------------------------------------------------------------

int FFmpegHelper::codecIdOf(AVStream *stream)
{
    return stream ? stream->codecpar->codec_id : AV_CODEC_ID_NONE;
}

void FFmpegHelper::streamSize(AVStream *stream, int &width, int &height)
{
    width = stream ? stream->codecpar->width : 0;
    height = stream ? stream->codecpar->height : 0;
}

int FFmpegHelper::frameRateOf(AVStream *stream)
{
    if (!stream)
        return 0;
    const int rate = wholeRate(stream->avg_frame_rate);
    return rate >= 1 && rate <= kMaxPlausibleFrameRate ? rate : wholeRate(stream->r_frame_rate);
}

int FFmpegHelper::defaultBitRate(int width, int height)
{
    struct Row
    {
        qint64 areaBelow;
        int bitRate;
    };
    constexpr Row kRows[] = {
        {230401, 400000},   {518401, 900000},   {921601, 1500000},
        {2073601, 3000000}, {3686401, 3500000}, {8294401, 6000000},
    };
    const qint64 area = static_cast<qint64>(width) * height;
    for (const Row &row : kRows) {
        if (area < row.areaBelow)
            return row.bitRate;
    }
    return kRows[0].bitRate; // above 4K the first value stands again, on purpose
}

// --- Hardware -----------------------------------------------------------------------------------

int FFmpegHelper::hwPixelFormat(int deviceType)
{
    // By name: the numbers of these formats moved by two between FFmpeg 4 and 5 (VAAPI was 46 and
    // is 44), and a decoder offers those of the library in use.
    switch (deviceType) {
    case AV_HWDEVICE_TYPE_VDPAU:
        return AV_PIX_FMT_VDPAU;
    case AV_HWDEVICE_TYPE_VAAPI:
        return AV_PIX_FMT_VAAPI;
    case AV_HWDEVICE_TYPE_DXVA2:
        return AV_PIX_FMT_DXVA2_VLD;
    case AV_HWDEVICE_TYPE_VIDEOTOOLBOX:
        return AV_PIX_FMT_VIDEOTOOLBOX;
    case AV_HWDEVICE_TYPE_D3D11VA:
        return AV_PIX_FMT_D3D11;
    default:
        return AV_PIX_FMT_NONE;
    }
}

int FFmpegHelper::getHwFormat(AVCodecContext *ctx, const int *formats)
{
    int wanted = hwPixFmt;
    // Threads may decode with different hardware at once: a context with a device takes the form
    // of that one, not of whichever thread came last.
    if (ctx && ctx->hw_device_ctx) {
        const auto *device = reinterpret_cast<const AVHWDeviceContext *>(ctx->hw_device_ctx->data);
        wanted = hwPixelFormat(device->type);
    }
    for (const int *format = formats; format && *format != AV_PIX_FMT_NONE; ++format) {
        if (*format == wanted)
            return wanted;
    }
    return AV_PIX_FMT_NONE;
}
