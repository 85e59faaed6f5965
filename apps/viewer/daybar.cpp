// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "daybar.h"

#include "recordingwatch.h"
#include "theme.h"

#include <QCalendarWidget>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

DayBar::DayBar(QWidget *parent)
    : ButtonBar(parent), m_day(new QDateEdit(QDate::currentDate())), m_position(new QLabel),
      m_mark(new QLabel)
{
    const auto add = [this](const QString &icon, const QString &tip, void (DayBar::*clicked)()) {
        QToolButton *button = addButton(icon, tip);
        connect(button, &QToolButton::clicked, this, clicked);
        return button;
    };
    const auto addDay = [this](const QString &icon, const QString &tip, int days) {
        QToolButton *button = addButton(icon, tip);
        connect(button, &QToolButton::clicked, this,
                [this, days] { emit dayChosen(day().addDays(days)); });
    };
    addDay("previous", tr("Day before (Page up)"), -1);
    m_day->setDisplayFormat(QStringLiteral("ddd  yyyy-MM-dd"));
    m_day->setCalendarPopup(true);
    m_day->setMinimumWidth(theme::fieldWidth(QStringLiteral("Wed  2026-00-00")));
    theme::dress(m_day->calendarWidget());
    m_day->setAlignment(Qt::AlignCenter);
    m_day->setButtonSymbols(QAbstractSpinBox::NoButtons);
    m_day->setToolTip(tr("Day of the recordings"));
    m_day->setAccessibleName(m_day->toolTip());
    m_day->setFocusPolicy(Qt::ClickFocus);
    row()->addWidget(m_day);
    connect(m_day, &QDateEdit::dateChanged, this, &DayBar::dayChosen);
    connect(m_day, &QDateEdit::editingFinished, this, &DayBar::left);
    connect(m_day->calendarWidget(), &QCalendarWidget::clicked, this, &DayBar::left,
            Qt::QueuedConnection);
    addDay("next", tr("Day after (Page down)"), 1);
    addSeparator();
    m_position->setObjectName(QStringLiteral("position"));
    m_position->setToolTip(tr("Time of the picture, to the frame"));
    row()->addWidget(m_position);
    row()->addStretch(1);
    m_mark->setObjectName(QStringLiteral("dim"));
    row()->addWidget(m_mark);
    add("mark-begin", tr("Mark: from this time (I), or drag over the line with Shift"),
        &DayBar::markBeginClicked);
    add("mark-end", tr("Mark: to this time (O)"), &DayBar::markEndClicked);
    m_clearMark = add("close", tr("Forget the mark (U)"), &DayBar::clearMarkClicked);
    m_download = add("download", tr("Download what is marked (D)"), &DayBar::downloadClicked);
    addSeparator();
    add("zoom-out", tr("Less detail (Ctrl+-), or the wheel"), &DayBar::zoomOutClicked);
    add("zoom-in", tr("More detail (Ctrl++), or the wheel"), &DayBar::zoomInClicked);
    add("whole-day", tr("The whole day (Ctrl+0)"), &DayBar::showAllClicked);
    showMark(TimeSpan(), false);
}

void DayBar::setDay(const QDate &day)
{
    const QSignalBlocker blocker(m_day);
    m_day->setDate(day);
}

QDate DayBar::day() const
{
    return m_day->date();
}

void DayBar::showPosition(qint64 time)
{
    m_position->setText(time < 0 ? QString() : recordingtime::text(time, true));
}

void DayBar::showMark(const TimeSpan &mark, bool canDownload)
{
    m_clearMark->setEnabled(mark.isValid());
    m_download->setEnabled(mark.isValid() && canDownload);
    m_mark->setText(mark.isValid()
                        ? tr("%1 to %2, %3")
                              .arg(recordingtime::clockText(mark.begin),
                                   recordingtime::clockText(mark.end), durationText(mark.length()))
                        : QString());
}
