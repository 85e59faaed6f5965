// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_audio/audiothread.h"
#include "support/privatepulse.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include <QMetaObject>

#include <atomic>

/// What the tests of sound play, and how they reach a worker as hosts do: by name, queued.
namespace vantratest {

constexpr int kRate = 8000; ///< Hz, mono, 16 bits: the form of a camera
constexpr int kBlockFrames = 160;
constexpr int kRecordedRate = SinkRecorder::kSampleRate;
constexpr int kHeardLately = 200; ///< milliseconds

inline bool queue(AudioThread &audio, const char *slot)
{
    return QMetaObject::invokeMethod(&audio, slot, Qt::QueuedConnection);
}

template<typename T>
bool queue(AudioThread &audio, const char *slot, T argument)
{
    return QMetaObject::invokeMethod(&audio, slot, Qt::QueuedConnection,
                                     QArgument<T>(QMetaType::fromType<T>().name(), argument));
}

/// Of a side that has a format: "openAudioOutput" or "openAudioInput".
inline bool queueOpen(AudioThread &audio, const char *slot)
{
    return QMetaObject::invokeMethod(&audio, slot, Qt::QueuedConnection, Q_ARG(int, kRate),
                                     Q_ARG(int, 1), Q_ARG(int, 16));
}

/// Tells when everything queued so far has run.
class CountingThread final : public AudioThread
{
public:
    ~CountingThread() override { stopThread(); }
    void stopTalk() override { ++settled; }

    bool settle()
    {
        const int before = settled;
        return QMetaObject::invokeMethod(this, "stopTalk", Qt::QueuedConnection) &&
               waitFor([&] { return settled > before; });
    }

private:
    std::atomic<int> settled{0};
};

} // namespace vantratest
