// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

extern "C" {
#include <libavutil/rational.h>
}

/// Time stamps of one recording: what becomes of those that come in. All in units of the incoming
/// time base. Sums wrap around, so that no stamp of a stream can do harm. A plain value without a
/// lock.
class Mp4Timestamps
{
public:
    /// A step of device pictures up to this is regular, a longer one is a gap.
    static constexpr qint64 kLongestStep = 1000;
    /// What is left of a gap once the offset is taken off.
    static constexpr qint64 kGapLeft = 500;
    /// A step of device pictures above this is told.
    static constexpr quint64 kLongestQuietStep = 300;

    /// Before a recording: the next packet is the first one.
    void begin() { started = false; }
    /// After a recording. The newest stamp of packets stays, so that sound that comes before the
    /// first picture of the next recording begins with it: this is intended.
    void end();

    /// Time of a packet of a stream, counted from the first one. Sound takes the time of the newest
    /// picture, since both come in the order in which they belong together. A picture without a
    /// stamp is one unit later than the one before.
    qint64 packetTime(bool video, qint64 pts);

    struct FrameTime
    {
        qint64 time = 0;     ///< not counted from the first one: the muxer sees to that
        bool tell = false;   ///< the step from the picture before is long or backwards
        qint64 previous = 0; ///< stamp of the picture before
    };
    /// Time of a frame of a device. With `join` each gap and each backward jump of pictures becomes
    /// a step of kGapLeft; without, the offset is kept all the same.
    FrameTime frameTime(bool video, qint64 pts, bool join);

    qint64 offset() const { return ptsOffset; }

private:
    void stepTo(qint64 pts, FrameTime *result);

    bool started = false;
    bool awaitsStamp = false; ///< pictures have come, none of them with a stamp
    qint64 startPts = 0;      ///< first stamp
    qint64 currentPts = 0;    ///< newest picture of the packets
    qint64 lastPts = 0;       ///< newest picture of the frames
    qint64 ptsOffset = 0;     ///< length of all gaps of the frames
};

/// `time` in units of `to`, rounded to the nearest. AV_NOPTS_VALUE for a time base that is none.
qint64 rescaleTime(qint64 time, AVRational from, AVRational to);
