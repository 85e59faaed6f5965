// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "watchdog.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <execinfo.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vantratest {

namespace {

constexpr int kDeepest = 60;
constexpr auto kToPrint = std::chrono::milliseconds(300); ///< for one thread

void printStack(int)
{
    void *frames[kDeepest];
    backtrace_symbols_fd(frames, backtrace(frames, kDeepest), STDERR_FILENO);
}

void printThreads()
{
    struct sigaction action = {};
    action.sa_handler = printStack;
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR2, &action, nullptr);
    const auto ids =
        QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &id : ids) {
        QFile name(QStringLiteral("/proc/self/task/%1/comm").arg(id));
        const QByteArray text =
            name.open(QIODevice::ReadOnly) ? name.readAll().trimmed() : QByteArray();
        std::fprintf(stderr, "--- thread %s %s\n", qPrintable(id), text.constData());
        std::fflush(stderr);
        syscall(SYS_tgkill, getpid(), id.toInt(), SIGUSR2);
        std::this_thread::sleep_for(kToPrint);
    }
}

} // namespace

Watchdog::Watchdog(int milliseconds) : m_patience(milliseconds), m_thread([this] { watch(); })
{
    void *frame[1];
    backtrace(frame, 1); // loads what it needs now, not in a signal handler
}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void Watchdog::feed()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_fed = true;
    }
    m_changed.notify_all();
}

void Watchdog::watch()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        m_fed = false;
        if (!m_changed.wait_for(lock, m_patience, [this] { return m_stop || m_fed; })) {
            std::fprintf(stderr, "Watchdog: nothing has moved for %d ms\n",
                         int(m_patience.count()));
            printThreads();
            std::abort();
        }
    }
}

} // namespace vantratest
