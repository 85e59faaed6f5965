// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/linkmodel.h"

#include <algorithm>

namespace vantratest {

std::optional<qint64> LinkModel::pass(qint64 now, int bytes)
{
    // Drawn for each packet, needed or not, so that a seed stands for one series of chances.
    const double chance = draw();
    const double swing = 2 * draw() - 1;
    if (m_quality.isCut)
        return std::nullopt;
    qint64 sent = now;
    if (m_quality.kbps > 0) {
        const qint64 begin = std::max(now, m_idleFrom);
        if (begin - now > m_quality.queueMs * qint64(1000))
            return std::nullopt;
        sent = begin + bytes * qint64(8000) / m_quality.kbps;
        m_idleFrom = sent;
    }
    if (chance < m_quality.loss)
        return std::nullopt;
    const qint64 way = m_quality.delayMs * qint64(1000) + qint64(swing * m_quality.jitterMs * 1000);
    return sent + std::max<qint64>(way, 0);
}

} // namespace vantratest
