// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Playbacks as they run: what is shown, where play is said to be, and what ends it.

#include "vodthreadcase.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <limits>

using namespace vantratest;

class TestOrvoVodThreadPlay : public VodThreadCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void play_callsTheDeviceInThisOrder();
    void play_goesOn_whereItWasOnAlready();
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
    void readTimeouts_areWaitedThrough_andRaiseTheFlag();
    void device_letGoOf_endsThePlay();

    void pausedThread_neitherReads_norCountsTimeouts();
    void stop_endsAPausedPlay();
    void softStop_endsThePlay_whereTheViewerStops();
    void softStop_opensAnew_whereNobodyStops();

    void frames_areDropped_withoutAViewer();
    void viewer_whoComesBack_beginsAtAKeyPicture();
    void sound_beginsWithTheFirstKeyPicture();
    void unknownFrames_goNowhere();
    void position_isToldInStepsOfJustOverASecond();
    void position_bearsAnyStamp();
    void position_isThatOfVideoOnly();
    void brokenPictures_failAlone();
    void recording_isNotMade();

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

// --- Frames -------------------------------------------------------------------------------------

void TestOrvoVodThreadPlay::frames_areDropped_withoutAViewer()
{
    qint64 lastPts = -1;
    bool keyFrameSeen = true;
    feed(pictures(0, 15));
    feed(sound());
    feedLook([&] {
        lastPts = thread->lastPts;
        keyFrameSeen = thread->keyFrameSeen;
    });
    QVERIFY(begin(0));
    QVERIFY(settle());
    QCOMPARE(lastPts, qint64(0));
    QVERIFY(!keyFrameSeen);
    QVERIFY(shown().isEmpty());
    QVERIFY(positions().isEmpty());
    QCOMPARE(recorder->names(), QStringList("start"));
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::viewer_whoComesBack_beginsAtAKeyPicture()
{
    qint64 lastPts = -1;
    feed(pictures(5, 7)); // 10 is the first key picture
    feedLook([&] { thread->previewRef() = 0; });
    feed(pictures(12, 2));
    feedLook([&] {
        lastPts = thread->lastPts;
        thread->previewRef() = 1;
    });
    feed(pictures(14, 8)); // and 20 the next
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({10, 11, 20, 21}));
    QCOMPARE(lastPts, qint64(1000 + 11 * kFrameMs));
    // Unlike with a live stream its arrival is not announced: the decoder has been there all along.
    QCOMPARE(recorder->count(QStringLiteral("codecRender")), 1);
    QCOMPARE(recorder->count(QStringLiteral("renderStart")), 1);
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::sound_beginsWithTheFirstKeyPicture()
{
    qint64 lastPts = -1;
    feed(sound(0));
    feed(picture(3));
    feed(sound(1));
    feed(picture(10));
    feed(sound(2));
    feed(sound(3));
    feedLook([&] { lastPts = thread->lastPts; });
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({10}));
    QCOMPARE(recorder->count(QStringLiteral("audioFormat")), 1);
    QCOMPARE(recorder->count(QStringLiteral("audio")), 2);
    QCOMPARE(lastPts, qint64(1000 + 10 * kFrameMs)); // sound leaves it alone
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::unknownFrames_goNowhere()
{
    qint64 lastPts = -1;
    feed(picture(0));
    for (const quint32 type : {5u, 6u, 0xffffffffu}) {
        ScriptedFrame frame = picture(1);
        frame.header.frameType = type;
        frame.header.pts = 1000000;
        feed(frame);
    }
    feedLook([&] { lastPts = thread->lastPts; });
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({0}));
    QCOMPARE(lastPts, qint64(1000));
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::position_isToldInStepsOfJustOverASecond()
{
    const qint64 base = QDateTime(QDate(2026, 3, 14), QTime(12, 0), Qt::UTC).toMSecsSinceEpoch();
    const int stamps[] = {0, 40, 1000, 1001, 1002, 2001, 2002, 500, 3000, 9000, 9999, 10001};
    for (const int stamp : stamps)
        feedPicture(0, base + stamp);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(positions(),
             QVector<qint64>({base, base + 1001, base + 2002, base + 9000, base + 10001}));
    QCOMPARE(recorder->calls(QStringLiteral("position")).first().thread,
             static_cast<QThread *>(thread.get()));
    QCOMPARE(thread->getPosition(), base + 10001);
    QVERIFY(end());
    QCOMPARE(thread->getPosition(), qint64(0)); // of the next play
    QCOMPARE(positions().size(), 5);
}

void TestOrvoVodThreadPlay::position_bearsAnyStamp()
{
    constexpr qint64 least = std::numeric_limits<qint64>::min();
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    for (const qint64 stamp : {least, qint64(-1), qint64(0), qint64(1000), most, least, most})
        feedPicture(0, stamp);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(positions(), QVector<qint64>({most}));
    QCOMPARE(shown().size(), 7);
    QVERIFY(end());
    QCOMPARE(thread->lastPts, most);
}

void TestOrvoVodThreadPlay::position_isThatOfVideoOnly()
{
    feedPicture(0, 5000);
    ScriptedFrame late = sound();
    late.header.pts = 60000;
    feed(late);
    feedPicture(1, 6000);
    feedPicture(2, 6001);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(positions(), QVector<qint64>({5000, 6001}));
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::brokenPictures_failAlone()
{
    log->expect(Logger::Error, QStringLiteral("(pvptvthr)decode video frame err"));
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffpg\\)avcodec_send_packet failed"));
    log->expect(Logger::Warning, QStringLiteral("(mdcdc)video decoder fail (0:0)"));
    feedPicture(0, 5000);
    ScriptedFrame tooLong = picture(1);
    tooLong.header.frameSize = 0xffffffffu;
    tooLong.header.pts = 7000;
    feed(tooLong);
    ScriptedFrame empty = picture(1);
    empty.header.frameSize = 0;
    empty.header.pts = 9000;
    feed(empty);
    feedPicture(10, 9100);
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(shown(), QVector<int>({0, 10}));
    QCOMPARE(positions(), QVector<qint64>({5000, 7000, 9000})); // play has come there all the same
    QVERIFY(log->count(Logger::Error, QStringLiteral("(pvptvthr)decode video frame err")) >= 1);
    QVERIFY(end());
}

void TestOrvoVodThreadPlay::recording_isNotMade()
{
    QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("a.mp4"));
    thread->setFileName(AbstractVideoThread::MANUAL_RECORD, name);
    thread->recordStart(AbstractVideoThread::MANUAL_RECORD);
    feed(pictures(0, 30));
    QVERIFY(begin());
    QVERIFY(settle());
    QVERIFY(end());
    QCOMPARE(shown().size(), 30);
    QVERIFY(QDir(folder.path()).isEmpty());
    QVERIFY(log->unexpected().isEmpty());
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
