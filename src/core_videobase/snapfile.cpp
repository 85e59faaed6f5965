// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/snapfile_p.h"

#include <QBuffer>
#include <QFile>
#include <QImage>

#include <cstdio>

namespace {

bool writeWhole(const QString &name, const QByteArray &bytes)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    const bool isWhole = file.write(bytes) == bytes.size();
    file.close();
    return isWhole && file.error() == QFile::NoError;
}

/// Gives a file its name, in place of the file that has it.
bool moveTo(const QString &from, const QString &name)
{
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(name).constData()) == 0)
        return true;
    QFile::remove(name); // where that does not replace
    return QFile::rename(from, name);
}

} // namespace

bool saveSnapFile(const QImage &image, const QString &name)
{
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    if (name.isEmpty() || !buffer.open(QIODevice::WriteOnly) || !image.save(&buffer, "jpg", -1))
        return false;
    const QString part = name + QStringLiteral(".part");
    if (writeWhole(part, jpeg) && moveTo(part, name))
        return true;
    QFile::remove(part);
    return false;
}
