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
    thread->stop();
    const bool ended = waitFor([&] { return thread->isFinished(); }) && thread->wait();
    QCoreApplication::processEvents();
    return ended;
}

void FedThreadCase::initTestCase()
{
    quietConsole();
    QVERIFY(!units(1).isEmpty());
    QVERIFY(!units(2).isEmpty());
}

} // namespace vantratest
