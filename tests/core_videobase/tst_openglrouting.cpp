// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// VideoMode_Opengl with its real surfaces: where they lie, and what is on the screen.

#include "support/graphicsdriver.h"
#include "support/pixels.h"
#include "support/rawpicture.h"
#include "videowidgetfakes.h"

#include <QScreen>
#include <QVBoxLayout>
#include <QWindow>
#include <QtTest>

using namespace videowidgetfakes;
using namespace vantratest;

namespace {

const QString kSoftware = QStringLiteral("none");
const QString kHardware = QStringLiteral("dxva2");
constexpr Yuv kPlain{128, 90, 160};
const QColor kPlainColor(149, 108, 36); ///< of kPlain on an OpenGL surface
constexpr int kTolerance = 2;

/// A widget in a window of its own, in the state of a play in VideoMode_Opengl.
class Stage
{
public:
    explicit Stage(const QString &hardware) : isPlanar(hardware == kSoftware)
    {
        window.setWindowFlags(Qt::FramelessWindowHint);
        window.resize(200, 160);
        auto *layout = new QVBoxLayout(&window);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(&widget);
        WidgetPara look = widget.getWidgetPara();
        look.videoMode = VideoMode_Opengl;
        look.scaleMode = ScaleMode_Fill;
        widget.setWidgetPara(look);
        thread.setHardware(hardware);
        thread.setPicture(64, 48, 0, false);
        widget.hardware = hardware;
        widget.videoThread = &thread;
        widget.isRunning = true;
        QObject::connect(&thread, SIGNAL(receiveImage(QImage, int)), &widget,
                         SLOT(receiveImage(QImage, int)));
        QObject::connect(
            &thread,
            SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)),
            &widget,
            SLOT(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)));
        QObject::connect(
            &thread, SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)), &widget,
            SLOT(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)));
    }
    ~Stage() { widget.setParent(nullptr); }

    /// As a host does it: by name.
    bool makeSurface() { return QMetaObject::invokeMethod(&widget, "newOpenglWidgets"); }

    /// As a thread reports it. The surface of Direct3D 9 that hardware brings is not wanted here.
    void startPlay()
    {
        widget.receivePlayStart(0);
        widget.receiveRenderStart();
        widget.freeD3D9Widgets();
    }

    bool show()
    {
        window.show();
        startPlay();
        return QTest::qWaitForWindowExposed(&window) && settle();
    }

    QGLWidget *surface() const
    {
        if (isPlanar)
            return widget.yuvWidget.data();
        return widget.nv12Widget.data();
    }

    void send(RawPicture picture)
    {
        if (isPlanar)
            emit thread.receiveFrame(picture.width, picture.height, picture.y.data(),
                                     picture.u.data(), picture.v.data(),
                                     quint32(picture.y.linesize), quint32(picture.u.linesize),
                                     quint32(picture.v.linesize));
        else
            emit thread.receiveFrame(picture.width, picture.height, picture.y.data(),
                                     picture.uv.data(), quint32(picture.y.linesize),
                                     quint32(picture.uv.linesize));
    }

    QImage screen()
    {
        return QGuiApplication::primaryScreen()->grabWindow(window.winId()).toImage();
    }

    /// The smallest rectangle around all that has the colour, as it is on the screen.
    QRect bounds(const QColor &color)
    {
        const QImage shown = screen().convertToFormat(QImage::Format_RGB32);
        QRect around;
        for (int y = 0; y < shown.height(); ++y) {
            const auto *line = reinterpret_cast<const QRgb *>(shown.constScanLine(y));
            for (int x = 0; x < shown.width(); ++x)
                if (isLike(line[x], color.rgb()))
                    around |= QRect(x, y, 1, 1);
        }
        return around;
    }

    /// Whether it is soon seen in just that place.
    bool showsIn(const QRect &place, const QColor &color = kPlainColor)
    {
        return waitFor([&] {
            surface()->update(); // past what the first paint of NV12 shows
            return bounds(color) == place;
        });
    }
    bool showsNothing()
    {
        return waitFor(
            [&] { return countOf(screen(), Qt::black) == window.width() * window.height(); });
    }

    static bool isLike(QRgb a, QRgb b)
    {
        return qAbs(qRed(a) - qRed(b)) <= kTolerance && qAbs(qGreen(a) - qGreen(b)) <= kTolerance &&
               qAbs(qBlue(a) - qBlue(b)) <= kTolerance;
    }

    const bool isPlanar;
    FakeThread thread;
    QWidget window;
    FrameWidget widget;
};

} // namespace

class tst_OpenglRouting : public LoggedTest
{
    Q_OBJECT

protected:
    void tearDown() override { keepGraphicsDriver(); }

private:
    static void hardware()
    {
        QTest::addColumn<QString>("hardware");
        QTest::newRow("planar") << kSoftware;
        QTest::newRow("nv12") << kHardware;
    }

private slots:
    void surface_isMadeByHardware_onDemandOnly_data() { hardware(); }
    void surface_isMadeByHardware_onDemandOnly()
    {
        QFETCH(QString, hardware);
        Stage stage(hardware);
        QVERIFY(stage.show());
        QVERIFY(!stage.surface()); // a play makes none by itself
        stage.send(RawPicture({64, 48}, kPlain));
        QVERIFY(stage.showsNothing());

        QVERIFY(stage.makeSurface());
        const QPointer<QGLWidget> made(stage.surface());
        QVERIFY(made);
        QCOMPARE(!stage.widget.yuvWidget, hardware != kSoftware);
        QCOMPARE(!stage.widget.nv12Widget, hardware == kSoftware);
        QCOMPARE(made->objectName(), hardware == kSoftware ? QStringLiteral("yuvWidget")
                                                           : QStringLiteral("nv12Widget"));
        QCOMPARE(made->parentWidget(), stage.widget.hwndWidget);
        QVERIFY(made->isVisible());
        QVERIFY(stage.makeSurface());
        QCOMPARE(stage.surface(), made.data());

        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "freeOpenglWidgets"));
        QVERIFY(!made);
        QVERIFY(!stage.surface());
        stage.send(RawPicture({64, 48}, kPlain));
        QVERIFY(stage.showsNothing());
        QVERIFY(stage.makeSurface());
        stage.send(RawPicture({64, 48}, kPlain));
        QVERIFY(stage.showsIn(stage.window.rect()));
    }

    void surface_ofTheOtherHardware_liesAbove()
    {
        Stage stage(kSoftware);
        QVERIFY(stage.makeSurface());
        QVERIFY(stage.show());
        stage.send(RawPicture({64, 48}, kPlain));
        QVERIFY(stage.showsIn(stage.window.rect()));
        stage.thread.setHardware(kHardware);
        stage.widget.hardware = kHardware;
        QVERIFY(stage.makeSurface());
        QVERIFY(stage.widget.yuvWidget && stage.widget.nv12Widget);
        QVERIFY(stage.showsNothing());
        QCOMPARE(stage.widget.nv12Widget->geometry(), stage.widget.hwndWidget->rect());
        QVERIFY(QMetaObject::invokeMethod(&stage.widget, "freeOpenglWidgets"));
        QVERIFY(!stage.widget.yuvWidget && !stage.widget.nv12Widget);
    }

    void surface_fillsItsPlace_whateverThatBecomes_data() { hardware(); }
    void surface_fillsItsPlace_whateverThatBecomes()
    {
        QFETCH(QString, hardware);
        Stage stage(hardware);
        QVERIFY(stage.makeSurface()); // before anything is shown
        QVERIFY(stage.show());
        stage.send(RawPicture({64, 48}, kPlain));
        const auto fills = [&] {
            return waitFor([&] {
                return stage.surface()->geometry() == stage.widget.hwndWidget->rect() &&
                       stage.widget.hwndWidget->geometry() == stage.widget.targetRect;
            });
        };
        QVERIFY(fills());
        stage.window.resize(333, 222);
        QVERIFY(fills());
        QVERIFY(stage.showsIn(QRect(0, 0, 333, 222)));
        stage.widget.setScaleMode(ScaleMode_Auto);
        QVERIFY(fills());
        QVERIFY(waitFor([&] { return stage.surface()->size() == QSize(64, 48); }));
        stage.window.showFullScreen();
        stage.widget.setScaleMode(ScaleMode_Fill);
        QVERIFY(waitFor([&] { return stage.window.width() > 1000; }));
        QVERIFY(fills());
        QVERIFY(stage.showsIn(stage.window.rect()));
    }

    void picture_liesWhereThePainterPutsIt_data()
    {
        QTest::addColumn<QString>("hardware");
        QTest::addColumn<int>("scaleMode");
        QTest::addColumn<int>("border");
        QTest::addColumn<QSize>("size");
        const QList<QPair<int, const char *>> modes{
            {ScaleMode_Auto, "auto"}, {ScaleMode_Aspect, "aspect"}, {ScaleMode_Fill, "fill"}};
        for (const QString &hardware : {kSoftware, kHardware})
            for (const auto &mode : modes)
                for (const int border : {0, 9})
                    for (const QSize &size : {QSize(64, 48), QSize(640, 200), QSize(31, 97)})
                        QTest::addRow("%s %s border %d %dx%d", qPrintable(hardware), mode.second,
                                      border, size.width(), size.height())
                            << hardware << mode.first << border << size;
    }
    void picture_liesWhereThePainterPutsIt()
    {
        QFETCH(QString, hardware);
        QFETCH(int, scaleMode);
        QFETCH(int, border);
        QFETCH(QSize, size);
        Stage stage(hardware);
        stage.thread.setPicture(size.width(), size.height(), 0, false);
        WidgetPara look = stage.widget.getWidgetPara();
        look.scaleMode = ScaleMode(scaleMode);
        look.borderWidth = border;
        look.videoMode = VideoMode_Painter;
        stage.widget.setWidgetPara(look);
        QVERIFY(stage.show());
        emit stage.thread.receiveImage(colouredImage(size.width(), size.height(), kPlainColor), 0);
        QVERIFY(settle());
        QRect painted;
        QVERIFY(waitFor([&] {
            painted = stage.bounds(kPlainColor);
            return !painted.isNull();
        }));

        look.videoMode = VideoMode_Opengl;
        stage.widget.setWidgetPara(look);
        stage.startPlay();
        QVERIFY(stage.makeSurface());
        QVERIFY(waitFor([&] { return stage.bounds(kPlainColor).isNull(); }));
        stage.send(RawPicture(size, kPlain));
        QVERIFY(stage.showsIn(painted));
    }

    void frame_forNobodysEyes_clearsTheSurface_data() { hardware(); }
    void frame_forNobodysEyes_clearsTheSurface()
    {
        QFETCH(QString, hardware);
        Stage stage(hardware);
        QVERIFY(stage.makeSurface());
        QVERIFY(stage.show());
        const QWindow *handle = stage.window.windowHandle();
        for (const bool isMinimized : {false, true}) {
            stage.send(RawPicture({64, 48}, kPlain));
            QVERIFY(stage.showsIn(stage.window.rect()));
            if (isMinimized) {
                stage.window.showMinimized();
                QVERIFY(waitFor([&] { return !handle->isExposed(); }));
                QVERIFY(stage.widget.getIsMinimized());
            } else {
                stage.window.hide();
            }
            stage.send(RawPicture({64, 48}, kPlain));
            stage.window.showNormal();
            QVERIFY(waitFor([&] { return handle->isExposed(); }));
            QVERIFY(stage.showsNothing()); // black comes from the style of the widget
        }
        stage.send(RawPicture({64, 48}, kPlain));
        QVERIFY(stage.showsIn(stage.window.rect()));
    }

    void picture_staysWhenTheDecoderGoes_andWhenThePlayEnds_data() { hardware(); }
    void picture_staysWhenTheDecoderGoes_andWhenThePlayEnds()
    {
        QFETCH(QString, hardware);
        Stage stage(hardware);
        QVERIFY(stage.makeSurface());
        QVERIFY(stage.show());
        stage.send(RawPicture({64, 48}, kPlain)); // whose planes are gone by now
        QVERIFY(stage.showsIn(stage.window.rect()));
        stage.widget.onDecoderDestroyed();
        stage.window.resize(210, 170);
        QVERIFY(stage.showsIn(stage.window.rect()));
        stage.widget.receivePlayFinsh(&stage.thread);
        stage.widget.finished();
        stage.widget.clear();
        stage.window.resize(200, 160);
        QVERIFY(stage.surface());
        QVERIFY(stage.showsIn(stage.window.rect()));
    }

    void onlyTheBanner_isSeenOverTheSurface()
    {
        Stage stage(kSoftware);
        WidgetPara look = stage.widget.getWidgetPara();
        look.bannerSize = 30;
        look.borderWidth = 0;
        look.banner.bgColor = Qt::white;
        look.banner.bgAlpha = 255;
        stage.widget.setWidgetPara(look);
        stage.widget.setBannerBgColor(Qt::white);
        QVERIFY(stage.makeSurface());
        QVERIFY(stage.show());
        OsdInfo osd;
        osd.name = QStringLiteral("osd");
        osd.visible = true;
        osd.format = OsdFormat_Image;
        osd.image = colouredImage(40, 40, Qt::red);
        osd.position = OsdPosition_Center;
        stage.widget.appendOsd(osd);
        stage.send(RawPicture({64, 48}, kPlain));
        QVERIFY(stage.showsIn(stage.window.rect()));
        stage.widget.bannerWidget->show();
        QVERIFY(stage.showsIn(QRect(0, 30, 200, 130)));
        QCOMPARE(countOf(stage.screen(), Qt::red), 0);
        stage.widget.bannerWidget->hide();
        QVERIFY(stage.showsIn(stage.window.rect()));
    }

    void hostsOwnLayout_isLeftAlone()
    {
        Stage stage(kSoftware);
        auto *own = new QVBoxLayout(stage.widget.hwndWidget);
        own->setContentsMargins(20, 20, 20, 20);
        QVERIFY(stage.makeSurface());
        QVERIFY(stage.show());
        QCOMPARE(stage.widget.hwndWidget->layout(), own);
        QCOMPARE(own->count(), 0);
        own->addWidget(stage.surface());
        stage.send(RawPicture({64, 48}, kPlain));
        QVERIFY(stage.showsIn(QRect(20, 20, 160, 120)));
    }
};

QTEST_MAIN(tst_OpenglRouting)
#include "tst_openglrouting.moc"
