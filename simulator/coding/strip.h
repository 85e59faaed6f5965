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

    bool isValid() const { return m_row.joiner != nullptr && m_text.joiner != nullptr; }
    /// The strip with `counter` and `text`; empty if the encoder fails. The parts made last are
    /// kept, as many as some seconds have.
    Strip strip(std::uint32_t counter, const std::string &text);

private:
    using Slice = std::shared_ptr<const UpperSlice>;

    /// An encoder for a part of the strip.
    struct Part
    {
        int top = 0;
        int height = 0;
        SceneEncoder encoder;
        std::unique_ptr<SliceJoiner> joiner; ///< takes the encoder's pictures apart
        Bytes pixels;
    };

    void open(Part *part);
    Slice encode(Part *part);
    Slice makeRow(std::uint32_t counter);
    Slice makeText(const std::string &text);

    const SceneEncoder::Form m_form; // of whole pictures

    std::mutex m_mutex; // guards what follows
    Part m_row;
    Part m_text;
    std::deque<std::pair<std::uint32_t, Slice>> m_rows;
    std::deque<std::pair<std::string, Slice>> m_texts;
};

} // namespace vantrasim
