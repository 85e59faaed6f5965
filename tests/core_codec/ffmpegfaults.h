// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/frame.h>
}

#include <deque>
#include <functional>

struct AVCodecContext;

namespace vantratest {

/// Makes calls that the codec layer sends to FFmpeg and the C library fail, or succeed without a
/// video card. It works in executables that are linked with the wrappers of ffmpegfaults.cpp, for
/// calls from our own objects; calls within FFmpeg stay as they are.
struct Faults
{
    /// Name of the function that fails; null: none.
    static const char *failing;
    /// What it answers where it answers with a code.
    static int code;

    /// A video card is pretended: devices are there, and receiving gives what stands in `results`.
    static bool hasCard;

    /// What one avcodec_receive_frame answers while a card is pretended.
    struct Received
    {
        int result = 0;
        int format = AV_PIX_FMT_VAAPI;
        int width = 64;
        int height = 48;
        uint8_t *data[4] = {};
    };
    static std::deque<Received> results;

    /// Transfers give pictures of this form and of one red.
    static int transferFormat;
    /// Of the last transfer: the memory of an earlier one was used again.
    static bool hasReusedMemory;

    /// The packet that was last sent to a decoder; its data may be gone.
    static AVPacket sentPacket;
    /// Time stamp of the frame that was last sent to an encoder.
    static int64_t sentFramePts;
    /// Of the last conversion: the room told, and the samples that went in.
    static int convertRoom;
    static int convertSamples;

    enum class Step { Open, Decode, Free };
    /// Called, if set, before FFmpeg opens a codec, takes a packet to decode, or frees a codec.
    static std::function<void(Step, AVCodecContext *)> watcher;

    static void reset();
};

} // namespace vantratest
