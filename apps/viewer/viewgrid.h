// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "device.h"

#include <QList>
#include <QWidget>

class LiveView;
class QGridLayout;

/// The views of the window: 1, 4, 9 or 16 of one size, or one of them alone. Views in the grid show
/// sub streams; one that is enlarged, or the only one, shows the main stream.
class ViewGrid final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(ViewGrid)

public:
    /// As many views as stay readable in one window.
    static constexpr int kMaximumViews = 16;

    /// `transport` and `filesFolder` as in MainWindow.
    ViewGrid(const QString &transport, const QString &filesFolder, QWidget *parent = nullptr);
    ~ViewGrid() override;

    const QList<LiveView *> &views() const { return m_views; }
    /// The least of 1, 4, 9 and 16 that `cameras` fit into; 16 if none does.
    static int sizeFor(int cameras);
    /// Makes it `count` views, one of 1, 4, 9 and 16. Views beyond end.
    void resizeTo(int count);
    /// Shows a camera in the place of `view`, whose own ends; returns the view that shows it. An
    /// invalid camera makes the place empty.
    LiveView *put(LiveView *view, const Camera &camera);
    /// The first view without a camera; null if there is none.
    LiveView *emptyView() const;
    void stopAll();
    void endTalks();
    /// As LiveView, for all views, later ones too.
    bool setOpengl(bool on);
    bool isOpengl() const { return m_isOpengl; }

    LiveView *selected() const { return m_selected; }
    /// `index` from 0 on; nothing if there is no such view.
    void selectIndex(int index);
    /// With an enlarged view, that takes the place of the enlarged one.
    void select(LiveView *view);
    bool isEnlarged() const { return m_enlarged; }
    /// Shows that view alone, or all again.
    void toggleEnlarged(LiveView *view);

signals:
    /// The selected view is another, or something changed in one.
    void changed();
    /// A camera was dragged onto a view; the key of Camera.
    void cameraDropped(LiveView *view, const QString &key);
    /// The last view that recorded a camera shows it no more; its name.
    void recordingEnded(const QString &name);

private:
    LiveView *makeView(const Camera &camera);
    void retire(LiveView *view);
    void layOut();

    const QString m_transport;
    const QString m_filesFolder;
    QGridLayout *m_layout;
    QList<LiveView *> m_views;
    bool m_isOpengl = false;
    LiveView *m_selected = nullptr;
    LiveView *m_enlarged = nullptr;
};
