// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace vantra {

/// Puts a WAV header for 16 bit PCM and then all of `source` into `target`, and removes `source` if
/// asked to. False if a file could not be opened, written or removed; the source stays unless all
/// of it was written.
///
/// With `source` and `target` the same file nothing is left of it: opening the target empties it,
/// then it goes as the source.
bool convertToWav(const QString &source, const QString &target, int sampleRate, int channels,
                  bool removeSource);

} // namespace vantra
