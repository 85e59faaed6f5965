// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

/// What one fragment (ISO/IEC 14496-12, "moof") says of one track.
struct TrackFragment
{
    int track = 0; ///< from 1 on
    int samples = 0;
    bool beginsWithKey = false; ///< its first sample can be decoded by itself
    bool onlyTheFirstIsKey = false;
    qint64 time = -1; ///< of its first sample, in units of the track
};

/// The boxes of an MP4 file, as far as they are whole.
struct Mp4Boxes
{
    QStringList top; ///< names of the outermost boxes
    QVector<QVector<TrackFragment>> fragments;
    qint64 tail = 0; ///< bytes behind the last whole box
    QString error;   ///< of boxes that contradict themselves
};

/// Reads them, also of a file that is still being written.
Mp4Boxes readBoxes(const QString &fileName);
