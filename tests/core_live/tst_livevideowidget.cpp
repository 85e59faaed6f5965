// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// One live widget: what it joins, starts and leaves.
#include "livewidgetcase.h"
#include "support/metaobject.h"
#include "support/privatepulse.h"

#include <QSignalSpy>
#include <QtTest>

#include <limits>

using namespace livefakes;
using namespace vantratest;
using videowidgetfakes::each;
using videowidgetfakes::kStreamSignals;
using videowidgetfakes::receiversOf;
using Op = DeviceScript::Op;

class TestLiveVideoWidget : public LiveWidgetCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    // --- init and start --------------------------------------------------------------------------

    void class_addsNothingThatIsCalledByName()
    {
        const QMetaObject &meta = LiveVideoWidget::staticMetaObject;
        QCOMPARE(meta.methodCount(), AbstractVideoWidget::staticMetaObject.methodCount());
    }

    void start_isRefused_beforeInit()
    {
        log->expect(Logger::Error, "(lvvdwgt)start not inited");
        LiveView view;
        QVERIFY(!view.start());
        QCOMPARE(log->missing(), QStringList());
        view.stop(true);
        view.playStop(true);
    }

    void init_refusesNoDevice_andAMaskOfZero()
    {
        const QString noDevice =
            "(lvvdwgt)" + QString::asprintf("init invalid param (%p:%d)", nullptr, 3);
        const QString noStream =
            "(lvvdwgt)" + QString::asprintf("init invalid param (%p:%d)", device.data(), 0);
        log->expect(Logger::Error, noDevice);
        log->expect(Logger::Error, noStream);
        log->expect(Logger::Error, "(lvvdwgt)start not inited");
        LiveView view;
        QVERIFY(!view.init({}, 0, 3));
        QCOMPARE(log->count(Logger::Error, noDevice), 1);
        QVERIFY(!view.init(device, 0, 0));
        QCOMPARE(log->count(Logger::Error, noStream), 1);
        QVERIFY(!view.start());
    }

    void init_selectsTheStreams_data()
    {
        QTest::addColumn<QList<int>>("masks"); // of one init after the other
        QTest::addColumn<QList<bool>>("selected");
        QTest::newRow("all") << QList<int>{-1} << QList<bool>{true, true};
        QTest::newRow("main") << QList<int>{1} << QList<bool>{true, false};
        QTest::newRow("sub") << QList<int>{2} << QList<bool>{false, true};
        QTest::newRow("another replaces") << QList<int>{1, 2} << QList<bool>{false, true};
        QTest::newRow("beyond the streams") << QList<int>{4} << QList<bool>{false, false};
        // Intended: all is added to what the mask held.
        QTest::newRow("all after one") << QList<int>{2, -1} << QList<bool>{true, true};
    }
    void init_selectsTheStreams()
    {
        QFETCH(QList<int>, masks);
        QFETCH(QList<bool>, selected);
        LiveView view;
        for (const int mask : masks)
            QVERIFY(view.init(device, 0, mask));
        QVERIFY(view.start());
        for (int i = 0; i < selected.size(); ++i) {
            QCOMPARE(stream(i)->isRunning(), selected.at(i));
            QCOMPARE(bool(stream(i)->isOwned()), selected.at(i));
        }
        view.stop(false);
    }

    void start_startsTheStreamsOfTheChannel()
    {
        LiveView view;
        WidgetPara look = view.getWidgetPara();
        look.videoMode = VideoMode_Painter;
        view.setWidgetPara(look);
        VideoPara para;
        para.hardware = "dxva2";
        para.readTimeout = 1234;
        para.connectTimeout = 567;
        view.setVideoPara(para);
        QVERIFY(!set());
        QVERIFY(startAndRun(view, 1));
        for (const int i : {0, 1}) { // of the other channel
            QVERIFY(!stream(i)->isRunning());
            QVERIFY(!stream(i)->isOwned());
            QCOMPARE(receiversOf(*stream(i), kLiveSignals), each(kLiveSignals, 0));
        }
        for (const int i : {2, 3}) {
            QVERIFY(stream(i)->isRunning());
            QVERIFY(stream(i)->isOwned());
            QCOMPARE(stream(i)->channel, 1);
            QCOMPARE(stream(i)->stream, i - 2);
            QCOMPARE(stream(i)->getReadTimeout(), 1234);
            QCOMPARE(stream(i)->getConnectTimeout(), 567);
            QCOMPARE(stream(i)->getVideoMode(), VideoMode_Painter);
            QCOMPARE(stream(i)->getHardware(), QString("dxva2"));
            QCOMPARE(int(stream(i)->previewRef()), 0);
        }
        QVERIFY(!view.shown());
        QCOMPARE(view.recorded(), stream(2));
        QVERIFY(view.calls.contains("startAudioThread"));
        QVERIFY(set()->isOwned());
        QCOMPARE(set()->referenceCount(), 0);
        view.stop(false);
    }

    void start_twice_returnsTrue_andDoesNothing()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        const auto first = set();
        const QStringList calls = view.calls;
        QVERIFY(view.start());
        QCOMPARE(view.calls, calls);
        QCOMPARE(set(), first);
        QCOMPARE(int(stream(0)->starts), 1);
        QCOMPARE(receiversOf(*stream(0), kLiveSignals), each(kLiveSignals, 1));
        view.stop(false);
    }

    void start_fails_forAnotherProtocol()
    {
        log->expect(Logger::Error, "(dvlvthrst)trans proto 1 not match 4 in live thr set");
        log->expect(Logger::Error, "(lvvdwgt)init video thr set fail");
        LiveView view(HTransportZelk);
        QVERIFY(view.init(device, 0, kAll));
        QVERIFY(!view.start());
        QCOMPARE(log->missing(), QStringList());
        QVERIFY(!set());
        QVERIFY(!view.audioThread);
    }

    void start_fails_withoutStreams()
    {
        log->expect(Logger::Error, "(lvvdwgt)no thread ");
        script->setAnswer(Op::getStreamCount, 0);
        LiveView view;
        QVERIFY(view.init(device, 0, kAll));
        QVERIFY(!view.start());
        QCOMPARE(log->count(Logger::Error, "(lvvdwgt)no thread "), 1);
        QVERIFY(!set()); // let go of
        view.playStop(true);
        view.stop(true);
        // The device has streams after all.
        script->setAnswer(Op::getStreamCount, 4);
        QVERIFY(view.start());
        view.stop(false);
    }

    void start_fails_withAnotherNumberOfStreams_andTheNextOneSucceeds()
    {
        log->expect(Logger::Error, "(lvvdwgt)param mismatch (4:6)");
        LiveView first;
        QVERIFY(startAndRun(first));
        const auto old = set();
        script->setAnswer(Op::getStreamCount, 6);
        script->setAnswer(Op::getStreamCountPerChannel, 3);
        LiveView view;
        QVERIFY(view.init(device, 0, kAll));
        QVERIFY(!view.start());
        QCOMPARE(log->missing(), QStringList());
        QVERIFY(!set()); // nobody showed it
        QVERIFY(view.start());
        QCOMPARE(set()->getChannelThreads().size(), 6);
        QVERIFY(set() != old);
        first.stop(false);
        view.stop(false);
    }

    void start_fails_withAnotherNumberOfStreams_andLeavesASetInUse()
    {
        log->expect(Logger::Error, "(lvvdwgt)param mismatch (4:5)");
        LiveView first;
        QVERIFY(startAndRun(first));
        first.playStart(0);
        const auto old = set();
        script->setAnswer(Op::getStreamCount, 5);
        LiveView view;
        QVERIFY(view.init(device, 0, kAll));
        QVERIFY(!view.start());
        QCOMPARE(set(), old);
        QVERIFY(first.shown()->isRunning());
        first.playStop(true);
        first.stop(false);
    }

    void start_succeeds_withoutStreams_forAChannelThatIsNotThere_data()
    {
        QTest::addColumn<int>("channel");
        for (const int channel : {2, 77, -1, std::numeric_limits<int>::max()})
            QTest::addRow("%d", channel) << channel;
    }
    void start_succeeds_withoutStreams_forAChannelThatIsNotThere()
    {
        QFETCH(int, channel);
        LiveView view;
        QVERIFY(view.init(device, channel, kAll));
        QVERIFY(view.start());
        for (const auto &thread : maker->made())
            QVERIFY(!thread->isRunning());
        QVERIFY(!view.recorded());
        view.playStart(0);
        QVERIFY(!view.shown());
        QVERIFY(!view.getIsRunning());
        view.stop(false);
        QVERIFY(!set());
    }

    void start_bearsADeviceWhoseNumbersDoNotFit()
    {
        log->expectMatching(Logger::Error, QRegularExpression("^\\(lvvdwgt\\)invalid param \\("));
        script->setAnswer(Op::getStreamCountPerChannel, std::numeric_limits<int>::max());
        script->setAnswer(Op::getChannelCount, std::numeric_limits<int>::max());
        for (const int channel : {0, 1, 1000}) {
            LiveView view;
            QVERIFY(view.init(device, channel, kAll));
            QVERIFY(view.start());
            for (const int s : {0, 1, 31, 32, 1 << 30})
                view.replay(s);
            view.playStop(true);
            view.stop(true);
        }
    }

    // --- Leaving ---------------------------------------------------------------------------------

    void stop_leavesTheSet_andLetsGoOfIt()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        view.playStart(0);
        view.playStop(true);
        const QPointer<LiveThread> main = stream(0);
        view.stop(false);
        QVERIFY(!set());
        QVERIFY(!view.shown());
        QVERIFY(!view.recordThread);
        QVERIFY(waitFor([&] { return !main; }));
        QVERIFY(waitFor([&] { return !view.getIsRunning(); }));
        view.stop(false); // nothing
        view.stop(true);
    }

    void stop_reportsTheEnd_forEachStreamOfTheDeviceFromTheLastThatPlayed()
    {
        // Intended: one report for each stream from there on, four in all here.
        LiveView view;
        QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(startAndRun(view, 0));
        QVERIFY(stream(0)->open());
        view.stop(false);
        QCOMPARE(ends.count(), 4);

        ends.clear();
        QVERIFY(startAndRun(view, 1));
        QVERIFY(stream(3)->open()); // the last one
        view.stop(false);
        QCOMPARE(ends.count(), 1);
    }

    void stop_clearsTheMarkOfAllStreams_alsoOfOtherChannels()
    {
        LiveView first;
        LiveView second;
        QVERIFY(startAndRun(first, 0));
        QVERIFY(startAndRun(second, 1));
        second.playStart(0);
        QVERIFY(stream(2)->isOwned() && stream(0)->isOwned());
        first.stop(false);
        for (int i = 0; i < 4; ++i)
            QVERIFY(!stream(i)->isOwned()); // intended
        QVERIFY(stream(2)->isRunning());
        second.playStop(true);
        second.stop(false);
    }

    void stop_withoutPlayStop_leavesTheStreamCountedAndRunning()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        view.playStart(0);
        LiveThread *main = view.shown();
        view.stop(false);
        QVERIFY(set());
        QCOMPARE(stream(0), main);
        QVERIFY(main->isRunning());
        QCOMPARE(int(main->stops), 0);
        QCOMPARE(int(main->previewRef()), 1);
        QCOMPARE(receiversOf(*main, kStreamSignals), each(kStreamSignals, 1));
        QVERIFY(!view.getIsRunning()); // for this widget it is gone
        QVERIFY(waitFor([&] { return !stream(1)->isRunning(); }));
    }

    void close_stops()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        view.osdTimer->start();
        view.close();
        QVERIFY(!set());
        QVERIFY(!view.osdTimer->isActive());
        QVERIFY(view.start()); // and it can be started again
        view.close();
    }

    void destructor_doesNotStop()
    {
        {
            LiveView view;
            QVERIFY(startAndRun(view));
            view.playStart(0);
        }
        QVERIFY(set());
        QVERIFY(stream(0)->isRunning());
        QCOMPARE(int(stream(0)->previewRef()), 1);
        QVERIFY(stream(0)->isOwned());
        QCOMPARE(receiversOf(*stream(0), kLiveSignals), each(kLiveSignals, 0));
        QCOMPARE(receiversOf(*stream(0), kLiveKeptSignals), each(kLiveKeptSignals, 0));
        QVERIFY(stream(0)->open()); // waits for nobody
    }

    void init_mayBeRepeated_whileStopped()
    {
        LiveView view;
        QVERIFY(startAndRun(view, 0));
        view.stop(false);
        QVERIFY(startAndRun(view, 1, 1));
        view.playStart(0);
        QCOMPARE(view.shown(), stream(2));
        view.playStop(true);
        view.stop(false);
    }
};

QTEST_MAIN(TestLiveVideoWidget)
#include "tst_livevideowidget.moc"
