// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Downloads a span of what a recorder has on its disk into MP4 files. The recorder is simulated,
// with four channels (0 to 3) that have recorded all of the past.
//   vantra-download --begin 2026-03-14T10:00:00 --seconds 60 --channel 2 --interval 20 --sound
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_vod/orvovoddlthread.h"
#include "logger/logger.h"
#include "simulator/devicecontrol.h"
#include "vantra.h"

#include <QtCore>

#include <csignal>

static volatile std::sig_atomic_t interrupted = 0;

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTextStream out(stdout), err(stderr);
    QCommandLineParser line;
    const QString hourAgo = QDateTime::currentDateTime().addSecs(-3600).toString(Qt::ISODate);
    line.addOptions({{"begin", "", "TIME", hourAgo}, {"seconds", "", "N", "60"}, {"sound", ""}});
    line.addOptions({{"out", "", "DIR", "."}, {"channel", "", "N", "0"}});
    line.addOption({"interval", "", "S", "-1"});
    bool isChannel = false, isInterval = false, parsed = line.parse(application.arguments());
    const QDateTime begin = QDateTime::fromString(line.value("begin"), Qt::ISODate);
    const uint channel = line.value("channel").toUInt(&isChannel);
    const int seconds = line.value("seconds").toInt();
    const int interval = line.value("interval").toInt(&isInterval);
    if (!parsed || !begin.isValid() || !isChannel || seconds < 1 || !isInterval ||
        !line.positionalArguments().isEmpty()) {
        err << "usage: vantra-download [--begin yyyy-mm-ddThh:mm:ss] [--seconds N] [--channel N]\n"
               "                       [--out DIR] [--interval S] [--sound]\n";
        return 2;
    }
    const QDir folder(QDir().absoluteFilePath(line.value("out")));
    if (!folder.mkpath(".") || !QTemporaryFile(folder.filePath("XXXXXX")).open()) {
        err << "vantra-download: no file can be written in " << folder.path() << "\n";
        return 1;
    }
    for (const auto &sink : cuteLoggerInstance()->sinks())
        cuteLoggerInstance()->removeSink(sink); // the progress has the terminal for itself
    QLoggingCategory::setFilterRules("default.info=false");
    FFmpegHelper::initLib(); // which keeps FFmpeg silent too
    Vantra::init();
    const auto simulation = vantrasim::simulateDevice(vantrasim::DeviceConfig::simple(4, 2));

    OrvoVodDLThread download;
    download.bindDevice(simulation.device, channel);
    download.setDateTime(begin, begin.addSecs(seconds));
    download.setSavePath(folder.path());
    download.setSaveInterval(interval);
    download.setSaveAudio(line.isSet("sound"));
    download.setReadTimeout(5000); // ms
    // Frames bear the time of the recorder's clock as if that were UTC.
    const qint64 first = QDateTime(begin.date(), begin.time(), Qt::UTC).toMSecsSinceEpoch();
    QElapsedTimer clock;
    bool ok = false;
    QString fault = "no frame came in time, or the connection is lost";
    // With `application` as their context these run on this thread.
    QObject::connect(&download, &OrvoVodDLThread::sig_downloadPts, &application, [&](qint64 pts) {
        const double done = (pts - first) / 1000.0; // seconds of the recording
        const double rate = qMax(done, 0.001) * 1000 / qMax<qint64>(clock.elapsed(), 1);
        err << QString::asprintf(
                   "\r\x1b[K%d %%, %d of %d s, %.1f times as fast as recorded, %.0f s left",
                   int(done * 100 / seconds), int(done), seconds, rate, (seconds - done) / rate)
            << Qt::flush;
    });
    QObject::connect(&download, &OrvoVodDLThread::sig_downloadErrConnExceedMax, &application,
                     [&] { fault = "the device takes no further connection"; });
    QObject::connect(&download, &OrvoVodDLThread::sig_downloadError, &application,
                     [&] { fault = "the device refuses, or the disk is full"; });
    QObject::connect(&download, &OrvoVodDLThread::sig_downloadFinsh, &application,
                     [&](bool whole) { ok = whole; });
    QObject::connect(&download, &QThread::finished, &application, &QCoreApplication::quit);
    std::signal(SIGINT, [](int) { interrupted = 1; });
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, [&] {
        if (interrupted)
            download.stopDL(); // waits until the last file is whole
    });
    tick.start(100);
    const QDateTime start = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch());
    clock.start();
    download.startDL();
    application.exec();
    err << (ok ? "\r\x1b[K100 %\n" : "\n");
    const QDir made(folder.filePath(start.toString("yyyy-MM-dd/'vod'"))); // of the day it began
    for (const QFileInfo &file : made.entryInfoList({"*.mp4"}, QDir::Files, QDir::Name))
        if (file.lastModified() >= start)
            out << file.filePath() << " " << file.size() / 1000 << " kB\n";
    if (!ok)
        err << "vantra-download: " << (interrupted ? "interrupted" : fault) << "\n";
    return ok ? 0 : 1;
}
