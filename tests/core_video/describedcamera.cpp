// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "describedcamera.h"

#include <QtEndian>

namespace vantratest {

namespace {

constexpr int kTypeMask = 0x1f;
constexpr int kSequenceSet = 7, kPictureSet = 8, kFragment = 28;
constexpr int kLongestPayload = 1300; // bytes
constexpr int kTicksPerMs = 90;
constexpr char kPayloadType = 96;

/// The NAL units of one picture in Annex B.
QList<QByteArray> unitsOf(const QByteArray &picture)
{
    const QByteArray startCode("\0\0\1", 3);
    QList<QByteArray> units;
    int begin = picture.indexOf(startCode);
    while (begin >= 0) {
        begin += startCode.size();
        const int next = picture.indexOf(startCode, begin);
        int end = next < 0 ? picture.size() : next;
        while (end > begin && picture[end - 1] == '\0')
            --end;
        units.append(picture.mid(begin, end - begin));
        begin = next;
    }
    return units;
}

int typeOf(const QByteArray &unit)
{
    return unit[0] & kTypeMask;
}

} // namespace

DescribedCamera::DescribedCamera(const QVector<AccessUnit> &pictures) : content(pictures)
{
    connect(&server, &QTcpServer::newConnection, this, &DescribedCamera::accept);
    server.listen(QHostAddress::LocalHost);
}

DescribedCamera::~DescribedCamera()
{
    const QList<QTcpSocket *> all = clients.keys();
    for (QTcpSocket *socket : all)
        socket->disconnect(this); // it ends with the server, and would tell
}

QString DescribedCamera::url() const
{
    return QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(server.serverPort());
}

void DescribedCamera::describe(const QByteArray &picture)
{
    sets.clear();
    for (const QByteArray &unit : unitsOf(picture)) {
        if (typeOf(unit) == kSequenceSet || typeOf(unit) == kPictureSet)
            sets.append(unit);
    }
}

void DescribedCamera::allow(int count)
{
    allowed = count;
    const QList<QTcpSocket *> all = clients.keys();
    for (QTcpSocket *socket : all)
        sendPictures(socket);
}

void DescribedCamera::accept()
{
    while (QTcpSocket *socket = server.nextPendingConnection()) {
        clients.insert(socket, {});
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            clients.remove(socket);
            socket->deleteLater();
        });
    }
}

void DescribedCamera::answer(QTcpSocket *socket)
{
    const QByteArray end("\r\n\r\n");
    QByteArray &request = clients[socket].request;
    request += socket->readAll();
    for (int at = 0; (at = request.indexOf(end)) >= 0; request.remove(0, at + end.size()))
        reply(socket, request.left(at));
}

void DescribedCamera::reply(QTcpSocket *socket, const QByteArray &request)
{
    QByteArray number;
    for (const QByteArray &line : request.split('\n')) {
        if (line.toLower().startsWith("cseq"))
            number = line.trimmed();
    }
    QByteArray answer = "RTSP/1.0 200 OK\r\n" + number + "\r\n";
    QByteArray body;
    if (request.startsWith("OPTIONS")) {
        answer += "Public: DESCRIBE, SETUP, PLAY, TEARDOWN\r\n";
    } else if (request.startsWith("DESCRIBE")) {
        body = description();
        answer +=
            "Content-Type: application/sdp\r\nContent-Length: " + QByteArray::number(body.size()) +
            "\r\n";
    } else if (request.startsWith("SETUP")) {
        answer += "Session: 1\r\nTransport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n";
    } else {
        answer += "Session: 1\r\n";
    }
    socket->write(answer + "\r\n" + body);
    if (request.startsWith("PLAY") && !clients[socket].isPlaying) {
        clients[socket].isPlaying = true;
        ++played;
        sendPictures(socket);
    }
}

QByteArray DescribedCamera::description() const
{
    QByteArray told;
    for (const QByteArray &set : sets)
        told += (told.isEmpty() ? ";sprop-parameter-sets=" : ",") + set.toBase64();
    return "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=camera\r\nt=0 0\r\nm=video 0 RTP/AVP 96\r\n"
           "a=rtpmap:96 H264/90000\r\na=fmtp:96 packetization-mode=1" +
           told + "\r\na=control:video\r\n";
}

void DescribedCamera::sendPictures(QTcpSocket *socket)
{
    Client &client = clients[socket];
    const int last = allowed < 0 ? content.size() : qMin(allowed, content.size());
    while (client.isPlaying && client.sent < last)
        sendPicture(socket, content[client.sent++]);
}

/// RFC 6184: units that fit in a packet as they are, longer ones in fragments.
void DescribedCamera::sendPicture(QTcpSocket *socket, const AccessUnit &picture)
{
    QList<QByteArray> payloads;
    for (const QByteArray &unit : unitsOf(picture.data)) {
        if (unit.size() <= kLongestPayload) {
            payloads.append(unit);
            continue;
        }
        for (int at = 1; at < unit.size(); at += kLongestPayload) {
            const bool isFirst = at == 1;
            const bool isLast = at + kLongestPayload >= unit.size();
            QByteArray payload;
            payload.append(char((unit[0] & ~kTypeMask) | kFragment));
            payload.append(char(typeOf(unit) | (isFirst ? 0x80 : 0) | (isLast ? 0x40 : 0)));
            payloads.append(payload + unit.mid(at, kLongestPayload));
        }
    }
    for (int i = 0; i < payloads.size(); ++i)
        sendPayload(socket, payloads[i], picture.pts, i + 1 == payloads.size());
}

/// RFC 3550, 5.1, in the frame of RFC 2326, 10.12.
void DescribedCamera::sendPayload(QTcpSocket *socket, const QByteArray &payload, qint64 stamp,
                                  bool isLast)
{
    QByteArray head(16, '\0');
    head[0] = '$';
    qToBigEndian(quint16(12 + payload.size()), head.data() + 2);
    head[4] = char(0x80);
    head[5] = char(kPayloadType | (isLast ? 0x80 : 0));
    qToBigEndian(clients[socket].sequence++, head.data() + 6);
    qToBigEndian(quint32(stamp * kTicksPerMs), head.data() + 8);
    qToBigEndian(quint32(1), head.data() + 12);
    socket->write(head + payload);
}

} // namespace vantratest
