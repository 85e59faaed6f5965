// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/tcpsource.h"

namespace vantratest {

TcpSource::TcpSource(const QByteArray &bytes) : content(bytes)
{
    connect(&server, &QTcpServer::newConnection, this, &TcpSource::accept);
    server.listen(QHostAddress::LocalHost);
}

TcpSource::~TcpSource()
{
    shutDown();
}

QString TcpSource::url(const QString &scheme) const
{
    return QStringLiteral("%1://127.0.0.1:%2").arg(scheme, QString::number(server.serverPort()));
}

void TcpSource::release(int count)
{
    limit = count;
    const QList<QTcpSocket *> all = sent.keys();
    for (QTcpSocket *client : all)
        send(client);
}

void TcpSource::feed(const QByteArray &bytes)
{
    const QList<QTcpSocket *> all = sent.keys();
    for (QTcpSocket *client : all)
        client->write(bytes);
}

void TcpSource::dropClients()
{
    const QList<QTcpSocket *> all = sent.keys();
    for (QTcpSocket *client : all)
        client->abort();
}

void TcpSource::shutDown()
{
    server.close();
    dropClients();
}

int TcpSource::allowed() const
{
    return limit < 0 ? content.size() : qMin(limit, content.size());
}

void TcpSource::accept()
{
    while (QTcpSocket *client = server.nextPendingConnection()) {
        ++accepted;
        sent.insert(client, 0);
        connect(client, &QTcpSocket::disconnected, this, [this, client] {
            sent.remove(client);
            client->deleteLater();
        });
        send(client);
    }
}

void TcpSource::send(QTcpSocket *client)
{
    const int end = allowed();
    int &done = sent[client];
    if (end > done) {
        client->write(content.constData() + done, end - done);
        done = end;
    }
    if (closing && done == content.size())
        client->disconnectFromHost();
}

} // namespace vantratest
