// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What a video widget shows beside and instead of a picture: border, colours, background.

#include "paintedwidget.h"
#include "support/pixels.h"

#include <QPainter>
#include <QTest>

using namespace paintedwidget;

class TestWidgetBackground : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void border_liesHalfInside();
    void border_isSmooth();
    void border_takesFocusColor();
    void colors_notChosen_comeFromPaletteForGood();
    void bgColor_fillsTheFrame();
    void bgText_standsInTheMiddle_untilAPictureComes();
    void bgText_isNotDrawn_inSurfaceModes();
    void bgText_survivesAnySize();
    void bgImage_isCentredAndShrunk_data();
    void bgImage_isCentredAndShrunk();
    void imageWithTooFewColors_isPaintedAllTheSame_data();
    void imageWithTooFewColors_isPaintedAllTheSame();
    void imageWithoutColors_isGray_whereverItIsPainted();
    void fillColor_showsBesideThePicture_data();
    void fillColor_showsBesideThePicture();
    void fillColor_isNotUsed_withFillOrTransparent();
};

void TestWidgetBackground::border_liesHalfInside()
{
    Widget widget;
    widget.setBorderColor(kGreen);
    widget.setFocusColor(kGreen);
    QVERIFY(show(widget));
    QVERIFY(!Shot(widget).contains(kGreen)); // a width of 0 draws none

    widget.setBorderWidth(10);
    const Shot shot(widget);
    for (int y : {0, 5, 150, 294, 299}) {
        QCOMPARE(shot.at(0, y), kGreen);
        QCOMPARE(shot.at(4, y), kGreen);
        QCOMPARE(shot.at(395, y), kGreen);
        QCOMPARE(shot.at(399, y), kGreen);
    }
    for (int x : {5, 200, 394}) {
        QCOMPARE(shot.at(x, 4), kGreen);
        QCOMPARE(shot.at(x, 5), kBlack);
        QCOMPARE(shot.at(x, 294), kBlack);
        QCOMPARE(shot.at(x, 295), kGreen);
    }
    QCOMPARE(shot.at(5, 150), kBlack);
    QCOMPARE(shot.at(394, 150), kBlack);
}

void TestWidgetBackground::border_isSmooth()
{
    Widget widget;
    widget.setBorderWidth(1);
    widget.setBorderColor(kGreen);
    widget.setFocusColor(kGreen);
    QVERIFY(show(widget));
    const Shot shot(widget);
    QCOMPARE(shot.image, expectedCanvas(widget, [](QPainter &painter) {
                 painter.setPen(QPen(kGreen, 1));
                 painter.drawRect(0, 0, kWidth, kHeight);
             }));
    if (qFuzzyCompare(widget.devicePixelRatioF(), 1.0)) {
        // Half of the line lies outside: the pixels of the edge are covered by half.
        const int green = shot.at(0, 150).green();
        QVERIFY2(green > 100 && green < 155, qPrintable(QString::number(green)));
    }
}

void TestWidgetBackground::border_takesFocusColor()
{
    Widget widget;
    QCOMPARE(widget.getFocusColor(), QColor(0x22, 0xA3, 0xA9));
    widget.setBorderWidth(10);
    widget.setBorderColor(kGreen);
    widget.setFocusColor(kBlue);
    QVERIFY(show(widget));
    widget.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&widget));
    widget.setFocus();
    QTRY_VERIFY(widget.hasFocus());
    QCOMPARE(Shot(widget).at(2, 150), kBlue);
    widget.clearFocus();
    QVERIFY(!widget.hasFocus());
    QCOMPARE(Shot(widget).at(2, 150), kGreen);
}

void TestWidgetBackground::colors_notChosen_comeFromPaletteForGood()
{
    Widget widget;
    QCOMPARE(widget.getBorderColor(), QColor(Qt::transparent));
    QCOMPARE(widget.getTextColor(), QColor(Qt::transparent));
    QPalette palette = widget.palette();
    palette.setColor(QPalette::Shadow, kRed);
    palette.setColor(QPalette::WindowText, kBlue);
    widget.setPalette(palette);
    const QColor shadow = widget.palette().color(QPalette::Shadow);
    const QColor windowText = widget.palette().color(QPalette::WindowText);
    QCOMPARE(shadow, kRed);
    QVERIFY(show(widget));
    (void)Shot(widget);
    QCOMPARE(widget.getBorderColor(), shadow);
    QCOMPARE(widget.getTextColor(), windowText);

    palette.setColor(QPalette::Shadow, kGreen);
    palette.setColor(QPalette::WindowText, kGreen);
    widget.setPalette(palette);
    (void)Shot(widget);
    QCOMPARE(widget.getBorderColor(), shadow);
    QCOMPARE(widget.getTextColor(), windowText);
}

void TestWidgetBackground::bgColor_fillsTheFrame()
{
    Widget widget;
    QVERIFY(show(widget));
    QVERIFY(Shot(widget).isAll(kBlack));
    widget.setBgColor(kBlue);
    QVERIFY(Shot(widget).isAll(kBlue));
    widget.setImage(solid(QSize(100, 60), kRed)); // lies above it
    settle();
    QCOMPARE(Shot(widget).bounds(kRed), QRect(149, 119, 100, 60));
    QCOMPARE(Shot(widget).at(10, 10), kBlue);
}

void TestWidgetBackground::bgText_standsInTheMiddle_untilAPictureComes()
{
    Widget widget;
    QCOMPARE(WidgetPara().bgText, QStringLiteral("视频"));
    widget.setBgText(QStringLiteral("视频 Gate"));
    widget.setBgTextSize(30);
    widget.setTextColor(Qt::white);
    QVERIFY(show(widget));
    const QImage expected = expectedCanvas(widget, [](QPainter &painter) {
        painter.setFont(pixelFont(30));
        painter.setPen(Qt::white);
        painter.drawText(QRect(0, 0, kWidth, kHeight), Qt::AlignCenter,
                         QStringLiteral("视频 Gate"));
    });
    const Shot shot(widget);
    QVERIFY(!shot.isAll(kBlack));
    QCOMPARE(shot.image, expected);

    widget.setImage(solid(QSize(40, 30), kBlack));
    settle();
    QVERIFY(Shot(widget).isAll(kBlack));
    widget.clear();
    QCOMPARE(Shot(widget).image, expected);
}

void TestWidgetBackground::bgText_isNotDrawn_inSurfaceModes()
{
    for (VideoMode mode :
         {VideoMode_Hwnd, VideoMode_Painter, VideoMode_Opengl, VideoMode_D3D9, VideoMode_D3D11}) {
        Widget widget(mode);
        widget.setBgText(QStringLiteral("video"));
        widget.setTextColor(Qt::white);
        QVERIFY(show(widget));
        widget.layer()->show();
        widget.layer()->raise();
        const bool drawn = mode == VideoMode_Hwnd || mode == VideoMode_Painter;
        QCOMPARE(!Shot(widget).isAll(kBlack), drawn);
    }
}

void TestWidgetBackground::bgText_survivesAnySize()
{
    Widget widget;
    widget.setBgText(QStringLiteral("video"));
    QVERIFY(show(widget));
    const vantratest::QtWarnings warnings;
    for (int size : {0, -5, 1, 100000}) {
        widget.setBgTextSize(size);
        (void)Shot(widget);
    }
    QCOMPARE(warnings.lines(), QStringList());
}

void TestWidgetBackground::bgImage_isCentredAndShrunk_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("expected");
    // 2 pixels are taken off: 398 by 298 are left.
    QTest::newRow("smaller") << QSize(60, 40) << QRect(169, 129, 60, 40);
    QTest::newRow("larger") << QSize(800, 600) << QRect(1, 1, 397, 298);
    QTest::newRow("as large as the widget") << QSize(400, 300) << QRect(1, 1, 397, 298);
}

void TestWidgetBackground::bgImage_isCentredAndShrunk()
{
    QFETCH(QSize, size);
    QFETCH(QRect, expected);
    Widget widget;
    WidgetPara para = widget.getWidgetPara();
    para.bgImage = solid(size, kGreen);
    para.bgText = QStringLiteral("not shown");
    para.textColor = Qt::white;
    para.scaleMode = ScaleMode_Fill; // does not count here
    widget.setWidgetPara(para);
    QVERIFY(show(widget));
    const Shot shot(widget);
    QCOMPARE(shot.bounds(kGreen), expected);
    QVERIFY(!shot.contains(Qt::white));
}

void TestWidgetBackground::imageWithTooFewColors_isPaintedAllTheSame_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<int>("colors");
    for (const int colors : {0, 1}) {
        QTest::addRow("bits, %d", colors) << int(QImage::Format_Mono) << colors;
        QTest::addRow("bits from the right, %d", colors) << int(QImage::Format_MonoLSB) << colors;
        QTest::addRow("bytes, %d", colors) << int(QImage::Format_Indexed8) << colors;
    }
}

/// QPainter would read beyond the table.
void TestWidgetBackground::imageWithTooFewColors_isPaintedAllTheSame()
{
    QFETCH(int, format);
    QFETCH(int, colors);
    QImage image(QSize(100, 60), QImage::Format(format));
    image.fill(1);
    image.setColorCount(colors);
    if (colors > 0)
        image.setColor(0, kGreen.rgb());
    Widget widget;
    WidgetPara look = widget.getWidgetPara();
    look.bgImage = image;
    widget.setWidgetPara(look);
    QVERIFY(show(widget));
    QVERIFY(!Shot(widget).contains(kGreen)); // that is another index
}

/// QPainter would end the process. Qt's own conversions take indices without colors for grays.
void TestWidgetBackground::imageWithoutColors_isGray_whereverItIsPainted()
{
    const QColor gray(0x80, 0x80, 0x80);
    QImage image(QSize(100, 60), QImage::Format_Indexed8);
    image.fill(0x80);
    Widget widget;
    WidgetPara look = widget.getWidgetPara();
    look.bgImage = image;
    widget.setWidgetPara(look);
    QVERIFY(show(widget));
    QVERIFY(Shot(widget).contains(gray));

    look.bgImage = QImage();
    look.bgText = QString();
    widget.setWidgetPara(look);
    OsdInfo osd;
    osd.name = QStringLiteral("logo");
    osd.visible = true;
    osd.format = OsdFormat_Image;
    osd.position = OsdPosition_LeftTop;
    osd.image = image;
    widget.setOsd(osd);
    settle();
    QVERIFY(Shot(widget).contains(gray));

    widget.clearOsd();
    for (const bool zooms : {false, true}) {
        const int level = zooms ? 0x60 : 0xa0;
        image.fill(uint(level));
        widget.setDigitalZoom(zooms);
        widget.setImage(image);
        settle();
        QVERIFY(Shot(widget).contains(QColor(level, level, level)));
    }
}

void TestWidgetBackground::fillColor_showsBesideThePicture_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("painted") << int(VideoMode_Painter);
    QTest::newRow("surface") << int(VideoMode_D3D11);
}

void TestWidgetBackground::fillColor_showsBesideThePicture()
{
    QFETCH(int, mode);
    QWidget host;
    host.resize(kWidth, kHeight);
    Widget widget{VideoMode(mode)};
    widget.setParent(&host);
    WidgetPara para = widget.getWidgetPara();
    para.fillColor = kGreen;
    widget.setWidgetPara(para);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));
    QVERIFY(!Shot(host).contains(kGreen));

    FakeThread thread;
    thread.setSize(100, 60);
    widget.play(&thread);
    widget.startPlay();
    emit thread.receiveImage(solid(QSize(100, 60), kRed), 0);
    settle();
    QCOMPARE(Shot(host).at(10, 10), kGreen);
    QCOMPARE(Shot(host).at(390, 290), kGreen);
    if (mode == VideoMode_Painter)
        QCOMPARE(Shot(host).bounds(kRed), QRect(149, 119, 100, 60));

    widget.endPlay();
    QVERIFY(!Shot(host).contains(kGreen));
}

void TestWidgetBackground::fillColor_isNotUsed_withFillOrTransparent()
{
    Widget widget;
    QVERIFY(show(widget));
    widget.setPalettex(true); // no colour is set
    QVERIFY(!widget.autoFillBackground());

    WidgetPara para = widget.getWidgetPara();
    para.fillColor = kGreen;
    para.scaleMode = ScaleMode_Fill;
    widget.setWidgetPara(para);
    widget.setPalettex(true);
    QVERIFY(!widget.autoFillBackground());
    QVERIFY(!Shot(widget).contains(kGreen));
}

QTEST_MAIN(TestWidgetBackground)
#include "tst_widgetbackground.moc"
