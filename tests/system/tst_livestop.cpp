// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The ends of live views, in all orders, while pictures flow: windows that are closed or deleted,
// stops, the release of the library, devices that the host forgets, the end of the process.
#include "devicelink/hnetdevice.h"
#include "endrounds.h"
#include "livecase.h"
#include "support/privatepulse.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTimer>

using namespace vantratest;
using namespace vantrasim;

namespace {

/// A host whose process ends in the way of `mode` while its views show a device.
int endingHost(const QByteArray &mode, int argc, char **argv)
{
    quietConsole();
    useNoSoundServer();
    auto application = std::make_unique<QApplication>(argc, argv);
    Vantra::init();
    Simulation sim = simulateDevice(smallDevice(HTransportOrvo, 2, 2));
    auto first = std::make_unique<LiveView>();
    auto second = std::make_unique<LiveView>();
    if (!first->begin(sim.device, 0, 0) || !second->begin(sim.device, 1, 1))
        return 1;
    if (!first->showsMore(1) || !second->showsMore(1))
        return 2;
    if (mode == "release-first")
        Vantra::release();
    else if (mode == "device-first")
        sim = {};
    else if (mode == "application-first") {
        first.reset();
        second.release(); // a host that leaks its window
        application.reset();
    } else if (mode == "last-window-closed") {
        QTimer::singleShot(0, [&] {
            first->close();
            second->close();
        });
        return application->exec();
    }
    return 0;
}

} // namespace

class TestLiveStop : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override
    {
        announceRtspStop(log.get());
        log->expect(Logger::Error, QStringLiteral("(lvvdwgt)play not started"));
        for (const Logger::LogLevel level : {Logger::Warning, Logger::Error}) {
            // The link may be cut, and the folder of recordings goes with the round.
            log->expectMatching(level, QRegularExpression("^\\((ffvdthr|zklvthr|orlvthr)\\)"));
        }
        QVERIFY(Vantra::init());
    }
    void tearDown() override { Vantra::release(); }

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void rounds_inAnyOrder_endInTime_andLeaveNothing_data();
    void rounds_inAnyOrder_endInTime_andLeaveNothing();
    void process_ends_whileViewsShow_data();
    void process_ends_whileViewsShow();

private:
    void playRound(HTransportProtocol protocol, const Simulation &lasting);
    int draw(int below) { return rounds->draw(below); }

    std::unique_ptr<EndRounds> rounds;
};

/// Some views on a device; then everything that may end happens, in an order that is drawn.
void TestLiveStop::playRound(HTransportProtocol protocol, const Simulation &lasting)
{
    Simulation sim = lasting.device ? lasting : simulateDevice(smallDevice(protocol, 2, 2));
    const std::shared_ptr<DeviceControl> control = sim.control;
    const QTemporaryDir folder;
    std::vector<std::unique_ptr<LiveView>> views;
    const int count = 1 + draw(4);
    for (int i = 0; i < count; ++i) {
        views.push_back(std::make_unique<LiveView>(protocol, 1000));
        ++rounds->viewsMade;
        LiveView &view = *views.back();
        view.setReads(false);
        QVERIFY(view.begin(sim.device, draw(2), draw(2), draw(2) ? LiveView::kAll : 3));
        if (draw(3) == 0)
            view.recordStart(folder.path());
    }
    if (draw(3) > 0)
        QVERIFY(views.front()->showsMore(1 + draw(3)));

    std::vector<std::function<void()>> steps;
    for (auto &view : views) {
        steps.push_back([&view] {
            if (view)
                view->close();
        });
        steps.push_back([&view] { view.reset(); });
        const int how = draw(6);
        steps.push_back([&view, how] {
            if (!view)
                return;
            if (how < 3)
                view->finish();
            else if (how < 5)
                view->stop(how == 4); // without playStop()
            else
                view->look(1);
        });
    }
    steps.push_back([&sim] { sim.device.reset(); });
    steps.push_back([this] { rounds->heart->leaveOut([] { Vantra::release(); }); });
    if (draw(4) == 0 && protocol != HTransportRtsp)
        steps.push_back([&control, ms = 50 + draw(500)] { control->loseConnection(ms); });
    std::shuffle(steps.begin(), steps.end(), rounds->random);
    for (const auto &step : steps) {
        step();
        rounds->dog->feed();
        if (draw(2))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1 + draw(10));
    }
    views.clear();
    sim = {};
    rounds->heart->leaveOut([] { Vantra::release(); });
    rounds->dog->feed();
    if (!lasting.device)
        QVERIFY(waitFor([&] { return control.use_count() == 1; }));
    QVERIFY(Vantra::init());
}

void TestLiveStop::rounds_inAnyOrder_endInTime_andLeaveNothing_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<bool>("load");
    QTest::newRow("orvo") << int(HTransportOrvo) << false;
    QTest::newRow("zelk under load") << int(HTransportZelk) << true;
    QTest::newRow("rtsp") << int(HTransportRtsp) << false;
}

void TestLiveStop::rounds_inAnyOrder_endInTime_andLeaveNothing()
{
    QFETCH(int, protocol);
    QFETCH(bool, load);
    const auto transport = static_cast<HTransportProtocol>(protocol);
    rounds = std::make_unique<EndRounds>();
    // Its pictures are those of all the devices, and are made only once. An RTSP device, which has
    // a server, is the same in all rounds.
    const Simulation keeper = simulateDevice(smallDevice(transport, 2, 2));
    keeper.device->getRtspUrls();
    for (int stream = 0; stream < 4; ++stream)
        keeper.device->enableMediaTransmit(stream / 2, stream % 2, true);
    const Simulation lasting = transport == HTransportRtsp ? keeper : Simulation();

    const BusyMachine busy(load);
    rounds->play([&] { playRound(transport, lasting); });
}

void TestLiveStop::process_ends_whileViewsShow_data()
{
    QTest::addColumn<QString>("mode");
    for (const char *mode : {"views-first", "release-first", "device-first", "application-first",
                             "last-window-closed"})
        QTest::newRow(mode) << QString::fromLatin1(mode);
}

void TestLiveStop::process_ends_whileViewsShow()
{
    QFETCH(QString, mode);
    hostEndsCleanly(mode);
}

int main(int argc, char **argv)
{
    // One heap for all threads, so that what the process holds tells what is not freed.
    mallopt(M_ARENA_MAX, 1);
    if (argc == 3 && qstrcmp(argv[1], "--host") == 0)
        return endingHost(argv[2], argc, argv);
    QApplication application(argc, argv);
    TestLiveStop test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_livestop.moc"
