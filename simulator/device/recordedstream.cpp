// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/recordedstream.h"

#include <algorithm>

namespace vantrasim {

namespace {

constexpr auto kEncoderPoll = Milliseconds(5); // while the first pictures are being encoded
constexpr int kNoPictures = 98;                // answer where they cannot be encoded
constexpr auto kMostLate = Milliseconds(1000); // what a late reader is given faster than in time
constexpr qint64 kGapMs = 1000;                // more than that between two frames is not played

} // namespace

RecordedStream::RecordedStream(std::shared_ptr<const Archive> archive, DeviceFaults *faults,
                               FaultRoad road, int channel)
    : m_archive(std::move(archive)), m_mangler(faults, road, channel, 0)
{
}

bool RecordedStream::open(qint64 begin, qint64 end, qint64 start, double speed)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_reader)
        return false;
    m_reader = std::make_unique<ArchiveReader>(m_archive, begin, end);
    m_begin = begin;
    if (start > begin)
        m_reader->seek(start);
    m_described = m_reader->segment();
    m_mangler.reset();
    m_state = RecordedState();
    m_state.open = true;
    m_state.speed = speed;
    m_anchored = false;
    m_changed.notify_all();
    return true;
}

void RecordedStream::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reader.reset();
    m_state.open = false;
    m_changed.notify_all();
}

bool RecordedStream::isOpen() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_reader != nullptr;
}

HRetError RecordedStream::setPaused(bool paused)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_reader)
        return HRetRefused;
    m_state.paused = paused;
    m_anchored = false;
    m_changed.notify_all();
    return HRetOk;
}

HRetError RecordedStream::seek(qint64 time)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_reader)
        return HRetRefused;
    m_reader->seek(std::max(time, m_begin));
    m_mangler.reset();
    m_anchored = false;
    m_changed.notify_all();
    return HRetOk;
}

HRetError RecordedStream::setSpeed(double speed)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_reader || speed < 0)
        return HRetRefused;
    m_state.speed = speed;
    m_anchored = false;
    m_changed.notify_all();
    return HRetOk;
}

HRetError RecordedStream::describe(VodSdp *sdp) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_reader)
        return HRetRefused;
    sdp->hasVideo = true;
    sdp->hasAudio = m_described.audio.codec != 0;
    sdp->sdpMark = m_described.mark;
    sdp->video = m_described.video.para();
    sdp->audio = m_described.audio.para();
    return HRetOk;
}

RecordedState RecordedStream::state() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_state;
}

/// The next frame is due now, and all others by their distance from it.
void RecordedStream::anchor()
{
    m_anchored = true;
    m_anchor = SteadyClock::now();
    m_anchorTime = m_lastTime = m_reader->time();
}

SteadyClock::time_point RecordedStream::due() const
{
    const double distance = double(m_reader->time() - m_anchorTime) / m_state.speed;
    return m_anchor + std::chrono::microseconds(qint64(distance * 1000));
}

HRetError RecordedStream::read(HFrameHeader *frame, int timeoutMs)
{
    const auto deadline = SteadyClock::now() + Milliseconds(std::max(timeoutMs, 0));
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        auto wake = deadline;
        if (m_reader && !m_state.paused) {
            Frame ready;
            if (m_mangler.next(&ready)) {
                ready.write(frame);
                m_state.position = ready.header.pts;
                return HRetOk;
            }
            if (m_reader->atEnd())
                return HRetEndOfFile;
            if (!m_reader->isReady()) {
                if (m_reader->isBroken())
                    return HRetError(kNoPictures);
                wake = std::min(deadline, SteadyClock::now() + kEncoderPoll);
            } else {
                if (!m_anchored || m_reader->time() - m_lastTime > kGapMs ||
                    (m_state.speed > 0 && SteadyClock::now() - due() > kMostLate))
                    anchor();
                if (m_state.speed <= 0 || due() <= SteadyClock::now()) {
                    const HRetError answer = produce();
                    if (answer != HRetOk)
                        return answer;
                    continue;
                }
                wake = std::min(deadline, due());
            }
        }
        if (SteadyClock::now() >= deadline)
            return HRetTimeout;
        m_changed.wait_until(lock, wake);
    }
}

HRetError RecordedStream::produce()
{
    const bool picture = m_reader->isPicture();
    const HRetError answer = m_mangler.begin(m_reader->isKey(), !picture);
    if (answer != HRetOk)
        return answer;
    m_lastTime = m_reader->time();
    m_described = m_reader->segment();
    ++(picture ? m_state.pictures : m_state.sounds);
    m_mangler.put(m_reader->take(m_mangler.wantsSets()));
    return HRetOk;
}

} // namespace vantrasim
