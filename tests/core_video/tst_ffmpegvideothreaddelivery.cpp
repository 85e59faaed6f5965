// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// How pictures leave the thread: which form in which mode, and how long they are good.

#include "support/streammaker.h"
#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include <QTemporaryDir>
#include <QtTest>

extern "C" {
#include <libavutil/log.h>
}

#include <cstring>

using namespace vantratest;

class TestFFmpegVideoThreadDelivery : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void pictures_areLent_oneByOne();
    void withoutMode_decodesAndDeliversNothing();
    void delivery_data();
    void delivery();
    void painter_imageOutlivesTheSource();
    void painter_scalersGiveTheSamePicture();
    void painter_buildsOneScaler_forFullRangeToo();
    void otherLayouts_areNotLentAsPlanes();
};

void TestFFmpegVideoThreadDelivery::pictures_areLent_oneByOne()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() == 50; }));
    for (int i = 0; i < 50; ++i) {
        QCOMPARE(watcher.pictures.at(i).number, i);
        QCOMPARE(watcher.pictures.at(i).width, 320);
        QCOMPARE(watcher.pictures.at(i).height, 240);
    }
    QVERIFY(!watcher.ranAhead); // run() stood still in each slot
    QVERIFY(!watcher.wrongThread);
    end(&thread);
}

void TestFFmpegVideoThreadDelivery::withoutMode_decodesAndDeliversNothing()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    QTemporaryDir dir;
    thread.play();
    thread.snap(dir.filePath(QStringLiteral("a.jpg")));
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    // Decoding has begun: the render signals come once more, before the first decoded picture.
    QCOMPARE(watcher.count(QStringLiteral("codecRender:H264:320x240")), 2);
    QCOMPARE(watcher.pictures.size() + watcher.images.size() + watcher.twoPlanes +
                 watcher.surfaces + watcher.textures,
             0);
    QVERIFY(thread.getIsSnap()); // and no snapshot either
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("a.jpg"))));
    end(&thread);
}

void TestFFmpegVideoThreadDelivery::delivery_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("hardware");
    QTest::addColumn<QString>("form");
    QTest::newRow("window, software") << 0 << "none"
                                      << "";
    QTest::newRow("painter, software") << 1 << "none"
                                       << "image";
    QTest::newRow("OpenGL, software") << 2 << "none"
                                      << "planes";
    QTest::newRow("Direct3D 9, software") << 3 << "none"
                                          << "";
    QTest::newRow("Direct3D 11, software") << 4 << "none"
                                           << "";
    QTest::newRow("unknown mode, software") << 9 << "none"
                                            << "";
    // A picture in memory although hardware is named, as from a decoder that has no support for it.
    QTest::newRow("painter, hardware") << 1 << "vaapi"
                                       << "image";
    QTest::newRow("OpenGL, hardware") << 2 << "vaapi"
                                      << "";
    QTest::newRow("Direct3D 9, hardware, no surface") << 3 << "vaapi"
                                                      << "";
    QTest::newRow("Direct3D 11, hardware, no texture") << 4 << "vaapi"
                                                       << "";
}

void TestFFmpegVideoThreadDelivery::delivery()
{
    QFETCH(int, mode);
    QFETCH(QString, hardware);
    QFETCH(QString, form);
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(static_cast<VideoMode>(mode));
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0"))
            thread.setHardware(hardware);
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    QCoreApplication::processEvents();
    QCOMPARE(watcher.images.size(), form == QLatin1String("image") ? 50 : 0);
    QCOMPARE(watcher.pictures.size(), form == QLatin1String("planes") ? 50 : 0);
    QCOMPARE(watcher.twoPlanes + watcher.surfaces + watcher.textures, 0);
    end(&thread);
}

void TestFFmpegVideoThreadDelivery::painter_imageOutlivesTheSource()
{
    ClipOptions made;
    made.count = 50;
    made.colour = {81, 90, 240}; // red
    made.losslessColour = true;
    TcpSource source(makeStream(makeClip(made), {}));
    ThreadWatcher watcher;
    {
        TestThread thread(source.url());
        thread.setVideoMode(VideoMode_Painter);
        thread.previewRef() = 1;
        watcher.watch(&thread);
        announceNoAudio();
        thread.play();
        QVERIFY(waitFor([&] { return watcher.images.size() >= 50; }));
        end(&thread);
    }
    // The thread and its buffers are gone; the pictures are still whole.
    QCOMPARE(watcher.images.size(), 50);
    for (const QImage &image : qAsConst(watcher.images)) {
        QCOMPARE(image.size(), QSize(320, 240));
        QCOMPARE(image.format(), QImage::Format_RGB32);
        const QColor colour = image.pixelColor(160, 200);
        QVERIFY2(colour.red() > 240 && colour.green() < 16 && colour.blue() < 16,
                 qPrintable(colour.name()));
    }
    // One buffer for all: nothing was copied in the thread.
    QCOMPARE(watcher.images.first().constBits(), watcher.images.last().constBits());
}

void TestFFmpegVideoThreadDelivery::painter_scalersGiveTheSamePicture()
{
    for (const auto type :
         {DecodeType_Fast, DecodeType_Quality, DecodeType_Balanced, static_cast<DecodeType>(77)}) {
        TcpSource source(clip(50));
        TestThread thread(source.url());
        thread.setDecodeType(type);
        thread.setVideoMode(VideoMode_Painter);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        announceNoAudio();
        thread.play();
        QVERIFY(waitFor([&] { return watcher.images.size() >= 50; }));
        const QColor colour = watcher.images.last().pixelColor(160, 200);
        QVERIFY2(qAbs(colour.red() - 128) < 8 && qAbs(colour.green() - colour.blue()) < 4,
                 qPrintable(colour.name()));
        end(&thread);
    }
}

void TestFFmpegVideoThreadDelivery::painter_buildsOneScaler_forFullRangeToo()
{
    // FFmpeg tells at each building that it takes this layout for another one of full range.
    static std::atomic<int> built{0};
    built = 0;
    av_log_set_callback([](void *, int, const char *format, va_list) {
        built += strstr(format, "deprecated pixel format") != nullptr;
    });
    ClipOptions made;
    made.count = 50;
    made.format = AV_PIX_FMT_YUVJ420P;
    made.colour = {200, 128, 128};
    TcpSource source(makeStream(makeClip(made), {}));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    const bool came = waitFor([&] { return watcher.images.size() >= 50; });
    end(&thread);
    av_log_set_callback(av_log_default_callback);
    QVERIFY(came);
    QCOMPARE(built.load(), 1);
    // The range is that of the layout: 200 stays 200.
    const QColor colour = watcher.images.last().pixelColor(160, 200);
    QVERIFY2(qAbs(colour.red() - 200) < 8, qPrintable(colour.name()));
}

void TestFFmpegVideoThreadDelivery::otherLayouts_areNotLentAsPlanes()
{
    for (const auto format : {AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
        ClipOptions made;
        made.count = 50;
        made.format = format;
        const QByteArray bytes = makeStream(makeClip(made), {});
        QVERIFY(!bytes.isEmpty());
        for (const auto mode : {VideoMode_Opengl, VideoMode_Painter}) {
            TcpSource source(bytes);
            TestThread thread(source.url());
            thread.setVideoMode(mode);
            thread.previewRef() = 1;
            ThreadWatcher watcher(&thread);
            announceNoAudio();
            thread.play();
            QVERIFY(waitFor([&] { return thread.packets == 50; }));
            QCoreApplication::processEvents();
            QCOMPARE(watcher.pictures.size(), 0);
            QCOMPARE(watcher.images.size(), mode == VideoMode_Painter ? 50 : 0);
            end(&thread);
        }
    }
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadDelivery)
#include "tst_ffmpegvideothreaddelivery.moc"
