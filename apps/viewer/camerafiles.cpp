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

QString tr(const char *text)
{
    return QCoreApplication::translate("CameraFiles", text);
}

} // namespace

QString CameraFiles::nameFor(const QString &name)
{
    QString file = name;
    for (QChar &c : file)
        if (!c.isLetterOrNumber() && c != QLatin1Char('.') && c != QLatin1Char('-'))
            c = QLatin1Char('_');
    return file;
}

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

QString CameraFiles::newPicture(const QDateTime &time) const
{
    const QString folder = m_folder + time.toString(QStringLiteral("/yyyy-MM-dd/'live'/"));
    const QString base = folder + time.toString(QStringLiteral("yyyyMMdd'T'HHmmss"));
    QString path = base + QStringLiteral(".jpg");
    for (int i = 2; QFileInfo::exists(path); ++i)
        path = QStringLiteral("%1_%2.jpg").arg(base).arg(i);
    return path;
}

QString CameraFiles::recordedPicture(qint64 time, int channel) const
{
    return m_folder + QDate::currentDate().toString(QStringLiteral("/yyyy-MM-dd/'vod'/")) +
           QDateTime::fromMSecsSinceEpoch(time, Qt::UTC)
               .toString(QStringLiteral("yyyyMMdd'T'HHmmss")) +
           QStringLiteral("_%1.jpg").arg(channel);
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
