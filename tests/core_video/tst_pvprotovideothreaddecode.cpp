// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The decoders of the thread that reads frame by frame: what makes it take a new one.

#include "core_codec/mediacodec.h"
#include "fedthreadcase.h"
#include "pictureforms.h"
#include "threadwatcher.h"

#include <QtTest>

using namespace vantratest;

class TestPvProtoVideoThreadDecode : public FedThreadCase
{
    Q_OBJECT

private slots:
    void newSize_makesANewDecoder_onAKeyFrameOnly();
    void newSize_isToldOnce_toSurfaceAndTexture_data();
    void newSize_isToldOnce_toSurfaceAndTexture();
    void newCodec_makesANewDecoder();
    void sameForm_keepsTheDecoder();
    void newHardware_makesANewDecoder_atTheNextKeyFrame();
    void receiver_mayChooseModeAndHardware_justBeforeTheDecoderIsMade();
    void receiver_mayChooseModeAndHardware_whenAViewerReturns();
    void longHardwareName_isCut_andMakesNoNewDecoder();
    void decoder_isStillThere_whenItsEndIsTold();
};

void TestPvProtoVideoThreadDecode::newSize_makesANewDecoder_onAKeyFrameOnly()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 2));
    ScriptedFrame liar = picture(2);
    liar.header.widthOrSampleRate = 640;
    liar.header.codecId = 1;
    thread.feed(liar); // not a key frame: nobody looks at its form
    QVERIFY(settle(&thread));
    QCOMPARE(created(), 1);
    QCOMPARE(watcher.pictures.size(), 3);
    watcher.events.clear();
    thread.feed(pictures(0, 2, 1, 640, 480));
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.events, (QStringList{"decoderDestroyed", "codecRender:H264:640x480",
                                          "renderStart", "sizeChanged", "frame"}));
    QCOMPARE(watcher.pictures.size(), 5);
    QCOMPARE(watcher.pictures.last().width, 640);
    QCOMPARE(watcher.pictures.last().number, 1);
    QCOMPARE(thread.getVideoWidth(), 640);
    QCOMPARE(thread.getVideoHeight(), 480);
    QCOMPARE(created(), 2);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDecode::newSize_isToldOnce_toSurfaceAndTexture_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("D3D9") << int(VideoMode_D3D9);
    QTest::newRow("D3D11") << int(VideoMode_D3D11);
}

void TestPvProtoVideoThreadDecode::newSize_isToldOnce_toSurfaceAndTexture()
{
    QFETCH(int, mode);
    announceSoftwareFallback(QStringLiteral("h264"), QStringLiteral("nosuch"));
    FedThread thread;
    thread.setVideoMode(VideoMode(mode));
    thread.setHardware(QStringLiteral("nosuch"));
    thread.previewRef() = 1;
    SignalRecorder forms;
    watchForms(&forms, &thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 2));
    thread.feed(pictures(10, 1));
    thread.feed(pictures(0, 2, 1, 640, 480));
    QVERIFY(settle(&thread));
    QStringList told;
    for (const auto &call : forms.calls()) {
        told << QStringLiteral("%1 %2")
                    .arg(call.arguments.first().toInt())
                    .arg(call.arguments.last().toBool());
    }
    QCOMPARE(told, (QStringList{"320 1", "320 0", "320 0", "640 1", "640 0"}));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDecode::newCodec_makesANewDecoder()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 2, 1));
    QVERIFY(settle(&thread));
    watcher.events.clear();
    thread.feed(pictures(0, 2, 2));
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.events, (QStringList{"decoderDestroyed", "codecRender:H265:320x240",
                                          "renderStart", "frame"})); // the size is as it was
    QCOMPARE(watcher.pictures.size(), 4);
    QCOMPARE(thread.videoParam.codec, 2);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDecode::sameForm_keepsTheDecoder()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    for (int rate = 0; rate < 4; ++rate) {
        ScriptedFrame frame = picture(0);
        frame.header.frameRateOrChannels = rate; // these two play no part
        frame.header.bitRate = rate;
        thread.feed(frame);
    }
    QVERIFY(settle(&thread));
    QCOMPARE(created(), 1);
    QCOMPARE(watcher.count(QStringLiteral("renderStart")), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDecode::newHardware_makesANewDecoder_atTheNextKeyFrame()
{
    announceSoftwareFallback(QStringLiteral("h264"), QStringLiteral("nosuch"));
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 2));
    QVERIFY(settle(&thread));
    thread.setHardware(QStringLiteral("nosuch"));
    thread.feed(picture(2));
    QVERIFY(settle(&thread));
    QCOMPARE(created(), 1);
    thread.feed(picture(10));
    QVERIFY(settle(&thread));
    QCOMPARE(created(), 2);
    QCOMPARE(watcher.count(QStringLiteral("decoderDestroyed")), 1);
    QCOMPARE(QByteArray(thread.videoParam.hw_device), QByteArray("nosuch"));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDecode::receiver_mayChooseModeAndHardware_justBeforeTheDecoderIsMade()
{
    announceSoftwareFallback(QStringLiteral("h264"), QStringLiteral("chosen"));
    FedThread thread;
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    watcher.atEvent = [&](const QString &event) {
        if (event.startsWith(QLatin1String("codecRender"))) {
            thread.setVideoMode(VideoMode_Opengl);
            thread.setHardware(QStringLiteral("chosen"));
        }
    };
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    QVERIFY(settle(&thread));
    QCOMPARE(QByteArray(thread.videoParam.hw_device), QByteArray("chosen"));
    QCOMPARE(watcher.twoPlanes, 1);
    QVERIFY(watcher.images.isEmpty());
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDecode::receiver_mayChooseModeAndHardware_whenAViewerReturns()
{
    // The decoder of the viewer before gives one more picture, in the way that is wanted now; the
    // next key frame has the decoder that was chosen.
    announceSoftwareFallback(QStringLiteral("h264"), QStringLiteral("chosen"));
    FedThread thread;
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    QVERIFY(settle(&thread));
    thread.previewRef() = 0;
    thread.feed(picture(1));
    QVERIFY(settle(&thread));
    watcher.atEvent = [&](const QString &event) {
        if (event.startsWith(QLatin1String("codecRender"))) {
            thread.setVideoMode(VideoMode_Opengl);
            thread.setHardware(QStringLiteral("chosen"));
        }
    };
    thread.previewRef() = 1;
    thread.feed(picture(10));
    QVERIFY(settle(&thread));
    QCOMPARE(created(), 1);
    QCOMPARE(watcher.twoPlanes, 1);
    thread.feed(picture(20));
    QVERIFY(settle(&thread));
    QCOMPARE(created(), 2);
    QCOMPARE(watcher.twoPlanes, 2);
    QCOMPARE(watcher.images.size(), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDecode::longHardwareName_isCut_andMakesNoNewDecoder()
{
    const QString name(40, QLatin1Char('x'));
    announceSoftwareFallback(QStringLiteral("h264"), name.left(32));
    FedThread thread;
    thread.setVideoMode(VideoMode_Painter);
    thread.setHardware(name);
    thread.previewRef() = 1;
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 21));
    QVERIFY(settle(&thread));
    QCOMPARE(created(), 1);
    QCOMPARE(QByteArray(thread.videoParam.hw_device, 32), name.left(32).toUtf8());
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadDecode::decoder_isStillThere_whenItsEndIsTold()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVector<bool> there;
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("decoderDestroyed"))
            there << !thread.codec->isVideoDecoderNull();
    };
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    thread.feed(picture(0, 1, 640, 480));
    QVERIFY(settle(&thread));
    QVERIFY(end(&thread));
    QCOMPARE(there, (QVector<bool>{true, true}));
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadDecode)
#include "tst_pvprotovideothreaddecode.moc"
