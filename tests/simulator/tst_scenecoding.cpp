// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "framereader.h"

#include "simulator/coding/flatslice.h"
#include "simulator/coding/loop.h"

#include "support/waitfor.h"

#include <QtTest>

extern "C" {
#include <libavutil/frame.h>
}

#include <random>

using namespace vantrasim;

/// How the pictures of simulated devices are put together.
class TestSceneCoding : public QObject
{
    Q_OBJECT

private slots:
    void bits_comeBackAsWritten();
    void bits_endInZeros_whenThereAreNoMore();
    void units_comeBackAsWritten_withEscapes();
    void flatSlice_isDecodedAsAsked_data();
    void flatSlice_isDecodedAsAsked();
    void joiner_refusesParameterSetsItDoesNotUnderstand();
    void loop_isBroken_whenTheEncoderRefuses();
    void loop_isShared_byThoseWhoShowTheSame();
    void compose_refusesPicturesThereAreNot();
};

void TestSceneCoding::bits_comeBackAsWritten()
{
    std::mt19937 random(7);
    BitWriter out;
    QVector<qint64> written;
    for (int i = 0; i < 500; ++i) {
        const auto value = std::uint32_t(random()) >> (random() % 32);
        written << value % (1U << 20);
        out.bits(value % (1U << 20), 20);
        out.ue(value % (1U << 24));
        out.se(int(value % (1U << 20)) - (1 << 19));
        out.flag(value % 2 != 0);
        written << value % (1U << 24) << int(value % (1U << 20)) - (1 << 19) << value % 2;
    }
    BitReader in(out.bytes());
    for (int i = 0; i < written.size(); i += 4) {
        QCOMPARE(qint64(in.bits(20)), written[i]);
        QCOMPARE(qint64(in.ue()), written[i + 1]);
        QCOMPARE(qint64(in.se()), written[i + 2]);
        QCOMPARE(qint64(in.flag()), written[i + 3]);
    }
    QVERIFY(in.isOk());
}

void TestSceneCoding::bits_endInZeros_whenThereAreNoMore()
{
    const Bytes bytes{0xFF};
    BitReader in(bytes);
    QCOMPARE(in.bits(12), 0xFF0U);
    QVERIFY(!in.isOk());
    BitReader empty(bytes, 1);
    QCOMPARE(empty.ue(), 0U);
    QVERIFY(!empty.isOk());
}

void TestSceneCoding::units_comeBackAsWritten_withEscapes()
{
    const std::vector<Bytes> units{
        {0x65, 0, 0, 0, 0, 1, 0, 0, 3, 0, 0, 2, 9}, {0x41, 0, 0, 4, 7}, {0x67, 1, 2, 3}};
    Bytes stream;
    for (const Bytes &unit : units)
        appendUnit(unit, &stream);
    QVERIFY(splitUnits(stream.data(), stream.size()) == units);
    QVERIFY(splitUnits(stream.data(), 0).empty());
}

void TestSceneCoding::flatSlice_isDecodedAsAsked_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("lines");
    QTest::newRow("one block") << 4 << 1;
    QTest::newRow("one line") << 40 << 1;
    QTest::newRow("many lines") << 120 << 5;
}

void TestSceneCoding::flatSlice_isDecodedAsAsked()
{
    QFETCH(int, columns);
    QFETCH(int, lines);
    SceneEncoder::Form form;
    form.codec = 2;
    form.width = columns * kFlatBlock;
    form.height = qMax(lines, 2) * kFlatBlock; // as small as the encoder takes it
    SceneEncoder encoder;
    QVERIFY(encoder.open(form));
    const auto joiner = SliceJoiner::create(2, encoder.parameterSets(), form.width, form.height);
    QVERIFY(joiner);
    std::mt19937 random(11);
    PictureReader reader;
    for (int round = 0; round < 20; ++round) {
        Bytes luma;
        for (int i = 0; i < columns; ++i)
            luma.push_back(round % 2 == 0 ? (random() % 2 != 0 ? 235 : 16)
                                          : std::uint8_t(random() % 256));
        auto part = std::make_shared<UpperSlice>();
        QVERIFY(joiner->makeUpper(luma, form.height / kFlatBlock, part.get()));
        LowerSlice none;
        none.unit = {0x28, 0x01}; // the head of a key frame
        Bytes stream = joiner->parameterSets();
        joiner->join(Strip{part}, none, &stream);
        reader.decode(1, QByteArray(reinterpret_cast<char *>(stream.data()), int(stream.size())));
        QCOMPARE(reader.errors(), 0);
        const AVFrame *frame = reader.frame();
        QCOMPARE(frame->width, form.width);
        for (int y = kFlatBlock / 2; y < form.height; y += kFlatBlock) {
            for (int i = 0; i < columns; ++i) {
                const int seen =
                    frame->data[0][y * frame->linesize[0] + i * kFlatBlock + kFlatBlock / 2];
                QVERIFY2(
                    qAbs(seen - luma[std::size_t(i)]) <= 1,
                    qPrintable(QStringLiteral("%1 for %2").arg(seen).arg(luma[std::size_t(i)])));
            }
        }
    }
}

void TestSceneCoding::joiner_refusesParameterSetsItDoesNotUnderstand()
{
    SceneEncoder::Form form;
    form.width = 320;
    form.height = 240;
    for (const int codec : {1, 2}) {
        form.codec = codec;
        SceneEncoder encoder;
        QVERIFY(encoder.open(form));
        const Bytes &good = encoder.parameterSets();
        QVERIFY(SliceJoiner::create(codec, good, 320, 32));
        QVERIFY(!SliceJoiner::create(3 - codec, good, 320, 32)); // of the other codec
        QVERIFY(!SliceJoiner::create(codec, Bytes(), 320, 32));
        std::mt19937 random{5};
        for (int i = 0; i < 500; ++i) { // damaged ones are refused or understood, and no more
            Bytes bad = good;
            bad[random() % bad.size()] = std::uint8_t(random());
            bad.resize(1 + random() % bad.size());
            const auto joiner = SliceJoiner::create(codec, bad, 320, 32);
            LowerSlice slice;
            if (joiner)
                joiner->takeLower(bad, &slice);
        }
    }
}

void TestSceneCoding::loop_isBroken_whenTheEncoderRefuses()
{
    LoopForm form;
    form.picture.width = 0;
    form.picture.height = 0;
    const auto loop = Loop::forForm(form);
    QVERIFY(vantratest::waitFor([&] { return loop->isBroken(); }));
    QCOMPARE(loop->size(), 0);
}

void TestSceneCoding::loop_isShared_byThoseWhoShowTheSame()
{
    LoopForm form;
    form.picture.width = 176;
    form.picture.height = 144;
    form.name = "A";
    const auto loop = Loop::forForm(form);
    QCOMPARE(Loop::forForm(form), loop);
    form.name = "B";
    QVERIFY(Loop::forForm(form) != loop);
}

void TestSceneCoding::compose_refusesPicturesThereAreNot()
{
    LoopForm form;
    form.picture.width = 176;
    form.picture.height = 144;
    form.picture.gop = 5;
    const auto loop = Loop::forForm(form);
    QVERIFY(vantratest::waitFor([&] { return loop->isComplete(); }));
    QCOMPARE(loop->size(), 10);
    Bytes stream;
    QVERIFY(!loop->compose(-1, 0, "", true, &stream));
    QVERIFY(!loop->compose(10, 0, "", true, &stream));
    QVERIFY(stream.empty());
    QVERIFY(loop->compose(9, 0, "", true, &stream));
}

QTEST_GUILESS_MAIN(TestSceneCoding)
#include "tst_scenecoding.moc"
