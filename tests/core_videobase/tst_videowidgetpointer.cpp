// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Pointer, wheel and digital zoom as the video widget wires them to its layers.

#include "support/loggedtest.h"
#include "videowidgetfakes.h"

#include <QLabel>
#include <QtTest>

#include <limits>

using namespace videowidgetfakes;

class tst_VideoWidgetPointer : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void drag_movesTheView_andReachesTheSurface()
    {
        FrameWidget widget;
        widget.resize(100, 100);
        auto *d3d9 = new FakeD3D9(widget.hwndWidget);
        widget.nv12D3D9Widget = d3d9;
        widget.zoom.sourceRect = QRectF(0, 0, 200, 200);
        widget.zoom.zoomRect = QRectF(50, 50, 100, 100);
        widget.setDigitalZoom(true);
        QVERIFY(widget.isDigitalZoom());
        QVERIFY(d3d9->calls.isEmpty()); // switching on waits for the first step

        QTest::mousePress(&widget, Qt::RightButton, Qt::NoModifier, QPoint(10, 10));
        QVERIFY(!widget.zoom.dragging);
        QTest::mousePress(&widget, Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
        QVERIFY(widget.zoom.dragging);
        QMouseEvent move(QEvent::MouseMove, QPointF(20, 30), Qt::LeftButton, Qt::LeftButton,
                         Qt::NoModifier);
        widget.mouseMoveEvent(&move);
        QCOMPARE(widget.zoom.zoomRect, QRectF(40, 30, 100, 100));
        QCOMPARE(d3d9->calls, QStringList({QStringLiteral("zoomRect"), QStringLiteral("zoom 1")}));
        QCOMPARE(d3d9->zoomRect, QRectF(40, 30, 100, 100));

        QTest::mouseRelease(&widget, Qt::LeftButton, Qt::NoModifier, QPoint(20, 30));
        QVERIFY(!widget.zoom.dragging);
        QMouseEvent later(QEvent::MouseMove, QPointF(50, 50), Qt::NoButton, Qt::NoButton,
                          Qt::NoModifier);
        widget.mouseMoveEvent(&later);
        QCOMPARE(widget.zoom.zoomRect, QRectF(40, 30, 100, 100));

        d3d9->calls.clear();
        widget.setDigitalZoom(false);
        QCOMPARE(d3d9->calls, QStringList(QStringLiteral("zoom 0")));
    }

    void drag_pastTheEdge_isRefusedWhole()
    {
        FrameWidget widget;
        widget.resize(100, 100);
        auto *d3d9 = new FakeD3D9(widget.hwndWidget);
        widget.nv12D3D9Widget = d3d9;
        widget.zoom.sourceRect = QRectF(0, 0, 200, 200);
        widget.zoom.zoomRect = QRectF(99, 50, 100, 100);
        widget.setDigitalZoom(true);
        QTest::mousePress(&widget, Qt::LeftButton, Qt::NoModifier, QPoint(50, 50));
        QMouseEvent move(QEvent::MouseMove, QPointF(40, 60), Qt::LeftButton, Qt::LeftButton,
                         Qt::NoModifier);
        widget.mouseMoveEvent(&move);
        QCOMPARE(widget.zoom.zoomRect, QRectF(99, 50, 100, 100));
        QCOMPARE(widget.zoom.lastMousePos, QPoint(40, 60));
        QVERIFY(d3d9->calls.isEmpty());
    }

    void wheel_zoomsWhileZoomIsOn()
    {
        FrameWidget widget;
        widget.resize(100, 100);
        auto *d3d9 = new FakeD3D9(widget.hwndWidget);
        widget.nv12D3D9Widget = d3d9;
        widget.zoom.sourceRect = QRectF(0, 0, 360, 360);
        widget.zoom.zoomRect = QRectF(0, 0, 360, 360);
        const auto turn = [&widget](int angle) {
            QWheelEvent event(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(0, angle),
                              Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
            event.accept();
            widget.wheelEvent(&event);
            return event.isAccepted();
        };
        QVERIFY(!turn(120)); // the base class ignores it
        QCOMPARE(widget.zoom.zoomRect, QRectF(0, 0, 360, 360));

        widget.setDigitalZoom(true);
        QVERIFY(turn(80)); // ten degrees take 1/360 off each side
        QCOMPARE(widget.zoom.zoomRect, QRectF(1, 1, 358, 358));
        QCOMPARE(d3d9->calls, QStringList({QStringLiteral("zoomRect"), QStringLiteral("zoom 1")}));
        QVERIFY(turn(-8000)); // out: clipped to the picture
        QCOMPARE(widget.zoom.zoomRect, QRectF(0, 0, 360, 360));

        widget.zoom.zoomRect = QRectF(0, 0, 90, 200); // a quarter in one axis is the limit
        d3d9->calls.clear();
        QVERIFY(turn(80));
        QCOMPARE(widget.zoom.zoomRect, QRectF(0, 0, 90, 200));
        QVERIFY(d3d9->calls.isEmpty());

        widget.zoom.zoomRect = QRectF();
        QVERIFY(!turn(-80)); // nothing to zoom: left to the base class
    }

    void mouse_reachesTheBaseClass_zoomedOrNot()
    {
        FrameWidget widget;
        widget.resize(100, 100);
        widget.zoom.sourceRect = QRectF(0, 0, 200, 200);
        widget.zoom.zoomRect = QRectF(50, 50, 100, 100);
        const auto leavesToTheParent = [&widget](auto handler, QEvent::Type type) {
            QMouseEvent event(type, QPointF(20, 30), Qt::LeftButton, Qt::LeftButton,
                              Qt::NoModifier);
            event.accept();
            (widget.*handler)(&event);
            return !event.isAccepted(); // as the base class does
        };
        for (const bool on : {false, true}) {
            widget.setDigitalZoom(on);
            QVERIFY(leavesToTheParent(&FrameWidget::mousePressEvent, QEvent::MouseButtonPress));
            QVERIFY(leavesToTheParent(&FrameWidget::mouseMoveEvent, QEvent::MouseMove));
            QVERIFY(leavesToTheParent(&FrameWidget::mouseReleaseEvent, QEvent::MouseButtonRelease));
        }
    }

    void enter_showsTheBanner_onlyOverVideo()
    {
        FrameWidget widget;
        WidgetPara para;
        para.bannerEnable = true;
        para.banner.text = QStringLiteral("cam 1");
        widget.setWidgetPara(para);
        const auto entered = [&widget] {
            QEvent enter(QEvent::Enter);
            QEvent leave(QEvent::Leave);
            widget.enterEvent(&enter);
            const bool shown = !widget.bannerWidget->isHidden();
            widget.leaveEvent(&leave);
            return shown && widget.bannerWidget->isHidden();
        };
        widget.isRunning = true;
        widget.videoWidth = 1;
        QVERIFY(entered());
        const auto *label = widget.bannerWidget->findChild<QLabel *>();
        QVERIFY(label);
        QCOMPARE(label->text(), QStringLiteral("cam 1"));

        widget.isRunning = false;
        QVERIFY(!entered());
        widget.isRunning = true;
        widget.onlyAudio = true;
        QVERIFY(!entered());
        widget.onlyAudio = false;
        widget.videoWidth = 0;
        QVERIFY(!entered());
        widget.videoWidth = 1;
        para.bannerEnable = false;
        widget.setWidgetPara(para);
        QVERIFY(!entered());
    }

    void enter_setsTheZoomCursor_untilLeave()
    {
        QWidget window;
        FrameWidget widget(&window);
        QEvent enter(QEvent::Enter);
        QEvent leave(QEvent::Leave);
        widget.enterEvent(&enter);
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
        widget.setDigitalZoom(true);
        widget.enterEvent(&enter);
        QVERIFY(widget.testAttribute(Qt::WA_SetCursor));
        QCOMPARE(widget.cursor().pixmap().size(), QSize(20, 20));
        QCOMPARE(widget.cursor().hotSpot(), QPoint(10, 10)); // the middle
        widget.leaveEvent(&leave);
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
    }

    void nullEvents_doNoHarm()
    {
        FrameWidget widget;
        widget.setDigitalZoom(true);
        widget.mousePressEvent(nullptr);
        widget.mouseMoveEvent(nullptr);
        widget.mouseReleaseEvent(nullptr);
        widget.wheelEvent(nullptr);
        widget.enterEvent(nullptr);
        widget.leaveEvent(nullptr);
        widget.resizeEvent(nullptr);
        widget.closeEvent(nullptr);
        widget.dragEnterEvent(nullptr);
        widget.dropEvent(nullptr);
    }
};

QTEST_MAIN(tst_VideoWidgetPointer)
#include "tst_videowidgetpointer.moc"
