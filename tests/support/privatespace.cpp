// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/privatespace.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <sched.h>
#include <unistd.h>

namespace vantratest {

namespace {

void writeText(const char *path, const QByteArray &text)
{
    QFile file(QString::fromLatin1(path));
    if (file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        file.write(text);
}

} // namespace

QString enterPrivateSpace(int namespaces)
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    // Whoever is not root may become the root of a room of its own, where the system allows it.
    const int flags = user == 0 ? namespaces : namespaces | CLONE_NEWUSER;
    if (unshare(flags) != 0)
        return QStringLiteral("unshare: ") + QString::fromLocal8Bit(std::strerror(errno));
    if (user != 0) {
        writeText("/proc/self/setgroups", "deny");
        writeText("/proc/self/uid_map", "0 " + QByteArray::number(user) + " 1");
        writeText("/proc/self/gid_map", "0 " + QByteArray::number(group) + " 1");
    }
    return {};
}

} // namespace vantratest
