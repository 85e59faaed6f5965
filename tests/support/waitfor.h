// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

namespace vantratest {

/// Under a sanitizer everything takes a few times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) // as GCC says it
constexpr int kSlowness = 4;
#else
constexpr int kSlowness = 1;
#endif

/// Runs the event loop until `condition()` holds or `milliseconds` have passed; returns whether it
/// holds. The deadline is a safeguard against hanging, never a measurement: keep it generous.
template<typename Condition>
bool waitFor(Condition condition, int milliseconds = 20000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > qint64(milliseconds) * kSlowness)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(2);
    }
    return true;
}

} // namespace vantratest
