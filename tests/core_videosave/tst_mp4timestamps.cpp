// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/mp4timestamps_p.h"

#include <QVector>
#include <QtTest>

extern "C" {
#include <libavutil/avutil.h>
}

#include <limits>

namespace {

constexpr qint64 kNone = AV_NOPTS_VALUE;
constexpr qint64 kMax = std::numeric_limits<qint64>::max();
constexpr qint64 kMin = std::numeric_limits<qint64>::min();

} // namespace

class TestMp4Timestamps : public QObject
{
    Q_OBJECT

private slots:
    void frames_data();
    void frames();
    void frames_soundTakesTheOffsetOfThePictures();
    void frames_soundAlone_isNeverCorrectedNorTold();
    void frames_beginAnew_forEachRecording();
    void packets_countFromTheFirst();
    void packets_soundTakesTheTimeOfThePicture();
    void packets_soundBeforeThePictures_beginsWithTheLastRecordingsTime();
    void packets_withoutStamp_data();
    void packets_withoutStamp();
    void anyStamp_doesNoHarm();
    void rescaling_data();
    void rescaling();
};

void TestMp4Timestamps::frames_data()
{
    QTest::addColumn<QVector<qint64>>("in");
    QTest::addColumn<QVector<qint64>>("joined");
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<QVector<int>>("told"); // numbers of the frames

    using Times = QVector<qint64>;
    using Numbers = QVector<int>;
    QTest::newRow("regular") << Times{1000, 1040, 1080} << Times{1000, 1040, 1080} << qint64(0)
                             << Numbers{};
    QTest::newRow("gap") << Times{0, 40, 60040, 60080} << Times{0, 40, 540, 580} << qint64(59500)
                         << Numbers{2};
    QTest::newRow("step of 1000 is regular")
        << Times{0, 40, 1040} << Times{0, 40, 1040} << qint64(0) << Numbers{2};
    QTest::newRow("step of 1001 is a gap")
        << Times{0, 40, 1041} << Times{0, 40, 540} << qint64(501) << Numbers{2};
    QTest::newRow("repeated") << Times{0, 40, 40, 80} << Times{0, 40, 540, 580} << qint64(-500)
                              << Numbers{};
    QTest::newRow("backwards") << Times{0, 5000, 3000} << Times{0, 5000, 5500} << qint64(-2500)
                               << Numbers{1, 2};
    QTest::newRow("first gap stays")
        << Times{0, 60000, 60040} << Times{0, 60000, 60040} << qint64(0) << Numbers{1};
    QTest::newRow("first repetitions stay, being at the start")
        << Times{7, 7, 7, 60007} << Times{7, 7, 7, 60007} << qint64(0) << Numbers{3};
    QTest::newRow("back to the start, and on from there")
        << Times{0, 40, 0, 60000} << Times{0, 40, 540, 60540} << qint64(-540) << Numbers{2, 3};
    QTest::newRow("step of 300 is quiet")
        << Times{0, 300, 600} << Times{0, 300, 600} << qint64(0) << Numbers{};
    QTest::newRow("step of 301 is told")
        << Times{0, 301, 602} << Times{0, 301, 602} << qint64(0) << Numbers{1, 2};
}

void TestMp4Timestamps::frames()
{
    QFETCH(QVector<qint64>, in);
    QFETCH(QVector<qint64>, joined);
    QFETCH(qint64, offset);
    QFETCH(QVector<int>, told);
    Mp4Timestamps with;
    Mp4Timestamps without;
    QVector<int> tellers;
    for (int i = 0; i < in.size(); ++i) {
        const Mp4Timestamps::FrameTime time = with.frameTime(true, in[i], true);
        QCOMPARE(time.time, joined[i]);
        QCOMPARE(time.previous, in[qMax(0, i - 1)]);
        if (time.tell)
            tellers.append(i);
        QCOMPARE(without.frameTime(true, in[i], false).time, in[i]);
    }
    QCOMPARE(with.offset(), offset);
    QCOMPARE(without.offset(), offset);
    QCOMPARE(tellers, told);
}

void TestMp4Timestamps::frames_soundTakesTheOffsetOfThePictures()
{
    Mp4Timestamps times;
    times.frameTime(true, 0, true);
    times.frameTime(true, 40, true);
    QCOMPARE(times.frameTime(false, 60030, true).time, qint64(60030));
    times.frameTime(true, 60040, true);
    QCOMPARE(times.frameTime(false, 60050, true).time, qint64(550));
}

void TestMp4Timestamps::frames_soundAlone_isNeverCorrectedNorTold()
{
    Mp4Timestamps times;
    for (const qint64 pts : {0, 20, 60020, 10, 10}) {
        const Mp4Timestamps::FrameTime time = times.frameTime(false, pts, true);
        QCOMPARE(time.time, pts);
        QVERIFY(!time.tell);
    }
    QCOMPARE(times.offset(), qint64(0));
}

void TestMp4Timestamps::frames_beginAnew_forEachRecording()
{
    Mp4Timestamps times;
    for (const qint64 pts : {0, 40, 60040})
        times.frameTime(true, pts, true);
    QCOMPARE(times.offset(), qint64(59500));
    times.end();
    QCOMPARE(times.offset(), qint64(0));
    const Mp4Timestamps::FrameTime first = times.frameTime(true, 5, true);
    QCOMPARE(first.time, qint64(5));
    QVERIFY(!first.tell);
    for (const qint64 pts : {45, 60045})
        times.frameTime(true, pts, true);
    times.begin();
    QCOMPARE(times.frameTime(true, 9, true).time, qint64(9));
    QCOMPARE(times.offset(), qint64(0));
}

void TestMp4Timestamps::packets_countFromTheFirst()
{
    Mp4Timestamps times;
    QCOMPARE(times.packetTime(true, 90000), qint64(0));
    QCOMPARE(times.packetTime(true, 93600), qint64(3600));
    QCOMPARE(times.packetTime(true, 80000), qint64(-10000));
}

void TestMp4Timestamps::packets_soundTakesTheTimeOfThePicture()
{
    Mp4Timestamps times;
    times.packetTime(true, 90000);
    QCOMPARE(times.packetTime(false, 1), qint64(0));
    times.packetTime(true, 93600);
    QCOMPARE(times.packetTime(false, 123456789), qint64(3600));
    QCOMPARE(times.packetTime(false, kNone), qint64(3600));
}

void TestMp4Timestamps::packets_soundBeforeThePictures_beginsWithTheLastRecordingsTime()
{
    Mp4Timestamps times;
    QCOMPARE(times.packetTime(false, 77), qint64(0));
    QCOMPARE(times.packetTime(true, 90000), qint64(90000)); // counted from 0
    times.end();
    times.begin();
    QCOMPARE(times.packetTime(false, 77), qint64(0));
    QCOMPARE(times.packetTime(true, 93600), qint64(3600)); // counted from 90000
}

void TestMp4Timestamps::packets_withoutStamp_data()
{
    QTest::addColumn<QVector<qint64>>("in");
    QTest::addColumn<QVector<qint64>>("out");
    using Times = QVector<qint64>;
    QTest::newRow("first") << Times{kNone, 90000, 93600} << Times{0, 1, 3601};
    QTest::newRow("first three") << Times{kNone, kNone, kNone, 5} << Times{0, 1, 2, 3};
    QTest::newRow("between") << Times{100, kNone, 200} << Times{0, 1, 100};
    QTest::newRow("all") << Times{kNone, kNone} << Times{0, 1};
}

void TestMp4Timestamps::packets_withoutStamp()
{
    QFETCH(QVector<qint64>, in);
    QFETCH(QVector<qint64>, out);
    Mp4Timestamps times;
    for (int i = 0; i < in.size(); ++i)
        QCOMPARE(times.packetTime(true, in[i]), out[i]);
}

void TestMp4Timestamps::anyStamp_doesNoHarm()
{
    Mp4Timestamps packets;
    Mp4Timestamps frames;
    for (const qint64 a : {kMin, kMin + 1, qint64(-1), qint64(0), qint64(1), kMax - 1, kMax}) {
        for (const qint64 b : {kMin, kMin + 1, qint64(0), kMax}) {
            packets.packetTime(true, a);
            packets.packetTime(true, b);
            frames.frameTime(true, a, true);
            frames.frameTime(true, b, true);
        }
    }
    // Stamps that make sense still do so afterwards.
    packets.end();
    QCOMPARE(packets.packetTime(true, 1000), qint64(0));
    frames.end();
    QCOMPARE(frames.frameTime(true, 1000, true).time, qint64(1000));
    QVERIFY(frames.frameTime(true, kMin, true).tell);
}

void TestMp4Timestamps::rescaling_data()
{
    QTest::addColumn<qint64>("time");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<qint64>("expected");
    QTest::newRow("up") << qint64(1) << 1000 << 90000 << qint64(90);
    QTest::newRow("down, half away from zero") << qint64(45) << 90000 << 1000 << qint64(1);
    QTest::newRow("down, below half") << qint64(44) << 90000 << 1000 << qint64(0);
    QTest::newRow("negative, half away from zero") << qint64(-45) << 90000 << 1000 << qint64(-1);
    QTest::newRow("device time") << qint64(1700000000000) << 1000 << 90000
                                 << qint64(153000000000000);
    QTest::newRow("least passes") << kMin << 1000 << 90000 << kMin;
    QTest::newRow("greatest passes") << kMax << 1000 << 90000 << kMax;
    QTest::newRow("no time base") << qint64(5) << 0 << 90000 << kNone;
}

void TestMp4Timestamps::rescaling()
{
    QFETCH(qint64, time);
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(qint64, expected);
    QCOMPARE(rescaleTime(time, {from ? 1 : 0, from}, {1, to}), expected);
}

QTEST_GUILESS_MAIN(TestMp4Timestamps)
#include "tst_mp4timestamps.moc"
