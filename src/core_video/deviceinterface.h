// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

#include <QMutex>
#include <QSharedPointer>

#include <atomic>

class HNetDevice;

/// Binds a stream thread to a device: the second base of every thread that is fed, or told its
/// address, by one. Who holds such a thread as an AbstractVideoThread reaches this part of it by
/// dynamic_cast; where the cast fails, the thread is bound to no device.
///
/// Channel and stream are written only while the thread is not running, so they need no lock. The
/// device too is meant to be bound before the start and let go of after the end; but since it may
/// be gone with its last owner, each call of the thread holds it until it returns.
class VANTRA_EXPORT DeviceInterface
{
public:
    /// Shares the device in place of the one bound before, and returns 0. A null `dev` changes
    /// nothing, is logged as an error, and gives -1. Any thread.
    int bindDevice(const QSharedPointer<HNetDevice> &dev);
    /// Lets go of the device. Any thread; a stream that runs finds none from its next call on.
    void unbindDevice();
    /// A share of `device` for the time of a call. Any thread.
    QSharedPointer<HNetDevice> boundDevice() const;
    /// Which stream of the device it is. The values are not checked.
    void setStreamChannel(int channel, int stream);
    /// Whether the latest starts were refused because the device takes no further connection, which
    /// OrvoLiveThread alone finds out. Any thread, at any time.
    bool isStreamExceedMax() const;

    int channel = 0; ///< on the device, from 0
    int stream = 0;  ///< within the channel; 0 is the main stream
    /// Refusals with HRetExceedMax in a row; 0 again with the next start that succeeds. Written by
    /// the thread, read by widgets.
    std::atomic<int> exceedCount{0};
    QSharedPointer<HNetDevice> device; ///< null while unbound

private:
    mutable QMutex deviceMutex; ///< guards `device`; leaf lock, held for one copy
};
