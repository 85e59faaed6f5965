// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The URL thread against a real RTSP server.

#include "support/rtspserver.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include <QtTest>

using namespace vantratest;

class TestFFmpegVideoThreadRtsp : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void plays_data();
    void plays();
    void opensWithinAFewPictures_andKnowsTheRate_data();
    void opensWithinAFewPictures_andKnowsTheRate();
    void credentials_withMarks_reachTheServer_andNoLog();
    void credentials_thatAreWrong_failTheOpen();
    void stall_restarts_andPicturesComeBack();
    void serverKilled_restarts_andPicturesComeBack();
    void droppedClient_restarts_andPicturesComeBack();
    void sizeChange_restarts_inTheNewSize();
    void silentPeer_isGivenUpByItsSocket_andStopEndsIt();

private:
    void announceBreaks()
    {
        announceReadErrors();
        announceNoAudio();
        for (const char *text :
             {"^\\(ffvdthr\\)read timeout \\(", "^\\(ffvdthr\\)open timeout \\("})
            log->expectMatching(Logger::Warning, QRegularExpression(QLatin1String(text)));
        for (const char *text :
             {"^\\(ffvdthr\\)open input err\\(", "^\\(ffvdthr\\)find stream err\\("})
            log->expectMatching(Logger::Error, QRegularExpression(QLatin1String(text)));
    }
    /// Plays until pictures come, breaks the stream, mends it, and waits for pictures again.
    void breakAndMend(const std::function<bool()> &breakIt, const std::function<bool()> &mendIt);

    RtspServer server;
};

void TestFFmpegVideoThreadRtsp::plays_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<QString>("transport");
    QTest::addColumn<QString>("codec");
    QTest::addColumn<int>("audioCodec");
    QTest::newRow("H.264, A-law, TCP") << "h264:pcma"
                                       << "tcp"
                                       << "H264" << 0x10007;
    QTest::newRow("H.264, A-law, UDP") << "h264:pcma"
                                       << "udp"
                                       << "H264" << 0x10007;
    QTest::newRow("H.265, mu-law, TCP") << "h265:pcmu"
                                        << "tcp"
                                        << "H265" << 0x10006;
    QTest::newRow("H.265, mu-law, UDP") << "h265:pcmu"
                                        << "udp"
                                        << "H265" << 0x10006;
    QTest::newRow("H.264, no sound, TCP") << "h264:none"
                                          << "tcp"
                                          << "H264" << 0;
}

void TestFFmpegVideoThreadRtsp::plays()
{
    QFETCH(QString, camera);
    QFETCH(QString, transport);
    QFETCH(QString, codec);
    QFETCH(int, audioCodec);
    QVERIFY2(server.start({QStringLiteral("--camera"),
                           QStringLiteral("cam:%1:320x192:tone=660").arg(camera)}),
             qPrintable(server.log()));
    TestThread thread(server.url(QStringLiteral("cam")));
    thread.setTransport(transport);
    thread.setReadTimeout(10000);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    if (audioCodec == 0)
        announceNoAudio();
    thread.play();
    QVERIFY2(waitFor(
                 [&] {
                     return watcher.pictures.size() >= 40 &&
                            (audioCodec == 0 || watcher.sound.size() >= 32000);
                 },
                 40000),
             qPrintable(server.log()));
    const QString render = QStringLiteral("codecRender:%1:320x192").arg(codec);
    QStringList expected = {QStringLiteral("started"), render, QStringLiteral("sizeChanged")};
    if (audioCodec != 0)
        expected << QStringLiteral("audioFormat:8000:2:16");
    expected << QStringLiteral("playStart:0") << QStringLiteral("renderStart") << render
             << QStringLiteral("renderStart") << QStringLiteral("frame");
    QCOMPARE(watcher.events.mid(0, expected.size()), expected);
    QCOMPARE(thread.getFrameRate(), 25);
    if (audioCodec != 0)
        QCOMPARE(thread.audioCodecId, audioCodec);

    qint64 last = -1;
    for (const auto &picture : qAsConst(watcher.pictures)) {
        QVERIFY(picture.counter >= 0);
        QVERIFY(last < 0 || picture.counter == last + 1);
        last = picture.counter;
    }
    if (audioCodec != 0) {
        const auto *samples = reinterpret_cast<const qint16 *>(watcher.sound.constData());
        const int count = watcher.sound.size() / 4;
        int crossings = 0;
        for (int i = 1; i < count; ++i)
            crossings += samples[2 * i - 2] < 0 && samples[2 * i] >= 0;
        const double hertz = crossings * 8000.0 / count;
        QVERIFY2(qAbs(hertz - 660) < 10, qPrintable(QString::number(hertz)));
    }
    QVERIFY(!watcher.ranAhead && !watcher.wrongThread);
    end(&thread);
}

void TestFFmpegVideoThreadRtsp::opensWithinAFewPictures_andKnowsTheRate_data()
{
    QTest::addColumn<QString>("codec");
    QTest::newRow("H.264") << "h264";
    QTest::newRow("H.265") << "h265";
}

void TestFFmpegVideoThreadRtsp::opensWithinAFewPictures_andKnowsTheRate()
{
    // Slow enough that a picture more or less is seen by its number, and that there is time to
    // look.
    constexpr int kRate = 4;
    QFETCH(QString, codec);
    QVERIFY2(server.start({QStringLiteral("--camera"),
                           QStringLiteral("cam:%1:none:320x192:%2").arg(codec).arg(kRate)}),
             qPrintable(server.log()));
    TestThread thread(server.url(QStringLiteral("cam")));
    thread.setReadTimeout(10000);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY2(waitFor([&] { return !watcher.pictures.isEmpty(); }), qPrintable(server.log()));
    const qint64 sent = server.stat(QStringLiteral("video"), QStringLiteral("cam"));
    QVERIFY2(sent > 0 && sent < 18, qPrintable(QString::number(sent)));
    QCOMPARE(thread.getFrameRate(), kRate);
    // What was read meanwhile is not lost.
    QCOMPARE(watcher.pictures.first().counter, qint64(0));
    end(&thread);
}

void TestFFmpegVideoThreadRtsp::credentials_withMarks_reachTheServer_andNoLog()
{
    QVERIFY2(server.start({QStringLiteral("--camera"), QStringLiteral("cam:h264:none:320x192"),
                           QStringLiteral("--authenticate"), QStringLiteral("user:p#w+1")}),
             qPrintable(server.log()));
    TestThread thread(server.url(QStringLiteral("cam"), QStringLiteral("user:p#w+1")));
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY2(waitFor([&] { return watcher.pictures.size() > 3; }), qPrintable(server.log()));
    for (const auto &line : log->lines())
        QVERIFY2(!line.text.contains(QStringLiteral("p#w")), qPrintable(line.text));
    end(&thread);
}

void TestFFmpegVideoThreadRtsp::credentials_thatAreWrong_failTheOpen()
{
    QVERIFY2(server.start({QStringLiteral("--camera"), QStringLiteral("cam:h264:none:320x192"),
                           QStringLiteral("--authenticate"), QStringLiteral("user:right")}),
             qPrintable(server.log()));
    TestThread thread(server.url(QStringLiteral("cam"), QStringLiteral("user:wrong")));
    const QRegularExpression line(
        QStringLiteral("^\\(ffvdthr\\)open input err\\(rtsp://.+:Server returned 401 .+\\)$"));
    log->expectMatching(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->countMatching(Logger::Error, line) >= 2; }));
    end(&thread);
}

void TestFFmpegVideoThreadRtsp::breakAndMend(const std::function<bool()> &breakIt,
                                             const std::function<bool()> &mendIt)
{
    QVERIFY2(server.start({QStringLiteral("--camera"), QStringLiteral("cam:h264:pcma:320x192")}),
             qPrintable(server.log()));
    TestThread thread(server.url(QStringLiteral("cam")));
    thread.setReadTimeout(1000);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceBreaks();
    thread.play();
    QVERIFY2(waitFor([&] { return watcher.pictures.size() > 10; }), qPrintable(server.log()));
    QVERIFY(breakIt());
    QVERIFY(waitFor(
        [&] { return log->count(Logger::Info, QStringLiteral("(ffvdthr)restart ff thr")) > 0; }));
    QVERIFY(mendIt());
    QVERIFY(waitFor([&] { return watcher.events.count(QStringLiteral("playFinsh")) > 0; }));
    watcher.pictures.clear();
    QVERIFY2(waitFor([&] { return watcher.pictures.size() > 10; }, 60000),
             qPrintable(server.log()));
    QVERIFY(!thread.isReadTimeout());
    end(&thread);
}

void TestFFmpegVideoThreadRtsp::stall_restarts_andPicturesComeBack()
{
    breakAndMend([this] { return server.command(QStringLiteral("stall cam on")); },
                 [this] { return server.command(QStringLiteral("stall cam off")); });
    QVERIFY(log->countMatching(Logger::Warning,
                               QRegularExpression(QStringLiteral(
                                   "^\\(ffvdthr\\)read timeout \\(1000:\\d+\\)$"))) > 0);
}

void TestFFmpegVideoThreadRtsp::serverKilled_restarts_andPicturesComeBack()
{
    breakAndMend(
        [this] {
            server.kill();
            return true;
        },
        [this] { return server.restart(); });
}

void TestFFmpegVideoThreadRtsp::droppedClient_restarts_andPicturesComeBack()
{
    breakAndMend([this] { return server.command(QStringLiteral("drop cam")); },
                 [] { return true; });
}

void TestFFmpegVideoThreadRtsp::sizeChange_restarts_inTheNewSize()
{
    QVERIFY2(server.start({QStringLiteral("--camera"), QStringLiteral("cam:h264:none:320x192")}),
             qPrintable(server.log()));
    TestThread thread(server.url(QStringLiteral("cam")));
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceBreaks();
    int restartsWhenNew = -1;
    const QString restart = QStringLiteral("(ffvdthr)restart ff thr");
    watcher.atFrame = [&] {
        if (restartsWhenNew < 0 && watcher.pictures.last().width == 640)
            restartsWhenNew = log->count(Logger::Info, restart);
    };
    thread.play();
    QVERIFY2(waitFor([&] { return watcher.pictures.size() > 10; }), qPrintable(server.log()));
    QVERIFY(server.command(QStringLiteral("size cam 640x360")));
    QVERIFY2(waitFor([&] { return restartsWhenNew >= 0; }, 60000), qPrintable(server.log()));
    QVERIFY(restartsWhenNew >= 1); // without a read time-out
    QVERIFY(watcher.events.contains(QStringLiteral("codecRender:H264:640x360")));
    end(&thread);
}

void TestFFmpegVideoThreadRtsp::silentPeer_isGivenUpByItsSocket_andStopEndsIt()
{
    SilentServer silent;
    TestThread thread(silent.url());
    announceBreaks();
    thread.play();
    // The open's own limit is far away; the socket has one of 3 s.
    QVERIFY(waitFor([&] {
        return log->count(Logger::Debug, QStringLiteral("(ffvdthr)init input failed")) >= 1;
    }));
    end(&thread);
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadRtsp)
#include "tst_ffmpegvideothreadrtsp.moc"
