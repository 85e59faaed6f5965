// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicetree.h"
#include "mainwindow.h"
#include "playbackpage.h"
#include "playbackthread.h"
#include "playbackview.h"
#include "recorderhost.h"
#include "statusoverlay.h"
#include "streamthreads.h"
#include "support/counterblocks.h"
#include "support/waitfor.h"
#include "timeline.h"
#include "viewlabels.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace vantratest {

/// The window on its page of playbacks.
struct PlaybackDesk
{
    explicit PlaybackDesk(const QList<const Recorder *> &recorders, int views = 1)
        : window(std::make_unique<MainWindow>("tcp", folder.path()))
    {
        window->show();
        for (const Recorder *recorder : recorders)
            window->addDevice(recorder->device);
        page = window->playback();
        window->showPage(PageTabs::Playback);
        page->setDay(recordedDay());
        page->setViewCount(views);
        const QVector<Camera> cameras = recorders.first()->device.cameras();
        for (int i = 0; i < qMin(views, cameras.size()); ++i)
            page->put(page->views()[i], cameras[i]);
        page->select(page->views().first());
    }
    ~PlaybackDesk()
    {
        window.reset();
        waitFor([] { return !streamthreads::anyLeftRuns() && !PlaybackThread::anyRuns(); });
    }

    bool becomesActive() { return QTest::qWaitForWindowActive(window.get()); }
    PlaybackView *view(int index) const { return page->views()[index]; }
    StatusOverlay *sign(int index) const { return view(index)->findChild<StatusOverlay *>(); }
    TimeLine *line() const { return page->timeLine(); }
    DeviceTree *tree() const { return window->findChild<DeviceTree *>(); }
    void key(int key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : window.get(),
                        Qt::Key(key), modifiers);
    }
    QPoint pointOn(qint64 time, int row) const
    {
        return QPoint(line()->scale().xOf(time), line()->placeOf(row).center().y());
    }
    bool passes(int index, qint64 time) const
    {
        return waitFor([=] {
            return view(index)->state() == PlaybackState::Playing && view(index)->position() > time;
        });
    }
    bool allPass(qint64 time) const
    {
        for (int i = 0; i < page->views().size(); ++i)
            if (!passes(i, time))
                return false;
        return true;
    }
    /// Who took the picture that is seen in a view.
    SceneId scene(int index) const
    {
        PlaybackView *view = this->view(index);
        view->findChild<ViewLabels *>()->reset();
        view->clearOsd();
        const QRect place(view->mapTo(window.get(), QPoint()), view->size());
        return readSceneId(window->grab().toImage().copy(place.adjusted(3, 3, -3, -3)))
            .value_or(SceneId());
    }

    QTemporaryDir folder;
    std::unique_ptr<MainWindow> window;
    PlaybackPage *page = nullptr;
};

} // namespace vantratest
