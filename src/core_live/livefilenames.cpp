// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/livefilenames_p.h"

#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QStringList>

namespace {

/// Then the name is taken as it is. A wall of views may begin to record in the same second.
constexpr int kMaxSecondsAhead = 1800;

QString dateText(const QDateTime &time)
{
    return time.toString(QStringLiteral("yyyy-MM-dd"));
}

QString timeText(const QDateTime &time)
{
    return time.toString(QStringLiteral("yyyyMMddTHHmmss"));
}

// Names that were given to recordings. Between the giving and the making of the file, the disk does
// not show another stream that the name is taken.
class GivenNames
{
public:
    /// False if it has been given already.
    bool give(const QString &name)
    {
        const QMutexLocker locker(&m_mutex);
        if (m_names.contains(name))
            return false;
        m_names.append(name);
        // Of recordings that were never opened; what runs is on the disk by then.
        if (m_names.size() > kMostNames)
            m_names.removeFirst();
        return true;
    }
    void takeBack(const QString &name)
    {
        const QMutexLocker locker(&m_mutex);
        m_names.removeOne(name);
    }

private:
    static constexpr int kMostNames = 2 * kMaxSecondsAhead;

    QMutex m_mutex;
    QStringList m_names; ///< oldest first
};

GivenNames givenNames;

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
    for (int ahead = 1; ahead <= kMaxSecondsAhead; ++ahead) {
        if (!QFile::exists(name) && givenNames.give(name))
            break;
        name = liveRecordName(savePath, now.addSecs(ahead));
    }
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
    givenNames.takeBack(fileName);
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
