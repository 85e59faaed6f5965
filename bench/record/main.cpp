// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What recording costs: the same sources through SaveMp4FFmpeg, in a process of its own, and
// through "ffmpeg -c copy" with the same flags of the file. Figures are medians of several rounds,
// the two sides taken in turns; ratios are ours to ffmpeg's.
#include "recorder.h"
#include "support/childprocess.h"
#include "support/sources.h"

#include "logger/logger.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdio>
#include <vector>

namespace {

constexpr int kRounds = 5;

/// Median of a column of what the children printed, on line 0 or 1.
double printed(const std::vector<ProcessCost> &costs, int line, int column)
{
    std::vector<double> values;
    for (const ProcessCost &cost : costs)
        values.push_back(cost.output.split('\n').value(line).split(' ').value(column).toDouble());
    return median(values);
}

/// The end of a line: p50/p99 of our calls, and of what they cannot do without.
void printCalls(const std::vector<ProcessCost> &ours)
{
    std::printf(" %8.1f/%.1f %8.1f/%.1f\n", printed(ours, 0, 1), printed(ours, 0, 2),
                printed(ours, 1, 1), printed(ours, 1, 2));
    std::fflush(stdout);
}

ProcessCost recordInChild(const char *form, const QString &file, const QString &out)
{
    return runChild({QCoreApplication::applicationFilePath(), QStringLiteral("--record"),
                     QLatin1String(form), file, out});
}

bool compare(const Source &source, const QString &file, const QTemporaryDir &dir, bool packets)
{
    const char *form = packets ? "packets" : "frames";
    const QString out = dir.filePath(QStringLiteral("ours.mp4"));
    const QString peer = dir.filePath(QStringLiteral("ffmpeg.mp4"));
    std::vector<ProcessCost> ours;
    std::vector<ProcessCost> theirs;
    for (int round = 0; round < kRounds; ++round) {
        ours.push_back(recordInChild(form, file, out));
        theirs.push_back(runChild({"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", file, "-map",
                                   "0:v", "-c", "copy", "-movflags", "frag_keyframe+delay_moov",
                                   "-flush_packets", "1", peer}));
        if (!ours.back().succeeded || !theirs.back().succeeded) {
            std::fprintf(stderr, "%s, %s: a child failed\n", source.name, form);
            return false;
        }
    }
    const int count = countPackets(out);
    if (count == 0 || count != countPackets(peer)) {
        std::fprintf(stderr, "%s, %s: %d packets, %d with ffmpeg\n", source.name, form, count,
                     countPackets(peer));
        return false;
    }
    std::printf("%-10s %-8s", source.name, form);
    for (double ProcessCost::*member :
         {&ProcessCost::cpuSeconds, &ProcessCost::wallSeconds, &ProcessCost::peakMiB}) {
        const double a = median(ours, member);
        const double b = median(theirs, member);
        std::printf(" %8.3f %8.3f %5.2f", a, b, a / b);
    }
    printCalls(ours);
    return true;
}

/// Only the calls, of frames.
bool printOnlyCalls(const Source &source, const QString &file, const QTemporaryDir &dir)
{
    std::vector<ProcessCost> ours;
    for (int round = 0; round < kRounds; ++round) {
        ours.push_back(recordInChild("frames", file, dir.filePath(QStringLiteral("ours.mp4"))));
        if (!ours.back().succeeded) {
            std::fprintf(stderr, "%s: a child failed\n", source.name);
            return false;
        }
    }
    std::printf("%-10s", source.name);
    printCalls(ours);
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    cuteLoggerInstance()->setMinimumLevel(Logger::Fatal);
    const QStringList arguments = QCoreApplication::arguments();
    QLoggingCategory::setFilterRules(QStringLiteral("*.info=false"));
    av_log_set_level(AV_LOG_ERROR);
    if (arguments.size() == 5 && arguments[1] == QLatin1String("--record"))
        return record(arguments[3], arguments[4], arguments[2] == QLatin1String("packets"));
    const bool onlyCalls = arguments.value(1) == QLatin1String("--calls");
    QTemporaryDir dir;
    const char *heading = onlyCalls ? "source          call us      bare us\n"
                                    : "source     form        cpu s   ffmpeg ratio   wall s   "
                                      "ffmpeg ratio peak MiB   ffmpeg "
                                      "ratio      call us      bare us\n";
    std::fputs(heading, stdout);
    for (const Source &source : kSources) {
        const QString file = makeSource(dir, source);
        if (file.isEmpty()) {
            std::fprintf(stderr, "ffmpeg could not make a source with %s\n", source.encoder);
            return 1;
        }
        if (onlyCalls ? !printOnlyCalls(source, file, dir)
                      : !compare(source, file, dir, true) || !compare(source, file, dir, false))
            return 1;
    }
    return 0;
}
