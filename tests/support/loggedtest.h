// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/logcapture.h"

#include <QObject>

#include <memory>

namespace vantratest {

/// What most test cases share: the log of each test is captured, and a warning or an error that
/// the test has not announced fails it.
class LoggedTest : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(LoggedTest)

public:
    LoggedTest() = default;

protected:
    /// Called before each test, when its log is being captured. A check that fails here leaves the
    /// test out.
    virtual void setUp() {}
    /// Called after each test, while `log` still stands. What is logged from here on is not looked
    /// at for the unexpected any more.
    virtual void tearDown() {}

    std::unique_ptr<LogCapture> log; ///< of the test under way

private slots:
    void init();
    void cleanup();
};

/// Keeps what is logged on purpose off the console; it is still captured. Before any LogCapture: it
/// removes all sinks.
void quietConsole();

} // namespace vantratest
