// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_videosave/recordedfile.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "fedthreadcase.h"
#include "support/players.h"
#include "writercalls.h"

#include <QTemporaryDir>
#include <QtTest>

namespace vantratest {

/// What the tests of recordings of a thread that is read frame by frame share.
class FedRecordCase : public FedThreadCase
{
    Q_OBJECT
    Q_DISABLE_COPY(FedRecordCase)

public:
    FedRecordCase() = default;

protected:
    static constexpr auto Manual = AbstractVideoThread::MANUAL_RECORD;
    static constexpr auto Auto = AbstractVideoThread::AUTO_RECORD;
    static constexpr int kH264 = 27; // AVCodecID
    static constexpr int kH265 = 173;
    static constexpr int kAac = 0x15002;

    static QVector<int> numbers(int first, int count)
    {
        QVector<int> result;
        for (int i = 0; i < count; ++i)
            result << first + i;
        return result;
    }

    void setUp() override
    {
        folder = std::make_unique<QTemporaryDir>();
        WriterCalls::reset();
    }
    void prepare(FedThread *thread)
    {
        thread->folder = folder->path();
        thread->setDeviceCodec(videoPara(), audioPara());
    }
    /// Feeds pictures no faster than they are written.
    static bool send(FedThread *thread, const QVector<ScriptedFrame> &frames)
    {
        thread->feed(frames);
        return settle(thread);
    }
    bool running(FedThread *thread, AbstractVideoThread::RecordType type) const
    {
        return thread->saver.at(type)->isRunning();
    }
    void plays(const QString &name, int codec, const QVector<int> &pictures, bool sound)
    {
        const RecordedFile file = readRecording(name);
        QCOMPARE(file.error, QString());
        QCOMPARE(file.videoCodec, codec);
        QCOMPARE(file.pictures, pictures);
        QCOMPARE(file.audioCodec, sound ? kAac : 0);
    }
    /// What other programs make of a file.
    void playsElsewhere(const QString &name, int codec, QSize size, int pictures)
    {
        const ProbedFile probed = probeFile(name);
        QCOMPARE(probed.error, QString());
        QCOMPARE(probed.video.codec,
                 codec == kH265 ? QStringLiteral("hevc") : QStringLiteral("h264"));
        QCOMPARE(probed.video.size, size);
        const Playback played = decodeWithFFmpeg(name);
        QCOMPARE(played.error, QString());
        QCOMPARE(played.pictures.size(), pictures);
    }

    std::unique_ptr<QTemporaryDir> folder;
};

} // namespace vantratest
