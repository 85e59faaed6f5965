// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/ffmpegvideothread.h"
#include "core_videobase/standardvideowidget.h"
#include "support/counterblocks.h"

#include <QList>
#include <QPixmap>
#include <QThread>
#include <QVector>

#include <algorithm>
#include <utility>

namespace vantratest {

/// A widget that plays one address, as the widgets of hosts do, and notes what it shows: the
/// counter of each picture, read back from the widget's own pixels. It takes what the address and
/// the settings are at each start(). GUI thread only.
///
///     PlayView view(server.url("cam"));
///     view.show();
///     QVERIFY(view.start());
///     QVERIFY(waitFor([&] { return view.pictures() >= 3; }));
///
/// VideoMode_Painter, with time-outs of 3 s, is what it starts with. There the thread converts into
/// one buffer, so that of a burst of pictures (as at the start of a stream) the last is seen
/// several times: counters never go back within a stream, but they may repeat and skip.
class PlayView : public StandardVideoWidget
{
    Q_DISABLE_COPY(PlayView)

public:
    static constexpr qint64 kNoCounter = -1; ///< a picture whose counter could not be read

    explicit PlayView(const QString &url = QString(), const QString &transport = defaultTransport(),
                      QWidget *parent = nullptr)
        : StandardVideoWidget(parent), url(url), transport(transport)
    {
        WidgetPara look = getWidgetPara();
        look.videoMode = VideoMode_Painter;
        look.scaleMode = ScaleMode_Fill;
        look.borderWidth = 0;
        setWidgetPara(look);
        setTimeouts(3000, 3000);
        resize(640, 360);
    }
    /// Ends the play first, as a host does, unless setStopsAtEnd(false). The threads it has made
    /// are its children and end with it.
    ~PlayView() override
    {
        if (stopsAtEnd)
            stop();
    }

    static QString defaultTransport() { return QStringLiteral("tcp"); }

    void setUrl(const QString &address) { url = address; }
    /// "tcp" or "udp".
    void setTransport(const QString &name) { transport = name; }
    /// Milliseconds.
    void setTimeouts(int connectMs, int readMs)
    {
        VideoPara para = getVideoPara();
        para.connectTimeout = connectMs;
        para.readTimeout = readMs;
        setVideoPara(para);
    }
    /// Milliseconds between two attempts to open.
    void setOpenSleepTime(int milliseconds) { openSleepTime = milliseconds; }
    void setStopsAtEnd(bool stops) { stopsAtEnd = stops; }

    /// Pictures taken while shown and running, since construction or forget().
    int pictures() const { return m_counters.size(); }
    /// One per picture, in order; kNoCounter where none could be read.
    const QVector<qint64> &counters() const { return m_counters; }
    /// That of the last picture.
    qint64 counter() const { return m_counters.isEmpty() ? kNoCounter : m_counters.last(); }
    /// Size of the last picture as it came, in pixels.
    QSize pictureSize() const { return image.size(); }
    void forget() { m_counters.clear(); }

    /// Calls of started() and finished(), that is what the QThread has reported; of
    /// receivePlayStart() and receivePlayFinsh(), that is opened sources and ended plays.
    int startedCalls() const { return m_startedCalls; }
    int finishedCalls() const { return m_finishedCalls; }
    int playStarts() const { return m_playStarts; }
    int playEnds() const { return m_playEnds; }

    /// Whether no play is under way; a thread that was let go of may still run.
    bool isIdle() const { return !isStart && !videoThread; }
    /// The thread of the play under way; null while idle.
    FFmpegVideoThread *thread() const
    {
        return static_cast<FFmpegVideoThread *>(videoThread.data());
    }
    /// All it has made, the eldest first, ended ones included.
    QList<FFmpegVideoThread *> threads() const
    {
        return findChildren<FFmpegVideoThread *>(QString(), Qt::FindDirectChildrenOnly);
    }
    bool hasRunningThread() const
    {
        const auto all = threads();
        return std::any_of(all.begin(), all.end(),
                           [](const QThread *one) { return one->isRunning(); });
    }

protected:
    /// What the widget shows now; a surface of the video card is not seen by grab().
    virtual QImage shot() { return grab().toImage(); }

    bool createVideoThread() override
    {
        if (!videoThread)
            videoThread = new FFmpegVideoThread(this);
        videoThread->setVideoUrl(url);
        videoThread->setTransport(transport);
        videoThread->setVideoMode(widgetPara.videoMode);
        videoThread->setHardware(videoPara.hardware);
        videoThread->setReadTimeout(videoPara.readTimeout);
        videoThread->setConnectTimeout(videoPara.connectTimeout);
        videoThread->setOpenSleepTime(openSleepTime);
        return true;
    }

    void releaseVideoThread() override
    {
        if (!videoThread)
            return;
        if (videoThread->previewRef() > 0)
            --videoThread->previewRef();
        videoThread->stop();
        stoppedThreads.append(videoThread);
        videoThread = nullptr;
    }

    void started() override
    {
        ++m_startedCalls;
        StandardVideoWidget::started();
    }

    void finished() override
    {
        ++m_finishedCalls;
        StandardVideoWidget::finished();
    }

    void receivePlayStart(int time) override
    {
        ++m_playStarts;
        StandardVideoWidget::receivePlayStart(time);
    }

    void receivePlayFinsh(QObject *thread) override
    {
        ++m_playEnds;
        StandardVideoWidget::receivePlayFinsh(thread);
    }

    void receiveImage(const QImage &picture, int time) override
    {
        const bool counts =
            sender() == videoThread && isVisible() && !getIsMinimized() && isRunning;
        StandardVideoWidget::receiveImage(picture, time);
        if (counts)
            noteCounter();
    }

    /// Reads what is shown. Subclasses that show by other slots call it from these.
    void noteCounter()
    {
        const auto read = readCounter(shot(), targetRect);
        m_counters.append(read ? qint64(*read) : kNoCounter);
    }

    QString url;
    QString transport;
    int openSleepTime = 500; ///< milliseconds
    bool stopsAtEnd = true;

private:
    QVector<qint64> m_counters;
    int m_startedCalls = 0;
    int m_finishedCalls = 0;
    int m_playStarts = 0;
    int m_playEnds = 0;
};

} // namespace vantratest
