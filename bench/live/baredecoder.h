// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "devicelink/hnetdevice.h"

#include <QSharedPointer>

#include <atomic>
#include <thread>

/// Reads one live stream of a device and decodes it with libavcodec alone, on a thread of its own.
class BareDecoder
{
    Q_DISABLE_COPY(BareDecoder)

public:
    BareDecoder(QSharedPointer<HNetDevice> device, int channel);
    ~BareDecoder();

    long pictures() const { return m_pictures; }

private:
    void run();

    const QSharedPointer<HNetDevice> m_device;
    const int m_channel;
    std::atomic<long> m_pictures{0};
    std::atomic<bool> m_stop{false};
    std::thread m_thread; // the last: it uses all the others
};
