// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "audiocalls.h"
#include "core_audio/audioplayer.h"
#include "core_audio/audiothread.h"
#include "support/privatepulse.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include <QAudioInput>
#include <QAudioOutput>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QThread>

#include <atomic>
#include <functional>

namespace vantratest {

/// An AudioThread that notes what its overrides see, on the worker.
class Probe final : public AudioThread
{
public:
    ~Probe() override { stopThread(); }

    void receiveInputData(const QByteArray &data) override
    {
        if (auto *player = qobject_cast<AudioPlayer *>(sender())) {
            seenPlayer = player;
            playerThread = player->thread();
            input = player->getAudioInput();
            output = player->getAudioOutput();
        }
        inputThread = QThread::currentThread();
        inputBytes += data.size();
    }

    void startTalk() override
    {
        talkThread = QThread::currentThread();
        entered.release();
        if (onTalk)
            onTalk();
        left.release();
    }

    void stopTalk() override { stopTalkThread = QThread::currentThread(); }

    using AudioThread::codec;

    /// Opens the microphone and waits for a block, which shows the player.
    bool showPlayer()
    {
        const int before = inputBytes;
        return queueOpen(*this, "openAudioInput") && waitFor([&] { return inputBytes > before; });
    }

    /// Waits until everything queued so far has run.
    bool settle()
    {
        const int before = left.available();
        if (!queue(*this, "startTalk") || !waitFor([&] { return left.available() > before; }))
            return false;
        left.acquire(); // orders what onTalk() has noted, as a look at the count does not
        left.release();
        return true;
    }

    std::atomic<AudioPlayer *> seenPlayer{nullptr};
    std::atomic<QThread *> playerThread{nullptr};
    std::atomic<QAudioInput *> input{nullptr};
    std::atomic<QAudioOutput *> output{nullptr};
    std::atomic<QThread *> inputThread{nullptr};
    std::atomic<QThread *> talkThread{nullptr};
    std::atomic<QThread *> stopTalkThread{nullptr};
    std::atomic<int> inputBytes{0};
    QSemaphore entered;
    std::function<void()> onTalk;
    QSemaphore left;
};

/// Queues a sine in real time, as a stream thread does, until the recorder hears it.
inline bool playUntilHeard(AudioThread &audio, SinkRecorder &recorder, double hertz)
{
    QElapsedTimer clock;
    clock.start();
    qint64 frame = 0;
    return waitFor([&] {
        // A little ahead of the clock, so that the output does not run dry.
        const qint64 due = clock.elapsed() + 100;
        for (; frame * 1000 / kRate < due; frame += kBlockFrames)
            queue(audio, "play", sinePcm(hertz, kRate, kBlockFrames, 0.5, 1, frame));
        return hasTone(recorder.last(kHeardLately), kRecordedRate, hertz);
    });
}

} // namespace vantratest
