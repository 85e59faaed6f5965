// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "camerafiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QTemporaryFile>

#include <algorithm>

namespace {

const char kTimeFormat[] = "yyyyMMdd'T'HHmmss";

QString tr(const char *text)
{
    return QCoreApplication::translate("CameraFiles", text);
}

QString timeText(const QDateTime &time)
{
    return time.toString(QLatin1String(kTimeFormat));
}

/// A path to which no file belongs yet: a number is added where there is one.
QString unused(const QString &base, const QString &ending)
{
    QString path = base + ending;
    for (int i = 2; QFileInfo::exists(path); ++i)
        path = base + QLatin1Char('_') + QString::number(i) + ending;
    return path;
}

} // namespace

CameraFiles::CameraFiles(const QString &root, const QString &camera)
    // Absolute, since the library gives relative folders a meaning of its own.
    : m_folder(QDir(QDir(root).absoluteFilePath(camera)).absolutePath())
{
}

QString CameraFiles::problem() const
{
    const QDir folder(m_folder);
    if (!folder.mkpath(QStringLiteral(".")))
        return tr("The folder %1 cannot be made.").arg(QDir::toNativeSeparators(m_folder));
    // Rights alone do not tell: the file system may be read-only, or full.
    if (!QTemporaryFile(folder.filePath(QStringLiteral("XXXXXX"))).open())
        return tr("No file can be written in %1.").arg(QDir::toNativeSeparators(m_folder));
    return QString();
}

QString CameraFiles::newRecording(const QDateTime &start) const
{
    return unused(m_folder + QLatin1Char('/') + timeText(start), QStringLiteral(".mp4"));
}

QString CameraFiles::endedRecording(const QString &recording, const QDateTime &end)
{
    const QFileInfo file(recording);
    return unused(file.path() + QLatin1Char('/') + file.completeBaseName() + QLatin1Char('_')
                          + timeText(end),
                  QStringLiteral(".mp4"));
}

QString CameraFiles::newPicture(const QDateTime &time) const
{
    return unused(m_folder + QLatin1Char('/') + timeText(time), QStringLiteral(".jpg"));
}

QStringList CameraFiles::recordingsSince(const QDateTime &time) const
{
    QStringList files;
    QDirIterator walk(m_folder, {QStringLiteral("*.mp4")}, QDir::Files,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QString file = walk.next();
        if (walk.fileInfo().lastModified() >= time)
            files.append(file);
    }
    std::sort(files.begin(), files.end());
    return files;
}
