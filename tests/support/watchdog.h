// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace vantratest {

/// Ends the process where it stands still: if it is not fed for so long, it prints where each
/// thread is, on standard error, and aborts. One at a time.
class Watchdog
{
    Q_DISABLE_COPY(Watchdog)

public:
    explicit Watchdog(int milliseconds);
    ~Watchdog();

    void feed();

private:
    void watch();

    const std::chrono::milliseconds m_patience;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_stop = false;
    bool m_fed = false;
    std::thread m_thread; // the last: it uses all the others
};

} // namespace vantratest
