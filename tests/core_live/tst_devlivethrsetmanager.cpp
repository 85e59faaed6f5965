// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "setmanagercase.h"

#include "support/metaobject.h"
#include "support/waitfor.h"
#include "vantra.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QtTest>

#include <algorithm>
#include <thread>
#include <vector>

using namespace livefakes;
using namespace vantratest;
using Op = DeviceScript::Op;

namespace {

/// Counts the queued calls that are delivered to an object.
class CallCounter : public QObject
{
public:
    explicit CallCounter(QObject *watched) { watched->installEventFilter(this); }
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::MetaCall;
        return false;
    }
    int count = 0;
};

int threadsOfProcess()
{
    return QDir("/proc/self/task").entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size();
}

} // namespace

/// The first test comes before the manager has a thread; each of the others begins and ends without
/// sets and with the manager's thread stopped.
class TestDevLiveThrSetManager : public SetManagerCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        quietConsole();
        // Another thread may be the first to ask; it still belongs to the GUI thread.
        std::thread([] { DevLiveThrSetManager::Instance(); }).join();
        QCOMPARE(manager().QObject::thread(), QThread::currentThread());
    }

    void release_queuesTheSlot_alsoWithoutASet();
    void instance_isTheSame_forAllThreads();
    void class_hasTheSlotsThatAreCalledByName();
    void stop_returnsAtOnceAndLeavesTheSets_whenNotRunning();
    void start_servesWhatWasReleasedBefore();

    void start_mayBeRepeated();
    void nullDevice_isRefused();
    void newSet_isFound();
    void newSet_leavesNothing_whenItCannotBeBound_data();
    void newSet_leavesNothing_whenItCannotBeBound();
    void newSet_takesThePlaceOfTheOneBefore();
    void devices_haveSetsOfTheirOwn();
    void release_takesTheSetOutAtOnce_whileItsThreadsRun();
    void release_endsTheThreadsInTheBackground();
    void release_endsAThreadThatWaitsForTheGui();
    void release_endsAThreadThatIsStartedMeanwhile();
    void release_letsSharedThreadsLive();
    void threads_areDeletedOnTheGuiThread();
    void threads_areThere_whileTheirEndIsTold();
    void vantra_startsAndStopsTheManager();
    void rounds_leaveThreadsFlat();
    void manyThreads_mayAskAndRelease();
};

void TestDevLiveThrSetManager::instance_isTheSame_forAllThreads()
{
    std::vector<std::thread> callers;
    std::atomic<int> others{0};
    DevLiveThrSetManager *const mine = DevLiveThrSetManager::Instance();
    for (int i = 0; i < 4; ++i)
        callers.emplace_back([&] { others += DevLiveThrSetManager::Instance() != mine; });
    for (auto &caller : callers)
        caller.join();
    QCOMPARE(int(others), 0);
    QVERIFY(!mine->parent());
    QVERIFY(!mine->isRunning());
}

void TestDevLiveThrSetManager::class_hasTheSlotsThatAreCalledByName()
{
    const QMetaObject &meta = DevLiveThrSetManager::staticMetaObject;
    QCOMPARE(
        methodsOf(meta, QMetaMethod::Slot, QMetaMethod::Private),
        QStringList({"slot_releaseVThreadSet(PtrDevLiveThrSet)", "slot_quitAllVideoThreadSets()"}));
    QVERIFY(methodsOf(meta, QMetaMethod::Signal).isEmpty());
    QVERIFY(QMetaType::type("PtrDevLiveThrSet") != QMetaType::UnknownType);
}

void TestDevLiveThrSetManager::release_queuesTheSlot_alsoWithoutASet()
{
    // It still lives on this thread, so its calls can be counted.
    QCOMPARE(manager().QObject::thread(), QThread::currentThread());
    CallCounter calls(&manager());
    manager().releaseVideoThreadSet(device());
    QCOMPARE(calls.count, 0);
    QCoreApplication::sendPostedEvents(&manager());
    QCOMPARE(calls.count, 1);
    manager().releaseVideoThreadSet({});
    QCoreApplication::sendPostedEvents(&manager());
    QCOMPARE(calls.count, 1);
}

void TestDevLiveThrSetManager::stop_returnsAtOnceAndLeavesTheSets_whenNotRunning()
{
    const auto dev = device();
    const auto set = manager().newVideoThreadSet(dev, HTransportOrvo);
    QVERIFY(set);
    LiveThread *thread = liveThread(set, 0);
    thread->play();
    QVERIFY(thread->waitUntilUp());
    QVERIFY(!manager().isRunning());
    manager().stop();
    QCOMPARE(manager().getVideoThreadSet(dev), set);
    QCOMPARE(int(thread->stops), 0);
    QVERIFY(thread->isRunning());
    QCOMPARE(set->getDevPtr(), dev);
}

void TestDevLiveThrSetManager::start_servesWhatWasReleasedBefore()
{
    const auto dev = device();
    const QWeakPointer<DevLiveThrSet> set = manager().newVideoThreadSet(dev, HTransportOrvo);
    maker->made().at(0)->play();
    manager().releaseVideoThreadSet(dev);
    QVERIFY(!manager().getVideoThreadSet(dev));
    QVERIFY(set);
    QVERIFY(manager().start());
    QVERIFY(waitFor([&] { return !set && !maker->made().at(0); }));
}

void TestDevLiveThrSetManager::start_mayBeRepeated()
{
    QVERIFY(manager().start());
    QVERIFY(manager().isRunning());
    QVERIFY(manager().start());
    const auto dev = device(2);
    QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
    manager().stop();
    QVERIFY(!manager().isRunning());
    QVERIFY(!manager().getVideoThreadSet(dev));
    QVERIFY(manager().start());
    QVERIFY(manager().isRunning());
}

void TestDevLiveThrSetManager::nullDevice_isRefused()
{
    log->expect(Logger::Error, "(dvltsmg)dev is null");
    QVERIFY(!manager().getVideoThreadSet({}));
    QCOMPARE(log->count(Logger::Error, "(dvltsmg)dev is null"), 1);
    QVERIFY(!manager().newVideoThreadSet({}, HTransportOrvo));
    QCOMPARE(log->count(Logger::Error, "(dvltsmg)dev is null"), 2);
    manager().releaseVideoThreadSet({}); // in silence
    QCOMPARE(log->count(Logger::Error, "(dvltsmg)dev is null"), 2);
}

void TestDevLiveThrSetManager::newSet_isFound()
{
    const auto dev = device(3);
    QVERIFY(!manager().getVideoThreadSet(dev));
    const auto set = manager().newVideoThreadSet(dev, HTransportOrvo);
    QVERIFY(set);
    QCOMPARE(set->getChannelThreads().size(), 3);
    QCOMPARE(manager().getVideoThreadSet(dev), set);
    // A device without streams has one too.
    const auto empty = device(0);
    const auto none = manager().newVideoThreadSet(empty, HTransportOrvo);
    QVERIFY(none);
    QCOMPARE(manager().getVideoThreadSet(empty), none);
}

void TestDevLiveThrSetManager::newSet_leavesNothing_whenItCannotBeBound_data()
{
    QTest::addColumn<int>("spoken");
    QTest::addColumn<int>("asked");
    QTest::addColumn<QString>("error");
    QTest::newRow("other protocol")
        << 1 << 4 << "(dvlvthrst)trans proto 4 not match 1 in live thr set";
    QTest::newRow("unknown protocol") << 3 << 3 << "(dvlvthrst)create stream thread err";
}

void TestDevLiveThrSetManager::newSet_leavesNothing_whenItCannotBeBound()
{
    QFETCH(int, spoken);
    QFETCH(int, asked);
    QFETCH(QString, error);
    log->expect(Logger::Error, error);
    auto dev = device(2, HTransportProtocol(spoken));
    const QWeakPointer<HNetDevice> left(dev);
    QVERIFY(!manager().newVideoThreadSet(dev, HTransportProtocol(asked)));
    QCOMPARE(log->count(Logger::Error, error), 1);
    QVERIFY(!manager().getVideoThreadSet(dev));
    dev.reset();
    QVERIFY(!left);
}

void TestDevLiveThrSetManager::newSet_takesThePlaceOfTheOneBefore()
{
    const auto dev = device();
    QWeakPointer<DevLiveThrSet> first = manager().newVideoThreadSet(dev, HTransportOrvo);
    const auto second = manager().newVideoThreadSet(dev, HTransportOrvo);
    QCOMPARE(manager().getVideoThreadSet(dev), second);
    QVERIFY(first); // not stopped yet, so it is kept
    manager().start();
    manager().stop();
    QVERIFY(!first);
}

void TestDevLiveThrSetManager::devices_haveSetsOfTheirOwn()
{
    manager().start();
    const auto one = device();
    const auto other = device();
    QVERIFY(manager().newVideoThreadSet(one, HTransportOrvo));
    const auto set = manager().newVideoThreadSet(other, HTransportOrvo);
    manager().releaseVideoThreadSet(one);
    QVERIFY(!manager().getVideoThreadSet(one));
    QCOMPARE(manager().getVideoThreadSet(other), set);
    QVERIFY(waitFor([&] { return !maker->made().at(0); }));
    QVERIFY(maker->made().at(1));
}

void TestDevLiveThrSetManager::release_takesTheSetOutAtOnce_whileItsThreadsRun()
{
    manager().start();
    const auto dev = device();
    QWeakPointer<DevLiveThrSet> first = manager().newVideoThreadSet(dev, HTransportOrvo);
    const QPointer<LiveThread> old = maker->made().at(0);
    old->play();
    QVERIFY(old->waitUntilUp());
    old->stay();
    manager().releaseVideoThreadSet(dev); // at once returned
    QVERIFY(!manager().getVideoThreadSet(dev));
    QVERIFY(old->isRunning());

    const auto second = manager().newVideoThreadSet(dev, HTransportOrvo);
    QVERIFY(second != first.toStrongRef());
    QCOMPARE(manager().getVideoThreadSet(dev), second);
    liveThread(second, 0)->play();
    QVERIFY(liveThread(second, 0)->waitUntilUp());
    QVERIFY(waitFor([&] { return old->stops > 0; }));
    QVERIFY(old->isRunning());
    old->leave();
    QVERIFY(waitFor([&] { return !first && !old; }));
    // The end of the first does not touch the second.
    QCOMPARE(manager().getVideoThreadSet(dev), second);
    QVERIFY(liveThread(second, 0)->isRunning());
}

void TestDevLiveThrSetManager::release_endsTheThreadsInTheBackground()
{
    manager().start();
    auto dev = device(3);
    const QWeakPointer<HNetDevice> left(dev);
    const QWeakPointer<DevLiveThrSet> set = manager().newVideoThreadSet(dev, HTransportOrvo);
    const auto made = maker->made();
    for (const auto &thread : made)
        thread->play();
    manager().releaseVideoThreadSet(dev);
    dev.reset();
    QVERIFY(waitFor([&] { return !set && !left; }));
    QVERIFY(waitFor([&] { return !made.at(0) && !made.at(1) && !made.at(2); }));
}

void TestDevLiveThrSetManager::release_endsAThreadThatWaitsForTheGui()
{
    manager().start();
    const auto dev = device();
    QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
    const QPointer<LiveThread> thread = maker->made().at(0);
    int reports = 0;
    reportsWithoutEnd(thread, this, &reports);
    QVERIFY(waitFor([&] { return reports > 3; }));
    manager().releaseVideoThreadSet(dev);
    QVERIFY(waitFor([&] { return !thread; }));
}

void TestDevLiveThrSetManager::release_endsAThreadThatIsStartedMeanwhile()
{
    manager().start();
    const auto dev = device();
    QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
    const QPointer<LiveThread> thread = maker->made().at(0);
    thread->play();
    QVERIFY(thread->waitUntilUp());
    thread->deafStops = 1; // as if the order had come before the start
    manager().releaseVideoThreadSet(dev);
    QVERIFY(waitFor([&] { return !thread; }));
}

void TestDevLiveThrSetManager::release_letsSharedThreadsLive()
{
    manager().start();
    const auto dev = device();
    const auto set = manager().newVideoThreadSet(dev, HTransportOrvo);
    auto shared = set->getChannelThreads().at(0);
    shared->play();
    manager().releaseVideoThreadSet(dev);
    QVERIFY(waitFor([&] { return !set->getDevPtr(); }));
    QVERIFY(shared->isFinished());
    QCOMPARE(maker->made().at(0).data(), shared.data());
    shared.reset();
    QVERIFY(waitFor([&] { return !maker->made().at(0); }));
}

void TestDevLiveThrSetManager::threads_areDeletedOnTheGuiThread()
{
    for (const bool stopping : {false, true}) {
        manager().start();
        const auto dev = device();
        QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
        std::atomic<QThread *> where{nullptr};
        LiveThread *thread = maker->made().last();
        connect(
            thread, &QObject::destroyed, thread, [&] { where = QThread::currentThread(); },
            Qt::DirectConnection);
        thread->play();
        if (stopping)
            manager().stop();
        else
            manager().releaseVideoThreadSet(dev);
        QVERIFY(waitFor([&] { return where != nullptr; }));
        QCOMPARE(where.load(), QThread::currentThread());
    }
}

void TestDevLiveThrSetManager::threads_areThere_whileTheirEndIsTold()
{
    manager().start();
    const auto first = device();
    const auto second = device();
    const QVector<PtrDevLiveThrSet> sets{manager().newVideoThreadSet(first, HTransportOrvo),
                                         manager().newVideoThreadSet(second, HTransportOrvo)};
    int told = 0;
    int gone = 0;
    for (const QPointer<LiveThread> &thread : maker->made()) {
        connect(thread, &QThread::finished, this, [&told, &gone, thread] {
            ++told;
            gone += !thread;
        });
        thread->play();
        QVERIFY(thread->waitUntilUp());
    }
    manager().releaseVideoThreadSet(first);
    manager().releaseVideoThreadSet(second);
    // Both have ended before this thread comes to hear of it.
    const QDeadlineTimer deadline(10000);
    const auto isBound = [](const PtrDevLiveThrSet &set) { return bool(set->getDevPtr()); };
    while (std::any_of(sets.begin(), sets.end(), isBound) && !deadline.hasExpired())
        QThread::msleep(1);
    QVERIFY(std::none_of(sets.begin(), sets.end(), isBound));
    QVERIFY(waitFor([&] { return told == 2; }));
    QCOMPARE(gone, 0);
}

void TestDevLiveThrSetManager::vantra_startsAndStopsTheManager()
{
    QVERIFY(Vantra::init());
    QVERIFY(manager().isRunning());
    const auto dev = device();
    QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
    const QPointer<LiveThread> thread = maker->made().at(0);
    thread->play();
    Vantra::release();
    QVERIFY(!manager().isRunning());
    QVERIFY(!manager().getVideoThreadSet(dev));
    QVERIFY(!thread);
}

void TestDevLiveThrSetManager::rounds_leaveThreadsFlat()
{
    const int before = threadsOfProcess();
    for (int round = 0; round < 200; ++round) {
        manager().start();
        const auto dev = device(2);
        QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
        for (const auto &thread : maker->made().mid(2 * round))
            thread->play();
        if (round % 2)
            manager().releaseVideoThreadSet(dev);
        manager().stop();
    }
    QVERIFY(waitFor([&] { return threadsOfProcess() <= before; }));
}

void TestDevLiveThrSetManager::manyThreads_mayAskAndRelease()
{
    manager().start();
    const auto dev = device(2);
    std::atomic<bool> over{false};
    std::vector<std::thread> callers;
    for (int i = 0; i < 3; ++i) {
        callers.emplace_back([&] {
            while (!over) {
                if (const auto set = manager().getVideoThreadSet(dev)) {
                    set->referenceCount();
                    set->getDevPtr();
                }
                manager().releaseVideoThreadSet(dev);
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        QVERIFY(manager().newVideoThreadSet(dev, HTransportOrvo));
        if (round % 10 == 0)
            QCoreApplication::processEvents();
    }
    over = true;
    for (auto &caller : callers)
        caller.join();
}

QTEST_MAIN(TestDevLiveThrSetManager)
#include "tst_devlivethrsetmanager.moc"
