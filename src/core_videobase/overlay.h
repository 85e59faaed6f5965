// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "videotypes.h"

#include <QList>
#include <QMutex>
#include <QMutexLocker>
#include <QSize>

class QPainter;

/// The overlays of one kind that a widget holds, in drawing order. `Record` has a `name`, which is
/// the key; the same name may stand more than once, and then the first counts.
///
/// GUI thread only: what looks up, overwrites or paints does so without the lock and relies on the
/// implicit sharing of QList. The lock serialises appends, removals and clearing; it is lent by the
/// owner, who may share it among several lists, and is never held while anything else is called.
template<typename Record>
class OverlayList
{
    Q_DISABLE_COPY(OverlayList)

public:
    explicit OverlayList(QMutex &sharedLock) : lock(sharedLock) {} ///< empty

    /// Adds a copy at the end, also if the name is there already.
    void append(const Record &record)
    {
        const QMutexLocker locker(&lock);
        records.append(record);
    }

    /// Overwrites the first record of that name in place, or appends; returns whether it overwrote.
    bool set(const Record &record)
    {
        const int index = indexOf(record.name);
        if (index < 0) {
            append(record);
            return false;
        }
        records[index] = record;
        return true;
    }

    /// Removes the first record of that name; returns whether there was one.
    bool remove(const QString &name)
    {
        const QMutexLocker locker(&lock);
        const int index = indexOf(name);
        if (index < 0)
            return false;
        records.removeAt(index);
        return true;
    }

    /// Removes all.
    void clear()
    {
        const QMutexLocker locker(&lock);
        records.clear();
    }

    /// A copy for one paint pass; cheap, since the list is implicitly shared.
    QList<Record> items() const { return records; }

private:
    int indexOf(const QString &name) const
    {
        for (int i = 0; i < records.size(); ++i) {
            if (records.at(i).name == name)
                return i;
        }
        return -1;
    }

    QMutex &lock;
    QList<Record> records;
};

/// Drawing of overlays. Nothing is drawn, and nothing reported, where there is nothing to draw or
/// the image cannot be painted on. Colours are opaque unless the given colour is not.

/// Outline of `rect` in picture pixels with a pen `width` pixels wide, without antialiasing; 0 or
/// less draws a line of one pixel. `corners` draws 10 pixels along each side from each corner
/// instead.
void drawGraphRect(QImage &image, const QRect &rect, int width, const QColor &color, bool corners);
/// Outline of a path.
void drawGraphPath(QImage &image, const QPainterPath &path, int width, const QColor &color);
/// Closed outline through the points; fewer than two draw nothing.
void drawGraphPoints(QImage &image, const QList<QPoint> &points, int width, const QColor &color);
/// Burns every shape of every record into the picture, in order.
void drawGraphs(QImage &image, const QList<GraphInfo> &graphs);

/// Draws the visible records in order over a widget of size `widget` with a border of
/// `borderWidth`.
///
/// Texts are aligned in the widget's rectangle less border and 5 pixels on all sides. Pictures on
/// the right, at the bottom and in the centre stand that margin nearer to the top left corner than
/// such a text: this is intended. A record with an unknown position takes the place of the drawn
/// record before it, the first one the top left.
void drawOsd(QPainter &painter, const QSize &widget, int borderWidth,
             const QList<OsdInfo> &records);
