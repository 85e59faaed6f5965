// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace vantratest {

/// The checksums in FILE.framemd5, one per picture in output order, as lower-case hexadecimal.
/// Empty if there is no such file.
QVector<QByteArray> readFrameMd5(const QString &mediaFile);

/// The checksum of a picture whose planes are laid one after the other without padding.
QByteArray pictureMd5(const uint8_t *const planes[], const int lineSizes[], int width, int height,
                      AVPixelFormat format);

} // namespace vantratest
