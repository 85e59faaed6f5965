// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/device/archive.h"

#include "devicelink/vodrecords.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace vantrasim {

/// What a playback or download is doing.
struct RecordedState
{
    bool open = false;
    bool paused = false;
    double speed = 1;    ///< times the recorded one; 0: as fast as it is read
    qint64 position = 0; ///< stamp of the newest frame handed over, 0 before the first
    qint64 pictures = 0; ///< handed over since it was opened
    qint64 sounds = 0;
};

/// One playback or one download of a channel. Any thread: one reads, others steer.
class RecordedStream
{
public:
    RecordedStream(std::shared_ptr<const Archive> archive, DeviceFaults *faults, FaultRoad road,
                   int channel);
    RecordedStream(const RecordedStream &) = delete;
    RecordedStream &operator=(const RecordedStream &) = delete;

    /// From `begin` (inclusive) to `end`; reading begins at the first key frame from `start` on.
    /// False if it is open.
    bool open(qint64 begin, qint64 end, qint64 start, double speed);
    void close();
    bool isOpen() const;
    // HRetRefused while it is not open.
    HRetError setPaused(bool paused);
    HRetError seek(qint64 time);
    HRetError setSpeed(double speed);
    HRetError describe(VodSdp *sdp) const;

    /// As DeviceBackend::vodReadFrame().
    HRetError read(HFrameHeader *frame, int timeoutMs);
    RecordedState state() const;

private:
    void anchor();
    SteadyClock::time_point due() const;
    HRetError produce();

    const std::shared_ptr<const Archive> m_archive;

    mutable std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    FrameMangler m_mangler;
    std::unique_ptr<ArchiveReader> m_reader; // none: not open
    RecordedState m_state;
    qint64 m_begin = 0;
    Archive::Segment m_described; // of the newest frame handed over
    bool m_anchored = false;
    SteadyClock::time_point m_anchor; // when the frame of m_anchorTime is due
    qint64 m_anchorTime = 0;
    qint64 m_lastTime = 0;
};

} // namespace vantrasim
