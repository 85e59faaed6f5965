// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/videowidgethelpers.h"

#include "core_videobase/abstractvideowidget.h"
#include "support/pixels.h"

#include <QLabel>
#include <QTest>

#include <limits>
#include <memory>

namespace {

class OverlayProbe final : public AbstractVideoWidget
{
public:
    QList<OsdInfo> osds() const { return osdList.items(); }
    QList<GraphInfo> graphs() const { return graphList.items(); }
};

QImage leftRedRightBlue(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::red);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = size.width() / 2; x < size.width(); ++x)
            image.setPixelColor(x, y, Qt::blue);
    }
    return image;
}

} // namespace

class TestVideoWidgetHelpers : public QObject
{
    Q_OBJECT

private slots:
    void demoOsd_stepsThroughItsSeries();
    void demoGraph_stepsThroughItsSeries();
    void demos_startOver_fromAnyStep_data();
    void demos_startOver_fromAnyStep();
    void demos_onlyCount_withoutWidget();
    void showSnapPreview_makesWindow();
    void showSnapPreview_reusesLabel();
    void showSnapPreview_shrinksLargePictures_data();
    void showSnapPreview_shrinksLargePictures();
    void scaleImage_scalesByMode_data();
    void scaleImage_scalesByMode();
    void scaleImage_smoothes_unlessFast();
    void scaleImage_leavesNullImage();
};

void TestVideoWidgetHelpers::demoOsd_stepsThroughItsSeries()
{
    OverlayProbe widget;
    int step = 0;
    for (int i = 1; i <= 4; ++i) {
        demoOsd(&widget, step);
        QCOMPARE(step, i);
    }
    const QList<OsdInfo> osds = widget.osds();
    QCOMPARE(osds.size(), 4);
    for (const OsdInfo &osd : osds) {
        QCOMPARE(osd.name, QStringLiteral("osd"));
        QVERIFY(osd.visible);
    }
    const QString label = QStringLiteral("视频标签");

    QCOMPARE(osds.at(0).fontSize, 20);
    QCOMPARE(osds.at(0).format, OsdFormat_DateTime);
    QCOMPARE(osds.at(0).position, OsdPosition_LeftTop);
    QCOMPARE(osds.at(0).text, label);
    QCOMPARE(osds.at(0).color, QColor(255, 0, 0));
    QVERIFY(osds.at(0).image.isNull());

    QCOMPARE(osds.at(1).fontSize, 12);
    QCOMPARE(osds.at(1).format, OsdFormat_Image);
    QCOMPARE(osds.at(1).position, OsdPosition_RightTop);
    QVERIFY(!osds.at(1).image.isNull());
    QCOMPARE(osds.at(1).image, QImage(QStringLiteral(":/image/bg_novideo.png")));

    QCOMPARE(osds.at(2).fontSize, 30);
    QCOMPARE(osds.at(2).color, QColor(Qt::white));
    QCOMPARE(osds.at(2).format, OsdFormat_Time);
    QCOMPARE(osds.at(2).point, QPoint(100, 100));
    QCOMPARE(osds.at(2).position, OsdPosition_Custom);

    QCOMPARE(osds.at(3).text, QStringLiteral("摄像头"));
    QCOMPARE(osds.at(3).fontSize, 30);
    QCOMPARE(osds.at(3).color, QColor(Qt::green));
    QCOMPARE(osds.at(3).format, OsdFormat_Text);
    QCOMPARE(osds.at(3).position, OsdPosition_LeftBottom);

    demoOsd(&widget, step);
    QCOMPARE(step, 5);
    QVERIFY(widget.osds().isEmpty());
    demoOsd(&widget, step);
    QCOMPARE(step, 1);
    QCOMPARE(widget.osds().size(), 1);
}

void TestVideoWidgetHelpers::demoGraph_stepsThroughItsSeries()
{
    OverlayProbe widget;
    int step = 0;
    for (int i = 1; i <= 4; ++i) {
        demoGraph(&widget, step);
        QCOMPARE(step, i);
    }
    const QList<GraphInfo> graphs = widget.graphs();
    QCOMPARE(graphs.size(), 4);
    for (const GraphInfo &graph : graphs) {
        QCOMPARE(graph.name, QStringLiteral("graph"));
        QCOMPARE(graph.fillColor, QColor(255, 0, 0, 100));
    }

    QCOMPARE(graphs.at(0).borderWidth, 2);
    QCOMPARE(graphs.at(0).borderColor, QColor(255, 0, 0));
    QCOMPARE(graphs.at(0).rect, QRect(10, 30, 150, 100));
    QCOMPARE(graphs.at(0).points,
             QList<QPoint>({QPoint(200, 100), QPoint(250, 50), QPoint(300, 150)}));
    QCOMPARE(graphs.at(0).path.boundingRect(), QRectF(50, 50, 50, 50));

    QCOMPARE(graphs.at(1).borderColor, QColor(Qt::white));
    QCOMPARE(graphs.at(1).rect, QRect(10, 160, 130, 80));
    QVERIFY(graphs.at(1).points.isEmpty() && graphs.at(1).path.isEmpty());

    QCOMPARE(graphs.at(2).borderColor, QColor(Qt::green));
    QCOMPARE(graphs.at(2).points,
             QList<QPoint>({QPoint(300, 100), QPoint(400, 50), QPoint(500, 150), QPoint(450, 200),
                            QPoint(350, 180)}));
    QVERIFY(graphs.at(2).rect.isNull() && graphs.at(2).path.isEmpty());

    QCOMPARE(graphs.at(3).borderWidth, 3);
    QCOMPARE(graphs.at(3).borderColor, QColor(0x22, 0xA3, 0xA9));
    QPainterPath path;
    path.addEllipse(500, 30, 100, 50);
    path.addRoundedRect(550, 100, 150, 100, 5, 5);
    QCOMPARE(graphs.at(3).path, path);
    QVERIFY(graphs.at(3).rect.isNull() && graphs.at(3).points.isEmpty());

    demoGraph(&widget, step);
    QCOMPARE(step, 5);
    QVERIFY(widget.graphs().isEmpty());
    demoGraph(&widget, step);
    QCOMPARE(step, 1);
    QCOMPARE(widget.graphs().size(), 1);
}

void TestVideoWidgetHelpers::demos_startOver_fromAnyStep_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<int>("next");
    QTest::newRow("past the end") << 17 << 1;
    QTest::newRow("highest") << std::numeric_limits<int>::max() << 1;
    QTest::newRow("below zero") << -7 << -6;
    QTest::newRow("just below zero") << -1 << 0;
}

void TestVideoWidgetHelpers::demos_startOver_fromAnyStep()
{
    QFETCH(int, step);
    QFETCH(int, next);
    OverlayProbe widget;
    widget.appendOsd(OsdInfo());
    widget.appendGraph(GraphInfo());
    int osdStep = step;
    int graphStep = step;
    demoOsd(&widget, osdStep);
    demoGraph(&widget, graphStep);
    QCOMPARE(osdStep, next);
    QCOMPARE(graphStep, next);
    // The first step appends; any number outside the series clears.
    QCOMPARE(widget.osds().size(), next == 1 ? 2 : 0);
    QCOMPARE(widget.graphs().size(), next == 1 ? 2 : 0);
}

void TestVideoWidgetHelpers::demos_onlyCount_withoutWidget()
{
    int step = 0;
    demoOsd(nullptr, step);
    demoGraph(nullptr, step);
    QCOMPARE(step, 2);
}

void TestVideoWidgetHelpers::showSnapPreview_makesWindow()
{
    const QImage image = leftRedRightBlue(QSize(320, 240));
    const std::unique_ptr<QLabel> label(showSnapPreview(nullptr, image));
    QVERIFY(label);
    QVERIFY(!label->parent());
    QCOMPARE(label->windowTitle(), QStringLiteral("截图预览"));
    QCOMPARE(label->alignment(), Qt::AlignCenter);
    QVERIFY(label->isVisible());
    QCOMPARE(label->size(), QSize(320, 240));
    QCOMPARE(label->pixmap(Qt::ReturnByValue).toImage().convertToFormat(QImage::Format_RGB32),
             image);
}

void TestVideoWidgetHelpers::showSnapPreview_reusesLabel()
{
    QLabel label;
    label.setWindowTitle(QStringLiteral("mine"));
    label.setAlignment(Qt::AlignLeft);
    QCOMPARE(showSnapPreview(&label, leftRedRightBlue(QSize(200, 100))), &label);
    QCOMPARE(label.windowTitle(), QStringLiteral("mine"));
    QCOMPARE(label.alignment(), Qt::AlignLeft);
    QCOMPARE(label.size(), QSize(200, 100));
    QVERIFY(label.isVisible());
    QCOMPARE(showSnapPreview(&label, leftRedRightBlue(QSize(300, 50))), &label);
    QCOMPARE(label.size(), QSize(300, 50));
}

void TestVideoWidgetHelpers::showSnapPreview_shrinksLargePictures_data()
{
    QTest::addColumn<QSize>("picture");
    QTest::addColumn<QSize>("shown");
    QTest::newRow("fits exactly") << QSize(1280, 720) << QSize(1280, 720);
    QTest::newRow("both too large") << QSize(1920, 1080) << QSize(1280, 720);
    QTest::newRow("only wider") << QSize(2560, 100) << QSize(1280, 50);
    QTest::newRow("only taller") << QSize(100, 1440) << QSize(50, 720);
}

void TestVideoWidgetHelpers::showSnapPreview_shrinksLargePictures()
{
    QFETCH(QSize, picture);
    QFETCH(QSize, shown);
    QLabel label;
    showSnapPreview(&label, leftRedRightBlue(picture));
    QCOMPARE(label.pixmap(Qt::ReturnByValue).size(), shown);
    QCOMPARE(label.size(), shown);
}

void TestVideoWidgetHelpers::scaleImage_scalesByMode_data()
{
    QTest::addColumn<QSize>("picture");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("auto, smaller: stays") << QSize(100, 50) << 0 << QSize(100, 50);
    QTest::newRow("auto, exact: stays") << QSize(200, 200) << 0 << QSize(200, 200);
    QTest::newRow("auto, wider: shrinks") << QSize(400, 100) << 0 << QSize(200, 50);
    QTest::newRow("auto, taller: shrinks") << QSize(100, 400) << 0 << QSize(50, 200);
    QTest::newRow("aspect, smaller: grows") << QSize(100, 50) << 1 << QSize(200, 100);
    QTest::newRow("aspect, larger: shrinks") << QSize(400, 100) << 1 << QSize(200, 50);
    QTest::newRow("fill") << QSize(100, 50) << 2 << QSize(200, 200);
    QTest::newRow("unknown mode: fills") << QSize(400, 50) << 9 << QSize(200, 200);
}

void TestVideoWidgetHelpers::scaleImage_scalesByMode()
{
    QFETCH(QSize, picture);
    QFETCH(int, mode);
    QFETCH(QSize, expected);
    for (bool fast : {true, false}) {
        QImage image = leftRedRightBlue(picture);
        scaleImage(image, QSize(200, 200), ScaleMode(mode), fast);
        QCOMPARE(image.size(), expected);
        QCOMPARE(image.pixelColor(0, 0), QColor(Qt::red));
        QCOMPARE(image.pixelColor(expected.width() - 1, 0), QColor(Qt::blue));
    }
}

void TestVideoWidgetHelpers::scaleImage_smoothes_unlessFast()
{
    using vantratest::countOf;
    for (bool fast : {true, false}) {
        QImage image = leftRedRightBlue(QSize(10, 4));
        scaleImage(image, QSize(35, 14), ScaleMode_Fill, fast);
        const bool onlyPure = countOf(image, Qt::red) + countOf(image, Qt::blue) == 35 * 14;
        QCOMPARE(onlyPure, fast);
    }
}

void TestVideoWidgetHelpers::scaleImage_leavesNullImage()
{
    const vantratest::QtWarnings warnings;
    QImage image;
    scaleImage(image, QSize(10, 10), ScaleMode_Fill, true);
    QVERIFY(image.isNull());
    QCOMPARE(warnings.lines(), QStringList());
}

QTEST_MAIN(TestVideoWidgetHelpers)
#include "tst_videowidgethelpers.moc"
