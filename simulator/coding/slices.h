// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/bits.h"

#include <memory>

namespace vantrasim {

/// A picture of the loop: everything below the strip, made ready to be sent many times.
struct LowerSlice
{
    bool key = false;
    Bytes coded; ///< the slice as it is sent, with start code and escapes
    Bytes unit;  ///< as the encoder made it, without escapes: the header above is made of it
    // Where in `unit` those parts of its header lie that the slice above has to repeat, in bits.
    std::size_t orderBegin = 0;
    std::size_t orderEnd = 0;
    std::size_t markingBegin = 0;
    std::size_t markingEnd = 0;
};

/// A part of the strip above it, by itself a picture that refers to no other; the same for every
/// stream of that size.
struct UpperSlice
{
    int top = 0;              ///< line of the picture where it begins
    std::int32_t qpDelta = 0; ///< as in its header
    Bytes payload;            ///< what follows the header
};

/// The whole strip, from the top. Its parts are shared with other pictures.
using Strip = std::vector<std::shared_ptr<const UpperSlice>>;

/// Puts pictures together from slices that were encoded apart: the strip along the top, which is
/// new in every frame, and the rest, which is one of a loop. Only slice headers are written
/// anew; the coded blocks stay as the encoders made them. That holds because
///
/// - a slice may not look into another one of its picture, so each is coded as if at an edge,
/// - the encoders filter no edges of blocks (an in-loop filter would cross the seam),
/// - nothing that moves comes near the seam: a vector across it would read the strip of the picture
///   before, which the encoder of the lower slice has not seen.
///
/// Constant after create(); any thread.
class SliceJoiner
{
public:
    /// `parameterSets`: those of an encoder for the whole picture, with start codes. `codec` is 1
    /// for H.264, 2 for H.265. None if they are not of the kind that SceneEncoder makes.
    static std::unique_ptr<SliceJoiner> create(int codec, const Bytes &parameterSets, int width,
                                               int stripHeight);
    virtual ~SliceJoiner() = default;
    SliceJoiner(const SliceJoiner &) = delete;
    SliceJoiner &operator=(const SliceJoiner &) = delete;

    /// Takes one picture of the encoder of the lower part, with start codes.
    virtual bool takeLower(const Bytes &coded, LowerSlice *slice) const = 0;
    /// Takes one picture of an encoder of a part of the strip, with start codes.
    virtual bool takeUpper(const Bytes &coded, UpperSlice *slice) const = 0;
    /// Makes a part of the strip without an encoder, of blocks as encodeFlatSlice() takes them.
    /// False where the codec has no way to do it.
    virtual bool makeUpper(const Bytes &luma, int lines, UpperSlice *slice) const = 0;
    /// Appends one whole picture, without parameter sets.
    void join(const Strip &strip, const LowerSlice &lower, Bytes *stream) const;

    /// With start codes, nothing but the sets themselves.
    const Bytes &parameterSets() const { return m_parameterSets; }

protected:
    SliceJoiner() = default;
    /// The header of the strip as a slice of the picture that `lower` belongs to, up to where the
    /// payload follows.
    virtual void writeUpperHeader(const UpperSlice &upper, const LowerSlice &lower,
                                  BitWriter *out) const = 0;

    Bytes m_parameterSets;
};

} // namespace vantrasim
