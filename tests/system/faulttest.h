// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/heartbeat.h"
#include "support/loggedtest.h"
#include "support/rtspserver.h"

#include <QtTest>

namespace vantratest {

constexpr int kReadTimeoutMs = 1500;
constexpr int kOpenSleepMs = 300;
constexpr int kEnoughPictures = 5;
constexpr int kHealMs = 60000; ///< safeguard
constexpr int kSoonMs = 1000;  ///< in which a stopped thread ends, beyond its phase's limit
constexpr int kSlackMs = 2000; ///< of a machine under load
constexpr int kAtOnceMs = 400;

/// What the tests of faults share: a camera whose server they start and break, places where no
/// server answers, and that no fault holds up the GUI thread. The lines of the end of a test are
/// not its matter.
class FaultTest : public LoggedTest
{
protected:
    /// Call it last: from here on the GUI thread is watched.
    void setUp() override
    {
        server = std::make_unique<RtspServer>();
        heart = std::make_unique<Heartbeat>();
    }
    void tearDown() final
    {
        const qint64 gap = heart->longestGap();
        heart.reset();
        releaseClient();
        server.reset();
        silent.reset();
        hole.reset();
        QVERIFY2(gap < kFrozenMs, qPrintable(QString::number(gap)));
    }
    /// Ends what plays, before its server goes.
    virtual void releaseClient() = 0;

    /// 0: any free port.
    bool startServer(int port = 0)
    {
        const QStringList camera{"--camera", "cam:h264:pcma:320x240:25:gop=10"};
        return heart->leaveOut([&] { return server->start(camera, port); });
    }
    bool command(const QString &line)
    {
        return heart->leaveOut([&] { return server->command(line); });
    }

    /// A port of this machine with this fault: "refused", "dropped packets" or "silent". It has it
    /// until `silent` and `hole` are reset; see hole->isValid().
    int faultyPort(const QString &fault)
    {
        if (fault == "silent") {
            silent = std::make_unique<SilentServer>();
            return silent->port();
        }
        if (fault == "dropped packets") {
            hole = std::make_unique<BlackHole>();
            return hole->port();
        }
        return refusedPort();
    }

    /// Number of the stream thread's lines that begin so.
    int count(const QString &start) const
    {
        int found = 0;
        for (const LogCapture::Line &line : log->lines())
            found += line.text.startsWith(QStringLiteral("(ffvdthr)") + start);
        return found;
    }
    /// Announces the stream thread's lines that begin so.
    void expect(Logger::LogLevel level, const QString &start)
    {
        log->expectMatching(level, QRegularExpression(QStringLiteral("^\\(ffvdthr\\)") +
                                                      QRegularExpression::escape(start)));
    }

    std::unique_ptr<Heartbeat> heart;
    std::unique_ptr<RtspServer> server;
    std::unique_ptr<SilentServer> silent;
    std::unique_ptr<BlackHole> hole;
};

} // namespace vantratest
