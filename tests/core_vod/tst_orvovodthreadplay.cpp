// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Playbacks as they run: what is asked of the device, and what ends them.

#include "vodthreadcase.h"

#include <QElapsedTimer>

#include <limits>

using namespace vantratest;

namespace {

/// Reads what the test says, once and again.
class OddReader : public OrvoVodThread
{
    Q_DISABLE_COPY(OddReader)

public:
    explicit OddReader(int result) : result(result) {}
    ~OddReader() override { endRun(); }

protected:
    int readFrame(HFrameHeader *, int) override { return result; }

private:
    const int result;
};

} // namespace

class TestOrvoVodThreadPlay : public VodThreadCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void play_callsTheDeviceInThisOrder();
    void play_goesOn_whereItWasOnAlready();
    void close_stopsThePlayback_beforeTheEndIsTold();
    void readsThatDoNotWait_areApart_data();
    void readsThatDoNotWait_areApart();
    void object_canPlayAgain();

    void open_withoutConnection_endsThePlay();
    void open_refused_endsThePlay_data();
    void open_refused_endsThePlay();
    void open_whileTheLinkBreaks_leavesItToTheReads();
    void open_isCutShort_byStop();
    void open_withoutDevice_endsThePlay();

    void recording_isShownToItsEnd();
    void readErrors_endThePlay_atTheFourthInARow();
    void readErrors_inARow_areNotInterruptedByTimeouts();
    void readErrors_leaveTheCountOfTimeouts();
    void readErrors_ofAnyNumber_areTold_data();
    void readErrors_ofAnyNumber_areTold();
    void readTimeouts_areWaitedThrough_andRaiseTheFlag();
    void device_letGoOf_endsThePlay();

    void pausedThread_neitherReads_norCountsTimeouts();
    void pausedThread_doesNotOpen();
    void stop_endsAPausedPlay();
    void softStop_endsThePlay_whereTheViewerStops();
    void softStop_opensAnew_whereNobodyStops();

    void deletion_whileItPlays_endsIt_data();
    void deletion_whileItPlays_endsIt();
    void deletion_ofThePlainClass_endsItsRunFirst();
};

// --- The calls ----------------------------------------------------------------------------------

void TestOrvoVodThreadPlay::play_callsTheDeviceInThisOrder()
{
    QVERIFY(begin());
    QCOMPARE(script->count(Op::vodStop), 1); // a play that is on from before is not joined
    QVERIFY(end());
    QStringList calls = script->texts();
    for (QString &call : calls) {
        if (call.startsWith(QLatin1String("vodStart(2, ")))
            call = QStringLiteral("vodStart");
    }
    QCOMPARE(calls.mid(0, 6),
             QStringList({"getConnectStatus()", "vodStop(2)", "getConnectStatus()",
                          "getConnectStatus()", "vodStart", "vodReadFrame(2, 20000)"}));
    calls.removeAll(QStringLiteral("vodReadFrame(2, 20000)")); // the whole time-out
    QCOMPARE(calls.mid(5), QStringList({"getConnectStatus()", "vodStop(2)"}));
    for (const auto &call : script->calls())
        QCOMPARE(call.thread, static_cast<QThread *>(thread.get()));
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    for (const auto &call : recorder->calls())
        QCOMPARE(call.thread, static_cast<QThread *>(thread.get()));
    QCOMPARE(recorder->calls().first().arguments, QVariantList({0}));
    QCOMPARE(recorder->calls().last().arguments.value(0).value<QObject *>(),
             static_cast<QObject *>(thread.get()));
    QCOMPARE(debugs(QStringLiteral("exit vod thread")), 1);
}

void TestOrvoVodThreadPlay::play_goesOn_whereItWasOnAlready()
{
    script->setAnswer(Op::vodStart, HRetAlready);
    feed(pictures(0, 2));
    QVERIFY(begin());
    QVERIFY(settle());
    QVERIFY(end());
    QCOMPARE(shown(), QVector<int>({0, 1}));
    QCOMPARE(script->count(Op::vodStart), 1);
    QCOMPARE(recorder->names().first(), QStringLiteral("start"));
}

void TestOrvoVodThreadPlay::close_stopsThePlayback_beforeTheEndIsTold()
{
    // While a picture may still be with a receiver, and before anybody else may start a play.
    QStringList toldAfter;
    int exits = -1;
    const auto note = [&] { toldAfter << script->texts().last(); };
    const AbstractVideoThread *sender = thread.get();
    QObject::connect(sender, &AbstractVideoThread::sig_decoderDestroyed, sender, note,
                     Qt::DirectConnection);
    QObject::connect(
        sender, &AbstractVideoThread::receivePlayFinsh, sender,
        [&] {
            note();
            exits = debugs(QStringLiteral("exit vod thread"));
        },
        Qt::DirectConnection);
    feed(picture(0));
    feed(HRetEndOfFile);
    QVERIFY(begin());
    QVERIFY(waitForEnd());
    QCOMPARE(toldAfter, QStringList({"vodStop(2)", "vodStop(2)"}));
    QCOMPARE(script->count(Op::vodStop), 2); // before the open and at the end
    QCOMPARE(exits, 0);
    QCOMPARE(debugs(QStringLiteral("exit vod thread")), 1);
}

void TestOrvoVodThreadPlay::readsThatDoNotWait_areApart_data()
{
    QTest::addColumn<int>("readTimeout");
    QTest::newRow("none") << 0;
    QTest::newRow("negative") << -500;
}

void TestOrvoVodThreadPlay::readsThatDoNotWait_areApart()
{
    // Or a quiet recording would take a whole core. A rest lasts at least its time, however slow
    // the machine is.
    QFETCH(int, readTimeout);
    thread->setReadTimeout(readTimeout);
    QElapsedTimer sinceStart;
    sinceStart.start();
    QVERIFY(begin());
    QVERIFY(waitFor([&] { return reads() >= 20; }));
    const int made = reads();
    QVERIFY2(sinceStart.elapsed() >= (made - 1) * 10, qPrintable(QString::number(made)));
    QVERIFY(end());
    QCOMPARE(script->calls(Op::vodReadFrame).first().arguments,
             QVariantList({uint(kChannel), readTimeout}));
}

void TestOrvoVodThreadPlay::object_canPlayAgain()
{
    for (int round = 0; round < 2; ++round) {
        feed(picture(0));
        feed(HRetEndOfFile);
        thread->previewRef() = 1;
        thread->start(QThread::InheritPriority); // as a widget does
        QVERIFY(waitForEnd());
        QCOMPARE(shown().size(), round + 1);
        QCOMPARE(recorder->count(QStringLiteral("finsh")), round + 1);
    }
    thread->start();
    QVERIFY(waitFor([&] { return script->count(Op::vodStart) == 3; }));
    QVERIFY(end());
    thread->start(); // a stop belongs to the play that it ended
    QVERIFY(waitFor([&] { return script->count(Op::vodStart) == 4; }));
    QVERIFY(end());
}

// --- Opening ------------------------------------------------------------------------------------

void TestOrvoVodThreadPlay::open_withoutConnection_endsThePlay()
{
    script->setAnswer(Op::getConnectStatus, HChannelDisconnected);
    thread->setConnectTimeout(200);
    thread->previewRef() = 1;
    thread->play();
    QVERIFY(waitForEnd());
    // Asked at the close before the open, twice while it is waited for, and at the end.
    QCOMPARE(script->texts(),
             QStringList({"getConnectStatus()", "getConnectStatus()", "getConnectStatus()",
                          "getIPAddr()", "getConnectStatus()"}));
    QCOMPARE(recorder->names(), QStringList("finsh")); // though it was never open
    QCOMPARE(infos(QStringLiteral("192.0.2.1 connect status 0")), 1);
    QCOMPARE(debugs(QStringLiteral("exit vod thread")), 1);
    QVERIFY(!thread->isOpenTimeout()); // which tells of threads that try again
    QVERIFY(!thread->getIsOk());
}

void TestOrvoVodThreadPlay::open_refused_endsThePlay_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("signal");
    QTest::newRow("too many") << int(HRetExceedMax) << QStringLiteral("max");
    QTest::newRow("otherwise") << int(HRetBusy) << QStringLiteral("other");
}

void TestOrvoVodThreadPlay::open_refused_endsThePlay()
{
    QFETCH(int, answer);
    QFETCH(QString, signal);
    const QString text = QStringLiteral("vod start err %1").arg(answer);
    expectWarning(text);
    script->setAnswer(Op::vodStart, answer);
    thread->previewRef() = 1;
    thread->play();
    QVERIFY(waitForEnd());
    QCOMPARE(script->count(Op::vodStart), 1); // no further attempt
    QCOMPARE(script->texts().last(), QStringLiteral("vodStop(2)"));
    QCOMPARE(reads(), 0);
    QCOMPARE(recorder->names(), QStringList({signal, QStringLiteral("finsh")}));
    QCOMPARE(recorder->calls().first().thread, static_cast<QThread *>(thread.get()));
    QCOMPARE(log->count(Logger::Warning, line(text)), 1);
}

void TestOrvoVodThreadPlay::open_whileTheLinkBreaks_leavesItToTheReads()
{
    script->enqueue(Op::getConnectStatus, HChannelConnected); // at the close before
    script->enqueue(Op::getConnectStatus, HChannelConnected); // while it is waited for
    script->setAnswer(Op::getConnectStatus, HChannelDisconnected);
    QVERIFY(begin());
    QVERIFY(end());
    QCOMPARE(script->count(Op::vodStart), 0);
    QCOMPARE(script->count(Op::vodStop), 1); // only that of the beginning
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
}

void TestOrvoVodThreadPlay::open_isCutShort_byStop()
{
    script->setAnswer(Op::getConnectStatus, HChannelDisconnected);
    thread->setConnectTimeout(std::numeric_limits<int>::max()); // waited for, in effect, for good
    thread->play();
    QVERIFY(waitFor([&] { return script->count(Op::getConnectStatus) > 2; }));
    thread->stop();
    QVERIFY(waitForEnd());
    QCOMPARE(script->count(Op::vodStart), 0);
    QCOMPARE(recorder->names(), QStringList("finsh"));
}

void TestOrvoVodThreadPlay::open_withoutDevice_endsThePlay()
{
    expectError(QStringLiteral("dev is null"));
    thread->unbindDevice();
    thread->play();
    QVERIFY(waitForEnd());
    QCOMPARE(recorder->names(), QStringList("finsh"));
    QCOMPARE(errors(QStringLiteral("dev is null")), 1);
}

// --- What ends it, and what does not ------------------------------------------------------------

void TestOrvoVodThreadPlay::recording_isShownToItsEnd()
{
    feed(pictures(0, 30));
    feed(HRetEndOfFile);
    QVERIFY(begin());
    QVERIFY(waitForEnd());
    QVector<int> all;
    for (int i = 0; i < 30; ++i)
        all << i;
    QCOMPARE(shown(), all);
    QCOMPARE(infos(QStringLiteral("end of file 1")), 1);
    QCOMPARE(script->texts().last(), QStringLiteral("vodStop(2)"));
    QCOMPARE(recorder->count(QStringLiteral("finsh")), 1);
    QVERIFY(!thread->getIsOk());
    QCOMPARE(reads(), 31);
}

void TestOrvoVodThreadPlay::readErrors_endThePlay_atTheFourthInARow()
{
    expectError(QStringLiteral("vod read frame err 16"));
    expectError(QStringLiteral("read frame err 3"));
    feedTimes(3, HRetBusy);
    feed(picture(0));
    feedTimes(3, HRetBusy);
    feed(picture(1));
    QVERIFY(begin());
    QVERIFY(settle());
    QVERIFY(thread->isRunning());
    QCOMPARE(errors(QStringLiteral("vod read frame err 16")), 6);
    QCOMPARE(errors(QStringLiteral("read frame err 3")), 6);
    feedTimes(5, HRetBusy);
    QVERIFY(waitForEnd());
    QCOMPARE(script->pending(Op::vodReadFrame), 1); // the fifth is not read any more
    QCOMPARE(errors(QStringLiteral("read frame err 3")), 10);
    QCOMPARE(shown(), QVector<int>({0, 1}));
    QCOMPARE(script->count(Op::vodStart), 1);
    QCOMPARE(recorder->count(QStringLiteral("finsh")), 1);
}

void TestOrvoVodThreadPlay::readErrors_inARow_areNotInterruptedByTimeouts()
{
    expectError(QStringLiteral("vod read frame err 16"));
    expectError(QStringLiteral("read frame err 3"));
    for (int i = 0; i < 4; ++i) {
        feed(HRetTimeout);
        feed(HRetBusy);
    }
    QVERIFY(begin());
    QVERIFY(waitForEnd());
    QCOMPARE(errors(QStringLiteral("read frame err 3")), 4);
}

void TestOrvoVodThreadPlay::readErrors_leaveTheCountOfTimeouts()
{
    expectError(QStringLiteral("vod read frame err 16"));
    expectError(QStringLiteral("read frame err 3"));
    bool fourth = true;
    bool fifth = false;
    feedTimes(4, HRetTimeout);
    feed(HRetBusy);
    feedLook([&] { fourth = thread->isReadTimeout(); });
    feedLook([&] { fifth = thread->isReadTimeout(); });
    QVERIFY(begin());
    QVERIFY(settle());
    QVERIFY(!fourth);
    QVERIFY(fifth);
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::readErrors_ofAnyNumber_areTold_data()
{
    QTest::addColumn<int>("result");
    for (const int result : {3, 4, 7, -1, std::numeric_limits<int>::min()})
        QTest::newRow(qPrintable(QString::number(result))) << result;
}

void TestOrvoVodThreadPlay::readErrors_ofAnyNumber_areTold()
{
    QFETCH(int, result);
    const QString text = QStringLiteral("read frame err %1").arg(result);
    expectError(text);
    OddReader reader(result);
    reader.bindDevice(scriptedDevice(script));
    reader.play();
    QVERIFY(waitFor([&] { return reader.isFinished(); }) && reader.wait());
    QCOMPARE(errors(text), 4);
    QCOMPARE(script->count(Op::vodStart), 1);
    QCOMPARE(script->count(Op::vodStop), 2);
}

void TestOrvoVodThreadPlay::readTimeouts_areWaitedThrough_andRaiseTheFlag()
{
    const QString text = QStringLiteral("read [192.0.2.1:0] frame timeout(20000 ms) ");
    QVector<bool> raised;
    QVector<int> told;
    const auto look = [&] {
        raised << thread->isReadTimeout();
        told << infos(text);
    };
    for (int i = 0; i < 7; ++i)
        feedLook(look);
    DeviceAnswer frame(picture(0));
    frame.first = look;
    feed(frame);
    for (int i = 0; i < 6; ++i)
        feedLook(look);
    QVERIFY(begin());
    QVERIFY(settle());
    QVERIFY(thread->isRunning());
    // What stood before each of the seven, before the frame, and before each of the six.
    QCOMPARE(raised, QVector<bool>({false, false, false, false, false, true, true, true, //
                                    false, false, false, false, false, true}));
    QCOMPARE(told, QVector<int>({0, 0, 0, 0, 0, 1, 2, 3, 3, 3, 3, 3, 3, 4}));
    // The playback is not asked for again: the first close, the open and no more.
    QCOMPARE(script->count(Op::getConnectStatus), 3);
    QCOMPARE(script->count(Op::vodStart), 1);
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::device_letGoOf_endsThePlay()
{
    expectError(QStringLiteral("dev is null"));
    expectError(QStringLiteral("read frame err 3"));
    QVERIFY(begin());
    thread->unbindDevice();
    feed(HRetTimeout);
    QVERIFY(waitForEnd());
    QCOMPARE(errors(QStringLiteral("dev is null")), 4);
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
}

// --- Pause, stop --------------------------------------------------------------------------------

void TestOrvoVodThreadPlay::pausedThread_neitherReads_norCountsTimeouts()
{
    feedTimes(4, HRetTimeout);
    QVERIFY(begin());
    QVERIFY(settle());
    thread->pause();
    feed(picture(0)); // for the read under way: nobody takes back what has come by then
    QVERIFY(waitFor([&] { return shown().size() == 1; }));
    const int before = reads();
    letReadsReturn(); // were it to read, it would do so again and again
    QVERIFY(!waitFor([&] { return reads() > before || thread->isReadTimeout(); }, 300));
    QCOMPARE(script->pending(Op::vodReadFrame), 0);
    QVERIFY(thread->isRunning());
    thread->next();
    QVERIFY(waitFor([&] { return thread->isReadTimeout(); }));
    QVERIFY(end());
    QCOMPARE(script->count(Op::vodPause), 1);
    QCOMPARE(script->count(Op::vodResume), 1);
}

void TestOrvoVodThreadPlay::pausedThread_doesNotOpen()
{
    thread->isPause = true; // as by a pause() that comes before the first look at it
    thread->start();
    QVERIFY(!waitFor([&] { return !script->calls().isEmpty(); }, 200));
    thread->next();
    QVERIFY(waitFor([&] { return reads() > 0; }));
    QCOMPARE(script->count(Op::vodStart), 1);
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::stop_endsAPausedPlay()
{
    QVERIFY(begin());
    thread->pause();
    feed(HRetTimeout);
    QVERIFY(waitFor([&] { return script->pending(Op::vodReadFrame) == 0; }));
    thread->stop();
    QVERIFY(waitForEnd());
    QCOMPARE(reads(), 1);
    QCOMPARE(script->texts().last(), QStringLiteral("vodStop(2)"));
    QVERIFY(!thread->getIsPause());
}

void TestOrvoVodThreadPlay::softStop_endsThePlay_whereTheViewerStops()
{
    // As a widget does, which is told of the end and lets go of the thread.
    QObject::connect(
        thread.get(), &AbstractVideoThread::receivePlayFinsh, this, [this] { thread->stop(); },
        Qt::BlockingQueuedConnection);
    QVERIFY(begin());
    thread->stop2();
    feed(HRetTimeout);
    QVERIFY(waitForEnd());
    QCOMPARE(script->count(Op::vodStart), 1);
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
}

void TestOrvoVodThreadPlay::softStop_opensAnew_whereNobodyStops()
{
    QVERIFY(begin());
    thread->stop2();
    feed(HRetTimeout);
    QVERIFY(waitFor([&] { return script->count(Op::vodStart) == 2; }));
    QVERIFY(end());
    QCOMPARE(recorder->names(), QStringList({"start", "finsh", "start", "finsh"}));
}

// --- Its end as an object -----------------------------------------------------------------------

void TestOrvoVodThreadPlay::deletion_whileItPlays_endsIt_data()
{
    QTest::addColumn<QString>("when");
    for (const char *when : {"connecting", "reading", "paused", "in a report", "at its end"})
        QTest::newRow(when) << QString::fromLatin1(when);
}

void TestOrvoVodThreadPlay::deletion_whileItPlays_endsIt()
{
    QFETCH(QString, when);
    if (when == QLatin1String("connecting")) {
        script->setAnswer(Op::getConnectStatus, HChannelDisconnected);
        thread->setConnectTimeout(kLongMs);
        thread->play();
        QVERIFY(waitFor([&] { return script->count(Op::getConnectStatus) > 1; }));
    } else if (when == QLatin1String("in a report")) {
        // In which it stands waiting for the thread that deletes it.
        QObject receiver;
        QObject::connect(
            thread.get(), &AbstractVideoThread::receivePlayStart, &receiver, [] {},
            Qt::BlockingQueuedConnection);
        letReadsReturn();
        thread->play();
        while (recorder->count(QStringLiteral("start")) == 0)
            QThread::msleep(1); // without an event loop, so that the report is not delivered
        thread.reset();
        QCOMPARE(script->count(Op::vodStop), 2);
        return;
    } else {
        feed(pictures(0, 3));
        if (when == QLatin1String("at its end"))
            feed(HRetEndOfFile);
        QVERIFY(begin());
        if (when == QLatin1String("paused"))
            thread->pause();
        letReadsReturn();
    }
    const int opened = script->count(Op::vodStart);
    thread.reset();
    QCOMPARE(script->count(Op::vodStart), opened);
    QCOMPARE(script->count(Op::vodStop), opened > 0 ? 2 : 0);
}

void TestOrvoVodThreadPlay::deletion_ofThePlainClass_endsItsRunFirst()
{
    auto plain = std::make_unique<OrvoVodThread>(); // which no subclass ends before
    plain->bindDevice(scriptedDevice(script));
    plain->setReadTimeout(50);
    plain->play();
    QVERIFY(waitFor([&] { return reads() > 0; }));
    plain.reset();
    QCOMPARE(script->count(Op::vodStop), 2);
}

QTEST_GUILESS_MAIN(TestOrvoVodThreadPlay)
#include "tst_orvovodthreadplay.moc"
