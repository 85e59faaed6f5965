// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/heartbeat.h"
#include "support/processload.h"
#include "support/rounds.h"
#include "support/seed.h"
#include "support/waitfor.h"
#include "support/watchdog.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QtTest>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace vantratest {

constexpr int kDeadMs = 60000; ///< without a step: dead-locked

/// Takes all of the machine's processors while it lives.
class BusyMachine
{
public:
    explicit BusyMachine(bool on)
    {
        for (unsigned i = 0; on && i < std::thread::hardware_concurrency(); ++i)
            m_threads.emplace_back([this] {
                while (!m_stop) {
                }
            });
    }
    ~BusyMachine()
    {
        m_stop = true;
        for (std::thread &thread : m_threads)
            thread.join();
    }

private:
    std::atomic<bool> m_stop{false};
    std::vector<std::thread> m_threads;
};

/// Runs this program once more, as a host that ends in the way of `mode`, and fails the test if
/// that does not end by itself, in time and with 0.
inline void hostEndsCleanly(const QString &mode)
{
    QProcess host;
    host.setProcessChannelMode(QProcess::MergedChannels);
    // A window that a host leaks keeps its threads.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TSAN_OPTIONS",
                       environment.value("TSAN_OPTIONS") + ":report_thread_leaks=0");
    // What the other threads were about to free when one of them ended the process is no leak.
    if (mode == QLatin1String("other thread"))
        environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") + ":detect_leaks=0");
    host.setProcessEnvironment(environment);
    host.start(QCoreApplication::applicationFilePath(), {"--host", mode});
    QVERIFY(waitFor([&] { return host.state() == QProcess::NotRunning; }, kDeadMs));
    QVERIFY2(host.exitStatus() == QProcess::NormalExit && host.exitCode() == 0,
             host.readAll().constData());
}

/// Rounds of what a host may do with its views, in orders that are drawn, each of which must leave
/// nothing behind and never hold up the GUI thread. The process is to have one heap for all threads
/// (mallopt(M_ARENA_MAX, 1)), so that what it holds tells what is not freed.
class EndRounds
{
public:
    /// VANTRA_TEST_SEED repeats a run that has failed.
    EndRounds() { random.seed(seedOfThisRun()); }

    int draw(int below) { return int(random() % unsigned(below)); }

    /// Plays rounds, all kRounds only if VANTRA_TEST_ALL_ROUNDS asks for them.
    template<typename Round>
    void play(Round round)
    {
        dog = std::make_unique<Watchdog>(kDeadMs);
        heart = std::make_unique<Heartbeat>();
        QElapsedTimer timer;
        timer.start();
        ProcessLoad before;
        int madeBefore = 0;
        int rounds = 0;
        const bool all = wantsAllRounds();
        while (rounds < kRounds && (all || rounds < kWarmUpRounds || timer.elapsed() < kBudgetMs)) {
            round();
            if (QTest::currentTestFailed())
                break;
            if (++rounds == kWarmUpRounds) {
                before = ProcessLoad::now();
                madeBefore = viewsMade;
            }
        }
        qInfo("%d rounds", rounds);
        const qint64 gap = heart->longestGap();
        heart.reset();
        dog.reset();
        QVERIFY2(gap < kFrozenMs, qPrintable(QString::number(gap)));
        const qint64 allowedKiB = kNoiseKiB + kTalkEncoderKiB * (viewsMade - madeBefore);
        QCOMPARE(loadLeftBehind(before, kFewThreads, kFewHandles, allowedKiB), QString());
    }

    std::mt19937 random;
    int viewsMade = 0; ///< each with a sound worker of its own
    std::unique_ptr<Heartbeat> heart;
    std::unique_ptr<Watchdog> dog;

private:
    static constexpr int kRounds = 200;
    static constexpr int kWarmUpRounds = 10;
    static constexpr int kBudgetMs = 15000; ///< after which a row of rounds is enough
    static constexpr int kFewThreads = 2;
    static constexpr int kFewHandles = 4;
    static constexpr qint64 kNoiseKiB = 24 * 1024; ///< of the allocator
    /// What each sound worker leaves in the registry of encoders when it ends, as is intended.
    static constexpr qint64 kTalkEncoderKiB = 90;
};

} // namespace vantratest
