// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Sound of a stream that is read frame by frame.

#include "core_codec/mediacodec.h"
#include "fedthreadcase.h"
#include "pictureforms.h"
#include "support/tone.h"
#include "threadwatcher.h"

#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestPvProtoVideoThreadSound : public FedThreadCase
{
    Q_OBJECT

private slots:
    void sound_isDecoded_inTheOrderRead();
    void sound_beforeTheFirstKeyFrame_isDropped();
    void sound_inAnotherForm_makesANewDecoder_data();
    void sound_inAnotherForm_makesANewDecoder();
    void unknownSoundCodec_isLogged_forEachFrame();
    void soundWithoutChannels_isLogged_withAPlainThree();
    void brokenSound_failsThatFrameOnly();
};

void TestPvProtoVideoThreadSound::sound_isDecoded_inTheOrderRead()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    SignalRecorder order;
    watchForms(&order, &thread);
    order.watch(&thread, &AbstractVideoThread::receiveAudio, "sound");
    QVERIFY(begin(&thread));
    QStringList expected;
    for (int i = 0; i < 25; ++i) {
        thread.feed(picture(i));
        thread.feed(sound(2 * i));
        thread.feed(sound(2 * i + 1));
        expected << QStringList{"planes3", "sound", "sound"};
    }
    QVERIFY(settle(&thread));
    QCOMPARE(order.names(), expected);
    QCOMPARE(watcher.count(QStringLiteral("audioFormat:8000:1:16")), 1);
    QVERIFY(waitFor([&] { return watcher.sound.size() == 50 * 160 * 2; }));
    QVERIFY(hasTone(watcher.sound, 8000, 440));
    QCOMPARE(thread.sampleRate, 8000);
    QCOMPARE(thread.channelCount, 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSound::sound_beforeTheFirstKeyFrame_isDropped()
{
    FedThread thread;
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(sound());
    thread.feed(picture(1));
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QVERIFY(thread.codec->isAudioDecoderNull());
    thread.feed(picture(10));
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QVERIFY(waitFor([&] { return watcher.sound.size() == 320; }));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSound::sound_inAnotherForm_makesANewDecoder_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("channels");
    QTest::newRow("codec") << 4 << 8000 << 16 << 1;
    QTest::newRow("rate") << 3 << 16000 << 16 << 1;
    QTest::newRow("bits") << 3 << 8000 << 8 << 1;
    QTest::newRow("channels") << 3 << 8000 << 16 << 2;
}

void TestPvProtoVideoThreadSound::sound_inAnotherForm_makesANewDecoder()
{
    QFETCH(int, codec);
    QFETCH(int, rate);
    QFETCH(int, bits);
    QFETCH(int, channels);
    const QRegularExpression made("^\\(ffpg\\)create audio decoder");
    FedThread thread;
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    for (int i = 0; i < 3; ++i)
        thread.feed(sound(i));
    QVERIFY(settle(&thread));
    QCOMPARE(log->countMatching(Logger::Debug, made), 1);
    for (int i = 0; i < 3; ++i)
        thread.feed(
            ScriptedFrame::audio(quint32(codec), rate, bits, channels, QByteArray(64, 'a'), i));
    QVERIFY(settle(&thread));
    QCOMPARE(log->countMatching(Logger::Debug, made), 2);
    QCOMPARE(log->countMatching(Logger::Debug, QRegularExpression("destroy audio decoder")), 1);
    QCOMPARE(
        watcher.events.filter(QStringLiteral("audioFormat")),
        (QStringList{"audioFormat:8000:1:16",
                     QStringLiteral("audioFormat:%1:%2:%3").arg(rate).arg(channels).arg(bits)}));
    QCOMPARE(thread.audioParam.codec, codec == 4 ? int(HCodecG711U) : int(HCodecG711A));
    QCOMPARE(thread.sampleRate, rate);
    QCOMPARE(thread.channelCount, channels);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSound::unknownSoundCodec_isLogged_forEachFrame()
{
    log->expect(Logger::Error, QStringLiteral("(ffpg)codec 0 is not supported"));
    log->expect(Logger::Error, QStringLiteral("(mdcdc)create audio decoder fail"));
    FedThread thread;
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    for (const quint32 code : {5u, 9u}) { // there is no decoder for PCM either
        const QString unknown = QStringLiteral("(pvptvthr)not support audio codec id %1").arg(code);
        const QString failed = QStringLiteral("(pvptvthr)create audio decoder fail (8000:16:3)");
        log->expect(Logger::Warning, unknown);
        log->expect(Logger::Error, failed);
        log->clear();
        for (int i = 0; i < 2; ++i)
            thread.feed(ScriptedFrame::audio(code, 8000, 16, 1, "sound", 0));
        QVERIFY(settle(&thread));
        QCOMPARE(log->count(Logger::Warning, unknown), 2);
        QCOMPARE(log->count(Logger::Error, failed), 2);
        QVERIFY(thread.codec->isAudioDecoderNull());
        QCOMPARE(thread.lastAudioHeader.widthOrSampleRate, 0);
        QCOMPARE(thread.audioParam.codec, 0);
    }
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QVERIFY(waitFor([&] { return watcher.sound.size() == 320; }));
    QCOMPARE(watcher.events.filter(QStringLiteral("audioFormat")).size(), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSound::soundWithoutChannels_isLogged_withAPlainThree()
{
    // The channels are not told: the text has a plain 3 in their place, which is kept.
    const QString line = QStringLiteral("(pvptvthr)create audio decoder fail (44100:24:3)");
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffpg\\)"));
    log->expect(Logger::Error, QStringLiteral("(mdcdc)create audio decoder fail"));
    log->expect(Logger::Error, line);
    FedThread thread;
    thread.previewRef() = 1;
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    thread.feed(ScriptedFrame::audio(3, 44100, 24, 0, "sound", 0));
    QVERIFY(settle(&thread));
    QCOMPARE(log->count(Logger::Error, line), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSound::brokenSound_failsThatFrameOnly()
{
    const QString line = QStringLiteral("(pvptvthr)decode audio frame err");
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffpg\\)avcodec_send_packet failed"));
    log->expect(Logger::Warning, QStringLiteral("(mdcdc)decode audio frame fail 0"));
    log->expect(Logger::Warning, line);
    FedThread thread;
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    ScriptedFrame empty = sound();
    empty.header.frameSize = 0;
    thread.feed(empty);
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QCOMPARE(log->count(Logger::Warning, line), 1);
    QVERIFY(waitFor([&] { return watcher.sound.size() == 320; }));
    QVERIFY(end(&thread));
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadSound)
#include "tst_pvprotovideothreadsound.moc"
