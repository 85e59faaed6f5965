// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/devaudiothread.h"

#include "core_codec/mediacodec.h"
#include "devicelink/hnetdevice.h"
#include "log.h"

#include <QMutexLocker>
#include <QThread>

namespace {

constexpr char kLogTag[] = "(dvadthr)";

constexpr int kTalkChannel = 0; // devices have one talk, whatever the number of their channels

// What the microphone captures: the input of the talk encoder.
constexpr int kSampleRate = 8000; // Hz
constexpr int kChannels = 1;
constexpr int kSampleBits = 16;
// One frame of the talk encoder: 320 samples, 40 ms.
constexpr int kFrameBytes = 640;

} // namespace

DevAudioThread::DevAudioThread() = default;

DevAudioThread::~DevAudioThread()
{
    // On its own worker, which cannot wait for itself, the base class knows what to do.
    if (QThread::currentThread() != QObject::thread())
        stopThread();
}

int DevAudioThread::bindDevice(const QSharedPointer<HNetDevice> &dev)
{
    if (!dev) {
        VANTRA_LOG(Logger::Error) << "audio thr dev is null";
        return -1;
    }
    QSharedPointer<HNetDevice> former = dev; // the last user of a device may destroy it: unlocked
    QMutexLocker locker(&deviceMutex);
    device.swap(former);
    return 0;
}

void DevAudioThread::unbindDevice()
{
    QSharedPointer<HNetDevice> former;
    QMutexLocker locker(&deviceMutex);
    device.swap(former);
}

QSharedPointer<HNetDevice> DevAudioThread::boundDevice() const
{
    QMutexLocker locker(&deviceMutex);
    return device;
}

void DevAudioThread::startTalk()
{
    const QSharedPointer<HNetDevice> dev = boundDevice();
    if (!dev)
        return;
    switch (dev->startTalk(kTalkChannel)) {
    case HRetOk:
        setInputBlockSize(kFrameBytes);
        openAudioInput(kSampleRate, kChannels, kSampleBits);
        break;
    case HRetBusy:
        emit sig_startTalkDeviceBusy(dev->serialNumber());
        break;
    default:
        emit sig_startTalkError(dev->serialNumber());
        break;
    }
}

void DevAudioThread::stopTalk()
{
    // Without a device the microphone stays open: this is intended.
    const QSharedPointer<HNetDevice> dev = boundDevice();
    if (!dev)
        return;
    dev->stopTalk(kTalkChannel);
    closeAudioInput();
}

void DevAudioThread::receiveInputData(const QByteArray &data)
{
    const QSharedPointer<HNetDevice> dev = boundDevice();
    if (!codec || !dev)
        return;
    // A microphone may be announced without a sample, and the encoder would repeat its last frame.
    if (data.isEmpty())
        return;
    // Not cut into frames, as intended: see the header. The encoder only reads what it is given.
    auto *samples = reinterpret_cast<unsigned char *>(const_cast<char *>(data.constData()));
    _tag_audio_frame_s frame{};
    if (!codec->encodeAudioFrame(samples, static_cast<unsigned int>(data.size()), 0, &frame))
        return;
    const HRetError result = dev->sendTalkData(reinterpret_cast<char *>(frame.data),
                                               static_cast<int>(frame.size), kTalkChannel);
    if (result != HRetOk)
        VANTRA_LOG(Logger::Error) << "dev audio thr send talk data err " << int(result);
}
