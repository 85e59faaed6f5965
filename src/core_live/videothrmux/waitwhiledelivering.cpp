// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/videothrmux/waitwhiledelivering_p.h"

#include "processend_p.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QThread>

namespace {

constexpr qint64 kDeliverEveryMs = 10;

/// Lets go of the threads that stand in a blocking signal to an object of this thread. A call that
/// is thrown away does so as well, where it is too late for slots: what they use may be gone.
void deliver()
{
    if (QCoreApplication::instance() && !processend::hasBegun())
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    else
        QCoreApplication::removePostedEvents(nullptr, QEvent::MetaCall);
}

/// Whether blocking signals may wait for the calling thread.
bool mayBeWaitedFor()
{
    const QCoreApplication *application = QCoreApplication::instance();
    return !application || QThread::currentThread() == application->thread();
}

/// `limitMs` below 0: without a limit.
bool waitFor(QThread &thread, qint64 limitMs)
{
    if (QThread::currentThread() == &thread)
        return true;
    const bool delivers = mayBeWaitedFor();
    if (!delivers && limitMs < 0)
        return thread.wait();
    QElapsedTimer waited;
    waited.start();
    for (;;) {
        const qint64 left =
            limitMs < 0 ? kDeliverEveryMs : qMax<qint64>(limitMs - waited.elapsed(), 0);
        if (thread.wait(static_cast<unsigned long>(delivers ? qMin(left, kDeliverEveryMs) : left)))
            return true;
        if (delivers)
            deliver();
        if (limitMs >= 0 && waited.elapsed() >= limitMs)
            return false;
    }
}

} // namespace

bool waitWhileDelivering(QThread &thread)
{
    return waitFor(thread, -1);
}

bool waitWhileDelivering(QThread &thread, int stepMs)
{
    return waitFor(thread, stepMs);
}
