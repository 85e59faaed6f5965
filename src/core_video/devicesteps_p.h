// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_video/deviceinterface.h"
#include "devicelink/devicerules.h"

#include <QThread>

struct HFrameHeader;

/// What the threads that a device feeds do in the same way. `tag`: what the log lines of the thread
/// begin with. On the stream thread, unless told otherwise.
namespace devicesteps {

/// Reads without a frame, in a row, that are not told.
constexpr int kSilentTimeouts = 4;

/// Asks `status` ten times a second until it answers that the device is connected, `limitMs` are
/// over or `stopped` is true. Returns the last answer.
template<class Flag, class Status>
HChannelStatus waitUntilConnected(int limitMs, const Flag &stopped, Status status)
{
    constexpr int kPollMs = 100;
    HChannelStatus answer = HChannelDisconnected;
    for (int i = 0; i < limitMs / kPollMs && !stopped; ++i) {
        answer = status();
        if (answer == HChannelConnected)
            break;
        QThread::msleep(kPollMs);
    }
    return answer;
}

/// The device that `thread` is bound to; null, with an error in the log, if there is none.
QSharedPointer<HNetDevice> deviceOrError(const DeviceInterface &thread, const char *tag);

/// What the device says of the form of the thread's stream. 0, or -1 with an error in the log. Any
/// thread.
int readCodecInfo(const DeviceInterface &thread, HVideoEncPara &video, HAudioEncPara &audio,
                  const char *tag);

/// Tells in the log that a read has waited `limitMs` for a frame of `stream`.
void tellTimeout(const HNetDevice &device, int stream, int limitMs, const char *tag);

/// Reads a frame of the thread's live stream for at most `timeoutMs`, and tells what went wrong. A
/// read without a frame is told behind `kSilentTimeouts` others, which `timeouts` counts, with
/// `limitMs` as the time that it waited.
DeviceReadResult readLiveFrame(const DeviceInterface &thread, HFrameHeader *frame, int timeoutMs,
                               int timeouts, int limitMs, const char *tag);

} // namespace devicesteps
