// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/rtsp/server.h"

namespace vantrasim {

/// Takes commands, one a line, and answers each on standard output with a line that begins with
/// "OK" or "ERR". Lives on the thread of the main loop.
class Control
{
public:
    /// `loop` is left by "quit", and at the end of standard input. Both must live longer.
    Control(Server *server, GMainLoop *loop) : m_server(server), m_loop(loop) {}
    ~Control();
    Control(const Control &) = delete;
    Control &operator=(const Control &) = delete;

    /// `where`: "stdin", or the path of a FIFO. False with a line in *error.
    bool open(const std::string &where, std::string *error);

    /// Does one command and returns the answer.
    std::string execute(const std::string &line);

private:
    bool read();
    std::string executeOnMount(const std::string &command, Mount *mount,
                               const std::string &argument);
    std::string stats() const;

    Server *m_server;
    GMainLoop *m_loop;
    int m_fd = -1;
    guint m_source = 0;
    std::string m_pending; // what came after the last end of line
};

} // namespace vantrasim
