// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "livefakes.h"
#include "support/loggedtest.h"

#include <QtTest>

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
