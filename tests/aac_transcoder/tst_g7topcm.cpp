// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What becomes samples before it is encoded: the two laws of G.711, and G.726.

#include "g7param.h"

#include "aac_transcoder/easyaacencoder.h"
#include "aac_transcoder/g711topcm_p.h"
#include "aac_transcoder/g726topcm_p.h"
#include "aac_transcoder/g7toaac_p.h"

#include <QtTest>

using namespace vantratest;

class tst_G7ToPcm : public QObject
{
    Q_OBJECT

private slots:
    void g711_equalsTheStandard_data();
    void g711_equalsTheStandard();
    void g711_refusesBadArguments();
    void g726_sizesFollowTheRate_data();
    void g726_sizesFollowTheRate();
    void g726_keepsTheBitsOfAnUnfinishedCode();
    void g726_staysWithinTheRoomGiven();
};

/// The tables of ITU-T G.711, built as they stand there: decision values at equal steps within a
/// segment, and the middle between two of them as the value of the code.
void tst_G7ToPcm::g711_equalsTheStandard_data()
{
    QTest::addColumn<bool>("aLaw");
    QTest::newRow("A-law, table 1") << true;
    QTest::newRow("mu-law, table 2") << false;
}

void tst_G7ToPcm::g711_equalsTheStandard()
{
    QFETCH(bool, aLaw);
    QVector<int> twice; // value of each magnitude times two, in the units of the table
    if (aLaw) {
        // 32 steps of 2, then six segments of 16 whose steps double, up to 4096.
        int decision = 0, step = 2;
        for (int n = 0; n < 128; ++n) {
            if (n >= 32 && n % 16 == 0)
                step *= 2;
            twice << 2 * decision + step;
            decision += step;
        }
        QCOMPARE(decision, 4096);
    } else {
        // Zero, 15 steps of 2 from 1 on, then seven segments of 16 whose steps double, up to 8159.
        int decision = 1, step = 2;
        twice << 0;
        for (int n = 1; n < 128; ++n) {
            if (n % 16 == 0)
                step *= 2;
            twice << 2 * decision + step;
            decision += step;
        }
        QCOMPARE(decision, 8159);
    }
    G711AToPcm a;
    G711UToPcm u;
    for (int magnitude = 0; magnitude < 128; ++magnitude) {
        // 13 bits of A-law and 14 of mu-law stand at the top of 16.
        const int sample = aLaw ? twice[magnitude] * 4 : twice[magnitude] * 2;
        const int positive = aLaw ? (0x80 | magnitude) ^ 0x55 : 0xFF - magnitude;
        const int negative = positive ^ 0x80;
        QCOMPARE(int(aLaw ? a.DecodeOne(uchar(positive)) : u.DecodeOne(uchar(positive))), sample);
        QCOMPARE(int(aLaw ? a.DecodeOne(uchar(negative)) : u.DecodeOne(uchar(negative))), -sample);
    }
    QCOMPARE(int(a.DecodeOne(0xAA)), 32256);
    QCOMPARE(int(u.DecodeOne(0x00)), -32124);
}

void tst_G7ToPcm::g711_refusesBadArguments()
{
    G711AToPcm law;
    QCOMPARE(law.Init(param(G7CodecALaw)), 0);
    QCOMPARE(law.GetG7Size(), 160);
    QCOMPARE(law.GetPcmSize(), 320);
    short pcm[4] = {};
    const unsigned char codes[4] = {0xD5, 0x55, 0xAA, 0x2A};
    unsigned int room = sizeof pcm;
    QCOMPARE(law.Decode(nullptr, &room, codes, 4), -1);
    QCOMPARE(law.Decode(pcm, nullptr, codes, 4), -1);
    QCOMPARE(law.Decode(pcm, &room, nullptr, 4), -1);
    QCOMPARE(law.Decode(pcm, &room, codes, 0), -1);
    room = 7;
    QCOMPARE(law.Decode(pcm, &room, codes, 4), -2);
    room = 8;
    QCOMPARE(law.Decode(pcm, &room, codes, 4), 8);
    QCOMPARE(room, 8u);
    QCOMPARE(pcm[3], short(-32256));
}

void tst_G7ToPcm::g726_sizesFollowTheRate_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("pcmSize");
    QTest::addColumn<int>("yield");
    QTest::newRow("16 kbit/s") << 2 << 1281 << 1280;
    QTest::newRow("24 kbit/s") << 3 << 854 << 852;
    QTest::newRow("32 kbit/s") << 4 << 641 << 640;
    QTest::newRow("40 kbit/s") << 5 << 513 << 512;
}

void tst_G7ToPcm::g726_sizesFollowTheRate()
{
    QFETCH(int, rate);
    QFETCH(int, pcmSize);
    QFETCH(int, yield);
    G726ToPcm decoder;
    QCOMPARE(decoder.Init(param(G7CodecG726, rate)), 0);
    QCOMPARE(decoder.GetG7Size(), 160);
    QCOMPARE(decoder.GetPcmSize(), pcmSize);
    const unsigned char codes[kFrameBytes] = {};
    short pcm[641] = {};
    unsigned int room = sizeof pcm;
    QCOMPARE(decoder.Decode(pcm, &room, codes, sizeof codes), yield);
    QCOMPARE(room, unsigned(yield));
}

void tst_G7ToPcm::g726_keepsTheBitsOfAnUnfinishedCode()
{
    QByteArray codes;
    for (int i = 0; i < 480; ++i)
        codes.append(char(i * 37 + 11));
    const auto decodeInSteps = [&codes](int step) {
        G726ToPcm decoder;
        decoder.Init(param(G7CodecG726, 3));
        QByteArray output;
        for (int at = 0; at < codes.size(); at += step) {
            short pcm[2048];
            unsigned int room = sizeof pcm;
            const int bytes =
                decoder.Decode(pcm, &room, reinterpret_cast<const uchar *>(codes.constData()) + at,
                               uint(qMin(step, codes.size() - at)));
            output.append(reinterpret_cast<const char *>(pcm), bytes);
        }
        return output;
    };
    const QByteArray whole = decodeInSteps(480);
    QCOMPARE(whole.size(), 480 * 8 / 3 * 2);
    QCOMPARE(decodeInSteps(1), whole);
    QCOMPARE(decodeInSteps(160), whole);
}

void tst_G7ToPcm::g726_staysWithinTheRoomGiven()
{
    G726ToPcm decoder;
    decoder.Init(param(G7CodecG726, 2));
    const unsigned char codes[kFrameBytes] = {};
    short pcm[9];
    std::fill(std::begin(pcm), std::end(pcm), short(0x7A7A));
    unsigned int room = 8 * sizeof(short);
    QCOMPARE(decoder.Decode(pcm, &room, codes, sizeof codes), 16);
    QCOMPARE(pcm[8], short(0x7A7A));
}

QTEST_APPLESS_MAIN(tst_G7ToPcm)
#include "tst_g7topcm.moc"
