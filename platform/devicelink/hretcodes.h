// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Answer of every operation of the device link that can fail. Only these values are told apart;
/// any other non-zero value is a failure that is logged by its number.
enum HRetError : qint32 {
    HRetOk = 0,
    HRetRefused = 1,    ///< what a backend answers to an operation that it does not have
    HRetTimeout = 8,    ///< a read: no frame arrived within the time given
    HRetAlready = 14,   ///< a start: it is already on, which counts as success
    HRetBusy = 16,      ///< startTalk: somebody else is talking to the device
    HRetExceedMax = 17, ///< a start: the device's limit of connections is reached
    HRetEndOfFile = 18, ///< a read of recorded video: the recording has ended
};

/// State of a device or of one of its streams. Anything but HChannelConnected means "not yet" and
/// is only printed.
enum HChannelStatus : qint16 {
    HChannelDisconnected = 0,
    HChannelConnected = 1, ///< device connected, or stream opened
};

/// How a device sends its live streams. Chooses the thread class that plays them; any other value
/// is an error where a set of threads is bound to the device.
enum HTransportProtocol : qint32 {
    HTransportZelk = 1,
    HTransportRtsp = 2, ///< read by address, not frame by frame
    HTransportOrvo = 4,
};
