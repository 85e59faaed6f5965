// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "camerafiles.h"
#include "filesize.h"
#include "recordingwatch.h"

#include <QElapsedTimer>

class AbstractVideoThread;
class AbstractVideoWidget;
class RecordingMark;
class QWidget;

/// The recording that a person wants of one view, and the mark that tells how it goes. Views of one
/// camera share the recording, which ends with the last wish for it. It leans on nothing but the
/// public functions of the widget and of the thread that records. GUI thread.
class ViewRecorder
{
    Q_DISABLE_COPY(ViewRecorder)

public:
    /// `view` outlives this; it becomes the owner of the mark.
    ViewRecorder(AbstractVideoWidget *view, const CameraFiles &files);
    ~ViewRecorder();

    /// Wants a recording. Returns in plain words why no file can be written, or nothing; the wish
    /// stands all the same, and is fulfilled as soon as it can be.
    QString start();
    void stop();
    bool isWanted() const { return m_watch.isWanted(); }
    /// The widget records by another thread than before: tells it the wish.
    void threadChanged();
    /// To be called a few times each second. `thread`: the one that records, null if there is none.
    void tick(const AbstractVideoThread *thread, bool cameraIsLive);

    RecordingState state() const { return m_watch.state(); }
    qint64 writtenMs() const { return m_watch.writtenMs(); }
    const CameraFiles &files() const { return m_files; }
    QWidget *mark() const;

private:
    AbstractVideoWidget *const m_view;
    const CameraFiles m_files;
    RecordingMark *const m_mark;
    RecordingWatch m_watch;
    FileSize m_size; ///< of the present file
    QElapsedTimer m_clock;
};
