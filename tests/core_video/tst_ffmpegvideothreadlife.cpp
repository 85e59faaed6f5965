// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Time-outs, restart and deletion of the URL thread. Its stop is tested beside this.

#include "support/processload.h"
#include "support/rtspserver.h"
#include "support/streammaker.h"
#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include <QtTest>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavutil/time.h>
}

using namespace vantratest;

class TestFFmpegVideoThreadLife : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void interrupt_endsNothing_whenNothingIsWatched();
    void openTimeout_isTold_andTriedAgain();
    void openTimeout_withoutOne_is3Seconds();
    void readTimeout_restartsAfterThreeErrors();
    void readTimeout_withoutOne_is3Seconds_andEndsTheThread();
    void endOfFile_countsAsReadErrors_andEnds();
    void endOfFile_restarts_withReadTimeout();
    void readTimedOut_isTakenBack_byAGoodRead();
    void isOkCleared_reopensWithoutANewStart();
    void lastTime_countsFromTheOpen();

    void deleted_whileReading();
    void deleted_whileOpening();
    void deleted_whileProbing();
    void deleted_whileBlockedInAPicture();
    void deleted_withARestartQueued();
    void manyRounds_leaveNothingBehind();

private:
    int warnings(const char *pattern) const
    {
        return log->countMatching(Logger::Warning, QRegularExpression(QLatin1String(pattern)));
    }
};

void TestFFmpegVideoThreadLife::interrupt_endsNothing_whenNothingIsWatched()
{
    TestThread thread;
    QCOMPARE(avinterruptCallBackFun(&thread), 0);
    thread.stopped = true;
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
    QCOMPARE(avinterruptCallBackFun(&thread), 1);
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(!thread.isReadTimeout());
}

void TestFFmpegVideoThreadLife::openTimeout_isTold_andTriedAgain()
{
    SilentServer server;
    TestThread thread(server.url());
    thread.setConnectTimeout(200);
    ThreadWatcher watcher(&thread);
    const QRegularExpression line(
        QStringLiteral("^\\(ffvdthr\\)open timeout \\(200000:(\\d+)\\)$"));
    log->expectMatching(Logger::Warning, line);
    const QRegularExpression failure = escaped(QStringLiteral("^\\(ffvdthr\\)open input err\\("),
                                               server.url(), QStringLiteral(":.+\\)$"));
    log->expectMatching(Logger::Error, failure);
    thread.play();
    QVERIFY(waitFor([&] { return log->countMatching(Logger::Error, failure) >= 2; }));
    QVERIFY(thread.isReadTimeout());
    QVERIFY(!thread.isOpenTimeout()); // this class does not count failed opens
    for (const auto &told : log->lines()) {
        const auto match = line.match(told.text);
        if (match.hasMatch())
            QVERIFY(match.captured(1).toLongLong() > 200000);
    }
    end(&thread);
    QCOMPARE(watcher.events, (QStringList{QStringLiteral("started"), QStringLiteral("finished")}));
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadLife::openTimeout_withoutOne_is3Seconds()
{
    // The socket's own time-out is 3 s as well, and either may come first.
    SilentServer server;
    TestThread thread(server.url());
    thread.setConnectTimeout(0);
    log->expectMatching(Logger::Warning,
                        QRegularExpression(QStringLiteral("open timeout \\(3000000:\\d+\\)$")));
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral("open input err")));
    thread.play();
    const QString failed = QStringLiteral("(ffvdthr)init input failed");
    QVERIFY(waitFor([&] { return log->count(Logger::Debug, failed) > 0; }));
    end(&thread);

    // Without a socket in the way: the callback itself.
    struct Watched : FFmpegVideoThread
    {
        using FFmpegVideoThread::isOpening;
        using FFmpegVideoThread::openStartTime;
        using FFmpegVideoThread::readTimedOut;
    } watched;
    watched.setConnectTimeout(0);
    watched.isOpening = true;
    watched.openStartTime = av_gettime() - 2000000;
    QCOMPARE(avinterruptCallBackFun(&watched), 0);
    watched.openStartTime = av_gettime() - 3500000;
    QCOMPARE(avinterruptCallBackFun(&watched), 1);
    QVERIFY(watched.readTimedOut);
    QVERIFY(warnings("^\\(ffvdthr\\)open timeout \\(3000000:3\\d{6}\\)$") > 0);
}

void TestFFmpegVideoThreadLife::readTimeout_restartsAfterThreeErrors()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setReadTimeout(300);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    announceReadTimeout();
    bool timedOut = false;
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playFinsh"))
            timedOut = thread.isReadTimeout();
    };
    thread.play();
    QVERIFY(waitFor([&] { return watcher.events.count(QStringLiteral("playStart:0")) >= 3; }));
    QVERIFY(timedOut);
    // One stage after the other: a timed out read, two that fail at once, and a new start.
    QVERIFY(warnings("^\\(ffvdthr\\)read timeout \\(300:\\d+\\)$") >= 6);
    QStringList lines;
    for (const auto &line : log->lines())
        if (line.level == Logger::Error || line.level == Logger::Info)
            lines << line.text;
    const QString error = QStringLiteral("(ffvdthr)read frame err(%1:Immediate exit requested)");
    QCOMPARE(lines.mid(0, 4), (QStringList{error.arg(1), error.arg(2), error.arg(3),
                                           QStringLiteral("(ffvdthr)restart ff thr")}));
    QVERIFY(watcher.pictures.size() >= 100);
    QVERIFY(watcher.events.join(QLatin1Char(' '))
                .contains(QStringLiteral("playFinsh finished started codecRender")));
    end(&thread);
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadLife::readTimeout_withoutOne_is3Seconds_andEndsTheThread()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    announceReadTimeout();
    thread.play();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCoreApplication::processEvents();
    // The socket gives up after 3 s too; whichever is first, three errors end the thread for good.
    QCOMPARE(infos("teminate ff thr"), 1);
    QCOMPARE(infos("restart ff thr"), 0);
    QCOMPARE(watcher.events.last(), QStringLiteral("finished"));
    QVERIFY(watcher.events.contains(QStringLiteral("playFinsh")));

    struct Watched : FFmpegVideoThread
    {
        using FFmpegVideoThread::isReading;
        using FFmpegVideoThread::lastTime;
    } watched;
    watched.isReading = true;
    watched.lastTime = QDateTime::currentDateTime().addMSecs(-2000);
    QCOMPARE(avinterruptCallBackFun(&watched), 0);
    watched.lastTime = QDateTime::currentDateTime().addMSecs(-3500);
    QCOMPARE(avinterruptCallBackFun(&watched), 1);
    QVERIFY(warnings("^\\(ffvdthr\\)read timeout \\(3000:3\\d{3}\\)$") > 0);
}

void TestFFmpegVideoThreadLife::endOfFile_countsAsReadErrors_andEnds()
{
    TcpSource source(clip(50));
    source.setClosing(true);
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    announceReadErrors();
    thread.play();
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("finished")); }));
    QCOMPARE(watcher.pictures.size(), 50);
    for (int i = 1; i <= 3; ++i)
        QCOMPARE(log->count(Logger::Error,
                            QStringLiteral("(ffvdthr)read frame err(%1:End of file)").arg(i)),
                 1);
    QCOMPARE(infos("teminate ff thr"), 1);
    QVERIFY(!thread.isReadTimeout());
    QVERIFY(!thread.isRunning());
}

void TestFFmpegVideoThreadLife::endOfFile_restarts_withReadTimeout()
{
    TcpSource source(clip(50));
    source.setClosing(true);
    TestThread thread(source.url());
    thread.setReadTimeout(5000);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    announceReadErrors();
    thread.play();
    QVERIFY(waitFor([&] { return watcher.events.count(QStringLiteral("playStart:0")) >= 3; }));
    QVERIFY(infos("restart ff thr") >= 2);
    end(&thread);
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadLife::readTimedOut_isTakenBack_byAGoodRead()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.readTimedOut = true;
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets > 0; }));
    QVERIFY(!thread.isReadTimeout());
    end(&thread);
}

void TestFFmpegVideoThreadLife::isOkCleared_reopensWithoutANewStart()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setReadTimeout(2000);
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    announceReadTimeout();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    QVERIFY(thread.getIsOk());
    thread.stop2();
    QVERIFY(!thread.getIsOk());
    QVERIFY(waitFor([&] { return watcher.events.count(QStringLiteral("playStart:0")) >= 2; }));
    // The session is closed and opened again within the same run.
    QCOMPARE(watcher.events.count(QStringLiteral("started")), 1);
    QVERIFY(watcher.events.contains(QStringLiteral("playFinsh")));
    end(&thread);
}

void TestFFmpegVideoThreadLife::lastTime_countsFromTheOpen()
{
    // Sound alone: nothing is read while the source opens, and the object is older than the limit.
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_PCM_ALAW;
    options.audio = QByteArray(16000, '\x55');
    TcpSource source(makeStream({}, options));
    TestThread thread(source.url());
    thread.setReadTimeout(2000);
    thread.atParse = [](TestThread *self) { self->lastTime = self->lastTime.addSecs(-3600); };
    log->expectMatching(Logger::Warning, QRegularExpression(QStringLiteral("no video stream in ")));
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets >= 90; }));
    QCOMPARE(warnings("read timeout"), 0);
    end(&thread);
}

// --- Deletion -----------------------------------------------------------------------------------

void TestFFmpegVideoThreadLife::deleted_whileReading()
{
    TcpSource source(clip(50));
    auto *thread = new TestThread(source.url());
    announceNoAudio();
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
    announceReadErrors();
    thread->play();
    QVERIFY(waitFor([&] { return thread->packets == 50; }));
    delete thread;
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadLife::deleted_whileOpening()
{
    SilentServer server;
    auto *thread = new TestThread(server.url());
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral("open input err")));
    thread->play();
    QVERIFY(waitFor([&] { return server.accepted() >= 2; }));
    delete thread;
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadLife::deleted_whileProbing()
{
    BlackHole hole;
    if (!hole.isValid())
        QSKIP("no port that swallows connections can be made here");
    auto *thread = new TestThread(hole.url());
    thread->play();
    QVERIFY(waitFor([&] { return thread->opens > 0; }));
    delete thread;
    QCOMPARE(infos("teminate ff thr"), 1);
}

void TestFFmpegVideoThreadLife::deleted_whileBlockedInAPicture()
{
    TcpSource source(clip(750));
    ThreadWatcher watcher;
    auto *thread = new TestThread(source.url());
    thread->setVideoMode(VideoMode_Opengl);
    thread->previewRef() = 1;
    watcher.watch(thread);
    announceNoAudio();
    thread->play();
    QVERIFY(waitFor([&] { return !watcher.pictures.isEmpty(); }));
    while (watcher.emitted == watcher.received)
        QThread::msleep(1);
    delete thread; // it stands in the next picture, which nobody serves
    QCOMPARE(infos("teminate ff thr"), 1);
    QCoreApplication::processEvents();
}

void TestFFmpegVideoThreadLife::deleted_withARestartQueued()
{
    TcpSource source(clip(50));
    source.setClosing(true);
    ReadErrorGate gate;
    auto *thread = new TestThread(source.url());
    gate.holdBeforeLastError(thread);
    thread->setReadTimeout(5000);
    announceNoAudio();
    announceReadErrors();
    thread->play();
    QVERIFY(waitFor([&] { return gate.reached.load(); }));
    gate.open = true;
    while (infos("restart ff thr") == 0)
        QThread::msleep(1);
    delete thread;
    QCoreApplication::processEvents();
    QCOMPARE(infos("restart ff thr"), 1);
}

void TestFFmpegVideoThreadLife::manyRounds_leaveNothingBehind()
{
    TcpSource source(clipWithSound());
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral("open input err")));
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral("find stream err")));
    ProcessLoad first;
    for (int round = 0; round < 200; ++round) {
        const int pictures = watcher.images.size();
        thread.play();
        // Stopped in every phase by turns: at once, at the start of play, and while pictures come.
        if (round % 3 == 1)
            QVERIFY(waitFor([&] { return thread.getIsOk(); }));
        else if (round % 3 == 2)
            QVERIFY(waitFor([&] { return watcher.images.size() > pictures; }));
        end(&thread);
        watcher.images.clear();
        watcher.events.clear();
        watcher.sound.clear();
        QVERIFY(waitFor([&] { return source.clients() == 0; }));
        log->clear();
        if (round == 50)
            first = ProcessLoad::now();
    }
    QCOMPARE(loadLeftBehind(first, 0, 0, 8192), QString());
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadLife)
#include "tst_ffmpegvideothreadlife.moc"
