// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "recordingwatch.h"

void RecordingWatch::begin(bool canWrite)
{
    *this = RecordingWatch();
    m_state = canWrite ? RecordingState::Waiting : RecordingState::Failing;
}

void RecordingWatch::end()
{
    m_state = RecordingState::Off;
}

void RecordingWatch::look(qint64 now, const QString &file, qint64 size, bool cameraIsLive)
{
    if (!isWanted())
        return;
    if (m_state == RecordingState::Writing)
        m_writtenMs += now - m_lookedAt;
    m_lookedAt = now;

    const bool hasGrown = size > 0 && (file != m_file || size != m_size);
    m_file = file;
    m_size = size;
    if (!cameraIsLive) {
        m_grownAt = -1;
        if (m_state == RecordingState::Writing)
            m_state = RecordingState::Waiting;
        return;
    }
    if (hasGrown || m_grownAt < 0)
        m_grownAt = now;
    if (hasGrown)
        m_state = RecordingState::Writing;
    else if (now - m_grownAt >= kFailingAfterMs)
        m_state = RecordingState::Failing;
    // A file that is there but has not grown yet holds what waits for the next key picture.
    else if (size >= 0 && m_state == RecordingState::Waiting)
        m_state = RecordingState::Writing;
}

QString durationText(qint64 milliseconds)
{
    const qint64 seconds = milliseconds / 1000;
    const auto two = [](qint64 number) {
        return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
    };
    const QString tail = two(seconds % 60);
    if (seconds < 3600)
        return QString::number(seconds / 60) + QLatin1Char(':') + tail;
    return QString::number(seconds / 3600) + QLatin1Char(':') + two(seconds / 60 % 60) +
           QLatin1Char(':') + tail;
}
