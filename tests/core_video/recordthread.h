// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/ffmpegvideothread.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QMutex>
#include <QMutexLocker>
#include <QStringList>

#include <atomic>
#include <functional>

namespace vantratest {

/// A stream thread that names its recordings "FOLDER/TYPE-NUMBER.mp4" and notes what becomes of
/// them.
class RecordThread final : public FFmpegVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(RecordThread)

public:
    explicit RecordThread(const QString &folder, const QString &url = QString()) : folder(folder)
    {
        setVideoUrl(url);
        setOpenSleepTime(100);
        setConnectTimeout(20000);
    }
    ~RecordThread() override { endRun(); }

    using FFmpegVideoThread::audioCodecId;
    using FFmpegVideoThread::audioIndex;
    using FFmpegVideoThread::closeMP4;
    using FFmpegVideoThread::curAudioPara;
    using FFmpegVideoThread::curVideoPara;
    using FFmpegVideoThread::frameRate;
    using FFmpegVideoThread::isFileExpired;
    using FFmpegVideoThread::isOk;
    using FFmpegVideoThread::recording;
    using FFmpegVideoThread::sampleRate;
    using FFmpegVideoThread::saver;
    using FFmpegVideoThread::saveTimer;
    using FFmpegVideoThread::videoCodecId;
    using FFmpegVideoThread::videoHeight;
    using FFmpegVideoThread::videoIndex;
    using FFmpegVideoThread::videoWidth;

    void saveMP4(AVPacket *packet, bool isKeyVideo) override
    {
        if (beforeSave)
            beforeSave(isKeyVideo);
        FFmpegVideoThread::saveMP4(packet, isKeyVideo);
        ++packets;
        keyPackets += isKeyVideo;
    }

    void setMP4FileName(RecordType type) override
    {
        note(QStringLiteral("name(%1)").arg(type));
        const QString name = QStringLiteral("%1/%2-%3.mp4").arg(folder).arg(type).arg(named[type]);
        ++named[type];
        if (atName)
            atName(type);
        setFileName(type, name);
    }

    void renameMP4File(RecordType type) override
    {
        const bool isOpen = saver.at(type)->isRunning(); // then it has no name to be given yet
        note(QStringLiteral("rename(%1)%2").arg(type).arg(isOpen ? " while open" : ""));
        ++closed[type];
    }

    /// What happened on the stream thread, in order.
    QStringList calls() const
    {
        QMutexLocker lock(&callMutex);
        return noted;
    }
    void note(const QString &call)
    {
        QMutexLocker lock(&callMutex);
        noted << call;
    }

    QString file(int type, int number) const
    {
        return QStringLiteral("%1/%2-%3.mp4").arg(folder).arg(type).arg(number);
    }

    /// What the device answers from now on; not 0: nothing.
    void setDeviceCodec(const HVideoEncPara &video, const HAudioEncPara &audio, int result = 0)
    {
        QMutexLocker lock(&callMutex);
        deviceVideo = video;
        deviceAudio = audio;
        deviceResult = result;
    }

    std::atomic<int> packets{0};
    std::atomic<int> keyPackets{0};
    std::atomic<int> named[RECORD_TYPE_MAX] = {};  ///< calls of setMP4FileName
    std::atomic<int> closed[RECORD_TYPE_MAX] = {}; ///< calls of renameMP4File

    // Set before the start; called on the stream thread.
    std::function<void(bool isKeyVideo)> beforeSave;
    std::function<void(RecordType type)> atName;

protected:
    int getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio) override
    {
        QMutexLocker lock(&callMutex);
        video = deviceVideo;
        audio = deviceAudio;
        return deviceResult;
    }

private:
    const QString folder;
    mutable QMutex callMutex;
    QStringList noted;
    HVideoEncPara deviceVideo;
    HAudioEncPara deviceAudio;
    int deviceResult = 0;
};

} // namespace vantratest
