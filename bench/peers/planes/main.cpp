// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-planes: stream threads of this library whose pictures go out as planes to a receiver that
// does nothing. Commands as of runPeer(), and "count", which is answered with the pictures so far.
#include "core_video/ffmpegvideothread.h"
#include "logger/logger.h"
#include "vantra.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
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
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    QCoreApplication application(argc, argv);
    std::vector<std::unique_ptr<FFmpegVideoThread>> threads;
    QObject receiver;
    const auto obey = [&](const QByteArray &command) {
        QByteArray answer = command;
        if (command == "start") {
            for (int i = 2; i < argc; ++i)
                threads.push_back(play(QString::fromLocal8Bit(argv[i]), &receiver));
        } else if (command == "count") {
            answer += ' ' + QByteArray::number(qlonglong(pictures));
        } else if (command == "quit") {
            receiver.disconnect();
            for (const auto &thread : threads) {
                thread->disconnect(&receiver);
                thread->stop();
            }
            QCoreApplication::quit();
        }
        std::printf("%s\n", answer.constData());
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
    return QCoreApplication::exec();
}
