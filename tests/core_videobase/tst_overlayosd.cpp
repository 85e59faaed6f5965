// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Texts, clocks and pictures that stand over a widget.

#include "overlaycase.h"

#include <QDateTime>
#include <QPainter>
#include <QTest>

#include <limits>

using namespace vantratest;

namespace {

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

} // namespace

class TestOverlayOsd : public OverlayCase
{
    Q_OBJECT

private slots:
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
};

void TestOverlayOsd::osd_textStandsWherePositionSays_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("flags");
    QTest::newRow("left top") << 0 << int(LeftTop);
    QTest::newRow("left bottom") << 1 << int(LeftBottom);
    QTest::newRow("right top") << 2 << int(RightTop);
    QTest::newRow("right bottom") << 3 << int(RightBottom);
    QTest::newRow("centre") << 4 << int(Center);
}

void TestOverlayOsd::osd_textStandsWherePositionSays()
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

void TestOverlayOsd::osd_customText_startsAtPoint()
{
    OsdInfo osd = textOsd(QStringLiteral("Gate 4"), OsdPosition_Custom);
    osd.point = QPoint(40, 90);
    const QImage canvas = rendered({osd});
    QVERIFY(!isBlank(canvas));
    QCOMPARE(canvas, expectedTextAt(QStringLiteral("Gate 4"), QPoint(40, 90)));
}

void TestOverlayOsd::osd_imageStandsNearerToTopLeft_data()
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

void TestOverlayOsd::osd_imageStandsNearerToTopLeft()
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

void TestOverlayOsd::osd_clockFormats_showNow_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("date") << 1 << "yyyy-MM-dd";
    QTest::newRow("time") << 2 << "HH:mm:ss";
    QTest::newRow("date and time") << 3 << "yyyy-MM-dd HH:mm:ss";
}

void TestOverlayOsd::osd_clockFormats_showNow()
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

void TestOverlayOsd::osd_unknownFormat_drawsText()
{
    for (int format : {5, -1, 255}) {
        OsdInfo osd = textOsd(QStringLiteral("Gate 4"));
        osd.image = imageOsd(kRed, 0).image;
        osd.format = OsdFormat(format);
        QCOMPARE(rendered({osd}), expectedText(QStringLiteral("Gate 4"), LeftTop));
    }
}

void TestOverlayOsd::osd_unknownPosition_takesPlaceOfRecordBefore_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<QPoint>("point");
    QTest::newRow("none before: left top") << -1 << QPoint(8, 8);
    QTest::newRow("right top") << 2 << QPoint(364, 8);
    QTest::newRow("centre") << 4 << QPoint(182, 87);
    QTest::newRow("custom") << 255 << QPoint(33, 44);
}

void TestOverlayOsd::osd_unknownPosition_takesPlaceOfRecordBefore()
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

void TestOverlayOsd::osd_unknownPosition_ofText_takesFlagsOfRecordBefore()
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

void TestOverlayOsd::osd_invisibleRecord_isSkipped()
{
    OsdInfo hidden = textOsd(QStringLiteral("hidden"), OsdPosition_Center);
    hidden.visible = false;
    QVERIFY(isBlank(rendered({hidden})));
    OsdInfo shown = textOsd(QStringLiteral("Gate 4"), OsdPosition_LeftBottom);
    QCOMPARE(rendered({hidden, shown, hidden}), rendered({shown}));
}

void TestOverlayOsd::osd_drawsInOrder()
{
    const QImage canvas = rendered({imageOsd(kRed, 0), imageOsd(kGreen, 0)});
    QCOMPARE(countOf(canvas, kGreen), 200);
    QCOMPARE(countOf(canvas, kRed), 0);
}

void TestOverlayOsd::osd_usesPenColorAndFontSize()
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

void TestOverlayOsd::osd_leavesPainterAsItWas()
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

void TestOverlayOsd::osd_survivesAnyNumbers()
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

QTEST_MAIN(TestOverlayOsd)
#include "tst_overlayosd.moc"
