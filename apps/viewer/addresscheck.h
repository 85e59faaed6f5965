// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "cameraaddress.h"

#include <QByteArray>
#include <QObject>
#include <QTcpSocket>
#include <QTimer>

/// Finds out in plain words why an address gives no picture. A stream thread tells only that it
/// could not open; this asks the camera once, without user name and password. GUI thread; nothing
/// blocks.
class AddressCheck final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(AddressCheck)

public:
    explicit AddressCheck(QObject *parent = nullptr);

    /// Begins, unless a check is under way.
    void start(const CameraAddress &address);
    void cancel();

    /// What the first line of an RTSP answer means for somebody who knows the address.
    static QString meaningOf(const QByteArray &statusLine, const CameraAddress &address);

signals:
    /// A sentence or two, without user name and password.
    void finished(const QString &reason);

private:
    void onConnected();
    void onReadyRead();
    void onError(QAbstractSocket::SocketError error);
    void onTimeout();
    void finish(const QString &reason);

    CameraAddress m_address;
    QTcpSocket m_socket;
    QTimer m_timer;
    QByteArray m_answer;
    bool m_running = false;
};
