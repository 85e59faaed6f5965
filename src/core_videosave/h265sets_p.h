// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// Keeps parameter sets from the muxer that it would not come back from. It reads those of H.265
/// itself, with counts of up to 2^32 that it takes from beyond the end of a set: hours for one
/// picture. FFmpeg's decoder reads the same fields and refuses such a set, so it is asked first.
class H265Sets
{
public:
    /// Whether the muxer can be given this packet of an H.265 stream with start codes (ITU-T H.265,
    /// Annex B). So it is without any parameter set.
    bool areReadable(const quint8 *data, int size);

    /// Whether a packet has video or sequence parameter sets, which are all that the muxer reads.
    static bool areIn(const quint8 *data, int size);

private:
    QByteArray readable; ///< the sets that passed last; they come again with each key picture
};
