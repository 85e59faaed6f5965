// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace vantratest {

/// Milliseconds without a beat from which a thread counts as frozen; one that really freezes stands
/// for several seconds, or for good, while one on a busy machine may be late by two.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kFrozenMs = 6000;
#else
constexpr int kFrozenMs = 3000;
#endif

/// A timer on the thread that makes it, which notes the longest time between two of its beats: how
/// long that thread has not come round to its events. A guard against freezing, not a measurement:
/// judge it by seconds.
class Heartbeat : public QObject
{
    Q_DISABLE_COPY(Heartbeat)

public:
    explicit Heartbeat(int intervalMs = 20)
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_since.start();
        connect(&m_timer, &QTimer::timeout, this,
                [this] { m_longest = qMax(m_longest, m_since.restart()); });
        m_timer.start(intervalMs);
    }

    /// Milliseconds, the gap that lasts until now included.
    qint64 longestGap() const { return qMax(m_longest, m_since.elapsed()); }

    /// Runs what holds this thread up on the test's own account, such as the start of a server, and
    /// does not count that.
    template<typename Work>
    auto leaveOut(Work work)
    {
        struct Again
        {
            Heartbeat *beat;
            ~Again() { beat->m_since.restart(); }
        } again{this};
        m_longest = longestGap();
        return work();
    }

private:
    QTimer m_timer;
    QElapsedTimer m_since;
    qint64 m_longest = 0;
};

} // namespace vantratest
