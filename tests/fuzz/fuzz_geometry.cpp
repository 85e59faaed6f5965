// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Plain functions of numbers: where pictures and banners go, what digital zoom shows, pictures
// turned, and the small rules of FFmpegHelper. The first byte of an input chooses, the others are
// the arguments as they lie in memory.
//
// What must hold besides memory: what is told about each function below.
#include "fuzzinput.h"

#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "core_video/keypicture_p.h"
#include "core_videobase/digitalzoom.h"
#include "core_videobase/picturegeometry_p.h"
#include "core_videobase/videowidgethelpers.h"
#include "core_vod/recordedtime_p.h"
#include "devicelink/devicerules.h"

#include <algorithm>
#include <vector>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/mem.h>
}

using vantrafuzz::Input;
using vantrafuzz::require;

namespace {

enum Kind { Places, ZoomSteps, Turn, Rules, KeyPicture, Scale, Kinds };

constexpr int kLargestSide = 300;

QSize takeSize(Input &input)
{
    const auto width = input.take<qint32>();
    return QSize(width, input.take<qint32>());
}

QRect takeRect(Input &input)
{
    const QSize a = takeSize(input);
    const QSize b = takeSize(input);
    return QRect(QPoint(a.width(), a.height()), QPoint(b.width(), b.height()));
}

void checkPlaces(Input &input)
{
    const QSize size = takeSize(input);
    const QRect rect = takeRect(input);
    const int border = input.take<qint32>();
    const auto mode = static_cast<ScaleMode>(input.take<qint32>());
    const QRect place = getCenterRect(size, rect, border, mode);
    require(place.left() % 2 != 0 && place.top() % 2 != 0, "a picture stands at odd places");

    const int position = input.take<qint32>();
    const auto banner = bannerRect(position, size, border, rect.left());
    require(banner.has_value() == (position >= 0 && position <= 3),
            "a banner has one of four places");
}

void checkZoom(Input &input)
{
    DigitalZoom zoom;
    zoom.on = true;
    zoom.sourceRect = QRectF(0, 0, input.take<qint32>(), input.take<qint32>());
    zoom.zoomRect = zoom.sourceRect;
    while (!input.isEmpty()) {
        const auto step = input.take<std::uint8_t>();
        const QSize size = takeSize(input);
        const QPoint at(input.take<qint32>(), input.take<qint32>());
        if (step & 1)
            zoom.press(at);
        if (step & 2)
            zoom.drag(QPoint(size.width(), size.height()), size);
        if (step & 4)
            zoom.wheel(at.x());
        if (step & 8)
            zoom.release();
        const QRectF part = zoom.visiblePart();
        require(zoom.sourceRect.isEmpty() || (part.width() > 0 && part.height() > 0),
                "some of a picture is shown");
    }
}

/// A picture whose planes end where their last line does.
struct Planes
{
    Planes(int width, int height, const int *padding)
    {
        frame.reset(av_frame_alloc());
        frame->format = AV_PIX_FMT_YUV420P;
        frame->width = width;
        frame->height = height;
        for (int i = 0; i < 3; ++i) {
            const int line = (i == 0 ? width : width / 2) + padding[i];
            const int lines = i == 0 ? height : height / 2;
            planes[i].resize(static_cast<std::size_t>(line) * lines, std::uint8_t(i));
            frame->data[i] = planes[i].data();
            frame->linesize[i] = line;
        }
    }

    std::vector<std::uint8_t> planes[3];
    AVFramePtr frame;
};

void checkTurn(Input &input)
{
    const int width = input.take<std::uint16_t>() % kLargestSide;
    const int height = input.take<std::uint16_t>() % kLargestSide;
    int padding[3];
    for (int &bytes : padding)
        bytes = input.take<std::uint8_t>() % 40;
    const int angle = input.take<qint16>() % 5 * 90;
    Planes source(width, height, padding);
    for (auto &plane : source.planes) {
        for (auto &sample : plane)
            sample = input.take<std::uint8_t>();
    }
    const int none[3] = {};
    Planes target(width, height, none);
    // A reference-counted target that may be too small.
    if (input.take<std::uint8_t>() % 2) {
        target.frame.reset(av_frame_alloc());
        target.frame->format = AV_PIX_FMT_YUV420P;
        target.frame->width = 1 + input.take<std::uint8_t>();
        target.frame->height = 1 + input.take<std::uint8_t>();
        if (av_frame_get_buffer(target.frame.get(), 1) < 0)
            return;
    }
    FFmpegHelper::rotateFrame(angle, source.frame.get(), target.frame.get());
    const bool upright = angle == 90 || angle == 270;
    require(target.frame->width == (upright ? height : width) &&
                target.frame->height == (upright ? width : height),
            "a quarter turn exchanges width and height");
}

void checkRules(Input &input)
{
    const int width = input.take<qint32>();
    const int height = input.take<qint32>();
    const int rate = FFmpegHelper::defaultBitRate(width, height);
    require(rate >= 400000 && rate <= 6000000, "a bit rate is one of the table");

    const int device = input.take<qint32>();
    const int format = FFmpegHelper::hwPixelFormat(device);
    FFmpegHelper::hwPixFmt = format;
    const int formats[] = {input.take<qint16>(), format, input.take<qint16>(), -1};
    const int picked = FFmpegHelper::getHwFormat(nullptr, formats);
    require(picked == -1 || picked == format, "no other format is picked");
    FFmpegHelper::pixelFormatName(width);
    FFmpegHelper::errorText(height);

    const auto from = input.take<qint64>();
    const auto to = input.take<qint64>();
    const auto step = input.take<qint32>();
    require(!(isLaterBy(to, from, step) && isLaterBy(from, to, step)) || step < 0,
            "one of two stamps is the later one");
    wholeSpeed(input.take<double>());
    require(flatStreamIndex(width, height, device) >= -1 || width < 0 || height < 0 || device < 0,
            "streams are numbered from 0");

    const AVFormatInputPtr context(avformat_alloc_context());
    AVStream *stream = avformat_new_stream(context.get(), nullptr);
    stream->time_base = {static_cast<int>(step), device};
    stream->avg_frame_rate = {width, height};
    stream->r_frame_rate = {height, width};
    FFmpegHelper::frameRateOf(stream);
    if (stream->time_base.num <= 0 || stream->time_base.den <= 0)
        stream->time_base = {1, 90000};
    const AVPacketPtr packet(av_packet_alloc());
    packet->pts = from;
    packet->dts = to;
    packet->duration = from;
    packet->stream_index = input.take<qint8>() % 3;
    FFmpegHelper::ptsUs(context.get(), packet.get(), from);
    FFmpegHelper::packetUs(context.get(), packet.get());
    FFmpegHelper::ptsSeconds(context.get(), packet.get());
}

void checkKeyPicture(Input &input)
{
    const FFmpegPtr<AVCodecParameters, &avcodec_parameters_free> description(
        avcodec_parameters_alloc());
    description->codec_id = input.take<std::uint8_t>() % 2 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    std::size_t size = 0;
    const std::uint8_t *sets = input.takeBytes(input.take<std::uint16_t>(), &size);
    description->extradata =
        static_cast<std::uint8_t *>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    description->extradata_size = static_cast<int>(size);
    std::copy(sets, sets + size, description->extradata);

    std::size_t pictureSize = 0;
    const std::uint8_t *picture = input.takeBytes(65535, &pictureSize);
    const AVPacketPtr packet(av_packet_alloc());
    require(av_new_packet(packet.get(), static_cast<int>(pictureSize)) == 0, "there is memory");
    std::copy(picture, picture + pictureSize, packet->data);
    const AVPacketPtr whole = withParameterSets(packet.get(), description.get());
    if (!whole)
        return;
    require(static_cast<std::size_t>(whole->size) == size + pictureSize &&
                std::equal(sets, sets + size, whole->data) &&
                std::equal(picture, picture + pictureSize, whole->data + size),
            "a completed picture is the sets and the picture");
}

void checkScale(Input &input)
{
    const int width = input.take<std::uint16_t>() % kLargestSide;
    const int height = input.take<std::uint16_t>() % kLargestSide;
    const auto format = input.take<std::uint8_t>() % unsigned(QImage::NImageFormats);
    QImage image(width, height, static_cast<QImage::Format>(format));
    if (!image.isNull())
        image.fill(0u);
    const QSize size(input.take<qint16>() % 2000, input.take<qint16>() % 2000);
    scaleImage(image, size, static_cast<ScaleMode>(input.take<std::uint8_t>() % 4),
               input.take<std::uint8_t>() % 2);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    switch (input.take<std::uint8_t>() % Kinds) {
    case Places:
        checkPlaces(input);
        break;
    case ZoomSteps:
        checkZoom(input);
        break;
    case Turn:
        checkTurn(input);
        break;
    case Rules:
        checkRules(input);
        break;
    case KeyPicture:
        checkKeyPicture(input);
        break;
    default:
        checkScale(input);
        break;
    }
    return 0;
}
