// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "processend_p.h"

#include "systemcompat_p.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

namespace {

constexpr std::chrono::milliseconds kTellEvery(10);
constexpr qint64 kLimitMs = 5000; ///< a device or a sound server may never answer
/// For the others, where one stands in a report that does not return.
constexpr qint64 kLimitInReportMs = 500;

struct Workers
{
    std::mutex mutex;
    std::condition_variable gone;
    std::vector<processend::Worker *> all;
    std::atomic<bool> hasBegun{false};
};

/// Never destroyed: workers may outlive everything.
Workers &workers()
{
    static Workers *const instance = new Workers;
    return *instance;
}

bool isGuiThread()
{
    const QCoreApplication *application = QCoreApplication::instance();
    return !application || application->thread() == QThread::currentThread();
}

void endWithProcess()
{
    processend::endWorkers();
}

} // namespace

namespace processend {

int Report::s_underWay = 0;

Worker::Worker(std::function<void()> tellToEnd)
    : m_tellToEnd(std::move(tellToEnd)), m_thread(QThread::currentThreadId())
{
    static const bool isFirst = (precedeWhatExists(), true);
    Q_UNUSED(isFirst)
    Workers &now = workers();
    const std::lock_guard<std::mutex> lock(now.mutex);
    now.all.push_back(this);
}

Worker::~Worker()
{
    Workers &now = workers();
    const std::lock_guard<std::mutex> lock(now.mutex);
    now.all.erase(std::find(now.all.begin(), now.all.end(), this));
    now.gone.notify_all();
}

void Worker::isEnding()
{
    const std::lock_guard<std::mutex> lock(workers().mutex);
    m_tellToEnd = nullptr;
}

void precedeWhatExists()
{
    std::atexit(&endWithProcess);
}

bool hasBegun()
{
    return workers().hasBegun;
}

bool endWorkers()
{
    Workers &now = workers();
    now.hasBegun = true;
    if (!kThreadsOutliveExit)
        return true;
    const bool isGui = isGuiThread();
    const void *const self = QThread::currentThreadId();
    QElapsedTimer waited;
    waited.start();
    std::unique_lock<std::mutex> lock(now.mutex);
    for (;;) {
        int left = 0;
        for (Worker *worker : now.all) {
            if (worker->m_thread == self)
                continue;
            ++left;
            if (worker->m_tellToEnd)
                worker->m_tellToEnd();
        }
        if (left == 0)
            return true;
        const bool onlyReports = isGui && left <= Report::underWay();
        if (waited.elapsed() > (onlyReports ? kLimitInReportMs : kLimitMs))
            return false;
        if (isGui) {
            lock.unlock();
            QCoreApplication::removePostedEvents(nullptr, QEvent::MetaCall);
            lock.lock();
        }
        now.gone.wait_for(lock, kTellEvery);
    }
}

} // namespace processend
