// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/logcapture.h"
#include "support/pixels.h"
#include "videowidgetfakes.h"

#include <QMetaMethod>
#include <QMetaProperty>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

using namespace videowidgetfakes;
using vantratest::waitFor;

namespace {

constexpr char kZoomCursorFile[] = ":/primary/digital-zoom.svg";

// Counts resize events of a widget, sent or posted.
class ResizeCounter : public QObject
{
public:
    explicit ResizeCounter(QWidget *widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Resize)
            ++count;
        return QObject::eventFilter(watched, event);
    }
    int count = 0;
};

// Writes down how it ends.
class EndingSurface : public FakeD3D9
{
public:
    EndingSurface(QStringList &steps, QWidget *parent) : FakeD3D9(parent), steps(steps) {}
    ~EndingSurface() override { steps << QStringLiteral("delete"); }
    void clear() override { steps << QStringLiteral("clear"); }

protected:
    void hideEvent(QHideEvent *) override { steps << QStringLiteral("hide"); }
    void closeEvent(QCloseEvent *) override { steps << QStringLiteral("close"); }

private:
    QStringList &steps;
};

class ButtonWidget : public FrameWidget
{
public:
    void btnClicked(const QString &btnName) override { clicked << btnName; }
    QStringList clicked;
};

bool shows(QWidget *widget)
{
    widget->show();
    return QTest::qWaitForWindowExposed(widget) && settle();
}

QColor pixel(QWidget *widget, int x, int y)
{
    return widget->grab().toImage().pixelColor(x, y);
}

// What the meta-object of the class itself tells, in its order.
QStringList methodsOf(const QMetaObject &meta, QMetaMethod::MethodType type,
                      QMetaMethod::Access access)
{
    QStringList result;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == type && method.access() == access)
            result << QString::fromLatin1(method.methodSignature());
    }
    return result;
}

} // namespace

class tst_AbstractVideoWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<vantratest::LogCapture> log;

private slots:
    void init() { log = std::make_unique<vantratest::LogCapture>(); }
    void cleanup()
    {
        QCOMPARE(log->unexpected(), QStringList());
        for (const auto &line : log->lines())
            QVERIFY(!line.file.contains(QLatin1String("videowidget"))); // this class writes none
        log.reset();
    }

    // --- Frame of the class ---------------------------------------------------------------------

    void paths_haveTheirDefaults()
    {
        QCOMPARE(AbstractVideoWidget::recordPath, QStringLiteral("./video"));
        QCOMPARE(AbstractVideoWidget::snapPath, QStringLiteral("snap"));
    }

    void newWidget_hasTheDefaults()
    {
        const FrameWidget widget;
        const WidgetPara look = widget.getWidgetPara();
        QCOMPARE(look.borderWidth, 0);
        QCOMPARE(look.borderColor, QColor(Qt::transparent));
        QCOMPARE(look.focusColor, QColor(QStringLiteral("#22A3A9")));
        QCOMPARE(look.bgColor, QColor(Qt::transparent));
        QCOMPARE(look.textColor, QColor(Qt::transparent));
        QCOMPARE(look.fillColor, QColor(Qt::transparent));
        QCOMPARE(look.bgTextSize, 15);
        QCOMPARE(look.bgText, QStringLiteral("视频"));
        QVERIFY(look.bgImage.isNull());
        QVERIFY(look.spareFlag);
        QVERIFY(!look.copyImage);
        QVERIFY(!look.muted);
        QVERIFY(look.videoFlag.isEmpty());
        QCOMPARE(int(look.scaleMode), 0);
        QCOMPARE(int(look.videoMode), 0);
        QVERIFY(!look.bannerEnable);
        QCOMPARE(look.bannerSize, 25);
        QCOMPARE(look.bannerPosition, 0);

        const VideoPara wish = widget.getVideoPara();
        QCOMPARE(int(wish.videoCore), 0);
        QCOMPARE(wish.hardware, QStringLiteral("none"));
        QCOMPARE(wish.readTimeout, 500);
        QCOMPARE(wish.connectTimeout, 500);

        QVERIFY(!widget.getIsRunning());
        QVERIFY(!widget.noStreamControl);
        QVERIFY(!widget.isDigitalZoom());
        QVERIFY(widget.image.isNull() && widget.targetRect.isNull());
        QCOMPARE(widget.videoWidth, 0);
        QCOMPARE(widget.videoHeight, 0);
        QCOMPARE(widget.rotate, -1);
        QVERIFY(!widget.onlyAudio);
        QCOMPARE(widget.hardware, QStringLiteral("none"));
        QCOMPARE(widget.renderMode, VideoMode_Hwnd);
        QVERIFY(!widget.yuvWidget && !widget.nv12Widget);
        QVERIFY(!widget.nv12D3D9Widget && !widget.nv12D3D11Widget);
        QVERIFY(!widget.videoThread && !widget.recordThread && !widget.audioThread);
        QVERIFY(!widget.snapPreview);
        QVERIFY(widget.zoom.sourceRect.isNull() && widget.zoom.zoomRect.isNull());
    }

    void newWidget_hasItsLayersInOrder()
    {
        const FrameWidget widget;
        QStringList layers;
        for (const QObject *child : widget.children()) {
            if (child->isWidgetType())
                layers << child->objectName();
        }
        QCOMPARE(layers, QStringList({QStringLiteral("hwndWidget"), QStringLiteral("osdWidget"),
                                      QStringLiteral("bannerWidget")}));
        QVERIFY(widget.bannerWidget->isHidden());
        QVERIFY(!widget.hwndWidget->isHidden() && !widget.osdWidget->isHidden());
        QCOMPARE(widget.focusPolicy(), Qt::StrongFocus);
        QCOMPARE(widget.styleSheet(), QStringLiteral("background-color:black;"));
        QVERIFY(!widget.acceptDrops());
        QCOMPARE(widget.osdTimer->parent(), &widget);
        QCOMPARE(widget.osdTimer->interval(), 1000);
        QVERIFY(!widget.osdTimer->isActive());
    }

    void zoomCursor_isTwentyPixelsWide()
    {
        QVERIFY(QFile::exists(QLatin1String(kZoomCursorFile)));
        const FrameWidget widget;
        QCOMPARE(widget.zoomCursor.size(), QSize(20, 20));
    }

    void zoomCursor_isNull_whenItsPictureIsMissing()
    {
        Q_CLEANUP_RESOURCE(primary);
        QVERIFY(!QFile::exists(QLatin1String(kZoomCursorFile)));
        FrameWidget widget;
        Q_INIT_RESOURCE(primary);
        QVERIFY(widget.zoomCursor.isNull());
        widget.setDigitalZoom(true);
        QEvent enter(QEvent::Enter);
        widget.enterEvent(&enter); // a cursor is made of the null picture
    }

    void properties_standInTheirOrder()
    {
        const QMetaObject &meta = AbstractVideoWidget::staticMetaObject;
        QStringList properties;
        for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
            const QMetaProperty property = meta.property(i);
            QVERIFY(property.isWritable());
            properties << QLatin1String(property.typeName()) + QLatin1Char(' ') +
                              QLatin1String(property.name());
        }
        QCOMPARE(properties,
                 QStringList({"int bgTextSize", "QString bgText", "QColor bgColor",
                              "QColor textColor", "int borderWidth", "QColor borderColor",
                              "QColor focusColor", "int bannerBgAlpha", "QColor bannerBgColor",
                              "QColor bannerTextColor", "QColor bannerPressColor"}));
    }

    void methods_standInTheirOrder()
    {
        const QMetaObject &meta = AbstractVideoWidget::staticMetaObject;
        QCOMPARE(methodsOf(meta, QMetaMethod::Signal, QMetaMethod::Public),
                 QStringList({"receiveLevel(double)", "sig_receivePlayStart(int)",
                              "sig_receivePlayFinsh()", "sig_fileDrag(QString)",
                              "sig_btnClicked(QString)", "snapImage(QImage,QString)",
                              "sig_connExceedMax()", "sig_otherError()",
                              "sig_startTalkDeviceBusy(QString)", "sig_startTalkError(QString)"}));
        QCOMPARE(methodsOf(meta, QMetaMethod::Slot, QMetaMethod::Public),
                 QStringList({"setOsd(OsdInfo)",      "appendOsd(OsdInfo)",
                              "removeOsd(QString)",   "clearOsd()",
                              "setGraph(GraphInfo)",  "appendGraph(GraphInfo)",
                              "removeGraph(QString)", "clearGraph()",
                              "setImage(QImage)",     "clear()",
                              "setPalettex(bool)",    "snap(QString,bool)",
                              "snap(QString)",        "snap()",
                              "setSaveInterval(int)", "recordStart(QString)",
                              "recordStop()",         "talkStart()",
                              "talkStop()",           "setVolume(int)",
                              "setMuted(bool)",       "setCalcLevel(bool)"}));
        QCOMPARE(methodsOf(meta, QMetaMethod::Slot, QMetaMethod::Protected),
                 QStringList({"started()",
                              "finished()",
                              "receivePlayStart(int)",
                              "receivePlayFinsh(QObject*)",
                              "btnClicked(QString)",
                              "receiveImage(QImage,int)",
                              "receiveSizeChanged()",
                              "onUpdateCodecRender(QString,int,int)",
                              "receiveRenderStart()",
                              "receiveFrame(int,int,quint8*,quint8*,quint8*,uint,uint,uint)",
                              "receiveFrame(int,int,quint8*,quint8*,uint,uint)",
                              "receiveFrame(int,int,quint8*,bool)",
                              "receiveFrame(int,int,quint8*,int,bool)",
                              "openAudioOutput(int,int,int)",
                              "playAudio(QByteArray)",
                              "newOpenglWidgets()",
                              "freeOpenglWidgets()",
                              "newD3D9Widgets()",
                              "freeD3D9Widgets()",
                              "newD3D11Widgets()",
                              "freeD3D11Widgets()",
                              "onDecoderDestroyed()"}));
    }

    // --- Parameters -----------------------------------------------------------------------------

    void property_isStored_andRepaintsOnlyWhenItChanges_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QVariant>("value");
        QTest::newRow("bgTextSize") << QByteArray("bgTextSize") << QVariant(30);
        QTest::newRow("bgText") << QByteArray("bgText") << QVariant(QStringLiteral("none"));
        QTest::newRow("bgColor") << QByteArray("bgColor") << QVariant(QColor(1, 2, 3));
        QTest::newRow("textColor") << QByteArray("textColor") << QVariant(QColor(4, 5, 6));
        QTest::newRow("borderWidth") << QByteArray("borderWidth") << QVariant(7);
        QTest::newRow("borderColor") << QByteArray("borderColor") << QVariant(QColor(8, 9, 10));
        QTest::newRow("focusColor") << QByteArray("focusColor") << QVariant(QColor(11, 12, 13));
    }
    void property_isStored_andRepaintsOnlyWhenItChanges()
    {
        QFETCH(QByteArray, name);
        QFETCH(QVariant, value);
        FrameWidget widget;
        QVERIFY(shows(&widget));
        PaintCounter paints(widget.osdWidget);
        ResizeCounter resizes(&widget);

        QVERIFY(widget.setProperty(name.constData(), value));
        QVERIFY(settle());
        QCOMPARE(widget.property(name.constData()), value);
        QVERIFY(paints.count > 0);
        QCOMPARE(resizes.count, 0); // the frame's width too is a matter of paint here

        paints.count = 0;
        QVERIFY(widget.setProperty(name.constData(), value));
        QVERIFY(settle());
        QCOMPARE(paints.count, 0);
    }

    void properties_areTheFieldsOfWidgetPara()
    {
        FrameWidget widget;
        widget.setBgTextSize(31);
        widget.setBgText(QStringLiteral("x"));
        widget.setBgColor(Qt::red);
        widget.setTextColor(Qt::green);
        widget.setBorderWidth(3);
        widget.setBorderColor(Qt::blue);
        widget.setFocusColor(Qt::white);
        const WidgetPara para = widget.getWidgetPara();
        QCOMPARE(para.bgTextSize, 31);
        QCOMPARE(para.bgText, QStringLiteral("x"));
        QCOMPARE(para.bgColor, QColor(Qt::red));
        QCOMPARE(para.textColor, QColor(Qt::green));
        QCOMPARE(para.borderWidth, 3);
        QCOMPARE(para.borderColor, QColor(Qt::blue));
        QCOMPARE(para.focusColor, QColor(Qt::white));
    }

    void bannerProperties_liveInTheBannerOnly()
    {
        FrameWidget widget;
        QCOMPARE(widget.property("bannerBgAlpha").toInt(), 100);
        QCOMPARE(widget.getBannerBgColor(), QColor(QStringLiteral("#333333")));
        QCOMPARE(widget.getBannerTextColor(), QColor(QStringLiteral("#FFFFFF")));
        QCOMPARE(widget.getBannerPressColor(), QColor(QStringLiteral("#5EC7D9")));

        QVERIFY(widget.setProperty("bannerBgAlpha", 7));
        QVERIFY(widget.setProperty("bannerBgColor", QColor(1, 2, 3)));
        QVERIFY(widget.setProperty("bannerTextColor", QColor(4, 5, 6)));
        QVERIFY(widget.setProperty("bannerPressColor", QColor(7, 8, 9)));
        const BannerPara banner = widget.bannerWidget->getBannerPara();
        QCOMPARE(banner.bgAlpha, 7);
        QCOMPARE(banner.bgColor, QColor(1, 2, 3));
        QCOMPARE(banner.textColor, QColor(4, 5, 6));
        QCOMPARE(banner.pressColor, QColor(7, 8, 9));
        QCOMPARE(widget.property("bannerPressColor").value<QColor>(), QColor(7, 8, 9));
        QCOMPARE(widget.getWidgetPara().banner.bgAlpha, 100);
        QCOMPARE(widget.getWidgetPara().banner.bgColor, QColor(QStringLiteral("#333333")));
        const QString style = widget.bannerWidget->styleSheet();
        QVERIFY(style.contains(QLatin1String("rgba(1,2,3,7)")));
        QVERIFY(style.contains(QLatin1String("#040506")));
        QVERIFY(style.contains(QLatin1String("#070809")));
    }

    void bannerColour_ofWidgetPara_waitsForABannerProperty()
    {
        FrameWidget widget;
        const QString before = widget.bannerWidget->styleSheet();
        WidgetPara para = widget.getWidgetPara();
        para.banner.bgColor = QColor(200, 100, 50);
        para.banner.textColor = QColor(10, 20, 30);
        widget.setWidgetPara(para);
        QCOMPARE(widget.getBannerBgColor(), QColor(200, 100, 50));
        QCOMPARE(widget.bannerWidget->styleSheet(), before);

        widget.setBannerBgAlpha(100); // the value that it has: the style is made all the same
        QVERIFY(widget.bannerWidget->styleSheet().contains(QLatin1String("rgba(200,100,50,100)")));
        QVERIFY(widget.bannerWidget->styleSheet().contains(QLatin1String("#0a141e")));
    }

    void setWidgetPara_takesEveryField()
    {
        FrameWidget widget;
        WidgetPara para;
        para.borderWidth = 4;
        para.borderColor = Qt::red;
        para.focusColor = Qt::green;
        para.bgColor = Qt::blue;
        para.textColor = Qt::cyan;
        para.fillColor = Qt::magenta;
        para.bgTextSize = 33;
        para.bgText = QStringLiteral("text");
        para.bgImage = colouredImage(3, 3, Qt::red);
        para.spareFlag = false;
        para.copyImage = true;
        para.muted = true;
        para.videoFlag = QStringLiteral("flag");
        para.scaleMode = ScaleMode_Aspect;
        para.videoMode = VideoMode_Painter;
        para.bannerEnable = true;
        para.bannerSize = 40;
        para.bannerPosition = 1;
        para.banner.text = QStringLiteral("cam");
        widget.setWidgetPara(para);

        const WidgetPara got = widget.getWidgetPara();
        QCOMPARE(got.borderWidth, 4);
        QCOMPARE(got.borderColor, QColor(Qt::red));
        QCOMPARE(got.focusColor, QColor(Qt::green));
        QCOMPARE(got.bgColor, QColor(Qt::blue));
        QCOMPARE(got.textColor, QColor(Qt::cyan));
        QCOMPARE(got.fillColor, QColor(Qt::magenta));
        QCOMPARE(got.bgTextSize, 33);
        QCOMPARE(got.bgText, QStringLiteral("text"));
        QCOMPARE(got.bgImage, para.bgImage);
        QVERIFY(!got.spareFlag && got.copyImage && got.muted && got.bannerEnable);
        QCOMPARE(got.videoFlag, QStringLiteral("flag"));
        QCOMPARE(got.scaleMode, ScaleMode_Aspect);
        QCOMPARE(got.videoMode, VideoMode_Painter);
        QCOMPARE(got.bannerSize, 40);
        QCOMPARE(got.bannerPosition, 1);
        QCOMPARE(got.banner.text, QStringLiteral("cam"));
        QCOMPARE(widget.renderMode, VideoMode_Painter);
    }

    void setWidgetPara_givesTheBannerItsParametersAndButtons()
    {
        FrameWidget widget;
        WidgetPara para;
        para.bannerPosition = 3;
        para.banner.position = 1;
        para.banner.margins = QMargins(1, 2, 3, 4);
        para.banner.spacing = 9;
        para.banner.icons = QStringList{QStringLiteral(":/primary/volume.svg")};
        para.banner.names = QStringList{QStringLiteral("btnSound")};
        para.banner.tips = QStringList{QStringLiteral("sound")};
        para.banner.text = QStringLiteral("cam");
        widget.setWidgetPara(para);

        const BannerPara banner = widget.bannerWidget->getBannerPara();
        QCOMPARE(banner.position, 3); // that of the widget's record wins
        QCOMPARE(banner.margins, QMargins(1, 2, 3, 4));
        QCOMPARE(banner.spacing, 9);
        QCOMPARE(banner.names, para.banner.names);
        QCOMPARE(banner.tips, para.banner.tips);
        QCOMPARE(banner.icons, para.banner.icons);
        QCOMPARE(banner.text, QStringLiteral("cam"));
        QVERIFY(widget.bannerWidget->findChild<QPushButton *>(QStringLiteral("btnSound")));
        QCOMPARE(widget.getWidgetPara().banner.position, 1);
    }

    void setWidgetPara_hidesTheBanner_whenItIsNotEnabled()
    {
        FrameWidget widget;
        WidgetPara para;
        widget.bannerWidget->show();
        para.bannerEnable = true;
        widget.setWidgetPara(para);
        QVERIFY(!widget.bannerWidget->isHidden());
        para.bannerEnable = false;
        widget.setWidgetPara(para);
        QVERIFY(widget.bannerWidget->isHidden());
    }

    void setWidgetPara_laysOutAnew_onlyForScaleModeAndBorder()
    {
        FrameWidget widget;
        QVERIFY(shows(&widget));
        ResizeCounter resizes(&widget);
        PaintCounter paints(widget.osdWidget);
        WidgetPara para = widget.getWidgetPara();
        para.bgText = QStringLiteral("other");
        para.bannerPosition = 2;
        widget.setWidgetPara(para);
        QVERIFY(settle());
        QCOMPARE(resizes.count, 0);
        QVERIFY(paints.count > 0);

        para.scaleMode = ScaleMode_Fill;
        widget.setWidgetPara(para);
        QCOMPARE(resizes.count, 0); // posted, not sent
        QVERIFY(waitFor([&] { return resizes.count == 1; }));
        para.borderWidth = 6;
        widget.setWidgetPara(para);
        QVERIFY(waitFor([&] { return resizes.count == 2; }));
    }

    void setVideoPara_setsTheHardwareInForce_andLeavesTheThread()
    {
        FrameWidget widget;
        FakeThread thread;
        widget.videoThread = &thread;
        VideoPara para;
        para.videoCore = VideoCore_Device;
        para.hardware = QStringLiteral("dxva2");
        para.readTimeout = 1;
        para.connectTimeout = 2;
        widget.setVideoPara(para);
        QCOMPARE(widget.getVideoPara().videoCore, VideoCore_Device);
        QCOMPARE(widget.getVideoPara().hardware, QStringLiteral("dxva2"));
        QCOMPARE(widget.getVideoPara().readTimeout, 1);
        QCOMPARE(widget.getVideoPara().connectTimeout, 2);
        QCOMPARE(widget.hardware, QStringLiteral("dxva2"));
        QCOMPARE(thread.getHardware(), QStringLiteral("none"));
        QCOMPARE(thread.getReadTimeout(), 0);
    }

    void setVideoFlag_isStored_withoutRepaint()
    {
        FrameWidget widget;
        QVERIFY(shows(&widget));
        PaintCounter paints(widget.osdWidget);
        widget.setVideoFlag(QStringLiteral("front door"));
        QCOMPARE(widget.getWidgetPara().videoFlag, QStringLiteral("front door"));
        QVERIFY(settle());
        QCOMPARE(paints.count, 0);
    }

    void setScaleMode_laysOutAnew_whenItChanges()
    {
        FrameWidget widget;
        QVERIFY(shows(&widget));
        ResizeCounter resizes(&widget);
        widget.setScaleMode(ScaleMode_Fill);
        QCOMPARE(widget.getScaleMode(), ScaleMode_Fill);
        QCOMPARE(resizes.count, 0);
        QVERIFY(waitFor([&] { return resizes.count == 1; }));
        QCOMPARE(widget.targetRect, widget.rect());
        widget.setScaleMode(ScaleMode_Fill);
        QCoreApplication::sendPostedEvents(&widget, QEvent::Resize);
        QCOMPARE(resizes.count, 1);
    }

    void setVideoMode_setsBothModes()
    {
        FrameWidget widget;
        widget.setVideoMode(VideoMode_Opengl);
        QCOMPARE(widget.getWidgetPara().videoMode, VideoMode_Opengl);
        QCOMPARE(widget.renderMode, VideoMode_Opengl);
    }

    void setVideoMode_leavesTheModeInForce_whenItIsTheConfiguredOne()
    {
        FrameWidget widget;
        widget.setVideoMode(VideoMode_D3D9);
        VideoPara para;
        para.hardware = QStringLiteral("dxva2");
        widget.setVideoPara(para);
        widget.onUpdateCodecRender(QStringLiteral("H264"), 640, 360);
        QCOMPARE(widget.renderMode, VideoMode_Painter);
        widget.setVideoMode(VideoMode_D3D9);
        QCOMPARE(widget.renderMode, VideoMode_Painter);
        widget.setVideoMode(VideoMode_Opengl);
        QCOMPARE(widget.renderMode, VideoMode_Opengl);
    }

    void getIsRunning_followsTheThread()
    {
        FrameWidget widget;
        widget.started();
        QVERIFY(widget.getIsRunning());
        widget.finished();
        QVERIFY(!widget.getIsRunning());
    }

    // --- Start and end of play ------------------------------------------------------------------

    void receivePlayStart_showsTheLayerOfTheMode_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("native");
        QTest::newRow("none") << int(VideoMode_Hwnd) << true;
        QTest::newRow("painter") << int(VideoMode_Painter) << false;
        QTest::newRow("opengl") << int(VideoMode_Opengl) << false;
        QTest::newRow("d3d9") << int(VideoMode_D3D9) << true;
        QTest::newRow("d3d11") << int(VideoMode_D3D11) << true;
    }
    void receivePlayStart_showsTheLayerOfTheMode()
    {
        QFETCH(int, mode);
        QFETCH(bool, native);
        FrameWidget widget;
        widget.resize(400, 300);
        FakeThread thread;
        thread.setPicture(200, 100, 0, false);
        widget.videoThread = &thread;
        widget.setVideoMode(VideoMode(mode));

        widget.receivePlayStart(5);
        QCOMPARE(widget.hwndWidget->updatesEnabled(), !native);
        QCOMPARE(widget.hwndWidget->isHidden(), !native);
        QCOMPARE(widget.osdWidget->isHidden(), native);
        QCOMPARE(widget.videoWidth, 200);
        QCOMPARE(widget.hwndWidget->size(), QSize(200, 100));
        QCOMPARE(widget.osdWidget->size(), QSize(400, 300));
        QVERIFY(widget.osdTimer->isActive());

        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        widget.receivePlayFinsh(&thread);
        QVERIFY(widget.hwndWidget->updatesEnabled());
        QCOMPARE(widget.hwndWidget->isHidden(), !native);
        QVERIFY(!widget.osdTimer->isActive());
        QCOMPARE(ends.count(), 1);
    }

    void receivePlayStart_hasNoSignalOfItsOwn()
    {
        FrameWidget widget;
        QSignalSpy starts(&widget, &AbstractVideoWidget::sig_receivePlayStart);
        widget.receivePlayStart(0);
        QCOMPARE(starts.count(), 0);
    }

    void receivePlayStart_handsTheMuteToTheSound()
    {
        FrameWidget widget;
        const auto audio = QSharedPointer<FakeAudio>::create();
        widget.audioThread = audio;
        WidgetPara para;
        para.muted = true;
        widget.setWidgetPara(para);
        widget.receivePlayStart(0);
        QCoreApplication::sendPostedEvents(audio.data(), QEvent::MetaCall);
        QCOMPARE(audio->calls, QStringList(QStringLiteral("muted 1")));
    }

    void receivePlayFinsh_freesTheDirect3D9SurfaceOnly()
    {
        FrameWidget widget;
        auto *d3d9 = new FakeD3D9(widget.hwndWidget);
        auto *yuv = new FakeYuv(widget.hwndWidget);
        auto *nv12 = new FakeNv12(widget.hwndWidget);
        auto *d3d11 = new FakeD3D11(widget.hwndWidget);
        widget.nv12D3D9Widget = d3d9;
        widget.yuvWidget = yuv;
        widget.nv12Widget = nv12;
        widget.nv12D3D11Widget = d3d11;
        const QPointer<QObject> freed(d3d9);
        widget.receivePlayFinsh(nullptr);
        QVERIFY(!freed);
        QVERIFY(!widget.nv12D3D9Widget);
        QVERIFY(widget.yuvWidget && widget.nv12Widget && widget.nv12D3D11Widget);
        QVERIFY(yuv->calls.isEmpty() && nv12->calls.isEmpty() && d3d11->calls.isEmpty());
    }

    void receivePlayFinsh_tellsTheHost_whenTheSurfaceIsGone()
    {
        FrameWidget widget;
        widget.setVideoMode(VideoMode_D3D9);
        QVERIFY(shows(&widget));
        QStringList steps;
        auto *surface = new EndingSurface(steps, widget.hwndWidget);
        surface->show();
        widget.nv12D3D9Widget = surface;
        widget.osdTimer->start();
        widget.hwndWidget->setUpdatesEnabled(false);
        connect(&widget, &AbstractVideoWidget::sig_receivePlayFinsh, [&] {
            QVERIFY(widget.hwndWidget->updatesEnabled() && !widget.osdTimer->isActive());
            steps << QStringLiteral("signal");
        });
        widget.receivePlayFinsh(nullptr);
        QCOMPARE(steps, QStringList({"clear", "hide", "close", "delete", "signal"}));
    }

    void osdTimer_repaintsThePaintedLayer()
    {
        FrameWidget widget;
        widget.setVideoMode(VideoMode_Painter);
        QVERIFY(shows(&widget));
        widget.osdTimer->setInterval(1);
        widget.receivePlayStart(0);
        QVERIFY(settle());
        PaintCounter paints(widget.osdWidget);
        QVERIFY(waitFor([&] { return paints.count >= 3; }));
    }

    void close_endsThePreviewAndTheTimer()
    {
        FrameWidget widget;
        const QPointer<QObject> preview(new QObject);
        widget.snapPreview = preview;
        widget.osdTimer->start();
        for (const bool accepted : {true, false}) {
            QCloseEvent event;
            event.setAccepted(accepted);
            widget.closeEvent(&event);
            QCOMPARE(event.isAccepted(), accepted);
        }
        QVERIFY(!widget.osdTimer->isActive());
        QVERIFY(preview); // later, not at once
        QVERIFY(waitFor([&] { return !preview; }));
    }

    void close_survivesAPreviewThatIsGone()
    {
        FrameWidget widget;
        auto *preview = new QObject;
        widget.snapPreview = preview;
        delete preview;
        QCloseEvent event;
        widget.closeEvent(&event);
        widget.closeEvent(nullptr);
    }

    void setPalettex_fillsTheBars()
    {
        FrameWidget widget;
        WidgetPara para;
        para.fillColor = Qt::blue;
        widget.setWidgetPara(para);
        widget.setPalettex(true);
        QVERIFY(widget.autoFillBackground());
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
            QCOMPARE(widget.palette().brush(group, QPalette::Window), QBrush(Qt::blue));
        widget.setPalettex(false);
        QVERIFY(!widget.autoFillBackground());
        QCOMPARE(widget.palette().color(QPalette::Window), QColor(Qt::blue));
    }

    void setPalettex_doesNothing_whenThereAreNoBarsOrNoColour()
    {
        FrameWidget widget;
        widget.setPalettex(true);
        QVERIFY(!widget.autoFillBackground()); // transparent fill colour
        WidgetPara para;
        para.fillColor = Qt::blue;
        para.scaleMode = ScaleMode_Fill;
        widget.setWidgetPara(para);
        widget.setPalettex(true);
        QVERIFY(!widget.autoFillBackground());
        widget.setAutoFillBackground(true);
        widget.setPalettex(false);
        QVERIFY(widget.autoFillBackground());
    }

    void bars_takeTheFillColour_duringPlay()
    {
        FrameWidget widget;
        widget.resize(200, 100);
        FakeThread thread;
        thread.setPicture(50, 50, 0, false);
        widget.videoThread = &thread;
        WidgetPara para;
        para.fillColor = QColor(10, 200, 30);
        para.videoMode = VideoMode_D3D9; // the painted layer is hidden
        widget.setWidgetPara(para);
        QVERIFY(shows(&widget));
        widget.receivePlayStart(0);
        QCOMPARE(pixel(&widget, 2, 2), QColor(10, 200, 30));
        QCOMPARE(pixel(&widget, 198, 98), QColor(10, 200, 30));
    }

    // --- Controls -------------------------------------------------------------------------------

    void emptyControls_doNothing()
    {
        FrameWidget widget;
        FakeThread thread;
        const auto audio = QSharedPointer<FakeAudio>::create();
        widget.videoThread = &thread;
        widget.recordThread = &thread;
        widget.audioThread = audio;
        QSignalSpy clicks(&widget, &AbstractVideoWidget::sig_btnClicked);
        widget.snap();
        widget.snap(QStringLiteral("x"), true);
        widget.talkStart();
        widget.talkStop();
        widget.btnClicked(QStringLiteral("x"));
        QCoreApplication::sendPostedEvents(audio.data(), QEvent::MetaCall);
        QCoreApplication::sendPostedEvents(&thread, QEvent::MetaCall);
        QVERIFY(audio->calls.isEmpty() && thread.calls.isEmpty());
        QVERIFY(thread.getSnapName().isEmpty());
        QCOMPARE(clicks.count(), 0);
    }

    void controls_withoutATarget_areIgnored()
    {
        const vantratest::QtWarnings warnings;
        FrameWidget widget;
        widget.recordStart(QStringLiteral("x"));
        widget.recordStop();
        widget.setSaveInterval(1);
        widget.setVolume(1);
        widget.setCalcLevel(true);
        widget.openAudioOutput(8000, 1, 16);
        widget.playAudio(QByteArray("x"));
        widget.stopAudioThread();
        QVERIFY(!widget.audioThread);
        QCOMPARE(warnings.lines(), QStringList());
    }

    void recording_isForwardedToTheRecordThread()
    {
        FrameWidget widget;
        FakeThread thread;
        FakeThread shown;
        widget.recordThread = &thread;
        widget.videoThread = &shown;
        widget.setSaveInterval(7);
        QCOMPARE(thread.getSaveInterval(AbstractVideoThread::MANUAL_RECORD), 7);
        widget.recordStart(QStringLiteral("folder"));
        QCOMPARE(thread.recordPath(), QStringLiteral("folder"));
        QVERIFY(thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
        QVERIFY(!thread.isRecording(AbstractVideoThread::AUTO_RECORD));
        QVERIFY(!shown.isRecording(AbstractVideoThread::MANUAL_RECORD));
        widget.recordStop();
        QVERIFY(!thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
    }

    void recordingAndSound_areOff_withoutStreamControl()
    {
        FrameWidget widget;
        FakeThread thread;
        widget.recordThread = &thread;
        widget.noStreamControl = true;
        widget.setSaveInterval(7);
        widget.recordStart(QStringLiteral("folder"));
        QVERIFY(thread.getSaveInterval(AbstractVideoThread::MANUAL_RECORD) != 7);
        QVERIFY(thread.recordPath().isEmpty());
        QVERIFY(!thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
        thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
        widget.recordStop();
        QVERIFY(thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
        widget.startAudioThread();
        QVERIFY(!widget.audioThread);
    }

    void recordThread_thatIsDeleted_isForgotten()
    {
        FrameWidget widget;
        auto *thread = new FakeThread;
        widget.recordThread = thread;
        delete thread;
        widget.recordStart(QStringLiteral("folder"));
        widget.recordStop();
        widget.setSaveInterval(1);
    }

    void sound_isReachedByNameAndQueued()
    {
        FrameWidget widget;
        const auto audio = QSharedPointer<FakeAudio>::create();
        widget.audioThread = audio;
        widget.openAudioOutput(8000, 1, 16);
        widget.playAudio(QByteArray("pcm"));
        widget.setVolume(42);
        widget.setMuted(true);
        QVERIFY(audio->calls.isEmpty());
        QVERIFY(widget.getWidgetPara().muted);
        QCoreApplication::sendPostedEvents(audio.data(), QEvent::MetaCall);
        QCOMPARE(audio->calls,
                 QStringList({QStringLiteral("open 8000 1 16"), QStringLiteral("play pcm"),
                              QStringLiteral("volume 42"), QStringLiteral("muted 1")}));
    }

    void sound_hasTheSlotsThatAreReachedByName()
    {
        const QMetaObject &meta = AudioThread::staticMetaObject;
        for (const char *slot : {"openAudioOutput(int,int,int)", "play(QByteArray)",
                                 "receiveVolume(int)", "receiveMuted(bool)"})
            QVERIFY2(meta.indexOfSlot(slot) >= 0, slot);
    }

    void setMuted_isNotEvenStored_withoutAnAudioThread()
    {
        FrameWidget widget;
        widget.setMuted(true);
        widget.setMuted(true);
        QVERIFY(!widget.getWidgetPara().muted);
    }

    void startAudioThread_startsOne_inPlaceOfTheLast()
    {
        FrameWidget widget;
        widget.startAudioThread();
        QVERIFY(widget.audioThread);
        const QPointer<AudioThread> first(widget.audioThread.data());
        QVERIFY(first->QObject::thread() != QThread::currentThread());
        QVERIFY(waitFor([&] {
            widget.setCalcLevel(true); // a direct call
            return first->getLevel();
        }));
        widget.startAudioThread();
        QVERIFY(!first);
        QVERIFY(widget.audioThread);
        widget.stopAudioThread();
        QVERIFY(widget.audioThread); // the pointer stays
        QVERIFY(!widget.audioThread->getLevel());
    }

    void talkErrors_arePassedOn()
    {
        FrameWidget widget;
        QSignalSpy busy(&widget, &AbstractVideoWidget::sig_startTalkDeviceBusy);
        QSignalSpy error(&widget, &AbstractVideoWidget::sig_startTalkError);
        QSignalSpy level(&widget, &AbstractVideoWidget::receiveLevel);
        widget.startAudioThread();
        emit widget.audioThread->sig_startTalkDeviceBusy(QStringLiteral("a"));
        emit widget.audioThread->sig_startTalkError(QStringLiteral("b"));
        emit widget.audioThread->receiveLevel(0.5); // a host connects that itself
        QVERIFY(waitFor([&] { return busy.count() == 1 && error.count() == 1; }));
        QCOMPARE(busy.first().first().toString(), QStringLiteral("a"));
        QCOMPARE(error.first().first().toString(), QStringLiteral("b"));
        QCOMPARE(level.count(), 0);
    }

    void widget_mayGo_whileItsSoundRuns()
    {
        auto widget = std::make_unique<FrameWidget>();
        widget->startAudioThread();
        const QPointer<AudioThread> audio(widget->audioThread.data());
        widget->playAudio(QByteArray(1000, '\0'));
        widget.reset();
        QVERIFY(!audio);
    }

    void audioThread_mayGo_whileItRuns()
    {
        FrameWidget widget;
        widget.startAudioThread();
        widget.playAudio(QByteArray(1000, '\0'));
        widget.audioThread.reset();
        widget.setVolume(3);
        widget.stopAudioThread();
    }

    void bannerButton_reachesSubclassAndHost()
    {
        ButtonWidget widget;
        WidgetPara para;
        para.banner.icons = QStringList{QStringLiteral(":/primary/volume.svg")};
        para.banner.names = QStringList{QStringLiteral("btnSound")};
        para.banner.tips = QStringList{QString()};
        widget.setWidgetPara(para);
        QSignalSpy clicks(&widget, &AbstractVideoWidget::sig_btnClicked);
        auto *button = widget.bannerWidget->findChild<QPushButton *>(QStringLiteral("btnSound"));
        QVERIFY(button);
        button->click();
        QCOMPARE(widget.clicked, QStringList(QStringLiteral("btnMuted")));
        QCOMPARE(clicks.count(), 1);
        QCOMPARE(clicks.first().first().toString(), QStringLiteral("btnMuted"));
    }
};

QTEST_MAIN(tst_AbstractVideoWidget)
#include "tst_abstractvideowidget.moc"
