// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "download.h"

#include "devicelink/devicerules.h"
#include "devicelink/hnetdevice.h"
#include "downloadthread.h"

#include <QDirIterator>
#include <QStorageInfo>

#include <algorithm>

namespace {

/// Without a frame for so long a download fails. A fifth of it is what an end may take.
constexpr int kReadTimeoutMs = 5000;
/// A disk with less room than this cannot take the next fragment of a file.
constexpr qint64 kFullBelowBytes = 4 * 1024 * 1024;

} // namespace

Download::Download(const Camera &camera, const TimeSpan &span, bool withSound,
                   const CameraFiles &files, QObject *parent)
    : QObject(parent), m_camera(camera), m_span(span), m_withSound(withSound), m_files(files)
{
    m_clock.start();
}

Download::~Download()
{
    delete m_thread; // before what its signals would reach
}

bool Download::isInTheWayOf(const Download &other) const
{
    return (m_camera.link == other.m_camera.link && m_camera.channel == other.m_camera.channel) ||
           m_files.folder() == other.m_files.folder();
}

void Download::start()
{
    if (m_thread)
        return;
    m_problem = m_files.problem();
    m_results.clear();
    if (!m_problem.isEmpty()) {
        setState(DownloadState::Failed);
        emit ended();
        return;
    }
    m_recorded = m_camera.recorded ? m_camera.recorded(m_span) : QVector<TimeSpan>();
    m_filesBefore = filesThere();
    m_meter.begin(m_clock.elapsed(), recordedUntil(m_span.end));
    m_days = days();
    startDay();
    setState(DownloadState::Running);
}

void Download::startDay()
{
    m_hasBegun = m_isWhole = m_isRefused = m_hasFailed = false;
    m_partBefore = m_meter.part();
    m_thread = new DownloadThread(this);
    m_thread->bindDevice(m_camera.link, uint(m_camera.channel));
    m_thread->setDateTime(recordingtime::forDevice(m_days.first().begin),
                          recordingtime::forDevice(m_days.first().end));
    m_thread->setSavePath(m_files.folder());
    m_thread->setSaveAudio(m_withSound);
    m_thread->setReadTimeout(kReadTimeoutMs);
    connect(m_thread, &DownloadThread::sig_downloadStart, this, [this] { m_hasBegun = true; });
    connect(m_thread, &DownloadThread::sig_downloadPts, this, [this](qint64 time) {
        m_meter.note(m_clock.elapsed(), recordedUntil(time));
        emit changed();
    });
    connect(m_thread, &DownloadThread::sig_downloadErrConnExceedMax, this,
            [this] { m_isRefused = true; });
    connect(m_thread, &DownloadThread::sig_downloadError, this, [this] { m_hasFailed = true; });
    connect(m_thread, &DownloadThread::sig_downloadFinsh, this,
            [this](bool whole) { m_isWhole = whole; });
    connect(m_thread, &QThread::finished, this, &Download::endDay);
    m_thread->startDL();
}

void Download::endDay()
{
    if (!m_isWhole || m_days.size() == 1 || m_state != DownloadState::Running) {
        conclude();
        return;
    }
    m_thread->deleteLater();
    m_days.removeFirst();
    startDay();
}

void Download::cancel()
{
    if (m_state == DownloadState::Waiting) {
        setState(DownloadState::Cancelled);
        emit ended();
    } else if (m_state == DownloadState::Running) {
        m_thread->askToStop();
        setState(DownloadState::Stopping);
    }
}

void Download::renew()
{
    if (m_thread)
        return;
    m_problem.clear();
    m_results.clear();
    m_meter = ProgressMeter();
    setState(DownloadState::Waiting);
}

double Download::part() const
{
    return m_state == DownloadState::Done ? 1 : m_meter.part();
}

void Download::setState(DownloadState state)
{
    m_state = state;
    emit changed();
}

/// The span in parts that each lie within one day, at least one; without those in which nothing is
/// recorded, as far as that is known.
QVector<TimeSpan> Download::days() const
{
    QVector<TimeSpan> days;
    for (qint64 begin = m_span.begin; begin < m_span.end;) {
        const qint64 midnight =
            recordingtime::of(recordingtime::dayOf(begin)) + recordingtime::dayMs;
        const TimeSpan day{begin, qMin(midnight, m_span.end)};
        if (m_recorded.isEmpty() || covered(m_recorded, day) > 0)
            days.append(day);
        begin = day.end;
    }
    return days.isEmpty() ? QVector<TimeSpan>{m_span} : days;
}

/// How much of the span is recorded up to a time; where that is not known, all of it.
qint64 Download::recordedUntil(qint64 time) const
{
    const TimeSpan passed{m_span.begin, qMin(time, m_span.end)};
    return m_recorded.isEmpty() ? passed.length() : covered(m_recorded, passed);
}

/// Files of downloads of this camera, and when they were written.
QHash<QString, QDateTime> Download::filesThere() const
{
    QHash<QString, QDateTime> files;
    QDirIterator days(m_files.folder(), QDir::Dirs | QDir::NoDotAndDotDot);
    while (days.hasNext()) {
        QDirIterator walk(days.next() + QStringLiteral("/vod"), {QStringLiteral("*.mp4")},
                          QDir::Files);
        while (walk.hasNext()) {
            const QString file = walk.next();
            files.insert(file, walk.fileInfo().lastModified());
        }
    }
    return files;
}

void Download::conclude()
{
    const QHash<QString, QDateTime> files = filesThere();
    for (auto file = files.begin(); file != files.end(); ++file)
        if (m_filesBefore.value(file.key()) != file.value())
            m_results.append(file.key());
    std::sort(m_results.begin(), m_results.end());

    const bool wasCancelled = m_state == DownloadState::Stopping;
    const bool isAll = m_isWhole && m_days.size() == 1;
    if (!m_isWhole)
        m_problem = problemOf(*m_thread);
    else if (m_results.isEmpty())
        m_problem = tr("Nothing is recorded in this span.");
    m_thread->deleteLater();
    m_thread = nullptr;
    if (wasCancelled && !isAll) {
        m_problem.clear();
        setState(DownloadState::Cancelled);
    } else {
        setState(m_problem.isEmpty() ? DownloadState::Done : DownloadState::Failed);
    }
    emit ended();
}

QString Download::problemOf(const DownloadThread &thread) const
{
    if (m_isRefused)
        return tr("The device refuses: it gives out as many downloads as it can.");
    if (m_camera.link->getConnectStatus() != HChannelConnected)
        return tr("The device is gone.");
    if (!m_hasBegun) {
        return m_camera.address.isValid()
                   ? tr("A camera that is known by its address alone has no recordings.")
                   : tr("The device refuses this download.");
    }
    if (m_hasFailed) {
        const QStorageInfo disk(m_files.folder());
        if (disk.isValid() && disk.bytesAvailable() < kFullBelowBytes)
            return tr("The disk is full.");
        const QString folderProblem = m_files.problem();
        if (!folderProblem.isEmpty())
            return folderProblem;
        return m_meter.part() > m_partBefore // so a file has been written
                   ? tr("The file could not be written, or has been removed.")
                   : tr("The device does not describe a video that could be stored.");
    }
    if (thread.lastRead() == DeviceReadTimeout)
        return tr("The device has sent nothing for %1 seconds.").arg(kReadTimeoutMs / 1000);
    return tr("The device has broken off the download.");
}
