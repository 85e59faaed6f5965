// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#if defined(VANTRA_DEVICELINK_LIBRARY)
#define VANTRA_DEVICELINK_EXPORT Q_DECL_EXPORT
#else
#define VANTRA_DEVICELINK_EXPORT Q_DECL_IMPORT
#endif

/// Codec field of HVideoEncPara and HAudioEncPara.
enum HAVCodecID : qint32 {
    HCodecH264 = 1,
    HCodecH265 = 2,
    HCodecG711A = 33,
    HCodecG711U = 34,
    HCodecPcm = 35,
};

/// What a video stream is encoded with. Filled by the device link: the layout is fixed.
struct VANTRA_DEVICELINK_EXPORT HVideoEncPara
{
    qint32 codecId = 0;   ///< HAVCodecID; 0 until it is filled
    qint32 width = 0;     ///< pixels
    qint32 height = 0;    ///< pixels
    qint32 frameRate = 0; ///< frames per second
    qint32 mode = 0;      ///< written as 1 by whoever builds a record, never read
    qint32 bitRate = 0;   ///< bits per second

    /// A codec that can be recorded, with a size.
    bool isValid() const;
};

/// What an audio stream is encoded with. Filled by the device link: the layout is fixed.
struct VANTRA_DEVICELINK_EXPORT HAudioEncPara
{
    qint32 codecId = 0;       ///< HAVCodecID; 0 until it is filled
    qint32 sampleRate = 0;    ///< Hz
    qint32 bitsPerSample = 0; ///< as the device says: of G.711 8, or 16, as it decodes to
    qint32 channels = 1;      ///< 1 or 2

    /// A codec that can be recorded, with a complete sample format.
    bool isValid() const;
};

static_assert(sizeof(HVideoEncPara) == 24 && sizeof(HAudioEncPara) == 16);

/// Codec and size decide; frame rate, mode and bit rate play no part on purpose, so that a change
/// of those never starts a new recording.
VANTRA_DEVICELINK_EXPORT bool operator==(const HVideoEncPara &a, const HVideoEncPara &b);
VANTRA_DEVICELINK_EXPORT bool operator!=(const HVideoEncPara &a, const HVideoEncPara &b);

/// All four fields decide.
VANTRA_DEVICELINK_EXPORT bool operator==(const HAudioEncPara &a, const HAudioEncPara &b);
VANTRA_DEVICELINK_EXPORT bool operator!=(const HAudioEncPara &a, const HAudioEncPara &b);
