// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/digitalzoom.h"

#include <QTest>

#include <cmath>
#include <limits>

namespace {

constexpr int kNotch = 120; // eighths of a degree: one step of a usual wheel

const QRectF kPicture(0, 0, 640, 480);
const QSize kWidget(640, 480);

DigitalZoom zoomShowing(const QRectF &part)
{
    DigitalZoom zoom;
    zoom.on = true;
    zoom.sourceRect = kPicture;
    zoom.zoomRect = part;
    return zoom;
}

bool close(const QRectF &a, const QRectF &b)
{
    constexpr double tolerance = 1e-9;
    return std::abs(a.x() - b.x()) < tolerance && std::abs(a.y() - b.y()) < tolerance &&
           std::abs(a.width() - b.width()) < tolerance &&
           std::abs(a.height() - b.height()) < tolerance;
}

} // namespace

class TestDigitalZoom : public QObject
{
    Q_OBJECT

private slots:
    void initially_isOffAndEmpty();
    void press_startsDrag_onlyWhileOn();
    void release_endsDrag();
    void drag_movesViewAgainstPointer();
    void drag_doesNothing_withoutPressOrZoom();
    void drag_stopsAtLeftAndTopEdge();
    void drag_isRefusedWhole_atRightOrBottomEdge_data();
    void drag_isRefusedWhole_atRightOrBottomEdge();
    void drag_isRefused_whileWholePictureIsShown();
    void drag_isSafe_withNothingToDivideBy();
    void wheel_isPassedOn_whileOff();
    void wheel_zoomsByWholeDegrees_data();
    void wheel_zoomsByWholeDegrees();
    void wheelIn_stopsAtQuarterOfEitherAxis_data();
    void wheelIn_stopsAtQuarterOfEitherAxis();
    void wheelIn_repeated_endsAtFactorFour();
    void wheelOut_isOnlyBoundedByPicture();
    void wheel_isPassedOn_withEmptyView();
    void wheel_survivesAbsurdSteps();
    void visiblePart_followsPicture_unlessZoomed();
};

void TestDigitalZoom::initially_isOffAndEmpty()
{
    const DigitalZoom zoom;
    QVERIFY(!zoom.on);
    QVERIFY(!zoom.dragging);
    QCOMPARE(zoom.lastMousePos, QPoint(0, 0));
    QVERIFY(zoom.sourceRect.isNull());
    QVERIFY(zoom.zoomRect.isNull());
}

void TestDigitalZoom::press_startsDrag_onlyWhileOn()
{
    DigitalZoom zoom;
    zoom.press(QPoint(3, 4));
    QVERIFY(!zoom.dragging);
    QCOMPARE(zoom.lastMousePos, QPoint(0, 0));

    zoom.on = true;
    zoom.press(QPoint(3, 4));
    QVERIFY(zoom.dragging);
    QCOMPARE(zoom.lastMousePos, QPoint(3, 4));
}

void TestDigitalZoom::release_endsDrag()
{
    DigitalZoom zoom = zoomShowing(QRectF(160, 120, 320, 240));
    zoom.press(QPoint(0, 0));
    zoom.on = false; // also when zoom was switched off meanwhile
    zoom.release();
    QVERIFY(!zoom.dragging);
}

void TestDigitalZoom::drag_movesViewAgainstPointer()
{
    DigitalZoom zoom = zoomShowing(QRectF(160, 120, 320, 240));
    zoom.press(QPoint(100, 100));
    // 10 of 640 widget pixels are 5 of the 320 picture pixels shown; -5 of 480 are -2.5 of 240.
    QVERIFY(zoom.drag(QPoint(110, 95), kWidget));
    QCOMPARE(zoom.zoomRect, QRectF(155, 122.5, 320, 240));
    QCOMPARE(zoom.lastMousePos, QPoint(110, 95));
    // The next step counts from there.
    QVERIFY(zoom.drag(QPoint(108, 95), kWidget));
    QCOMPARE(zoom.zoomRect, QRectF(156, 122.5, 320, 240));
}

void TestDigitalZoom::drag_doesNothing_withoutPressOrZoom()
{
    const QRectF part(160, 120, 320, 240);
    DigitalZoom zoom = zoomShowing(part);
    QVERIFY(!zoom.drag(QPoint(50, 50), kWidget));
    QCOMPARE(zoom.lastMousePos, QPoint(0, 0));

    zoom.press(QPoint(10, 10));
    zoom.on = false;
    QVERIFY(!zoom.drag(QPoint(50, 50), kWidget));
    QCOMPARE(zoom.lastMousePos, QPoint(10, 10));
    QCOMPARE(zoom.zoomRect, part);
}

void TestDigitalZoom::drag_stopsAtLeftAndTopEdge()
{
    DigitalZoom zoom = zoomShowing(QRectF(160, 120, 320, 240));
    zoom.press(QPoint(0, 0));
    QVERIFY(zoom.drag(QPoint(600, 0), kWidget)); // 300 picture pixels, 160 are left
    QCOMPARE(zoom.zoomRect, QRectF(0, 120, 320, 240));
    QVERIFY(zoom.drag(QPoint(600, 400), kWidget)); // 200 picture pixels, 120 are left
    QCOMPARE(zoom.zoomRect, QRectF(0, 0, 320, 240));
}

void TestDigitalZoom::drag_isRefusedWhole_atRightOrBottomEdge_data()
{
    QTest::addColumn<QPoint>("step");
    QTest::addColumn<bool>("moves");
    QTest::addColumn<QRectF>("expected");

    const QRectF part(160, 120, 320, 240);
    QTest::newRow("one pixel short of the right edge")
        << QPoint(-318, 0) << true << QRectF(319, 120, 320, 240);
    QTest::newRow("exactly at the right edge") << QPoint(-320, 0) << false << part;
    QTest::newRow("past the right edge, with a vertical part") << QPoint(-400, 20) << false << part;
    QTest::newRow("one pixel short of the bottom edge")
        << QPoint(0, -238) << true << QRectF(160, 239, 320, 240);
    QTest::newRow("exactly at the bottom edge") << QPoint(0, -240) << false << part;
    QTest::newRow("past the bottom edge, with a horizontal part")
        << QPoint(20, -300) << false << part;
}

void TestDigitalZoom::drag_isRefusedWhole_atRightOrBottomEdge()
{
    QFETCH(QPoint, step);
    QFETCH(bool, moves);
    QFETCH(QRectF, expected);
    DigitalZoom zoom = zoomShowing(QRectF(160, 120, 320, 240));
    const QPoint start(500, 400);
    zoom.press(start);
    QCOMPARE(zoom.drag(start + step, kWidget), moves);
    QCOMPARE(zoom.zoomRect, expected);
    QCOMPARE(zoom.lastMousePos, start + step); // moves on in any case
}

void TestDigitalZoom::drag_isRefused_whileWholePictureIsShown()
{
    DigitalZoom zoom = zoomShowing(kPicture);
    zoom.press(QPoint(0, 0));
    QVERIFY(!zoom.drag(QPoint(10, 10), kWidget));
    QCOMPARE(zoom.zoomRect, kPicture);
}

void TestDigitalZoom::drag_isSafe_withNothingToDivideBy()
{
    const QRectF part(160, 120, 320, 240);
    DigitalZoom zoom = zoomShowing(part);
    zoom.press(QPoint(0, 0));
    QVERIFY(!zoom.drag(QPoint(5, 5), QSize(0, 0)));
    QVERIFY(!zoom.drag(QPoint(6, 6), QSize(640, 0)));
    QVERIFY(!zoom.drag(QPoint(7, 7), QSize()));
    QCOMPARE(zoom.zoomRect, part);
    QCOMPARE(zoom.lastMousePos, QPoint(7, 7));

    zoom.lastMousePos = QPoint(std::numeric_limits<int>::min(), 0);
    QVERIFY(zoom.drag(QPoint(std::numeric_limits<int>::max(), 0), kWidget));
    QCOMPARE(zoom.zoomRect, QRectF(0, 120, 320, 240));

    DigitalZoom empty;
    empty.on = true;
    empty.press(QPoint(0, 0));
    QVERIFY(!empty.drag(QPoint(5, 5), kWidget));
    QVERIFY(empty.zoomRect.isNull());
}

void TestDigitalZoom::wheel_isPassedOn_whileOff()
{
    DigitalZoom zoom = zoomShowing(kPicture);
    zoom.on = false;
    QCOMPARE(zoom.wheel(kNotch), DigitalZoom::PassToBase);
    QCOMPARE(zoom.zoomRect, kPicture);
}

// A notch is 15 degrees: 15 / 360 * 0.1 = 1/240 of the view goes on each side.
void TestDigitalZoom::wheel_zoomsByWholeDegrees_data()
{
    QTest::addColumn<QRectF>("before");
    QTest::addColumn<int>("delta");
    QTest::addColumn<QRectF>("after");

    const QRectF middle(120, 120, 240, 240);
    QTest::newRow("one notch in") << kPicture << 120
                                  << QRectF(640 / 240.0, 2, 640 - 2 * 640 / 240.0, 476);
    QTest::newRow("one notch out") << middle << -120 << QRectF(119, 119, 242, 242);
    QTest::newRow("two notches in one event") << middle << 240 << QRectF(122, 122, 236, 236);
    QTest::newRow("less than a degree in") << middle << 7 << middle;
    QTest::newRow("less than a degree out") << middle << -7 << middle;
    QTest::newRow("no delta") << middle << 0 << middle;
    QTest::newRow("a part of a degree is cut off") << middle << 127 << QRectF(121, 121, 238, 238);
    QTest::newRow("and towards zero on the way out")
        << middle << -127 << QRectF(119, 119, 242, 242);
    QTest::newRow("away from the middle of the picture")
        << QRectF(10, 20, 240, 240) << 120 << QRectF(11, 21, 238, 238);
}

void TestDigitalZoom::wheel_zoomsByWholeDegrees()
{
    QFETCH(QRectF, before);
    QFETCH(int, delta);
    QFETCH(QRectF, after);
    DigitalZoom zoom = zoomShowing(before);
    QCOMPARE(zoom.wheel(delta), DigitalZoom::Changed);
    QVERIFY(close(zoom.zoomRect, after));
}

void TestDigitalZoom::wheelIn_stopsAtQuarterOfEitherAxis_data()
{
    QTest::addColumn<QRectF>("part");
    QTest::addColumn<bool>("changes");

    QTest::newRow("a quarter of the width") << QRectF(0, 0, 160, 300) << false;
    QTest::newRow("less than a quarter of the width") << QRectF(0, 0, 150, 300) << false;
    QTest::newRow("a quarter of the height") << QRectF(0, 0, 300, 120) << false;
    QTest::newRow("a little more than both") << QRectF(0, 0, 160.5, 120.5) << true;
}

void TestDigitalZoom::wheelIn_stopsAtQuarterOfEitherAxis()
{
    QFETCH(QRectF, part);
    QFETCH(bool, changes);
    DigitalZoom zoom = zoomShowing(part);
    QCOMPARE(zoom.wheel(kNotch), changes ? DigitalZoom::Changed : DigitalZoom::Accepted);
    QCOMPARE(zoom.zoomRect != part, changes);
    // The way out is open at the limit.
    zoom.zoomRect = part;
    QCOMPARE(zoom.wheel(-kNotch), DigitalZoom::Changed);
    QVERIFY(zoom.zoomRect.width() > part.width());
}

void TestDigitalZoom::wheelIn_repeated_endsAtFactorFour()
{
    DigitalZoom zoom = zoomShowing(kPicture);
    int steps = 0;
    double widthBefore = 0;
    for (; steps < 10000; ++steps) {
        widthBefore = zoom.zoomRect.width();
        if (zoom.wheel(kNotch) == DigitalZoom::Accepted)
            break;
    }
    // Each step leaves 238/240: 166 of them bring the width from 640 to 160 or just below.
    QCOMPARE(steps, 166);
    QVERIFY(widthBefore <= 160 && widthBefore > 160 * 238 / 240.0);
    QVERIFY(close(QRectF(zoom.zoomRect.center(), QSizeF(0, 0)), QRectF(320, 240, 0, 0)));
}

void TestDigitalZoom::wheelOut_isOnlyBoundedByPicture()
{
    DigitalZoom whole = zoomShowing(kPicture);
    QCOMPARE(whole.wheel(-kNotch), DigitalZoom::Changed);
    QCOMPARE(whole.zoomRect, kPicture);

    DigitalZoom topLeft = zoomShowing(QRectF(0, 0, 240, 240));
    QCOMPARE(topLeft.wheel(-kNotch), DigitalZoom::Changed);
    QVERIFY(close(topLeft.zoomRect, QRectF(0, 0, 241, 241)));

    DigitalZoom bottomRight = zoomShowing(QRectF(400, 240, 240, 240));
    QCOMPARE(bottomRight.wheel(-kNotch), DigitalZoom::Changed);
    QVERIFY(close(bottomRight.zoomRect, QRectF(399, 239, 241, 241)));

    DigitalZoom far = zoomShowing(QRectF(400, 240, 160, 120));
    for (int i = 0; i < 1000; ++i)
        far.wheel(-kNotch);
    QVERIFY(close(far.zoomRect, kPicture));
}

void TestDigitalZoom::wheel_isPassedOn_withEmptyView()
{
    DigitalZoom zoom = zoomShowing(QRectF());
    QCOMPARE(zoom.wheel(-kNotch), DigitalZoom::PassToBase);
    QVERIFY(zoom.zoomRect.isNull());
    // On the way in the limit is looked at first, and nothing is less than a quarter.
    QCOMPARE(zoom.wheel(kNotch), DigitalZoom::Accepted);
    QVERIFY(zoom.zoomRect.isNull());
}

void TestDigitalZoom::wheel_survivesAbsurdSteps()
{
    for (int delta : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 14400}) {
        DigitalZoom zoom = zoomShowing(QRectF(160, 120, 320, 240));
        zoom.wheel(delta);
        zoom.wheel(-kNotch);
        zoom.wheel(kNotch);
        QVERIFY(kPicture.contains(zoom.visiblePart()));
    }
    // The picture went away while a part of it was shown.
    DigitalZoom gone = zoomShowing(QRectF(160, 120, 320, 240));
    gone.sourceRect = QRectF();
    gone.wheel(-kNotch);
    QVERIFY(gone.visiblePart().isNull());
}

void TestDigitalZoom::visiblePart_followsPicture_unlessZoomed()
{
    const QRectF part(160, 120, 320, 240);
    DigitalZoom zoom = zoomShowing(part);
    QCOMPARE(zoom.visiblePart(), part); // survives a new picture

    zoom.zoomRect = QRectF(10, 10, 0, 5);
    QCOMPARE(zoom.visiblePart(), kPicture);

    zoom.zoomRect = part;
    zoom.on = false;
    QCOMPARE(zoom.visiblePart(), kPicture);
    QCOMPARE(zoom.zoomRect, kPicture);
}

QTEST_GUILESS_MAIN(TestDigitalZoom)
#include "tst_digitalzoom.moc"
