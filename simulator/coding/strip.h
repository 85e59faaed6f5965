// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/sceneencoder.h"
#include "simulator/coding/slices.h"

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace vantrasim {

/// Encodes the strips of pictures of one form. All streams of that form in the process share one
/// source, and frames of the same moment carry the same strip, so that each is encoded once however
/// many streams are sent. Any thread.
class StripSource
{
public:
    /// The source for pictures of `form`, whole pictures; made when it is first asked for. None if
    /// the encoder is missing.
    static std::shared_ptr<StripSource> forPictures(const SceneEncoder::Form &form);

    explicit StripSource(const SceneEncoder::Form &form);
    StripSource(const StripSource &) = delete;
    StripSource &operator=(const StripSource &) = delete;

    bool isValid() const { return m_joiner != nullptr; }
    /// The strip with `counter` and `text`; none if the encoder fails. Newest first, as many are
    /// kept as some seconds have.
    std::shared_ptr<const UpperSlice> strip(std::uint32_t counter, const std::string &text);

private:
    using Kept =
        std::pair<std::pair<std::uint32_t, std::string>, std::shared_ptr<const UpperSlice>>;

    SceneEncoder::Form m_form; // of whole pictures
    int m_height;              // of the strip
    std::unique_ptr<SliceJoiner> m_joiner;

    std::mutex m_mutex; // guards what follows
    SceneEncoder m_encoder;
    Bytes m_pixels;
    std::deque<Kept> m_kept;
};

} // namespace vantrasim
