// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What a video widget shows of a picture, pixel by pixel. What is seen beside it is tested in
/// tst_widgetbackground.

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
    QCOMPARE(widget.layer()->testAttribute(Qt::WA_NoSystemBackground), whole);
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
    if (change != QLatin1String("layer"))
        widget.holder()->hide(); // black as well, and would make up for a layer that is not
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
