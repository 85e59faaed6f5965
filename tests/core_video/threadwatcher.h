// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/ffmpegvideothread.h"
#include "support/clipmaker.h"

#include <QMutex>
#include <QMutexLocker>
#include <QObject>
#include <QStringList>
#include <QVector>

#include <atomic>
#include <functional>

namespace vantratest {

/// A stream thread whose inside a test may read, and whose device a test plays. Read the fields
/// only while run() stands still or has ended.
class TestThread final : public FFmpegVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(TestThread)

public:
    explicit TestThread(const QString &url = QString(), QObject *parent = nullptr)
        : FFmpegVideoThread(parent)
    {
        setVideoUrl(url);
        setOpenSleepTime(100);
        setConnectTimeout(20000);
    }
    ~TestThread() override { endRun(); }

    using FFmpegVideoThread::audioCodecId;
    using FFmpegVideoThread::audioIndex;
    using FFmpegVideoThread::channelCount;
    using FFmpegVideoThread::closeVideo;
    using FFmpegVideoThread::curAudioPara;
    using FFmpegVideoThread::curVideoPara;
    using FFmpegVideoThread::errorCount;
    using FFmpegVideoThread::isOk;
    using FFmpegVideoThread::lastTime;
    using FFmpegVideoThread::profile;
    using FFmpegVideoThread::readTimedOut;
    using FFmpegVideoThread::sampleRate;
    using FFmpegVideoThread::stopped;
    using FFmpegVideoThread::videoCodecId;
    using FFmpegVideoThread::videoIndex;

    // Looks from outside, while run() goes on, at what is the stream thread's alone.
    bool peekOpening() const { return isOpening; }
    bool peekCodec(const HVideoEncPara &para) const { return curVideoPara == para; }

    /// What the device answers from now on.
    void setDeviceCodec(const HVideoEncPara &video, const HAudioEncPara &audio, int result = 0)
    {
        QMutexLocker lock(&deviceMutex);
        deviceVideo = video;
        deviceAudio = audio;
        deviceResult = result;
    }

    void snapFinsh() override
    {
        if (finishesSnaps)
            FFmpegVideoThread::snapFinsh();
    }

    std::atomic<int> packets{0}; ///< handed to saveMP4
    std::atomic<int> keyPackets{0};
    std::atomic<int> opens{0}; ///< calls of parseVideoUrl
    std::atomic<bool> urlFound{true};
    bool finishesSnaps = true; ///< false: as if the GUI thread had no time for it yet
    std::function<void(TestThread *)> atParse;    ///< on the stream thread
    std::function<void(TestThread *)> atCodecAsk; ///< on the stream thread, after each read too

protected:
    bool parseVideoUrl() override
    {
        ++opens;
        if (atParse)
            atParse(this);
        return urlFound;
    }

    int getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio) override
    {
        if (atCodecAsk)
            atCodecAsk(this);
        QMutexLocker lock(&deviceMutex);
        video = deviceVideo;
        audio = deviceAudio;
        return deviceResult;
    }

    void saveMP4(AVPacket *packet, bool isKeyVideo) override
    {
        FFmpegVideoThread::saveMP4(packet, isKeyVideo);
        ++packets;
        keyPackets += isKeyVideo;
    }

private:
    QMutex deviceMutex;
    HVideoEncPara deviceVideo;
    HAudioEncPara deviceAudio;
    int deviceResult = 0;
};

/// Stands in for a widget: connects to everything in the way a widget does, and notes what comes,
/// in order, on the thread that it lives on.
class ThreadWatcher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ThreadWatcher)

public:
    struct Picture
    {
        int width = 0;
        int height = 0;
        int number = -1;     ///< from the blocks of a made clip
        qint64 counter = -1; ///< from those of a test camera
    };

    explicit ThreadWatcher(AbstractVideoThread *thread = nullptr)
    {
        if (thread)
            watch(thread);
    }

    void watch(AbstractVideoThread *thread);

    int count(const QString &event) const { return events.count(event); }
    /// The first n events, joined by blanks.
    QString first(int n) const { return events.mid(0, n).join(QLatin1Char(' ')); }

    QStringList events;        ///< without pictures and sound after their first
    QVector<Picture> pictures; ///< of the three-plane form
    int twoPlanes = 0;
    int surfaces = 0;
    int textures = 0;
    QVector<QImage> images;
    QVector<QImage> snaps;
    QByteArray sound;
    bool wrongThread = false;      ///< a slot ran anywhere but on the watcher's thread
    bool ranAhead = false;         ///< run() emitted again before a blocking slot had returned
    std::atomic<int> emitted{0};   ///< blocking signals, counted where they are emitted
    int received = 0;              ///< and where they arrive
    std::function<void()> atFrame; ///< called in the slot of each picture
    std::function<void(const QString &)> atEvent; ///< called in the slots of the other signals

private:
    void note(const QString &event, bool blocking);
};

/// Holds a thread just before the read error that ends its loop, so that the test can leave the
/// event loop before anything is queued there.
struct ReadErrorGate
{
    std::atomic<bool> reached{false};
    std::atomic<bool> open{false};

    void holdBeforeLastError(TestThread *thread)
    {
        thread->atCodecAsk = [this](TestThread *self) {
            if (self->errorCount != 2)
                return;
            reached = true;
            while (!open && !self->stopped)
                QThread::msleep(1);
        };
    }
};

} // namespace vantratest
