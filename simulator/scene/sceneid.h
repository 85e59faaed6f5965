// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace vantrasim {

/// What the row of blocks along the bottom of a picture says: device, channel and stream, 0 to 255
/// each; larger numbers are cut.
constexpr std::uint32_t sceneIdOf(int device, int channel, int stream)
{
    return (static_cast<std::uint32_t>(device & 0xFF) << 16) |
           (static_cast<std::uint32_t>(channel & 0xFF) << 8) |
           static_cast<std::uint32_t>(stream & 0xFF);
}

constexpr int deviceOfScene(std::uint32_t id)
{
    return static_cast<int>((id >> 16) & 0xFF);
}

constexpr int channelOfScene(std::uint32_t id)
{
    return static_cast<int>((id >> 8) & 0xFF);
}

constexpr int streamOfScene(std::uint32_t id)
{
    return static_cast<int>(id & 0xFF);
}

} // namespace vantrasim
