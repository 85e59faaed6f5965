// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "viewgrid.h"

#include "liveview.h"

#include <QGridLayout>
#include <QtMath>

#include <algorithm>

namespace {

constexpr int kGapBetweenViews = 2; ///< pixels
constexpr int kMostColumns = 4;

} // namespace

ViewGrid::ViewGrid(const QString &transport, const QString &filesFolder, QWidget *parent)
    : QWidget(parent), m_transport(transport), m_filesFolder(filesFolder),
      m_layout(new QGridLayout(this))
{
    m_layout->setContentsMargins(kGapBetweenViews, kGapBetweenViews, kGapBetweenViews,
                                 kGapBetweenViews);
    m_layout->setSpacing(kGapBetweenViews);
    resizeTo(1);
}

ViewGrid::~ViewGrid()
{
    // The views report to this as long as they end.
    for (LiveView *view : qAsConst(m_views))
        disconnect(view, nullptr, this, nullptr);
}

int ViewGrid::sizeFor(int cameras)
{
    const int columns = qBound(1, qCeil(qSqrt(cameras)), kMostColumns);
    return columns * columns;
}

LiveView *ViewGrid::makeView(const Camera &camera)
{
    auto *view =
        new LiveView(camera, m_transport, CameraFiles(m_filesFolder, camera.fileName()), this);
    connect(view, &LiveView::selected, this, [this, view] {
        m_selected = view;
        emit changed();
    });
    connect(view, &LiveView::enlargeRequested, this, [this, view] { toggleEnlarged(view); });
    connect(view, &LiveView::changed, this, &ViewGrid::changed);
    connect(view, &LiveView::cameraDropped, this,
            [this, view](const QString &key) { emit cameraDropped(view, key); });
    view->setOpengl(m_isOpengl);
    return view;
}

bool ViewGrid::setOpengl(bool on)
{
    m_isOpengl = on;
    for (LiveView *view : qAsConst(m_views))
        m_isOpengl &= view->setOpengl(on);
    emit changed();
    return m_isOpengl == on;
}

/// Not deleted at once: it may be the one that has just reported something.
void ViewGrid::retire(LiveView *view)
{
    disconnect(view, nullptr, this, nullptr);
    // Views of one camera share its recording.
    const bool isShared = std::any_of(m_views.begin(), m_views.end(), [=](const LiveView *other) {
        return other->isRecording() && other->camera().key == view->camera().key;
    });
    if (view->isRecording() && !isShared)
        emit recordingEnded(view->camera().name);
    view->halt();
    view->hide();
    view->deleteLater();
}

void ViewGrid::endTalks()
{
    for (LiveView *view : qAsConst(m_views))
        if (view->isTalking())
            view->toggleTalk();
}

void ViewGrid::resizeTo(int count)
{
    const bool hadFocus = m_selected && m_selected->hasFocus();
    const int selected = m_views.indexOf(m_selected);
    m_enlarged = nullptr;
    while (m_views.size() > count)
        retire(m_views.takeLast());
    while (m_views.size() < count)
        m_views.append(makeView(Camera()));
    m_selected = m_views[qBound(0, selected, count - 1)];
    layOut();
    if (hadFocus)
        m_selected->setFocus();
    emit changed();
}

LiveView *ViewGrid::put(LiveView *view, const Camera &camera)
{
    const int index = m_views.indexOf(view);
    if (index < 0)
        return nullptr;
    if (camera.isValid() && camera.key == view->camera().key) {
        view->play(); // and what it records goes on
        return view;
    }
    const bool hadFocus = view->hasFocus();
    const bool wasSelected = m_selected == view;
    LiveView *shown = makeView(camera);
    m_views[index] = shown;
    if (m_enlarged == view)
        m_enlarged = shown;
    layOut();
    // Before the other ends, so that a device whose last view that is goes on without a break.
    shown->play();
    retire(view);
    if (hadFocus)
        shown->setFocus();
    if (wasSelected)
        m_selected = shown;
    emit changed();
    return shown;
}

LiveView *ViewGrid::emptyView() const
{
    const auto found = std::find_if(m_views.begin(), m_views.end(),
                                    [](const LiveView *view) { return !view->camera().isValid(); });
    return found == m_views.end() ? nullptr : *found;
}

void ViewGrid::stopAll()
{
    for (LiveView *view : qAsConst(m_views))
        view->halt();
}

void ViewGrid::select(LiveView *view)
{
    m_selected = view;
    if (m_enlarged && m_enlarged != view) {
        m_enlarged = view;
        layOut();
    }
    view->setFocus();
    emit changed();
}

void ViewGrid::selectIndex(int index)
{
    if (index >= 0 && index < m_views.size())
        select(m_views[index]);
}

void ViewGrid::toggleEnlarged(LiveView *view)
{
    m_enlarged = m_enlarged || m_views.size() < 2 ? nullptr : view;
    layOut();
    if (view)
        view->setFocus();
    emit changed();
}

void ViewGrid::layOut()
{
    while (QLayoutItem *item = m_layout->takeAt(0))
        delete item;
    const int columns = qCeil(qSqrt(m_views.size()));
    for (int i = 0; i < kMostColumns; ++i) {
        m_layout->setColumnStretch(i, !m_enlarged && i < columns ? 1 : 0);
        m_layout->setRowStretch(i, !m_enlarged && i < columns ? 1 : 0);
    }
    const bool alone = m_enlarged || m_views.size() == 1;
    for (int i = 0; i < m_views.size(); ++i) {
        LiveView *view = m_views[i];
        const bool shown = !m_enlarged || m_enlarged == view;
        view->setFrameVisible(!alone);
        view->showMainStream(shown && alone);
        if (shown && m_enlarged)
            m_layout->addWidget(view, 0, 0);
        else if (shown)
            m_layout->addWidget(view, i / columns, i % columns);
        view->setVisible(shown);
    }
}
