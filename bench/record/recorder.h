// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Copies the video of a file into an MP4 file through the library's writer, as fast as that takes
/// it, as `packets` of a demuxer or as frames of a device. Prints "calls p50 p99" of the producer's
/// calls, then the same of what such a call cannot do without (a reference, or a copy), times in
/// microseconds. Returns an exit status.
int record(const QString &from, const QString &to, bool packets);
