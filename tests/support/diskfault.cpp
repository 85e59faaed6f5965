// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/diskfault.h"

#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <unistd.h>

namespace {

char folder[PATH_MAX]; ///< with a slash at its end; before `isOn` is set
std::atomic<bool> isOn{false};
std::atomic<int> error{0};
std::atomic<int> milliseconds{0};
std::atomic<int> count{0};
std::atomic<int> synced{0};

bool isBelowFolder(int file)
{
    char link[64];
    char path[PATH_MAX];
    std::snprintf(link, sizeof(link), "/proc/self/fd/%d", file);
    const ssize_t size = ::readlink(link, path, sizeof(path));
    const size_t most = std::strlen(folder);
    return size >= 0 && size_t(size) > most && std::strncmp(path, folder, most) == 0;
}

} // namespace

/// Stands in front of the system's for every library of the process.
extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void *data,
                                                                size_t size)
{
    using Write = ssize_t (*)(int, const void *, size_t);
    static const auto system = reinterpret_cast<Write>(dlsym(RTLD_NEXT, "write"));
    if (isOn && (error != 0 || milliseconds > 0) && isBelowFolder(file)) {
        ++count;
        ::usleep(useconds_t(milliseconds) * 1000);
        if (error != 0) {
            errno = error;
            return -1;
        }
    }
    return system(file, data, size);
}

extern "C" __attribute__((visibility("default"))) int fsync(int file)
{
    static const auto system = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fsync"));
    synced += isOn && isBelowFolder(file);
    return system(file);
}

extern "C" __attribute__((visibility("default"))) int fdatasync(int file)
{
    static const auto system = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fdatasync"));
    synced += isOn && isBelowFolder(file);
    return system(file);
}

namespace vantratest {

DiskFault::DiskFault(const QString &path)
{
    const QByteArray name = QFile::encodeName(QFileInfo(path).canonicalFilePath()) + '/';
    if (isOn || name.size() < 2 || size_t(name.size()) >= sizeof(folder))
        qFatal("no such folder, or a fault already");
    std::memcpy(folder, name.constData(), size_t(name.size()) + 1);
    error = 0;
    milliseconds = 0;
    count = 0;
    synced = 0;
    isOn = true;
}

DiskFault::~DiskFault()
{
    isOn = false;
}

void DiskFault::refuse(int code)
{
    error = code;
}

void DiskFault::delay(int time)
{
    milliseconds = time;
}

int DiskFault::struck() const
{
    return count;
}

int DiskFault::syncs() const
{
    return synced;
}

} // namespace vantratest
