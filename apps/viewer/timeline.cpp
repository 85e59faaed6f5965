// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "timeline.h"

#include "theme.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

#include <cmath>

using namespace recordingtime;

namespace {

constexpr int kBarInset = 3;       ///< pixels of a row above and below what is recorded
constexpr int kLeastForNames = 60; ///< pixels
constexpr int kLabelRoom = 72;     ///< pixels from label to label
constexpr int kEdgeReach = 5;      ///< pixels
constexpr double kZoomPerNotch = 1.4;
constexpr double kZoomPerKey = 2;
constexpr int kNotch = 120;      ///< of a wheel, as Qt counts
constexpr int kPanPerNotch = 80; ///< pixels
constexpr qint64 kShortestMarkMs = secondMs;

const QColor kMarkColour(0xE0, 0xA4, 0x58, 70);

} // namespace

TimeLine::TimeLine(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("timeLine"));
    setMouseTracking(true);
    setContextMenuPolicy(Qt::PreventContextMenu); // the right button marks
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(tr("Time line of the recordings"));
    setDay(QDate::currentDate());
}

void TimeLine::setDay(const QDate &day)
{
    m_day = day;
    m_scale = TimeScale({of(day), of(day) + dayMs});
    place();
    for (Row &row : m_rows)
        row.position = none;
    setMark(TimeSpan());
    update();
}

void TimeLine::setRows(const QVector<Row> &rows)
{
    const bool resized = rows.size() != m_rows.size();
    m_rows = rows;
    m_selected = qBound(0, m_selected, qMax(0, rows.size() - 1));
    if (resized)
        updateGeometry();
    place();
    update();
}

void TimeLine::selectRow(int row)
{
    m_selected = row;
    update();
}

void TimeLine::setPosition(int row, qint64 time)
{
    if (row < 0 || row >= m_rows.size() || m_rows[row].position == time)
        return;
    const qint64 before = m_rows[row].position;
    const bool wasSeen = m_scale.visible().contains(m_rows[row].position);
    m_rows[row].position = time;
    // Who looks at another part of the day is left there.
    if (row == m_selected && m_drag == Drag::None && wasSeen)
        m_scale.reveal(time);
    if (m_scale.xOf(time) != m_scale.xOf(before) || time / secondMs != before / secondMs)
        update();
}

void TimeLine::setMark(const TimeSpan &mark)
{
    if (mark == m_mark)
        return;
    m_mark = mark.common(m_scale.whole());
    update();
    emit markChanged();
}

void TimeLine::zoomBy(double factor)
{
    const TimeSpan &seen = m_scale.visible();
    const qint64 position = m_rows.value(m_selected).position;
    m_scale.zoomTo(factor, seen.contains(position) ? position : seen.begin + seen.length() / 2);
    update();
}

void TimeLine::zoomIn()
{
    zoomBy(kZoomPerKey);
}

void TimeLine::zoomOut()
{
    zoomBy(1 / kZoomPerKey);
}

void TimeLine::showAll()
{
    m_scale.showAll();
    update();
}

// ---- Places -------------------------------------------------------------------------------------

QRect TimeLine::placeOf(int row) const
{
    return QRect(m_namesWidth, kRulerHeight + row * kRowHeight,
                 qMax(1, width() - m_namesWidth - kMargin), kRowHeight);
}

int TimeLine::rowAt(int y) const
{
    const int row = y < kRulerHeight ? -1 : (y - kRulerHeight) / kRowHeight;
    return row < m_rows.size() ? row : -1;
}

QRect TimeLine::strip() const
{
    const QRect place = placeOf(m_rows.size());
    return QRect(place.left(), place.top(), place.width(), kStripHeight);
}

QSize TimeLine::sizeHint() const
{
    return QSize(600, kRulerHeight + qMax(1, m_rows.size()) * kRowHeight + kStripHeight);
}

QSize TimeLine::minimumSizeHint() const
{
    return QSize(kMostForNames + 200, sizeHint().height());
}

void TimeLine::resizeEvent(QResizeEvent *)
{
    place();
}

void TimeLine::place()
{
    int names = 0;
    for (const Row &row : qAsConst(m_rows))
        names = qMax(names, fontMetrics().horizontalAdvance(row.name) + 2 * kMargin);
    m_namesWidth = qBound(kLeastForNames, names, kMostForNames);
    const QRect line = placeOf(0);
    m_scale.setPlace(line.left(), line.width());
}

// ---- Mouse --------------------------------------------------------------------------------------

bool TimeLine::isNearMarkEdge(int x, qint64 *otherEdge) const
{
    if (!m_mark.isValid())
        return false;
    const int toBegin = qAbs(x - m_scale.xOf(m_mark.begin));
    const int toEnd = qAbs(x - m_scale.xOf(m_mark.end));
    *otherEdge = toBegin < toEnd ? m_mark.end : m_mark.begin;
    return qMin(toBegin, toEnd) <= kEdgeReach;
}

void TimeLine::mousePressEvent(QMouseEvent *event)
{
    const int x = event->x();
    const int row = rowAt(event->y());
    m_dragX = x;
    m_dragRow = row < 0 ? m_selected : row;
    m_drag = Drag::None;
    if (event->button() == Qt::MiddleButton)
        m_drag = Drag::Pan;
    else if (strip().adjusted(0, 0, 0, kStripHeight).contains(event->pos()))
        m_drag = Drag::Strip;
    else if (x < placeOf(0).left() - kEdgeReach)
        return; // on a name
    else if (isNearMarkEdge(x, &m_markFrom) && (m_marksByDragging || event->y() < kRulerHeight))
        m_drag = Drag::Mark;
    else if (event->button() == Qt::RightButton || event->modifiers() & Qt::ShiftModifier ||
             m_marksByDragging) {
        m_drag = Drag::Mark;
        m_markFrom = m_scale.timeAt(x);
        return; // a click marks nothing
    } else if (event->button() == Qt::LeftButton && !m_rows.isEmpty()) {
        m_drag = Drag::Time;
    }
    dragTo(x);
}

void TimeLine::mouseMoveEvent(QMouseEvent *event)
{
    const int x = event->x();
    m_hoverX = x >= placeOf(0).left() && x <= placeOf(0).right() ? x : -1;
    if (m_drag == Drag::None) {
        qint64 otherEdge = 0;
        const bool onEdge =
            isNearMarkEdge(x, &otherEdge) && (m_marksByDragging || event->y() < kRulerHeight);
        setCursor(onEdge ? Qt::SizeHorCursor : Qt::ArrowCursor);
    } else {
        dragTo(x);
    }
    update();
}

void TimeLine::dragTo(int x)
{
    const qint64 time = m_scale.timeAt(x);
    switch (m_drag) {
    case Drag::None:
        break;
    case Drag::Time:
        emit timeChosen(m_dragRow, time);
        break;
    case Drag::Mark:
        if (qAbs(time - m_markFrom) >= kShortestMarkMs)
            setMark({qMin(time, m_markFrom), qMax(time, m_markFrom)});
        break;
    case Drag::Pan:
        m_scale.pan(x - m_dragX);
        break;
    case Drag::Strip: {
        // The middle of what is seen goes where the pointer is on the strip, which is all the day.
        const QRect place = strip();
        const double part = double(x - place.left()) / place.width();
        const TimeSpan &whole = m_scale.whole();
        const qint64 middle = whole.begin + qint64(part * whole.length());
        const TimeSpan &seen = m_scale.visible();
        m_scale.pan(
            int(double(seen.begin + seen.length() / 2 - middle) * place.width() / seen.length()));
        break;
    }
    }
    m_dragX = x;
    update();
}

void TimeLine::mouseReleaseEvent(QMouseEvent *)
{
    m_drag = Drag::None;
    update();
}

void TimeLine::leaveEvent(QEvent *)
{
    m_hoverX = -1;
    update();
}

void TimeLine::wheelEvent(QWheelEvent *event)
{
    const QPoint turn = event->angleDelta();
    const bool sideways = turn.x() != 0 || event->modifiers() & Qt::ShiftModifier;
    if (sideways)
        m_scale.pan((turn.x() != 0 ? turn.x() : turn.y()) * kPanPerNotch / kNotch);
    else
        m_scale.zoom(std::pow(kZoomPerNotch, double(turn.y()) / kNotch),
                     int(event->position().x()));
    event->accept();
    update();
}

bool TimeLine::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QWidget::event(event);
    const auto *help = static_cast<QHelpEvent *>(event);
    QToolTip::showText(help->globalPos(), tipAt(help->pos()), this);
    return true;
}

QString TimeLine::tipAt(const QPoint &point) const
{
    const int row = rowAt(point.y());
    if (row < 0 || !placeOf(row).contains(point))
        return m_marksByDragging ? tr("Drag to mark a span; wheel to zoom")
                                 : tr("Click or drag for a time; wheel to zoom; Shift and drag to "
                                      "mark a span");
    const Row &here = m_rows[row];
    if (!here.isKnown)
        return tr("This device does not tell what it has recorded");
    const qint64 time = m_scale.timeAt(point.x());
    for (const TimeSpan &span : here.recorded)
        if (span.contains(time))
            return tr("Recorded from %1 to %2").arg(clockText(span.begin), clockText(span.end));
    return tr("Nothing recorded");
}

// ---- Paint --------------------------------------------------------------------------------------

void TimeLine::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), theme::bar);
    drawRuler(&painter);
    for (int row = 0; row < m_rows.size(); ++row)
        drawRow(&painter, row);
    const QRect first = placeOf(0);
    painter.save();
    painter.setClipRect(first.left() - 1, 0, first.width() + 2, height());
    drawMark(&painter);
    drawPositions(&painter);
    drawStrip(&painter);
    painter.restore();
}

void TimeLine::drawRuler(QPainter *painter) const
{
    const int bottom = kRulerHeight - 1;
    // Half a label beside a flag would be read as a time of its own.
    const qint64 position = m_rows.value(m_selected).position;
    const QRect flag = m_scale.visible().contains(position) ? flagOf(position) : QRect();
    const QRect hovered = isHovered() ? flagOf(m_scale.timeAt(m_hoverX)) : QRect();
    for (const TimeScale::Tick &tick : m_scale.ticks(kLabelRoom)) {
        painter->setPen(theme::line.lighter(150));
        painter->drawLine(tick.x, bottom - (tick.label.isEmpty() ? 3 : 6), tick.x, bottom);
        if (tick.label.isEmpty())
            continue;
        const int room = fontMetrics().horizontalAdvance(tick.label) + 2;
        const int left = qBound(placeOf(0).left(), tick.x - room / 2, width() - room);
        const QRect place(left, 0, room, bottom - 5);
        if (place.intersects(flag) || place.intersects(hovered))
            continue;
        painter->setPen(theme::dimText);
        painter->drawText(place, Qt::AlignCenter, tick.label);
    }
}

void TimeLine::drawRow(QPainter *painter, int row) const
{
    const Row &here = m_rows[row];
    const QRect place = placeOf(row);
    const bool isSelected = row == m_selected && m_rows.size() > 1;
    const QRect name(kMargin, place.top(), m_namesWidth - 2 * kMargin, place.height());
    painter->setPen(isSelected || m_rows.size() == 1 ? theme::text : theme::dimText);
    painter->drawText(name, Qt::AlignVCenter,
                      fontMetrics().elidedText(here.name, Qt::ElideMiddle, name.width()));
    if (isSelected)
        painter->fillRect(0, place.top() + kBarInset, 3, place.height() - 2 * kBarInset,
                          theme::accent);

    const QRect bar = place.adjusted(0, kBarInset, 0, -kBarInset);
    painter->fillRect(bar, theme::view);
    painter->save();
    painter->setClipRect(bar);
    if (!here.isKnown) {
        painter->fillRect(bar, QBrush(theme::line.lighter(125), Qt::BDiagPattern));
        if (!here.name.isEmpty()) {
            const QString text = tr("not known what is recorded");
            const int room = fontMetrics().horizontalAdvance(text) + 2 * theme::gap;
            const QRect ground(bar.center().x() - room / 2, bar.top(), room, bar.height());
            QFont small = font();
            small.setPixelSize(bar.height() - 3);
            painter->setFont(small);
            painter->fillRect(ground, theme::view);
            painter->setPen(theme::dimText);
            painter->drawText(ground, Qt::AlignCenter, text);
        }
    }
    for (const TimeSpan &span : here.recorded) {
        const TimeSpan seen = span.common(m_scale.visible());
        if (!seen.isValid())
            continue;
        const int left = m_scale.xOf(seen.begin);
        // What is there is seen, however short.
        const int room = qMax(1, m_scale.xOf(seen.end) - left);
        painter->fillRect(left, bar.top(), room, bar.height(),
                          isSelected || m_rows.size() == 1 ? theme::accent
                                                           : theme::accent.darker(170));
    }
    painter->restore();
}

void TimeLine::drawMark(QPainter *painter) const
{
    const TimeSpan seen = m_mark.common(m_scale.visible());
    if (!seen.isValid())
        return;
    const int left = m_scale.xOf(seen.begin);
    const int right = m_scale.xOf(seen.end);
    const int bottom = strip().top();
    painter->fillRect(left, kRulerHeight - 4, right - left, bottom - kRulerHeight + 4, kMarkColour);
    for (const qint64 edge : {m_mark.begin, m_mark.end})
        if (edge == seen.begin || edge == seen.end)
            painter->fillRect(m_scale.xOf(edge) - 1, 4, 2, bottom - 4, theme::warning);
}

void TimeLine::drawPositions(QPainter *painter) const
{
    const int bottom = strip().top();
    for (int row = 0; row < m_rows.size(); ++row) {
        const qint64 time = m_rows[row].position;
        if (!m_scale.visible().contains(time) || row == m_selected)
            continue;
        const QRect place = placeOf(row);
        painter->fillRect(m_scale.xOf(time) - 1, place.top() + 1, 2, place.height() - 2,
                          theme::text);
    }
    const bool hovers = isHovered();
    if (hovers)
        painter->fillRect(m_hoverX, kRulerHeight - 4, 1, bottom - kRulerHeight + 4, theme::dimText);
    const qint64 position = m_rows.value(m_selected).position;
    if (m_scale.visible().contains(position)) {
        const int x = m_scale.xOf(position);
        painter->fillRect(x - 1, kRulerHeight - 6, 2, bottom - kRulerHeight + 6, Qt::white);
        if (!hovers || !flagOf(position).intersects(flagOf(m_scale.timeAt(m_hoverX))))
            drawFlag(painter, position, Qt::white, theme::window);
    }
    if (hovers)
        drawFlag(painter, m_scale.timeAt(m_hoverX), theme::line.lighter(130), theme::text);
}

bool TimeLine::isHovered() const
{
    return m_hoverX >= 0 && m_drag != Drag::Strip && m_drag != Drag::Pan;
}

QRect TimeLine::flagOf(qint64 time) const
{
    const int room = fontMetrics().horizontalAdvance(clockText(time)) + theme::gap;
    const int left =
        qBound(placeOf(0).left(), m_scale.xOf(time) - room / 2, placeOf(0).right() - room);
    return QRect(left, 1, room, kRulerHeight - 6);
}

/// A time written over the ruler, above its place.
void TimeLine::drawFlag(QPainter *painter, qint64 time, const QColor &ground,
                        const QColor &ink) const
{
    const QRect flag = flagOf(time);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(ground);
    painter->drawRoundedRect(flag, 3, 3);
    painter->setPen(ink);
    painter->drawText(flag, Qt::AlignCenter, clockText(time));
    painter->setRenderHint(QPainter::Antialiasing, false);
}

/// The day, and which part of it is seen.
void TimeLine::drawStrip(QPainter *painter) const
{
    if (!m_scale.isZoomed())
        return;
    const QRect place = strip().adjusted(0, 4, 0, -3);
    const TimeSpan &whole = m_scale.whole();
    const auto x = [&](qint64 time) {
        return place.left() + int(double(time - whole.begin) * place.width() / whole.length());
    };
    painter->fillRect(place, theme::view);
    const int left = x(m_scale.visible().begin);
    painter->fillRect(left, place.top(), qMax(6, x(m_scale.visible().end) - left), place.height(),
                      theme::line.lighter(170));
}
