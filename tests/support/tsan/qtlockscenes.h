// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videobase/abstractvideothread.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>

#include <atomic>
#include <functional>
#include <map>

/// What threads do with each other in the test of qtlocks.cpp.
namespace qtlockscenes {

/// By name; each ends by itself.
using Scenes = std::map<QByteArray, void (*)()>;

/// In which Qt orders the threads.
const Scenes &orderedScenes();
/// In which nothing does.
const Scenes &racingScenes();

#define VANTRA_SCENE(name)                                                                         \
    {                                                                                              \
        QByteArrayLiteral(#name), &name                                                            \
    }

inline constexpr int kRounds = 2000;

inline int g_plain = 0; ///< what the scenes fight about

/// Makes each of its copies in memory of its own, and looks at it when it goes.
class Note
{
public:
    Note() = default;
    Note(const Note &) : m_value(new int(1)) {}
    Note &operator=(const Note &) = delete;
    ~Note()
    {
        if (m_value)
            ++*m_value;
        delete m_value;
    }

private:
    int *m_value = nullptr;
};

} // namespace qtlockscenes
Q_DECLARE_METATYPE(qtlockscenes::Note)

namespace qtlockscenes {

/// A thread that runs a function, then tells it by a signal.
class Worker : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(Worker)

public:
    explicit Worker(std::function<void(Worker *)> body) : m_body(std::move(body)) {}

    std::atomic<int> step{0}; ///< orders without telling the sanitizer: relaxed
    int field = 0;

    void pass(int to) { step.store(to, std::memory_order_relaxed); }
    void await(int at)
    {
        while (step.load(std::memory_order_relaxed) < at)
            yieldCurrentThread();
    }

signals:
    void told(int *value);
    void wrote(const Note &note);

protected:
    void run() override { m_body(this); }

private:
    std::function<void(Worker *)> m_body;
};

/// A stream thread that does nothing but to use its fields.
class Loop final : public AbstractVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(Loop)

public:
    Loop() = default;
    ~Loop() override { endRun(); }
    std::atomic<int> rounds{0};
    int readErrors() const { return errorCount; }

protected:
    void run() override
    {
        while (!stopped) {
            isOk = !isPause && readTimeout < 100;
            isSnap = false;
            frameRate = videoWidth = videoHeight = rotate + recording.at(MANUAL_RECORD);
            ++errorCount;
            updateTime();
            setSnapName(getVideoUrl() + QLatin1Char('x'));
            rounds.fetch_add(1, std::memory_order_relaxed);
        }
    }
};

class Receiver : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Receiver)

public:
    Receiver() = default;
    int calls = 0;
    int seen = 0;

    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::User) {
            const bool handled = QObject::event(event); // acquires
            seen += g_plain;
            ++calls;
            return handled;
        }
        return QObject::event(event);
    }

public slots:
    void take(int *value)
    {
        seen += (*value)++;
        ++calls;
    }
    void takeGlobal() { take(&g_plain); }
};

inline void spinUntilCalled(const Receiver &receiver, int calls = 1)
{
    while (receiver.calls < calls)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

/// Both threads run `body` at the same time.
inline void both(const std::function<void()> &body)
{
    Worker worker([&](Worker *) { body(); });
    worker.start();
    body();
    worker.wait();
}

} // namespace qtlockscenes
