// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_vod/orvovoddlthread.h"

#include <atomic>

/// A download that can be asked to end without waiting for it, and tells how reading went: the
/// library ends time-outs and read errors alike.
class DownloadThread final : public OrvoVodDLThread
{
    Q_OBJECT
    Q_DISABLE_COPY(DownloadThread)

public:
    explicit DownloadThread(QObject *parent = nullptr) : OrvoVodDLThread(parent) {}
    /// Waits for the end of one that still runs.
    ~DownloadThread() override { stopDL(); }

    /// What stopDL() asks for, without its wait, which lasts as long as a read and the end of the
    /// file. QThread::finished tells the end.
    void askToStop() { isStop = true; }
    /// Of the last read, a DeviceReadResult.
    int lastRead() const { return m_lastRead; }

protected:
    int readFrame(HFrameHeader *frame, int timeoutMs) override
    {
        m_lastRead = OrvoVodDLThread::readFrame(frame, timeoutMs);
        return m_lastRead;
    }

private:
    std::atomic<int> m_lastRead{0};
};
