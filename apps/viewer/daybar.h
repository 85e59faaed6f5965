// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "buttonbar.h"
#include "recordingtime.h"

class QDateEdit;
class QLabel;

/// The bar above a time line: which day it shows, where play is, and the marked span.
class DayBar final : public ButtonBar
{
    Q_OBJECT
    Q_DISABLE_COPY(DayBar)

public:
    explicit DayBar(QWidget *parent = nullptr);

    /// Without a report.
    void setDay(const QDate &day);
    QDate day() const;
    /// The time of the picture that is seen; none: nothing is shown.
    void showPosition(qint64 time);
    /// Enables what can be done with a mark, and tells it.
    void showMark(const TimeSpan &mark, bool canDownload);

signals:
    void dayChosen(const QDate &day);
    /// The calendar or the field is done with.
    void left();
    void markBeginClicked();
    void markEndClicked();
    void clearMarkClicked();
    void downloadClicked();
    void zoomInClicked();
    void zoomOutClicked();
    void showAllClicked();

private:
    QDateEdit *m_day;
    QLabel *m_position;
    QLabel *m_mark;
    QToolButton *m_clearMark;
    QToolButton *m_download;
};
