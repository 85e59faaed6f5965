// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>

namespace vantra {

/// Largest block or plane that a raw writer takes, bytes; a larger one is a mistake of the caller.
constexpr qint64 kMaxRawBlock = 1 << 30;

// The raw writers log nothing: this is intended.

/// Writes all of `bytes`; false if the file is not open or took less.
bool writeAll(QFile &file, const QByteArray &bytes);

/// Closes an open file. False if what it still held could not be written.
bool closeFile(QFile &file);

} // namespace vantra
