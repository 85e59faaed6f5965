// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <atomic>
#include <thread>

/// Sends an MPEG-TS file once to each client that connects, on loopback, from a thread of its own
/// whose CPU time is not that of the readers.
class ClipServer
{
public:
    /// `bytesPerSecond` 0: as fast as the client reads.
    ClipServer(const QString &file, qint64 bytesPerSecond);
    ~ClipServer();
    ClipServer(const ClipServer &) = delete;
    ClipServer &operator=(const ClipServer &) = delete;

    /// "tcp://127.0.0.1:PORT", empty if the server could not start.
    QString url() const;

private:
    void serve();
    void sendClip(int client);

    QByteArray clip;
    qint64 bytesPerSecond;
    int listener = -1;
    int port = 0;
    std::atomic<bool> ending{false};
    std::thread thread;
};
