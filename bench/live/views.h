// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_live/livevideowidget.h"
#include "core_live/orvolivethread.h"

#include <chrono>
#include <deque>
#include <mutex>
#include <vector>

using BenchClock = std::chrono::steady_clock;

/// Notes for each picture it hands out when its frame had been read.
class TimedThread : public OrvoLiveThread
{
public:
    TimedThread();
    ~TimedThread() override { endRun(); }

    /// That of the picture which a receiver gets now; pictures are taken in order.
    bool take(BenchClock::time_point *read);

protected:
    int readFrame(HFrameHeader *frame, int timeoutMs) override;

private:
    BenchClock::time_point m_read; // of the last frame of video; the loop's alone
    std::mutex m_mutex;            // guards what follows
    std::deque<BenchClock::time_point> m_handedOut;
};

/// A live view that measures how old a picture is when it has been painted.
class TimedView : public LiveVideoWidget
{
public:
    TimedView();

    void forget();
    long paints() const { return m_paints; }
    long pictures() const { return m_pictures; }
    /// Milliseconds from the end of the read to the end of the paint, one per picture painted.
    const std::vector<double> &ages() const { return m_ages; }

    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    void receiveImage(const QImage &image, int time) override;

private:
    bool m_fresh = false;
    BenchClock::time_point m_read;
    long m_paints = 0;
    long m_pictures = 0;
    std::vector<double> m_ages;
};
