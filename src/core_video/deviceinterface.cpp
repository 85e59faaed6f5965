// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/deviceinterface.h"

#include "devicelink/hnetdevice.h"
#include "log.h"

namespace {
constexpr char kLogTag[] = "(dvitf)";
}

int DeviceInterface::bindDevice(const QSharedPointer<HNetDevice> &dev)
{
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "dev is null";
        return -1;
    }
    device = dev;
    return 0;
}

void DeviceInterface::unbindDevice()
{
    device.reset();
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
