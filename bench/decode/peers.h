// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>
#include <QString>

#include <functional>

/// What one run has cost and done.
struct RunResult
{
    double cpuSeconds = 0; ///< of the threads that decode and, if it paints, of the one that paints
    int frames = 0;        ///< decoded
    int paints = 0;        ///< shown
};

/// CPU time of the calling thread, seconds.
double threadCpuSeconds();

/// The bare loop: libavformat reads, libavcodec decodes with the same flags as the library, on the
/// calling thread. `onImage`, if given, gets each picture after one conversion to BGRA.
RunResult bareLoop(const QString &url, const std::function<void(const QImage &)> &onImage = {});
