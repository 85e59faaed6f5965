// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "filesize.h"

#include <QFileInfo>
#include <QMutex>
#include <QRunnable>
#include <QThreadPool>

#include <functional>
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
QThreadPool *lookingThread()
{
    static QThreadPool *const pool = [] {
        auto made = new QThreadPool;
        made->setMaxThreadCount(1);
        return made;
    }();
    return pool;
}

qint64 sizeNow(const QString &file)
{
    const QFileInfo info(file);
    return info.exists() ? info.size() : -1;
}

class Work : public QRunnable
{
public:
    explicit Work(std::function<void()> work) : m_work(std::move(work)) {}
    void run() override { m_work(); }

private:
    const std::function<void()> m_work;
};

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
    lookingThread()->start(new Work([look = m_look, file, forgotten = m_look->forgotten] {
        const qint64 size = sizeNow(file);
        const QMutexLocker ended(&look->mutex);
        look->isUnderWay = false;
        if (look->file == file && look->forgotten == forgotten)
            look->size = size;
    }));
    return m_look->size;
}

void FileSize::forget()
{
    const QMutexLocker lock(&m_look->mutex);
    m_look->size = -1;
    ++m_look->forgotten;
}
