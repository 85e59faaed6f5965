// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "loggedtest.h"

#include <QtTest>

extern "C" {
#include <libavutil/log.h>
}

namespace vantratest {

void LoggedTest::init()
{
    log = std::make_unique<LogCapture>();
    setUp();
}

void LoggedTest::cleanup()
{
    const QStringList unexpected = log->unexpected();
    tearDown();
    log.reset();
    QCOMPARE(unexpected.join('\n'), QString());
}

void quietConsole()
{
    av_log_set_level(AV_LOG_QUIET);
    const auto sinks = cuteLoggerInstance()->sinks();
    for (const auto &sink : sinks)
        cuteLoggerInstance()->removeSink(sink);
}

} // namespace vantratest
