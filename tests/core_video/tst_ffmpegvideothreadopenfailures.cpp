// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What the thread tells of a source that cannot be opened, and which step has failed. What no
/// source can bring about is played by tst_ffmpegvideothreadfaults.

#include "support/streammaker.h"
#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include "core_ffmpeg/ffmpeghelper.h"

#include <QtTest>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

using namespace vantratest;

namespace {

/// Changes the audio format in all tags of an FLV stream to one that stands for no codec.
void makeFlvAudioUnknown(QByteArray *bytes)
{
    constexpr int kFileHeader = 13;
    constexpr int kTagHeader = 11;
    constexpr char kAudioTag = 8;
    constexpr int kDeviceSpecific = 15;
    for (int at = kFileHeader; at + kTagHeader < bytes->size();) {
        const auto byte = [&](int i) {
            return static_cast<int>(static_cast<quint8>(bytes->at(at + i)));
        };
        const int size = byte(1) << 16 | byte(2) << 8 | byte(3);
        if (bytes->at(at) == kAudioTag)
            (*bytes)[at + kTagHeader] =
                static_cast<char>(kDeviceSpecific << 4 | (byte(kTagHeader) & 0xf));
        at += kTagHeader + size + 4;
    }
}

} // namespace

class TestFFmpegVideoThreadOpenFailures : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void failure_urlNotFound_hasNoLine();
    void failure_connect();
    void failure_openInput();
    void failure_findStreams();
    void failure_findDecoder();
    void failure_openDecoder();
    void failure_resolution();
    void failure_pictureLargerThanAnyLevelHas();
    void failure_findAudioDecoder();
    void failure_openAudioDecoder();
    void failure_hardwareName();
    void failure_hardwareDevice();
};

// --- Failures -----------------------------------------------------------------------------------

void TestFFmpegVideoThreadOpenFailures::failure_urlNotFound_hasNoLine()
{
    TestThread thread;
    thread.urlFound = false;
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return thread.opens >= 3; }));
    QCOMPARE(log->lines().size(), 0);
    end(&thread);
    QCOMPARE(watcher.events, (QStringList{QStringLiteral("started"), QStringLiteral("finished")}));
    QVERIFY(!thread.isReadTimeout());
}

void TestFFmpegVideoThreadOpenFailures::failure_connect()
{
    TcpSource source;
    source.shutDown();
    TestThread thread(source.url());
    thread.play();
    const QString line = QStringLiteral("(ffvdthr)check connect failed");
    QVERIFY(waitFor([&] { return log->count(Logger::Debug, line) >= 2; }));
    QVERIFY(!thread.getIsOk());
    end(&thread);

    TestThread nowhere;
    QTest::ignoreMessage(QtCriticalMsg, "url is empty");
    nowhere.setOpenSleepTime(3600 * 1000);
    const int before = log->count(Logger::Debug, line);
    nowhere.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Debug, line) > before; }));
    end(&nowhere);
}

void TestFFmpegVideoThreadOpenFailures::failure_openInput()
{
    TcpSource source(QByteArray(4000, '\x5a'));
    source.setClosing(true);
    TestThread thread(source.url());
    log->expect(
        Logger::Error,
        QStringLiteral("(ffvdthr)open input err(%1:Invalid data found when processing input)")
            .arg(source.url()));
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] {
        return log->count(Logger::Debug, QStringLiteral("(ffvdthr)init input failed")) >= 2;
    }));
    QCOMPARE(log->missing(), QStringList());
    end(&thread);
    QCOMPARE(watcher.events, (QStringList{QStringLiteral("started"), QStringLiteral("finished")}));
}

void TestFFmpegVideoThreadOpenFailures::failure_findStreams()
{
    // A transport stream of padding alone.
    QByteArray padding("\x47\x1f\xff\x10", 4);
    padding.append(184, '\xff');
    TcpSource source(padding.repeated(3000));
    source.setClosing(true);
    TestThread thread(source.url());
    const QRegularExpression line(QStringLiteral("^\\(ffvdthr\\)find stream err\\(%1:.+\\)$")
                                      .arg(QRegularExpression::escape(source.url())));
    log->expectMatching(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->countMatching(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init input failed")) > 0);
}

void TestFFmpegVideoThreadOpenFailures::failure_findDecoder()
{
    StreamOptions options;
    options.videoCodec = codecWithoutDecoder();
    if (!options.videoCodec)
        QSKIP("every codec that the container can name has a decoder here");
    TcpSource source(makeStream(units(50), options));
    source.setClosing(true);
    TestThread thread(source.url());
    const QString line = QStringLiteral("(ffvdthr)find decoder err(%1)").arg(source.url());
    log->expect(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init video failed")) > 0);
}

void TestFFmpegVideoThreadOpenFailures::failure_openDecoder()
{
    StreamOptions options;
    options.videoCodec = AV_CODEC_ID_HUFFYUV; // cannot be opened without its tables
    TcpSource source(makeStream(units(50), options));
    source.setClosing(true);
    TestThread thread(source.url());
    ThreadWatcher watcher(&thread);
    const QRegularExpression line(QStringLiteral("^\\(ffvdthr\\)avcodec open err\\(%1:.+\\)$")
                                      .arg(QRegularExpression::escape(source.url())));
    log->expectMatching(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->countMatching(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init video failed")) > 0);
    // The codec's name is one of two, whatever the codec.
    QVERIFY(watcher.events.contains(QStringLiteral("codecRender:H264:320x240")));
    QVERIFY(!watcher.events.contains(QStringLiteral("sizeChanged")));
}

void TestFFmpegVideoThreadOpenFailures::failure_resolution()
{
    StreamOptions options;
    options.format = "mpegts"; // tells no size, nor do pictures without parameter sets
    TcpSource source(makeStream(withoutParameterSets(units(50)), options));
    source.setClosing(true);
    TestThread thread(source.url());
    const QString line = QStringLiteral("(ffvdthr)resolution err(%1:0*0)").arg(source.url());
    log->expect(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, line) > 0; }));
    end(&thread);
}

void TestFFmpegVideoThreadOpenFailures::failure_pictureLargerThanAnyLevelHas()
{
    QVector<AccessUnit> giants = units(10);
    for (AccessUnit &unit : giants)
        unit.data = giantPicture();
    TcpSource source(makeStream(giants, StreamOptions()));
    source.setClosing(true);
    TestThread thread(source.url());
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral(".")));
    log->expect(Logger::Warning,
                QStringLiteral("(ffvdthr)no audio stream in %1").arg(source.url()));
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return thread.opens >= 3; }));
    end(&thread);
    for (const QString &event : qAsConst(watcher.events))
        QVERIFY2(event != QLatin1String("frame") && !event.startsWith(QLatin1String("image")),
                 qPrintable(event));
}

void TestFFmpegVideoThreadOpenFailures::failure_findAudioDecoder()
{
    StreamOptions options;
    options.format = "flv";
    options.audioCodec = AV_CODEC_ID_PCM_ALAW;
    options.audio = QByteArray(16000, 'x');
    QByteArray bytes = makeStream(units(50), options);
    makeFlvAudioUnknown(&bytes);
    TcpSource source(bytes);
    source.setClosing(true);
    TestThread thread(source.url());
    const QString line = QStringLiteral("(ffvdthr)find audio decoder err 0");
    log->expect(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init audio failed")) > 0);
}

void TestFFmpegVideoThreadOpenFailures::failure_openAudioDecoder()
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_SONIC; // an experimental decoder, which is not to be opened
    options.audio = QByteArray(16000, 'x');
    TcpSource source(makeStream(units(50), options));
    source.setClosing(true);
    TestThread thread(source.url());
    const QString line = QStringLiteral("(ffvdthr)audio avcodec open err Experimental feature");
    log->expect(Logger::Error, line);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, line) > 0; }));
    end(&thread);
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init audio failed")) > 0);
}

void TestFFmpegVideoThreadOpenFailures::failure_hardwareName()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("nonsense"));
    log->expect(Logger::Error, QStringLiteral("(ffvdthr)hw type err 0"));
    FFmpegHelper::hwPixFmt = AV_PIX_FMT_VAAPI; // as another thread has left it
    thread.play();
    QVERIFY(waitFor([&] {
        return log->count(Logger::Debug, QStringLiteral("(ffvdthr)init video failed")) >= 2;
    }));
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(FFmpegHelper::hwPixFmt.load(), -1);
    end(&thread);
}

void TestFFmpegVideoThreadOpenFailures::failure_hardwareDevice()
{
    // No such card here; where there is one, the picture would stay on it.
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("vdpau"));
    const QRegularExpression line(QStringLiteral("^\\(ffvdthr\\)create hw ctx err .+$"));
    log->expectMatching(Logger::Error, line);
    thread.play();
    if (!waitFor([&] { return log->countMatching(Logger::Error, line) > 0; }, 10000)) {
        end(&thread);
        QSKIP("a VDPAU device can be opened here");
    }
    QCOMPARE(FFmpegHelper::hwPixFmt.load(), static_cast<int>(AV_PIX_FMT_VDPAU));
    end(&thread);
    FFmpegHelper::hwPixFmt = -1;
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadOpenFailures)
#include "tst_ffmpegvideothreadopenfailures.moc"
