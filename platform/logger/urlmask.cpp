// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "logger/logger.h"

#include <algorithm>

// Passwords are found as people type them into address fields: with '@', ':' and '/' that a correct
// URL would have encoded. Where it is uncertain what a password is, too much is masked, not too
// little.

namespace {

const QLatin1String kSchemeEnd("://");
constexpr int kMaxAddress = 80; ///< characters of an IPv6 address in brackets, with its zone

bool isSchemeChar(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '+' ||
           u == '-' || u == '.';
}

/// Start of the scheme that ends before `colon`, not before `from`.
int schemeStart(const QString &text, int colon, int from)
{
    int start = colon;
    while (start > from && isSchemeChar(text.at(start - 1)))
        --start;
    return start;
}

/// Where the URL ends at the latest whose scheme starts at `scheme` and whose authority starts at
/// `start`: at the closing quote if it is quoted, at the next URL, or with the line.
int urlLimit(const QString &text, int scheme, int start)
{
    QChar closing = QLatin1Char('\n');
    if (scheme > 0) {
        const QChar before = text.at(scheme - 1);
        if (before == QLatin1Char('"') || before == QLatin1Char('\''))
            closing = before;
        else if (before == QLatin1Char('<'))
            closing = QLatin1Char('>');
    }
    const int next = text.indexOf(kSchemeEnd, start);
    const int limit = next < 0 ? text.size() : schemeStart(text, next, start);
    int end = start;
    while (end < limit && text.at(end) != QLatin1Char('\n') && text.at(end) != closing)
        ++end;
    return end;
}

/// End of the first word.
int firstBlank(const QString &text, int start, int end)
{
    while (start < end && !text.at(start).isSpace())
        ++start;
    return start;
}

/// End of the authority.
int firstSlash(const QString &text, int start, int end)
{
    while (start < end && !QStringLiteral("/?#").contains(text.at(start)))
        ++start;
    return start;
}

bool isHostChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('-') || c == QLatin1Char('.') ||
           c == QLatin1Char('_');
}

/// Whether a host stands at `start` that cannot well be a part of a password: an address in
/// brackets, a name or number with a dot inside, or "localhost".
bool isPlainHost(const QString &text, int start, int end)
{
    int host = start;
    if (host < end && text.at(host) == QLatin1Char('[')) {
        const int close =
            text.midRef(host, qMin(end - host, kMaxAddress)).indexOf(QLatin1Char(']'));
        return close > 0;
    }
    bool dotted = false;
    while (host < end && isHostChar(text.at(host))) {
        dotted |= text.at(host) == QLatin1Char('.') && host > start && host + 1 < end &&
                  isHostChar(text.at(host + 1));
        ++host;
    }
    if (host < end && text.at(host) == QLatin1Char('@'))
        return false;
    return dotted || text.midRef(start, host - start) == QLatin1String("localhost");
}

bool isNumber(const QStringRef &text)
{
    return !text.isEmpty() &&
           std::all_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); });
}

/// Whether this can be a host with or without a port at all.
bool isNameOrAddress(const QStringRef &text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) {
        return isHostChar(c) || c == QLatin1Char(':');
    });
}

/// Position of the '@' that ends the user information of the URL with its authority at `start`, or
/// -1.
int userInfoEnd(const QString &text, int start, int end)
{
    const int slash = firstSlash(text, start, end);
    const QStringRef authority = text.midRef(start, slash - start);
    const int at = authority.lastIndexOf(QLatin1Char('@'));
    if (at >= 0 && (slash == end || isPlainHost(text, start + at + 1, end)))
        return start + at;

    // Perhaps the password holds the slash, and the host comes later.
    const int colon = authority.indexOf(QLatin1Char(':'));
    if (colon < 0 || authority.startsWith(QLatin1Char('[')))
        return at >= 0 ? start + at : -1;
    const bool hostAndPort = at < 0 && isNumber(authority.mid(colon + 1));
    if (hostAndPort && isPlainHost(text, start, end))
        return -1;
    int firstAt = -1;
    for (int i = slash; i < end; ++i) {
        if (text.at(i) != QLatin1Char('@'))
            continue;
        if (isPlainHost(text, i + 1, end))
            return i;
        if (firstAt < 0)
            firstAt = i;
    }
    if (at >= 0 && (firstAt < 0 || isNameOrAddress(authority.mid(at + 1))))
        return start + at;
    return hostAndPort ? -1 : firstAt;
}

/// Whether a ':' stands in there that does not end a word, as between a user and a password.
bool holdsPair(const QString &text, int start, int end)
{
    for (int i = start; i + 1 < end; ++i) {
        if (text.at(i) == QLatin1Char(':') && !text.at(i + 1).isSpace())
            return true;
    }
    return false;
}

/// Whether a host with the path or port of a URL stands at `start`, which no mail address has.
bool isHostOfUrl(const QString &text, int start, int end)
{
    int host = start;
    while (host < end && isHostChar(text.at(host)))
        ++host;
    if (host == start || host == end)
        return false;
    return text.at(host) == QLatin1Char('/') ||
           (text.at(host) == QLatin1Char(':') && host + 1 < end && text.at(host + 1).isDigit());
}

/// Whether the authority up to `slash`, in which no '@' stands, is host and port beyond doubt.
bool isHostAlone(const QString &text, int start, int slash, int end)
{
    const QStringRef authority = text.midRef(start, slash - start);
    const int colon = authority.indexOf(QLatin1Char(':'));
    if (authority.startsWith(QLatin1Char('[')) || authority == QLatin1String("localhost"))
        return true;
    if (colon >= 0 && !isNumber(authority.mid(colon + 1)))
        return false;
    if (slash < end || (colon >= 0 && isPlainHost(text, start, end)))
        return true;
    const int dot = authority.lastIndexOf(QLatin1Char('.'));
    return colon < 0 && dot >= 0 && isNumber(authority.mid(dot + 1)); // an IPv4 address
}

/// As userInfoEnd(), where user name or password may hold blanks. The first word of the URL ends at
/// `end`, and `at` is what was found in it; all of it ends at `limit` at the latest.
int userInfoEndBehindBlanks(const QString &text, int start, int end, int limit, int at)
{
    int last = limit - 1;
    while (last >= end && text.at(last) != QLatin1Char('@'))
        --last;
    if (last < end)
        return at;
    const int slash = firstSlash(text, qMax(start, at), end);
    if (at >= start) // a host follows, unless what follows is a part of the password too
        return slash < end || isPlainHost(text, at + 1, end) ? at : last;
    if (isHostAlone(text, start, slash, end))
        return -1;
    const bool hasColon = text.midRef(start, slash - start).contains(QLatin1Char(':'));
    const bool isUser = hasColon || holdsPair(text, end, last) ||
                        (!isPlainHost(text, start, end) && isHostOfUrl(text, last + 1, limit));
    return isUser ? last : -1;
}

} // namespace

QString maskUrlCredentials(const QString &text)
{
    int mark = text.indexOf(kSchemeEnd);
    if (mark < 0)
        return text;
    QString masked;
    int copied = 0; // up to here the text is in `masked`
    for (; mark >= 0; mark = text.indexOf(kSchemeEnd, mark)) {
        const int scheme = schemeStart(text, mark, copied);
        mark += kSchemeEnd.size();
        if (scheme == mark - kSchemeEnd.size())
            continue;
        const int limit = urlLimit(text, scheme, mark);
        const int end = firstBlank(text, mark, limit);
        int at = userInfoEnd(text, mark, end);
        if (end < limit)
            at = userInfoEndBehindBlanks(text, mark, end, limit, at);
        if (at <= mark)
            continue;
        const bool hasPassword = text.midRef(mark, at - mark).contains(QLatin1Char(':'));
        masked += text.midRef(copied, mark - copied);
        masked += QLatin1String(hasPassword ? "***:***" : "***");
        copied = at;
        mark = at;
    }
    return masked + text.midRef(copied);
}
