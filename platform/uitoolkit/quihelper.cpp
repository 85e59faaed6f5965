// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "uitoolkit/quihelper.h"

#include "uitoolkit/svgicon_p.h"

#include <QAbstractButton>
#include <QDir>

#include <algorithm>

namespace {

bool isSchemeChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('+') || c == QLatin1Char('-') ||
           c == QLatin1Char('.');
}

/// Host and port of an address without its scheme.
QString hostAndPort(const QString &address)
{
    int end = 0;
    while (end < address.size() && !QStringLiteral("/?#").contains(address.at(end)))
        ++end;
    const QString authority = address.left(end);
    // A password may hold '@' and '/', a host may not: nothing before the last '@' is looked up.
    const int at = address.lastIndexOf(QLatin1Char('@'));
    if (authority.contains(QLatin1Char('@')))
        return at < end ? authority.mid(at + 1) : hostAndPort(address.mid(at + 1));
    const int colon = authority.indexOf(QLatin1Char(':'));
    if (colon < 0 || authority.startsWith(QLatin1Char('[')))
        return authority;
    // What follows the colon is a port, or else the beginning of a password that holds a '/'.
    const QString port = authority.mid(colon + 1);
    const bool isPort = std::all_of(port.begin(), port.end(), [](QChar c) { return c.isDigit(); });
    const bool endsUser = at >= 0 && (!isPort || address.indexOf(QLatin1Char('/'), at) > at);
    return endsUser ? hostAndPort(address.mid(at + 1)) : authority;
}

} // namespace

QString QUIHelper::urlToIp(const QString &url)
{
    const QString address = url.trimmed();
    const int scheme = address.indexOf(QLatin1String("://"));
    // After any other character it belongs to something else, such as a query.
    const bool hasScheme =
        scheme >= 0 && std::all_of(address.begin(), address.begin() + scheme, isSchemeChar);
    QString host = hostAndPort(hasScheme ? address.mid(scheme + 3) : address);
    if (host.startsWith(QLatin1Char('['))) {
        const int close = host.indexOf(QLatin1Char(']'));
        return close < 0 ? host.mid(1) : host.mid(1, close - 1);
    }
    // More than one colon without brackets: an IPv6 address, which can have no port then.
    if (host.count(QLatin1Char(':')) == 1)
        host.truncate(host.indexOf(QLatin1Char(':')));
    return host;
}

void QUIHelper::checkPath(const QString &path)
{
    if (!path.isEmpty())
        QDir().mkpath(path);
}

void QUIHelper::setSvgIcon(QAbstractButton *button, const QString &path)
{
    if (!button)
        return;
    button->setIcon(svgIcon(path));
    fitIconToButton(button);
}
