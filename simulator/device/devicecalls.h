// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <array>
#include <deque>

namespace vantrasim {
Q_NAMESPACE

// clang-format off
/// The operations of a device, named as they are.
enum class DeviceOp {
    getConnectStatus, getStreamStatus, getChannelCount, getStreamCount,
    getStreamCountPerChannel, getStreamProtocol, getRtspUrls, getIPAddr, serialNumber,
    enableMediaTransmit, requestVideoIFrame, readFrame, getCodecInfo, setCodecInfo,
    vodStart, vodStop, vodPause, vodResume, vodSeek, vodSetSpeed, vodReadFrame,
    vodDownloadStart, vodDownloadStop, vodReadDLFrame, vodGetDownloadSdp,
    startTalk, stopTalk, sendTalkData
};
// clang-format on
Q_ENUM_NS(DeviceOp)
constexpr int kDeviceOps = int(DeviceOp::sendTalkData) + 1;

struct DeviceCall
{
    DeviceOp operation = DeviceOp::getConnectStatus;
    /// In order; times in milliseconds since 1970 (-1: invalid), records as lists of their fields,
    /// sound as its length, no frame buffers.
    QVariantList arguments;
};

/// Everything that was asked of a simulated device. Any thread.
class DeviceCalls
{
    Q_DISABLE_COPY(DeviceCalls)

public:
    DeviceCalls() = default;

    /// Calls of one operation since the start or clear(), however long ago.
    qint64 count(DeviceOp operation) const;
    /// Those of them whose arguments begin with `first`; among the calls kept.
    int count(DeviceOp operation, const QVariantList &first) const;
    /// The latest kLongest calls in the order in which they began. Questions about the device as a
    /// whole and reads are counted and not kept, unless keepAll() says so: they would push the
    /// others out.
    QVector<DeviceCall> calls() const;
    QVector<DeviceCall> calls(DeviceOp operation) const;
    /// calls() as written in code: "enableMediaTransmit(2, 1, true)".
    QStringList texts() const;
    void keepAll(bool on);
    void clear();

    void note(DeviceOp operation, const QVariantList &arguments);

    static constexpr int kLongest = 20000;

private:
    mutable QMutex m_mutex;
    std::array<qint64, kDeviceOps> m_counts{};
    std::deque<DeviceCall> m_calls;
    bool m_keepAll = false;
};

} // namespace vantrasim
