// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Live widgets, their streams, the library and the host that start, stop and go in any order, while
// the streams emit.
#include "livewidgetcase.h"
#include "support/privatepulse.h"

#include <QApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <vector>

using namespace livefakes;
using namespace vantratest;
using videowidgetfakes::colouredImage;
using videowidgetfakes::each;
using videowidgetfakes::emitRound;
using videowidgetfakes::receiversOf;

namespace {

/// Emits whatever a stream may emit, over and over, until it is told to stop.
void emitEverything(LiveThread *thread)
{
    QByteArray memory(64, '\7');
    while (!thread->isStopAsked()) {
        emitRound(thread, &memory);
        emit thread->sig_connExceedMax();
        emit thread->sig_decoderDestroyed();
        emit thread->receivePlayFinsh(thread);
    }
}

/// A host that shows a device and goes without releasing the library, even without stopping.
int forgetfulHost(int argc, char **argv)
{
    ThreadMaker maker;
    QApplication application(argc, argv);
    Vantra::init();
    const auto device = scriptedDevice(deviceScript(1, 2, HTransportOrvo));
    LiveView view;
    view.init(device, 0, -1);
    if (!view.start() || !waitFor([&] { return view.getIsRunning(); }))
        return 1;
    view.playStart(0);
    for (const auto &thread : maker.made())
        thread->post([t = thread.data()] { emitEverything(t); });
    return waitFor([&] { return view.calls.contains("nv12"); }) ? 0 : 2;
}

/// A host that shows a device after it has released the library. Nothing may be left of it when
/// the application has gone.
int lateHost(int argc, char **argv)
{
    ThreadMaker maker;
    const auto device = scriptedDevice(deviceScript(1, 2, HTransportOrvo));
    {
        QApplication application(argc, argv);
        Vantra::init();
        Vantra::release();
        LiveView view;
        view.init(device, 0, -1);
        if (!view.start() || !waitFor([&] { return view.getIsRunning(); }))
            return 1;
        view.playStart(0);
    }
    const auto made = maker.made();
    return std::all_of(made.begin(), made.end(), [](const auto &thread) { return !thread; }) ? 0
                                                                                             : 2;
}

} // namespace

class TestLiveWidgetLifetimes : public LiveWidgetCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    // --- Hosts that act in a report --------------------------------------------------------------

    void stop_inTheReportOfItsEnd_isOneStop()
    {
        LiveView view;
        QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
        connect(&view, &AbstractVideoWidget::sig_receivePlayFinsh, [&] { view.stop(true); });
        QVERIFY(startAndRun(view));
        view.stop(false);
        QCOMPARE(ends.count(), 4);
        QCOMPARE(view.calls.count("stopAudioThread"), 1);
    }

    void controls_inTheReportOfTheEnd_changeNothing()
    {
        log->expect(Logger::Error, "(lvvdwgt)play not started");
        LiveView view;
        QVERIFY(startAndRun(view));
        const auto old = set();
        connect(&view, &AbstractVideoWidget::sig_receivePlayFinsh, [&] {
            QVERIFY(view.start()); // it still counts as started
            view.playStart(0);
            view.playStop(true);
            view.snap("/nowhere");
            view.recordStart("/nowhere");
            view.recordStop();
        });
        view.stop(false);
        QCOMPARE(old->referenceCount(), 0);
        QVERIFY(!set());
        disconnect(&view, &AbstractVideoWidget::sig_receivePlayFinsh, nullptr, nullptr);
        QVERIFY(view.start());
        view.stop(false);
    }

    void stop_inTheReportOfTheThread_isSurvived()
    {
        LiveView view;
        QVERIFY(startAndRun(view, 0, 1));
        view.playStart(0);
        const QPointer<LiveThread> main = view.shown();
        QVERIFY(main->open());
        connect(&view, &AbstractVideoWidget::sig_receivePlayFinsh, [&] {
            view.playStop(true);
            view.stop(false);
        });
        QVERIFY(main->close());
        QVERIFY(!set());
        QVERIFY(waitFor([&] { return !main; }));
    }

    void start_inTheReportOfAJoinedStream_isOneStart()
    {
        LiveView first;
        QVERIFY(startAndRun(first));
        QVERIFY(stream(0)->open());
        LiveView second;
        int reports = 0;
        connect(&second, &AbstractVideoWidget::sig_receivePlayStart, [&] {
            ++reports;
            QVERIFY(second.start());
            second.stop(true); // not started yet
        });
        QVERIFY(second.init(device, 0, kAll));
        QVERIFY(second.start());
        QCOMPARE(reports, 1);
        QCOMPARE(second.calls.count("startAudioThread"), 1);
        disconnect(&second, &AbstractVideoWidget::sig_receivePlayStart, nullptr, nullptr);
        first.stop(false);
        second.stop(false);
    }

    // --- Widgets that go -------------------------------------------------------------------------

    void widget_mayGo_whileItsStreamsEmit()
    {
        for (int round = 0; round < 20; ++round) {
            auto view = std::make_unique<LiveView>();
            view->setVideoMode(VideoMode_Painter);
            view->show();
            QVERIFY(startAndRun(*view));
            view->playStart(round % 2);
            for (const int i : {0, 1})
                stream(i)->post([t = stream(i)] { emitEverything(t); });
            QVERIFY(waitFor([&] { return view->calls.count("nv12") >= round % 5; }));
            view.reset();
            // Nobody is waited for any more, and the streams go on.
            for (const int i : {0, 1}) {
                QVERIFY(stream(i)->isRunning());
                QCOMPARE(receiversOf(*stream(i), kLiveSignals), each(kLiveSignals, 0));
            }
            DevLiveThrSetManager::Instance()->releaseVideoThreadSet(device);
        }
    }

    void widget_mayGo_inTheReportForWhichItsThreadWaits_data()
    {
        QTest::addColumn<bool>("start");
        QTest::addColumn<int>("way");
        for (const bool start : {true, false}) {
            const QByteArray report(start ? "start, " : "end, ");
            QTest::newRow(report + "by itself") << start << 0;
            QTest::newRow(report + "with its window") << start << 1;
            QTest::newRow(report + "later, in an event loop of the report") << start << 2;
        }
    }
    void widget_mayGo_inTheReportForWhichItsThreadWaits()
    {
        QFETCH(bool, start);
        QFETCH(int, way);
        auto *window = new QWidget;
        auto *view = new LiveView(HTransportOrvo, window);
        const QPointer<QObject> left(view);
        QVERIFY(startAndRun(*view, 0, 1));
        view->playStart(0);
        const auto end = [&] {
            if (way == 0)
                delete view;
            if (way == 1)
                delete window;
            if (way == 2) {
                QEventLoop loop;
                connect(view, &QObject::destroyed, &loop, &QEventLoop::quit);
                QTimer::singleShot(0, view, &QObject::deleteLater);
                loop.exec();
            }
        };
        if (start)
            connect(view, &AbstractVideoWidget::sig_receivePlayStart, end);
        else
            connect(view, &AbstractVideoWidget::sig_receivePlayFinsh, end);
        QVERIFY(start ? stream(0)->open() : stream(0)->close());
        QVERIFY(!left);
        QVERIFY(stream(0)->isRunning());
        if (way != 1)
            delete window;
    }

    void widget_mayGo_whileItJoins()
    {
        LiveView first;
        QVERIFY(startAndRun(first));
        QVERIFY(stream(0)->open());
        auto *second = new LiveView;
        const QPointer<QObject> left(second);
        connect(second, &AbstractVideoWidget::sig_receivePlayStart, [&] { delete second; });
        QVERIFY(second->init(device, 0, kAll));
        QVERIFY(!second->start());
        QVERIFY(!left);
        QVERIFY(first.getIsRunning());
        first.stop(false);
    }

    void widget_mayGo_whileItStops_andItsStreamsAreLeftAllTheSame_data()
    {
        QTest::addColumn<bool>("closing");
        QTest::newRow("stop") << false;
        QTest::newRow("close") << true;
    }
    void widget_mayGo_whileItStops_andItsStreamsAreLeftAllTheSame()
    {
        QFETCH(bool, closing);
        auto *view = new LiveView;
        const QPointer<QObject> left(view);
        QVERIFY(startAndRun(*view));
        connect(view, &AbstractVideoWidget::sig_receivePlayFinsh, [&] { delete view; });
        const auto made = maker->made();
        if (closing)
            view->close();
        else
            view->stop(false);
        QVERIFY(!left);
        QVERIFY(!set());
        QVERIFY(waitFor([&] {
            return std::none_of(made.begin(), made.end(),
                                [](const auto &thread) { return thread; });
        }));
    }

    void widget_mayGo_inAnyQueuedReport()
    {
        for (int round = 0; round < 10; ++round) {
            auto *view = new LiveView;
            const QPointer<QObject> left(view);
            QVERIFY(startAndRun(*view));
            view->playStart(0);
            if (round % 2)
                connect(view, &AbstractVideoWidget::sig_connExceedMax, [view] { delete view; });
            else
                connect(view, &AbstractVideoWidget::snapImage, [view] { delete view; });
            stream(0)->post([t = stream(0)] { emitEverything(t); });
            QVERIFY(waitFor([&] { return !left; }));
            QVERIFY(stream(0)->isRunning());
            DevLiveThrSetManager::Instance()->releaseVideoThreadSet(device);
        }
    }

    void widget_mayGo_afterItsSet()
    {
        LiveView stays;
        {
            LiveView view;
            QVERIFY(startAndRun(view));
            view.playStart(0);
            QVERIFY(startAndRun(stays));
            stays.playStart(1);
            Vantra::release();
        }
        // Its streams are there as long as it is started, ended and unbound.
        QVERIFY(stays.shown());
        QVERIFY(!stays.shown()->isRunning());
        QVERIFY(!stays.shown()->device);
        stays.replay(0);
        stays.playStop(true);
        QVERIFY(Vantra::init());
        stays.stop(true);
        QVERIFY(startAndRun(stays));
        stays.stop(false);
    }

    // --- The end of the library, of the process --------------------------------------------------

    void release_endsStreams_whileManyWidgetsShowThem()
    {
        for (int round = 0; round < 5; ++round) {
            QVERIFY(Vantra::init());
            std::vector<std::unique_ptr<LiveView>> views;
            for (int i = 0; i < 8; ++i) {
                views.push_back(std::make_unique<LiveView>());
                views.back()->setVideoMode(VideoMode_Painter);
                views.back()->show();
                QVERIFY(startAndRun(*views.back(), i % 2));
                views.back()->playStart(i / 2 % 2);
            }
            const auto made = maker->made().mid(4 * round);
            for (const auto &thread : made)
                thread->post([t = thread.data()] { emitEverything(t); });
            QVERIFY(waitFor([&] { return views.back()->calls.contains("nv12"); }));
            Vantra::release();
            QVERIFY(!set());
            for (const auto &thread : made)
                QVERIFY(!thread->isRunning());
            if (round % 2)
                continue; // the widgets go as they are
            for (const auto &view : views) {
                view->playStop(true);
                view->stop(false);
            }
        }
    }

    void release_bearsWidgetsThatGo_inTheSlotsThatItDelivers()
    {
        auto *view = new LiveView;
        const QPointer<QObject> left(view);
        QVERIFY(startAndRun(*view, 0, 1));
        view->playStart(0);
        std::atomic<bool> entered{false};
        stream(0)->post([t = stream(0), &entered] {
            entered = true;
            while (!t->isStopAsked())
                QThread::yieldCurrentThread();
            emit t->receivePlayFinsh(t);
        });
        QVERIFY(waitFor([&] { return entered.load(); }));
        connect(view, &AbstractVideoWidget::sig_receivePlayFinsh, [&] { delete view; });
        Vantra::release();
        QVERIFY(!left);
    }

    void release_inTheReportForWhichAThreadWaits_returnsAtOnce_data()
    {
        QTest::addColumn<bool>("start");
        QTest::addColumn<bool>("loops"); // the host has an event loop of its own in the report
        QTest::addColumn<int>("more");   // 1: starts anew in the report, 2: after it, 3: releases
        for (const bool start : {true, false}) {
            for (const bool loops : {false, true}) {
                for (int more = 0; more < 4; ++more)
                    QTest::addRow("%d %d %d", start, loops, more) << start << loops << more;
            }
        }
    }
    void release_inTheReportForWhichAThreadWaits_returnsAtOnce()
    {
        QFETCH(bool, start);
        QFETCH(bool, loops);
        QFETCH(int, more);
        auto *manager = DevLiveThrSetManager::Instance();
        LiveView view;
        QVERIFY(startAndRun(view, 0, 1));
        view.playStart(0);
        const QPointer<LiveThread> main = view.shown();
        bool waited = true;
        const auto end = [&] {
            Vantra::release();
            if (more == 1)
                QVERIFY(Vantra::init());
            waited = !main->isRunning();
            if (!loops)
                return;
            QEventLoop loop; // the other streams end meanwhile, and what they post is delivered
            QTimer::singleShot(0, &loop, &QEventLoop::quit);
            loop.exec();
            Vantra::release();
            if (more == 1)
                QVERIFY(Vantra::init());
        };
        if (start)
            connect(&view, &AbstractVideoWidget::sig_receivePlayStart, end);
        else
            connect(&view, &AbstractVideoWidget::sig_receivePlayFinsh, end);
        QVERIFY(start ? main->open() : main->close());
        disconnect(&view, &AbstractVideoWidget::sig_receivePlayStart, nullptr, nullptr);
        disconnect(&view, &AbstractVideoWidget::sig_receivePlayFinsh, nullptr, nullptr);
        QVERIFY(!waited);
        if (more == 2)
            QVERIFY(Vantra::init());
        if (more == 3) {
            Vantra::release(); // not in a report: this one waits
            QVERIFY(!main->isRunning());
        }
        QVERIFY(waitFor([&] { return !set() && !main->isRunning(); }));
        QVERIFY(waitFor([&] { return manager->isRunning() == (more == 1 || more == 2); }));
        view.playStop(true);
        view.stop(false);
        QVERIFY(waitFor([&] { return !main; }));
    }

    void process_endsCleanly_whenTheHostForgetsEverything_data()
    {
        QTest::addColumn<QString>("host");
        QTest::newRow("everything") << "--forgetful-host";
        QTest::newRow("that it has released before") << "--late-host";
    }
    void process_endsCleanly_whenTheHostForgetsEverything()
    {
        QFETCH(QString, host);
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(QCoreApplication::applicationFilePath(), {host});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
    }
};

int main(int argc, char **argv)
{
    if (argc == 2 && qstrcmp(argv[1], "--forgetful-host") == 0)
        return forgetfulHost(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], "--late-host") == 0)
        return lateHost(argc, argv);
    QApplication application(argc, argv);
    TestLiveWidgetLifetimes test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_livewidgetlifetimes.moc"
