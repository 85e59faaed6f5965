// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

namespace vantratest {

/// A source behind a TCP port of this machine, for a URL "tcp://...": every client gets the bytes
/// so far allowed, and the test decides what follows. Lives on the thread that runs the event loop.
class TcpSource : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(TcpSource)

public:
    explicit TcpSource(const QByteArray &bytes = QByteArray());
    ~TcpSource() override;

    /// "tcp://127.0.0.1:port"; with another scheme where one is given.
    QString url(const QString &scheme = QStringLiteral("tcp")) const;

    /// What new clients get.
    void setBytes(const QByteArray &bytes) { content = bytes; }
    /// New clients get only the first `count` bytes, until release(); -1: all.
    void setLimit(int count) { limit = count; }
    /// Sends what the limit has held back, up to `count` bytes in all (-1: all), now and from now
    /// on.
    void release(int count = -1);
    /// Ends a connection as soon as everything is sent; else it stays open and silent.
    void setClosing(bool close) { closing = close; }
    /// Sends more to the clients there are.
    void feed(const QByteArray &bytes);
    /// Ends all connections.
    void dropClients();
    /// Stops listening and ends all connections.
    void shutDown();

    /// Connections so far, probes included.
    int connections() const { return accepted; }
    int clients() const { return sent.size(); }

private:
    void accept();
    void send(QTcpSocket *client);
    int allowed() const;

    QTcpServer server;
    QByteArray content;
    QHash<QTcpSocket *, int> sent; ///< open clients, and how far each has come
    int limit = -1;
    bool closing = false;
    int accepted = 0;
};

} // namespace vantratest
