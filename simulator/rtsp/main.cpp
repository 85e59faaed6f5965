// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// vantra-rtsp-server: serves test cameras and clips by RTSP, for trials and tests without cameras.
#include "simulator/rtsp/control.h"

#include <glib-unix.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

int fail(const std::string &line)
{
    std::fprintf(stderr, "vantra-rtsp-server: %s\n", line.c_str());
    return 1;
}

/// No process list shows the password that clients must know.
void maskPassword(int argc, char **argv)
{
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i - 1], "--authenticate") == 0)
            std::memset(argv[i], '*', std::strlen(argv[i]));
    }
}

gboolean leave(gpointer loop)
{
    g_main_loop_quit(static_cast<GMainLoop *>(loop));
    return G_SOURCE_CONTINUE;
}

int serve(const vantrasim::Options &options, GMainLoop *loop)
{
    std::string error;
    vantrasim::Server server;
    vantrasim::Control control(&server, loop);
    if (!server.start(options, &error))
        return fail(error);
    if (!options.control.empty() && !control.open(options.control, &error))
        return fail(error);
    std::printf("READY %d\n", server.port());
    for (const auto &mount : server.mounts())
        std::printf("%s\n", server.url(*mount).c_str());
    std::fflush(stdout);
    g_main_loop_run(loop);
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    vantrasim::Options options;
    std::string error;
    if (!vantrasim::parseOptions({argv + 1, argv + argc}, &options, &error))
        return fail(error);
    maskPassword(argc, argv);
    if (options.help) {
        std::fputs(vantrasim::helpText().c_str(), stdout);
        return 0;
    }
    std::signal(SIGPIPE, SIG_IGN);
    // Whoever steers by standard input takes the server along, however it ends.
    if (options.control == "stdin")
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    gst_init(nullptr, nullptr);
    GMainLoop *loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(SIGINT, leave, loop);
    g_unix_signal_add(SIGTERM, leave, loop);
    const int status = serve(options, loop);
    g_main_loop_unref(loop);
    return status;
}
