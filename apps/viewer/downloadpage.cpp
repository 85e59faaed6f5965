// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "downloadpage.h"

#include "download.h"
#include "downloadqueue.h"
#include "downloadrow.h"
#include "theme.h"
#include "timeline.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

using namespace recordingtime;

namespace {

constexpr qint64 kFirstSpanMs = 10 * minuteMs; ///< what the form proposes
constexpr qint64 kLongestMs = 31 * dayMs;
constexpr int kLookEveryMs = 10000; ///< at what is recorded: it grows

QDateTime fieldTime(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC);
}

qint64 timeOf(const QDateTimeEdit *field)
{
    return field->dateTime().toMSecsSinceEpoch();
}

} // namespace

// ---- The bar ------------------------------------------------------------------------------------

DownloadBar::DownloadBar(QWidget *parent) : ButtonBar(parent), m_status(new QLabel)
{
    m_tidy = addButton("tidy", tr("Take all that have ended out of the list (Ctrl+Del)"));
    connect(m_tidy, &QToolButton::clicked, this, &DownloadBar::tidyClicked);
    row()->addStretch(1);
    m_status->setObjectName(QStringLiteral("dim"));
    row()->addWidget(m_status);
    addSeparator();
    m_fullScreen = addButton("full-screen");
    connect(m_fullScreen, &QToolButton::clicked, this, &DownloadBar::fullScreenClicked);
    connect(addButton("help", tr("Keys (F1)")), &QToolButton::clicked, this,
            &DownloadBar::helpClicked);
    showStatus(QString(), false, false);
}

void DownloadBar::showStatus(const QString &text, bool canTidy, bool fullScreen)
{
    m_status->setText(text);
    m_tidy->setEnabled(canTidy);
    setLook(m_fullScreen, fullScreen ? "window" : "full-screen",
            fullScreen ? tr("Leave full screen (F)") : tr("Full screen (F)"));
}

// ---- The page -----------------------------------------------------------------------------------

DownloadPage::DownloadPage(DownloadQueue *queue, QWidget *parent)
    : QWidget(parent), m_queue(queue), m_bar(new DownloadBar(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(makeForm());
    layout->addWidget(makeList(), 1);
    m_bar->hide();
    addShortcuts();
    connect(m_bar, &DownloadBar::tidyClicked, m_queue, &DownloadQueue::removeEnded);
    connect(m_bar, &DownloadBar::fullScreenClicked, this, &DownloadPage::fullScreenWanted);
    connect(m_bar, &DownloadBar::helpClicked, this, &DownloadPage::helpWanted);
    connect(m_queue, &DownloadQueue::added, this, &DownloadPage::addRow);
    connect(m_queue, &DownloadQueue::removed, this, &DownloadPage::removeRow);
    const qint64 now = recordingtime::now() / minuteMs * minuteMs;
    setSpan({now - kFirstSpanMs, now});
    setFocusProxy(m_camera);
}

QDateTimeEdit *DownloadPage::makeTimeField(const QString &name)
{
    auto *field = new QDateTimeEdit;
    field->setTimeSpec(Qt::UTC); // what the clock of the device shows, whatever ours does
    field->setDisplayFormat(QStringLiteral("yyyy-MM-dd  HH:mm:ss"));
    field->setCalendarPopup(true);
    theme::dress(field->calendarWidget());
    field->setMinimumWidth(theme::fieldWidth(QStringLiteral("2026-00-00  00:00:00")));
    field->setButtonSymbols(QAbstractSpinBox::NoButtons);
    field->setAccessibleName(name);
    field->setToolTip(tr("%1; up and down change the number below the cursor").arg(name));
    connect(field, &QDateTimeEdit::dateTimeChanged, this, &DownloadPage::takeFields);
    return field;
}

QWidget *DownloadPage::makeForm()
{
    auto *form = new QFrame;
    form->setObjectName(QStringLiteral("form"));
    m_camera = new QComboBox;
    m_camera->setAccessibleName(tr("Camera"));
    m_camera->setToolTip(tr("Camera; or choose one in the list"));
    m_camera->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    connect(m_camera, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &DownloadPage::updateLine);
    m_from = makeTimeField(tr("Begin"));
    m_to = makeTimeField(tr("End"));
    m_sound = new QCheckBox(tr("with sound"));
    m_sound->setChecked(true);
    auto *add = new QPushButton(tr("Download"));
    add->setObjectName(QStringLiteral("accent"));
    add->setToolTip(tr("Put this span into the queue (Ctrl+Enter)"));
    connect(add, &QPushButton::clicked, this, &DownloadPage::submit);

    auto *fields = new QHBoxLayout;
    fields->setContentsMargins(2 * theme::gap, 2 * theme::gap, 2 * theme::gap, theme::gap);
    fields->setSpacing(theme::gap);
    const auto addText = [fields](const QString &text) {
        auto *label = new QLabel(text);
        label->setObjectName(QStringLiteral("dim"));
        fields->addWidget(label);
    };
    fields->addWidget(m_camera);
    addText(tr("from"));
    fields->addWidget(m_from);
    addText(tr("to"));
    fields->addWidget(m_to);
    fields->addWidget(m_sound);
    fields->addWidget(add);
    fields->addStretch(1);

    m_timeLine = new TimeLine;
    m_timeLine->setMarksByDragging(true);
    connect(m_timeLine, &TimeLine::markChanged, this, &DownloadPage::takeMark);
    m_message = new QLabel;
    m_message->setContentsMargins(2 * theme::gap, 0, 2 * theme::gap, theme::gap);
    m_message->setWordWrap(true);
    auto *layout = new QVBoxLayout(form);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(fields);
    layout->addWidget(m_timeLine);
    layout->addWidget(m_message);
    tell(QString(), false);
    return form;
}

QWidget *DownloadPage::makeList()
{
    auto *inside = new QWidget;
    m_empty = new QLabel(tr("No downloads yet\n\nMark a span by dragging over the line above, or "
                            "enter its times. On the page of playbacks D downloads what is "
                            "marked there."));
    m_empty->setObjectName(QStringLiteral("dim"));
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setWordWrap(true);
    m_list = new QVBoxLayout(inside);
    m_list->setContentsMargins(2 * theme::gap, 2 * theme::gap, 2 * theme::gap, 2 * theme::gap);
    m_list->setSpacing(theme::gap);
    m_list->addWidget(m_empty, 1);
    m_list->addStretch(0);
    auto *area = new QScrollArea;
    area->setObjectName(QStringLiteral("queue"));
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setWidget(inside);
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

/// Keys count while the page is seen; those that write something belong to a field that has the
/// focus.
void DownloadPage::addShortcuts()
{
    const auto add = [this](const QKeySequence &keys, auto action) {
        auto *shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, action);
    };
    for (const int key : {int(Qt::Key_Return), int(Qt::Key_Enter)})
        add(QKeySequence(Qt::CTRL + key), [this] { submit(); });
    add(QKeySequence(Qt::CTRL + Qt::Key_Delete), [this] { m_queue->removeEnded(); });
    add(Qt::Key_PageUp, [this] { setDay(m_timeLine->day().addDays(-1)); });
    add(Qt::Key_PageDown, [this] { setDay(m_timeLine->day().addDays(1)); });
    add(Qt::Key_F, [this] { emit fullScreenWanted(); });
    add(Qt::Key_L, [this] { emit listWanted(); });
}

// ---- The form -----------------------------------------------------------------------------------

void DownloadPage::addCamera(const Camera &camera)
{
    m_cameras.append(camera);
    m_camera->addItem(theme::icon(QStringLiteral("camera")), camera.name);
}

void DownloadPage::choose(const QString &key)
{
    for (int i = 0; i < m_cameras.size(); ++i)
        if (m_cameras[i].key == key)
            m_camera->setCurrentIndex(i);
}

Camera DownloadPage::chosen() const
{
    return m_cameras.value(m_camera->currentIndex());
}

TimeSpan DownloadPage::span() const
{
    return {timeOf(m_from), timeOf(m_to)};
}

void DownloadPage::setSpan(const TimeSpan &span)
{
    const QSignalBlocker from(m_from), to(m_to);
    m_from->setDateTime(fieldTime(span.begin));
    m_to->setDateTime(fieldTime(span.end));
    takeFields();
}

void DownloadPage::takeFields()
{
    const TimeSpan wanted = span();
    const QSignalBlocker blocker(m_timeLine);
    if (m_timeLine->day() != dayOf(wanted.begin))
        m_timeLine->setDay(dayOf(wanted.begin));
    m_timeLine->setMark(wanted);
    updateLine();
    tell(QString(), false);
}

void DownloadPage::takeMark()
{
    const TimeSpan mark = m_timeLine->mark();
    if (!mark.isValid())
        return;
    const QSignalBlocker from(m_from), to(m_to);
    m_from->setDateTime(fieldTime(mark.begin / secondMs * secondMs));
    m_to->setDateTime(fieldTime(mark.end / secondMs * secondMs));
    tell(QString(), false);
}

/// The same span of another day.
void DownloadPage::setDay(const QDate &day)
{
    const qint64 distance = of(day) - of(m_timeLine->day());
    setSpan({timeOf(m_from) + distance, timeOf(m_to) + distance});
}

void DownloadPage::updateLine()
{
    const Camera camera = chosen();
    TimeLine::Row row;
    row.name = camera.name;
    row.isKnown = camera.recorded || !camera.isValid();
    const qint64 begin = of(m_timeLine->day());
    if (camera.recorded)
        row.recorded = camera.recorded({begin, begin + dayMs});
    m_timeLine->setRows({row});
    m_sinceLook.start();
}

void DownloadPage::submit()
{
    const Camera camera = chosen();
    const TimeSpan wanted = span();
    if (!camera.isValid())
        tell(tr("Choose a camera."), true);
    else if (!wanted.isValid())
        tell(tr("The end lies before the beginning."), true);
    else if (wanted.length() > kLongestMs)
        tell(tr("That is more than a month; download it in parts."), true);
    else if (wanted.begin >= recordingtime::now())
        tell(tr("That time is still to come."), true);
    else {
        m_queue->add(camera, wanted, m_sound->isChecked());
        tell(tr("%1 is in the queue.").arg(camera.name), false);
    }
}

void DownloadPage::tell(const QString &text, bool isProblem)
{
    m_message->setText(text);
    m_message->setObjectName(isProblem ? QStringLiteral("problem") : QStringLiteral("dim"));
    m_message->style()->polish(m_message);
}

QString DownloadPage::message() const
{
    return m_message->text();
}

// ---- The list -----------------------------------------------------------------------------------

void DownloadPage::addRow(Download *download)
{
    auto *row = new DownloadRow(download);
    m_rows.append(row);
    m_list->insertWidget(m_rows.size(), row); // behind the words for an empty list
    m_empty->hide();
    connect(row, &DownloadRow::retryClicked, this, [this, download] { m_queue->retry(download); });
    connect(row, &DownloadRow::removeClicked, this,
            [this, download] { m_queue->remove(download); });
    connect(row, &DownloadRow::told, this, [this](const QString &text) { tell(text, false); });
}

void DownloadPage::removeRow(Download *download)
{
    for (DownloadRow *row : qAsConst(m_rows)) {
        if (row->download() != download)
            continue;
        m_rows.removeOne(row);
        row->hide();
        row->deleteLater(); // it may be the one whose button was clicked
        break;
    }
    m_empty->setVisible(m_rows.isEmpty());
}

void DownloadPage::tick()
{
    if (isVisible() && m_sinceLook.hasExpired(kLookEveryMs))
        updateLine();
    int running = 0, waiting = 0, ended = 0;
    for (const Download *download : m_queue->downloads()) {
        running += download->isActive();
        waiting += download->state() == DownloadState::Waiting;
        ended += !download->isActive() && download->state() != DownloadState::Waiting;
    }
    QStringList parts;
    if (running > 0)
        parts.append(tr("%1 running").arg(running));
    if (waiting > 0)
        parts.append(tr("%1 waiting").arg(waiting));
    if (ended > 0)
        parts.append(tr("%1 ended").arg(ended));
    m_bar->showStatus(parts.join(QStringLiteral("    ")), ended > 0, window()->isFullScreen());
}
