// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/smalldisk.h"

#include "support/privatespace.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>

namespace vantratest {

namespace {

const QString kBallast = QStringLiteral("ballast");

} // namespace

QString enterPrivateMounts()
{
    const QString reason = enterPrivateSpace(CLONE_NEWNS);
    if (!reason.isEmpty())
        return reason;
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return QStringLiteral("private mounts: ") + QString::fromLocal8Bit(std::strerror(errno));
    const SmallDisk probe(65536);
    return probe.isValid() ? QString() : QStringLiteral("tmpfs cannot be mounted");
}

SmallDisk::SmallDisk(qint64 bytes, int mostFiles) : size(bytes)
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

bool SmallDisk::fill(qint64 leaveBytes)
{
    QFile ballast(path(kBallast));
    // Perhaps less than all of it fits: the disk is full then, as wanted.
    return ballast.open(QIODevice::WriteOnly) &&
           ballast.write(QByteArray(static_cast<int>(size - leaveBytes), '.')) > 0;
}

bool SmallDisk::clear()
{
    return QFile::remove(path(kBallast));
}

bool SmallDisk::setReadOnly(bool readOnly)
{
    return mount("vantra-test", QFile::encodeName(folder.path()).constData(), nullptr,
                 MS_REMOUNT | (readOnly ? MS_RDONLY : 0), nullptr) == 0;
}

} // namespace vantratest
