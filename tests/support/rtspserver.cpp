// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/rtspserver.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QRegularExpression>

#include <atomic>
#include <csignal>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vantratest {

namespace {

// Safeguards against hanging, generous for a machine under load.
constexpr int kStartMs = 60000;
constexpr int kAnswerMs = 30000;
constexpr int kStopMs = 20000;

sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(quint16(port));
    return address;
}

/// A listening socket on a free loopback port; -1 on failure.
int listenOnLoopback(int backlog, int *port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr *>(&address), length) != 0 ||
        ::listen(fd, backlog) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
        if (fd >= 0)
            ::close(fd);
        return -1;
    }
    *port = ntohs(address.sin_port);
    return fd;
}

/// A program that may run in another network than this one.
class PlacedProcess final : public QProcess
{
public:
    explicit PlacedProcess(int network) : m_network(network) {}

protected:
    void setupChildProcess() override
    {
        // Rather no server than one in the wrong place.
        if (m_network >= 0 && ::setns(m_network, CLONE_NEWNET) != 0)
            ::_exit(1);
    }

private:
    const int m_network;
};

} // namespace

RtspServer::~RtspServer()
{
    stop();
}

QString RtspServer::program()
{
    return QStringLiteral(VANTRA_RTSP_SERVER);
}

void RtspServer::setPlace(int network, const QString &address)
{
    m_network = network;
    m_address = address;
}

bool RtspServer::start(const QStringList &arguments, int port)
{
    stop();
    m_arguments = arguments;
    return launch(port);
}

bool RtspServer::restart()
{
    stop();
    return launch(m_port);
}

bool RtspServer::launch(int port)
{
    m_process = std::make_unique<PlacedProcess>(m_network);
    m_suspended = false;
    m_log.clear();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // GStreamer's list of plugins takes a second to make; a test with a home of its own would make
    // it anew each time.
    environment.insert(QStringLiteral("GST_REGISTRY"),
                       QFileInfo(program()).dir().filePath(QStringLiteral("gst-registry.bin")));
    m_process->setProcessEnvironment(environment);
    QStringList arguments = m_arguments;
    arguments << QStringLiteral("--control") << QStringLiteral("stdin") << QStringLiteral("--port")
              << QString::number(port);
    if (m_network >= 0)
        arguments << QStringLiteral("--address") << QStringLiteral("0.0.0.0");
    m_process->start(program(), arguments);
    QString line;
    while (readLine(&line, kStartMs)) {
        if (line.startsWith(QLatin1String("READY "))) {
            m_port = line.mid(6).toInt();
            return m_port > 0;
        }
    }
    return false;
}

bool RtspServer::readLine(QString *line, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (m_process && !m_process->canReadLine()) {
        const int left = milliseconds - int(timer.elapsed());
        if (left <= 0 || (!m_process->waitForReadyRead(left) && !m_process->canReadLine()))
            return false;
    }
    if (!m_process)
        return false;
    *line = QString::fromUtf8(m_process->readLine()).trimmed();
    return true;
}

bool RtspServer::stop()
{
    if (!m_process)
        return true;
    if (m_suspended)
        resume();
    bool clean = true;
    if (m_process->state() != QProcess::NotRunning) {
        m_process->closeWriteChannel(); // the end of its input ends it
        if (!m_process->waitForFinished(kStopMs)) {
            clean = false;
            m_process->kill();
            m_process->waitForFinished(kStopMs);
        }
    }
    clean = clean && m_process->exitStatus() == QProcess::NormalExit && m_process->exitCode() == 0;
    log();
    m_process.reset();
    return clean;
}

void RtspServer::kill()
{
    if (!m_process)
        return;
    m_process->kill();
    m_process->waitForFinished(kStopMs);
    log();
    m_process.reset();
    m_suspended = false;
}

void RtspServer::suspend()
{
    if (isRunning() && ::kill(pid_t(m_process->processId()), SIGSTOP) == 0)
        m_suspended = true;
}

void RtspServer::resume()
{
    if (isRunning())
        ::kill(pid_t(m_process->processId()), SIGCONT);
    m_suspended = false;
}

bool RtspServer::isRunning() const
{
    return m_process && m_process->state() == QProcess::Running;
}

qint64 RtspServer::processId() const
{
    return m_process ? m_process->processId() : 0;
}

QString RtspServer::url(const QString &name, const QString &credentials) const
{
    const QString user = credentials.isEmpty() ? QString() : credentials + QLatin1Char('@');
    return QStringLiteral("rtsp://%1:%2/%3").arg(user + m_address, QString::number(m_port), name);
}

bool RtspServer::command(const QString &line)
{
    m_answer.clear();
    if (!isRunning() || m_suspended)
        return false;
    m_process->write(line.toUtf8() + '\n');
    QString answer;
    while (readLine(&answer, kAnswerMs)) {
        // Addresses are printed once after the start, and may still stand before the answer.
        if (answer.startsWith(QLatin1String("OK")) || answer.startsWith(QLatin1String("ERR"))) {
            m_answer = answer;
            return answer.startsWith(QLatin1String("OK"));
        }
    }
    return false;
}

qint64 RtspServer::stat(const QString &figure, const QString &name)
{
    if (!command(QStringLiteral("stats")))
        return -1;
    const QStringList parts = m_answer.mid(3).split(QStringLiteral("; "));
    for (int i = 0; i < parts.size(); ++i) {
        const QStringList words = parts[i].split(QLatin1Char(' '));
        if (name.isEmpty() ? i != 0 : i == 0 || words.first() != name)
            continue;
        for (const QString &word : words) {
            if (word.startsWith(figure + QLatin1Char('=')))
                return word.mid(figure.size() + 1).toLongLong();
        }
    }
    return -1;
}

QString RtspServer::log() const
{
    if (m_process)
        m_log += QString::fromUtf8(m_process->readAllStandardError());
    return m_log;
}

struct SilentServer::Worker
{
    int listener = -1;
    int wake[2] = {-1, -1};
    std::atomic<int> accepted{0};
    std::thread thread;

    void run()
    {
        std::vector<int> connections;
        for (;;) {
            pollfd fds[2] = {{listener, POLLIN, 0}, {wake[0], POLLIN, 0}};
            if (::poll(fds, 2, -1) < 0)
                continue;
            if (fds[1].revents != 0)
                break;
            const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) {
                connections.push_back(fd);
                ++accepted;
            }
        }
        for (int fd : connections)
            ::close(fd);
    }
};

SilentServer::SilentServer() : m_worker(std::make_unique<Worker>())
{
    m_worker->listener = listenOnLoopback(64, &m_port);
    if (m_worker->listener < 0 || ::pipe2(m_worker->wake, O_CLOEXEC) != 0)
        qFatal("no socket for a silent server");
    m_worker->thread = std::thread([worker = m_worker.get()] { worker->run(); });
}

SilentServer::~SilentServer()
{
    ::close(m_worker->wake[1]);
    m_worker->thread.join();
    ::close(m_worker->wake[0]);
    ::close(m_worker->listener);
}

QString SilentServer::url() const
{
    return QStringLiteral("rtsp://127.0.0.1:%1/silent").arg(m_port);
}

int SilentServer::accepted() const
{
    return m_worker->accepted;
}

BlackHole::BlackHole()
{
    int port = 0;
    m_listener = listenOnLoopback(0, &port);
    if (m_listener < 0)
        return;
    // Connect until one attempt stays without an answer: from there on, all do.
    constexpr int kMostFillers = 64;
    constexpr int kAnswerOfLoopbackMs = 300;
    sockaddr_in address = loopback(port);
    for (int i = 0; i < kMostFillers; ++i) {
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (fd < 0)
            return;
        m_fillers.push_back(fd);
        ::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
        pollfd wait = {fd, POLLOUT, 0};
        if (::poll(&wait, 1, kAnswerOfLoopbackMs) == 0) {
            m_port = port;
            return;
        }
    }
}

BlackHole::~BlackHole()
{
    for (int fd : m_fillers)
        ::close(fd);
    if (m_listener >= 0)
        ::close(m_listener);
}

QString BlackHole::url() const
{
    return QStringLiteral("rtsp://127.0.0.1:%1/hole").arg(m_port);
}

int refusedPort()
{
    int port = 0;
    const int fd = listenOnLoopback(1, &port);
    if (fd >= 0)
        ::close(fd);
    return port;
}

} // namespace vantratest
