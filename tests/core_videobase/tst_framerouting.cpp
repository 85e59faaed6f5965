// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The way of a frame from a thread's signal to its surface, on real windows.

#include "framestage.h"
#include "support/loggedtest.h"

#include <QSignalSpy>
#include <QtTest>

#include <limits>

using namespace videowidgetfakes;
using vantratest::waitFor;

namespace {

const QStringList kFourClears{QStringLiteral("clear"), QStringLiteral("clear"),
                              QStringLiteral("clear"), QStringLiteral("clear")};

/// Writes down what happens to it.
template<typename Surface>
class TellingSurface : public Surface
{
public:
    TellingSurface(QWidget *parent, QStringList &log) : Surface(parent), log(log) {}
    ~TellingSurface() override { log << QStringLiteral("deleted"); }
    void clear() override { log << QStringLiteral("clear"); }

protected:
    bool event(QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::Show:
            log << QStringLiteral("show");
            break;
        case QEvent::Hide:
            log << QStringLiteral("hide");
            break;
        case QEvent::Close:
            log << QStringLiteral("close");
            break;
        default:
            break;
        }
        return Surface::event(event);
    }

private:
    QStringList &log;
};

} // namespace

class tst_FrameRouting : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    // --- Frames ---------------------------------------------------------------------------------

    void frame_goesToItsSurface_asItIs()
    {
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        stage.emitFrames(stage.thread, 64, 48);
        QCOMPARE(stage.yuv->calls, QStringList(QStringLiteral("frame 64x48 64 32 33")));
        QCOMPARE(stage.yuv->planes, QList<quint8 *>({&planeY, &planeU, &planeV}));
        QCOMPARE(stage.nv12->calls, QStringList(QStringLiteral("frame 64x48 65 66")));
        QCOMPARE(stage.nv12->planes, QList<quint8 *>({&planeY, &planeU}));
        QCOMPARE(stage.d3d9->calls, QStringList(QStringLiteral("frame 64x48 1")));
        QCOMPARE(stage.d3d9->data, &planeY);
        QCOMPARE(stage.d3d11->calls, QStringList(QStringLiteral("frame 64x48 [7] 1")));
        QCOMPARE(stage.d3d11->data, &planeY);
    }

    void frame_setsTheZoomRectangles_data()
    {
        QTest::addColumn<int>("form");
        QTest::newRow("planar") << 0;
        QTest::newRow("nv12") << 1;
        QTest::newRow("d3d9") << 2;
        QTest::newRow("d3d11") << 3;
    }
    void frame_setsTheZoomRectangles()
    {
        QFETCH(int, form);
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        const auto send = [&](int width, int height) {
            if (form == 0)
                emit stage.thread.receiveFrame(width, height, &planeY, &planeU, &planeV, 1u, 1u,
                                               1u);
            else if (form == 1)
                emit stage.thread.receiveFrame(width, height, &planeY, &planeU, 1u, 1u);
            else if (form == 2)
                emit stage.thread.receiveFrame(width, height, &planeY, false);
            else
                emit stage.thread.receiveFrame(width, height, &planeY, 0, false);
        };
        send(64, 48);
        QCOMPARE(stage.widget.zoom.sourceRect, QRectF(0, 0, 64, 48));
        QCOMPARE(stage.widget.zoom.zoomRect, QRectF(0, 0, 64, 48));
        stage.widget.setDigitalZoom(true);
        stage.widget.zoom.zoomRect = QRectF(1, 2, 3, 4);
        send(32, 24);
        QCOMPARE(stage.widget.zoom.sourceRect, QRectF(0, 0, 32, 24));
        QCOMPARE(stage.widget.zoom.zoomRect, QRectF(1, 2, 3, 4)); // survives a picture
    }

    void frame_withoutItsSurface_isDropped()
    {
        Stage stage;
        QVERIFY(stage.show());
        stage.emitFrames(stage.thread, 64, 48);
        QVERIFY(stage.widget.zoom.sourceRect.isNull());
        stage.plantSurfaces();
        delete stage.d3d9; // by somebody else
        emit stage.thread.receiveFrame(64, 48, &planeY, false);
        QVERIFY(stage.widget.zoom.sourceRect.isNull());
    }

    void frame_ofAnotherThread_isDropped()
    {
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        FakeThread former;
        stage.connectThread(former);
        stage.emitFrames(former, 64, 48);
        emit former.receiveImage(colouredImage(4, 4, Qt::red), 0);
        QVERIFY(stage.surfaceCalls().isEmpty());
        QVERIFY(stage.widget.image.isNull());

        stage.window.hide(); // then too, and no surface is cleared for it
        stage.emitFrames(former, 64, 48);
        QVERIFY(stage.surfaceCalls().isEmpty());
        stage.widget.isRunning = false;
        stage.window.show();
        stage.widget.videoWidth = 5;
        stage.emitFrames(former, 64, 48);
        QCOMPARE(stage.widget.videoWidth, 5); // nothing was wiped
    }

    void frame_inTheQueue_isDropped_onceAnotherThreadIsShown()
    {
        Stage stage;
        QVERIFY(stage.show());
        FakeThread former;
        QObject::connect(&former, SIGNAL(receiveImage(QImage, int)), &stage.widget,
                         SLOT(receiveImage(QImage, int)), Qt::QueuedConnection);
        stage.widget.videoThread = &former;
        emit former.receiveImage(colouredImage(4, 4, Qt::red), 0);
        stage.widget.videoThread = &stage.thread;
        QCoreApplication::sendPostedEvents(&stage.widget, QEvent::MetaCall);
        QVERIFY(stage.widget.image.isNull());
        stage.widget.videoThread = &former; // and the way is right
        emit former.receiveImage(colouredImage(4, 4, Qt::red), 0);
        QCoreApplication::sendPostedEvents(&stage.widget, QEvent::MetaCall);
        QVERIFY(!stage.widget.image.isNull());
    }

    void frame_forAHiddenWidget_clearsItsSurface()
    {
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        stage.window.hide();
        stage.widget.image = colouredImage(4, 4, Qt::red);
        stage.emitFrames(stage.thread, 64, 48);
        QCOMPARE(stage.surfaceCalls(), kFourClears);
        QVERIFY(stage.widget.zoom.sourceRect.isNull());
        emit stage.thread.receiveImage(colouredImage(8, 8, Qt::blue), 0);
        QCOMPARE(stage.widget.image.size(), QSize(4, 4));

        stage.widget.isRunning = false; // visibility is asked first: nothing is wiped
        stage.emitFrames(stage.thread, 64, 48);
        emit stage.thread.receiveImage(colouredImage(8, 8, Qt::blue), 0);
        QCOMPARE(stage.widget.image.size(), QSize(4, 4));
    }

    void frame_whileTheWindowIsMinimized_isNotShown()
    {
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        QVERIFY(!stage.widget.getIsMinimized());
        emit stage.thread.receiveImage(colouredImage(4, 4, Qt::red), 0);
        stage.emitFrames(stage.thread, 64, 48);
        stage.window.showMinimized();
        QVERIFY(waitFor([&] { return stage.widget.getIsMinimized(); }));
        QVERIFY(settle());
        QVERIFY(stage.widget.isVisible()); // so that only the state of the window tells
        stage.forgetCalls();

        stage.emitFrames(stage.thread, 32, 24);
        emit stage.thread.receiveImage(colouredImage(8, 8, Qt::blue), 0);
        QCOMPARE(stage.surfaceCalls(), kFourClears);
        QCOMPARE(stage.widget.image.size(), QSize(4, 4)); // the last picture stays

        stage.window.showNormal();
        QVERIFY(waitFor([&] { return !stage.widget.getIsMinimized(); }));
        stage.forgetCalls();
        stage.emitFrames(stage.thread, 32, 24);
        emit stage.thread.receiveImage(colouredImage(8, 8, Qt::blue), 0);
        QCOMPARE(stage.yuv->calls, QStringList(QStringLiteral("frame 32x24 64 32 33")));
        QCOMPARE(stage.widget.image.size(), QSize(8, 8));
    }

    void frame_afterTheThreadHasEnded_wipesTheWidget_data()
    {
        QTest::addColumn<int>("form");
        for (int form = 0; form < 5; ++form)
            QTest::newRow(qPrintable(QString::number(form))) << form;
    }
    void frame_afterTheThreadHasEnded_wipesTheWidget()
    {
        QFETCH(int, form);
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        emit stage.thread.receiveImage(colouredImage(4, 4, Qt::red), 0);
        stage.widget.appendOsd(OsdInfo());
        stage.widget.videoWidth = 4;
        stage.widget.finished();
        const QList<std::function<void()>> sends{
            [&] { emit stage.thread.receiveFrame(4, 4, &planeY, &planeU, &planeV, 4u, 2u, 2u); },
            [&] { emit stage.thread.receiveFrame(4, 4, &planeY, &planeU, 4u, 4u); },
            [&] { emit stage.thread.receiveFrame(4, 4, &planeY, false); },
            [&] { emit stage.thread.receiveFrame(4, 4, &planeY, 0, false); },
            [&] { emit stage.thread.receiveImage(colouredImage(4, 4, Qt::blue), 0); }};
        sends.at(form)();
        QVERIFY(stage.widget.image.isNull());
        QVERIFY(stage.widget.osdList.items().isEmpty());
        QCOMPARE(stage.widget.videoWidth, 0);
        QCOMPARE(stage.d3d9->calls, QStringList(QStringLiteral("clear"))); // by the wipe
        QVERIFY(stage.yuv->calls.isEmpty());
    }

    void directCall_passesOnlyWithoutAThread_andReachesNoSurface()
    {
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        stage.widget.receiveImage(colouredImage(4, 4, Qt::red), 0);
        QVERIFY(stage.widget.image.isNull());
        stage.widget.videoThread = nullptr;
        stage.widget.receiveImage(colouredImage(4, 4, Qt::red), 0);
        QVERIFY(!stage.widget.image.isNull());
        stage.widget.receiveFrame(4, 4, &planeY, &planeU, &planeV, 4u, 2u, 2u);
        stage.widget.receiveFrame(4, 4, &planeY, &planeU, 4u, 4u);
        stage.widget.receiveFrame(4, 4, &planeY, false);
        stage.widget.receiveFrame(4, 4, &planeY, 0, false);
        QVERIFY(stage.surfaceCalls().isEmpty());
        stage.window.hide();
        stage.widget.receiveFrame(4, 4, &planeY, &planeU, &planeV, 4u, 2u, 2u);
        QVERIFY(stage.surfaceCalls().isEmpty()); // no sender, no clearing
    }

    void absurdFrames_arePassedOn_withoutHarm()
    {
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        const int most = std::numeric_limits<int>::max();
        const int least = std::numeric_limits<int>::min();
        for (const int size : {0, -1, most, least}) {
            stage.forgetCalls();
            emit stage.thread.receiveFrame(size, size, nullptr, nullptr, nullptr, ~0u, ~0u, ~0u);
            emit stage.thread.receiveFrame(size, size, nullptr, nullptr, ~0u, ~0u);
            emit stage.thread.receiveFrame(size, size, nullptr, false);
            emit stage.thread.receiveFrame(size, size, nullptr, size, false);
            emit stage.thread.receiveImage(QImage(), size);
            QCOMPARE(stage.surfaceCalls().size(), 4);
            stage.widget.setDigitalZoom(true);
            QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(0, -120), Qt::NoButton,
                              Qt::NoModifier, Qt::NoScrollPhase, false);
            stage.widget.wheelEvent(&wheel);
            stage.widget.setDigitalZoom(false);
            QVERIFY(!stage.widget.grab().isNull());
        }
    }

    // --- Pictures -------------------------------------------------------------------------------

    void image_isSharedOrCopied_andShown()
    {
        Stage stage;
        stage.widget.setVideoMode(VideoMode_Painter);
        QVERIFY(stage.show());
        stage.widget.zoom.zoomRect = QRectF(1, 1, 2, 2);
        PaintCounter paints(stage.widget.osdWidget);
        const QImage picture = colouredImage(20, 10, Qt::red);
        emit stage.thread.receiveImage(picture, 0);
        QCOMPARE(stage.widget.image.constBits(), picture.constBits());
        QCOMPARE(stage.widget.zoom.sourceRect, QRectF(0, 0, 20, 10));
        QCOMPARE(stage.widget.zoom.zoomRect, QRectF(1, 1, 2, 2)); // the paint pass does that
        QVERIFY(settle());
        QVERIFY(paints.count > 0);

        WidgetPara para = stage.widget.getWidgetPara();
        para.copyImage = true;
        stage.widget.setWidgetPara(para);
        emit stage.thread.receiveImage(picture, 0);
        QVERIFY(stage.widget.image.constBits() != picture.constBits());
        QCOMPARE(stage.widget.image, picture);
    }

    void setImage_isShown_withoutAThread()
    {
        Stage stage;
        stage.widget.videoThread = nullptr;
        stage.widget.setVideoMode(VideoMode_Painter);
        QVERIFY(stage.show());
        stage.widget.setImage(colouredImage(60, 40, Qt::red));
        QCOMPARE(stage.widget.videoWidth, 60);
        QCOMPARE(stage.widget.videoHeight, 40);
        QVERIFY(stage.widget.targetRect.size() != QSize(60, 40)); // the layout is posted
        QCoreApplication::sendPostedEvents(&stage.widget, QEvent::Resize);
        QCOMPARE(stage.widget.targetRect.size(), QSize(60, 40));
        QCOMPARE(stage.widget.grab().toImage().pixelColor(stage.widget.rect().center()),
                 QColor(Qt::red));
        stage.widget.setImage(QImage()); // ignored
        QVERIFY(!stage.widget.image.isNull());

        stage.widget.isRunning = false;
        stage.widget.setImage(colouredImage(60, 40, Qt::red));
        QVERIFY(stage.widget.image.isNull());
    }

    void setImage_duringPlay_isDropped()
    {
        Stage stage;
        QVERIFY(stage.show());
        emit stage.thread.receiveImage(colouredImage(4, 4, Qt::blue), 0);
        stage.widget.setImage(colouredImage(60, 40, Qt::red));
        QCOMPARE(stage.widget.image.size(), QSize(4, 4));
        QCOMPARE(stage.widget.videoWidth, 60); // the size is stored all the same
    }

    // --- Surfaces -------------------------------------------------------------------------------

    void newSurfaces_areShownAndCleared_byHardware()
    {
        Stage stage;
        stage.plantSurfaces();
        QVERIFY(stage.show());
        for (QWidget *surface :
             {static_cast<QWidget *>(stage.yuv), static_cast<QWidget *>(stage.nv12),
              static_cast<QWidget *>(stage.d3d9), static_cast<QWidget *>(stage.d3d11)})
            surface->hide();
        stage.widget.hardware = QStringLiteral("none");
        // Reached by name, as a host does.
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "newD3D9Widgets"));
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "newD3D11Widgets"));
        QVERIFY(stage.surfaceCalls().isEmpty());
        QVERIFY(!stage.d3d9->isVisible() && !stage.d3d11->isVisible());
        stage.widget.videoThread = nullptr; // else the layout takes its hardware
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "newOpenglWidgets"));
        QCOMPARE(stage.yuv->calls, QStringList(QStringLiteral("clear")));
        QVERIFY(stage.yuv->isVisible() && !stage.nv12->isVisible());

        stage.forgetCalls();
        stage.widget.hardware = QStringLiteral("dxva2");
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "newOpenglWidgets"));
        QCOMPARE(stage.nv12->calls, QStringList(QStringLiteral("clear")));
        QVERIFY(stage.nv12->isVisible());
        QVERIFY(stage.yuv->calls.isEmpty());
        stage.forgetCalls();
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "newD3D11Widgets"));
        QCOMPARE(stage.surfaceCalls(), QStringList(QStringLiteral("clear"))); // no layout
        QVERIFY(stage.d3d11->isVisible());
        stage.forgetCalls();
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "newD3D9Widgets"));
        QVERIFY(stage.d3d9->isVisible());
        QCOMPARE(stage.d3d9->geometry(), // by the layout that follows
                 QRect(QPoint(0, 0), stage.widget.hwndWidget->size()));
    }

    // The real ones; without Direct3D they stay empty.
    void newDirect3DSurfaces_areMadeOnce_withHardwareOnly()
    {
        Stage stage;
        stage.thread.setPicture(40, 30, 0, false);
        QVERIFY(stage.show());
        FrameWidget &widget = stage.widget;
        widget.hwndWidget->show();
        stage.thread.setHardware(QStringLiteral("none"));
        widget.newD3D9Widgets();
        widget.newD3D11Widgets();
        QVERIFY(!widget.nv12D3D9Widget && !widget.nv12D3D11Widget);

        stage.thread.setHardware(QStringLiteral("dxva2"));
        widget.hardware = QStringLiteral("dxva2");
        widget.newD3D9Widgets();
        widget.newD3D11Widgets();
        const QPointer<QWidget> d3d9 = widget.nv12D3D9Widget.data();
        const QPointer<QWidget> d3d11 = widget.nv12D3D11Widget.data();
        QVERIFY(d3d9 && d3d11);
        QCOMPARE(d3d9->objectName(), QStringLiteral("nv12D3D9Widget"));
        QCOMPARE(d3d11->objectName(), QStringLiteral("nv12D3D11Widget"));
        for (QWidget *surface : {d3d9.data(), d3d11.data()}) {
            QCOMPARE(surface->parentWidget(), widget.hwndWidget);
            QVERIFY(surface->isVisible());
            QTRY_COMPARE(surface->geometry(), widget.hwndWidget->rect());
        }
        stage.thread.setPicture(30, 40, 0, false); // the holder takes another shape
        widget.resizeEvent(nullptr);
        for (QWidget *surface : {d3d9.data(), d3d11.data()})
            QTRY_COMPARE(surface->geometry(), widget.hwndWidget->rect());

        d3d9->hide();
        d3d11->hide();
        widget.newD3D9Widgets();
        widget.newD3D11Widgets();
        QCOMPARE(widget.nv12D3D9Widget.data(), d3d9.data());
        QCOMPARE(widget.nv12D3D11Widget.data(), d3d11.data());
        QVERIFY(d3d9->isVisible() && d3d11->isVisible());
        stage.emitFrames(stage.thread, 40, 30);
        QVERIFY(!d3d9->internalWinId() && !d3d11->internalWinId());

        widget.freeD3D9Widgets();
        widget.freeD3D11Widgets();
        QVERIFY(!d3d9 && !d3d11);
        widget.newD3D9Widgets();
        widget.newD3D11Widgets();
        QVERIFY(widget.nv12D3D9Widget && widget.nv12D3D11Widget);
    }

    void aPlayWithHardware_makesItsSurface_andDeletesItAtTheEnd()
    {
        Stage stage;
        stage.thread.setPicture(40, 40, 0, false);
        stage.thread.setHardware(QStringLiteral("dxva2"));
        stage.widget.setVideoMode(VideoMode_D3D9);
        stage.widget.hardware = QStringLiteral("dxva2");
        QVERIFY(stage.show());
        for (int play = 0; play < 3; ++play) {
            stage.widget.receivePlayStart(0);
            stage.widget.receiveRenderStart();
            const QPointer<QWidget> surface = stage.widget.nv12D3D9Widget.data();
            QVERIFY(surface && surface->isVisible());
            emit stage.thread.receiveFrame(40, 40, &planeY, true);
            stage.widget.onDecoderDestroyed();
            stage.widget.receivePlayFinsh(&stage.thread);
            QVERIFY(!surface && !stage.widget.nv12D3D9Widget);
        }
    }

    void freeSurfaces_deleteTheirOwnOnly()
    {
        Stage stage;
        stage.plantSurfaces();
        const QPointer<QObject> yuv(stage.yuv);
        const QPointer<QObject> nv12(stage.nv12);
        const QPointer<QObject> d3d9(stage.d3d9);
        const QPointer<QObject> d3d11(stage.d3d11);
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "freeD3D9Widgets"));
        QVERIFY(!d3d9 && !stage.widget.nv12D3D9Widget && d3d11 && yuv && nv12);
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "freeD3D11Widgets"));
        QVERIFY(!d3d11 && !stage.widget.nv12D3D11Widget && yuv && nv12);
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "freeOpenglWidgets"));
        QVERIFY(!yuv && !nv12 && !stage.widget.yuvWidget && !stage.widget.nv12Widget);
        for (const char *slot : {"freeD3D9Widgets", "freeD3D11Widgets", "freeOpenglWidgets"})
            QVERIFY(QMetaObject::invokeMethod(&stage.widget, slot)); // twice is nothing
    }

    void surfaces_areShownThenCleared_andClearedBeforeTheyAreHiddenClosedAndDeleted()
    {
        Stage stage;
        QVERIFY(stage.show());
        stage.widget.hwndWidget->show();
        stage.widget.hardware = QStringLiteral("dxva2");
        stage.thread.setHardware(QStringLiteral("dxva2"));
        QStringList d3d9;
        QStringList d3d11;
        auto *surface9 = new TellingSurface<FakeD3D9>(stage.widget.hwndWidget, d3d9);
        auto *surface11 = new TellingSurface<FakeD3D11>(stage.widget.hwndWidget, d3d11);
        stage.widget.nv12D3D9Widget = surface9;
        stage.widget.nv12D3D11Widget = surface11;
        stage.widget.newD3D9Widgets();
        QCOMPARE(d3d9, QStringList({"show", "clear", "clear"})); // once more by the layout
        d3d9.clear();
        stage.widget.newD3D11Widgets();
        QCOMPARE(d3d11, QStringList({"show", "clear"}));
        QVERIFY(d3d9.isEmpty()); // no layout
        d3d11.clear();

        const QStringList end({"clear", "hide", "close", "deleted"});
        stage.widget.freeD3D9Widgets();
        QCOMPARE(d3d9, end);
        stage.widget.freeD3D11Widgets();
        QCOMPARE(d3d11, end);
    }

    void framesOfARealThread_readItsMemory_whileItWaits()
    {
        class ReadingYuv : public FakeYuv
        {
        public:
            using FakeYuv::FakeYuv;
            void updateFrame(int, int, quint8 *dataY, quint8 *, quint8 *, quint32, quint32,
                             quint32) override
            {
                read << *dataY;
            }
            QList<int> read;
        };
        PlayWidget widget;
        auto *surface = new ReadingYuv(widget.hwndWidget);
        widget.yuvWidget = surface;
        widget.setVideoMode(VideoMode_Opengl);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        QVERIFY(thread->call([thread] {
            for (quint8 i = 0; i < 100; ++i) {
                // Gone with the emit: whoever reads it later reads freed memory.
                auto memory = std::make_unique<quint8>(i);
                emit thread->receiveFrame(1, 1, memory.get(), memory.get(), memory.get(), 1u, 1u,
                                          1u);
                *memory = 255;
            }
        }));
        QCOMPARE(surface->read.size(), 100);
        for (int i = 0; i < 100; ++i)
            QCOMPARE(surface->read.at(i), i);
        widget.stop();
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
    }
};

QTEST_MAIN(tst_FrameRouting)
#include "tst_framerouting.moc"
