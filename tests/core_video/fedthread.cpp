// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "fedthread.h"

#include "core_codec/mediacodec.h"

#include <QFile>
#include <QMutexLocker>

#include <algorithm>
#include <cstring>

namespace vantratest {

namespace {
constexpr int kStopPollMs = 5; ///< how often a read that waits looks for a stop
}

FedThread::FedThread(QObject *parent) : PvProtoVideoThread(parent)
{
    setOpenSleepTime(100);
    setReadTimeout(500);
}

void FedThread::feed(const ScriptedFrame &frame)
{
    QMutexLocker lock(&m_mutex);
    m_reads.push_back({DeviceReadFrame, frame, {}});
    m_waiting = false;
    m_fed.wakeAll();
}

void FedThread::feed(int result)
{
    feedWork({}, result);
}

void FedThread::feed(const QVector<ScriptedFrame> &frames)
{
    for (const ScriptedFrame &frame : frames)
        feed(frame);
}

void FedThread::feedWork(const std::function<void()> &work, int result)
{
    QMutexLocker lock(&m_mutex);
    m_reads.push_back({result, {}, work});
    m_waiting = false;
    m_fed.wakeAll();
}

bool FedThread::settled() const
{
    QMutexLocker lock(&m_mutex);
    return m_waiting && m_reads.empty();
}

void FedThread::setDeviceCodec(const HVideoEncPara &video, const HAudioEncPara &audio, int result)
{
    QMutexLocker lock(&m_mutex);
    m_video = video;
    m_audio = audio;
    m_codecResult = result;
}

QStringList FedThread::calls() const
{
    QMutexLocker lock(&m_mutex);
    return m_calls;
}

void FedThread::clearCalls()
{
    QMutexLocker lock(&m_mutex);
    m_calls.clear();
}

QStringList FedThread::closedFiles() const
{
    QMutexLocker lock(&m_mutex);
    return m_closed;
}

void FedThread::note(const QString &call)
{
    QMutexLocker lock(&m_mutex);
    m_calls << call;
}

int FedThread::readFrame(HFrameHeader *frame, int timeoutMs)
{
    Read read{DeviceReadTimeout, {}, {}};
    {
        QMutexLocker lock(&m_mutex);
        m_calls << QStringLiteral("readFrame:%1").arg(timeoutMs);
        while (m_reads.empty() && !stopped) {
            m_waiting = true;
            m_fed.wait(&m_mutex, kStopPollMs);
        }
        m_waiting = false;
        if (!m_reads.empty()) {
            read = m_reads.front();
            m_reads.pop_front();
        }
    }
    if (read.work)
        read.work();
    if (read.result == DeviceReadFrame) {
        auto *bytes = reinterpret_cast<uchar *>(frame);
        memcpy(bytes, &read.frame.header, kHFramePayloadOffset);
        memcpy(bytes + kHFramePayloadOffset, read.frame.payload.constData(),
               std::min(size_t(read.frame.payload.size()), size_t(kHFrameMaxPayload)));
    }
    return read.result;
}

bool FedThread::openVideo()
{
    note(QStringLiteral("openVideo"));
    return PvProtoVideoThread::openVideo();
}

void FedThread::closeVideo()
{
    note(QStringLiteral("closeVideo"));
    PvProtoVideoThread::closeVideo();
}

void FedThread::initOption()
{
    note(QStringLiteral("initOption"));
    PvProtoVideoThread::initOption();
}

bool FedThread::initInput()
{
    note(QStringLiteral("initInput"));
    return PvProtoVideoThread::initInput() && starts;
}

void FedThread::initOther()
{
    note(QStringLiteral("initOther"));
    PvProtoVideoThread::initOther();
}

bool FedThread::checkConnect()
{
    note(QStringLiteral("checkConnect"));
    return PvProtoVideoThread::checkConnect() && connects;
}

void FedThread::handlePreviewClose()
{
    note(QStringLiteral("handlePreviewClose"));
    PvProtoVideoThread::handlePreviewClose();
    if (frees) {
        codec->destroyVideoDecoder();
        codec->destroyAudioDecoder();
    }
}

void FedThread::decodeImage()
{
    note(QStringLiteral("decodeImage"));
    PvProtoVideoThread::decodeImage();
}

void FedThread::beforeSaveMP4(HFrameHeader *frame)
{
    note(QStringLiteral("beforeSaveMP4:%1").arg(frame->frameType));
    PvProtoVideoThread::beforeSaveMP4(frame);
}

int FedThread::getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio)
{
    note(QStringLiteral("getLatestRecordCodec"));
    if (!tellsCodec)
        return PvProtoVideoThread::getLatestRecordCodec(video, audio);
    QMutexLocker lock(&m_mutex);
    video = m_video;
    audio = m_audio;
    return m_codecResult;
}

void FedThread::setMP4FileName(RecordType type)
{
    note(QStringLiteral("setMP4FileName:%1").arg(type));
    setFileName(type, QStringLiteral("%1/%2-%3.mp4").arg(folder).arg(type).arg(m_files++));
}

void FedThread::renameMP4File(RecordType type)
{
    note(QStringLiteral("renameMP4File:%1").arg(type));
    QMutexLocker lock(&m_mutex);
    m_closed << getFileName(type);
}

} // namespace vantratest
