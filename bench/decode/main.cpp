// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What the library adds to bare decoding, as ratios of CPU time measured in one run:
//   planes   a stream thread with a plane receiver that does nothing, to a bare libavcodec loop
//   painter  a widget in VideoMode_Painter, to libavcodec + one conversion + one paint
// Each figure is the median of several rounds, the two sides taken in turns.
#include "clipserver.h"
#include "peers.h"

#include "core_video/ffmpegvideothread.h"
#include "core_videobase/standardvideowidget.h"
#include "logger/logger.h"

#include <QApplication>
#include <QEventLoop>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr int kRounds = 3;
constexpr int kFrames = 250;

/// Notes the CPU time that its run() took.
class MeasuredThread : public FFmpegVideoThread
{
public:
    using FFmpegVideoThread::FFmpegVideoThread;
    double cpuSeconds = 0;

protected:
    void run() override
    {
        const double begin = threadCpuSeconds();
        FFmpegVideoThread::run();
        cpuSeconds += threadCpuSeconds() - begin;
    }
};

void waitForEnd(QThread *thread)
{
    QEventLoop loop;
    QObject::connect(thread, &QThread::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(120000, &loop, &QEventLoop::quit);
    if (!thread->isFinished())
        loop.exec();
}

RunResult planes(const QString &url)
{
    RunResult result;
    MeasuredThread thread;
    QObject receiver;
    using Planar = void (AbstractVideoThread::*)(int, int, quint8 *, quint8 *, quint8 *, quint32,
                                                 quint32, quint32);
    QObject::connect(
        &thread, static_cast<Planar>(&AbstractVideoThread::receiveFrame), &receiver,
        [&result] { ++result.frames; }, Qt::BlockingQueuedConnection);
    thread.setVideoUrl(url);
    thread.setVideoMode(VideoMode_Opengl);
    thread.setReadTimeout(0); // the end of the clip ends the thread
    thread.setConnectTimeout(5000);
    ++thread.previewRef();
    thread.start();
    waitForEnd(&thread);
    result.cpuSeconds = thread.cpuSeconds;
    return result;
}

class View : public StandardVideoWidget
{
public:
    explicit View(const QString &url) : url(url) {}
    MeasuredThread *measured = nullptr;
    int frames = 0;
    int paints = 0;
    std::function<void()> ended;

protected:
    bool createVideoThread() override
    {
        measured = new MeasuredThread(this);
        measured->setVideoUrl(url);
        measured->setVideoMode(VideoMode_Painter);
        measured->setConnectTimeout(5000);
        videoThread = measured;
        return true;
    }
    void releaseVideoThread() override
    {
        if (!videoThread)
            return;
        if (videoThread->previewRef() > 0)
            --videoThread->previewRef();
        videoThread->stop();
        stoppedThreads.append(videoThread);
        videoThread = nullptr;
    }
    void receiveImage(const QImage &image, int time) override
    {
        ++frames;
        StandardVideoWidget::receiveImage(image, time);
    }
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return StandardVideoWidget::eventFilter(watched, event);
    }
    void finished() override
    {
        StandardVideoWidget::finished();
        if (ended)
            ended();
    }

private:
    QString url;
};

RunResult painter(const QString &url, const QSize &size)
{
    View view(url);
    view.setVideoMode(VideoMode_Painter);
    view.setScaleMode(ScaleMode_Fill);
    view.resize(size);
    view.show();
    QEventLoop loop;
    view.ended = [&loop] { loop.quit(); };
    QTimer::singleShot(120000, &loop, &QEventLoop::quit);
    const double begin = threadCpuSeconds();
    if (!view.start())
        return {};
    loop.exec();
    return {threadCpuSeconds() - begin + view.measured->cpuSeconds, view.frames, view.paints};
}

class PlainView : public QWidget
{
public:
    QImage image;

protected:
    void paintEvent(QPaintEvent *) override { QPainter(this).drawImage(rect(), image); }
};

RunResult barePainter(const QString &url, const QSize &size)
{
    PlainView view;
    view.resize(size);
    view.show();
    return bareLoop(url, [&view](const QImage &image) {
        view.image = image;
        view.repaint();
        QCoreApplication::processEvents();
        view.image = QImage(); // no detach at the next conversion
    });
}

QString makeClip(const QTemporaryDir &dir, const QString &encoder, const QString &size)
{
    const QString file = dir.filePath(encoder + size + QStringLiteral(".ts"));
    const QStringList tuning =
        encoder == QLatin1String("libx264")
            ? QStringList{"-tune", "zerolatency", "-x264-params", "threads=1:keyint=25"}
            : QStringList{"-x265-params", "log-level=none:bframes=0:keyint=25"};
    const int result = QProcess::execute(
        QStringLiteral("ffmpeg"),
        QStringList{"-v", "error", "-f", "lavfi", "-i",
                    QStringLiteral("testsrc2=size=%1:rate=25,noise=alls=4:allf=t").arg(size),
                    "-frames:v", QString::number(kFrames), "-crf", "28", "-pix_fmt", "yuv420p",
                    "-c:v", encoder, "-preset", "veryfast"} +
            tuning + QStringList{"-f", "mpegts", file});
    return result == 0 ? file : QString();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void compare(const char *what, const QString &clip, const std::function<RunResult()> &ours,
             const std::function<RunResult()> &bare)
{
    std::vector<double> ratios, oursMs, bareMs;
    RunResult a, b;
    for (int round = 0; round < kRounds; ++round) {
        a = ours();
        b = bare();
        if (a.frames == 0 || b.frames == 0) {
            std::printf("%-8s %-18s no pictures (%d, %d)\n", what, qPrintable(clip), a.frames,
                        b.frames);
            return;
        }
        oursMs.push_back(a.cpuSeconds * 1000 / a.frames);
        bareMs.push_back(b.cpuSeconds * 1000 / b.frames);
        ratios.push_back(oursMs.back() / bareMs.back());
    }
    std::printf("%-8s %-18s %9.3f %9.3f %7.2f %8d/%d %8d/%d\n", what, qPrintable(clip),
                median(oursMs), median(bareMs), median(ratios), a.frames, b.frames, a.paints,
                b.paints);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    // Each round ends with the end of the clip, which a live thread reports as a fault.
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    QTemporaryDir dir;
    std::printf("%-8s %-18s %9s %9s %7s %12s %12s\n", "road", "clip", "ms/frame", "bare", "ratio",
                "frames", "paints");
    for (const char *encoder : {"libx264", "libx265"}) {
        for (const char *name : {"640x360", "1920x1080"}) {
            const QString size = QLatin1String(name);
            const QString file = makeClip(dir, QLatin1String(encoder), size);
            if (file.isEmpty()) {
                std::fprintf(stderr, "ffmpeg could not make a clip with %s\n", encoder);
                return 1;
            }
            const QString clip = QString(QLatin1String(encoder)).mid(3) + QLatin1Char(' ') + size;
            ClipServer fast(file, 0);
            compare(
                "planes", clip, [&] { return planes(fast.url()); },
                [&] { return bareLoop(fast.url()); });
            // Paced, so that every picture is painted and none is merged with the next: the clip
            // of 10 s in about 5 s.
            ClipServer paced(file, QFile(file).size() / 5);
            const QSize window(640, 360);
            compare(
                "painter", clip, [&] { return painter(paced.url(), window); },
                [&] { return barePainter(paced.url(), window); });
        }
    }
    return 0;
}
