// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>

/// The size of a file that grows, looked at by a thread beside: on a disk that has gone away, such
/// as one of the network, a look can take minutes. Not for several threads.
class FileSize
{
    Q_DISABLE_COPY(FileSize)

public:
    FileSize();
    ~FileSize();

    /// What the last look that has ended found, and begins another one unless one is under way.
    /// Returns bytes, or -1: the file is not there, or nothing is known of it yet. Waits for
    /// nothing.
    qint64 look(const QString &file);
    /// What has been found so far, and what the look under way will find, is of no use any more.
    void forget();

private:
    struct Look;
    /// Shared with the look that is under way, which may outlive this.
    const std::shared_ptr<Look> m_look;
};
