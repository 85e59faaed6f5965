// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What downloading costs: the same frames through OrvoVodDLThread, from a device that has them in a
// file, and through "ffmpeg -c copy" with the same flags of the file. Seconds of recording for each
// second of CPU time, medians of several rounds, the two sides taken in turns.
#include "filedevice.h"
#include "support/childprocess.h"

#include "core_vod/orvovoddlthread.h"
#include "devicelink/hnetdevice.h"
#include "logger/logger.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QLoggingCategory>
#include <QTemporaryDir>

extern "C" {
#include <libavutil/log.h>
}

#include <atomic>
#include <cstdio>

namespace {

constexpr int kRounds = 5;

/// What the child does. An exit status.
int download(const QString &from, const QString &folder)
{
    OrvoVodDLThread thread;
    thread.bindDevice(QSharedPointer<HNetDevice>::create(std::make_unique<FileDevice>(from)), 0);
    const QDateTime begin(QDate(2026, 3, 14), QTime(0, 0));
    thread.setDateTime(begin, begin.addSecs(kSourceSeconds));
    thread.setSavePath(folder);
    std::atomic<bool> whole{false};
    QObject::connect(&thread, &AbstractVideoDLThread::sig_downloadFinsh,
                     [&](bool ok) { whole = ok; }); // on the download thread
    thread.startDL();
    thread.wait();
    return whole ? 0 : 1;
}

QString onlyFileIn(const QString &folder)
{
    QDirIterator files(folder, {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
    const QString file = files.hasNext() ? files.next() : QString();
    return files.hasNext() ? QString() : file;
}

bool compare(const Source &source, const QString &file, const QTemporaryDir &dir)
{
    const QString folder = dir.filePath(QStringLiteral("ours"));
    const QString peer = dir.filePath(QStringLiteral("ffmpeg.mp4"));
    std::vector<ProcessCost> ours;
    std::vector<ProcessCost> theirs;
    for (int round = 0; round < kRounds; ++round) {
        QDir(folder).removeRecursively();
        ours.push_back(runChild(
            {QCoreApplication::applicationFilePath(), QStringLiteral("--download"), file, folder}));
        theirs.push_back(runChild({"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", file, "-map",
                                   "0:v", "-c", "copy", "-movflags", "frag_keyframe+delay_moov",
                                   "-flush_packets", "1", peer}));
        if (!ours.back().succeeded || !theirs.back().succeeded) {
            std::fprintf(stderr, "%s: a child failed\n", source.name);
            return false;
        }
    }
    const int count = countPackets(onlyFileIn(folder));
    if (count == 0 || count != countPackets(peer)) {
        std::fprintf(stderr, "%s: %d packets, %d with ffmpeg\n", source.name, count,
                     countPackets(peer));
        return false;
    }
    const double a = kSourceSeconds / median(ours, &ProcessCost::cpuSeconds);
    const double b = kSourceSeconds / median(theirs, &ProcessCost::cpuSeconds);
    std::printf("%-10s %12.0f %12.0f %6.2f", source.name, a, b, a / b);
    for (double ProcessCost::*member : {&ProcessCost::wallSeconds, &ProcessCost::peakMiB})
        std::printf(" %8.3f %8.3f", median(ours, member), median(theirs, member));
    std::printf("\n");
    std::fflush(stdout);
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    QLoggingCategory::setFilterRules(QStringLiteral("*.info=false"));
    av_log_set_level(AV_LOG_ERROR);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 4 && arguments[1] == QLatin1String("--download"))
        return download(arguments[2], arguments[3]);
    QTemporaryDir dir;
    std::printf("%-10s %12s %12s %6s %8s %8s %8s %8s\n", "source", "s per cpu s", "ffmpeg", "ratio",
                "wall s", "ffmpeg", "peak MiB", "ffmpeg");
    for (const Source &source : kSources) {
        const QString file = makeSource(dir, source);
        if (file.isEmpty()) {
            std::fprintf(stderr, "ffmpeg could not make a source with %s\n", source.encoder);
            return 1;
        }
        if (!compare(source, file, dir))
            return 1;
    }
    return 0;
}
