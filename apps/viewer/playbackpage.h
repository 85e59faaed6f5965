// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "device.h"
#include "statistics.h"

#include <QDate>
#include <QList>
#include <QWidget>

class DayBar;
class PlaybackBar;
class PlaybackView;
class QGridLayout;
class TimeLine;

/// The page on which recordings of devices are watched: one to four playbacks side by side, each
/// with a channel of its own, and below them the time line of one day with a row for each.
///
/// Playbacks go together, unless told otherwise: what is done to one is done to all.
class PlaybackPage final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(PlaybackPage)

public:
    static constexpr int kMaximumViews = 4;

    /// `filesFolder` as in MainWindow.
    explicit PlaybackPage(const QString &filesFolder, QWidget *parent = nullptr);
    ~PlaybackPage() override;

    /// The bar that belongs to the page; whoever shows it becomes its owner.
    PlaybackBar *bar() const { return m_bar; }
    TimeLine *timeLine() const { return m_timeLine; }
    const QList<PlaybackView *> &views() const { return m_views; }
    PlaybackView *selected() const { return m_selected; }
    /// Whether a view shows a camera.
    bool hasCamera() const;

    /// 1, 2 or 4 playbacks. Those beyond end.
    void setViewCount(int count);
    /// Shows a camera in a view. One that another view shows changes places with it: a device plays
    /// one recording for each channel. Where the others are played, it joins them.
    void put(PlaybackView *view, const Camera &camera);
    void select(PlaybackView *view);
    void setDay(const QDate &day);
    /// All at once, or each by itself.
    void setTogether(bool together);
    bool isTogether() const { return m_together; }
    void playFrom(qint64 time);

    /// To be called a few times each second.
    void tick();
    void stopAll();
    /// Returns from what is enlarged; false if nothing is.
    bool goBack();
    void toggleEnlarged(PlaybackView *view);
    QVector<ViewSummary> summaries() const;

signals:
    void cameraDropped(PlaybackView *view, const QString &key);
    void downloadWanted(const Camera &camera, const TimeSpan &span);
    void fullScreenWanted();
    void helpWanted();
    /// Enter was pressed, wherever the focus is.
    void entered();
    void listWanted();

private:
    PlaybackView *makeView();
    void retire(PlaybackView *view);
    void layOut();
    void connectBars();
    void addShortcuts();
    QList<PlaybackView *> targets() const;
    void togglePlay();
    void step(int seconds);
    void changeSpeed(int steps);
    void markFrom(bool begin);
    void download();
    void showPositions();
    void keepTogether();
    void updateRows();
    void updateBars();

    const QString m_filesFolder;
    PlaybackBar *m_bar;
    DayBar *m_dayBar;
    TimeLine *m_timeLine;
    QGridLayout *m_layout;
    QList<PlaybackView *> m_views;
    PlaybackView *m_selected = nullptr;
    PlaybackView *m_enlarged = nullptr;
    QDate m_day;
    bool m_together = true;
};
