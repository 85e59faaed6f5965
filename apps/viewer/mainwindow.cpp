// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "mainwindow.h"

#include "addressform.h"
#include "camerafiles.h"
#include "devicelink/hnetdevice.h"
#include "devicetree.h"
#include "downloadpage.h"
#include "downloadqueue.h"
#include "keysdialog.h"
#include "liveview.h"
#include "playbackbar.h"
#include "playbackpage.h"
#include "playbackthread.h"
#include "playbackview.h"
#include "streamthreads.h"
#include "theme.h"
#include "toolbar.h"
#include "viewgrid.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QGridLayout>
#include <QLabel>
#include <QSplitter>
#include <QStackedWidget>

#include <algorithm>

namespace {

constexpr int kTickMs = 250;
constexpr int kTellForMs = 6000; ///< what has happened
/// A stream thread that hangs in the network, say in a name look-up, holds the window no longer.
constexpr int kCloseWithinMs = 5000;
/// The end of a file is worth more patience.
constexpr int kEndFilesWithinMs = 15000;
constexpr int kEmptyIconSize = 56; ///< pixels
constexpr int kTreeWidth = 256;    ///< pixels
constexpr int kGridWidth = 1024;   ///< pixels

} // namespace

MainWindow::MainWindow(const QString &transport, const QString &filesFolder, QWidget *parent)
    : QWidget(parent), m_filesFolder(filesFolder), m_tree(new DeviceTree),
      m_pages(new QStackedWidget), m_tabs(new PageTabs), m_stack(new QStackedWidget),
      m_bars(new QStackedWidget), m_grid(new ViewGrid(transport, filesFolder)),
      m_toolBar(new ToolBar), m_queue(new DownloadQueue(filesFolder, this)),
      m_playback(new PlaybackPage(filesFolder)), m_downloadPage(new DownloadPage(m_queue))
{
    setWindowTitle(tr("Vantra viewer"));
    resize(kTreeWidth + kGridWidth, 764);
    m_main = makeMain();
    m_pages->addWidget(makeEmptyPage());
    m_pages->addWidget(m_main);
    m_bars->setFixedHeight(theme::barHeight);
    for (QWidget *bar : QList<QWidget *>{m_toolBar, m_playback->bar(), m_downloadPage->bar()})
        m_bars->addWidget(bar);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_pages, 1);
    layout->addWidget(m_bars);

    connectToolBar();
    connectPages();
    addShortcuts();
    addViewShortcuts();
    connect(m_tree, &DeviceTree::chosen, this, &MainWindow::showCamera);
    connect(m_grid, &ViewGrid::changed, this, &MainWindow::updateToolBar);
    connect(m_grid, &ViewGrid::cameraDropped, this, &MainWindow::put);
    connect(m_grid, &ViewGrid::recordingEnded, this, [this](const QString &name) {
        m_told = tr("the recording of %1 has ended").arg(name);
        m_sinceTold.start();
    });
    connect(&m_tick, &QTimer::timeout, this, &MainWindow::tick);
    m_clock.start();
    m_tick.start(kTickMs);
    m_pages->currentWidget()->setFocus();
    tick();
}

QWidget *MainWindow::makeMain()
{
    m_side = new QWidget;
    auto *side = new QVBoxLayout(m_side);
    side->setContentsMargins(0, 0, 0, 0);
    side->setSpacing(0);
    side->addWidget(m_tabs);
    side->addWidget(m_tree, 1);
    for (QWidget *page : QList<QWidget *>{m_grid, m_playback, m_downloadPage})
        m_stack->addWidget(page);
    auto *splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(1);
    splitter->addWidget(m_side);
    splitter->addWidget(m_stack);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({kTreeWidth, kGridWidth});
    return splitter;
}

MainWindow::~MainWindow()
{
    for (QObject *sender : QList<QObject *>{m_grid, m_playback, m_queue})
        disconnect(sender, nullptr, this, nullptr);
}

QWidget *MainWindow::makeEmptyPage()
{
    auto *page = new QWidget;
    auto *icon = new QLabel;
    icon->setPixmap(theme::icon("camera").pixmap(kEmptyIconSize));
    icon->setAlignment(Qt::AlignCenter);
    auto *title = new QLabel(tr("No camera yet"));
    title->setObjectName(QStringLiteral("title"));
    title->setAlignment(Qt::AlignCenter);
    auto *text = new QLabel(tr("Enter the address of a camera. Its manual names the path."));
    text->setObjectName(QStringLiteral("dim"));
    text->setAlignment(Qt::AlignCenter);
    auto *form = new AddressForm;
    connect(form, &AddressForm::accepted, this,
            [this](const CameraAddress &address) { addCamera(address); });
    page->setFocusProxy(form->findChild<QWidget *>(QStringLiteral("addressField")));

    auto *layout = new QGridLayout(page);
    layout->setVerticalSpacing(2 * theme::gap);
    layout->setColumnStretch(0, 1);
    layout->setColumnStretch(2, 1);
    layout->setRowStretch(0, 1);
    layout->addWidget(icon, 1, 1);
    layout->addWidget(title, 2, 1);
    layout->addWidget(text, 3, 1);
    layout->addWidget(form, 4, 1);
    layout->setRowStretch(5, 1);
    return page;
}

// ---- Devices ------------------------------------------------------------------------------------

void MainWindow::addDevice(const Device &device)
{
    Listed listed{device, LinkWatch()};
    // Names that differ in no letter or number would share a folder.
    const auto isTaken = [this](const QString &name) {
        return std::any_of(m_devices.begin(), m_devices.end(), [&](const Listed &other) {
            return CameraFiles::nameFor(other.device.name) == CameraFiles::nameFor(name);
        });
    };
    for (int i = 2; isTaken(listed.device.name); ++i)
        listed.device.name = QStringLiteral("%1 (%2)").arg(device.name).arg(i);
    m_devices.append(listed);
    m_tree->addDevice(listed.device);

    const QVector<Camera> cameras = listed.device.cameras();
    const QList<LiveView *> &views = m_grid->views();
    const int used = int(std::count_if(
        views.begin(), views.end(), [](const LiveView *view) { return view->camera().isValid(); }));
    if (ViewGrid::sizeFor(used + cameras.size()) > views.size())
        m_grid->resizeTo(ViewGrid::sizeFor(used + cameras.size()));
    for (const Camera &camera : cameras)
        if (LiveView *view = m_grid->emptyView())
            m_grid->put(view, camera);

    for (const Camera &camera : cameras)
        m_downloadPage->addCamera(camera);
    if (m_pages->currentWidget() != m_main) {
        m_pages->setCurrentWidget(m_main);
        showPage(m_page);
    }
    tick();
}

void MainWindow::addCamera(const CameraAddress &main, const CameraAddress &sub)
{
    addDevice(cameraDevice(main, sub));
}

/// What is sent by RTSP has no link beside its streams: there, one that is shown tells.
bool MainWindow::isConnected(const Device &device) const
{
    if (device.link->getConnectStatus() != HChannelConnected)
        return false;
    if (device.link->getStreamProtocol() != HTransportRtsp)
        return true;
    bool isWanted = false;
    for (const LiveView *view : m_grid->views()) {
        if (view->camera().link != device.link || !view->isWanted())
            continue;
        if (!view->isFailing() && view->state() == ViewState::Live)
            return true;
        isWanted = true;
    }
    return !isWanted;
}

void MainWindow::lookAtDevices()
{
    for (int i = 0; i < m_devices.size(); ++i)
        m_tree->showLink(
            i, m_devices[i].watch.look(m_clock.elapsed(), isConnected(m_devices[i].device)));
    showPlaces();
}

/// Tells in the list which views show a camera.
void MainWindow::showPlaces()
{
    QHash<QString, QStringList> places;
    const auto note = [&places](const auto &views) {
        for (int i = 0; i < views.size(); ++i)
            places[views[i]->camera().key].append(QString::number(i + 1));
    };
    if (m_page == PageTabs::Live)
        note(m_grid->views());
    else if (m_page == PageTabs::Playback)
        note(m_playback->views());
    for (const Camera &camera : cameras()) {
        const QStringList numbers = places.value(camera.key);
        m_tree->showChannel(camera.key,
                            numbers.isEmpty() ? QString() : tr("view %1").arg(numbers.join(", ")));
    }
}

QVector<Camera> MainWindow::cameras() const
{
    QVector<Camera> cameras;
    for (const Listed &listed : m_devices)
        cameras += listed.device.cameras();
    return cameras;
}

Camera MainWindow::cameraOf(const QString &key) const
{
    const QVector<Camera> all = cameras();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const Camera &camera) { return camera.key == key; });
    return found == all.end() ? Camera() : *found;
}

void MainWindow::put(LiveView *view, const QString &key)
{
    const Camera camera = cameraOf(key);
    if (!camera.isValid())
        return;
    m_grid->select(m_grid->put(view, camera));
    showPlaces();
}

void MainWindow::putPlayback(PlaybackView *view, const QString &key)
{
    const Camera camera = cameraOf(key);
    if (camera.isValid())
        m_playback->put(view, camera);
    showPlaces();
}

void MainWindow::showCamera(const QString &key)
{
    // A person may go on choosing for other views: the list keeps the focus.
    const bool inList = m_tree->hasFocus();
    switch (m_page) {
    case PageTabs::Live:
        put(m_grid->selected(), key);
        break;
    case PageTabs::Playback:
        putPlayback(m_playback->selected(), key);
        break;
    case PageTabs::Downloads:
        m_downloadPage->choose(key);
        break;
    }
    if (inList)
        m_tree->setFocus();
}

// ---- Pages --------------------------------------------------------------------------------------

void MainWindow::showPage(PageTabs::Page page)
{
    m_page = page;
    if (m_devices.isEmpty())
        return; // once there is one
    if (page != PageTabs::Live)
        m_grid->endTalks(); // a microphone is not left open out of sight
    m_tabs->showPage(page);
    m_stack->setCurrentIndex(page);
    m_bars->setCurrentIndex(page);
    if (page == PageTabs::Playback && !m_playback->hasCamera())
        putPlayback(m_playback->selected(), m_tree->currentKey());
    currentView()->setFocus();
    showPlaces();
}

/// What has the focus on the page.
QWidget *MainWindow::currentView() const
{
    switch (m_page) {
    case PageTabs::Live:
        return m_grid->selected();
    case PageTabs::Playback:
        return m_playback->selected();
    case PageTabs::Downloads:
        break;
    }
    return m_downloadPage;
}

void MainWindow::demonstrate()
{
    const qint64 begin = recordingtime::of(QDate::currentDate().addDays(-1)) +
                         14 * recordingtime::hourMs + 20 * recordingtime::minuteMs;
    const QVector<Camera> shown = cameras().mid(0, PlaybackPage::kMaximumViews);
    if (m_page == PageTabs::Playback) {
        m_playback->setDay(recordingtime::dayOf(begin));
        m_playback->setViewCount(shown.size() < 2 ? 1 : PlaybackPage::kMaximumViews);
        for (int i = 0; i < shown.size(); ++i)
            m_playback->put(m_playback->views()[i], shown[i]);
        m_playback->select(m_playback->views().first());
        m_playback->playFrom(begin);
    } else if (m_page == PageTabs::Downloads) {
        m_downloadPage->setSpan({begin, begin + recordingtime::minuteMs});
        for (const Camera &camera : shown)
            m_queue->add(camera, m_downloadPage->span(), true);
    }
}

void MainWindow::showQueue()
{
    m_tabs->showCount(PageTabs::Downloads, m_queue->active() + m_queue->waiting());
}

// ---- Views --------------------------------------------------------------------------------------

void MainWindow::setViewCount(int count)
{
    m_grid->resizeTo(count);
    showPlaces();
}

bool MainWindow::setOpengl(bool on)
{
    return m_grid->setOpengl(on);
}

void MainWindow::toggleAllRecordings()
{
    const QList<LiveView *> &views = m_grid->views();
    const bool missing = std::any_of(views.begin(), views.end(), [](const LiveView *view) {
        return view->isWanted() && !view->isRecording();
    });
    for (LiveView *view : views)
        if (view->isRecording() != missing)
            view->toggleRecording();
}

void MainWindow::clearSelected()
{
    m_grid->put(m_grid->selected(), Camera());
    showPlaces();
}

void MainWindow::togglePlay()
{
    LiveView *view = m_grid->selected();
    if (view->isWanted())
        view->halt();
    else
        view->play();
}

// ---- Window -------------------------------------------------------------------------------------

void MainWindow::goToList()
{
    if (isFullScreen())
        toggleFullScreen();
    m_tree->setFocus();
}

void MainWindow::enter()
{
    if (m_tree->hasFocus())
        m_tree->chooseCurrent();
    else if (m_page == PageTabs::Live)
        m_grid->toggleEnlarged(m_grid->selected());
    else if (m_page == PageTabs::Playback)
        m_playback->toggleEnlarged(m_playback->selected());
}

void MainWindow::toggleFullScreen()
{
    setWindowState(windowState() ^ Qt::WindowFullScreen);
    m_bars->setVisible(!isFullScreen());
    m_side->setVisible(!isFullScreen());
    if (isFullScreen()) {
        currentView()->setFocus();
        const QString text = tr("F or Esc leaves full screen");
        if (m_page == PageTabs::Live)
            m_grid->selected()->notice(text);
        else if (m_page == PageTabs::Playback)
            m_playback->selected()->notice(text);
    }
    updateToolBar();
}

void MainWindow::goBack()
{
    LiveView *view = m_grid->selected();
    const bool isLive = m_page == PageTabs::Live;
    if (m_tree->hasFocus())
        currentView()->setFocus();
    else if (isLive && view->isDigitalZoom())
        view->toggleZoom();
    else if (isLive && m_grid->isEnlarged())
        m_grid->toggleEnlarged(view);
    else if (m_page == PageTabs::Playback && m_playback->goBack())
        return;
    else if (isFullScreen())
        toggleFullScreen();
}

void MainWindow::askForAddress()
{
    if (m_devices.isEmpty()) {
        m_pages->currentWidget()->setFocus();
        return;
    }
    QDialog dialog(this);
    dialog.setWindowTitle(tr("Add a camera"));
    auto *layout = new QVBoxLayout(&dialog);
    layout->setContentsMargins(2 * theme::gap, 2 * theme::gap, 2 * theme::gap, theme::gap);
    auto *form = new AddressForm;
    layout->addWidget(form);
    connect(form, &AddressForm::accepted, &dialog, [this, &dialog](const CameraAddress &address) {
        addCamera(address);
        dialog.accept();
    });
    form->focusField();
    dialog.exec();
}

void MainWindow::showHelp()
{
    showKeys(m_page, this);
}

void MainWindow::updateToolBar()
{
    m_toolBar->showView(m_grid->selected(), m_grid->isEnlarged(), isFullScreen());
    m_toolBar->showRender(m_grid->isOpengl());
}

void MainWindow::tick()
{
    m_cpu.sample();
    // A view that stops or starts reports that, and the list of views stays the same.
    for (LiveView *view : m_grid->views())
        view->tick();
    m_playback->tick();
    m_downloadPage->tick();
    if (m_closing.isValid()) {
        const bool endsFiles = m_endsRecordings || m_queue->active() > 0;
        const int patience = endsFiles ? kEndFilesWithinMs : kCloseWithinMs;
        if (!hasRunningThreads() || m_closing.hasExpired(patience))
            QApplication::quit();
        return;
    }
    lookAtDevices();
    updateToolBar();
    m_toolBar->showStatus(statusText());
}

QString MainWindow::statusText() const
{
    double rate = 0;
    int used = 0;
    int live = 0;
    int recording = 0;
    QStringList told;
    if (m_sinceTold.isValid() && !m_sinceTold.hasExpired(kTellForMs))
        told.append(m_told);
    for (const LiveView *view : m_grid->views()) {
        rate += view->pictureRate();
        used += view->camera().isValid();
        live += view->state() == ViewState::Live;
        recording += view->isRecording();
        if (view->isTalking())
            told.append(tr("talking to %1").arg(view->camera().name));
    }
    if (m_devices.isEmpty())
        return QString();
    if (recording > 0)
        told.append(tr("%1 recording").arg(recording));
    told.append(tr("%1 of %2 live    %3 pictures/s    CPU %4 %")
                    .arg(QString::number(live), QString::number(used),
                         QString::number(rate, 'f', 0), QString::number(m_cpu.percent(), 'f', 0)));
    return told.join(QStringLiteral("    "));
}

QVector<ViewSummary> MainWindow::summaries() const
{
    if (m_page == PageTabs::Playback)
        return m_playback->summaries();
    QVector<ViewSummary> summaries;
    for (const LiveView *view : m_grid->views())
        if (view->camera().isValid())
            summaries.append(view->summary());
    return summaries;
}

bool MainWindow::hasRunningThreads() const
{
    return streamthreads::anyLeftRuns() || PlaybackThread::anyRuns() || m_queue->active() > 0;
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    event->ignore();
    if (m_closing.isValid())
        return;
    m_closing.start();
    const QList<LiveView *> &views = m_grid->views();
    m_endsRecordings = std::any_of(views.begin(), views.end(),
                                   [](const LiveView *view) { return view->isRecording(); });
    hide();
    m_grid->stopAll();
    m_playback->stopAll();
    m_queue->stopAll();
    tick();
}
