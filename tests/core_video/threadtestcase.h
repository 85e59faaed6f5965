// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/clipmaker.h"
#include "support/logcapture.h"
#include "support/waitfor.h"

#include <QObject>
#include <QRegularExpression>

#include <memory>

namespace vantratest {

class TestThread;

/// What the tests of stream threads share: a quiet console, a captured log of which nothing is
/// unexpected, made streams, and an end.
class ThreadTestCase : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ThreadTestCase)

public:
    ThreadTestCase() = default;

protected:
    /// Coded pictures with their numbers, 320x240, a key picture every 25.
    static QVector<AccessUnit> units(int count);
    /// The same as a stream without sound. At least 40 pictures, or opening waits for more.
    static QByteArray clip(int count, QVector<int> *unitOffsets = nullptr);
    /// With a tone of 440 Hz in G.711 A-law, 8000 Hz mono.
    static QByteArray clipWithSound(int count = 50, QVector<int> *unitOffsets = nullptr);

    void announceNoAudio();
    void announceReadErrors();
    void announceReadTimeout();
    /// Lines so far of level info with this text, which the tag stands before.
    int infos(const char *text) const;
    /// A pattern around a text that may hold anything.
    static QRegularExpression escaped(const QString &before, const QString &text,
                                      const QString &after);
    /// Stops the thread, which may make it log an interrupted call, and waits for its end.
    void end(TestThread *thread);
    /// Called before and after each test, for what a test case changes in the process.
    virtual void reset() {}

    std::unique_ptr<LogCapture> log;

private slots:
    void initTestCase();
    void init();
    void cleanup();
};

} // namespace vantratest
