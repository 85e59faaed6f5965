// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QTemporaryDir>

namespace vantratest {

/// Lets this process mount what nobody else sees, and what vanishes with it. To be called first
/// thing in main(), before there is a second thread. Empty, or why it may not.
QString enterPrivateMounts();

/// A file system of so many bytes, in memory, mounted in a folder of its own while this lives.
/// After enterPrivateMounts().
class SmallDisk
{
    Q_DISABLE_COPY(SmallDisk)

public:
    /// `mostFiles`: how many files and folders there may be, the one mounted in among them; 0: any
    /// number.
    explicit SmallDisk(qint64 bytes, int mostFiles = 0);
    ~SmallDisk();

    bool isValid() const { return mounted; }
    QString path(const QString &name = QString()) const { return folder.filePath(name); }
    /// Leaves so many bytes free, none if it is negative: a file takes the others until clear().
    bool fill(qint64 leaveBytes);
    bool clear();
    /// False while a file on it is open for writing.
    bool setReadOnly(bool readOnly);

private:
    QTemporaryDir folder;
    qint64 size;
    bool mounted = false;
};

} // namespace vantratest
