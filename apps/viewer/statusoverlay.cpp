// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "statusoverlay.h"

#include "theme.h"
#include "viewlabels.h"

#include <QPainter>

namespace {

constexpr int kIconSize = 40;
constexpr int kTitlePixels = 16;
/// Long lines are hard to read, so text is no wider than this.
constexpr int kMaximumTextWidth = 420;

} // namespace

StatusOverlay::StatusOverlay(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
}

void StatusOverlay::showMessage(const Message &message)
{
    if (isVisible() && message == m_message)
        return;
    if (message.icon != m_message.icon)
        m_icon = theme::icon(message.icon);
    m_message = message;
    show();
    update();
}

void StatusOverlay::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(contentsRect(), m_message.veil ? QColor(13, 16, 19, 205) : theme::view);

    const int width = qMin(this->width() - 4 * theme::gap, kMaximumTextWidth);
    QFont titleFont = font();
    titleFont.setPixelSize(kTitlePixels);
    const int wrapped = Qt::AlignHCenter | Qt::TextWordWrap;
    const QRect unbounded(0, 0, width, height());
    const QRect title = QFontMetrics(titleFont).boundingRect(unbounded, wrapped, m_message.title);
    const QRect detail = fontMetrics().boundingRect(unbounded, wrapped, m_message.detail);
    const bool withDetail =
        !m_message.detail.isEmpty() && title.height() + detail.height() + 4 * theme::gap < height();

    int total = title.height() + (withDetail ? detail.height() + theme::gap : 0);
    constexpr int iconRoom = kIconSize + 2 * theme::gap;
    // The name above stays free.
    const int nameBottom = ViewLabels::kOffset + theme::labelHeight();
    const bool withIcon = (height() - total - iconRoom) / 2 > nameBottom;
    if (withIcon)
        total += iconRoom;
    const int left = (this->width() - width) / 2;
    int top = (height() - total) / 2;
    if (withIcon) {
        painter.setOpacity(0.55);
        m_icon.paint(&painter, (this->width() - kIconSize) / 2, top, kIconSize, kIconSize);
        painter.setOpacity(1);
        top += iconRoom;
    }
    painter.setFont(titleFont);
    painter.setPen(theme::text);
    painter.drawText(QRect(left, top, width, title.height()), wrapped, m_message.title);
    top += title.height() + theme::gap;
    if (withDetail) {
        painter.setFont(font());
        painter.setPen(theme::dimText);
        painter.drawText(QRect(left, top, width, detail.height()), wrapped, m_message.detail);
    }
    // Where the name stands while the picture is live.
    painter.drawImage(
        QPointF(ViewLabels::kOffset, ViewLabels::kOffset),
        theme::label(m_message.name, devicePixelRatioF(), this->width() - 2 * ViewLabels::kOffset));
}
