// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/metaobject.h"
#include "support/pixels.h"
#include "support/scriptedcard.h"
#include "videowidgetfakes.h"

#include <QMetaProperty>
#include <QPushButton>
#include <QtTest>

using namespace videowidgetfakes;
using vantratest::methodsOf;
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

} // namespace

class tst_AbstractVideoWidget : public AbstractWidgetTest
{
    Q_OBJECT

private slots:
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
        const vantratest::ScriptedCard card; // decodes nothing
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
};

QTEST_MAIN(tst_AbstractVideoWidget)
#include "tst_abstractvideowidget.moc"
