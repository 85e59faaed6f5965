// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What live views of a simulated device cost, beside bare libavcodec decoding of the same streams,
// and what streams cost that are only recorded. Both sides pay for the making of the streams.
#include "baredecoder.h"
#include "views.h"

#include "core_live/videothrmux/livethreadmaker_p.h"
#include "logger/logger.h"
#include "simulator/devicecontrol.h"
#include "vantra.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

extern "C" {
#include <libavutil/log.h>
}

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>

using namespace vantrasim;

namespace {

constexpr int kWarmUpPictures = 75; ///< all of the loops has been encoded then
constexpr int kLookMs = 50;
constexpr int kWarmUpMs = 60000; ///< safeguard

double cpuSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

double residentMiB()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toDouble() * 4096 / (1024 * 1024);
}

/// Lets the event loop turn, and sleep where it has nothing to do.
template<typename Condition>
void turnUntil(Condition condition, int milliseconds = kWarmUpMs)
{
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (condition())
            loop.quit();
    });
    look.start(kLookMs);
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

Simulation streams(int count, int width, int height)
{
    DeviceConfig config = DeviceConfig::simple(count, 1);
    for (ChannelConfig &channel : config.channels) {
        VideoFormat &video = channel.streams[0].video;
        video.codec = HCodecH264;
        video.width = width;
        video.height = height;
    }
    return simulateDevice(config);
}

qint64 sentBy(const Simulation &sim)
{
    qint64 sent = 0;
    for (int channel = 0; channel < sim.control->config().channels.size(); ++channel)
        sent += sim.control->counts(channel, 0).pictures;
    return sent;
}

double percentOfACore(int seconds)
{
    QElapsedTimer timer;
    timer.start();
    const double begin = cpuSeconds();
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    return (cpuSeconds() - begin) * 100000 / double(timer.elapsed());
}

double percentile(const std::vector<double> &sorted, double share)
{
    return sorted.empty() ? 0 : sorted[std::size_t(share * double(sorted.size() - 1))];
}

void compareViews(int count, int width, int height, int seconds)
{
    double bare = 0;
    double bareMiB = 0;
    {
        const Simulation sim = streams(count, width, height);
        std::vector<std::unique_ptr<BareDecoder>> decoders;
        for (int i = 0; i < count; ++i)
            decoders.push_back(std::make_unique<BareDecoder>(sim.device, i));
        for (const auto &decoder : decoders)
            turnUntil([&] { return decoder->pictures() >= kWarmUpPictures; });
        bare = percentOfACore(seconds);
        bareMiB = residentMiB();
    }
    Vantra::init();
    const Simulation sim = streams(count, width, height);
    std::vector<std::unique_ptr<TimedView>> views;
    const int columns = count > 9 ? 4 : count > 4 ? 3 : count > 1 ? 2 : 1;
    for (int i = 0; i < count; ++i) {
        views.push_back(std::make_unique<TimedView>());
        views.back()->setGeometry(i % columns * 320, i / columns * 180, 320, 180);
        views.back()->show();
        views.back()->init(sim.device, i, -1);
        views.back()->start();
        views.back()->playStart(0);
    }
    for (const auto &view : views)
        turnUntil([&] { return view->pictures() >= kWarmUpPictures; });
    for (const auto &view : views)
        view->forget();
    const qint64 before = sentBy(sim);
    const double ours = percentOfACore(seconds);
    const qint64 sent = sentBy(sim) - before;
    const double oursMiB = residentMiB();
    std::vector<double> ages;
    long paints = 0;
    for (const auto &view : views) {
        paints += view->paints();
        ages.insert(ages.end(), view->ages().begin(), view->ages().end());
        view->playStop(true);
        view->stop(false);
    }
    views.clear();
    Vantra::release();
    std::sort(ages.begin(), ages.end());
    std::printf("%3d x %4dx%-4d %9.1f %9.1f %6.2f %8.0f %8.0f %7ld/%-6lld %8.2f %8.2f\n", count,
                width, height, ours, bare, ours / bare, oursMiB, bareMiB, paints, (long long)sent,
                percentile(ages, 0.5), percentile(ages, 0.99));
    std::fflush(stdout);
}

/// Streams that nobody watches. Returns percent of a core.
double measureRecordings(int count, int seconds, double onePerStream)
{
    const QTemporaryDir folder;
    Vantra::init();
    const Simulation sim = streams(count, 640, 360);
    for (int i = 0; i < count; ++i) {
        LiveVideoWidget widget(HTransportOrvo); // the recording outlives it
        widget.init(sim.device, i, -1);
        widget.start();
        widget.recordStart(folder.filePath(QString::number(i)));
        widget.stop(false);
    }
    const auto allFlow = [&] {
        for (int i = 0; i < count; ++i)
            if (sim.control->counts(i, 0).pictures < kWarmUpPictures)
                return false;
        return true;
    };
    turnUntil(allFlow);
    const double percent = percentOfACore(seconds);
    const double memory = residentMiB();
    Vantra::release();
    const double each = onePerStream < 0 ? percent : (percent - onePerStream) / (count - 1);
    std::printf("%3d recorded      %9.1f %9.2f %8.0f\n", count, percent, each, memory);
    std::fflush(stdout);
    return percent;
}

AbstractVideoThread *makeTimedThread(HTransportProtocol)
{
    return new TimedThread;
}

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    av_log_set_callback([](void *, int, const char *, va_list) {});
    const int seconds = argc > 1 ? std::max(1, atoi(argv[1])) : 10;

    std::printf("%-14s %9s %9s %6s %8s %8s %14s %8s %8s\n", "views", "% core", "bare", "ratio",
                "MiB", "bare", "shown/sent", "p50 ms", "p99 ms");
    liveThreadMaker = makeTimedThread;
    for (const int count : {1, 4, 9, 16})
        compareViews(count, 640, 360, seconds);
    for (const int count : {1, 4})
        compareViews(count, 1920, 1080, seconds);
    liveThreadMaker = makeLiveThread;

    std::printf("\n%-16s %9s %9s %8s\n", "streams", "% core", "each", "MiB");
    double one = -1;
    for (const int count : {1, 4, 16, 32, 64}) {
        const double percent = measureRecordings(count, seconds, one);
        one = one < 0 ? percent : one;
    }
    return 0;
}
