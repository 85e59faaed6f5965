// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/accessunits.h"

#include <QHash>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>

namespace vantratest {

/// An H.264 camera whose description says what the test wants, by RTSP over TCP: every client gets
/// the pictures from the first one on, as many as the test allows, as fast as they go. Lives on the
/// thread that runs the event loop.
class DescribedCamera : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(DescribedCamera)

public:
    explicit DescribedCamera(const QVector<AccessUnit> &pictures);
    ~DescribedCamera() override;

    QString url() const;
    /// The parameter sets of the description are those of `picture`; of none where that is empty.
    void describe(const QByteArray &picture);
    /// Clients get so many pictures in all, those that play as well. -1: all.
    void allow(int count);
    /// Clients that were told to play.
    int plays() const { return played; }

private:
    struct Client
    {
        QByteArray request;
        bool isPlaying = false;
        int sent = 0; ///< pictures
        quint16 sequence = 0;
    };

    void accept();
    void answer(QTcpSocket *socket);
    void reply(QTcpSocket *socket, const QByteArray &request);
    void sendPictures(QTcpSocket *socket);
    void sendPicture(QTcpSocket *socket, const AccessUnit &picture);
    void sendPayload(QTcpSocket *socket, const QByteArray &payload, qint64 stamp, bool isLast);
    QByteArray description() const;

    QTcpServer server;
    const QVector<AccessUnit> content;
    QList<QByteArray> sets;
    QHash<QTcpSocket *, Client> clients;
    int allowed = -1;
    int played = 0;
};

} // namespace vantratest
