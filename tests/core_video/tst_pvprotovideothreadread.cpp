// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// How the thread that reads frame by frame waits for them, and what it makes of reads that bring
/// nothing.

#include "fedthreadcase.h"
#include "support/signalrecorder.h"
#include "threadwatcher.h"

#include <QtTest>

using namespace vantratest;

class TestPvProtoVideoThreadRead : public FedThreadCase
{
    Q_OBJECT

private slots:
    void read_getsAFifthOfTheTimeout_data();
    void read_getsAFifthOfTheTimeout();
    void readsThatDoNotWait_areApart_data();
    void readsThatDoNotWait_areApart();
    void timeouts_askForTheStreamAgain_andTheFifthIsRaised();
    void timeouts_countOn_evenIfTheStreamDoesNotStart();
    void readErrors_threeInARow_areSurvived();
    void readErrors_theFourthInARow_endsTheThread();
    void readErrors_areCountedAfresh_afterAFrame();
    void endOfFile_endsTheThread();
    void brokenRun_isNotStartedAgain();
};

void TestPvProtoVideoThreadRead::read_getsAFifthOfTheTimeout_data()
{
    QTest::addColumn<int>("readTimeout");
    QTest::addColumn<QString>("call");
    QTest::newRow("none") << 0 << "readFrame:0";
    QTest::newRow("cut toward zero") << 504 << "readFrame:100";
    QTest::newRow("below a fifth") << 4 << "readFrame:0";
    QTest::newRow("negative") << -504 << "readFrame:-100";
}

void TestPvProtoVideoThreadRead::read_getsAFifthOfTheTimeout()
{
    QFETCH(int, readTimeout);
    QFETCH(QString, call);
    FedThread thread;
    thread.setReadTimeout(readTimeout);
    QVERIFY(begin(&thread));
    QCOMPARE(thread.calls().last(), call);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadRead::readsThatDoNotWait_areApart_data()
{
    QTest::addColumn<int>("readTimeout");
    QTest::newRow("none") << 0;
    QTest::newRow("below a fifth") << 4;
    QTest::newRow("negative") << -500;
}

void TestPvProtoVideoThreadRead::readsThatDoNotWait_areApart()
{
    // Or a quiet stream would take a whole core, and ask its device without a break. A pause lasts
    // at least its time, however slow the machine is.
    QFETCH(int, readTimeout);
    FedThread thread;
    thread.setReadTimeout(readTimeout);
    QVERIFY(begin(&thread));
    QElapsedTimer sinceFeed;
    sinceFeed.start();
    for (int i = 0; i < 20; ++i)
        thread.feed(DeviceReadTimeout);
    QVERIFY(settle(&thread));
    QVERIFY(sinceFeed.elapsed() >= 100);
    QCOMPARE(thread.timeoutCount, 20);
    QCOMPARE(thread.count(QStringLiteral("initInput")), 1 + 20);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadRead::timeouts_askForTheStreamAgain_andTheFifthIsRaised()
{
    FedThread thread;
    QVERIFY(begin(&thread));
    thread.clearCalls();
    for (int i = 1; i <= 4; ++i) {
        thread.feed(DeviceReadTimeout);
        QVERIFY(settle(&thread));
        QCOMPARE(thread.timeoutCount, i);
        QCOMPARE(thread.count(QStringLiteral("initInput")), i);
        QVERIFY(!thread.isReadTimeout());
    }
    thread.feed(DeviceReadTimeout);
    QVERIFY(settle(&thread));
    QVERIFY(thread.isReadTimeout());
    QCOMPARE(thread.timeoutCount, 5);
    QCOMPARE(thread.count(QStringLiteral("openVideo")), 0); // nothing is opened anew
    thread.feed(picture(0));
    QVERIFY(settle(&thread));
    QVERIFY(!thread.isReadTimeout());
    QCOMPARE(thread.timeoutCount, 0);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadRead::timeouts_countOn_evenIfTheStreamDoesNotStart()
{
    FedThread thread;
    QVERIFY(begin(&thread));
    thread.starts = false;
    for (int i = 0; i < 7; ++i)
        thread.feed(DeviceReadTimeout);
    QVERIFY(settle(&thread));
    QCOMPARE(thread.timeoutCount, 7);
    QVERIFY(thread.getIsOk()); // a refusal changes nothing in the loop
    thread.feedWork([&] { thread.timeoutCount = std::numeric_limits<int>::max(); },
                    DeviceReadTimeout);
    QVERIFY(settle(&thread));
    QCOMPARE(thread.timeoutCount, std::numeric_limits<int>::max());
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadRead::readErrors_threeInARow_areSurvived()
{
    log->expect(Logger::Error, QStringLiteral("(pvptvthr)read frame error"));
    FedThread thread;
    QVERIFY(begin(&thread));
    for (const int result : {3, -1, 7}) // anything unknown is an error
        thread.feed(result);
    QVERIFY(settle(&thread));
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(pvptvthr)read frame error")), 3);
    QCOMPARE(thread.timeoutCount, 0);
    QVERIFY(thread.getIsOk());
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadRead::readErrors_theFourthInARow_endsTheThread()
{
    log->expect(Logger::Error, QStringLiteral("(pvptvthr)read frame error"));
    FedThread thread;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    for (int i = 0; i < 4; ++i)
        thread.feed(DeviceReadError);
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("finished")); }));
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(pvptvthr)read frame error")), 4);
    QCOMPARE(watcher.events, (QStringList{"started", "playStart:0", "playFinsh", "finished"}));
}

void TestPvProtoVideoThreadRead::readErrors_areCountedAfresh_afterAFrame()
{
    log->expect(Logger::Error, QStringLiteral("(pvptvthr)read frame error"));
    FedThread thread;
    QVERIFY(begin(&thread));
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 3; ++i)
            thread.feed(DeviceReadError);
        thread.feed(sound());
    }
    QVERIFY(settle(&thread));
    // A time-out is no frame: the errors before it still count.
    for (const int result : {3, 3, 3, 2, 3})
        thread.feed(result);
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(pvptvthr)read frame error")), 13);
}

void TestPvProtoVideoThreadRead::endOfFile_endsTheThread()
{
    FedThread thread;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(DeviceReadEnd);
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("finished")); }));
    QCOMPARE(log->count(Logger::Info, QStringLiteral("(pvptvthr)end of file 1")), 1);
    QCOMPARE(log->count(Logger::Debug, QStringLiteral("(pvptvthr)exit thread")), 1);
    QCOMPARE(watcher.count(QStringLiteral("playFinsh")), 1);
}

void TestPvProtoVideoThreadRead::brokenRun_isNotStartedAgain()
{
    log->expect(Logger::Error, QStringLiteral("(pvptvthr)read frame error"));
    FedThread thread;
    thread.setReadTimeout(500);
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    for (int i = 0; i < 4; ++i)
        thread.feed(DeviceReadError);
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("finished")); }));
    for (int i = 0; i < 20; ++i) // whatever would be queued
        QCoreApplication::processEvents();
    QVERIFY(thread.wait());
    QCOMPARE(watcher.count(QStringLiteral("started")), 1);
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadRead)
#include "tst_pvprotovideothreadread.moc"
