// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "camerafiles.h"

#include <QElapsedTimer>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QVector>

#include <ctime>

/// Counts the pictures of one view, and their rate over the last full second. GUI thread.
class PictureMeter
{
public:
    void countPicture();
    /// To be called a few times each second.
    void sample();
    /// Forgets the rate, not the count: the stream has ended.
    void pause();

    quint64 shown() const { return m_shown; }
    /// Pictures per second; 0 while there are none.
    double rate() const { return m_rate; }

private:
    quint64 m_shown = 0;
    quint64 m_shownAtSample = 0;
    double m_rate = 0;
    QElapsedTimer m_sinceSample;
};

/// Processor time of this process, in percent of one core, over the last full second.
class CpuMeter
{
public:
    void sample();
    double percent() const { return m_percent; }

private:
    double m_percent = 0;
    std::clock_t m_cpuAtSample = 0;
    QElapsedTimer m_sinceSample;
};

/// What a view has done, for the table at the end.
struct ViewSummary
{
    QString name;
    QString state;
    QSize size; ///< pixels; empty if no picture has come
    quint64 pictures = 0;
    double rate = 0;   ///< pictures per second
    CameraFiles files; ///< where its recordings lie
};

/// Columns in line, those of `numbers` (from 0 on) to the right. Each row has as many texts as the
/// first, and becomes a line.
QString textTable(const QVector<QStringList> &rows, const QVector<int> &numbers);

/// A table with one line for each view and one for all, ending in a line break.
QString summaryTable(const QVector<ViewSummary> &views, double cpuPercent);
