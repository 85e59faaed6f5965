// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What it costs to bring decoded pictures to the screen: painted, with the conversion that a stream
// thread makes for that, and by OpenGL.
#include "core_opengl/yuvwidget.h"
#include "core_videobase/abstractvideowidget.h"
#include "support/childprocess.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QtMath>

extern "C" {
#include <libswscale/swscale.h>
}

#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kPixels = kWidth * kHeight;
constexpr int kBytes = kPixels * 3 / 2;
constexpr int kRounds = 3;
constexpr int kPicturesPerRound = 96; ///< of all views together
constexpr int kRate = 25;             ///< pictures per second, for the load of a view
const QSize kWindow(1280, 720);

double cpuMs()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

/// A picture as a decoder lends it; each next() is another.
class Source
{
public:
    Source() : bytes(kBytes, 128) {}

    void next()
    {
        ++count;
        for (int y = 0; y < kHeight; ++y)
            std::memset(y_() + y * kWidth, (y + count * 8) & 0xFF, kWidth);
    }
    quint8 *y_() { return bytes.data(); }
    quint8 *u_() { return bytes.data() + kPixels; }
    quint8 *v_() { return bytes.data() + kPixels + kPixels / 4; }

    std::vector<quint8> bytes;

private:
    int count = 0;
};

/// A view in the middle of a play, without a thread.
class View : public AbstractVideoWidget
{
public:
    explicit View(VideoMode mode)
    {
        WidgetPara look = getWidgetPara();
        look.videoMode = mode;
        look.scaleMode = ScaleMode_Fill;
        setWidgetPara(look);
        isRunning = true;
        hwndWidget->setVisible(mode != VideoMode_Painter);
        osdWidget->setVisible(mode == VideoMode_Painter);
        initWidgetHandle();
        if (mode == VideoMode_Opengl)
            newOpenglWidgets();
        rgb = QImage(kWidth, kHeight, QImage::Format_RGB32);
    }
    ~View() override { sws_freeContext(scaler); }

    bool isGood() const { return !yuvWidget || yuvWidget->isValid(); }

    void showPicture(Source *source)
    {
        if (yuvWidget) {
            yuvWidget->updateFrame(kWidth, kHeight, source->y_(), source->u_(), source->v_(),
                                   kWidth, kWidth / 2, kWidth / 2);
            yuvWidget->updateGL();
            return;
        }
        if (!scaler)
            scaler = sws_getContext(kWidth, kHeight, AV_PIX_FMT_YUV420P, kWidth, kHeight,
                                    AV_PIX_FMT_BGRA, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
        image = QImage(); // lets the bytes go that are written next
        const uint8_t *planes[] = {source->y_(), source->u_(), source->v_()};
        const int lines[] = {kWidth, kWidth / 2, kWidth / 2};
        uint8_t *out[] = {rgb.bits()};
        const int outLines[] = {rgb.bytesPerLine()};
        sws_scale(scaler, planes, lines, 0, kHeight, out, outLines);
        receiveImage(rgb, 0);
        osdWidget->repaint();
    }

private:
    SwsContext *scaler = nullptr;
    QImage rgb;
};

struct Cost
{
    double wallMs = 0; ///< for each picture
    double cpuMs = 0;
};

Cost measure(QApplication &application, VideoMode mode, int count, bool *isGood)
{
    QWidget window;
    window.resize(kWindow);
    auto *grid = new QGridLayout(&window);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(0);
    std::vector<std::unique_ptr<View>> views;
    const int columns = qCeil(qSqrt(count));
    for (int i = 0; i < count; ++i) {
        views.push_back(std::make_unique<View>(mode));
        *isGood &= views.back()->isGood();
        grid->addWidget(views.back().get(), i / columns, i % columns);
    }
    if (!*isGood)
        return Cost();
    window.show();
    Source source;
    const auto showAll = [&] {
        source.next();
        for (const auto &view : views)
            view->showPicture(&source);
        application.processEvents();
    };
    for (int i = 0; i < 10; ++i)
        showAll();
    std::vector<double> wall;
    std::vector<double> cpu;
    const int turns = qMax(1, kPicturesPerRound / count);
    for (int round = 0; round < kRounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        const double before = cpuMs();
        for (int i = 0; i < turns; ++i)
            showAll();
        cpu.push_back((cpuMs() - before) / (turns * count));
        wall.push_back(double(timer.nsecsElapsed()) / 1e6 / (turns * count));
    }
    for (const auto &view : views)
        view->setParent(nullptr);
    return {median(wall), median(cpu)};
}

double copyMs()
{
    Source source;
    std::vector<quint8> copy(kBytes);
    std::vector<double> times;
    for (int i = 0; i < kPicturesPerRound; ++i) {
        source.next();
        const double before = cpuMs();
        std::memcpy(copy.data(), source.bytes.data(), kBytes);
        times.push_back(cpuMs() - before);
    }
    return median(times);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    const double copy = copyMs();
    std::printf("One memcpy of a %dx%d picture: %.2f ms\n\n", kWidth, kHeight, copy);
    std::printf("%-8s  %5s  %10s  %14s  %8s  %22s\n", "render", "views", "ms/picture",
                "CPU ms/picture", "memcpys", "CPU %/view at 25/s");
    for (const auto &mode : {VideoMode_Painter, VideoMode_Opengl}) {
        for (const int count : {1, 4, 16}) {
            bool isGood = true;
            const Cost cost = measure(application, mode, count, &isGood);
            const char *name = mode == VideoMode_Painter ? "painter" : "opengl";
            if (!isGood) {
                std::printf("%-8s  no OpenGL\n", name);
                return 1;
            }
            std::printf("%-8s  %5d  %10.2f  %14.2f  %8.1f  %22.1f\n", name, count, cost.wallMs,
                        cost.cpuMs, cost.cpuMs / copy, cost.cpuMs * kRate / 10);
        }
    }
    return 0;
}
