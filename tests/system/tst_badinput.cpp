// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What a widget makes of addresses, streams and parameters that make no sense: a log line where one
// is due, and otherwise nothing.
#include "support/clipmaker.h"
#include "support/pixels.h"
#include "support/privatepulse.h"
#include "support/rtspserver.h"
#include "support/streammaker.h"
#include "support/tcpsource.h"
#include "systemcase.h"

#include <QApplication>
#include <QTest>

#include <limits>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

using namespace vantratest;

namespace {

constexpr int kOpenSleepMs = 50;
constexpr int kPictures = 5;
constexpr int kSmallest = std::numeric_limits<int>::min();
constexpr int kLargest = std::numeric_limits<int>::max();

class BadView : public PlayView
{
    Q_DISABLE_COPY(BadView)

public:
    using PlayView::image;
    using PlayView::PlayView;
    using PlayView::receiveImage;
};

const QVector<AccessUnit> &units()
{
    static const QVector<AccessUnit> made = [] {
        ClipOptions options;
        options.count = 100;
        return makeClip(options);
    }();
    return made;
}

QByteArray tone()
{
    return encodeALaw(makeTone(32000, 8000, 440));
}

} // namespace

class TestBadInput : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override;
    void tearDown() override;

private slots:
    void initTestCase();

    void address_leadingNowhere_isLogged_data();
    void address_leadingNowhere_isLogged();
    void address_ofUnknownScheme_isLogged();
    void address_ofNoStream_isLogged();
    void stream_ofUnknownCodec_isLogged();
    void stream_withoutSize_isLogged();
    void stream_ofSoundAlone_showsAndPlaysNothing();
    void stream_ofPicturesAlone_isShown();
    void parameters_outOfRange_leaveThePlayAlone();
    void videoPara_outOfRange_playsAllTheSame();
    void videoMode_outOfRange_showsNothing();
    void image_null_changesNothing();

private:
    /// Starts a view of something that cannot be opened, until this line has come so many times,
    /// and ends it.
    void playInVain(const QString &url, Logger::LogLevel level, const QString &line, int times = 2);
    bool startView(BadView *view);

    std::unique_ptr<QtWarnings> warnings;
    QStringList announced; ///< of Qt's warnings
    PrivatePulse pulse;
};

void TestBadInput::initTestCase()
{
    quietConsole();
    QVERIFY2(pulse.start(), qPrintable(pulse.log())); // without one, Qt complains
}

void TestBadInput::setUp()
{
    warnings = std::make_unique<QtWarnings>();
    announced.clear();
    announceStop(log.get());
}

void TestBadInput::tearDown()
{
    QStringList told = warnings->lines();
    warnings.reset();
    for (const QString &line : std::as_const(announced))
        told.removeAll(line);
    QCOMPARE(told.join("; "), QString());
}

bool TestBadInput::startView(BadView *view)
{
    view->setOpenSleepTime(kOpenSleepMs);
    view->show();
    const bool started = QTest::qWaitForWindowExposed(view) && view->start();
    av_log_set_level(AV_LOG_QUIET); // the first encoder for talk has raised it
    return started;
}

void TestBadInput::playInVain(const QString &url, Logger::LogLevel level, const QString &line,
                              int times)
{
    BadView view(url);
    view.setTimeouts(20000, 20000);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    const QImage before = view.grab().toImage();
    log->expect(level, line);
    QVERIFY(startView(&view));
    QVERIFY(waitFor([&] { return log->count(level, line) >= times; }, 60000));
    QCOMPARE(view.playStarts(), 0);
    QCOMPARE(view.playEnds(), 0);
    QCOMPARE(view.pictures(), 0);
    QVERIFY(view.image.isNull());
    QVERIFY(!view.isIdle()); // it goes on trying until it is stopped
    QCOMPARE(view.grab().toImage(), before);
    QVERIFY(endPlay(&view));
    QVERIFY(view.isIdle());
    QVERIFY(waitFor([&] { return view.finishedCalls() == 1; }));
    QCOMPARE(view.grab().toImage(), before);
}

void TestBadInput::address_leadingNowhere_isLogged_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("empty") << QString();
    QTest::newRow("blank") << "   ";
    QTest::newRow("a word") << "camera";
    QTest::newRow("scheme alone") << "rtsp://";
    QTest::newRow("no host") << "rtsp://:554/stream";
    QTest::newRow("no port") << "rtsp://127.0.0.1:/stream";
    QTest::newRow("no number") << "rtsp://127.0.0.1:port/stream";
    QTest::newRow("negative port") << "rtsp://127.0.0.1:-1/stream";
    QTest::newRow("port too large") << "rtsp://127.0.0.1:99999999999/stream";
    QTest::newRow("address too large") << "rtsp://999.999.999.999:554/stream";
    QTest::newRow("bracket left open") << "rtsp://[::1/stream";
    QTest::newRow("at alone") << "@";
    QTest::newRow("places for arguments") << "rtsp://%1:%2@%3:%4/%5%n%s";
    QTest::newRow("control characters") << QString("rtsp://\r\n\t\a") + QChar(0) + "x";
    QTest::newRow("Chinese") << QStringLiteral("摄像头");
    QTest::newRow("very long") << "rtsp://" + QString(100000, 'a') + "/stream";
}

void TestBadInput::address_leadingNowhere_isLogged()
{
    QFETCH(QString, url);
    if (url.isEmpty())
        announced.append(QStringLiteral("url is empty"));
    // Each attempt takes half a second; that there are more of them is seen once.
    playInVain(url, Logger::Debug, QStringLiteral("(ffvdthr)check connect failed"),
               url.isEmpty() ? 2 : 1);
    QVERIFY(!url.isEmpty() || warnings->lines().count(announced.last()) >= 2);
}

void TestBadInput::address_ofUnknownScheme_isLogged()
{
    SilentServer server;
    const QString url = QStringLiteral("nonsense://127.0.0.1:%1/%2").arg(server.port()).arg("%1");
    playInVain(url, Logger::Error,
               QStringLiteral("(ffvdthr)open input err(%1:Protocol not found)").arg(url));
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init input failed")) >= 1);
}

void TestBadInput::address_ofNoStream_isLogged()
{
    TcpSource source("no stream at all, but a few words of text, again and again\n");
    source.setClosing(true);
    playInVain(
        source.url(), Logger::Error,
        QStringLiteral("(ffvdthr)open input err(%1:Invalid data found when processing input)")
            .arg(source.url()));
}

void TestBadInput::stream_ofUnknownCodec_isLogged()
{
    StreamOptions options;
    options.videoCodec = codecWithoutDecoder();
    if (!options.videoCodec)
        QSKIP("every codec that the container can name has a decoder here");
    TcpSource source(makeStream(units(), options));
    source.setClosing(true);
    playInVain(source.url(), Logger::Error,
               QStringLiteral("(ffvdthr)find decoder err(%1)").arg(source.url()));
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init video failed")) >= 1);
}

void TestBadInput::stream_withoutSize_isLogged()
{
    StreamOptions options;
    options.format = "mpegts"; // tells no size, nor do pictures without parameter sets
    TcpSource source(makeStream(withoutParameterSets(units()), options));
    source.setClosing(true);
    playInVain(source.url(), Logger::Error,
               QStringLiteral("(ffvdthr)resolution err(%1:0*0)").arg(source.url()));
    QVERIFY(log->count(Logger::Debug, QStringLiteral("(ffvdthr)init video failed")) >= 1);
}

void TestBadInput::stream_ofSoundAlone_showsAndPlaysNothing()
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_PCM_ALAW;
    options.audio = tone();
    TcpSource source(makeStream({}, options));
    const QString line = QStringLiteral("(ffvdthr)no video stream in %1").arg(source.url());
    log->expect(Logger::Warning, line);
    log->expectMatching(Logger::Warning, QRegularExpression(QStringLiteral(
                                             "^\\(ffvdthr\\)read timeout \\(500:\\d+\\)$")));
    BadView view(source.url());
    view.setTimeouts(20000, 500);
    QVERIFY(startView(&view));
    int blocks = 0;
    connect(view.thread(), &AbstractVideoThread::receiveAudio, &view, [&] { ++blocks; });
    QVERIFY(waitFor([&] { return view.playStarts() == 1; }, 60000));
    QCOMPARE(log->count(Logger::Warning, line), 1);
    // When the source has been silent for as long as a read may take, all of it has been read.
    QVERIFY(waitFor([&] { return view.playEnds() == 1; }, 60000));
    QCOMPARE(view.pictures(), 0);
    QVERIFY(view.image.isNull());
    QCOMPARE(blocks, 0);
    QVERIFY(endPlay(&view));
}

void TestBadInput::stream_ofPicturesAlone_isShown()
{
    TcpSource source(makeStream(units(), {}));
    const QString line = QStringLiteral("(ffvdthr)no audio stream in %1").arg(source.url());
    log->expect(Logger::Warning, line);
    BadView view(source.url());
    view.setTimeouts(20000, 20000);
    QVERIFY(startView(&view));
    int formats = 0;
    connect(view.thread(), &AbstractVideoThread::receiveAudioFormat, &view, [&] { ++formats; });
    QVERIFY(waitFor([&] { return view.pictures() >= kPictures; }, 60000));
    QCOMPARE(view.pictureSize(), QSize(320, 240));
    QCOMPARE(formats, 0);
    QCOMPARE(log->count(Logger::Warning, line), 1);
    // Controls of a sound that is not there.
    view.setVolume(50);
    view.setMuted(true);
    view.setCalcLevel(true);
    QVERIFY(endPlay(&view));
}

void TestBadInput::parameters_outOfRange_leaveThePlayAlone()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264:pcma:320x240"}), qPrintable(server.log()));
    BadView view(server.url("cam"));
    view.setTimeouts(20000, 20000);
    QVERIFY(startView(&view));
    QVERIFY(waitFor([&] { return view.pictures() >= kPictures; }, 60000));
    // A live stream has nothing to seek in, and Qt makes no colour of such an opacity.
    announced << "QMetaObject::invokeMethod: No such method FFmpegVideoThread::seekFile(QDateTime)"
              << "QColor::fromRgb: RGB parameters out of range";
    for (int value : {kSmallest, -1, 101, kLargest}) {
        view.setVolume(value);
        view.setSaveInterval(value);
        view.setBgTextSize(value);
        view.setBorderWidth(value);
        view.setBannerBgAlpha(value);
        view.setScaleMode(static_cast<ScaleMode>(value));
        WidgetPara look = view.getWidgetPara();
        look.bannerEnable = true;
        look.bannerPosition = value;
        look.bannerSize = value;
        view.setWidgetPara(look);
        OsdInfo osd;
        osd.visible = true;
        osd.fontSize = value;
        osd.format = static_cast<OsdFormat>(value);
        osd.position = static_cast<OsdPosition>(value);
        view.appendOsd(osd);
        GraphInfo graph;
        graph.borderWidth = value;
        graph.rect.setCoords(-1, -1, value, value);
        graph.points = {QPoint(value, value), QPoint(-1, -1)};
        view.appendGraph(graph);
        view.seekFile(QDateTime());
        view.setSpeed(value);
        const int before = view.pictures();
        QVERIFY(waitFor([&] { return view.pictures() >= before + kPictures; }, 60000));
    }
    // Back in range, all is as it was.
    view.clearOsd();
    view.clearGraph();
    view.setBorderWidth(0);
    view.setScaleMode(ScaleMode_Fill);
    view.forget();
    QVERIFY(waitFor([&] { return view.pictures() > 0 && view.counter() >= 0; }, 60000));
    QCOMPARE(view.playEnds(), 0);
    QVERIFY(endPlay(&view));
}

void TestBadInput::videoPara_outOfRange_playsAllTheSame()
{
    TcpSource source(makeStream(units(), {}));
    announceNoSound(log.get(), source.url());
    BadView view(source.url());
    VideoPara para;
    para.videoCore = static_cast<VideoCore>(kLargest);
    para.hardware = QStringLiteral("no such card"); // whatever its name, DXVA2 would be asked
    log->expect(Logger::Error, "(hwdslt)Failed to create Direct3D9.");
    para.readTimeout = kSmallest; // below 1: 3 s
    para.connectTimeout = kSmallest;
    view.setVideoPara(para);
    QVERIFY(startView(&view));
    QVERIFY(waitFor([&] { return view.pictures() >= kPictures; }, 60000));
    QCOMPARE(view.thread()->getHardware(), QStringLiteral("none"));
    QVERIFY(endPlay(&view));
}

void TestBadInput::videoMode_outOfRange_showsNothing()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264:pcma:320x240"}), qPrintable(server.log()));
    BadView view(server.url("cam"));
    view.setTimeouts(20000, 20000);
    view.setVideoMode(static_cast<VideoMode>(99));
    QVERIFY(startView(&view));
    int images = 0;
    int blocks = 0;
    connect(view.thread(), &AbstractVideoThread::receiveImage, &view, [&] { ++images; });
    connect(view.thread(), &AbstractVideoThread::receiveAudio, &view, [&] { ++blocks; });
    QVERIFY(waitFor([&] { return blocks >= 50; }, 60000)); // a second of sound, and of its pictures
    QCOMPARE(images, 0);
    QVERIFY(view.image.isNull());
    QVERIFY(endPlay(&view));
    view.setVideoMode(VideoMode_Painter);
    QVERIFY(view.start());
    QVERIFY(waitFor([&] { return view.pictures() >= kPictures; }, 60000));
    QVERIFY(endPlay(&view));
}

void TestBadInput::image_null_changesNothing()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264:none:320x240"}), qPrintable(server.log()));
    announceNoSound(log.get(), server.url("cam"));
    BadView idle;
    idle.show();
    QVERIFY(QTest::qWaitForWindowExposed(&idle));
    const QImage before = idle.grab().toImage();
    idle.setImage(QImage());
    idle.receiveImage(QImage(), 0);
    QCOMPARE(idle.grab().toImage(), before);

    BadView view(server.url("cam"));
    view.setTimeouts(20000, 20000);
    QVERIFY(startView(&view));
    QVERIFY(waitFor([&] { return view.pictures() >= kPictures; }, 60000));
    OsdInfo osd;
    osd.visible = true;
    osd.format = OsdFormat_Image; // and no image in it
    view.appendOsd(osd);
    view.setImage(QImage());
    view.receiveImage(QImage(), 0);
    QCOMPARE(view.pictureSize(), QSize(320, 240));
    view.forget();
    QVERIFY(waitFor([&] { return view.pictures() >= kPictures && view.counter() >= 0; }, 60000));
    QVERIFY(endPlay(&view));
}

QTEST_MAIN(TestBadInput)
#include "tst_badinput.moc"
