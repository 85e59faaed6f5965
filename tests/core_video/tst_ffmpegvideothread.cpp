// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The thread against a scripted source of made clips: what it tells, in which order, and when it
/// starts anew. Beside this: how pictures leave it (delivery), snapshots (snap), how an open fails
/// (openfailures), and its life: stop, restart, deletion (life).

#include "support/streammaker.h"
#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include <QMetaMethod>
#include <QtTest>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdlib>

using namespace vantratest;

namespace {

constexpr int kGop = 25; ///< pictures from one key picture of a made clip to the next

} // namespace

class TestFFmpegVideoThread : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void metaObject_addsTwoProtectedSlots();
    void opening_tellsInThisOrder();
    void sound_isStereo_ofTheSource();
    void sound_beyondTheBuffer_isDropped();
    void videoOnly_hasNoAudio();
    void audioOnly_decodesNothing();
    void frameRate_fallsBackToTheBaseRate();
    void codecRender_mayChangeModeAndHardware();
    void rotate_forcesSoftware();
    void withoutViewer_readsAndDecodesNothing_untilTheNextKeyPicture();
    void sizeChange_isNeverDelivered_andRestarts();
    void deviceCodecChange_restarts_withoutReadTimeout();
    void deviceCodec_sameOrInvalid_goesOn();
    void deviceCodec_isKept_onlyIfTheDeviceAnswers();
};

void TestFFmpegVideoThread::metaObject_addsTwoProtectedSlots()
{
    const QMetaObject &meta = FFmpegVideoThread::staticMetaObject;
    QStringList added;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.access(), QMetaMethod::Protected);
        added << QString::fromLatin1(method.typeName()) + QLatin1Char(' ') +
                     QString::fromLatin1(method.methodSignature());
    }
    QCOMPARE(added, (QStringList{QStringLiteral("bool openVideo()"),
                                 QStringLiteral("void closeVideo()")}));
}

void TestFFmpegVideoThread::opening_tellsInThisOrder()
{
    TcpSource source(clipWithSound());
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    int rateAtStart = 0;
    bool okAtStart = false;
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0")) {
            rateAtStart = thread.getFrameRate();
            okAtStart = thread.getIsOk();
        }
    };
    thread.play();
    QVERIFY(waitFor([&] { return !watcher.pictures.isEmpty(); }));
    QCOMPARE(watcher.first(9),
             QStringLiteral("started codecRender:H264:320x240 sizeChanged audioFormat:8000:2:16 "
                            "playStart:0 renderStart codecRender:H264:320x240 renderStart frame"));
    QVERIFY(okAtStart);
    QCOMPARE(rateAtStart, 25);
    QCOMPARE(thread.getVideoWidth(), 320);
    QCOMPARE(thread.getVideoHeight(), 240);
    QCOMPARE(thread.videoCodecId, static_cast<int>(AV_CODEC_ID_H264));
    QCOMPARE(thread.audioCodecId, static_cast<int>(AV_CODEC_ID_PCM_ALAW));
    QCOMPARE(thread.sampleRate, 8000);
    QCOMPARE(thread.channelCount, 2);
    QCOMPARE(thread.profile, -99); // as the decoder tells it: unknown
    watcher.events.clear();
    end(&thread);
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("finished")); }));
    QVERIFY(watcher.events.indexOf(QStringLiteral("playFinsh")) <
            watcher.events.indexOf(QStringLiteral("finished")));
    QVERIFY(!thread.getIsOk());
    QCOMPARE(thread.getVideoWidth(), 0);
    QVERIFY(!thread.stopped); // ready for the next play
    QVERIFY(!watcher.wrongThread);
    QCOMPARE(watcher.count(QStringLiteral("decoderDestroyed")), 0);
    QCOMPARE(log->lines().last().text, QStringLiteral("(ffvdthr)teminate ff thr"));
    QCOMPARE(log->lines().last().level, Logger::Info);
}

void TestFFmpegVideoThread::sound_isStereo_ofTheSource()
{
    TcpSource source(clipWithSound());
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    thread.play();
    // Two seconds at 8000 Hz, but for what lies before the first key picture.
    QVERIFY(waitFor([&] { return watcher.sound.size() >= 2 * 8000 * 4 - 4 * 320; }));
    const auto *samples = reinterpret_cast<const qint16 *>(watcher.sound.constData());
    const int count = watcher.sound.size() / 4;
    int loudest = 0;
    int crossings = 0;
    for (int i = 1; i < count; ++i) {
        QCOMPARE(samples[2 * i], samples[2 * i + 1]);
        loudest = std::max(loudest, std::abs(static_cast<int>(samples[2 * i])));
        crossings += samples[2 * i - 2] < 0 && samples[2 * i] >= 0;
    }
    const double hertz = crossings * 8000.0 / count;
    QVERIFY2(hertz > 430 && hertz < 450, qPrintable(QString::number(hertz)));
    QVERIFY2(loudest > 6000 && loudest < 13000, qPrintable(QString::number(loudest)));
    QCOMPARE(watcher.sound.size() % (160 * 4), 0);
    end(&thread);
}

void TestFFmpegVideoThread::sound_beyondTheBuffer_isDropped()
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_PCM_ALAW;
    options.samplesPerPacket = 72001; // the buffer takes 72000 in stereo
    options.audio = QByteArray(3 * options.samplesPerPacket, '\x55');
    TcpSource source(makeStream(units(750), options));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() == 750; }));
    QVERIFY(watcher.sound.isEmpty());
    end(&thread);
}

void TestFFmpegVideoThread::videoOnly_hasNoAudio()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    int audioIndex = 7;
    watcher.atFrame = [&] { audioIndex = thread.audioIndex; };
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() > 3; }));
    QCOMPARE(audioIndex, -1);
    QCOMPARE(thread.audioCodecId, 0x10006);
    QCOMPARE(thread.channelCount, 1);
    QVERIFY(!watcher.events.join(QLatin1Char(' ')).contains(QStringLiteral("audioFormat")));
    QCOMPARE(log->count(Logger::Warning,
                        QStringLiteral("(ffvdthr)no audio stream in %1").arg(source.url())),
             1);
    end(&thread);
}

void TestFFmpegVideoThread::audioOnly_decodesNothing()
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_PCM_MULAW;
    options.audio = encodeMuLaw(makeTone(16000, 8000, 440));
    TcpSource source(makeStream({}, options));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    log->expect(Logger::Warning,
                QStringLiteral("(ffvdthr)no video stream in %1").arg(source.url()));
    int videoIndex = 7;
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0"))
            videoIndex = thread.videoIndex;
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets >= 90; }));
    QCOMPARE(videoIndex, -1);
    QCOMPARE(thread.keyPackets.load(), 0);
    QVERIFY(watcher.sound.isEmpty());
    QCOMPARE(watcher.first(4),
             QStringLiteral("started audioFormat:8000:2:16 playStart:0 renderStart"));
    QCOMPARE(log->missing(), QStringList());
    end(&thread);
}

void TestFFmpegVideoThread::frameRate_fallsBackToTheBaseRate()
{
    // 90 is no rate of a camera; the base rate, here the same, is taken as it is.
    StreamOptions options;
    options.fps = 90;
    TcpSource source(makeStream(units(100), options));
    TestThread thread(source.url());
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("playStart:0")); }));
    QCOMPARE(thread.getFrameRate(), 90);
    end(&thread);
}

void TestFFmpegVideoThread::codecRender_mayChangeModeAndHardware()
{
    // Told before the decoder opens: a hardware name of the receiver's counts for this very open.
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("nonsense"));
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    watcher.atEvent = [&](const QString &event) {
        if (event.startsWith(QLatin1String("codecRender"))) {
            thread.setHardware(QStringLiteral("none"));
            thread.setVideoMode(VideoMode_Opengl);
        }
    };
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() == 50; }));
    QCOMPARE(thread.opens.load(), 1);
    end(&thread);
}

void TestFFmpegVideoThread::rotate_forcesSoftware()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setHardware(QStringLiteral("nonsense"));
    thread.setRotate(90);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return !watcher.pictures.isEmpty(); }));
    QCOMPARE(thread.getHardware(), QStringLiteral("none"));
    end(&thread);
}

void TestFFmpegVideoThread::withoutViewer_readsAndDecodesNothing_untilTheNextKeyPicture()
{
    QVector<int> offsets;
    TcpSource source(clip(200, &offsets));
    source.setLimit(offsets.at(60));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Opengl);
    thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    const QStringList renderSignals = {QStringLiteral("codecRender:H264:320x240"),
                                       QStringLiteral("renderStart"), QStringLiteral("frame")};
    int read = 60;
    for (int visit = 0; visit < 2; ++visit) {
        // The last packet of what has come may still wait in the demuxer for the next.
        QVERIFY(waitFor([&] { return thread.packets >= read - 1; }));
        QVERIFY(watcher.pictures.isEmpty());
        QCOMPARE(watcher.events.count(QStringLiteral("playStart:0")), visit == 0 ? 1 : 0);
        watcher.events.clear();
        thread.previewRef() = 1;
        source.release(offsets.at(read + 40));
        QVERIFY(waitFor([&] { return watcher.pictures.size() >= 5; }));
        QCOMPARE(watcher.pictures.first().number, (read / kGop + 1) * kGop);
        QCOMPARE(watcher.events, renderSignals);
        QVERIFY(waitFor([&] { return thread.packets >= read + 39; }));

        thread.previewRef() = 0;
        read += 80;
        if (visit == 1)
            break;
        source.release(offsets.at(read));
        QVERIFY(waitFor([&] { return thread.packets >= read - 1; }));
        watcher.pictures.clear();
        watcher.events.clear();
    }
    QVERIFY(thread.keyPackets > 0);
    end(&thread);
}

void TestFFmpegVideoThread::sizeChange_isNeverDelivered_andRestarts()
{
    QVector<AccessUnit> all = units(50);
    ClipOptions small;
    small.width = 176;
    small.height = 144;
    all += makeClip(small);
    TcpSource source(makeStream(all, {}));
    for (const auto mode : {VideoMode_Opengl, VideoMode_Painter}) {
        log->clear();
        TestThread thread(source.url());
        thread.setVideoMode(mode);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        announceNoAudio();
        thread.play();
        QVERIFY(waitFor([&] {
            return log->count(Logger::Info, QStringLiteral("(ffvdthr)restart ff thr")) > 0 &&
                   watcher.events.count(QStringLiteral("started")) > 1;
        }));
        QVERIFY(watcher.events.contains(QStringLiteral("playFinsh")));
        end(&thread);
        QVERIFY(watcher.pictures.size() + watcher.images.size() >= 50);
        for (const auto &picture : qAsConst(watcher.pictures))
            QCOMPARE(QSize(picture.width, picture.height), QSize(320, 240));
        for (const QImage &image : qAsConst(watcher.images))
            QCOMPARE(image.size(), QSize(320, 240));
    }
}

void TestFFmpegVideoThread::deviceCodecChange_restarts_withoutReadTimeout()
{
    QVector<int> offsets;
    TcpSource source(clipWithSound(200, &offsets));
    source.setLimit(offsets.at(80));
    TestThread thread(source.url());
    const HVideoEncPara h264{HCodecH264, 320, 240, 25, 1, 1000};
    const HVideoEncPara h265{HCodecH265, 320, 240, 25, 1, 1000};
    const HAudioEncPara alaw{HCodecG711A, 8000, 16, 1};
    thread.setDeviceCodec(h264, alaw);
    thread.setReadTimeout(0);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() > 20; }));
    QVERIFY(thread.curVideoPara == h264 && thread.curAudioPara == alaw);
    thread.setDeviceCodec(h265, alaw);
    source.release();
    QVERIFY(waitFor([&] { return watcher.events.count(QStringLiteral("playStart:0")) == 2; }));
    QCOMPARE(log->count(Logger::Info, QStringLiteral("(ffvdthr)restart ff thr")), 1);
    const QString told = watcher.events.join(QLatin1Char(' '));
    QVERIFY2(told.contains(QStringLiteral("playFinsh finished started codecRender")),
             qPrintable(told));
    QVERIFY(waitFor([&] { return thread.peekCodec(h265); }));

    // The audio record decides as well.
    const int opens = thread.opens;
    source.setLimit(offsets.at(80));
    HAudioEncPara mulaw = alaw;
    mulaw.codecId = HCodecG711U;
    thread.setDeviceCodec(h265, mulaw);
    source.feed(QByteArray(1, '\0'));
    QVERIFY(waitFor([&] { return thread.opens > opens; }));
    announceReadErrors();
    end(&thread);
}

void TestFFmpegVideoThread::deviceCodec_sameOrInvalid_goesOn()
{
    QVector<int> offsets;
    TcpSource source(clip(200, &offsets));
    source.setLimit(offsets.at(80));
    TestThread thread(source.url());
    const HVideoEncPara h264{HCodecH264, 320, 240, 25, 1, 1000};
    thread.setDeviceCodec(h264, {});
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets > 60; }));
    HVideoEncPara faster = h264; // rates play no part
    faster.frameRate = 50;
    faster.bitRate = 2000;
    thread.setDeviceCodec(faster, {});
    source.release(offsets.at(120));
    QVERIFY(waitFor([&] { return thread.packets > 100; }));
    thread.setDeviceCodec({HCodecH265, 0, 240, 25, 1, 0}, {HCodecG711A, 8000, 16, 0}, -1);
    source.release();
    QVERIFY(waitFor([&] { return thread.packets > 180; }));
    QCOMPARE(thread.opens.load(), 1);
    end(&thread);
}

void TestFFmpegVideoThread::deviceCodec_isKept_onlyIfTheDeviceAnswers()
{
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setDeviceCodec({HCodecH264, 0, 0, 1, 1, 5}, {1, 2, 3, 4}, -1); // invalid, and refused
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets > 40; }));
    QCOMPARE(thread.curVideoPara.codecId, 0);
    QCOMPARE(thread.curAudioPara.channels, 1);
    end(&thread);
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThread)
#include "tst_ffmpegvideothread.moc"
