// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Layout of the layers, the paint pass, overlay lists, and the events of digital zoom.

#include "core_videobase/abstractvideowidget.h"

#include "core_d3d/nv12d3d9widget.h"
#include "core_videobase/bannerwidget.h"
#include "core_videobase/paintableimage_p.h"
#include "core_videobase/picturegeometry_p.h"

#include <QCursor>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>
#include <QWheelEvent>

#include <cmath>

namespace {

constexpr int kBgImageBorder = 2; // pixels taken off for the background picture
constexpr int kQuarterTurn = 90;  // degrees
// Beyond this no font engine is to be trusted, and no screen is large enough.
constexpr int kLargestTextSize = 10000; // pixels

} // namespace

void AbstractVideoWidget::setOsd(const OsdInfo &osd)
{
    if (!osdList.set(osd))
        update(); // an overwritten record shows at the next repaint
}

void AbstractVideoWidget::appendOsd(const OsdInfo &osd)
{
    osdList.append(osd);
    update();
}

void AbstractVideoWidget::removeOsd(const QString &name)
{
    osdList.remove(name);
    update();
}

void AbstractVideoWidget::clearOsd()
{
    osdList.clear();
    update();
}

void AbstractVideoWidget::setGraph(const GraphInfo &graph)
{
    if (!graphList.set(graph))
        update();
}

void AbstractVideoWidget::appendGraph(const GraphInfo &graph)
{
    graphList.append(graph);
    update();
}

void AbstractVideoWidget::removeGraph(const QString &name)
{
    graphList.remove(name);
    update();
}

void AbstractVideoWidget::clearGraph()
{
    graphList.clear();
    update();
}

void AbstractVideoWidget::clear()
{
    zoom.on = false;
    videoWidth = 0;
    videoHeight = 0;
    osdList.clear();
    graphList.clear();
    zoom.zoomRect = QRectF();
    setPicture(QImage());
    if (nv12D3D9Widget)
        nv12D3D9Widget->clear();
}

bool AbstractVideoWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == osdWidget && event) {
        switch (event->type()) {
        case QEvent::Paint:
            paintOsdWidget();
            break;
        case QEvent::Show:
        case QEvent::Hide:
        case QEvent::Move:
        case QEvent::Resize:
            updateCover();
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void AbstractVideoWidget::setPicture(const QImage &picture)
{
    image = picture;
    updateCover();
    update();
}

bool AbstractVideoWidget::pictureCovers() const
{
    // Where a widget's pixel is no whole number of the screen's, edges are blended with what was
    // there before.
    const qreal ratio = devicePixelRatioF();
    return !image.isNull() && !image.hasAlphaChannel() && !zoom.on && !osdWidget->isHidden() &&
           osdWidget->geometry() == rect() && targetRect.contains(rect()) &&
           ratio == std::floor(ratio);
}

/// Lets Qt leave out what a picture hides: the windows behind, and the black of the style sheet. To
/// fill those costs about as much as to paint the picture. The layer itself is not declared opaque,
/// since update() of this widget would not reach it then.
void AbstractVideoWidget::updateCover()
{
    const bool covers = pictureCovers();
    if (covers == isCovered)
        return;
    isCovered = covers;
    setAttribute(Qt::WA_OpaquePaintEvent, covers);
    osdWidget->setAttribute(Qt::WA_NoSystemBackground, covers);
    update();
}

void AbstractVideoWidget::paintOsdWidget()
{
    // Colours that nobody has chosen come from the palette, once and for good.
    if (widgetPara.borderColor == Qt::transparent)
        widgetPara.borderColor = palette().color(QPalette::Shadow);
    if (widgetPara.textColor == Qt::transparent)
        widgetPara.textColor = palette().color(QPalette::WindowText);

    QPainter painter(osdWidget);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isCovered && !pictureCovers()) { // a subclass has changed something
        QStyleOption option;
        option.initFrom(osdWidget);
        osdWidget->style()->drawPrimitive(QStyle::PE_Widget, &option, &painter, osdWidget);
        updateCover(); // and what lies behind with the next paint
    }
    // The style sheet has painted this layer black, which would hide the bars' colour below it.
    if (autoFillBackground())
        painter.fillRect(rect(), palette().brush(QPalette::Window));
    if (!isCovered)
        drawBorder(painter);
    if (image.isNull())
        drawBg(painter);
    else
        drawImage(painter);
    if (!onlyAudio && widgetPara.videoMode != VideoMode_Hwnd)
        drawOsd(painter, size(), widgetPara.borderWidth, osdList.items());
}

void AbstractVideoWidget::drawBorder(QPainter &painter) const
{
    painter.save();
    if (widgetPara.borderWidth <= 0)
        painter.setPen(Qt::NoPen);
    else
        painter.setPen(QPen(hasFocus() ? widgetPara.focusColor : widgetPara.borderColor,
                            widgetPara.borderWidth));
    if (widgetPara.bgColor != Qt::transparent)
        painter.setBrush(widgetPara.bgColor);
    painter.drawRect(rect());
    painter.restore();
}

void AbstractVideoWidget::drawBg(QPainter &painter) const
{
    if (videoWidth != 0 || renderMode == VideoMode_Opengl || renderMode == VideoMode_D3D9 ||
        renderMode == VideoMode_D3D11)
        return;
    painter.save();
    if (widgetPara.bgImage.isNull()) {
        QFont font;
        if (widgetPara.bgTextSize > 0)
            font.setPixelSize(qMin(widgetPara.bgTextSize, kLargestTextSize));
        painter.setFont(font);
        painter.setPen(widgetPara.textColor);
        painter.drawText(rect(), Qt::AlignCenter, widgetPara.bgText);
    } else {
        painter.drawImage(
            getCenterRect(widgetPara.bgImage.size(), rect(), kBgImageBorder, ScaleMode_Auto),
            paintable(widgetPara.bgImage));
    }
    painter.restore();
}

void AbstractVideoWidget::drawImage(QPainter &painter)
{
    drawGraphs(image, graphList.items());
    painter.save();
    const QRectF part = zoom.visiblePart();
    if (zoom.on)
        painter.drawImage(QRectF(targetRect), paintable(image), part, Qt::AutoColor);
    else
        painter.drawImage(targetRect, paintable(image));
    painter.restore();
}

void AbstractVideoWidget::resizeEvent(QResizeEvent *)
{
    if (videoThread) {
        videoWidth = videoThread->getVideoWidth();
        videoHeight = videoThread->getVideoHeight();
        rotate = videoThread->getRotate();
        onlyAudio = videoThread->getOnlyAudio();
        hardware = videoThread->getHardware();
    }

    QSize picture(videoWidth, videoHeight);
    if (rotate == kQuarterTurn) // 270 degrees do not swap: this is intended
        picture.transpose();
    if (widgetPara.borderWidth == 0 && widgetPara.scaleMode == ScaleMode_Fill)
        targetRect = rect(); // without the shift to odd coordinates
    else
        targetRect = getCenterRect(picture, rect(), widgetPara.borderWidth, widgetPara.scaleMode);
    hwndWidget->setGeometry(targetRect);
    osdWidget->setGeometry(rect());
    updateCover();

    if (const auto banner = bannerRect(widgetPara.bannerPosition, size(), widgetPara.borderWidth,
                                       widgetPara.bannerSize))
        bannerWidget->setGeometry(*banner);

    if (nv12D3D9Widget) {
        nv12D3D9Widget->clear(); // its swap chain has the old size
        nv12D3D9Widget->setGeometry(0, 0, hwndWidget->width(), hwndWidget->height());
    }
}

void AbstractVideoWidget::setDigitalZoom(bool on)
{
    zoom.on = on;
    updateCover();
    if (nv12D3D9Widget && !on) // switching on reaches the surface with the first step
        nv12D3D9Widget->setDigitalZoom(false);
}

void AbstractVideoWidget::forwardZoom()
{
    if (!nv12D3D9Widget)
        return;
    nv12D3D9Widget->setDigitalZoomRect(zoom.zoomRect);
    nv12D3D9Widget->setDigitalZoom(true);
}

void AbstractVideoWidget::mousePressEvent(QMouseEvent *event)
{
    if (!event)
        return;
    if (event->button() == Qt::LeftButton)
        zoom.press(event->pos());
    QWidget::mousePressEvent(event);
}

void AbstractVideoWidget::mouseReleaseEvent(QMouseEvent *event)
{
    zoom.release();
    if (event)
        QWidget::mouseReleaseEvent(event);
}

void AbstractVideoWidget::mouseMoveEvent(QMouseEvent *event)
{
    if (!event)
        return;
    if (zoom.drag(event->pos(), size()))
        forwardZoom();
    QWidget::mouseMoveEvent(event);
}

void AbstractVideoWidget::wheelEvent(QWheelEvent *event)
{
    if (!event)
        return;
    const DigitalZoom::WheelResult result = zoom.wheel(event->angleDelta().y());
    if (result == DigitalZoom::PassToBase) {
        QWidget::wheelEvent(event);
        return;
    }
    if (result == DigitalZoom::Changed)
        forwardZoom();
    event->accept();
}

void AbstractVideoWidget::enterEvent(QEvent *)
{
    if (isRunning && widgetPara.bannerEnable && !onlyAudio && videoWidth >= 1) {
        bannerWidget->show();
        bannerWidget->showInfo(widgetPara.banner.text);
    }
    if (zoom.on)
        setCursor(zoomCursor.isNull() ? QCursor() : QCursor(zoomCursor, -1, -1));
}

void AbstractVideoWidget::leaveEvent(QEvent *)
{
    bannerWidget->hide();
    unsetCursor();
}
