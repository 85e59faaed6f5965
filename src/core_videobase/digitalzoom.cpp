// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/digitalzoom.h"

namespace {

constexpr double kLargestFactor = 4.0;
constexpr int kEighthsPerDegree = 8; // unit of QWheelEvent::angleDelta
constexpr double kDegreesPerTurn = 360.0;
constexpr double kRatioPerTurn = 0.1; // share of the view that a whole turn takes off each side

struct Span
{
    double start;
    double length;
};

// Takes `ratio` of the length off both sides of `span`, so that `centre` keeps its relative place;
// a negative ratio widens it.
Span zoomed(const Span &span, double centre, double ratio)
{
    const double before = centre - span.start;
    const double after = span.length - before;
    if (span.length * 0.5 >= before) {
        const double start = span.start + span.length * ratio;
        return {start, (centre - start) * (after + before) / before};
    }
    const double end = span.start + span.length - span.length * ratio;
    const double length = (end - centre) * (after + before) / after;
    return {end - length, length};
}

} // namespace

void DigitalZoom::press(const QPoint &pos)
{
    if (!on)
        return;
    dragging = true;
    lastMousePos = pos;
}

void DigitalZoom::release()
{
    dragging = false;
}

bool DigitalZoom::drag(const QPoint &pos, const QSize &widget)
{
    if (!on || !dragging)
        return false;
    const QPointF step = QPointF(pos) - QPointF(lastMousePos);
    lastMousePos = pos;
    if (widget.isEmpty())
        return false;

    const double x = qMax(0.0, zoomRect.x() - zoomRect.width() * step.x() / widget.width());
    const double y = qMax(0.0, zoomRect.y() - zoomRect.height() * step.y() / widget.height());
    if (!(sourceRect.right() > x + zoomRect.width() && sourceRect.bottom() > y + zoomRect.height()))
        return false;
    zoomRect.moveTo(x, y);
    return true;
}

DigitalZoom::WheelResult DigitalZoom::wheel(int angleDeltaY)
{
    if (!on)
        return PassToBase;
    const int degrees = angleDeltaY / kEighthsPerDegree;
    const double ratio = degrees / kDegreesPerTurn * kRatioPerTurn;
    if (degrees > 0 && (sourceRect.width() >= kLargestFactor * zoomRect.width() ||
                        sourceRect.height() >= kLargestFactor * zoomRect.height()))
        return Accepted;

    const QPointF centre = zoomRect.center(); // not the pointer's place
    if (!zoomRect.contains(centre))           // an empty rectangle
        return PassToBase;

    const Span across = zoomed({zoomRect.x(), zoomRect.width()}, centre.x(), ratio);
    const Span down = zoomed({zoomRect.y(), zoomRect.height()}, centre.y(), ratio);
    zoomRect.setCoords(qMax(across.start, sourceRect.left()), qMax(down.start, sourceRect.top()),
                       qMin(across.start + across.length, sourceRect.right()),
                       qMin(down.start + down.length, sourceRect.bottom()));
    return Changed;
}

const QRectF &DigitalZoom::visiblePart()
{
    if (!on || zoomRect.isEmpty())
        zoomRect = sourceRect;
    return zoomRect;
}
