// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "clipserver.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

ClipServer::ClipServer(const QString &file, qint64 bytesPerSecond) : bytesPerSecond(bytesPerSecond)
{
    QFile source(file);
    if (source.open(QIODevice::ReadOnly))
        clip = source.readAll();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (clip.isEmpty() || listener < 0 ||
        ::bind(listener, reinterpret_cast<sockaddr *>(&address), length) != 0 ||
        ::listen(listener, 8) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        return;
    port = ntohs(address.sin_port);
    thread = std::thread([this] { serve(); });
}

ClipServer::~ClipServer()
{
    ending = true;
    if (thread.joinable())
        thread.join();
    if (listener >= 0)
        ::close(listener);
}

QString ClipServer::url() const
{
    return port > 0 ? QStringLiteral("tcp://127.0.0.1:%1").arg(port) : QString();
}

void ClipServer::serve()
{
    while (!ending) {
        pollfd waiting{listener, POLLIN, 0};
        if (::poll(&waiting, 1, 100) <= 0)
            continue;
        const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            continue;
        sendClip(client);
        ::close(client);
    }
}

void ClipServer::sendClip(int client)
{
    constexpr qint64 kStep = 1316; // seven transport stream packets
    QElapsedTimer timer;
    timer.start();
    qint64 sent = 0;
    while (sent < clip.size() && !ending) {
        if (bytesPerSecond > 0 && sent > timer.elapsed() * bytesPerSecond / 1000) {
            // A probe connects and goes: notice it here.
            char byte;
            if (::recv(client, &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0)
                return;
            QThread::msleep(1);
            continue;
        }
        const qint64 step = bytesPerSecond > 0 ? kStep : 64 * kStep;
        const ssize_t result = ::send(client, clip.constData() + sent,
                                      size_t(qMin(step, clip.size() - sent)), MSG_NOSIGNAL);
        if (result <= 0)
            return;
        sent += result;
    }
}
