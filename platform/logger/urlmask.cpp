// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "logger/logger.h"

#include <algorithm>
#include <cstring>
#include <iterator>

// Passwords are found as people type them into address fields: with '@', ':' and '/' that a correct
// URL would have encoded, or as a parameter such as "password=". Where it is uncertain what a
// password is, too much is masked, not too little.
//
// Every line of the log comes through here, and devices have a say in many: the work grows with the
// length of a line and no faster, and no expression engine is asked, which would refuse texts that
// are no proper UTF-16 and leave their passwords as they are.

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

bool isNumber(const QStringRef &text)
{
    return !text.isEmpty() &&
           std::all_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); });
}

/// Whether the URL with its authority at `start` does not end at `end`, where the next scheme does
/// begin: because "user:" or "user:pass" lies between, the beginning of a password that holds
/// "://". A host has a number there, with at most what parts it from the next address.
bool isCutInPassword(const QString &text, int start, int end)
{
    const QStringRef authority = text.midRef(start, firstSlash(text, start, end) - start);
    const int colon = authority.indexOf(QLatin1Char(':'));
    if (colon < 0 || authority.startsWith(QLatin1Char('[')))
        return false;
    QStringRef port = authority.mid(colon + 1);
    while (!port.isEmpty() && QStringLiteral(",;|").contains(port.back()))
        port.chop(1);
    return !isNumber(port);
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
    for (int from = start;;) {
        const int next = text.indexOf(kSchemeEnd, from);
        const int limit = next < 0 ? text.size() : schemeStart(text, next, from);
        int end = from;
        bool mayGoOn = next >= 0;
        for (; end < limit && text.at(end) != QLatin1Char('\n') && text.at(end) != closing; ++end)
            mayGoOn = mayGoOn && text.at(end) != QLatin1Char('@') && !text.at(end).isSpace();
        if (end < limit || !mayGoOn || (from == start && !isCutInPassword(text, start, limit)))
            return end;
        from = next + kSchemeEnd.size();
    }
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

/// "cam1:554".
bool isNameAndPort(const QStringRef &text)
{
    const int colon = text.indexOf(QLatin1Char(':'));
    return colon > 0 && isNumber(text.mid(colon + 1)) &&
           std::all_of(text.begin(), text.begin() + colon, isHostChar);
}

/// Whether an IPv4 address is what ends there, as far as the last of its numbers tells.
bool endsLikeIpv4(const QStringRef &host)
{
    const int dot = host.lastIndexOf(QLatin1Char('.'));
    return dot >= 0 && isNumber(host.mid(dot + 1));
}

/// Whether a host stands at `start` that no mail address has: one with the path or port of a URL,
/// or an IPv4 address.
bool isHostOfUrl(const QString &text, int start, int end)
{
    int host = start;
    while (host < end && isHostChar(text.at(host)))
        ++host;
    if (endsLikeIpv4(text.midRef(start, host - start)))
        return true;
    if (host == start || host == end)
        return false;
    return text.at(host) == QLatin1Char('/') ||
           (text.at(host) == QLatin1Char(':') && host + 1 < end && text.at(host + 1).isDigit());
}

/// Position of the '@' that ends the user information of the URL with its authority at `start`, or
/// -1.
int findUserInfoEnd(const QString &text, int start, int end)
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
    int lastAt = -1;
    for (int i = slash; i < end; ++i) {
        if (text.at(i) != QLatin1Char('@'))
            continue;
        if (isPlainHost(text, i + 1, end))
            return i;
        lastAt = i;
    }
    if (lastAt < 0)
        return at >= 0 ? start + at : -1;
    if (at >= 0)
        return isNameAndPort(authority.mid(at + 1)) ? start + at : lastAt;
    return hostAndPort && !isHostOfUrl(text, lastAt + 1, end) ? -1 : lastAt;
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
    return colon < 0 && endsLikeIpv4(authority);
}

/// As findUserInfoEnd(), where user name or password may hold blanks. The first word of the URL
/// ends at `end`, and `at` is what was found in it; all of it ends at `limit` at the latest.
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
    const bool hasColon = text.midRef(start, slash - start).contains(QLatin1Char(':'));
    if (isHostAlone(text, start, slash, end)) {
        // A name, a number and a slash may as well begin a user and a password.
        const bool isDoubtful = hasColon && slash < end && !isPlainHost(text, start, end) &&
                                text.at(start) != QLatin1Char('[');
        return isDoubtful && isHostOfUrl(text, last + 1, limit) ? last : -1;
    }
    const bool isUser = hasColon || holdsPair(text, end, last) ||
                        (!isPlainHost(text, start, end) && isHostOfUrl(text, last + 1, limit));
    return isUser ? last : -1;
}

/// Where the name of a user begins that ends before `colon`, not before `from`.
int userStart(const QString &text, int colon, int from)
{
    static const QString kBefore = QStringLiteral("\"'([{<=,;|/@:");
    int start = colon;
    while (start > from && !kBefore.contains(text.at(start - 1)))
        --start;
    return start;
}

/// "C:\\videos", whose colon parts no user from a password.
bool isDrive(const QString &text, int colon, int end)
{
    return text.at(colon - 1).isLetter() && colon + 1 < end &&
           QStringLiteral("\\/").contains(text.at(colon + 1));
}

/// The text from `start` to `end`, in which no scheme stands, with every "user:password@host" in it
/// masked. Between them no blank may stand, for there is nothing else to know them by.
QString maskedWithoutScheme(const QString &text, int start, int end)
{
    QString masked;
    int copied = start;
    for (int word = start; word < end;) {
        const int wordEnd = firstBlank(text, word, end);
        int at = wordEnd - 1;
        // A host follows the '@'.
        while (at > word && (text.at(at) != QLatin1Char('@') || at + 1 == wordEnd ||
                             (!isHostChar(text.at(at + 1)) && text.at(at + 1) != QLatin1Char('['))))
            --at;
        for (int colon = word + 1; colon < at; ++colon) {
            if (text.at(colon) != QLatin1Char(':'))
                continue;
            const int user = userStart(text, colon, word);
            if (user == colon || (user + 1 == colon && isDrive(text, colon, at)))
                continue;
            masked += text.midRef(copied, user - copied) + QLatin1String("***:***");
            copied = at;
            break;
        }
        word = wordEnd + 1;
    }
    return masked + text.midRef(copied, end - copied);
}

/// The text with the user information of URLs masked that are themselves encoded, as in a query.
QString maskedEncoded(const QString &text)
{
    static const QLatin1String kEncodedSchemeEnd("%3A%2F%2F");
    static const QLatin1String kEncodedAt("%40");
    QString masked;
    int copied = 0;
    int mark = text.indexOf(kEncodedSchemeEnd, 0, Qt::CaseInsensitive);
    while (mark >= 0) {
        mark += kEncodedSchemeEnd.size();
        int end = mark;
        while (end < text.size() && !text.at(end).isSpace() && text.at(end) != QLatin1Char('&'))
            ++end;
        const int at = text.midRef(mark, end - mark).lastIndexOf(kEncodedAt);
        if (at > 0) {
            masked += text.midRef(copied, mark - copied) + QLatin1String("***");
            copied = mark + at;
        }
        mark = text.indexOf(kEncodedSchemeEnd, end, Qt::CaseInsensitive);
    }
    return masked + text.midRef(copied);
}

bool isAsciiSpace(QChar c)
{
    return c == QLatin1Char(' ') || (c >= QLatin1Char('\t') && c <= QLatin1Char('\r'));
}

bool isAsciiBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

/// Whether the text up to `end` names a secret, by itself or at the end of a longer name.
bool endsWithSecretName(const QString &text, int end)
{
    static const QLatin1String kNames[] = {QLatin1String("password"), QLatin1String("passwd"),
                                           QLatin1String("passcode"), QLatin1String("pass"),
                                           QLatin1String("pwd"),      QLatin1String("psw"),
                                           QLatin1String("secret"),   QLatin1String("token")};
    const QStringRef before = text.leftRef(end);
    return std::any_of(std::begin(kNames), std::end(kNames), [&before](QLatin1String name) {
        return before.endsWith(name, Qt::CaseInsensitive);
    });
}

/// Length of the "=", plain or encoded, at `i`; 0 if none is there.
int equalsSize(const QString &text, int i)
{
    static const QLatin1String kEncoded("%3D");
    if (text.at(i) == QLatin1Char('='))
        return 1;
    return text.at(i) == QLatin1Char('%') &&
                   text.midRef(i, kEncoded.size()).compare(kEncoded, Qt::CaseInsensitive) == 0
               ? kEncoded.size()
               : 0;
}

/// The text with what follows "password=" and its like masked, up to the next parameter. Brackets
/// and quotes at the end may belong to the text around.
QString maskedParameters(const QString &text)
{
    static const QLatin1String kAround("\"'<>()[]{}");
    QString masked;
    int copied = 0;
    for (int i = 0; i < text.size();) {
        const int equals = equalsSize(text, i);
        const bool isSecret = equals > 0 && endsWithSecretName(text, i);
        i += qMax(equals, 1);
        if (!isSecret)
            continue;
        int end = i;
        while (end < text.size() && text.at(end) != QLatin1Char('&') && !isAsciiSpace(text.at(end)))
            ++end;
        while (end > i && kAround.contains(text.at(end - 1)))
            --end;
        if (end == i)
            continue;
        masked += text.midRef(copied, i - copied);
        masked += QLatin1String("***");
        copied = i = end;
    }
    return copied > 0 ? masked + text.midRef(copied) : text;
}

/// Where the credentials begin of the header whose name ends before `colon`: behind the name of
/// their kind, such as "Basic". At the end of the text if there are none.
int credentialsStart(const QString &text, int colon)
{
    const auto skip = [&text](int i, auto belongs) {
        while (i < text.size() && belongs(text.at(i)))
            ++i;
        return i;
    };
    const int kindEnd = skip(skip(colon + 1, isAsciiBlank), [](QChar c) {
        return c.unicode() < 0x80 && (c.isLetterOrNumber() || c == QLatin1Char('_'));
    });
    const int start = skip(kindEnd, isAsciiBlank);
    return start > kindEnd ? start : text.size();
}

/// The text with the rest of the line masked in every "Authorization: Basic ...".
QString maskedHeaders(const QString &text)
{
    QString masked;
    int copied = 0;
    int colon = text.indexOf(QLatin1Char(':'));
    for (; colon >= 0; colon = text.indexOf(QLatin1Char(':'), qMax(colon + 1, copied))) {
        if (!text.midRef(copied, colon - copied)
                 .endsWith(QLatin1String("Authorization"), Qt::CaseInsensitive))
            continue;
        const int start = credentialsStart(text, colon);
        int end = start;
        while (end < text.size() && text.at(end) != QLatin1Char('\r') &&
               text.at(end) != QLatin1Char('\n'))
            ++end;
        if (end == start)
            continue;
        masked += text.midRef(copied, start - copied);
        masked += QLatin1String("***");
        copied = end;
    }
    return copied > 0 ? masked + text.midRef(copied) : text;
}

/// What of all that is masked can be in a text at all, found in one pass: most lines have none.
struct Signs
{
    explicit Signs(const QString &text)
    {
        ushort before = 0;
        for (const QChar c : text) {
            switch (c.unicode()) {
            case '@':
                at = true;
                break;
            case '%':
                percent = true;
                break;
            case '=':
                equals = true;
                break;
            case ':': // "Authorization:"
                header = header || before == 'n' || before == 'N';
                break;
            default:
                break;
            }
            before = c.unicode();
        }
    }

    bool at = false;
    bool percent = false;
    bool equals = false;
    bool header = false;
};

/// The text with the user information of every URL in it, and of what lacks its scheme, masked.
QString maskedUserInfo(const QString &text)
{
    QString masked;
    int copied = 0; // up to here the text is in `masked`
    int mark = text.indexOf(kSchemeEnd);
    for (; mark >= 0; mark = text.indexOf(kSchemeEnd, mark)) {
        const int scheme = schemeStart(text, mark, copied);
        mark += kSchemeEnd.size();
        if (scheme == mark - kSchemeEnd.size())
            continue;
        masked += maskedWithoutScheme(text, copied, scheme);
        copied = scheme;
        const int limit = urlLimit(text, scheme, mark);
        const int end = firstBlank(text, mark, limit);
        int at = findUserInfoEnd(text, mark, end);
        if (end < limit)
            at = userInfoEndBehindBlanks(text, mark, end, limit, at);
        if (at > mark) {
            const bool hasPassword = text.midRef(mark, at - mark).contains(QLatin1Char(':'));
            masked += text.midRef(copied, mark - copied);
            masked += QLatin1String(hasPassword ? "***:***" : "***");
            copied = at;
        }
        mark = qMax(end, copied);
        masked += text.midRef(copied, mark - copied);
        copied = mark;
    }
    return masked + maskedWithoutScheme(text, copied, text.size());
}

} // namespace

int userInfoEnd(const QString &url)
{
    const int mark = url.indexOf(kSchemeEnd);
    return mark < 0 ? -1 : findUserInfoEnd(url, mark + kSchemeEnd.size(), url.size());
}

QString maskUrlCredentials(const QString &text)
{
    const Signs signs(text);
    QString masked = signs.at ? maskedUserInfo(text) : text;
    if (signs.percent)
        masked = maskedEncoded(masked);
    if (signs.percent || signs.equals)
        masked = maskedParameters(masked);
    return signs.header ? maskedHeaders(masked) : masked;
}

QStringList takeArguments(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLocal8Bit(argv[i]));
        const QString masked = maskUrlCredentials(arguments.last());
        if (i == 0 || masked == arguments.last())
            continue;
        // The system reads the memory of the arguments, whose length is given.
        const QByteArray shown = masked.toLocal8Bit();
        const std::size_t room = std::strlen(argv[i]);
        std::memset(argv[i], 0, room);
        std::memcpy(argv[i], shown.constData(), std::min<std::size_t>(room, shown.size()));
    }
    return arguments;
}
