// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/rtsp/source.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace vantrasim {

/// What a mount has sent, over all its media. Shared between threads.
struct FeedCount
{
    std::atomic<std::uint64_t> pictures{0};
    std::atomic<std::uint64_t> sounds{0};
};

/// Plays one Source into the appsrc elements "vsrc" and "asrc" of one media, in real time, on a
/// thread of its own. The first unit of each kind goes in at once, because a media is described to
/// its client by them; the rest follows from the moment the client has asked to play.
class Feeder
{
public:
    /// Takes no reference of `media`: it finds the two elements and keeps those.
    Feeder(GstElement *media, std::unique_ptr<Source> source, bool audio,
           std::shared_ptr<FeedCount> count);
    /// Is told the number of each picture, from 0, right before it goes in; on the feeder's thread.
    /// Before start().
    void setPictureObserver(std::function<void(std::uint64_t number)> observer);
    ~Feeder();
    Feeder(const Feeder &) = delete;
    Feeder &operator=(const Feeder &) = delete;

    void start();
    void setPlaying(bool playing);
    /// Nothing is taken from the source while stalled; its clock stands still.
    void setStalled(bool stalled);
    /// Ends the streams, which tells the clients.
    void finish();
    /// Asks the thread to go. May be called from any thread and more than once.
    void stop();

private:
    using Clock = std::chrono::steady_clock;

    void run();
    bool push(Unit unit);
    bool waitUntilDue(GstClockTime due);

    GstElement *m_videoSource = nullptr;
    GstElement *m_audioSource = nullptr;
    std::unique_ptr<Source> m_source;
    std::shared_ptr<FeedCount> m_count;
    std::function<void(std::uint64_t)> m_pictureObserver; // may be empty
    std::uint64_t m_pictures = 0;                         // of the thread alone
    std::thread m_thread;

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    bool m_playing = false;
    bool m_stalled = false;
    bool m_finish = false;
    bool m_stop = false;

    // Of the thread alone: wall clock of the source's time 0, and how far the stream's time stamps
    // run behind the source's, because of pauses.
    bool m_anchored = false;
    Clock::time_point m_anchor;
    GstClockTime m_shift = 0;
};

} // namespace vantrasim
