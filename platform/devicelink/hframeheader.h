// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// One frame as the device link hands it over: this record, little-endian, with the payload behind
/// it in the same buffer. The last 8 of its 56 bytes are already the first 8 of the payload, so the
/// payload is reached through payload() and never through a copy of the record.
///
/// Whoever reads frames owns one buffer of kHFrameBufferSize bytes and lends it for each read. The
/// size is passed to nobody: the device link must not write more payload than kHFrameMaxPayload.
struct HFrameHeader
{
    /// Values of frameType. 1 to 3 are video too, and are not told apart; above 4 is neither.
    enum Type : quint32 { VideoKeyFrame = 0, VideoFrame = 1, AudioFrame = 4 };

    qint32 reserved0;           ///< never read
    quint32 frameType;          ///< see Type
    quint32 frameSize;          ///< length of the payload in bytes; hostile until checked
    quint32 codecId;            ///< frame code, see codecOfVideoFrame() and codecOfAudioFrame()
    qint32 widthOrSampleRate;   ///< video: width in pixels; audio: Hz
    qint32 heightOrBits;        ///< video: height in pixels; audio: bits per sample
    qint32 frameRateOrChannels; ///< video: frames per second; audio: channels
    qint32 bitRate;             ///< video: bits per second; audio: not read
    qint64 pts;                 ///< milliseconds; recorded video: since 1970 in UTC
    qint64 reserved1;           ///< never read
    uchar data[8];              ///< first bytes of the payload

    bool isVideo() const { return frameType < AudioFrame; }        ///< any picture
    bool isKeyFrame() const { return frameType == VideoKeyFrame; } ///< a picture to begin at
    bool isAudio() const { return frameType == AudioFrame; }       ///< sound

    /// `frameSize` bytes of the elementary stream, or samples, if the record heads a frame buffer.
    inline uchar *payload();
    inline const uchar *payload() const;
    /// Whether `frameSize` is a length that a frame buffer can hold.
    inline bool fitsBuffer() const;
};

static_assert(sizeof(HFrameHeader) == 56);

/// Bytes of the record before its payload.
constexpr quint32 kHFramePayloadOffset = 48;
/// Bytes of the buffer that a reader lends: 1 MiB beyond the record.
constexpr quint32 kHFrameBufferSize = 0x100038;
/// Longest payload that a device link may write: 1 MiB and 8 bytes.
constexpr quint32 kHFrameMaxPayload = kHFrameBufferSize - kHFramePayloadOffset;

uchar *HFrameHeader::payload()
{
    return reinterpret_cast<uchar *>(this) + kHFramePayloadOffset;
}

const uchar *HFrameHeader::payload() const
{
    return reinterpret_cast<const uchar *>(this) + kHFramePayloadOffset;
}

bool HFrameHeader::fitsBuffer() const
{
    return frameSize <= kHFrameMaxPayload;
}
