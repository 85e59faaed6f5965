// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "vantraglobal.h"

/// Start and stop of the library.
class VANTRA_EXPORT Vantra
{
public:
    /// Prepares the library. Call once on the main thread, after the QApplication exists and before
    /// any widget of the library is created. Asks the video card which usual sizes it can decode,
    /// then starts what carries the live streams of devices. Returns false if the library cannot be
    /// used; a card that decodes nothing is no reason.
    static bool init();

    /// Call once on the main thread before the host quits. Ends every live stream of a device that
    /// is left, recordings too, and waits for that; slots may be called meanwhile. Stop what plays
    /// otherwise first. In a report of a widget it does not wait, as the stream may be waiting for
    /// that report to return; what is left then is waited for when the application ends.
    static void release();
};
