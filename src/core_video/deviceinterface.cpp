// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/deviceinterface.h"

#include "devicelink/hnetdevice.h"
#include "log.h"

#include <QMutexLocker>

namespace {
constexpr char kLogTag[] = "(dvitf)";
}

int DeviceInterface::bindDevice(const QSharedPointer<HNetDevice> &dev)
{
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return -1;
    }
    QSharedPointer<HNetDevice> former = dev; // goes, with all that it ends, outside the lock
    QMutexLocker lock(&deviceMutex);
    device.swap(former);
    return 0;
}

void DeviceInterface::unbindDevice()
{
    QSharedPointer<HNetDevice> former;
    QMutexLocker lock(&deviceMutex);
    device.swap(former);
}

QSharedPointer<HNetDevice> DeviceInterface::boundDevice() const
{
    QMutexLocker lock(&deviceMutex);
    return device;
}

void DeviceInterface::setStreamChannel(int channel, int stream)
{
    this->channel = channel;
    this->stream = stream;
}

bool DeviceInterface::isStreamExceedMax() const
{
    return exceedCount > 0;
}
