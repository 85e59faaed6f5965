// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/childprocess.h"

#include <QFile>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace {

double seconds(const timeval &time)
{
    return double(time.tv_sec) + double(time.tv_usec) * 1e-6;
}

} // namespace

ProcessCost runChild(const QStringList &command)
{
    ProcessCost cost;
    std::vector<QByteArray> texts;
    for (const QString &text : command)
        texts.push_back(QFile::encodeName(text));
    std::vector<char *> arguments;
    for (QByteArray &text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    int ends[2];
    if (pipe(ends) != 0)
        return cost;
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
        execvp(arguments.front(), arguments.data());
        _exit(127);
    }
    ::close(ends[1]);
    char buffer[4096];
    for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof(buffer))) > 0;)
        cost.output.append(buffer, int(got));
    ::close(ends[0]);
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child)
        return cost;
    cost.wallSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    cost.cpuSeconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    cost.peakMiB = double(usage.ru_maxrss) / 1024; // KiB on Linux
    cost.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return cost;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double median(const std::vector<ProcessCost> &costs, double ProcessCost::*member)
{
    std::vector<double> values;
    for (const ProcessCost &cost : costs)
        values.push_back(cost.*member);
    return median(values);
}
