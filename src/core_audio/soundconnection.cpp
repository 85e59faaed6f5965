// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/soundconnection_p.h"

#include "processend_p.h"

#include <QAbstractEventDispatcher>
#include <QAudioDeviceInfo>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace {

#ifdef Q_OS_LINUX
constexpr bool kIsShared = true;
#else
constexpr bool kIsShared = false;
#endif

/// While nobody uses sound, Qt gets to see this often that the server is gone, and to the end of
/// the three seconds after which it comes back to it.
constexpr std::chrono::milliseconds kLookEvery(1000);
/// The exchange, which must not be disturbed, takes no time. Qt may wait for ever for a server that
/// dies while it is asked something; who comes then gets no sound, but goes on.
constexpr std::chrono::milliseconds kPatience(5000);

/// The thread that what Qt shares belongs to. Never destroyed: it may be in Qt's hands for as long
/// as a server does not answer.
class Keeper final : public QThread
{
public:
    static Keeper &instance()
    {
        static Keeper *const keeper = new Keeper;
        return *keeper;
    }

    void enter()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, kPatience, [this] { return m_isFree || m_isEnding; });
        ++m_uses;
    }
    void leave()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (--m_uses == 0)
            m_changed.notify_all();
    }

protected:
    void run() override
    {
        const processend::Worker worker([this] {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_isEnding = true;
            m_changed.notify_all();
        });
        QAudioDeviceInfo::defaultOutputDevice(); // loads the plugin, which makes the connection
        processend::precedeWhatExists();         // and destroys it at the end of the process
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_isEnding) {
            m_isFree = true;
            m_changed.notify_all();
            if (m_uses > 0)
                m_changed.wait(lock);
            else
                m_changed.wait_for(lock, kLookEvery);
            if (m_uses > 0 || m_isEnding)
                continue;
            m_isFree = false;
            lock.unlock();
            eventDispatcher()->processEvents(QEventLoop::AllEvents);
            lock.lock();
        }
    }

private:
    Keeper()
    {
        setObjectName(QStringLiteral("vantra-sound"));
        start();
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!isRunning()) // the system has no thread for it
            m_isEnding = true;
    }

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    int m_uses = 0;
    bool m_isFree = false; ///< Qt is not at the connection
    bool m_isEnding = false;
};

} // namespace

namespace soundconnection {

Use::Use()
{
    if (kIsShared)
        Keeper::instance().enter();
}

Use::~Use()
{
    if (kIsShared)
        Keeper::instance().leave();
}

} // namespace soundconnection
