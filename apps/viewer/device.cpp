// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "device.h"

#include "camerafiles.h"
#include "devicelink/hnetdevice.h"
#include "devicelink/rtspcamerabackend.h"
#include "simulator/devicecontrol.h"

#include <QCoreApplication>

#include <vector>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Device", text);
}

struct Room
{
    const char *name;
    quint32 colour;
};

constexpr int kRecordedDays = 8; ///< in the past, for channels that do not record all the time

/// What a channel of a simulated recorder has on its disk. The first one records all the time
/// (nothing said); the others have gaps, and one of them another form in the afternoon.
QVector<vantrasim::ArchiveSpan> archiveOf(int channel, const vantrasim::StreamConfig &form)
{
    using vantrasim::ArchiveSpan;
    QVector<ArchiveSpan> archive;
    vantrasim::StreamConfig afternoon = form;
    afternoon.video.width = 960;
    afternoon.video.height = 540;
    const QDateTime now = QDateTime::currentDateTime();
    const auto add = [&](const QDateTime &begin, int minutes, const auto &form) {
        const QDateTime end = qMin(begin.addSecs(60 * minutes), now);
        if (begin.isValid() && begin < end)
            archive.append({begin, end, form});
    };
    for (QDate day = now.date().addDays(-kRecordedDays); day <= now.date(); day = day.addDays(1)) {
        switch (channel % 4) {
        case 1: // a long day with two breaks
            add(QDateTime(day, QTime(0, 0)), 5 * 60 + 20, form);
            add(QDateTime(day, QTime(6, 45)), 5 * 60 + 15, form);
            add(QDateTime(day, QTime(13, 30)), 10 * 60 + 30, form);
            break;
        case 2: // whenever something moves
            for (int hour = 0; hour < 24; ++hour)
                add(QDateTime(day, QTime(hour, hour * 7 % 40)), 9 + hour * 11 % 23, form);
            break;
        case 3:
            add(QDateTime(day, QTime(0, 0)), 12 * 60, form);
            add(QDateTime(day, QTime(12, 0)), 12 * 60 - 5, afternoon);
            break;
        default:
            break;
        }
    }
    return archive;
}

Device simulatedDevice(const QString &name, int number, HTransportProtocol protocol,
                       const std::vector<Room> &rooms)
{
    auto config = vantrasim::DeviceConfig::simple(int(rooms.size()), 2, protocol);
    config.number = number;
    config.serial = QStringLiteral("SIM%1").arg(number, 5, 10, QLatin1Char('0'));
    config.address = QStringLiteral("192.0.2.%1").arg(number);
    Device device;
    device.name = name;
    for (int i = 0; i < config.channels.size(); ++i) {
        config.channels[i].name = QLatin1String(rooms[std::size_t(i)].name);
        config.channels[i].colour = rooms[std::size_t(i)].colour;
        config.channels[i].archive = archiveOf(i, config.channels[i].streams.first());
        device.channels.append(config.channels[i].name);
    }
    const auto simulation = vantrasim::simulateDevice(config);
    device.link = simulation.device;
    device.recorded = recordedBy(simulation.control);
    return device;
}

} // namespace

QString Camera::fileName() const
{
    return CameraFiles::nameFor(name);
}

QVector<Camera> Device::cameras() const
{
    QVector<Camera> cameras;
    for (int channel = 0; channel < channels.size(); ++channel) {
        Camera camera;
        camera.key = QStringLiteral("%1/%2").arg(name).arg(channel);
        camera.name =
            channels.size() == 1 ? name : QStringLiteral("%1 · %2").arg(name, channels[channel]);
        camera.link = link;
        camera.channel = channel;
        camera.address = addresses.value(channel);
        if (recorded)
            camera.recorded = [query = recorded, channel](const TimeSpan &span) {
                return query(channel, span);
            };
        cameras.append(camera);
    }
    return cameras;
}

Device cameraDevice(const CameraAddress &main, const CameraAddress &sub)
{
    const RtspCamera addresses{main.full(), sub.full()};
    Device device;
    device.name = main.name();
    device.link = QSharedPointer<HNetDevice>::create(
        std::make_unique<RtspCameraBackend>(QVector<RtspCamera>{addresses}));
    device.channels = QStringList{tr("Camera")};
    device.addresses = {main};
    return device;
}

std::function<QVector<TimeSpan>(int channel, const TimeSpan &)>
recordedBy(const std::shared_ptr<vantrasim::DeviceControl> &control)
{
    return [control](int channel, const TimeSpan &span) {
        QVector<TimeSpan> spans;
        for (const auto &segment :
             control->recorded(uint(channel), recordingtime::forDevice(span.begin),
                               recordingtime::forDevice(span.end)))
            spans.append({segment.begin, segment.end});
        return joined(spans);
    };
}

QVector<Device> simulatedDevices()
{
    return {simulatedDevice(
                tr("Orvo recorder"), 1, HTransportOrvo,
                {{"Gate", 0x2f66a8}, {"Yard", 0x3b8f6a}, {"Hall", 0xc4774a}, {"Roof", 0x7d4f9c}}),
            simulatedDevice(tr("Zelk recorder"), 2, HTransportZelk,
                            {{"Lobby", 0xa84a5c}, {"Dock", 0x2f8a97}, {"Store", 0x8c8a3a}}),
            simulatedDevice(tr("RTSP cameras"), 3, HTransportRtsp,
                            {{"Street", 0x4a84b3}, {"Garage", 0x6a6f78}})};
}

LinkState LinkWatch::look(qint64 now, bool connected)
{
    if (m_since < 0)
        m_since = now;
    if (connected)
        m_state = LinkState::Connected;
    else if (m_state == LinkState::Connected || now - m_since >= kGoneAfterMs)
        m_state = LinkState::Gone;
    return m_state;
}

QString linkText(LinkState state)
{
    switch (state) {
    case LinkState::Connecting:
        return tr("connecting");
    case LinkState::Connected:
        return tr("connected");
    case LinkState::Gone:
        break;
    }
    return tr("gone");
}
