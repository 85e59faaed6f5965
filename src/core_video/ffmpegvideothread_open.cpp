// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// FFmpegVideoThread: opening of a source.
#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/livedescription_p.h"
#include "core_video/ffmpegvideothread.h"
#include "core_video/ffmpegvideothread_p.h"
#include "largestpicture_p.h"
#include "log.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/imgutils.h>
}

#include <utility>
#include <vector>

namespace {

constexpr char kLogTag[] = "(ffvdthr)";
constexpr int kProbeTimeoutMs = 500;
constexpr char kNoHardware[] = "none";
constexpr char kRtspFormat[] = "rtsp"; ///< as FFmpeg names it
constexpr int kOutputSampleBits = 16;

constexpr int kPicturesForRate = 8;

/// How much FFmpeg is to read of an RTSP source before it counts as known.
///
/// Where the description tells of every picture stream how its pictures are ordered and how many
/// there are in a second, nothing needs to be measured: one picture for the size of H.264, none for
/// H.265, and no sound. Unless `isDoubtful`: a source may describe other pictures than it sends.
///
/// Otherwise this is about the rate alone. By itself FFmpeg takes twenty pictures or more for it,
/// which at a camera's rate is most of a second before the first picture. Eight tell the usual
/// rates even where the stamps of a camera are rounded to milliseconds. With H.264 it waits for
/// seven anyway, to see how pictures are reordered.
void limitProbing(AVFormatContext *input, bool isDoubtful)
{
    bool hasPictures = false;
    bool allTold = !isDoubtful;
    bool hasH264 = false;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVCodecParameters *parameters = input->streams[i]->codecpar;
        if (parameters->codec_type != AVMEDIA_TYPE_VIDEO)
            continue;
        hasPictures = true;
        hasH264 = hasH264 || parameters->codec_id == AV_CODEC_ID_H264;
        allTold = allTold && tellsOrderAndRate(parameters);
    }
    if (hasPictures && allTold) {
        input->fps_probe_size = 0;
        input->max_ts_probe = 0; // pictures and sound whose first time is waited for
    } else {
        input->fps_probe_size = hasH264 ? 1 : kPicturesForRate;
    }
}

AVPixelFormat pickHwFormat(AVCodecContext *ctx, const AVPixelFormat *formats)
{
    static_assert(sizeof(AVPixelFormat) == sizeof(int), "a list of formats is read as one of ints");
    return static_cast<AVPixelFormat>(
        FFmpegHelper::getHwFormat(ctx, reinterpret_cast<const int *>(formats)));
}

/// As avformat_find_stream_info() does by itself, which decodes as well, but for the size of
/// pictures.
int findStreams(AVFormatContext *input)
{
    std::vector<AVDictionary *> options(input->nb_streams);
    for (AVDictionary *&option : options)
        av_dict_set_int(&option, "max_pixels", kLargestPicture, 0);
    const int result = avformat_find_stream_info(input, options.data());
    for (AVDictionary *&option : options)
        av_dict_free(&option);
    return result;
}

} // namespace

bool FFmpegVideoThread::openVideo()
{
    if (!parseVideoUrl())
        return false;
    if (!FFmpegHelper::checkUrl(getVideoUrl(), kProbeTimeoutMs)) {
        VANTRA_LOG(Logger::Debug) << "check connect failed";
        return false;
    }

    session = std::make_unique<Session>();
    session->options.set("buffer_size", "8192000");
    session->options.set("rtsp_transport", getTransport().toUtf8().constData());
    ffcompat::setSocketTimeout(session->options.address(), "3000000");
    session->options.set("max_delay", "1000000");
    session->options.set("threads", "auto");

    if (!initInput()) {
        VANTRA_LOG(Logger::Debug) << "init input failed";
        return false;
    }
    if (!initVideo()) {
        VANTRA_LOG(Logger::Debug) << "init video failed";
        return false;
    }
    if (!initAudioInput()) {
        VANTRA_LOG(Logger::Debug) << "init audio failed";
        return false;
    }
    if (!initData())
        return false;

    // The time to the first packet counts from here. Without this, a source that hands over nothing
    // while it opens (sound alone) would be timed out by its first read again and again.
    updateTime();
    isOk = true;
    emit receivePlayStart(0);
    emit receiveRenderStart();
    return isOk;
}

bool FFmpegVideoThread::initInput()
{
    AVFormatContext *input = avformat_alloc_context();
    if (!input)
        return false;
    input->interrupt_callback.callback = &avinterruptCallBackFun;
    input->interrupt_callback.opaque = this;

    const QString url = getVideoUrl();
    isOpening = true;
    const QByteArray address = FFmpegHelper::encodeUrl(url).toUtf8();
    int result =
        avformat_open_input(&input, address.constData(), nullptr, session->options.address());
    isOpening = false;
    session->formatCtx.reset(input); // null after a failure
    if (result < 0) {
        VANTRA_LOG(Logger::Error)
            << QStringLiteral("open input err(%1:%2)").arg(url, FFmpegHelper::errorText(result));
        return false;
    }
    if (qstrcmp(input->iformat->name, kRtspFormat) == 0)
        limitProbing(input, std::exchange(isShapeDoubtful, false));
    // Not watched as an open any more: only the socket time-out and a stop end this.
    result = findStreams(input);
    if (result < 0) {
        VANTRA_LOG(Logger::Error)
            << QStringLiteral("find stream err(%1:%2)").arg(url, FFmpegHelper::errorText(result));
        return false;
    }
    return true;
}

bool FFmpegVideoThread::initVideo()
{
    const QString url = getVideoUrl();
    AVFormatContext *input = session->formatCtx.get();
    videoIndex = av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (videoIndex < 0) {
        videoIndex = -1;
        VANTRA_LOG(Logger::Warning) << QStringLiteral("no video stream in %1").arg(url);
        return true; // sound alone is acceptable
    }
    AVStream *stream = input->streams[videoIndex];
    if (rotate != 0)
        setHardware(QLatin1String(kNoHardware));

    const AVCodec *codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("find decoder err(%1)").arg(url);
        return false;
    }
    session->videoCtx.reset(avcodec_alloc_context3(nullptr));
    AVCodecContext *ctx = session->videoCtx.get();
    if (!ctx) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("avcodec allock ctx decoder err(%1)").arg(url);
        return false;
    }
    if (avcodec_parameters_to_context(ctx, stream->codecpar) < 0) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("copy ctx err(%1)").arg(url);
        return false;
    }

    // The receiver decides on its surface now, and may set hardware and mode of this thread; what
    // follows goes by them.
    emit sig_updateCodecRender(codecName(), ctx->width, ctx->height);
    if (!initHardware())
        return false;
    ctx->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_LOW_DELAY;
    ctx->flags2 |= AV_CODEC_FLAG2_FAST;
    ctx->max_pixels = kLargestPicture;
    const int result = avcodec_open2(ctx, codec, nullptr);
    if (result < 0) {
        VANTRA_LOG(Logger::Error)
            << QStringLiteral("avcodec open err(%1:%2)").arg(url, FFmpegHelper::errorText(result));
        return false;
    }

    videoCodecId = ctx->codec_id;
    FFmpegHelper::streamSize(stream, videoWidth, videoHeight);
    if (videoWidth == 0 || videoHeight == 0) {
        VANTRA_LOG(Logger::Error) << QStringLiteral("resolution err(%1:%2*%3)")
                                         .arg(url, QString::number(videoWidth),
                                              QString::number(videoHeight));
        return false;
    }
    frameRate = FFmpegHelper::frameRateOf(stream);
    emit receiveSizeChanged();
    return true;
}

bool FFmpegVideoThread::initHardware()
{
    const QString name = getHardware();
    if (name == QLatin1String(kNoHardware))
        return true;
    const AVHWDeviceType type = av_hwdevice_find_type_by_name(name.toUtf8().constData());
    const int format = FFmpegHelper::hwPixelFormat(type);
    FFmpegHelper::hwPixFmt = format;
    if (format == AV_PIX_FMT_NONE) { // not the shared value, which another thread may have set anew
        VANTRA_LOG(Logger::Error) << "hw type err " << static_cast<int>(type);
        return false;
    }
    session->videoCtx->get_format = pickHwFormat;
    AVBufferRef *device = nullptr;
    const int result = av_hwdevice_ctx_create(&device, type, nullptr, nullptr, 0);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << "create hw ctx err " << FFmpegHelper::errorText(result);
        return false;
    }
    const AVBufferRefPtr owner(device);
    session->videoCtx->hw_device_ctx = av_buffer_ref(device);
    return true;
}

bool FFmpegVideoThread::initAudioInput()
{
    AVFormatContext *input = session->formatCtx.get();
    audioIndex = av_find_best_stream(input, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (audioIndex < 0) {
        audioIndex = -1;
        VANTRA_LOG(Logger::Warning) << QStringLiteral("no audio stream in %1").arg(getVideoUrl());
        return true;
    }
    const AVCodecParameters *parameters = input->streams[audioIndex]->codecpar;
    const AVCodec *codec = avcodec_find_decoder(parameters->codec_id);
    if (!codec) {
        VANTRA_LOG(Logger::Error) << "find audio decoder err "
                                  << static_cast<int>(parameters->codec_id);
        return false;
    }
    session->audioCtx.reset(avcodec_alloc_context3(codec));
    AVCodecContext *ctx = session->audioCtx.get();
    if (!ctx) {
        VANTRA_LOG(Logger::Error) << "alloc audio ctx err";
        return false;
    }
    int result = avcodec_parameters_to_context(ctx, parameters);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << "copy audio ctx err " << FFmpegHelper::errorText(result);
        return false;
    }
    result = avcodec_open2(ctx, codec, nullptr);
    if (result < 0) {
        VANTRA_LOG(Logger::Error) << "audio avcodec open err " << FFmpegHelper::errorText(result);
        return false;
    }

    audioCodecId = codec->id;
    sampleRate = ctx->sample_rate;
    profile = ctx->profile;
    channelCount = Session::kOutputChannels; // whatever the source has
    emit receiveAudioFormat(sampleRate, channelCount, kOutputSampleBits);

    if (!initResampler())
        return false;
    session->audioBuffer.reset(static_cast<std::uint8_t *>(av_malloc(Session::kAudioBufferBytes)));
    return session->audioBuffer != nullptr;
}

/// Makes the resampler for what the decoder gives now; without one on failure.
bool FFmpegVideoThread::initResampler()
{
    const AVCodecContext *ctx = session->audioCtx.get();
    session->resampler.reset(ffcompat::newStereoResampler(ctx, sampleRate));
    session->resamplerForm = {ctx->sample_fmt, ffcompat::channels(ctx), ctx->sample_rate};
    if (session->resampler && swr_init(session->resampler.get()) < 0)
        session->resampler.reset();
    return session->resampler != nullptr;
}

bool FFmpegVideoThread::initData()
{
    session->packet.reset(av_packet_alloc());
    if (!session->packet)
        return false;
    if (audioIndex >= 0) {
        session->audioFrame.reset(av_frame_alloc());
        if (!session->audioFrame)
            return false;
    }
    if (videoIndex >= 0) {
        session->videoFrame.reset(av_frame_alloc());
        session->hwFrame.reset(av_frame_alloc());
        if (!session->videoFrame || !session->hwFrame)
            return false;
    }
    return true;
}
