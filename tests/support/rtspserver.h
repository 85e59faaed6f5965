// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace vantratest {

/// A vantra-rtsp-server of the test's own, on a port of its own; it ends with this object, and with
/// the test process, however that ends. Usable on one thread, which must live as long as it does.
///
///     RtspServer server;
///     QVERIFY2(server.start({"--camera", "cam:h264:pcma"}), qPrintable(server.log()));
///     open(server.url("cam"));
///     QVERIFY(server.command("stall cam on"));
class RtspServer
{
public:
    RtspServer() = default;
    ~RtspServer();
    Q_DISABLE_COPY(RtspServer)

    /// Path of the program.
    static QString program();

    /// From the next start on it runs in another network, of which it takes all addresses:
    /// `network` is a network namespace, which stays open, `address` the one that url() names.
    void setPlace(int network, const QString &address);
    /// The one that url() names from now on.
    void setAddress(const QString &address) { m_address = address; }

    /// Starts it with `arguments` (cameras, clips; see its --help) and waits until it listens: on
    /// `port`, or on a free one.
    bool start(const QStringList &arguments, int port = 0);
    /// Starts it again with the same arguments on the same port. Ends a running one first.
    bool restart();
    /// Clean end, and SIGKILL if that takes too long; false in that case, or if it had crashed.
    bool stop();
    /// SIGKILL: the peer is gone without a word of its program.
    void kill();
    /// SIGSTOP: the connections stay, and nothing is sent or answered. Until resume().
    void suspend();
    void resume();

    bool isRunning() const;
    /// 0 before the first start.
    int port() const { return m_port; }
    qint64 processId() const;
    /// "rtsp://127.0.0.1:PORT/NAME", or with another host, see setPlace(), or with "USER:PASSWORD@"
    /// before the host.
    QString url(const QString &name, const QString &credentials = QString()) const;

    /// Sends one line of the control channel and waits for the answer; true if it is OK.
    bool command(const QString &line);
    /// The answer to the last command, such as "OK clients=0; ...".
    QString answer() const { return m_answer; }
    /// Answer of "stats": a figure of the whole server ("clients") or of one camera or clip
    /// ("clients", "video", "audio", "counter"). -1 if there is none.
    qint64 stat(const QString &figure, const QString &name = QString());

    /// What it has written to standard error so far.
    QString log() const;

private:
    bool launch(int port);
    bool readLine(QString *line, int milliseconds);

    std::unique_ptr<QProcess> m_process;
    QStringList m_arguments;
    QString m_address = QStringLiteral("127.0.0.1");
    int m_network = -1; ///< namespace; -1: that of this process
    int m_port = 0;
    bool m_suspended = false;
    QString m_answer;
    mutable QString m_log;
};

/// Listens on a loopback port, accepts every connection and never says a word.
class SilentServer
{
public:
    SilentServer();
    ~SilentServer();
    Q_DISABLE_COPY(SilentServer)

    int port() const { return m_port; }
    /// "rtsp://127.0.0.1:PORT/silent".
    QString url() const;
    /// Connections taken since the start.
    int accepted() const;

private:
    struct Worker;
    std::unique_ptr<Worker> m_worker;
    int m_port = 0;
};

/// A loopback port whose queue of waiting connections is full and stays so: a further connection
/// attempt gets no answer at all, as from a host behind a wall that drops packets.
class BlackHole
{
public:
    BlackHole();
    ~BlackHole();
    Q_DISABLE_COPY(BlackHole)

    /// Whether the hole could be made; it cannot on some kernels.
    bool isValid() const { return m_port > 0; }
    int port() const { return m_port; }
    /// "rtsp://127.0.0.1:PORT/hole".
    QString url() const;

private:
    int m_listener = -1;
    std::vector<int> m_fillers;
    int m_port = 0;
};

/// A loopback port on which nobody listens: connections are refused. It was free a moment ago,
/// which is as sure as it gets.
int refusedPort();

} // namespace vantratest
