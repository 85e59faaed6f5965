// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Layout of the records that devices fill, and the small rules around them.

#include "devicelink/devicerules.h"
#include "devicelink/hframeheader.h"
#include "devicelink/vodrecords.h"

#include <QtEndian>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

class tst_DeviceRecords : public QObject
{
    Q_OBJECT

private slots:
    void codes_haveTheNumbersThatDevicesAnswer();
    void status_isPrintedAsShort();
    void frameHeader_isReadFromTheBytesOfADevice();
    void frame_payloadBeginsInTheRecord();
    void frame_kind_data();
    void frame_kind();
    void frame_fitsBuffer_upToTheLargestPayload();
    void sdp_isReadFromTheBytesOfADevice();
    void sdp_isEmpty_whenNew();
    void vodParameters_haveTheirSize();
    void flatStreamIndex_data();
    void flatStreamIndex();
    void wholeSpeed_isCutTowardsZero_data();
    void wholeSpeed_isCutTowardsZero();
    void frameCode_mapsToCodecAndBack_data();
    void frameCode_mapsToCodecAndBack();
    void frameCode_withoutCodec_isZero();
    void codec_withoutFrameCode_isMinusOne();
    void readResult_data();
    void readResult();
};

void tst_DeviceRecords::codes_haveTheNumbersThatDevicesAnswer()
{
    QCOMPARE(int(HRetOk), 0);
    QCOMPARE(int(HRetTimeout), 8);
    QCOMPARE(int(HRetAlready), 14);
    QCOMPARE(int(HRetBusy), 16);
    QCOMPARE(int(HRetExceedMax), 17);
    QCOMPARE(int(HRetEndOfFile), 18);
    QCOMPARE(int(HTransportZelk), 1);
    QCOMPARE(int(HTransportRtsp), 2);
    QCOMPARE(int(HTransportOrvo), 4);
    QCOMPARE(int(HChannelConnected), 1);
}

void tst_DeviceRecords::status_isPrintedAsShort()
{
    QCOMPARE(sizeof(HChannelStatus), size_t(2));
    // What is beyond 16 bits plays no part in the comparison.
    QVERIFY(HChannelStatus(qint16(0x10001)) == HChannelConnected);
    QCOMPARE(QStringLiteral("%1").arg(HChannelStatus(-2)), QStringLiteral("-2"));
}

void tst_DeviceRecords::frameHeader_isReadFromTheBytesOfADevice()
{
    QByteArray bytes(56, '\0');
    auto put = [&bytes](int at, auto value) { qToLittleEndian(value, bytes.data() + at); };
    put(0, qint32(-11));
    put(4, quint32(0xfffffff4)); // unsigned: neither video nor audio
    put(8, quint32(0x80000000));
    put(12, quint32(0x90000001));
    put(16, qint32(1920));
    put(20, qint32(1080));
    put(24, qint32(25));
    put(28, qint32(4000000));
    put(32, qint64(-1700000000123));
    put(40, qint64(99));
    put(48, quint64(0x0807060504030201));

    QCOMPARE(sizeof(HFrameHeader), size_t(bytes.size()));
    HFrameHeader frame;
    std::memcpy(&frame, bytes.constData(), sizeof frame);
    QCOMPARE(frame.reserved0, -11);
    QCOMPARE(frame.frameType, 0xfffffff4u);
    QCOMPARE(frame.frameSize, 0x80000000u);
    QCOMPARE(frame.codecId, 0x90000001u);
    QCOMPARE(frame.widthOrSampleRate, 1920);
    QCOMPARE(frame.heightOrBits, 1080);
    QCOMPARE(frame.frameRateOrChannels, 25);
    QCOMPARE(frame.bitRate, 4000000);
    QCOMPARE(frame.pts, qint64(-1700000000123));
    QCOMPARE(frame.reserved1, qint64(99));
    QCOMPARE(QByteArray(reinterpret_cast<char *>(frame.data), 8), bytes.mid(48));
    QVERIFY(!frame.isVideo() && !frame.isAudio());
}

void tst_DeviceRecords::frame_payloadBeginsInTheRecord()
{
    HFrameHeader frame{};
    const HFrameHeader &constant = frame;
    QCOMPARE(static_cast<void *>(frame.payload()), static_cast<void *>(frame.data));
    QCOMPARE(static_cast<const void *>(constant.payload()), static_cast<const void *>(frame.data));
}

void tst_DeviceRecords::frame_kind_data()
{
    QTest::addColumn<quint32>("type");
    QTest::addColumn<bool>("video");
    QTest::addColumn<bool>("key");
    QTest::addColumn<bool>("audio");

    QTest::newRow("key frame") << 0u << true << true << false;
    QTest::newRow("1: video, no key frame") << 1u << true << false << false;
    QTest::newRow("2: video, no key frame") << 2u << true << false << false;
    QTest::newRow("3: video, no key frame") << 3u << true << false << false;
    QTest::newRow("audio") << 4u << false << false << true;
    QTest::newRow("5: neither") << 5u << false << false << false;
    QTest::newRow("largest: neither") << 0xffffffffu << false << false << false;
}

void tst_DeviceRecords::frame_kind()
{
    QFETCH(quint32, type);
    HFrameHeader frame{};
    frame.frameType = type;
    QTEST(frame.isVideo(), "video");
    QTEST(frame.isKeyFrame(), "key");
    QTEST(frame.isAudio(), "audio");
}

void tst_DeviceRecords::frame_fitsBuffer_upToTheLargestPayload()
{
    QCOMPARE(kHFrameBufferSize, 1048632u);
    QCOMPARE(kHFrameMaxPayload, 1048584u);
    HFrameHeader frame{};
    QVERIFY(frame.fitsBuffer());
    frame.frameSize = 1048584;
    QVERIFY(frame.fitsBuffer());
    frame.frameSize = 1048585;
    QVERIFY(!frame.fitsBuffer());
    frame.frameSize = 0xffffffff;
    QVERIFY(!frame.fitsBuffer());
}

void tst_DeviceRecords::sdp_isReadFromTheBytesOfADevice()
{
    QByteArray bytes(52, '\0');
    auto put = [&bytes](int at, qint32 value) { qToLittleEndian(value, bytes.data() + at); };
    put(0, 7);
    bytes[5] = 1; // sound only
    put(8, -3);
    for (int field = 0; field < 6; ++field)
        put(12 + 4 * field, 100 + field);
    for (int field = 0; field < 4; ++field)
        put(36 + 4 * field, 200 + field);

    QCOMPARE(sizeof(VodSdp), size_t(bytes.size()));
    VodSdp sdp;
    std::memcpy(static_cast<void *>(&sdp), bytes.constData(), sizeof sdp);
    QCOMPARE(sdp.sdpReserved, 7);
    QCOMPARE(sdp.hasVideo, false);
    QCOMPARE(sdp.hasAudio, true);
    QCOMPARE(sdp.sdpMark, -3);
    QCOMPARE(sdp.video.codecId, 100);
    QCOMPARE(sdp.video.bitRate, 105);
    QCOMPARE(sdp.audio.codecId, 200);
    QCOMPARE(sdp.audio.channels, 203);
}

void tst_DeviceRecords::sdp_isEmpty_whenNew()
{
    const VodSdp sdp;
    QVERIFY(!sdp.hasVideo && !sdp.hasAudio);
    QCOMPARE(sdp.sdpMark, 0);
    QVERIFY(!sdp.video.isValid() && !sdp.audio.isValid());
    QCOMPARE(sdp.audio.channels, 1);
}

void tst_DeviceRecords::vodParameters_haveTheirSize()
{
    if (sizeof(void *) != 8)
        QSKIP("A QDateTime has 8 bytes only where pointers have 64 bits");
    QCOMPARE(sizeof(VodStartPara), size_t(24));
    QCOMPARE(sizeof(VodDownloadPara), size_t(16));
}

void tst_DeviceRecords::flatStreamIndex_data()
{
    QTest::addColumn<int>("perChannel");
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("stream");
    QTest::addColumn<int>("index");

    const int most = std::numeric_limits<int>::max();
    QTest::newRow("first") << 3 << 0 << 0 << 0;
    QTest::newRow("stream 1 of channel 2, 3 streams each") << 3 << 2 << 1 << 7;
    QTest::newRow("one stream each") << 1 << 15 << 0 << 15;
    QTest::newRow("largest") << 1 << most << 0 << most;
    QTest::newRow("beyond") << 1 << most << 1 << -1;
    QTest::newRow("far beyond") << most << most << most << -1;
    QTest::newRow("far below") << most << std::numeric_limits<int>::min() << 0 << -1;
}

void tst_DeviceRecords::flatStreamIndex()
{
    QFETCH(int, perChannel);
    QFETCH(int, channel);
    QFETCH(int, stream);
    QTEST(::flatStreamIndex(perChannel, channel, stream), "index");
}

void tst_DeviceRecords::wholeSpeed_isCutTowardsZero_data()
{
    QTest::addColumn<double>("speed");
    QTest::addColumn<int>("whole");

    QTest::newRow("half") << 0.5 << 0;
    QTest::newRow("one and a half") << 1.5 << 1;
    QTest::newRow("sixteen") << 16.0 << 16;
    QTest::newRow("backwards") << -1.5 << -1;
    QTest::newRow("backwards, slow") << -0.5 << 0;
    QTest::newRow("no number") << std::nan("") << 0;
    QTest::newRow("too fast") << 1e300 << std::numeric_limits<int>::max();
    QTest::newRow("too fast backwards") << -1e300 << std::numeric_limits<int>::min();
    QTest::newRow("endless") << std::numeric_limits<double>::infinity()
                             << std::numeric_limits<int>::max();
}

void tst_DeviceRecords::wholeSpeed_isCutTowardsZero()
{
    QFETCH(double, speed);
    QTEST(::wholeSpeed(speed), "whole");
}

void tst_DeviceRecords::frameCode_mapsToCodecAndBack_data()
{
    QTest::addColumn<quint32>("code");
    QTest::addColumn<int>("video");
    QTest::addColumn<int>("audio");

    QTest::newRow("H.264") << 0u << 1 << 0;
    QTest::newRow("H.265") << 1u << 2 << 0;
    QTest::newRow("G.711 A") << 3u << 0 << 33;
    QTest::newRow("G.711 mu") << 4u << 0 << 34;
    QTest::newRow("PCM") << 5u << 0 << 35;
}

void tst_DeviceRecords::frameCode_mapsToCodecAndBack()
{
    QFETCH(quint32, code);
    QFETCH(int, video);
    QFETCH(int, audio);
    QCOMPARE(codecOfVideoFrame(code), video);
    QCOMPARE(codecOfAudioFrame(code), audio);
    QCOMPARE(frameCodeOfCodec(video + audio), int(code));
}

void tst_DeviceRecords::frameCode_withoutCodec_isZero()
{
    for (const quint32 code : {2u, 6u, 33u, 0xffffffffu}) {
        QCOMPARE(codecOfVideoFrame(code), 0);
        QCOMPARE(codecOfAudioFrame(code), 0);
    }
}

void tst_DeviceRecords::codec_withoutFrameCode_isMinusOne()
{
    for (const qint32 codec : {0, 3, 32, 36, -1})
        QCOMPARE(frameCodeOfCodec(codec), -1);
}

void tst_DeviceRecords::readResult_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<int>("live");
    QTest::addColumn<int>("recorded");

    QTest::newRow("frame") << 0 << 0 << 0;
    QTest::newRow("end") << 18 << 3 << 1; // a live stream knows no end
    QTest::newRow("time-out") << 8 << 2 << 2;
    QTest::newRow("already") << 14 << 3 << 3;
    QTest::newRow("exceed max") << 17 << 3 << 3;
    QTest::newRow("unnamed") << 1234 << 3 << 3;
    QTest::newRow("negative") << -1 << 3 << 3;
}

void tst_DeviceRecords::readResult()
{
    QFETCH(int, answer);
    QTEST(int(liveReadResult(HRetError(answer))), "live");
    QTEST(int(recordedReadResult(HRetError(answer))), "recorded");
}

QTEST_APPLESS_MAIN(tst_DeviceRecords)
#include "tst_devicerecords.moc"
