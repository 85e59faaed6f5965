// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "addresscheck.h"

#include "logger/logger.h"

namespace {

constexpr int kPatienceMs = 3000;
/// More than any status line; what a stranger sends beyond is not read.
constexpr int kMaximumAnswerBytes = 512;
constexpr int kMaximumReasonLength = 60;

} // namespace

AddressCheck::AddressCheck(QObject *parent) : QObject(parent)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &AddressCheck::onTimeout);
    connect(&m_socket, &QTcpSocket::connected, this, &AddressCheck::onConnected);
    connect(&m_socket, &QTcpSocket::readyRead, this, &AddressCheck::onReadyRead);
    connect(&m_socket, &QAbstractSocket::errorOccurred, this, &AddressCheck::onError);
}

void AddressCheck::start(const CameraAddress &address)
{
    if (m_running || !address.isValid())
        return;
    m_running = true;
    m_address = address;
    m_answer.clear();
    m_timer.start(kPatienceMs);
    m_socket.setReadBufferSize(kMaximumAnswerBytes);
    m_socket.connectToHost(address.host(), quint16(address.port()));
}

void AddressCheck::cancel()
{
    m_running = false;
    m_timer.stop();
    m_socket.abort();
}

QString AddressCheck::meaningOf(const QByteArray &statusLine, const CameraAddress &address)
{
    if (!statusLine.startsWith("RTSP/1.") && !statusLine.startsWith("RTSP/2."))
        return tr("%1 answers, but it does not speak RTSP.").arg(address.endpoint());
    const int code = statusLine.mid(9, 3).toInt();
    if (code == 401 || code == 403) {
        return address.hasUser()
                   ? tr("The camera refuses the user name and password, or has no such stream.")
                   : tr("The camera asks for a user name and password.\n"
                        "Write rtsp://NAME:PASSWORD@%1.")
                         .arg(address.host());
    }
    if (code == 404)
        return tr("The camera has no stream with this path.");
    if (code >= 200 && code < 300)
        return tr("The camera answers, but its stream cannot be opened.");
    QString reason;
    for (const char c : statusLine.mid(9).trimmed().left(kMaximumReasonLength))
        reason += c >= 0x20 && c < 0x7f ? QLatin1Char(c) : QLatin1Char(' ');
    // It may repeat what it was asked for.
    return tr("The camera refuses the stream: %1.").arg(maskUrlCredentials(reason));
}

void AddressCheck::onConnected()
{
    if (!m_address.isRtsp()) {
        finish(tr("The server answers, but its stream cannot be opened."));
        return;
    }
    m_socket.write("DESCRIBE " + m_address.plain().toUtf8() +
                   " RTSP/1.0\r\nCSeq: 1\r\nAccept: application/sdp\r\n\r\n");
}

void AddressCheck::onReadyRead()
{
    m_answer += m_socket.read(kMaximumAnswerBytes - m_answer.size());
    const int end = m_answer.indexOf("\r\n");
    if (end >= 0 || m_answer.size() >= kMaximumAnswerBytes)
        finish(meaningOf(end < 0 ? m_answer : m_answer.left(end), m_address));
}

void AddressCheck::onError(QAbstractSocket::SocketError error)
{
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
        finish(tr("Nothing answers at %1.\nIs the camera on, and is the port right?")
                   .arg(m_address.endpoint()));
        break;
    case QAbstractSocket::HostNotFoundError:
        finish(tr("There is no host with the name %1.").arg(m_address.host()));
        break;
    case QAbstractSocket::RemoteHostClosedError:
        finish(tr("%1 closes the connection without an answer.").arg(m_address.endpoint()));
        break;
    default:
        finish(tr("%1 cannot be reached over the network.").arg(m_address.host()));
    }
}

void AddressCheck::onTimeout()
{
    finish(m_socket.state() == QAbstractSocket::ConnectedState
               ? tr("%1 accepts the connection, but does not answer.").arg(m_address.endpoint())
               : tr("%1 does not answer.").arg(m_address.endpoint()));
}

void AddressCheck::finish(const QString &reason)
{
    if (!m_running)
        return;
    cancel();
    emit finished(reason);
}
