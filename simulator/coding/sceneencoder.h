// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/bits.h"
#include "simulator/scene/scene.h"

#include <memory>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace vantrasim {

/// libx264 or libx265, set up so that SliceJoiner understands what they write: one thread, one
/// slice, one reference, no B pictures, no filter over the edges of blocks, the same quality for
/// all blocks. Used by one thread at a time.
class SceneEncoder
{
public:
    struct Form
    {
        int codec = 1;  ///< 1 H.264, 2 H.265
        int width = 0;  ///< pixels, even
        int height = 0; ///< pixels, even
        int fps = 25;
        int gop = 25;     ///< pictures from one key frame to the next
        int quality = 28; ///< quantiser, 10 (best) to 45
    };

    SceneEncoder();
    ~SceneEncoder();
    SceneEncoder(const SceneEncoder &) = delete;
    SceneEncoder &operator=(const SceneEncoder &) = delete;

    /// False if FFmpeg lacks the encoder, or it does not take the form.
    bool open(const Form &form);
    /// Encodes one picture; `coded` is the whole of it, with start codes and without parameter
    /// sets.
    bool encode(const I420View &picture, Bytes *coded);
    /// With start codes.
    const Bytes &parameterSets() const { return m_parameterSets; }

private:
    struct Free
    {
        void operator()(AVCodecContext *context) const;
        void operator()(AVFrame *frame) const;
        void operator()(AVPacket *packet) const;
    };

    std::unique_ptr<AVCodecContext, Free> m_context;
    std::unique_ptr<AVFrame, Free> m_frame;
    std::unique_ptr<AVPacket, Free> m_packet;
    Bytes m_parameterSets;
    std::int64_t m_next = 0;
};

} // namespace vantrasim
