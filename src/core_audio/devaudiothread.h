// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_audio/audiothread.h"
#include "vantraglobal.h"

#include <QByteArray>
#include <QMutex>
#include <QSharedPointer>

class HNetDevice;

/// Sound of a widget that shows a device, and talk with that device: the default microphone at
/// 8000 Hz, mono, 16 bits is sent as G.711 A-law (ITU-T G.711), always on channel 0.
///
/// A block of the microphone goes to the encoder as it comes, and gives one frame of 40 ms, 320
/// bytes: of a longer block the rest is lost, and behind a shorter one stands the tail of the last.
/// So the microphone is asked for blocks of exactly one frame, which keeps talk whole.
///
/// Threads. As AudioThread: startTalk(), stopTalk() and receiveInputData() run on the worker, and
/// with them the device's talk operations, which may take their time. bindDevice() and
/// unbindDevice() may be called on any thread; a talk under way goes on with the device bound then,
/// so bind before the first startTalk(), and unbind when the thread has stopped.
///
/// Ownership. The device is shared until unbindDevice(), and while one of its operations runs.
class VANTRA_EXPORT DevAudioThread : public AudioThread
{
    Q_OBJECT
    Q_DISABLE_COPY(DevAudioThread)

public:
    DevAudioThread();
    /// Stops the worker if it runs.
    ~DevAudioThread() override;

    /// Shares the device in place of the one bound before, and returns 0. A null `dev` changes
    /// nothing, is logged as an error, and gives -1.
    int bindDevice(const QSharedPointer<HNetDevice> &dev);
    /// Lets go of the device. The microphone stays as it is.
    void unbindDevice();

    // These are slots, by AudioThread.

    /// Encodes a block and sends it. One that cannot be encoded is dropped; one that the device
    /// refuses is logged as an error, and talk goes on.
    void receiveInputData(const QByteArray &data) override;
    /// Asks the device for its talk channel and opens the microphone. Refused:
    /// sig_startTalkDeviceBusy if somebody else talks, else sig_startTalkError, both with the
    /// device's serial number. In silence without a device.
    void startTalk() override;
    /// Ends talk on the device, talk under way or not, and closes the microphone. Nothing without a
    /// device: then an open microphone stays open.
    void stopTalk() override;

private:
    QSharedPointer<HNetDevice> boundDevice() const;

    mutable QMutex deviceMutex; ///< guards `device`; held for a copy, never around its operations
    QSharedPointer<HNetDevice> device;
};
