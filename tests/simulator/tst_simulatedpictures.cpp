// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "onestream.h"

#include "support/clipmaker.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include "devicelink/devicerules.h"

#include <QTemporaryDir>
#include <QtTest>

extern "C" {
#include <libavutil/frame.h>
}

using namespace vantrasim;

/// The pictures and the sound that a simulated device sends live.
class TestSimulatedPictures : public QObject
{
    Q_OBJECT

private slots:
    void pictures_tellChannelStreamAndNumber_data();
    void pictures_tellChannelStreamAndNumber();
    void counter_goesOnWithoutAGap_overManyRoundsOfTheLoop();
    void counter_isTheTimeStampInFrames();
    void lowerPart_isWhatTheEncoderMade_whateverTheStripSays();
    void keyFrames_comeOncePerGroup_withParameterSets();
    void key_isNext_afterARequest();
    void stream_beginsWithAKeyFrame_eachTimeItIsOpened();
    void sound_isTheTone_data();
    void sound_isTheTone();
    void sound_isLeftOut_withoutCodec();
    void form_changesInTheMiddle_data();
    void form_changesInTheMiddle();
    void clip_isSentAsItIs_roundAndRound();
    void clip_thatCannotBeRead_isAProblem();
};

void TestSimulatedPictures::pictures_tellChannelStreamAndNumber_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    for (const int codec : {int(HCodecH264), int(HCodecH265)}) {
        const QByteArray name = codec == HCodecH264 ? "H.264 " : "H.265 ";
        QTest::newRow(name + "360p") << codec << 640 << 360;
        QTest::newRow(name + "180p") << codec << 320 << 180;
        QTest::newRow(name + "CIF") << codec << 352 << 288;
        QTest::newRow(name + "QCIF") << codec << 176 << 144;
        QTest::newRow(name + "odd blocks") << codec << 646 << 366;
        QTest::newRow(name + "tall") << codec << 360 << 640;
        QTest::newRow(name + "1080p") << codec << 1920 << 1080;
    }
}

void TestSimulatedPictures::pictures_tellChannelStreamAndNumber()
{
    QFETCH(int, codec);
    QFETCH(int, width);
    QFETCH(int, height);
    DeviceConfig config = DeviceConfig::simple(2, 2);
    config.number = 9;
    config.queueMs = kPatientMs;
    config.channels[1].streams[1].video = format(codec, width, height, 25, 5);
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.device->enableMediaTransmit(1, 1, true), HRetOk);
    const QVector<ReadPicture> pictures = readPictures(*sim.device, 1, 1, 12);
    QCOMPARE(pictures.size(), 12);
    for (const ReadPicture &picture : pictures) {
        QCOMPARE(picture.seen.size, QSize(width, height));
        QVERIFY(picture.seen.scene.has_value());
        QVERIFY((*picture.seen.scene == vantratest::SceneId{9, 1, 1}));
        QCOMPARE(picture.header.codecId, quint32(frameCodeOfCodec(codec)));
        QCOMPARE(picture.header.widthOrSampleRate, width);
        QCOMPARE(picture.header.heightOrBits, height);
        QCOMPARE(picture.header.frameRateOrChannels, 25);
    }
    QVERIFY(isGapless(pictures));
}

void TestSimulatedPictures::counter_goesOnWithoutAGap_overManyRoundsOfTheLoop()
{
    for (const qint32 codec : {HCodecH264, HCodecH265}) {
        const Simulation sim = simulateDevice(oneStream(format(codec, 320, 180, 100, 5)));
        sim.device->enableMediaTransmit(0, 0, true);
        const QVector<ReadPicture> pictures = readPictures(*sim.device, 0, 0, 120); // 12 rounds
        QCOMPARE(pictures.size(), 120);
        QVERIFY(isGapless(pictures));
    }
}

void TestSimulatedPictures::counter_isTheTimeStampInFrames()
{
    const Simulation sim = simulateDevice(oneStream(format(HCodecH264, 320, 180, 30)));
    sim.device->enableMediaTransmit(0, 0, true);
    for (const ReadPicture &picture : readPictures(*sim.device, 0, 0, 40)) {
        const qint64 frame = frameAt(picture.header.pts, 30);
        QCOMPARE(stampOfFrame(frame, 30), picture.header.pts);
        QCOMPARE(*picture.seen.counter, quint32(frame & 0xFFFFFF));
    }
}

void TestSimulatedPictures::lowerPart_isWhatTheEncoderMade_whateverTheStripSays()
{
    // Two devices show the same loop with different counters. If anything below the strip leaned on
    // it, their pictures would drift apart.
    for (const int codec : {1, 2}) {
        LoopForm form;
        form.picture.codec = codec;
        form.picture.width = 640;
        form.picture.height = 360;
        form.picture.gop = 25;
        form.name = "GATE";
        form.rgb = 0xA2543A;
        const auto loop = Loop::forForm(form);
        QVERIFY(vantratest::waitFor([&] { return loop->size() == 50 || loop->isBroken(); }));
        PictureReader readers[2];
        for (int i = 0; i < loop->size(); ++i) {
            QByteArray below[2];
            for (int k = 0; k < 2; ++k) {
                Bytes unit;
                QVERIFY(loop->compose(i, k == 0 ? 0 : 0xABCDEF - 77 * i,
                                      k == 0 ? "" : "88888888 888888 88:88", true, &unit));
                QVERIFY(readers[k].decode(
                    codec == 1 ? 0 : 1,
                    QByteArray(reinterpret_cast<char *>(unit.data()), int(unit.size()))));
                const AVFrame *frame = readers[k].frame();
                below[k] = belowStrip(frame, stripHeight(640, 360));
                QCOMPARE(readers[k].errors(), 0);
            }
            QVERIFY2(below[0] == below[1], qPrintable(QString::number(i)));
        }
    }
}

void TestSimulatedPictures::keyFrames_comeOncePerGroup_withParameterSets()
{
    const Simulation sim = simulateDevice(oneStream(format(HCodecH264, 320, 180, 50, 10)));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    for (int i = 0; i < 40; ++i) {
        QVERIFY(readOne(*sim.device, buffer, [](const HFrameHeader &h) { return h.isVideo(); }));
        QCOMPARE(buffer.header()->isKeyFrame(), i % 10 == 0);
        QCOMPARE(buffer.payload().contains(QByteArray("\0\0\0\1\x67", 5)), i % 10 == 0);
    }
    QCOMPARE(sim.control->counts(0, 0).keyPictures, qint64(4));
}

void TestSimulatedPictures::key_isNext_afterARequest()
{
    for (const qint32 codec : {HCodecH264, HCodecH265}) {
        const Simulation sim = simulateDevice(oneStream(format(codec, 320, 180, 25, 50)));
        sim.device->enableMediaTransmit(0, 0, true);
        FrameBuffer buffer;
        PictureReader reader;
        const auto isVideo = [](const HFrameHeader &h) { return h.isVideo(); };
        std::optional<quint32> last;
        for (int i = 0; i < 30; ++i) {
            if (i == 7 || i == 8 || i == 20)
                QCOMPARE(sim.device->requestVideoIFrame(0, 0), HRetOk);
            QVERIFY(readOne(*sim.device, buffer, isVideo));
            QCOMPARE(buffer.header()->isKeyFrame(), i == 0 || i == 7 || i == 8 || i == 20);
            const auto seen = reader.decode(buffer);
            QVERIFY(seen && seen->counter);
            QVERIFY(!last || *seen->counter == *last + 1);
            last = seen->counter;
        }
        QCOMPARE(reader.errors(), 0);
    }
}

void TestSimulatedPictures::stream_beginsWithAKeyFrame_eachTimeItIsOpened()
{
    const Simulation sim = simulateDevice(oneStream(format(HCodecH265, 320, 180)));
    FrameBuffer buffer;
    const auto isVideo = [](const HFrameHeader &h) { return h.isVideo(); };
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetOk);
        QVERIFY(readOne(*sim.device, buffer, isVideo));
        QVERIFY(buffer.header()->isKeyFrame());
        QVERIFY(readOne(*sim.device, buffer, isVideo));
        QVERIFY(!buffer.header()->isKeyFrame());
        QCOMPARE(sim.device->enableMediaTransmit(0, 0, false), HRetOk);
    }
}

void TestSimulatedPictures::sound_isTheTone_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("packetMs");
    QTest::newRow("A-law") << int(HCodecG711A) << 40;
    QTest::newRow("mu-law") << int(HCodecG711U) << 40;
    QTest::newRow("PCM") << int(HCodecPcm) << 20;
}

void TestSimulatedPictures::sound_isTheTone()
{
    QFETCH(int, codec);
    QFETCH(int, packetMs);
    AudioFormat audio;
    audio.codec = codec;
    audio.hertz = 523;
    audio.packetMs = packetMs;
    const Simulation sim = simulateDevice(oneStream(format(HCodecH264, 320, 180), audio));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    QByteArray pcm;
    qint64 last = 0;
    while (pcm.size() < 2 * 8000) {
        QVERIFY(readOne(*sim.device, buffer, [](const HFrameHeader &h) { return h.isAudio(); }));
        const HFrameHeader &header = *buffer.header();
        QCOMPARE(header.codecId, quint32(frameCodeOfCodec(codec)));
        QCOMPARE(header.widthOrSampleRate, 8000);
        QCOMPARE(header.heightOrBits, 16);
        QCOMPARE(header.frameRateOrChannels, 1);
        QVERIFY(last == 0 || header.pts - last == packetMs);
        last = header.pts;
        const QByteArray sound = buffer.payload();
        if (codec == HCodecPcm)
            pcm += sound;
        for (const char code : codec == HCodecPcm ? QByteArray() : sound) {
            const qint16 sample =
                codec == HCodecG711A ? fromALaw(quint8(code)) : fromMuLaw(quint8(code));
            pcm.append(reinterpret_cast<const char *>(&sample), sizeof sample);
        }
    }
    // Over the whole second: a join that is not exact would show.
    QVERIFY(vantratest::measureTone(pcm, 8000, 523).purity > 0.99);
    QVERIFY(qAbs(vantratest::measureTone(pcm, 8000, 523).amplitude - 0.25) < 0.01);
}

void TestSimulatedPictures::sound_isLeftOut_withoutCodec()
{
    AudioFormat none;
    none.codec = 0;
    const Simulation sim = simulateDevice(oneStream(format(HCodecH264, 320, 180), none));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    for (int i = 0; i < 10; ++i) {
        QVERIFY(readOne(*sim.device, buffer, [](const HFrameHeader &) { return true; }));
        QVERIFY(buffer.header()->isVideo());
    }
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(0, 0, video, audio), HRetOk);
    QVERIFY(video.isValid());
    QVERIFY(!audio.isValid());
}

void TestSimulatedPictures::form_changesInTheMiddle_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("fps");
    QTest::newRow("size") << int(HCodecH264) << 352 << 25;
    QTest::newRow("codec") << int(HCodecH265) << 320 << 25;
    QTest::newRow("rate") << int(HCodecH264) << 320 << 50;
}

void TestSimulatedPictures::form_changesInTheMiddle()
{
    QFETCH(int, codec);
    QFETCH(int, width);
    QFETCH(int, fps);
    DeviceConfig config = oneStream(format(HCodecH264, 320, 240));
    const Simulation sim = simulateDevice(config);
    sim.device->enableMediaTransmit(0, 0, true);
    QCOMPARE(readPictures(*sim.device, 0, 0, 5).size(), 5);
    StreamConfig changed = config.channels[0].streams[0];
    changed.video = format(codec, width, 240, fps);
    changed.audio.codec = HCodecG711U;
    sim.control->setForm(0, 0, changed);
    PictureReader reader;
    FrameBuffer buffer;
    const auto isNew = [&](const HFrameHeader &h) {
        return h.isVideo() && h.codecId == quint32(frameCodeOfCodec(codec)) &&
               h.widthOrSampleRate == width && h.frameRateOrChannels == fps;
    };
    QVERIFY(readOne(*sim.device, buffer, isNew));
    QVERIFY(buffer.header()->isKeyFrame());
    const auto seen = reader.decode(buffer);
    QVERIFY(seen && seen->counter);
    QCOMPARE(seen->size, QSize(width, 240));
    QVERIFY(readOne(*sim.device, buffer, isNew));
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(0, 0, video, audio), HRetOk);
    QCOMPARE(video.width, width);
    QCOMPARE(video.codecId, qint32(codec));
    QCOMPARE(audio.codecId, qint32(HCodecG711U));
}

void TestSimulatedPictures::clip_isSentAsItIs_roundAndRound()
{
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("clip.h264"));
    vantratest::ClipOptions options;
    options.count = 20;
    options.gop = 10;
    options.width = 176;
    options.height = 144;
    const auto units = vantratest::makeClip(options);
    QFile out(file);
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write(vantratest::joinUnits(units));
    out.close();
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0].clip = file;
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.control->problem(0, 0), QString());
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(0, 0, video, audio), HRetOk);
    QCOMPARE(video.width, 176);
    QCOMPARE(video.codecId, qint32(HCodecH264));
    QVERIFY(!audio.isValid());
    sim.device->enableMediaTransmit(0, 0, true);
    ScriptedFault bare;
    bare.fault = FrameFault::NoParameterSets;
    bare.sort = FrameSort::Key;
    bare.after = 4;
    sim.control->faults().strike(bare);
    FrameBuffer buffer;
    PictureReader reader;
    for (int i = 0; i < 45; ++i) {
        QVERIFY(readOne(*sim.device, buffer, [](const HFrameHeader &) { return true; }));
        QCOMPARE(buffer.header()->isKeyFrame(), i % 10 == 0);
        QVERIFY(reader.decode(buffer));
        const AVFrame *frame = reader.frame();
        QCOMPARE(vantratest::readNumber(frame->data[0], frame->linesize[0], 176, 144), i % 20);
        QCOMPARE(buffer.payload().contains(QByteArray("\0\0\1\x67", 4)), i % 10 == 0 && i != 40);
    }
    QCOMPARE(reader.errors(), 0);
}

void TestSimulatedPictures::clip_thatCannotBeRead_isAProblem()
{
    DeviceConfig config = DeviceConfig::simple(1, 2);
    config.channels[0].streams[1].clip = QStringLiteral("/nowhere/clip.mp4");
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.control->problem(0, 0), QString());
    QVERIFY(sim.control->problem(0, 1).startsWith(QStringLiteral("/nowhere/clip.mp4 ")));
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetOk);
    FrameBuffer buffer;
    QCOMPARE(sim.device->readFrame(0, 1, buffer.header(), kReadMs), HRetError(98));
}

QTEST_GUILESS_MAIN(TestSimulatedPictures)
#include "tst_simulatedpictures.moc"
