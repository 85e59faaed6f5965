// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "recordingtime.h"

#include <algorithm>

namespace recordingtime {

qint64 of(const QDate &day)
{
    return QDateTime(day, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
}

qint64 of(const QDateTime &time)
{
    const QDateTime local = time.toLocalTime();
    return QDateTime(local.date(), local.time(), Qt::UTC).toMSecsSinceEpoch();
}

qint64 now()
{
    return of(QDateTime::currentDateTime());
}

QDate dayOf(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC).date();
}

QDateTime forDevice(qint64 time)
{
    const QDateTime reading = QDateTime::fromMSecsSinceEpoch(time, Qt::UTC);
    QDateTime local(reading.date(), reading.time(), Qt::LocalTime);
    // Clocks jump by an hour at most, somewhere on the full or half hour.
    for (int minutes = 0; !local.isValid() && minutes < 120; minutes += 30) {
        const QTime step(reading.time().hour(), reading.time().minute() < 30 ? 0 : 30);
        const QDateTime later = QDateTime(reading.date(), step, Qt::UTC).addSecs(60 * minutes);
        local = QDateTime(later.date(), later.time(), Qt::LocalTime);
    }
    return local;
}

QString clockText(qint64 time, bool thousandths)
{
    return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC)
        .toString(thousandths ? QStringLiteral("HH:mm:ss.zzz") : QStringLiteral("HH:mm:ss"));
}

QString text(qint64 time, bool thousandths)
{
    return dayOf(time).toString(QStringLiteral("yyyy-MM-dd ")) + clockText(time, thousandths);
}

} // namespace recordingtime

TimeSpan TimeSpan::common(const TimeSpan &other) const
{
    const TimeSpan both{qMax(begin, other.begin), qMin(end, other.end)};
    return isValid() && other.isValid() && both.isValid() ? both : TimeSpan();
}

QVector<TimeSpan> joined(QVector<TimeSpan> spans)
{
    std::sort(spans.begin(), spans.end(),
              [](const TimeSpan &a, const TimeSpan &b) { return a.begin < b.begin; });
    QVector<TimeSpan> result;
    for (const TimeSpan &span : qAsConst(spans)) {
        if (!span.isValid())
            continue;
        if (!result.isEmpty() && span.begin <= result.last().end)
            result.last().end = qMax(result.last().end, span.end);
        else
            result.append(span);
    }
    return result;
}

qint64 covered(const QVector<TimeSpan> &spans, const TimeSpan &span)
{
    qint64 sum = 0;
    for (const TimeSpan &one : spans)
        sum += one.common(span).length();
    return sum;
}
