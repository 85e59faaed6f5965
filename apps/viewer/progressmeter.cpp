// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "progressmeter.h"

#include <cmath>

void ProgressMeter::begin(qint64 now, qint64 total)
{
    m_total = total;
    m_samples = {{now, 0}};
}

void ProgressMeter::note(qint64 now, qint64 done)
{
    m_samples.append({now, qBound<qint64>(0, done, m_total)});
    while (m_samples.size() > 2 && now - m_samples[1].first >= kWindowMs)
        m_samples.removeFirst();
}

double ProgressMeter::part() const
{
    return m_total > 0 && !m_samples.isEmpty() ? double(m_samples.last().second) / m_total : 0;
}

double ProgressMeter::rate() const
{
    if (m_samples.size() < 2)
        return 0;
    const qint64 time = m_samples.last().first - m_samples.first().first;
    const qint64 done = m_samples.last().second - m_samples.first().second;
    return time > 0 && done > 0 ? double(done) / time : 0;
}

qint64 ProgressMeter::left() const
{
    return rate() > 0 ? qint64(std::ceil((m_total - m_samples.last().second) / rate())) : -1;
}
