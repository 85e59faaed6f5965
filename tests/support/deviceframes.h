// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/clipmaker.h"
#include "support/scriptedbackend.h"

namespace vantratest {

/// Frames as a device hands them over, made of numbered pictures and a tone. To be used as a base
/// of a test case.
class DeviceFrames
{
public:
    static constexpr int kFrameMs = 40;

    /// 30 numbered pictures, a key picture every 10; `codec` 1 is H.264, 2 is H.265.
    static const QVector<AccessUnit> &units(int codec = 1, int width = 320, int height = 240);
    /// Some of them as frames of a device, stamped every 40 ms from `firstPts` on.
    static QVector<ScriptedFrame> pictures(int first, int count, int codec = 1, int width = 320,
                                           int height = 240, qint64 firstPts = 1000);
    static ScriptedFrame picture(int number, int codec = 1, int width = 320, int height = 240);
    /// 20 ms of a tone of 440 Hz as G.711 A-law, 8000 Hz mono, the n-th piece of it.
    static ScriptedFrame sound(int piece = 0);
    static HVideoEncPara videoPara(int codec = 1, int width = 320, int height = 240);
    static HAudioEncPara audioPara();
};

} // namespace vantratest
