// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/loop.h"

#include <map>
#include <mutex>
#include <tuple>

namespace vantrasim {

namespace {

/// An even number: the encoder of H.264 numbers key frames 0, 1, 0, 1, and the last of the loop is
/// followed by the first.
constexpr int kGroups = 2;

} // namespace

std::shared_ptr<Loop> Loop::forForm(const LoopForm &form)
{
    using Key = std::tuple<int, int, int, int, int, int, std::string, std::uint32_t, std::uint32_t>;
    static std::mutex mutex;
    // Never destroyed: a device may be at work when the process ends.
    static auto &loops = *new std::map<Key, std::weak_ptr<Loop>>;
    const SceneEncoder::Form &picture = form.picture;
    const std::lock_guard<std::mutex> lock(mutex);
    auto &known = loops[{picture.codec, picture.width, picture.height, picture.fps, picture.gop,
                         picture.quality, form.name, form.rgb, form.id}];
    std::shared_ptr<Loop> loop = known.lock();
    if (!loop) {
        loop = std::make_shared<Loop>(form);
        known = loop;
    }
    return loop;
}

Loop::Loop(const LoopForm &form)
    : m_form(form), m_pictures(static_cast<std::size_t>(form.picture.gop * kGroups))
{
    m_thread = std::thread([this] { encode(); });
}

Loop::~Loop()
{
    m_stop = true;
    m_thread.join();
}

void Loop::encode()
{
    // Many loops are asked for at once; they take turns group by group, so that each is soon usable
    // and the machine has as many encoders at work as it would have with one.
    static std::mutex turn;
    const SceneEncoder::Form &form = m_form.picture;
    const int strip = stripHeight(form.width, form.height);
    SceneEncoder::Form below = form;
    below.height -= strip;
    SceneEncoder whole;
    SceneEncoder lower;
    Scene scene(m_form.name, m_form.rgb);
    scene.setId(m_form.id);
    Bytes pixels(i420Size(form.width, form.height));
    const I420View view = i420View(pixels, form.width, form.height);
    for (int group = 0; group < kGroups && !m_stop; ++group) {
        const std::lock_guard<std::mutex> lock(turn);
        if (group == 0) {
            m_strips = StripSource::forPictures(form);
            if (!m_strips || !whole.open(form) || !lower.open(below)) {
                m_broken = true;
                return;
            }
            m_joiner = SliceJoiner::create(form.codec, whole.parameterSets(), form.width, strip);
        }
        for (int i = group * form.gop; i < (group + 1) * form.gop && !m_stop; ++i) {
            scene.paintRoom(view, i, form.gop * kGroups);
            Bytes coded;
            LowerSlice &picture = m_pictures[static_cast<std::size_t>(i)];
            if (!m_joiner || !lower.encode(i420Below(view, strip), &coded) ||
                !m_joiner->takeLower(coded, &picture) || picture.key != (i % form.gop == 0)) {
                m_broken = true;
                return;
            }
        }
        m_ready = (group + 1) * form.gop;
    }
}

bool Loop::compose(int index, std::uint32_t counter, const std::string &text, bool withSets,
                   Bytes *stream) const
{
    stream->clear();
    if (index < 0 || index >= m_ready)
        return false;
    const Strip strip = m_strips->strip(counter, text);
    if (strip.empty())
        return false;
    const LowerSlice &picture = m_pictures[static_cast<std::size_t>(index)];
    if (picture.key && withSets)
        *stream = m_joiner->parameterSets();
    m_joiner->join(strip, picture, stream);
    return true;
}

} // namespace vantrasim
