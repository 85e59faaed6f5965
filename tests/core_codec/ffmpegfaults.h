// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/frame.h>
}

#include <atomic>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

struct AVCodecContext;

namespace vantratest {

/// Makes calls that our own objects send to FFmpeg and the C library fail, or succeed without a
/// video card, and notes what some of them hand over. It works in executables that are linked with
/// the wrappers of ffmpegfaults.cpp; calls within FFmpeg stay as they are. But for `failing` the
/// fields may be touched only while no other thread calls FFmpeg.
struct Faults
{
    /// Name of the function that fails; null: none.
    static std::atomic<const char *> failing;
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
    /// Size of what a transfer gives; 0: that of its source.
    static int transferWidth;
    static int transferHeight;

    /// Called with each frame that was received, unless a card is pretended.
    static std::function<void(AVCodecContext *, AVFrame *)> atFrame;

    /// What the last avformat_open_input was given; options in their order.
    static std::string inputName;
    static bool inputHasOptions;
    static std::vector<std::pair<std::string, std::string>> inputOptions;
    /// What the last sws_getContext was given.
    static int scalerFlags;

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
