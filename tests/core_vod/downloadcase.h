// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "recordedfile.h"

#include "core_videosave/savemp4ffmpeg.h"
#include "core_vod/orvovoddlthread.h"
#include "support/deviceframes.h"
#include "support/loggedtest.h"
#include "support/scriptedbackend.h"
#include "support/signalrecorder.h"
#include "support/waitfor.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

Q_DECLARE_METATYPE(VodSdp)

namespace vantratest {

/// A download whose hooks a test may call by itself, on its own thread.
class DownloadProbe final : public OrvoVodDLThread
{
    Q_DISABLE_COPY(DownloadProbe)

public:
    using OrvoVodDLThread::afterDownload;
    using OrvoVodDLThread::beforeDownload;
    using OrvoVodDLThread::curPts;
    using OrvoVodDLThread::fileStartPts;
    using OrvoVodDLThread::handleSaveMP4;
    using OrvoVodDLThread::initOption;
    using OrvoVodDLThread::isStop;
    using OrvoVodDLThread::lastReportPts;
    using OrvoVodDLThread::makeSaveSubDir;
    using OrvoVodDLThread::readFrame;
    using OrvoVodDLThread::saveDir;
    using OrvoVodDLThread::saver;
    using OrvoVodDLThread::timeoutCount;

    DownloadProbe() = default;
    ~DownloadProbe() override { stopDL(); }
};

/// What the tests of downloads of a scripted device share. The recording is made of numbered
/// pictures: 0, 10 and 20 are key pictures.
class DownloadCase : public LoggedTest, protected DeviceFrames
{
protected:
    using Op = DeviceScript::Op;
    static constexpr int kChannel = 3;

    static QDate day() { return QDate(2026, 3, 14); }
    /// Stamp of a moment as a recording tells it.
    static qint64 at(int hour, int minute, int second, int ms = 0, int days = 0)
    {
        return QDateTime(day().addDays(days), QTime(hour, minute, second, ms), Qt::UTC)
            .toMSecsSinceEpoch();
    }

    void setUp() override
    {
        folder = std::make_unique<QTemporaryDir>();
        script = std::make_shared<DeviceScript>();
        thread = std::make_unique<DownloadProbe>();
        recorder = std::make_unique<SignalRecorder>();
        QVERIFY(thread->bindDevice(scriptedDevice(script), kChannel));
        thread->setSavePath(folder->path());
        thread->setDateTime(QDateTime(day(), QTime(9, 0)), QDateTime(day(), QTime(23, 0)));
        thread->setReadTimeout(20000);
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadStart, "start");
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadFinsh, "finsh");
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadPts, "pts");
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadErrConnExceedMax, "max");
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadError, "error");
        describe(sdp());
    }
    void tearDown() override { thread.reset(); }

    // What the device does.

    static VodSdp sdp(int mark = 1)
    {
        VodSdp sdp;
        sdp.hasVideo = true;
        sdp.hasAudio = true;
        sdp.sdpMark = mark;
        sdp.video = videoPara();
        sdp.audio = audioPara();
        return sdp;
    }
    /// From now on.
    void describe(const VodSdp &sdp) { script->setAnswer(Op::vodGetDownloadSdp, sdp); }
    /// The next time it is asked.
    void describeOnce(const DeviceAnswer &answer)
    {
        script->enqueue(Op::vodGetDownloadSdp, answer);
    }
    static ScriptedFrame picture(int number, qint64 pts, int codec = 1)
    {
        ScriptedFrame frame = DeviceFrames::picture(number % 30, codec);
        frame.header.pts = pts;
        return frame;
    }
    static ScriptedFrame sound(int piece, qint64 pts)
    {
        ScriptedFrame frame = DeviceFrames::sound(piece);
        frame.header.pts = pts;
        return frame;
    }
    void send(const DeviceAnswer &answer) { script->enqueue(Op::vodReadDLFrame, answer); }
    /// So many pictures from one on, 40 ms apart.
    void sendPictures(int first, int count, qint64 pts, int codec = 1)
    {
        for (int i = 0; i < count; ++i)
            send(picture(first + i, pts + i * kFrameMs, codec));
    }
    void sendEnd() { send(HRetEndOfFile); }
    /// Steps of more than 300 ms, which the writer tells.
    void announceSteps()
    {
        log->expectMatching(Logger::Warning,
                            QRegularExpression("^\\(svmp4ff\\).*\\.mp4 pts \\(-?\\d+:-?\\d+\\)$"));
    }

    // What becomes of it.

    /// Runs to the end by itself.
    void run()
    {
        thread->startDL();
        QVERIFY(thread->wait(120000));
    }
    QStringList files() const { return QDir(thread->saveDir).entryList(QDir::Files, QDir::Name); }
    RecordedFile read(const QString &file) const
    {
        return readRecording(thread->saveDir + QLatin1Char('/') + file);
    }
    /// Pictures of all files, in the order of their names.
    QVector<int> allPictures() const
    {
        QVector<int> pictures;
        for (const QString &file : files())
            pictures += read(file).pictures;
        return pictures;
    }
    bool ok() const { return recorder->calls("finsh").value(0).arguments.value(0).toBool(); }
    QVector<qint64> progress() const
    {
        QVector<qint64> times;
        for (const auto &call : recorder->calls("pts"))
            times << call.arguments.value(0).toLongLong();
        return times;
    }
    static QString line(const QString &text) { return QStringLiteral("(orvdlthr)") + text; }
    void expectError(const QString &text) { log->expect(Logger::Error, line(text)); }
    static QVector<int> numbers(int first, int count)
    {
        QVector<int> result;
        for (int i = 0; i < count; ++i)
            result << (first + i) % 30;
        return result;
    }

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<DeviceScript> script;
    std::unique_ptr<DownloadProbe> thread;
    std::unique_ptr<SignalRecorder> recorder;
};

/// Runs the tests of a case in a place whose clock is neither UTC nor without a missing hour.
template<typename Case>
int runInNewYork(int argc, char *argv[])
{
    qputenv("TZ", "EST5EDT,M3.2.0,M11.1.0");
    QCoreApplication app(argc, argv);
    Case test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace vantratest
