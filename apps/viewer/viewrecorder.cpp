// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "viewrecorder.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/abstractvideowidget.h"
#include "recordingmark.h"

#include <QHash>

namespace {

/// Views that want a recording, by the folder of the camera.
QHash<QString, int> &wishes()
{
    static QHash<QString, int> counts;
    return counts;
}

} // namespace

ViewRecorder::ViewRecorder(AbstractVideoWidget *view, const CameraFiles &files)
    : m_view(view), m_files(files), m_mark(new RecordingMark(view))
{
    m_clock.start();
}

ViewRecorder::~ViewRecorder()
{
    if (isWanted())
        --wishes()[m_files.folder()];
}

QString ViewRecorder::start()
{
    if (isWanted())
        return QString();
    const QString problem = m_files.problem();
    ++wishes()[m_files.folder()];
    m_watch.begin(problem.isEmpty());
    m_size.forget(); // until it begins, the file is that of the last recording
    threadChanged();
    m_mark->showState(state(), writtenMs());
    return problem;
}

void ViewRecorder::stop()
{
    if (!isWanted())
        return;
    m_watch.end();
    if (--wishes()[m_files.folder()] == 0)
        m_view->recordStop();
    m_mark->showState(state(), writtenMs());
}

void ViewRecorder::threadChanged()
{
    if (isWanted())
        m_view->recordStart(m_files.folder());
}

void ViewRecorder::tick(const AbstractVideoThread *thread, bool cameraIsLive)
{
    if (thread && !thread->isRecording(AbstractVideoThread::MANUAL_RECORD))
        threadChanged();
    const QString name =
        thread ? thread->getFileName(AbstractVideoThread::MANUAL_RECORD) : QString();
    m_watch.look(m_clock.elapsed(), name, m_size.look(name), cameraIsLive);
    m_mark->showState(state(), writtenMs());
}

QWidget *ViewRecorder::mark() const
{
    return m_mark;
}
