// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/mediaclock.h"
#include "timescale.h"

#include <QtTest>

#include <ctime>

using namespace recordingtime;

namespace {

const QDate kDay(2026, 3, 14);

TimeScale dayOn(int left, int width)
{
    TimeScale scale({of(kDay), of(kDay) + dayMs});
    scale.setPlace(left, width);
    return scale;
}

qint64 at(int hour, int minute, int second = 0)
{
    return of(kDay) + hour * hourMs + minute * minuteMs + second * secondMs;
}

/// The local time zone for the time of a test.
struct Zone
{
    explicit Zone(const char *name) : former(qgetenv("TZ"))
    {
        qputenv("TZ", name);
        tzset();
    }
    ~Zone()
    {
        if (former.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", former);
        tzset();
    }
    QByteArray former;
};

} // namespace

/// Time of recordings, spans of it, and the geometry of a time line.
class TestTimeScale : public QObject
{
    Q_OBJECT

private slots:
    void time_isTheWallClock_writtenAsUtc();
    void day_hasTwentyFourHours_alsoWhereClocksChange();
    void timeForTheDevice_isTheSameReading();
    void timeForTheDevice_thatDoesNotExist_isTheFirstAfterTheJump();
    void texts_tellThousandthsIfAsked();
    void spans_thatTouch_areJoined();
    void common_andCovered_countWhatBothHave();
    void place_andTime_goThereAndBack();
    void place_ofTimesBeyond_liesBeyond_andTimeStaysWithin();
    void zoom_keepsTheTimeBelowThePointer_data();
    void zoom_keepsTheTimeBelowThePointer();
    void zoom_endsAtTheDay_andAtTenSeconds();
    void zoomTo_putsATimeInTheMiddle();
    void pan_staysWithinTheDay();
    void reveal_movesOnlyWhenItMust();
    void ticks_standAtFullUnits_andLeaveRoomForLabels_data();
    void ticks_standAtFullUnits_andLeaveRoomForLabels();
    void ticks_ofTheWholeDay_endWithMidnight();
    void emptyScale_isHarmless();
};

void TestTimeScale::time_isTheWallClock_writtenAsUtc()
{
    const Zone zone("Europe/Berlin");
    QCOMPARE(of(kDay), QDateTime(kDay, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch());
    const QDateTime wall(kDay, QTime(14, 3, 7, 40));
    QCOMPARE(of(wall), QDateTime(kDay, QTime(14, 3, 7, 40), Qt::UTC).toMSecsSinceEpoch());
    QCOMPARE(of(wall.toUTC()), of(wall)); // however it is told
    QCOMPARE(of(wall), vantrasim::deviceTime(wall));
    QCOMPARE(dayOf(of(wall)), kDay);
    QCOMPARE(dayOf(of(kDay) - 1), kDay.addDays(-1));
}

void TestTimeScale::day_hasTwentyFourHours_alsoWhereClocksChange()
{
    const Zone zone("Europe/Berlin");
    for (const QDate &day : {QDate(2026, 3, 29), QDate(2026, 10, 25)})
        QCOMPARE(of(day.addDays(1)) - of(day), dayMs);
}

void TestTimeScale::timeForTheDevice_isTheSameReading()
{
    for (const char *name : {"UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata"}) {
        const Zone zone(name);
        for (qint64 time = of(QDate(2026, 1, 1)); time < of(QDate(2027, 1, 1));
             time += 7 * hourMs + 13 * minuteMs) {
            const QDateTime asked = forDevice(time);
            QVERIFY(asked.isValid());
            QCOMPARE(asked.timeSpec(), Qt::LocalTime);
            const QDateTime reading = QDateTime::fromMSecsSinceEpoch(time, Qt::UTC);
            const bool exists = QDateTime(reading.date(), reading.time()).isValid();
            if (exists)
                QCOMPARE(vantrasim::deviceTime(asked), time);
        }
    }
}

void TestTimeScale::timeForTheDevice_thatDoesNotExist_isTheFirstAfterTheJump()
{
    const Zone zone("Europe/Berlin");
    const qint64 missing = of(QDate(2026, 3, 29)) + 2 * hourMs + 20 * minuteMs;
    const QDateTime reading = QDateTime::fromMSecsSinceEpoch(missing, Qt::UTC);
    if (QDateTime(reading.date(), reading.time()).isValid())
        QSKIP("this machine knows no change of clocks in Berlin");
    const QDateTime asked = forDevice(missing);
    QVERIFY(asked.isValid());
    QCOMPARE(asked.time(), QTime(3, 0));
    QCOMPARE(asked.date(), QDate(2026, 3, 29));
}

void TestTimeScale::texts_tellThousandthsIfAsked()
{
    QCOMPARE(clockText(at(14, 3, 7) + 40), QString("14:03:07"));
    QCOMPARE(clockText(at(14, 3, 7) + 40, true), QString("14:03:07.040"));
    QCOMPARE(text(at(0, 0), true), QString("2026-03-14 00:00:00.000"));
}

void TestTimeScale::spans_thatTouch_areJoined()
{
    const QVector<TimeSpan> spans =
        joined({{50, 60}, {10, 20}, {20, 30}, {55, 80}, {90, 90}, {70, 75}, TimeSpan()});
    QCOMPARE(spans, (QVector<TimeSpan>{{10, 30}, {50, 80}}));
    QVERIFY(joined({}).isEmpty());
}

void TestTimeScale::common_andCovered_countWhatBothHave()
{
    const TimeSpan span{10, 30};
    QCOMPARE(span.common({20, 50}), (TimeSpan{20, 30}));
    QVERIFY(!span.common({30, 50}).isValid());
    QVERIFY(!span.common(TimeSpan()).isValid());
    QVERIFY(span.contains(10) && span.contains(29) && !span.contains(30) && !span.contains(9));
    QCOMPARE(covered({{0, 15}, {20, 25}, {40, 50}}, span), qint64(10));
    QCOMPARE(covered({}, span), qint64(0));
    QCOMPARE(TimeSpan().length(), qint64(0));
}

void TestTimeScale::place_andTime_goThereAndBack()
{
    const TimeScale scale = dayOn(130, 960);
    QCOMPARE(scale.xOf(at(0, 0)), 130);
    QCOMPARE(scale.xOf(at(12, 0)), 610);
    QCOMPARE(scale.xOf(at(24, 0)), 1090);
    QCOMPARE(scale.timeAt(610), at(12, 0));
    for (int x = 130; x <= 1090; ++x)
        QCOMPARE(scale.xOf(scale.timeAt(x)), x);
}

void TestTimeScale::place_ofTimesBeyond_liesBeyond_andTimeStaysWithin()
{
    TimeScale scale = dayOn(100, 1000);
    scale.zoom(2, 600); // 6 to 18 o'clock
    QCOMPARE(scale.visible(), (TimeSpan{at(6, 0), at(18, 0)}));
    QVERIFY(scale.xOf(at(5, 59)) < 100);
    QVERIFY(scale.xOf(at(18, 1)) > 1100);
    QCOMPARE(scale.timeAt(-500), at(6, 0));
    QCOMPARE(scale.timeAt(5000), at(18, 0));
}

void TestTimeScale::zoom_keepsTheTimeBelowThePointer_data()
{
    QTest::addColumn<int>("x");
    for (const int x : {100, 333, 600, 950, 1100})
        QTest::newRow(qPrintable(QString::number(x))) << x;
}

void TestTimeScale::zoom_keepsTheTimeBelowThePointer()
{
    QFETCH(int, x);
    TimeScale scale = dayOn(100, 1000);
    for (int i = 0; i < 12; ++i) {
        const qint64 held = scale.timeAt(x);
        scale.zoom(1.5, x);
        QVERIFY2(qAbs(scale.xOf(held) - x) <= 1, qPrintable(QString::number(i)));
    }
    QVERIFY(scale.isZoomed());
    for (int i = 0; i < 20; ++i)
        scale.zoom(1 / 1.5, x);
    QVERIFY(!scale.isZoomed());
}

void TestTimeScale::zoom_endsAtTheDay_andAtTenSeconds()
{
    TimeScale scale = dayOn(0, 1000);
    for (int i = 0; i < 60; ++i)
        scale.zoom(2, 999);
    QCOMPARE(scale.visible().length(), TimeScale::kShortestMs);
    QVERIFY(scale.visible().end <= at(24, 0));
    scale.zoom(1e-9, 500);
    QCOMPARE(scale.visible(), scale.whole());
    scale.zoom(0, 500);
    scale.zoom(-1, 500);
    QCOMPARE(scale.visible(), scale.whole());
}

void TestTimeScale::zoomTo_putsATimeInTheMiddle()
{
    TimeScale scale = dayOn(0, 1000);
    scale.zoomTo(4, at(18, 0));
    QCOMPARE(scale.visible(), (TimeSpan{at(15, 0), at(21, 0)}));
    scale.zoomTo(2, at(23, 0)); // as near as it can be
    QCOMPARE(scale.visible(), (TimeSpan{at(21, 0), at(24, 0)}));
    scale.zoomTo(1e-9, at(1, 0));
    QCOMPARE(scale.visible(), scale.whole());
    scale.zoomTo(0, at(1, 0));
    QCOMPARE(scale.visible(), scale.whole());
}

void TestTimeScale::pan_staysWithinTheDay()
{
    TimeScale scale = dayOn(0, 1000);
    scale.pan(300);
    QCOMPARE(scale.visible(), scale.whole()); // there is nothing beyond
    scale.zoom(4, 500);
    const TimeSpan before = scale.visible();
    scale.pan(-100);
    QCOMPARE(scale.visible().length(), before.length());
    QCOMPARE(scale.visible().begin - before.begin, before.length() / 10);
    scale.pan(1000000);
    QCOMPARE(scale.visible().begin, at(0, 0));
    scale.pan(-1000000);
    QCOMPARE(scale.visible().end, at(24, 0));
}

void TestTimeScale::reveal_movesOnlyWhenItMust()
{
    TimeScale scale = dayOn(0, 1000);
    scale.zoom(24, 500); // an hour around noon
    const TimeSpan noon = scale.visible();
    scale.reveal(at(12, 10));
    QCOMPARE(scale.visible(), noon);
    scale.reveal(at(20, 0));
    QVERIFY(scale.visible().contains(at(20, 0)));
    QVERIFY(scale.visible().contains(at(20, 30))); // what comes next is seen too
    QCOMPARE(scale.visible().length(), noon.length());
    const TimeSpan evening = scale.visible();
    scale.reveal(at(24, 0) + dayMs); // of another day
    QCOMPARE(scale.visible(), evening);
}

void TestTimeScale::ticks_standAtFullUnits_andLeaveRoomForLabels_data()
{
    QTest::addColumn<double>("factor");
    QTest::addColumn<int>("width");
    for (const int width : {300, 900, 2400})
        for (const double factor : {1.0, 2.0, 7.3, 24.0, 333.0, 8640.0})
            QTest::newRow(qPrintable(QStringLiteral("%1 px, %2").arg(width).arg(factor)))
                << factor << width;
}

void TestTimeScale::ticks_standAtFullUnits_andLeaveRoomForLabels()
{
    QFETCH(double, factor);
    QFETCH(int, width);
    constexpr int room = 72;
    TimeScale scale = dayOn(50, width);
    scale.zoom(factor, 50 + width / 3);
    const QVector<TimeScale::Tick> ticks = scale.ticks(room);
    int labels = 0, last = -10000;
    for (const TimeScale::Tick &tick : ticks) {
        QVERIFY(tick.x >= 50 && tick.x <= 50 + width);
        if (tick.label.isEmpty())
            continue;
        ++labels;
        QVERIFY2(tick.x - last >= room - 1, qPrintable(tick.label));
        last = tick.x;
        // The label is the time of its place.
        const qint64 time = scale.timeAt(tick.x);
        const QString full = tick.label.size() == 5 ? tick.label + ":00" : tick.label;
        if (full == "24:00:00")
            continue;
        const qint64 told = of(kDay) + QTime::fromString(full, "HH:mm:ss").msecsSinceStartOfDay();
        QVERIFY2(qAbs(scale.xOf(told) - tick.x) <= 1, qPrintable(tick.label));
        Q_UNUSED(time)
    }
    QVERIFY(labels >= 1);
    QVERIFY(ticks.size() <= width); // never a carpet of strokes
}

void TestTimeScale::ticks_ofTheWholeDay_endWithMidnight()
{
    const QVector<TimeScale::Tick> ticks = dayOn(0, 960).ticks(72);
    QCOMPARE(ticks.first().label, QString("00:00"));
    QCOMPARE(ticks.last().label, QString("24:00"));
    QCOMPARE(ticks.last().x, 960);
}

void TestTimeScale::emptyScale_isHarmless()
{
    TimeScale scale;
    scale.setPlace(0, 0);
    scale.zoom(2, 0);
    scale.pan(10);
    scale.reveal(5);
    QCOMPARE(scale.timeAt(3), none);
    QVERIFY(scale.ticks(10).isEmpty());
}

QTEST_GUILESS_MAIN(TestTimeScale)
#include "tst_timescale.moc"
