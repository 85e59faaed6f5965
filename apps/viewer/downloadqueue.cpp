// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "downloadqueue.h"

#include "download.h"

#include <algorithm>

DownloadQueue::DownloadQueue(const QString &filesFolder, QObject *parent)
    : QObject(parent), m_filesFolder(filesFolder)
{
}

Download *DownloadQueue::add(const Camera &camera, const TimeSpan &span, bool withSound)
{
    auto *download =
        new Download(camera, span, withSound, CameraFiles(m_filesFolder, camera.fileName()), this);
    m_downloads.append(download);
    connect(download, &Download::changed, this, &DownloadQueue::changed);
    // Another may begin only once this one has told all.
    connect(download, &Download::ended, this, &DownloadQueue::startNext, Qt::QueuedConnection);
    emit added(download);
    startNext();
    emit changed();
    return download;
}

void DownloadQueue::retry(Download *download)
{
    if (m_isEnding || !m_downloads.contains(download))
        return;
    download->renew();
    startNext();
}

void DownloadQueue::remove(Download *download)
{
    if (download->isActive() || !m_downloads.removeOne(download))
        return;
    emit removed(download);
    download->deleteLater();
    emit changed();
}

void DownloadQueue::removeEnded()
{
    const QList<Download *> all = m_downloads;
    for (Download *download : all)
        if (download->state() != DownloadState::Waiting)
            remove(download);
}

int DownloadQueue::active() const
{
    return int(std::count_if(m_downloads.begin(), m_downloads.end(),
                             [](const Download *download) { return download->isActive(); }));
}

int DownloadQueue::waiting() const
{
    return int(std::count_if(m_downloads.begin(), m_downloads.end(), [](const Download *download) {
        return download->state() == DownloadState::Waiting;
    }));
}

void DownloadQueue::stopAll()
{
    m_isEnding = true;
    for (Download *download : qAsConst(m_downloads))
        download->cancel();
}

bool DownloadQueue::mayStart(const Download *download) const
{
    return download->state() == DownloadState::Waiting &&
           std::none_of(m_downloads.begin(), m_downloads.end(), [=](const Download *other) {
               return other->isActive() && other->isInTheWayOf(*download);
           });
}

void DownloadQueue::startNext()
{
    if (m_isEnding)
        return;
    const QList<Download *> all = m_downloads;
    for (Download *download : all)
        if (active() < kAtOnce && mayStart(download))
            download->start();
}
