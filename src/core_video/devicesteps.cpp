// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/devicesteps_p.h"

#include "devicelink/hnetdevice.h"
#include "log.h"

QSharedPointer<HNetDevice> devicesteps::deviceOrError(const DeviceInterface &thread,
                                                      const char *tag)
{
    auto device = thread.boundDevice();
    if (!device)
        VANTRA_LOG_AS(Logger::Error, tag) << "dev is null";
    return device;
}

int devicesteps::readCodecInfo(const DeviceInterface &thread, HVideoEncPara &video,
                               HAudioEncPara &audio, const char *tag)
{
    const auto device = deviceOrError(thread, tag);
    if (!device)
        return -1;
    const HRetError result = device->getCodecInfo(thread.channel, thread.stream, video, audio);
    if (result != HRetOk) {
        VANTRA_LOG_AS(Logger::Error, tag) << "get codec err " << static_cast<int>(result);
        return -1;
    }
    return 0;
}

void devicesteps::tellTimeout(const HNetDevice &device, int stream, int limitMs, const char *tag)
{
    VANTRA_LOG_AS(Logger::Info, tag)
        << QStringLiteral("read [%1:%2] frame timeout(%3 ms) ")
               .arg(device.getIPAddr(), QString::number(stream), QString::number(limitMs));
}

DeviceReadResult devicesteps::readLiveFrame(const DeviceInterface &thread, HFrameHeader *frame,
                                            int timeoutMs, int timeouts, int limitMs,
                                            const char *tag)
{
    const auto device = deviceOrError(thread, tag);
    if (!device)
        return DeviceReadError;
    const HRetError answer = device->readFrame(thread.channel, thread.stream, frame, timeoutMs);
    const DeviceReadResult result = liveReadResult(answer);
    if (result == DeviceReadTimeout && timeouts >= kSilentTimeouts)
        tellTimeout(*device, thread.stream, limitMs, tag);
    else if (result == DeviceReadError)
        VANTRA_LOG_AS(Logger::Error, tag) << "read frame err " << static_cast<int>(answer);
    return result;
}
