// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Choice of the render path by the video card, and the layers that it shows, on real windows.

#include "framestage.h"
#include "support/loggedtest.h"
#include "support/scriptedcard.h"

#include <QtTest>

using namespace videowidgetfakes;
using vantratest::ScriptedCard;

namespace {

const QString kNoDirect3D = QStringLiteral("(hwdslt)Failed to create Direct3D9.");

bool lies(const QWidget &parent, QWidget *below, QWidget *above)
{
    return parent.children().indexOf(below) < parent.children().indexOf(above);
}

} // namespace

class tst_RenderPath : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void codec_leavesTheModeAlone_withoutAWishForHardware()
    {
        Stage stage;
        stage.widget.setVideoMode(VideoMode_Opengl);
        stage.thread.setVideoMode(VideoMode_D3D11);
        stage.thread.setHardware(QStringLiteral("kept"));
        ScriptedCard card;
        card.decodes.append({"H264", QSize(640, 360)});
        stage.widget.onUpdateCodecRender(QStringLiteral("H264"), 640, 360);
        QVERIFY(card.asked().isEmpty());
        QCOMPARE(stage.widget.renderMode, VideoMode_Opengl);
        QCOMPARE(stage.widget.hardware, QStringLiteral("none"));
        QCOMPARE(stage.thread.getVideoMode(), VideoMode_D3D11);
        QCOMPARE(stage.thread.getHardware(), QStringLiteral("kept"));
        QCOMPARE(stage.widget.zoom.sourceRect, QRectF(0, 0, 640, 360));
        QCOMPARE(stage.widget.zoom.zoomRect, QRectF(0, 0, 640, 360));
    }

    void grantedHardware_endsOnDirect3D9()
    {
        ScriptedCard card;
        card.decodes.append({"H264", QSize(42, 40)});
        Stage stage;
        stage.plantSurfaces();
        VideoPara wish;
        wish.hardware = QStringLiteral("anything");
        stage.widget.setVideoPara(wish);
        stage.widget.setVideoMode(VideoMode_Opengl);
        stage.thread.setVideoMode(VideoMode_Opengl);
        stage.thread.setPicture(42, 40, 0, false);
        QVERIFY(stage.show());

        stage.widget.onUpdateCodecRender(QStringLiteral("H264"), 42, 40);
        QCOMPARE(card.asked(), QList<QList<QSize>>({{QSize(42, 40)}}));
        QCOMPARE(stage.widget.renderMode, VideoMode_D3D9);
        QCOMPARE(stage.widget.getWidgetPara().videoMode, VideoMode_Opengl);
        QCOMPARE(stage.widget.getVideoPara().hardware, QStringLiteral("anything"));
        QCOMPARE(stage.widget.hardware, QStringLiteral("dxva2"));
        QCOMPARE(stage.thread.getVideoMode(), VideoMode_D3D9);
        QCOMPARE(stage.thread.getHardware(), QStringLiteral("dxva2"));
        QCOMPARE(stage.widget.zoom.sourceRect, QRectF(0, 0, 42, 40));
        QCOMPARE(stage.widget.zoom.zoomRect, QRectF(0, 0, 42, 40));

        stage.widget.receivePlayStart(0);
        stage.widget.receiveRenderStart();
        QVERIFY(stage.widget.hwndWidget->isVisible());
        QVERIFY(!stage.widget.osdWidget->isVisible());
        QVERIFY(stage.d3d9->isVisible());
        stage.forgetCalls();
        emit stage.thread.receiveFrame(42, 40, &planeY, true);
        QCOMPARE(stage.d3d9->calls.size(), 1);
        QCOMPARE(stage.surfaceCalls(), stage.d3d9->calls); // and no other surface

        // The same thread in a form that the card cannot decode, and back.
        stage.widget.onUpdateCodecRender(QStringLiteral("H265"), 42, 40);
        QCOMPARE(stage.widget.renderMode, VideoMode_Painter);
        QCOMPARE(stage.thread.getHardware(), QStringLiteral("none"));
        stage.widget.onUpdateCodecRender(QStringLiteral("H264"), 42, 40);
        QCOMPARE(stage.widget.renderMode, VideoMode_D3D9);
        QCOMPARE(stage.thread.getHardware(), QStringLiteral("dxva2"));
        QCOMPARE(card.asked().size(), 2); // both answers are kept
    }

    void grantedHardware_withoutAThread_changesTheWidgetOnly()
    {
        ScriptedCard card;
        card.decodes.append({"H265", QSize(44, 40)});
        FrameWidget widget;
        VideoPara wish;
        wish.hardware = QStringLiteral("dxva2");
        widget.setVideoPara(wish);
        widget.setVideoMode(VideoMode_Painter);
        widget.onUpdateCodecRender(QStringLiteral("H265"), 44, 40);
        QCOMPARE(widget.renderMode, VideoMode_D3D9);
        QCOMPARE(widget.hardware, QStringLiteral("dxva2"));
    }

    void refusedHardware_endsOnTheImagePath_withOverlays()
    {
        ScriptedCard card; // decodes nothing
        Stage stage;
        VideoPara wish;
        wish.hardware = QStringLiteral("dxva2");
        stage.widget.setVideoPara(wish);
        stage.widget.setVideoMode(VideoMode_D3D9);
        stage.thread.setVideoMode(VideoMode_D3D9);
        stage.thread.setHardware(QStringLiteral("dxva2"));
        stage.thread.setPicture(40, 40, 0, false);
        QVERIFY(stage.show());

        stage.widget.onUpdateCodecRender(QStringLiteral("H265"), 40, 40);
        QCOMPARE(stage.widget.renderMode, VideoMode_Painter);
        QCOMPARE(stage.widget.getWidgetPara().videoMode, VideoMode_D3D9);
        QCOMPARE(stage.widget.hardware, QStringLiteral("none"));
        QCOMPARE(stage.thread.getVideoMode(), VideoMode_Painter);
        QCOMPARE(stage.thread.getHardware(), QStringLiteral("none"));
        stage.widget.receivePlayStart(0);
        stage.widget.receiveRenderStart();
        QVERIFY(!stage.widget.hwndWidget->isVisible());
        QVERIFY(stage.widget.osdWidget->isVisible());
        QVERIFY(!stage.widget.nv12D3D9Widget);

        emit stage.thread.receiveImage(colouredImage(40, 40, Qt::blue), 0);
        OsdInfo osd;
        osd.name = QStringLiteral("osd");
        osd.visible = true;
        osd.format = OsdFormat_Image;
        osd.image = colouredImage(10, 10, Qt::red);
        stage.widget.appendOsd(osd);
        const QImage shown = stage.widget.grab().toImage();
        QCOMPARE(shown.pixelColor(stage.widget.rect().center()), QColor(Qt::blue));
        QCOMPARE(shown.pixelColor(8, 8), QColor(Qt::red));
    }

    void hardware_isRefused_onThisSystem()
    {
        // Without DXVA2, which the log tells once for each form.
        log->expect(Logger::Error, kNoDirect3D);
        FrameWidget widget;
        VideoPara wish;
        wish.hardware = QStringLiteral("dxva2");
        widget.setVideoPara(wish);
        for (int i = 0; i < 2; ++i) {
            widget.setVideoMode(i ? VideoMode_D3D9 : VideoMode_D3D11);
            widget.onUpdateCodecRender(QStringLiteral("H264"), 48, 40);
            QCOMPARE(widget.renderMode, VideoMode_Painter);
            QCOMPARE(widget.hardware, QStringLiteral("none"));
        }
        QCOMPARE(log->count(Logger::Error, kNoDirect3D), 1);
    }

    void refusedHardware_withoutAThread_changesTheWidgetOnly()
    {
        ScriptedCard card;
        FrameWidget widget;
        VideoPara wish;
        wish.hardware = QStringLiteral("anything");
        widget.setVideoPara(wish);
        widget.setVideoMode(VideoMode_D3D11);
        widget.onUpdateCodecRender(QStringLiteral("H264"), 1920, 1080);
        QCOMPARE(widget.renderMode, VideoMode_Painter);
        QCOMPARE(widget.hardware, QStringLiteral("none"));
        QCOMPARE(widget.zoom.sourceRect, QRectF(0, 0, 1920, 1080));
    }

    void refusalAfterPlayStart_leavesAnEmptySurface_untilTheEndOfPlay()
    {
        ScriptedCard card;
        Stage stage;
        stage.plantSurfaces();
        VideoPara wish;
        wish.hardware = QStringLiteral("dxva2");
        stage.widget.setVideoPara(wish);
        stage.widget.setVideoMode(VideoMode_D3D9);
        stage.thread.setHardware(QStringLiteral("dxva2"));
        QVERIFY(stage.show());
        stage.d3d9->hide();
        stage.widget.receivePlayStart(0);
        QVERIFY(stage.d3d9->isVisible()); // the wish still stands
        QVERIFY(stage.d3d9->calls.contains(QStringLiteral("clear")));
        stage.widget.onUpdateCodecRender(QStringLiteral("H265"), 40, 40);
        stage.widget.receiveRenderStart();
        QVERIFY(stage.widget.nv12D3D9Widget);
        QVERIFY(!stage.d3d9->isVisible());
        QVERIFY(lies(stage.widget, stage.widget.hwndWidget, stage.widget.osdWidget));
        stage.widget.receivePlayFinsh(&stage.thread);
        QVERIFY(!stage.widget.nv12D3D9Widget);
    }

    void direct3D9_withoutHardware_staysBlack()
    {
        Stage stage;
        stage.widget.setVideoMode(VideoMode_D3D9);
        stage.thread.setVideoMode(VideoMode_D3D9);
        QVERIFY(stage.show());
        stage.widget.onUpdateCodecRender(QStringLiteral("H264"), 40, 40);
        stage.widget.receivePlayStart(0);
        stage.widget.receiveRenderStart();
        QVERIFY(!stage.widget.nv12D3D9Widget);
        stage.emitFrames(stage.thread, 40, 40); // a form for which there is no surface
        const QImage shown = stage.widget.grab().toImage();
        for (int y = 0; y < shown.height(); ++y) {
            for (int x = 0; x < shown.width(); ++x)
                QCOMPARE(shown.pixelColor(x, y), QColor(Qt::black));
        }
    }

    void renderStart_ordersAndShowsTheLayers_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("osdAbove");
        QTest::newRow("none") << int(VideoMode_Hwnd) << false;
        QTest::newRow("painter") << int(VideoMode_Painter) << true;
        QTest::newRow("opengl") << int(VideoMode_Opengl) << false;
        QTest::newRow("d3d9") << int(VideoMode_D3D9) << false;
        QTest::newRow("d3d11") << int(VideoMode_D3D11) << false;
        QTest::newRow("unknown") << 5 << true;
    }
    void renderStart_ordersAndShowsTheLayers()
    {
        QFETCH(int, mode);
        QFETCH(bool, osdAbove);
        Stage stage;
        FrameWidget &widget = stage.widget;
        QVERIFY(stage.show());
        widget.image = colouredImage(4, 4, Qt::red);
        widget.renderMode = VideoMode(mode);
        if (osdAbove)
            widget.osdWidget->stackUnder(widget.hwndWidget);
        widget.initWidgetHandle();
        QCOMPARE(lies(widget, widget.hwndWidget, widget.osdWidget), osdAbove);
        QVERIFY(!widget.image.isNull()); // only the order changes
        QVERIFY(widget.hwndWidget->isVisible() && widget.osdWidget->isVisible());

        widget.receiveRenderStart();
        QCOMPARE(lies(widget, widget.hwndWidget, widget.osdWidget), osdAbove);
        QVERIFY(lies(widget, widget.hwndWidget, widget.bannerWidget));
        QVERIFY(lies(widget, widget.osdWidget, widget.bannerWidget));
        QCOMPARE(widget.hwndWidget->isVisible(), mode != VideoMode_Painter);
        QCOMPARE(widget.osdWidget->isVisible(), mode == VideoMode_Painter);
        QVERIFY(widget.image.isNull());
    }

    void renderStart_handsTheZoomToTheSurface_whileZoomIsOn()
    {
        Stage stage;
        stage.plantSurfaces();
        stage.widget.zoom.zoomRect = QRectF(1, 2, 3, 4);
        stage.widget.receiveRenderStart();
        QVERIFY(stage.d3d9->calls.isEmpty());
        stage.widget.setDigitalZoom(true);
        stage.widget.receiveRenderStart();
        QCOMPARE(stage.d3d9->calls, QStringList(QStringLiteral("zoomRect")));
        QCOMPARE(stage.d3d9->zoomRect, QRectF(1, 2, 3, 4));
    }

    void destroyedDecoder_isLetGoOf()
    {
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        emit stage.thread.receiveImage(colouredImage(4, 4, Qt::red), 0);
        PaintCounter paints(stage.widget.osdWidget);
        stage.widget.onDecoderDestroyed();
        QVERIFY(stage.widget.image.isNull());
        QCOMPARE(stage.widget.zoom.sourceRect, QRectF(QImage().rect()));
        QVERIFY(stage.widget.zoom.sourceRect.isEmpty());
        QCOMPARE(stage.d3d9->calls, QStringList(QStringLiteral("clear")));
        QVERIFY(stage.yuv->calls.isEmpty() && stage.nv12->calls.isEmpty());
        QVERIFY(stage.d3d11->calls.isEmpty());
        QVERIFY(settle());
        QVERIFY(paints.count > 0);
    }
};

QTEST_MAIN(tst_RenderPath)
#include "tst_renderpath.moc"
