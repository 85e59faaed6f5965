// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-record FOLDER ADDRESS...: live streams of this library that are only recorded, without a
// widget. Commands: start, stop, quit.
#include "window/commands.h"

#include "core_live/livevideowidget.h"
#include "devicelink/hnetdevice.h"
#include "devicelink/rtspcamerabackend.h"
#include "logger/logger.h"
#include "vantra.h"

#include <QApplication>

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
    const int result = runCommands([&](const QByteArray &command) {
        if (command == "start") {
            for (int i = 0; i < cameras.size(); ++i)
                widgets.push_back(record(device, i, QString::fromLocal8Bit(argv[1])));
        } else if (command == "stop") {
            for (const auto &widget : widgets) {
                widget->recordStop();
                widget->stop(false);
            }
            widgets.clear();
        }
        return command;
    });
    widgets.clear();
    Vantra::release();
    return result;
}
