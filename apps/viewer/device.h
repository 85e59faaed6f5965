// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "cameraaddress.h"
#include "recordingtime.h"

#include <QSharedPointer>
#include <QStringList>
#include <QVector>

#include <functional>
#include <memory>

class HNetDevice;
namespace vantrasim {
class DeviceControl;
}

/// One channel of a device, as a view needs it. A value; nothing is shown of one without a link.
struct Camera
{
    QString key;                     ///< tells it from all others of the window
    QString name;                    ///< for people
    QSharedPointer<HNetDevice> link; ///< of its device
    int channel = 0;
    CameraAddress address; ///< of its main stream, if the person gave it by address
    /// What of a span is recorded, joined. The device link has no question for that: empty where
    /// nobody knows.
    std::function<QVector<TimeSpan>(const TimeSpan &)> recorded;

    bool isValid() const { return !link.isNull(); }
    /// The name for use within a file name.
    QString fileName() const;
};

/// A device and how people call it and its channels.
struct Device
{
    QString name;
    QSharedPointer<HNetDevice> link;
    QStringList channels;             ///< names, one for each channel
    QVector<CameraAddress> addresses; ///< of the main streams; empty if nobody gave them
    /// What of a span a channel has recorded, as Camera::recorded tells it.
    std::function<QVector<TimeSpan>(int channel, const TimeSpan &)> recorded = {};

    QVector<Camera> cameras() const;
};

/// The real camera at these addresses; `sub` need not be valid.
Device cameraDevice(const CameraAddress &main, const CameraAddress &sub);

/// What a simulated recorder has on its disk, for Device::recorded.
std::function<QVector<TimeSpan>(int channel, const TimeSpan &)>
recordedBy(const std::shared_ptr<vantrasim::DeviceControl> &control);

/// Three devices that do not need to be there: one of each private protocol, and one that sends by
/// RTSP.
QVector<Device> simulatedDevices();

/// What the link to a device does.
enum class LinkState {
    Connecting, ///< not connected yet
    Connected,
    Gone, ///< it was connected, or has not come for long
};

/// Finds the state of a link from what it tells now. Not for several threads.
class LinkWatch
{
public:
    static constexpr qint64 kGoneAfterMs = 10000;

    /// `now`: milliseconds of any clock that does not jump.
    LinkState look(qint64 now, bool connected);

private:
    qint64 m_since = -1; ///< when it was first looked at
    LinkState m_state = LinkState::Connecting;
};

/// One word for people.
QString linkText(LinkState state);
