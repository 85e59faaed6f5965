// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/device/devicecalls.h"

#include "devicelink/hretcodes.h"

#include <QMutex>
#include <QVector>

#include <random>
#include <vector>

namespace vantrasim {

/// Where a fault strikes. For playback and download the stream is 0.
struct FaultPlace
{
    int channel = -1; ///< -1: any
    int stream = -1;  ///< -1: any
};

/// Which road a fault strikes on.
enum class FaultRoad { Live, Playback, Download };

enum class FrameFault {
    ReadError,       ///< the read fails with `value` (0: 99) instead; the frame comes with the next
    StampForward,    ///< this stamp and all later ones are `value` ms later
    StampBack,       ///< this stamp and all later ones are `value` ms earlier
    StampRepeat,     ///< the stamp is that of the frame before
    HeaderTooSmall,  ///< frameSize tells `value` bytes less than there are (0: half)
    HeaderTooLarge,  ///< frameSize tells `value` bytes more (0: the largest number there is)
    OtherSize,       ///< the header tells a picture of `value` percent of the size (0: 50)
    Garbage,         ///< the payload is noise of the same length
    Truncated,       ///< payload and frameSize are `value` bytes long (0: half)
    Empty,           ///< no payload at all
    UnknownType,     ///< frameType is `value` (0: 5)
    UnknownCodec,    ///< codecId is `value` (0: 6)
    Largest,         ///< filled up to the largest payload that a buffer can hold
    NoParameterSets, ///< a key frame comes without them
    Lost,            ///< the frame is left out
    Repeated,        ///< the frame comes a second time
    Swapped,         ///< the frame comes after the next one
};

/// Which frames a fault is for.
enum class FrameSort { Any, Video, Key, Audio };

/// One entry of a script: strikes `count` frames of that sort, after `after` of them have passed.
struct ScriptedFault
{
    FrameFault fault = FrameFault::ReadError;
    FaultPlace place;
    FrameSort sort = FrameSort::Any;
    int after = 0;
    int count = 1; ///< -1: for ever
    qint64 value = 0;
    FaultRoad road = FaultRoad::Live;
};

/// What goes wrong with a simulated device: refusals and frames. What concerns the link as a whole
/// (lost connections, stalls) stands in DeviceControl. Any thread, also while frames are read.
class DeviceFaults
{
    Q_DISABLE_COPY(DeviceFaults)

public:
    DeviceFaults() = default;

    /// The next `count` calls of `operation` (-1: all) answer `answer` and do nothing else. Those
    /// that answer with something else than a code cannot be refused.
    void refuse(DeviceOp operation, HRetError answer, int count = 1, FaultPlace place = {});
    /// Adds to the script. Entries strike in the order in which they were added, at most one per
    /// frame, but for those on the stamp, which go along with any.
    void strike(const ScriptedFault &fault);
    /// From now on each frame is struck with this probability by one of `kinds`, which follows from
    /// `seed` alone. 0 ends it.
    void strikeAtRandom(quint32 seed, double probability, const QVector<FrameFault> &kinds,
                        FaultPlace place = {});
    /// No further faults. Stamps that were moved stay moved.
    void clear();
    /// How many frames were struck, and calls refused.
    int struck() const;

    // For the device.
    /// HRetOk if it is not refused.
    HRetError answerTo(DeviceOp operation, int channel, int stream);
    /// What to do to the next frame.
    std::vector<ScriptedFault> take(FaultRoad road, int channel, int stream, bool key, bool audio);

private:
    struct Refusal
    {
        DeviceOp operation;
        HRetError answer;
        int count;
        FaultPlace place;
    };

    mutable QMutex m_mutex;
    std::vector<Refusal> m_refusals;
    std::vector<ScriptedFault> m_script;
    std::mt19937 m_random;
    double m_probability = 0;
    QVector<FrameFault> m_kinds;
    FaultPlace m_randomPlace;
    int m_struck = 0;
};

} // namespace vantrasim
