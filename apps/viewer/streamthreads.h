// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QSharedPointer>

class HNetDevice;

/// The stream threads of devices, which all views share. GUI thread.
namespace streamthreads {

/// Sets how the streams of a device travel ("tcp" or "udp") before a view starts them.
void prepare(const QSharedPointer<HNetDevice> &device, const QString &transport);
/// Starts those streams of a channel again that have ended; one that ends at once, after a pause.
void keepRunning(const QSharedPointer<HNetDevice> &device, int channel);
/// Remembers the threads of a device that a view is about to leave.
void leave(const QSharedPointer<HNetDevice> &device);
/// Whether a thread that a view has left runs still.
bool anyLeftRuns();

} // namespace streamthreads
