// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "device.h"
#include "simulator/devicecontrol.h"

#include <functional>
#include <memory>

namespace vantratest {

/// The day that simulated recorders of tests have recorded.
inline QDate recordedDay()
{
    return QDate(2026, 3, 14);
}

/// A time of that day, as recordings have it, and as devices are asked for it.
inline qint64 recordedAt(int hour, int minute = 0, int second = 0)
{
    return recordingtime::of(recordedDay()) + hour * recordingtime::hourMs +
           minute * recordingtime::minuteMs + second * recordingtime::secondMs;
}

/// A simulated recorder, in the list of a window by the name of its number. Each channel has
/// recorded the day from 9 to 10 and from 11 to 12 o'clock, in small pictures with two key pictures
/// a second; what is changed in the configuration holds.
struct Recorder
{
    explicit Recorder(int number = 1, int channels = 1,
                      const std::function<void(vantrasim::DeviceConfig *)> &change = {})
    {
        auto config = vantrasim::DeviceConfig::simple(channels, 2);
        config.number = number;
        for (vantrasim::ChannelConfig &channel : config.channels) {
            channel.streams[0].video.gop = kGop;
            record(&channel, recordedAt(9), recordedAt(10));
            record(&channel, recordedAt(11), recordedAt(12));
        }
        if (change)
            change(&config);
        const vantrasim::Simulation simulation = vantrasim::simulateDevice(config);
        control = simulation.control;
        device.link = simulation.device;
        device.name = QStringLiteral("Recorder %1").arg(number);
        for (const vantrasim::ChannelConfig &channel : qAsConst(config.channels))
            device.channels.append(channel.name);
        device.recorded = recordedBy(control);
    }

    static void record(vantrasim::ChannelConfig *channel, qint64 begin, qint64 end)
    {
        channel->archive.append(
            {recordingtime::forDevice(begin), recordingtime::forDevice(end), channel->streams[0]});
    }

    Camera camera(int channel = 0) const { return device.cameras()[channel]; }
    vantrasim::DeviceCalls &calls() const { return control->calls(); }
    qint64 count(vantrasim::DeviceOp operation) const { return calls().count(operation); }

    static constexpr int kFps = 25;
    static constexpr int kGop = 12; ///< pictures from one key picture to the next

    std::shared_ptr<vantrasim::DeviceControl> control;
    Device device;
};

} // namespace vantratest
