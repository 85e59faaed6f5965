// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/snapfile_p.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QImage>

#include <atomic>
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
    if (!QFile::exists(from))
        return false;
    QFile::remove(name); // where that does not replace
    return QFile::rename(from, name);
}

/// A name for a picture that is being written, and for no other: several threads may save under the
/// same name at the same time.
QString partName(const QString &name)
{
    static std::atomic<unsigned> number{0};
    return name +
           QStringLiteral(".%1-%2.part").arg(QCoreApplication::applicationPid()).arg(++number);
}

} // namespace

bool saveSnapFile(const QImage &image, const QString &name)
{
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    if (name.isEmpty() || !buffer.open(QIODevice::WriteOnly) || !image.save(&buffer, "jpg", -1))
        return false;
    const QString part = partName(name);
    if (writeWhole(part, jpeg) && moveTo(part, name))
        return true;
    QFile::remove(part);
    return false;
}
