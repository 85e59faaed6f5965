// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Shapes that are drawn over pictures.

#include "overlaycase.h"

#include <QPainter>
#include <QTest>

#include <limits>

using namespace vantratest;

class TestOverlayGraphs : public OverlayCase
{
    Q_OBJECT

private slots:
    void graphRect_drawsOutline_data();
    void graphRect_drawsOutline();
    void graphRect_corners_drawsEightLines();
    void graphRect_isOpaque_unlessColorIsNot();
    void graphPath_drawsOutlineOnly();
    void graphPoints_drawsClosedOutline();
    void graphPoints_needsTwoPoints();
    void graphPen_hasSquareCapsAndBevelJoins();
    void graphs_drawsAllShapesOfAllRecordsInOrder();
    void graphs_skipsEmptyShapes();
    void graphs_onUnpaintableImages_drawNothing();
    void graphs_survivesAnyNumbers();
    void graphs_leavesSharedPicturesAlone();
};

void TestOverlayGraphs::graphRect_drawsOutline_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<QRect>("outer");
    QTest::addColumn<QRect>("inner"); // untouched

    // Lines run from (10, 20) to (40, 35), both ends included.
    QTest::newRow("one pixel") << 1 << QRect(QPoint(10, 20), QPoint(40, 35))
                               << QRect(QPoint(11, 21), QPoint(39, 34));
    QTest::newRow("three pixels") << 3 << QRect(QPoint(9, 19), QPoint(41, 36))
                                  << QRect(QPoint(12, 22), QPoint(38, 33));
    QTest::newRow("zero is a hair line")
        << 0 << QRect(QPoint(10, 20), QPoint(40, 35)) << QRect(QPoint(11, 21), QPoint(39, 34));
    QTest::newRow("negative is a hair line")
        << -4 << QRect(QPoint(10, 20), QPoint(40, 35)) << QRect(QPoint(11, 21), QPoint(39, 34));
}

void TestOverlayGraphs::graphRect_drawsOutline()
{
    QFETCH(int, width);
    QFETCH(QRect, outer);
    QFETCH(QRect, inner);
    QImage picture = blackPicture();
    drawGraphRect(picture, QRect(10, 20, 30, 15), width, kRed, false);
    QCOMPARE(boundsOf(picture, kRed), outer);
    QVERIFY(isBlank(picture.copy(inner)));
    // All sides have the full width; the corners are bevelled where they are wider than a pixel.
    const int thick = inner.left() - outer.left();
    const QImage row = picture.copy(QRect(20, outer.top(), 10, outer.height()));
    QCOMPARE(countOf(row, kRed), 2 * thick * 10);
    const QImage column = picture.copy(QRect(outer.left(), 25, outer.width(), 5));
    QCOMPARE(countOf(column, kRed), 2 * thick * 5);
    QCOMPARE(countOf(picture, kRed) + countOf(picture, Qt::black), 100 * 80);
}

void TestOverlayGraphs::graphRect_corners_drawsEightLines()
{
    QImage picture = blackPicture();
    drawGraphRect(picture, QRect(10, 20, 60, 40), 1, kRed, true);

    QImage expected = blackPicture();
    const auto line = [&expected](int x1, int y1, int x2, int y2) {
        for (int y = y1; y <= y2; ++y) {
            for (int x = x1; x <= x2; ++x)
                expected.setPixelColor(x, y, kRed);
        }
    };
    line(10, 20, 20, 20);
    line(10, 20, 10, 30);
    line(60, 20, 70, 20);
    line(70, 20, 70, 30);
    line(10, 50, 10, 60);
    line(10, 60, 20, 60);
    line(60, 60, 70, 60);
    line(70, 50, 70, 60);
    QCOMPARE(picture, expected);
}

void TestOverlayGraphs::graphRect_isOpaque_unlessColorIsNot()
{
    for (bool corners : {false, true}) {
        QImage opaque = blackPicture();
        drawGraphRect(opaque, QRect(10, 20, 30, 15), 2, kRed, corners);
        QCOMPARE(countOf(opaque, kRed) + countOf(opaque, Qt::black), 100 * 80);
        QVERIFY(countOf(opaque, kRed) > 0);

        QImage half = blackPicture();
        drawGraphRect(half, QRect(10, 20, 30, 15), 1, QColor(255, 0, 0, 128), corners);
        QCOMPARE(half.pixelColor(15, 20), QColor(128, 0, 0));
    }
}

void TestOverlayGraphs::graphPath_drawsOutlineOnly()
{
    QImage picture = blackPicture();
    QPainterPath path;
    path.addEllipse(20, 10, 40, 30);
    drawGraphPath(picture, path, 1, kGreen);
    QCOMPARE(boundsOf(picture, kGreen), QRect(QPoint(20, 10), QPoint(60, 40)));
    QCOMPARE(picture.pixelColor(20, 25), kGreen);
    QCOMPARE(picture.pixelColor(60, 25), kGreen);
    QCOMPARE(picture.pixelColor(40, 10), kGreen);
    QCOMPARE(picture.pixelColor(40, 40), kGreen);
    QVERIFY(isBlank(picture.copy(30, 18, 20, 14)));                             // not filled
    QCOMPARE(countOf(picture, kGreen) + countOf(picture, Qt::black), 100 * 80); // no antialiasing
}

void TestOverlayGraphs::graphPoints_drawsClosedOutline()
{
    QImage picture = blackPicture();
    drawGraphPoints(picture, {QPoint(10, 10), QPoint(50, 10), QPoint(50, 50)}, 1, kBlue);
    QVERIFY(QRect(QPoint(10, 10), QPoint(50, 50)).contains(boundsOf(picture, kBlue)));
    QCOMPARE(picture.pixelColor(30, 10), kBlue);             // first edge
    QCOMPARE(picture.pixelColor(50, 30), kBlue);             // second edge
    QCOMPARE(picture.pixelColor(30, 30), kBlue);             // the way back
    QCOMPARE(picture.pixelColor(40, 20), QColor(Qt::black)); // inside
    QCOMPARE(countOf(picture, kBlue) + countOf(picture, Qt::black), 100 * 80);
}

void TestOverlayGraphs::graphPoints_needsTwoPoints()
{
    QImage picture = blackPicture();
    drawGraphPoints(picture, {}, 3, kBlue);
    drawGraphPoints(picture, {QPoint(10, 10)}, 3, kBlue);
    QVERIFY(isBlank(picture));
    drawGraphPoints(picture, {QPoint(10, 10), QPoint(20, 10)}, 1, kBlue);
    QCOMPARE(boundsOf(picture, kBlue), QRect(QPoint(10, 10), QPoint(20, 10)));
    QCOMPARE(countOf(picture, kBlue), 11);
}

void TestOverlayGraphs::graphPen_hasSquareCapsAndBevelJoins()
{
    QPainterPath open;
    open.moveTo(30, 40);
    open.lineTo(60, 40);
    QImage caps = blackPicture();
    drawGraphPath(caps, open, 10, kRed);
    // A square cap adds half the width at both ends.
    QCOMPARE(boundsOf(caps, kRed), QRect(QPoint(25, 35), QPoint(64, 44)));

    QPainterPath corner;
    corner.moveTo(20, 60);
    corner.lineTo(60, 60);
    corner.lineTo(60, 20);
    QImage joins = blackPicture();
    drawGraphPath(joins, corner, 20, kRed);
    // The outer corner at (70, 70) is cut from (60, 70) to (70, 60).
    QCOMPARE(joins.pixelColor(68, 68), QColor(Qt::black));
    QCOMPARE(joins.pixelColor(62, 62), kRed);
}

void TestOverlayGraphs::graphs_drawsAllShapesOfAllRecordsInOrder()
{
    GraphInfo all = graphNamed(QStringLiteral("all"));
    all.borderWidth = 1;
    all.borderColor = kRed;
    all.fillColor = kGreen; // carried only
    all.rect = QRect(5, 5, 20, 10);
    all.path.addRect(40, 5, 20, 10);
    all.points = {QPoint(5, 40), QPoint(25, 40), QPoint(25, 60)};
    GraphInfo over = graphNamed(QStringLiteral("over"));
    over.borderWidth = 1;
    over.borderColor = kBlue;
    over.points = {QPoint(0, 10), QPoint(30, 10)};

    QImage picture = blackPicture();
    drawGraphs(picture, {all, over});
    QCOMPARE(picture.pixelColor(5, 7), kRed);   // rect
    QCOMPARE(picture.pixelColor(40, 10), kRed); // path
    QCOMPARE(picture.pixelColor(25, 50), kRed); // points
    QCOMPARE(countOf(picture, kGreen), 0);
    QCOMPARE(picture.pixelColor(5, 10), kBlue); // the later record lies above
    QCOMPARE(picture.pixelColor(25, 10), kBlue);

    drawGraphs(picture, {over, all});
    QCOMPARE(picture.pixelColor(5, 10), kRed);
}

void TestOverlayGraphs::graphs_skipsEmptyShapes()
{
    GraphInfo empty = graphNamed(QStringLiteral("empty"));
    empty.borderWidth = 5;
    empty.borderColor = kRed;
    empty.rect = QRect(10, 10, 20, 0);
    empty.points = {QPoint(30, 30)};
    QImage picture = blackPicture();
    drawGraphs(picture, {empty});
    drawGraphs(picture, {});
    QVERIFY(isBlank(picture));
}

void TestOverlayGraphs::graphs_onUnpaintableImages_drawNothing()
{
    GraphInfo graph = graphNamed(QStringLiteral("g"));
    graph.borderWidth = 2;
    graph.borderColor = kRed;
    graph.rect = QRect(1, 1, 5, 5);
    graph.path.addRect(1, 1, 5, 5);
    graph.points = {QPoint(1, 1), QPoint(5, 5)};

    QImage null;
    drawGraphs(null, {graph});
    drawGraphRect(null, graph.rect, 2, kRed, true);
    QVERIFY(null.isNull());

    QImage indexed(10, 10, QImage::Format_Indexed8);
    indexed.setColorTable({qRgb(0, 0, 0), qRgb(255, 0, 0)});
    indexed.fill(0);
    const QImage before = indexed.copy();
    drawGraphs(indexed, {graph});
    drawGraphRect(indexed, graph.rect, 2, kRed, true);
    QCOMPARE(indexed, before);

    // Every other format can be painted on, or at least does no harm.
    for (int format = QImage::Format_Mono; format < QImage::NImageFormats; ++format) {
        if (format == QImage::Format_Indexed8)
            continue;
        QImage image(10, 10, QImage::Format(format));
        image.fill(0);
        drawGraphs(image, {graph});
        QCOMPARE(image.size(), QSize(10, 10));
    }
}

void TestOverlayGraphs::graphs_survivesAnyNumbers()
{
    constexpr int lowest = std::numeric_limits<int>::min();
    constexpr int highest = std::numeric_limits<int>::max();
    QImage picture = blackPicture();
    for (int width : {lowest, -1, 0, 1, 7, 100000, highest}) {
        for (const QRect &rect :
             {QRect(lowest / 2, 10, highest / 2, 20), QRect(10, 10, highest - 20, highest - 20),
              QRect(QPoint(lowest, lowest), QPoint(-1, -1)), QRect(-100000, -5, 200000, 50)}) {
            drawGraphRect(picture, rect, width, kRed, false);
            drawGraphRect(picture, rect, width, kRed, true);
        }
        drawGraphPoints(picture, {QPoint(lowest, lowest), QPoint(highest, highest), QPoint(5, 5)},
                        width, kRed);
    }
    QCOMPARE(picture.size(), QSize(100, 80));
}

void TestOverlayGraphs::graphs_leavesSharedPicturesAlone()
{
    QImage picture = blackPicture();
    const QImage other = picture; // shares the pixels, as a stream thread's picture does
    drawGraphRect(picture, QRect(1, 1, 20, 20), 2, kRed, false);
    QVERIFY(countOf(picture, kRed) > 0);
    QVERIFY(isBlank(other));
}

QTEST_MAIN(TestOverlayGraphs)
#include "tst_overlaygraphs.moc"
