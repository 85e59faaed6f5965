// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A playback widget, its threads, its device and its host that start, stop and go in any order.

#include "vodwidgetcase.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <random>
#include <utility>

using namespace vantratest;

class TestOrvoVodWidgetLife : public VodWidgetCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void widget_mayGo_whereverItsPlayIs_data();
    void widget_mayGo_whereverItsPlayIs();
    void widget_mayGo_inAReport_data();
    void widget_mayGo_inAReport();
    void close_duringPlay_stopsIt_data();
    void close_duringPlay_stopsIt();
    void stop_inTheReportOfTheStart_endsThePlay();
    void restart_inTheReportOfTheEnd_playsOn();
    void device_isLetGoOf_withTheWidget();
    void foreignThread_thatGoes_isForgotten();
    void manyQuickRounds_leaveNoThreadRunning();

private:
    void leaveAlone(std::unique_ptr<VodView> view);
};

void TestOrvoVodWidgetLife::widget_mayGo_whereverItsPlayIs_data()
{
    QTest::addColumn<QString>("where");
    for (const char *where : {"not started", "just started", "connecting", "reading", "paused",
                              "showing", "stopped", "ended"})
        QTest::newRow(where) << QString::fromLatin1(where);
}

void TestOrvoVodWidgetLife::widget_mayGo_whereverItsPlayIs()
{
    QFETCH(QString, where);
    auto view = std::make_unique<VodView>();
    prepare(*view);
    view->show();
    if (where == QLatin1String("connecting")) {
        VideoPara para = view->getVideoPara();
        para.connectTimeout = 60000;
        view->setVideoPara(para);
        script->setAnswer(Op::getConnectStatus, HChannelDisconnected);
        QVERIFY(view->start());
        QVERIFY(waitFor([&] { return script->count(Op::getConnectStatus) > 2; }));
    } else if (where == QLatin1String("just started")) {
        QVERIFY(view->start());
    } else if (where == QLatin1String("ended")) {
        feed(HRetEndOfFile);
        QVERIFY(view->start());
        QVERIFY(waitFor([&] { return !view->thread() && running(*view) == 0; }));
    } else if (where != QLatin1String("not started")) {
        for (int i = 0; i < 300; ++i)
            feedPicture(i % 30, noon().toMSecsSinceEpoch() + i * 500);
        QVERIFY(startAndRead(*view));
        if (where == QLatin1String("showing"))
            QVERIFY(waitFor([&] { return !view->image.isNull(); }));
        if (where == QLatin1String("paused"))
            view->pause();
        if (where == QLatin1String("stopped"))
            view->stop();
    }
    view.reset();
    QCOMPARE(script->count(Op::vodStart), script->count(Op::vodStop) / 2); // none is left open
}

void TestOrvoVodWidgetLife::widget_mayGo_inAReport_data()
{
    QTest::addColumn<QString>("report");
    QTest::addColumn<int>("answer");
    for (const char *report : {"start", "finsh", "position", "snap"})
        QTest::newRow(report) << QString::fromLatin1(report) << int(HRetOk);
    QTest::newRow("max") << QStringLiteral("max") << int(HRetExceedMax);
    QTest::newRow("other") << QStringLiteral("other") << int(HRetBusy);
}

void TestOrvoVodWidgetLife::widget_mayGo_inAReport()
{
    QFETCH(QString, report);
    QFETCH(int, answer);
    const QTemporaryDir folder;
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(orvodthr\\)vod start err 1[67]$"));
    script->setAnswer(Op::vodStart, answer);
    QPointer<VodView> view(new VodView);
    prepare(*view);
    view->show();
    const auto remove = [&view] { delete view; };
    if (report == QLatin1String("start"))
        connect(view, &AbstractVideoWidget::sig_receivePlayStart, this, remove);
    else if (report == QLatin1String("finsh"))
        connect(view, &AbstractVideoWidget::sig_receivePlayFinsh, this, remove);
    else if (report == QLatin1String("position"))
        connect(view, &StandardVideoWidget::receivePosition, this, remove);
    else if (report == QLatin1String("snap"))
        connect(view, &AbstractVideoWidget::snapImage, this, remove);
    else if (report == QLatin1String("max"))
        connect(view, &AbstractVideoWidget::sig_connExceedMax, this, remove);
    else
        connect(view, &AbstractVideoWidget::sig_otherError, this, remove);
    QVERIFY(view->start());
    const QPointer<OrvoVodThread> thread(view->thread());
    if (report == QLatin1String("snap")) {
        QVERIFY(waitFor([&] { return script->count(Op::vodReadFrame) > 0; }));
        view->snap(folder.path(), true);
    }
    for (int i = 0; i < 20; ++i)
        feedPicture(i, noon().toMSecsSinceEpoch() + i * 500);
    feed(HRetEndOfFile);
    QVERIFY(waitFor([&] { return !view; }));
    QVERIFY(waitFor([&] { return !thread; })); // which had been let go of, and has ended
    QCOMPARE(script->count(Op::vodStop), 2);
}

void TestOrvoVodWidgetLife::close_duringPlay_stopsIt_data()
{
    QTest::addColumn<bool>("paused");
    QTest::newRow("playing") << false;
    QTest::newRow("paused") << true;
}

void TestOrvoVodWidgetLife::close_duringPlay_stopsIt()
{
    QFETCH(bool, paused);
    VodView view;
    prepare(view);
    view.show();
    QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
    QVERIFY(startAndRead(view));
    OrvoVodThread *thread = view.thread();
    if (paused)
        view.pause();
    QVERIFY(view.close());
    QCOMPARE(ends.count(), 1);
    QVERIFY(!view.thread());
    QCOMPARE(int(thread->previewRef()), 0);
    QVERIFY(waitFor([&] { return running(view) == 0 && !view.getIsRunning(); }));
    QCOMPARE(script->texts().last(), QStringLiteral("vodStop(2)"));
    QCOMPARE(ends.count(), 1);
    view.show(); // and can be started again
    QVERIFY(startAndRead(view));
    view.stop();
}

void TestOrvoVodWidgetLife::stop_inTheReportOfTheStart_endsThePlay()
{
    VodView view;
    prepare(view);
    QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
    connect(&view, &AbstractVideoWidget::sig_receivePlayStart, &view, [&] { view.stop(); });
    QVERIFY(view.start());
    QVERIFY(waitFor([&] { return ends.count() == 1 && running(view) == 0; }));
    QVERIFY(waitFor([&] { return !view.getIsRunning(); }));
    QCOMPARE(script->count(Op::vodStart), 1);
    QCOMPARE(script->count(Op::vodStop), 2);
}

void TestOrvoVodWidgetLife::restart_inTheReportOfTheEnd_playsOn()
{
    VodView view;
    prepare(view);
    feedPicture(0, noon().toMSecsSinceEpoch());
    feed(HRetEndOfFile);
    QPointer<OrvoVodThread> first;
    bool again = true;
    connect(&view, &AbstractVideoWidget::sig_receivePlayFinsh, &view, [&] {
        if (std::exchange(again, false))
            QVERIFY(view.start());
    });
    QVERIFY(view.start());
    first = view.thread();
    QVERIFY(waitFor([&] { return script->count(Op::vodStart) == 2; }));
    QVERIFY(view.thread() && view.thread() != first);
    QVERIFY(waitFor([&] { return first->isFinished() && view.getIsRunning(); }));
    view.stop();
}

void TestOrvoVodWidgetLife::device_isLetGoOf_withTheWidget()
{
    const QWeakPointer<HNetDevice> watched = device;
    auto view = std::make_unique<VodView>();
    prepare(*view);
    device.reset(); // the host's share
    QVERIFY(startAndRead(*view));
    view->stop();
    QVERIFY(startAndRead(*view));
    QVERIFY(watched);
    view.reset();
    QVERIFY(watched.isNull());
}

void TestOrvoVodWidgetLife::foreignThread_thatGoes_isForgotten()
{
    VodView view;
    prepare(view);
    QVERIFY(startAndRead(view));
    delete view.thread(); // by a host that had better not
    QVERIFY(!view.thread());
    QVERIFY(view.isReadStreamTimeout());
    view.pause();
    view.snap(QStringLiteral("nowhere"));
    view.stop();
    QVERIFY(startAndRead(view));
    view.stop();
}

void TestOrvoVodWidgetLife::manyQuickRounds_leaveNoThreadRunning()
{
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(orvodthr\\)vod start err 1[67]$"));
    // The rounds are the same each time.
    std::mt19937 random(7);
    VodView view;
    prepare(view);
    view.show();
    for (int round = 0; round < 100; ++round) {
        if (random() % 8 == 0)
            script->enqueue(Op::vodStart, random() % 2 ? HRetExceedMax : HRetBusy);
        for (unsigned i = random() % 4; i > 0; --i)
            feedPicture(0, noon().toMSecsSinceEpoch() + round * 1000 + i); // needs no other
        if (random() % 8 == 0)
            feed(HRetEndOfFile);
        QVERIFY(view.start());
        for (unsigned step = random() % 5; step > 0; --step) {
            switch (random() % 5) {
            case 0:
                view.pause();
                break;
            case 1:
                view.resume();
                break;
            case 2:
                view.seekFile(noon());
                break;
            case 3:
                view.setSpeed(2);
                break;
            default:
                QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            }
        }
        view.stop();
    }
    QVERIFY(waitFor([&] { return running(view) == 0 && !view.getIsRunning(); }));
    QCOMPARE(view.findChildren<OrvoVodThread *>().size(), 100);
    view.removeStoppedVideoThreads();
    QVERIFY(view.stoppedThreads.isEmpty());
}

QTEST_MAIN(TestOrvoVodWidgetLife)
#include "tst_orvovodwidgetlife.moc"
