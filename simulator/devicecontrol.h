// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/device/devicecalls.h"
#include "simulator/device/deviceconfig.h"
#include "simulator/device/faults.h"
#include "simulator/device/livestream.h"
#include "simulator/device/recordedstream.h"
#include "simulator/device/rtspcameras.h"
#include "simulator/device/talkdesk.h"

#include <QSharedPointer>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

class HNetDevice;

namespace vantrasim {

/// A simulated device as the one who runs it sees it: what it was asked, what it has sent, and what
/// goes wrong with it. Lives on when the device is gone. Any thread.
class DeviceControl
{
    Q_DISABLE_COPY(DeviceControl)

public:
    explicit DeviceControl(const DeviceConfig &config);
    ~DeviceControl();

    const DeviceConfig &config() const { return m_config; }
    DeviceCalls &calls() { return m_calls; }
    DeviceFaults &faults() { return m_faults; }
    TalkDesk &talk() { return m_talk; }

    // The link

    /// The device is gone for `ms` milliseconds, or until restoreConnection() (-1). Streams,
    /// playbacks, downloads and talk end with it, and have to be asked for again; reads wait in
    /// vain meanwhile.
    void loseConnection(int ms = -1);
    void restoreConnection();
    bool isConnected() const;
    /// The streams there go on and nothing of them arrives. What is sent meanwhile is lost.
    void setStalled(bool stalled, FaultPlace place = {});

    // Live streams

    /// Whether the device has that stream.
    bool has(int channel, int stream) const;
    /// Changes codec, size, rate or sound while the stream goes on; the new form begins with a key
    /// frame. With HTransportRtsp the sound stays, and a new codec sends all readers away.
    void setForm(int channel, int stream, const StreamConfig &form);
    StreamCounts counts(int channel, int stream) const;
    /// Why a stream has no pictures; empty if it has.
    QString problem(int channel, int stream) const;
    /// Whether a stream is being sent.
    bool isOpen(int channel, int stream) const;
    /// Streams being sent.
    int openStreams() const;
    /// The device tells this number of streams instead of the true one; -1: the true one.
    void pretendStreamCount(int count) { m_pretendedStreams = count; }

    // The recorder

    RecordedState playback(unsigned int channel) const;
    RecordedState download(unsigned int channel) const;
    int openPlaybacks() const;
    int openDownloads() const;
    /// What of a span is recorded, in order; cut at its ends.
    QVector<Archive::Segment> recorded(unsigned int channel, const QDateTime &begin,
                                       const QDateTime &end) const;

private:
    friend class SimulatedDevice;

    /// Of one channel.
    struct Recorder
    {
        std::shared_ptr<const Archive> archive;
        std::unique_ptr<RecordedStream> playback;
        std::unique_ptr<RecordedStream> download;
    };

    LiveStream *live(int channel, int stream) const;
    HRetError enable(int channel, int stream, bool on);
    HRetError sendTalk(const char *data, int size);
    const Recorder *recorder(unsigned int channel) const;
    HRetError startPlayback(unsigned int channel, const VodStartPara &para);
    HRetError startDownload(unsigned int channel, const VodDownloadPara &para);
    void closeAll();

    const DeviceConfig m_config;
    const int m_perChannel;
    DeviceCalls m_calls;
    DeviceFaults m_faults;
    TalkDesk m_talk;
    std::vector<std::unique_ptr<LiveStream>> m_live; // by flat index
    std::vector<Recorder> m_recorders;               // by channel
    std::unique_ptr<RtspCameras> m_rtsp;             // with HTransportRtsp
    std::atomic<int> m_pretendedStreams{-1};
    std::atomic<qint64> m_goneUntil{0}; // time of the device
    std::mutex m_openMutex;             // who counts what is open
};

/// A new device and the hand on it.
struct Simulation
{
    QSharedPointer<HNetDevice> device;
    std::shared_ptr<DeviceControl> control;
};
Simulation simulateDevice(const DeviceConfig &config);

} // namespace vantrasim
