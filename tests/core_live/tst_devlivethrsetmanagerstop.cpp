// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "setmanagercase.h"
#include "support/waitfor.h"

using namespace livefakes;
using namespace vantratest;

/// The end of all sets, and what its caller and the slots that it delivers see of it.
class TestDevLiveThrSetManagerStop : public SetManagerCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void stop_tellsAllBeforeItWaitsForAny();
    void stop_endsSetsInUseAndReleasedOnes();
    void stop_letsGoOfThreadsThatWaitForIt();
    void stop_mayBeCalledAgain_inASlotThatItDelivers();
    void start_inASlotThatStopDelivers_followsIt_data();
    void start_inASlotThatStopDelivers_followsIt();
};

void TestDevLiveThrSetManagerStop::stop_tellsAllBeforeItWaitsForAny()
{
    manager().start();
    const auto first = device();
    const auto second = device();
    QVERIFY(manager().newVideoThreadSet(first, HTransportOrvo));
    QVERIFY(manager().newVideoThreadSet(second, HTransportOrvo));
    const auto made = maker->made();
    for (const auto &thread : made) {
        thread->play();
        QVERIFY(thread->waitUntilUp());
        thread->stay();
    }
    std::thread helper([&] {
        // Whichever is waited for first: none ends before both have been told.
        while (made.at(0)->stops == 0 || made.at(1)->stops == 0)
            std::this_thread::yield();
        for (const auto &thread : made)
            thread->leave();
    });
    manager().stop();
    helper.join();
    QVERIFY(!made.at(0) && !made.at(1));
}

void TestDevLiveThrSetManagerStop::stop_endsSetsInUseAndReleasedOnes()
{
    manager().start();
    const auto dev = device();
    const auto other = device();
    QWeakPointer<DevLiveThrSet> released = manager().newVideoThreadSet(dev, HTransportOrvo);
    const QWeakPointer<DevLiveThrSet> inUse = manager().newVideoThreadSet(other, HTransportOrvo);
    for (const auto &thread : maker->made())
        thread->play();
    manager().releaseVideoThreadSet(dev);
    manager().stop();
    QVERIFY(!inUse);
    QVERIFY(!manager().getVideoThreadSet(other));
    QVERIFY(!manager().isRunning());
    for (const auto &thread : maker->made())
        QVERIFY(!thread || !thread->isRunning());
    // What was queued for the manager's thread when it ended is served at the next start.
    manager().start();
    QVERIFY(waitFor([&] { return !released; }));
}

void TestDevLiveThrSetManagerStop::stop_letsGoOfThreadsThatWaitForIt()
{
    for (int round = 0; round < 10; ++round) {
        manager().start();
        const auto dev = device(4);
        QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
        int reports = 0;
        const auto made = maker->made().mid(4 * round);
        for (const auto &thread : made)
            reportsWithoutEnd(thread, this, &reports);
        QVERIFY(waitFor([&] { return reports > round; }));
        manager().stop();
        for (const auto &thread : made)
            QVERIFY(!thread);
    }
}

void TestDevLiveThrSetManagerStop::stop_mayBeCalledAgain_inASlotThatItDelivers()
{
    manager().start();
    const auto dev = device();
    QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
    const QPointer<LiveThread> thread = maker->made().at(0);
    int nested = 0;
    connect(
        thread, &AbstractVideoThread::receivePlayFinsh, this,
        [&] {
            ++nested;
            manager().stop();
        },
        Qt::BlockingQueuedConnection);
    QVERIFY(playsUntilAsked(thread));
    manager().stop();
    QCOMPARE(nested, 1);
    QVERIFY(!thread);
    QVERIFY(!manager().isRunning());
}

void TestDevLiveThrSetManagerStop::start_inASlotThatStopDelivers_followsIt_data()
{
    QTest::addColumn<bool>("stopsAgain");
    QTest::newRow("started") << false;
    QTest::newRow("started, and stopped once more") << true;
}

void TestDevLiveThrSetManagerStop::start_inASlotThatStopDelivers_followsIt()
{
    QFETCH(bool, stopsAgain);
    manager().start();
    const auto dev = device();
    QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
    const QPointer<LiveThread> thread = maker->made().at(0);
    connect(
        thread, &AbstractVideoThread::receivePlayFinsh, this,
        [&] {
            QVERIFY(manager().start());
            if (stopsAgain)
                manager().stop();
        },
        Qt::BlockingQueuedConnection);
    QVERIFY(playsUntilAsked(thread));
    manager().stop();
    QVERIFY(!thread);
    QVERIFY(!manager().getVideoThreadSet(dev));
    QCOMPARE(manager().isRunning(), !stopsAgain);
    // And it serves.
    manager().start();
    QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
    manager().releaseVideoThreadSet(dev);
    QVERIFY(waitFor([&] { return !maker->made().at(1); }));
}

QTEST_MAIN(TestDevLiveThrSetManagerStop)
#include "tst_devlivethrsetmanagerstop.moc"
