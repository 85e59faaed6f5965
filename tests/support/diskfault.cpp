// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/diskfault.h"

#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// With a slash at the end; before `isOn` is set.
char folder[PATH_MAX];
char folderAsGiven[PATH_MAX]; ///< perhaps by way of a link
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

/// Whether a path, as callers give it, may not be made or written. `errno` says why then.
bool isNotToBeMade(const char *path)
{
    if (!isOn || error != EROFS ||
        (std::strncmp(path, folder, std::strlen(folder)) != 0 &&
         std::strncmp(path, folderAsGiven, std::strlen(folderAsGiven)) != 0))
        return false;
    ++count;
    errno = EROFS;
    return true;
}

bool isForWriting(int flags)
{
    return (flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT);
}

template<typename Function>
Function systems(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// Each stands in front of the system's for every library of the process.

#define VANTRA_OPEN(name)                                                                          \
    extern "C" __attribute__((visibility("default"))) int name(const char *path, int flags, ...)   \
    {                                                                                              \
        static const auto system = systems<int (*)(const char *, int, mode_t)>(#name);             \
        if (isForWriting(flags) && isNotToBeMade(path))                                            \
            return -1;                                                                             \
        va_list rest;                                                                              \
        va_start(rest, flags);                                                                     \
        const bool makes = (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE;                  \
        const auto mode = makes ? va_arg(rest, mode_t) : 0;                                        \
        va_end(rest);                                                                              \
        return system(path, flags, mode);                                                          \
    }
VANTRA_OPEN(open)
VANTRA_OPEN(open64)

extern "C" __attribute__((visibility("default"))) int mkdir(const char *path, mode_t mode)
{
    static const auto system = systems<int (*)(const char *, mode_t)>("mkdir");
    return isNotToBeMade(path) ? -1 : system(path, mode);
}

extern "C" __attribute__((visibility("default"))) int rename(const char *from, const char *to)
{
    static const auto system = systems<int (*)(const char *, const char *)>("rename");
    return isNotToBeMade(to) ? -1 : system(from, to);
}

extern "C" __attribute__((visibility("default"))) int
renameat2(int place, const char *from, int newPlace, const char *to, unsigned flags)
{
    static const auto system =
        systems<int (*)(int, const char *, int, const char *, unsigned)>("renameat2");
    return isNotToBeMade(to) ? -1 : system(place, from, newPlace, to, flags);
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void *data,
                                                                size_t size)
{
    static const auto system = systems<ssize_t (*)(int, const void *, size_t)>("write");
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
    static const auto system = systems<int (*)(int)>("fsync");
    synced += isOn && isBelowFolder(file);
    return system(file);
}

extern "C" __attribute__((visibility("default"))) int fdatasync(int file)
{
    static const auto system = systems<int (*)(int)>("fdatasync");
    synced += isOn && isBelowFolder(file);
    return system(file);
}

namespace vantratest {

DiskFault::DiskFault(const QString &path)
{
    const QByteArray name = QFile::encodeName(QFileInfo(path).canonicalFilePath()) + '/';
    const QByteArray given = QFile::encodeName(QFileInfo(path).absoluteFilePath()) + '/';
    if (isOn || name.size() < 2 || size_t(qMax(name.size(), given.size())) >= sizeof(folder))
        qFatal("no such folder, or a fault already");
    std::memcpy(folder, name.constData(), size_t(name.size()) + 1);
    std::memcpy(folderAsGiven, given.constData(), size_t(given.size()) + 1);
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
