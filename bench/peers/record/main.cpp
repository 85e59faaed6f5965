// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-record FOLDER ADDRESS...: live streams of this library that are only recorded, without a
// widget. Commands as of runPeer(): start, stop, quit.
#include "core_live/livevideowidget.h"
#include "devicelink/hnetdevice.h"
#include "devicelink/rtspcamerabackend.h"
#include "logger/logger.h"
#include "vantra.h"

#include <QApplication>
#include <QSocketNotifier>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr int kTimeoutMs = 3000;

/// A view of a channel that shows nothing, but is there to steer the recording.
std::unique_ptr<LiveVideoWidget> record(const QSharedPointer<HNetDevice> &device, int channel,
                                        const QString &folder)
{
    auto widget = std::make_unique<LiveVideoWidget>(HTransportRtsp);
    VideoPara video = widget->getVideoPara();
    video.connectTimeout = video.readTimeout = kTimeoutMs;
    widget->setVideoPara(video);
    widget->init(device, channel, -1);
    widget->start();
    widget->recordStart(folder);
    return widget;
}

} // namespace

int main(int argc, char **argv)
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    QApplication application(argc, argv);
    Vantra::init();
    QVector<RtspCamera> cameras;
    for (int i = 2; i < argc; ++i)
        cameras.append({QString::fromLocal8Bit(argv[i]), QString()});
    const auto device =
        QSharedPointer<HNetDevice>::create(std::make_unique<RtspCameraBackend>(cameras));
    std::vector<std::unique_ptr<LiveVideoWidget>> widgets;
    const auto obey = [&](const QByteArray &command) {
        if (command == "start") {
            for (int i = 0; i < cameras.size(); ++i)
                widgets.push_back(record(device, i, QString::fromLocal8Bit(argv[1])));
        } else if (command == "stop") {
            for (const auto &widget : widgets) {
                widget->recordStop();
                widget->stop(false);
            }
            widgets.clear();
        } else if (command == "quit") {
            QCoreApplication::quit();
        }
        std::printf("%s\n", command.constData());
        std::fflush(stdout);
    };
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[256];
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        const QByteArray text = got > 0 ? QByteArray(buffer, int(got)) : QByteArray("quit\n");
        for (const QByteArray &line : text.split('\n')) {
            if (!line.isEmpty())
                obey(line);
        }
    });
    std::puts("READY");
    std::fflush(stdout);
    const int result = QApplication::exec();
    widgets.clear();
    Vantra::release();
    return result;
}
