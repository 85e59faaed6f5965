// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playbackthread.h"

#include "devicelink/devicerules.h"

#include <QList>

#include <algorithm>

namespace {

/// All there are, on the GUI thread.
QList<PlaybackThread *> &all()
{
    static QList<PlaybackThread *> threads;
    return threads;
}

} // namespace

PlaybackThread::PlaybackThread(QObject *parent) : OrvoVodThread(parent)
{
    all().append(this);
}

PlaybackThread::~PlaybackThread()
{
    endRun();
    all().removeOne(this);
}

bool PlaybackThread::isPlaying(const QSharedPointer<HNetDevice> &device, int channel)
{
    return std::any_of(all().begin(), all().end(), [&](const PlaybackThread *thread) {
        return thread->isRunning() && thread->boundDevice() == device && thread->channel == channel;
    });
}

bool PlaybackThread::anyRuns()
{
    return std::any_of(all().begin(), all().end(),
                       [](const PlaybackThread *thread) { return thread->isRunning(); });
}

int PlaybackThread::noteSeek(qint64 time)
{
    m_sought = time;
    return ++m_seeks;
}

int PlaybackThread::readFrame(HFrameHeader *frame, int timeoutMs)
{
    const int seeksBefore = m_seeks;
    const int result = OrvoVodThread::readFrame(frame, timeoutMs);
    m_isAtEnd = result == DeviceReadEnd;
    if (result == DeviceReadFrame && frame->isVideo()) {
        // A read that a seek has met may have brought a frame of before, or the first of then.
        const int seeks = m_seeks;
        const bool isOfSeek =
            seeks == seeksBefore || (frame->isKeyFrame() && frame->pts >= m_sought);
        m_pictureSeek = isOfSeek ? seeks : seeksBefore;
    }
    return result;
}

void PlaybackThread::decodeImage()
{
    emit pictureTaken(lastPts, m_pictureSeek);
    OrvoVodThread::decodeImage();
}
