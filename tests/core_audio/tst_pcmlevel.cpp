// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/pcmlevel_p.h"

#include <QTest>

#include <climits>
#include <cmath>

/// The peak level of a block, against figures worked out by hand.
class TestPcmLevel : public QObject
{
    Q_OBJECT

private slots:
    void level_ofBlock_data();
    void level_ofBlock();
    void level_isTheSame_forUnalignedData();
    void level_isZero_forHostileArguments_data();
    void level_isZero_forHostileArguments();
};

void TestPcmLevel::level_ofBlock_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<int>("sampleSize");
    QTest::addColumn<int>("channelCount");
    QTest::addColumn<double>("level");

    const auto hex = [](const char *text) { return QByteArray::fromHex(text); };
    // 8 bits, unsigned: largest byte / 255 - 0.5.
    QTest::newRow("8 bit, centre") << QByteArray(160, char(128)) << 8 << 1 << 0.00196078431;
    QTest::newRow("8 bit, lowest") << hex("000000") << 8 << 1 << -0.5;
    QTest::newRow("8 bit, highest") << hex("80ff80") << 8 << 1 << 0.5;
    QTest::newRow("8 bit, quarter") << hex("3f10") << 8 << 1 << -0.25294117647;
    QTest::newRow("8 bit, second channel") << hex("80c0") << 8 << 2 << 0.25294117647;
    // 16 bits: largest absolute value / 32767, low byte first.
    QTest::newRow("16 bit, silence") << hex("00000000") << 16 << 1 << 0.0;
    QTest::newRow("16 bit, highest") << hex("0000ff7f") << 16 << 1 << 1.0;
    QTest::newRow("16 bit, lowest has no positive twin") << hex("0080") << 16 << 1 << 1.0;
    QTest::newRow("16 bit, half") << hex("00400000") << 16 << 1 << 0.50001525925;
    QTest::newRow("16 bit, negative half") << hex("00c00000") << 16 << 1 << 0.50001525925;
    QTest::newRow("16 bit, one") << hex("0100") << 16 << 1 << 3.0518509476e-05;
    QTest::newRow("16 bit, byte order") << hex("0001") << 16 << 1 << 0.00781273843;
    QTest::newRow("16 bit, second channel") << hex("00000020") << 16 << 2 << 0.25000762963;
    // 32 bits: largest absolute value / 2147483647.
    QTest::newRow("32 bit, silence") << hex("00000000") << 32 << 1 << 0.0;
    QTest::newRow("32 bit, highest") << hex("ffffff7f") << 32 << 1 << 1.0;
    QTest::newRow("32 bit, lowest has no positive twin") << hex("00000080") << 32 << 1 << 1.0;
    QTest::newRow("32 bit, negative quarter") << hex("000000e0") << 32 << 1 << 0.25000000012;
    // Any other size is silence, measured against 32 bits.
    QTest::newRow("24 bit") << hex("ffff7fffff7f") << 24 << 1 << 0.0;
    QTest::newRow("12 bit") << hex("ffffffff") << 12 << 1 << 0.0;
    QTest::newRow("64 bit") << hex("ffffffffffffff7f") << 64 << 1 << 0.0;
    // A rest that is no whole frame is not looked at.
    QTest::newRow("16 bit, rest of a byte") << hex("0020ff") << 16 << 1 << 0.25000762963;
    QTest::newRow("16 bit, rest of a frame") << hex("00200000ff7f") << 16 << 2 << 0.25000762963;
    // Shorter than one frame.
    QTest::newRow("empty, 16 bit") << QByteArray("") << 16 << 1 << 0.0;
    QTest::newRow("empty, 8 bit") << QByteArray("") << 8 << 1 << 0.0;
    QTest::newRow("short, 8 bit") << hex("ff") << 8 << 2 << 0.0;
    QTest::newRow("short, 16 bit") << hex("ff") << 16 << 1 << 0.0;
    QTest::newRow("short, 16 bit stereo") << hex("ff7fff") << 16 << 2 << 0.0;
    QTest::newRow("short, 32 bit") << hex("ffff7f") << 32 << 1 << 0.0;
}

void TestPcmLevel::level_ofBlock()
{
    QFETCH(QByteArray, block);
    QFETCH(int, sampleSize);
    QFETCH(int, channelCount);
    QFETCH(double, level);
    const double measured = pcmLevel(block.constData(), block.size(), sampleSize, channelCount);
    QVERIFY2(std::fabs(measured - level) < 1e-9, qPrintable(QString::number(measured, 'g', 12)));
}

void TestPcmLevel::level_isTheSame_forUnalignedData()
{
    for (int offset = 0; offset < 4; ++offset) {
        // Exactly as long as needed: reading past the end is seen by the sanitizer.
        const QByteArray block =
            QByteArray(offset, '\x7f') + QByteArray::fromHex("0000004000000010");
        QCOMPARE(pcmLevel(block.constData() + offset, 8, 32, 1), 0x40000000 / double(INT_MAX));
        QCOMPARE(pcmLevel(block.constData() + offset, 8, 16, 2), 0x4000 / 32767.0);
    }
}

void TestPcmLevel::level_isZero_forHostileArguments_data()
{
    QTest::addColumn<bool>("null");
    QTest::addColumn<int>("len");
    QTest::addColumn<int>("sampleSize");
    QTest::addColumn<int>("channelCount");
    QTest::newRow("null data") << true << 4 << 16 << 1;
    QTest::newRow("negative length") << false << -4 << 16 << 1;
    QTest::newRow("most negative length") << false << INT_MIN << 8 << 1;
    QTest::newRow("no sample size") << false << 4 << 0 << 1;
    QTest::newRow("less than a byte") << false << 4 << 7 << 1;
    QTest::newRow("negative sample size") << false << 4 << -16 << 1;
    QTest::newRow("no channels") << false << 4 << 16 << 0;
    QTest::newRow("negative channels") << false << 4 << 16 << -1;
    QTest::newRow("more channels than fit") << false << 4 << 32 << INT_MAX;
}

void TestPcmLevel::level_isZero_forHostileArguments()
{
    QFETCH(bool, null);
    QFETCH(int, len);
    QFETCH(int, sampleSize);
    QFETCH(int, channelCount);
    const QByteArray loud = QByteArray::fromHex("ff7fff7f");
    QCOMPARE(pcmLevel(null ? nullptr : loud.constData(), len, sampleSize, channelCount), 0.0);
}

QTEST_APPLESS_MAIN(TestPcmLevel)
#include "tst_pcmlevel.moc"
