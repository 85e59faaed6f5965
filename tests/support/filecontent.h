// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

namespace vantratest {

/// All bytes of a file; `otherwise` if it cannot be read.
inline QByteArray contentOf(const QString &path, const QByteArray &otherwise = QByteArray())
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : otherwise;
}

/// The same where a file that is not there may not pass for an empty one.
inline QByteArray contentIfThere(const QString &path)
{
    return contentOf(path, "(not there)");
}

} // namespace vantratest
