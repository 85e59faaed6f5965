// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/archive.h"

#include "simulator/scene/counterrow.h"
#include "simulator/scene/sceneid.h"

#include <algorithm>
#include <utility>

namespace vantrasim {

namespace {

constexpr qint64 kHourMs = 3600 * 1000;
constexpr int kDawn = 6;          // o'clock
constexpr int kDusk = 20;         // o'clock
constexpr quint32 kNightPart = 3; // of the light of the day

quint32 darkened(quint32 rgb)
{
    quint32 dark = 0;
    for (int shift = 0; shift < 24; shift += 8)
        dark |= ((rgb >> shift) & 0xFF) / kNightPart << shift;
    return dark;
}

} // namespace

bool Archive::isNight(qint64 time)
{
    const qint64 hour = time / kHourMs % 24;
    return hour < kDawn || hour >= kDusk;
}

Archive::Archive(const DeviceConfig &config, int channel)
{
    const ChannelConfig &place = config.channels[channel];
    m_name = place.name.toStdString();
    m_colour = place.colour;
    m_id = sceneIdOf(config.number, channel, 0);
    m_open = place.archive.isEmpty();
    const StreamConfig main = place.streams.isEmpty() ? StreamConfig() : place.streams[0];
    if (m_open) {
        Segment all;
        all.video = main.video;
        all.audio = main.audio;
        all.mark = 1;
        m_segments.append(all);
    }
    for (const ArchiveSpan &span : place.archive) {
        Segment segment;
        segment.begin = deviceTime(span.begin);
        segment.end = deviceTime(span.end);
        segment.video = span.form.video;
        segment.audio = span.form.audio;
        m_segments.append(segment);
    }
    std::sort(m_segments.begin(), m_segments.end(),
              [](const Segment &a, const Segment &b) { return a.begin < b.begin; });
    for (int i = 0; i < m_segments.size(); ++i) {
        Segment &segment = m_segments[i];
        const bool same = i > 0 && m_segments[i - 1].video == segment.video &&
                          m_segments[i - 1].audio == segment.audio;
        segment.mark = i == 0 ? 1 : m_segments[i - 1].mark + (same ? 0 : 1);
        if (i + 1 < m_segments.size())
            segment.end = std::min(segment.end, m_segments[i + 1].begin);
    }
}

QVector<Archive::Segment> Archive::segments(qint64 now) const
{
    QVector<Segment> segments = m_segments;
    if (m_open)
        segments[0].end = now;
    return segments;
}

std::shared_ptr<Loop> Archive::loop(const VideoFormat &format, qint64 time) const
{
    LoopForm form;
    form.picture = format.picture();
    form.name = m_name;
    form.rgb = isNight(time) ? darkened(m_colour) : m_colour;
    form.id = m_id;
    return Loop::forForm(form);
}

ArchiveReader::ArchiveReader(std::shared_ptr<const Archive> archive, qint64 begin, qint64 end)
    : m_archive(std::move(archive)), m_end(end), m_segments(m_archive->segments(deviceNow()))
{
    seek(begin);
}

void ArchiveReader::seek(qint64 time)
{
    int segment = 0;
    while (segment < m_segments.size() && m_segments[segment].end <= time)
        ++segment;
    enter(segment, time);
}

void ArchiveReader::enter(int segment, qint64 from)
{
    m_segment = segment;
    if (atEnd())
        return;
    const Archive::Segment &here = current();
    m_first = frameAt(here.begin, here.video.fps);
    m_frame = std::max(m_first, frameAt(from, here.video.fps));
    const int gop = here.video.pictureGroup();
    m_frame = m_first + (m_frame - m_first + gop - 1) / gop * gop;
    m_sound = here.audio.codec != 0 ? std::make_shared<const Sound>(here.audio) : nullptr;
    if (m_sound)
        m_packet = (pictureTime() + here.audio.packetMs - 1) / here.audio.packetMs;
    m_loop = nullptr;
    settle();
}

/// Passes on to the next segment when nothing of this one is left.
void ArchiveReader::settle()
{
    if (time() < segmentEnd())
        return;
    if (segmentEnd() >= m_end)
        m_segment = int(m_segments.size());
    else
        enter(m_segment + 1, m_segments.value(m_segment + 1).begin);
}

qint64 ArchiveReader::time() const
{
    return m_sound ? std::min(pictureTime(), soundTime()) : pictureTime();
}

bool ArchiveReader::isPicture() const
{
    return !m_sound || pictureTime() <= soundTime();
}

bool ArchiveReader::isKey() const
{
    return isPicture() && (m_frame - m_first) % current().video.pictureGroup() == 0;
}

bool ArchiveReader::isReady()
{
    if (!isPicture())
        return true;
    if (!m_loop || isKey())
        m_loop = m_archive->loop(current().video, time());
    return m_loop->isComplete(); // or the same frame would not always be the same
}

const Archive::Segment &ArchiveReader::segment() const
{
    static const Archive::Segment none;
    return m_segments.isEmpty() ? none
                                : m_segments[std::min(m_segment, int(m_segments.size()) - 1)];
}

Frame ArchiveReader::take(bool withSets)
{
    const Archive::Segment &here = current();
    const qint64 pts = time();
    Frame frame;
    if (isPicture()) {
        Bytes payload;
        m_loop->compose(int((m_frame - m_first) % m_loop->size()), quint32(m_frame & kCounterMask),
                        clockText(pts), withSets, &payload);
        frame = Frame::video(here.video, isKey(), pts, std::move(payload));
        ++m_frame;
    } else {
        frame = Frame::audio(here.audio, pts, m_sound->packet(m_packet));
        ++m_packet;
    }
    settle();
    return frame;
}

} // namespace vantrasim
