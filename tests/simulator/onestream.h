// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "framereader.h"

#include "simulator/devicecontrol.h"

#include <QElapsedTimer>

constexpr int kReadMs = 200;
/// What waits for the reader where no frame may be missing, however slow the machine is.
constexpr int kPatientMs = 60000;

inline vantrasim::DeviceConfig oneStream(const vantrasim::VideoFormat &video,
                                         const vantrasim::AudioFormat &audio = {})
{
    auto config = vantrasim::DeviceConfig::simple(1, 1);
    config.channels[0].streams[0].video = video;
    config.channels[0].streams[0].audio = audio;
    config.queueMs = kPatientMs;
    return config;
}

inline vantrasim::VideoFormat format(qint32 codec, int width, int height, int fps = 25, int gop = 0)
{
    vantrasim::VideoFormat video;
    video.codec = codec;
    video.width = width;
    video.height = height;
    video.fps = fps;
    video.gop = gop;
    return video;
}

/// Reads one frame of the kind asked for; false if none came in 20 seconds.
template<typename Wanted>
bool readOne(HNetDevice &device, FrameBuffer &buffer, Wanted wanted, int channel = 0,
             int stream = 0)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 20000) {
        if (device.readFrame(channel, stream, buffer.header(), kReadMs) == HRetOk &&
            wanted(*buffer.header()))
            return true;
    }
    return false;
}
