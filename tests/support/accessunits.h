// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

namespace vantratest {

/// One coded picture in Annex B form, as a camera sends it.
struct AccessUnit
{
    QByteArray data;
    bool key = false;
    qint64 pts = 0; ///< milliseconds; of raw streams, at 25 pictures per second in coding order
};

/// Everything that FFmpeg finds of one video in a file.
struct VideoUnits
{
    int codec = 0; ///< 1 H.264, 2 H.265, 0 none found
    QVector<AccessUnit> units;
};

/// Cuts a raw H.264 (codec 1) or H.265 (codec 2) stream into its access units.
QVector<AccessUnit> cutAccessUnits(const QByteArray &stream, int codec);

/// A key picture of H.264 that claims to be 16240 x 16240 and has one slice, which is damaged: a
/// decoder without a limit makes it, all 260 million pixels.
QByteArray giantPicture();

/// Reads the first video of a file: by its suffix a raw stream, else a container such as MP4 or
/// MKV, whose parameter sets then stand before each key frame. Damaged parts are left out.
VideoUnits readVideoUnits(const QString &file);

} // namespace vantratest
