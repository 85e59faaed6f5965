// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/encpara.h"
#include "devicelink/hretcodes.h"

#include <limits>

// The small rules that everybody follows who talks to a device. Pure functions, any thread.

/// The main stream of a channel, which is recorded; the others are smaller pictures of it.
constexpr int kMainStream = 0;

/// Place of a stream among all streams of a device; `stream` counts within its channel.
/// Devices list their streams, and their addresses, in this order. -1 where the numbers are beyond
/// what an index can hold.
constexpr int flatStreamIndex(int streamsPerChannel, int channel, int stream)
{
    const qint64 index = qint64(streamsPerChannel) * channel + stream;
    const bool fits =
        index >= std::numeric_limits<int>::min() && index <= std::numeric_limits<int>::max();
    return fits ? int(index) : -1;
}

/// Playback speed as a device takes it: cut towards zero, so that 0.5 is 0 and 1.5 is 1. That is
/// intended. Bounded by what an int holds; 0 where it is no number.
constexpr int wholeSpeed(double speed)
{
    if (speed != speed)
        return 0;
    if (speed >= double(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    if (speed <= double(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    return int(speed);
}

/// HAVCodecID for the code in HFrameHeader::codecId of a video frame; 0 for an unknown one.
constexpr qint32 codecOfVideoFrame(quint32 frameCode)
{
    return frameCode == 0 ? HCodecH264 : frameCode == 1 ? HCodecH265 : 0;
}

/// HAVCodecID for the code in HFrameHeader::codecId of an audio frame; 0 for an unknown one.
constexpr qint32 codecOfAudioFrame(quint32 frameCode)
{
    switch (frameCode) {
    case 3:
        return HCodecG711A;
    case 4:
        return HCodecG711U;
    case 5:
        return HCodecPcm;
    }
    return 0;
}

/// Code that a frame carries for an HAVCodecID; -1 where there is none.
constexpr int frameCodeOfCodec(qint32 codecId)
{
    switch (codecId) {
    case HCodecH264:
        return 0;
    case HCodecH265:
        return 1;
    case HCodecG711A:
        return 3;
    case HCodecG711U:
        return 4;
    case HCodecPcm:
        return 5;
    }
    return -1;
}

/// What the reading loops make of the answer to a read.
enum DeviceReadResult : int {
    DeviceReadFrame = 0,   ///< one whole frame is in the buffer
    DeviceReadEnd = 1,     ///< end of the recording
    DeviceReadTimeout = 2, ///< nothing arrived in time
    DeviceReadError = 3,   ///< anything else, or no device
};

/// Of a live stream, which knows no end.
constexpr DeviceReadResult liveReadResult(HRetError answer)
{
    return answer == HRetOk        ? DeviceReadFrame
           : answer == HRetTimeout ? DeviceReadTimeout
                                   : DeviceReadError;
}

/// Of playback and download.
constexpr DeviceReadResult recordedReadResult(HRetError answer)
{
    return answer == HRetEndOfFile ? DeviceReadEnd : liveReadResult(answer);
}
