// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/bits.h"
#include "simulator/device/deviceconfig.h"
#include "simulator/device/faults.h"

#include "devicelink/hframeheader.h"

#include <deque>

namespace vantrasim {

/// A frame on its way to the reader.
struct Frame
{
    HFrameHeader header{}; ///< `frameSize` is what it tells, true or not
    Bytes payload;

    static Frame video(const VideoFormat &format, bool key, qint64 pts, Bytes payload);
    static Frame audio(const AudioFormat &format, qint64 pts, const QByteArray &payload);

    /// Into a buffer of kHFrameBufferSize bytes: no more than fits, whatever the header tells.
    void write(HFrameHeader *buffer) const;
};

/// Does to the frames of one stream what the faults say. Used by one thread at a time.
class FrameMangler
{
public:
    FrameMangler(DeviceFaults *faults, FaultRoad road, int channel, int stream);

    /// Decides what happens to the next frame. HRetOk, or what the read is to fail with: the frame
    /// is then announced again by the next one. Called once for each frame that is due, before it
    /// is made.
    HRetError begin(bool key, bool audio);
    /// Whether the frame is to be made with its parameter sets.
    bool wantsSets() const { return m_sets; }
    /// Takes the frame that begin() announced; what comes of it is in next(): none, one or two.
    void put(Frame frame);
    /// Hands out what is ready for the reader; false if nothing is.
    bool next(Frame *frame);
    bool isEmpty() const { return m_ready.empty(); }
    /// Frames under way are forgotten, and stamps are true again.
    void reset();

private:
    void strike(const ScriptedFault &fault, Frame *frame);

    DeviceFaults *m_faults;
    FaultRoad m_road;
    int m_channel;
    int m_stream;
    std::vector<ScriptedFault> m_now;
    bool m_sets = true;
    qint64 m_shift = 0; // ms
    qint64 m_lastPts = 0;
    std::deque<Frame> m_ready;
    std::deque<Frame> m_later; // behind the next one
    std::mt19937 m_noise{1};
};

} // namespace vantrasim
