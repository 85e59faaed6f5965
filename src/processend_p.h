// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <functional>

/// What becomes of the library's threads when a host calls exit() in the midst of their work: they
/// end first, before what they use is destroyed. Nothing of a host is called any more meanwhile; a
/// thread that stands in a blocking signal to a widget is let go of by throwing the call away.
namespace processend {

/// Stands for one loop for as long as that runs, on its thread.
class Worker
{
    Q_DISABLE_COPY(Worker)

public:
    /// `tellToEnd` is called on the thread that ends the process, any number of times, under a
    /// lock: it may set flags, but not wait.
    explicit Worker(std::function<void()> tellToEnd);
    ~Worker();

    /// It ends by itself: tellToEnd is not called any more.
    void isEnding();

private:
    friend bool endWorkers();
    std::function<void()> m_tellToEnd;
    const void *const m_thread; ///< to be compared only
};

/// Has the workers ended, when the process ends, before anything is destroyed that exists by now.
/// The first worker does that; more calls are for what libraries make later and destroy then.
void precedeWhatExists();

/// Ends all workers but that of the calling thread and waits for them, for some seconds at most.
/// False: one has not ended, so that what belongs to it must not be destroyed. For the end of the
/// process only.
bool endWorkers();

/// Whether the process has begun to end by exit() or by the return of main().
bool hasBegun();

/// A call of a widget's slot that a thread may stand waiting for, while it lives; it does not
/// return if the process ends in it. GUI thread only.
class Report
{
    Q_DISABLE_COPY(Report)

public:
    Report() { ++s_underWay; }
    ~Report() { --s_underWay; }
    static int underWay() { return s_underWay; }

private:
    static int s_underWay;
};

} // namespace processend
