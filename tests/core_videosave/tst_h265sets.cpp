// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/h265sets_p.h"
#include "recordingtools.h"

#include <QtTest>

using namespace vantratest;

class TestH265Sets : public QObject
{
    Q_OBJECT

private slots:
    void pictures_pass();
    void sets_pass_overAndOver_andAnew();
    void sets_areRefused_whereTheMuxerWouldNotEnd();
    void sets_areRefused_whenCut();
    void sets_areRefused_whenTheyAreNoSize_data();
    void sets_areRefused_whenTheyAreNoSize();
    void sequence_needsTheVideoBefore();
    void rubbish_passes_whereItHasNoSets_data();
    void rubbish_passes_whereItHasNoSets();
    void areIn_findsThemAnywhere();
};

namespace {

bool passes(H265Sets &sets, const QByteArray &data)
{
    return sets.areReadable(reinterpret_cast<const quint8 *>(data.constData()), data.size());
}

} // namespace

void TestH265Sets::pictures_pass()
{
    H265Sets sets;
    for (const AccessUnit &unit : clip(HCodecH265))
        QVERIFY(passes(sets, unit.data));
}

void TestH265Sets::sets_pass_overAndOver_andAnew()
{
    ClipOptions options;
    options.codec = HCodecH265;
    options.count = 1;
    options.width = 192;
    options.height = 112;
    const QByteArray other = makeClip(options).first().data;
    const QByteArray first = clip(HCodecH265).first().data;
    H265Sets sets;
    for (const QByteArray &data : {first, first, other, first})
        QVERIFY(passes(sets, data));
    QVERIFY(!passes(sets, endlessSets()));
    QVERIFY(passes(sets, first));
    QVERIFY(!passes(sets, endlessSets()));
}

void TestH265Sets::sets_areRefused_whereTheMuxerWouldNotEnd()
{
    H265Sets sets;
    QVERIFY(!passes(sets, endlessSets()));
    // Wherever in the packet they stand: the muxer looks at all of it.
    QVERIFY(!passes(sets, clip(HCodecH265).first().data + endlessSets()));
    // Whatever their head says: the muxer looks only at the type.
    const QByteArray head("\x42\1", 2);
    for (const QByteArray &other : {QByteArray("\x43\1", 2), QByteArray("\x42\x29", 2),
                                    QByteArray("\xc2\1", 2), QByteArray("\x42\0", 2)})
        QVERIFY(!passes(sets, endlessSets().replace(head, other)));
}

void TestH265Sets::sets_areRefused_whenCut()
{
    H265Sets sets;
    const QByteArray start("\0\0\0\1\x42\1", 6);
    QVERIFY(!passes(sets, start));
    const QByteArray whole = clip(HCodecH265).first().data;
    const int at = whole.indexOf(start.mid(1));
    QVERIFY(at > 0);
    QVERIFY(!passes(sets, whole.left(at + 20)));
}

void TestH265Sets::sets_areRefused_whenTheyAreNoSize_data()
{
    QTest::addColumn<bool>("repeated");
    QTest::newRow("one long set") << false;
    QTest::newRow("the same set again and again") << true;
}

/// What is kept of a device, and given to a decoder twice, is not of any size.
void TestH265Sets::sets_areRefused_whenTheyAreNoSize()
{
    QFETCH(bool, repeated);
    const QByteArray whole = clip(HCodecH265).first().data;
    const int sequence = whole.indexOf(QByteArray("\0\0\1\x42\1", 5));
    const int next = whole.indexOf(QByteArray("\0\0\1", 3), sequence + 3);
    QVERIFY(sequence > 0 && next > 0);
    const QByteArray set = whole.mid(sequence, next - sequence);
    // A decoder reads both, and leaves aside what follows the end of a set.
    const auto grown = [&](int bytes) {
        return whole.left(sequence) + (repeated ? set.repeated(bytes / set.size())
                                                : set + QByteArray(bytes - set.size(), '\x55'));
    };
    H265Sets sets;
    QVERIFY(passes(sets, grown(60000)));
    QVERIFY(!passes(sets, grown(70000)));
    QVERIFY(passes(sets, whole));
}

void TestH265Sets::sequence_needsTheVideoBefore()
{
    const QByteArray whole = clip(HCodecH265).first().data;
    const int at = whole.indexOf(QByteArray("\0\0\1\x42\1", 5));
    QVERIFY(at > 0);
    H265Sets sets;
    QVERIFY(!passes(sets, whole.mid(at)));
    QVERIFY(passes(sets, whole.left(at)));
    QVERIFY(passes(sets, whole.mid(at)));
}

void TestH265Sets::rubbish_passes_whereItHasNoSets_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no start code") << QByteArray(100, 'x');
    QTest::newRow("only a start code") << QByteArray("\0\0\1", 3);
    QTest::newRow("cut start code") << QByteArray("\0\0", 2);
    QTest::newRow("zeros") << QByteArray(100, '\0');
    QTest::newRow("many start codes") << QByteArray("\0\0\1", 3).repeated(50);
}

void TestH265Sets::rubbish_passes_whereItHasNoSets()
{
    QFETCH(QByteArray, data);
    H265Sets sets;
    QVERIFY(passes(sets, data));
}

void TestH265Sets::areIn_findsThemAnywhere()
{
    const auto areIn = [](const QByteArray &data) {
        return H265Sets::areIn(reinterpret_cast<const quint8 *>(data.constData()), data.size());
    };
    for (const AccessUnit &unit : clip(HCodecH265))
        QCOMPARE(areIn(unit.data), unit.key);
    const QByteArray picture = clip(HCodecH265).at(1).data;
    const QByteArray code = QByteArray::fromHex("000001");
    for (const char *set : {"4001", "4201", "40", "4221"})
        QVERIFY(areIn(picture + code + QByteArray::fromHex(set)));
    for (const char *other : {"4401", "0201", "4e01", ""})
        QVERIFY(!areIn(picture + code + QByteArray::fromHex(other)));
    QVERIFY(!areIn(QByteArray()));
}

QTEST_GUILESS_MAIN(TestH265Sets)
#include "tst_h265sets.moc"
