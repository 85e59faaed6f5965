// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/pvprotovideothread.h"
#include "devicelink/devicerules.h"
#include "support/scriptedbackend.h"

#include <QMutex>
#include <QStringList>
#include <QWaitCondition>

#include <atomic>
#include <deque>
#include <functional>

namespace vantratest {

/// A stream thread that is fed by the test in place of a device, and notes what its loop calls.
///
/// Feed it, then wait for settled(): run() then stands in readFrame(), and its fields may be read.
class FedThread final : public PvProtoVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(FedThread)

public:
    explicit FedThread(QObject *parent = nullptr);
    ~FedThread() override { endRun(); }

    using PvProtoVideoThread::audioParam;
    using PvProtoVideoThread::channelCount;
    using PvProtoVideoThread::closeAllMP4;
    using PvProtoVideoThread::closeMP4;
    using PvProtoVideoThread::codec;
    using PvProtoVideoThread::curAudioPara;
    using PvProtoVideoThread::curVideoPara;
    using PvProtoVideoThread::decodeAudio;
    using PvProtoVideoThread::decodeVideo;
    using PvProtoVideoThread::isCodecChanged;
    using PvProtoVideoThread::isDateChanged;
    using PvProtoVideoThread::isOk;
    using PvProtoVideoThread::isPause;
    using PvProtoVideoThread::isSnap;
    using PvProtoVideoThread::keyFrameSeen;
    using PvProtoVideoThread::lastAudioHeader;
    using PvProtoVideoThread::lastVideoHeader;
    using PvProtoVideoThread::openFailCount;
    using PvProtoVideoThread::pcmOut;
    using PvProtoVideoThread::playedOnce;
    using PvProtoVideoThread::recordDate;
    using PvProtoVideoThread::renderStartPending;
    using PvProtoVideoThread::rgbOut;
    using PvProtoVideoThread::sampleRate;
    using PvProtoVideoThread::saver;
    using PvProtoVideoThread::saveTimer;
    using PvProtoVideoThread::setCurRecordCodec;
    using PvProtoVideoThread::stopped;
    using PvProtoVideoThread::timeoutCount;
    using PvProtoVideoThread::videoParam;
    using PvProtoVideoThread::yuvOut;

    /// One read each: a frame, or another result.
    void feed(const ScriptedFrame &frame);
    void feed(int result);
    void feed(const QVector<ScriptedFrame> &frames);
    /// Runs on the stream thread, in the place of a read.
    void feedWork(const std::function<void()> &work, int result);
    /// All that was fed has been dealt with, and the loop asks for more.
    bool settled() const;

    /// What the device tells of the stream from now on.
    void setDeviceCodec(const HVideoEncPara &video, const HAudioEncPara &audio = {},
                        int result = 0);

    /// Calls of the loop in order, with what tells them apart: "checkConnect", "readFrame:100",
    /// "beforeSaveMP4:4", "setMP4FileName:0" ...
    QStringList calls() const;
    int count(const QString &call) const { return calls().count(call); }
    void clearCalls();
    /// Adds a call of the test's own.
    void note(const QString &call);
    /// Files closed, in order, as they were named before the renaming.
    QStringList closedFiles() const;

    std::atomic<bool> connects{true};   ///< answer of checkConnect()
    std::atomic<bool> starts{true};     ///< answer of initInput()
    std::atomic<bool> tellsCodec{true}; ///< false: the base answers
    std::atomic<bool> frees{false};     ///< handlePreviewClose() lets go of the decoders
    QString folder;                     ///< of recordings

    // What the loop calls.
    bool openVideo() override;
    void closeVideo() override;
    void initOption() override;
    bool initInput() override;
    void initOther() override;
    bool checkConnect() override;
    int readFrame(HFrameHeader *frame, int timeoutMs) override;
    void handlePreviewClose() override;
    void decodeImage() override;
    void beforeSaveMP4(HFrameHeader *frame) override;
    int getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio) override;
    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;

private:
    struct Read
    {
        int result;
        ScriptedFrame frame;
        std::function<void()> work;
    };

    mutable QMutex m_mutex;
    QWaitCondition m_fed;
    std::deque<Read> m_reads;
    bool m_waiting = false;
    QStringList m_calls;
    QStringList m_closed;
    int m_files = 0;
    HVideoEncPara m_video;
    HAudioEncPara m_audio;
    int m_codecResult = 0;
};

} // namespace vantratest
