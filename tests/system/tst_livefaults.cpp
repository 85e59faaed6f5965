// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Devices that refuse, fall silent, vanish and come back, under live widgets.
#include "livefaultcase.h"
#include "support/privatepulse.h"

#include <QSignalSpy>

using namespace vantratest;
using namespace vantrasim;

class TestLiveFaults : public LiveFaultCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void refusal_isTriedAgain_untilTheDeviceSends_data() { protocols(false); }
    void refusal_isTriedAgain_untilTheDeviceSends();
    void exceedMax_isReported_andOverWhenAStreamEnds();
    void exceedMax_isAPlainRefusal_withZelk();
    void lostConnection_endsNothing_andPicturesComeBack_data();
    void lostConnection_endsNothing_andPicturesComeBack();
    void lostServer_isOpenedAgain();
    void stall_raisesTheTimeout_andIsOverWithTheNextPicture_data() { protocols(false); }
    void stall_raisesTheTimeout_andIsOverWithTheNextPicture();
    void threeReadErrors_areSurvived_data() { protocols(false); }
    void threeReadErrors_areSurvived();
    void fourReadErrors_endTheStream_untilItIsStartedAgain_data() { protocols(false); }
    void fourReadErrors_endTheStream_untilItIsStartedAgain();
    void fourTimeouts_areSilent_fiveAreTold_data() { protocols(false); }
    void fourTimeouts_areSilent_fiveAreTold();
    void deviceGone_underSixteenWidgets_comesBackToAll();
    void deviceGone_underSixteenWidgets_isLetGoOf();

private:
    void makeSmall(int channels = 1, int streams = 1)
    {
        QFETCH(int, protocol);
        make(smallDevice(static_cast<HTransportProtocol>(protocol), channels, streams));
    }
    std::vector<std::unique_ptr<LiveView>> sixteen(int timeoutMs);
};

void TestLiveFaults::refusal_isTriedAgain_untilTheDeviceSends()
{
    makeSmall();
    expect(Logger::Warning, "^\\((orlv|zklv)thr\\)start media transmit fail \\(0:0:-?\\d+\\)$");
    sim.control->faults().refuse(DeviceOp::enableMediaTransmit, HRetRefused, -1);
    LiveView view(config.protocol);
    QSignalSpy exceeded(&view, &AbstractVideoWidget::sig_connExceedMax);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(waitFor([&] { return asked() >= 3; }, kHealMs));
    QVERIFY(waitFor([&] { return view.isOpenStreamTimeout(); }));
    QVERIFY(!view.isStreamExceedMax());
    QCOMPARE(view.plays(), 0);
    sim.control->faults().clear();
    QVERIFY(view.showsMore(5, kHealMs));
    QVERIFY(!view.isOpenStreamTimeout());
    QCOMPARE(view.faults(source()), QString());
    QCOMPARE(view.plays(), 1);
    QCOMPARE(exceeded.count(), 0);
}

void TestLiveFaults::exceedMax_isReported_andOverWhenAStreamEnds()
{
    DeviceConfig limited = smallDevice(HTransportOrvo, 2, 1);
    limited.mostLive = 1;
    make(limited);
    expect(Logger::Warning, QStringLiteral("^\\(orlvthr\\)start media transmit fail \\(1:0:%1\\)$")
                                .arg(int(HRetExceedMax)));
    LiveView first;
    QVERIFY(first.begin(sim.device, 0, 0));
    QVERIFY(first.showsMore());
    LiveView second;
    QSignalSpy exceeded(&second, &AbstractVideoWidget::sig_connExceedMax);
    QVERIFY(second.begin(sim.device, 1, 0));
    QVERIFY(waitFor([&] { return exceeded.count() >= 2; }, kHealMs));
    QVERIFY(second.isStreamExceedMax());
    QCOMPARE(second.count(), 0);
    QVERIFY(first.showsMore());
    QCOMPARE(first.faults(source(0)), QString());
    first.finish();
    QVERIFY(second.showsMore(5, kHealMs));
    QVERIFY(!second.isStreamExceedMax());
    QCOMPARE(second.faults(source(1)), QString());
}

void TestLiveFaults::exceedMax_isAPlainRefusal_withZelk()
{
    DeviceConfig limited = smallDevice(HTransportZelk, 2, 1);
    limited.mostLive = 1;
    make(limited);
    expect(Logger::Warning, QStringLiteral("^\\(zklvthr\\)start media transmit fail \\(1:0:%1\\)$")
                                .arg(int(HRetExceedMax)));
    LiveView first(HTransportZelk);
    QVERIFY(first.begin(sim.device, 0, 0));
    QVERIFY(first.showsMore());
    LiveView second(HTransportZelk);
    QSignalSpy exceeded(&second, &AbstractVideoWidget::sig_connExceedMax);
    QVERIFY(second.begin(sim.device, 1, 0));
    QVERIFY(waitFor([&] { return asked(true, 1) >= 2; }, kHealMs));
    QVERIFY(waitFor([&] { return second.isOpenStreamTimeout(); }));
    QVERIFY(!second.isStreamExceedMax());
    first.finish();
    QVERIFY(second.showsMore(5, kHealMs));
    QCOMPARE(exceeded.count(), 0);
}

void TestLiveFaults::lostConnection_endsNothing_andPicturesComeBack_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<int>("lostMs");
    QTest::addColumn<int>("timeoutMs");
    QTest::newRow("orvo 1 s") << int(HTransportOrvo) << 1000 << 250;
    QTest::newRow("zelk 1 s") << int(HTransportZelk) << 1000 << 250;
    QTest::newRow("orvo 5 s") << int(HTransportOrvo) << 5000 << 500;
    // As many time-outs as 500 ms see in a minute.
    QTest::newRow("zelk as 60 s") << int(HTransportZelk) << 5000 << 40;
}

void TestLiveFaults::lostConnection_endsNothing_andPicturesComeBack()
{
    QFETCH(int, lostMs);
    QFETCH(int, timeoutMs);
    makeSmall();
    expect(Logger::Warning, "^\\(zklvthr\\)start media transmit fail \\(0:0:-?\\d+\\)$");
    LiveView view(config.protocol);
    view.setTimeouts(20000, timeoutMs);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    QCOMPARE(view.faults(source()), QString());
    AbstractVideoThread *thread = view.shown();
    const QRegularExpression told(QStringLiteral("thr\\)read \\[%1:0\\] frame timeout\\(%2 ms\\) $")
                                      .arg(QRegularExpression::escape(config.address))
                                      .arg(timeoutMs));
    log->clear();
    sim.control->loseConnection(lostMs);
    // The fifth time-out in a row is told, and isReadStreamTimeout() from then on.
    QVERIFY(waitFor([&] { return log->countMatching(Logger::Info, told) > 0; }));
    QVERIFY(!view.isOpenStreamTimeout()); // it is still the same session
    view.forget();
    QVERIFY(view.showsMore(5, lostMs + kHealMs));
    QCOMPARE(view.faults(source()), QString());
    QVERIFY(waitFor([&] { return !view.isReadStreamTimeout(); }));
    QCOMPARE(view.plays(), 1);
    QCOMPARE(view.ends(), 0);
    QCOMPARE(view.shown(), thread);
}

void TestLiveFaults::lostServer_isOpenedAgain()
{
    make(smallDevice(HTransportRtsp, 1, 1));
    expect(Logger::Warning, "^\\(ffvdthr\\)");
    expect(Logger::Error, "^\\(ffvdthr\\)");
    LiveView view(HTransportRtsp, 1500);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    heart->leaveOut([&] { sim.control->loseConnection(1000); });
    QVERIFY(waitFor([&] { return view.ends() >= 1; }, kHealMs));
    view.forget();
    QVERIFY(view.showsMore(5, kHealMs));
    QCOMPARE(view.faults(source()), QString());
    QVERIFY(view.plays() >= 2);
}

void TestLiveFaults::stall_raisesTheTimeout_andIsOverWithTheNextPicture()
{
    makeSmall();
    LiveView view(config.protocol);
    view.setTimeouts(20000, 500);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    const int before = asked();
    const int keys = sim.control->calls().count(DeviceOp::requestVideoIFrame, {0, 0});
    sim.control->setStalled(true);
    QVERIFY(waitFor([&] { return view.isReadStreamTimeout(); }));
    QVERIFY(asked() >= before + 5); // once for each time-out
    view.forget();
    sim.control->setStalled(false);
    QVERIFY(view.showsMore(5, kHealMs));
    QVERIFY(waitFor([&] { return !view.isReadStreamTimeout(); }));
    QCOMPARE(view.faults(source()), QString());
    // The stream was flowing already, so no key frame was asked for.
    QCOMPARE(sim.control->calls().count(DeviceOp::requestVideoIFrame, {0, 0}), keys);
    QCOMPARE(view.ends(), 0);
}

void TestLiveFaults::threeReadErrors_areSurvived()
{
    makeSmall();
    expect(Logger::Error, "^\\((orlv|zklv)thr\\)read frame err -?\\d+$");
    expect(Logger::Error, "^\\(pvptvthr\\)read frame error$");
    LiveView view(config.protocol);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    for (int round = 0; round < 2; ++round) { // a frame in between ends the row
        sim.control->faults().refuse(DeviceOp::readFrame, HRetRefused, 3);
        QVERIFY(view.showsMore());
    }
    QCOMPARE(log->count(Logger::Error, "(pvptvthr)read frame error"), 6);
    QCOMPARE(view.faults(source()), QString());
    QCOMPARE(view.ends(), 0);
}

void TestLiveFaults::fourReadErrors_endTheStream_untilItIsStartedAgain()
{
    makeSmall();
    expect(Logger::Error, "^\\((orlv|zklv)thr\\)read frame err -?\\d+$");
    expect(Logger::Error, "^\\(pvptvthr\\)read frame error$");
    LiveView view(config.protocol);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    AbstractVideoThread *thread = view.shown();
    sim.control->faults().refuse(DeviceOp::readFrame, HRetRefused, 4);
    QVERIFY(waitFor([&] { return !view.getIsRunning(); }));
    QVERIFY(thread->isFinished());
    QCOMPARE(log->count(Logger::Error, "(pvptvthr)read frame error"), 4);
    QCOMPARE(view.ends(), 1);
    QCOMPARE(asked(false), 2); // before the open, and at the end
    QVERIFY(view.showsNothing());
    view.finish();
    view.forget();
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore(5, kHealMs));
    QCOMPARE(view.faults(source()), QString());
}

void TestLiveFaults::fourTimeouts_areSilent_fiveAreTold()
{
    makeSmall();
    LiveView view(config.protocol);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    const QRegularExpression told(
        QStringLiteral("^\\((orlv|zklv)thr\\)read \\[%1:0\\] frame timeout\\(20000 ms\\) $")
            .arg(QRegularExpression::escape(config.address)));
    log->clear();
    sim.control->faults().refuse(DeviceOp::readFrame, HRetTimeout, 4);
    QVERIFY(view.showsMore());
    QCOMPARE(log->countMatching(Logger::Info, told), 0);
    sim.control->faults().refuse(DeviceOp::readFrame, HRetTimeout, 5);
    QVERIFY(view.showsMore());
    QCOMPARE(log->countMatching(Logger::Info, told), 1);
    sim.control->faults().refuse(DeviceOp::readFrame, HRetTimeout, 7);
    QVERIFY(view.showsMore());
    QCOMPARE(log->countMatching(Logger::Info, told), 4);
    QVERIFY(!view.isReadStreamTimeout());
    QCOMPARE(view.faults(source()), QString());
}

/// On four channels of the device, all showing.
std::vector<std::unique_ptr<LiveView>> TestLiveFaults::sixteen(int timeoutMs)
{
    std::vector<std::unique_ptr<LiveView>> views;
    for (int i = 0; i < 16; ++i) {
        views.push_back(std::make_unique<LiveView>(HTransportOrvo, timeoutMs));
        views.back()->setReads(i < 4);
        if (!views.back()->begin(sim.device, i % 4, 0, 1))
            return {};
    }
    for (const auto &view : views)
        if (!view->showsMore())
            return {};
    return views;
}

void TestLiveFaults::deviceGone_underSixteenWidgets_comesBackToAll()
{
    make(smallDevice(HTransportOrvo, 4, 1));
    const auto views = sixteen(1000);
    QCOMPARE(views.size(), 16U);
    sim.control->loseConnection();
    for (const auto &view : views)
        QVERIFY(waitFor([&] { return view->isReadStreamTimeout(); }));
    for (const auto &view : views)
        view->forget();
    sim.control->restoreConnection();
    for (const auto &view : views)
        QVERIFY(view->showsMore(5, kHealMs));
    for (int channel = 0; channel < 4; ++channel)
        QCOMPARE(views[channel]->faults(source(channel)), QString());
    for (const auto &view : views)
        QCOMPARE(view->ends(), 0);
}

void TestLiveFaults::deviceGone_underSixteenWidgets_isLetGoOf()
{
    make(smallDevice(HTransportOrvo, 4, 1));
    auto views = sixteen(1000);
    QCOMPARE(views.size(), 16U);
    const QWeakPointer<HNetDevice> device = sim.device;
    const auto control = sim.control;
    control->loseConnection();
    sim.device.reset(); // the host forgets it, the widgets still show it
    QVERIFY(waitFor([&] { return views.front()->isReadStreamTimeout(); }));
    views.clear();
    QVERIFY(waitFor([&] { return device.isNull(); }));
    QCOMPARE(control->openStreams(), 0);
}

QTEST_MAIN(TestLiveFaults)
#include "tst_livefaults.moc"
