// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// FFmpeg's text for one of its error codes, AVERROR(...) or AVERROR_...; never empty. Any thread.
QString ffmpegErrorText(int code);
