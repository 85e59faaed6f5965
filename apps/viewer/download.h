// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "camerafiles.h"
#include "device.h"
#include "progressmeter.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>

class DownloadThread;

enum class DownloadState {
    Waiting, ///< for its turn
    Running,
    Stopping, ///< cancelled; the last file is being ended
    Done,
    Failed,
    Cancelled,
};

/// A span of what a channel has recorded, to be copied into files. It can be started again and
/// again; a thread of its own does the work of each day. GUI thread; nothing here waits.
///
/// Day by day, since the library names files by the day that was asked for and the time of day in
/// the recording: of a longer span the file of one day would take the place of that of another.
class Download final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Download)

public:
    Download(const Camera &camera, const TimeSpan &span, bool withSound, const CameraFiles &files,
             QObject *parent = nullptr);
    /// Waits for a thread that still runs.
    ~Download() override;

    const Camera &camera() const { return m_camera; }
    const TimeSpan &span() const { return m_span; }
    const CameraFiles &files() const { return m_files; }
    DownloadState state() const { return m_state; }
    /// Whether the thread runs, also one that is about to end.
    bool isActive() const { return m_thread != nullptr; }
    /// Whether both would be one download to the device, or write into the same folder.
    bool isInTheWayOf(const Download &other) const;

    void start();
    /// Ends it; the files are there, with their names, when the state is Cancelled.
    void cancel();
    /// Waits for its turn again. Nothing while it is active.
    void renew();

    /// From 0 to 1.
    double part() const;
    /// Times as fast as recorded; 0: not known.
    double rate() const { return m_meter.rate(); }
    /// Milliseconds; -1: not known.
    qint64 left() const { return m_meter.left(); }
    /// Why it has failed, in plain words.
    QString problem() const { return m_problem; }
    /// What it has written, also if it was cancelled or has failed.
    QStringList results() const { return m_results; }

signals:
    void changed();
    /// The thread has ended, or could not be started.
    void ended();

private:
    QVector<TimeSpan> days() const;
    void startDay();
    void endDay();
    QHash<QString, QDateTime> filesThere() const;
    qint64 recordedUntil(qint64 time) const;
    void setState(DownloadState state);
    void conclude();
    QString problemOf(const DownloadThread &thread) const;

    const Camera m_camera;
    const TimeSpan m_span;
    const bool m_withSound;
    const CameraFiles m_files;
    DownloadState m_state = DownloadState::Waiting;
    DownloadThread *m_thread = nullptr;
    QVector<TimeSpan> m_recorded; ///< within the span; empty: not known
    QVector<TimeSpan> m_days;     ///< still to be copied; the first is under way
    QHash<QString, QDateTime> m_filesBefore;
    QStringList m_results;
    QString m_problem;
    ProgressMeter m_meter;
    QElapsedTimer m_clock;
    // Of the day that is under way.
    double m_partBefore = 0;  ///< of the whole
    bool m_hasBegun = false;  ///< the device gives it
    bool m_isWhole = false;   ///< it came to its end
    bool m_isRefused = false; ///< the device takes no further download
    bool m_hasFailed = false;
};
