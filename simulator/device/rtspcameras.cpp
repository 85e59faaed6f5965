// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/rtspcameras.h"

#include "simulator/scene/sceneid.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

extern char **environ;

namespace vantrasim {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kStartPatience = std::chrono::seconds(15);
constexpr int kAnswerMs = 10000;
constexpr auto kEndPatience = std::chrono::seconds(3);
constexpr char kProgram[] = "vantra-rtsp-server";

/// Beside the running program where it is installed, else where it was built.
QString serverProgram()
{
    const QString self = QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
    const QString beside =
        QFileInfo(self).absolutePath() + QLatin1Char('/') + QLatin1String(kProgram);
    return QFileInfo(beside).isExecutable() ? beside : QStringLiteral(VANTRA_RTSP_SERVER);
}

QString cameraOption(const QString &name, const DeviceConfig &config, int channel, int stream)
{
    const ChannelConfig &place = config.channels[channel];
    const StreamConfig form = place.streams.isEmpty()
                                  ? StreamConfig()
                                  : place.streams[std::min(stream, int(place.streams.size()) - 1)];
    const VideoFormat &video = form.video;
    const AudioFormat &audio = form.audio;
    const QString sound = audio.codec == HCodecG711A   ? QStringLiteral("pcma")
                          : audio.codec == HCodecG711U ? QStringLiteral("pcmu")
                                                       : QStringLiteral("none");
    QString label = place.name;
    label.remove(QLatin1Char(':')); // parts the fields
    return QStringLiteral("%1:%2:%3:%4x%5:%6:gop=%7:tone=%8:colour=%9")
               .arg(name,
                    video.codec == HCodecH265 ? QStringLiteral("h265") : QStringLiteral("h264"),
                    sound, QString::number(video.width), QString::number(video.height),
                    QString::number(video.fps), QString::number(video.pictureGroup()),
                    QString::number(audio.hertz),
                    QString::number(place.colour, 16).rightJustified(6, QLatin1Char('0'))) +
           QStringLiteral(":id=%1:label=%2")
               .arg(QString::number(sceneIdOf(config.number, channel, stream), 16)
                        .rightJustified(6, QLatin1Char('0')),
                    label);
}

} // namespace

QString RtspCameras::nameOf(int channel, int stream)
{
    return QStringLiteral("ch%1-%2").arg(channel).arg(stream);
}

RtspCameras::RtspCameras(const DeviceConfig &config)
    : m_program(serverProgram()), m_names([&] {
          QStringList names;
          for (int channel = 0; channel < config.channels.size(); ++channel) {
              for (int stream = 0; stream < config.streamsPerChannel(); ++stream)
                  names << nameOf(channel, stream);
          }
          return names;
      }()),
      m_config(config)
{
    m_thread = std::thread([this] { run(); });
}

RtspCameras::~RtspCameras()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

QStringList RtspCameras::arguments()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QStringList arguments{QStringLiteral("--control"), QStringLiteral("stdin")};
    for (int channel = 0; channel < m_config.channels.size(); ++channel) {
        for (int stream = 0; stream < m_config.streamsPerChannel(); ++stream)
            arguments << QStringLiteral("--camera")
                      << cameraOption(nameOf(channel, stream), m_config, channel, stream);
    }
    return arguments;
}

QStringList RtspCameras::urls()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, kStartPatience,
                       [this] { return m_state != State::Starting || m_stop; });
    QStringList urls;
    if (m_port == 0)
        return urls;
    for (const QString &name : m_names)
        urls << QStringLiteral("rtsp://127.0.0.1:%1/%2").arg(m_port).arg(name);
    return urls;
}

void RtspCameras::vanish(int ms)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_away = true;
    m_backAt = ms < 0 ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(ms);
    m_changed.notify_all();
}

void RtspCameras::comeBack()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_away = false;
    m_changed.notify_all();
}

void RtspCameras::setStalled(int channel, int stream, bool stalled)
{
    command(
        QStringLiteral("stall %1 %2")
            .arg(nameOf(channel, stream), stalled ? QStringLiteral("on") : QStringLiteral("off")));
}

void RtspCameras::setForm(int channel, int stream, const VideoFormat &to)
{
    const QString name = nameOf(channel, stream);
    VideoFormat from;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        QVector<StreamConfig> &forms = m_config.channels[channel].streams;
        while (forms.size() <= stream)
            forms.append(forms.isEmpty() ? StreamConfig() : forms.last());
        from = std::exchange(forms[stream].video, to);
    }
    if (from.width != to.width || from.height != to.height)
        command(QStringLiteral("size %1 %2x%3").arg(name).arg(to.width).arg(to.height));
    if (from.fps != to.fps)
        command(QStringLiteral("fps %1 %2").arg(name).arg(to.fps));
    if (from.codec != to.codec)
        command(QStringLiteral("codec %1 %2")
                    .arg(name,
                         to.codec == HCodecH265 ? QStringLiteral("h265") : QStringLiteral("h264")));
}

/// The server asks to be ended with the thread that started it, so one thread does it all.
void RtspCameras::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        m_state = State::Starting;
        lock.unlock();
        const bool running = launch();
        lock.lock();
        m_state = running ? State::Running : State::Broken;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_stop || m_away; });
        lock.unlock();
        {
            const bool atOnce = [this] {
                const std::lock_guard<std::mutex> guard(m_mutex);
                return m_away;
            }();
            end(atOnce);
        }
        lock.lock();
        if (m_stop)
            break;
        m_state = State::Gone;
        m_changed.notify_all();
        const auto isOver = [this] { return m_stop || !m_away || Clock::now() >= m_backAt; };
        while (!isOver()) {
            if (m_backAt == Clock::time_point::max())
                m_changed.wait(lock);
            else
                m_changed.wait_until(lock, m_backAt);
        }
        m_away = false;
    }
}

bool RtspCameras::launch()
{
    const std::lock_guard<std::mutex> lock(m_pipeMutex);
    int input[2];
    int output[2];
    // A socket, because a write to a pipe whose reader has died would end the host.
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input) != 0)
        return false;
    if (::pipe2(output, O_CLOEXEC) != 0) {
        ::close(input[0]);
        ::close(input[1]);
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> words{QFile::encodeName(m_program).toStdString()};
    for (const QString &argument : arguments())
        words.push_back(argument.toStdString());
    words.push_back("--port");
    words.push_back(std::to_string(m_port)); // written by this thread alone
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t process = -1;
    const int failure =
        ::posix_spawn(&process, words[0].c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    if (failure != 0) {
        ::close(input[1]);
        ::close(output[0]);
        return false;
    }
    m_process = process;
    m_toServer = input[1];
    m_fromServer = output[0];
    m_pending.clear();
    std::string line;
    while (readLine(&line)) {
        if (line.rfind("READY ", 0) != 0)
            continue;
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_port = std::atoi(line.c_str() + 6);
        return true;
    }
    return false;
}

void RtspCameras::end(bool atOnce)
{
    const std::lock_guard<std::mutex> lock(m_pipeMutex);
    if (m_process <= 0)
        return;
    ::close(m_toServer); // the end of its input ends it
    const auto deadline = Clock::now() + kEndPatience;
    if (atOnce)
        ::kill(m_process, SIGKILL);
    while (::waitpid(m_process, nullptr, WNOHANG) == 0) {
        if (Clock::now() >= deadline)
            ::kill(m_process, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ::close(m_fromServer);
    m_process = m_toServer = m_fromServer = -1;
}

bool RtspCameras::readLine(std::string *line)
{
    for (;;) {
        const auto end = m_pending.find('\n');
        if (end != std::string::npos) {
            *line = m_pending.substr(0, end);
            m_pending.erase(0, end + 1);
            return true;
        }
        pollfd wait{m_fromServer, POLLIN, 0};
        const int ready = ::poll(&wait, 1, kAnswerMs);
        if (ready < 0 && errno == EINTR)
            continue;
        char buffer[1024];
        const ssize_t got = ready > 0 ? ::read(m_fromServer, buffer, sizeof buffer) : 0;
        if (got <= 0)
            return false;
        m_pending.append(buffer, std::size_t(got));
    }
}

/// False while there is no server, or if it does not understand.
bool RtspCameras::command(const QString &line)
{
    const std::lock_guard<std::mutex> lock(m_pipeMutex);
    if (m_toServer < 0)
        return false;
    const std::string text = line.toStdString() + "\n";
    if (::send(m_toServer, text.data(), text.size(), MSG_NOSIGNAL) != ssize_t(text.size()))
        return false;
    std::string answer;
    while (readLine(&answer)) { // addresses are printed after the start, and may stand before
        if (answer.rfind("OK", 0) == 0)
            return true;
        if (answer.rfind("ERR", 0) == 0)
            return false;
    }
    return false;
}

} // namespace vantrasim
