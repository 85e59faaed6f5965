// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "theme.h"

#include <QApplication>
#include <QCalendarWidget>
#include <QFontMetrics>
#include <QPainter>
#include <QPalette>
#include <QTextCharFormat>

namespace theme {

const QColor window(0x14, 0x18, 0x1D);
const QColor bar(0x17, 0x1C, 0x21);
const QColor view(0x0D, 0x10, 0x13);
const QColor frame(0x1C, 0x21, 0x27);
const QColor line(0x2A, 0x31, 0x38);
const QColor text(0xE6, 0xE8, 0xEB);
const QColor dimText(0x93, 0x9C, 0xA6);
const QColor accent(0x22, 0xA3, 0xA9);
const QColor warning(0xE0, 0xA4, 0x58);
const QColor recording(0xF0, 0x48, 0x4E);

namespace {

constexpr int kFontPixels = 13;
constexpr int kLabelPadding = 8;
constexpr int kDotSize = 8;
constexpr double kDisabledOpacity = 0.3;

const char kStyleSheet[] = R"(
QToolTip { color: #E6E8EB; background: #242B32; border: 1px solid #39424B; padding: 4px 6px; }
QToolButton { border: none; border-radius: 6px; padding: 6px; background: transparent; }
QToolButton:hover { background: #232A31; }
QToolButton:pressed { background: #1B4A4D; }
QToolButton:checked { background: #17484B; }
QToolButton:checked:hover { background: #1C5558; }
QLineEdit { background: #0D1013; border: 1px solid #39424B; border-radius: 6px;
            padding: 8px 10px; selection-background-color: #22A3A9; }
QLineEdit:focus { border-color: #22A3A9; }
QPushButton { color: #E6E8EB; background: #242B32; border: 1px solid #39424B; border-radius: 6px;
              padding: 8px 16px; }
QPushButton:hover { background: #2C343C; }
QPushButton:default { color: #FFFFFF; background: #177B80; border-color: #177B80; }
QPushButton:default:hover { background: #1B8E94; }
#devices { background: #171C21; padding: 8px 4px; show-decoration-selected: 1;
           selection-background-color: #17484B; }
#devices::item { padding: 4px 2px; }
#devices::item:hover { background: #1E252B; }
#devices::item:selected { background: #17484B; color: #E6E8EB; }
QSplitter::handle { background: #2A3138; }
QScrollBar:vertical { background: transparent; width: 10px; }
QScrollBar::handle:vertical { background: #39424B; border-radius: 4px; min-height: 24px;
                              margin: 0 1px; }
QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }
#tabs { background: #171C21; border-bottom: 1px solid #2A3138; }
#tabs QToolButton { color: #939CA6; border-radius: 0; padding: 0 4px;
                    border-bottom: 2px solid transparent; }
#tabs QToolButton:hover { color: #E6E8EB; background: transparent; }
#tabs QToolButton:checked { color: #E6E8EB; background: transparent;
                            border-bottom: 2px solid #22A3A9; }
QAbstractSpinBox, QComboBox { background: #0D1013; border: 1px solid #39424B; border-radius: 6px;
                              padding: 5px 10px; selection-background-color: #22A3A9; }
QAbstractSpinBox:focus, QComboBox:focus { border-color: #22A3A9; }
QDateTimeEdit::drop-down, QComboBox::drop-down { border: none; width: 18px; }
QDateTimeEdit::down-arrow, QComboBox::down-arrow { image: url(:/viewer/icons/down.svg);
                                                   width: 12px; height: 12px; }
QComboBox QAbstractItemView { background: #171C21; border: 1px solid #39424B; outline: none;
                              selection-background-color: #17484B; }
QCalendarWidget QWidget { background: #171C21; alternate-background-color: #1E252B; }
QCalendarWidget QAbstractItemView { background: #171C21; selection-background-color: #177B80;
                                    selection-color: #FFFFFF; outline: none; }
QCalendarWidget QAbstractItemView:disabled { color: #4A535C; }
#qt_calendar_prevmonth { qproperty-icon: url(:/viewer/icons/previous.svg); }
#qt_calendar_nextmonth { qproperty-icon: url(:/viewer/icons/next.svg); }
QCalendarWidget QToolButton { color: #E6E8EB; padding: 4px 8px; }
QCheckBox { spacing: 6px; }
QCheckBox::indicator { width: 14px; height: 14px; border: 1px solid #4A535C; border-radius: 3px;
                       background: #0D1013; }
QCheckBox::indicator:checked { background: #177B80; border-color: #177B80;
                               image: url(:/viewer/icons/tick.svg); }
QCheckBox:focus { color: #FFFFFF; }
QCheckBox::indicator:focus { border-color: #22A3A9; }
QProgressBar { background: #0D1013; border: none; border-radius: 2px; }
QProgressBar::chunk { background: #22A3A9; border-radius: 2px; }
#form { background: #171C21; border-bottom: 1px solid #2A3138; }
#queue, #queue > QWidget > QWidget { background: #14181D; }
#download { background: #1A2026; border: 1px solid #2A3138; border-radius: 6px; }
#position { font-size: 15px; }
#link { color: #4FC3C9; background: transparent; border: none; padding: 2px 0; text-align: left; }
#link:hover, #link:focus { color: #8FE0E4; text-decoration: underline; }
#accent { color: #FFFFFF; background: #177B80; border-color: #177B80; }
#accent:hover { background: #1B8E94; }
#accent:focus, QPushButton:focus { border-color: #22A3A9; }
QToolButton:focus { background: #232A31; }
#bar { background: #171C21; border-top: 1px solid #2A3138; }
#separator { background: #2A3138; }
#dim { color: #939CA6; }
#title { font-size: 20px; }
#problem { color: #E0A458; }
)";

} // namespace

void apply(QApplication &application)
{
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, view);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x6C, 0x75, 0x7F));
    palette.setColor(QPalette::Button, window);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::ToolTipBase, line);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, dimText);
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, dimText);
    application.setPalette(palette);
    QFont font = application.font();
    font.setPixelSize(kFontPixels);
    application.setFont(font);
    application.setStyleSheet(QString::fromLatin1(kStyleSheet));
    application.setWindowIcon(icon(QStringLiteral("vantra-viewer")));
}

QIcon icon(const QString &name)
{
    const QIcon drawing(name.startsWith(QLatin1Char(':'))
                            ? name
                            : QStringLiteral(":/viewer/icons/%1.svg").arg(name));
    // What Qt makes of near-white strokes for a disabled button can hardly be told from enabled,
    // and an icon that draws itself from SVG takes no pictures of ours beside it.
    QIcon icon;
    for (const int size : {iconSize, 2 * iconSize, 4 * iconSize}) {
        for (const QIcon::Mode mode : {QIcon::Normal, QIcon::Disabled}) {
            QPixmap pixmap(size, size);
            pixmap.fill(Qt::transparent);
            QPainter painter(&pixmap);
            painter.setOpacity(mode == QIcon::Disabled ? kDisabledOpacity : 1);
            drawing.paint(&painter, pixmap.rect());
            painter.end();
            icon.addPixmap(pixmap, mode);
        }
    }
    return icon;
}

int fieldWidth(const QString &text)
{
    constexpr int frame = 2 * 11 + 24; // padding and border as above, and the arrow
    return QFontMetrics(QApplication::font()).horizontalAdvance(text) + frame;
}

void dress(QCalendarWidget *calendar)
{
    QTextCharFormat day;
    day.setForeground(theme::text);
    for (const Qt::DayOfWeek weekend : {Qt::Saturday, Qt::Sunday})
        calendar->setWeekdayTextFormat(weekend, day);
    QTextCharFormat head;
    head.setForeground(dimText);
    calendar->setHeaderTextFormat(head);
    calendar->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
}

int labelHeight()
{
    return QFontMetrics(QApplication::font()).height() + kLabelPadding;
}

QImage label(const QString &text, qreal devicePixelRatio, int width, const QColor &dot)
{
    const QFontMetrics metrics(QApplication::font());
    const int dotRoom = dot.isValid() ? kDotSize + kLabelPadding - 2 : 0;
    const int around = 2 * kLabelPadding + dotRoom;
    const int wanted = metrics.horizontalAdvance(text) + around;
    const QSize size(width > 0 ? qMin(width, wanted) : wanted, labelHeight());
    if (size.width() <= around)
        return QImage();
    QImage image(size * devicePixelRatio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::transparent);

    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(13, 16, 19, 190));
    painter.drawRoundedRect(QRect(QPoint(0, 0), size), 5, 5);
    if (dot.isValid()) {
        painter.setBrush(dot);
        painter.drawEllipse(
            QRectF(kLabelPadding, (size.height() - kDotSize) / 2.0, kDotSize, kDotSize));
    }
    painter.setFont(QApplication::font());
    painter.setPen(theme::text);
    const QRect textRect(kLabelPadding + dotRoom, 0, size.width() - around, size.height());
    painter.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft,
                     metrics.elidedText(text, Qt::ElideMiddle, textRect.width() + 1));
    return image;
}

} // namespace theme
