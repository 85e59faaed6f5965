// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What a playback asks of its device, step by step, and how it is controlled.

#include "vodthreadcase.h"

#include <QElapsedTimer>
#include <QMetaMethod>

#include <limits>
#include <type_traits>

using namespace vantratest;

class TestOrvoVodThread : public VodThreadCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void thread_isBoundToADevice();
    void slots_comeInThisOrder();
    void span_isCopied();
    void recordCodec_isNotKnown();

    void connect_makesNoPoll_belowATenthOfASecond();
    void connect_polls_untilConnected();
    void connect_givesUp_andTellsTheLastStatus();
    void connect_fails_withoutDevice();

    void input_isNotAsked_whileTheLinkIsDown();
    void input_startsThePlayback_andAlreadyCountsAsSuccess();
    void input_refusedForMax_isToldByItsSignal();
    void input_refusedOtherwise_isToldByTheOtherSignal_data();
    void input_refusedOtherwise_isToldByTheOtherSignal();
    void input_withoutDevice_doesNothing();
    void close_stopsThePlayback_whileTheLinkIsUp();

    void read_answersAsTheDeviceDoes();
    void read_fails_withoutDevice();
    void readTimeouts_areSilent_untilTheFifth();
    void device_letGoOf_inMidCall_isThereUntilTheEnd();

    void pauseAndNext_doNothing_whileNotRunning();
    void pauseAndNext_changeTheFlagFirst_thenTheDevice();
    void pauseAndNext_keepTheFlag_whenTheDeviceFails();
    void pauseAndNext_areSilent_withoutDevice();
    void device_letGoOf_inPauseAndNext_isThereUntilTheEnd();
    void seek_goesToTheDevice();
    void seek_isSilent_withoutDevice();
    void speed_isCutTowardsZero_data();
    void speed_isCutTowardsZero();
    void speed_refused_isLogged();
    void speed_isSilent_withoutDevice();
    void seekAndSpeed_byName_runOnTheThreadOfTheObject();

private:
    void isThere_inTheMidstOf(Op operation, const std::function<void()> &work);
    void letGoMidway(Op operation, const std::function<void()> &work)
    {
        isThere_inTheMidstOf(operation, work);
        if (QTest::currentTestFailed())
            qWarning("... in %s", QMetaEnum::fromType<Op>().valueToKey(int(operation)));
    }
};

// --- The class ----------------------------------------------------------------------------------

void TestOrvoVodThread::thread_isBoundToADevice()
{
    static_assert(std::is_base_of<PvProtoVideoThread, OrvoVodThread>::value, "");
    static_assert(std::is_base_of<DeviceInterface, OrvoVodThread>::value, "");
    // The thread comes first: who has the one pointer has the other.
    QCOMPARE(static_cast<void *>(static_cast<PvProtoVideoThread *>(thread.get())),
             static_cast<void *>(thread.get()));
    AbstractVideoThread *held = thread.get();
    QCOMPARE(dynamic_cast<DeviceInterface *>(held)->channel, int(kChannel));
    QCOMPARE(thread->objectName(), QStringLiteral("OrvoVodThread"));
    QCOMPARE(QString::fromLatin1(OrvoVodThread::staticMetaObject.className()),
             QStringLiteral("OrvoVodThread"));
    QObject parent;
    QCOMPARE((new OrvoVodThread(&parent))->parent(), &parent);
}

void TestOrvoVodThread::slots_comeInThisOrder()
{
    const QMetaObject &meta = OrvoVodThread::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        names << QString::fromLatin1(meta.method(i).methodSignature());
    }
    QCOMPARE(names, QStringList({"pause()", "next()", "seekFile(QDateTime)", "setSpeed(double)",
                                 "closeVideo()"}));
}

void TestOrvoVodThread::span_isCopied()
{
    QVERIFY(!thread->vodStartPara.time0.isValid() && !thread->vodStartPara.time1.isValid() &&
            !thread->vodStartPara.time2.isValid());
    QCOMPARE(thread->lastPts, qint64(0));
    const QDateTime noon(QDate(2026, 3, 14), QTime(12, 0), Qt::UTC);
    VodStartPara para{noon, noon.addSecs(60), noon.addSecs(7)};
    thread->setVodStartPara(para);
    para.time0 = QDateTime();
    QCOMPARE(thread->vodStartPara.time0, noon);
    QCOMPARE(thread->vodStartPara.time1, noon.addSecs(60));
    QCOMPARE(thread->vodStartPara.time2, noon.addSecs(7));
}

void TestOrvoVodThread::recordCodec_isNotKnown()
{
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(thread->getLatestRecordCodec(video, audio), -1);
    QVERIFY(script->calls().isEmpty());
    QVERIFY(log->lines().isEmpty());
}

// --- Connecting ---------------------------------------------------------------------------------

void TestOrvoVodThread::connect_makesNoPoll_belowATenthOfASecond()
{
    for (const int timeout : {50, 99, 0, -100}) {
        log->clear();
        thread->setConnectTimeout(timeout);
        QVERIFY(!thread->checkConnect());
        QCOMPARE(infos(QStringLiteral("192.0.2.1 connect status 0")), 1);
        QCOMPARE(log->lines().size(), 1);
    }
    QCOMPARE(script->count(Op::getConnectStatus), 0);
}

void TestOrvoVodThread::connect_polls_untilConnected()
{
    thread->setConnectTimeout(500);
    script->enqueue(Op::getConnectStatus, HChannelDisconnected);
    script->enqueue(Op::getConnectStatus, 7);
    QVERIFY(thread->checkConnect());
    QCOMPARE(script->texts(),
             QStringList({"getConnectStatus()", "getConnectStatus()", "getConnectStatus()"}));
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodThread::connect_givesUp_andTellsTheLastStatus()
{
    thread->setConnectTimeout(399);
    script->setAnswer(Op::getIPAddr, QStringList("%2 %1")); // what a device calls itself
    script->enqueue(Op::getConnectStatus, HChannelDisconnected);
    script->enqueue(Op::getConnectStatus, HChannelDisconnected);
    script->setAnswer(Op::getConnectStatus, -2);
    QElapsedTimer sinceStart;
    sinceStart.start();
    QVERIFY(!thread->checkConnect());
    QVERIFY(sinceStart.elapsed() >= 200); // three polls are at least twice 100 ms apart
    QCOMPARE(script->count(Op::getConnectStatus), 3);
    QCOMPARE(infos(QStringLiteral("%2 %1 connect status -2")), 1);
    QVERIFY(log->lines().last().file.endsWith(QLatin1String("core_vod/orvovodthread.cpp")));
}

void TestOrvoVodThread::connect_fails_withoutDevice()
{
    thread->unbindDevice();
    expectError(QStringLiteral("dev is null"));
    QVERIFY(!thread->checkConnect());
    QCOMPARE(log->missing(), QStringList());
}

// --- Asking for the playback --------------------------------------------------------------------

void TestOrvoVodThread::input_isNotAsked_whileTheLinkIsDown()
{
    for (const int status : {int(HChannelDisconnected), 2, -1}) {
        script->clearCalls();
        script->setAnswer(Op::getConnectStatus, status);
        QVERIFY(thread->initInput());
        QCOMPARE(script->texts(), QStringList("getConnectStatus()"));
    }
    QVERIFY(recorder->names().isEmpty());
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodThread::input_startsThePlayback_andAlreadyCountsAsSuccess()
{
    const QDateTime noon(QDate(2026, 3, 14), QTime(12, 0), Qt::UTC);
    thread->setVodStartPara({noon, noon.addSecs(60), noon.addSecs(7)});
    for (const HRetError answer : {HRetOk, HRetAlready}) {
        script->clearCalls();
        script->enqueue(Op::vodStart, answer);
        QVERIFY(thread->initInput());
        const auto calls = script->calls();
        QCOMPARE(calls.size(), 2);
        QCOMPARE(int(calls.first().operation), int(Op::getConnectStatus));
        QCOMPARE(int(calls.last().operation), int(Op::vodStart));
        QCOMPARE(calls.last().arguments,
                 QVariantList(
                     {uint(kChannel), QVariantList({noon, noon.addSecs(60), noon.addSecs(7)})}));
    }
    QVERIFY(recorder->names().isEmpty());
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodThread::input_refusedForMax_isToldByItsSignal()
{
    expectWarning(QStringLiteral("vod start err 17"));
    script->enqueue(Op::vodStart, HRetExceedMax);
    int loggedBefore = 0;
    QObject::connect(thread.get(), &AbstractVideoThread::sig_connExceedMax, this,
                     [&] { loggedBefore = log->lines().size(); });
    QVERIFY(!thread->initInput());
    QCOMPARE(loggedBefore, 1);
    QCOMPARE(recorder->names(), QStringList("max"));
    QCOMPARE(log->count(Logger::Warning, line(QStringLiteral("vod start err 17"))), 1);
    QCOMPARE(log->lines().size(), 1);
    QCOMPARE(thread->exceedCount.load(), 0); // which is of live streams
    QVERIFY(!thread->isStreamExceedMax());
    QCOMPARE(script->count(Op::vodStart), 1);
}

void TestOrvoVodThread::input_refusedOtherwise_isToldByTheOtherSignal_data()
{
    QTest::addColumn<int>("answer");
    for (const int answer : {1, int(HRetTimeout), int(HRetBusy), int(HRetEndOfFile), -5})
        QTest::newRow(qPrintable(QString::number(answer))) << answer;
}

void TestOrvoVodThread::input_refusedOtherwise_isToldByTheOtherSignal()
{
    QFETCH(int, answer);
    expectWarning(QStringLiteral("vod start err %1").arg(answer));
    script->enqueue(Op::vodStart, answer);
    QVERIFY(!thread->initInput());
    QCOMPARE(recorder->names(), QStringList("other"));
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(log->lines().size(), 1);
    QCOMPARE(script->count(Op::vodStart), 1);
}

void TestOrvoVodThread::input_withoutDevice_doesNothing()
{
    thread->unbindDevice();
    QVERIFY(thread->initInput());
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodThread::close_stopsThePlayback_whileTheLinkIsUp()
{
    script->setAnswer(Op::vodStop, HRetBusy); // ignored
    thread->closeVideo();
    QCOMPARE(script->texts(), QStringList({"getConnectStatus()", "vodStop(2)"}));
    script->clearCalls();
    script->setAnswer(Op::getConnectStatus, HChannelDisconnected);
    thread->closeVideo();
    QCOMPARE(script->texts(), QStringList("getConnectStatus()"));
    thread->unbindDevice();
    thread->closeVideo();
    QCOMPARE(script->calls().size(), 1);
    QVERIFY(recorder->names().isEmpty());
    QVERIFY(log->lines().isEmpty());
}

// --- Reading ------------------------------------------------------------------------------------

void TestOrvoVodThread::read_answersAsTheDeviceDoes()
{
    feed(ScriptedFrame::video(1, 0, 16, 8, "abcd", 5));
    feed(HRetTimeout);
    feed(HRetEndOfFile);
    for (const int answer : {int(HRetBusy), int(HRetExceedMax), -5}) {
        feed(answer);
        expectError(QStringLiteral("vod read frame err %1").arg(answer));
    }
    HFrameHeader frame = {};
    QCOMPARE(thread->readFrame(&frame, 70), 0);
    QCOMPARE(frame.frameSize, 4u);
    QCOMPARE(thread->readFrame(&frame, 70), 2);
    QCOMPARE(thread->readFrame(&frame, 70), 1);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(thread->readFrame(&frame, 70), 3);
    QCOMPARE(script->texts().value(0), QStringLiteral("vodReadFrame(2, 70)"));
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(log->lines().size(), 3); // neither a time-out nor the end is told here
}

void TestOrvoVodThread::read_fails_withoutDevice()
{
    thread->unbindDevice();
    expectError(QStringLiteral("dev is null"));
    HFrameHeader frame = {};
    QCOMPARE(thread->readFrame(&frame, 70), 3);
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(script->calls().isEmpty());
}

void TestOrvoVodThread::readTimeouts_areSilent_untilTheFifth()
{
    const QString text = QStringLiteral("read [192.0.2.1:3] frame timeout(20000 ms) ");
    thread->setStreamChannel(kChannel, 3);
    letReadsReturn();
    HFrameHeader frame = {};
    for (int before = 0; before < 4; ++before) { // as the loop counts them
        thread->timeoutCount = before;
        QCOMPARE(thread->readFrame(&frame, 70), 2);
    }
    QVERIFY(log->lines().isEmpty());
    for (const int before : {4, 5, 6, std::numeric_limits<int>::max()}) {
        thread->timeoutCount = before;
        QCOMPARE(thread->readFrame(&frame, 70), 2);
    }
    QCOMPARE(infos(text), 4);
    QCOMPARE(log->lines().size(), 4);
}

/// Does something that asks the device, which is let go of by everybody else in the midst of
/// `operation`. It has to be there until its call returns.
void TestOrvoVodThread::isThere_inTheMidstOf(Op operation, const std::function<void()> &work)
{
    QSharedPointer<HNetDevice> device = scriptedDevice(script);
    const QWeakPointer<HNetDevice> watched = device;
    thread->bindDevice(device);
    device.reset();
    bool there = false;
    DeviceAnswer answer = operation == Op::getConnectStatus ? int(HChannelConnected) : int(HRetOk);
    answer.first = [&] {
        thread->unbindDevice();
        there = !watched.isNull();
    };
    script->enqueue(operation, answer);
    work();
    QCOMPARE(script->pending(operation), 0);
    QVERIFY(there);
    QVERIFY(watched.isNull()); // and no longer
}

void TestOrvoVodThread::device_letGoOf_inMidCall_isThereUntilTheEnd()
{
    HFrameHeader frame = {};
    letGoMidway(Op::vodReadFrame, [&] { thread->readFrame(&frame, 10); });
    letGoMidway(Op::getConnectStatus, [&] { QVERIFY(thread->checkConnect()); });
    letGoMidway(Op::getConnectStatus, [&] { QVERIFY(thread->initInput()); });
    letGoMidway(Op::getConnectStatus, [&] { thread->closeVideo(); });
    letGoMidway(Op::vodStart, [&] { QVERIFY(thread->initInput()); });
    letGoMidway(Op::vodStop, [&] { thread->closeVideo(); });
    letGoMidway(Op::vodSeek, [&] { thread->seekFile(QDateTime::currentDateTime()); });
    letGoMidway(Op::vodSetSpeed, [&] { thread->setSpeed(1); });
}

// --- Control ------------------------------------------------------------------------------------

void TestOrvoVodThread::pauseAndNext_doNothing_whileNotRunning()
{
    thread->pause();
    QVERIFY(!thread->getIsPause());
    thread->next();
    QVERIFY(script->calls().isEmpty());
}

void TestOrvoVodThread::pauseAndNext_changeTheFlagFirst_thenTheDevice()
{
    QVERIFY(begin());
    bool pausedAtCall = false;
    bool pausedAtResume = true;
    DeviceAnswer pausing(HRetOk);
    pausing.first = [&] { pausedAtCall = thread->getIsPause(); };
    script->enqueue(Op::vodPause, pausing);
    DeviceAnswer resuming(HRetOk);
    resuming.first = [&] { pausedAtResume = thread->getIsPause(); };
    script->enqueue(Op::vodResume, resuming);
    thread->pause();
    QVERIFY(pausedAtCall);
    QVERIFY(thread->getIsPause());
    thread->next();
    QVERIFY(!pausedAtResume);
    QVERIFY(!thread->getIsPause());
    QVERIFY(end());
    for (const Op operation : {Op::vodPause, Op::vodResume}) {
        const auto calls = script->calls(operation);
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.first().arguments, QVariantList({uint(kChannel)}));
        QCOMPARE(calls.first().thread, QThread::currentThread());
    }
}

void TestOrvoVodThread::pauseAndNext_keepTheFlag_whenTheDeviceFails()
{
    QVERIFY(begin());
    expectError(QStringLiteral("vod pause err 16"));
    expectError(QStringLiteral("vod resume err -3"));
    script->enqueue(Op::vodPause, HRetBusy);
    script->enqueue(Op::vodResume, -3);
    thread->pause();
    QVERIFY(thread->getIsPause());
    thread->next();
    QVERIFY(!thread->getIsPause());
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(end());
}

void TestOrvoVodThread::pauseAndNext_areSilent_withoutDevice()
{
    QVERIFY(begin());
    thread->pause();
    feed(HRetTimeout); // for the read under way; there is none after it
    QVERIFY(waitFor([&] { return script->pending(Op::vodReadFrame) == 0; }));
    const QSharedPointer<HNetDevice> device = thread->boundDevice();
    thread->unbindDevice();
    script->clearCalls();
    thread->pause();
    QVERIFY(thread->getIsPause());
    thread->next(); // the loop may look for its device now
    QVERIFY(!thread->getIsPause());
    thread->pause();
    thread->bindDevice(device);
    QCOMPARE(script->count(Op::vodPause) + script->count(Op::vodResume), 0);
    expectError(QStringLiteral("dev is null")); // of reads within that moment
    expectError(QStringLiteral("read frame err 3"));
    QVERIFY(end());
}

void TestOrvoVodThread::device_letGoOf_inPauseAndNext_isThereUntilTheEnd()
{
    QVERIFY(begin()); // and its read lasts until the end
    letGoMidway(Op::vodPause, [&] { thread->pause(); });
    letGoMidway(Op::vodResume, [&] { thread->next(); });
    QVERIFY(end());
}

void TestOrvoVodThread::seek_goesToTheDevice()
{
    const QDateTime time(QDate(2026, 3, 14), QTime(12, 0, 1, 250), Qt::UTC);
    thread->seekFile(time); // whether it runs or not
    script->enqueue(Op::vodSeek, HRetBusy);
    expectError(QStringLiteral("vod seek err 16"));
    thread->seekFile(QDateTime());
    const auto calls = script->calls();
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.first().arguments, QVariantList({uint(kChannel), time}));
    QCOMPARE(calls.last().arguments, QVariantList({uint(kChannel), QDateTime()}));
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(log->lines().size(), 1);
    QCOMPARE(thread->getPosition(), qint64(0));
}

void TestOrvoVodThread::seek_isSilent_withoutDevice()
{
    thread->unbindDevice();
    thread->seekFile(QDateTime::currentDateTime());
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodThread::speed_isCutTowardsZero_data()
{
    QTest::addColumn<double>("speed");
    QTest::addColumn<int>("told");
    QTest::newRow("half") << 0.5 << 0;
    QTest::newRow("nearly one") << 0.999 << 0;
    QTest::newRow("one") << 1.0 << 1;
    QTest::newRow("one and a half") << 1.5 << 1;
    QTest::newRow("two") << 2.0 << 2;
    QTest::newRow("eight") << 8.0 << 8;
    QTest::newRow("a little backwards") << -0.5 << 0;
    QTest::newRow("backwards") << -1.5 << -1;
    QTest::newRow("beyond all") << 1e300 << std::numeric_limits<int>::max();
    QTest::newRow("beyond all, backwards") << -1e300 << std::numeric_limits<int>::min();
    QTest::newRow("without end") << std::numeric_limits<double>::infinity()
                                 << std::numeric_limits<int>::max();
    QTest::newRow("no number") << std::numeric_limits<double>::quiet_NaN() << 0;
}

void TestOrvoVodThread::speed_isCutTowardsZero()
{
    QFETCH(double, speed);
    QFETCH(int, told);
    AbstractVideoThread *base = thread.get();
    base->setSpeed(speed);
    QCOMPARE(script->texts(), QStringList(QStringLiteral("vodSetSpeed(2, %1)").arg(told)));
    QCOMPARE(base->getSpeed(), 1.0); // its own stays
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodThread::speed_refused_isLogged()
{
    script->enqueue(Op::vodSetSpeed, HRetBusy);
    expectError(QStringLiteral("vod set speed err 16"));
    thread->setSpeed(2);
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(log->lines().size(), 1);
}

void TestOrvoVodThread::speed_isSilent_withoutDevice()
{
    thread->unbindDevice();
    thread->setSpeed(2);
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodThread::seekAndSpeed_byName_runOnTheThreadOfTheObject()
{
    const QDateTime time(QDate(2026, 3, 14), QTime(12, 0), Qt::UTC);
    QVERIFY(begin());
    QVERIFY(QMetaObject::invokeMethod(thread.get(), "seekFile", Qt::QueuedConnection,
                                      Q_ARG(QDateTime, time)));
    QVERIFY(QMetaObject::invokeMethod(thread.get(), "setSpeed", Qt::QueuedConnection,
                                      Q_ARG(double, 4.5)));
    QVERIFY(waitFor([&] { return script->count(Op::vodSetSpeed) == 1; }));
    QCOMPARE(script->calls(Op::vodSeek).value(0).arguments, QVariantList({uint(kChannel), time}));
    QCOMPARE(script->calls(Op::vodSetSpeed).value(0).arguments, QVariantList({uint(kChannel), 4}));
    QCOMPARE(script->calls(Op::vodSeek).value(0).thread, QThread::currentThread());
    QCOMPARE(script->calls(Op::vodSetSpeed).value(0).thread, QThread::currentThread());
    QVERIFY(end());
}

QTEST_GUILESS_MAIN(TestOrvoVodThread)
#include "tst_orvovodthread.moc"
