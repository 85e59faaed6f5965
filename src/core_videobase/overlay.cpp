// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/overlay.h"

#include "core_videobase/paintableimage_p.h"

#include <QDateTime>
#include <QFont>
#include <QLine>
#include <QPainter>
#include <QPen>

#include <array>

namespace {

constexpr int kOsdMargin = 5;     // pixels between border and overlay
constexpr int kCornerLength = 10; // pixels of each line of a corner
// Far beyond any picture or widget, and small enough that no sum overflows.
constexpr int kCoordinateLimit = 1 << 28;
// Glyphs larger than any screen; beyond it the font engine is not to be trusted.
constexpr int kLargestFontSize = 10000; // pixels

int bounded(int coordinate)
{
    return qBound(-kCoordinateLimit, coordinate, kCoordinateLimit);
}

bool canPaintOn(const QImage &image)
{
    return !image.isNull() && image.format() != QImage::Format_Indexed8;
}

QPen graphPen(int width, const QColor &color)
{
    return QPen(QBrush(color), qMax(0, width), Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}

QFont pixelFont(int pixelSize)
{
    QFont font;
    if (pixelSize > 0)
        font.setPixelSize(qMin(pixelSize, kLargestFontSize));
    return font;
}

QString osdText(const OsdInfo &osd)
{
    switch (osd.format) {
    case OsdFormat_Date:
        return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd"));
    case OsdFormat_Time:
        return QDateTime::currentDateTime().toString(QStringLiteral("HH:mm:ss"));
    case OsdFormat_DateTime:
        return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    default:
        return osd.text;
    }
}

/// Where an overlay stands: pictures and custom texts at `point`, other texts by `flags`.
struct Place
{
    QPoint point;
    int flags;
};

// Changes `place` to that of `osd`; an unknown position leaves it as it is.
void updatePlace(Place &place, const OsdInfo &osd, const QRect &area)
{
    // Width and height of the area are taken without its x and y on purpose: on the right, at the
    // bottom and in the centre a picture stands a margin nearer to the top left than a text.
    const int right = area.width() - osd.image.width();
    const int bottom = area.height() - osd.image.height();
    switch (osd.position) {
    case OsdPosition_LeftTop:
        place = {area.topLeft(), Qt::AlignLeft | Qt::AlignTop};
        break;
    case OsdPosition_LeftBottom:
        place = {QPoint(area.x(), bottom), Qt::AlignLeft | Qt::AlignBottom};
        break;
    case OsdPosition_RightTop:
        place = {QPoint(right, area.y()), Qt::AlignRight | Qt::AlignTop};
        break;
    case OsdPosition_RightBottom:
        place = {QPoint(right, bottom), Qt::AlignRight | Qt::AlignBottom};
        break;
    case OsdPosition_Center:
        place = {QPoint(area.width() / 2 - osd.image.width() / 2,
                        area.height() / 2 - osd.image.height() / 2),
                 Qt::AlignCenter};
        break;
    case OsdPosition_Custom:
        place.point = osd.point; // has no flags of its own
        break;
    }
}

void drawOsdRecord(QPainter &painter, const OsdInfo &osd, const QRect &area, const Place &place)
{
    if (osd.format == OsdFormat_Image) {
        painter.drawImage(QPointF(place.point), paintable(osd.image));
        return;
    }
    const QString text = osdText(osd);
    painter.setFont(pixelFont(osd.fontSize));
    painter.setPen(osd.color);
    if (osd.position == OsdPosition_Custom)
        painter.drawText(QPointF(place.point), text);
    else
        painter.drawText(area, place.flags, text);
}

} // namespace

void drawGraphRect(QImage &image, const QRect &rect, int width, const QColor &color, bool corners)
{
    if (!canPaintOn(image))
        return;
    const int left = bounded(rect.left());
    const int top = bounded(rect.top());
    const int right = bounded(rect.right()) + 1; // right of and below the last pixels
    const int bottom = bounded(rect.bottom()) + 1;
    QPainter painter(&image);
    painter.setPen(graphPen(width, color));
    if (!corners) {
        painter.drawRect(left, top, right - left, bottom - top);
        return;
    }
    constexpr int length = kCornerLength;
    const std::array<QLine, 8> lines{
        QLine(left, top, left + length, top),         QLine(left, top, left, top + length),
        QLine(right - length, top, right, top),       QLine(right, top, right, top + length),
        QLine(left, bottom - length, left, bottom),   QLine(left, bottom, left + length, bottom),
        QLine(right - length, bottom, right, bottom), QLine(right, bottom - length, right, bottom),
    };
    painter.drawLines(lines.data(), int(lines.size()));
}

void drawGraphPath(QImage &image, const QPainterPath &path, int width, const QColor &color)
{
    if (!canPaintOn(image))
        return;
    QPainter painter(&image);
    painter.setPen(graphPen(width, color));
    painter.drawPath(path);
}

void drawGraphPoints(QImage &image, const QList<QPoint> &points, int width, const QColor &color)
{
    if (points.size() < 2)
        return;
    QPainterPath outline;
    outline.moveTo(points.first());
    for (int i = 1; i < points.size(); ++i)
        outline.lineTo(points.at(i));
    outline.closeSubpath();
    drawGraphPath(image, outline, width, color);
}

void drawGraphs(QImage &image, const QList<GraphInfo> &graphs)
{
    for (const GraphInfo &graph : graphs) {
        if (!graph.rect.isEmpty())
            drawGraphRect(image, graph.rect, graph.borderWidth, graph.borderColor, false);
        if (!graph.path.isEmpty())
            drawGraphPath(image, graph.path, graph.borderWidth, graph.borderColor);
        if (!graph.points.isEmpty())
            drawGraphPoints(image, graph.points, graph.borderWidth, graph.borderColor);
    }
}

void drawOsd(QPainter &painter, const QSize &widget, int borderWidth, const QList<OsdInfo> &records)
{
    const int margin = bounded(borderWidth) + kOsdMargin;
    const QRect area(margin, margin, widget.width() - 2 * margin, widget.height() - 2 * margin);
    Place place{area.topLeft(), Qt::AlignLeft | Qt::AlignTop};
    for (const OsdInfo &osd : records) {
        if (!osd.visible)
            continue;
        painter.save();
        updatePlace(place, osd, area);
        drawOsdRecord(painter, osd, area, place);
        painter.restore();
    }
}
