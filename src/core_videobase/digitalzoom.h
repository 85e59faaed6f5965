// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QPoint>
#include <QRectF>
#include <QSize>

/// Digital zoom of one widget: which part of the picture is shown, moved by drag and wheel. Knows
/// no window and no event; the widget feeds it and repaints. GUI thread only.
///
/// `zoomRect` may come out empty, from an empty picture or an absurd wheel step. Whoever paints
/// then shows the whole picture; see visiblePart().
class DigitalZoom
{
public:
    /// What became of a step of the wheel.
    enum WheelResult {
        PassToBase, ///< not ours: hand the event to the base class
        Accepted,   ///< taken, but the limit is reached and nothing has changed
        Changed,    ///< taken, and zoomRect has changed
    };

    bool on = false;       ///< drag and wheel are taken
    bool dragging = false; ///< the left button is held
    QPoint lastMousePos;   ///< last drag position, widget pixels
    QRectF sourceRect;     ///< whole picture, picture pixels
    QRectF zoomRect;       ///< part that is shown, picture pixels

    /// The left button went down at `pos`, in widget pixels.
    void press(const QPoint &pos);
    /// Any button was released.
    void release();
    /// The pointer moved to `pos` in a widget of size `widget`. Moves the view against the pointer;
    /// returns whether zoomRect was set. A step past the right or bottom edge is refused whole, in
    /// the other axis too; past the left or top edge it ends at the edge.
    bool drag(const QPoint &pos, const QSize &widget);
    /// `angleDeltaY` in eighths of a degree, positive zooms in, at most to a quarter of the picture
    /// in either axis, always around the centre of the view.
    WheelResult wheel(int angleDeltaY);
    /// Brings zoomRect up to date for a paint pass and returns it: the whole picture while zoom is
    /// off or no part has been chosen.
    const QRectF &visiblePart();
};
