// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "livefakes.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"

#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>

namespace livefakes {

inline DevLiveThrSetManager &manager()
{
    return *DevLiveThrSetManager::Instance();
}

/// A device with one stream, or as many.
inline QSharedPointer<HNetDevice> device(int streams = 1,
                                         HTransportProtocol protocol = HTransportOrvo)
{
    return scriptedDevice(deviceScript(1, streams, protocol));
}

/// Starts a stream that tells the end of its play only once it is asked to stop, and waits until it
/// is so far.
inline bool playsUntilAsked(LiveThread *thread)
{
    thread->play();
    const auto entered = std::make_shared<std::atomic<bool>>(false);
    thread->post([thread, entered] {
        *entered = true;
        while (!thread->isStopAsked())
            QThread::yieldCurrentThread();
        emit thread->receivePlayFinsh(thread);
    });
    return vantratest::waitFor([&] { return entered->load(); });
}

/// Starts a stream that tells the begin of its play again and again, each time waiting for this
/// thread, until it is asked to stop. `reports` counts.
inline void reportsWithoutEnd(LiveThread *thread, QObject *receiver, int *reports)
{
    QObject::connect(
        thread, &AbstractVideoThread::receivePlayStart, receiver, [reports] { ++*reports; },
        Qt::BlockingQueuedConnection);
    thread->play();
    thread->post([thread] {
        while (!thread->isStopAsked())
            emit thread->receivePlayStart(0);
    });
}

/// Tests of the manager, each of which begins and ends without sets and with the manager's thread
/// stopped.
class SetManagerCase : public vantratest::LoggedTest
{
protected:
    void setUp() override { maker = std::make_unique<ThreadMaker>(); }
    void tearDown() override
    {
        manager().start();
        manager().stop();
        for (const auto &thread : ThreadMaker::made())
            QVERIFY(!thread);
        maker.reset();
    }

    std::unique_ptr<ThreadMaker> maker;
};

} // namespace livefakes
