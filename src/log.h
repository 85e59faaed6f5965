// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "logger/logger.h"

/// Starts one line of the log: `VANTRA_LOG(Logger::Warning) << "find stream err" << code;`
///
/// Each source file that logs has a constant `kLogTag`, such as "(ffvdthr)", which stands first in
/// every line of it. Items are joined without blanks or quotes; the line is handed to the logger
/// when the full expression ends. Usable on any thread.
#define VANTRA_LOG(level) VANTRA_LOG_AS(level, kLogTag)

/// The same for code that several classes share: the line begins with the tag of the one that is at
/// work.
#define VANTRA_LOG_AS(level, tag)                                                                  \
    CuteMessageLogger(cuteLoggerInstance(), (level), __FILE__, __LINE__, Q_FUNC_INFO, "vantra")    \
            .write()                                                                               \
        << (tag)
