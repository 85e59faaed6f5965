// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/coding/footage.h"
#include "simulator/coding/sceneencoder.h"
#include "simulator/coding/slices.h"
#include "simulator/coding/strip.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vantrasim {

/// What a stream shows. Streams that show the same share one loop.
struct LoopForm
{
    SceneEncoder::Form picture;
    std::string name;      ///< of the channel
    std::uint32_t rgb = 0; ///< colour of the room, 0xRRGGBB
    std::uint32_t id = 0;  ///< in the row of blocks along the bottom
};

/// A scene of two groups of pictures, encoded once and sent for ever. Each picture can be had with
/// any counter and text: those are in the strip, which is put in when it is sent (slices.h). The
/// loop encodes itself on a thread of its own and can be used as soon as one group is there. Any
/// thread.
class Loop final : public Footage
{
public:
    /// The loop of that form, made when it is first asked for.
    static std::shared_ptr<Loop> forForm(const LoopForm &form);

    explicit Loop(const LoopForm &form);
    ~Loop() override;

    /// Pictures that can be had, whole groups; 0 at first.
    int size() const override { return m_ready; }
    bool isComplete() const override { return m_ready == static_cast<int>(m_pictures.size()); }
    /// Whether the encoder failed, so that there will never be any.
    bool isBroken() const override { return m_broken; }
    bool isKey(int index) const override { return index % m_form.picture.gop == 0; }

    bool compose(int index, std::uint32_t counter, const std::string &text, bool withSets,
                 Bytes *stream) const override;

private:
    void encode();

    LoopForm m_form;
    std::shared_ptr<StripSource> m_strips;
    std::unique_ptr<SliceJoiner> m_joiner;
    std::vector<LowerSlice> m_pictures; // as many as will be, from the beginning
    std::atomic<int> m_ready{0};
    std::atomic<bool> m_broken{false};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace vantrasim
