// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "toolbar.h"

#include "liveview.h"
#include "viewlook.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

ToolBar::ToolBar(QWidget *parent) : ButtonBar(parent), m_status(new QLabel)
{
    m_play = addButton("play", &ToolBar::playClicked);
    m_sound = addButton(":/primary/close_volume.svg", &ToolBar::soundClicked);
    m_talk = addButton(":/primary/mic-close.svg", &ToolBar::talkClicked);
    m_scale = addButton("scale-fit", &ToolBar::scaleClicked);
    m_zoom = addButton(":/primary/digital-zoom.svg", &ToolBar::zoomClicked);
    m_snap = addButton(":/primary/snap.svg", &ToolBar::snapClicked);
    m_record = addButton("record", &ToolBar::recordClicked);
    m_folder = addButton("folder", &ToolBar::folderClicked);
    addSeparator();
    for (int columns = 1; columns <= 4; ++columns) {
        const int count = columns * columns;
        auto *button = addButton(QStringLiteral("views-%1").arg(count), nullptr);
        button->setToolTip(tr("%1 views (Ctrl+%2)").arg(count).arg(columns));
        button->setAccessibleName(button->toolTip());
        connect(button, &QToolButton::clicked, this,
                [this, count] { emit viewCountClicked(count); });
    }
    m_enlarge = addButton("enlarge", &ToolBar::enlargeClicked);
    addSeparator();
    m_add = addButton("add", &ToolBar::addClicked);
    m_clear = addButton("close", &ToolBar::clearClicked);
    row()->addStretch(1);
    m_status->setObjectName(QStringLiteral("dim"));
    row()->addWidget(m_status);
    addSeparator();
    m_render = addButton("render", &ToolBar::renderClicked);
    m_render->setCheckable(true);
    m_fullScreen = addButton("full-screen", &ToolBar::fullScreenClicked);
    m_help = addButton("help", &ToolBar::helpClicked);

    setLook(m_snap, ":/primary/snap.svg", tr("Save the picture (P)"));
    setLook(m_folder, "folder", tr("Open the folder of this camera's files (Ctrl+O)"));
    setLook(m_add, "add", tr("Add a camera by its address (Ctrl+N)"));
    setLook(m_clear, "close", tr("Make this view empty (Del)"));
    setLook(m_help, "help", tr("Keys (F1)"));
    m_zoom->setCheckable(true);
    m_talk->setCheckable(true);
    showView(nullptr, false, false);
    showRender(false);
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
    setLook(m_play, wanted ? "stop" : "play", wanted ? tr("Stop (Space)") : tr("Start (Space)"));
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

void ToolBar::showRender(bool isOpengl)
{
    m_render->setChecked(isOpengl);
    setLook(m_render, "render",
            isOpengl ? tr("Shown by OpenGL; paint pictures instead (G)")
                     : tr("Painted; show pictures by OpenGL instead (G)"));
}

void ToolBar::showStatus(const QString &text)
{
    m_status->setText(text);
}

QToolButton *ToolBar::addButton(const QString &icon, Clicked clicked)
{
    QToolButton *button = ButtonBar::addButton(icon);
    if (clicked)
        connect(button, &QToolButton::clicked, this, clicked);
    return button;
}
