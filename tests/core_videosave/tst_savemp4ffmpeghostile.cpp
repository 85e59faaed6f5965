// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Frames, packets and parameters that no sound device sends: each costs at most itself and a line
/// in the log.

#include "recordcase.h"
#include "recordedfile.h"
#include "recordingtools.h"

#include <QtTest>

#include <limits>

using namespace vantratest;

namespace {

constexpr qint64 kMax = std::numeric_limits<qint64>::max();
constexpr qint64 kMin = std::numeric_limits<qint64>::min();
constexpr qint64 kStart = 1700000000000;

} // namespace

class TestSaveMp4FFmpegHostile : public RecordCase
{
    Q_OBJECT

private slots:
    void badPayload_costsItself_data();
    void badPayload_costsItself();
    void badPayload_atTheBeginning_isLeftOut_data();
    void badPayload_atTheBeginning_isLeftOut();
    void bytesBeforeTheFirstStartCode_spoilNoFile_data();
    void bytesBeforeTheFirstStartCode_spoilNoFile();
    void longestPayload_isTaken();
    void otherCodec_isLeftOut_untilTheFilesOwnComesBack();
    void stamp_atTheEnds_costsItself_data();
    void stamp_atTheEnds_costsItself();
    void stamp_farAway_doesNotStopTheNext_data();
    void stamp_farAway_doesNotStopTheNext();
    void clock_thatIsSet_doesNotEndTheRecording_data();
    void clock_thatIsSet_doesNotEndTheRecording();
    void clock_thatGoesBackBehindZero_losesNoPicture();
    void packet_thatLies_isRefused();
    void packet_withoutOwner_isCopied();
    void size_thatLies_isBorne_data();
    void size_thatLies_isBorne();
    void soundParameters_thatLie_areRefused();
    void sound_ofAnySize_isBorne();

private:
    /// A picture may be refused, with a line of that error.
    void expectRefusal(int code)
    {
        log->expectMatching(
            Logger::Error,
            QRegularExpression(
                QStringLiteral("^\\(svmp4ff\\)write video （-?\\d+:.*a\\.mp4\\)  err \\(%1:.*\\)$")
                    .arg(code)));
    }
    /// The device tells steps that are long or backwards.
    void expectSteps()
    {
        log->expectMatching(
            Logger::Warning,
            QRegularExpression(QStringLiteral("^\\(svmp4ff\\).*a\\.mp4 pts \\(-?\\d+:-?\\d+\\)$")));
    }
    int refusals() const
    {
        return log->countMatching(Logger::Error, QRegularExpression("write video"));
    }
};

namespace {

void addBadPayloads()
{
    QTest::addColumn<QByteArray>("payload");
    QByteArray lengths = clip(1).at(1).data; // as files of this kind keep their pictures
    lengths.replace(0, 4, QByteArray::fromHex("00001000"));
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("one byte") << QByteArray(1, '\x65');
    QTest::newRow("text") << QByteArray("this is no picture");
    QTest::newRow("zeros") << QByteArray(100000, '\0');
    QTest::newRow("ones") << QByteArray(100000, '\xff');
    QTest::newRow("start code alone") << QByteArray::fromHex("00000001");
    QTest::newRow("lengths for start codes") << lengths;
}

} // namespace

void TestSaveMp4FFmpegHostile::badPayload_costsItself_data()
{
    addBadPayloads();
}

void TestSaveMp4FFmpegHostile::badPayload_costsItself()
{
    QFETCH(QByteArray, payload);
    expectRefusal(AVERROR_INVALIDDATA);
    for (const bool packets : {false, true}) {
        SaveMp4FFmpeg writer;
        writer.setPara(videoPara(), HAudioEncPara(), kHour);
        writer.setTimebase({1, 1000});
        writer.open(path());
        Feeder feed(writer);
        for (int i = 0; i < kPictures; ++i) {
            const AccessUnit &unit = clip(1).at(i);
            if (packets)
                feed.packet(true, kStart + i * kFrameMs, unit.data, unit.key);
            else
                feed.picture(unit, kStart + i * kFrameMs);
            if (i % 7 != 3)
                continue;
            if (packets)
                feed.packet(true, kStart + i * kFrameMs + 20, payload, true);
            else
                feed.frame(0, kStart + i * kFrameMs + 20, payload);
        }
        writer.stop();
        const RecordedFile file = readRecording(path());
        QCOMPARE(file.error, QString());
        QCOMPARE(file.times, regularTimes(kPictures));
        for (int i = 0; i < kPictures; ++i)
            QCOMPARE(file.pictures.at(i), i);
    }
    QCOMPARE(refusals(), 2 * 7);
}

void TestSaveMp4FFmpegHostile::badPayload_atTheBeginning_isLeftOut_data()
{
    addBadPayloads();
    // Pictures that nobody can play without what came before.
    QTest::newRow("no parameter sets") << clip(1).at(1).data;
}

void TestSaveMp4FFmpegHostile::badPayload_atTheBeginning_isLeftOut()
{
    QFETCH(QByteArray, payload);
    expectRefusal(AVERROR_INVALIDDATA);
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < 3; ++i)
        feed.frame(0, kStart - 120 + i * kFrameMs, payload);
    for (int i = 0; i < kPictures; ++i)
        feed.picture(clip(1).at(i), kStart + i * kFrameMs);
    writer.stop();
    QCOMPARE(refusals(), 3);
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures.size(), kPictures);
    QCOMPARE(file.times, regularTimes(kPictures));
}

void TestSaveMp4FFmpegHostile::bytesBeforeTheFirstStartCode_spoilNoFile_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QByteArray>("before");
    for (const int codec : {1, 2}) {
        const char *const name = codec == 1 ? "H.264" : "H.265";
        // Annex B of both allows any number of them.
        QTest::addRow("%s, a zero", name) << codec << QByteArray(1, '\0');
        QTest::addRow("%s, zeros", name) << codec << QByteArray(64, '\0');
        QTest::addRow("%s, the version of another form", name) << codec << QByteArray(1, '\1');
        QTest::addRow("%s, anything", name) << codec << QByteArray(100, 'x');
    }
}

void TestSaveMp4FFmpegHostile::bytesBeforeTheFirstStartCode_spoilNoFile()
{
    QFETCH(int, codec);
    QFETCH(QByteArray, before);
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(codec == 2 ? HCodecH265 : HCodecH264), HAudioEncPara(), kHour);
    writer.setTimebase({1, 1000});
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kPictures; ++i) {
        AccessUnit unit = clip(codec).at(i);
        if (i == 0)
            unit.data.prepend(before);
        feed.picture(unit, kStart + i * kFrameMs);
    }
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures.size(), kPictures);
    for (int i = 0; i < kPictures; ++i)
        QCOMPARE(file.pictures.at(i), i);
}

void TestSaveMp4FFmpegHostile::longestPayload_isTaken()
{
    // A picture with filler (NAL unit 12) up to the last byte of the buffer.
    QByteArray payload = clip(1).first().data + QByteArray::fromHex("0000010c");
    payload.append(int(kHFrameMaxPayload) - payload.size(), '\xff');
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    feed.frame(0, 0, payload);
    feed.picture(clip(1).at(1), kFrameMs);
    writer.stop();
    QVERIFY(QFileInfo(path()).size() > int(kHFrameMaxPayload));
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures, (QVector<int>{0, 1}));
}

void TestSaveMp4FFmpegHostile::otherCodec_isLeftOut_untilTheFilesOwnComesBack()
{
    expectRefusal(AVERROR_INVALIDDATA);
    for (const int own : {1, 2}) {
        SaveMp4FFmpeg writer;
        writer.setPara(videoPara(own), HAudioEncPara(), kHour);
        writer.open(path());
        Feeder feed(writer);
        for (int i = 0; i < kPictures; ++i) {
            const bool other = i >= 2 * kGop && i < 3 * kGop;
            feed.picture(clip(other ? 3 - own : own).at(i), i * kFrameMs);
        }
        writer.stop();
        QCOMPARE(refusals(), own * kGop);
        const RecordedFile file = readRecording(path());
        QCOMPARE(file.error, QString());
        QCOMPARE(file.pictures.size(), kPictures - kGop);
        QCOMPARE(file.pictures.at(2 * kGop), 3 * kGop);
    }
}

void TestSaveMp4FFmpegHostile::stamp_atTheEnds_costsItself_data()
{
    QTest::addColumn<qint64>("stamp");
    QTest::newRow("greatest") << kMax;
    QTest::newRow("greatest but one") << kMax - 1;
    QTest::newRow("half the greatest") << kMax / 2;
    QTest::newRow("least") << kMin;
    QTest::newRow("least but one") << kMin + 1;
    QTest::newRow("half the least") << kMin / 2;
}

void TestSaveMp4FFmpegHostile::stamp_atTheEnds_costsItself()
{
    QFETCH(qint64, stamp);
    expectRefusal(AVERROR(ERANGE));
    expectSteps();
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    // Even as the very first; what follows cannot be shown without it.
    feed.frame(0, stamp, clip(1).first().data);
    for (int i = 0; i < kPictures; ++i) {
        feed.picture(clip(1).at(i), kStart + i * kFrameMs);
        if (i == 15)
            feed.frame(1, stamp, clip(1).at(i).data);
    }
    writer.stop();
    QCOMPARE(refusals(), 2);
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.times, regularTimes(kPictures));
}

void TestSaveMp4FFmpegHostile::stamp_farAway_doesNotStopTheNext_data()
{
    QTest::addColumn<bool>("packets");
    QTest::addColumn<qint64>("stamp");
    for (const bool packets : {false, true}) {
        const char *form = packets ? "packets" : "frames";
        QTest::addRow("%s, zero", form) << packets << qint64(0);
        QTest::addRow("%s, ahead", form) << packets << 2 * kStart;
        QTest::addRow("%s, negative", form) << packets << -kStart;
        QTest::addRow("%s, far ahead", form) << packets << (qint64(1) << 49);
    }
}

void TestSaveMp4FFmpegHostile::stamp_farAway_doesNotStopTheNext()
{
    QFETCH(bool, packets);
    QFETCH(qint64, stamp);
    if (!packets)
        expectSteps();
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.setTimebase({1, 1000});
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kPictures; ++i) {
        const qint64 pts = i == 15 ? stamp : kStart + i * kFrameMs;
        const AccessUnit &unit = clip(1).at(i);
        if (packets)
            feed.packet(true, pts, unit.data, unit.key);
        else
            feed.picture(unit, pts);
    }
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QVector<qint64> times = regularTimes(kPictures);
    times[15] = times[14] + 1; // right behind the one before
    QCOMPARE(file.times, times);
    QCOMPARE(file.pictures.size(), kPictures);
}

void TestSaveMp4FFmpegHostile::clock_thatIsSet_doesNotEndTheRecording_data()
{
    QTest::addColumn<qint64>("before");
    QTest::addColumn<qint64>("after");
    QTest::newRow("from nothing to now") << qint64(0) << kStart;
    QTest::newRow("from now to nothing") << kStart << qint64(0);
    QTest::newRow("32 bits wrap") << (qint64(1) << 32) - 25 * kFrameMs << qint64(0);
    QTest::newRow("back by a day") << kStart << kStart - 24 * kHour;
}

void TestSaveMp4FFmpegHostile::clock_thatIsSet_doesNotEndTheRecording()
{
    QFETCH(qint64, before);
    QFETCH(qint64, after);
    expectSteps();
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < 25; ++i)
        feed.picture(clip(1).at(i), before + i * kFrameMs);
    for (int i = 25; i < kPictures; ++i)
        feed.picture(clip(1).at(i), after + (i - 25) * kFrameMs);
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures.size(), kPictures);
    QVector<qint64> times = regularTimes(25);
    for (int i = 25; i < kPictures; ++i)
        times += times.at(24) + 1 + (i - 25) * kFrameMs;
    QCOMPARE(file.times, times);
}

/// Of a first picture at zero the muxer does not see that the next one lies before it.
void TestSaveMp4FFmpegHostile::clock_thatGoesBackBehindZero_losesNoPicture()
{
    constexpr qint64 kBack = kHour;
    expectSteps();
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    feed.picture(clip(1).at(0), 0);
    for (int i = 1; i < kPictures; ++i)
        feed.picture(clip(1).at(i), (i - 1) * kFrameMs - kBack);
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures.size(), kPictures);
    for (int i = 1; i < kPictures; ++i)
        QVERIFY(file.times.at(i) >= file.times.at(i - 1)); // ticks are finer than milliseconds
    QCOMPARE(complaintsAbout(path()), QString());
}

void TestSaveMp4FFmpegHostile::packet_thatLies_isRefused()
{
    log->expect(Logger::Warning, QStringLiteral("(svmp4ff)clone pkt err"));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.setTimebase({1, 1000});
    writer.open(path());
    Feeder feed(writer);
    feed.packet(true, 0, clip(1).at(0).data, true);
    const AVPacketPtr packet(av_packet_alloc());
    QCOMPARE(av_new_packet(packet.get(), 100), 0);
    packet->pts = 20;
    for (const int size : {-1, std::numeric_limits<int>::min()}) {
        packet->size = size;
        writer.writeData(packet.get(), true);
    }
    packet->size = 100;
    uint8_t *const data = packet->data;
    packet->data = nullptr;
    writer.writeData(packet.get(), true);
    packet->data = data;
    feed.packet(true, kFrameMs, clip(1).at(1).data);
    writer.stop();
    QCOMPARE(log->count(Logger::Warning, QStringLiteral("(svmp4ff)clone pkt err")), 3);
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.times, regularTimes(2));
}

void TestSaveMp4FFmpegHostile::packet_withoutOwner_isCopied()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.setTimebase({1, 1000});
    writer.open(path());
    for (int i = 0; i < 3; ++i) {
        QByteArray bytes = clip(1).at(i).data;
        const AVPacketPtr packet(av_packet_alloc());
        packet->data = reinterpret_cast<uint8_t *>(bytes.data());
        packet->size = bytes.size();
        packet->pts = i * kFrameMs;
        packet->flags = clip(1).at(i).key ? AV_PKT_FLAG_KEY : 0;
        writer.writeData(packet.get(), true);
        bytes.fill('\0'); // as a caller does who reads on
    }
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures, (QVector<int>{0, 1, 2}));
}

void TestSaveMp4FFmpegHostile::size_thatLies_isBorne_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("opens");
    QTest::newRow("one pixel") << 1 << 1 << true;
    QTest::newRow("larger") << 1920 << 1080 << true;
    QTest::newRow("largest that a file can say") << 65535 << 65535 << true;
    QTest::newRow("larger than a file can say") << 65536 << 65536 << false;
    QTest::newRow("greatest") << std::numeric_limits<int>::max() << 240 << false;
    QTest::newRow("greatest both ways")
        << std::numeric_limits<int>::max() << std::numeric_limits<int>::max() << false;
}

void TestSaveMp4FFmpegHostile::size_thatLies_isBorne()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(bool, opens);
    if (!opens) {
        log->expectMatching(Logger::Error,
                            QRegularExpression("^\\(svmp4ff\\)write header err \\(-\\d+:.+\\)$"));
        log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err"));
    }
    HVideoEncPara para = videoPara();
    para.width = width;
    para.height = height;
    SaveMp4FFmpeg writer;
    writer.setPara(para, HAudioEncPara(), kHour);
    writer.open(path());
    QCOMPARE(writer.getOpened(), opens);
    if (!opens)
        return;
    Feeder feed(writer);
    for (int i = 0; i < kPictures; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures.size(), kPictures);
    QCOMPARE(file.pictures.last(), kPictures - 1); // the stream knows its own size
}

void TestSaveMp4FFmpegHostile::soundParameters_thatLie_areRefused()
{
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat easy aac null"));
    constexpr int kGreatest = std::numeric_limits<int>::max();
    SaveMp4FFmpeg writer;
    HAudioEncPara para = audioPara(HCodecG711A);
    para.channels = kGreatest;
    para.sampleRate = kGreatest;
    para.bitsPerSample = kGreatest;
    writer.setPara(videoPara(), para, kHour);
    writer.open(path());
    QVERIFY(!writer.getOpened());
    para = audioPara(HCodecG711A);
    writer.setPara(videoPara(), para, kHour);
    writer.open(path());
    QVERIFY(writer.getOpened());
}

void TestSaveMp4FFmpegHostile::sound_ofAnySize_isBorne()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    writer.open(path());
    Feeder feed(writer);
    qint64 pts = 0;
    for (int i = 0; i < kPictures; ++i) {
        feed.picture(clip(1).at(i), i * kFrameMs);
        for (const int size : {0, 1, 3, 317}) {
            feed.frame(4, pts, QByteArray(size, char(i)));
            pts += size / 8;
        }
    }
    feed.frame(4, pts, QByteArray(int(kHFrameMaxPayload), '\x2a'));
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.times, regularTimes(kPictures));
    QVERIFY(file.sound.size() > 100 * kSampleRate); // the last alone is more than two minutes
}

int main(int argc, char *argv[])
{
    av_log_set_level(AV_LOG_QUIET);
    QCoreApplication app(argc, argv);
    TestSaveMp4FFmpegHostile test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_savemp4ffmpeghostile.moc"
