// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QStringList>

#include <vector>

/// What a child process took of the machine, from its start to its end.
struct ProcessCost
{
    bool succeeded = false;
    double cpuSeconds = 0; ///< user and system, of all its threads
    double wallSeconds = 0;
    double peakMiB = 0; ///< largest resident size
    QByteArray output;  ///< what it wrote to standard output
};

/// Runs a program, found by PATH, and waits for its end.
ProcessCost runChild(const QStringList &command);

double median(std::vector<double> values);
/// Of one of the figures of several runs.
double median(const std::vector<ProcessCost> &costs, double ProcessCost::*member);
