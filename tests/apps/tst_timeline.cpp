// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "theme.h"
#include "timeline.h"

#include <QApplication>
#include <QHelpEvent>
#include <QSignalSpy>
#include <QToolTip>
#include <QWheelEvent>
#include <QtTest>

using namespace recordingtime;

namespace {

const QDate kDay(2026, 3, 14);

qint64 at(int hour, int minute = 0)
{
    return of(kDay) + hour * hourMs + minute * minuteMs;
}

/// A time line with three rows: recorded with a gap, with nothing, and not known.
struct Line : TimeLine
{
    Line()
    {
        resize(1100, sizeHint().height());
        setDay(kDay);
        TimeLine::Row full, empty, unknown;
        full.name = "one";
        full.isKnown = true;
        full.recorded = {{at(2), at(8)}, {at(14), at(20)}};
        empty.name = "two";
        empty.isKnown = true;
        unknown.name = "three";
        setRows({full, empty, unknown});
        resize(1100, sizeHint().height());
        show();
    }

    QPoint point(qint64 time, int row = 0) const
    {
        return QPoint(scale().xOf(time), placeOf(row).center().y());
    }
    QPoint ruler(qint64 time) const { return QPoint(scale().xOf(time), kRulerHeight / 2); }
    void drag(Qt::MouseButton button, Qt::KeyboardModifiers keys, const QPoint &from,
              const QPoint &to)
    {
        QTest::mousePress(this, button, keys, from);
        move(button, keys, (from + to) / 2);
        move(button, keys, to);
        QTest::mouseRelease(this, button, keys, to);
    }
    void move(Qt::MouseButton button, Qt::KeyboardModifiers keys, const QPoint &to)
    {
        QMouseEvent event(QEvent::MouseMove, to, mapToGlobal(to), Qt::NoButton, button, keys);
        QCoreApplication::sendEvent(this, &event);
    }
    void turn(const QPoint &where, const QPoint &angle, Qt::KeyboardModifiers keys = {})
    {
        QWheelEvent event(where, mapToGlobal(where), QPoint(), angle, Qt::NoButton, keys,
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(this, &event);
    }
    QColor colourAt(const QPoint &point) { return QColor(grab().toImage().pixel(point)); }
};

/// Pixels are worth some minutes of a whole day.
bool isAbout(qint64 time, qint64 expected)
{
    return qAbs(time - expected) <= 2 * minuteMs;
}

} // namespace

/// The time line as a person sees and uses it.
class TestTimeLine : public QObject
{
    Q_OBJECT

private slots:
    void rows_showWhatIsRecorded_andWhatIsMissing();
    void notKnown_isShownUnlikeRecorded_andUnlikeMissing();
    void shortRecording_isSeenInAWholeDay();
    void click_asksForThatTimeOfThatRow();
    void drag_asksForEachTime_andStaysWithinTheDay();
    void clickOnAName_asksForNothing();
    void shiftDrag_andRightDrag_markASpan();
    void shiftClick_marksNothing();
    void edgesOfAMark_canBeDragged();
    void markingByDragging_asksForNoTime();
    void newDay_forgetsTheMark_andShowsAllOfIt();
    void wheel_zoomsAtThePointer();
    void wheelWithShift_middleDrag_andStrip_moveWhatIsSeen();
    void position_isSeen_andFollowed_whileZoomed();
    void position_isNotFollowed_fromAnotherPartOfTheDay();
    void tip_tellsWhatIsThere();
    void withoutRows_nothingHappens();
};

void TestTimeLine::rows_showWhatIsRecorded_andWhatIsMissing()
{
    Line line;
    QCOMPARE(line.colourAt(line.point(at(5))), theme::accent);
    QCOMPARE(line.colourAt(line.point(at(17))), theme::accent);
    for (const int hour : {1, 11, 22})
        QCOMPARE(line.colourAt(line.point(at(hour))), theme::view);
    // The border is where the recording ends, to the pixel.
    const QPoint end = line.point(at(8));
    QCOMPARE(line.colourAt(end - QPoint(1, 0)), theme::accent);
    QCOMPARE(line.colourAt(end), theme::view);
    QCOMPARE(line.colourAt(line.point(at(5), 1)), theme::view);
    // A row that is not selected is darker, but of the same colour.
    line.selectRow(1);
    const QColor dark = line.colourAt(line.point(at(5)));
    QVERIFY(dark != theme::accent && dark != theme::view);
    QVERIFY(qAbs(dark.hue() - theme::accent.hue()) < 8);
}

void TestTimeLine::notKnown_isShownUnlikeRecorded_andUnlikeMissing()
{
    Line line;
    const QImage image = line.grab().toImage();
    int hatched = 0, plain = 0;
    const QRect place = line.placeOf(2).adjusted(4, 5, -4, -5);
    for (int x = place.left(); x < place.right(); ++x) {
        const QColor colour(image.pixel(x, place.center().y()));
        QVERIFY(colour != theme::accent);
        ++(colour == theme::view ? plain : hatched);
    }
    QVERIFY(hatched > 20 && plain > 20);
}

void TestTimeLine::shortRecording_isSeenInAWholeDay()
{
    Line line;
    TimeLine::Row row;
    row.isKnown = true;
    row.recorded = {{at(12), at(12) + secondMs}};
    line.setRows({row});
    QCOMPARE(line.colourAt(line.point(at(12))), theme::accent);
}

void TestTimeLine::click_asksForThatTimeOfThatRow()
{
    Line line;
    QSignalSpy chosen(&line, &TimeLine::timeChosen);
    QTest::mouseClick(&line, Qt::LeftButton, {}, line.point(at(6), 1));
    QCOMPARE(chosen.size(), 1);
    QCOMPARE(chosen[0][0].toInt(), 1);
    QVERIFY(isAbout(chosen[0][1].toLongLong(), at(6)));
    // On the ruler it is that of the selected row.
    line.selectRow(2);
    QTest::mouseClick(&line, Qt::LeftButton, {}, line.ruler(at(18)));
    QCOMPARE(chosen[1][0].toInt(), 2);
    QVERIFY(isAbout(chosen[1][1].toLongLong(), at(18)));
}

void TestTimeLine::drag_asksForEachTime_andStaysWithinTheDay()
{
    Line line;
    QSignalSpy chosen(&line, &TimeLine::timeChosen);
    line.drag(Qt::LeftButton, {}, line.point(at(4)), line.point(at(8)));
    QCOMPARE(chosen.size(), 3);
    QVERIFY(isAbout(chosen[0][1].toLongLong(), at(4)));
    QVERIFY(isAbout(chosen[1][1].toLongLong(), at(6)));
    QVERIFY(isAbout(chosen[2][1].toLongLong(), at(8)));
    // Beyond its ends, and in another row: it is still that drag.
    line.drag(Qt::LeftButton, {}, line.point(at(20)), QPoint(5000, line.placeOf(2).center().y()));
    QCOMPARE(chosen.last()[0].toInt(), 0);
    QCOMPARE(chosen.last()[1].toLongLong(), at(24));
    // When the button is up, moving asks for nothing.
    const int before = chosen.size();
    line.move(Qt::NoButton, {}, line.point(at(3)));
    QCOMPARE(chosen.size(), before);
}

void TestTimeLine::clickOnAName_asksForNothing()
{
    Line line;
    QSignalSpy chosen(&line, &TimeLine::timeChosen);
    QTest::mouseClick(&line, Qt::LeftButton, {}, QPoint(10, line.placeOf(0).center().y()));
    QCOMPARE(chosen.size(), 0);
}

void TestTimeLine::shiftDrag_andRightDrag_markASpan()
{
    Line line;
    QSignalSpy chosen(&line, &TimeLine::timeChosen), marked(&line, &TimeLine::markChanged);
    line.drag(Qt::LeftButton, Qt::ShiftModifier, line.point(at(9)), line.point(at(12)));
    QVERIFY(isAbout(line.mark().begin, at(9)) && isAbout(line.mark().end, at(12)));
    QVERIFY(marked.size() > 0);
    // Backward too.
    line.drag(Qt::RightButton, {}, line.point(at(18)), line.point(at(15)));
    QVERIFY(isAbout(line.mark().begin, at(15)) && isAbout(line.mark().end, at(18)));
    QCOMPARE(chosen.size(), 0);
    QVERIFY(line.colourAt(line.point(at(16), 1)) != theme::view); // it is seen
}

void TestTimeLine::shiftClick_marksNothing()
{
    Line line;
    line.setMark({at(9), at(12)});
    QTest::mouseClick(&line, Qt::LeftButton, Qt::ShiftModifier, line.point(at(5)));
    QCOMPARE(line.mark(), (TimeSpan{at(9), at(12)}));
}

void TestTimeLine::edgesOfAMark_canBeDragged()
{
    Line line;
    line.setMark({at(9), at(12)});
    QSignalSpy chosen(&line, &TimeLine::timeChosen);
    line.drag(Qt::LeftButton, {}, line.ruler(at(12)) + QPoint(2, 0), line.ruler(at(15)));
    QCOMPARE(line.mark().begin, at(9));
    QVERIFY(isAbout(line.mark().end, at(15)));
    line.drag(Qt::LeftButton, {}, line.ruler(at(9)), line.ruler(at(3)));
    QVERIFY(isAbout(line.mark().begin, at(3)));
    QVERIFY(isAbout(line.mark().end, at(15)));
    // Over the other edge: it turns round.
    line.drag(Qt::LeftButton, {}, line.ruler(line.mark().begin), line.ruler(at(20)));
    QVERIFY(isAbout(line.mark().begin, at(15)) && isAbout(line.mark().end, at(20)));
    QCOMPARE(chosen.size(), 0);
}

void TestTimeLine::markingByDragging_asksForNoTime()
{
    Line line;
    line.setMarksByDragging(true);
    QSignalSpy chosen(&line, &TimeLine::timeChosen);
    line.drag(Qt::LeftButton, {}, line.point(at(9)), line.point(at(12)));
    QVERIFY(isAbout(line.mark().begin, at(9)) && isAbout(line.mark().end, at(12)));
    QTest::mouseClick(&line, Qt::LeftButton, {}, line.point(at(5)));
    QVERIFY(isAbout(line.mark().begin, at(9)) && isAbout(line.mark().end, at(12)));
    QCOMPARE(chosen.size(), 0);
}

void TestTimeLine::newDay_forgetsTheMark_andShowsAllOfIt()
{
    Line line;
    line.setMark({at(9), at(12)});
    line.setPosition(0, at(10));
    line.zoomIn();
    line.setDay(kDay.addDays(1));
    QVERIFY(!line.mark().isValid());
    QVERIFY(!line.scale().isZoomed());
    QCOMPARE(line.scale().whole().begin, of(kDay.addDays(1)));
    QCOMPARE(line.rows()[0].position, none);
    // A mark of another day is none.
    line.setMark({at(9), at(12)});
    QVERIFY(!line.mark().isValid());
}

void TestTimeLine::wheel_zoomsAtThePointer()
{
    Line line;
    const QPoint where = line.point(at(6));
    line.turn(where, QPoint(0, 120));
    line.turn(where, QPoint(0, 360));
    QVERIFY(line.scale().isZoomed());
    QVERIFY(isAbout(line.scale().timeAt(where.x()), at(6)));
    line.turn(where, QPoint(0, -4800));
    QVERIFY(!line.scale().isZoomed());
}

void TestTimeLine::wheelWithShift_middleDrag_andStrip_moveWhatIsSeen()
{
    Line line;
    line.setPosition(0, at(12));
    line.zoomIn();
    line.zoomIn(); // 9 to 15 o'clock
    const qint64 length = line.scale().visible().length();
    const qint64 begin = line.scale().visible().begin;
    line.turn(line.point(at(12)), QPoint(0, -120), Qt::ShiftModifier);
    QVERIFY(line.scale().visible().begin > begin);
    line.turn(line.point(at(12)), QPoint(120, 0));
    QVERIFY(qAbs(line.scale().visible().begin - begin) < minuteMs);
    line.drag(Qt::MiddleButton, {}, line.point(at(12)), line.point(at(14)));
    QVERIFY(isAbout(line.scale().visible().begin, begin - 2 * hourMs));
    // On the strip below, which is the whole day.
    const QRect place = line.placeOf(3);
    QSignalSpy chosen(&line, &TimeLine::timeChosen);
    QTest::mouseClick(&line, Qt::LeftButton, {},
                      QPoint(place.left() + place.width() * 18 / 24, place.top() + 5));
    const TimeSpan seen = line.scale().visible();
    QVERIFY(isAbout((seen.begin + seen.end) / 2, at(18)));
    QCOMPARE(seen.length(), length);
    QCOMPARE(chosen.size(), 0);
}

void TestTimeLine::position_isSeen_andFollowed_whileZoomed()
{
    Line line;
    line.setPosition(0, at(12));
    QCOMPARE(line.colourAt(line.point(at(12))), QColor(Qt::white));
    line.setPosition(1, at(3));
    QCOMPARE(line.colourAt(line.point(at(3), 1) - QPoint(0, 2)), theme::text);
    for (int i = 0; i < 5; ++i)
        line.zoomIn();
    QVERIFY(line.scale().visible().contains(at(12)));
    const qint64 end = line.scale().visible().end;
    line.setPosition(0, end - 1);
    line.setPosition(0, end + secondMs); // play goes on
    QVERIFY(line.scale().visible().contains(end + secondMs));
    line.setPosition(7, at(3)); // there is no such row
    line.setPosition(-1, at(3));
}

void TestTimeLine::position_isNotFollowed_fromAnotherPartOfTheDay()
{
    Line line;
    line.setPosition(0, at(12));
    for (int i = 0; i < 5; ++i)
        line.zoomIn();
    line.turn(line.point(at(12)), QPoint(-12000, 0)); // looks at the evening
    const TimeSpan evening = line.scale().visible();
    QVERIFY(!evening.contains(at(12)));
    line.setPosition(0, at(12) + 40 * secondMs);
    QCOMPARE(line.scale().visible(), evening);
}

void TestTimeLine::tip_tellsWhatIsThere()
{
    Line line;
    const auto tipAt = [&](const QPoint &point) {
        QToolTip::hideText();
        QHelpEvent event(QEvent::ToolTip, point, line.mapToGlobal(point));
        QCoreApplication::sendEvent(&line, &event);
        return QToolTip::text();
    };
    QCOMPARE(tipAt(line.point(at(5))), QString("Recorded from 02:00:00 to 08:00:00"));
    QCOMPARE(tipAt(line.point(at(11))), QString("Nothing recorded"));
    QVERIFY(tipAt(line.point(at(11), 2)).contains("does not tell"));
    QVERIFY(tipAt(line.ruler(at(11))).contains("wheel to zoom"));
}

void TestTimeLine::withoutRows_nothingHappens()
{
    TimeLine line;
    line.show();
    QSignalSpy chosen(&line, &TimeLine::timeChosen);
    QTest::mouseClick(&line, Qt::LeftButton, {}, QPoint(300, 10));
    QTest::mouseClick(&line, Qt::LeftButton, {}, QPoint(300, 30));
    line.zoomIn();
    line.grab();
    QCOMPARE(chosen.size(), 0);
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    theme::apply(application);
    TestTimeLine test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_timeline.moc"
