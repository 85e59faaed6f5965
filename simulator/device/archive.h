// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/loop.h"
#include "simulator/device/frame.h"
#include "simulator/device/mediaclock.h"
#include "simulator/device/sound.h"

#include <QVector>

#include <memory>

namespace vantrasim {

/// What one channel of a simulated recorder has on its disk. Nothing lies there: each frame follows
/// from its time. The scene is that of the main stream, dark at night; counter and clock are those
/// of the time recorded. Constant: any thread.
class Archive
{
public:
    struct Segment
    {
        qint64 begin = 0; ///< ms, device time
        qint64 end = 0;   ///< not part of it any more; of an open one the time of now
        VideoFormat video;
        AudioFormat audio;
        qint32 mark = 0; ///< changes from one segment to the next where the form does
    };

    Archive(const DeviceConfig &config, int channel);

    /// In order, without overlap. What is still being recorded ends at `now`.
    QVector<Segment> segments(qint64 now) const;
    /// The loop with the pictures of that moment.
    std::shared_ptr<Loop> loop(const VideoFormat &format, qint64 time) const;

    static bool isNight(qint64 time);

private:
    QVector<Segment> m_segments;
    bool m_open = false; // everything is recorded
    std::string m_name;
    quint32 m_colour = 0;
    quint32 m_id = 0;
};

/// Reads frames of an archive in their order, pictures before sound of the same moment. It begins,
/// and goes on after a gap or a jump, with a key frame. Used by one thread at a time.
class ArchiveReader
{
public:
    /// `end`: frames of that time and later are not part of what is read.
    ArchiveReader(std::shared_ptr<const Archive> archive, qint64 begin, qint64 end);

    /// Goes on with the first key frame that is not before `time`.
    void seek(qint64 time);
    bool atEnd() const { return m_segment >= m_segments.size(); }
    /// Of the next frame. Not at the end.
    qint64 time() const;
    bool isPicture() const;
    bool isKey() const;
    /// Whether its picture can be made: the first ones have to be encoded.
    bool isReady();
    bool isBroken() const { return m_loop && m_loop->isBroken(); }
    /// Of the next frame; at the end, of the last one.
    const Archive::Segment &segment() const;
    /// Makes the next frame and passes it. Only when it is ready.
    Frame take(bool withSets);

private:
    void enter(int segment, qint64 from);
    void settle();
    qint64 pictureTime() const { return stampOfFrame(m_frame, current().video.fps); }
    qint64 soundTime() const { return m_packet * current().audio.packetMs; }
    qint64 segmentEnd() const { return std::min(current().end, m_end); }
    const Archive::Segment &current() const { return m_segments[m_segment]; }

    const std::shared_ptr<const Archive> m_archive;
    const qint64 m_end;
    const QVector<Archive::Segment> m_segments;
    int m_segment = 0;
    qint64 m_first = 0;  // number of the segment's first picture
    qint64 m_frame = 0;  // number of the next picture
    qint64 m_packet = 0; // number of the next sound
    std::shared_ptr<Loop> m_loop;
    std::shared_ptr<const Sound> m_sound;
};

} // namespace vantrasim
