// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/waitfor.h"

#include <QDir>
#include <QFile>
#include <QString>

#include <limits>

#include <malloc.h>

namespace vantratest {

/// What this process holds of the system, to see that rounds of work leave nothing behind.
struct ProcessLoad
{
    int threads = 0;
    int handles = 0;        ///< open files and sockets
    qint64 residentKiB = 0; ///< 0 under a sanitizer, which keeps what is freed
    /// As resident, but of what is shared with other processes this one's share; 0 likewise.
    qint64 proportionalKiB = 0;
    qint64 heapKiB = 0; ///< what is allocated, without what is free between; 0 likewise

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
        load.residentKiB = figure("/proc/self/status", "VmRSS:");
        load.proportionalKiB = figure("/proc/self/smaps_rollup", "Pss:");
        const struct mallinfo2 heap = mallinfo2();
        load.heapKiB = qint64((heap.uordblks + heap.hblkhd) / 1024);
#endif
        return load;
    }

private:
    /// The number behind `name` in a file of the system; 0 if there is none.
    static qint64 figure(const char *path, const char *name)
    {
        QFile file(QString::fromLatin1(path));
        if (!file.open(QIODevice::ReadOnly))
            return 0;
        const QList<QByteArray> lines = file.readAll().split('\n');
        for (const QByteArray &line : lines) {
            if (line.startsWith(name))
                return line.simplified().split(' ').value(1).toLongLong();
        }
        return 0;
    }
};

/// Waits until the process holds about the threads, handles and memory that it held `before`: at
/// most so many more, of memory as resident and after what is free has gone back to the system.
/// Empty, or both numbers of each where it does not come back to them.
inline QString loadLeftBehind(const ProcessLoad &before, int moreThreads, int moreHandles,
                              qint64 moreKiB = std::numeric_limits<qint64>::max())
{
    ProcessLoad now;
    const bool isBack = waitFor([&] {
        malloc_trim(0);
        now = ProcessLoad::now();
        return now.threads <= before.threads + moreThreads &&
               now.handles <= before.handles + moreHandles &&
               now.residentKiB - before.residentKiB <= moreKiB;
    });
    return isBack ? QString()
                  : QStringLiteral("threads %1 %2, handles %3 %4, memory %5 %6")
                        .arg(before.threads)
                        .arg(now.threads)
                        .arg(before.handles)
                        .arg(now.handles)
                        .arg(before.residentKiB)
                        .arg(now.residentKiB);
}

} // namespace vantratest
