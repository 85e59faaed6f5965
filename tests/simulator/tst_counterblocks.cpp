// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/counterblocks.h"

#include "simulator/scene/counterrow.h"

#include <QBuffer>
#include <QPainter>
#include <QTest>

#include <random>

using vantratest::drawCounter;
using vantratest::readCounter;

namespace {

QImage pictureWith(quint32 counter, const QSize &size = QSize(640, 360))
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(60, 110, 150));
    drawCounter(&image, counter);
    return image;
}

} // namespace

class tst_CounterBlocks : public QObject
{
    Q_OBJECT

private slots:
    void readCounter_readsWhatWasDrawn_data();
    void readCounter_readsWhatWasDrawn();
    void readCounter_readsScaledPictures_data();
    void readCounter_readsScaledPictures();
    void readCounter_readsInsideTheNamedRectangle();
    void readCounter_readsDarkAndPalePictures();
    void readCounter_readsHeavilyCompressedPictures();
    void readCounter_readsALumaPlaneWithPadding();
    void readCounter_givesNothing_withoutACounter();
    void readCounter_givesNothing_forOneWrongCell();
    void readCounter_givesNothing_forAHalfMixedCell();
    void readCounter_givesNothing_forARectangleOutsideOrTooSmall();
};

void tst_CounterBlocks::readCounter_readsWhatWasDrawn_data()
{
    QTest::addColumn<quint32>("counter");
    for (quint32 counter :
         {0U, 1U, 2U, 255U, 256U, 0x5A5A5AU, 0xA5A5A5U, 0x7FFFFFU, 0x800000U, 0xFFFFFEU, 0xFFFFFFU})
        QTest::newRow(qPrintable(QString::number(counter))) << counter;
}

void tst_CounterBlocks::readCounter_readsWhatWasDrawn()
{
    QFETCH(quint32, counter);
    QCOMPARE(readCounter(pictureWith(counter)), std::optional<quint32>(counter));
}

void tst_CounterBlocks::readCounter_readsScaledPictures_data()
{
    QTest::addColumn<QSize>("size");
    for (const QSize &size : {QSize(80, 48), QSize(123, 77), QSize(160, 90), QSize(319, 241),
                              QSize(640, 480), QSize(1000, 200), QSize(1920, 1080)})
        QTest::newRow(qPrintable(QStringLiteral("%1x%2").arg(size.width()).arg(size.height())))
            << size;
}

void tst_CounterBlocks::readCounter_readsScaledPictures()
{
    QFETCH(QSize, size);
    const QImage image = pictureWith(0x1234AB);
    for (auto mode : {Qt::FastTransformation, Qt::SmoothTransformation})
        QCOMPARE(readCounter(image.scaled(size, Qt::IgnoreAspectRatio, mode)),
                 std::optional<quint32>(0x1234AB));
}

void tst_CounterBlocks::readCounter_readsInsideTheNamedRectangle()
{
    QImage window(800, 600, QImage::Format_ARGB32_Premultiplied);
    window.fill(Qt::black);
    const QRect inner(17, 75, 766, 431);
    QPainter painter(&window);
    painter.drawImage(inner, pictureWith(4711));
    painter.end();
    QCOMPARE(readCounter(window, inner), std::optional<quint32>(4711));
    QVERIFY(!readCounter(window));
}

void tst_CounterBlocks::readCounter_readsDarkAndPalePictures()
{
    for (const QColor &veil : {QColor(0, 0, 0, 200), QColor(255, 255, 255, 200)}) {
        QImage image = pictureWith(99999);
        QPainter painter(&image);
        painter.fillRect(image.rect(), veil);
        painter.end();
        QCOMPARE(readCounter(image), std::optional<quint32>(99999));
    }
}

void tst_CounterBlocks::readCounter_readsHeavilyCompressedPictures()
{
    QBuffer jpeg;
    QVERIFY(jpeg.open(QIODevice::WriteOnly));
    QVERIFY(pictureWith(0xC0FFEE).scaled(320, 180).save(&jpeg, "JPG", 5));
    const QImage image = QImage::fromData(jpeg.data(), "JPG");
    QCOMPARE(image.size(), QSize(320, 180));
    QCOMPARE(readCounter(image), std::optional<quint32>(0xC0FFEE));
}

void tst_CounterBlocks::readCounter_readsALumaPlaneWithPadding()
{
    constexpr int kStride = 700;
    const QImage image = pictureWith(31337).convertToFormat(QImage::Format_Grayscale8);
    // Padding and the lines around are noise that must not be looked at.
    QByteArray plane(kStride * image.height(), char(0x80));
    for (int y = 0; y < image.height(); ++y)
        memcpy(plane.data() + y * kStride, image.constScanLine(y), size_t(image.width()));
    const auto *luma = reinterpret_cast<const uchar *>(plane.constData());
    QCOMPARE(readCounter(luma, kStride, image.width(), image.height()),
             std::optional<quint32>(31337));
    QVERIFY(!readCounter(nullptr, kStride, image.width(), image.height()));
}

void tst_CounterBlocks::readCounter_givesNothing_withoutACounter()
{
    QVERIFY(!readCounter(QImage()));
    for (const QColor &colour : {QColor(Qt::black), QColor(Qt::white), QColor(Qt::red)}) {
        QImage image(640, 360, QImage::Format_RGB32);
        image.fill(colour);
        QVERIFY(!readCounter(image));
    }
    // Rows of random blocks: markers and check sum let one in 65536 through.
    std::mt19937 random(1);
    int accepted = 0;
    for (int round = 0; round < 500; ++round) {
        QImage image(160, 96, QImage::Format_RGB32);
        image.fill(Qt::black);
        QPainter painter(&image);
        for (int cell = 0; cell < vantrasim::kCounterCells; ++cell) {
            if ((random() & 1U) != 0)
                painter.fillRect(cell * 4, 0, 4, 6, Qt::white);
        }
        painter.end();
        accepted += readCounter(image) ? 1 : 0;
    }
    QCOMPARE(accepted, 0);
}

void tst_CounterBlocks::readCounter_givesNothing_forOneWrongCell()
{
    for (int cell = 0; cell < vantrasim::kCounterCells; ++cell) {
        QImage image = pictureWith(0x0F1E2D);
        const bool white = vantrasim::counterToCells(0x0F1E2D)[size_t(cell)];
        QPainter painter(&image);
        painter.fillRect(cell * 16, 0, 16, 22, white ? Qt::black : Qt::white);
        painter.end();
        QVERIFY2(!readCounter(image), qPrintable(QString::number(cell)));
    }
}

void tst_CounterBlocks::readCounter_givesNothing_forAHalfMixedCell()
{
    // Two pictures mixed, as a torn or blended frame shows them: bits that differ are grey.
    QImage image = pictureWith(1000);
    QPainter painter(&image);
    painter.setOpacity(0.5);
    painter.drawImage(0, 0, pictureWith(1001));
    painter.end();
    QVERIFY(!readCounter(image));
}

void tst_CounterBlocks::readCounter_givesNothing_forARectangleOutsideOrTooSmall()
{
    const QImage image = pictureWith(5);
    QVERIFY(readCounter(image, image.rect()));
    QVERIFY(!readCounter(image, QRect(1, 0, 640, 360)));
    QVERIFY(!readCounter(image, QRect(0, -1, 640, 360)));
    QVERIFY(!readCounter(image, QRect(0, 0, 39, 360)));
    QVERIFY(!readCounter(image, QRect(0, 0, 640, 15)));
    QVERIFY(!readCounter(image, QRect(0, 0, -640, -360)));
}

QTEST_MAIN(tst_CounterBlocks)
#include "tst_counterblocks.moc"
