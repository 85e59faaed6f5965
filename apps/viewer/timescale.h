// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "recordingtime.h"

#include <QString>
#include <QVector>

/// The geometry of a time line: which stretch of a day is seen, and where on the screen. A value.
class TimeScale
{
public:
    /// As much as can be enlarged: so many milliseconds over the whole width.
    static constexpr qint64 kShortestMs = 10 * recordingtime::secondMs;

    struct Tick
    {
        int x = 0;     ///< pixels
        QString label; ///< empty: a short stroke
    };

    /// All of a stretch, which is never left.
    explicit TimeScale(const TimeSpan &whole = TimeSpan());

    const TimeSpan &whole() const { return m_whole; }
    const TimeSpan &visible() const { return m_visible; }
    bool isZoomed() const { return m_visible != m_whole; }
    /// Where the visible stretch lies: `width` pixels from `left` on.
    void setPlace(int left, int width);

    /// Place of a time, pixels; beyond the place if the time is not visible.
    int xOf(qint64 time) const;
    /// Time of a place, kept within what is visible.
    qint64 timeAt(int x) const;

    /// Shows `factor` times less than now (above 1) or more, and keeps the time at `x` there.
    void zoom(double factor, int x);
    /// Likewise, with `time` in the middle, or as near to it as the whole stretch allows.
    void zoomTo(double factor, qint64 time);
    /// Moves what is seen by so many pixels; to the right, earlier times come into view.
    void pan(int pixels);
    void showAll();
    /// Moves what is seen, if it must be, so that `time` is visible.
    void reveal(qint64 time);

    /// Strokes at full units of time, with labels so far apart that each has `labelRoom` pixels.
    QVector<Tick> ticks(int labelRoom) const;

private:
    void show(qint64 begin, qint64 length);

    TimeSpan m_whole;
    TimeSpan m_visible;
    int m_left = 0;
    int m_width = 1;
};
