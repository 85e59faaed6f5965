// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>

#include <chrono>
#include <string>

// Time of simulated devices. A device stamps frames with the time on its wall clock, written as if
// it were UTC: milliseconds since 1970. Frame n of a stream of `fps` pictures per second is taken
// at n * 1000 / fps, so that the stamp tells the number and the number tells the stamp, and streams
// of the same rate take their pictures at the same moments.
namespace vantrasim {

using SteadyClock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// The time on the wall as a device stamps it.
inline qint64 deviceTime(const QDateTime &time)
{
    const QDateTime local = time.toLocalTime();
    return QDateTime(local.date(), local.time(), Qt::UTC).toMSecsSinceEpoch();
}

/// Now; the same steady clock for the whole process, which takes no part in changes of the
/// system's.
qint64 deviceNow();
/// When deviceNow() will be `time`.
SteadyClock::time_point steadyTimeOf(qint64 time);

inline qint64 stampOfFrame(qint64 frame, int fps)
{
    return frame * 1000 / fps;
}

/// The first frame that is not taken before `time`.
inline qint64 frameAt(qint64 time, int fps)
{
    qint64 frame = time * fps / 1000;
    while (stampOfFrame(frame, fps) < time)
        ++frame;
    return frame;
}

/// "2026-05-31 14:03:07".
std::string clockText(qint64 time);

} // namespace vantrasim
