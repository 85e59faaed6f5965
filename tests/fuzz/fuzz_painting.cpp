// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What a host, and through it a device, has painted: a video widget with its frame, picture, texts,
// shapes, banner and digital zoom, with values of any kind. An input is Steps, each with the bytes
// that it asks for behind it; all as they lie in memory, little-endian.
//
// What must hold besides memory: no paint takes for ever.
#include "place.h"

#include "core_videobase/abstractvideowidget.h"
#include "core_videobase/bannerwidget.h"

#include <QApplication>
#include <QPushButton>
#include <QWheelEvent>

#include <memory>

using vantrafuzz::Input;
using vantrafuzz::Process;

namespace {

struct Step
{
    std::uint8_t kind; ///< see Kind, modulo their number
    std::uint8_t flags;
    std::uint16_t text;      ///< bytes of text that follow
    std::int32_t a, b, c, d; ///< what they mean depends on the kind
    std::uint32_t color;
};
static_assert(sizeof(Step) == 24);
enum Kind { Resize, Look, Picture, Osd, Graph, Zoom, Codec, Banner, Click, Clear, Paint, Kinds };

constexpr int kMostSteps = 60;
constexpr int kMostPaints = 6;      ///< which take nearly all of the time
constexpr int kLargestWidget = 640; ///< pixels each way: a window is as large as a screen
constexpr int kLargestPicture = 400;

QSize upTo(int largest, qint32 width, qint32 height)
{
    return QSize(static_cast<int>(quint32(width) % unsigned(largest + 1)),
                 static_cast<int>(quint32(height) % unsigned(largest + 1)));
}

class Widget final : public AbstractVideoWidget
{
public:
    Widget() { isRunning = true; }

    void take(const Step &step, const QString &text);

private:
    void look(const Step &step, const QString &text);
    void addOsd(const Step &step, const QString &text);
    void addGraph(const Step &step, const QString &text);
    void changeZoom(const Step &step);
    void changeBanner(const Step &step, const QString &text);
    void click(const Step &step, const QString &text);

    static QImage picture(const Step &step)
    {
        const QSize size = upTo(kLargestPicture, step.a, step.b);
        QImage made(size, static_cast<QImage::Format>(quint32(step.c) % QImage::NImageFormats));
        if (!made.isNull())
            made.fill(step.color);
        return made;
    }

    int paints = 0;
};

void Widget::take(const Step &step, const QString &text)
{
    switch (step.kind % Kinds) {
    case Resize: {
        resize(upTo(kLargestWidget, step.a, step.b));
        QResizeEvent event(size(), size());
        resizeEvent(&event); // a hidden widget is laid out when it is shown
        break;
    }
    case Look:
        look(step, text);
        break;
    case Picture:
        setImage(picture(step));
        break;
    case Osd:
        addOsd(step, text);
        break;
    case Graph:
        addGraph(step, text);
        break;
    case Zoom:
        changeZoom(step);
        break;
    case Codec:
        videoWidth = step.c;
        videoHeight = step.d;
        onUpdateCodecRender(text, step.a, step.b);
        if (step.flags & 1)
            receiveRenderStart();
        if (step.flags & 2)
            onDecoderDestroyed();
        break;
    case Banner:
        changeBanner(step, text);
        break;
    case Click:
        click(step, text);
        break;
    case Clear:
        if (step.flags & 1)
            clearOsd();
        if (step.flags & 2)
            clearGraph();
        if (step.flags & 4)
            removeOsd(text);
        if (step.flags & 8)
            removeGraph(text);
        if (step.flags & 16)
            clear();
        break;
    default:
        if (++paints <= kMostPaints)
            grab();
        break;
    }
}

void Widget::look(const Step &step, const QString &text)
{
    WidgetPara para = getWidgetPara();
    para.borderWidth = step.a;
    para.bgTextSize = step.b;
    para.bgText = text;
    para.bannerSize = step.c;
    para.bannerPosition = step.d;
    para.borderColor = para.focusColor = QColor::fromRgba(step.color);
    para.bgColor = QColor::fromRgba(~step.color);
    para.scaleMode = static_cast<ScaleMode>(step.flags & 3);
    para.videoMode = step.flags & 4 ? VideoMode_Painter : VideoMode_Hwnd;
    para.bannerEnable = (step.flags & 8) != 0;
    para.copyImage = (step.flags & 16) != 0;
    if (step.flags & 32)
        para.bgImage = picture(step);
    setWidgetPara(para);
    setPalettex((step.flags & 64) != 0);
}

void Widget::addOsd(const Step &step, const QString &text)
{
    OsdInfo osd;
    osd.name = text.left(2);
    osd.visible = (step.flags & 1) != 0;
    osd.fontSize = step.c;
    osd.text = text;
    osd.color = QColor::fromRgba(step.color);
    osd.point = QPoint(step.a, step.b);
    osd.format = static_cast<OsdFormat>(step.d & 7);
    osd.position = step.flags & 2 ? OsdPosition_Custom : static_cast<OsdPosition>(step.d >> 3 & 7);
    if (step.flags & 4)
        osd.image = picture(step);
    if (step.flags & 8)
        appendOsd(osd);
    else
        setOsd(osd);
}

void Widget::addGraph(const Step &step, const QString &text)
{
    GraphInfo graph;
    graph.name = text.left(1);
    graph.borderWidth = step.flags & 1 ? step.d : step.d & 15;
    graph.borderColor = QColor::fromRgba(step.color);
    if (step.flags & 2)
        graph.rect = QRect(QPoint(step.a, step.b), QPoint(step.c, step.d));
    // Two characters are a point; far away where a flag says so.
    const int scale = step.flags & 4 ? 1 << 20 : 1;
    constexpr int kFar = ~(1 << 30); // what is added stays an int
    QList<QPoint> points;
    for (int i = 0; i + 1 < text.size(); i += 2)
        points.append(QPoint((step.a & kFar) + text.at(i).unicode() % 512 * scale,
                             (step.b & kFar) + text.at(i + 1).unicode() % 512 * scale));
    if (step.flags & 8)
        graph.points = points;
    if (step.flags & 16) {
        for (int i = 0; i + 2 < points.size(); i += 3)
            graph.path.cubicTo(points.at(i), points.at(i + 1), points.at(i + 2));
    }
    if (step.flags & 32)
        graph.path.addText(step.a, step.b, font(), text);
    if (step.flags & 64)
        graph.path.addEllipse(QPointF(step.a, step.b), step.c, step.d);
    appendGraph(graph);
}

void Widget::changeZoom(const Step &step)
{
    setDigitalZoom((step.flags & 1) != 0);
    // No window system tells of places further away, and Qt rounds none that is.
    constexpr int kFarthest = 1 << 24;
    const QPoint at(step.a % kFarthest, step.b % kFarthest);
    const QPoint to(step.c % kFarthest, step.d % kFarthest);
    if (step.flags & 2) {
        QMouseEvent press(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton, {});
        mousePressEvent(&press);
    }
    if (step.flags & 4) {
        QMouseEvent move(QEvent::MouseMove, to, Qt::LeftButton, Qt::LeftButton, {});
        mouseMoveEvent(&move);
    }
    if (step.flags & 8) {
        QMouseEvent release(QEvent::MouseButtonRelease, at, Qt::LeftButton, {}, {});
        mouseReleaseEvent(&release);
    }
    if (step.flags & 16) {
        QWheelEvent wheel(at, at, QPoint(), QPoint(step.c, step.d), {}, {}, Qt::NoScrollPhase,
                          false);
        wheelEvent(&wheel);
    }
}

void Widget::changeBanner(const Step &step, const QString &text)
{
    BannerPara para;
    para.margins = QMargins(step.a, step.b, step.c, step.d);
    para.spacing = step.a ^ step.d;
    para.bgAlpha = step.b;
    para.bgColor = para.pressColor = QColor::fromRgba(step.color);
    para.textColor = step.flags & 1 ? QColor() : QColor::fromRgba(~step.color);
    para.position = step.flags >> 1 & 7;
    para.names = text.split(QLatin1Char('|'));
    para.tips = text.split(QLatin1Char('-'));
    const QStringList icons{QStringLiteral(":/primary/mic.svg"), QStringLiteral(":/none.svg"),
                            QStringLiteral("/dev/null"), text.left(9)};
    for (int i = 0; i < para.names.size(); ++i)
        para.icons.append(icons.at(i % icons.size()));
    if (step.flags & 16)
        para.icons.append(QString()); // one too many
    para.text = text;
    WidgetPara all = getWidgetPara();
    all.banner = para;
    setWidgetPara(all);
    setBannerBgAlpha(step.c);
    if (step.flags & 32)
        enterEvent(nullptr);
    if (step.flags & 64)
        leaveEvent(nullptr);
    bannerWidget->showInfo(text);
}

void Widget::click(const Step &step, const QString &text)
{
    const auto buttons = bannerWidget->findChildren<QPushButton *>();
    if (!buttons.isEmpty())
        buttons.at(static_cast<int>(quint32(step.a) % unsigned(buttons.size())))->click();
    if (step.flags & 1)
        bannerWidget->changeStatus(text.left(step.b & 7), text.mid(step.b & 7), text);
    if (step.flags & 2)
        QMetaObject::invokeMethod(bannerWidget, "receiveMuted", Q_ARG(bool, step.flags & 4));
    if (step.flags & 8)
        QMetaObject::invokeMethod(bannerWidget, "receivePlayFinsh");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const auto *const process = new Process<QApplication>; // is there until the end
    Q_UNUSED(process)
    Input input(data, size);
    Widget widget;
    for (int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
        const auto step = input.take<Step>();
        std::size_t got = 0;
        const auto *bytes = input.takeBytes(step.text % 256, &got);
        widget.take(
            step, QString::fromUtf8(reinterpret_cast<const char *>(bytes), static_cast<int>(got)));
    }
    widget.grab();
    return 0;
}
