// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/livefilenames_p.h"

#include <QFile>
#include <QFileInfo>

namespace {

constexpr int kMaxSecondsAhead = 60; ///< then the name is taken as it is

QString dateText(const QDateTime &time)
{
    return time.toString(QStringLiteral("yyyy-MM-dd"));
}

QString timeText(const QDateTime &time)
{
    return time.toString(QStringLiteral("yyyyMMddTHHmmss"));
}

} // namespace

// Markers are filled all at once: a path may hold a "%1" of its own.

QString liveRecordName(const QString &savePath, const QDateTime &begin)
{
    return QStringLiteral("%1/%2/live/%3.mp4").arg(savePath, dateText(begin), timeText(begin));
}

QString newLiveRecordName(const QString &savePath)
{
    const QDateTime now = QDateTime::currentDateTime();
    QString name = liveRecordName(savePath, now);
    for (int ahead = 1; QFile::exists(name) && ahead <= kMaxSecondsAhead; ++ahead)
        name = liveRecordName(savePath, now.addSecs(ahead));
    return name;
}

QString liveRecordLastName(const QString &fileName, const QDateTime &end, int channel)
{
    const QFileInfo file(fileName);
    return QStringLiteral("%1/%2_%3_%4.mp4")
        .arg(file.absolutePath(), file.completeBaseName(), timeText(end), QString::number(channel));
}

bool renameLiveRecord(const QString &fileName, int channel)
{
    if (!QFile::exists(fileName))
        return false;
    QFile::rename(fileName, liveRecordLastName(fileName, QDateTime::currentDateTime(), channel));
    return true;
}

QString liveSnapName(const QString &savePath, const QDateTime &time, int channel)
{
    return QStringLiteral("%1/%2/live/%3_%4.jpg")
        .arg(savePath, dateText(time), timeText(time), QString::number(channel));
}
