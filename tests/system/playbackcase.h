// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_vod/orvovodthread.h"
#include "core_vod/orvovodwidget.h"
#include "devicelink/hnetdevice.h"
#include "recordercase.h"
#include "simulator/devicecontrol.h"
#include "support/counterblocks.h"
#include "support/loggedtest.h"
#include "support/privatepulse.h"
#include "support/waitfor.h"

#include <QtTest>

#include <algorithm>
#include <memory>

namespace vantratest {

/// A playback widget in VideoMode_Painter as a host has it, which notes what it shows, read back
/// from its own pixels. Play goes on only when it has shown the picture just sent, so that none is
/// overwritten unseen, however busy the machine is. GUI thread only.
class PlaybackView : public OrvoVodWidget
{
    Q_DISABLE_COPY(PlaybackView)

public:
    struct Picture
    {
        qint64 counter; ///< -1: none could be read
        SceneId source;
    };

    explicit PlaybackView(int timeoutMs = 20000)
    {
        WidgetPara look = getWidgetPara();
        look.videoMode = VideoMode_Painter;
        look.scaleMode = ScaleMode_Fill;
        look.muted = true;
        setWidgetPara(look);
        VideoPara para = getVideoPara();
        para.connectTimeout = timeoutMs;
        para.readTimeout = timeoutMs;
        setVideoPara(para);
        resize(320, 180);
        connect(this, &StandardVideoWidget::receivePosition, this,
                [this](qlonglong position) { m_positions << position; });
        connect(this, &AbstractVideoWidget::sig_connExceedMax, this, [this] { m_told << "max"; });
        connect(this, &AbstractVideoWidget::sig_otherError, this, [this] { m_told << "other"; });
        connect(this, &AbstractVideoWidget::sig_receivePlayStart, this,
                [this] { m_told << "start"; });
        connect(this, &AbstractVideoWidget::sig_receivePlayFinsh, this,
                [this] { m_told << "finsh"; });
    }

    /// Plays a span, from `from` on if that is given.
    bool begin(const QSharedPointer<HNetDevice> &device, int channel, const QDateTime &first,
               const QDateTime &end, const QDateTime &from = QDateTime())
    {
        show();
        setVodStartPara({first, end, from});
        return init(device, channel) && start();
    }

    const QVector<Picture> &pictures() const { return m_pictures; }
    int count() const { return m_pictures.size(); }
    QVector<qint64> counters() const
    {
        QVector<qint64> counters;
        for (const Picture &picture : m_pictures)
            counters << picture.counter;
        return counters;
    }
    qint64 counter() const { return m_pictures.isEmpty() ? -1 : m_pictures.last().counter; }
    void forget() { m_pictures.clear(); }
    /// Off: pictures are counted only.
    void setReads(bool on) { m_reads = on; }
    bool showsNothing() const { return image.isNull(); }
    QSize pictureSize() const { return image.size(); }
    bool isAllOf(const SceneId &source) const
    {
        return std::all_of(m_pictures.begin(), m_pictures.end(),
                           [&](const Picture &picture) { return picture.source == source; });
    }

    /// Waits until that many more pictures have been shown.
    bool showsMore(int pictures = 5)
    {
        const int until = count() + pictures;
        return waitFor([&] { return count() >= until; }, kLongMs);
    }
    /// Waits until play has ended, by itself or not, and its thread too.
    bool waitForEnd()
    {
        return waitFor([&] { return hasEnded(); }, kLongMs);
    }
    bool hasEnded() const { return !isStart && !videoThread && !getIsRunning() && running() == 0; }
    bool isReady() const { return !isStart && !videoThread; }

    const QVector<qint64> &positions() const { return m_positions; }
    /// Names of the reports to the host, in order.
    const QStringList &told() const { return m_told; }

    OrvoVodThread *thread() const { return static_cast<OrvoVodThread *>(videoThread.data()); }
    QList<OrvoVodThread *> threads() const
    {
        return findChildren<OrvoVodThread *>(QString(), Qt::FindDirectChildrenOnly);
    }
    int running() const
    {
        const auto all = threads();
        return int(std::count_if(all.begin(), all.end(),
                                 [](const auto *thread) { return thread->isRunning(); }));
    }

    static constexpr int kLongMs = 120000; ///< safeguard

protected:
    void receivePlayStart(int time) override
    {
        OrvoVodWidget::receivePlayStart(time);
        // The thread stands waiting now. Handled behind each picture, by this thread.
        if (videoThread)
            connect(
                videoThread.data(), &AbstractVideoThread::receiveImage, this, [] {},
                Qt::BlockingQueuedConnection);
    }
    void receiveImage(const QImage &picture, int time) override
    {
        const bool counts = sender() == videoThread && isVisible() && getIsRunning();
        OrvoVodWidget::receiveImage(picture, time);
        if (counts)
            m_pictures.append(m_reads ? shot() : Picture{-1, {}});
    }

private:
    Picture shot()
    {
        const QImage now = grab().toImage();
        const auto counter = readCounter(now, targetRect);
        const auto source = readSceneId(now, targetRect);
        return {counter ? qint64(*counter) : -1, source ? *source : SceneId()};
    }

    QVector<Picture> m_pictures;
    bool m_reads = true;
    QVector<qint64> m_positions;
    QStringList m_told;
};

/// A device with so many channels, all of which have recorded all of the past.
inline vantrasim::DeviceConfig recorder(int channels = 1, qint32 codec = HCodecH264,
                                        qint32 audio = 0)
{
    vantrasim::DeviceConfig config = vantrasim::DeviceConfig::simple(channels, 1);
    for (vantrasim::ChannelConfig &channel : config.channels)
        channel.streams[0] = form(codec, audio);
    return config;
}

} // namespace vantratest
