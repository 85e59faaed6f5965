// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "framereader.h"

#include "simulator/simulateddevice.h"

#include "support/tone.h"
#include "support/waitfor.h"

#include <QElapsedTimer>
#include <QtTest>

using namespace vantrasim;

namespace {

constexpr int kReadMs = 200;

/// A small quick stream, so that many frames come in little time.
DeviceConfig quick(qint32 codec = HCodecH264)
{
    DeviceConfig config = DeviceConfig::simple(2, 1);
    config.queueMs = 60000; // no frame is missing, however slow the machine is
    for (ChannelConfig &channel : config.channels) {
        VideoFormat &video = channel.streams[0].video;
        video.codec = codec;
        video.width = 176;
        video.height = 144;
        video.fps = 50;
        video.gop = 5;
        channel.streams[0].audio.packetMs = 20;
    }
    return config;
}

ScriptedFault on(FrameFault fault, FrameSort sort, int after = 0, qint64 value = 0, int count = 1)
{
    ScriptedFault entry;
    entry.fault = fault;
    entry.sort = sort;
    entry.after = after;
    entry.value = value;
    entry.count = count;
    return entry;
}

struct Answer
{
    HRetError code;
    HFrameHeader header;
    QByteArray payload; // as much as the header tells and the buffer holds
};

/// Answers to `count` reads of channel 0 but for time-outs; fewer if none came for 20 seconds.
QVector<Answer> readAnswers(HNetDevice &device, int count, FrameBuffer &buffer)
{
    QVector<Answer> answers;
    QElapsedTimer quiet;
    quiet.start();
    while (answers.size() < count && quiet.elapsed() < 20000) {
        const HRetError code = device.readFrame(0, 0, buffer.header(), kReadMs);
        if (code == HRetTimeout)
            continue;
        quiet.restart();
        answers.append({code, *buffer.header(), code == HRetOk ? buffer.payload() : QByteArray()});
    }
    return answers;
}

QVector<Answer> videoOf(const QVector<Answer> &answers)
{
    QVector<Answer> video;
    for (const Answer &answer : answers) {
        if (answer.code == HRetOk && answer.header.isVideo())
            video.append(answer);
    }
    return video;
}

} // namespace

/// What can be made to go wrong with a simulated device.
class TestSimulatorFaults : public QObject
{
    Q_OBJECT

private slots:
    void refuse_answersAsManyTimesAsSaid();
    void refuse_strikesItsPlaceAlone();
    void lostConnection_endsStreams_untilItIsBack();
    void lostConnection_comesBackByItself();
    void lostConnection_keepsReadersWaiting();
    void stall_sendsNothing_thenGoesOnWithAKeyFrameOfNow();
    void readError_isAnswered_andTheFrameIsNotLost();
    void stamps_moveForwardAndBackAndStandStill();
    void header_tellsTooLittleOrTooMuch();
    void header_tellsAnotherSizeOfThePicture();
    void hostileHeader_neverWritesPastTheBuffer();
    void payload_isGarbageTruncatedOrEmpty();
    void type_and_codec_areUnknown();
    void largest_fillsTheBufferAndCanBeDecoded();
    void parameterSets_areLeftOut();
    void lostRepeatedAndSwappedFrames_showInTheCounter();
    void audio_changesItsForm();
    void script_countsFramesOfItsSortAlone();
    void random_isTheSameForTheSameSeed();
    void clear_endsAllFaults();
    void talk_isKept();
    void talk_isBusyForASecondTalker();
    void talk_endsWithTheConnection();
    void talk_isEchoed();
};

void TestSimulatorFaults::refuse_answersAsManyTimesAsSaid()
{
    const Simulation sim = simulateDevice(quick());
    DeviceFaults &faults = sim.control->faults();
    faults.refuse(DeviceOp::enableMediaTransmit, HRetExceedMax, 2);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetExceedMax);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetExceedMax);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetOk);
    faults.refuse(DeviceOp::startTalk, HRetBusy, 1);
    QCOMPARE(sim.device->startTalk(0), HRetBusy);
    QCOMPARE(sim.device->startTalk(0), HRetOk);
    faults.refuse(DeviceOp::getCodecInfo, HRetError(77), -1);
    HVideoEncPara video;
    HAudioEncPara audio;
    for (int i = 0; i < 5; ++i)
        QCOMPARE(sim.device->getCodecInfo(0, 0, video, audio), HRetError(77));
    QVERIFY(!video.isValid());
    QCOMPARE(faults.struck(), 8);
}

void TestSimulatorFaults::refuse_strikesItsPlaceAlone()
{
    const Simulation sim = simulateDevice(quick());
    sim.control->faults().refuse(DeviceOp::enableMediaTransmit, HRetRefused, -1, {1, 0});
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(1, 0, true), HRetRefused);
}

void TestSimulatorFaults::lostConnection_endsStreams_untilItIsBack()
{
    const Simulation sim = simulateDevice(quick());
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetOk);
    sim.control->loseConnection();
    FrameBuffer buffer;
    QCOMPARE(sim.device->getConnectStatus(), HChannelDisconnected);
    QCOMPARE(sim.device->getStreamStatus(0, 0), HChannelDisconnected);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetRefused);
    QCOMPARE(sim.device->startTalk(0), HRetRefused);
    QCOMPARE(sim.device->readFrame(0, 0, buffer.header(), 30), HRetTimeout);
    sim.control->restoreConnection();
    QCOMPARE(sim.device->getConnectStatus(), HChannelConnected);
    // The stream has to be asked for again.
    QCOMPARE(sim.device->readFrame(0, 0, buffer.header(), 30), HRetTimeout);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetOk);
    QVERIFY(isGapless(readPictures(*sim.device, 0, 0, 10)));
}

void TestSimulatorFaults::lostConnection_comesBackByItself()
{
    const Simulation sim = simulateDevice(quick());
    const qint64 lost = deviceNow();
    sim.control->loseConnection(150);
    QCOMPARE(sim.device->getConnectStatus(), HChannelDisconnected);
    QVERIFY(
        vantratest::waitFor([&] { return sim.device->getConnectStatus() == HChannelConnected; }));
    QVERIFY(deviceNow() - lost >= 150);
}

void TestSimulatorFaults::lostConnection_keepsReadersWaiting()
{
    const Simulation sim = simulateDevice(quick());
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    QCOMPARE(readAnswers(*sim.device, 3, buffer).size(), 3);
    sim.control->loseConnection();
    for (int i = 0; i < 3; ++i)
        QCOMPARE(sim.device->readFrame(0, 0, buffer.header(), 20), HRetTimeout);
}

void TestSimulatorFaults::stall_sendsNothing_thenGoesOnWithAKeyFrameOfNow()
{
    const Simulation sim = simulateDevice(quick());
    sim.device->enableMediaTransmit(0, 0, true);
    sim.device->enableMediaTransmit(1, 0, true);
    FrameBuffer buffer;
    QCOMPARE(readAnswers(*sim.device, 7, buffer).size(), 7);
    sim.control->setStalled(true, {0, 0});
    const qint64 stalled = deviceNow();
    QCOMPARE(sim.device->readFrame(0, 0, buffer.header(), 100), HRetTimeout);
    QVERIFY(!readPictures(*sim.device, 1, 0, 3).isEmpty()); // others go on
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetAlready);
    sim.control->setStalled(false);
    const QVector<Answer> video = videoOf(readAnswers(*sim.device, 8, buffer));
    QVERIFY(!video.isEmpty());
    QVERIFY(video[0].header.isKeyFrame());
    QVERIFY(video[0].header.pts >= stalled);
}

void TestSimulatorFaults::readError_isAnswered_andTheFrameIsNotLost()
{
    const Simulation sim = simulateDevice(quick());
    sim.control->faults().strike(on(FrameFault::ReadError, FrameSort::Any, 6, 0, 3));
    sim.control->faults().strike(on(FrameFault::ReadError, FrameSort::Any, 20, 55));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    const QVector<Answer> answers = readAnswers(*sim.device, 40, buffer);
    int errors = 0;
    for (int i = 0; i < answers.size(); ++i) {
        if (answers[i].code == HRetOk)
            continue;
        ++errors;
        QVERIFY(answers[i].code == HRetError(99) || answers[i].code == HRetError(55));
    }
    QCOMPARE(errors, 4);
    QCOMPARE(answers[6].code, HRetError(99));
    QCOMPARE(answers[8].code, HRetError(99));
    QVERIFY(answers[9].code == HRetOk);
    const QVector<Answer> video = videoOf(answers);
    for (int i = 1; i < video.size(); ++i)
        QCOMPARE(video[i].header.pts - video[i - 1].header.pts, qint64(20));
}

void TestSimulatorFaults::stamps_moveForwardAndBackAndStandStill()
{
    const Simulation sim = simulateDevice(quick());
    DeviceFaults &faults = sim.control->faults();
    faults.strike(on(FrameFault::StampForward, FrameSort::Video, 3, 5000));
    faults.strike(on(FrameFault::StampBack, FrameSort::Video, 6, 9000));
    faults.strike(on(FrameFault::StampRepeat, FrameSort::Video, 9));
    sim.device->enableMediaTransmit(0, 0, true);
    PictureReader reader;
    const QVector<ReadPicture> pictures = readPictures(*sim.device, 0, 0, 12);
    QCOMPARE(pictures.size(), 12);
    QVERIFY(isGapless(pictures)); // the pictures are those they would have been
    QVector<qint64> steps;
    for (int i = 1; i < pictures.size(); ++i)
        steps << pictures[i].header.pts - pictures[i - 1].header.pts;
    QCOMPARE(steps[2], qint64(5020));
    QCOMPARE(steps[5], qint64(20 - 9000));
    QCOMPARE(steps[1], qint64(20));
    QVERIFY(steps[8] <= 0); // that of the frame before, which may have been sound
    QVERIFY(steps[8] + steps[9] <= 40 && steps[9] > 0);
}

void TestSimulatorFaults::header_tellsAnotherSizeOfThePicture()
{
    const DeviceConfig config = quick();
    const VideoFormat &form = config.channels[0].streams[0].video;
    const Simulation sim = simulateDevice(config);
    DeviceFaults &faults = sim.control->faults();
    faults.strike(on(FrameFault::OtherSize, FrameSort::Video, 1));
    faults.strike(on(FrameFault::OtherSize, FrameSort::Video, 1, 300));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    const QVector<Answer> video = videoOf(readAnswers(*sim.device, 12, buffer));
    QVERIFY(video.size() > 3);
    QCOMPARE(video[0].header.widthOrSampleRate, form.width);
    QCOMPARE(video[1].header.widthOrSampleRate, form.width / 2);
    QCOMPARE(video[1].header.heightOrBits, form.height / 2);
    QCOMPARE(video[2].header.widthOrSampleRate, form.width * 3);
    QCOMPARE(video[3].header.heightOrBits, form.height);
}

void TestSimulatorFaults::header_tellsTooLittleOrTooMuch()
{
    const Simulation sim = simulateDevice(quick());
    DeviceFaults &faults = sim.control->faults();
    faults.strike(on(FrameFault::HeaderTooSmall, FrameSort::Video, 1));
    faults.strike(on(FrameFault::HeaderTooSmall, FrameSort::Video, 1, 7));
    faults.strike(on(FrameFault::HeaderTooLarge, FrameSort::Video, 1, 100));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    // The same pictures without faults come from a second device: frames of one moment are alike.
    const QVector<Answer> video = videoOf(readAnswers(*sim.device, 12, buffer));
    QVERIFY(video.size() > 4);
    // Entries of the script pass one after the other: the second one waits while the first strikes.
    QVERIFY(video[1].header.frameSize < video[2].header.frameSize);
    QVERIFY(video[1].header.frameSize > 0);
    QVERIFY(!video[2].payload.endsWith(video[1].payload.right(1)) ||
            video[2].payload.size() != video[1].payload.size());
    QCOMPARE(faults.struck(), 3);
    QVERIFY(buffer.isGuardWhole());
}

void TestSimulatorFaults::hostileHeader_neverWritesPastTheBuffer()
{
    const Simulation sim = simulateDevice(quick());
    sim.control->faults().strike(on(FrameFault::HeaderTooLarge, FrameSort::Video, 2));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    const QVector<Answer> video = videoOf(readAnswers(*sim.device, 8, buffer));
    QVERIFY(video.size() > 3);
    QCOMPARE(video[2].header.frameSize, 0xFFFFFFFFU);
    QVERIFY(!video[2].header.fitsBuffer());
    QVERIFY(buffer.isGuardWhole());
}

void TestSimulatorFaults::payload_isGarbageTruncatedOrEmpty()
{
    const Simulation sim = simulateDevice(quick());
    DeviceFaults &faults = sim.control->faults();
    faults.strike(on(FrameFault::Garbage, FrameSort::Video, 1));
    faults.strike(on(FrameFault::Truncated, FrameSort::Video, 2));
    faults.strike(on(FrameFault::Truncated, FrameSort::Video, 3, 11));
    faults.strike(on(FrameFault::Empty, FrameSort::Video, 4));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    const QVector<Answer> video = videoOf(readAnswers(*sim.device, 30, buffer));
    QVERIFY(video.size() > 8);
    const QByteArray start("\0\0\0\1", 4);
    int garbage = 0;
    int shortOnes = 0;
    int empty = 0;
    for (const Answer &answer : video) {
        QCOMPARE(quint32(answer.payload.size()), answer.header.frameSize);
        empty += answer.payload.isEmpty() ? 1 : 0;
        garbage += !answer.payload.isEmpty() && !answer.payload.startsWith(start) ? 1 : 0;
        shortOnes += answer.payload.size() == 11 ? 1 : 0;
    }
    QCOMPARE(garbage, 1);
    QCOMPARE(shortOnes, 1);
    QCOMPARE(empty, 1);
    QCOMPARE(faults.struck(), 4);
}

void TestSimulatorFaults::type_and_codec_areUnknown()
{
    const Simulation sim = simulateDevice(quick());
    DeviceFaults &faults = sim.control->faults();
    faults.strike(on(FrameFault::UnknownType, FrameSort::Any, 2));
    faults.strike(on(FrameFault::UnknownType, FrameSort::Any, 3, 200));
    faults.strike(on(FrameFault::UnknownCodec, FrameSort::Audio, 0));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    QVector<quint32> types;
    int unknownCodec = 0;
    for (const Answer &answer : readAnswers(*sim.device, 20, buffer)) {
        types << answer.header.frameType;
        unknownCodec += answer.header.codecId == 6 ? 1 : 0;
    }
    QCOMPARE(types.count(5), 1);
    QCOMPARE(types.count(200), 1);
    QCOMPARE(unknownCodec, 1);
}

void TestSimulatorFaults::largest_fillsTheBufferAndCanBeDecoded()
{
    for (const qint32 codec : {HCodecH264, HCodecH265}) {
        const Simulation sim = simulateDevice(quick(codec));
        sim.control->faults().strike(on(FrameFault::Largest, FrameSort::Video, 1));
        sim.device->enableMediaTransmit(0, 0, true);
        FrameBuffer buffer;
        PictureReader reader;
        for (const Answer &answer : videoOf(readAnswers(*sim.device, 10, buffer))) {
            const auto seen = reader.decode(answer.header.codecId, answer.payload);
            QVERIFY(seen && seen->counter);
        }
        QCOMPARE(reader.errors(), 0);
        QCOMPARE(sim.control->faults().struck(), 1);
        QVERIFY(buffer.isGuardWhole());
    }
    QCOMPARE(kHFrameMaxPayload, 1048584U);
}

void TestSimulatorFaults::parameterSets_areLeftOut()
{
    const Simulation sim = simulateDevice(quick());
    sim.control->faults().strike(on(FrameFault::NoParameterSets, FrameSort::Key, 0, 0, 2));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    QVector<bool> hasSets;
    for (const Answer &answer : videoOf(readAnswers(*sim.device, 40, buffer))) {
        if (answer.header.isKeyFrame())
            hasSets << answer.payload.contains(QByteArray("\0\0\0\1\x67", 5));
    }
    QVERIFY(hasSets.size() >= 3);
    QCOMPARE(hasSets.mid(0, 3), QVector<bool>({false, false, true}));
}

void TestSimulatorFaults::lostRepeatedAndSwappedFrames_showInTheCounter()
{
    DeviceConfig config = quick();
    config.channels[0].streams[0].video.gop = 1; // each picture by itself
    config.channels[0].streams[0].audio.codec = 0;
    const Simulation sim = simulateDevice(config);
    DeviceFaults &faults = sim.control->faults();
    faults.strike(on(FrameFault::Lost, FrameSort::Video, 3));
    faults.strike(on(FrameFault::Repeated, FrameSort::Video, 6));
    faults.strike(on(FrameFault::Swapped, FrameSort::Video, 9));
    sim.device->enableMediaTransmit(0, 0, true);
    const QVector<ReadPicture> pictures = readPictures(*sim.device, 0, 0, 14);
    QCOMPARE(pictures.size(), 14);
    QVector<int> steps;
    for (int i = 1; i < pictures.size(); ++i)
        steps << int(*pictures[i].seen.counter) - int(*pictures[i - 1].seen.counter);
    QCOMPARE(steps.count(0), 1);  // repeated
    QCOMPARE(steps.count(-1), 1); // swapped
    QCOMPARE(steps.count(2), 3);  // lost, before and after the swapped pair
    QVERIFY(!isGapless(pictures));
}

void TestSimulatorFaults::audio_changesItsForm()
{
    DeviceConfig config = quick();
    const Simulation sim = simulateDevice(config);
    sim.device->enableMediaTransmit(0, 0, true);
    StreamConfig changed = config.channels[0].streams[0];
    FrameBuffer buffer;
    QVector<quint32> codecs;
    for (const qint32 codec : {HCodecG711A, HCodecG711U, HCodecPcm}) {
        changed.audio.codec = codec;
        changed.audio.channels = codec == HCodecG711U ? 2 : 1;
        sim.control->setForm(0, 0, changed);
        for (const Answer &answer : readAnswers(*sim.device, 15, buffer)) {
            if (answer.header.isAudio() && !codecs.contains(answer.header.codecId)) {
                codecs << answer.header.codecId;
                QCOMPARE(answer.header.frameRateOrChannels, changed.audio.channels);
                QCOMPARE(answer.payload.size(), codec == HCodecG711A ? 160 : 320);
            }
        }
    }
    QCOMPARE(codecs, QVector<quint32>({3, 4, 5}));
}

void TestSimulatorFaults::script_countsFramesOfItsSortAlone()
{
    const Simulation sim = simulateDevice(quick());
    sim.control->faults().strike(on(FrameFault::UnknownType, FrameSort::Key, 2, 9));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    int pictures = 0;
    int struckAt = -1;
    for (const Answer &answer : readAnswers(*sim.device, 50, buffer)) {
        if (answer.header.frameType == 9)
            struckAt = pictures;
        pictures += answer.header.frameType != 4 ? 1 : 0;
    }
    QCOMPARE(struckAt, 10); // the third key frame of groups of five
}

void TestSimulatorFaults::random_isTheSameForTheSameSeed()
{
    QVector<QVector<quint32>> runs;
    for (const quint32 seed : {1U, 1U, 2U}) {
        DeviceConfig config = quick();
        config.channels[0].streams[0].audio.codec = 0;
        const Simulation sim = simulateDevice(config);
        sim.control->faults().strikeAtRandom(seed, 0.3,
                                             {FrameFault::UnknownType, FrameFault::UnknownCodec});
        sim.device->enableMediaTransmit(0, 0, true);
        FrameBuffer buffer;
        QVector<quint32> run;
        for (const Answer &answer : readAnswers(*sim.device, 60, buffer))
            run << (answer.header.frameType == 5 ? 1U : answer.header.codecId == 6 ? 2U : 0U);
        QVERIFY(run.count(1) > 0 && run.count(2) > 0 && run.count(0) > 20);
        runs << run;
    }
    QCOMPARE(runs[0], runs[1]);
    QVERIFY(runs[0] != runs[2]);
}

void TestSimulatorFaults::clear_endsAllFaults()
{
    const Simulation sim = simulateDevice(quick());
    DeviceFaults &faults = sim.control->faults();
    faults.refuse(DeviceOp::enableMediaTransmit, HRetRefused, -1);
    faults.strike(on(FrameFault::Garbage, FrameSort::Any, 0, 0, -1));
    faults.strikeAtRandom(1, 1.0, {FrameFault::Empty});
    faults.clear();
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetOk);
    QVERIFY(isGapless(readPictures(*sim.device, 0, 0, 10)));
    QCOMPARE(faults.struck(), 0);
}

void TestSimulatorFaults::talk_isKept()
{
    const Simulation sim = simulateDevice(quick());
    char sound[] = "\1\2\3\4";
    QCOMPARE(sim.device->sendTalkData(sound, 4, 0), HRetRefused);
    QCOMPARE(sim.device->startTalk(0), HRetOk);
    QVERIFY(sim.control->talk().isTalking());
    QCOMPARE(sim.device->sendTalkData(sound, 4, 0), HRetOk);
    QCOMPARE(sim.device->sendTalkData(sound, 2, 0), HRetOk);
    QCOMPARE(sim.device->sendTalkData(nullptr, 2, 0), HRetRefused);
    QCOMPARE(sim.device->sendTalkData(sound, -1, 0), HRetRefused);
    QCOMPARE(sim.device->stopTalk(0), HRetOk);
    QCOMPARE(sim.control->talk().received(), QByteArray("\1\2\3\4\1\2"));
    QCOMPARE(sim.control->talk().blocks(), QVector<int>({4, 2}));
    QCOMPARE(sim.control->talk().talks(), 1);
}

void TestSimulatorFaults::talk_isBusyForASecondTalker()
{
    const Simulation sim = simulateDevice(quick());
    QCOMPARE(sim.device->startTalk(0), HRetOk);
    QCOMPARE(sim.device->startTalk(0), HRetBusy);
    sim.device->stopTalk(0);
    sim.control->talk().setBusy(true);
    QCOMPARE(sim.device->startTalk(0), HRetBusy);
    sim.control->talk().setBusy(false);
    QCOMPARE(sim.device->startTalk(0), HRetOk);
}

void TestSimulatorFaults::talk_endsWithTheConnection()
{
    const Simulation sim = simulateDevice(quick());
    char sound[4] = {};
    QCOMPARE(sim.device->startTalk(0), HRetOk);
    sim.control->loseConnection(0);
    QCOMPARE(sim.device->sendTalkData(sound, 4, 0), HRetRefused);
    QCOMPARE(sim.device->startTalk(0), HRetOk);
}

void TestSimulatorFaults::talk_isEchoed()
{
    DeviceConfig config = quick();
    config.echoTalk = true;
    config.channels[0].streams[0].audio.codec = HCodecG711U;
    const Simulation sim = simulateDevice(config);
    sim.device->enableMediaTransmit(0, 0, true);
    const QByteArray said = vantratest::sinePcm(1000, 8000, 8000);
    QByteArray coded;
    for (int i = 0; i < said.size(); i += 2)
        coded.append(char(toALaw(qint16(quint8(said[i]) | quint8(said[i + 1]) << 8))));
    sim.device->startTalk(0);
    QCOMPARE(sim.device->sendTalkData(coded.data(), coded.size(), 0), HRetOk);
    QByteArray heard;
    FrameBuffer buffer;
    for (const Answer &answer : readAnswers(*sim.device, 90, buffer)) {
        for (const char code : answer.header.isAudio() ? answer.payload : QByteArray()) {
            const qint16 sample = fromMuLaw(quint8(code));
            heard.append(reinterpret_cast<const char *>(&sample), sizeof sample);
        }
    }
    QVERIFY(vantratest::hasTone(heard, 8000, 1000));
}

QTEST_GUILESS_MAIN(TestSimulatorFaults)
#include "tst_simulatorfaults.moc"
