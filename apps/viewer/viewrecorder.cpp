// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "viewrecorder.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/abstractvideowidget.h"
#include "recordingmark.h"

#include <QFileInfo>

ViewRecorder::ViewRecorder(AbstractVideoWidget *view, const CameraFiles &files)
    : m_view(view), m_files(files), m_mark(new RecordingMark(view))
{
    m_clock.start();
}

QString ViewRecorder::start()
{
    if (isWanted())
        return QString();
    const QString problem = m_files.problem();
    m_watch.begin(problem.isEmpty());
    threadChanged();
    m_mark->showState(state(), writtenMs());
    return problem;
}

void ViewRecorder::stop()
{
    if (!isWanted())
        return;
    m_watch.end();
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
    const QString name = thread ? thread->getFileName(AbstractVideoThread::MANUAL_RECORD)
                                : QString();
    const QFileInfo file(name);
    m_watch.look(m_clock.elapsed(), name, !name.isEmpty() && file.exists() ? file.size() : -1,
                 cameraIsLive);
    m_mark->showState(state(), writtenMs());
}

QWidget *ViewRecorder::mark() const
{
    return m_mark;
}
