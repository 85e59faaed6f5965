// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "device.h"

#include <QList>
#include <QObject>

class Download;

/// The downloads that a person wants, in their order. A few run at once, the others wait; a device
/// gives out one for each channel. GUI thread; nothing here waits.
class DownloadQueue final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(DownloadQueue)

public:
    static constexpr int kAtOnce = 2;

    /// `filesFolder` as in MainWindow.
    explicit DownloadQueue(const QString &filesFolder, QObject *parent = nullptr);

    /// Puts a download at the end.
    Download *add(const Camera &camera, const TimeSpan &span, bool withSound);
    /// In the order in which they were added.
    const QList<Download *> &downloads() const { return m_downloads; }
    /// Begins one that has ended anew, when its turn comes.
    void retry(Download *download);
    /// Takes one that is not active out of the list, and deletes it. Its files stay.
    void remove(Download *download);
    void removeEnded();
    /// Those that run, also those that are about to end.
    int active() const;
    int waiting() const;
    /// Ends all, and starts no other.
    void stopAll();

signals:
    void added(Download *download);
    void removed(Download *download);
    void changed();

private:
    void startNext();
    bool mayStart(const Download *download) const;

    const QString m_filesFolder;
    QList<Download *> m_downloads;
    bool m_isEnding = false;
};
