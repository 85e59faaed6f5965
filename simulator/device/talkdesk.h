// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/hretcodes.h"

#include <QByteArray>
#include <QMutex>
#include <QVector>

namespace vantrasim {

/// The loudspeaker of a simulated device: one talker at a time, and everything said is kept. Any
/// thread.
class TalkDesk
{
    Q_DISABLE_COPY(TalkDesk)

public:
    TalkDesk() = default;

    /// HRetBusy while somebody talks, or setBusy() says so.
    HRetError start();
    void stop();
    /// HRetRefused while nobody talks.
    HRetError take(const char *data, int size);

    /// Somebody else is talking to the device.
    void setBusy(bool busy);
    bool isTalking() const;
    /// Talks that were begun.
    int talks() const;
    /// What was said, encoded as it came (A-law, 8000 a second), of all talks; the first kLongest
    /// bytes.
    QByteArray received() const;
    /// The sizes of the blocks in which it came.
    QVector<int> blocks() const;
    void clear();

    static constexpr int kLongest = 16 * 1024 * 1024;

private:
    mutable QMutex m_mutex;
    bool m_busy = false;
    bool m_talking = false;
    int m_talks = 0;
    QByteArray m_received;
    QVector<int> m_blocks;
};

} // namespace vantrasim
