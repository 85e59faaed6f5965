// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include <QDirIterator>
#include <QFontDatabase>
#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QRawFont>
#include <QSvgRenderer>
#include <QtTest>

namespace {

/// Smallest size at which an icon is shown, pixels.
constexpr int kSmallIcon = 16;

/// How many pixels of a picture on a transparent ground are more than half covered.
int inkedPixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) > 127;
    return count;
}

bool touchesEdge(const QImage &image)
{
    for (int i = 0; i < image.width(); ++i) {
        const int last = image.width() - 1;
        if (qAlpha(image.pixel(i, 0)) > 127 || qAlpha(image.pixel(i, last)) > 127 ||
            qAlpha(image.pixel(0, i)) > 127 || qAlpha(image.pixel(last, i)) > 127)
            return true;
    }
    return false;
}

QImage transparentSquare(int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

} // namespace

class TestResources : public QObject
{
    Q_OBJECT

private slots:
    void library_carriesEveryNamedResource_data();
    void library_carriesEveryNamedResource();
    void icon_isReadable_atSixteenPixels_data();
    void icon_isReadable_atSixteenPixels();
    void icon_isNearWhite_sinceItStandsOnDark_data() { icon_isReadable_atSixteenPixels_data(); }
    void icon_isNearWhite_sinceItStandsOnDark();
    void mutedIcon_looksDifferent_data();
    void mutedIcon_looksDifferent();
    void iconFont_drawsEachCodePoint_data();
    void iconFont_drawsEachCodePoint();
    void noVideoPicture_isDarkAndNotBlank();
};

void TestResources::library_carriesEveryNamedResource_data()
{
    QTest::addColumn<QString>("path");
    for (const char *path :
         {":/primary/mic.svg", ":/primary/mic-close.svg", ":/primary/volume.svg",
          ":/primary/close_volume.svg", ":/primary/digital-zoom.svg", ":/primary/snap.svg",
          ":/primary/iconfont.ttf", ":/image/bg_novideo.png"})
        QTest::newRow(path) << path;
}

void TestResources::library_carriesEveryNamedResource()
{
    QFETCH(QString, path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.size() > 0);
}

void TestResources::icon_isReadable_atSixteenPixels_data()
{
    QTest::addColumn<QString>("path");
    QDirIterator icons(":/", {"*.svg"}, QDir::Files, QDirIterator::Subdirectories);
    while (icons.hasNext()) {
        const QString path = icons.next();
        if (path.startsWith(":/primary/"))
            QTest::newRow(qPrintable(path)) << path;
    }
}

void TestResources::icon_isReadable_atSixteenPixels()
{
    QFETCH(QString, path);
    QSvgRenderer renderer(path);
    QVERIFY(renderer.isValid());
    QCOMPARE(renderer.defaultSize(), QSize(24, 24));
    QImage image = transparentSquare(kSmallIcon);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    QVERIFY2(inkedPixels(image) >= 20, "next to nothing is drawn");
    QVERIFY2(inkedPixels(image) <= kSmallIcon * kSmallIcon / 2, "the drawing has run together");
    QVERIFY2(!touchesEdge(image), "the drawing is cut off");

    // The way the library and hosts load it, through the picture and icon plug-ins.
    QVERIFY(!QPixmap(path).isNull());
    QVERIFY(inkedPixels(QIcon(path).pixmap(kSmallIcon).toImage()) >= 20);
}

void TestResources::icon_isNearWhite_sinceItStandsOnDark()
{
    QFETCH(QString, path);
    const QImage image = QPixmap(path).toImage().convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) == 255)
                QCOMPARE(QColor(image.pixel(x, y)).name(), QString("#e6e8eb"));
}

void TestResources::mutedIcon_looksDifferent_data()
{
    QTest::addColumn<QString>("on");
    QTest::addColumn<QString>("off");
    QTest::newRow("sound") << ":/primary/volume.svg"
                           << ":/primary/close_volume.svg";
    QTest::newRow("talk") << ":/primary/mic.svg"
                          << ":/primary/mic-close.svg";
}

void TestResources::mutedIcon_looksDifferent()
{
    QFETCH(QString, on);
    QFETCH(QString, off);
    const QImage first = QIcon(on).pixmap(kSmallIcon).toImage();
    const QImage second = QIcon(off).pixmap(kSmallIcon).toImage();
    int differing = 0;
    for (int y = 0; y < kSmallIcon; ++y)
        for (int x = 0; x < kSmallIcon; ++x)
            differing += qAbs(qAlpha(first.pixel(x, y)) - qAlpha(second.pixel(x, y))) > 100;
    QVERIFY(differing >= 10);
}

void TestResources::iconFont_drawsEachCodePoint_data()
{
    QTest::addColumn<uint>("codePoint");
    QTest::addColumn<QString>("icon");
    uint codePoint = 0xE900;
    for (const char *icon : {"mic", "mic-close", "volume", "close_volume", "digital-zoom", "snap"})
        QTest::newRow(icon) << codePoint++ << QString(":/primary/%1.svg").arg(icon);
}

void TestResources::iconFont_drawsEachCodePoint()
{
    QFETCH(uint, codePoint);
    QFETCH(QString, icon);
    const int id = QFontDatabase::addApplicationFont(":/primary/iconfont.ttf");
    QVERIFY(id >= 0);
    QCOMPARE(QFontDatabase::applicationFontFamilies(id), QStringList("iconfont"));

    constexpr int kSize = 96;
    QFont font("iconfont");
    font.setPixelSize(kSize);
    QVERIFY(QRawFont::fromFont(font).supportsCharacter(codePoint));
    QImage drawn = transparentSquare(kSize);
    QPainter painter(&drawn);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(drawn.rect(), Qt::AlignCenter, QString(QChar(codePoint)));
    painter.end();

    // The glyph is the icon's own drawing, in the same place.
    QImage expected = transparentSquare(kSize);
    QPainter iconPainter(&expected);
    QSvgRenderer(icon).render(&iconPainter);
    iconPainter.end();
    int differing = 0;
    for (int y = 0; y < kSize; ++y)
        for (int x = 0; x < kSize; ++x)
            differing += (qAlpha(drawn.pixel(x, y)) > 127) != (qAlpha(expected.pixel(x, y)) > 127);
    QVERIFY(inkedPixels(drawn) > kSize * kSize / 20);
    QVERIFY2(differing < inkedPixels(expected) / 5, qPrintable(QString::number(differing)));
    QFontDatabase::removeApplicationFont(id);
}

void TestResources::noVideoPicture_isDarkAndNotBlank()
{
    const QImage image(":/image/bg_novideo.png");
    QCOMPARE(image.size(), QSize(320, 180));
    QVERIFY(qGray(image.pixel(20, 90)) < 40);
    int bright = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            bright += qGray(image.pixel(x, y)) > 80;
    QVERIFY(bright > 200);
}

QTEST_MAIN(TestResources)
#include "tst_resources.moc"
