// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>

namespace vantra {

/// Largest block or plane that a raw writer takes, bytes; a larger one is a mistake of the caller.
constexpr qint64 kMaxRawBlock = 1 << 30;

/// Writes all of `bytes`; false, with a line in the log, if the file is not open or took less.
bool writeAll(QFile &file, const QByteArray &bytes);

/// Closes an open file. False, with a line in the log, if what it still held could not be written.
bool closeFile(QFile &file);

} // namespace vantra
