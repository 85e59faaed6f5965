// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/videowidgethelpers.h"

#include "core_videobase/abstractvideowidget.h"

#include <QLabel>
#include <QPixmap>

namespace {

constexpr QSize kLargestPreview(1280, 720);
constexpr int kLastStep = 5; // of a demonstration: clears

int nextStep(int step)
{
    return step >= kLastStep ? 1 : step + 1;
}

} // namespace

void demoOsd(AbstractVideoWidget *widget, int &step)
{
    step = nextStep(step);
    if (!widget)
        return;
    OsdInfo osd;
    osd.name = QStringLiteral("osd");
    osd.visible = true;
    osd.fontSize = 12;
    osd.text = QStringLiteral("视频标签");
    osd.color = QColor(QStringLiteral("#FF0000"));
    switch (step) {
    case 1:
        osd.fontSize = 20;
        osd.format = OsdFormat_DateTime;
        break;
    case 2:
        osd.image = QImage(QStringLiteral(":/image/bg_novideo.png"));
        osd.format = OsdFormat_Image;
        osd.position = OsdPosition_RightTop;
        break;
    case 3:
        osd.fontSize = 30;
        osd.color = Qt::white;
        osd.format = OsdFormat_Time;
        osd.point = QPoint(100, 100);
        osd.position = OsdPosition_Custom;
        break;
    case 4:
        osd.text = QStringLiteral("摄像头");
        osd.fontSize = 30;
        osd.color = Qt::green;
        osd.format = OsdFormat_Text;
        osd.position = OsdPosition_LeftBottom;
        break;
    default:
        widget->clearOsd();
        return;
    }
    widget->appendOsd(osd);
}

void demoGraph(AbstractVideoWidget *widget, int &step)
{
    step = nextStep(step);
    if (!widget)
        return;
    GraphInfo graph;
    graph.name = QStringLiteral("graph");
    graph.borderWidth = 2;
    graph.borderColor = QColor(QStringLiteral("#FF0000"));
    graph.fillColor = QColor(255, 0, 0, 100);
    switch (step) {
    case 1:
        graph.rect = QRect(10, 30, 150, 100);
        graph.points = {QPoint(200, 100), QPoint(250, 50), QPoint(300, 150)};
        graph.path.addEllipse(50, 50, 50, 50);
        break;
    case 2:
        graph.borderColor = Qt::white;
        graph.rect = QRect(10, 160, 130, 80);
        break;
    case 3:
        graph.borderColor = Qt::green;
        graph.points = {QPoint(300, 100), QPoint(400, 50), QPoint(500, 150), QPoint(450, 200),
                        QPoint(350, 180)};
        break;
    case 4:
        graph.borderWidth = 3;
        graph.borderColor = QColor(QStringLiteral("#22A3A9"));
        graph.path.addEllipse(500, 30, 100, 50);
        graph.path.addRoundedRect(550, 100, 150, 100, 5, 5);
        break;
    default:
        widget->clearGraph();
        return;
    }
    widget->appendGraph(graph);
}

QLabel *showSnapPreview(QLabel *label, const QImage &image)
{
    QPixmap pixmap = QPixmap::fromImage(image);
    if (pixmap.width() > kLargestPreview.width() || pixmap.height() > kLargestPreview.height())
        pixmap = pixmap.scaled(kLargestPreview, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    if (!label) {
        label = new QLabel;
        label->setWindowTitle(QStringLiteral("截图预览"));
        label->setAlignment(Qt::AlignCenter);
    }
    label->setPixmap(pixmap);
    label->resize(pixmap.size());
    label->raise();
    label->show();
    return label;
}

void scaleImage(QImage &image, const QSize &size, ScaleMode scaleMode, bool fast)
{
    if (image.isNull())
        return;
    const bool fits = image.width() <= size.width() && image.height() <= size.height();
    if (scaleMode == ScaleMode_Auto && fits)
        return;
    const bool keepAspect = scaleMode == ScaleMode_Auto || scaleMode == ScaleMode_Aspect;
    image = image.scaled(size, keepAspect ? Qt::KeepAspectRatio : Qt::IgnoreAspectRatio,
                         fast ? Qt::FastTransformation : Qt::SmoothTransformation);
}
