// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/smalldisk.h"

#include <QFile>
#include <QStorageInfo>

#include <cerrno>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>
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

QString enterPrivateMounts()
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    // Whoever is not root may become the root of a room of its own, where the system allows it.
    const int flags = user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
    if (unshare(flags) != 0)
        return QStringLiteral("unshare: ") + QString::fromLocal8Bit(std::strerror(errno));
    if (user != 0) {
        writeText("/proc/self/setgroups", "deny");
        writeText("/proc/self/uid_map", "0 " + QByteArray::number(user) + " 1");
        writeText("/proc/self/gid_map", "0 " + QByteArray::number(group) + " 1");
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return QStringLiteral("private mounts: ") + QString::fromLocal8Bit(std::strerror(errno));
    const SmallDisk probe(65536);
    return probe.isValid() ? QString() : QStringLiteral("tmpfs cannot be mounted");
}

SmallDisk::SmallDisk(qint64 bytes, int mostFiles)
{
    const QByteArray options =
        "size=" + QByteArray::number(bytes) + ",nr_inodes=" + QByteArray::number(mostFiles);
    mounted = mount("vantra-test", QFile::encodeName(folder.path()).constData(), "tmpfs", 0,
                    options.constData()) == 0;
}

SmallDisk::~SmallDisk()
{
    if (mounted)
        umount2(QFile::encodeName(folder.path()).constData(), MNT_DETACH);
}

qint64 SmallDisk::freeBytes() const
{
    return QStorageInfo(folder.path()).bytesAvailable();
}

bool SmallDisk::setReadOnly(bool readOnly)
{
    return mount("vantra-test", QFile::encodeName(folder.path()).constData(), nullptr,
                 MS_REMOUNT | (readOnly ? MS_RDONLY : 0), nullptr) == 0;
}

} // namespace vantratest
