// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playbackbar.h"

#include "playbackview.h"
#include "viewlook.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

namespace {

constexpr int kStepSeconds = 10;

} // namespace

PlaybackBar::PlaybackBar(QWidget *parent) : ButtonBar(parent)
{
    using Bar = PlaybackBar;
    const auto add = [this](const QString &icon, const QString &tip, void (Bar::*clicked)()) {
        QToolButton *button = addButton(icon, tip);
        connect(button, &QToolButton::clicked, this, clicked);
        return button;
    };
    const auto addStep = [this](const QString &icon, const QString &tip, int seconds) {
        QToolButton *button = addButton(icon, tip);
        connect(button, &QToolButton::clicked, this,
                [this, seconds] { emit stepClicked(seconds); });
        return button;
    };
    m_play = add("play", QString(), &Bar::playClicked);
    m_stop = add("stop", tr("Stop (Shift+Space)"), &Bar::stopClicked);
    m_back = addStep("back", tr("Ten seconds back (Left); a minute (Ctrl+Left)"), -kStepSeconds);
    m_forward =
        addStep("forward", tr("Ten seconds on (Right); a minute (Ctrl+Right)"), kStepSeconds);
    addSeparator();
    m_slower = add("slower", tr("Slower ([)"), &Bar::slowerClicked);
    m_speed = new QLabel;
    m_speed->setAlignment(Qt::AlignCenter);
    m_speed->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("0.5 ×")) + 6);
    m_speed->setToolTip(tr("Speed of play"));
    row()->addWidget(m_speed);
    m_faster = add("faster", tr("Faster (])"), &Bar::fasterClicked);
    addSeparator();
    m_sound = add(":/primary/close_volume.svg", QString(), &Bar::soundClicked);
    m_scale = add("scale-fit", QString(), &Bar::scaleClicked);
    m_snap =
        add(":/primary/snap.svg", tr("Save the picture under its time (P)"), &Bar::snapClicked);
    m_folder =
        add("folder", tr("Open the folder of this camera's files (Ctrl+O)"), &Bar::folderClicked);
    addSeparator();
    for (const int count : {1, 2, 4}) {
        QToolButton *button =
            addButton(QStringLiteral("views-%1").arg(count),
                      count == 1 ? tr("One playback (Ctrl+1)")
                                 : tr("%1 playbacks side by side (Ctrl+%1)").arg(count));
        connect(button, &QToolButton::clicked, this,
                [this, count] { emit viewCountClicked(count); });
    }
    m_enlarge = add("enlarge", QString(), &Bar::enlargeClicked);
    m_together = add("together", QString(), &Bar::togetherClicked);
    m_together->setCheckable(true);
    m_clear = add("close", tr("Make this view empty (Del)"), &Bar::clearClicked);
    row()->addStretch(1);
    m_status = new QLabel;
    m_status->setObjectName(QStringLiteral("dim"));
    row()->addWidget(m_status);
    addSeparator();
    m_fullScreen = add("full-screen", QString(), &Bar::fullScreenClicked);
    add("help", tr("Keys (F1)"), &Bar::helpClicked);
    showLook(Look());
}

void PlaybackBar::showLook(const Look &look)
{
    const PlaybackView *view = look.view;
    const bool isUsed = view && view->camera().isValid();
    const bool isMoving = isUsed && view->isWanted() && !view->isHeld();
    const bool hasPicture = isUsed && (view->state() == PlaybackState::Playing ||
                                       view->state() == PlaybackState::Paused);
    for (QToolButton *button :
         {m_play, m_back, m_forward, m_slower, m_faster, m_sound, m_scale, m_folder, m_clear})
        button->setEnabled(isUsed);
    m_stop->setEnabled(isUsed && view->isWanted());
    m_snap->setEnabled(hasPicture);
    setLook(m_play, isMoving ? "pause" : "play",
            isMoving ? tr("Pause (Space)") : tr("Play (Space)"));
    m_speed->setText(tr("%1 ×").arg(view ? view->playSpeed() : 1));
    const bool muted = !view || view->isMuted();
    setLook(m_sound, muted ? ":/primary/close_volume.svg" : ":/primary/volume.svg",
            muted ? tr("Sound on (M)") : tr("Sound off (M), louder (+), quieter (-)"));
    const ScaleMode mode = view ? view->getScaleMode() : ScaleMode_Aspect;
    setLook(m_scale, viewlook::scaleIcon(mode),
            mode == ScaleMode_Aspect ? tr("Fits into the view; next: fill (S)")
            : mode == ScaleMode_Fill ? tr("Fills the view; next: own size (S)")
                                     : tr("Own size; next: fit (S)"));
    m_together->setChecked(look.together);
    setLook(m_together, "together",
            look.together ? tr("All playbacks go together; make them go apart (T)")
                          : tr("Make all playbacks go together (T)"));
    m_enlarge->setEnabled(view);
    setLook(m_enlarge, look.enlarged ? "tiles" : "enlarge",
            look.enlarged ? tr("Show all playbacks (Enter)")
                          : tr("Show only this playback (Enter)"));
    setLook(m_fullScreen, look.fullScreen ? "window" : "full-screen",
            look.fullScreen ? tr("Leave full screen (F)") : tr("Full screen (F)"));
}

void PlaybackBar::showStatus(const QString &text)
{
    m_status->setText(text);
}
