// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/hframeheader.h"

#include <cstdlib>
#include <memory>

struct FreeFrame
{
    void operator()(HFrameHeader *frame) const { std::free(frame); }
};

/// The one buffer of a loop that reads frames of a device.
using FrameBuffer = std::unique_ptr<HFrameHeader, FreeFrame>;

/// Zeroed, so that a frame which claims to be longer than what was written shows nothing of other
/// memory; the system does that page by page as it is used. Null where there is no memory.
inline FrameBuffer makeFrameBuffer()
{
    return FrameBuffer(static_cast<HFrameHeader *>(std::calloc(1, kHFrameBufferSize)));
}
