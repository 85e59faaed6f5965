// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "cameraaddress.h"

#include "logger/logger.h"

#include <QCoreApplication>
#include <QUrl>

namespace {

constexpr int kRtspPort = 554;
constexpr int kHttpPort = 80;

QString tr(const char *text)
{
    return QCoreApplication::translate("CameraAddress", text);
}

int usualPort(const QString &scheme)
{
    return scheme == QLatin1String("rtsp") ? kRtspPort : kHttpPort;
}

} // namespace

CameraAddress CameraAddress::parse(const QString &text, QString *error)
{
    const auto refuse = [error](const QString &why) {
        if (error)
            *error = why;
        return CameraAddress();
    };
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return refuse(tr("There is no address. Write rtsp://HOST/PATH."));
    const int schemeEnd = trimmed.indexOf(QLatin1String("://"));
    if (schemeEnd < 1)
        return refuse(tr("An address begins with rtsp://, such as rtsp://192.168.1.10/stream1."));

    CameraAddress address;
    address.m_scheme = trimmed.left(schemeEnd).toLower();
    if (address.m_scheme != QLatin1String("rtsp") && address.m_scheme != QLatin1String("http"))
        return refuse(tr("Only addresses that begin with rtsp:// or http:// can be played."));
    const QString rest = trimmed.mid(schemeEnd + 3);
    const int at = qMax(-1, userInfoEnd(trimmed) - schemeEnd - 3);
    address.m_hasUser = at > 0;
    // The library makes an rtsp address of every one with a user.
    if (address.m_hasUser && address.m_scheme != QLatin1String("rtsp"))
        return refuse(tr("A user and a password are for rtsp:// addresses only."));

    const QUrl url(address.m_scheme + QLatin1String("://") + rest.mid(at + 1), QUrl::StrictMode);
    if (!url.isValid())
        return refuse(tr("The host, port or path of the address is not written correctly."));
    if (url.host().isEmpty())
        return refuse(tr("The address names no host. Write rtsp://HOST/PATH."));
    if (url.port() == 0)
        return refuse(tr("The port of the address is a number from 1 to 65535."));
    address.m_host = url.host();
    address.m_port = url.port(usualPort(address.m_scheme));
    address.m_path = url.path(QUrl::FullyEncoded);
    if (address.m_path.isEmpty())
        address.m_path = QStringLiteral("/");
    if (url.hasQuery())
        address.m_path += QLatin1Char('?') + url.query(QUrl::FullyEncoded);

    // For the library everything before the last '@' is user information.
    address.m_path.replace(QLatin1Char('@'), QLatin1String("%40"));
    // The library takes a missing port for that of RTSP, so it is always written out.
    address.m_full = address.m_scheme + QLatin1String("://") +
                     (address.m_hasUser ? rest.left(at + 1) : QString()) + address.endpoint() +
                     address.m_path;
    return address;
}

QString CameraAddress::endpoint() const
{
    const bool isIpv6 = m_host.contains(QLatin1Char(':'));
    return (isIpv6 ? QLatin1Char('[') + m_host + QLatin1Char(']') : m_host) + QLatin1Char(':') +
           QString::number(m_port);
}

QString CameraAddress::name() const
{
    if (!isValid())
        return QString();
    QString path = QUrl::fromPercentEncoding(m_path.section(QLatin1Char('?'), 0, 0).toUtf8());
    while (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    // Some cameras take the password as a part of the path.
    return (m_port == usualPort(m_scheme) ? m_host : endpoint()) + maskUrlCredentials(path);
}

QString CameraAddress::plain() const
{
    return isValid() ? m_scheme + QLatin1String("://") + endpoint() + m_path : QString();
}
