// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// How pictures leave the thread that reads frame by frame.

#include "fedthreadcase.h"
#include "pictureforms.h"
#include "threadwatcher.h"

#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestPvProtoVideoThreadDelivery : public FedThreadCase
{
    Q_OBJECT

private slots:
    void planes_areLent_oneByOne_data();
    void planes_areLent_oneByOne();
    void painter_getsImages_data();
    void painter_getsImages();
    void painter_imagesShareOneBuffer();
    void painter_imageOutlivesTheDecoder();
    void decoding_beginsAtAKeyFrame();
    void frameTypesOneToThree_areVideo_andNeverKey();
    void frameTypesAboveFour_areNotDecoded();
    void viewerAwayAndBack_isToldAnew_withoutANewDecoder();
    void withoutMode_decodes_andDeliversNothing();
    void delivery_data();
    void delivery();
    void twoPlanes_ofASoftwarePicture_areWoven();
    void greyPicture_isNotLentAsPlanes();
};

void TestPvProtoVideoThreadDelivery::planes_areLent_oneByOne_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QString>("name");
    QTest::newRow("H.264") << 1 << "H264";
    QTest::newRow("H.265") << 2 << "H265";
}

void TestPvProtoVideoThreadDelivery::planes_areLent_oneByOne()
{
    QFETCH(int, codec);
    QFETCH(QString, name);
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 30, codec));
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.events,
             (QStringList{"started", "playStart:0", "codecRender:" + name + ":320x240",
                          "renderStart", "sizeChanged", "frame"}));
    QCOMPARE(watcher.pictures.size(), 30);
    for (int i = 0; i < 30; ++i) {
        QCOMPARE(watcher.pictures.at(i).number, i);
        QCOMPARE(watcher.pictures.at(i).width, 320);
        QCOMPARE(watcher.pictures.at(i).height, 240);
    }
    QVERIFY(!watcher.ranAhead); // run() stood still in each slot
    QVERIFY(!watcher.wrongThread);
    QCOMPARE(created(), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::painter_getsImages_data()
{
    planes_areLent_oneByOne_data();
}

void TestPvProtoVideoThreadDelivery::painter_getsImages()
{
    QFETCH(int, codec);
    QFETCH(QString, name);
    FedThread thread;
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    for (int i = 0; i < 12; ++i) {
        thread.feed(picture(i, codec));
        QVERIFY(settle(&thread));
        QVERIFY(waitFor([&] { return watcher.images.size() > i; }));
        const QImage &image = watcher.images.last();
        QCOMPARE(image.size(), QSize(320, 240));
        QCOMPARE(image.format(), QImage::Format_RGB888);
        QCOMPARE(numberIn(image), i);
    }
    QCOMPARE(watcher.events,
             (QStringList{"started", "playStart:0", "codecRender:" + name + ":320x240",
                          "renderStart", "sizeChanged", "image"}));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::painter_imagesShareOneBuffer()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 5));
    QVERIFY(waitFor([&] { return watcher.images.size() == 5; }));
    for (const QImage &image : qAsConst(watcher.images))
        QCOMPARE(image.constBits(), watcher.images.first().constBits()); // nothing is copied
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::painter_imageOutlivesTheDecoder()
{
    QImage last;
    {
        FedThread thread;
        thread.setVideoMode(VideoMode_Painter);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        QVERIFY(begin(&thread));
        thread.feed(picture(0));
        thread.feed(picture(1));
        thread.feed(picture(0, 1, 160, 120)); // which makes a new decoder
        QVERIFY(waitFor([&] { return watcher.images.size() == 3; }));
        QCOMPARE(numberIn(watcher.images.at(1)), 1);
        QVERIFY(end(&thread));
        last = watcher.images.at(2);
    }
    QCOMPARE(numberIn(last), 0);
}

void TestPvProtoVideoThreadDelivery::decoding_beginsAtAKeyFrame()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(7, 5)); // the key picture is number 10
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 2);
    QCOMPARE(watcher.pictures.first().number, 10);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::frameTypesOneToThree_areVideo_andNeverKey()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    for (const quint32 type : {1u, 2u, 3u}) {
        ScriptedFrame frame = picture(0); // a key picture that does not say so
        frame.header.frameType = type;
        thread.feed(frame);
    }
    QVERIFY(settle(&thread));
    QVERIFY(!thread.keyFrameSeen);
    thread.feed(picture(0));
    for (const quint32 type : {1u, 2u, 3u}) {
        ScriptedFrame frame = picture(int(type));
        frame.header.frameType = type;
        thread.feed(frame);
    }
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 4);
    QCOMPARE(watcher.pictures.last().number, 3);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::frameTypesAboveFour_areNotDecoded()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    for (const quint32 type : {5u, 255u, 0xffffffffu}) {
        ScriptedFrame frame = picture(1);
        frame.header.frameType = type;
        thread.feed(frame);
    }
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 1);
    QCOMPARE(thread.count(QStringLiteral("beforeSaveMP4:5")), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::viewerAwayAndBack_isToldAnew_withoutANewDecoder()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 2));
    QVERIFY(settle(&thread));
    watcher.events.clear();
    watcher.pictures.clear();

    thread.previewRef() = 0;
    thread.feed(picture(2));
    QVERIFY(settle(&thread));
    thread.previewRef() = 1;
    thread.feed(picture(3)); // decoding begins at a key picture again
    QVERIFY(settle(&thread));
    QVERIFY(watcher.events.isEmpty());
    QVERIFY(thread.renderStartPending);

    thread.feed(pictures(10, 2));
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.events, (QStringList{"codecRender:H264:320x240", "renderStart", "frame"}));
    QCOMPARE(watcher.pictures.size(), 2);
    QCOMPARE(watcher.pictures.last().number, 11);
    QVERIFY(!thread.renderStartPending);
    QCOMPARE(created(), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::withoutMode_decodes_andDeliversNothing()
{
    FedThread thread;
    QCOMPARE(thread.getVideoMode(), VideoMode_Hwnd);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    SignalRecorder forms;
    watchForms(&forms, &thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 3));
    QVERIFY(settle(&thread));
    QCOMPARE(readNumber(thread.yuvOut.y, thread.yuvOut.linesize_y, 320, 240), 2);
    QCOMPARE(watcher.events, (QStringList{"started", "playStart:0", "codecRender:H264:320x240",
                                          "renderStart", "sizeChanged"}));
    thread.snap(QStringLiteral("/nowhere/a.jpg"));
    thread.feed(picture(3));
    QVERIFY(settle(&thread));
    QVERIFY(thread.getIsSnap()); // there is nothing to see
    QVERIFY(forms.names().isEmpty());
    QCOMPARE(thread.count(QStringLiteral("decodeImage")), 0);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::delivery_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("hardware");
    QTest::addColumn<QString>("form");
    QTest::addColumn<bool>("snaps");
    QTest::newRow("none") << 0 << "none"
                          << "" << false;
    QTest::newRow("painter") << 1 << "none"
                             << "image" << true;
    QTest::newRow("painter, hardware") << 1 << "nosuch"
                                       << "image" << true;
    QTest::newRow("OpenGL") << 2 << "none"
                            << "planes3" << true;
    QTest::newRow("OpenGL, hardware") << 2 << "nosuch"
                                      << "planes2" << true;
    QTest::newRow("D3D9") << 3 << "none"
                          << "" << true;
    QTest::newRow("D3D9, hardware") << 3 << "nosuch"
                                    << "surface" << true;
    QTest::newRow("D3D11") << 4 << "none"
                           << "" << true;
    QTest::newRow("D3D11, hardware") << 4 << "nosuch"
                                     << "texture" << true;
    QTest::newRow("unknown") << 5 << "none"
                             << "" << false;
    QTest::newRow("unknown, hardware") << -1 << "nosuch"
                                       << "" << false;
}

void TestPvProtoVideoThreadDelivery::delivery()
{
    QFETCH(int, mode);
    QFETCH(QString, hardware);
    QFETCH(QString, form);
    QFETCH(bool, snaps);
    if (hardware != QLatin1String("none"))
        announceSoftwareFallback(QStringLiteral("h264"), hardware);
    QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("a.jpg"));
    FedThread thread;
    thread.setVideoMode(VideoMode(mode));
    thread.setHardware(hardware);
    thread.previewRef() = 1;
    SignalRecorder forms;
    watchForms(&forms, &thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 2));
    QVERIFY(settle(&thread));
    QCOMPARE(forms.names(), form.isEmpty() ? QStringList() : (QStringList{form, form}));
    if (!form.isEmpty() && form != QLatin1String("image")) {
        QCOMPARE(forms.calls().last().arguments.at(0).toInt(), 320);
        QCOMPARE(forms.calls().last().arguments.at(1).toInt(), 240);
    }
    thread.snap(name);
    thread.feed(picture(2));
    QVERIFY(settle(&thread));
    QCOMPARE(QFile::exists(name), snaps);
    QCOMPARE(forms.names().size(), form.isEmpty() ? 0 : 3); // the picture goes out as ever
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::twoPlanes_ofASoftwarePicture_areWoven()
{
    announceSoftwareFallback(QStringLiteral("h264"), QStringLiteral("nosuch"));
    ClipOptions options;
    options.width = 318; // neither half is a multiple of what copies work in
    options.height = 238;
    options.count = 1;
    options.colour = {100, 60, 200};
    options.losslessColour = true;
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.setHardware(QStringLiteral("nosuch"));
    thread.previewRef() = 1;
    int pictures = 0;
    QPoint wrong(-1, -1);
    connect(
        &thread, kPlanes2, this,
        [&](int width, int height, quint8 *, quint8 *uv, quint32, quint32 line) {
            ++pictures;
            // Every byte that a receiver uploads, and the colour below the blocks.
            for (int y = 0; y < height / 2; ++y) {
                for (int x = 0; x < width; ++x) {
                    const int value = uv[size_t(y) * line + size_t(x)];
                    const int expected = x % 2 == 0 ? options.colour.u : options.colour.v;
                    if (y > 100 && qAbs(value - expected) > 2)
                        wrong = QPoint(x, y);
                }
            }
        },
        Qt::BlockingQueuedConnection);
    QVERIFY(begin(&thread));
    thread.feed(ScriptedFrame::video(0, 0, 318, 238, makeClip(options).value(0).data, 0));
    QVERIFY(settle(&thread));
    QCOMPARE(pictures, 1);
    QCOMPARE(wrong, QPoint(-1, -1));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDelivery::greyPicture_isNotLentAsPlanes()
{
    ClipOptions options;
    options.codec = 2;
    options.count = 1;
    options.format = AV_PIX_FMT_GRAY8;
    const QVector<AccessUnit> grey = makeClip(options);
    if (grey.isEmpty())
        QSKIP("the encoder makes no grey pictures");
    for (const QString &hardware : {QStringLiteral("none"), QStringLiteral("nosuch")}) {
        if (hardware != QLatin1String("none"))
            announceSoftwareFallback(QStringLiteral("hevc"), hardware);
        FedThread thread;
        thread.setVideoMode(VideoMode_Opengl);
        thread.setHardware(hardware);
        thread.previewRef() = 1;
        SignalRecorder forms;
        watchForms(&forms, &thread);
        QVERIFY(begin(&thread));
        thread.feed(ScriptedFrame::video(0, 1, 320, 240, grey.first().data, 0));
        QVERIFY(settle(&thread));
        QVERIFY(thread.yuvOut.y);
        QVERIFY(forms.names().isEmpty());
        QVERIFY(end(&thread));
    }
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadDelivery)
#include "tst_pvprotovideothreaddelivery.moc"
