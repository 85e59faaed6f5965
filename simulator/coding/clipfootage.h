// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/footage.h"
#include "simulator/rtsp/clip.h"

#include <memory>

namespace vantrasim {

/// A media file as it is. It says neither who took it nor when.
class ClipFootage final : public Footage
{
public:
    /// The file, read when it is first asked for and shared by all who have it. Never none; one
    /// that cannot be read is broken, and says why.
    static std::shared_ptr<const ClipFootage> forFile(const std::string &file);

    explicit ClipFootage(const std::string &file);

    int size() const override { return static_cast<int>(m_clip.pictures.size()); }
    bool isComplete() const override { return true; }
    bool isBroken() const override { return m_clip.pictures.empty(); }
    bool isKey(int index) const override;
    bool compose(int index, std::uint32_t counter, const std::string &text, bool withSets,
                 Bytes *stream) const override;

    const Clip &clip() const { return m_clip; }
    /// Pictures per second, rounded; at least 1.
    int fps() const;
    /// Pictures from one key picture to the next, at the beginning.
    int gop() const;
    const std::string &problem() const { return m_problem; }

private:
    Clip m_clip;
    std::string m_problem;
};

} // namespace vantrasim
