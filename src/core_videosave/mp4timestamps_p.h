// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

extern "C" {
#include <libavutil/rational.h>
}

#include <array>
#include <cstddef>
#include <optional>

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

    /// Notes the stamp of a picture that comes as a packet, be it recorded or not. One without a
    /// stamp is one unit later than the one before.
    void newestPicture(qint64 pts);
    /// Time of a packet of a stream, counted from the first one. Sound takes the time of the newest
    /// picture, since both come in the order in which they belong together.
    qint64 packetTime();

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

/// Keeps the stamps of all streams of one file within reach of each other. A file cannot hold a
/// step of many hours, and one stamp far in the future would make the muxer refuse all that follow.
/// So what lies out of reach goes on right after what is written, as do those that follow it there,
/// until stamps are within reach by themselves again. Stamps within reach stay as they are, also
/// those that go backwards: the muxer refuses them one by one. A stream that has paused for longer
/// than its one step may be, while the other went on, catches up in more than one.
class FileTimeline
{
public:
    /// Microseconds: 6 hours, less than 2^31 units of 1/90000 s, the longest step of an MP4 file.
    static constexpr qint64 kReach = qint64(6) * 3600 * 1000000;
    /// Microseconds from what is written to the first stamp out of reach. Less than a picture
    /// lasts: the next one may well have a good stamp.
    static constexpr qint64 kStepOver = 1000;
    /// Microseconds. Stamps beyond this, either way, are none.
    static constexpr qint64 kEnd = qint64(1) << 60;

    /// Of a file: pictures, sound.
    static constexpr std::size_t kMostStreams = 2;

    /// The stamp, put within reach; nothing if it is none. `stream` counts from 0.
    std::optional<qint64> fit(qint64 stamp, AVRational timebase, int stream);
    /// The file has taken a packet of `stream` with this stamp.
    void written(qint64 stamp, AVRational timebase, int stream);
    /// Whether this stamp and those of the next hour are well within reach, and no end of time.
    bool isAmid(qint64 stamp, AVRational timebase) const;

private:
    bool begun = false;
    qint64 newest = 0; ///< microseconds, the latest that the file has
    qint64 shift = 0;  ///< microseconds to take off those out of reach
    /// Microseconds, the latest of each stream; none before its first.
    std::array<std::optional<qint64>, kMostStreams> newestOf;
};

/// `time` in units of `to`, rounded to the nearest. AV_NOPTS_VALUE for a time base that is none.
qint64 rescaleTime(qint64 time, AVRational from, AVRational to);
