// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>
#include <QVector>

/// Time of recordings: milliseconds since 1970 of the wall clock of the device, written as if that
/// were UTC. Frames bear it, and every day has 24 hours of it, also where clocks are changed.
namespace recordingtime {

constexpr qint64 secondMs = 1000;
constexpr qint64 minuteMs = 60 * secondMs;
constexpr qint64 hourMs = 60 * minuteMs;
constexpr qint64 dayMs = 24 * hourMs;
constexpr qint64 none = -1; ///< no time

/// Midnight at which that day begins.
qint64 of(const QDate &day);
/// What the wall clock shows at that moment.
qint64 of(const QDateTime &time);
qint64 now();
QDate dayOf(qint64 time);
/// As a device is asked for it: the same reading of the clock, as local time. Where clocks jump
/// forward there is no such local time; then the first one after the jump.
QDateTime forDevice(qint64 time);

/// "14:03:07", with thousandths "14:03:07.040".
QString clockText(qint64 time, bool thousandths = false);
/// "2026-11-21 14:03:07", likewise.
QString text(qint64 time, bool thousandths = false);

} // namespace recordingtime

/// A stretch of time of recordings.
struct TimeSpan
{
    qint64 begin = recordingtime::none;
    qint64 end = recordingtime::none; ///< not part of it any more

    bool isValid() const { return begin >= 0 && end > begin; }
    qint64 length() const { return isValid() ? end - begin : 0; }
    bool contains(qint64 time) const { return isValid() && time >= begin && time < end; }
    /// What both have in common; not valid if that is nothing.
    TimeSpan common(const TimeSpan &other) const;
};
inline bool operator==(const TimeSpan &a, const TimeSpan &b)
{
    return a.begin == b.begin && a.end == b.end;
}
inline bool operator!=(const TimeSpan &a, const TimeSpan &b)
{
    return !(a == b);
}

/// Spans in order; those that touch or overlap become one, and what is not valid is left out.
QVector<TimeSpan> joined(QVector<TimeSpan> spans);
/// How much of `span` joined spans cover, milliseconds.
qint64 covered(const QVector<TimeSpan> &spans, const TimeSpan &span);
