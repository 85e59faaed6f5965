// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videosave/recordedfile.h"
#include "recordthread.h"
#include "threadtestcase.h"
#include "writercalls.h"

#include "core_videosave/savemp4ffmpeg.h"

#include <QtTest>

#include <numeric>

namespace vantratest {

/// What the tests of recordings by stream threads share.
class RecordTestCase : public ThreadTestCase
{
    Q_OBJECT
    Q_DISABLE_COPY(RecordTestCase)

public:
    RecordTestCase() = default;

protected:
    static constexpr auto kManual = AbstractVideoThread::MANUAL_RECORD;
    static constexpr auto kAuto = AbstractVideoThread::AUTO_RECORD;
    static constexpr int kGop = 25;     ///< of made clips
    static constexpr int kFrameMs = 40; ///< of made clips

    void reset() override { WriterCalls::reset(); }

    /// Stops the thread, which may make it log an interrupted call, and waits for its end.
    void end(RecordThread *thread)
    {
        log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
        announceReadErrors();
        thread->stop();
        QVERIFY(waitFor([&] { return thread->isFinished(); }));
        QVERIFY(thread->wait()); // its report of the end is still under way
    }

    /// Makes the stream thread wait for its writers, so that no queue is ever full.
    static void slowDown(RecordThread *thread)
    {
        thread->beforeSave = [thread](bool) {
            for (SaveMp4FFmpeg *writer : qAsConst(thread->saver))
                while (!writer->isQueueEmpty())
                    QThread::msleep(1);
        };
    }

    static QVector<int> numbers(int first, int last)
    {
        QVector<int> all(last - first + 1);
        std::iota(all.begin(), all.end(), first);
        return all;
    }

    /// What is wrong with a file that is to hold these pictures, a key picture first, and sound or
    /// none; empty if nothing.
    static QString faultOf(const QString &file, const QVector<int> &pictures, bool sound = false)
    {
        const RecordedFile read = readRecording(file);
        const QString complaints = complaintsAbout(file);
        if (!read.error.isEmpty() || !complaints.isEmpty())
            return file + QLatin1String(": ") + read.error + QLatin1Char('\n') + complaints;
        if (read.pictures != pictures) {
            QString found = QStringLiteral("pictures");
            for (const int number : read.pictures)
                found += QStringLiteral(" %1").arg(number);
            return found;
        }
        if (!read.keys.value(0))
            return QStringLiteral("does not begin with a key picture");
        if ((read.audioCodec != 0) != sound)
            return QStringLiteral("sound %1").arg(read.audioCodec);
        return QString();
    }
};

} // namespace vantratest
