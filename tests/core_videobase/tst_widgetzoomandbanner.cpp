// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Digital zoom and the banner of a video widget, pixel by pixel.

#include "core_videobase/bannerwidget.h"
#include "paintedwidget.h"

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

using namespace paintedwidget;

namespace {

constexpr int kNotch = 120; // eighths of a degree

void turnWheel(Widget &widget, int delta)
{
    const QPoint middle(kWidth / 2, kHeight / 2);
    QWheelEvent event(middle, widget.mapToGlobal(middle), QPoint(), QPoint(0, delta), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    // Only an event of the window system is handed on by the layer below the pointer.
    QApplication::sendEvent(&widget, &event);
}

void mouse(Widget &widget, QEvent::Type type, const QPoint &pos, Qt::MouseButton button)
{
    const bool moves = type == QEvent::MouseMove;
    QMouseEvent event(type, pos, widget.mapToGlobal(pos), moves ? Qt::NoButton : button,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : button, Qt::NoModifier);
    QApplication::sendEvent(widget.layer(), &event);
}

void dragBy(Widget &widget, const QPoint &step)
{
    const QPoint start(kWidth / 2, kHeight / 2);
    mouse(widget, QEvent::MouseButtonPress, start, Qt::LeftButton);
    mouse(widget, QEvent::MouseMove, start + step, Qt::LeftButton);
    mouse(widget, QEvent::MouseButtonRelease, start + step, Qt::LeftButton);
}

} // namespace

class TestWidgetZoomAndBanner : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void zoom_byWheel_showsTheMiddle();
    void zoom_byDrag_showsEveryCorner();
    void zoom_dragNeedsLeftButton();
    void zoom_off_showsTheWholePicture();
    void zoom_ofEmptyPart_showsTheWholePicture();
    void banner_standsAtItsEdge_data();
    void banner_standsAtItsEdge();
    void banner_staysPut_atUnknownPosition();
    void banner_isShown_onlyOverARunningPicture();
    void banner_colorsOfWidgetPara_waitForAProperty();
    void banner_buttonsToggle_throughTheWidget();
};

void TestWidgetZoomAndBanner::zoom_byWheel_showsTheMiddle()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    QImage picture = solid(QSize(400, 300), kRed);
    QPainter(&picture).fillRect(100, 75, 200, 150, kBlue); // the middle half
    widget.setImage(picture);
    settle();
    turnWheel(widget, kNotch); // zoom is off
    QVERIFY(Shot(widget).contains(kRed));

    widget.setDigitalZoom(true);
    QVERIFY(widget.isDigitalZoom());
    (void)Shot(widget);
    QCOMPARE(widget.zoomState().zoomRect, QRectF(0, 0, 400, 300));
    turnWheel(widget, kNotch);
    // 15 degrees: 15 / 360 * 0.1 of the size goes on each side.
    const QRectF once = widget.zoomState().zoomRect;
    QVERIFY(qAbs(once.x() - 400 / 240.0) < 1e-9 && qAbs(once.width() - 400 * 238 / 240.0) < 1e-9);
    for (int i = 0; i < 300; ++i)
        turnWheel(widget, kNotch);
    const QRectF limit = widget.zoomState().zoomRect;
    QVERIFY(limit.width() <= 100 && limit.width() > 99); // a quarter
    QVERIFY(Shot(widget).isAll(kBlue));
    for (int i = 0; i < 400; ++i)
        turnWheel(widget, -kNotch);
    QCOMPARE(widget.zoomState().zoomRect, QRectF(0, 0, 400, 300));
    QCOMPARE(Shot(widget).bounds(kBlue), QRect(100, 75, 200, 150));

    // A new picture does not end the zoom.
    for (int i = 0; i < 300; ++i)
        turnWheel(widget, kNotch);
    widget.setImage(picture);
    QVERIFY(Shot(widget).isAll(kBlue));
}

void TestWidgetZoomAndBanner::zoom_byDrag_showsEveryCorner()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    widget.setImage(quadrants(QSize(400, 300)));
    settle();
    widget.setDigitalZoom(true);
    DigitalZoom &zoom = widget.zoomState();
    zoom.zoomRect = QRectF(150, 120, 100, 75); // a quarter of the size: 4 widget pixels are 1

    dragBy(widget, QPoint(1000, 1000)); // the view stops at the left and top edge
    QCOMPARE(zoom.zoomRect, QRectF(0, 0, 100, 75));
    QVERIFY(Shot(widget).isAll(kRed));

    dragBy(widget, QPoint(-1196, 0));
    QCOMPARE(zoom.zoomRect, QRectF(299, 0, 100, 75));
    QVERIFY(Shot(widget).isAll(kGreen));
    dragBy(widget, QPoint(-4, -20)); // would touch the right edge: refused whole
    QCOMPARE(zoom.zoomRect, QRectF(299, 0, 100, 75));
    QCOMPARE(zoom.lastMousePos, QPoint(196, 130));

    dragBy(widget, QPoint(0, -896));
    QCOMPARE(zoom.zoomRect, QRectF(299, 224, 100, 75));
    QVERIFY(Shot(widget).isAll(kYellow));
    dragBy(widget, QPoint(20, -4)); // would touch the bottom edge: refused whole
    QCOMPARE(zoom.zoomRect, QRectF(299, 224, 100, 75));

    dragBy(widget, QPoint(1196, 0));
    QCOMPARE(zoom.zoomRect, QRectF(0, 224, 100, 75));
    QVERIFY(Shot(widget).isAll(kBlue));
}

void TestWidgetZoomAndBanner::zoom_dragNeedsLeftButton()
{
    Widget widget;
    QVERIFY(show(widget));
    widget.setImage(quadrants(QSize(400, 300)));
    settle();
    widget.setDigitalZoom(true);
    DigitalZoom &zoom = widget.zoomState();
    zoom.zoomRect = QRectF(100, 100, 100, 75);
    mouse(widget, QEvent::MouseButtonPress, QPoint(10, 10), Qt::RightButton);
    QVERIFY(!zoom.dragging);
    mouse(widget, QEvent::MouseMove, QPoint(50, 50), Qt::RightButton);
    QCOMPARE(zoom.zoomRect, QRectF(100, 100, 100, 75));

    mouse(widget, QEvent::MouseButtonPress, QPoint(10, 10), Qt::LeftButton);
    QVERIFY(zoom.dragging);
    QCOMPARE(zoom.lastMousePos, QPoint(10, 10));
    mouse(widget, QEvent::MouseButtonRelease, QPoint(10, 10), Qt::LeftButton);
    QVERIFY(!zoom.dragging);
    mouse(widget, QEvent::MouseMove, QPoint(50, 50), Qt::LeftButton);
    QCOMPARE(zoom.zoomRect, QRectF(100, 100, 100, 75));
}

void TestWidgetZoomAndBanner::zoom_off_showsTheWholePicture()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    widget.setImage(quadrants(QSize(400, 300)));
    settle();
    widget.setDigitalZoom(true);
    widget.zoomState().zoomRect = QRectF(0, 0, 100, 75);
    QVERIFY(Shot(widget).isAll(kRed));
    widget.setDigitalZoom(false);
    QCOMPARE(Shot(widget).bounds(kYellow), QRect(200, 150, 200, 150));
    QCOMPARE(widget.zoomState().zoomRect, QRectF(0, 0, 400, 300));
}

void TestWidgetZoomAndBanner::zoom_ofEmptyPart_showsTheWholePicture()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    widget.setDigitalZoom(true);
    widget.setImage(quadrants(QSize(400, 300)));
    settle();
    QCOMPARE(Shot(widget).bounds(kYellow), QRect(200, 150, 200, 150));
    QCOMPARE(widget.zoomState().zoomRect, QRectF(0, 0, 400, 300));
    widget.zoomState().zoomRect = QRectF(50, 50, 0, 20);
    QCOMPARE(Shot(widget).bounds(kYellow), QRect(200, 150, 200, 150));
    QCOMPARE(widget.zoomState().zoomRect, QRectF(0, 0, 400, 300));
}

void TestWidgetZoomAndBanner::banner_standsAtItsEdge_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<QRect>("expected");
    // Half of a border of 7 is 3.
    QTest::newRow("top") << 0 << QRect(3, 3, 394, 25);
    QTest::newRow("bottom") << 1 << QRect(3, 272, 394, 25);
    QTest::newRow("left") << 2 << QRect(3, 3, 25, 294);
    QTest::newRow("right") << 3 << QRect(372, 3, 25, 294);
}

void TestWidgetZoomAndBanner::banner_standsAtItsEdge()
{
    QFETCH(int, position);
    QFETCH(QRect, expected);
    Widget widget;
    WidgetPara para = widget.getWidgetPara();
    para.borderWidth = 7;
    para.borderColor = kGreen;
    para.focusColor = kGreen;
    para.scaleMode = ScaleMode_Fill;
    para.bannerEnable = true;
    para.bannerPosition = position;
    para.banner.position = 3 - position; // has no effect
    para.banner.margins = QMargins(0, 0, 0, 0);
    para.banner.names = QStringList{QStringLiteral("btnSnap")};
    para.banner.icons = QStringList{QStringLiteral(":/primary/snap.svg")};
    para.banner.tips = QStringList{QStringLiteral("tip")};
    widget.setWidgetPara(para);
    widget.setBannerBgColor(kBlue);
    widget.setBannerBgAlpha(255);
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(400, 300), kRed));
    settle();
    QCOMPARE(widget.banner()->geometry(), expected);
    QVERIFY(!Shot(widget).contains(kBlue)); // hidden until the pointer comes

    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(&widget, &enter);
    QVERIFY(widget.banner()->isVisible());
    settle();
    // The label keeps the widget's black, so its place is left out: the button stands at the end.
    const Shot shot(widget);
    const QRect blue = shot.bounds(kBlue);
    QVERIFY(expected.contains(blue));
    QCOMPARE(blue.bottomRight(), expected.bottomRight());
    const QPushButton *button = widget.banner()->findChild<QPushButton *>();
    const QRect end(button->mapTo(&widget, QPoint(0, 0)), button->size());
    QCOMPARE(end, position < 2 ? QRect(expected.right() - 19, expected.y(), 20, 25)
                               : QRect(expected.x(), expected.bottom() - 19, 25, 20));
    QCOMPARE(shot.at(end.x(), end.y()), kBlue); // the button lets the strip through beside its icon
    const qreal ratio = widget.devicePixelRatioF();
    const QRect endPixels(end.topLeft() * ratio, end.size() * ratio);
    QVERIFY(!Shot(shot.image.copy(endPixels)).isAll(kBlue));
    if (position >= 2) // no label: all of the strip
        QCOMPARE(blue, expected);
    QCOMPARE(shot.bounds(kGreen), QRect(0, 0, kWidth, kHeight)); // the border

    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&widget, &leave);
    QVERIFY(!widget.banner()->isVisible());
    QVERIFY(!Shot(widget).contains(kBlue));
}

void TestWidgetZoomAndBanner::banner_staysPut_atUnknownPosition()
{
    Widget widget;
    QVERIFY(show(widget));
    QCOMPARE(widget.banner()->geometry(), QRect(0, 0, 400, 25));
    WidgetPara para = widget.getWidgetPara();
    para.bannerPosition = 4;
    para.bannerSize = 50;
    para.scaleMode = ScaleMode_Aspect; // asks for a new layout
    widget.setWidgetPara(para);
    settle();
    QCOMPARE(widget.banner()->geometry(), QRect(0, 0, 400, 25));
}

void TestWidgetZoomAndBanner::banner_isShown_onlyOverARunningPicture()
{
    Widget widget;
    WidgetPara para = widget.getWidgetPara();
    para.bannerEnable = true;
    para.banner.text = QStringLiteral("Gate 4");
    widget.setWidgetPara(para);
    QVERIFY(show(widget));
    const auto shownAtEnter = [&widget] {
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(&widget, &leave);
        QEvent enter(QEvent::Enter);
        QApplication::sendEvent(&widget, &enter);
        return widget.banner()->isVisible();
    };
    QVERIFY(!shownAtEnter()); // no picture yet
    widget.setImage(solid(QSize(400, 300), kRed));
    QVERIFY(shownAtEnter());
    QCOMPARE(widget.banner()->findChild<QLabel *>()->text(), QStringLiteral("Gate 4"));
    widget.setOnlyAudio(true);
    QVERIFY(!shownAtEnter());
    widget.setOnlyAudio(false);
    widget.setRunning(false);
    QVERIFY(!shownAtEnter());
    widget.setRunning(true);
    QVERIFY(shownAtEnter());
    para.bannerEnable = false;
    widget.setWidgetPara(para);
    QVERIFY(!widget.banner()->isVisible());
    QVERIFY(!shownAtEnter());
}

void TestWidgetZoomAndBanner::banner_colorsOfWidgetPara_waitForAProperty()
{
    Widget widget;
    WidgetPara para = widget.getWidgetPara();
    para.bannerEnable = true;
    para.bannerPosition = 2; // without a label
    para.banner.bgColor = kBlue;
    para.banner.bgAlpha = 255;
    widget.setWidgetPara(para);
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(40, 30), kRed));
    settle();
    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(&widget, &enter);
    settle();
    QVERIFY(widget.banner()->isVisible());
    QVERIFY(!Shot(widget).contains(kBlue));
    widget.setBannerTextColor(kGreen);
    QCOMPARE(Shot(widget).bounds(kBlue), QRect(0, 0, 25, 300));
}

void TestWidgetZoomAndBanner::banner_buttonsToggle_throughTheWidget()
{
    Widget widget;
    WidgetPara para = widget.getWidgetPara();
    para.bannerEnable = true;
    para.banner.names = QStringList{QStringLiteral("btnSound"), QStringLiteral("btnTalk")};
    para.banner.icons =
        QStringList{QStringLiteral(":/primary/volume.svg"), QStringLiteral(":/primary/mic.svg")};
    para.banner.tips = QStringList{QStringLiteral("sound"), QStringLiteral("talk")};
    widget.setWidgetPara(para);
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(40, 30), kRed));
    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(&widget, &enter);
    settle();
    QSignalSpy spy(&widget, SIGNAL(sig_btnClicked(QString)));
    const QList<QPushButton *> buttons = widget.banner()->findChildren<QPushButton *>();
    QCOMPARE(buttons.size(), 2);
    const auto pixels = [](QPushButton *button) { return button->grab().toImage(); };
    const QImage soundOn = pixels(buttons.at(0));
    const QImage talkOn = pixels(buttons.at(1));
    QTest::mouseClick(buttons.at(0), Qt::LeftButton);
    QTest::mouseClick(buttons.at(1), Qt::LeftButton);
    QVERIFY(pixels(buttons.at(0)) != soundOn);
    QVERIFY(pixels(buttons.at(1)) != talkOn);
    QTest::mouseClick(buttons.at(0), Qt::LeftButton);
    QTest::mouseClick(buttons.at(1), Qt::LeftButton);
    QCOMPARE(pixels(buttons.at(0)), soundOn);
    QCOMPARE(pixels(buttons.at(1)), talkOn);
    QStringList names;
    for (const QList<QVariant> &call : spy)
        names << call.at(0).toString();
    QCOMPARE(names, QStringList({QStringLiteral("btnMuted"), QStringLiteral("btnTalkMuted"),
                                 QStringLiteral("btnSound"), QStringLiteral("btnTalk")}));
}

QTEST_MAIN(TestWidgetZoomAndBanner)
#include "tst_widgetzoomandbanner.moc"
