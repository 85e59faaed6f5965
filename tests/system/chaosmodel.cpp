// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What is to be true of the host's streams and files when nothing fails any more.
#include "chaoshost.h"
#include "containerfault.h"
#include "devicelink/hnetdevice.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>

using vantrasim::DeviceCall;
using vantrasim::DeviceControl;
using vantrasim::DeviceOp;

namespace vantratest {

namespace {

constexpr int kSettleMs = 60000; ///< safeguard

bool isPicture(const QString &file)
{
    return file.endsWith(QStringLiteral(".jpg"));
}

/// A recording whose last name is that of another one keeps its first: both began and ended in the
/// same second.
bool isOneOfTwoInASecond(const QString &recording)
{
    const QFileInfo file(recording);
    const QString second = file.completeBaseName();
    return !QDir(file.absolutePath())
                .entryList({second + QLatin1Char('_') + second + QStringLiteral("_?.mp4")})
                .isEmpty();
}

} // namespace

AbstractVideoThread *ChaosHost::recorderOf(const Channel &channel) const
{
    return threadOf(m_devices[size_t(channel.first)].device, channel.second * kStreams);
}

void ChaosHost::revive()
{
    for (View &view : m_views) {
        if (!view.shows)
            continue;
        view.window->showNormal();
    }
    keepStreams();
    for (Playback &playback : m_playbacks) {
        if (!playback.plays)
            continue;
        // The last thread ends the device's playback when it ends.
        playback.window->stop();
        waitFor([&] { return !playback.window->hasRunningThreads(); }, kSettleMs);
        begin(&playback);
        playback.window->showNormal();
    }
}

/// What the device has sent of the stream of a view.
QString ChaosHost::sent(const View &view) const
{
    const auto &control = *m_devices[size_t(view.device)].control;
    const auto counts = control.counts(view.channel, view.stream);
    return QStringLiteral("%1 pictures, %2 of them key, %3 sounds %4")
        .arg(counts.pictures)
        .arg(counts.keyPictures)
        .arg(counts.sounds)
        .arg(control.problem(view.channel, view.stream));
}

/// Streams end by themselves when reading fails too often, and those that nobody shows when another
/// view of the device stops. A view takes pictures only while all run that it has joined, so hosts
/// start each again.
void ChaosHost::keepStreams()
{
    const auto keep = [this](int device, int channel, int streams) {
        for (int stream = 0; stream < streams; ++stream) {
            auto *thread = threadOf(m_devices[size_t(device)].device, channel * kStreams + stream);
            if (thread && !thread->isRunning())
                thread->play();
        }
    };
    for (const View &view : m_views) {
        if (view.shows)
            keep(view.device, view.channel, kStreams);
    }
    for (const Channel &channel : m_recorded)
        keep(channel.first, channel.second, 1);
}

QString ChaosHost::faultOfView(const View &view, int picturesBefore) const
{
    if (!view.shows)
        return view.window->showsNothing() ? QString() : QStringLiteral("a stopped view shows");
    if (view.window->count() < picturesBefore + 3) {
        const AbstractVideoThread *thread = view.window->shown();
        return QStringLiteral("no pictures of %1:%2:%3; visible %4, minimized %5, runs %6, timed "
                              "out %7, refused %8, sent %9, of its set %10")
            .arg(view.device)
            .arg(view.channel)
            .arg(view.stream)
            .arg(view.window->isVisible())
            .arg(view.window->getIsMinimized())
            .arg(QStringLiteral("%1, as the view knows %2")
                     .arg(thread && thread->isRunning())
                     .arg(view.window->getIsRunning()))
            .arg(view.window->isReadStreamTimeout())
            .arg(view.window->isStreamExceedMax())
            .arg(sent(view))
            .arg(thread == threadOf(m_devices[size_t(view.device)].device,
                                    view.channel * kStreams + view.stream));
    }
    const int number = m_devices[size_t(view.device)].control->config().number;
    const SceneId source = view.window->shot().source;
    if (!(source == SceneId{number, view.channel, view.stream}))
        return QStringLiteral("shows %1:%2:%3")
            .arg(source.device)
            .arg(source.channel)
            .arg(source.stream);
    return {};
}

QString ChaosHost::faultOfPlayback(const Playback &playback, int picturesBefore) const
{
    if (!playback.plays)
        return playback.window->hasRunningThreads() ? QStringLiteral("a playback does not end")
                                                    : QString();
    if (!playback.window->plays())
        return QStringLiteral("a playback has ended");
    return playback.window->count() < picturesBefore + 3
               ? QStringLiteral("no pictures of a playback")
               : QString();
}

qint64 ChaosHost::recordedBytes(const Channel &channel) const
{
    qint64 bytes = 0;
    for (const QString &file : filesBelow(folderOf(channel)))
        bytes += QFileInfo(file).size();
    return bytes;
}

QString ChaosHost::faultOfRecording(const Channel &channel, qint64 bytesBefore) const
{
    const AbstractVideoThread *thread = recorderOf(channel);
    if (!thread || !thread->isRecording(AbstractVideoThread::MANUAL_RECORD))
        return QStringLiteral("nobody records ") + nameOf(channel);
    if (recordedBytes(channel) <= bytesBefore)
        return QStringLiteral("no recording grows of ") + nameOf(channel);
    return {};
}

std::set<QString> ChaosHost::openFiles() const
{
    std::set<QString> open;
    for (const auto &simulation : m_devices) {
        if (const PtrDevLiveThrSet set = setOf(simulation.device)) {
            for (const auto &thread : set->getChannelThreads())
                open.insert(thread->getFileName(AbstractVideoThread::MANUAL_RECORD));
        }
    }
    for (const Download &download : m_downloads) {
        if (!download.thread || !download.thread->isRunning())
            continue;
        for (const QString &file : filesBelow(download.folder))
            open.insert(file);
    }
    return open;
}

/// Of one that nobody writes.
QString ChaosHost::faultOfFile(const QString &file) const
{
    static const QRegularExpression finalName(
        QStringLiteral("/\\d{8}T\\d{6}_\\d{8}T\\d{6}_\\d\\.mp4$"));
    if (isPicture(file))
        return QImage(file).isNull() ? QStringLiteral("is no picture") : QString();
    if (!finalName.match(file).hasMatch() && !isOneOfTwoInASecond(file))
        return QStringLiteral("has not got its final name, beside ") +
               filesBelow(QFileInfo(file).absolutePath()).join(QLatin1Char(' '));
    return containerFault(file);
}

QString ChaosHost::faultOfFiles()
{
    const QStringList files = filesBelow(m_folder);
    for (const QString &file : m_checked) {
        if (!files.contains(file))
            return file + QStringLiteral(": has vanished");
    }
    for (const QString &file : files) {
        if ((!isPicture(file) && !file.endsWith(QStringLiteral(".mp4"))) || m_checked.count(file))
            continue;
        // One that is open, or was a moment ago and ends on a thread that its set still waits for,
        // need not play yet. At its end it has another name.
        QString fault;
        const auto isOver = [&] {
            if (openFiles().count(file))
                return true;
            fault = faultOfFile(file);
            if (!QFileInfo::exists(file))
                fault.clear();
            else if (fault.isEmpty())
                m_checked.insert(file);
            return fault.isEmpty();
        };
        if (!waitFor(isOver, kSettleMs))
            return file + QStringLiteral(": ") + fault;
    }
    return {};
}

/// What of the devices nobody wants is to be over.
QString ChaosHost::faultOfDevices() const
{
    for (size_t i = 0; i < m_devices.size(); ++i) {
        const bool wanted =
            std::any_of(m_views.begin(), m_views.end(),
                        [i](const View &view) { return view.shows && view.device == int(i); }) ||
            std::any_of(m_recorded.begin(), m_recorded.end(),
                        [i](const Channel &channel) { return channel.first == int(i); });
        // A recording that outlives the views leaves the set when it ends, to whom comes next.
        const PtrDevLiveThrSet set = setOf(m_devices[i].device);
        if (wanted && !set)
            return QStringLiteral("no streams of device %1").arg(i);
        const QString fault = set ? faultOfSet(int(i), *set) : faultOfSending(int(i));
        if (!fault.isEmpty())
            return fault;
    }
    return {};
}

/// Who is counted as a viewer, and who records.
QString ChaosHost::faultOfSet(int device, const DevLiveThrSet &set) const
{
    const auto threads = set.getChannelThreads();
    for (int index = 0; index < threads.size(); ++index) {
        const QString name = QStringLiteral("stream %1 of device %2").arg(index).arg(device);
        const auto viewers = std::count_if(m_views.begin(), m_views.end(), [=](const View &view) {
            return view.shows && view.device == device &&
                   view.channel * kStreams + view.stream == index;
        });
        if (threads.at(index)->previewRef() != viewers)
            return QStringLiteral("%1 counts %2 viewers, not %3")
                .arg(name)
                .arg(int(threads.at(index)->previewRef()))
                .arg(viewers);
        const bool isWanted =
            index % kStreams == 0 && m_recorded.count({device, index / kStreams}) > 0;
        if (threads.at(index)->isRecording(AbstractVideoThread::MANUAL_RECORD) != isWanted)
            return name + QLatin1String(isWanted ? " records nothing" : " records still");
    }
    return {};
}

/// Nobody wants anything of it any more. What it has refused to end, it sends all the same.
QString ChaosHost::faultOfSending(int device) const
{
    DeviceControl &control = *m_devices[size_t(device)].control;
    std::map<std::pair<int, int>, bool> asked;
    for (const DeviceCall &call : control.calls().calls(DeviceOp::enableMediaTransmit))
        asked[{call.arguments.at(0).toInt(), call.arguments.at(1).toInt()}] =
            call.arguments.at(2).toBool();
    for (const auto &[place, isOn] : asked) {
        if (isOn && control.isOpen(place.first, place.second))
            return QStringLiteral("device %1 still sends stream %2:%3")
                .arg(device)
                .arg(place.first)
                .arg(place.second);
    }
    return {};
}

QString ChaosHost::settle()
{
    std::vector<int> shown;
    std::vector<int> played;
    std::map<Channel, qint64> recorded;
    for (const View &view : m_views)
        shown.push_back(view.window->count());
    for (const Playback &playback : m_playbacks)
        played.push_back(playback.window->count());
    for (const Channel &channel : m_recorded)
        recorded[channel] = recordedBytes(channel);

    QString fault;
    const auto isFine = [&] {
        keepStreams();
        fault = faultOfDevices();
        for (size_t i = 0; i < m_views.size() && fault.isEmpty(); ++i) {
            fault = faultOfView(m_views[i], shown[i]);
            if (!fault.isEmpty())
                fault += QStringLiteral(" (view %1)").arg(i);
        }
        for (size_t i = 0; i < m_playbacks.size() && fault.isEmpty(); ++i)
            fault = faultOfPlayback(m_playbacks[i], played[i]);
        for (const Download &download : m_downloads) {
            if (fault.isEmpty() && download.thread && download.thread->isRunning())
                fault = QStringLiteral("a download does not end");
        }
        for (const Channel &channel : m_recorded) {
            if (fault.isEmpty())
                fault = faultOfRecording(channel, recorded[channel]);
        }
        return fault.isEmpty();
    };
    waitFor(isFine, kSettleMs);
    return fault.isEmpty() ? faultOfFiles() : fault;
}

QString ChaosHost::finish()
{
    for (View &view : m_views) {
        view.window->finish();
        view.shows = false;
    }
    for (Playback &playback : m_playbacks) {
        playback.window->stop();
        playback.plays = false;
    }
    for (Download &download : m_downloads)
        download.thread.reset();
    Vantra::release(); // ends the recordings, too
    m_recorded.clear();
    QString fault;
    waitFor(
        [&] {
            fault.clear();
            for (const auto &simulation : m_devices) {
                const auto &control = *simulation.control;
                if (control.openPlaybacks() + control.openDownloads() > 0)
                    fault = QStringLiteral("a device still sends: %1 playbacks, %2 downloads")
                                .arg(control.openPlaybacks())
                                .arg(control.openDownloads());
            }
            for (size_t i = 0; i < m_devices.size() && fault.isEmpty(); ++i)
                fault = faultOfSending(int(i));
            for (const Playback &playback : m_playbacks) {
                if (fault.isEmpty())
                    fault = faultOfPlayback(playback, 0);
            }
            return fault.isEmpty();
        },
        kSettleMs);
    return fault.isEmpty() ? faultOfFiles() : fault;
}

} // namespace vantratest
