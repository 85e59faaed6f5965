// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

namespace vantratest {

/// Signed 16-bit little-endian PCM of a sine; every channel gets the same. `firstFrame` lets blocks
/// join without a click. `amplitude` is the share of full scale.
QByteArray sinePcm(double hertz, int sampleRate, int frames, double amplitude = 0.5,
                   int channels = 1, qint64 firstFrame = 0);

/// What one window of sound holds.
struct ToneMeasure
{
    double amplitude = 0.0; ///< of the sine looked for, as share of full scale
    double purity = 0.0;    ///< share of the window's energy that this sine has, 0 to 1
};

/// Measures a sine in a block of mono signed 16-bit PCM.
ToneMeasure measureTone(const QByteArray &mono, int sampleRate, double hertz);

/// The purest 100 ms of a recording (windows begin every 25 ms) for a sine. Windows below an
/// amplitude of 0.001 count as silence.
ToneMeasure bestTone(const QByteArray &mono, int sampleRate, double hertz);

/// Whether some 100 ms of a recording hold hardly anything but this sine.
bool hasTone(const QByteArray &mono, int sampleRate, double hertz);

/// Frequency by rising zero crossings, over the whole block; 0 with fewer than two of them.
double zeroCrossingHertz(const QByteArray &mono, int sampleRate);

} // namespace vantratest
