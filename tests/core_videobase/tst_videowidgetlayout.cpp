// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Overlays, painting and layout as the video widget wires them to its layers.

#include "support/loggedtest.h"
#include "videowidgetfakes.h"

#include <QLabel>
#include <QtTest>

#include <limits>

using namespace videowidgetfakes;

namespace {

OsdInfo osdText(const QString &name, const QString &text)
{
    OsdInfo osd;
    osd.name = name;
    osd.visible = true;
    osd.fontSize = 20;
    osd.text = text;
    osd.color = Qt::red;
    return osd;
}

OsdInfo osdPicture(const QString &name, const QColor &color)
{
    OsdInfo osd = osdText(name, QString());
    osd.format = OsdFormat_Image;
    osd.image = colouredImage(10, 10, color);
    return osd;
}

GraphInfo graphRect(const QString &name, const QColor &color)
{
    GraphInfo graph;
    graph.name = name;
    graph.borderWidth = 2;
    graph.borderColor = color;
    graph.rect = QRect(10, 10, 20, 20);
    return graph;
}

template<typename Record>
QStringList names(const QList<Record> &records)
{
    QStringList result;
    for (const Record &record : records)
        result << record.name;
    return result;
}

// Paints its pictures, without a text.
class PlainWidget : public FrameWidget
{
public:
    explicit PlainWidget(ScaleMode mode = ScaleMode_Auto)
    {
        WidgetPara para;
        para.videoMode = VideoMode_Painter;
        para.scaleMode = mode;
        para.bgText.clear();
        setWidgetPara(para);
        resize(100, 80);
    }
};

bool hasColor(QWidget *widget, const QColor &color)
{
    const QImage image = widget->grab().toImage();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) == color)
                return true;
        }
    }
    return false;
}

} // namespace

class tst_VideoWidgetLayout : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    // --- Overlays and the paint pass ------------------------------------------------------------

    void osdList_keepsItsOrder_andRepaintsAsItShould()
    {
        FrameWidget widget;
        QVERIFY(shows(&widget));
        PaintCounter paints(widget.osdWidget);
        const auto painted = [&] {
            const bool settled = settle();
            const int count = paints.count;
            paints.count = 0;
            return settled && count > 0;
        };
        widget.setOsd(osdText("a", "1"));
        QVERIFY(painted());
        widget.appendOsd(osdText("b", "2"));
        widget.appendOsd(osdText("a", "3")); // the same name may stand twice
        QVERIFY(painted());
        QCOMPARE(names(widget.osdList.items()), QStringList({"a", "b", "a"}));

        widget.setOsd(osdText("a", "4"));
        QVERIFY(!painted()); // shows at the next repaint
        QCOMPARE(widget.osdList.items().at(0).text, QStringLiteral("4"));
        QCOMPARE(widget.osdList.items().at(2).text, QStringLiteral("3"));

        widget.removeOsd(QStringLiteral("a"));
        QVERIFY(painted());
        QCOMPARE(names(widget.osdList.items()), QStringList({"b", "a"}));
        widget.removeOsd(QStringLiteral("unknown"));
        QVERIFY(painted());
        QCOMPARE(widget.osdList.items().size(), 2);
        widget.clearOsd();
        QVERIFY(painted());
        QVERIFY(widget.osdList.items().isEmpty());
    }

    void graphList_keepsItsOrder_andRepaintsAsItShould()
    {
        FrameWidget widget;
        QVERIFY(shows(&widget));
        PaintCounter paints(widget.osdWidget);
        const auto painted = [&] {
            const bool settled = settle();
            const int count = paints.count;
            paints.count = 0;
            return settled && count > 0;
        };
        widget.setGraph(graphRect("a", Qt::red));
        QVERIFY(painted());
        widget.appendGraph(graphRect("a", Qt::green));
        QVERIFY(painted());
        widget.setGraph(graphRect("a", Qt::blue));
        QVERIFY(!painted());
        QCOMPARE(widget.graphList.items().at(0).borderColor, QColor(Qt::blue));
        QCOMPARE(widget.graphList.items().at(1).borderColor, QColor(Qt::green));
        widget.removeGraph(QStringLiteral("unknown"));
        QVERIFY(painted());
        widget.removeGraph(QStringLiteral("a"));
        QVERIFY(painted());
        QCOMPARE(widget.graphList.items().size(), 1);
        widget.clearGraph();
        QVERIFY(painted());
        QVERIFY(widget.graphList.items().isEmpty());
    }

    void clear_forgetsPictureOverlaysAndZoom()
    {
        FrameWidget widget;
        auto *d3d9 = new FakeD3D9(widget.hwndWidget);
        auto *yuv = new FakeYuv(widget.hwndWidget);
        widget.nv12D3D9Widget = d3d9;
        widget.yuvWidget = yuv;
        widget.zoom.on = true;
        widget.zoom.dragging = true;
        widget.zoom.sourceRect = QRectF(0, 0, 10, 10);
        widget.zoom.zoomRect = QRectF(1, 1, 5, 5);
        widget.videoWidth = 10;
        widget.videoHeight = 10;
        widget.image = colouredImage(10, 10, Qt::red);
        widget.appendOsd(osdText("a", "1"));
        widget.appendGraph(graphRect("a", Qt::red));
        widget.clear();
        QVERIFY(!widget.isDigitalZoom());
        QCOMPARE(widget.videoWidth, 0);
        QCOMPARE(widget.videoHeight, 0);
        QVERIFY(widget.osdList.items().isEmpty() && widget.graphList.items().isEmpty());
        QVERIFY(widget.zoom.zoomRect.isNull());
        QVERIFY(widget.image.isNull());
        QCOMPARE(widget.zoom.sourceRect, QRectF(0, 0, 10, 10));
        QVERIFY(widget.zoom.dragging);
        QCOMPARE(d3d9->calls, QStringList(QStringLiteral("clear")));
        QVERIFY(yuv->calls.isEmpty());
    }

    void paint_takesUnchosenColoursFromThePalette_forGood()
    {
        FrameWidget widget;
        QPalette palette = widget.palette();
        palette.setColor(QPalette::Shadow, QColor(1, 2, 3));
        palette.setColor(QPalette::WindowText, QColor(4, 5, 6));
        widget.setPalette(palette);
        QVERIFY(shows(&widget));
        QCOMPARE(widget.getBorderColor(), widget.palette().color(QPalette::Shadow));
        QCOMPARE(widget.getTextColor(), widget.palette().color(QPalette::WindowText));
        QCOMPARE(widget.getBorderColor(), QColor(1, 2, 3));
        palette.setColor(QPalette::Shadow, Qt::red);
        widget.setPalette(palette);
        QVERIFY(settle());
        QCOMPARE(widget.getBorderColor(), QColor(1, 2, 3));
    }

    void paint_ofOtherWidgets_isLeftAlone()
    {
        FrameWidget widget;
        QEvent paint(QEvent::Paint);
        QEvent move(QEvent::Move);
        QVERIFY(!widget.eventFilter(widget.hwndWidget, &paint));
        QVERIFY(!widget.eventFilter(widget.osdWidget, &move));
        QVERIFY(!widget.eventFilter(nullptr, &paint));
        QVERIFY(!widget.eventFilter(widget.osdWidget, nullptr));
        QCOMPARE(widget.getBorderColor(), QColor(Qt::transparent)); // nothing was painted
    }

    void border_hasTheColourOfTheFocus()
    {
        FrameWidget widget;
        widget.resize(100, 80);
        WidgetPara para;
        para.borderWidth = 8;
        para.borderColor = Qt::red;
        para.focusColor = Qt::green;
        para.bgColor = Qt::blue;
        para.bgText.clear();
        para.videoMode = VideoMode_Painter;
        widget.setWidgetPara(para);
        QVERIFY(shows(&widget));
        widget.clearFocus();
        QCOMPARE(pixel(&widget, 1, 40), QColor(Qt::red));
        QCOMPARE(pixel(&widget, 50, 40), QColor(Qt::blue));
        QVERIFY(!hasColor(&widget, Qt::green));
        widget.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&widget));
        widget.setFocus();
        QCOMPARE(pixel(&widget, 1, 40), QColor(Qt::green));
        widget.setBorderWidth(0);
        QCOMPARE(pixel(&widget, 1, 40), QColor(Qt::blue));
    }

    void background_isShown_whileThereIsNoVideo()
    {
        FrameWidget widget;
        widget.resize(100, 80);
        WidgetPara para;
        para.bgImage = colouredImage(20, 10, Qt::red);
        para.videoMode = VideoMode_Painter;
        widget.setWidgetPara(para);
        QVERIFY(shows(&widget));
        QCOMPARE(pixel(&widget, 50, 40), QColor(Qt::red));
        QCOMPARE(pixel(&widget, 10, 40), QColor(Qt::black));
        widget.videoWidth = 1; // a picture has been seen
        QCOMPARE(pixel(&widget, 50, 40), QColor(Qt::black));
        widget.videoWidth = 0;
        for (const auto mode : {VideoMode_Opengl, VideoMode_D3D9, VideoMode_D3D11}) {
            widget.renderMode = mode;
            QCOMPARE(pixel(&widget, 50, 40), QColor(Qt::black));
        }
        widget.renderMode = VideoMode_Hwnd;
        QCOMPARE(pixel(&widget, 50, 40), QColor(Qt::red));

        para.bgImage = QImage();
        para.textColor = Qt::yellow;
        para.bgTextSize = 40;
        para.bgText = QStringLiteral("MM");
        widget.setWidgetPara(para);
        QVERIFY(hasColor(&widget, Qt::yellow));
        widget.setBgTextSize(0);
        widget.setBgTextSize(-3);
        QVERIFY(!widget.grab().isNull());
    }

    void picture_isDrawnWithItsGraphs()
    {
        PlainWidget widget(ScaleMode_Fill);
        QVERIFY(shows(&widget));
        widget.image = colouredImage(100, 80, Qt::blue);
        widget.zoom.sourceRect = QRectF(widget.image.rect());
        widget.appendGraph(graphRect("g", Qt::red));
        QCOMPARE(pixel(&widget, 90, 70), QColor(Qt::blue));
        QCOMPARE(pixel(&widget, 10, 20), QColor(Qt::red));
        QCOMPARE(widget.image.pixelColor(10, 20), QColor(Qt::red)); // burnt into the picture
        QCOMPARE(widget.zoom.zoomRect, QRectF(0, 0, 100, 80));
    }

    void zoomedPicture_isItsPart()
    {
        PlainWidget widget(ScaleMode_Fill);
        QVERIFY(shows(&widget));
        widget.image = colouredImage(100, 80, Qt::blue);
        for (int y = 0; y < 40; ++y) {
            for (int x = 0; x < 50; ++x)
                widget.image.setPixelColor(x, y, Qt::red);
        }
        widget.zoom.sourceRect = QRectF(widget.image.rect());
        widget.setDigitalZoom(true);
        QCOMPARE(pixel(&widget, 90, 70), QColor(Qt::blue)); // no part chosen: the whole
        widget.zoom.zoomRect = QRectF(0, 0, 50, 40);
        QCOMPARE(pixel(&widget, 90, 70), QColor(Qt::red));
        widget.setDigitalZoom(false);
        QCOMPARE(pixel(&widget, 90, 70), QColor(Qt::blue));
    }

    void osd_isDrawn_onlyOverPaintedVideo()
    {
        PlainWidget widget;
        QVERIFY(shows(&widget));
        widget.appendOsd(osdPicture("a", Qt::red));
        QCOMPARE(pixel(&widget, 8, 8), QColor(Qt::red));
        widget.onlyAudio = true;
        QVERIFY(!hasColor(&widget, Qt::red));
        widget.onlyAudio = false;
        widget.setVideoMode(VideoMode_Hwnd);
        widget.osdWidget->setVisible(true); // even by hand
        QVERIFY(!hasColor(&widget, Qt::red));
        widget.setVideoMode(VideoMode_Opengl);
        QCOMPARE(pixel(&widget, 8, 8), QColor(Qt::red));
    }

    void osd_withAnUnknownPosition_standsWhereTheOneBeforeIt()
    {
        PlainWidget widget;
        QVERIFY(shows(&widget));
        OsdInfo before = osdPicture("a", Qt::red);
        before.position = OsdPosition_Custom;
        before.point = QPoint(40, 30);
        OsdInfo unknown = osdPicture("b", Qt::green);
        unknown.position = OsdPosition(77);
        widget.appendOsd(before);
        widget.appendOsd(unknown);
        QCOMPARE(pixel(&widget, 45, 35), QColor(Qt::green));
    }

    // --- Layout ---------------------------------------------------------------------------------

    void resize_asksTheThread()
    {
        FrameWidget widget;
        widget.resize(400, 300);
        FakeThread thread;
        thread.setPicture(64, 32, 180, true);
        thread.setHardware(QStringLiteral("dxva2"));
        widget.videoThread = &thread;
        widget.resizeEvent(nullptr);
        QCOMPARE(widget.videoWidth, 64);
        QCOMPARE(widget.videoHeight, 32);
        QCOMPARE(widget.rotate, 180);
        QVERIFY(widget.onlyAudio);
        QCOMPARE(widget.hardware, QStringLiteral("dxva2"));
    }

    void layout_followsScaleModeBorderAndRotation_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("border");
        QTest::addColumn<int>("rotate");
        QTest::addColumn<QRect>("expected");
        QTest::newRow("small stays") << 0 << 0 << 0 << QRect(149, 125, 100, 50);
        QTest::newRow("aspect grows") << 1 << 0 << 0 << QRect(-1, 49, 400, 200);
        QTest::newRow("fill is exact") << 2 << 0 << 0 << QRect(0, 0, 400, 300);
        QTest::newRow("fill with border") << 2 << 10 << 0 << QRect(5, 5, 390, 290);
        QTest::newRow("90 swaps") << 0 << 0 << 90 << QRect(175, 99, 50, 100);
        QTest::newRow("270 does not") << 0 << 0 << 270 << QRect(149, 125, 100, 50);
        QTest::newRow("-1 does not") << 0 << 0 << -1 << QRect(149, 125, 100, 50);
    }
    void layout_followsScaleModeBorderAndRotation()
    {
        QFETCH(int, mode);
        QFETCH(int, border);
        QFETCH(int, rotate);
        QFETCH(QRect, expected);
        FrameWidget widget;
        widget.resize(400, 300);
        widget.setScaleMode(ScaleMode(mode));
        widget.setBorderWidth(border);
        widget.videoWidth = 100;
        widget.videoHeight = 50;
        widget.rotate = rotate;
        widget.resizeEvent(nullptr);
        QCOMPARE(widget.targetRect, expected);
        QCOMPARE(widget.hwndWidget->geometry(), expected);
        QCOMPARE(widget.osdWidget->geometry(), QRect(0, 0, 400, 300));
        if (mode != ScaleMode_Fill || border != 0)
            QVERIFY(widget.targetRect.x() % 2 != 0 && widget.targetRect.y() % 2 != 0);
    }

    void banner_liesAtItsEdge_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<QRect>("expected");
        QTest::newRow("top") << 0 << QRect(3, 3, 394, 30);
        QTest::newRow("bottom") << 1 << QRect(3, 267, 394, 30);
        QTest::newRow("left") << 2 << QRect(3, 3, 30, 294);
        QTest::newRow("right") << 3 << QRect(367, 3, 30, 294);
        QTest::newRow("unknown") << 4 << QRect(1, 2, 33, 44);
    }
    void banner_liesAtItsEdge()
    {
        QFETCH(int, position);
        QFETCH(QRect, expected);
        FrameWidget widget;
        widget.resize(400, 300);
        WidgetPara para;
        para.borderWidth = 7;
        para.bannerSize = 30;
        para.bannerPosition = position;
        widget.setWidgetPara(para);
        widget.bannerWidget->setGeometry(1, 2, 33, 44);
        widget.resizeEvent(nullptr);
        QCOMPARE(widget.bannerWidget->geometry(), expected);
    }

    void layout_resetsTheDirect3D9SurfaceOnly()
    {
        FrameWidget widget;
        widget.resize(400, 300);
        widget.setScaleMode(ScaleMode_Fill);
        widget.setBorderWidth(10);
        auto *d3d9 = new FakeD3D9(widget.hwndWidget);
        auto *yuv = new FakeYuv(widget.hwndWidget);
        auto *d3d11 = new FakeD3D11(widget.hwndWidget);
        const QRect elsewhere(5, 6, 7, 8);
        for (QWidget *surface : {static_cast<QWidget *>(d3d9), static_cast<QWidget *>(yuv),
                                 static_cast<QWidget *>(d3d11)})
            surface->setGeometry(elsewhere);
        widget.nv12D3D9Widget = d3d9;
        widget.yuvWidget = yuv;
        widget.nv12D3D11Widget = d3d11;
        widget.resizeEvent(nullptr);
        QCOMPARE(d3d9->calls, QStringList(QStringLiteral("clear")));
        QCOMPARE(d3d9->geometry(), QRect(0, 0, 390, 290));
        QCOMPARE(yuv->geometry(), elsewhere);
        QCOMPARE(d3d11->geometry(), elsewhere);
    }

    void layout_bearsAbsurdSizes_data()
    {
        QTest::addColumn<QSize>("picture");
        const int most = std::numeric_limits<int>::max();
        const int least = std::numeric_limits<int>::min();
        QTest::newRow("huge") << QSize(most, most);
        QTest::newRow("negative") << QSize(-5, -5);
        QTest::newRow("least") << QSize(least, least);
        QTest::newRow("flat") << QSize(most, 0);
    }
    void layout_bearsAbsurdSizes()
    {
        QFETCH(QSize, picture);
        for (const auto mode : {ScaleMode_Auto, ScaleMode_Aspect, ScaleMode_Fill}) {
            FrameWidget widget;
            widget.resize(100, 100);
            widget.setVideoMode(VideoMode_Painter);
            widget.setScaleMode(mode);
            widget.videoWidth = picture.width();
            widget.videoHeight = picture.height();
            widget.resizeEvent(nullptr);
            QVERIFY(!widget.grab().isNull());
            widget.image = colouredImage(8, 8, Qt::red);
            widget.onUpdateCodecRender(QStringLiteral("H264"), picture.width(), picture.height());
            widget.setDigitalZoom(true);
            QVERIFY(!widget.grab().isNull());
        }
    }
};

QTEST_MAIN(tst_VideoWidgetLayout)
#include "tst_videowidgetlayout.moc"
