// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "toolbar.h"

#include "liveview.h"
#include "theme.h"
#include "viewlook.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

ToolBar::ToolBar(QWidget *parent) : QFrame(parent), m_status(new QLabel)
{
    setObjectName(QStringLiteral("bar"));
    setFixedHeight(theme::barHeight);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(theme::gap, 0, 2 * theme::gap, 0);
    layout->setSpacing(theme::gap / 2);

    m_play = addButton(layout, "play", &ToolBar::playClicked);
    m_sound = addButton(layout, ":/primary/close_volume.svg", &ToolBar::soundClicked);
    m_talk = addButton(layout, ":/primary/mic-close.svg", &ToolBar::talkClicked);
    m_scale = addButton(layout, "scale-fit", &ToolBar::scaleClicked);
    m_zoom = addButton(layout, ":/primary/digital-zoom.svg", &ToolBar::zoomClicked);
    m_snap = addButton(layout, ":/primary/snap.svg", &ToolBar::snapClicked);
    m_record = addButton(layout, "record", &ToolBar::recordClicked);
    m_folder = addButton(layout, "folder", &ToolBar::folderClicked);
    addSeparator(layout);
    for (int columns = 1; columns <= 4; ++columns) {
        const int count = columns * columns;
        auto *button = addButton(layout, QStringLiteral("views-%1").arg(count), nullptr);
        button->setToolTip(tr("%1 views (Ctrl+%2)").arg(count).arg(columns));
        button->setAccessibleName(button->toolTip());
        connect(button, &QToolButton::clicked, this,
                [this, count] { emit viewCountClicked(count); });
    }
    m_enlarge = addButton(layout, "enlarge", &ToolBar::enlargeClicked);
    addSeparator(layout);
    m_add = addButton(layout, "add", &ToolBar::addClicked);
    m_clear = addButton(layout, "close", &ToolBar::clearClicked);
    layout->addStretch(1);
    m_status->setObjectName(QStringLiteral("dim"));
    layout->addWidget(m_status);
    addSeparator(layout);
    m_fullScreen = addButton(layout, "full-screen", &ToolBar::fullScreenClicked);
    m_help = addButton(layout, "help", &ToolBar::helpClicked);

    setLook(m_snap, ":/primary/snap.svg", tr("Save the picture (P)"));
    setLook(m_folder, "folder", tr("Open the folder of this camera's files (Ctrl+O)"));
    setLook(m_add, "add", tr("Add a camera by its address (Ctrl+N)"));
    setLook(m_clear, "close", tr("Make this view empty (Del)"));
    setLook(m_help, "help", tr("Keys (F1)"));
    m_zoom->setCheckable(true);
    m_talk->setCheckable(true);
    showView(nullptr, false, false);
}

void ToolBar::showView(const LiveView *view, bool enlarged, bool fullScreen)
{
    const bool isLive = view && view->state() == ViewState::Live;
    const bool isUsed = view && view->camera().isValid();
    for (QToolButton *button : {m_play, m_sound, m_scale, m_folder, m_clear})
        button->setEnabled(isUsed);
    m_enlarge->setEnabled(view);
    for (QToolButton *button : {m_zoom, m_snap})
        button->setEnabled(isLive);

    const bool wanted = view && view->isWanted();
    m_record->setEnabled(wanted);
    const bool recording = view && view->isRecording();
    setLook(m_record, recording ? "recording" : "record",
            recording ? tr("End the recording (R)") : tr("Record (R), all cameras (Shift+R)"));
    setLook(m_play, wanted ? "stop" : "play",
            wanted ? tr("Stop (Space)") : tr("Start (Space)"));
    const bool muted = !view || view->isMuted();
    setLook(m_sound, muted ? ":/primary/close_volume.svg" : ":/primary/volume.svg",
            muted ? tr("Sound on (M)") : tr("Sound off (M), louder (+), quieter (-)"));
    m_talk->setEnabled(wanted);
    const bool talking = view && view->isTalking();
    m_talk->setChecked(talking);
    setLook(m_talk, talking ? ":/primary/mic.svg" : ":/primary/mic-close.svg",
            talking ? tr("End talking (T)") : tr("Talk to the device (T)"));
    const ScaleMode mode = view ? view->getScaleMode() : ScaleMode_Aspect;
    setLook(m_scale, viewlook::scaleIcon(mode),
            mode == ScaleMode_Aspect ? tr("Fits into the view; next: fill (S)")
            : mode == ScaleMode_Fill ? tr("Fills the view; next: own size (S)")
                                     : tr("Own size; next: fit (S)"));
    const bool zoomed = view && view->isDigitalZoom();
    m_zoom->setChecked(zoomed);
    setLook(m_zoom, ":/primary/digital-zoom.svg",
            zoomed ? tr("Zoom off (Z)") : tr("Digital zoom: wheel and drag (Z)"));
    setLook(m_enlarge, enlarged ? "tiles" : "enlarge",
            enlarged ? tr("Show all views (Enter)") : tr("Show only this view (Enter)"));
    setLook(m_fullScreen, fullScreen ? "window" : "full-screen",
            fullScreen ? tr("Leave full screen (F)") : tr("Full screen (F)"));
}

void ToolBar::showStatus(const QString &text)
{
    m_status->setText(text);
}

QToolButton *ToolBar::addButton(QHBoxLayout *layout, const QString &icon, Clicked clicked)
{
    auto *button = new QToolButton;
    button->setIconSize(QSize(theme::iconSize, theme::iconSize));
    // The selected view keeps the focus.
    button->setFocusPolicy(Qt::NoFocus);
    setLook(button, icon, QString());
    if (clicked)
        connect(button, &QToolButton::clicked, this, clicked);
    layout->addWidget(button);
    return button;
}

void ToolBar::addSeparator(QHBoxLayout *layout)
{
    auto *line = new QFrame;
    line->setObjectName(QStringLiteral("separator"));
    line->setFixedSize(1, theme::barHeight / 2);
    layout->addSpacing(theme::gap / 2);
    layout->addWidget(line);
    layout->addSpacing(theme::gap / 2);
}

void ToolBar::setLook(QToolButton *button, const QString &icon, const QString &tip)
{
    if (button->property("icon name") != icon) {
        button->setProperty("icon name", icon);
        button->setIcon(theme::icon(icon));
    }
    if (button->toolTip() != tip) {
        button->setToolTip(tip);
        button->setAccessibleName(tip);
    }
}
