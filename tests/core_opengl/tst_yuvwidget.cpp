// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/yuvwidget.h"

#include "support/metaobject.h"
#include "surfacecase.h"

using namespace vantratest;

class TestYuvWidget : public SurfaceTest
{
    Q_OBJECT

protected:
    QGLWidget *make(QWidget *parent) override { return new YuvWidget(parent); }

    void sendFrame(QGLWidget *to, RawPicture &picture, const Figures &figures) override
    {
        static_cast<YuvWidget *>(to)->updateFrame(
            figures.widthOf(picture), figures.heightOf(picture), figures.dataOf(picture.y),
            figures.dataOf(picture.u), figures.dataOf(picture.v), figures.lineOf(picture.y),
            figures.lineOf(picture.u), figures.lineOf(picture.v));
    }

    void sendTextures(QGLWidget *to, RawPicture &picture) override
    {
        static_cast<YuvWidget *>(to)->updateTextures(
            picture.y.data(), picture.u.data(), picture.v.data(), quint32(picture.y.linesize),
            quint32(picture.u.linesize), quint32(picture.v.linesize));
    }

    QImage expected(const RawPicture &picture, const QSize &size) const override
    {
        return expected(picture, size, picture.height >> 1);
    }

    /// Each pixel is the nearest one of each plane. Where the plane of chroma has no texel, the
    /// texture gives 0.
    static QImage expected(const RawPicture &picture, const QSize &size, int chromaRows)
    {
        const auto nearest = [](int place, int all, int texels) {
            return (2 * place + 1) * texels / (2 * all);
        };
        const int chromaWidth = picture.width >> 1;
        QImage image(size, QImage::Format_RGB32);
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                int u = 0;
                int v = 0;
                if (chromaWidth > 0 && chromaRows > 0) {
                    const int cx = nearest(x, size.width(), chromaWidth);
                    const int cy = nearest(y, size.height(), chromaRows);
                    u = picture.u.at(cx, cy);
                    v = picture.v.at(cx, cy);
                }
                const int luma = picture.y.at(nearest(x, size.width(), picture.width),
                                              nearest(y, size.height(), picture.height));
                image.setPixel(x, y, toRgb(luma, u, v));
            }
        }
        return image;
    }

    QByteArray raw(const RawPicture &picture) const override { return picture.planar(); }

    YuvWidget *yuv() const { return static_cast<YuvWidget *>(surface.data()); }

private slots:
    void slots_haveTheirOrder()
    {
        QCOMPARE(methodsOf(YuvWidget::staticMetaObject, QMetaMethod::Signal),
                 QStringList({"playFinsh()"}));
        QCOMPARE(methodsOf(YuvWidget::staticMetaObject, QMetaMethod::Slot),
                 QStringList({"setYuyv(bool)", "clear()", "setFrameSize(int,int)",
                              "updateTextures(quint8*,quint8*,quint8*,uint,uint,uint)",
                              "updateFrame(int,int,quint8*,quint8*,quint8*,uint,uint,uint)",
                              "read()", "play(QString,int)", "stop()"}));
        QCOMPARE(methodsOf(YuvWidget::staticMetaObject, QMetaMethod::Slot, QMetaMethod::Private),
                 QStringList({"read()"}));
    }

    void picture_isScaledToTheNearestPixel()
    {
        RawPicture picture({2, 2}, {0, 128, 128});
        picture.y.at(0, 0) = 50;
        picture.y.at(1, 0) = 100;
        picture.y.at(0, 1) = 150;
        picture.y.at(1, 1) = 200;
        QVERIFY2(open({40, 20}), qPrintable(fault));
        send(picture);
        QVERIFY2(shows(picture), qPrintable(fault));
        const QImage shown = screen(surface);
        QCOMPARE(shown.pixel(19, 9), shown.pixel(0, 0)); // hard edges
        QCOMPARE(shown.pixel(20, 10), shown.pixel(39, 19));
    }

    void firstPicture_isRightAtOnce()
    {
        window = std::make_unique<QWidget>(nullptr, Qt::FramelessWindowHint);
        window->resize(300, 300);
        surface = make(window.get());
        opened = {32, 24};
        surface->resize(opened);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        QVERIFY2(shows(filled(opened, surface->palette().color(QPalette::Window))),
                 qPrintable(fault));
        const RawPicture picture({32, 24}, {60, 200, 90});
        send(picture);
        QVERIFY2(shows(picture), qPrintable(fault));
    }

    void white_isNotQuiteWhite_andBlackIsBlack()
    {
        QVERIFY2(open({8, 8}), qPrintable(fault));
        send(RawPicture({8, 8}, {235, 128, 128}));
        QVERIFY2(shows(filled({8, 8}, QColor(219, 219, 219))), qPrintable(fault));
        send(RawPicture({8, 8}, {16, 128, 128}));
        QVERIFY2(shows(filled({8, 8}, Qt::black)), qPrintable(fault));
    }

    void oddSize_leavesOutTheLastChroma()
    {
        RawPicture picture({33, 25}, {128, 90, 160});
        for (int x = 0; x < picture.u.width; ++x)
            picture.u.at(x, 12) = picture.v.at(x, 12) = 255;
        for (int y = 0; y < picture.u.rows; ++y)
            picture.u.at(16, y) = picture.v.at(16, y) = 255;
        QVERIFY2(open({33, 25}), qPrintable(fault));
        send(picture);
        QVERIFY2(shows(filled({33, 25}, QColor(toRgb(128, 90, 160)))), qPrintable(fault));
    }

    void yuyv_takesChromaOfFullHeight()
    {
        QVERIFY2(open({32, 24}), qPrintable(fault));
        RawPicture picture({32, 24}, {128, 128, 128});
        picture.u = RawPlane(16, 24, 19);
        picture.v = RawPlane(16, 24, 17);
        for (int y = 0; y < 24; ++y) {
            for (int x = 0; x < 16; ++x) {
                picture.u.at(x, y) = quint8(y * 10);
                picture.v.at(x, y) = quint8(255 - y * 10);
            }
        }
        yuv()->setYuyv(true);
        send(picture);
        QVERIFY2(shows(expected(picture, {32, 24}, 24)), qPrintable(fault));
        yuv()->clear(); // which the setting outlives
        send(picture);
        QVERIFY2(shows(expected(picture, {32, 24}, 24)), qPrintable(fault));
        yuv()->setYuyv(false);
        send(picture);
        QVERIFY2(shows(expected(picture, {32, 24}, 12)), qPrintable(fault));
    }

    void yuyv_readsNothingBeyondAPlayedFile()
    {
        const RawPicture picture({32, 24}, {60, 128, 128});
        QVERIFY2(open({32, 24}), qPrintable(fault));
        QSignalSpy ended(surface, SIGNAL(playFinsh()));
        yuv()->setYuyv(true);
        setFrameSize(picture);
        play(fileOf({picture, picture}), 1000);
        QVERIFY(waitFor([&] { return ended.count() == 1; }));
    }

    void missingChroma_isGrey()
    {
        RawPicture picture({32, 24}, {120, 200, 90});
        QVERIFY2(open({32, 24}), qPrintable(fault));
        send(picture);
        QVERIFY2(shows(picture), qPrintable(fault));
        yuv()->updateFrame(32, 24, picture.y.data(), nullptr, nullptr, 32, 16, 16);
        QVERIFY2(shows(filled({32, 24}, QColor(toRgb(120, 128, 128)))), qPrintable(fault));
        yuv()->updateFrame(32, 24, picture.y.data(), picture.u.data(), nullptr, 32, 16, 0xFFFFFFFF);
        QVERIFY2(shows(filled({32, 24}, QColor(toRgb(120, 200, 128)))), qPrintable(fault));
    }
};

QTEST_MAIN(TestYuvWidget)
#include "tst_yuvwidget.moc"
