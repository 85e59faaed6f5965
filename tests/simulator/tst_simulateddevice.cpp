// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "framereader.h"

#include "simulator/simulateddevice.h"

#include "support/clipmaker.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include "devicelink/devicerules.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

extern "C" {
#include <libavutil/frame.h>
}

#include <thread>

using namespace vantrasim;

namespace {

constexpr int kReadMs = 200;
/// What waits for the reader where no frame may be missing, however slow the machine is.
constexpr int kPatientMs = 60000;

DeviceConfig oneStream(const VideoFormat &video, const AudioFormat &audio = AudioFormat())
{
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0].video = video;
    config.channels[0].streams[0].audio = audio;
    config.queueMs = kPatientMs;
    return config;
}

VideoFormat format(qint32 codec, int width, int height, int fps = 25, int gop = 0)
{
    VideoFormat video;
    video.codec = codec;
    video.width = width;
    video.height = height;
    video.fps = fps;
    video.gop = gop;
    return video;
}

/// Reads one frame of the kind asked for; false if none came in 20 seconds.
template<typename Wanted>
bool readOne(HNetDevice &device, FrameBuffer &buffer, Wanted wanted, int channel = 0,
             int stream = 0)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 20000) {
        if (device.readFrame(channel, stream, buffer.header(), kReadMs) == HRetOk &&
            wanted(*buffer.header()))
            return true;
    }
    return false;
}

} // namespace

/// What a simulated device sends live, and what it answers.
class TestSimulatedDevice : public QObject
{
    Q_OBJECT

private slots:
    void topology_isThatOfTheConfiguration();
    void missingStreams_areThoseOfTheLastOne();
    void unknownStreams_areRefused();
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
    void read_timesOut_whileTheStreamIsClosed();
    void read_withTimeoutZero_returnsAtOnce();
    void frames_areNotSentBeforeTheirTime();
    void lateReader_getsWhatIsKept_thenAKeyFrameOfNow();
    void enable_answersAlready_whenOpen();
    void enable_answersExceedMax_atTheLimit();
    void codecInfo_isTheForm_untilItIsSet();
    void form_changesInTheMiddle_data();
    void form_changesInTheMiddle();
    void clip_isSentAsItIs_roundAndRound();
    void clip_thatCannotBeRead_isAProblem();
    void calls_areCountedAndKeptInOrder();
    void streams_doNotHoldEachOtherUp();
    void everyOperation_bearsManyThreads();
};

void TestSimulatedDevice::topology_isThatOfTheConfiguration()
{
    DeviceConfig config = DeviceConfig::simple(3, 2, HTransportZelk);
    config.serial = QStringLiteral("S-7");
    config.address = QStringLiteral("192.0.2.7");
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.device->getConnectStatus(), HChannelConnected);
    QCOMPARE(sim.device->getChannelCount(), 3);
    QCOMPARE(sim.device->getStreamCount(), 6);
    QCOMPARE(sim.device->getStreamCountPerChannel(), 2);
    QCOMPARE(sim.device->getStreamProtocol(), HTransportZelk);
    QCOMPARE(sim.device->serialNumber(), QStringLiteral("S-7"));
    QCOMPARE(sim.device->getIPAddr(), QStringLiteral("192.0.2.7"));
    // A stream can be asked about before it is sent: it is there.
    QCOMPARE(sim.device->getStreamStatus(2, 1), HChannelConnected);
    sim.control->pretendStreamCount(7);
    QCOMPARE(sim.device->getStreamCount(), 7);
    QCOMPARE(simulateDevice(DeviceConfig()).device->getStreamCount(), 0);
}

void TestSimulatedDevice::missingStreams_areThoseOfTheLastOne()
{
    DeviceConfig config = DeviceConfig::simple(2, 2);
    config.channels[1].streams.removeLast();
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.device->getStreamCount(), 4);
    HVideoEncPara main;
    HVideoEncPara sub;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(1, 0, main, audio), HRetOk);
    QCOMPARE(sim.device->getCodecInfo(1, 1, sub, audio), HRetOk);
    QVERIFY(main == sub);
}

void TestSimulatedDevice::unknownStreams_areRefused()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1));
    HVideoEncPara video;
    HAudioEncPara audio;
    FrameBuffer buffer;
    for (const auto &[channel, stream] : {std::pair(1, 0), std::pair(0, 1), std::pair(-1, 0)}) {
        QCOMPARE(sim.device->getStreamStatus(channel, stream), HChannelDisconnected);
        QCOMPARE(sim.device->enableMediaTransmit(channel, stream, true), HRetRefused);
        QCOMPARE(sim.device->requestVideoIFrame(channel, stream), HRetRefused);
        QCOMPARE(sim.device->getCodecInfo(channel, stream, video, audio), HRetRefused);
        QCOMPARE(sim.device->setCodecInfo(channel, stream, video, audio), HRetRefused);
        QCOMPARE(sim.device->readFrame(channel, stream, buffer.header(), 1), HRetTimeout);
    }
}

void TestSimulatedDevice::pictures_tellChannelStreamAndNumber_data()
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

void TestSimulatedDevice::pictures_tellChannelStreamAndNumber()
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

void TestSimulatedDevice::counter_goesOnWithoutAGap_overManyRoundsOfTheLoop()
{
    for (const qint32 codec : {HCodecH264, HCodecH265}) {
        const Simulation sim = simulateDevice(oneStream(format(codec, 320, 180, 100, 5)));
        sim.device->enableMediaTransmit(0, 0, true);
        const QVector<ReadPicture> pictures = readPictures(*sim.device, 0, 0, 120); // 12 rounds
        QCOMPARE(pictures.size(), 120);
        QVERIFY(isGapless(pictures));
    }
}

void TestSimulatedDevice::counter_isTheTimeStampInFrames()
{
    const Simulation sim = simulateDevice(oneStream(format(HCodecH264, 320, 180, 30)));
    sim.device->enableMediaTransmit(0, 0, true);
    for (const ReadPicture &picture : readPictures(*sim.device, 0, 0, 40)) {
        const qint64 frame = frameAt(picture.header.pts, 30);
        QCOMPARE(stampOfFrame(frame, 30), picture.header.pts);
        QCOMPARE(*picture.seen.counter, quint32(frame & 0xFFFFFF));
    }
}

void TestSimulatedDevice::lowerPart_isWhatTheEncoderMade_whateverTheStripSays()
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

void TestSimulatedDevice::keyFrames_comeOncePerGroup_withParameterSets()
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

void TestSimulatedDevice::key_isNext_afterARequest()
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

void TestSimulatedDevice::stream_beginsWithAKeyFrame_eachTimeItIsOpened()
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

void TestSimulatedDevice::sound_isTheTone_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("packetMs");
    QTest::newRow("A-law") << int(HCodecG711A) << 40;
    QTest::newRow("mu-law") << int(HCodecG711U) << 40;
    QTest::newRow("PCM") << int(HCodecPcm) << 20;
}

void TestSimulatedDevice::sound_isTheTone()
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

void TestSimulatedDevice::sound_isLeftOut_withoutCodec()
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

void TestSimulatedDevice::read_timesOut_whileTheStreamIsClosed()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1));
    FrameBuffer buffer;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(sim.device->readFrame(0, 0, buffer.header(), 60), HRetTimeout);
    QVERIFY(timer.elapsed() >= 60); // it waits that long, for the stream may be opened
}

void TestSimulatedDevice::read_withTimeoutZero_returnsAtOnce()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    int frames = 0;
    QVERIFY(vantratest::waitFor([&] {
        frames += sim.device->readFrame(0, 0, buffer.header(), 0) == HRetOk ? 1 : 0;
        return frames == 10;
    }));
}

void TestSimulatedDevice::frames_areNotSentBeforeTheirTime()
{
    const Simulation sim = simulateDevice(oneStream(format(HCodecH264, 320, 180, 50)));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    for (int i = 0; i < 100; ++i) {
        QVERIFY(readOne(*sim.device, buffer, [](const HFrameHeader &) { return true; }));
        QVERIFY(buffer.header()->pts <= deviceNow());
    }
}

void TestSimulatedDevice::lateReader_getsWhatIsKept_thenAKeyFrameOfNow()
{
    DeviceConfig config = oneStream(format(HCodecH264, 320, 180, 25, 25));
    config.queueMs = 400;
    const Simulation sim = simulateDevice(config);
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    PictureReader reader;
    const auto isVideo = [](const HFrameHeader &h) { return h.isVideo(); };
    QVERIFY(readOne(*sim.device, buffer, isVideo));
    const qint64 first = buffer.header()->pts;
    // A little late: everything is still there, one frame after the other.
    QVERIFY(vantratest::waitFor([&] { return deviceNow() >= first + 200; }));
    QVERIFY(readOne(*sim.device, buffer, isVideo));
    const qint64 second = buffer.header()->pts;
    if (sim.control->counts(0, 0).skipped == 0) // unless this process stood still meanwhile
        QCOMPARE(second - first, qint64(40));
    // Too late: the stream goes on now, with a key frame.
    QVERIFY(vantratest::waitFor([&] { return deviceNow() >= second + 1000; }));
    QVERIFY(readOne(*sim.device, buffer, isVideo));
    QVERIFY(buffer.header()->isKeyFrame());
    QVERIFY(buffer.header()->pts >= second + 1000);
    QVERIFY(sim.control->counts(0, 0).skipped >= 20);
}

void TestSimulatedDevice::enable_answersAlready_whenOpen()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 2));
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetAlready);
    QCOMPARE(sim.control->openStreams(), 1);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, false), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetOk);
}

void TestSimulatedDevice::enable_answersExceedMax_atTheLimit()
{
    DeviceConfig config = DeviceConfig::simple(2, 2);
    config.mostLive = 2;
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(1, 0, true), HRetExceedMax);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetAlready);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, false), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(1, 0, true), HRetOk);
}

void TestSimulatedDevice::codecInfo_isTheForm_untilItIsSet()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(2, 2));
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(1, 1, video, audio), HRetOk);
    QCOMPARE(video.codecId, qint32(HCodecH265));
    QCOMPARE(video.width, 320);
    QCOMPARE(audio.codecId, qint32(HCodecG711U));
    video.width = 111;
    audio.sampleRate = 222;
    QCOMPARE(sim.device->setCodecInfo(1, 1, video, audio), HRetOk);
    HVideoEncPara video2;
    HAudioEncPara audio2;
    QCOMPARE(sim.device->getCodecInfo(1, 1, video2, audio2), HRetOk);
    QCOMPARE(video2.width, 111);
    QCOMPARE(audio2.sampleRate, 222);
    // Kept for that stream alone.
    QCOMPARE(sim.device->getCodecInfo(1, 0, video2, audio2), HRetOk);
    QCOMPARE(video2.width, 640);
}

void TestSimulatedDevice::form_changesInTheMiddle_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("fps");
    QTest::newRow("size") << int(HCodecH264) << 352 << 25;
    QTest::newRow("codec") << int(HCodecH265) << 320 << 25;
    QTest::newRow("rate") << int(HCodecH264) << 320 << 50;
}

void TestSimulatedDevice::form_changesInTheMiddle()
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

void TestSimulatedDevice::clip_isSentAsItIs_roundAndRound()
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

void TestSimulatedDevice::clip_thatCannotBeRead_isAProblem()
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

void TestSimulatedDevice::calls_areCountedAndKeptInOrder()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(2, 2));
    FrameBuffer buffer;
    sim.device->getConnectStatus();
    sim.device->enableMediaTransmit(1, 0, true);
    sim.device->requestVideoIFrame(1, 0);
    sim.device->readFrame(1, 0, buffer.header(), 0);
    sim.device->enableMediaTransmit(1, 0, false);
    DeviceCalls &calls = sim.control->calls();
    QCOMPARE(calls.texts(), QStringList({QStringLiteral("enableMediaTransmit(1, 0, true)"),
                                         QStringLiteral("requestVideoIFrame(1, 0)"),
                                         QStringLiteral("enableMediaTransmit(1, 0, false)")}));
    QCOMPARE(calls.count(DeviceOp::readFrame), qint64(1));
    QCOMPARE(calls.count(DeviceOp::getConnectStatus), qint64(1));
    QCOMPARE(calls.count(DeviceOp::enableMediaTransmit), qint64(2));
    QCOMPARE(calls.count(DeviceOp::enableMediaTransmit, {1, 0, true}), 1);
    calls.clear();
    QCOMPARE(calls.count(DeviceOp::enableMediaTransmit), qint64(0));
    calls.keepAll(true);
    sim.device->readFrame(1, 0, buffer.header(), 0);
    QCOMPARE(calls.texts(), QStringList(QStringLiteral("readFrame(1, 0, 0)")));
}

void TestSimulatedDevice::streams_doNotHoldEachOtherUp()
{
    // One reader waits on a closed stream for ever so long; the other one's pictures flow.
    const Simulation sim = simulateDevice(DeviceConfig::simple(2, 1));
    sim.device->enableMediaTransmit(1, 0, true);
    std::atomic<bool> done{false};
    std::thread waiter([&] {
        FrameBuffer buffer;
        sim.device->readFrame(0, 0, buffer.header(), 60000);
        done = true;
    });
    QCOMPARE(readPictures(*sim.device, 1, 0, 30).size(), 30);
    QVERIFY(!done);
    // A stream that is opened meanwhile wakes its reader.
    sim.device->enableMediaTransmit(0, 0, true);
    waiter.join();
    QVERIFY(done);
}

void TestSimulatedDevice::everyOperation_bearsManyThreads()
{
    DeviceConfig config = DeviceConfig::simple(2, 2);
    for (ChannelConfig &channel : config.channels) {
        for (StreamConfig &stream : channel.streams)
            stream.video = format(stream.video.codec, 176, 144, 60);
    }
    const Simulation sim = simulateDevice(config);
    std::atomic<bool> stop{false};
    std::atomic<int> frames{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            FrameBuffer buffer;
            while (!stop) {
                if (sim.device->readFrame(i / 2, i % 2, buffer.header(), 20) == HRetTimeout)
                    sim.device->enableMediaTransmit(i / 2, i % 2, true);
                else
                    ++frames;
                HVideoEncPara video;
                HAudioEncPara audio;
                sim.device->getCodecInfo(i / 2, i % 2, video, audio);
                sim.device->setCodecInfo(i / 2, i % 2, video, audio);
            }
        });
    }
    threads.emplace_back([&] {
        for (int round = 0; !stop; ++round) {
            sim.device->enableMediaTransmit(round % 2, round / 2 % 2, round % 5 != 0);
            sim.device->requestVideoIFrame(round % 2, round / 2 % 2);
            sim.device->getStreamStatus(0, 0);
            if (round % 50 == 0)
                sim.control->loseConnection(5);
            char sound[320] = {};
            sim.device->startTalk(0);
            sim.device->sendTalkData(sound, sizeof sound, 0);
            sim.device->stopTalk(0);
            sim.control->counts(1, 1);
            sim.control->setStalled(round % 7 == 0, {1, 1});
            std::this_thread::sleep_for(Milliseconds(2));
        }
    });
    const bool flowed = vantratest::waitFor([&] { return frames > 200; }, 60000);
    stop = true;
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY(flowed);
}

QTEST_GUILESS_MAIN(TestSimulatedDevice)
#include "tst_simulateddevice.moc"
