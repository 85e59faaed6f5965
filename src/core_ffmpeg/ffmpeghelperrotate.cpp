// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// FFmpegHelper: turning of a picture.
#include "core_ffmpeg/ffmpeghelper.h"

#include "core_ffmpeg/ffmpegcompat.h"

#include <QtGlobal>

#include <cstring>

namespace {

constexpr int kPlanes = 3;

struct Plane
{
    const quint8 *source;
    int stride;
    quint8 *target;
    int width;
    int height;
};

void copyTurned(int angle, const Plane &plane)
{
    const auto row = [&plane](int y) {
        return plane.source + static_cast<qptrdiff>(y) * plane.stride;
    };
    quint8 *out = plane.target;
    switch (angle) {
    case 90:
        for (int x = 0; x < plane.width; ++x)
            for (int y = plane.height - 1; y >= 0; --y)
                *out++ = row(y)[x];
        break;
    case 270:
        for (int x = plane.width - 1; x >= 0; --x)
            for (int y = 0; y < plane.height; ++y)
                *out++ = row(y)[x];
        break;
    case 180: // a flip from top to bottom, not a turn; that is intended
        for (int y = plane.height - 1; y >= 0; --y, out += plane.width)
            std::memcpy(out, row(y), static_cast<size_t>(plane.width));
        break;
    default:
        break;
    }
}

/// Bytes from `data` to the end of the reference-counted buffer that holds it; a plane in memory of
/// the caller's own has no bound that could be known.
qint64 roomAt(const AVFrame *frame, const quint8 *data)
{
    if (!frame->buf[0])
        return INT64_MAX;
    for (const AVBufferRef *buffer : frame->buf) {
        if (buffer && data >= buffer->data && data <= buffer->data + buffer->size)
            return buffer->data + buffer->size - data;
    }
    return 0;
}

bool isUsable(const AVFrame *target, const Plane &plane)
{
    const qint64 samples = static_cast<qint64>(plane.width) * plane.height;
    return plane.source && plane.target && qAbs(plane.stride) >= plane.width &&
           roomAt(target, plane.target) >= samples;
}

} // namespace

void FFmpegHelper::rotateFrame(int angle, const AVFrame *source, AVFrame *target)
{
    if (!source || !target || source->width < 0 || source->height < 0)
        return;
    const int width = source->width;
    const int height = source->height;
    for (int i = 0; i < kPlanes; ++i) {
        const bool luma = i == 0;
        const Plane plane{source->data[i], source->linesize[i], target->data[i],
                          luma ? width : width / 2, luma ? height : height / 2};
        if (isUsable(target, plane))
            copyTurned(angle, plane);
    }
    const bool upright = angle == 90 || angle == 270;
    target->width = upright ? height : width;
    target->height = upright ? width : height;
    target->linesize[0] = target->width;
    target->linesize[1] = target->linesize[2] = upright ? height / 2 : width / 2;
    target->pts = source->pts;
    target->pkt_dts = source->pkt_dts;
    target->format = source->format;
    ffcompat::setKeyFrame(target, ffcompat::isKeyFrame(source));
}
