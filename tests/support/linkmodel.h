// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <optional>
#include <random>

namespace vantratest {

/// What a link does to the packets of each direction.
struct LinkQuality
{
    double loss = 0;    ///< share of the packets that is lost, 0 to 1
    int delayMs = 0;    ///< of each packet
    int jitterMs = 0;   ///< it is more or less by up to that, so that packets overtake each other
    int kbps = 0;       ///< 1000 bits per second; 0: no limit
    int queueMs = 1000; ///< what waits to be sent at that rate; what would wait longer is lost
    bool isCut = false; ///< everything is lost, what is under way too
};

/// One direction of a link: says what becomes of its packets, one after the other. The same seed
/// and the same packets give the same answers.
class LinkModel
{
public:
    explicit LinkModel(unsigned seed) : m_random(seed) {}

    void setQuality(const LinkQuality &quality) { m_quality = quality; }
    const LinkQuality &quality() const { return m_quality; }

    /// When a packet of `bytes` that is given in at `now` comes out, in microseconds; nothing if it
    /// is lost.
    std::optional<qint64> pass(qint64 now, int bytes);

private:
    /// 0 to 1.
    double draw() { return double(m_random()) / double(std::mt19937::max()); }

    LinkQuality m_quality;
    std::mt19937 m_random;
    qint64 m_idleFrom = 0; ///< when all that waits will have been sent
};

} // namespace vantratest
