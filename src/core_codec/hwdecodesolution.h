// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QSize>
#include <QString>

/// Tells whether the video card of this machine can decode a codec at a size, without opening a
/// stream.
///
/// What the card has said is kept for the life of the process, so a change of its driver shows
/// after a restart. The codecs are "H264" and "H265"; any other is never supported. Sizes are
/// pixels.
///
/// Only Windows has something to ask, DXVA2. Elsewhere every answer is no, and decoding is left to
/// the processor.
///
/// Threads: all functions may be called on any thread. No lock is held while the card is asked,
/// which makes a Direct3D device and takes its time; two threads may ask for the same size at once.
class HwDecodeSolution
{
public:
    /// Bits of the ways of decoding.
    enum Solution { Solution_DXVA2 = 1 };

    /// Asks for eleven usual sizes, so that streams of these need not wait. Called once by
    /// Vantra::init. Asks nothing, and logs nothing, where there is nothing to ask. Returns true.
    static bool preQuery();

    /// Asks the card for these sizes and keeps what it can decode; what it cannot is not kept here.
    /// If the card cannot be asked, one line of level error tells why and nothing is changed.
    static void queryAndSaveSolutions(const QList<QSize> &sizes);

    /// Whether there is an answer, yes or no, that needs no asking.
    static bool contains(const QString &codec, int width, int height);

    /// Whether one of the ways in the mask `solution` decodes this. Asks for a size that is not
    /// known yet, once: a no is kept too, also if the card could not be asked.
    static bool isSupported(const QString &codec, int width, int height, int solution);

    /// Under which an answer is kept, such as "H264_1920*1080".
    static QString makeKey(const QString &codec, int width, int height);
};
