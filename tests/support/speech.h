// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QVector>

namespace vantratest {

/// What sounds like a person who says syllables at 8 kHz: a voice with a wandering pitch through
/// two moving formants, hisses in between and pauses of silence. The same at every call. No two
/// places of it are alike, so that what is missing or doubled is found.
QVector<qint16> makeSpeechLike(int samples);

/// The samples of 16 bit PCM, in native order.
QVector<qint16> pcmSamples(const QByteArray &bytes);

/// How a piece of sound is found again in another one, as a value and where it begins.
struct SoundMatch
{
    int delay = 0;      ///< samples by which `heard` is late
    double whole = 0.0; ///< correlation of all that overlaps, -1 to 1
    double worst = 0.0; ///< that of the worst quarter of a second in which somebody speaks
    int worstAt = 0;    ///< sample of the source where that one begins
    int compared = 0;   ///< samples that overlap
};
/// Looks for `source` in `heard`, which is late by up to `longestDelay` samples at 8 kHz.
SoundMatch matchSound(const QVector<qint16> &source, const QVector<qint16> &heard,
                      int longestDelay = 2048);

} // namespace vantratest
