// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDir>
#include <QFile>
#include <QString>

namespace vantratest {

/// What this process holds of the system, to see that rounds of work leave nothing behind.
struct ProcessLoad
{
    int threads = 0;
    int handles = 0;        ///< open files and sockets
    qint64 residentKiB = 0; ///< 0 under a sanitizer, which keeps what is freed

    static ProcessLoad now()
    {
        ProcessLoad load;
        const auto entries = [](const char *dir) {
            return static_cast<int>(
                QDir(QString::fromLatin1(dir))
                    .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                    .size());
        };
        load.threads = entries("/proc/self/task");
        load.handles = entries("/proc/self/fd");
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        QFile status(QStringLiteral("/proc/self/status"));
        if (status.open(QIODevice::ReadOnly)) {
            const QList<QByteArray> lines = status.readAll().split('\n');
            for (const QByteArray &line : lines)
                if (line.startsWith("VmRSS:"))
                    load.residentKiB = line.simplified().split(' ').value(1).toLongLong();
        }
#endif
        return load;
    }
};

} // namespace vantratest
