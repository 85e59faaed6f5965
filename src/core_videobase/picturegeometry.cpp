// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/picturegeometry_p.h"

namespace {

// Far beyond any widget or picture, and small enough that no sum below overflows.
constexpr int kCoordinateLimit = 1 << 28;

int bounded(int value)
{
    return qBound(-kCoordinateLimit, value, kCoordinateLimit);
}

QSize bounded(const QSize &size)
{
    return QSize(bounded(size.width()), bounded(size.height()));
}

QRect bounded(const QRect &rect)
{
    return QRect(QPoint(bounded(rect.left()), bounded(rect.top())),
                 QPoint(bounded(rect.right()), bounded(rect.bottom())));
}

int madeOdd(int coordinate)
{
    return coordinate % 2 == 0 ? coordinate + 1 : coordinate;
}

} // namespace

QRect getCenterRect(const QSize &size, const QRect &rect, int border, ScaleMode scaleMode)
{
    const QRect space = bounded(rect);
    const int taken = bounded(border);
    const QSize available(space.width() - taken, space.height() - taken);

    QSize result = bounded(size);
    if (scaleMode == ScaleMode_Auto) {
        if (result.width() > available.width() || result.height() > available.height())
            result.scale(available, Qt::KeepAspectRatio);
    } else if (scaleMode == ScaleMode_Aspect) {
        result.scale(available, Qt::KeepAspectRatio);
    } else {
        result = available;
    }

    const QPoint center = space.center();
    const QPoint topLeft(madeOdd(center.x() - result.width() / 2),
                         madeOdd(center.y() - result.height() / 2));
    return QRect(topLeft, result);
}

std::optional<QRect> bannerRect(int bannerPosition, const QSize &widget, int borderWidth,
                                int bannerSize)
{
    const int half = bounded(borderWidth) / 2;
    const int thick = bounded(bannerSize);
    const QSize size = bounded(widget);
    const int alongWidth = size.width() - 2 * half;
    const int alongHeight = size.height() - 2 * half;

    switch (bannerPosition) {
    case 0:
        return QRect(half, half, alongWidth, thick);
    case 1:
        return QRect(half, size.height() - half - thick, alongWidth, thick);
    case 2:
        return QRect(half, half, thick, alongHeight);
    case 3:
        return QRect(size.width() - half - thick, half, thick, alongHeight);
    default:
        return std::nullopt;
    }
}
