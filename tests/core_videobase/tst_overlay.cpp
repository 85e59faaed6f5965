// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/overlay.h"

#include "support/pixels.h"

#include <QDateTime>
#include <QPainter>
#include <QTest>

#include <limits>
#include <memory>
#include <thread>
#include <vector>

using vantratest::boundsOf;
using vantratest::countOf;

namespace {

const QColor kRed(255, 0, 0);
const QColor kGreen(0, 255, 0);
const QColor kBlue(0, 0, 255);

QImage blackPicture(int width = 100, int height = 80)
{
    QImage picture(width, height, QImage::Format_RGB32);
    picture.fill(Qt::black);
    return picture;
}

GraphInfo graphNamed(const QString &name)
{
    GraphInfo graph;
    graph.name = name;
    return graph;
}

OsdInfo textOsd(const QString &text, int position = OsdPosition_LeftTop)
{
    OsdInfo osd;
    osd.name = text;
    osd.visible = true;
    osd.fontSize = 20;
    osd.text = text;
    osd.color = Qt::white;
    osd.position = OsdPosition(position);
    return osd;
}

OsdInfo imageOsd(const QColor &color, int position)
{
    OsdInfo osd = textOsd(QStringLiteral("not shown"), position);
    osd.format = OsdFormat_Image;
    osd.image = QImage(20, 10, QImage::Format_RGB32);
    osd.image.fill(color);
    return osd;
}

// A widget of 400 by 200 with a border of 3: the margin is 8, so the area is (8, 8, 384, 184).
constexpr int kBorder = 3;
const QSize kWidget(400, 200);
const QRect kArea(8, 8, 384, 184);

QImage rendered(const QList<OsdInfo> &records)
{
    QImage canvas = blackPicture(kWidget.width(), kWidget.height());
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::Antialiasing);
    drawOsd(painter, kWidget, kBorder, records);
    return canvas;
}

enum { LeftTop = 33, LeftBottom = 65, RightTop = 34, RightBottom = 66, Center = 132 };

// What drawOsd is to draw, in plain painter calls.
QImage expectedText(const QString &text, int flags, int fontSize = 20)
{
    QImage canvas = blackPicture(kWidget.width(), kWidget.height());
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font;
    font.setPixelSize(fontSize);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(kArea, flags, text);
    return canvas;
}

QImage expectedTextAt(const QString &text, const QPoint &point)
{
    QImage canvas = blackPicture(kWidget.width(), kWidget.height());
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font;
    font.setPixelSize(20);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QPointF(point), text);
    return canvas;
}

bool isBlank(const QImage &canvas)
{
    return countOf(canvas, Qt::black) == canvas.width() * canvas.height();
}

} // namespace

class TestOverlay : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void list_append_keepsOrderAndDuplicates();
    void list_set_overwritesFirstInPlace_elseAppends();
    void list_remove_takesFirstOfThatName();
    void list_clear_empties();
    void list_items_isASnapshot();
    void list_changesFromManyThreads_areSerialised();
    void list_searchOverwriteAndPaint_takeNoLock();

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

    void osd_textStandsWherePositionSays_data();
    void osd_textStandsWherePositionSays();
    void osd_customText_startsAtPoint();
    void osd_imageStandsNearerToTopLeft_data();
    void osd_imageStandsNearerToTopLeft();
    void osd_clockFormats_showNow_data();
    void osd_clockFormats_showNow();
    void osd_unknownFormat_drawsText();
    void osd_unknownPosition_takesPlaceOfRecordBefore_data();
    void osd_unknownPosition_takesPlaceOfRecordBefore();
    void osd_unknownPosition_ofText_takesFlagsOfRecordBefore();
    void osd_invisibleRecord_isSkipped();
    void osd_drawsInOrder();
    void osd_usesPenColorAndFontSize();
    void osd_leavesPainterAsItWas();
    void osd_survivesAnyNumbers();

private:
    std::unique_ptr<vantratest::QtWarnings> warnings;
};

void TestOverlay::init()
{
    warnings = std::make_unique<vantratest::QtWarnings>();
}

void TestOverlay::cleanup()
{
    const QStringList lines = warnings->lines();
    warnings.reset();
    QCOMPARE(lines, QStringList());
}

void TestOverlay::list_append_keepsOrderAndDuplicates()
{
    QMutex lock;
    OverlayList<OsdInfo> list(lock);
    list.append(textOsd(QStringLiteral("a")));
    list.append(textOsd(QStringLiteral("b")));
    list.append(textOsd(QStringLiteral("a")));
    QStringList names;
    for (const OsdInfo &osd : list.items())
        names << osd.name;
    QCOMPARE(names, QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("a")}));
}

void TestOverlay::list_set_overwritesFirstInPlace_elseAppends()
{
    QMutex lock;
    OverlayList<GraphInfo> list(lock);
    QVERIFY(!list.set(graphNamed(QStringLiteral("a"))));
    list.append(graphNamed(QStringLiteral("b")));
    list.append(graphNamed(QStringLiteral("a")));

    GraphInfo changed = graphNamed(QStringLiteral("a"));
    changed.borderWidth = 3;
    changed.borderColor = kRed;
    changed.fillColor = kBlue;
    changed.rect = QRect(1, 2, 3, 4);
    changed.path.addRect(1, 2, 3, 4);
    changed.points = {QPoint(1, 2)};
    QVERIFY(list.set(changed));

    const QList<GraphInfo> items = list.items();
    QCOMPARE(items.size(), 3);
    QCOMPARE(items.at(0).borderWidth, 3);
    QCOMPARE(items.at(0).borderColor, kRed);
    QCOMPARE(items.at(0).fillColor, kBlue);
    QCOMPARE(items.at(0).rect, QRect(1, 2, 3, 4));
    QCOMPARE(items.at(0).path, changed.path);
    QCOMPARE(items.at(0).points, changed.points);
    QCOMPARE(items.at(1).name, QStringLiteral("b"));
    QCOMPARE(items.at(2).borderWidth, 0);

    QVERIFY(!list.set(graphNamed(QStringLiteral("c"))));
    QCOMPARE(list.items().size(), 4);
    QCOMPARE(list.items().last().name, QStringLiteral("c"));
}

void TestOverlay::list_remove_takesFirstOfThatName()
{
    QMutex lock;
    OverlayList<GraphInfo> list(lock);
    for (int width : {1, 2}) {
        GraphInfo graph = graphNamed(QStringLiteral("a"));
        graph.borderWidth = width;
        list.append(graph);
    }
    QVERIFY(!list.remove(QStringLiteral("b")));
    QCOMPARE(list.items().size(), 2);
    QVERIFY(list.remove(QStringLiteral("a")));
    QCOMPARE(list.items().size(), 1);
    QCOMPARE(list.items().first().borderWidth, 2);
}

void TestOverlay::list_clear_empties()
{
    QMutex lock;
    OverlayList<OsdInfo> list(lock);
    list.clear();
    list.append(textOsd(QStringLiteral("a")));
    list.clear();
    QVERIFY(list.items().isEmpty());
}

void TestOverlay::list_items_isASnapshot()
{
    QMutex lock;
    OverlayList<OsdInfo> list(lock);
    list.append(textOsd(QStringLiteral("a")));
    const QList<OsdInfo> before = list.items();
    OsdInfo changed = textOsd(QStringLiteral("a"));
    changed.text = QStringLiteral("changed");
    list.set(changed);
    QCOMPARE(before.first().text, QStringLiteral("a"));
    list.clear();
    QCOMPARE(before.size(), 1);
}

void TestOverlay::list_changesFromManyThreads_areSerialised()
{
    QMutex lock;
    OverlayList<GraphInfo> first(lock);
    OverlayList<GraphInfo> second(lock); // two lists share a lock
    constexpr int threads = 4;
    constexpr int rounds = 500;
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([&, i] {
            const GraphInfo graph = graphNamed(QString::number(i));
            for (int round = 0; round < rounds; ++round) {
                first.append(graph);
                second.append(graph);
                second.remove(graph.name);
            }
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    QCOMPARE(first.items().size(), threads * rounds);
    QVERIFY(second.items().isEmpty());
}

void TestOverlay::list_searchOverwriteAndPaint_takeNoLock()
{
    QMutex lock;
    OverlayList<OsdInfo> list(lock);
    list.append(textOsd(QStringLiteral("a")));
    const QMutexLocker locker(&lock); // not recursive: a second lock would never return
    QVERIFY(list.set(textOsd(QStringLiteral("a"))));
    QCOMPARE(list.items().size(), 1);
}

void TestOverlay::graphRect_drawsOutline_data()
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

void TestOverlay::graphRect_drawsOutline()
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

void TestOverlay::graphRect_corners_drawsEightLines()
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

void TestOverlay::graphRect_isOpaque_unlessColorIsNot()
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

void TestOverlay::graphPath_drawsOutlineOnly()
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

void TestOverlay::graphPoints_drawsClosedOutline()
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

void TestOverlay::graphPoints_needsTwoPoints()
{
    QImage picture = blackPicture();
    drawGraphPoints(picture, {}, 3, kBlue);
    drawGraphPoints(picture, {QPoint(10, 10)}, 3, kBlue);
    QVERIFY(isBlank(picture));
    drawGraphPoints(picture, {QPoint(10, 10), QPoint(20, 10)}, 1, kBlue);
    QCOMPARE(boundsOf(picture, kBlue), QRect(QPoint(10, 10), QPoint(20, 10)));
    QCOMPARE(countOf(picture, kBlue), 11);
}

void TestOverlay::graphPen_hasSquareCapsAndBevelJoins()
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

void TestOverlay::graphs_drawsAllShapesOfAllRecordsInOrder()
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

void TestOverlay::graphs_skipsEmptyShapes()
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

void TestOverlay::graphs_onUnpaintableImages_drawNothing()
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

void TestOverlay::graphs_survivesAnyNumbers()
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

void TestOverlay::graphs_leavesSharedPicturesAlone()
{
    QImage picture = blackPicture();
    const QImage other = picture; // shares the pixels, as a stream thread's picture does
    drawGraphRect(picture, QRect(1, 1, 20, 20), 2, kRed, false);
    QVERIFY(countOf(picture, kRed) > 0);
    QVERIFY(isBlank(other));
}

void TestOverlay::osd_textStandsWherePositionSays_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("flags");
    QTest::newRow("left top") << 0 << int(LeftTop);
    QTest::newRow("left bottom") << 1 << int(LeftBottom);
    QTest::newRow("right top") << 2 << int(RightTop);
    QTest::newRow("right bottom") << 3 << int(RightBottom);
    QTest::newRow("centre") << 4 << int(Center);
}

void TestOverlay::osd_textStandsWherePositionSays()
{
    QFETCH(int, position);
    QFETCH(int, flags);
    const QString text = QStringLiteral("Gate 4");
    const QImage canvas = rendered({textOsd(text, position)});
    QVERIFY(!isBlank(canvas));
    QCOMPARE(canvas, expectedText(text, flags));
    // The area ends 8 pixels before each edge.
    QCOMPARE(canvas.copy(kArea), expectedText(text, flags).copy(kArea));
    QImage inside = canvas;
    QPainter(&inside).fillRect(kArea, Qt::black);
    QVERIFY(isBlank(inside));
}

void TestOverlay::osd_customText_startsAtPoint()
{
    OsdInfo osd = textOsd(QStringLiteral("Gate 4"), OsdPosition_Custom);
    osd.point = QPoint(40, 90);
    const QImage canvas = rendered({osd});
    QVERIFY(!isBlank(canvas));
    QCOMPARE(canvas, expectedTextAt(QStringLiteral("Gate 4"), QPoint(40, 90)));
}

void TestOverlay::osd_imageStandsNearerToTopLeft_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<QPoint>("point");
    // A picture of 20 by 10. Right, bottom and centre count from the area's size of 384 by 184
    // without its origin: 8 pixels nearer to the top left than a text.
    QTest::newRow("left top") << 0 << QPoint(8, 8);
    QTest::newRow("left bottom") << 1 << QPoint(8, 174);
    QTest::newRow("right top") << 2 << QPoint(364, 8);
    QTest::newRow("right bottom") << 3 << QPoint(364, 174);
    QTest::newRow("centre") << 4 << QPoint(182, 87);
    QTest::newRow("custom") << 255 << QPoint(33, 44);
}

void TestOverlay::osd_imageStandsNearerToTopLeft()
{
    QFETCH(int, position);
    QFETCH(QPoint, point);
    OsdInfo osd = imageOsd(kRed, position);
    osd.point = QPoint(33, 44);
    const QImage canvas = rendered({osd});
    QCOMPARE(boundsOf(canvas, kRed), QRect(point, QSize(20, 10)));
    QCOMPARE(countOf(canvas, kRed), 200);
    QCOMPARE(countOf(canvas, Qt::black), 400 * 200 - 200); // no text
}

void TestOverlay::osd_clockFormats_showNow_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("date") << 1 << "yyyy-MM-dd";
    QTest::newRow("time") << 2 << "HH:mm:ss";
    QTest::newRow("date and time") << 3 << "yyyy-MM-dd HH:mm:ss";
}

void TestOverlay::osd_clockFormats_showNow()
{
    QFETCH(int, format);
    QFETCH(QString, pattern);
    OsdInfo osd = textOsd(QStringLiteral("not shown"), OsdPosition_RightTop);
    osd.format = OsdFormat(format);
    QString before;
    QString after;
    QImage canvas;
    do { // until a drawing has not met the turn of a second
        before = QDateTime::currentDateTime().toString(pattern);
        canvas = rendered({osd});
        after = QDateTime::currentDateTime().toString(pattern);
    } while (before != after);
    QVERIFY(!isBlank(canvas));
    QCOMPARE(canvas, expectedText(before, RightTop));
}

void TestOverlay::osd_unknownFormat_drawsText()
{
    for (int format : {5, -1, 255}) {
        OsdInfo osd = textOsd(QStringLiteral("Gate 4"));
        osd.image = imageOsd(kRed, 0).image;
        osd.format = OsdFormat(format);
        QCOMPARE(rendered({osd}), expectedText(QStringLiteral("Gate 4"), LeftTop));
    }
}

void TestOverlay::osd_unknownPosition_takesPlaceOfRecordBefore_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<QPoint>("point");
    QTest::newRow("none before: left top") << -1 << QPoint(8, 8);
    QTest::newRow("right top") << 2 << QPoint(364, 8);
    QTest::newRow("centre") << 4 << QPoint(182, 87);
    QTest::newRow("custom") << 255 << QPoint(33, 44);
}

void TestOverlay::osd_unknownPosition_takesPlaceOfRecordBefore()
{
    QFETCH(int, before);
    QFETCH(QPoint, point);
    QList<OsdInfo> records;
    if (before >= 0) {
        records << imageOsd(kGreen, before);
        records.last().point = QPoint(33, 44);
    }
    OsdInfo skipped = imageOsd(kGreen, OsdPosition_LeftBottom);
    skipped.visible = false; // is not part of the paint, and lends no place
    records << skipped;
    records << imageOsd(kRed, 77);
    records.last().point = QPoint(300, 100);
    const QImage canvas = rendered(records);
    QCOMPARE(boundsOf(canvas, kRed), QRect(point, QSize(20, 10)));
    QCOMPARE(countOf(canvas, kGreen), 0); // covered
    // The place is handed on once more.
    records << imageOsd(kBlue, -3);
    QCOMPARE(boundsOf(rendered(records), kBlue), QRect(point, QSize(20, 10)));
}

void TestOverlay::osd_unknownPosition_ofText_takesFlagsOfRecordBefore()
{
    const QString text = QStringLiteral("Gate 4");
    QCOMPARE(rendered({textOsd(text, 9)}), expectedText(text, LeftTop));

    OsdInfo empty = textOsd(QString(), OsdPosition_RightBottom);
    QCOMPARE(rendered({empty, textOsd(text, 9)}), expectedText(text, RightBottom));

    // A custom place is a point and has no flags: those before it stay.
    OsdInfo custom = textOsd(QString(), OsdPosition_Custom);
    custom.point = QPoint(50, 50);
    QCOMPARE(rendered({empty, custom, textOsd(text, 9)}), expectedText(text, RightBottom));
    QCOMPARE(rendered({custom, textOsd(text, 9)}), expectedText(text, LeftTop));
}

void TestOverlay::osd_invisibleRecord_isSkipped()
{
    OsdInfo hidden = textOsd(QStringLiteral("hidden"), OsdPosition_Center);
    hidden.visible = false;
    QVERIFY(isBlank(rendered({hidden})));
    OsdInfo shown = textOsd(QStringLiteral("Gate 4"), OsdPosition_LeftBottom);
    QCOMPARE(rendered({hidden, shown, hidden}), rendered({shown}));
}

void TestOverlay::osd_drawsInOrder()
{
    const QImage canvas = rendered({imageOsd(kRed, 0), imageOsd(kGreen, 0)});
    QCOMPARE(countOf(canvas, kGreen), 200);
    QCOMPARE(countOf(canvas, kRed), 0);
}

void TestOverlay::osd_usesPenColorAndFontSize()
{
    OsdInfo osd = textOsd(QStringLiteral("██"));
    osd.color = kGreen;
    QVERIFY(countOf(rendered({osd}), kGreen) > 0);
    QCOMPARE(countOf(rendered({osd}), Qt::white), 0);

    OsdInfo large = textOsd(QStringLiteral("Gate 4"));
    large.fontSize = 40;
    QCOMPARE(rendered({large}), expectedText(QStringLiteral("Gate 4"), LeftTop, 40));
    QVERIFY(rendered({large}) != rendered({textOsd(QStringLiteral("Gate 4"))}));
}

void TestOverlay::osd_leavesPainterAsItWas()
{
    QImage canvas = blackPicture(kWidget.width(), kWidget.height());
    QPainter painter(&canvas);
    QFont font;
    font.setPixelSize(33);
    painter.setFont(font);
    painter.setPen(kBlue);
    drawOsd(painter, kWidget, kBorder, {textOsd(QStringLiteral("a")), imageOsd(kRed, 4)});
    QCOMPARE(painter.font(), font);
    QCOMPARE(painter.pen().color(), kBlue);
}

void TestOverlay::osd_survivesAnyNumbers()
{
    constexpr int lowest = std::numeric_limits<int>::min();
    constexpr int highest = std::numeric_limits<int>::max();
    for (int fontSize : {lowest, -1, 0, 1, 5000, 70000, highest}) {
        OsdInfo osd = textOsd(QStringLiteral("Aé视"), OsdPosition_Center);
        osd.fontSize = fontSize;
        rendered({osd});
    }
    QVERIFY(!isBlank(rendered({[] {
        OsdInfo osd = textOsd(QStringLiteral("Gate 4"));
        osd.fontSize = 0; // the application's own size
        return osd;
    }()})));

    QImage canvas = blackPicture();
    QPainter painter(&canvas);
    OsdInfo nothing = imageOsd(kRed, OsdPosition_RightBottom);
    nothing.image = QImage();
    OsdInfo away = textOsd(QStringLiteral("x"), OsdPosition_Custom);
    away.point = QPoint(lowest, highest);
    OsdInfo awayImage = imageOsd(kRed, OsdPosition_Custom);
    awayImage.point = QPoint(highest, lowest);
    for (int border : {lowest, -1, 0, 1, highest}) {
        for (const QSize &size : {QSize(), QSize(0, 0), QSize(1, 1), QSize(16777215, 16777215)})
            drawOsd(painter, size, border,
                    {nothing, away, awayImage, imageOsd(kRed, 4), textOsd(QStringLiteral("x"), 3)});
    }
}

QTEST_MAIN(TestOverlay)
#include "tst_overlay.moc"
