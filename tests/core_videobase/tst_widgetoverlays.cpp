// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Texts, pictures and graphs over a video widget, pixel by pixel.

#include "paintedwidget.h"
#include "support/pixels.h"

#include <QDateTime>
#include <QTest>

using namespace paintedwidget;

namespace {

template<typename Change>
bool repaints(Widget &widget, Change change)
{
    const int before = widget.paints;
    change();
    settle();
    return widget.paints > before;
}

} // namespace

class TestWidgetOverlays : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void osd_textOfEachFormat_data();
    void osd_textOfEachFormat();
    void osd_textAtEachPosition_data();
    void osd_textAtEachPosition();
    void osd_imageAtEachPosition_data();
    void osd_imageAtEachPosition();
    void osd_isNotDrawn_inHwndModeOrWithOnlyAudio();
    void osd_liesOverThePicture();
    void osd_changes_repaintAsTold();
    void graph_changes_repaintAsTold();
    void graphs_areBurntIntoThePicture();
    void clear_wipesEverything();
    void clear_repaints();
};

void TestWidgetOverlays::osd_textOfEachFormat_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QString>("pattern"); // of the clock; empty: the text
    QTest::newRow("text") << 0 << QString();
    QTest::newRow("date") << 1 << "yyyy-MM-dd";
    QTest::newRow("time") << 2 << "HH:mm:ss";
    QTest::newRow("date and time") << 3 << "yyyy-MM-dd HH:mm:ss";
    QTest::newRow("unknown") << 17 << QString();
}

void TestWidgetOverlays::osd_textOfEachFormat()
{
    QFETCH(int, format);
    QFETCH(QString, pattern);
    Widget widget;
    QVERIFY(show(widget));
    OsdInfo osd = textOsd(QStringLiteral("前门 4"));
    osd.format = OsdFormat(format);
    widget.appendOsd(osd);
    const auto text = [&] {
        return pattern.isEmpty() ? osd.text : QDateTime::currentDateTime().toString(pattern);
    };
    QString before;
    QString after;
    QImage shown;
    do { // until a drawing has not met the turn of a second
        before = text();
        shown = Shot(widget).image;
        after = text();
    } while (before != after);
    QCOMPARE(shown, expectedCanvas(widget, [&](QPainter &painter) {
                 painter.setFont(pixelFont(20));
                 painter.setPen(Qt::white);
                 painter.drawText(QRect(5, 5, 390, 290), Qt::AlignLeft | Qt::AlignTop, before);
             }));
    QVERIFY(!Shot(widget).isAll(kBlack));
}

void TestWidgetOverlays::osd_textAtEachPosition_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("flags");
    QTest::newRow("left top") << 0 << 33;
    QTest::newRow("left bottom") << 1 << 65;
    QTest::newRow("right top") << 2 << 34;
    QTest::newRow("right bottom") << 3 << 66;
    QTest::newRow("centre") << 4 << 132;
    QTest::newRow("custom") << 255 << -1;
    QTest::newRow("unknown") << 99 << 33;
}

void TestWidgetOverlays::osd_textAtEachPosition()
{
    QFETCH(int, position);
    QFETCH(int, flags);
    Widget widget;
    QVERIFY(show(widget));
    OsdInfo osd = textOsd(QStringLiteral("前门 4"), OsdPosition(position));
    osd.point = QPoint(70, 140);
    widget.appendOsd(osd);
    QCOMPARE(Shot(widget).image, expectedCanvas(widget, [&](QPainter &painter) {
                 painter.setFont(pixelFont(20));
                 painter.setPen(Qt::white);
                 if (flags < 0)
                     painter.drawText(QPointF(70, 140), osd.text);
                 else
                     painter.drawText(QRect(5, 5, 390, 290), flags, osd.text);
             }));
    QVERIFY(!Shot(widget).isAll(kBlack));
}

void TestWidgetOverlays::osd_imageAtEachPosition_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<QPoint>("point");
    // With a border of 3 the area is (8, 8, 384, 284); right, bottom and centre leave its x and y
    // out.
    QTest::newRow("left top") << 0 << QPoint(8, 8);
    QTest::newRow("left bottom") << 1 << QPoint(8, 274);
    QTest::newRow("right top") << 2 << QPoint(364, 8);
    QTest::newRow("right bottom") << 3 << QPoint(364, 274);
    QTest::newRow("centre") << 4 << QPoint(182, 137);
    QTest::newRow("custom") << 255 << QPoint(70, 140);
    QTest::newRow("unknown") << 99 << QPoint(8, 8);
}

void TestWidgetOverlays::osd_imageAtEachPosition()
{
    QFETCH(int, position);
    QFETCH(QPoint, point);
    Widget widget;
    widget.setBorderWidth(3);
    widget.setBorderColor(kBlack);
    widget.setFocusColor(kBlack);
    QVERIFY(show(widget));
    OsdInfo osd = textOsd(QStringLiteral("not shown"), OsdPosition(position));
    osd.format = OsdFormat_Image;
    osd.image = solid(QSize(20, 10), kRed);
    osd.point = QPoint(70, 140);
    widget.appendOsd(osd);
    QCOMPARE(Shot(widget).bounds(kRed), QRect(point, QSize(20, 10)));
    QVERIFY(!Shot(widget).contains(Qt::white));
}

void TestWidgetOverlays::osd_isNotDrawn_inHwndModeOrWithOnlyAudio()
{
    OsdInfo osd = textOsd(QStringLiteral("Gate 4"));
    Widget native(VideoMode_Hwnd);
    native.appendOsd(osd);
    QVERIFY(show(native));
    native.layer()->show(); // by hand
    native.layer()->raise();
    QVERIFY(Shot(native).isAll(kBlack));

    Widget widget;
    widget.appendOsd(osd);
    QVERIFY(show(widget));
    QVERIFY(!Shot(widget).isAll(kBlack));
    widget.setOnlyAudio(true);
    QVERIFY(Shot(widget).isAll(kBlack));
}

void TestWidgetOverlays::osd_liesOverThePicture()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(40, 30), kBlue));
    settle();
    OsdInfo osd = textOsd(QStringLiteral("not shown"));
    osd.format = OsdFormat_Image;
    osd.image = solid(QSize(20, 10), kRed);
    widget.appendOsd(osd);
    QCOMPARE(Shot(widget).bounds(kRed), QRect(5, 5, 20, 10));
    QCOMPARE(Shot(widget).at(30, 20), kBlue);
}

void TestWidgetOverlays::osd_changes_repaintAsTold()
{
    Widget widget;
    QVERIFY(show(widget));
    QTRY_VERIFY(widget.paints > 0);
    settle();
    OsdInfo osd = textOsd(QStringLiteral("a"));
    QVERIFY(repaints(widget, [&] { widget.appendOsd(osd); }));
    osd.color = kRed;
    QVERIFY(!repaints(widget, [&] { widget.setOsd(osd); })); // shows at the next repaint
    QVERIFY(Shot(widget).contains(kRed));
    settle();
    osd.name = QStringLiteral("b");
    QVERIFY(repaints(widget, [&] { widget.setOsd(osd); }));
    QVERIFY(repaints(widget, [&] { widget.removeOsd(QStringLiteral("nobody")); }));
    QVERIFY(repaints(widget, [&] { widget.removeOsd(QStringLiteral("a")); }));
    QVERIFY(repaints(widget, [&] { widget.clearOsd(); }));
    QVERIFY(Shot(widget).isAll(kBlack));
}

void TestWidgetOverlays::graph_changes_repaintAsTold()
{
    Widget widget;
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(40, 30), kBlue));
    settle();
    GraphInfo graph;
    graph.name = QStringLiteral("a");
    graph.rect = QRect(2, 2, 10, 10);
    graph.borderColor = kGreen;
    QVERIFY(repaints(widget, [&] { widget.appendGraph(graph); }));
    graph.borderColor = kRed;
    QVERIFY(!repaints(widget, [&] { widget.setGraph(graph); }));
    QVERIFY(Shot(widget).contains(kRed));
    settle();
    graph.name = QStringLiteral("b");
    QVERIFY(repaints(widget, [&] { widget.setGraph(graph); }));
    QVERIFY(repaints(widget, [&] { widget.removeGraph(QStringLiteral("nobody")); }));
    QVERIFY(repaints(widget, [&] { widget.removeGraph(QStringLiteral("a")); }));
    QVERIFY(repaints(widget, [&] { widget.clearGraph(); }));
}

void TestWidgetOverlays::graphs_areBurntIntoThePicture()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    const QImage source = solid(QSize(200, 150), kBlack);
    widget.setImage(source);
    settle();
    GraphInfo graph;
    graph.name = QStringLiteral("a");
    graph.borderWidth = 1;
    graph.borderColor = kGreen;
    graph.fillColor = kRed; // carried only
    graph.rect = QRect(10, 20, 30, 15);
    graph.path.addRect(60, 20, 30, 15);
    graph.points = {QPoint(110, 20), QPoint(140, 20), QPoint(140, 35), QPoint(110, 35)};
    widget.appendGraph(graph);

    const Shot shot(widget); // twice the picture's size
    QVERIFY(!shot.contains(kRed));
    for (int left : {20, 120, 220}) { // rectangle, path, points
        QCOMPARE(shot.at(left, 50), kGreen);
        QCOMPARE(shot.at(left + 1, 50), kGreen);
        QCOMPARE(shot.at(left + 60, 50), kGreen);
        QCOMPARE(shot.at(left + 30, 40), kGreen);
        QCOMPARE(shot.at(left + 30, 71), kGreen);
        QCOMPARE(shot.at(left - 1, 50), kBlack);
        QCOMPARE(shot.at(left + 2, 50), kBlack);
        QCOMPARE(shot.at(left + 30, 55), kBlack);
    }
    QCOMPARE(widget.picture().pixelColor(10, 25), kGreen); // in picture pixels
    QCOMPARE(vantratest::countOf(source, kGreen), 0);      // the sender's picture is its own

    widget.clearGraph(); // what is burnt in stays until the next picture
    QVERIFY(Shot(widget).contains(kGreen));
    widget.setImage(source);
    QVERIFY(!Shot(widget).contains(kGreen));
}

void TestWidgetOverlays::clear_wipesEverything()
{
    Widget widget;
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(400, 300), kRed));
    widget.setDigitalZoom(true);
    widget.appendOsd(textOsd(QStringLiteral("Gate 4")));
    GraphInfo graph;
    graph.rect = QRect(10, 10, 50, 50);
    graph.borderColor = kGreen;
    widget.appendGraph(graph);
    settle();
    (void)Shot(widget);
    widget.zoomState().dragging = true;

    widget.clear();
    QVERIFY(!widget.isDigitalZoom());
    QVERIFY(widget.zoomState().zoomRect.isNull());
    QCOMPARE(widget.zoomState().sourceRect, QRectF(0, 0, 400, 300)); // these two stay
    QVERIFY(widget.zoomState().dragging);
    QVERIFY(widget.picture().isNull());
    QVERIFY(Shot(widget).isAll(kBlack));
    widget.setImage(solid(QSize(400, 300), kBlue)); // no overlay comes back
    settle();
    QCOMPARE(Shot(widget).bounds(kBlue), QRect(0, 0, 399, 299));
    QVERIFY(!Shot(widget).contains(kGreen));
    QVERIFY(!Shot(widget).contains(Qt::white));
}

void TestWidgetOverlays::clear_repaints()
{
    Widget widget;
    QVERIFY(show(widget));
    QTRY_VERIFY(widget.paints > 0);
    settle();
    const int before = widget.paints;
    widget.clear(); // there is nothing to forget, and it repaints all the same
    settle();
    QVERIFY(widget.paints > before);
}

QTEST_MAIN(TestWidgetOverlays)
#include "tst_widgetoverlays.moc"
