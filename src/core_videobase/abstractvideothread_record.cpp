// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// AbstractVideoThread: control of recordings and snapshots.
#include "core_videobase/abstractvideothread.h"

#include "core_videobase/snapfile_p.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

namespace {

constexpr qint64 kRoomToGoOn = 1024 * 1024; ///< bytes: more than one fragment, mostly
/// A file that is lost is not replaced before: a disk that takes names and nothing else, for want
/// of a quota say, would be filled with them.
constexpr qint64 kLostFileMs = 5000;

/// Free bytes where a folder is, or would be made.
qint64 roomIn(const QString &folder)
{
    QFileInfo place(folder);
    while (!place.exists() && place.path() != place.filePath())
        place.setFile(place.path());
    return QStorageInfo(place.filePath()).bytesAvailable();
}

} // namespace

void AbstractVideoThread::recordStart(RecordType type)
{
    if (isRecordType(type))
        recording[type] = true;
}

void AbstractVideoThread::recordStop(RecordType type)
{
    if (isRecordType(type))
        recording[type] = false;
}

bool AbstractVideoThread::isRecording(RecordType type) const
{
    return isRecordType(type) && recording.at(type);
}

void AbstractVideoThread::setSaveInterval(RecordType type, int seconds)
{
    if (isRecordType(type))
        saveInterval[type] = seconds;
}

int AbstractVideoThread::getSaveInterval(RecordType type) const
{
    return isRecordType(type) ? saveInterval.at(type) : kNoSaveLimit;
}

void AbstractVideoThread::setSavePath(RecordType type, const QString &path)
{
    if (isRecordType(type))
        setLocked(savePath[type], path);
}

QString AbstractVideoThread::getSavePath(RecordType type) const
{
    return isRecordType(type) ? locked(savePath.at(type)) : QString();
}

void AbstractVideoThread::setSaveAudio(RecordType type, bool audio)
{
    if (isRecordType(type))
        saveAudio[type] = audio;
}

void AbstractVideoThread::setFileName(RecordType type, const QString &name)
{
    if (!isRecordType(type))
        return;
    setLocked(fileName[type], name);
    checkPath(name);
}

QString AbstractVideoThread::getFileName(RecordType type) const
{
    return isRecordType(type) ? locked(fileName.at(type)) : QString();
}

void AbstractVideoThread::checkPath(const QString &path)
{
    QString dir = QFileInfo(path).path();
    if (dir.startsWith(QLatin1String("./"))) {
        // Every dot goes, also one inside a folder's name: that is intended.
        dir.remove(QLatin1Char('.'));
        dir.prepend(QCoreApplication::applicationDirPath());
    }
    if (!QDir(dir).exists())
        QDir().mkpath(dir);
}

// --- Files of the loop --------------------------------------------------------------------------

bool AbstractVideoThread::isFileExpired(RecordType type) const
{
    if (!isRecordType(type))
        return false;
    // What the disk has not taken is lost, and so is all that follows in that file. A new one goes
    // on as soon as it can.
    if (saver.at(type)->isFileLost() && saveTimer.at(type).hasExpired(kLostFileMs) &&
        (!saver.at(type)->isDiskFull() ||
         roomIn(QFileInfo(getFileName(type)).path()) >= kRoomToGoOn))
        return true;
    const int seconds = getSaveInterval(type);
    const qint64 limitMs = seconds > 0 ? static_cast<qint64>(seconds) * 1000 : kNoSaveLimit;
    return saveTimer.at(type).hasExpired(limitMs);
}

void AbstractVideoThread::openMP4(RecordType type)
{
    if (!isRecordType(type))
        return;
    saver.at(type)->open(getFileName(type));
    saveTimer[type].restart();
}

void AbstractVideoThread::closeMP4(RecordType type)
{
    if (!isRecordType(type) || !saver.at(type)->isRunning())
        return;
    saver.at(type)->stop();
    renameMP4File(type);
}

// --- Snapshots ----------------------------------------------------------------------------------

void AbstractVideoThread::snap(const QString &name)
{
    // Without a viewer nothing is decoded, and there is no picture to save.
    if (previewCount <= 0 || !isRunning())
        return;
    // The flag comes last: the loop may act on it at once, and needs name and folder then.
    setSnapName(name);
    checkPath(name);
    setSnapPending(true);
}

void AbstractVideoThread::setSnapPending(bool pending)
{
    isSnap = pending;
}

void AbstractVideoThread::snapFinsh()
{
    QString name = getSnapName();
    // A close that came first has cleared the name.
    const QImage image = name.isEmpty() ? QImage() : QImage(name);
    const QString png = QStringLiteral(".png");
    if (name.endsWith(png)) {
        // The loop writes JPEG data whatever the name says; the name is put right here.
        QFile::remove(name);
        name.replace(name.size() - png.size(), png.size(), QStringLiteral(".jpg"));
        setSnapName(name);
        saveSnapFile(image, name);
    }
    setSnapPending(false);
    if (snapPreview)
        emit snapImage(image, name);
}
