// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// The connection to the sound server that all devices of Qt's PulseAudio plugin share. When the
/// server is gone, Qt (5.15) destroys the connection and makes another one, on the thread that used
/// sound first and without a look at the others, which are just then closing what they had open:
/// with a wall of views that all play, a few restarts of the server end or hang the process. So
/// the first to use sound is a thread that does nothing else, and it lets Qt go on only while no
/// device of the library is open. Elsewhere than on Linux there is no such connection, and this
/// does nothing.
namespace soundconnection {

/// Held while a device is made, open, or asked for, until it has stopped or is destroyed. Waits
/// while the connection is being made or exchanged, for some seconds at most. Any thread.
class Use
{
    Q_DISABLE_COPY(Use)

public:
    Use();
    ~Use();
};

} // namespace soundconnection
