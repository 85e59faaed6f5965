// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/picturegeometry_p.h"

#include <QTest>

#include <limits>

class TestPictureGeometry : public QObject
{
    Q_OBJECT

private slots:
    void getCenterRect_placesPicture_data();
    void getCenterRect_placesPicture();
    void getCenterRect_survivesAnyNumbers();
    void bannerRect_liesInsideTheBorder_data();
    void bannerRect_liesInsideTheBorder();
    void bannerRect_isNothing_forUnknownPositions();
    void bannerRect_survivesAnyNumbers();
};

// The numbers are worked out by hand: the centre of a rectangle of 640 by 480 is (319, 239), halves
// are cut off, and an even left or top goes up by one.
void TestPictureGeometry::getCenterRect_placesPicture_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<int>("border");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QRect>("expected");

    const QRect vga(0, 0, 640, 480);
    QTest::newRow("auto, smaller: keeps its size")
        << QSize(320, 240) << vga << 0 << 0 << QRect(159, 119, 320, 240);
    QTest::newRow("auto, exact: keeps its size")
        << QSize(640, 480) << vga << 0 << 0 << QRect(-1, -1, 640, 480);
    QTest::newRow("auto, larger: shrinks")
        << QSize(1280, 960) << vga << 0 << 0 << QRect(-1, -1, 640, 480);
    QTest::newRow("auto, only wider: shrinks with aspect")
        << QSize(1280, 240) << vga << 0 << 0 << QRect(-1, 179, 640, 120);
    QTest::newRow("auto, only taller: shrinks with aspect")
        << QSize(320, 960) << vga << 0 << 0 << QRect(239, -1, 160, 480);
    QTest::newRow("auto, one pixel too wide: shrinks")
        << QSize(641, 480) << vga << 0 << 0 << QRect(-1, 1, 640, 479);

    QTest::newRow("aspect, smaller: grows")
        << QSize(320, 240) << vga << 0 << 1 << QRect(-1, -1, 640, 480);
    QTest::newRow("aspect, larger: shrinks")
        << QSize(1280, 960) << vga << 0 << 1 << QRect(-1, -1, 640, 480);
    QTest::newRow("aspect, small and wide: grows to the width")
        << QSize(100, 10) << vga << 0 << 1 << QRect(-1, 207, 640, 64);
    QTest::newRow("aspect, small and tall: grows to the height")
        << QSize(10, 100) << vga << 0 << 1 << QRect(295, -1, 48, 480);

    QTest::newRow("fill, smaller") << QSize(10, 100) << vga << 0 << 2 << QRect(-1, -1, 640, 480);
    QTest::newRow("fill, larger") << QSize(1920, 1080) << vga << 0 << 2 << QRect(-1, -1, 640, 480);
    QTest::newRow("unknown mode: fills")
        << QSize(10, 100) << vga << 0 << 7 << QRect(-1, -1, 640, 480);
    QTest::newRow("negative mode: fills")
        << QSize(10, 100) << vga << 0 << -1 << QRect(-1, -1, 640, 480);

    QTest::newRow("fill, border taken off once")
        << QSize(320, 240) << vga << 10 << 2 << QRect(5, 5, 630, 470);
    QTest::newRow("fill, odd border") << QSize(320, 240) << vga << 5 << 2 << QRect(3, 3, 635, 475);
    QTest::newRow("auto, exact size and border: shrinks")
        << QSize(640, 480) << vga << 10 << 0 << QRect(7, 5, 626, 470);
    QTest::newRow("auto, as large as the border leaves: keeps its size")
        << QSize(630, 470) << vga << 10 << 0 << QRect(5, 5, 630, 470);
    QTest::newRow("aspect, border") << QSize(320, 240) << vga << 10 << 1 << QRect(7, 5, 626, 470);

    QTest::newRow("odd sizes: even left moves, odd top stays")
        << QSize(101, 51) << QRect(0, 0, 641, 481) << 0 << 0 << QRect(271, 215, 101, 51);
    QTest::newRow("odd sizes: odd left stays, even top moves")
        << QSize(51, 101) << QRect(0, 0, 641, 481) << 0 << 0 << QRect(295, 191, 51, 101);
    QTest::newRow("zero becomes one")
        << QSize(8, 8) << QRect(0, 0, 9, 9) << 0 << 0 << QRect(1, 1, 8, 8);
    QTest::newRow("negative even coordinate")
        << QSize(2, 2) << QRect(-10, -10, 10, 10) << 0 << 0 << QRect(-5, -5, 2, 2);
    QTest::newRow("rectangle away from the origin")
        << QSize(20, 20) << QRect(10, 20, 100, 100) << 0 << 0 << QRect(49, 59, 20, 20);

    QTest::newRow("auto, no picture yet") << QSize(0, 0) << vga << 0 << 0 << QRect(319, 239, 0, 0);
    QTest::newRow("aspect, no picture yet")
        << QSize(0, 0) << vga << 0 << 1 << QRect(-1, -1, 640, 480);
    QTest::newRow("no widget") << QSize(640, 480) << QRect(0, 0, 0, 0) << 0 << 0
                               << QRect(1, 1, 0, 0);
}

void TestPictureGeometry::getCenterRect_placesPicture()
{
    QFETCH(QSize, size);
    QFETCH(QRect, rect);
    QFETCH(int, border);
    QFETCH(int, mode);
    QFETCH(QRect, expected);
    QCOMPARE(getCenterRect(size, rect, border, ScaleMode(mode)), expected);
}

void TestPictureGeometry::getCenterRect_survivesAnyNumbers()
{
    constexpr int lowest = std::numeric_limits<int>::min();
    constexpr int highest = std::numeric_limits<int>::max();
    const QList<int> numbers{lowest, -16777216, -1, 0, 1, 16777215, highest};
    const QRect everything(QPoint(lowest, lowest), QPoint(highest, highest));
    for (int width : numbers) {
        for (int height : numbers) {
            for (int border : numbers) {
                for (int mode = 0; mode < 3; ++mode) {
                    for (const QRect &rect : {QRect(0, 0, 640, 480), everything, QRect()}) {
                        const QRect result =
                            getCenterRect(QSize(width, height), rect, border, ScaleMode(mode));
                        QVERIFY(result.x() % 2 != 0 && result.y() % 2 != 0);
                    }
                }
            }
        }
    }
}

void TestPictureGeometry::bannerRect_liesInsideTheBorder_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("border");
    QTest::addColumn<QRect>("expected");

    QTest::newRow("top") << 0 << 0 << QRect(0, 0, 640, 25);
    QTest::newRow("bottom") << 1 << 0 << QRect(0, 455, 640, 25);
    QTest::newRow("left") << 2 << 0 << QRect(0, 0, 25, 480);
    QTest::newRow("right") << 3 << 0 << QRect(615, 0, 25, 480);
    // Half of a border of 5 is 2.
    QTest::newRow("top, border") << 0 << 5 << QRect(2, 2, 636, 25);
    QTest::newRow("bottom, border") << 1 << 5 << QRect(2, 453, 636, 25);
    QTest::newRow("left, border") << 2 << 5 << QRect(2, 2, 25, 476);
    QTest::newRow("right, border") << 3 << 5 << QRect(613, 2, 25, 476);
}

void TestPictureGeometry::bannerRect_liesInsideTheBorder()
{
    QFETCH(int, position);
    QFETCH(int, border);
    QFETCH(QRect, expected);
    const std::optional<QRect> result = bannerRect(position, QSize(640, 480), border, 25);
    QVERIFY(result.has_value());
    QCOMPARE(*result, expected);
}

void TestPictureGeometry::bannerRect_isNothing_forUnknownPositions()
{
    for (int position : {-1, 4, 255, std::numeric_limits<int>::min()})
        QVERIFY(!bannerRect(position, QSize(640, 480), 0, 25).has_value());
}

void TestPictureGeometry::bannerRect_survivesAnyNumbers()
{
    const QList<int> numbers{std::numeric_limits<int>::min(), -1, 0, 1,
                             std::numeric_limits<int>::max()};
    for (int position = 0; position < 4; ++position) {
        for (int extent : numbers) {
            for (int border : numbers) {
                for (int thick : numbers)
                    QVERIFY(bannerRect(position, QSize(extent, extent), border, thick).has_value());
            }
        }
    }
}

QTEST_GUILESS_MAIN(TestPictureGeometry)
#include "tst_picturegeometry.moc"
