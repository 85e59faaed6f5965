// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "surfacecase.h"

#include "support/graphicsdriver.h"
#include "support/processload.h"
#include "support/rounds.h"

#include <QScreen>
#include <QWindow>

#include <cmath>

using namespace vantratest;

namespace {

constexpr int kTolerance = 2; ///< steps of colour: what drivers round
const QColor kWindowColour(10, 120, 200);

int atMost255(double value)
{
    return qBound(0, int(std::lround(value * 255)), 255);
}

} // namespace

QRgb toRgb(double y, double u, double v)
{
    const double luma = y / 255 - 0.0625;
    const double blue = u / 255 - 0.5;
    const double red = v / 255 - 0.5;
    return qRgb(atMost255(luma + 1.13983 * red), atMost255(luma - 0.39465 * blue - 0.58060 * red),
                atMost255(luma + 2.03211 * blue));
}

// ---- Tools ----------------------------------------------------------------------------------

void SurfaceTest::setUp()
{
    fault.clear();
}

void SurfaceTest::tearDown()
{
    window.reset();
    surface = nullptr;
    keepGraphicsDriver();
}

bool SurfaceTest::open(const QSize &size)
{
    window = std::make_unique<QWidget>(nullptr, Qt::FramelessWindowHint);
    window->resize(qMax(300, size.width()), qMax(300, size.height()));
    surface = make(window.get());
    QPalette palette;
    palette.setColor(QPalette::Window, kWindowColour);
    surface->setPalette(palette);
    surface->setGeometry(QRect(QPoint(0, 0), size));
    opened = size;
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()) || !showsWindowColour())
        return false;
    // Past what the first paint of a picture may show.
    send(RawPicture({2, 2}, {128, 128, 128}));
    if (!shows(filled(size, QColor(toRgb(128, 128, 128)))))
        return false;
    if (!repaints())
        return false;
    call("clear");
    return showsWindowColour();
}

void SurfaceTest::send(const RawPicture &picture, const Figures &figures)
{
    RawPicture sent(picture);
    sendFrame(surface, sent, figures);
}

void SurfaceTest::sendImpossible()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(qint64, linesize);
    // Negative means "as the picture" to Figures: what is sent goes by the fields of the picture.
    RawPicture other({32, 24}, {200, 128, 128});
    other.width = width;
    other.height = height;
    Figures figures;
    figures.linesize = linesize;
    sendFrame(surface, other, figures);
}

void SurfaceTest::call(const char *slot)
{
    QVERIFY(QMetaObject::invokeMethod(surface, slot, Qt::DirectConnection));
}

void SurfaceTest::setFrameSize(const RawPicture &picture)
{
    QVERIFY(QMetaObject::invokeMethod(surface, "setFrameSize", Qt::DirectConnection,
                                      Q_ARG(int, picture.width), Q_ARG(int, picture.height)));
}

QImage SurfaceTest::screen(const QWidget *widget)
{
    const QPoint corner = widget->mapTo(widget->window(), QPoint());
    return QGuiApplication::primaryScreen()
        ->grabWindow(widget->window()->winId(), corner.x(), corner.y(), widget->width(),
                     widget->height())
        .toImage()
        .convertToFormat(QImage::Format_RGB32);
}

bool SurfaceTest::shows(const QImage &picture)
{
    return waitFor([&] {
        // X may have told the size of the window before that, late.
        if (surface->size() != picture.size())
            surface->resize(picture.size());
        fault = difference(screen(), picture, kTolerance);
        return fault.isEmpty();
    });
}

QImage SurfaceTest::filled(const QSize &size, const QColor &color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

bool SurfaceTest::showsWindowColour()
{
    return shows(filled(opened, kWindowColour));
}

bool SurfaceTest::repaints()
{
    surface->updateGL(); // at once
    QCoreApplication::processEvents();
    return QGLContext::currentContext() != nullptr;
}

// ---- Pictures -------------------------------------------------------------------------------

SurfaceTest::RawPicture SurfaceTest::sample(const QSize &size)
{
    return RawPicture(size, 0, [](int x, int y) {
        return Yuv{40 + x * 5 % 200, 60 + (x / 8) * 30 % 140, 60 + (y / 8) * 50 % 140};
    });
}

void SurfaceTest::class_isAnOpenglWidget()
{
    const std::unique_ptr<QGLWidget> widget(make(nullptr));
    QCOMPARE(widget->metaObject()->superClass(), &QGLWidget::staticMetaObject);
}

void SurfaceTest::picture_isShown_inItsColours_data()
{
    QTest::addColumn<int>("index");
    int index = 0;
    for (const NamedPicture &named : rawPictures())
        QTest::newRow(named.name) << index++;
}

void SurfaceTest::picture_isShown_inItsColours()
{
    QFETCH(int, index);
    const RawPicture &picture = rawPictures()[size_t(index)].picture;
    QVERIFY2(open({picture.width, picture.height}), qPrintable(fault));
    send(picture);
    QVERIFY2(shows(picture), qPrintable(fault));
}

void SurfaceTest::picture_isTaken_whileTheCallerWaits()
{
    const RawPicture picture = sample();
    QVERIFY2(open({32, 24}), qPrintable(fault));
    {
        // Gone when the call returns, and another by then: whoever reads it later is found out.
        auto lent = std::make_unique<RawPicture>(picture);
        sendFrame(surface, *lent, Figures());
        for (RawPlane *plane : {&lent->y, &lent->u, &lent->v, &lent->uv})
            std::fill(plane->bytes.begin(), plane->bytes.end(), quint8(200));
    }
    QVERIFY2(shows(picture), qPrintable(fault));
    QVERIFY(repaints());
    QVERIFY2(shows(picture), qPrintable(fault));
}

void SurfaceTest::picture_appearsWithTheFirstShow_whenHandedOverBefore()
{
    const RawPicture picture = sample();
    window = std::make_unique<QWidget>(nullptr, Qt::FramelessWindowHint);
    window->resize(300, 300);
    surface = make(window.get());
    opened = {32, 24};
    surface->resize(opened);
    send(picture);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QVERIFY(repaints()); // past what the first paint may show
    QVERIFY2(shows(picture), qPrintable(fault));
}

void SurfaceTest::picture_appearsByItself()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    RawPicture picture = sample();
    sendFrame(surface, picture, Figures());
    QVERIFY2(shows(picture), qPrintable(fault)); // no update() but its own
    setFrameSize(picture);
    RawPicture other({32, 24}, {90, 90, 160});
    sendTextures(surface, other);
    QVERIFY2(shows(other), qPrintable(fault));
}

void SurfaceTest::picture_staysThrough_data()
{
    QTest::addColumn<QString>("event");
    for (const char *event : {"paints", "hide and show", "cover", "another window",
                              "a window of "
                              "its own",
                              "full screen", "minimised"})
        QTest::newRow(event) << QString::fromLatin1(event);
}

void SurfaceTest::picture_staysThrough()
{
    QFETCH(QString, event);
    const RawPicture picture = sample();
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(picture);
    QVERIFY2(shows(picture), qPrintable(fault));
    QWidget other(nullptr, Qt::FramelessWindowHint);
    if (event == "paints") {
        for (int i = 0; i < 5; ++i)
            QVERIFY(repaints());
    } else if (event == "hide and show") {
        window->hide();
        window->show();
    } else if (event == "cover") {
        other.setGeometry(window->geometry());
        other.show();
        QVERIFY(QTest::qWaitForWindowExposed(&other));
        QVERIFY(waitFor([&] {
            return !difference(screen(), expected(picture, {32, 24}), 2).isEmpty();
        }));
        other.hide();
    } else if (event == "another window") {
        window->resize(310, 310); // the old one is left behind
        other.resize(300, 300);
        surface->setParent(&other);
        other.show();
        surface->show();
        QVERIFY(QTest::qWaitForWindowExposed(&other));
    } else if (event == "a window of its own") {
        surface->setParent(nullptr, Qt::Window | Qt::FramelessWindowHint);
        surface->show();
        QVERIFY(QTest::qWaitForWindowExposed(surface));
    } else if (event == "full screen") {
        window->showFullScreen();
        QVERIFY(waitFor([&] { return window->width() > 1000; }));
    } else {
        window->showMinimized();
        const QWindow *handle = window->windowHandle();
        QVERIFY(waitFor([&] { return window->isMinimized() && !handle->isExposed(); }));
        window->showNormal();
        QVERIFY(waitFor([&] { return handle->isExposed(); }));
    }
    QVERIFY2(shows(picture), qPrintable(fault));
    if (surface->window() == surface) { // neither belongs to the window any more
        delete surface;
    } else if (surface->parentWidget() == &other) {
        delete surface;
    }
}

void SurfaceTest::picture_fillsTheSurface_afterAResize()
{
    const RawPicture picture({8, 8}, {180, 90, 150});
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(picture);
    QVERIFY2(shows(picture), qPrintable(fault));
    surface->resize(200, 150);
    QVERIFY2(shows(picture, {200, 150}), qPrintable(fault));
    surface->resize(20, 10);
    QVERIFY2(shows(picture, {20, 10}), qPrintable(fault));
}

void SurfaceTest::picture_isScaledDown_byItsFilter()
{
    // 2.5 pixels become one: no centre of one lies on the middle or the edge of another.
    const RawPicture picture({50, 25}, 0, [](int x, int y) {
        return Yuv{50 + (x * 37 + y * 61) % 150, 120, 135};
    });
    QVERIFY2(open({20, 10}), qPrintable(fault));
    send(picture);
    QVERIFY2(shows(picture), qPrintable(fault));
}

void SurfaceTest::largerAndSmallerPictures_followEachOther()
{
    QVERIFY2(open({64, 48}), qPrintable(fault));
    for (const QSize &size : {QSize(16, 12), QSize(640, 480), QSize(2, 2), QSize(64, 48)}) {
        const RawPicture picture(size, {60 + size.width() % 100, 100, 150});
        send(picture);
        QVERIFY2(shows(picture), qPrintable(fault));
    }
}

void SurfaceTest::clear_showsTheColourOfWindows()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(sample());
    QVERIFY2(shows(sample()), qPrintable(fault));
    call("clear");
    QVERIFY2(showsWindowColour(), qPrintable(fault)); // of the palette at that time
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(250, 0, 30));
    surface->setPalette(palette);
    QVERIFY2(shows(filled({32, 24}, QColor(250, 0, 30))), qPrintable(fault));
    setFrameSize(sample()); // and brings nothing back
    QVERIFY(repaints());
    QVERIFY2(shows(filled({32, 24}, QColor(250, 0, 30))), qPrintable(fault));
}

void SurfaceTest::emptyFrame_showsTheColourOfWindows_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("isGone");
    QTest::newRow("no width") << 0 << 24 << false;
    QTest::newRow("no height") << 32 << 0 << false;
    QTest::newRow("no planes") << 32 << 24 << true;
}

void SurfaceTest::emptyFrame_showsTheColourOfWindows()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(bool, isGone);
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(sample());
    QVERIFY2(shows(sample()), qPrintable(fault));
    Figures figures;
    figures.width = width;
    figures.height = height;
    figures.isGone = isGone;
    send(sample(), figures);
    QVERIFY2(showsWindowColour(), qPrintable(fault));
}

void SurfaceTest::impossibleFrame_leavesTheLastPicture_data()
{
    const int most = std::numeric_limits<int>::max();
    const int least = std::numeric_limits<int>::min();
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<qint64>("linesize");
    QTest::newRow("line of one byte less than the picture is wide") << 32 << 24 << qint64(31);
    QTest::newRow("line of one byte") << 32 << 24 << qint64(1);
    QTest::newRow("longest line") << 32 << 24 << qint64(0xFFFFFFFF);
    QTest::newRow("line of a picture on its head") << 32 << 24 << qint64(quint32(-32));
    QTest::newRow("longest positive line") << 32 << 24 << qint64(most);
    QTest::newRow("negative width") << least << 24 << qint64(32);
    QTest::newRow("negative height") << 32 << least << qint64(32);
    QTest::newRow("largest width") << most << 24 << qint64(0);
    QTest::newRow("largest height") << 32 << most << qint64(0);
    QTest::newRow("largest size") << most << most << qint64(0);
    QTest::newRow("wider than a texture") << (1 << 20) << 1 << qint64(0);
}

void SurfaceTest::impossibleFrame_leavesTheLastPicture()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(sample());
    QVERIFY2(shows(sample()), qPrintable(fault));
    sendImpossible();
    QVERIFY(repaints());
    QVERIFY2(shows(sample()), qPrintable(fault));
    const RawPicture next({32, 24}, {90, 90, 160});
    send(next);
    QVERIFY2(shows(next), qPrintable(fault));
}

/// Nor does it bring back the one that was forgotten before it.
void SurfaceTest::impossibleFrame_isNoPicture()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    sendImpossible();
    QVERIFY(repaints());
    QVERIFY2(showsWindowColour(), qPrintable(fault));
}

void SurfaceTest::lineSizeOfZero_meansNoPadding()
{
    // Of a width that no line of whole words has.
    const RawPicture picture({34, 22}, 0, [](int x, int y) {
        return Yuv{30 + x * 5, 128, 60 + y * 4};
    });
    QVERIFY2(open({34, 22}), qPrintable(fault));
    Figures figures;
    figures.linesize = 0;
    send(picture, figures);
    QVERIFY2(shows(picture), qPrintable(fault));
}

void SurfaceTest::frameSize_repaintsNothing_andHoldsForTextures()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(sample());
    QVERIFY2(shows(sample()), qPrintable(fault));
    setFrameSize(RawPicture({0, 0}, Yuv{}));
    QCoreApplication::processEvents();
    QVERIFY2(shows(sample()), qPrintable(fault));
    QVERIFY(repaints()); // by somebody else: there is no picture of no size
    QVERIFY2(showsWindowColour(), qPrintable(fault));

    RawPicture larger = sample({64, 48});
    setFrameSize(larger);
    sendTextures(surface, larger);
    surface->resize(64, 48);
    QVERIFY2(shows(larger, {64, 48}), qPrintable(fault));
}

void SurfaceTest::newContext_showsTheNextPicture()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(sample());
    QVERIFY2(shows(sample()), qPrintable(fault));
    // As Qt itself does on systems where a new window needs a new context; it shares what the old
    // one held.
    surface->setContext(new QGLContext(QGLFormat::defaultFormat(), surface));
    QVERIFY(surface->isValid());
    QVERIFY(repaints());
    QVERIFY(repaints());
    QVERIFY2(shows(sample()), qPrintable(fault));

    surface->setContext(new QGLContext(QGLFormat::defaultFormat(), surface));
    const RawPicture next({32, 24}, {90, 90, 160});
    send(next);
    QVERIFY(repaints());
    QVERIFY(repaints());
    QVERIFY2(shows(next), qPrintable(fault));
}

void SurfaceTest::newContext_thatSharesNothing_hasNoPicture()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(sample());
    QVERIFY2(shows(sample()), qPrintable(fault));
    auto *stranger = new QGLContext(QGLFormat::defaultFormat(), surface);
    QVERIFY(stranger->create()); // before anybody could tell what it is to share
    surface->setContext(stranger);
    QVERIFY(!stranger->isSharing());
    QVERIFY(repaints());
    QVERIFY2(showsWindowColour(), qPrintable(fault));
    send(sample());
    QVERIFY(repaints());
    QVERIFY(repaints());
    QVERIFY2(shows(sample()), qPrintable(fault));
}

void SurfaceTest::pixmap_isRendered_andTheWindowGoesOn()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(sample());
    QVERIFY2(shows(sample()), qPrintable(fault));
    // For which Qt has the surface set up once more, in the same context or in another, and again
    // for the window.
    QVERIFY(!surface->renderPixmap(32, 24).isNull());
    const RawPicture next({32, 24}, {90, 90, 160});
    for (int i = 0; i < 3; ++i) {
        surface->resize(32 + i, 24);
        QVERIFY(repaints());
        send(next);
        QVERIFY(repaints());
        QVERIFY(repaints());
        QVERIFY2(shows(next, {32 + i, 24}), qPrintable(fault));
    }
}

// ---- Life -----------------------------------------------------------------------------------

void SurfaceTest::rounds_leaveNothingBehind()
{
    constexpr int kWarmUp = 10;
    constexpr int kGrowthKiB = 6 * 1024; ///< a picture of 1280x720 in textures is 1.4 MB
    const int rounds = roundsOf(200, 15);
    const RawPicture picture({1280, 720}, {60, 100, 150});
    QWidget host(nullptr, Qt::FramelessWindowHint);
    host.resize(64, 48);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));
    const auto round = [&](int i) {
        surface = make(&host);
        surface->resize(64, 48);
        if (i % 3 != 0) {
            surface->show();
            surface->updateGL();
        }
        send(picture);
        if (i % 3 == 1)
            surface->updateGL();
        QCoreApplication::processEvents();
        delete surface;
    };
    for (int i = 0; i < kWarmUp; ++i)
        round(i);
    const ProcessLoad before = ProcessLoad::now();
    for (int i = 0; i < rounds; ++i)
        round(i);
    QCOMPARE(loadLeftBehind(before, 2, 2, kGrowthKiB), QString());
}
