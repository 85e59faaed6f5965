// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "../core_videosave/recordedfile.h"
#include "core_live/livevideowidget.h"
#include "core_live/videothrmux/devlivethrset.h"
#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_videobase/abstractvideothread.h"
#include "simulator/devicecontrol.h"
#include "support/counterblocks.h"
#include "support/heartbeat.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"
#include "vantra.h"

#include <QDirIterator>
#include <QtTest>

#include <algorithm>
#include <memory>

namespace vantratest {

/// A simulated device whose streams are small and cheap: main 320x180 at 25 pictures per second,
/// sub 192x108 at 12, each tenth a key frame, everything in `codec`. A late reader gets all that it
/// has missed.
inline vantrasim::DeviceConfig smallDevice(HTransportProtocol protocol, int channels = 1,
                                           int streams = 2, qint32 codec = HCodecH264)
{
    vantrasim::DeviceConfig config = vantrasim::DeviceConfig::simple(channels, streams, protocol);
    for (vantrasim::ChannelConfig &channel : config.channels) {
        for (int stream = 0; stream < streams; ++stream) {
            vantrasim::VideoFormat &video = channel.streams[stream].video;
            video.codec = codec;
            video.width = stream == 0 ? 320 : 192;
            video.height = stream == 0 ? 180 : 108;
            video.gop = 10;
        }
    }
    config.queueMs = 60000;
    return config;
}

/// A live widget in VideoMode_Painter as a host has it, which notes what it shows, read back from
/// its own pixels. The streams that it shows go on only when it has shown the picture just sent, so
/// that none is overwritten unseen, however busy the machine is. GUI thread only.
class LiveView : public LiveVideoWidget
{
    Q_DISABLE_COPY(LiveView)

public:
    static constexpr int kAll = -1; ///< mask

    struct Picture
    {
        qint64 counter; ///< -1: none could be read
        SceneId source;
    };

    explicit LiveView(HTransportProtocol protocol = HTransportOrvo, int timeoutMs = 20000)
        : LiveVideoWidget(protocol)
    {
        WidgetPara look = getWidgetPara();
        look.videoMode = VideoMode_Painter;
        look.scaleMode = ScaleMode_Fill;
        look.muted = true;
        setWidgetPara(look);
        setTimeouts(timeoutMs, timeoutMs);
        resize(320, 180);
    }
    /// As a host ends it.
    ~LiveView() override { finish(); }

    void setTimeouts(int connectMs, int readMs)
    {
        VideoPara para = getVideoPara();
        para.connectTimeout = connectMs;
        para.readTimeout = readMs;
        setVideoPara(para);
    }
    /// Joins the device and shows a stream of it.
    bool begin(const QSharedPointer<HNetDevice> &device, int channel, int stream, int mask = kAll)
    {
        show();
        if (!init(device, channel, mask) || !start())
            return false;
        look(stream);
        return true;
    }
    /// Shows a stream from now on.
    void look(int stream)
    {
        replay(stream);
        hold();
    }
    void finish()
    {
        playStop(true);
        stop(false);
    }

    /// Off: pictures are counted only; their counters tell nothing.
    void setReads(bool on) { m_reads = on; }
    const QVector<Picture> &pictures() const { return m_pictures; }
    int count() const { return m_pictures.size(); }
    void forget() { m_pictures.clear(); }
    /// What is on the screen at this moment.
    Picture shot()
    {
        const QImage now = grab().toImage();
        const auto counter = readCounter(now, targetRect);
        const auto source = readSceneId(now, targetRect);
        return {counter ? qint64(*counter) : -1, source ? *source : SceneId()};
    }
    bool showsNothing() const { return image.isNull(); }
    QSize pictureSize() const { return image.size(); }

    /// Waits until that many more pictures have been shown.
    bool showsMore(int pictures = 5, int milliseconds = 20000)
    {
        const int until = count() + pictures;
        return waitFor([&] { return count() >= until; }, milliseconds);
    }
    /// What is wrong with the pictures: others than of this source, or not one after the other;
    /// empty if nothing.
    QString faults(const SceneId &source) const
    {
        QString text;
        for (int i = 0; i < m_pictures.size() && text.size() < 400; ++i) {
            const Picture &picture = m_pictures.at(i);
            if (picture.counter < 0 || !(picture.source == source))
                text += QStringLiteral(" %1: %2 of %3:%4:%5")
                            .arg(i)
                            .arg(picture.counter)
                            .arg(picture.source.device)
                            .arg(picture.source.channel)
                            .arg(picture.source.stream);
            else if (i > 0 && picture.counter != m_pictures.at(i - 1).counter + 1)
                text += QStringLiteral(" %1: %2 after %3")
                            .arg(i)
                            .arg(picture.counter)
                            .arg(m_pictures.at(i - 1).counter);
        }
        return m_pictures.isEmpty() ? QStringLiteral("no pictures") : text;
    }

    AbstractVideoThread *shown() const { return videoThread; }
    AbstractVideoThread *recorded() const { return recordThread; }
    int plays() const { return m_plays; }
    int ends() const { return m_ends; }

protected:
    void receiveImage(const QImage &picture, int time) override
    {
        const bool counts = sender() == videoThread && isVisible() && isRunning;
        LiveVideoWidget::receiveImage(picture, time);
        if (counts)
            m_pictures.append(m_reads ? shot() : Picture{-1, {}});
    }
    void receivePlayStart(int time) override
    {
        ++m_plays;
        LiveVideoWidget::receivePlayStart(time);
    }
    void receivePlayFinsh(QObject *thread) override
    {
        ++m_ends;
        LiveVideoWidget::receivePlayFinsh(thread);
    }

private:
    /// Handled behind the picture itself, by the same thread.
    void hold()
    {
        disconnect(m_hold);
        if (videoThread)
            m_hold = connect(
                videoThread.data(), &AbstractVideoThread::receiveImage, this, [] {},
                Qt::BlockingQueuedConnection);
    }

    QMetaObject::Connection m_hold;
    QVector<Picture> m_pictures;
    bool m_reads = true;
    int m_plays = 0;
    int m_ends = 0;
};

inline PtrDevLiveThrSet setOf(const QSharedPointer<HNetDevice> &device)
{
    return DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
}

/// The stream thread of a device that is in use; null if there is none.
inline AbstractVideoThread *threadOf(const QSharedPointer<HNetDevice> &device, int index)
{
    const PtrDevLiveThrSet set = setOf(device);
    return set ? set->getChannelThreads().value(index).data() : nullptr;
}

/// Files that lie below a folder, by name.
inline QStringList filesBelow(const QString &folder)
{
    QStringList found;
    for (QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories); it.hasNext();)
        found << it.next();
    found.sort();
    return found;
}

/// Reads a recording. What is wrong with it comes back, empty if nothing: it must play, begin with
/// a key picture and have every picture after the first.
inline QString faultOfRecording(const QString &path, RecordedFile *file)
{
    *file = readRecording(path);
    QString fault = file->error + complaintsAbout(path);
    if (!file->keys.value(0))
        fault += QStringLiteral(" no key picture at the beginning");
    for (int i = 0; i < file->counters.size(); ++i) {
        if (file->counters.at(i) < 0 ||
            (i > 0 && file->counters.at(i) != file->counters.at(i - 1) + 1))
            fault += QStringLiteral(" %1: %2").arg(i).arg(file->counters.at(i));
    }
    if (file->counters.isEmpty())
        fault += QStringLiteral(" no pictures");
    return fault.isEmpty() ? fault : path + QLatin1String(": ") + fault;
}

/// Announces what the stop of an RTSP stream makes of the call that it cuts short.
inline void announceRtspStop(LogCapture *log)
{
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
    log->expectMatching(Logger::Error,
                        QRegularExpression(QStringLiteral(
                            "^\\(ffvdthr\\)(read frame err\\(\\d|open input err\\(.*|find stream "
                            "err\\(.*):Immediate exit requested\\)$")));
}

} // namespace vantratest
