// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Stop in every phase of the URL thread.

#include "support/processload.h"
#include "support/rtspserver.h"
#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include <QtTest>

using namespace vantratest;

class TestFFmpegVideoThreadStop : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void stop_beforeStart();
    void stop_twice();
    void stop_whileProbing();
    void stop_whileOpening();
    void stop_whileFindingStreams();
    void stop_whileReading();
    void stop_inThePause();
    void stop_whileBlockedInAPicture();
    void stop_withTheSocketFull();
    void stop_whileClosing_isNotLost();
    void stop_amongReadErrors_isNotLost();
    void stop_beforeTheRestart_dropsIt();
    void play_afterStop_opensAgain();
};

void TestFFmpegVideoThreadStop::stop_beforeStart()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.stop();
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets > 0; }));
    end(&thread);
}

void TestFFmpegVideoThreadStop::stop_twice()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets > 0; }));
    thread.stop();
    end(&thread);
    QCOMPARE(watcher.count(QStringLiteral("finished")), 1);
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadStop::stop_whileProbing()
{
    BlackHole hole;
    if (!hole.isValid())
        QSKIP("no port that swallows connections can be made here");
    TestThread thread(hole.url());
    thread.play();
    QVERIFY(waitFor([&] { return thread.opens > 0; }));
    end(&thread);
    QCOMPARE(infos("teminate ff thr"), 1);
    QCOMPARE(log->lines().last().text, QStringLiteral("(ffvdthr)teminate ff thr"));
}

void TestFFmpegVideoThreadStop::stop_whileOpening()
{
    SilentServer server;
    TestThread thread(server.url());
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return server.accepted() >= 2; })); // the probe, and the open
    // During the open the error is not always that of an interrupted call.
    log->expectMatching(Logger::Error, escaped(QStringLiteral("^\\(ffvdthr\\)open input err\\("),
                                               server.url(), QStringLiteral(":.+\\)$")));
    end(&thread);
    QVERIFY(log->count(Logger::Warning, QStringLiteral("(ffvdthr)try to stop")) > 0);
    QCOMPARE(log->lines().last().text, QStringLiteral("(ffvdthr)teminate ff thr"));
    QCOMPARE(watcher.events, (QStringList{QStringLiteral("started"), QStringLiteral("finished")}));
}

void TestFFmpegVideoThreadStop::stop_whileFindingStreams()
{
    // The header and a few pictures have come: not enough to know the streams by.
    QVector<int> offsets;
    TcpSource source(clip(50, &offsets));
    source.setLimit(offsets.at(5));
    TestThread thread(source.url());
    // FFmpeg takes what it has got for the streams, and the open goes on to its end.
    announceNoAudio();
    thread.play();
    // The open proper is over, and is no longer watched as one.
    QVERIFY(waitFor([&] { return source.connections() >= 2 && !thread.peekOpening(); }));
    end(&thread);
    QVERIFY(log->count(Logger::Warning, QStringLiteral("(ffvdthr)try to stop")) > 0);
    QCOMPARE(thread.opens.load(), 1);
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadStop::stop_whileReading()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setReadTimeout(20000);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    end(&thread);
    QCOMPARE(infos("teminate ff thr"), 1);
    QCOMPARE(infos("restart ff thr"), 0);
}

void TestFFmpegVideoThreadStop::stop_inThePause()
{
    TcpSource source;
    source.shutDown();
    TestThread thread(source.url());
    thread.setOpenSleepTime(24 * 3600 * 1000);
    thread.play();
    QVERIFY(waitFor([&] {
        return log->count(Logger::Debug, QStringLiteral("(ffvdthr)check connect failed")) > 0;
    }));
    end(&thread);
    QCOMPARE(thread.opens.load(), 1);
}

void TestFFmpegVideoThreadStop::stop_whileBlockedInAPicture()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    watcher.atFrame = [&] { thread.stop(); };
    thread.play();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCoreApplication::processEvents();
    QCOMPARE(watcher.pictures.size(), 1);
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadStop::stop_withTheSocketFull()
{
    // Far more than is read: the thread stands in the slots while the source goes on sending.
    TcpSource source(clip(750));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return watcher.images.size() > 3; }));
    end(&thread);
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadStop::stop_whileClosing_isNotLost()
{
    TcpSource source(clip(50));
    source.setClosing(true);
    TestThread thread(source.url());
    thread.setReadTimeout(5000); // would start again
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    announceReadErrors();
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playFinsh"))
            thread.stop();
    };
    thread.play();
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("finished")); }));
    QCoreApplication::processEvents();
    QVERIFY(!thread.isRunning());
    QCOMPARE(infos("restart ff thr"), 0);
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadStop::stop_amongReadErrors_isNotLost()
{
    // Two errors in a row mean a new start, and the close takes `stopped` back; the stop counts
    // still.
    TcpSource source(clip(50));
    source.setClosing(true);
    TestThread thread(source.url());
    thread.setReadTimeout(5000);
    thread.atCodecAsk = [](TestThread *self) {
        if (self->errorCount == 1)
            self->stop();
    };
    announceNoAudio();
    announceReadErrors();
    thread.play();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCoreApplication::processEvents();
    QVERIFY(!thread.isRunning());
    QCOMPARE(infos("restart ff thr"), 0);
    QCOMPARE(infos("teminate ff thr"), 1);
    QVERIFY(!thread.stopped); // and the object is ready for the next start
}

void TestFFmpegVideoThreadStop::stop_beforeTheRestart_dropsIt()
{
    TcpSource source(clip(50));
    source.setClosing(true);
    ReadErrorGate gate;
    TestThread thread(source.url());
    gate.holdBeforeLastError(&thread);
    thread.setReadTimeout(5000);
    announceNoAudio();
    announceReadErrors();
    thread.play();
    QVERIFY(waitFor([&] { return gate.reached.load(); }));
    gate.open = true;
    while (infos("restart ff thr") == 0)
        QThread::msleep(1);
    QVERIFY(thread.wait(20000));
    thread.stop();
    QCoreApplication::processEvents();
    QVERIFY(!thread.isRunning());
    QCOMPARE(thread.opens.load(), 1);
}

void TestFFmpegVideoThreadStop::play_afterStop_opensAgain()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    for (int round = 1; round <= 3; ++round) {
        watcher.pictures.clear();
        if (round == 2)
            thread.start(); // what widgets call; a close has made the object ready for it
        else
            thread.play();
        QVERIFY(waitFor([&] { return watcher.pictures.size() == 50; }));
        end(&thread);
        QCOMPARE(watcher.count(QStringLiteral("playStart:0")), round);
    }
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadStop)
#include "tst_ffmpegvideothreadstop.moc"
