// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "buttonbar.h"

class PlaybackView;
class QLabel;

/// The bar below the playbacks: what can be done with them.
class PlaybackBar final : public ButtonBar
{
    Q_OBJECT
    Q_DISABLE_COPY(PlaybackBar)

public:
    explicit PlaybackBar(QWidget *parent = nullptr);

    struct Look
    {
        const PlaybackView *view = nullptr; ///< the selected one
        bool together = false;
        bool enlarged = false;
        bool fullScreen = false;
    };
    void showLook(const Look &look);
    void showStatus(const QString &text);

signals:
    void playClicked();
    void stopClicked();
    void stepClicked(int seconds); ///< forward, or back if below 0
    void slowerClicked();
    void fasterClicked();
    void soundClicked();
    void scaleClicked();
    void snapClicked();
    void folderClicked();
    void togetherClicked();
    void viewCountClicked(int count); ///< 1, 2 or 4
    void enlargeClicked();
    void clearClicked();
    void fullScreenClicked();
    void helpClicked();

private:
    QToolButton *m_play;
    QToolButton *m_stop;
    QToolButton *m_back;
    QToolButton *m_forward;
    QToolButton *m_slower;
    QLabel *m_speed;
    QToolButton *m_faster;
    QToolButton *m_sound;
    QToolButton *m_scale;
    QToolButton *m_snap;
    QToolButton *m_folder;
    QToolButton *m_together;
    QToolButton *m_enlarge;
    QToolButton *m_clear;
    QToolButton *m_fullScreen;
    QLabel *m_status;
};
