// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-planes: stream threads of this library whose pictures go out as planes to a receiver that
// does nothing. Commands: start, quit, and "count", which is answered with the pictures so far.
#include "window/commands.h"

#include "core_video/ffmpegvideothread.h"
#include "logger/logger.h"
#include "vantra.h"

#include <QCoreApplication>

#include <memory>
#include <vector>

namespace {

constexpr int kTimeoutMs = 3000;

long pictures = 0; // of the GUI thread, where they arrive

std::unique_ptr<FFmpegVideoThread> play(const QString &address, QObject *receiver)
{
    using Planar = void (AbstractVideoThread::*)(int, int, quint8 *, quint8 *, quint8 *, quint32,
                                                 quint32, quint32);
    auto thread = std::make_unique<FFmpegVideoThread>();
    QObject::connect(
        thread.get(), static_cast<Planar>(&AbstractVideoThread::receiveFrame), receiver,
        [] { ++pictures; }, Qt::BlockingQueuedConnection);
    thread->setVideoUrl(address);
    thread->setVideoMode(VideoMode_Opengl);
    thread->setReadTimeout(kTimeoutMs);
    thread->setConnectTimeout(kTimeoutMs);
    ++thread->previewRef();
    thread->start();
    return thread;
}

} // namespace

int main(int argc, char **argv)
{
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    QCoreApplication application(argc, argv);
    std::vector<std::unique_ptr<FFmpegVideoThread>> threads;
    QObject receiver;
    return runCommands([&](const QByteArray &command) -> QByteArray {
        if (command == "start") {
            for (int i = 2; i < argc; ++i)
                threads.push_back(play(QString::fromLocal8Bit(argv[i]), &receiver));
        } else if (command == "count") {
            return command + ' ' + QByteArray::number(qlonglong(pictures));
        } else if (command == "quit") {
            receiver.disconnect();
            for (const auto &thread : threads) {
                thread->disconnect(&receiver);
                thread->stop();
            }
        }
        return command;
    });
}
