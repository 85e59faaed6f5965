// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What a video widget shows, pixel by pixel, in a real window. Coordinates are logical pixels, so
// that the same expectations hold at every device pixel ratio.

#include "core_videobase/abstractvideowidget.h"

#include "core_videobase/bannerwidget.h"
#include "support/logcapture.h"
#include "support/pixels.h"

#include <QApplication>
#include <QDateTime>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>
#include <QWindow>

#include <memory>

namespace {

const QColor kRed(255, 0, 0);
const QColor kGreen(0, 255, 0);
const QColor kBlue(0, 0, 255);
const QColor kYellow(255, 255, 0);
const QColor kBlack(0, 0, 0);

constexpr int kWidth = 400;
constexpr int kHeight = 300;
constexpr int kNotch = 120; // eighths of a degree

QImage solid(const QSize &size, const QColor &color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

// Red, green, blue and yellow, row by row.
QImage quadrants(const QSize &size)
{
    QImage image = solid(size, kRed);
    const int x = size.width() / 2;
    const int y = size.height() / 2;
    QPainter painter(&image);
    painter.fillRect(x, 0, size.width() - x, y, kGreen);
    painter.fillRect(0, y, x, size.height() - y, kBlue);
    painter.fillRect(x, y, size.width() - x, size.height() - y, kYellow);
    return image;
}

// A grabbed widget, addressed in logical pixels.
class Shot
{
public:
    explicit Shot(QWidget &widget) : Shot(widget.grab().toImage()) {}
    explicit Shot(const QImage &grabbed)
        : image(grabbed.convertToFormat(QImage::Format_RGB32)),
          ratio(qRound(grabbed.devicePixelRatio()))
    {
        image.setDevicePixelRatio(1);
    }

    QColor at(int x, int y) const { return image.pixelColor(x * ratio, y * ratio); }
    QRect bounds(const QColor &color) const
    {
        const QRect physical = vantratest::boundsOf(image, color);
        return QRect(physical.x() / ratio, physical.y() / ratio, physical.width() / ratio,
                     physical.height() / ratio);
    }
    bool contains(const QColor &color) const { return !bounds(color).isEmpty(); }
    bool isAll(const QColor &color) const
    {
        return vantratest::countOf(image, color) == image.width() * image.height();
    }

    QImage image; ///< physical pixels

private:
    int ratio;
};

// A black canvas of the widget's size and pixel ratio, painted on as the widget is.
template<typename Draw>
QImage expectedCanvas(const QWidget &widget, Draw draw)
{
    const qreal ratio = widget.devicePixelRatioF();
    QImage canvas = solid(QSize(kWidth, kHeight) * ratio, kBlack);
    canvas.setDevicePixelRatio(ratio);
    {
        QPainter painter(&canvas);
        painter.setRenderHint(QPainter::Antialiasing);
        draw(painter);
    }
    canvas.setDevicePixelRatio(1);
    return canvas;
}

class FakeThread final : public AbstractVideoThread
{
public:
    using AbstractVideoThread::AbstractVideoThread;
    void setSize(int width, int height)
    {
        videoWidth = width;
        videoHeight = height;
    }
    void setOnlyAudio(bool on) { onlyAudio = on; }

protected:
    void run() override {}
};

// A widget that plays without a thread, with its state laid open.
class Widget final : public AbstractVideoWidget
{
public:
    explicit Widget(VideoMode mode = VideoMode_Painter)
    {
        WidgetPara para = getWidgetPara();
        para.videoMode = mode;
        para.bgText.clear();
        setWidgetPara(para);
        isRunning = true;
        resize(kWidth, kHeight);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == osdWidget && event->type() == QEvent::Paint)
            ++paints;
        return AbstractVideoWidget::eventFilter(watched, event);
    }

    void play(FakeThread *thread)
    {
        videoThread = thread;
        connect(thread, &AbstractVideoThread::receiveImage, this, &Widget::receiveImage);
        receiveSizeChanged();
    }
    void setRunning(bool running) { isRunning = running; }
    void setOnlyAudio(bool on) { onlyAudio = on; }
    void startPlay() { receivePlayStart(0); }
    void endPlay() { receivePlayFinsh(nullptr); }

    QWidget *layer() const { return osdWidget; }
    QWidget *holder() const { return hwndWidget; }
    BannerWidget *banner() const { return bannerWidget; }
    const QImage &picture() const { return image; }
    QRect target() const { return targetRect; }
    DigitalZoom &zoomState() { return zoom; }

    int paints = 0;
};

bool show(Widget &widget)
{
    widget.show();
    return QTest::qWaitForWindowExposed(&widget) && widget.size() == QSize(kWidth, kHeight);
}

// Lets what was posted happen: the layout of a changed size among it.
void settle()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

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

OsdInfo textOsd(const QString &text, OsdPosition position = OsdPosition_LeftTop)
{
    OsdInfo osd;
    osd.name = text;
    osd.visible = true;
    osd.fontSize = 20;
    osd.text = text;
    osd.color = Qt::white;
    osd.position = position;
    return osd;
}

QFont pixelFont(int size)
{
    QFont font;
    font.setPixelSize(size);
    return font;
}

} // namespace

class TestWidgetPainting : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void picture_isScaledAndCentred_data();
    void picture_isScaledAndCentred();
    void picture_keepsItsOrientation();
    void picture_isOnTheScreen();
    void picture_ofAnyPixelRatio_fillsItsPlace();
    void picture_rotated_data();
    void picture_rotated();
    void picture_isShared_unlessCopyImage();
    void picture_isDropped_whileMinimizedOrHidden();
    void picture_ofEndedThread_wipesWidget();

    void border_liesHalfInside();
    void border_takesFocusColor();
    void colors_notChosen_comeFromPaletteForGood();
    void bgColor_fillsTheFrame();
    void bgText_standsInTheMiddle_untilAPictureComes();
    void bgText_isNotDrawn_inSurfaceModes();
    void bgText_survivesAnySize();
    void bgImage_isCentredAndShrunk_data();
    void bgImage_isCentredAndShrunk();
    void fillColor_showsBesideThePicture_data();
    void fillColor_showsBesideThePicture();
    void fillColor_isNotUsed_withFillOrTransparent();

    void osd_textOfEachFormat_data();
    void osd_textOfEachFormat();
    void osd_textAtEachPosition_data();
    void osd_textAtEachPosition();
    void osd_imageAtEachPosition_data();
    void osd_imageAtEachPosition();
    void osd_isNotDrawn_inHwndModeOrWithOnlyAudio();
    void osd_changes_repaintAsTold();
    void graph_changes_repaintAsTold();
    void graphs_areBurntIntoThePicture();

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
    void clear_wipesEverything();

private:
    std::unique_ptr<vantratest::LogCapture> log;
};

void TestWidgetPainting::init()
{
    log = std::make_unique<vantratest::LogCapture>();
}

void TestWidgetPainting::cleanup()
{
    QCOMPARE(log->unexpected(), QStringList());
    log.reset();
}

// The centre of 400 by 300 is (199, 149); even left and top go up by one, so that a picture as large
// as the widget stands at (-1, -1) and leaves the last column and row free.
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
        widget.setImage(QImage(reinterpret_cast<uchar *>(pixels.data()), 16, 16,
                               QImage::Format_RGB32));
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

void TestWidgetPainting::border_liesHalfInside()
{
    Widget widget;
    widget.setBorderColor(kGreen);
    widget.setFocusColor(kGreen);
    QVERIFY(show(widget));
    QVERIFY(!Shot(widget).contains(kGreen)); // a width of 0 draws none

    widget.setBorderWidth(10);
    const Shot shot(widget);
    for (int y : {0, 5, 150, 294, 299}) {
        QCOMPARE(shot.at(0, y), kGreen);
        QCOMPARE(shot.at(4, y), kGreen);
        QCOMPARE(shot.at(395, y), kGreen);
        QCOMPARE(shot.at(399, y), kGreen);
    }
    for (int x : {5, 200, 394}) {
        QCOMPARE(shot.at(x, 4), kGreen);
        QCOMPARE(shot.at(x, 5), kBlack);
        QCOMPARE(shot.at(x, 294), kBlack);
        QCOMPARE(shot.at(x, 295), kGreen);
    }
    QCOMPARE(shot.at(5, 150), kBlack);
    QCOMPARE(shot.at(394, 150), kBlack);
}

void TestWidgetPainting::border_takesFocusColor()
{
    Widget widget;
    QCOMPARE(widget.getFocusColor(), QColor(0x22, 0xA3, 0xA9));
    widget.setBorderWidth(10);
    widget.setBorderColor(kGreen);
    widget.setFocusColor(kBlue);
    QVERIFY(show(widget));
    widget.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&widget));
    widget.setFocus();
    QTRY_VERIFY(widget.hasFocus());
    QCOMPARE(Shot(widget).at(2, 150), kBlue);
    widget.clearFocus();
    QVERIFY(!widget.hasFocus());
    QCOMPARE(Shot(widget).at(2, 150), kGreen);
}

void TestWidgetPainting::colors_notChosen_comeFromPaletteForGood()
{
    Widget widget;
    QCOMPARE(widget.getBorderColor(), QColor(Qt::transparent));
    QCOMPARE(widget.getTextColor(), QColor(Qt::transparent));
    QPalette palette = widget.palette();
    palette.setColor(QPalette::Shadow, kRed);
    palette.setColor(QPalette::WindowText, kBlue);
    widget.setPalette(palette);
    const QColor shadow = widget.palette().color(QPalette::Shadow);
    const QColor windowText = widget.palette().color(QPalette::WindowText);
    QCOMPARE(shadow, kRed);
    QVERIFY(show(widget));
    (void)Shot(widget);
    QCOMPARE(widget.getBorderColor(), shadow);
    QCOMPARE(widget.getTextColor(), windowText);

    palette.setColor(QPalette::Shadow, kGreen);
    palette.setColor(QPalette::WindowText, kGreen);
    widget.setPalette(palette);
    (void)Shot(widget);
    QCOMPARE(widget.getBorderColor(), shadow);
    QCOMPARE(widget.getTextColor(), windowText);
}

void TestWidgetPainting::bgColor_fillsTheFrame()
{
    Widget widget;
    QVERIFY(show(widget));
    QVERIFY(Shot(widget).isAll(kBlack));
    widget.setBgColor(kBlue);
    QVERIFY(Shot(widget).isAll(kBlue));
    widget.setImage(solid(QSize(100, 60), kRed)); // lies above it
    settle();
    QCOMPARE(Shot(widget).bounds(kRed), QRect(149, 119, 100, 60));
    QCOMPARE(Shot(widget).at(10, 10), kBlue);
}

void TestWidgetPainting::bgText_standsInTheMiddle_untilAPictureComes()
{
    Widget widget;
    QCOMPARE(WidgetPara().bgText, QStringLiteral("视频"));
    widget.setBgText(QStringLiteral("视频 Gate"));
    widget.setBgTextSize(30);
    widget.setTextColor(Qt::white);
    QVERIFY(show(widget));
    const QImage expected = expectedCanvas(widget, [](QPainter &painter) {
        painter.setFont(pixelFont(30));
        painter.setPen(Qt::white);
        painter.drawText(QRect(0, 0, kWidth, kHeight), Qt::AlignCenter,
                         QStringLiteral("视频 Gate"));
    });
    const Shot shot(widget);
    QVERIFY(!shot.isAll(kBlack));
    QCOMPARE(shot.image, expected);

    widget.setImage(solid(QSize(40, 30), kBlack));
    settle();
    QVERIFY(Shot(widget).isAll(kBlack));
    widget.clear();
    QCOMPARE(Shot(widget).image, expected);
}

void TestWidgetPainting::bgText_isNotDrawn_inSurfaceModes()
{
    for (VideoMode mode : {VideoMode_Hwnd, VideoMode_Painter, VideoMode_Opengl, VideoMode_D3D9,
                           VideoMode_D3D11}) {
        Widget widget(mode);
        widget.setBgText(QStringLiteral("video"));
        widget.setTextColor(Qt::white);
        QVERIFY(show(widget));
        widget.layer()->show();
        widget.layer()->raise();
        const bool drawn = mode == VideoMode_Hwnd || mode == VideoMode_Painter;
        QCOMPARE(!Shot(widget).isAll(kBlack), drawn);
    }
}

void TestWidgetPainting::bgText_survivesAnySize()
{
    Widget widget;
    widget.setBgText(QStringLiteral("video"));
    QVERIFY(show(widget));
    const vantratest::QtWarnings warnings;
    for (int size : {0, -5, 1, 100000}) {
        widget.setBgTextSize(size);
        (void)Shot(widget);
    }
    QCOMPARE(warnings.lines(), QStringList());
}

void TestWidgetPainting::bgImage_isCentredAndShrunk_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("expected");
    // 2 pixels are taken off: 398 by 298 are left.
    QTest::newRow("smaller") << QSize(60, 40) << QRect(169, 129, 60, 40);
    QTest::newRow("larger") << QSize(800, 600) << QRect(1, 1, 397, 298);
    QTest::newRow("as large as the widget") << QSize(400, 300) << QRect(1, 1, 397, 298);
}

void TestWidgetPainting::bgImage_isCentredAndShrunk()
{
    QFETCH(QSize, size);
    QFETCH(QRect, expected);
    Widget widget;
    WidgetPara para = widget.getWidgetPara();
    para.bgImage = solid(size, kGreen);
    para.bgText = QStringLiteral("not shown");
    para.textColor = Qt::white;
    para.scaleMode = ScaleMode_Fill; // does not count here
    widget.setWidgetPara(para);
    QVERIFY(show(widget));
    const Shot shot(widget);
    QCOMPARE(shot.bounds(kGreen), expected);
    QVERIFY(!shot.contains(Qt::white));
}

void TestWidgetPainting::fillColor_showsBesideThePicture_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("painted") << int(VideoMode_Painter);
    QTest::newRow("surface") << int(VideoMode_D3D11);
}

void TestWidgetPainting::fillColor_showsBesideThePicture()
{
    QFETCH(int, mode);
    QWidget host;
    host.resize(kWidth, kHeight);
    Widget widget{VideoMode(mode)};
    widget.setParent(&host);
    WidgetPara para = widget.getWidgetPara();
    para.fillColor = kGreen;
    widget.setWidgetPara(para);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));
    QVERIFY(!Shot(host).contains(kGreen));

    FakeThread thread;
    thread.setSize(100, 60);
    widget.play(&thread);
    widget.startPlay();
    emit thread.receiveImage(solid(QSize(100, 60), kRed), 0);
    settle();
    QCOMPARE(Shot(host).at(10, 10), kGreen);
    QCOMPARE(Shot(host).at(390, 290), kGreen);
    if (mode == VideoMode_Painter)
        QCOMPARE(Shot(host).bounds(kRed), QRect(149, 119, 100, 60));

    widget.endPlay();
    QVERIFY(!Shot(host).contains(kGreen));
}

void TestWidgetPainting::fillColor_isNotUsed_withFillOrTransparent()
{
    Widget widget;
    QVERIFY(show(widget));
    widget.setPalettex(true); // no colour is set
    QVERIFY(!widget.autoFillBackground());

    WidgetPara para = widget.getWidgetPara();
    para.fillColor = kGreen;
    para.scaleMode = ScaleMode_Fill;
    widget.setWidgetPara(para);
    widget.setPalettex(true);
    QVERIFY(!widget.autoFillBackground());
    QVERIFY(!Shot(widget).contains(kGreen));
}

void TestWidgetPainting::osd_textOfEachFormat_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QString>("pattern"); // of the clock; empty: the text
    QTest::newRow("text") << 0 << QString();
    QTest::newRow("date") << 1 << "yyyy-MM-dd";
    QTest::newRow("time") << 2 << "HH:mm:ss";
    QTest::newRow("date and time") << 3 << "yyyy-MM-dd HH:mm:ss";
    QTest::newRow("unknown") << 17 << QString();
}

void TestWidgetPainting::osd_textOfEachFormat()
{
    QFETCH(int, format);
    QFETCH(QString, pattern);
    Widget widget;
    QVERIFY(show(widget));
    OsdInfo osd = textOsd(QStringLiteral("前门 4"));
    osd.format = OsdFormat(format);
    widget.appendOsd(osd);
    const auto text = [&] {
        return pattern.isEmpty() ? osd.text : QDateTime::currentDateTime().toString(pattern);
    };
    QString before;
    QString after;
    QImage shown;
    do { // until a drawing has not met the turn of a second
        before = text();
        shown = Shot(widget).image;
        after = text();
    } while (before != after);
    QCOMPARE(shown, expectedCanvas(widget, [&](QPainter &painter) {
                 painter.setFont(pixelFont(20));
                 painter.setPen(Qt::white);
                 painter.drawText(QRect(5, 5, 390, 290), Qt::AlignLeft | Qt::AlignTop, before);
             }));
    QVERIFY(!Shot(widget).isAll(kBlack));
}

void TestWidgetPainting::osd_textAtEachPosition_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("flags");
    QTest::newRow("left top") << 0 << 33;
    QTest::newRow("left bottom") << 1 << 65;
    QTest::newRow("right top") << 2 << 34;
    QTest::newRow("right bottom") << 3 << 66;
    QTest::newRow("centre") << 4 << 132;
    QTest::newRow("custom") << 255 << -1;
    QTest::newRow("unknown") << 99 << 33;
}

void TestWidgetPainting::osd_textAtEachPosition()
{
    QFETCH(int, position);
    QFETCH(int, flags);
    Widget widget;
    QVERIFY(show(widget));
    OsdInfo osd = textOsd(QStringLiteral("前门 4"), OsdPosition(position));
    osd.point = QPoint(70, 140);
    widget.appendOsd(osd);
    QCOMPARE(Shot(widget).image, expectedCanvas(widget, [&](QPainter &painter) {
                 painter.setFont(pixelFont(20));
                 painter.setPen(Qt::white);
                 if (flags < 0)
                     painter.drawText(QPointF(70, 140), osd.text);
                 else
                     painter.drawText(QRect(5, 5, 390, 290), flags, osd.text);
             }));
    QVERIFY(!Shot(widget).isAll(kBlack));
}

void TestWidgetPainting::osd_imageAtEachPosition_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<QPoint>("point");
    // With a border of 3 the area is (8, 8, 384, 284); right, bottom and centre leave its x and y out.
    QTest::newRow("left top") << 0 << QPoint(8, 8);
    QTest::newRow("left bottom") << 1 << QPoint(8, 274);
    QTest::newRow("right top") << 2 << QPoint(364, 8);
    QTest::newRow("right bottom") << 3 << QPoint(364, 274);
    QTest::newRow("centre") << 4 << QPoint(182, 137);
    QTest::newRow("custom") << 255 << QPoint(70, 140);
    QTest::newRow("unknown") << 99 << QPoint(8, 8);
}

void TestWidgetPainting::osd_imageAtEachPosition()
{
    QFETCH(int, position);
    QFETCH(QPoint, point);
    Widget widget;
    widget.setBorderWidth(3);
    widget.setBorderColor(kBlack);
    widget.setFocusColor(kBlack);
    QVERIFY(show(widget));
    OsdInfo osd = textOsd(QStringLiteral("not shown"), OsdPosition(position));
    osd.format = OsdFormat_Image;
    osd.image = solid(QSize(20, 10), kRed);
    osd.point = QPoint(70, 140);
    widget.appendOsd(osd);
    QCOMPARE(Shot(widget).bounds(kRed), QRect(point, QSize(20, 10)));
    QVERIFY(!Shot(widget).contains(Qt::white));
}

void TestWidgetPainting::osd_isNotDrawn_inHwndModeOrWithOnlyAudio()
{
    OsdInfo osd = textOsd(QStringLiteral("Gate 4"));
    Widget native(VideoMode_Hwnd);
    native.appendOsd(osd);
    QVERIFY(show(native));
    native.layer()->show(); // by hand
    native.layer()->raise();
    QVERIFY(Shot(native).isAll(kBlack));

    Widget widget;
    widget.appendOsd(osd);
    QVERIFY(show(widget));
    QVERIFY(!Shot(widget).isAll(kBlack));
    widget.setOnlyAudio(true);
    QVERIFY(Shot(widget).isAll(kBlack));
}

void TestWidgetPainting::osd_changes_repaintAsTold()
{
    Widget widget;
    QVERIFY(show(widget));
    QTRY_VERIFY(widget.paints > 0);
    settle();
    const auto repaints = [&widget](auto change) {
        const int before = widget.paints;
        change();
        settle();
        return widget.paints > before;
    };
    OsdInfo osd = textOsd(QStringLiteral("a"));
    QVERIFY(repaints([&] { widget.appendOsd(osd); }));
    osd.color = kRed;
    QVERIFY(!repaints([&] { widget.setOsd(osd); })); // shows at the next repaint
    QVERIFY(Shot(widget).contains(kRed));
    settle();
    osd.name = QStringLiteral("b");
    QVERIFY(repaints([&] { widget.setOsd(osd); }));
    QVERIFY(repaints([&] { widget.removeOsd(QStringLiteral("nobody")); }));
    QVERIFY(repaints([&] { widget.removeOsd(QStringLiteral("a")); }));
    QVERIFY(repaints([&] { widget.clearOsd(); }));
    QVERIFY(Shot(widget).isAll(kBlack));
}

void TestWidgetPainting::graph_changes_repaintAsTold()
{
    Widget widget;
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(40, 30), kBlue));
    settle();
    const auto repaints = [&widget](auto change) {
        const int before = widget.paints;
        change();
        settle();
        return widget.paints > before;
    };
    GraphInfo graph;
    graph.name = QStringLiteral("a");
    graph.rect = QRect(2, 2, 10, 10);
    graph.borderColor = kGreen;
    QVERIFY(repaints([&] { widget.appendGraph(graph); }));
    graph.borderColor = kRed;
    QVERIFY(!repaints([&] { widget.setGraph(graph); }));
    QVERIFY(Shot(widget).contains(kRed));
    settle();
    graph.name = QStringLiteral("b");
    QVERIFY(repaints([&] { widget.setGraph(graph); }));
    QVERIFY(repaints([&] { widget.removeGraph(QStringLiteral("nobody")); }));
    QVERIFY(repaints([&] { widget.removeGraph(QStringLiteral("a")); }));
    QVERIFY(repaints([&] { widget.clearGraph(); }));
}

void TestWidgetPainting::graphs_areBurntIntoThePicture()
{
    Widget widget;
    widget.setScaleMode(ScaleMode_Fill);
    QVERIFY(show(widget));
    const QImage source = solid(QSize(200, 150), kBlack);
    widget.setImage(source);
    settle();
    GraphInfo graph;
    graph.name = QStringLiteral("a");
    graph.borderWidth = 1;
    graph.borderColor = kGreen;
    graph.fillColor = kRed; // carried only
    graph.rect = QRect(10, 20, 30, 15);
    graph.path.addRect(60, 20, 30, 15);
    graph.points = {QPoint(110, 20), QPoint(140, 20), QPoint(140, 35), QPoint(110, 35)};
    widget.appendGraph(graph);

    const Shot shot(widget); // twice the picture's size
    QVERIFY(!shot.contains(kRed));
    for (int left : {20, 120, 220}) { // rectangle, path, points
        QCOMPARE(shot.at(left, 50), kGreen);
        QCOMPARE(shot.at(left + 1, 50), kGreen);
        QCOMPARE(shot.at(left + 60, 50), kGreen);
        QCOMPARE(shot.at(left + 30, 40), kGreen);
        QCOMPARE(shot.at(left + 30, 71), kGreen);
        QCOMPARE(shot.at(left - 1, 50), kBlack);
        QCOMPARE(shot.at(left + 2, 50), kBlack);
        QCOMPARE(shot.at(left + 30, 55), kBlack);
    }
    QCOMPARE(widget.picture().pixelColor(10, 25), kGreen); // in picture pixels
    QCOMPARE(vantratest::countOf(source, kGreen), 0);      // the sender's picture is its own

    widget.clearGraph(); // what is burnt in stays until the next picture
    QVERIFY(Shot(widget).contains(kGreen));
    widget.setImage(source);
    QVERIFY(!Shot(widget).contains(kGreen));
}

void TestWidgetPainting::zoom_byWheel_showsTheMiddle()
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

void TestWidgetPainting::zoom_byDrag_showsEveryCorner()
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

void TestWidgetPainting::zoom_dragNeedsLeftButton()
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

void TestWidgetPainting::zoom_off_showsTheWholePicture()
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

void TestWidgetPainting::zoom_ofEmptyPart_showsTheWholePicture()
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

void TestWidgetPainting::banner_standsAtItsEdge_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<QRect>("expected");
    // Half of a border of 7 is 3.
    QTest::newRow("top") << 0 << QRect(3, 3, 394, 25);
    QTest::newRow("bottom") << 1 << QRect(3, 272, 394, 25);
    QTest::newRow("left") << 2 << QRect(3, 3, 25, 294);
    QTest::newRow("right") << 3 << QRect(372, 3, 25, 294);
}

void TestWidgetPainting::banner_standsAtItsEdge()
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

void TestWidgetPainting::banner_staysPut_atUnknownPosition()
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

void TestWidgetPainting::banner_isShown_onlyOverARunningPicture()
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

void TestWidgetPainting::banner_colorsOfWidgetPara_waitForAProperty()
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

void TestWidgetPainting::banner_buttonsToggle_throughTheWidget()
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

void TestWidgetPainting::clear_wipesEverything()
{
    Widget widget;
    QVERIFY(show(widget));
    widget.setImage(solid(QSize(400, 300), kRed));
    widget.setDigitalZoom(true);
    widget.appendOsd(textOsd(QStringLiteral("Gate 4")));
    GraphInfo graph;
    graph.rect = QRect(10, 10, 50, 50);
    graph.borderColor = kGreen;
    widget.appendGraph(graph);
    settle();
    (void)Shot(widget);
    widget.zoomState().dragging = true;

    widget.clear();
    QVERIFY(!widget.isDigitalZoom());
    QVERIFY(widget.zoomState().zoomRect.isNull());
    QCOMPARE(widget.zoomState().sourceRect, QRectF(0, 0, 400, 300)); // these two stay
    QVERIFY(widget.zoomState().dragging);
    QVERIFY(widget.picture().isNull());
    QVERIFY(Shot(widget).isAll(kBlack));
    widget.setImage(solid(QSize(400, 300), kBlue)); // no overlay comes back
    settle();
    QCOMPARE(Shot(widget).bounds(kBlue), QRect(0, 0, 399, 299));
    QVERIFY(!Shot(widget).contains(kGreen));
    QVERIFY(!Shot(widget).contains(Qt::white));
}

QTEST_MAIN(TestWidgetPainting)
#include "tst_widgetpainting.moc"
