// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/livefilenames_p.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMutex>

#include <algorithm>

namespace {

/// Then the disk is not asked any more. A wall of views may begin to record in the same second.
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
    bool give(const QString &name, const void *recorder)
    {
        const QMutexLocker locker(&m_mutex);
        if (m_given.contains(name))
            return false;
        m_given.insert(name, {recorder, m_count++});
        if (m_given.size() > kMostNames)
            m_given.erase(oldest());
        return true;
    }
    void takeBack(const QString &name)
    {
        const QMutexLocker locker(&m_mutex);
        m_given.remove(name);
    }
    /// What a recorder has been given and has not made a recording of; empty if nothing.
    QString nameOf(const void *recorder)
    {
        const QMutexLocker locker(&m_mutex);
        const auto given = std::find_if(m_given.begin(), m_given.end(), [=](const Given &given) {
            return given.recorder == recorder;
        });
        return given == m_given.end() ? QString() : given.key();
    }

private:
    struct Given
    {
        const void *recorder; ///< to be compared only
        qint64 number;        ///< in their order
    };
    /// More are of recorders that are gone; what runs is on the disk by then.
    static constexpr int kMostNames = 2 * kMaxSecondsAhead;

    QHash<QString, Given>::iterator oldest()
    {
        return std::min_element(m_given.begin(), m_given.end(),
                                [](const Given &a, const Given &b) { return a.number < b.number; });
    }

    QMutex m_mutex;
    QHash<QString, Given> m_given; ///< by their names
    qint64 m_count = 0;
};

GivenNames givenNames;

} // namespace

// Markers are filled all at once: a path may hold a "%1" of its own.

QString liveRecordName(const QString &savePath, const QDateTime &begin)
{
    return QStringLiteral("%1/%2/live/%3.mp4").arg(savePath, dateText(begin), timeText(begin));
}

QString newLiveRecordName(const QString &savePath, const void *recorder)
{
    // It stays the recorder's until it has another: nobody else makes a file of it meanwhile.
    const QString unused = recorder ? givenNames.nameOf(recorder) : QString();
    const QDateTime now = QDateTime::currentDateTime();
    for (int ahead = 0;; ++ahead) {
        const QString name = liveRecordName(savePath, now.addSecs(ahead));
        if (name == unused) {
            if (QFileInfo(name).size() == 0) // also where there is none
                return name;
        } else if ((ahead > kMaxSecondsAhead || !QFile::exists(name)) &&
                   givenNames.give(name, recorder)) {
            givenNames.takeBack(unused);
            return name;
        }
    }
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
