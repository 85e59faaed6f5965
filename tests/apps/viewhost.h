// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "liveview.h"
#include "statusoverlay.h"
#include "streamthreads.h"
#include "support/rtspserver.h"
#include "support/waitfor.h"

#include <QTemporaryDir>
#include <QTimer>

#include <memory>

namespace vantratest {

inline CameraAddress addressOf(const QString &text)
{
    return CameraAddress::parse(text, nullptr);
}

/// The camera at that address.
inline Camera cameraOf(const QString &url)
{
    return cameraDevice(addressOf(url), CameraAddress()).cameras().first();
}

/// Whether all stream threads that views have left come to an end.
inline bool threadsEnd()
{
    return waitFor([] { return !streamthreads::anyLeftRuns(); });
}

/// A view in a window of its own, ticked as the main window does it.
struct Host
{
    explicit Host(const QString &url)
        : files(folder.path(), "camera"), view(cameraOf(url), "tcp", files)
    {
        QObject::connect(&timer, &QTimer::timeout, &view, &LiveView::tick);
        timer.start(50);
        view.resize(640, 360);
        view.show();
    }
    ~Host()
    {
        view.halt();
        threadsEnd();
    }
    bool becomes(ViewState state)
    {
        return waitFor([=] { return view.state() == state; });
    }
    StatusOverlay *overlay() { return view.findChild<StatusOverlay *>(); }

    QTemporaryDir folder;
    CameraFiles files;
    LiveView view;
    QTimer timer;
};

/// Starts a camera "cam" and a view of it; null if no picture comes.
inline std::unique_ptr<Host> watch(RtspServer *server, const QString &camera = "cam:h264")
{
    if (!server->start({"--camera", camera}))
        return nullptr;
    auto host = std::make_unique<Host>(server->url("cam"));
    host->view.play();
    if (!host->becomes(ViewState::Live))
        return nullptr;
    return host;
}

} // namespace vantratest
