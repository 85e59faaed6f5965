// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// MainWindow: what its bars, pages and keys do.
#include "downloadpage.h"
#include "downloadqueue.h"
#include "liveview.h"
#include "mainwindow.h"
#include "playbackpage.h"
#include "playbackview.h"
#include "toolbar.h"
#include "viewgrid.h"

#include <QShortcut>

namespace {

constexpr int kVolumeStep = 10; ///< percent

} // namespace

void MainWindow::connectToolBar()
{
    const auto onView = [this](void (LiveView::*action)()) {
        return [this, action] { (m_grid->selected()->*action)(); };
    };
    connect(m_toolBar, &ToolBar::playClicked, this, &MainWindow::togglePlay);
    connect(m_toolBar, &ToolBar::soundClicked, this, onView(&LiveView::toggleMuted));
    connect(m_toolBar, &ToolBar::talkClicked, this, onView(&LiveView::toggleTalk));
    connect(m_toolBar, &ToolBar::scaleClicked, this, onView(&LiveView::nextScaleMode));
    connect(m_toolBar, &ToolBar::zoomClicked, this, onView(&LiveView::toggleZoom));
    connect(m_toolBar, &ToolBar::snapClicked, this, onView(&LiveView::savePicture));
    connect(m_toolBar, &ToolBar::recordClicked, this, onView(&LiveView::toggleRecording));
    connect(m_toolBar, &ToolBar::folderClicked, this, onView(&LiveView::showFolder));
    connect(m_toolBar, &ToolBar::enlargeClicked, this,
            [this] { m_grid->toggleEnlarged(m_grid->selected()); });
    connect(m_toolBar, &ToolBar::viewCountClicked, this, &MainWindow::setViewCount);
    connect(m_toolBar, &ToolBar::addClicked, this, &MainWindow::askForAddress);
    connect(m_toolBar, &ToolBar::clearClicked, this, &MainWindow::clearSelected);
    connect(m_toolBar, &ToolBar::renderClicked, this, [this] { setOpengl(!m_grid->isOpengl()); });
    connect(m_toolBar, &ToolBar::fullScreenClicked, this, &MainWindow::toggleFullScreen);
    connect(m_toolBar, &ToolBar::helpClicked, this, &MainWindow::showHelp);
}

void MainWindow::connectPages()
{
    connect(m_tabs, &PageTabs::chosen, this, &MainWindow::showPage);
    connect(m_playback, &PlaybackPage::cameraDropped, this, &MainWindow::putPlayback);
    connect(m_playback, &PlaybackPage::entered, this, &MainWindow::enter);
    connect(m_playback, &PlaybackPage::listWanted, this, &MainWindow::goToList);
    connect(m_playback, &PlaybackPage::fullScreenWanted, this, &MainWindow::toggleFullScreen);
    connect(m_playback, &PlaybackPage::helpWanted, this, &MainWindow::showHelp);
    connect(m_playback, &PlaybackPage::downloadWanted, this,
            [this](const Camera &camera, const TimeSpan &span) {
                m_queue->add(camera, span, true);
                m_playback->selected()->notice(tr("In the queue of downloads (F4)"));
            });
    connect(m_downloadPage, &DownloadPage::listWanted, this, &MainWindow::goToList);
    connect(m_downloadPage, &DownloadPage::fullScreenWanted, this, &MainWindow::toggleFullScreen);
    connect(m_downloadPage, &DownloadPage::helpWanted, this, &MainWindow::showHelp);
    connect(m_queue, &DownloadQueue::changed, this, &MainWindow::showQueue);
}

void MainWindow::addShortcuts()
{
    const auto add = [this](const QKeySequence &keys, auto action) {
        auto *shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, action);
    };
    add(QKeySequence(Qt::CTRL + Qt::Key_N), [this] { askForAddress(); });
    add(Qt::Key_Escape, [this] { goBack(); });
    add(Qt::Key_F1, [this] { showHelp(); });
    add(QKeySequence(Qt::CTRL + Qt::Key_Q), [this] { close(); });
    for (int page = 0; page < PageTabs::kPages; ++page)
        add(Qt::Key_F2 + page, [this, page] { showPage(PageTabs::Page(page)); });
}

/// Keys that act on live views, while these are seen.
void MainWindow::addViewShortcuts()
{
    const auto add = [this](const QKeySequence &keys, auto action) {
        auto *shortcut = new QShortcut(keys, m_grid);
        connect(shortcut, &QShortcut::activated, this, action);
    };
    const auto addForView = [this, add](const QKeySequence &keys, auto action) {
        add(keys, [this, action] { action(m_grid->selected()); });
    };
    addForView(Qt::Key_M, [](LiveView *view) { view->toggleMuted(); });
    addForView(Qt::Key_T, [](LiveView *view) { view->toggleTalk(); });
    addForView(Qt::Key_S, [](LiveView *view) { view->nextScaleMode(); });
    addForView(Qt::Key_Z, [](LiveView *view) { view->toggleZoom(); });
    addForView(Qt::Key_P, [](LiveView *view) { view->savePicture(); });
    addForView(Qt::Key_R, [](LiveView *view) { view->toggleRecording(); });
    addForView(QKeySequence(Qt::CTRL + Qt::Key_O), [](LiveView *view) { view->showFolder(); });
    addForView(Qt::Key_O, [](LiveView *view) { view->toggleLabels(); });
    for (const int key : {int(Qt::Key_Plus), int(Qt::Key_Equal)})
        addForView(key, [](LiveView *view) { view->changeVolume(kVolumeStep); });
    addForView(Qt::Key_Minus, [](LiveView *view) { view->changeVolume(-kVolumeStep); });
    add(Qt::Key_Space, [this] { togglePlay(); });
    add(QKeySequence(Qt::SHIFT + Qt::Key_R), [this] { toggleAllRecordings(); });
    for (const int key : {int(Qt::Key_Return), int(Qt::Key_Enter)})
        add(key, [this] { enter(); });
    add(Qt::Key_G, [this] { setOpengl(!m_grid->isOpengl()); });
    add(Qt::Key_F, [this] { toggleFullScreen(); });
    add(Qt::Key_Delete, [this] { clearSelected(); });
    add(Qt::Key_L, [this] { goToList(); });
    for (int columns = 1; columns <= 4; ++columns) {
        add(QKeySequence(Qt::CTRL + Qt::Key_0 + columns),
            [this, columns] { setViewCount(columns * columns); });
    }
    for (int number = 1; number <= 9; ++number)
        add(Qt::Key_0 + number, [this, number] { m_grid->selectIndex(number - 1); });
}
