// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>

/// Names of the files that live streams leave, the same for every kind of live thread. Dates are
/// local. Any thread may call any function; those that ask the disk say so.

/// Of a recording that begins at `begin`: PATH/yyyy-MM-dd/live/yyyyMMddTHHmmss.mp4.
QString liveRecordName(const QString &savePath, const QDateTime &begin);

/// Of a recording that begins now. Looks at the disk: while another file has that name, or will
/// have it (a second stream with the same path, or a second file within one second), the begin is
/// told a second later, so that no recording is ever written over another. A name is given once
/// until renameLiveRecord() is told of it, or the same `recorder` asks for the next one: no
/// recording has come of it then, and in the same second it gets that name again, be there an empty
/// file of it or none. Null: nobody will ask.
QString newLiveRecordName(const QString &savePath, const void *recorder = nullptr);

/// Of a closed recording, beside the file that it was: BEGIN_END_CHANNEL.mp4.
QString liveRecordLastName(const QString &fileName, const QDateTime &end, int channel);

/// Gives a recording that ends now its last name. False if there is no such file. A file whose last
/// name is taken keeps the one it has.
bool renameLiveRecord(const QString &fileName, int channel);

/// Of a snapshot: PATH/yyyy-MM-dd/live/yyyyMMddTHHmmss_CHANNEL.jpg.
QString liveSnapName(const QString &savePath, const QDateTime &time, int channel);
