// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "filesize.h"

#include <QFileInfo>
#include <QMutex>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <queue>
#include <thread>
#include <utility>

struct FileSize::Look
{
    QMutex mutex; ///< for all below
    QString file;
    qint64 size = -1;
    bool isUnderWay = false;
    int forgotten = 0; ///< so many times
};

namespace {

/// One thread for all: their files lie on one disk, as a rule, which either answers or does not.
/// Its looks are never waited for, also not by the end of the process.
class Looker
{
public:
    static void post(std::function<void()> work)
    {
        static Looker *const looker = new Looker;
        {
            const std::lock_guard<std::mutex> lock(looker->m_mutex);
            looker->m_works.push(std::move(work));
        }
        looker->m_changed.notify_one();
    }

private:
    Looker() { std::thread(&Looker::run, this).detach(); }

    [[noreturn]] void run()
    {
        for (;;) {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [this] { return !m_works.empty(); });
            const std::function<void()> work = std::move(m_works.front());
            m_works.pop();
            lock.unlock();
            work();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::queue<std::function<void()>> m_works;
};

qint64 sizeNow(const QString &file)
{
    const QFileInfo info(file);
    return info.exists() ? info.size() : -1;
}

} // namespace

FileSize::FileSize() : m_look(std::make_shared<Look>()) {}

FileSize::~FileSize() = default;

qint64 FileSize::look(const QString &file)
{
    const QMutexLocker lock(&m_look->mutex);
    if (m_look->file != file) {
        m_look->file = file;
        m_look->size = -1;
    }
    if (file.isEmpty() || m_look->isUnderWay)
        return m_look->size;
    m_look->isUnderWay = true;
    Looker::post([look = m_look, file, forgotten = m_look->forgotten] {
        const qint64 size = sizeNow(file);
        const QMutexLocker ended(&look->mutex);
        look->isUnderWay = false;
        if (look->file == file && look->forgotten == forgotten)
            look->size = size;
    });
    return m_look->size;
}

void FileSize::forget()
{
    const QMutexLocker lock(&m_look->mutex);
    m_look->size = -1;
    ++m_look->forgotten;
}
