// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "download.h"
#include "downloadqueue.h"
#include "recorderhost.h"
#include "support/waitfor.h"

#include <QDirIterator>
#include <QTemporaryDir>

namespace vantratest {

/// A queue on a folder of its own.
struct DownloadDesk
{
    DownloadDesk() : queue(folder.path()) {}

    bool becomes(Download *download, DownloadState state)
    {
        return waitFor([=] { return download->state() == state; });
    }
    bool ends(Download *download)
    {
        return waitFor(
            [=] { return !download->isActive() && download->state() != DownloadState::Waiting; });
    }
    /// Names of all films that are there.
    QStringList films() const
    {
        QStringList names;
        QDirIterator walk(folder.path(), {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
        while (walk.hasNext()) {
            walk.next();
            names.append(walk.fileName());
        }
        names.sort();
        return names;
    }

    QTemporaryDir folder;
    DownloadQueue queue;
};

/// A span of the recorded day.
inline TimeSpan from(int hour, int minute, qint64 length)
{
    return {recordedAt(hour, minute), recordedAt(hour, minute) + length};
}

/// Downloads go at the speed of recording, so that they last.
inline void slowly(vantrasim::DeviceConfig *config)
{
    config->downloadSpeed = 1;
}

} // namespace vantratest
