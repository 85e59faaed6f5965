// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/strip.h"

#include "simulator/coding/flatslice.h"
#include "simulator/scene/counterrow.h"

#include <map>
#include <tuple>

namespace vantrasim {

namespace {

constexpr std::size_t kKeep = 128;

} // namespace

std::shared_ptr<StripSource> StripSource::forPictures(const SceneEncoder::Form &form)
{
    static std::mutex mutex;
    // Never destroyed: a device may be at work when the process ends.
    static auto &sources =
        *new std::map<std::tuple<int, int, int, int>, std::weak_ptr<StripSource>>;
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

StripSource::StripSource(const SceneEncoder::Form &form) : m_form(form)
{
    m_row.height = m_text.top = stripRowHeight(form.height);
    m_text.height = stripTextHeight(form.width, form.height);
    open(&m_row);
    open(&m_text);
}

void StripSource::open(Part *part)
{
    SceneEncoder::Form form = m_form;
    form.height = part->height;
    form.gop = 1; // each stands by itself
    if (part->encoder.open(form))
        part->joiner = SliceJoiner::create(form.codec, part->encoder.parameterSets(), form.width,
                                           part->height);
    part->pixels.resize(i420Size(form.width, part->height));
}

StripSource::Slice StripSource::encode(Part *part)
{
    Bytes coded;
    auto slice = std::make_shared<UpperSlice>();
    slice->top = part->top;
    if (!part->encoder.encode(i420View(part->pixels, m_form.width, part->height), &coded) ||
        !part->joiner->takeUpper(coded, slice.get()))
        return nullptr;
    return slice;
}

StripSource::Slice StripSource::makeRow(std::uint32_t counter)
{
    constexpr std::uint8_t kWhite = 235;
    constexpr std::uint8_t kBlack = 16;
    // Where the cells are whole blocks of 16 no encoder is needed, for codecs that can do without.
    if (m_form.width % (kCounterCells * kFlatBlock) == 0) {
        Bytes luma;
        for (int x = 0; x < m_form.width; x += kFlatBlock)
            luma.push_back(isStripRowWhite(x, m_form.width, counter) ? kWhite : kBlack);
        auto slice = std::make_shared<UpperSlice>();
        if (m_row.joiner->makeUpper(luma, m_row.height / kFlatBlock, slice.get()))
            return slice;
    }
    paintStripRow(i420View(m_row.pixels, m_form.width, m_row.height), counter);
    return encode(&m_row);
}

StripSource::Slice StripSource::makeText(const std::string &text)
{
    paintStripText(i420View(m_text.pixels, m_form.width, m_text.height), m_form.height, text);
    return encode(&m_text);
}

Strip StripSource::strip(std::uint32_t counter, const std::string &text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto keep = [](auto *kept, const auto &key, auto make) -> Slice {
        for (const auto &entry : *kept) {
            if (entry.first == key)
                return entry.second;
        }
        kept->emplace_front(key, make());
        if (kept->size() > kKeep)
            kept->pop_back();
        return kept->front().second;
    };
    Strip strip{keep(&m_rows, counter, [&] { return makeRow(counter); }),
                keep(&m_texts, text, [&] { return makeText(text); })};
    return strip[0] && strip[1] ? strip : Strip();
}

} // namespace vantrasim
