// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "buttonbar.h"

class QLabel;
class QToolButton;
class LiveView;

/// The thin bar at the bottom: what can be done with the selected view, and how all views do.
class ToolBar final : public ButtonBar
{
    Q_OBJECT
    Q_DISABLE_COPY(ToolBar)

public:
    explicit ToolBar(QWidget *parent = nullptr);

    /// Shows the state of the selected view; null if there is none.
    void showView(const LiveView *view, bool enlarged, bool fullScreen);
    void showRender(bool isOpengl);
    void showStatus(const QString &text);

signals:
    void playClicked();
    void soundClicked();
    void talkClicked();
    void scaleClicked();
    void zoomClicked();
    void snapClicked();
    void recordClicked();
    void folderClicked();
    void enlargeClicked();
    void addClicked();
    void clearClicked();
    void viewCountClicked(int count); ///< 1, 4, 9 or 16
    void renderClicked();
    void fullScreenClicked();
    void helpClicked();

private:
    using Clicked = void (ToolBar::*)();
    QToolButton *addButton(const QString &icon, Clicked clicked);

    QToolButton *m_play;
    QToolButton *m_sound;
    QToolButton *m_talk;
    QToolButton *m_scale;
    QToolButton *m_zoom;
    QToolButton *m_snap;
    QToolButton *m_record;
    QToolButton *m_folder;
    QToolButton *m_enlarge;
    QToolButton *m_add;
    QToolButton *m_clear;
    QToolButton *m_render;
    QToolButton *m_fullScreen;
    QToolButton *m_help;
    QLabel *m_status;
};
