// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideowidget.h"
#include "support/loggedtest.h"

#include <QEvent>
#include <QPainter>

#include <memory>

/// A video widget in a real window, and what is seen of it. Coordinates are logical pixels, so that
/// the same expectations hold at every device pixel ratio.
namespace paintedwidget {

const QColor kRed(255, 0, 0);
const QColor kGreen(0, 255, 0);
const QColor kBlue(0, 0, 255);
const QColor kYellow(255, 255, 0);
const QColor kBlack(0, 0, 0);

constexpr int kWidth = 400;
constexpr int kHeight = 300;

QImage solid(const QSize &size, const QColor &color);

/// Red, green, blue and yellow, row by row.
QImage quadrants(const QSize &size);

/// A grabbed widget, addressed in logical pixels.
class Shot
{
public:
    explicit Shot(QWidget &widget);
    explicit Shot(const QImage &grabbed);

    QColor at(int x, int y) const { return image.pixelColor(x * ratio, y * ratio); }
    QRect bounds(const QColor &color) const;
    bool contains(const QColor &color) const { return !bounds(color).isEmpty(); }
    bool isAll(const QColor &color) const;

    QImage image; ///< physical pixels

private:
    int ratio;
};

/// A black canvas of the widget's size and pixel ratio, painted on as the widget is.
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

/// A thread whose picture the test sends.
class FakeThread final : public AbstractVideoThread
{
public:
    using AbstractVideoThread::AbstractVideoThread;
    void setSize(int width, int height)
    {
        videoWidth = width;
        videoHeight = height;
    }

protected:
    void run() override {}
};

/// A widget that plays without a thread, with its state laid open.
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
        const bool kept = AbstractVideoWidget::eventFilter(watched, event);
        if (watched == osdWidget && event->type() == QEvent::Paint) {
            ++paints;
            paintsKept += kept;
        }
        return kept;
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
    void startRendering() { receiveRenderStart(); }
    void loseDecoder() { onDecoderDestroyed(); }

    QWidget *layer() const { return osdWidget; }
    QWidget *holder() const { return hwndWidget; }
    BannerWidget *banner() const { return bannerWidget; }
    const QImage &picture() const { return image; }
    QRect target() const { return targetRect; }
    DigitalZoom &zoomState() { return zoom; }

    int paints = 0;     ///< of the layer,
    int paintsKept = 0; ///< and those that its own paint did not get to see
};

/// Shows the widget and waits for it; returns whether it has its size.
bool show(Widget &widget);

/// Lets what was posted happen: the layout of a changed size among it.
void settle();

/// A visible text, 20 pixels high and white.
OsdInfo textOsd(const QString &text, OsdPosition position = OsdPosition_LeftTop);

QFont pixelFont(int size);

} // namespace paintedwidget
