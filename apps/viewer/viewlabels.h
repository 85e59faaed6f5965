// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>
#include <QObject>
#include <QPoint>
#include <QString>
#include <QTimer>

class AbstractVideoWidget;

/// What stands over the picture of a view: the camera's name, a clock, and for a while a few words
/// on what a key has just done. They are overlays of the video widget, which forgets them at each
/// end of play; show() brings them back.
class ViewLabels final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ViewLabels)

public:
    /// Pixels between a label and the edge of the view.
    static constexpr int kOffset = 10;

    /// `view` is the owner. `bottomRoom`: pixels at the bottom that notices leave free.
    ViewLabels(AbstractVideoWidget *view, const QString &name, int bottomRoom);

    /// Draws name and clock anew, for the view's present size.
    void show();
    void toggle();
    /// To be called a few times each second while the picture is live.
    void updateClock();
    /// Shows that in place of the time of now, from now on.
    void showClock(const QString &text);
    /// Words that vanish by themselves.
    void notice(const QString &text);
    /// The words last shown.
    QString lastNotice() const { return m_notice; }
    /// Play has ended: the widget has dropped all labels.
    void reset();

private:
    void placeNotice();
    void place(const QString &label, const QImage &picture, const QPoint &point);

    AbstractVideoWidget *const m_view;
    const QString m_name;
    const int m_bottomRoom;
    bool m_visible = true;
    QString m_clock;     ///< as last drawn
    QString m_clockText; ///< in place of the time of now
    QString m_notice;
    QTimer m_noticeTimer;
};
