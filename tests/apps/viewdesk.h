// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "device.h"
#include "devicetree.h"
#include "liveview.h"
#include "mainwindow.h"
#include "simulator/devicecontrol.h"
#include "simulator/scene/sceneid.h"
#include "statusoverlay.h"
#include "streamthreads.h"
#include "support/counterblocks.h"
#include "support/waitfor.h"
#include "viewgrid.h"
#include "viewlabels.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>
#include <optional>

namespace vantratest {

using namespace vantrasim;

/// A simulated device, in the list of the window by the name of its number.
struct Simulated
{
    Simulated(int number, int channels, HTransportProtocol protocol = HTransportOrvo,
              int streams = 2, const std::function<void(DeviceConfig *)> &change = {})
    {
        auto config = DeviceConfig::simple(channels, streams, protocol);
        config.number = number;
        if (change)
            change(&config);
        const Simulation simulation = simulateDevice(config);
        control = simulation.control;
        device.link = simulation.device;
        device.name = QStringLiteral("Device %1").arg(number);
        for (const ChannelConfig &channel : qAsConst(config.channels))
            device.channels.append(channel.name);
    }

    std::shared_ptr<DeviceControl> control;
    Device device;
};

/// The window, and what a person sees of it.
struct Desk
{
    explicit Desk(const QList<const Simulated *> &devices)
        : window(std::make_unique<MainWindow>("tcp", folder.path()))
    {
        window->show();
        for (const Simulated *device : devices)
            window->addDevice(device->device);
    }
    ~Desk()
    {
        window.reset();
        waitFor([] { return !streamthreads::anyLeftRuns(); });
    }

    bool becomesActive() { return QTest::qWaitForWindowActive(window.get()); }
    ViewGrid *grid() const { return window->findChild<ViewGrid *>(); }
    DeviceTree *tree() const { return window->findChild<DeviceTree *>(); }
    LiveView *view(int index) const { return grid()->views().value(index); }
    StatusOverlay *sign(int index) const { return view(index)->findChild<StatusOverlay *>(); }
    QString notice(int index) const { return view(index)->findChild<ViewLabels *>()->lastNotice(); }
    bool isLive(int index) const { return view(index)->state() == ViewState::Live; }
    bool allLive(int count) const
    {
        return waitFor([=] {
            for (int i = 0; i < count; ++i)
                if (!isLive(i))
                    return false;
            return true;
        });
    }
    void key(int key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : window.get(),
                        Qt::Key(key), modifiers);
    }

    /// What is on the screen in the place of a view, without its frame.
    QImage seen(int index) const
    {
        const QRect place(view(index)->mapTo(window.get(), QPoint()), view(index)->size());
        const QImage shot = window->grab().toImage();
        return shot.copy(place.adjusted(3, 3, -3, -3));
    }
    /// Fills the views with their pictures and takes the names away, so that they can be read.
    void bare()
    {
        for (LiveView *view : grid()->views()) {
            if (view->getScaleMode() != ScaleMode_Fill)
                view->nextScaleMode();
            view->toggleLabels();
        }
    }
    /// Who took the picture that is seen.
    SceneId scene(int index) const { return readSceneId(seen(index)).value_or(SceneId()); }
    bool shows(int index, const SceneId &expected) const
    {
        return waitFor([&] { return isLive(index) && scene(index) == expected; });
    }
    /// Whether what is seen moves on.
    bool lives(int index) const
    {
        std::optional<quint32> first;
        return waitFor([&] {
            const auto counter = isLive(index) ? readCounter(seen(index)) : std::nullopt;
            if (!counter)
                return false;
            if (!first)
                first = counter;
            return *counter != *first;
        });
    }

    QTemporaryDir folder;
    std::unique_ptr<MainWindow> window;
};

} // namespace vantratest
