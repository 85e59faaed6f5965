// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>

/// How many colors an image may name; 0 where it names none but holds them.
inline int colorsNamedIn(const QImage &image)
{
    switch (image.format()) {
    case QImage::Format_Mono:
    case QImage::Format_MonoLSB:
        return 2;
    case QImage::Format_Indexed8:
        return 256;
    default:
        return 0;
    }
}

/// An image of a host as QPainter can take it. One whose table of colors is not there, or too
/// short, would make it read beyond, or end the process; it becomes what Qt's own conversions take
/// it for: grays without a table, and nothing where an index has no color. Any thread.
inline QImage paintable(const QImage &image)
{
    const bool lacksColors = image.colorCount() < colorsNamedIn(image);
    return lacksColors ? image.convertToFormat(QImage::Format_ARGB32_Premultiplied) : image;
}
