// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What the host does; chaosmodel.cpp says what is to be true then.
#include "chaoshost.h"

#include "devicelink/hnetdevice.h"

namespace vantratest {

namespace {

constexpr int kViews = 6;
constexpr int kPlaybacks = 2;
constexpr int kDownloads = 2;
constexpr int kChannels = 2; ///< of each device
constexpr int kViewDeeds = 19;
constexpr int kPlaybackDeeds = 12;
constexpr int kDeeds = kViewDeeds * kPlaybackDeeds;
/// Of a view: in a smaller one it cannot be read who took the picture.
constexpr int kLeastWidth = 80, kLeastHeight = 64;
constexpr int kTimeoutMs = 1000;
constexpr int kOpenSleepMs = 100;

constexpr int kAheadMs = 60 * 60 * 1000; ///< a playback ends an hour after now: not at all
constexpr int kBackSeconds = 3600;

/// One draw after the other: compilers differ in the order of arguments.
void drawGeometry(QWidget *window, Detail *detail)
{
    const int x = detail->draw(400);
    const int y = detail->draw(300);
    const int width = kLeastWidth + detail->draw(500);
    const int height = kLeastHeight + detail->draw(300);
    window->move(x, y);
    window->resize(width, height);
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
    const int what = draw(kDeeds);
    Detail detail(m_random());
    const auto told = [&](const QString &whom) {
        return QStringLiteral("%1: %2, %3").arg(whom).arg(what).arg(detail.seed());
    };
    if (who < 70) {
        actOnView(&m_views[size_t(which % kViews)], what % kViewDeeds, &detail);
        return told(QStringLiteral("view %1").arg(which % kViews));
    }
    if (who < 90) {
        actOnPlayback(&m_playbacks[size_t(which % kPlaybacks)], what % kPlaybackDeeds, &detail);
        return told(QStringLiteral("playback %1").arg(which % kPlaybacks));
    }
    if (who < 99 || detail.draw(4) != 0) {
        actOnDownload(&m_downloads[size_t(which % kDownloads)], &detail);
        return told(QStringLiteral("download %1").arg(which % kDownloads));
    }
    endLibrary();
    return QStringLiteral("end and begin of the library");
}

void ChaosHost::actOnView(View *view, int what, Detail *detail)
{
    const int stream = detail->draw(kStreams);
    LiveView &window = *view->window;
    switch (what) {
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
    case 10: {
        const int device = detail->draw(int(m_devices.size()));
        renew(view, device, detail->draw(kChannels));
        break;
    }
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
        detail->draw(2) ? window.talkStart() : window.talkStop();
        break;
    case 16:
        detail->draw(2) ? window.showMinimized() : window.showNormal();
        break;
    case 17:
        drawGeometry(&window, detail);
        break;
    default:
        detail->draw(2) ? window.hide() : window.show();
        break;
    }
}

void ChaosHost::actOnPlayback(Playback *playback, int what, Detail *detail)
{
    OrvoVodWidget &window = *playback->window;
    switch (what) {
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
        window.seekFile(QDateTime::currentDateTime().addSecs(-detail->draw(kBackSeconds)));
        break;
    case 8:
        window.setSpeed(0.5 + detail->draw(8));
        break;
    case 9:
        window.snap(m_folder + QStringLiteral("/snaps"), true);
        break;
    case 10:
        detail->draw(2) ? window.stop() : void(window.close());
        playback->plays = false;
        break;
    default:
        renew(playback);
        break;
    }
}

void ChaosHost::actOnDownload(Download *download, Detail *detail)
{
    if (detail->draw(3) == 0 && download->thread) {
        download->thread->stopDL();
        return;
    }
    if (download->thread && download->thread->isRunning())
        return;
    const int device = detail->draw(int(m_devices.size()));
    // One download per channel at a time; the channels are shared with the playbacks.
    const auto channel = unsigned(download - m_downloads.data());
    download->folder = QStringLiteral("%1/downloads/%2").arg(m_folder).arg(m_downloadsMade++);
    download->thread = std::make_unique<OrvoVodDLThread>();
    download->thread->bindDevice(m_devices[size_t(device)].device, channel);
    const QDateTime end = QDateTime::currentDateTime().addSecs(-60 - detail->draw(1000));
    download->thread->setDateTime(end.addSecs(-10 - detail->draw(50)), end);
    download->thread->setSavePath(download->folder);
    download->thread->setSaveInterval(detail->draw(30));
    download->thread->setSaveAudio(detail->draw(2));
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

QString ChaosHost::folderOf(const Channel &channel) const
{
    return m_folder + QStringLiteral("/recordings/") + nameOf(channel);
}

} // namespace vantratest
