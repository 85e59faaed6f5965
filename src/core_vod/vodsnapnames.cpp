// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_vod/vodsnapnames_p.h"

#include <QFileInfo>

namespace {

QString timeText(const QDateTime &time)
{
    return time.toString(QStringLiteral("yyyyMMddTHHmmss"));
}

} // namespace

// Markers are filled all at once: a path may hold a "%1" of its own.

QString vodSnapName(const QString &path, const QDateTime &time, int channel)
{
    return QStringLiteral("%1/%2/vod/%3_%4.jpg")
        .arg(path, time.toString(QStringLiteral("yyyy-MM-dd")), timeText(time),
             QString::number(channel));
}

QString vodSnapLastName(const QString &askedName, qint64 pts, int channel)
{
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(pts, Qt::UTC);
    return QStringLiteral("%1/%2_%3.jpg")
        .arg(QFileInfo(askedName).absolutePath(), timeText(time), QString::number(channel));
}
