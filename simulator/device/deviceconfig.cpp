// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/deviceconfig.h"

#include <algorithm>
#include <iterator>

namespace vantrasim {

namespace {

constexpr quint32 kRooms[] = {0x2E6F9E, 0x3C8D5A, 0xA2543A, 0x6B4E9B, 0x8A7A2F, 0x2F8C8C,
                              0x9C3F6E, 0x5A6570, 0x1F4E8C, 0x5F8C1F, 0x8C1F1F, 0x4B2F8C,
                              0xB08030, 0x1F8C6A, 0xC060A0, 0x808080};
constexpr double kBitsPerPixel = 0.08;
constexpr int kFirstTone = 400; // Hz
constexpr int kToneStep = 40;   // Hz, from channel to channel

} // namespace

HVideoEncPara VideoFormat::para() const
{
    HVideoEncPara para;
    para.codecId = codec;
    para.width = width;
    para.height = height;
    para.frameRate = fps;
    para.mode = 1;
    para.bitRate = int(kBitsPerPixel * width * height * fps);
    return para;
}

SceneEncoder::Form VideoFormat::picture() const
{
    SceneEncoder::Form form;
    form.codec = codec;
    form.width = width;
    form.height = height;
    form.fps = fps;
    form.gop = pictureGroup();
    form.quality = quality;
    return form;
}

bool operator==(const VideoFormat &a, const VideoFormat &b)
{
    return a.codec == b.codec && a.width == b.width && a.height == b.height && a.fps == b.fps &&
           a.gop == b.gop && a.quality == b.quality;
}

HAudioEncPara AudioFormat::para() const
{
    HAudioEncPara para;
    if (codec == 0)
        return para;
    para.codecId = codec;
    para.sampleRate = sampleRate;
    para.bitsPerSample = 16; // of what the samples decode to
    para.channels = channels;
    return para;
}

bool operator==(const AudioFormat &a, const AudioFormat &b)
{
    return a.codec == b.codec && a.sampleRate == b.sampleRate && a.channels == b.channels &&
           a.hertz == b.hertz && a.packetMs == b.packetMs;
}

int DeviceConfig::streamsPerChannel() const
{
    int most = 0;
    for (const ChannelConfig &channel : channels)
        most = std::max(most, int(channel.streams.size()));
    return most;
}

DeviceConfig DeviceConfig::simple(int channels, int streams, HTransportProtocol protocol)
{
    DeviceConfig config;
    config.protocol = protocol;
    for (int i = 0; i < channels; ++i) {
        ChannelConfig channel;
        channel.name = QStringLiteral("CH %1").arg(i + 1);
        channel.colour = kRooms[std::size_t(i) % std::size(kRooms)];
        for (int stream = 0; stream < streams; ++stream) {
            StreamConfig form;
            form.video.codec = i % 2 == 0 ? HCodecH264 : HCodecH265;
            if (stream > 0) {
                form.video.width = 320;
                form.video.height = 180;
                form.video.fps = 12;
            }
            form.audio.codec = i % 2 == 0 ? HCodecG711A : HCodecG711U;
            form.audio.hertz = kFirstTone + kToneStep * i;
            channel.streams.push_back(form);
        }
        config.channels.push_back(channel);
    }
    return config;
}

} // namespace vantrasim
