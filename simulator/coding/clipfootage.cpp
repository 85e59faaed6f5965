// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/clipfootage.h"

#include <algorithm>
#include <map>
#include <mutex>

namespace vantrasim {

namespace {

constexpr double kSecond = 1e9; // ns

bool isParameterSet(const Bytes &unit, VideoForm form)
{
    if (unit.empty())
        return false;
    const int type = form == VideoForm::H264 ? unit[0] & 0x1F : (unit[0] >> 1) & 0x3F;
    return form == VideoForm::H264 ? type == 7 || type == 8 : type >= 32 && type <= 34;
}

} // namespace

std::shared_ptr<const ClipFootage> ClipFootage::forFile(const std::string &file)
{
    static std::mutex mutex;
    // Never destroyed: a device may be at work when the process ends.
    static auto &files = *new std::map<std::string, std::weak_ptr<const ClipFootage>>;
    const std::lock_guard<std::mutex> lock(mutex);
    auto &known = files[file];
    std::shared_ptr<const ClipFootage> footage = known.lock();
    if (!footage)
        known = footage = std::make_shared<const ClipFootage>(file);
    return footage;
}

ClipFootage::ClipFootage(const std::string &file)
{
    if (!loadClip(file, &m_clip, &m_problem))
        m_clip = Clip();
}

bool ClipFootage::isKey(int index) const
{
    return m_clip.pictures[static_cast<std::size_t>(index)].key;
}

int ClipFootage::fps() const
{
    if (isBroken() || m_clip.duration <= 0)
        return 1;
    return std::max(static_cast<int>(size() * kSecond / static_cast<double>(m_clip.duration) + 0.5),
                    1);
}

int ClipFootage::gop() const
{
    return size() < 2 || nextKey(1) == 0 ? std::max(size(), 1) : nextKey(1);
}

bool ClipFootage::compose(int index, std::uint32_t, const std::string &, bool withSets,
                          Bytes *stream) const
{
    stream->clear();
    if (index < 0 || index >= size())
        return false;
    const Bytes &data = m_clip.pictures[static_cast<std::size_t>(index)].data;
    if (withSets) {
        *stream = data;
        return true;
    }
    for (const Bytes &unit : splitUnits(data.data(), data.size())) {
        if (!isParameterSet(unit, m_clip.video))
            appendUnit(unit, stream);
    }
    return true;
}

} // namespace vantrasim
