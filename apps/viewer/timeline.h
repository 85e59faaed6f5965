// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "timescale.h"

#include <QWidget>

/// A day of recordings: a ruler, a row for each channel with what is recorded and what is missing,
/// the place where each is played, and a marked span.
///
/// Mouse: click or drag for a time; wheel to zoom; Shift and drag, or drag with the right button,
/// to mark a span, whose edges can be dragged on; wheel with Shift, drag with the middle button, or
/// the strip at the bottom to move what is seen.
class TimeLine : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(TimeLine)

public:
    struct Row
    {
        QString name;
        bool isKnown = false;       ///< whether `recorded` tells what is there
        QVector<TimeSpan> recorded; ///< joined
        qint64 position = recordingtime::none;
    };

    // Pixels.
    static constexpr int kRulerHeight = 24;
    static constexpr int kRowHeight = 20;
    static constexpr int kStripHeight = 12;
    static constexpr int kMostForNames = 190;
    static constexpr int kMargin = 12;

    explicit TimeLine(QWidget *parent = nullptr);

    /// Shows all of another day; the mark is forgotten.
    void setDay(const QDate &day);
    QDate day() const { return m_day; }
    void setRows(const QVector<Row> &rows);
    const QVector<Row> &rows() const { return m_rows; }
    /// One of no more than one row has nothing that could be selected.
    void selectRow(int row);
    /// Shows where a row is played. While it is not dragged, what is seen follows the selected row.
    void setPosition(int row, qint64 time);
    /// Not valid: none.
    void setMark(const TimeSpan &mark);
    const TimeSpan &mark() const { return m_mark; }
    /// Whether dragging marks a span without Shift; then no time is asked for.
    void setMarksByDragging(bool marks) { m_marksByDragging = marks; }
    /// Around the position of the selected row, or the middle where that is not seen.
    void zoomIn();
    void zoomOut();
    void showAll();

    const TimeScale &scale() const { return m_scale; }
    /// Of a place in the widget; -1: none.
    int rowAt(int y) const;
    /// Where a row is drawn, without its name.
    QRect placeOf(int row) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    /// A person wants to see that time; comes at each move of a drag.
    void timeChosen(int row, qint64 time);
    void markChanged();

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    enum class Drag { None, Time, Mark, Pan, Strip };

    void place();
    QRect strip() const;
    void zoomBy(double factor);
    QRect flagOf(qint64 time) const;
    bool isHovered() const;
    bool isNearMarkEdge(int x, qint64 *otherEdge) const;
    void dragTo(int x);
    QString tipAt(const QPoint &point) const;

    void drawRuler(QPainter *painter) const;
    void drawRow(QPainter *painter, int row) const;
    void drawMark(QPainter *painter) const;
    void drawPositions(QPainter *painter) const;
    void drawFlag(QPainter *painter, qint64 time, const QColor &ground, const QColor &ink) const;
    void drawStrip(QPainter *painter) const;

    QDate m_day;
    int m_namesWidth = 0; ///< pixels before the line
    TimeScale m_scale;
    QVector<Row> m_rows;
    int m_selected = 0;
    TimeSpan m_mark;
    bool m_marksByDragging = false;
    Drag m_drag = Drag::None;
    int m_dragRow = -1;
    int m_dragX = 0;       ///< where it was last, pixels
    qint64 m_markFrom = 0; ///< the edge that stays
    int m_hoverX = -1;     ///< pixels; -1: the pointer is elsewhere
};
