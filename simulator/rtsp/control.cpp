// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/control.h"

#include <glib-unix.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace vantrasim {

namespace {

constexpr std::size_t kLongestLine = 4096; // bytes
constexpr int kDieStatus = 3;

} // namespace

Control::~Control()
{
    if (m_source != 0)
        g_source_remove(m_source);
    if (m_fd > STDIN_FILENO)
        ::close(m_fd);
}

bool Control::open(const std::string &where, std::string *error)
{
    // A FIFO is also held open for writing, so that it does not end with each writer.
    m_fd = where == "stdin" ? STDIN_FILENO : ::open(where.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0) {
        *error = "control " + where + ": " + std::strerror(errno);
        return false;
    }
    m_source = g_unix_fd_add(
        m_fd, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
        [](gint, GIOCondition, gpointer self) -> gboolean {
            auto *control = static_cast<Control *>(self);
            if (control->read())
                return G_SOURCE_CONTINUE;
            control->m_source = 0;
            g_main_loop_quit(control->m_loop);
            return G_SOURCE_REMOVE;
        },
        this);
    return true;
}

/// False at the end of the input.
bool Control::read()
{
    char buffer[kLongestLine];
    const ssize_t got = ::read(m_fd, buffer, sizeof buffer);
    if (got < 0)
        return errno == EAGAIN || errno == EINTR;
    if (got == 0)
        return false;
    m_pending.append(buffer, static_cast<std::size_t>(got));
    for (auto end = m_pending.find('\n'); end != std::string::npos; end = m_pending.find('\n')) {
        const std::string line = m_pending.substr(0, end);
        m_pending.erase(0, end + 1);
        std::printf("%s\n", execute(line).c_str());
        std::fflush(stdout);
    }
    if (m_pending.size() > kLongestLine)
        m_pending.clear();
    return true;
}

std::string Control::execute(const std::string &line)
{
    std::vector<std::string> words;
    for (const std::string &word : split(line, ' ')) {
        if (!word.empty())
            words.push_back(word);
    }
    if (words.empty())
        return "ERR empty command";
    const std::string &command = words[0];
    const std::string name = words.size() > 1 ? words[1] : std::string();
    if (command == "quit") {
        g_main_loop_quit(m_loop);
        return "OK quit";
    }
    if (command == "die")
        ::_exit(kDieStatus); // as a crash would: no good-bye to anybody
    if (command == "stats")
        return stats();
    if (command == "drop" && words.size() == 1)
        return "OK drop " + std::to_string(m_server->drop(nullptr));
    if (command == "mute-accept" && (name == "on" || name == "off")) {
        if (name == "off") {
            m_server->stopMute();
            return "OK mute-accept off";
        }
        const int port = m_server->startMute();
        return port > 0 ? "OK mute-accept " + std::to_string(port) : "ERR cannot listen";
    }
    Mount *mount = m_server->find(name);
    if (mount == nullptr)
        return "ERR no camera or clip \"" + name + "\", or unknown command";
    return executeOnMount(command, mount, words.size() > 2 ? words[2] : std::string());
}

std::string Control::executeOnMount(const std::string &command, Mount *mount,
                                    const std::string &argument)
{
    const std::string done = "OK " + command + " " + mount->name();
    if (command == "drop")
        return done + " " + std::to_string(m_server->drop(mount));
    if (command == "end") {
        m_server->renew(mount);
        mount->finish();
        return done;
    }
    if (command == "stall" && (argument == "on" || argument == "off")) {
        mount->setStalled(argument == "on");
        return done + " " + argument;
    }
    if (command != "size" && command != "fps" && command != "codec")
        return "ERR unknown command";
    if (!mount->isCamera())
        return "ERR " + mount->name() + " is a clip";
    int width = 0;
    int height = 0;
    VideoForm form = VideoForm::H264;
    if (command == "size" && parseSize(argument, &width, &height))
        mount->setSize(width, height);
    else if (command == "fps" && parseNumber(argument, 1, kMaxFps, &width))
        mount->setFps(width);
    else if (command == "codec" && parseVideoForm(argument, &form)) {
        mount->setVideoForm(form);
        m_server->renew(mount);
        m_server->drop(mount);
    } else
        return "ERR " + command + ": \"" + argument + "\" is not understood";
    return done + " " + argument;
}

/// "OK clients=2; gate clients=1 video=50 audio=100 counter=50; ..."
std::string Control::stats() const
{
    std::string text = "OK clients=" + std::to_string(m_server->clients(nullptr));
    for (const auto &mount : m_server->mounts()) {
        text += "; " + mount->name() +
                " clients=" + std::to_string(m_server->clients(mount.get())) +
                " video=" + std::to_string(mount->count().pictures) +
                " audio=" + std::to_string(mount->count().sounds);
        if (mount->isCamera())
            text += " counter=" + std::to_string(mount->counter());
    }
    return text;
}

} // namespace vantrasim
