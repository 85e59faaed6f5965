// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Choice of the render path, the surfaces, and the way of each frame to its surface.

#include "core_videobase/abstractvideowidget.h"

#include "core_codec/hwdecodesolution.h"
#include "core_d3d/nv12d3d11widget.h"
#include "core_d3d/nv12d3d9widget.h"
#include "core_opengl/nv12widget.h"
#include "core_opengl/yuvwidget.h"

#include <QEvent>
#include <QWidget>

namespace {

const QString kNoHardware = QStringLiteral("none");

/// Keeps a surface as large as its holder, which the layout of the widget sets the place of. The
/// surface itself is watched too: X may report an old size of its native window late, which Qt then
/// takes for the new one.
class Filling final : public QObject
{
public:
    Filling(QWidget *surface, QWidget *holder) : QObject(surface), surface(surface), holder(holder)
    {
        surface->installEventFilter(this);
        holder->installEventFilter(this);
        fill();
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Resize || event->type() == QEvent::Move)
            fill();
        return false;
    }

private:
    void fill()
    {
        // A host that has given the holder a layout, or has taken the surface away, places it.
        if (surface->parentWidget() == holder && !holder->layout())
            surface->setGeometry(holder->rect());
    }

    QWidget *const surface;
    QWidget *const holder;
};

template<typename Surface>
Surface *makeFilling(QWidget *holder, const QString &name)
{
    auto *surface = new Surface(holder);
    surface->setObjectName(name);
    new Filling(surface, holder);
    return surface;
}

template<typename Surface>
void showCleared(Surface *surface)
{
    if (!surface)
        return;
    surface->show();
    surface->clear();
}

template<typename Surface>
void freeSurface(QPointer<Surface> &surface)
{
    if (!surface)
        return;
    surface->clear();
    surface->hide();
    surface->close();
    delete surface.data();
}

} // namespace

void AbstractVideoWidget::onUpdateCodecRender(const QString &codecFmt, int w, int h)
{
    if (videoPara.hardware != kNoHardware) {
        if (HwDecodeSolution::isSupported(codecFmt, w, h, HwDecodeSolution::Solution_DXVA2)) {
            renderMode = VideoMode_D3D9;
            hardware = QStringLiteral("dxva2");
        } else {
            renderMode = VideoMode_Painter;
            hardware = kNoHardware;
        }
        if (videoThread) {
            videoThread->setVideoMode(renderMode);
            videoThread->setHardware(hardware);
        }
    }
    zoom.sourceRect = QRectF(0, 0, w, h);
    zoom.zoomRect = zoom.sourceRect;
}

void AbstractVideoWidget::initWidgetHandle()
{
    const bool painted = renderMode == VideoMode_Painter || renderMode > VideoMode_D3D11;
    if (painted)
        hwndWidget->stackUnder(osdWidget);
    else
        osdWidget->stackUnder(hwndWidget);
}

void AbstractVideoWidget::receiveRenderStart()
{
    initWidgetHandle();
    hwndWidget->setVisible(renderMode != VideoMode_Painter);
    osdWidget->setVisible(renderMode == VideoMode_Painter);
    setPicture(QImage());
    if (zoom.on && nv12D3D9Widget)
        nv12D3D9Widget->setDigitalZoomRect(zoom.zoomRect);
}

void AbstractVideoWidget::onDecoderDestroyed()
{
    zoom.sourceRect = QRectF();
    if (nv12D3D9Widget)
        nv12D3D9Widget->clear();
    setPicture(QImage());
}

void AbstractVideoWidget::newD3D9Widgets()
{
    if (hardware == kNoHardware)
        return;
    if (!nv12D3D9Widget) {
        nv12D3D9Widget = new Nv12D3D9Widget(hwndWidget); // placed by the layout below
        nv12D3D9Widget->setObjectName(QStringLiteral("nv12D3D9Widget"));
    }
    showCleared(nv12D3D9Widget.data());
    resizeEvent(nullptr);
}

void AbstractVideoWidget::newD3D11Widgets()
{
    if (hardware == kNoHardware)
        return;
    if (!nv12D3D11Widget)
        nv12D3D11Widget =
            makeFilling<Nv12D3D11Widget>(hwndWidget, QStringLiteral("nv12D3D11Widget"));
    showCleared(nv12D3D11Widget.data());
}

void AbstractVideoWidget::newOpenglWidgets()
{
    if (hardware == kNoHardware) {
        if (!yuvWidget)
            yuvWidget = makeFilling<YuvWidget>(hwndWidget, QStringLiteral("yuvWidget"));
        showCleared(yuvWidget.data());
    } else {
        if (!nv12Widget)
            nv12Widget = makeFilling<Nv12Widget>(hwndWidget, QStringLiteral("nv12Widget"));
        showCleared(nv12Widget.data());
    }
    resizeEvent(nullptr);
}

void AbstractVideoWidget::freeD3D9Widgets()
{
    freeSurface(nv12D3D9Widget);
}

void AbstractVideoWidget::freeD3D11Widgets()
{
    freeSurface(nv12D3D11Widget);
}

void AbstractVideoWidget::freeOpenglWidgets()
{
    freeSurface(yuvWidget);
    freeSurface(nv12Widget);
}

void AbstractVideoWidget::setImage(const QImage &image)
{
    if (image.isNull())
        return;
    if (image.size() != QSize(videoWidth, videoHeight)) {
        videoWidth = image.width();
        videoHeight = image.height();
        receiveSizeChanged();
    }
    receiveImage(image, 0);
}

bool AbstractVideoWidget::isShown() const
{
    return isVisible() && !getIsMinimized();
}

void AbstractVideoWidget::receiveImage(const QImage &image, int)
{
    if (sender() != videoThread || !isShown())
        return; // from a thread that is not played any more, or for nobody's eyes
    if (!isRunning) {
        clear();
        return;
    }
    zoom.sourceRect = QRectF(image.rect());
    setPicture(widgetPara.copyImage ? image.copy() : image);
}

// The way that all frames for a surface share; returns whether the surface is to show this one.
template<typename Surface>
bool AbstractVideoWidget::prepareFrame(int width, int height, Surface *surface)
{
    if (sender() != videoThread)
        return false;
    if (!isShown()) {
        if (sender() && surface)
            surface->clear();
        return false;
    }
    if (!isRunning) {
        clear();
        return false;
    }
    if (!sender() || !surface)
        return false;
    zoom.sourceRect = QRectF(0, 0, width, height);
    if (!zoom.on)
        zoom.zoomRect = zoom.sourceRect;
    return true;
}

void AbstractVideoWidget::receiveFrame(int width, int height, quint8 *dataY, quint8 *dataU,
                                       quint8 *dataV, quint32 linesizeY, quint32 linesizeU,
                                       quint32 linesizeV)
{
    if (prepareFrame(width, height, yuvWidget.data()))
        yuvWidget->updateFrame(width, height, dataY, dataU, dataV, linesizeY, linesizeU, linesizeV);
}

void AbstractVideoWidget::receiveFrame(int width, int height, quint8 *dataY, quint8 *dataUV,
                                       quint32 linesizeY, quint32 linesizeUV)
{
    if (prepareFrame(width, height, nv12Widget.data()))
        nv12Widget->updateFrame(width, height, dataY, dataUV, linesizeY, linesizeUV);
}

void AbstractVideoWidget::receiveFrame(int width, int height, quint8 *data, bool codecChanged)
{
    if (prepareFrame(width, height, nv12D3D9Widget.data()))
        nv12D3D9Widget->updateFrame(width, height, data, codecChanged);
}

void AbstractVideoWidget::receiveFrame(int width, int height, quint8 *data, qint32 index,
                                       bool codecChanged)
{
    if (prepareFrame(width, height, nv12D3D11Widget.data()))
        nv12D3D11Widget->updateFrame(width, height, data, index, codecChanged);
}
