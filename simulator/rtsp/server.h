// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/rtsp/mount.h"

#include <gio/gio.h>

namespace vantrasim {

/// The RTSP server with its mounts. Lives on the thread of the default main loop, where it also
/// answers its clients.
class Server
{
public:
    Server() = default;
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /// Loads the clips and begins to listen; false with a line in *error.
    bool start(const Options &options, std::string *error);
    int port() const;
    std::string url(const Mount &mount) const;
    const std::vector<std::unique_ptr<Mount>> &mounts() const { return m_mounts; }
    /// None if there is no such mount.
    Mount *find(const std::string &name) const;

    /// Closes the connections of the clients of `mount`, or of all; returns how many.
    int drop(const Mount *mount);
    /// Clients that have set up `mount`, or all that are connected.
    int clients(const Mount *mount) const;
    /// Who asks for `mount` from now on gets a new media.
    void renew(Mount *mount);

    /// Listens on a second port, where connections are taken and never answered; returns the port,
    /// 0 on failure. Twice is the same as once.
    int startMute();
    void stopMute();

private:
    void requireUser(const Options &options);

    GstRTSPServer *m_server = nullptr;
    GstRTSPMountPoints *m_mountPoints = nullptr;
    guint m_source = 0;
    guint m_cleanup = 0;
    std::string m_address;
    std::vector<std::unique_ptr<Mount>> m_mounts;
    GSocketService *m_mute = nullptr;
    int m_mutePort = 0;
    std::vector<GSocketConnection *> m_muted; // owned; kept open and not read
};

} // namespace vantrasim
