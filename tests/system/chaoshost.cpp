// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "chaoshost.h"

#include "containerfault.h"
#include "devicelink/hnetdevice.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace vantratest {

namespace {

constexpr int kViews = 6;
constexpr int kPlaybacks = 2;
constexpr int kDownloads = 2;
constexpr int kChannels = 2; ///< of each device
constexpr int kStreams = 2;  ///< of each channel
constexpr int kTimeoutMs = 1000;
constexpr int kOpenSleepMs = 100;
constexpr int kSettleMs = 60000; ///< safeguard

constexpr int kAheadMs = 60 * 60 * 1000; ///< a playback ends an hour after now: not at all
constexpr int kBackSeconds = 3600;

QString nameOf(const std::pair<int, int> &channel)
{
    return QStringLiteral("%1-%2").arg(channel.first).arg(channel.second);
}

} // namespace

ChaosHost::ChaosHost(const std::vector<vantrasim::Simulation> &devices, const QString &folder,
                     unsigned seed)
    : m_devices(devices), m_folder(folder), m_random(seed), m_views(kViews),
      m_playbacks(kPlaybacks), m_downloads(kDownloads)
{
    for (View &view : m_views) {
        const int device = draw(int(m_devices.size()));
        renew(&view, device, draw(kChannels));
    }
    for (int i = 0; i < kPlaybacks; ++i) {
        // One recorder per playback: a device plays one recording per channel at a time.
        m_playbacks[size_t(i)].device = i % int(m_devices.size());
        m_playbacks[size_t(i)].channel = i % kChannels;
        renew(&m_playbacks[size_t(i)]);
    }
}

ChaosHost::~ChaosHost()
{
    for (Download &download : m_downloads)
        download.thread.reset();
}

// --- Deeds ---------------------------------------------------------------------------------------

QString ChaosHost::act()
{
    // All is drawn before anything is looked at, so that a seed means the same deeds always.
    const int who = draw(100);
    const int which = draw(kViews * kPlaybacks * kDownloads);
    const int what = draw(1000);
    if (who < 70) {
        actOnView(&m_views[size_t(which % kViews)], what);
        return QStringLiteral("view %1: %2").arg(which % kViews).arg(what);
    }
    if (who < 90) {
        actOnPlayback(&m_playbacks[size_t(which % kPlaybacks)], what);
        return QStringLiteral("playback %1: %2").arg(which % kPlaybacks).arg(what);
    }
    if (who < 99 || what >= 250) {
        actOnDownload(&m_downloads[size_t(which % kDownloads)], what);
        return QStringLiteral("download %1: %2").arg(which % kDownloads).arg(what);
    }
    endLibrary();
    return QStringLiteral("end and begin of the library");
}

void ChaosHost::actOnView(View *view, int what)
{
    const int stream = what % kStreams;
    LiveView &window = *view->window;
    switch (what % 19) {
    case 0:
    case 1:
    case 2:
    case 3:
        if (!view->shows)
            begin(view, stream);
        break;
    case 4:
    case 5:
    case 6:
        if (view->shows) {
            view->stream = stream;
            window.look(stream);
        }
        break;
    case 7:
        window.finish();
        view->shows = false;
        break;
    case 8:
        window.playStop(true); // or it would count as a viewer
        window.close();
        view->shows = false;
        break;
    case 9: // another camera, in a window of its own
    case 10:
        renew(view, (what / 19) % int(m_devices.size()), (what / 57) % kChannels);
        break;
    case 11:
    case 12:
        record(view, true);
        break;
    case 13:
        record(view, false);
        break;
    case 14:
        window.snap(m_folder + QStringLiteral("/snaps"), true);
        break;
    case 15:
        what % 2 ? window.talkStart() : window.talkStop();
        break;
    case 16:
        what % 2 ? window.showMinimized() : window.showNormal();
        break;
    case 17:
        window.move(what % 400, what % 300);
        window.resize(64 + what % 500, 64 + what % 300);
        break;
    default:
        what % 2 ? window.hide() : window.show();
        break;
    }
}

void ChaosHost::actOnPlayback(Playback *playback, int what)
{
    OrvoVodWidget &window = *playback->window;
    const auto at = [what] { return QDateTime::currentDateTime().addSecs(-what * 3); };
    switch (what % 12) {
    case 0:
    case 1:
    case 2:
        if (!playback->plays)
            begin(playback);
        break;
    case 3:
        window.pause();
        break;
    case 4:
    case 5:
        window.resume();
        break;
    case 6:
    case 7:
        window.seekFile(at());
        break;
    case 8:
        window.setSpeed(0.5 + what % 8);
        break;
    case 9:
        window.snap(m_folder + QStringLiteral("/snaps"), true);
        break;
    case 10:
        what % 2 ? window.stop() : void(window.close());
        playback->plays = false;
        break;
    default:
        renew(playback);
        break;
    }
}

void ChaosHost::actOnDownload(Download *download, int what)
{
    if (what % 3 == 0 && download->thread) {
        download->thread->stopDL();
        return;
    }
    if (download->thread && download->thread->isRunning())
        return;
    const int device = what % int(m_devices.size());
    // One download per channel at a time; the channels are shared with the playbacks.
    const auto channel = unsigned(download - m_downloads.data());
    download->folder = QStringLiteral("%1/downloads/%2").arg(m_folder).arg(m_downloadsMade++);
    download->thread = std::make_unique<OrvoVodDLThread>();
    download->thread->bindDevice(m_devices[size_t(device)].device, channel);
    const QDateTime end = QDateTime::currentDateTime().addSecs(-60 - what);
    download->thread->setDateTime(end.addSecs(-10 - what % 50), end);
    download->thread->setSavePath(download->folder);
    download->thread->setSaveInterval(what % 30);
    download->thread->setSaveAudio(what % 2);
    download->thread->setReadTimeout(kTimeoutMs);
    download->thread->startDL();
}

void ChaosHost::endLibrary()
{
    for (View &view : m_views) {
        view.window->finish();
        view.shows = false;
    }
    Vantra::release();
    m_recorded.clear();
    Vantra::init();
}

void ChaosHost::renew(View *view, int device, int channel)
{
    view->device = device;
    view->channel = channel;
    view->shows = false;
    const auto protocol = m_devices[size_t(device)].device->getStreamProtocol();
    view->window.reset(); // before the next, as a host that has one window at a time
    view->window = std::make_unique<LiveView>(protocol, kTimeoutMs);
    view->window->setReads(false);
}

void ChaosHost::begin(View *view, int stream)
{
    view->stream = stream;
    view->shows =
        view->window->begin(m_devices[size_t(view->device)].device, view->channel, stream);
    if (const PtrDevLiveThrSet set = setOf(m_devices[size_t(view->device)].device)) {
        for (const auto &thread : set->getChannelThreads())
            thread->setOpenSleepTime(kOpenSleepMs);
    }
}

void ChaosHost::record(View *view, bool on)
{
    if (!view->shows)
        return;
    const Channel channel{view->device, view->channel};
    if (on) {
        view->window->recordStart(folderOf(channel));
        m_recorded.insert(channel);
    } else {
        view->window->recordStop();
        m_recorded.erase(channel);
    }
}

void ChaosHost::renew(Playback *playback)
{
    playback->window.reset();
    playback->plays = false;
    playback->window = std::make_unique<PlaybackView>();
    WidgetPara look = playback->window->getWidgetPara();
    look.videoMode = VideoMode_Painter;
    look.muted = true;
    playback->window->setWidgetPara(look);
    VideoPara para = playback->window->getVideoPara();
    para.connectTimeout = kTimeoutMs;
    para.readTimeout = kTimeoutMs;
    playback->window->setVideoPara(para);
    playback->window->init(m_devices[size_t(playback->device)].device, playback->channel);
    playback->window->resize(320, 180);
}

void ChaosHost::begin(Playback *playback)
{
    const QDateTime now = QDateTime::currentDateTime();
    playback->window->setVodStartPara(
        {now.addSecs(-kBackSeconds), now.addMSecs(kAheadMs), now.addSecs(-kBackSeconds / 2)});
    playback->window->show();
    playback->plays = playback->window->start();
}

// --- What is to be true --------------------------------------------------------------------------

QString ChaosHost::folderOf(const Channel &channel) const
{
    return m_folder + QStringLiteral("/recordings/") + nameOf(channel);
}

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

QString ChaosHost::faultOfFile(const QString &file) const
{
    static const QRegularExpression finalName(
        QStringLiteral("/\\d{8}T\\d{6}_\\d{8}T\\d{6}_\\d\\.mp4$"));
    const bool isDownload = file.startsWith(m_folder + QStringLiteral("/downloads/"));
    if (isDownload && !finalName.match(file).hasMatch())
        return QStringLiteral("has not got its final name");
    return containerFault(file);
}

QString ChaosHost::faultOfFiles()
{
    for (const QString &file : filesBelow(m_folder)) {
        if (!file.endsWith(QStringLiteral(".mp4")) || m_checked.count(file))
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
        if (!set)
            continue;
        const auto threads = set->getChannelThreads();
        for (int index = 0; index < threads.size(); ++index) {
            const auto viewers =
                std::count_if(m_views.begin(), m_views.end(), [i, index](const View &view) {
                    return view.shows && view.device == int(i) &&
                           view.channel * kStreams + view.stream == index;
                });
            if (threads.at(index)->previewRef() != viewers)
                return QStringLiteral("stream %1 of device %2 counts %3 viewers, not %4")
                    .arg(index)
                    .arg(i)
                    .arg(int(threads.at(index)->previewRef()))
                    .arg(viewers);
        }
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
                if (control.openStreams() + control.openPlaybacks() + control.openDownloads() > 0)
                    fault = QStringLiteral("a device still sends: %1 streams, %2 playbacks, %3 "
                                           "downloads")
                                .arg(control.openStreams())
                                .arg(control.openPlaybacks())
                                .arg(control.openDownloads());
            }
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
