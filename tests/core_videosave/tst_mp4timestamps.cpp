// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videosave/mp4timestamps_p.h"

#include <QVector>
#include <QtTest>

extern "C" {
#include <libavutil/avutil.h>
}

#include <limits>
#include <optional>

namespace {

constexpr qint64 kNone = AV_NOPTS_VALUE;
constexpr qint64 kMax = std::numeric_limits<qint64>::max();
constexpr qint64 kMin = std::numeric_limits<qint64>::min();

/// Time of a packet, in the order in which a writer asks for it.
qint64 packetTime(Mp4Timestamps &times, bool video, qint64 pts)
{
    if (video)
        times.newestPicture(pts);
    return times.packetTime();
}

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
    void packets_soundTakesTheTimeOfPicturesThatAreNotRecorded();
    void anyStamp_doesNoHarm();
    void fileTimeline_data();
    void fileTimeline();
    void fileTimeline_refusesWhatIsNoStamp();
    void fileTimeline_bearsAnyStamp();
    void fileTimeline_keepsStreamsTogether();
    void fileTimeline_bringsAPausedStreamBack();
    void fileTimeline_tellsWhatIsWellWithinReach();
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
    QTest::newRow("counter of 32 bits wraps")
        << Times{4294967216, 4294967256, 0, 40}
        << Times{4294967216, 4294967256, 4294967756, 4294967796} << qint64(-4294967756)
        << Numbers{2};
    QTest::newRow("counter of a day begins anew")
        << Times{86399920, 86399960, 0, 40} << Times{86399920, 86399960, 86400460, 86400500}
        << qint64(-86400460) << Numbers{2};
    QTest::newRow("midnight is like any other time")
        << Times{1700006399920, 1700006399960, 1700006400000, 1700006400040}
        << Times{1700006399920, 1700006399960, 1700006400000, 1700006400040} << qint64(0)
        << Numbers{};
    QTest::newRow("wraps at the end of 64 bits")
        << Times{kMax - 40, kMax - 20, kMin, kMin + 40}
        << Times{kMax - 40, kMax - 20, kMin + 479, kMin + 519} << qint64(-479) << Numbers{};
    QTest::newRow("two gaps add up")
        << Times{0, 40, 5040, 5080, 15080} << Times{0, 40, 540, 580, 1080} << qint64(14000)
        << Numbers{2, 4};
    QTest::newRow("gap, then back to before it")
        << Times{0, 40, 60040, 80} << Times{0, 40, 540, 1040} << qint64(-960) << Numbers{2, 3};
    QTest::newRow("negative") << Times{-1000, -960, -920} << Times{-1000, -960, -920} << qint64(0)
                              << Numbers{};
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
    QCOMPARE(packetTime(times, true, 90000), qint64(0));
    QCOMPARE(packetTime(times, true, 93600), qint64(3600));
    QCOMPARE(packetTime(times, true, 80000), qint64(-10000));
}

void TestMp4Timestamps::packets_soundTakesTheTimeOfThePicture()
{
    Mp4Timestamps times;
    packetTime(times, true, 90000);
    QCOMPARE(packetTime(times, false, 1), qint64(0));
    packetTime(times, true, 93600);
    QCOMPARE(packetTime(times, false, 123456789), qint64(3600));
    QCOMPARE(packetTime(times, false, kNone), qint64(3600));
}

void TestMp4Timestamps::packets_soundBeforeThePictures_beginsWithTheLastRecordingsTime()
{
    Mp4Timestamps times;
    QCOMPARE(packetTime(times, false, 77), qint64(0));
    QCOMPARE(packetTime(times, true, 90000), qint64(90000)); // counted from 0
    times.end();
    times.begin();
    QCOMPARE(packetTime(times, false, 77), qint64(0));
    QCOMPARE(packetTime(times, true, 93600), qint64(3600)); // counted from 90000
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
        QCOMPARE(packetTime(times, true, in[i]), out[i]);
}

void TestMp4Timestamps::packets_soundTakesTheTimeOfPicturesThatAreNotRecorded()
{
    Mp4Timestamps times;
    times.newestPicture(90000); // nothing is asked for it: the file has no pictures
    QCOMPARE(times.packetTime(), qint64(0));
    times.newestPicture(93600);
    QCOMPARE(times.packetTime(), qint64(3600));
}

void TestMp4Timestamps::anyStamp_doesNoHarm()
{
    Mp4Timestamps packets;
    Mp4Timestamps frames;
    for (const qint64 a : {kMin, kMin + 1, qint64(-1), qint64(0), qint64(1), kMax - 1, kMax}) {
        for (const qint64 b : {kMin, kMin + 1, qint64(0), kMax}) {
            packetTime(packets, true, a);
            packetTime(packets, true, b);
            frames.frameTime(true, a, true);
            frames.frameTime(true, b, true);
        }
    }
    // Stamps that make sense still do so afterwards.
    packets.end();
    QCOMPARE(packetTime(packets, true, 1000), qint64(0));
    frames.end();
    QCOMPARE(frames.frameTime(true, 1000, true).time, qint64(1000));
    QVERIFY(frames.frameTime(true, kMin, true).tell);
}

void TestMp4Timestamps::fileTimeline_data()
{
    QTest::addColumn<QVector<qint64>>("in"); // milliseconds
    QTest::addColumn<QVector<qint64>>("out");
    using Times = QVector<qint64>;
    constexpr qint64 kSixHours = 6 * 3600 * 1000;
    constexpr qint64 kNow = 1700000000000;
    constexpr qint64 k32Bits = qint64(1) << 32;
    QTest::newRow("regular") << Times{kNow, kNow + 40, kNow + 80}
                             << Times{kNow, kNow + 40, kNow + 80};
    QTest::newRow("backwards, repeated") << Times{5000, 0, 0, 5000} << Times{5000, 0, 0, 5000};
    QTest::newRow("gap of six hours stays")
        << Times{0, kSixHours, kSixHours + 40} << Times{0, kSixHours, kSixHours + 40};
    QTest::newRow("longer gap is closed")
        << Times{0, kSixHours + 1, kSixHours + 41} << Times{0, 1, 41};
    QTest::newRow("back by six hours stays")
        << Times{kSixHours, 0, kSixHours + 40} << Times{kSixHours, 0, kSixHours + 40};
    QTest::newRow("back by more goes on")
        << Times{kNow, kNow - kSixHours - 1000, kNow - kSixHours - 960}
        << Times{kNow, kNow + 1, kNow + 41};
    QTest::newRow("one stamp far ahead") << Times{0, 40, kNow, 80} << Times{0, 40, 41, 80};
    QTest::newRow("one stamp far behind")
        << Times{kNow, kNow + 40, 0, kNow + 80} << Times{kNow, kNow + 40, kNow + 41, kNow + 80};
    QTest::newRow("zero, then the time of day")
        << Times{0, kNow, kNow + 40, kNow + 80} << Times{0, 1, 41, 81};
    QTest::newRow("32 bits wrap") << Times{k32Bits - 80, k32Bits - 40, 0, 40}
                                  << Times{k32Bits - 80, k32Bits - 40, k32Bits - 39, k32Bits + 1};
    QTest::newRow("far twice") << Times{0, kNow, kNow + 40, 5 * kNow, 5 * kNow + 40}
                               << Times{0, 1, 41, 42, 82};
}

void TestMp4Timestamps::fileTimeline()
{
    QFETCH(QVector<qint64>, in);
    QFETCH(QVector<qint64>, out);
    FileTimeline timeline;
    for (int i = 0; i < in.size(); ++i) {
        const std::optional<qint64> stamp = timeline.fit(in[i] * 90, {1, 90000}, 0);
        QVERIFY(stamp);
        QCOMPARE(*stamp, out[i] * 90);
        timeline.written(*stamp, {1, 90000}, 0);
    }
}

void TestMp4Timestamps::fileTimeline_refusesWhatIsNoStamp()
{
    FileTimeline timeline;
    for (int round = 0; round < 2; ++round) {
        for (const qint64 stamp : {kNone, kMin, kMin + 1, kMin / 2, kMax / 2, kMax - 1, kMax})
            QVERIFY(!timeline.fit(stamp, {1, 90000}, 0));
        QCOMPARE(timeline.fit(7, {1, 90000}, 0).value_or(-1), qint64(7));
        timeline.written(7, {1, 90000}, 0);
    }
}

void TestMp4Timestamps::fileTimeline_bearsAnyStamp()
{
    // Time bases from one second to the finest that a device may claim.
    for (const int den : {1, 8000, 90000, std::numeric_limits<int>::max()}) {
        FileTimeline timeline;
        qint64 stamp = 0;
        for (int bit = 0; bit < 63; ++bit) {
            for (const int sign : {1, -1}) {
                stamp = sign * (qint64(1) << bit);
                if (const std::optional<qint64> fitted = timeline.fit(stamp, {1, den}, 0))
                    timeline.written(*fitted, {1, den}, 0);
            }
        }
    }
}

void TestMp4Timestamps::fileTimeline_keepsStreamsTogether()
{
    constexpr qint64 kNow = 1700000000;
    FileTimeline timeline;
    timeline.written(0, {1, 90000}, 0);
    timeline.written(0, {1, 8000}, 1);
    // Both clocks are set, the pictures first.
    const std::optional<qint64> picture = timeline.fit(kNow * 90000, {1, 90000}, 0);
    QCOMPARE(picture.value_or(-1), qint64(90));
    timeline.written(*picture, {1, 90000}, 0);
    QCOMPARE(timeline.fit((kNow + 1) * 8000, {1, 8000}, 1).value_or(-1), qint64(8008));
}

void TestMp4Timestamps::fileTimeline_bringsAPausedStreamBack()
{
    constexpr AVRational kMillis = {1, 1000};
    constexpr qint64 kHours = 3600 * 1000;
    FileTimeline timeline;
    const auto put = [&](qint64 stamp, int stream) {
        const qint64 fitted = timeline.fit(stamp, kMillis, stream).value_or(-1);
        timeline.written(fitted, kMillis, stream);
        return fitted;
    };
    QCOMPARE(put(0, 0), qint64(0));
    for (qint64 sound = 0; sound < 15 * kHours; sound += kHours)
        QCOMPARE(put(sound, 1), sound);
    // No step is longer than six hours, and then the picture is where the sound is.
    QCOMPARE(put(14 * kHours + 40, 0), 6 * kHours);
    QCOMPARE(put(14 * kHours + 80, 0), 12 * kHours);
    QCOMPARE(put(14 * kHours + 120, 0), 14 * kHours + 120);
    QCOMPARE(put(14 * kHours + 160, 1), 14 * kHours + 160);
}

void TestMp4Timestamps::fileTimeline_tellsWhatIsWellWithinReach()
{
    constexpr AVRational kMillis = {1, 1000};
    constexpr qint64 kHours = 3600 * 1000;
    FileTimeline timeline;
    QVERIFY(!timeline.isAmid(0, kMillis)); // nothing is written yet
    timeline.written(0, kMillis, 0);
    for (const qint64 stamp : {qint64(0), -2 * kHours, 2 * kHours})
        QVERIFY(timeline.isAmid(stamp, kMillis));
    for (const qint64 stamp : {-3 * kHours, 3 * kHours, 7 * kHours, kMin, kMax, kNone})
        QVERIFY(!timeline.isAmid(stamp, kMillis));
    constexpr qint64 kLate = (qint64(1) << 60) / 1000 - 1; // milliseconds
    timeline.written(kLate, kMillis, 0);
    QVERIFY(!timeline.isAmid(kLate, kMillis)); // what follows is no stamp any more
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
