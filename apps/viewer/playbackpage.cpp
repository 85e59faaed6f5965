// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playbackpage.h"

#include "daybar.h"
#include "playbackbar.h"
#include "playbackview.h"
#include "timeline.h"

#include <QApplication>
#include <QGridLayout>
#include <QShortcut>

#include <algorithm>
#include <limits>

using namespace recordingtime;

namespace {

constexpr int kGapBetweenViews = 2; ///< pixels
constexpr int kColumns = 2;
constexpr int kVolumeStep = 10; ///< percent
constexpr double kSpeeds[] = {0.5, 1, 2, 4, 8};
constexpr int kStepSeconds = 10;
constexpr int kLongStepSeconds = 60;

} // namespace

PlaybackPage::PlaybackPage(const QString &filesFolder, QWidget *parent)
    : QWidget(parent), m_filesFolder(filesFolder), m_bar(new PlaybackBar(this)),
      m_dayBar(new DayBar), m_timeLine(new TimeLine), m_day(QDate::currentDate())
{
    auto *grid = new QWidget;
    m_layout = new QGridLayout(grid);
    m_layout->setContentsMargins(kGapBetweenViews, kGapBetweenViews, kGapBetweenViews,
                                 kGapBetweenViews);
    m_layout->setSpacing(kGapBetweenViews);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(grid, 1);
    layout->addWidget(m_dayBar);
    layout->addWidget(m_timeLine);
    m_bar->hide();
    connectBars();
    addShortcuts();
    setViewCount(1);
}

PlaybackPage::~PlaybackPage()
{
    // The views report to this as long as they end.
    for (PlaybackView *view : qAsConst(m_views))
        disconnect(view, nullptr, this, nullptr);
}

void PlaybackPage::connectBars()
{
    connect(m_bar, &PlaybackBar::playClicked, this, &PlaybackPage::togglePlay);
    connect(m_bar, &PlaybackBar::stopClicked, this, [this] {
        for (PlaybackView *view : targets())
            view->halt();
    });
    connect(m_bar, &PlaybackBar::stepClicked, this, &PlaybackPage::step);
    connect(m_bar, &PlaybackBar::slowerClicked, this, [this] { changeSpeed(-1); });
    connect(m_bar, &PlaybackBar::fasterClicked, this, [this] { changeSpeed(1); });
    connect(m_bar, &PlaybackBar::soundClicked, this, [this] { m_selected->toggleMuted(); });
    connect(m_bar, &PlaybackBar::scaleClicked, this, [this] { m_selected->nextScaleMode(); });
    connect(m_bar, &PlaybackBar::snapClicked, this, [this] { m_selected->savePicture(); });
    connect(m_bar, &PlaybackBar::folderClicked, this, [this] { m_selected->showFolder(); });
    connect(m_bar, &PlaybackBar::togetherClicked, this, [this] { setTogether(!m_together); });
    connect(m_bar, &PlaybackBar::viewCountClicked, this, &PlaybackPage::setViewCount);
    connect(m_bar, &PlaybackBar::enlargeClicked, this, [this] { toggleEnlarged(m_selected); });
    connect(m_bar, &PlaybackBar::clearClicked, this, [this] { put(m_selected, Camera()); });
    connect(m_bar, &PlaybackBar::fullScreenClicked, this, &PlaybackPage::fullScreenWanted);
    connect(m_bar, &PlaybackBar::helpClicked, this, &PlaybackPage::helpWanted);

    connect(m_dayBar, &DayBar::dayChosen, this, &PlaybackPage::setDay);
    connect(m_dayBar, &DayBar::left, this, [this] {
        // Unless the person has gone elsewhere, such as to the list.
        const QWidget *now = QApplication::focusWidget();
        if (!now || now->window() != window() || m_dayBar->isAncestorOf(now))
            m_selected->setFocus();
    });
    connect(m_dayBar, &DayBar::markBeginClicked, this, [this] { markFrom(true); });
    connect(m_dayBar, &DayBar::markEndClicked, this, [this] { markFrom(false); });
    connect(m_dayBar, &DayBar::clearMarkClicked, this, [this] { m_timeLine->setMark(TimeSpan()); });
    connect(m_dayBar, &DayBar::downloadClicked, this, &PlaybackPage::download);
    connect(m_dayBar, &DayBar::zoomInClicked, m_timeLine, &TimeLine::zoomIn);
    connect(m_dayBar, &DayBar::zoomOutClicked, m_timeLine, &TimeLine::zoomOut);
    connect(m_dayBar, &DayBar::showAllClicked, m_timeLine, &TimeLine::showAll);
    connect(m_timeLine, &TimeLine::markChanged, this, &PlaybackPage::updateBars);
    connect(m_timeLine, &TimeLine::timeChosen, this, [this](int row, qint64 time) {
        if (row >= 0 && row < m_views.size() && m_views[row] != m_selected)
            select(m_views[row]);
        playFrom(time);
    });
}

/// Keys count while the page is seen.
void PlaybackPage::addShortcuts()
{
    const auto add = [this](const QKeySequence &keys, auto action) {
        auto *shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, action);
    };
    add(Qt::Key_Space, [this] { togglePlay(); });
    add(QKeySequence(Qt::SHIFT + Qt::Key_Space), [this] { emit m_bar->stopClicked(); });
    add(Qt::Key_Left, [this] { step(-kStepSeconds); });
    add(Qt::Key_Right, [this] { step(kStepSeconds); });
    add(QKeySequence(Qt::CTRL + Qt::Key_Left), [this] { step(-kLongStepSeconds); });
    add(QKeySequence(Qt::CTRL + Qt::Key_Right), [this] { step(kLongStepSeconds); });
    add(Qt::Key_BracketLeft, [this] { changeSpeed(-1); });
    add(Qt::Key_BracketRight, [this] { changeSpeed(1); });
    add(Qt::Key_PageUp, [this] { setDay(m_day.addDays(-1)); });
    add(Qt::Key_PageDown, [this] { setDay(m_day.addDays(1)); });
    add(Qt::Key_I, [this] { markFrom(true); });
    add(Qt::Key_O, [this] { markFrom(false); });
    add(Qt::Key_U, [this] { m_timeLine->setMark(TimeSpan()); });
    add(Qt::Key_D, [this] { download(); });
    for (const int key : {int(Qt::Key_Plus), int(Qt::Key_Equal)}) {
        add(key, [this] { m_selected->changeVolume(kVolumeStep); });
        add(QKeySequence(Qt::CTRL + key), [this] { m_timeLine->zoomIn(); });
    }
    add(Qt::Key_Minus, [this] { m_selected->changeVolume(-kVolumeStep); });
    add(QKeySequence(Qt::CTRL + Qt::Key_Minus), [this] { m_timeLine->zoomOut(); });
    add(QKeySequence(Qt::CTRL + Qt::Key_0), [this] { m_timeLine->showAll(); });
    add(Qt::Key_M, [this] { m_selected->toggleMuted(); });
    add(Qt::Key_S, [this] { m_selected->nextScaleMode(); });
    add(Qt::Key_P, [this] { m_selected->savePicture(); });
    add(QKeySequence(Qt::CTRL + Qt::Key_O), [this] { m_selected->showFolder(); });
    add(Qt::Key_T, [this] { setTogether(!m_together); });
    add(Qt::Key_F, [this] { emit fullScreenWanted(); });
    add(Qt::Key_L, [this] { emit listWanted(); });
    add(Qt::Key_Delete, [this] { put(m_selected, Camera()); });
    for (const int key : {int(Qt::Key_Return), int(Qt::Key_Enter)})
        add(key, [this] { emit entered(); });
    for (const int count : {1, 2, 4})
        add(QKeySequence(Qt::CTRL + Qt::Key_0 + count), [this, count] { setViewCount(count); });
    for (int number = 1; number <= kMaximumViews; ++number)
        add(Qt::Key_0 + number, [this, number] {
            if (number <= m_views.size())
                select(m_views[number - 1]);
        });
}

// ---- Views --------------------------------------------------------------------------------------

PlaybackView *PlaybackPage::makeView()
{
    auto *view = new PlaybackView(m_filesFolder, this);
    view->setDay(m_day);
    connect(view, &PlaybackView::selected, this, [this, view] {
        m_selected = view;
        updateRows();
    });
    connect(view, &PlaybackView::enlargeRequested, this, [this, view] { toggleEnlarged(view); });
    connect(view, &PlaybackView::changed, this, &PlaybackPage::updateRows);
    connect(view, &PlaybackView::positionChanged, this, &PlaybackPage::showPositions);
    connect(view, &PlaybackView::cameraDropped, this,
            [this, view](const QString &key) { emit cameraDropped(view, key); });
    return view;
}

/// Not deleted at once: it may be the one that has just reported something.
void PlaybackPage::retire(PlaybackView *view)
{
    disconnect(view, nullptr, this, nullptr);
    view->halt();
    view->hide();
    view->deleteOnceEnded();
}

void PlaybackPage::setViewCount(int count)
{
    const int selected = m_views.indexOf(m_selected);
    m_enlarged = nullptr;
    while (m_views.size() > count)
        retire(m_views.takeLast());
    while (m_views.size() < count)
        m_views.append(makeView());
    m_selected = m_views[qBound(0, selected, count - 1)];
    layOut();
    m_selected->setFocus();
    updateRows();
}

void PlaybackPage::layOut()
{
    while (QLayoutItem *item = m_layout->takeAt(0))
        delete item;
    for (int i = 0; i < kColumns; ++i) {
        m_layout->setColumnStretch(i, !m_enlarged && i < m_views.size() ? 1 : 0);
        m_layout->setRowStretch(i, !m_enlarged && i * kColumns < m_views.size() ? 1 : 0);
    }
    for (int i = 0; i < m_views.size(); ++i) {
        PlaybackView *view = m_views[i];
        const bool shown = !m_enlarged || m_enlarged == view;
        view->setFrameVisible(!m_enlarged && m_views.size() > 1);
        if (shown && m_enlarged)
            m_layout->addWidget(view, 0, 0);
        else if (shown)
            m_layout->addWidget(view, i / kColumns, i % kColumns);
        view->setVisible(shown);
    }
}

bool PlaybackPage::hasCamera() const
{
    return std::any_of(m_views.begin(), m_views.end(),
                       [](const PlaybackView *view) { return view->camera().isValid(); });
}

void PlaybackPage::put(PlaybackView *view, const Camera &camera)
{
    if (!m_views.contains(view) || (camera.isValid() && camera.key == view->camera().key))
        return;
    const Camera former = view->camera();
    const auto joinOthers = [this](PlaybackView *joining) {
        const auto played = std::find_if(m_views.begin(), m_views.end(), [=](PlaybackView *other) {
            return other != joining && other->isWanted();
        });
        if (!m_together || played == m_views.end() || !joining->camera().isValid())
            return;
        joining->setPlaySpeed((*played)->playSpeed());
        joining->playFrom((*played)->position());
        if ((*played)->isHeld())
            joining->hold();
    };
    PlaybackView *swapped = nullptr;
    for (PlaybackView *other : qAsConst(m_views))
        if (camera.isValid() && other->camera().key == camera.key)
            swapped = other;
    if (swapped)
        swapped->setCamera(former);
    view->setCamera(camera);
    joinOthers(view);
    if (swapped)
        joinOthers(swapped);
    select(view);
}

void PlaybackPage::select(PlaybackView *view)
{
    m_selected = view;
    if (m_enlarged && m_enlarged != view) {
        m_enlarged = view;
        layOut();
    }
    view->setFocus();
    updateRows();
}

void PlaybackPage::toggleEnlarged(PlaybackView *view)
{
    m_enlarged = m_enlarged || m_views.size() < 2 ? nullptr : view;
    layOut();
    view->setFocus();
    updateBars();
}

bool PlaybackPage::goBack()
{
    if (!m_enlarged)
        return false;
    toggleEnlarged(m_selected);
    return true;
}

// ---- Play ---------------------------------------------------------------------------------------

/// What a wish is for.
QList<PlaybackView *> PlaybackPage::targets() const
{
    QList<PlaybackView *> views;
    for (PlaybackView *view : m_views)
        if (view->camera().isValid() && (m_together || view == m_selected))
            views.append(view);
    return views;
}

void PlaybackPage::setTogether(bool together)
{
    m_together = together;
    updateBars();
}

/// Those that are ahead wait: the ones opened first, and those that a gap has carried on.
void PlaybackPage::keepTogether()
{
    const auto counts = [](const PlaybackView *view) {
        // A device whose stamps are of another day holds nobody up.
        const qint64 day = of(view->day());
        return view->isWanted() && view->state() != PlaybackState::Waiting &&
               TimeSpan{day, day + dayMs}.contains(view->position());
    };
    qint64 last = std::numeric_limits<qint64>::max();
    for (const PlaybackView *view : qAsConst(m_views))
        if (counts(view))
            last = qMin(last, view->position());
    for (PlaybackView *view : qAsConst(m_views))
        view->setAhead(m_together && counts(view) ? view->position() - last : 0);
}

void PlaybackPage::togglePlay()
{
    const bool isMoving = m_selected->isWanted() && !m_selected->isHeld() &&
                          m_selected->state() != PlaybackState::Waiting;
    for (PlaybackView *view : targets()) {
        if (isMoving)
            view->hold();
        else
            view->play();
    }
}

void PlaybackPage::playFrom(qint64 time)
{
    for (PlaybackView *view : targets())
        view->playFrom(time);
}

void PlaybackPage::step(int seconds)
{
    if (m_selected->camera().isValid())
        playFrom(m_selected->position() + seconds * secondMs);
}

void PlaybackPage::changeSpeed(int steps)
{
    const auto *now =
        std::lower_bound(std::begin(kSpeeds), std::end(kSpeeds), m_selected->playSpeed());
    const int index =
        qBound(0, int(now - std::begin(kSpeeds)) + steps, int(std::size(kSpeeds)) - 1);
    for (PlaybackView *view : targets()) {
        view->setPlaySpeed(kSpeeds[index]);
        view->notice(tr("Speed %1 ×").arg(kSpeeds[index]));
    }
}

void PlaybackPage::setDay(const QDate &day)
{
    m_dayBar->setDay(day);
    if (day == m_day || !day.isValid())
        return;
    m_day = day;
    m_timeLine->setDay(day);
    for (PlaybackView *view : qAsConst(m_views))
        view->setDay(day);
    updateRows();
}

void PlaybackPage::stopAll()
{
    for (PlaybackView *view : qAsConst(m_views))
        view->halt();
}

// ---- Marks --------------------------------------------------------------------------------------

/// Sets one edge of the mark where play is; the other one stays, or lies at the end of the day.
void PlaybackPage::markFrom(bool begin)
{
    const qint64 time = m_selected->position();
    const TimeSpan before = m_timeLine->mark();
    TimeSpan mark{of(m_day), of(m_day) + dayMs};
    if (before.isValid())
        mark = before;
    (begin ? mark.begin : mark.end) = time;
    if (!mark.isValid())
        (begin ? mark.end : mark.begin) = begin ? of(m_day) + dayMs : of(m_day);
    m_timeLine->setMark(mark);
}

void PlaybackPage::download()
{
    const TimeSpan mark = m_timeLine->mark();
    if (!mark.isValid() || !m_selected->camera().isValid())
        return;
    for (PlaybackView *view : targets())
        emit downloadWanted(view->camera(), mark);
}

// ---- What is shown ------------------------------------------------------------------------------

void PlaybackPage::tick()
{
    for (PlaybackView *view : qAsConst(m_views))
        view->tick();
    keepTogether();
    updateBars();
}

void PlaybackPage::showPositions()
{
    for (int i = 0; i < m_views.size(); ++i)
        m_timeLine->setPosition(i, m_views[i]->camera().isValid() ? m_views[i]->position() : none);
    m_dayBar->showPosition(m_selected->camera().isValid() ? m_selected->position() : none);
    keepTogether();
}

void PlaybackPage::updateRows()
{
    QVector<TimeLine::Row> rows;
    for (const PlaybackView *view : qAsConst(m_views)) {
        TimeLine::Row row;
        row.name = view->camera().name;
        row.isKnown = view->isRecordedKnown() || !view->camera().isValid();
        row.recorded = view->recorded();
        row.position = view->camera().isValid() ? view->position() : none;
        rows.append(row);
    }
    m_timeLine->setRows(rows);
    m_timeLine->selectRow(m_views.indexOf(m_selected));
    showPositions();
    updateBars();
}

void PlaybackPage::updateBars()
{
    PlaybackBar::Look look;
    look.view = m_selected;
    look.together = m_together;
    look.enlarged = m_enlarged;
    look.fullScreen = window()->isFullScreen();
    m_bar->showLook(look);
    m_dayBar->showMark(m_timeLine->mark(), m_selected && m_selected->camera().isValid());
    const int played = int(std::count_if(m_views.begin(), m_views.end(), [](const auto *view) {
        return view->state() == PlaybackState::Playing;
    }));
    m_bar->showStatus(hasCamera() ? tr("%1 playing").arg(played) : QString());
}

QVector<ViewSummary> PlaybackPage::summaries() const
{
    QVector<ViewSummary> summaries;
    for (const PlaybackView *view : m_views)
        if (view->camera().isValid())
            summaries.append(view->summary());
    return summaries;
}
