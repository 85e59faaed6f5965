// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-record FOLDER ADDRESS...: live streams of this library that are only recorded, by a host
// that has neither a window nor views, as the other recorders have none. Commands: start, stop,
// quit.
#include "window/commands.h"

#include "core_live/ffrtsplivethread.h"
#include "devicelink/hnetdevice.h"
#include "devicelink/rtspcamerabackend.h"
#include "logger/logger.h"
#include "vantra.h"

#include <QCoreApplication>

#include <memory>
#include <vector>

namespace {

constexpr int kTimeoutMs = 3000;
constexpr auto kManual = AbstractVideoThread::MANUAL_RECORD;

std::unique_ptr<FFRtspLiveThread> record(const QSharedPointer<HNetDevice> &device, int channel,
                                         const QString &folder)
{
    auto thread = std::make_unique<FFRtspLiveThread>();
    thread->bindDevice(device);
    thread->setStreamChannel(channel, 0);
    thread->setConnectTimeout(kTimeoutMs);
    thread->setReadTimeout(kTimeoutMs);
    thread->setSavePath(kManual, folder);
    thread->recordStart(kManual);
    thread->play();
    return thread;
}

} // namespace

int main(int argc, char **argv)
{
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    QCoreApplication application(argc, argv);
    Vantra::init();
    QVector<RtspCamera> cameras;
    for (int i = 2; i < argc; ++i)
        cameras.append({QString::fromLocal8Bit(argv[i]), QString()});
    const auto device =
        QSharedPointer<HNetDevice>::create(std::make_unique<RtspCameraBackend>(cameras));
    std::vector<std::unique_ptr<FFRtspLiveThread>> threads;
    const int result = runCommands([&](const QByteArray &command) {
        if (command == "start") {
            for (int i = 0; i < cameras.size(); ++i)
                threads.push_back(record(device, i, QString::fromLocal8Bit(argv[1])));
        } else if (command == "stop") {
            for (const auto &thread : threads)
                thread->stop(); // at once; the file ends with the thread
        }
        return command;
    });
    threads.clear();
    Vantra::release();
    return result;
}
