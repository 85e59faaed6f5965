// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "fedthreadcase.h"

#include <QtTest>

namespace vantratest {

bool FedThreadCase::begin(FedThread *thread)
{
    thread->play();
    return settle(thread);
}

bool FedThreadCase::settle(FedThread *thread)
{
    const bool settled = waitFor([&] { return thread->settled(); });
    QCoreApplication::processEvents(); // what is queued for a watcher
    return settled;
}

bool FedThreadCase::end(FedThread *thread)
{
    thread->settled(); // takes the lock: what a test has read of the thread lies before its end
    thread->stop();
    const bool ended = waitFor([&] { return thread->isFinished(); }) && thread->wait();
    QCoreApplication::processEvents();
    return ended;
}

int FedThreadCase::created() const
{
    return log->countMatching(Logger::Debug, QRegularExpression("^\\(ffpg\\)create video"));
}

void FedThreadCase::announceSoftwareFallback(const QString &codec, const QString &device)
{
    log->expect(Logger::Warning,
                QStringLiteral("(ffpg)find no %1 decoder support device %2").arg(codec, device));
}

void FedThreadCase::initTestCase()
{
    quietConsole();
    QVERIFY(!units(1).isEmpty());
    QVERIFY(!units(2).isEmpty());
}

} // namespace vantratest
