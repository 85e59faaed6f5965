// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "recordingmark.h"

#include "theme.h"
#include "viewlabels.h"

#include <QEvent>
#include <QPainter>

namespace {

constexpr int kGapBelowName = 4; ///< pixels

QString textOf(RecordingState state, qint64 writtenMs)
{
    switch (state) {
    case RecordingState::Off:
        break;
    case RecordingState::Waiting:
        return RecordingMark::tr("Recording waits for pictures");
    case RecordingState::Writing:
        return RecordingMark::tr("REC %1").arg(durationText(writtenMs));
    case RecordingState::Failing:
        return RecordingMark::tr("NOT recording: the file does not grow");
    }
    return QString();
}

} // namespace

RecordingMark::RecordingMark(QWidget *view) : QWidget(view)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    view->installEventFilter(this);
    hide();
}

void RecordingMark::showState(RecordingState state, qint64 writtenMs)
{
    const QString text = textOf(state, writtenMs);
    if (text == m_text)
        return;
    m_text = text;
    m_dot = state == RecordingState::Writing ? theme::recording : theme::warning;
    place();
}

bool RecordingMark::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parent() && event->type() == QEvent::Resize && !m_text.isEmpty())
        place();
    return QWidget::eventFilter(watched, event);
}

void RecordingMark::place()
{
    const int room = parentWidget()->width() - 2 * ViewLabels::kOffset;
    m_picture =
        m_text.isEmpty() ? QImage() : theme::label(m_text, devicePixelRatioF(), room, m_dot);
    setVisible(!m_picture.isNull());
    if (m_picture.isNull())
        return;
    setGeometry(QRect(
        QPoint(ViewLabels::kOffset, ViewLabels::kOffset + theme::labelHeight() + kGapBelowName),
        m_picture.size() / m_picture.devicePixelRatio()));
    update();
}

void RecordingMark::paintEvent(QPaintEvent *)
{
    QPainter(this).drawImage(0, 0, m_picture);
}
