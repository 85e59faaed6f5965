// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/accessunits.h"

#include <QByteArray>
#include <QVector>

namespace vantratest {

/// What makeStream muxes. Any of video and sound may be left out.
struct StreamOptions
{
    const char *format = "nut"; ///< a container that can be read while it comes
    int videoCodec = 27;        ///< AVCodecID of the units, H.264
    int width = 320;            ///< pixels, as the container tells them
    int height = 240;
    int fps = 25;          ///< also the container's average
    int audioCodec = 0;    ///< AVCodecID of the sound, 0: none
    int sampleRate = 8000; ///< Hz
    int channels = 1;
    QByteArray audio; ///< coded sound, one byte per sample and channel
    int samplesPerPacket = 160;
};

/// Muxes coded pictures and sound, in the order of their time stamps. A container is written in one
/// go, so that its length in bytes tells where a picture begins only by `unitOffsets`: where the
/// bytes of unit n begin. Empty on failure.
QByteArray makeStream(const QVector<AccessUnit> &units, const StreamOptions &options,
                      QVector<int> *unitOffsets = nullptr);

/// A video codec that the container of makeStream() can name and nothing here decodes; 0 if there
/// is none.
int codecWithoutDecoder();

/// The units without their parameter sets; `codec` is 1 for H.264, 2 for H.265.
QVector<AccessUnit> withoutParameterSets(QVector<AccessUnit> units, int codec = 1);

} // namespace vantratest
