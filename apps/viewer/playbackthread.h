// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_vod/orvovodthread.h"

#include <atomic>

/// Plays a recording and tells of each picture when it was taken, and how reading went. The library
/// itself tells the time in steps of just over a second.
class PlaybackThread final : public OrvoVodThread
{
    Q_OBJECT
    Q_DISABLE_COPY(PlaybackThread)

public:
    explicit PlaybackThread(QObject *parent = nullptr);
    ~PlaybackThread() override;

    /// Whether a playback of that channel has not ended yet. A device plays one recording for each
    /// channel, and what ends late would end the next one too. GUI thread.
    static bool isPlaying(const QSharedPointer<HNetDevice> &device, int channel);
    /// Whether any runs still. GUI thread.
    static bool anyRuns();

    /// The device has been asked to go on from `time`, milliseconds of the recording: pictures from
    /// there on bear the number that this returns. GUI thread.
    int noteSeek(qint64 time);
    /// Whether play has come to the end of the recording.
    bool isAtEnd() const { return m_isAtEnd; }

signals:
    /// Comes right before receiveImage(): stamp of that picture, milliseconds of the recording, and
    /// the number of the seek that it belongs to, 0 before the first.
    void pictureTaken(qint64 time, int seek);

protected:
    int readFrame(HFrameHeader *frame, int timeoutMs) override;
    void decodeImage() override;

private:
    std::atomic<int> m_seeks{0};
    std::atomic<qint64> m_sought{0};
    std::atomic<bool> m_isAtEnd{false};
    int m_pictureSeek = 0; ///< of the newest picture; of this thread alone
};
