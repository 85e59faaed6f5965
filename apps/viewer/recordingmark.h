// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "recordingwatch.h"

#include <QWidget>

/// Lies over a view that is to be recorded, below the camera's name, and tells at one glance
/// whether it is: a red dot and the time recorded, or an amber dot and what is wrong. It lets the
/// mouse through.
class RecordingMark final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(RecordingMark)

public:
    /// `view` is the owner.
    explicit RecordingMark(QWidget *view);

    void showState(RecordingState state, qint64 writtenMs);
    QString text() const { return m_text; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void place();

    QString m_text;
    QColor m_dot;
    QImage m_picture;
};
