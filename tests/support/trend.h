// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVector>

#include <cmath>
#include <limits>

namespace vantratest {

/// One quantity, measured again and again while something runs.
struct Series
{
    /// Where nothing could be measured.
    static constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();
    /// Of a series that is only looked at.
    static constexpr double kNoBound = std::numeric_limits<double>::infinity();

    QString name;
    double bound = kNoBound; ///< what it may rise by in the second half, in its unit
    QVector<double> values;  ///< one per moment

    bool isJudged() const { return std::isfinite(bound); }
};

/// Quantities of one unit, which are drawn into one diagram.
struct Diagram
{
    QString title;
    QString unit;
    QVector<Series> series;
};

/// How something that runs for long uses the machine over time, to see whether anything grows.
///
/// Growth is judged by the second half alone, since caches and pools fill in the first, and by the
/// median of the slopes between all pairs of points (Theil and Sen), which single outliers, and
/// work that comes and goes, do not move.
struct Trend
{
    QVector<double> seconds; ///< when; rising
    QVector<Diagram> diagrams;

    /// What a series has risen by in the second half, by its slope there; 0 for less than two
    /// points.
    double rise(const Series &series) const;
    /// What has risen by more than its bound; empty if nothing.
    QString faults() const;
    /// Draws all diagrams above each other, with axes, legends and the slopes. False, if the file
    /// cannot be written.
    bool writeSvg(const QString &file, const QString &title) const;
    /// The same as a table, separated by commas.
    bool writeTable(const QString &file) const;

    /// Index of the first point of the second half.
    int half() const;
};

/// The slope of a line through points, in units of y for each of x; 0 for less than two. Points
/// that are not a number are left out.
double theilSenSlope(const QVector<double> &x, const QVector<double> &y);

} // namespace vantratest
