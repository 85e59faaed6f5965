// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "playbackthread.h"
#include "playbackview.h"
#include "recorderhost.h"
#include "statusoverlay.h"
#include "support/counterblocks.h"
#include "support/waitfor.h"
#include "viewlabels.h"

#include <QTemporaryDir>
#include <QTimer>

namespace vantratest {

constexpr quint32 kCounterModulus = 1u << 24;

/// A playback in a window of its own, ticked as the page does it.
struct PlaybackHost
{
    explicit PlaybackHost(const Camera &camera) : view(folder.path())
    {
        view.setFrameVisible(false);
        view.nextScaleMode(); // fill, so that the picture is the whole view
        view.resize(640, 360);
        view.setDay(recordedDay());
        view.setCamera(camera);
        QObject::connect(&timer, &QTimer::timeout, &view, &PlaybackView::tick);
        timer.start(50);
        view.show();
    }
    ~PlaybackHost()
    {
        view.halt();
        waitFor([] { return !PlaybackThread::anyRuns(); });
    }

    bool becomes(PlaybackState state)
    {
        return waitFor([=] { return view.state() == state; });
    }
    StatusOverlay *overlay() { return view.findChild<StatusOverlay *>(); }
    QString notice() { return view.findChild<ViewLabels *>()->lastNotice(); }
    bool showsWords(const QString &title, const QString &words)
    {
        return waitFor([&] {
            return overlay()->isVisible() && overlay()->title() == title &&
                   overlay()->detail().contains(words);
        });
    }
    /// Time of the picture that is really seen, by its counter; none if it cannot be read.
    qint64 seen()
    {
        view.findChild<ViewLabels *>()->reset();
        view.clearOsd();
        const auto counter = readCounter(view.grab().toImage());
        if (!counter)
            return recordingtime::none;
        const qint64 frame = view.position() * Recorder::kFps / 1000;
        const qint64 base = frame - frame % kCounterModulus;
        return (base + *counter) * 1000 / Recorder::kFps;
    }
    bool passes(qint64 time)
    {
        return waitFor(
            [=] { return view.state() == PlaybackState::Playing && view.position() > time; });
    }

    QTemporaryDir folder;
    PlaybackView view;
    QTimer timer;
};

} // namespace vantratest
