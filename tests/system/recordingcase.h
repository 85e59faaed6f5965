// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "../core_videosave/recordedfile.h"
#include "support/loggedtest.h"
#include "support/rtspserver.h"
#include "support/waitfor.h"

#include "core_video/ffmpegvideothread.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QtTest>

#include <atomic>
#include <functional>

namespace vantratest {

/// A stream thread that records: its files bear numbers, and it remembers them.
class RecordingThread final : public FFmpegVideoThread
{
    Q_DISABLE_COPY(RecordingThread)

public:
    using FFmpegVideoThread::saver;
    using Namer = std::function<QString(int number)>;

    explicit RecordingThread(const QString &url)
    {
        setVideoUrl(url);
        setTransport(QStringLiteral("tcp"));
        setConnectTimeout(20000);
        setReadTimeout(20000);
    }
    ~RecordingThread() override { endRun(); }

    /// How the files of a recording are called, by number from 0 on. Before the start.
    void setNames(RecordType type, const Namer &namer) { namers[type] = namer; }
    void setNames(RecordType type, const QString &folder)
    {
        setNames(type, [folder, type](int number) {
            return QStringLiteral("%1/%2-%3.mp4").arg(folder).arg(type).arg(number);
        });
    }

    /// Names given so far, the last one perhaps to a file that could not be opened.
    QStringList files(RecordType type) const
    {
        const QMutexLocker locker(&mutex);
        return named[type];
    }
    int closedFiles(RecordType type) const { return closed[type]; }
    bool isWriting(RecordType type) const { return saver.at(type)->isRunning(); }
    int packets() const { return packetCount; }

    void saveMP4(AVPacket *packet, bool isKeyVideo) override
    {
        FFmpegVideoThread::saveMP4(packet, isKeyVideo);
        ++packetCount;
    }

protected:
    void setMP4FileName(RecordType type) override
    {
        QString name;
        {
            const QMutexLocker locker(&mutex);
            name = namers[type](named[type].size());
            named[type] << name;
        }
        setFileName(type, name);
    }
    void renameMP4File(RecordType type) override { ++closed[type]; }

private:
    mutable QMutex mutex;
    Namer namers[RECORD_TYPE_MAX];
    QStringList named[RECORD_TYPE_MAX];
    std::atomic<int> closed[RECORD_TYPE_MAX] = {};
    std::atomic<int> packetCount{0};
};

/// What the tests of recordings at a real server share.
class RecordingCase : public LoggedTest
{
protected:
    static constexpr auto kManual = AbstractVideoThread::MANUAL_RECORD;
    static constexpr auto kAuto = AbstractVideoThread::AUTO_RECORD;

    /// Ends the thread, whatever it is at.
    void end(RecordingThread *thread)
    {
        log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
        log->expectMatching(Logger::Error,
                            QRegularExpression(QStringLiteral("^\\(ffvdthr\\)read frame err\\(\\d:"
                                                              "Immediate exit requested\\)$")));
        thread->stop();
        QVERIFY(waitFor([&] { return thread->isFinished(); }));
        QVERIFY(thread->wait());
    }

    /// What is wrong with pictures that should follow each other without a gap; empty if nothing.
    static QString gapsIn(const QVector<qint64> &counters)
    {
        QString gaps;
        for (int i = 0; i < counters.size(); ++i) {
            if (counters.at(i) < 0 || (i > 0 && counters.at(i) != counters.at(i - 1) + 1))
                gaps += QStringLiteral(" %1: %2").arg(i).arg(counters.at(i));
        }
        return counters.isEmpty() ? QStringLiteral("no pictures") : gaps;
    }

    /// What is wrong with a whole file; empty if nothing. *counters, if given, gets its pictures at
    /// the end.
    static QString faultOf(const QString &path, QVector<qint64> *counters = nullptr)
    {
        const RecordedFile file = readRecording(path);
        if (counters)
            *counters += file.counters;
        QString fault = file.error + complaintsAbout(path) + gapsIn(file.counters);
        if (!file.keys.value(0))
            fault += QStringLiteral(" no key picture at the beginning");
        return fault.isEmpty() ? fault : path + QLatin1String(": ") + fault;
    }
};

} // namespace vantratest
