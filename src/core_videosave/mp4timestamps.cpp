// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/mp4timestamps_p.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <cstdlib>

namespace {

constexpr AVRational kMicroseconds = {1, 1000000};

qint64 sum(qint64 a, qint64 b)
{
    return static_cast<qint64>(static_cast<quint64>(a) + static_cast<quint64>(b));
}

qint64 difference(qint64 a, qint64 b)
{
    return static_cast<qint64>(static_cast<quint64>(a) - static_cast<quint64>(b));
}

bool isWithinReach(qint64 time, qint64 newest)
{
    const qint64 step = difference(time, newest);
    return step >= -FileTimeline::kReach && step <= FileTimeline::kReach;
}

} // namespace

void Mp4Timestamps::end()
{
    started = false;
    awaitsStamp = false;
    startPts = 0;
    lastPts = 0;
    ptsOffset = 0;
}

void Mp4Timestamps::newestPicture(qint64 pts)
{
    if (pts == AV_NOPTS_VALUE) {
        // Cameras send this as their first stamp. Taken for a number it would spoil all that
        // follow.
        currentPts = sum(currentPts, 1);
        if (!started)
            awaitsStamp = true;
        return;
    }
    if (started && awaitsStamp)
        startPts = difference(pts, sum(difference(currentPts, startPts), 1));
    awaitsStamp = false;
    currentPts = pts;
}

qint64 Mp4Timestamps::packetTime()
{
    if (!started) {
        started = true;
        startPts = currentPts;
    }
    return difference(currentPts, startPts);
}

Mp4Timestamps::FrameTime Mp4Timestamps::frameTime(bool video, qint64 pts, bool join)
{
    if (!started) {
        started = true;
        startPts = pts;
        lastPts = pts;
        ptsOffset = 0;
    }
    FrameTime result;
    if (video)
        stepTo(pts, &result);
    result.time = join ? difference(pts, ptsOffset) : pts;
    return result;
}

void Mp4Timestamps::stepTo(qint64 pts, FrameTime *result)
{
    const qint64 step = difference(pts, lastPts);
    // The step from the first picture to the second is never corrected: this is intended.
    if (lastPts != startPts) {
        const bool isRegular = pts > lastPts && static_cast<quint64>(step) <= kLongestStep;
        if (!isRegular)
            ptsOffset = sum(ptsOffset, difference(step, kGapLeft));
    }
    result->tell = static_cast<quint64>(step) > kLongestQuietStep;
    result->previous = lastPts;
    lastPts = pts;
}

std::optional<qint64> FileTimeline::fit(qint64 stamp, AVRational timebase, int stream)
{
    qint64 time = rescaleTime(stamp, timebase, kMicroseconds);
    if (time < -kEnd || time > kEnd)
        return std::nullopt;
    if (begun && !isWithinReach(time, newest)) {
        if (!isWithinReach(time - shift, newest))
            shift = time - newest - kStepOver;
        time -= shift;
        stamp = difference(stamp, rescaleTime(shift, kMicroseconds, timebase));
    }
    const std::optional<qint64> own = newestOf.at(static_cast<std::size_t>(stream));
    if (own && time > *own && !isWithinReach(time, *own))
        return rescaleTime(*own + kReach, kMicroseconds, timebase);
    return stamp;
}

void FileTimeline::written(qint64 stamp, AVRational timebase, int stream)
{
    const qint64 time = rescaleTime(stamp, timebase, kMicroseconds);
    newest = begun ? std::max(newest, time) : time;
    begun = true;
    std::optional<qint64> &own = newestOf.at(static_cast<std::size_t>(stream));
    own = std::max(own.value_or(time), time);
}

bool FileTimeline::isAmid(qint64 stamp, AVRational timebase) const
{
    const qint64 time = rescaleTime(stamp, timebase, kMicroseconds);
    return begun && time > -kEnd / 2 && time < kEnd / 2 &&
           std::abs(difference(time, newest)) < kReach / 2;
}

qint64 rescaleTime(qint64 time, AVRational from, AVRational to)
{
    return av_rescale_q_rnd(time, from, to,
                            static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}
