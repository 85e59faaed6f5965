// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_video/deviceinterface.h"
#include "core_videobase/videowidgetfakes.h"
#include "support/scriptedbackend.h"

#include <QPointer>

#include <atomic>
#include <memory>

/// What the tests of live sets and widgets put in the place of the stream threads of a device.
namespace livefakes {

/// A stream thread of a device that does what the test posts; told to stop on any thread.
class LiveThread : public videowidgetfakes::FakeThread, public DeviceInterface
{
    Q_OBJECT

public:
    LiveThread();
    ~LiveThread() override;

    void stop() override;
    /// As the real one, unless `heldBack`.
    void play() override;
    /// The session opens, as a source does on the thread: reports the start of play.
    bool open();
    /// The session closes in the middle, as for a reopen: reports the end of play.
    bool close();
    /// Runs until run() has been entered.
    bool waitUntilUp()
    {
        return call([] {});
    }
    /// Stays when it is told to stop, as a thread does that has long to wait.
    void stay() { deafToStop = true; }
    void leave() { deafToStop = false; }

    void setExceeded(int count) { exceedCount = count; }
    void setTimedOut(bool opening, bool reading);

    bool heldBack = false;         ///< play() does nothing, as with a thread that comes up late
    std::atomic<int> stops{0};     ///< calls of stop()
    std::atomic<int> starts{0};    ///< runs
    std::atomic<int> deafStops{0}; ///< so many calls of stop() have no effect

protected:
    void run() override;
};

/// Replaces the makers of stream threads while it stands. Threads of all three protocols are made.
class ThreadMaker
{
    Q_DISABLE_COPY(ThreadMaker)

public:
    ThreadMaker();
    ~ThreadMaker();
    /// Made since, deleted ones included as null, in order.
    static QVector<QPointer<LiveThread>> made();
};

/// A device of `channels` with `perChannel` streams each that sends by `protocol`.
std::shared_ptr<vantratest::DeviceScript> deviceScript(int channels, int perChannel,
                                                       HTransportProtocol protocol);

LiveThread *liveThread(const PtrDevLiveThrSet &set, int index);

} // namespace livefakes
