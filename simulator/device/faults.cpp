// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/faults.h"

#include <QMutexLocker>

namespace vantrasim {

namespace {

bool matches(const FaultPlace &place, int channel, int stream)
{
    return (place.channel < 0 || place.channel == channel) &&
           (place.stream < 0 || place.stream == stream);
}

bool matches(FrameSort sort, bool key, bool audio)
{
    switch (sort) {
    case FrameSort::Any:
        return true;
    case FrameSort::Video:
        return !audio;
    case FrameSort::Key:
        return key;
    case FrameSort::Audio:
        return audio;
    }
    return false;
}

bool isOfStamp(FrameFault fault)
{
    return fault == FrameFault::StampForward || fault == FrameFault::StampBack ||
           fault == FrameFault::StampRepeat;
}

} // namespace

void DeviceFaults::refuse(DeviceOp operation, HRetError answer, int count, FaultPlace place)
{
    const QMutexLocker lock(&m_mutex);
    m_refusals.push_back({operation, answer, count, place});
}

void DeviceFaults::strike(const ScriptedFault &fault)
{
    const QMutexLocker lock(&m_mutex);
    m_script.push_back(fault);
}

void DeviceFaults::strikeAtRandom(quint32 seed, double probability,
                                  const QVector<FrameFault> &kinds, FaultPlace place)
{
    const QMutexLocker lock(&m_mutex);
    m_random.seed(seed);
    m_probability = kinds.isEmpty() ? 0 : probability;
    m_kinds = kinds;
    m_randomPlace = place;
}

void DeviceFaults::clear()
{
    const QMutexLocker lock(&m_mutex);
    m_refusals.clear();
    m_script.clear();
    m_probability = 0;
}

int DeviceFaults::struck() const
{
    const QMutexLocker lock(&m_mutex);
    return m_struck;
}

HRetError DeviceFaults::answerTo(DeviceOp operation, int channel, int stream)
{
    const QMutexLocker lock(&m_mutex);
    for (auto entry = m_refusals.begin(); entry != m_refusals.end(); ++entry) {
        if (entry->operation != operation || !matches(entry->place, channel, stream))
            continue;
        const HRetError answer = entry->answer;
        ++m_struck;
        if (entry->count > 0 && --entry->count == 0)
            m_refusals.erase(entry);
        return answer;
    }
    return HRetOk;
}

std::vector<ScriptedFault> DeviceFaults::take(FaultRoad road, int channel, int stream, bool key,
                                              bool audio)
{
    const QMutexLocker lock(&m_mutex);
    std::vector<ScriptedFault> taken;
    bool struck = false;
    for (auto entry = m_script.begin(); entry != m_script.end();) {
        if (entry->road != road || !matches(entry->place, channel, stream) ||
            !matches(entry->sort, key, audio)) {
            ++entry;
            continue;
        }
        if (entry->after > 0) {
            --entry->after;
            ++entry;
            continue;
        }
        if (struck && !isOfStamp(entry->fault)) {
            ++entry;
            continue;
        }
        struck = struck || !isOfStamp(entry->fault);
        taken.push_back(*entry);
        if (entry->count > 0 && --entry->count == 0)
            entry = m_script.erase(entry);
        else
            ++entry;
    }
    if (m_probability > 0 && !struck && matches(m_randomPlace, channel, stream)) {
        // One number per frame, whether it strikes or not: the same seed gives the same faults.
        const double chance = double(m_random()) / double(std::mt19937::max());
        if (chance < m_probability) {
            ScriptedFault fault;
            const auto pick = std::size_t(chance / m_probability * m_kinds.size());
            fault.fault = m_kinds[int(std::min(pick, std::size_t(m_kinds.size() - 1)))];
            fault.road = road;
            fault.value = isOfStamp(fault.fault) ? 40 : 0;
            taken.push_back(fault);
        }
    }
    m_struck += int(taken.size());
    return taken;
}

} // namespace vantrasim
