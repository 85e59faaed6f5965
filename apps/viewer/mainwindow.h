// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "device.h"
#include "pagetabs.h"
#include "statistics.h"

#include <QElapsedTimer>
#include <QList>
#include <QTimer>
#include <QWidget>

class DeviceTree;
class DownloadPage;
class DownloadQueue;
class LiveView;
class PlaybackPage;
class PlaybackView;
class QStackedWidget;
class ToolBar;
class ViewGrid;

/// The viewer's one window: on the left the pages to choose from and the list of devices; beside it
/// the page, which shows live views, playbacks, or downloads; a bar below. With no device there is
/// a page that says what to do.
///
/// Closing: all views, playbacks and downloads stop at once; the window hides and the event loop
/// runs on until every thread of theirs has ended, for five seconds at most, or fifteen where files
/// are being ended. Then the application quits.
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
    void showPage(PageTabs::Page page);
    PageTabs::Page page() const { return m_page; }
    PlaybackPage *playback() const { return m_playback; }
    DownloadPage *downloadPage() const { return m_downloadPage; }
    DownloadQueue *downloads() const { return m_queue; }
    /// Does on the page what shows it: plays the first four cameras from yesterday 14:20 on, or
    /// downloads a minute of each from then.
    void demonstrate();
    /// 1, 4, 9 or 16 live views.
    void setViewCount(int count);
    /// Shows a camera of the list in the selected view or playback, or chooses it for a download.
    void showCamera(const QString &key);
    /// Shows pictures by OpenGL, or paints them; false where there is no OpenGL.
    bool setOpengl(bool on);
    /// Records all cameras that are shown; if all that play are recorded already, ends that.
    void toggleAllRecordings();
    /// Of the views that show a camera; of the playbacks, if their page is shown.
    QVector<ViewSummary> summaries() const;
    double cpuPercent() const { return m_cpu.percent(); }
    /// Whether a thread that was told to end has not yet.
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
    QWidget *makeMain();
    void connectToolBar();
    void connectPages();
    void addShortcuts();
    void addViewShortcuts();
    void tick();
    void lookAtDevices();
    void showPlaces();
    bool isConnected(const Device &device) const;
    Camera cameraOf(const QString &key) const;
    QVector<Camera> cameras() const;
    void put(LiveView *view, const QString &key);
    void putPlayback(PlaybackView *view, const QString &key);
    QWidget *currentView() const;
    void goToList();
    void enter();
    void toggleFullScreen();
    void goBack();
    void askForAddress();
    void clearSelected();
    void togglePlay();
    void showHelp();
    void showQueue();
    void updateToolBar();
    QString statusText() const;

    const QString m_filesFolder;
    DeviceTree *m_tree;
    QStackedWidget *m_pages; ///< that for want of a device, and all that is there with one
    QWidget *m_main = nullptr;
    QWidget *m_side = nullptr; ///< what is on the left
    PageTabs *m_tabs;
    QStackedWidget *m_stack; ///< the pages, in the order of PageTabs::Page
    QStackedWidget *m_bars;  ///< one for each page
    ViewGrid *m_grid;
    ToolBar *m_toolBar;
    DownloadQueue *m_queue;
    PlaybackPage *m_playback;
    DownloadPage *m_downloadPage;
    PageTabs::Page m_page = PageTabs::Live;
    QList<Listed> m_devices;
    CpuMeter m_cpu;
    QTimer m_tick;
    QString m_told; ///< what has happened
    QElapsedTimer m_sinceTold;
    QElapsedTimer m_clock;
    QElapsedTimer m_closing;       ///< valid from the wish to close
    bool m_endsRecordings = false; ///< then
};
