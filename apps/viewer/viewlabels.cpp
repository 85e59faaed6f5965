// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "viewlabels.h"

#include "core_videobase/abstractvideowidget.h"
#include "theme.h"

#include <QDateTime>

namespace {

constexpr int kNoticeMs = 2500;

const QString kNameLabel = QStringLiteral("name");
const QString kClockLabel = QStringLiteral("clock");
const QString kNoticeLabel = QStringLiteral("notice");

int widthOf(const QImage &picture)
{
    return int(picture.width() / picture.devicePixelRatio());
}

} // namespace

ViewLabels::ViewLabels(AbstractVideoWidget *view, const QString &name, int bottomRoom)
    : QObject(view), m_view(view), m_name(name), m_bottomRoom(bottomRoom)
{
    m_noticeTimer.setSingleShot(true);
    connect(&m_noticeTimer, &QTimer::timeout, this, [this] { m_view->removeOsd(kNoticeLabel); });
}

void ViewLabels::show()
{
    m_view->removeOsd(kNameLabel);
    m_view->removeOsd(kClockLabel);
    m_clock.clear();
    if (m_visible) {
        place(kNameLabel,
              theme::label(m_name, m_view->devicePixelRatioF(), m_view->width() - 2 * kOffset),
              QPoint(kOffset, kOffset));
    }
    updateClock();
    if (m_noticeTimer.isActive())
        placeNotice();
}

void ViewLabels::toggle()
{
    m_visible = !m_visible;
    show();
}

void ViewLabels::updateClock()
{
    const QString clock = m_clockText.isEmpty()
                              ? QDateTime::currentDateTime().toString("yyyy-MM-dd HH:mm:ss")
                              : m_clockText;
    if (!m_visible || clock == m_clock)
        return;
    m_clock = clock;
    const QImage picture = theme::label(clock, m_view->devicePixelRatioF());
    const int nameWidth = widthOf(theme::label(m_name, 1));
    // Where both do not fit side by side, the name is worth more.
    const bool fits = nameWidth + widthOf(picture) + 3 * kOffset < m_view->width();
    place(kClockLabel, fits ? picture : QImage(),
          QPoint(m_view->width() - kOffset - widthOf(picture), kOffset));
}

void ViewLabels::showClock(const QString &text)
{
    m_clockText = text;
    updateClock();
}

void ViewLabels::notice(const QString &text)
{
    m_notice = text;
    placeNotice();
    m_noticeTimer.start(kNoticeMs);
}

void ViewLabels::placeNotice()
{
    const QImage picture =
        theme::label(m_notice, m_view->devicePixelRatioF(), m_view->width() - 2 * kOffset);
    place(kNoticeLabel, picture,
          QPoint((m_view->width() - widthOf(picture)) / 2,
                 m_view->height() - m_bottomRoom - theme::labelHeight() - kOffset));
}

void ViewLabels::reset()
{
    m_noticeTimer.stop();
    m_clock.clear();
}

void ViewLabels::place(const QString &label, const QImage &picture, const QPoint &point)
{
    OsdInfo osd;
    osd.name = label;
    osd.visible = !picture.isNull();
    osd.image = picture;
    osd.format = OsdFormat_Image;
    osd.position = OsdPosition_Custom;
    osd.point = point;
    m_view->setOsd(osd);
    m_view->update();
}
