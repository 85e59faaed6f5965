// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "camerathread.h"

#include <QFile>

CameraThread::CameraThread(const CameraFiles &files, QObject *parent)
    : FFmpegVideoThread(parent), m_files(files)
{
}

CameraThread::~CameraThread()
{
    endRun();
}

void CameraThread::setMP4FileName(RecordType type)
{
    setFileName(type, m_files.newRecording(QDateTime::currentDateTime()));
}

void CameraThread::renameMP4File(RecordType type)
{
    const QString file = getFileName(type);
    // Where this fails, say in a folder that is gone, the file keeps its first name.
    QFile::rename(file, CameraFiles::endedRecording(file, QDateTime::currentDateTime()));
}
