// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/strip.h"

#include <map>
#include <tuple>

namespace vantrasim {

namespace {

constexpr std::size_t kKeep = 128;

} // namespace

std::shared_ptr<StripSource> StripSource::forPictures(const SceneEncoder::Form &form)
{
    static std::mutex mutex;
    static std::map<std::tuple<int, int, int, int>, std::weak_ptr<StripSource>> sources;
    const std::lock_guard<std::mutex> lock(mutex);
    auto &known = sources[{form.codec, form.width, form.height, form.quality}];
    std::shared_ptr<StripSource> source = known.lock();
    if (!source) {
        source = std::make_shared<StripSource>(form);
        if (!source->isValid())
            return nullptr;
        known = source;
    }
    return source;
}

StripSource::StripSource(const SceneEncoder::Form &form)
    : m_form(form), m_height(stripHeight(form.width, form.height))
{
    SceneEncoder::Form strip = form;
    strip.height = m_height;
    strip.gop = 1; // every strip stands by itself
    if (m_encoder.open(strip))
        m_joiner = SliceJoiner::create(form.codec, m_encoder.parameterSets(), form.width, m_height);
    m_pixels.resize(i420Size(form.width, m_height));
}

std::shared_ptr<const UpperSlice> StripSource::strip(std::uint32_t counter, const std::string &text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto key = std::make_pair(counter, text);
    for (const Kept &kept : m_kept) {
        if (kept.first == key)
            return kept.second;
    }
    const I420View view = i420View(m_pixels, m_form.width, m_height);
    paintStrip(view, m_form.height, counter, text);
    Bytes coded;
    auto slice = std::make_shared<UpperSlice>();
    if (!m_encoder.encode(view, &coded) || !m_joiner->takeUpper(coded, slice.get()))
        return nullptr;
    m_kept.emplace_front(key, slice);
    if (m_kept.size() > kKeep)
        m_kept.pop_back();
    return slice;
}

} // namespace vantrasim
