// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>

/// Names of the snapshots of recordings. Any thread.

/// As it is asked for at `time`, which is local: PATH/yyyy-MM-dd/vod/yyyyMMddTHHmmss_CHANNEL.jpg.
/// Of this only the folder stays.
QString vodSnapName(const QString &path, const QDateTime &time, int channel);

/// As it is saved, in the folder of the name that was asked for: yyyyMMddTHHmmss_CHANNEL.jpg, the
/// time being `pts`, milliseconds since 1970, in UTC.
QString vodSnapLastName(const QString &askedName, qint64 pts, int channel);
