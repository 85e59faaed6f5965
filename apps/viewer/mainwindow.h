// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "device.h"
#include "statistics.h"

#include <QElapsedTimer>
#include <QList>
#include <QTimer>
#include <QWidget>

class DeviceTree;
class LiveView;
class QShortcut;
class QStackedWidget;
class ToolBar;
class ViewGrid;

/// The viewer's one window: the list of devices on the left, views in a grid, a bar below, and with
/// no device a page that says what to do.
///
/// Closing: all views stop at once; the window hides and the event loop runs on until every stream
/// thread has ended, for five seconds at most. Then the application quits.
class MainWindow final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(MainWindow)

public:
    /// `transport`: "tcp" or "udp", for devices that send by RTSP. `filesFolder`: there each camera
    /// gets a folder for its recordings and pictures.
    MainWindow(const QString &transport, const QString &filesFolder, QWidget *parent = nullptr);
    ~MainWindow() override;

    /// Puts a device into the list and its cameras into empty views, of which there become more
    /// where that helps.
    void addDevice(const Device &device);
    /// Adds the real camera at these addresses; `sub` need not be valid.
    void addCamera(const CameraAddress &main, const CameraAddress &sub = CameraAddress());
    /// 1, 4, 9 or 16 views.
    void setViewCount(int count);
    /// Shows a camera of the list in the selected view.
    void showCamera(const QString &key);
    /// Records all cameras that are shown; if all that play are recorded already, ends that.
    void toggleAllRecordings();
    /// Of the views that show a camera.
    QVector<ViewSummary> summaries() const;
    double cpuPercent() const { return m_cpu.percent(); }
    /// Whether a stream thread that was left has not ended yet.
    bool hasRunningThreads() const;

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    struct Listed
    {
        Device device;
        LinkWatch watch;
    };

    QWidget *makeEmptyPage();
    void connectToolBar();
    void addShortcuts();
    void addViewShortcuts();
    void tick();
    void lookAtDevices();
    void showPlaces();
    bool isConnected(const Device &device) const;
    void put(LiveView *view, const QString &key);
    void goToList();
    void enter();
    void toggleFullScreen();
    void goBack();
    void askForAddress();
    void clearSelected();
    void togglePlay();
    void showHelp();
    void updateToolBar();
    QString statusText() const;

    const QString m_filesFolder;
    DeviceTree *m_tree;
    QStackedWidget *m_pages;
    QWidget *m_main;
    ViewGrid *m_grid;
    ToolBar *m_toolBar;
    QList<QShortcut *> m_viewShortcuts;
    QList<Listed> m_devices;
    CpuMeter m_cpu;
    QTimer m_tick;
    QElapsedTimer m_clock;
    QElapsedTimer m_closing; ///< valid from the wish to close
};
