// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What is to be told of a recording.
enum class RecordingState {
    Off,     ///< not wanted
    Waiting, ///< wanted; the camera gives nothing at present, or its next key picture is to come
    Writing, ///< a file grows
    Failing, ///< the camera gives pictures, and no file grows
};

/// Finds out from its file what a recording really does: a stream thread tells only what is wanted.
/// Times are milliseconds of any clock that does not jump. Not for several threads.
class RecordingWatch
{
public:
    /// Key pictures may lie seconds apart, and a file grows with each.
    static constexpr qint64 kFailingAfterMs = 15000;

    /// The recording is wanted. `canWrite`: a file can be written in its folder.
    void begin(bool canWrite = true);
    void end();
    /// To be called a few times each second. `size`: bytes of the present file, -1: there is none.
    void look(qint64 now, const QString &file, qint64 size, bool cameraIsLive);

    bool isWanted() const { return m_state != RecordingState::Off; }
    RecordingState state() const { return m_state; }
    /// For how long something has been written, from begin() on.
    qint64 writtenMs() const { return m_writtenMs; }

private:
    RecordingState m_state = RecordingState::Off;
    QString m_file;
    qint64 m_size = -1;
    qint64 m_lookedAt = -1; ///< -1: not yet
    qint64 m_grownAt = -1;  ///< or since when the camera is live; -1: it is not
    qint64 m_writtenMs = 0;
};

/// A duration as "0:07" or "1:02:03".
QString durationText(qint64 milliseconds);
