// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "videotypes.h"

#include <QtTest>

#include <algorithm>

class tst_VideoTypes : public QObject
{
    Q_OBJECT

private slots:
    void enums_haveTheNumbersThatHostsStore();
    void enums_are32BitsWide();
    void recorderState_isAMetaType();
    void videoPara_hasDefaults();
    void widgetPara_hasDefaults();
    void bannerPara_hasDefaults();
    void osdInfo_isHidden_whenDefaultBuilt();
    void graphInfo_isEmpty_whenDefaultBuilt();
    void records_areValues();
    void records_keepTheOrderOfTheirFields();
    void records_haveTheirFieldsInOrder();
};

void tst_VideoTypes::enums_haveTheNumbersThatHostsStore()
{
    QCOMPARE(int(DecodeType_Fast), 0);
    QCOMPARE(int(DecodeType_Quality), 1);
    QCOMPARE(int(DecodeType_Balanced), 2);
    QCOMPARE(int(VideoCore_None), 0);
    QCOMPARE(int(VideoMode_Hwnd), 0);
    QCOMPARE(int(VideoMode_Painter), 1);
    QCOMPARE(int(VideoMode_Opengl), 2);
    QCOMPARE(int(VideoMode_D3D9), 3);
    QCOMPARE(int(VideoMode_D3D11), 4);
    QCOMPARE(int(ScaleMode_Auto), 0);
    QCOMPARE(int(ScaleMode_Aspect), 1);
    QCOMPARE(int(ScaleMode_Fill), 2);
    QCOMPARE(int(OsdFormat_Text), 0);
    QCOMPARE(int(OsdFormat_Date), 1);
    QCOMPARE(int(OsdFormat_Time), 2);
    QCOMPARE(int(OsdFormat_DateTime), 3);
    QCOMPARE(int(OsdFormat_Image), 4);
    QCOMPARE(int(OsdPosition_LeftTop), 0);
    QCOMPARE(int(OsdPosition_LeftBottom), 1);
    QCOMPARE(int(OsdPosition_RightTop), 2);
    QCOMPARE(int(OsdPosition_RightBottom), 3);
    QCOMPARE(int(OsdPosition_Center), 4);
    QCOMPARE(int(OsdPosition_Custom), 255);
}

void tst_VideoTypes::enums_are32BitsWide()
{
    QCOMPARE(sizeof(DecodeType), size_t(4));
    QCOMPARE(sizeof(VideoCore), size_t(4));
    QCOMPARE(sizeof(VideoMode), size_t(4));
    QCOMPARE(sizeof(ScaleMode), size_t(4));
    QCOMPARE(sizeof(RecorderState), size_t(4));
    QCOMPARE(sizeof(OsdFormat), size_t(4));
    QCOMPARE(sizeof(OsdPosition), size_t(4));
}

void tst_VideoTypes::recorderState_isAMetaType()
{
    const int type = qRegisterMetaType<RecorderState>("RecorderState");
    QCOMPARE(QMetaType::type("RecorderState"), type);
    QCOMPARE(qRegisterMetaType<RecorderState>("RecorderState"), type); // once per thread object
    QCOMPARE(QMetaType::sizeOf(type), 4);
    QVERIFY(QMetaType::typeFlags(type) & QMetaType::IsEnumeration);
    QVERIFY(QMetaType::typeFlags(type) & QMetaType::MovableType);
    const QVariant carried = QVariant::fromValue(RecorderState_Paused);
    QCOMPARE(carried.value<RecorderState>(), RecorderState_Paused);
}

void tst_VideoTypes::videoPara_hasDefaults()
{
    const VideoPara para;
    QCOMPARE(int(para.videoCore), 0);
    QCOMPARE(para.hardware, QStringLiteral("none"));
    QCOMPARE(para.readTimeout, 500);
    QCOMPARE(para.connectTimeout, 500);
}

void tst_VideoTypes::widgetPara_hasDefaults()
{
    const WidgetPara para;
    QCOMPARE(para.borderWidth, 0);
    QCOMPARE(para.borderColor, QColor(Qt::transparent));
    QCOMPARE(para.focusColor, QColor(0x22, 0xA3, 0xA9));
    QCOMPARE(para.bgColor, QColor(Qt::transparent));
    QCOMPARE(para.textColor, QColor(Qt::transparent));
    QCOMPARE(para.fillColor, QColor(Qt::transparent));
    QCOMPARE(para.bgTextSize, 15);
    QCOMPARE(para.bgText, QString::fromUtf8("\xE8\xA7\x86\xE9\xA2\x91"));
    QVERIFY(para.bgImage.isNull());
    QCOMPARE(para.spareFlag, true);
    QCOMPARE(para.copyImage, false);
    QCOMPARE(para.muted, false);
    QVERIFY(para.videoFlag.isEmpty());
    QCOMPARE(int(para.scaleMode), 0);
    QCOMPARE(int(para.videoMode), 0);
    QCOMPARE(para.bannerEnable, false);
    QCOMPARE(para.bannerSize, 25);
    QCOMPARE(para.bannerPosition, 0);
    QCOMPARE(para.banner.spacing, BannerPara().spacing);
}

void tst_VideoTypes::osdInfo_isHidden_whenDefaultBuilt()
{
    const OsdInfo info;
    QVERIFY(!info.visible);
    QVERIFY(info.name.isEmpty() && info.text.isEmpty() && info.image.isNull());
    QCOMPARE(info.format, OsdFormat_Text);
    QCOMPARE(info.position, OsdPosition_LeftTop);
    QVERIFY(info.fontSize > 0); // QFont refuses other pixel sizes
}

void tst_VideoTypes::graphInfo_isEmpty_whenDefaultBuilt()
{
    const GraphInfo info;
    QVERIFY(info.name.isEmpty() && info.rect.isEmpty() && info.path.isEmpty() &&
            info.points.isEmpty());
    QCOMPARE(info.borderWidth, 0);
}

void tst_VideoTypes::records_areValues()
{
    WidgetPara one;
    one.banner.icons << QStringLiteral("a");
    one.bgImage = QImage(2, 2, QImage::Format_RGB32);
    one.bgImage.fill(Qt::red);
    WidgetPara two = one;
    two.banner.icons << QStringLiteral("b");
    two.bgImage.fill(Qt::blue);
    two.scaleMode = ScaleMode_Fill;
    QCOMPARE(one.banner.icons, QStringList("a"));
    QCOMPARE(one.bgImage.pixelColor(0, 0), QColor(Qt::red));
    QCOMPARE(one.scaleMode, ScaleMode_Auto);
}

/// Distances of fields from the start of their record.
template<typename Record, typename... Fields>
static QVector<qptrdiff> offsets(const Record &record, const Fields &...fields)
{
    const auto *start = reinterpret_cast<const char *>(&record);
    return {(reinterpret_cast<const char *>(&fields) - start)...};
}

void tst_VideoTypes::records_haveTheirFieldsInOrder()
{
    const VideoPara video;
    const OsdInfo osd;
    const GraphInfo graph;
    const BannerPara banner;
    const WidgetPara widget;
    for (const QVector<qptrdiff> &found :
         {offsets(video, video.videoCore, video.hardware, video.readTimeout, video.connectTimeout),
          offsets(osd, osd.name, osd.visible, osd.fontSize, osd.text, osd.color, osd.image,
                  osd.point, osd.format, osd.position),
          offsets(graph, graph.name, graph.borderWidth, graph.borderColor, graph.fillColor,
                  graph.rect, graph.path, graph.points),
          offsets(banner, banner.margins, banner.spacing, banner.bgAlpha, banner.bgColor,
                  banner.textColor, banner.pressColor, banner.position, banner.icons, banner.names,
                  banner.tips, banner.text),
          offsets(widget, widget.borderWidth, widget.borderColor, widget.focusColor, widget.bgColor,
                  widget.textColor, widget.fillColor, widget.bgTextSize, widget.bgText,
                  widget.bgImage, widget.spareFlag, widget.copyImage, widget.muted,
                  widget.videoFlag, widget.scaleMode, widget.videoMode, widget.bannerEnable,
                  widget.bannerSize, widget.bannerPosition, widget.banner)}) {
        QCOMPARE(found.first(), qptrdiff(0));
        QVERIFY(std::is_sorted(found.begin(), found.end()));
    }
}

// Hosts fill records by position.
void tst_VideoTypes::records_keepTheOrderOfTheirFields()
{
    const VideoPara video{VideoCore_Device, QStringLiteral("dxva2"), 1, 2};
    QCOMPARE(video.videoCore, VideoCore_Device);
    QCOMPARE(video.hardware, QStringLiteral("dxva2"));
    QCOMPARE(video.readTimeout, 1);
    QCOMPARE(video.connectTimeout, 2);

    const QImage picture(1, 1, QImage::Format_RGB32);
    const OsdInfo osd{QStringLiteral("n"), true,           9,
                      QStringLiteral("t"), Qt::red,        picture,
                      QPoint(3, 4),        OsdFormat_Time, OsdPosition_Center};
    QCOMPARE(osd.name, QStringLiteral("n"));
    QVERIFY(osd.visible);
    QCOMPARE(osd.fontSize, 9);
    QCOMPARE(osd.text, QStringLiteral("t"));
    QCOMPARE(osd.color, QColor(Qt::red));
    QCOMPARE(osd.image, picture);
    QCOMPARE(osd.point, QPoint(3, 4));
    QCOMPARE(osd.format, OsdFormat_Time);
    QCOMPARE(osd.position, OsdPosition_Center);

    QPainterPath path;
    path.addRect(1, 2, 3, 4);
    const GraphInfo graph{QStringLiteral("g"), 5,    Qt::red,       Qt::blue,
                          QRect(1, 2, 3, 4),   path, {QPoint(7, 8)}};
    QCOMPARE(graph.name, QStringLiteral("g"));
    QCOMPARE(graph.borderWidth, 5);
    QCOMPARE(graph.borderColor, QColor(Qt::red));
    QCOMPARE(graph.fillColor, QColor(Qt::blue));
    QCOMPARE(graph.rect, QRect(1, 2, 3, 4));
    QCOMPARE(graph.path, path);
    QCOMPARE(graph.points, QList<QPoint>{QPoint(7, 8)});

    BannerPara banner;
    banner.text = QStringLiteral("b");
    const WidgetPara look{1,
                          Qt::red,
                          Qt::green,
                          Qt::blue,
                          Qt::cyan,
                          Qt::magenta,
                          2,
                          QStringLiteral("bg"),
                          picture,
                          false,
                          true,
                          true,
                          QStringLiteral("flag"),
                          ScaleMode_Fill,
                          VideoMode_Opengl,
                          true,
                          3,
                          4,
                          banner};
    QCOMPARE(look.borderWidth, 1);
    QCOMPARE(look.borderColor, QColor(Qt::red));
    QCOMPARE(look.focusColor, QColor(Qt::green));
    QCOMPARE(look.bgColor, QColor(Qt::blue));
    QCOMPARE(look.textColor, QColor(Qt::cyan));
    QCOMPARE(look.fillColor, QColor(Qt::magenta));
    QCOMPARE(look.bgTextSize, 2);
    QCOMPARE(look.bgText, QStringLiteral("bg"));
    QCOMPARE(look.bgImage, picture);
    QVERIFY(!look.spareFlag && look.copyImage && look.muted);
    QCOMPARE(look.videoFlag, QStringLiteral("flag"));
    QCOMPARE(look.scaleMode, ScaleMode_Fill);
    QCOMPARE(look.videoMode, VideoMode_Opengl);
    QVERIFY(look.bannerEnable);
    QCOMPARE(look.bannerSize, 3);
    QCOMPARE(look.bannerPosition, 4);
    QCOMPARE(look.banner.text, QStringLiteral("b"));
}

void tst_VideoTypes::bannerPara_hasDefaults()
{
    const BannerPara para;
    QCOMPARE(para.margins, QMargins(5, 0, 3, 0));
    QCOMPARE(para.spacing, 2);
    QCOMPARE(para.bgAlpha, 100);
    QCOMPARE(para.bgColor, QColor(0x33, 0x33, 0x33));
    QCOMPARE(para.textColor, QColor(0xFF, 0xFF, 0xFF));
    QCOMPARE(para.pressColor, QColor(0x5E, 0xC7, 0xD9));
    QCOMPARE(para.position, 0);
    QVERIFY(para.icons.isEmpty() && para.names.isEmpty() && para.tips.isEmpty());
    QVERIFY(para.text.isEmpty());
}

QTEST_GUILESS_MAIN(tst_VideoTypes)
#include "tst_videotypes.moc"
