// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

class QThread;

/// Waits, without a limit, until `thread` does not run. On the GUI thread it goes on delivering
/// queued slot calls meanwhile: a stream thread may stand in a blocking signal to a widget, and
/// could not end otherwise. So any slot of that thread may run before this returns.
///
/// With `stepMs` it returns false after so long without an end; the caller looks around and calls
/// again. A thread does not wait for itself: that is true at once.
bool waitWhileDelivering(QThread &thread);
bool waitWhileDelivering(QThread &thread, int stepMs);
