// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_ffmpeg/ffmpegerror_p.h"

extern "C" {
#include <libavutil/error.h>
}

namespace {

constexpr int kErrorTextSize = 256;

} // namespace

QString ffmpegErrorText(int code)
{
    char text[kErrorTextSize] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}
