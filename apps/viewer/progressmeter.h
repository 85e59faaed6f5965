// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QPair>
#include <QVector>

/// How far something has come, how fast, and how long it will still take. Times are milliseconds of
/// any clock that does not jump. A value.
class ProgressMeter
{
public:
    /// The rate is that of so long.
    static constexpr qint64 kWindowMs = 5000;

    /// Begins anew. `total`: all that is to be done, in any unit.
    void begin(qint64 now, qint64 total);
    /// So much is done.
    void note(qint64 now, qint64 done);

    /// From 0 to 1.
    double part() const;
    /// Units per millisecond; 0 while it is not known.
    double rate() const;
    /// Milliseconds; -1 while it is not known.
    qint64 left() const;

private:
    qint64 m_total = 0;
    QVector<QPair<qint64, qint64>> m_samples; ///< when, and how much was done
};
