// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/videothrmux/devlivethrset.h"

#include "livefakes.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"

#include <QtTest>

#include <limits>
#include <thread>

using namespace livefakes;
using namespace vantratest;
using Op = DeviceScript::Op;

class TestDevLiveThrSet : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void set_isEmpty_beforeTheBind();
    void bindDevice_refusesNull();
    void bindDevice_namesBothProtocols_whenTheyDiffer();
    void bindDevice_failsOnTheFirstStream_forAnUnknownProtocol();
    void bindDevice_givesAnEmptySet_withoutStreams();
    void bindDevice_makesOneIdleThreadPerStream_data();
    void bindDevice_makesOneIdleThreadPerStream();
    void bindDevice_bearsACountThatNoDeviceHas();
    void references_areAddedUpOverAllStreams();
    void isOwned_tellsWhetherAnyThreadIs();
    void quit_tellsAll_andReturnsAtOnce();
    void wait_returnsWhenNoneRuns();
    void wait_onTheGuiThread_letsGoOfAThreadThatWaitsForIt();
    void unbind_dropsDeviceAndThreads();
    void unbind_leavesSharedThreadsUnbound();
    void getters_mayBeCalled_whileTheSetIsUnbound();

private:
    void setUp() override { maker = std::make_unique<ThreadMaker>(); }
    void tearDown() override { maker.reset(); }

    std::unique_ptr<ThreadMaker> maker;
};

void TestDevLiveThrSet::set_isEmpty_beforeTheBind()
{
    DevLiveThrSet set;
    QVERIFY(!set.getDevPtr());
    QVERIFY(set.getChannelThreads().isEmpty());
    QCOMPARE(set.referenceCount(), 0);
    QVERIFY(!set.isOwned());
    set.quit();
    set.wait();
    set.unbindDevice();
}

void TestDevLiveThrSet::bindDevice_refusesNull()
{
    log->expect(Logger::Error, "(dvlvthrst)dev in live thr set is null");
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice({}, HTransportOrvo), -1);
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(set.getChannelThreads().isEmpty());
}

void TestDevLiveThrSet::bindDevice_namesBothProtocols_whenTheyDiffer()
{
    log->expect(Logger::Error, "(dvlvthrst)trans proto 4 not match 1 in live thr set");
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(scriptedDevice(deviceScript(1, 2, HTransportZelk)), HTransportOrvo),
             -1);
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(!set.getDevPtr());
    QVERIFY(set.getChannelThreads().isEmpty());
}

void TestDevLiveThrSet::bindDevice_failsOnTheFirstStream_forAnUnknownProtocol()
{
    log->expect(Logger::Error, "(dvlvthrst)create stream thread err");
    DevLiveThrSet set;
    const auto protocol = HTransportProtocol(3);
    QCOMPARE(set.bindDevice(scriptedDevice(deviceScript(2, 2, protocol)), protocol), -1);
    QCOMPARE(log->count(Logger::Error, "(dvlvthrst)create stream thread err"), 1);
    QVERIFY(maker->made().isEmpty());
    // An entry for each stream all the same, and the device.
    QCOMPARE(set.getChannelThreads(), QVector<QSharedPointer<AbstractVideoThread>>(4));
    QVERIFY(set.getDevPtr());
    QCOMPARE(set.referenceCount(), 0);
    QVERIFY(!set.isOwned());
    set.quit();
    set.wait();
    set.unbindDevice();
    // Not by the real makers either.
    maker.reset();
    DevLiveThrSet real;
    QCOMPARE(real.bindDevice(scriptedDevice(deviceScript(1, 1, protocol)), protocol), -1);
}

void TestDevLiveThrSet::bindDevice_givesAnEmptySet_withoutStreams()
{
    for (const int streams : {0, -1}) {
        const auto script = deviceScript(0, 0, HTransportOrvo);
        script->setAnswer(Op::getStreamCount, streams);
        const auto device = scriptedDevice(script);
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, HTransportOrvo), 0);
        QVERIFY(set.getChannelThreads().isEmpty());
        QCOMPARE(set.getDevPtr(), device);
    }
}

void TestDevLiveThrSet::bindDevice_makesOneIdleThreadPerStream_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<QString>("name");
    QTest::newRow("orvo") << int(HTransportOrvo) << "OrvoLiveThread";
    QTest::newRow("zelk") << int(HTransportZelk) << "ZelkLiveThread";
    QTest::newRow("rtsp") << int(HTransportRtsp) << "FFRtspLiveThread";
}

void TestDevLiveThrSet::bindDevice_makesOneIdleThreadPerStream()
{
    QFETCH(int, protocol);
    QFETCH(QString, name);
    maker.reset(); // the real ones
    const auto device = scriptedDevice(deviceScript(3, 2, HTransportProtocol(protocol)));
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(device, HTransportProtocol(protocol)), 0);
    const auto threads = set.getChannelThreads();
    QCOMPARE(threads.size(), 6);
    for (const auto &thread : threads) {
        QCOMPARE(thread->objectName(), name);
        QVERIFY(thread->inherits(name.toLatin1()));
        QVERIFY(!thread->parent());
        QVERIFY(!thread->isRunning());
        auto *bound = dynamic_cast<DeviceInterface *>(thread.data());
        QVERIFY(bound);
        QCOMPARE(bound->device, device);
        QCOMPARE(bound->channel, 0);
        QCOMPARE(bound->stream, 0);
    }
    QCOMPARE(set.referenceCount(), 0);
}

void TestDevLiveThrSet::bindDevice_bearsACountThatNoDeviceHas()
{
    log->expect(Logger::Error, "(dvlvthrst)create stream thread err");
    const auto script = deviceScript(1, 1, HTransportOrvo);
    script->setAnswer(Op::getStreamCount, std::numeric_limits<int>::max());
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(scriptedDevice(script), HTransportOrvo), -1);
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(maker->made().isEmpty());
}

void TestDevLiveThrSet::references_areAddedUpOverAllStreams()
{
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(scriptedDevice(deviceScript(2, 2, HTransportZelk)), HTransportZelk), 0);
    const auto threads = set.getChannelThreads();
    ++threads.at(0)->previewRef();
    ++threads.at(0)->previewRef();
    ++threads.at(3)->previewRef();
    QCOMPARE(set.referenceCount(), 3);
    threads.at(1)->recordStart(AbstractVideoThread::MANUAL_RECORD);
    threads.at(1)->recordStart(AbstractVideoThread::AUTO_RECORD);
    QCOMPARE(set.referenceCount(), 5);
    threads.at(1)->recordStop(AbstractVideoThread::AUTO_RECORD);
    --threads.at(0)->previewRef();
    QCOMPARE(set.referenceCount(), 3);
}

void TestDevLiveThrSet::isOwned_tellsWhetherAnyThreadIs()
{
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(scriptedDevice(deviceScript(2, 1, HTransportZelk)), HTransportZelk), 0);
    QVERIFY(!set.isOwned());
    set.getChannelThreads().at(1)->isOwned() = true;
    QVERIFY(set.isOwned());
    set.getChannelThreads().at(1)->isOwned() = false;
    QVERIFY(!set.isOwned());
}

void TestDevLiveThrSet::quit_tellsAll_andReturnsAtOnce()
{
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(scriptedDevice(deviceScript(2, 1, HTransportOrvo)), HTransportOrvo), 0);
    for (const auto &thread : set.getChannelThreads())
        thread->play();
    const auto made = maker->made();
    for (const auto &thread : made) {
        QVERIFY(thread->waitUntilUp());
        thread->stay();
    }
    set.quit();
    for (const auto &thread : made) {
        QCOMPARE(int(thread->stops), 1);
        QVERIFY(thread->isRunning());
        thread->leave();
    }
    set.wait();
    for (const auto &thread : made)
        QVERIFY(!thread->isRunning());
}

void TestDevLiveThrSet::wait_returnsWhenNoneRuns()
{
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(scriptedDevice(deviceScript(2, 1, HTransportOrvo)), HTransportOrvo), 0);
    set.wait(); // at once
    const auto made = maker->made();
    for (const auto &thread : made)
        thread->play();
    for (const auto &thread : made)
        QVERIFY(thread->waitUntilUp());
    std::atomic<bool> over{false};
    std::thread waiter([&] {
        set.wait();
        over = true;
    });
    made.at(0)->stop();
    QVERIFY(waitFor([&] { return made.at(0)->isFinished(); }));
    const bool early = over;
    made.at(1)->stop();
    waiter.join();
    QVERIFY(!early);
    QVERIFY(made.at(1)->isFinished());
}

void TestDevLiveThrSet::wait_onTheGuiThread_letsGoOfAThreadThatWaitsForIt()
{
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(scriptedDevice(deviceScript(1, 1, HTransportOrvo)), HTransportOrvo), 0);
    LiveThread *thread = maker->made().at(0);
    int reports = 0;
    connect(
        thread, &AbstractVideoThread::receivePlayStart, this, [&] { ++reports; },
        Qt::BlockingQueuedConnection);
    thread->play();
    thread->post([thread] {
        while (!thread->isStopAsked())
            emit thread->receivePlayStart(0);
    });
    QVERIFY(waitFor([&] { return reports > 0; }));
    set.quit();
    set.wait();
    QVERIFY(!thread->isRunning());
}

void TestDevLiveThrSet::unbind_dropsDeviceAndThreads()
{
    auto device = scriptedDevice(deviceScript(1, 2, HTransportZelk));
    const QWeakPointer<HNetDevice> left(device);
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(device, HTransportZelk), 0);
    device.reset();
    QVERIFY(left);
    set.unbindDevice();
    QVERIFY(!left);
    QVERIFY(!set.getDevPtr());
    QVERIFY(set.getChannelThreads().isEmpty());
    QCOMPARE(maker->made(), QVector<QPointer<LiveThread>>(2));
}

void TestDevLiveThrSet::unbind_leavesSharedThreadsUnbound()
{
    DevLiveThrSet set;
    QCOMPARE(set.bindDevice(scriptedDevice(deviceScript(1, 2, HTransportZelk)), HTransportZelk), 0);
    const auto shared = set.getChannelThreads().at(1);
    set.unbindDevice();
    const auto made = maker->made();
    QVERIFY(!made.at(0));
    QVERIFY(made.at(1));
    QVERIFY(!made.at(1)->device);
}

void TestDevLiveThrSet::getters_mayBeCalled_whileTheSetIsUnbound()
{
    for (int round = 0; round < 20; ++round) {
        DevLiveThrSet set;
        const auto device = scriptedDevice(deviceScript(2, 2, HTransportZelk));
        QCOMPARE(set.bindDevice(device, HTransportZelk), 0);
        const auto keep = set.getChannelThreads(); // threads are deleted on their own thread
        std::thread other([&] { set.unbindDevice(); });
        while (set.getDevPtr()) {
            set.referenceCount();
            set.isOwned();
            set.quit();
        }
        other.join();
        QVERIFY(set.getChannelThreads().isEmpty());
    }
}

QTEST_MAIN(TestDevLiveThrSet)
#include "tst_devlivethrset.moc"
