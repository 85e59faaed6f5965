// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

/// Where the recordings and pictures of one camera lie: one folder for each camera, in it one for
/// each day, as the library makes them for recordings. A value; usable on any thread.
class CameraFiles
{
public:
    CameraFiles() = default;
    /// A name for people as a name of a file.
    static QString nameFor(const QString &name);
    /// `root`: folder of all cameras. `camera`: fit for the name of a file.
    CameraFiles(const QString &root, const QString &camera);

    QString folder() const { return m_folder; }
    /// Makes the folder; tells in plain words why no file can be written there, or nothing.
    QString problem() const;

    /// Path of a picture, beside the recordings of its day, such as
    /// FOLDER/2026-11-21/live/20261121T210512.jpg. It names no file that is there.
    QString newPicture(const QDateTime &time) const;

    /// Path of a picture of a recording that a channel of a device has, such as
    /// FOLDER/2026-11-22/vod/20261121T210512_3.jpg: the day is today, the time that of the
    /// recording (recordingtime). So the library names those that it saves.
    QString recordedPicture(qint64 time, int channel) const;

    /// Paths of the recordings written to at `time` or later, folders below included, oldest first.
    QStringList recordingsSince(const QDateTime &time) const;

private:
    QString m_folder;
};
