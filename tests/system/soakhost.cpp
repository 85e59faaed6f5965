// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "soakhost.h"

#include "containerfault.h"
#include "devicelink/hnetdevice.h"
#include "devicelink/rtspcamerabackend.h"
#include "simulator/device/mediaclock.h"
#include "support/counterblocks.h"
#include "support/waitfor.h"

#include <QFile>
#include <QRegularExpression>

#include <cmath>

using namespace vantrasim;

namespace vantratest {

namespace {

constexpr int kTimeoutMs = 10000 * kSlowness;
constexpr int kPatienceMs = 1000;
constexpr int kChannels = 6; ///< of each device
constexpr int kCameras = 4;
constexpr int kStreams = 2; ///< of each channel and camera
constexpr double kDownloadSpeed = 8;
constexpr int kColumns = 4;
constexpr QSize kTile(240, 135);
constexpr int kDownloadSeconds = 60; ///< of recording
constexpr qint64 kCounters = 0x1000000;

/// Stream 0 is the one recorded, at 25 pictures per second; stream 1 has 12.
int fpsOf(int stream)
{
    return stream == 0 ? 25 : 12;
}

/// What a view shows.
int streamOf(int view)
{
    return view % kStreams;
}

QString nameOf(int camera, int stream)
{
    return QStringLiteral("cam%1-%2").arg(camera).arg(stream);
}

} // namespace

// --- One view ------------------------------------------------------------------------------------

SoakView::SoakView(HTransportProtocol protocol, int fps) : LiveVideoWidget(protocol), m_fps(fps)
{
    WidgetPara look = getWidgetPara();
    look.videoMode = VideoMode_Painter;
    look.scaleMode = ScaleMode_Fill;
    look.muted = true;
    setWidgetPara(look);
    VideoPara para = getVideoPara();
    para.connectTimeout = para.readTimeout = kTimeoutMs;
    setVideoPara(para);
    resize(kTile);
}

SoakView::~SoakView()
{
    finish();
}

bool SoakView::begin(const QSharedPointer<HNetDevice> &device, int channel, int stream)
{
    show();
    if (!init(device, channel, -1) || !start())
        return false;
    playStart(stream);
    return true;
}

void SoakView::finish()
{
    playStop(true);
    stop(false);
}

void SoakView::receiveImage(const QImage &picture, int time)
{
    LiveVideoWidget::receiveImage(picture, time);
    m_isFresh = true;
}

bool SoakView::eventFilter(QObject *watched, QEvent *event)
{
    const bool handled = LiveVideoWidget::eventFilter(watched, event); // paints
    if (event->type() != QEvent::Paint || !m_isFresh)
        return handled;
    m_isFresh = false;
    const auto counter = readCounter(image);
    if (!counter)
        return handled;
    ++m_paints;
    m_counter = *counter;
    // Of all the pictures with this counter, the last one before now.
    const qint64 now = deviceNow();
    const qint64 newest = now * m_fps / 1000;
    m_stamp = stampOfFrame(newest - ((newest - m_counter) & (kCounters - 1)), m_fps);
    m_youngest = std::min(m_youngest, double(now - m_stamp));
    return handled;
}

double SoakView::takeAge()
{
    if (m_paints == 0)
        return -1;
    const double age = std::isfinite(m_youngest) ? m_youngest : double(deviceNow() - m_stamp);
    m_youngest = kNone;
    return age;
}

// --- The host ------------------------------------------------------------------------------------

SoakHost::SoakHost(const QString &folder, int secondsPerFile)
    : m_folder(folder), m_secondsPerFile(secondsPerFile), m_downloadThreads(kDownloads)
{
    m_pool.setMaxThreadCount(1);
    m_pool.setExpiryTimeout(-1); // or it would come and go among the threads that are counted
    for (const HTransportProtocol protocol : {HTransportOrvo, HTransportZelk}) {
        DeviceConfig config = smallDevice(protocol, kChannels, kStreams);
        config.number = int(m_devices.size()) + 1;
        config.downloadSpeed = kDownloadSpeed;
        m_devices.push_back(simulateDevice(config));
    }
}

SoakHost::~SoakHost()
{
    for (Download &download : m_downloadThreads)
        download.thread.reset();
    m_pool.waitForDone();
}

bool SoakHost::begin()
{
    QStringList arguments;
    QVector<RtspCamera> cameras;
    for (int camera = 0; camera < kCameras; ++camera) {
        for (int stream = 0; stream < kStreams; ++stream)
            arguments << QStringLiteral("--camera")
                      << QStringLiteral("%1:h264:pcma:%2:%3:gop=10")
                             .arg(nameOf(camera, stream),
                                  QLatin1String(stream == 0 ? "320x180" : "192x108"),
                                  QString::number(fpsOf(stream)));
    }
    if (!m_cameras.start(arguments))
        return false;
    for (int camera = 0; camera < kCameras; ++camera)
        cameras << RtspCamera{m_cameras.url(nameOf(camera, 0)), m_cameras.url(nameOf(camera, 1))};
    m_cameraLink = QSharedPointer<HNetDevice>::create(std::make_unique<RtspCameraBackend>(cameras));

    for (const Simulation &device : m_devices) {
        if (!beginViews(device.device))
            return false;
    }
    keepUp();
    return beginViews(m_cameraLink) && int(m_views.size()) == kViews;
}

bool SoakHost::beginViews(const QSharedPointer<HNetDevice> &device)
{
    for (int channel = 0; channel < device->getChannelCount(); ++channel) {
        const int number = int(m_views.size());
        const int stream = streamOf(number);
        auto view = std::make_unique<SoakView>(device->getStreamProtocol(), fpsOf(stream));
        view->move(number % kColumns * kTile.width(), number / kColumns * kTile.height());
        if (!view->begin(device, channel, stream))
            return false;
        if (number % (kViews / kRecordings) == 0) {
            view->setSaveInterval(m_secondsPerFile);
            view->recordStart(m_folder + QStringLiteral("/recordings/%1").arg(number));
        }
        m_views.push_back(std::move(view));
    }
    return true;
}

bool SoakHost::allShow() const
{
    return std::all_of(m_views.begin(), m_views.end(),
                       [](const auto &view) { return view->paints() > 0; });
}

QVector<double> SoakHost::takeAges()
{
    QVector<double> ages;
    for (int number = 0; number < int(m_views.size()); ++number) {
        SoakView &view = *m_views[size_t(number)];
        const int camera = number - kChannels * int(m_devices.size());
        double age = view.takeAge();
        if (camera >= 0) {
            // Cameras do not stamp, and their clocks slip; but they tell which picture is the next.
            const int stream = streamOf(number);
            const qint64 next = m_cameras.stat(QStringLiteral("counter"), nameOf(camera, stream));
            age = double((next - 1 - view.counter()) & (kCounters - 1)) * 1000 / fpsOf(stream);
        }
        ages << age;
    }
    return ages;
}

void SoakHost::beginDownload(int number)
{
    Download &download = m_downloadThreads[size_t(number)];
    const QDateTime end = QDateTime::currentDateTime().addSecs(-600);
    download.thread = std::make_unique<OrvoVodDLThread>();
    OrvoVodDLThread &thread = *download.thread;
    thread.bindDevice(m_devices[size_t(number)].device, 0);
    thread.setDateTime(end.addSecs(-kDownloadSeconds), end);
    thread.setSavePath(m_folder + QStringLiteral("/downloads/%1").arg(m_downloadsBegun++));
    thread.setSaveAudio(true);
    thread.setReadTimeout(kTimeoutMs);
    download.ended = download.ok = false;
    QObject::connect(&thread, &AbstractVideoDLThread::sig_downloadFinsh, &thread,
                     [&download](bool ok) { download.ok = ok; });
    QObject::connect(&thread, &QThread::finished, &thread, [&download] { download.ended = true; });
    thread.startDL();
}

void SoakHost::keepUp()
{
    for (const Simulation &device : m_devices)
        device.control->calls().clear(); // it remembers for tests what it was asked
    for (int i = 0; i < kDownloads; ++i) {
        Download &download = m_downloadThreads[size_t(i)];
        if (!download.ended)
            continue;
        if (!download.ok) {
            const QMutexLocker lock(&m_mutex);
            m_faults += QStringLiteral("a download failed; ");
        }
        beginDownload(i);
    }
    {
        const QMutexLocker lock(&m_mutex);
        for (const QString &file : qAsConst(m_looked))
            m_seen.remove(file);
        m_looked.clear();
    }
    static const QRegularExpression finalName(
        QStringLiteral("/\\d{8}T\\d{6}_\\d{8}T\\d{6}_\\d+\\.mp4$"));
    for (const QString &file : filesBelow(m_folder)) {
        if (!finalName.match(file).hasMatch() || m_seen.contains(file))
            continue;
        m_seen.insert(file);
        m_pool.start([this, file] { look(file); });
    }
}

/// On the thread of the pool.
void SoakHost::look(const QString &file)
{
    const QString fault = containerFault(file) + complaintsAbout(file);
    if (fault.isEmpty()) {
        const bool isDownload = file.startsWith(m_folder + QStringLiteral("/downloads/"));
        ++(isDownload ? m_downloads : m_recordings);
        QFile::remove(file);
    }
    const QMutexLocker lock(&m_mutex);
    if (fault.isEmpty())
        m_looked << file;
    else
        m_faults += file + QStringLiteral(": ") + fault + QStringLiteral("; ");
}

void SoakHost::finish(const std::function<void()> &movesOn)
{
    for (const auto &view : m_views) {
        view->recordStop();
        view->finish();
    }
    for (Download &download : m_downloadThreads)
        download.thread.reset();
    Vantra::release(); // ends the recordings
    for (auto &download : m_downloadThreads)
        download = Download();
    int before = -1;
    while (!m_pool.waitForDone(kPatienceMs)) {
        const int looked = m_recordings + m_downloads;
        if (looked != before)
            movesOn();
        before = looked;
    }
}

QString SoakHost::faults() const
{
    const QMutexLocker lock(&m_mutex);
    return m_faults;
}

} // namespace vantratest
