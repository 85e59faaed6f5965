// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>

/// An image of a host as QPainter can take it: one of indices without a table of colors, which
/// would end the process there, becomes the grays that Qt's own conversions take it for. Any
/// thread.
inline QImage paintable(const QImage &image)
{
    const bool lacksColors = image.format() == QImage::Format_Indexed8 && image.colorCount() == 0;
    return lacksColors ? image.convertToFormat(QImage::Format_RGB32) : image;
}
