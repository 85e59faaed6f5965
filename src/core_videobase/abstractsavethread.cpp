// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/abstractsavethread.h"

#include <QFileInfo>
#include <QMutexLocker>
#include <QtDebug>

namespace {

/// Beside the log of the library on purpose: these two lines go to Qt's own output.
void tell(const char *what, const QString &fileName)
{
    qInfo("%s", qUtf8Printable(
                    QStringLiteral("%1 -> file: %2").arg(QString::fromLatin1(what), fileName)));
}

} // namespace

AbstractSaveThread::AbstractSaveThread(QObject *parent) : QThread(parent) {}

AbstractSaveThread::~AbstractSaveThread()
{
    requestStop();
    wait(); // for a close() under way too
}

QString AbstractSaveThread::getFileName() const
{
    return fileName;
}

bool AbstractSaveThread::getOpened() const
{
    return opened;
}

bool AbstractSaveThread::getPaused() const
{
    return paused;
}

void AbstractSaveThread::debug(const QString &text, const QString &data)
{
    Q_UNUSED(data)
    if (!debugEnabled)
        return;
    QString composed = text;
    if (!flag.isEmpty())
        composed = QStringLiteral("标识[%1] %2").arg(flag, text);
    Q_UNUSED(composed) // goes nowhere: this is intended
}

void AbstractSaveThread::checkFile(const QString &fileName)
{
    const QFileInfo info(fileName);
    if (!info.exists() || info.size() != 0)
        return;
    if (!QFile::remove(fileName))
        qWarning("remove empty file err: %s", qUtf8Printable(fileName));
    debug(QStringLiteral("失败删除"), QString());
}

void AbstractSaveThread::run()
{
    tell("start record", fileName);
    while (!stopped)
        save();
    {
        const QMutexLocker locker(&flagMutex);
        stopped = false;
        opened = false;
        paused = false;
    }
    close();
    tell("stop record", fileName);
}

bool AbstractSaveThread::init()
{
    return true;
}

void AbstractSaveThread::save() {}

void AbstractSaveThread::close() {}

void AbstractSaveThread::open(QString fileName)
{
    if (opened)
        return;
    wait(); // a close() may still run
    this->fileName = fileName;
    if (!init())
        return;
    opened = true;
    start(QThread::InheritPriority);
    if (isRunning() || isFinished())
        return;
    opened = false; // the system had no thread to give, as Qt has said; the next file may get one
    close();
}

void AbstractSaveThread::pause()
{
    bool nowPaused = false;
    {
        const QMutexLocker locker(&flagMutex);
        if (!opened)
            return;
        nowPaused = !paused;
        paused = nowPaused;
    }
    debug(nowPaused ? QStringLiteral("暂停录制") : QStringLiteral("继续录制"), QString());
}

void AbstractSaveThread::stop()
{
    if (requestStop())
        wait();
}

bool AbstractSaveThread::requestStop()
{
    const QMutexLocker locker(&flagMutex);
    if (!opened || !isRunning())
        return false;
    stopped = true;
    paused = false;
    return true;
}
