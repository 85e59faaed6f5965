// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/hnetdevice.h"
#include "livecase.h"
#include "support/processload.h"

#include <QRegularExpression>

namespace vantratest {

/// What the tests of broken devices share: one to break, and a second one that is watched all the
/// while and must go on as if nothing were. Nothing may hold up the GUI thread or make the process
/// grow.
class LiveFaultCase : public LoggedTest
{
protected:
    static constexpr int kOpenSleepMs = 200;
    static constexpr int kHealMs = 30000; ///< safeguard
    static constexpr qint64 kMostGrowthKiB = 120 * 1024;

    void setUp() override
    {
        if (!other.device)
            other = vantrasim::simulateDevice(otherConfig());
        announceRtspStop(log.get());
        QVERIFY(Vantra::init());
        bystander = std::make_unique<LiveView>(HTransportZelk);
        QVERIFY(bystander->begin(other.device, 0, 0));
        QVERIFY(bystander->showsMore());
        before = ProcessLoad::now();
        heart = std::make_unique<Heartbeat>();
    }
    void tearDown() override
    {
        sim = {};
        const bool goesOn = bystander->showsMore(3);
        const QString faults = bystander->faults({otherConfig().number, 0, 0});
        const qint64 gap = heart->longestGap();
        heart.reset();
        bystander.reset();
        Vantra::release();
        const qint64 growth = ProcessLoad::now().residentKiB - before.residentKiB;
        QVERIFY(goesOn);
        QCOMPARE(faults, QString());
        QVERIFY2(gap < kFrozenMs, qPrintable(QString::number(gap)));
        QVERIFY2(growth < kMostGrowthKiB, qPrintable(QString::number(growth)));
    }

    static vantrasim::DeviceConfig otherConfig()
    {
        vantrasim::DeviceConfig config = smallDevice(HTransportZelk, 1, 1);
        config.number = 9;
        return config;
    }

    /// The device to break. Its threads wait only a moment before they open again.
    void make(const vantrasim::DeviceConfig &wanted)
    {
        config = wanted;
        heart->leaveOut([&] {
            sim = vantrasim::simulateDevice(config);
            sim.device->getRtspUrls();
        });
        const auto set =
            DevLiveThrSetManager::Instance()->newVideoThreadSet(sim.device, config.protocol);
        QVERIFY(set);
        for (const auto &thread : set->getChannelThreads())
            thread->setOpenSleepTime(kOpenSleepMs);
    }
    void expect(Logger::LogLevel level, const QString &pattern)
    {
        log->expectMatching(level, QRegularExpression(pattern));
    }
    int asked(bool on = true, int channel = 0, int stream = 0) const
    {
        return sim.control->calls().count(vantrasim::DeviceOp::enableMediaTransmit,
                                          {channel, stream, on});
    }
    SceneId source(int channel = 0, int stream = 0) const
    {
        return {config.number, channel, stream};
    }
    static void protocols(bool rtspToo)
    {
        QTest::addColumn<int>("protocol");
        QTest::newRow("orvo") << int(HTransportOrvo);
        QTest::newRow("zelk") << int(HTransportZelk);
        if (rtspToo)
            QTest::newRow("rtsp") << int(HTransportRtsp);
    }

    vantrasim::Simulation other;
    std::unique_ptr<LiveView> bystander;
    vantrasim::DeviceConfig config;
    vantrasim::Simulation sim;
    std::unique_ptr<Heartbeat> heart;
    ProcessLoad before;
};

} // namespace vantratest
