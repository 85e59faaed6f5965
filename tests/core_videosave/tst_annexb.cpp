// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/annexb_p.h"

#include "support/clipmaker.h"

#include <QtTest>

using namespace vantratest;

namespace {

QByteArray units(std::initializer_list<const char *> headers)
{
    QByteArray data;
    for (const char *header : headers)
        data += QByteArray::fromHex("000001") + QByteArray::fromHex(header) + "payload";
    return data;
}

AnnexBContent look(int codec, const QByteArray &data)
{
    return lookIntoAnnexB(codec == 2 ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264,
                          reinterpret_cast<const quint8 *>(data.constData()), data.size());
}

} // namespace

class TestAnnexB : public QObject
{
    Q_OBJECT

private slots:
    void content_data();
    void content();
    void clips_areWhatTheyAre_data();
    void clips_areWhatTheyAre();
    void everyCut_isBorne();
    void begin_isTheFirstStartCode_data();
    void begin_isTheFirstStartCode();
    void bareSlice_hasNothingBeforeIt_thatTheMuxerReads_data();
    void bareSlice_hasNothingBeforeIt_thatTheMuxerReads();
};

void TestAnnexB::content_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("video");
    QTest::addColumn<bool>("parameterSets");
    QTest::addColumn<bool>("other");
    QTest::newRow("nothing") << 1 << QByteArray() << false << false << false;
    QTest::newRow("text") << 1 << QByteArray("no video") << false << false << false;
    QTest::newRow("zeros") << 1 << QByteArray(1000, '\0') << false << false << false;
    QTest::newRow("start code alone")
        << 1 << QByteArray::fromHex("00000001") << false << false << false;
    QTest::newRow("one byte of a unit")
        << 1 << QByteArray::fromHex("0000000167") << false << false << false;
    QTest::newRow("lengths for start codes")
        << 1 << QByteArray::fromHex("00000004674200ff0000000268ce") << false << false << false;
    QTest::newRow("behind garbage")
        << 1 << QByteArray(100, 'x') + units({"6742", "68ce", "6588"}) << true << true << false;
    QTest::newRow("H.264 slice") << 1 << units({"419a"}) << true << false << false;
    QTest::newRow("H.264 key") << 1 << units({"09f0", "6742", "68ce", "0605", "6588"}) << true
                               << true << false;
    QTest::newRow("H.264 key without PPS")
        << 1 << units({"6742", "6588"}) << true << false << false;
    QTest::newRow("H.264 sets behind the slice")
        << 1 << units({"6588", "6742", "68ce"}) << true << false << false;
    QTest::newRow("H.265 slice") << 2 << units({"0201"}) << true << false << false;
    QTest::newRow("H.265 key") << 2 << units({"4601", "4001", "4201", "4401", "2601"}) << true
                               << true << false;
    QTest::newRow("H.265 key without VPS")
        << 2 << units({"4201", "4401", "2601"}) << true << false << false;
    QTest::newRow("H.265 in H.264")
        << 1 << units({"4001", "4201", "4401", "2601"}) << false << false << true;
    QTest::newRow("H.264 in H.265")
        << 2 << units({"6742", "68ce", "6588"}) << false << false << true;
    QTest::newRow("H.264 behind a delimiter in H.265")
        << 2 << units({"09f0", "6742", "68ce", "6588"}) << false << false << true;
}

void TestAnnexB::content()
{
    QFETCH(int, codec);
    QFETCH(QByteArray, data);
    const AnnexBContent content = look(codec, data);
    QTEST(content.isVideo, "video");
    QTEST(content.hasParameterSets, "parameterSets");
    QTEST(content.isOfOtherCodec, "other");
}

void TestAnnexB::clips_areWhatTheyAre_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << 1;
    QTest::newRow("H.265") << 2;
}

void TestAnnexB::clips_areWhatTheyAre()
{
    QFETCH(int, codec);
    ClipOptions options;
    options.codec = codec;
    options.gop = 10;
    const QVector<AccessUnit> clip = makeClip(options);
    QVERIFY(!clip.isEmpty());
    for (const AccessUnit &unit : clip) {
        QVERIFY(look(codec, unit.data).isVideo);
        QCOMPARE(look(codec, unit.data).hasParameterSets, unit.key);
        if (unit.key)
            QVERIFY(look(3 - codec, unit.data).isOfOtherCodec);
    }
}

void TestAnnexB::everyCut_isBorne()
{
    const QByteArray data = units({"6742", "68ce", "6588"});
    for (int size = 0; size <= data.size(); ++size) {
        const QByteArray cut(data.constData(), size); // a block of its own, for the sanitizer
        const AnnexBContent content = look(1, cut);
        QVERIFY(content.isVideo || !content.hasParameterSets);
    }
}

void TestAnnexB::begin_isTheFirstStartCode_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<int>("begin");
    QTest::newRow("at once") << QByteArray() << 0;
    QTest::newRow("one more zero") << QByteArray(1, '\0') << 1;
    QTest::newRow("more zeros") << QByteArray(7, '\0') << 7;
    QTest::newRow("what a muxer takes for another form") << QByteArray(1, '\1') << 1;
    QTest::newRow("garbage") << QByteArray(100, 'x') << 100;
}

void TestAnnexB::begin_isTheFirstStartCode()
{
    QFETCH(QByteArray, before);
    QFETCH(int, begin);
    const QByteArray shortCode = units({"4001", "4201", "4401", "2601"});
    const QByteArray longCode = QByteArray(1, '\0') + shortCode;
    QCOMPARE(look(2, before + longCode).begin, begin);
    if (!before.endsWith('\0')) // which would be the first byte of a long one
        QCOMPARE(look(2, before + shortCode).begin, begin);
    QCOMPARE(look(2, before).begin, 0); // there is none
}

void TestAnnexB::bareSlice_hasNothingBeforeIt_thatTheMuxerReads_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("bare");
    QTest::newRow("nothing") << 1 << QByteArray() << false;
    QTest::newRow("text") << 1 << QByteArray("no video") << false;
    QTest::newRow("H.264 slice") << 1 << units({"419a"}) << true;
    QTest::newRow("H.264 slice, delimiter, SEI") << 1 << units({"09f0", "0605", "419a"}) << true;
    QTest::newRow("H.264 without a slice") << 1 << units({"09f0", "0605"}) << false;
    QTest::newRow("H.264 behind an SPS") << 1 << units({"6742", "419a"}) << false;
    QTest::newRow("H.264 behind a PPS") << 1 << units({"68ce", "419a"}) << false;
    QTest::newRow("H.265 in H.264") << 1 << units({"4001", "419a"}) << false;
    QTest::newRow("H.265 slice") << 2 << units({"0201"}) << true;
    QTest::newRow("H.265 behind a VPS") << 2 << units({"4001", "0201"}) << false;
    QTest::newRow("H.265 behind an SPS") << 2 << units({"4201", "0201"}) << false;
    QTest::newRow("H.265 behind a PPS") << 2 << units({"4401", "0201"}) << false;
    QTest::newRow("H.264 in H.265") << 2 << units({"6588"}) << false;
}

void TestAnnexB::bareSlice_hasNothingBeforeIt_thatTheMuxerReads()
{
    QFETCH(int, codec);
    QFETCH(QByteArray, data);
    QTEST(look(codec, data).isBareSlice, "bare");
}

QTEST_GUILESS_MAIN(TestAnnexB)
#include "tst_annexb.moc"
