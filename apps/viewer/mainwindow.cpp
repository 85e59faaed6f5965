// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "mainwindow.h"

#include "addressform.h"
#include "devicelink/hnetdevice.h"
#include "devicetree.h"
#include "liveview.h"
#include "streamthreads.h"
#include "theme.h"
#include "toolbar.h"
#include "viewgrid.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QGridLayout>
#include <QLabel>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>

#include <algorithm>

namespace {

constexpr int kTickMs = 250;
/// A stream thread that hangs in the network, say in a name look-up, holds the window no longer.
constexpr int kCloseWithinMs = 5000;
constexpr int kVolumeStep = 10;      ///< percent
constexpr int kEmptyIconSize = 56;   ///< pixels
constexpr int kTreeWidth = 240;      ///< pixels
constexpr int kGridWidth = 1040;     ///< pixels

} // namespace

MainWindow::MainWindow(const QString &transport, const QString &filesFolder, QWidget *parent)
    : QWidget(parent), m_filesFolder(filesFolder), m_tree(new DeviceTree),
      m_pages(new QStackedWidget), m_grid(new ViewGrid(transport, filesFolder)),
      m_toolBar(new ToolBar)
{
    setWindowTitle(tr("Vantra viewer"));
    resize(kTreeWidth + kGridWidth, 764);
    auto *splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(1);
    splitter->addWidget(m_tree);
    splitter->addWidget(m_grid);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({kTreeWidth, kGridWidth});
    m_main = splitter;
    m_pages->addWidget(makeEmptyPage());
    m_pages->addWidget(m_main);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_pages, 1);
    layout->addWidget(m_toolBar);

    connectToolBar();
    addShortcuts();
    addViewShortcuts();
    connect(m_tree, &DeviceTree::chosen, this, &MainWindow::showCamera);
    connect(m_grid, &ViewGrid::changed, this, &MainWindow::updateToolBar);
    connect(m_grid, &ViewGrid::cameraDropped, this, &MainWindow::put);
    connect(&m_tick, &QTimer::timeout, this, &MainWindow::tick);
    m_clock.start();
    m_tick.start(kTickMs);
    m_pages->currentWidget()->setFocus();
    for (QShortcut *shortcut : qAsConst(m_viewShortcuts))
        shortcut->setEnabled(false);
    tick();
}

MainWindow::~MainWindow()
{
    disconnect(m_grid, nullptr, this, nullptr);
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
    connect(m_toolBar, &ToolBar::fullScreenClicked, this, &MainWindow::toggleFullScreen);
    connect(m_toolBar, &ToolBar::helpClicked, this, &MainWindow::showHelp);
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
}

/// Keys that act on views. On the page with the address field they belong to the field.
void MainWindow::addViewShortcuts()
{
    const auto add = [this](const QKeySequence &keys, auto action) {
        auto *shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, action);
        m_viewShortcuts.append(shortcut);
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

// ---- Devices ------------------------------------------------------------------------------------

void MainWindow::addDevice(const Device &device)
{
    Listed listed{device, LinkWatch()};
    const auto isTaken = [this](const QString &name) {
        return std::any_of(m_devices.begin(), m_devices.end(),
                           [&](const Listed &other) { return other.device.name == name; });
    };
    for (int i = 2; isTaken(listed.device.name); ++i)
        listed.device.name = QStringLiteral("%1 (%2)").arg(device.name).arg(i);
    m_devices.append(listed);
    m_tree->addDevice(listed.device);

    const QVector<Camera> cameras = listed.device.cameras();
    const QList<LiveView *> &views = m_grid->views();
    const int used = int(std::count_if(views.begin(), views.end(), [](const LiveView *view) {
        return view->camera().isValid();
    }));
    if (ViewGrid::sizeFor(used + cameras.size()) > views.size())
        m_grid->resizeTo(ViewGrid::sizeFor(used + cameras.size()));
    for (const Camera &camera : cameras)
        if (LiveView *view = m_grid->emptyView())
            m_grid->put(view, camera);

    if (m_pages->currentWidget() != m_main) {
        m_pages->setCurrentWidget(m_main);
        for (QShortcut *shortcut : qAsConst(m_viewShortcuts))
            shortcut->setEnabled(true);
        m_grid->selected()->setFocus();
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
        m_tree->showLink(i, m_devices[i].watch.look(m_clock.elapsed(),
                                                    isConnected(m_devices[i].device)));
    showPlaces();
}

/// Tells in the list which views show a camera.
void MainWindow::showPlaces()
{
    QHash<QString, QStringList> places;
    const QList<LiveView *> &views = m_grid->views();
    for (int i = 0; i < views.size(); ++i)
        places[views[i]->camera().key].append(QString::number(i + 1));
    for (const Listed &listed : qAsConst(m_devices))
        for (const Camera &camera : listed.device.cameras()) {
            const QStringList numbers = places.value(camera.key);
            m_tree->showChannel(camera.key, numbers.isEmpty()
                                                    ? QString()
                                                    : tr("view %1").arg(numbers.join(", ")));
        }
}

void MainWindow::put(LiveView *view, const QString &key)
{
    for (const Listed &listed : qAsConst(m_devices))
        for (const Camera &camera : listed.device.cameras())
            if (camera.key == key) {
                m_grid->select(m_grid->put(view, camera));
                showPlaces();
                return;
            }
}

void MainWindow::showCamera(const QString &key)
{
    // A person may go on choosing for other views: the list keeps the focus.
    const bool inList = m_tree->hasFocus();
    put(m_grid->selected(), key);
    if (inList)
        m_tree->setFocus();
}

// ---- Views --------------------------------------------------------------------------------------

void MainWindow::setViewCount(int count)
{
    m_grid->resizeTo(count);
    showPlaces();
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
    else
        m_grid->toggleEnlarged(m_grid->selected());
}

void MainWindow::toggleFullScreen()
{
    setWindowState(windowState() ^ Qt::WindowFullScreen);
    m_toolBar->setVisible(!isFullScreen());
    m_tree->setVisible(!isFullScreen());
    if (isFullScreen()) {
        m_grid->selected()->setFocus();
        m_grid->selected()->notice(tr("F or Esc leaves full screen"));
    }
    updateToolBar();
}

void MainWindow::goBack()
{
    LiveView *view = m_grid->selected();
    if (m_tree->hasFocus())
        view->setFocus();
    else if (view->isDigitalZoom())
        view->toggleZoom();
    else if (m_grid->isEnlarged())
        m_grid->toggleEnlarged(view);
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
    QDialog dialog(this);
    dialog.setWindowTitle(tr("Keys"));
    auto *layout = new QGridLayout(&dialog);
    layout->setContentsMargins(3 * theme::gap, 2 * theme::gap, 3 * theme::gap, 2 * theme::gap);
    layout->setHorizontalSpacing(3 * theme::gap);
    const QVector<QPair<QString, QString>> keys{
        {tr("L"), tr("go to the list; Enter shows a camera in the selected view")},
        {tr("Ctrl+1 to Ctrl+4"), tr("1, 4, 9 or 16 views")},
        {tr("1 to 9, Tab"), tr("select a view")},
        {tr("Enter, double click"), tr("show only this view, by its main stream, or all")},
        {tr("Del"), tr("make the selected view empty")},
        {tr("Space"), tr("start or stop the selected view")},
        {"M", tr("sound on or off")},
        {"+  -", tr("louder, quieter")},
        {"T", tr("talk to the device, or end that")},
        {"S", tr("fit, fill, own size")},
        {"Z", tr("digital zoom; then wheel and drag")},
        {"P", tr("save the picture")},
        {"R", tr("start or end a recording")},
        {tr("Shift+R"), tr("start or end recordings of all views")},
        {tr("Ctrl+O"), tr("open the folder of recordings and pictures")},
        {"O", tr("name and clock on or off")},
        {"F", tr("full screen")},
        {tr("Esc"), tr("back")},
        {tr("Ctrl+N"), tr("add a camera by its address")},
        {tr("Ctrl+Q"), tr("quit")},
    };
    for (int row = 0; row < keys.size(); ++row) {
        layout->addWidget(new QLabel(keys[row].first), row, 0);
        auto *meaning = new QLabel(keys[row].second);
        meaning->setObjectName(QStringLiteral("dim"));
        layout->addWidget(meaning, row, 1);
    }
    dialog.exec();
}

void MainWindow::updateToolBar()
{
    m_toolBar->showView(m_grid->selected(), m_grid->isEnlarged(), isFullScreen());
}

void MainWindow::tick()
{
    m_cpu.sample();
    // A view that stops or starts reports that, and the list of views stays the same.
    for (LiveView *view : m_grid->views())
        view->tick();
    if (m_closing.isValid()) {
        if (!hasRunningThreads() || m_closing.hasExpired(kCloseWithinMs))
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
    for (const LiveView *view : m_grid->views()) {
        rate += view->pictureRate();
        used += view->camera().isValid();
        live += view->state() == ViewState::Live;
        recording += view->isRecording();
    }
    if (m_devices.isEmpty())
        return QString();
    const QString recordings = recording == 0 ? QString() : tr("%1 recording    ").arg(recording);
    return recordings
            + tr("%1 of %2 live    %3 pictures/s    CPU %4 %")
                      .arg(QString::number(live), QString::number(used),
                           QString::number(rate, 'f', 0), QString::number(m_cpu.percent(), 'f', 0));
}

QVector<ViewSummary> MainWindow::summaries() const
{
    QVector<ViewSummary> summaries;
    for (const LiveView *view : m_grid->views())
        if (view->camera().isValid())
            summaries.append(view->summary());
    return summaries;
}

bool MainWindow::hasRunningThreads() const
{
    return streamthreads::anyLeftRuns();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    event->ignore();
    if (m_closing.isValid())
        return;
    m_closing.start();
    hide();
    m_grid->stopAll();
    tick();
}
