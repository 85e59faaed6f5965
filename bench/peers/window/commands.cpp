// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "window/commands.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace {

void say(const QByteArray &line)
{
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
}

} // namespace

int runCommands(const std::function<QByteArray(const QByteArray &command)> &obey)
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    QByteArray pending;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[256];
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        input.setEnabled(got > 0);
        pending += got > 0 ? QByteArray(buffer, int(got)) : QByteArray("quit\n");
        for (int end = 0; (end = pending.indexOf('\n')) >= 0;) {
            const QByteArray command = pending.left(end);
            pending.remove(0, end + 1);
            say(obey(command));
            if (command == "quit")
                QCoreApplication::quit();
        }
    });
    QTimer::singleShot(0, &input, [] { say("READY"); });
    return QCoreApplication::exec();
}
