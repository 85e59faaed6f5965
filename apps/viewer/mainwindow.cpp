// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "mainwindow.h"

#include "addressform.h"
#include "streamview.h"
#include "theme.h"
#include "toolbar.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QGridLayout>
#include <QLabel>
#include <QShortcut>
#include <QStackedWidget>
#include <QtMath>

namespace {

constexpr int kTickMs = 250;
/// A stream thread that hangs in the network, say in a name look-up, holds the window no longer.
constexpr int kCloseWithinMs = 5000;
constexpr int kGapBetweenViews = 2;  ///< pixels
constexpr int kVolumeStep = 10;      ///< percent
constexpr int kEmptyIconSize = 56;   ///< pixels

} // namespace

MainWindow::MainWindow(const QString &transport, const QString &filesFolder, QWidget *parent)
    : QWidget(parent), m_transport(transport), m_filesFolder(filesFolder),
      m_pages(new QStackedWidget), m_grid(new QWidget), m_gridLayout(new QGridLayout(m_grid)),
      m_toolBar(new ToolBar)
{
    setWindowTitle(tr("Vantra viewer"));
    resize(1280, 764);
    m_gridLayout->setContentsMargins(kGapBetweenViews, kGapBetweenViews, kGapBetweenViews,
                                     kGapBetweenViews);
    m_gridLayout->setSpacing(kGapBetweenViews);
    m_pages->addWidget(makeEmptyPage());
    m_pages->addWidget(m_grid);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_pages, 1);
    layout->addWidget(m_toolBar);

    connectToolBar();
    addShortcuts();
    connect(&m_tick, &QTimer::timeout, this, &MainWindow::tick);
    m_tick.start(kTickMs);
    layOutViews();
    tick();
}

MainWindow::~MainWindow() = default;

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
    connect(form, &AddressForm::accepted, this, &MainWindow::addCamera);
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
    const auto onView = [this](void (StreamView::*action)()) {
        return [this, action] {
            if (m_selected)
                (m_selected->*action)();
        };
    };
    connect(m_toolBar, &ToolBar::playClicked, this, &MainWindow::togglePlay);
    connect(m_toolBar, &ToolBar::soundClicked, this, onView(&StreamView::toggleMuted));
    connect(m_toolBar, &ToolBar::scaleClicked, this, onView(&StreamView::nextScaleMode));
    connect(m_toolBar, &ToolBar::zoomClicked, this, onView(&StreamView::toggleZoom));
    connect(m_toolBar, &ToolBar::snapClicked, this, onView(&StreamView::savePicture));
    connect(m_toolBar, &ToolBar::recordClicked, this, onView(&StreamView::toggleRecording));
    connect(m_toolBar, &ToolBar::folderClicked, this, onView(&StreamView::showFolder));
    connect(m_toolBar, &ToolBar::enlargeClicked, this, [this] { toggleEnlarged(m_selected); });
    connect(m_toolBar, &ToolBar::addClicked, this, &MainWindow::askForAddress);
    connect(m_toolBar, &ToolBar::removeClicked, this, &MainWindow::removeSelected);
    connect(m_toolBar, &ToolBar::fullScreenClicked, this, &MainWindow::toggleFullScreen);
    connect(m_toolBar, &ToolBar::helpClicked, this, &MainWindow::showHelp);
}

void MainWindow::addShortcuts()
{
    const auto add = [this](const QKeySequence &keys, auto action) {
        auto *shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, action);
        return shortcut;
    };
    const auto addForView = [this, add](const QKeySequence &keys, auto action) {
        m_viewShortcuts.append(add(keys, [this, action] {
            if (m_selected)
                action(m_selected);
        }));
    };
    addForView(Qt::Key_Space, [this](StreamView *) { togglePlay(); });
    addForView(Qt::Key_M, [](StreamView *view) { view->toggleMuted(); });
    addForView(Qt::Key_S, [](StreamView *view) { view->nextScaleMode(); });
    addForView(Qt::Key_Z, [](StreamView *view) { view->toggleZoom(); });
    addForView(Qt::Key_P, [](StreamView *view) { view->savePicture(); });
    addForView(Qt::Key_R, [](StreamView *view) { view->toggleRecording(); });
    add(QKeySequence(Qt::SHIFT + Qt::Key_R), [this] { toggleAllRecordings(); });
    addForView(QKeySequence(Qt::CTRL + Qt::Key_O), [](StreamView *view) { view->showFolder(); });
    addForView(Qt::Key_O, [](StreamView *view) { view->toggleLabels(); });
    for (const int key : {int(Qt::Key_Plus), int(Qt::Key_Equal)})
        addForView(key, [](StreamView *view) { view->changeVolume(kVolumeStep); });
    addForView(Qt::Key_Minus, [](StreamView *view) { view->changeVolume(-kVolumeStep); });
    for (const int key : {int(Qt::Key_Return), int(Qt::Key_Enter)})
        addForView(key, [this](StreamView *view) { toggleEnlarged(view); });
    add(Qt::Key_F, [this] { toggleFullScreen(); });
    add(Qt::Key_Escape, [this] { goBack(); });
    add(QKeySequence(Qt::CTRL + Qt::Key_N), [this] { askForAddress(); });
    addForView(Qt::Key_Delete, [this](StreamView *) { removeSelected(); });
    add(Qt::Key_F1, [this] { showHelp(); });
    add(QKeySequence(Qt::CTRL + Qt::Key_Q), [this] { close(); });
    for (int number = 1; number <= 9; ++number)
        add(Qt::Key_0 + number, [this, number] { selectNumber(number); });
}

// ---- Views --------------------------------------------------------------------------------------

bool MainWindow::addCamera(const CameraAddress &address)
{
    if (m_views.size() >= kMaximumViews)
        return false;
    auto *view = new StreamView(address, m_transport, filesFor(address), m_grid);
    connect(view, &StreamView::selected, this, [this, view] { select(view); });
    connect(view, &StreamView::enlargeRequested, this, [this, view] { toggleEnlarged(view); });
    connect(view, &StreamView::changed, this, &MainWindow::updateToolBar);
    m_views.append(view);
    m_enlarged = nullptr;
    layOutViews();
    if (!m_selected || isVisible())
        view->setFocus();
    if (!m_selected)
        select(view);
    view->play();
    return true;
}

/// Views of the same address do not share a folder, or one would overwrite the other's files.
CameraFiles MainWindow::filesFor(const CameraAddress &address) const
{
    const auto isTaken = [this](const CameraFiles &files) {
        for (const QList<StreamView *> &views : {m_views, m_retired})
            for (const StreamView *view : views)
                if (view->files().folder() == files.folder())
                    return true;
        return false;
    };
    CameraFiles files(m_filesFolder, address.fileName());
    for (int i = 2; isTaken(files); ++i)
        files = CameraFiles(m_filesFolder, QStringLiteral("%1_%2").arg(address.fileName()).arg(i));
    return files;
}

void MainWindow::toggleAllRecordings()
{
    bool missing = false;
    for (const StreamView *view : qAsConst(m_views))
        missing |= view->isWanted() && !view->isRecording();
    for (StreamView *view : qAsConst(m_views))
        if (view->isRecording() != missing)
            view->toggleRecording();
}

void MainWindow::removeSelected()
{
    if (!m_selected)
        return;
    StreamView *view = m_selected;
    const int index = m_views.indexOf(view);
    m_views.removeAt(index);
    m_retired.append(view);
    if (m_enlarged == view)
        m_enlarged = nullptr;
    m_selected = nullptr;
    disconnect(view, nullptr, this, nullptr);
    view->halt();
    view->hide();
    layOutViews();
    if (!m_views.isEmpty())
        m_views[qMin(index, m_views.size() - 1)]->setFocus();
    updateToolBar();
}

void MainWindow::layOutViews()
{
    while (QLayoutItem *item = m_gridLayout->takeAt(0))
        delete item;
    const int columns = qMax(1, qCeil(qSqrt(m_views.size())));
    const int rows = (m_views.size() + columns - 1) / columns;
    for (int i = 0; i < kMaximumViews; ++i) {
        m_gridLayout->setColumnStretch(i, !m_enlarged && i < columns ? 1 : 0);
        m_gridLayout->setRowStretch(i, !m_enlarged && i < rows ? 1 : 0);
    }
    for (int i = 0; i < m_views.size(); ++i) {
        StreamView *view = m_views[i];
        const bool shown = !m_enlarged || m_enlarged == view;
        view->setFrameVisible(m_views.size() > 1 && !m_enlarged);
        if (shown && m_enlarged)
            m_gridLayout->addWidget(view, 0, 0);
        else if (shown)
            m_gridLayout->addWidget(view, i / columns, i % columns);
        view->setVisible(shown);
    }
    // On the page with the address field these keys belong to the field.
    for (QShortcut *shortcut : qAsConst(m_viewShortcuts))
        shortcut->setEnabled(!m_views.isEmpty());
    m_pages->setCurrentIndex(m_views.isEmpty() ? 0 : 1);
    if (m_views.isEmpty())
        m_pages->currentWidget()->setFocus();
}

void MainWindow::select(StreamView *view)
{
    m_selected = view;
    updateToolBar();
}

void MainWindow::selectNumber(int number)
{
    if (number > m_views.size())
        return;
    StreamView *view = m_views[number - 1];
    if (m_enlarged) {
        m_enlarged = view;
        layOutViews();
    }
    view->setFocus();
}

void MainWindow::toggleEnlarged(StreamView *view)
{
    m_enlarged = m_enlarged || m_views.size() < 2 ? nullptr : view;
    layOutViews();
    if (view)
        view->setFocus();
    updateToolBar();
}

void MainWindow::togglePlay()
{
    if (!m_selected)
        return;
    if (m_selected->isWanted())
        m_selected->halt();
    else
        m_selected->play();
}

// ---- Window -------------------------------------------------------------------------------------

void MainWindow::toggleFullScreen()
{
    setWindowState(windowState() ^ Qt::WindowFullScreen);
    m_toolBar->setVisible(!isFullScreen());
    if (m_selected && isFullScreen())
        m_selected->notice(tr("F or Esc leaves full screen"));
    updateToolBar();
}

void MainWindow::goBack()
{
    if (m_selected && m_selected->isDigitalZoom())
        m_selected->toggleZoom();
    else if (m_enlarged)
        toggleEnlarged(m_enlarged);
    else if (isFullScreen())
        toggleFullScreen();
}

void MainWindow::askForAddress()
{
    if (m_views.isEmpty()) {
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
        {tr("Space"), tr("start or stop the selected camera")},
        {"M", tr("sound on or off")},
        {"+  -", tr("louder, quieter")},
        {"S", tr("fit, fill, own size")},
        {"Z", tr("digital zoom; then wheel and drag")},
        {"P", tr("save the picture")},
        {"R", tr("start or end a recording")},
        {tr("Shift+R"), tr("start or end recordings of all cameras")},
        {tr("Ctrl+O"), tr("open the folder of recordings and pictures")},
        {"O", tr("name and clock on or off")},
        {tr("Enter, double click"), tr("show only this camera, or all")},
        {"F", tr("full screen")},
        {tr("Esc"), tr("back")},
        {tr("1 to 9, Tab"), tr("select a camera")},
        {tr("Ctrl+N"), tr("add a camera")},
        {tr("Del"), tr("remove the selected camera")},
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
    m_toolBar->showView(m_selected, m_enlarged, isFullScreen());
}

void MainWindow::tick()
{
    m_cpu.sample();
    double rate = 0;
    int live = 0;
    int recording = 0;
    for (StreamView *view : qAsConst(m_views)) {
        view->tick();
        rate += view->pictureRate();
        live += view->state() == ViewState::Live;
        recording += view->isRecording();
    }
    for (int i = m_retired.size() - 1; i >= 0; --i) {
        if (!m_retired[i]->hasRunningThreads())
            m_retired.takeAt(i)->deleteLater();
    }
    if (m_closing.isValid()) {
        if (!hasRunningThreads() || m_closing.hasExpired(kCloseWithinMs))
            QApplication::quit();
        return;
    }
    const QString recordings = recording == 0 ? QString() : tr("%1 recording    ").arg(recording);
    m_toolBar->showStatus(m_views.isEmpty()
                                  ? QString()
                                  : recordings
                                          + tr("%1 of %2 live    %3 pictures/s    CPU %4 %")
                                            .arg(QString::number(live),
                                                 QString::number(m_views.size()),
                                                 QString::number(rate, 'f', 0),
                                                 QString::number(m_cpu.percent(), 'f', 0)));
}

QVector<ViewSummary> MainWindow::summaries() const
{
    QVector<ViewSummary> summaries;
    for (const StreamView *view : m_views)
        summaries.append(view->summary());
    return summaries;
}

bool MainWindow::hasRunningThreads() const
{
    for (const QList<StreamView *> &views : {m_views, m_retired})
        for (const StreamView *view : views)
            if (view->hasRunningThreads())
                return true;
    return false;
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    event->ignore();
    if (m_closing.isValid())
        return;
    m_closing.start();
    hide();
    for (StreamView *view : qAsConst(m_views))
        view->halt();
    tick();
}
