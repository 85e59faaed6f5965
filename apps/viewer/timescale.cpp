// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "timescale.h"

#include <QtMath>

using namespace recordingtime;

namespace {

/// Distances between labels, and how many parts the strokes make of them.
struct Step
{
    qint64 length;
    int parts;
};
constexpr Step kSteps[] = {
    {secondMs, 5},      {2 * secondMs, 4},  {5 * secondMs, 5}, {10 * secondMs, 5},
    {30 * secondMs, 3}, {minuteMs, 6},      {2 * minuteMs, 4}, {5 * minuteMs, 5},
    {10 * minuteMs, 5}, {30 * minuteMs, 3}, {hourMs, 4},       {2 * hourMs, 4},
    {3 * hourMs, 3},    {6 * hourMs, 6},    {12 * hourMs, 4},  {24 * hourMs, 4}};

constexpr double kFarOutside = 1e6; ///< pixels; what lies further out is nowhere near a widget

Step stepFor(double pixelsPerMs, int labelRoom)
{
    for (const Step &step : kSteps)
        if (step.length * pixelsPerMs >= labelRoom)
            return step;
    return kSteps[std::size(kSteps) - 1];
}

QString labelOf(qint64 time, qint64 step, qint64 end)
{
    if (time == end && time % dayMs == 0)
        return QStringLiteral("24:00"); // of the day that is seen, and not of the next
    return clockText(time).left(step < minuteMs ? 8 : 5);
}

} // namespace

TimeScale::TimeScale(const TimeSpan &whole) : m_whole(whole), m_visible(whole) {}

void TimeScale::setPlace(int left, int width)
{
    m_left = left;
    m_width = qMax(1, width);
}

int TimeScale::xOf(qint64 time) const
{
    if (!m_visible.isValid())
        return m_left;
    const double x = double(time - m_visible.begin) * m_width / m_visible.length();
    return m_left + qRound(qBound(-kFarOutside, x, kFarOutside));
}

qint64 TimeScale::timeAt(int x) const
{
    if (!m_visible.isValid())
        return none;
    const double part = qBound(0.0, double(x - m_left) / m_width, 1.0);
    return m_visible.begin + qRound64(part * m_visible.length());
}

void TimeScale::show(qint64 begin, qint64 length)
{
    length = qBound(qMin(kShortestMs, m_whole.length()), length, m_whole.length());
    begin = qBound(m_whole.begin, begin, m_whole.end - length);
    m_visible = {begin, begin + length};
}

void TimeScale::zoom(double factor, int x)
{
    if (!m_visible.isValid() || factor <= 0)
        return;
    const qint64 held = timeAt(x);
    const double part = double(held - m_visible.begin) / m_visible.length();
    const qint64 length = qBound(qMin(kShortestMs, m_whole.length()),
                                 qRound64(m_visible.length() / factor), m_whole.length());
    show(held - qRound64(part * length), length);
}

void TimeScale::zoomTo(double factor, qint64 time)
{
    if (!m_visible.isValid() || factor <= 0)
        return;
    const qint64 length = qBound(qMin(kShortestMs, m_whole.length()),
                                 qRound64(m_visible.length() / factor), m_whole.length());
    show(time - length / 2, length);
}

void TimeScale::pan(int pixels)
{
    if (!m_visible.isValid())
        return;
    const qint64 distance = qRound64(double(pixels) * m_visible.length() / m_width);
    show(m_visible.begin - distance, m_visible.length());
}

void TimeScale::showAll()
{
    m_visible = m_whole;
}

void TimeScale::reveal(qint64 time)
{
    if (!m_whole.contains(time) || m_visible.contains(time))
        return;
    // Not at the edge: what comes next is to be seen too.
    show(time - m_visible.length() / 10, m_visible.length());
}

QVector<TimeScale::Tick> TimeScale::ticks(int labelRoom) const
{
    QVector<Tick> ticks;
    if (!m_visible.isValid())
        return ticks;
    const Step step = stepFor(double(m_width) / m_visible.length(), labelRoom);
    const qint64 part = step.length / step.parts;
    qint64 time = m_visible.begin / part * part;
    if (time < m_visible.begin)
        time += part;
    for (; time <= m_visible.end; time += part) {
        const bool full = time % step.length == 0;
        ticks.append({xOf(time), full ? labelOf(time, step.length, m_whole.end) : QString()});
    }
    return ticks;
}
