// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_opengl/nv12widget.h"

#include "support/metaobject.h"
#include "surfacecase.h"

#include <cmath>

using namespace vantratest;

namespace {

/// Between the texels at both sides, as filters do; beyond the outer ones, those.
double between(double place, int texels, const std::function<double(int)> &texel)
{
    const double at = qBound(0.0, place * texels - 0.5, texels - 1.0);
    const int left = int(std::floor(at));
    const int right = qMin(left + 1, texels - 1);
    return texel(left) + (texel(right) - texel(left)) * (at - left);
}

/// A value of a plane at a place of 0 to 1; `step` bytes from texel to texel. Without a texel, 0.
double filtered(const RawPlane &plane, double x, double y, int width, int rows, int offset,
                int step)
{
    if (width == 0 || rows == 0)
        return 0;
    return between(y, rows, [&](int row) {
        return between(x, width,
                       [&](int column) { return double(plane.at(column * step + offset, row)); });
    });
}

} // namespace

class TestNv12Widget : public SurfaceTest
{
    Q_OBJECT

protected:
    QGLWidget *make(QWidget *parent) override { return new Nv12Widget(parent); }

    void sendFrame(QGLWidget *to, RawPicture &picture, const Figures &figures) override
    {
        static_cast<Nv12Widget *>(to)->updateFrame(
            figures.widthOf(picture), figures.heightOf(picture), figures.dataOf(picture.y),
            figures.dataOf(picture.uv), figures.lineOf(picture.y), figures.lineOf(picture.uv));
    }

    void sendTextures(QGLWidget *to, RawPicture &picture) override
    {
        static_cast<Nv12Widget *>(to)->updateTextures(picture.y.data(), picture.uv.data(),
                                                      quint32(picture.y.linesize),
                                                      quint32(picture.uv.linesize));
    }

    QImage expected(const RawPicture &picture, const QSize &size) const override
    {
        const int chromaWidth = picture.width >> 1;
        const int chromaRows = picture.height >> 1;
        QImage image(size, QImage::Format_RGB32);
        for (int y = 0; y < size.height(); ++y) {
            const double down = (y + 0.5) / size.height();
            for (int x = 0; x < size.width(); ++x) {
                const double along = (x + 0.5) / size.width();
                image.setPixel(
                    x, y,
                    toRgb(filtered(picture.y, along, down, picture.width, picture.height, 0, 1),
                          filtered(picture.uv, along, down, chromaWidth, chromaRows, 0, 2),
                          filtered(picture.uv, along, down, chromaWidth, chromaRows, 1, 2)));
            }
        }
        return image;
    }

    QByteArray raw(const RawPicture &picture) const override { return picture.nv12(); }

    Nv12Widget *nv12() const { return static_cast<Nv12Widget *>(surface.data()); }

private slots:
    void slots_haveTheirOrder()
    {
        QCOMPARE(methodsOf(Nv12Widget::staticMetaObject, QMetaMethod::Signal),
                 QStringList({"playFinsh()"}));
        QCOMPARE(methodsOf(Nv12Widget::staticMetaObject, QMetaMethod::Slot),
                 QStringList({"clear()", "setFrameSize(int,int)",
                              "updateTextures(quint8*,quint8*,uint,uint)",
                              "updateFrame(int,int,quint8*,quint8*,uint,uint)", "read()",
                              "play(QString,int)", "stop()"}));
        QCOMPARE(methodsOf(Nv12Widget::staticMetaObject, QMetaMethod::Slot, QMetaMethod::Private),
                 QStringList({"read()"}));
    }

    void firstPaint_takesLumaFromThePlaneOfChroma()
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
        QVERIFY2(shows(filled({32, 24}, QColor(toRgb(200, 200, 90)))), qPrintable(fault));
        QVERIFY(repaints());
        QVERIFY2(shows(picture), qPrintable(fault));
    }

    void picture_isScaledSmoothly()
    {
        RawPicture picture({2, 2}, {50, 128, 128});
        picture.y.at(1, 0) = picture.y.at(1, 1) = 200;
        QVERIFY2(open({40, 20}), qPrintable(fault));
        send(picture);
        QVERIFY2(shows(picture), qPrintable(fault));
        const QImage shown = screen(surface);
        for (int x = 10; x < 29; ++x)
            QVERIFY(qRed(shown.pixel(x, 10)) < qRed(shown.pixel(x + 1, 10)));
        QCOMPARE(shown.pixel(0, 10), shown.pixel(9, 10)); // clamped at the edges
        QCOMPARE(shown.pixel(30, 10), shown.pixel(39, 10));
    }

    void oddSize_leavesOutTheLastChroma()
    {
        RawPicture picture({33, 25}, {128, 90, 160});
        for (int x = 0; x < picture.uv.width; ++x)
            picture.uv.at(x, 12) = 255;
        for (int y = 0; y < picture.uv.rows; ++y)
            picture.uv.at(32, y) = picture.uv.at(33, y) = 255;
        QVERIFY2(open({33, 25}), qPrintable(fault));
        send(picture);
        QVERIFY2(shows(filled({33, 25}, QColor(toRgb(128, 90, 160)))), qPrintable(fault));
    }

    void missingPlane_isNoPicture()
    {
        RawPicture picture({32, 24}, {120, 200, 90});
        QVERIFY2(open({32, 24}), qPrintable(fault));
        for (const bool isLumaMissing : {true, false}) {
            send(picture);
            QVERIFY2(shows(picture), qPrintable(fault));
            nv12()->updateFrame(32, 24, isLumaMissing ? nullptr : picture.y.data(),
                                isLumaMissing ? picture.uv.data() : nullptr, 32, 32);
            QVERIFY2(showsWindowColour(), qPrintable(fault));
        }
    }

    void oddLineOfChroma_isReadByWholeTexels()
    {
        // 33 bytes are 16 texels: each line begins one byte earlier than the one before.
        RawPicture picture({32, 24}, {120, 128, 128});
        picture.uv = RawPlane(32, 12, 33);
        for (size_t i = 0; i < picture.uv.bytes.size(); ++i)
            picture.uv.bytes[i] = quint8(i % 32 * 8);
        RawPicture read = picture;
        read.uv = RawPlane(32, 12, 32);
        for (size_t i = 0; i < read.uv.bytes.size(); ++i)
            read.uv.bytes[i] = quint8(i % 32 * 8);
        QVERIFY2(open({32, 24}), qPrintable(fault));
        send(picture);
        QVERIFY2(shows(read), qPrintable(fault));
    }
};

QTEST_MAIN(TestNv12Widget)
#include "tst_nv12widget.moc"
