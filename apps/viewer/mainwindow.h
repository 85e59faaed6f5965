// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "cameraaddress.h"
#include "statistics.h"

#include <QElapsedTimer>
#include <QList>
#include <QTimer>
#include <QWidget>

class QGridLayout;
class QShortcut;
class QStackedWidget;
class StreamView;
class ToolBar;

/// The viewer's one window: views in a grid, a bar below, and with no camera a page that says what
/// to do.
///
/// Closing: all views stop at once; the window hides and the event loop runs on until every stream
/// thread has ended, for five seconds at most. Then the application quits.
class MainWindow final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(MainWindow)

public:
    /// As many views as stay readable in one window.
    static constexpr int kMaximumViews = 16;

    /// `transport`: "tcp" or "udp", for all views. `filesFolder`: there each camera gets a folder
    /// for its recordings and pictures.
    MainWindow(const QString &transport, const QString &filesFolder, QWidget *parent = nullptr);
    ~MainWindow() override;

    /// Adds a view and starts it. False if there are as many as the window takes.
    bool addCamera(const CameraAddress &address);
    /// Records all cameras; if all that play are recorded already, ends that.
    void toggleAllRecordings();
    QVector<ViewSummary> summaries() const;
    double cpuPercent() const { return m_cpu.percent(); }
    /// Whether a stream thread has not ended yet.
    bool hasRunningThreads() const;

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    QWidget *makeEmptyPage();
    void connectToolBar();
    void addShortcuts();
    void tick();
    void layOutViews();
    CameraFiles filesFor(const CameraAddress &address) const;
    void select(StreamView *view);
    void selectNumber(int number);
    void toggleEnlarged(StreamView *view);
    void toggleFullScreen();
    void goBack();
    void askForAddress();
    void removeSelected();
    void togglePlay();
    void showHelp();
    void updateToolBar();

    const QString m_transport;
    const QString m_filesFolder;
    QStackedWidget *m_pages;
    QWidget *m_grid;
    QGridLayout *m_gridLayout;
    ToolBar *m_toolBar;
    QList<QShortcut *> m_viewShortcuts;
    QList<StreamView *> m_views;
    QList<StreamView *> m_retired;     ///< removed; deleted when their threads have ended
    StreamView *m_selected = nullptr;
    StreamView *m_enlarged = nullptr;
    CpuMeter m_cpu;
    QTimer m_tick;
    QElapsedTimer m_closing;           ///< valid from the wish to close
};
