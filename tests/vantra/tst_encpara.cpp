// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicelink/encpara.h"

#include <QtTest>

class tst_EncPara : public QObject
{
    Q_OBJECT

private slots:
    void codecs_haveTheNumbersThatDevicesSend();
    void records_areNotValid_untilFilled();
    void video_isValid_data();
    void video_isValid();
    void audio_isValid_data();
    void audio_isValid();
    void video_isEqual_whenCodecAndSizeAgree();
    void audio_isEqual_whenAllFieldsAgree();
};

void tst_EncPara::codecs_haveTheNumbersThatDevicesSend()
{
    QCOMPARE(int(HCodecH264), 1);
    QCOMPARE(int(HCodecH265), 2);
    QCOMPARE(int(HCodecG711A), 33);
    QCOMPARE(int(HCodecG711U), 34);
    QCOMPARE(int(HCodecPcm), 35);
}

void tst_EncPara::records_areNotValid_untilFilled()
{
    QVERIFY(!HVideoEncPara().isValid());
    QVERIFY(!HAudioEncPara().isValid());
    QCOMPARE(HAudioEncPara().channels, 1);
    const HVideoEncPara video;
    for (const qint32 field :
         {video.width, video.height, video.frameRate, video.mode, video.bitRate,
          HAudioEncPara().sampleRate, HAudioEncPara().bitsPerSample})
        QCOMPARE(field, 0);
    QVERIFY(HVideoEncPara() == HVideoEncPara());
    QVERIFY(HAudioEncPara() == HAudioEncPara());
}

void tst_EncPara::video_isValid_data()
{
    QTest::addColumn<int>("codecId");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("valid");

    QTest::newRow("H.264") << 1 << 1920 << 1080 << true;
    QTest::newRow("H.265, least size") << 2 << 1 << 1 << true;
    QTest::newRow("codec 0") << 0 << 640 << 480 << false;
    QTest::newRow("codec 3") << 3 << 640 << 480 << false;
    QTest::newRow("audio codec") << 33 << 640 << 480 << false;
    QTest::newRow("negative codec") << -1 << 640 << 480 << false;
    QTest::newRow("no width") << 1 << 0 << 480 << false;
    QTest::newRow("no height") << 1 << 640 << 0 << false;
    QTest::newRow("negative width") << 1 << -640 << 480 << false;
    QTest::newRow("negative height") << 2 << 640 << -480 << false;
}

void tst_EncPara::video_isValid()
{
    QFETCH(int, codecId);
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(bool, valid);
    HVideoEncPara para;
    para.codecId = codecId;
    para.width = width;
    para.height = height; // frame and bit rate stay 0: they are not asked for
    QCOMPARE(para.isValid(), valid);
}

void tst_EncPara::audio_isValid_data()
{
    QTest::addColumn<int>("codecId");
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("bitsPerSample");
    QTest::addColumn<int>("channels");
    QTest::addColumn<bool>("valid");

    QTest::newRow("G.711 A") << 33 << 8000 << 16 << 1 << true;
    QTest::newRow("G.711 mu") << 34 << 8000 << 8 << 2 << true;
    QTest::newRow("PCM, least values") << 35 << 1 << 1 << 1 << true;
    QTest::newRow("PCM without channels") << 35 << 8000 << 16 << 0 << false;
    QTest::newRow("codec 32") << 32 << 8000 << 16 << 1 << false;
    QTest::newRow("codec 36") << 36 << 8000 << 16 << 1 << false;
    QTest::newRow("codec 0") << 0 << 8000 << 16 << 1 << false;
    QTest::newRow("no rate") << 33 << 0 << 16 << 1 << false;
    QTest::newRow("no bits") << 33 << 8000 << 0 << 1 << false;
    QTest::newRow("negative rate") << 33 << -8000 << 16 << 1 << false;
    QTest::newRow("negative bits") << 33 << 8000 << -16 << 1 << false;
    QTest::newRow("negative channels") << 33 << 8000 << 16 << -1 << false;
}

void tst_EncPara::audio_isValid()
{
    QFETCH(int, codecId);
    QFETCH(int, sampleRate);
    QFETCH(int, bitsPerSample);
    QFETCH(int, channels);
    QFETCH(bool, valid);
    QCOMPARE((HAudioEncPara{codecId, sampleRate, bitsPerSample, channels}.isValid()), valid);
}

void tst_EncPara::video_isEqual_whenCodecAndSizeAgree()
{
    const HVideoEncPara base{1, 640, 480, 25, 1, 1000000};
    for (qint32 HVideoEncPara::*field :
         {&HVideoEncPara::frameRate, &HVideoEncPara::mode, &HVideoEncPara::bitRate}) {
        HVideoEncPara other = base;
        other.*field += 1; // intended: such a change never starts a new recording
        QVERIFY(base == other);
        QVERIFY(!(base != other));
    }
    for (qint32 HVideoEncPara::*field :
         {&HVideoEncPara::codecId, &HVideoEncPara::width, &HVideoEncPara::height}) {
        HVideoEncPara other = base;
        other.*field += 1;
        QVERIFY(base != other);
        QVERIFY(!(base == other));
    }
}

void tst_EncPara::audio_isEqual_whenAllFieldsAgree()
{
    const HAudioEncPara base{33, 8000, 16, 1};
    QVERIFY(base == HAudioEncPara(base));
    QVERIFY(!(base != HAudioEncPara(base)));
    for (qint32 HAudioEncPara::*field : {&HAudioEncPara::codecId, &HAudioEncPara::sampleRate,
                                         &HAudioEncPara::bitsPerSample, &HAudioEncPara::channels}) {
        HAudioEncPara other = base;
        other.*field += 1;
        QVERIFY(base != other);
        QVERIFY(!(base == other));
    }
}

QTEST_APPLESS_MAIN(tst_EncPara)
#include "tst_encpara.moc"
