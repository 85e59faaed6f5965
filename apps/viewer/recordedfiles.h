// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVector>

/// A file of a recording that has ended, for the table at the end.
struct RecordedFile
{
    int view = 0; ///< number of the view, from 1 on
    QString path;
    qint64 bytes = 0;
    double seconds = -1; ///< as a player reads it; below 0: it cannot be read
};

/// Looks at a file with ffprobe, and waits for that. Without ffprobe the length stays unknown.
RecordedFile readRecordedFile(int view, const QString &path);

/// A table with one line for each file and one for all, ending in a line break.
QString recordingsTable(const QVector<RecordedFile> &files);
