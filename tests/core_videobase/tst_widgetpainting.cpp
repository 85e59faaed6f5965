// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What a video widget shows of picture, border and background, pixel by pixel.

#include "paintedwidget.h"
#include "support/pixels.h"

#include <QPainter>
#include <QScreen>
#include <QTest>

using namespace paintedwidget;

namespace {

/// A green window that is as large as the video widget in it.
class Window final : public QWidget
{
public:
    Window()
    {
        QPalette green = palette();
        green.setColor(QPalette::Window, kGreen);
        setPalette(green);
        widget.setParent(this);
        widget.setScaleMode(ScaleMode_Fill);
        widget.move(0, 0);
        resize(widget.size());
    }

    bool showUp()
    {
        show();
        settle();
        return QTest::qWaitForWindowExposed(this);
    }

    Widget widget;
    int paints = 0;

protected:
    void paintEvent(QPaintEvent *) override { ++paints; }
};

} // namespace

class TestWidgetPainting : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void picture_isScaledAndCentred_data();
    void picture_isScaledAndCentred();
    void picture_keepsItsOrientation();
    void picture_isOnTheScreen();
    void picture_ofAnyPixelRatio_fillsItsPlace();
    void picture_thatCovers_isPaintedAlone();
    void picture_thatCovers_isPaintedByAnyUpdate();
    void picture_thatCoversNoMore_showsWhatLiesBehind_data();
    void picture_thatCoversNoMore_showsWhatLiesBehind();
    void picture_thatIsHidden_showsWhatLiesBehind();
    void picture_rotated_data();
    void picture_rotated();
    void picture_isShared_unlessCopyImage();
    void picture_isDropped_whileMinimizedOrHidden();
    void picture_ofEndedThread_wipesWidget();
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
    void fillColor_showsBesideThePicture_data();
    void fillColor_showsBesideThePicture();
    void fillColor_isNotUsed_withFillOrTransparent();
    void paint_leavesTheLayerItsOwnPaint();
};

// The centre of 400 by 300 is (199, 149); even left and top go up by one, so that a picture as
// large as the widget stands at (-1, -1) and leaves the last column and row free.
void TestWidgetPainting::picture_isScaledAndCentred_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("border");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("expected");

    QTest::newRow("auto, smaller") << 0 << 0 << QSize(100, 60) << QRect(149, 119, 100, 60);
    QTest::newRow("auto, larger") << 0 << 0 << QSize(800, 600) << QRect(0, 0, 399, 299);
    QTest::newRow("auto, wider") << 0 << 0 << QSize(800, 300) << QRect(0, 75, 399, 150);
    QTest::newRow("auto, taller") << 0 << 0 << QSize(200, 600) << QRect(149, 0, 100, 299);
    QTest::newRow("aspect, smaller") << 1 << 0 << QSize(100, 60) << QRect(0, 29, 399, 240);
    QTest::newRow("aspect, larger") << 1 << 0 << QSize(800, 600) << QRect(0, 0, 399, 299);
    QTest::newRow("aspect, wider") << 1 << 0 << QSize(100, 10) << QRect(0, 129, 399, 40);
    QTest::newRow("aspect, taller") << 1 << 0 << QSize(60, 100) << QRect(109, 0, 180, 299);
    QTest::newRow("fill, smaller") << 2 << 0 << QSize(100, 60) << QRect(0, 0, 400, 300);
    QTest::newRow("fill, larger") << 2 << 0 << QSize(800, 900) << QRect(0, 0, 400, 300);
    QTest::newRow("fill, wider") << 2 << 0 << QSize(800, 60) << QRect(0, 0, 400, 300);
    QTest::newRow("fill, taller") << 2 << 0 << QSize(60, 600) << QRect(0, 0, 400, 300);
    QTest::newRow("fill, border") << 2 << 10 << QSize(100, 60) << QRect(5, 5, 390, 290);
    QTest::newRow("auto, larger, border") << 0 << 10 << QSize(800, 600) << QRect(7, 5, 386, 290);
    QTest::newRow("aspect, smaller, odd border")
        << 1 << 7 << QSize(100, 60) << QRect(3, 33, 393, 235);
}

void TestWidgetPainting::picture_isScaledAndCentred()
{
    QFETCH(int, mode);
    QFETCH(int, border);
    QFETCH(QSize, size);
    QFETCH(QRect, expected);
    Widget widget;
    widget.setScaleMode(ScaleMode(mode));
    widget.setBorderWidth(border);
    widget.setBorderColor(kGreen);
    widget.setFocusColor(kGreen);
    QVERIFY(show(widget));
    widget.setImage(solid(size, kRed));
    settle();
    const Shot shot(widget);
    QCOMPARE(shot.bounds(kRed), expected);
    QCOMPARE(vantratest::countOf(shot.image, kRed),
             int(expected.width() * expected.height() * widget.devicePixelRatioF() *
                 widget.devicePixelRatioF()));
}

void TestWidgetPainting::picture_keepsItsOrientation()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    QCOMPARE(widget.devicePixelRatioF(), qEnvironmentVariable("QT_SCALE_FACTOR", "1").toDouble());
    widget.setImage(quadrants(QSize(40, 20)));
    settle();
    const Shot shot(widget);
    QCOMPARE(shot.bounds(kRed), QRect(0, 0, 200, 150));
    QCOMPARE(shot.bounds(kGreen), QRect(200, 0, 200, 150));
    QCOMPARE(shot.bounds(kBlue), QRect(0, 150, 200, 150));
    QCOMPARE(shot.bounds(kYellow), QRect(200, 150, 200, 150));
}

void TestWidgetPainting::picture_isOnTheScreen()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    widget.setImage(quadrants(QSize(40, 20)));
    const auto onScreen = [&] {
        QImage grabbed = widget.screen()->grabWindow(widget.winId()).toImage();
        grabbed.setDevicePixelRatio(widget.devicePixelRatioF());
        return Shot(grabbed);
    };
    QTRY_COMPARE(onScreen().at(100, 100), kRed);
    const Shot shot = onScreen();
    QCOMPARE(shot.at(300, 100), kGreen);
    QCOMPARE(shot.at(100, 200), kBlue);
    QCOMPARE(shot.at(399, 299), kYellow);
}

void TestWidgetPainting::picture_ofAnyPixelRatio_fillsItsPlace()
{
    Widget widget;
    QVERIFY(show(widget));
    QImage picture = solid(QSize(100, 60), kRed);
    picture.setDevicePixelRatio(2);
    widget.setImage(picture);
    settle();
    QCOMPARE(Shot(widget).bounds(kRed), QRect(149, 119, 100, 60));
}

// Filling what the picture hides would cost as much as the picture.
void TestWidgetPainting::picture_thatCovers_isPaintedAlone()
{
    Window window;
    Widget &widget = window.widget;
    QVERIFY(window.showUp());
    widget.setImage(solid(QSize(40, 30), kRed));
    settle();
    const int painted = widget.paints;
    const int behind = window.paints;
    widget.setImage(solid(QSize(40, 30), kBlue));
    settle();
    QVERIFY(widget.paints > painted);
    // At twice the pixels too; between whole ones the edges are blended with what lies behind.
    const bool whole = widget.devicePixelRatioF() == int(widget.devicePixelRatioF());
    QCOMPARE(window.paints > behind, !whole);
    QVERIFY(Shot(widget).isAll(kBlue));
}

void TestWidgetPainting::picture_thatCovers_isPaintedByAnyUpdate()
{
    Window window;
    Widget &widget = window.widget;
    QVERIFY(window.showUp());
    widget.setImage(solid(QSize(40, 30), kRed));
    settle();
    int painted = widget.paints;
    widget.update(); // by a host, or as the focus changes
    settle();
    QVERIFY(widget.paints > painted);
    painted = widget.paints;
    widget.layer()->update();
    settle();
    QVERIFY(widget.paints > painted);
    // A layer of the host above the picture.
    painted = widget.paints;
    QWidget above(&widget);
    above.setStyleSheet(QStringLiteral("background-color:transparent"));
    above.setGeometry(10, 10, 20, 20);
    above.show();
    settle();
    QVERIFY(widget.paints > painted);
    QVERIFY(Shot(widget).isAll(kRed));
}

void TestWidgetPainting::picture_thatCoversNoMore_showsWhatLiesBehind_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QRect>("shown"); // of red; all else is black
    QTest::newRow("wiped") << QStringLiteral("clear") << QRect();
    QTest::newRow("new start") << QStringLiteral("start") << QRect();
    QTest::newRow("decoder gone") << QStringLiteral("decoder") << QRect();
    QTest::newRow("beside") << QStringLiteral("aspect") << QRect(149, 119, 100, 60);
    QTest::newRow("larger part than the picture")
        << QStringLiteral("zoom") << QRect(0, 0, 200, 150);
    QTest::newRow("with holes") << QStringLiteral("alpha") << QRect(0, 0, 200, 300);
    QTest::newRow("border") << QStringLiteral("border") << QRect(5, 5, 390, 290);
    QTest::newRow("smaller layer") << QStringLiteral("layer") << QRect(0, 0, 400, 100);
}

void TestWidgetPainting::picture_thatCoversNoMore_showsWhatLiesBehind()
{
    QFETCH(QString, change);
    QFETCH(QRect, shown);
    Window window;
    Widget &widget = window.widget;
    QVERIFY(window.showUp());
    widget.setImage(solid(QSize(100, 60), kRed));
    settle();
    QVERIFY(Shot(widget).isAll(kRed));
    if (change == QLatin1String("clear")) {
        widget.clear();
    } else if (change == QLatin1String("start")) {
        widget.startRendering();
    } else if (change == QLatin1String("decoder")) {
        widget.loseDecoder();
    } else if (change == QLatin1String("aspect")) {
        widget.setScaleMode(ScaleMode_Auto);
    } else if (change == QLatin1String("zoom")) {
        // As a picture of half the size during zoom makes it: behind this class's back.
        widget.zoomState().on = true;
        widget.zoomState().zoomRect = QRectF(0, 0, 200, 120);
        widget.update();
    } else if (change == QLatin1String("alpha")) {
        QImage holes(QSize(100, 60), QImage::Format_ARGB32);
        holes.fill(Qt::transparent);
        QPainter(&holes).fillRect(QRect(0, 0, 50, 60), kRed);
        widget.setImage(holes);
    } else if (change == QLatin1String("border")) {
        widget.setBorderColor(Qt::black);
        widget.setFocusColor(Qt::black);
        WidgetPara para = widget.getWidgetPara();
        para.borderWidth = 10;
        widget.setWidgetPara(para);
    } else if (change == QLatin1String("layer")) {
        widget.layer()->setGeometry(0, 0, 400, 100);
    }
    settle();
    const auto onScreen = [&] {
        QImage grabbed = widget.screen()->grabWindow(window.winId()).toImage();
        grabbed.setDevicePixelRatio(widget.devicePixelRatioF());
        return Shot(grabbed);
    };
    QTRY_COMPARE(onScreen().bounds(kRed), shown);
    const Shot shots[] = {Shot(widget), onScreen()};
    for (const Shot &shot : shots) {
        QCOMPARE(shot.bounds(kRed), shown);
        for (const QPoint at : {QPoint(1, 298), QPoint(398, 298)})
            QCOMPARE(shot.at(at.x(), at.y()), shown.contains(at) ? kRed : QColor(Qt::black));
    }
}

void TestWidgetPainting::picture_thatIsHidden_showsWhatLiesBehind()
{
    Window window;
    Widget &widget = window.widget;
    QVERIFY(window.showUp());
    widget.setImage(solid(QSize(100, 60), kRed));
    settle();
    widget.layer()->hide();
    widget.holder()->hide();
    settle();
    const auto onScreen = [&] {
        QImage grabbed = widget.screen()->grabWindow(window.winId()).toImage();
        grabbed.setDevicePixelRatio(widget.devicePixelRatioF());
        return Shot(grabbed);
    };
    QTRY_VERIFY(onScreen().isAll(kGreen));
    widget.layer()->show();
    QTRY_VERIFY(onScreen().isAll(kRed));
}

void TestWidgetPainting::picture_rotated_data()
{
    QTest::addColumn<int>("rotate");
    QTest::addColumn<QRect>("expected");
    // The thread says 400 by 200, and turns the picture itself.
    QTest::newRow("not turned") << 0 << QRect(-1, 49, 400, 200);
    QTest::newRow("90 swaps") << 90 << QRect(125, -1, 150, 300);
    QTest::newRow("180 does not swap") << 180 << QRect(-1, 49, 400, 200);
    QTest::newRow("270 does not swap") << 270 << QRect(-1, 49, 400, 200);
}

void TestWidgetPainting::picture_rotated()
{
    QFETCH(int, rotate);
    QFETCH(QRect, expected);
    FakeThread thread;
    thread.setSize(400, 200);
    thread.setRotate(rotate);
    Widget widget;
    QVERIFY(show(widget));
    widget.play(&thread);
    const bool upright = rotate == 90 || rotate == 270;
    emit thread.receiveImage(solid(upright ? QSize(200, 400) : QSize(400, 200), kRed), 0);
    settle();
    QCOMPARE(widget.target(), expected);
    QCOMPARE(Shot(widget).bounds(kRed), expected & QRect(0, 0, kWidth, kHeight));
    QCOMPARE(widget.holder()->geometry(), expected);
    QCOMPARE(widget.layer()->geometry(), QRect(0, 0, kWidth, kHeight));
}

void TestWidgetPainting::picture_isShared_unlessCopyImage()
{
    for (bool copy : {false, true}) {
        Widget widget;
        WidgetPara para = widget.getWidgetPara();
        para.scaleMode = ScaleMode_Fill;
        para.copyImage = copy;
        widget.setWidgetPara(para);
        QVERIFY(show(widget));
        QVector<QRgb> pixels(16 * 16, kRed.rgb()); // memory of a stream thread
        widget.setImage(
            QImage(reinterpret_cast<uchar *>(pixels.data()), 16, 16, QImage::Format_RGB32));
        settle();
        QVERIFY(Shot(widget).isAll(kRed));
        pixels.fill(kBlue.rgb());
        QVERIFY(Shot(widget).isAll(copy ? kRed : kBlue));
    }
}

void TestWidgetPainting::picture_isDropped_whileMinimizedOrHidden()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    FakeThread thread;
    thread.setSize(40, 30);
    widget.play(&thread);
    emit thread.receiveImage(solid(QSize(40, 30), kRed), 0);
    settle();

    widget.showMinimized();
    QTRY_VERIFY(widget.isMinimized());
    QVERIFY(widget.getIsMinimized());
    emit thread.receiveImage(solid(QSize(40, 30), kBlue), 0);
    QCOMPARE(widget.picture().pixelColor(0, 0), kRed); // the last picture stays
    widget.showNormal();
    QTRY_VERIFY(!widget.isMinimized());
    QVERIFY(Shot(widget).isAll(kRed));
    emit thread.receiveImage(solid(QSize(40, 30), kBlue), 0);
    QVERIFY(Shot(widget).isAll(kBlue));

    widget.hide();
    emit thread.receiveImage(solid(QSize(40, 30), kGreen), 0);
    QCOMPARE(widget.picture().pixelColor(0, 0), kBlue);
}

void TestWidgetPainting::picture_ofEndedThread_wipesWidget()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(40, 30), kRed));
    settle();
    QVERIFY(Shot(widget).isAll(kRed));
    widget.setRunning(false);
    widget.setImage(solid(QSize(40, 30), kBlue));
    settle();
    QVERIFY(widget.picture().isNull());
    QVERIFY(Shot(widget).isAll(kBlack));
}

void TestWidgetPainting::border_liesHalfInside()
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

void TestWidgetPainting::border_isSmooth()
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

void TestWidgetPainting::border_takesFocusColor()
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

void TestWidgetPainting::colors_notChosen_comeFromPaletteForGood()
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

void TestWidgetPainting::bgColor_fillsTheFrame()
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

void TestWidgetPainting::bgText_standsInTheMiddle_untilAPictureComes()
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

void TestWidgetPainting::bgText_isNotDrawn_inSurfaceModes()
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

void TestWidgetPainting::bgText_survivesAnySize()
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

void TestWidgetPainting::bgImage_isCentredAndShrunk_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("expected");
    // 2 pixels are taken off: 398 by 298 are left.
    QTest::newRow("smaller") << QSize(60, 40) << QRect(169, 129, 60, 40);
    QTest::newRow("larger") << QSize(800, 600) << QRect(1, 1, 397, 298);
    QTest::newRow("as large as the widget") << QSize(400, 300) << QRect(1, 1, 397, 298);
}

void TestWidgetPainting::bgImage_isCentredAndShrunk()
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

void TestWidgetPainting::fillColor_showsBesideThePicture_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("painted") << int(VideoMode_Painter);
    QTest::newRow("surface") << int(VideoMode_D3D11);
}

void TestWidgetPainting::fillColor_showsBesideThePicture()
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

void TestWidgetPainting::fillColor_isNotUsed_withFillOrTransparent()
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

void TestWidgetPainting::paint_leavesTheLayerItsOwnPaint()
{
    Widget widget;
    QVERIFY(show(widget));
    (void)Shot(widget);
    QVERIFY(widget.paints > 0);
    QCOMPARE(widget.paintsKept, 0);
}

QTEST_MAIN(TestWidgetPainting)
#include "tst_widgetpainting.moc"
