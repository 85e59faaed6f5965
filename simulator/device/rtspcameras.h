// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/device/deviceconfig.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include <QStringList>

namespace vantrasim {

/// The streams of a simulated device of HTransportRtsp: a vantra-rtsp-server with one camera per
/// stream, on a loopback port that stays the same while this lives. A thread of its own starts it
/// and ends with it, whoever made or destroys this. Any thread.
class RtspCameras
{
public:
    explicit RtspCameras(const DeviceConfig &config);
    ~RtspCameras();
    RtspCameras(const RtspCameras &) = delete;
    RtspCameras &operator=(const RtspCameras &) = delete;

    /// One address per stream in the order of flat indices. Waits for the server to start, for some
    /// seconds at most; empty if it cannot.
    QStringList urls();
    /// The server is gone without a word, for `ms` milliseconds or until comeBack() (-1).
    void vanish(int ms);
    void comeBack();
    void setStalled(int channel, int stream, bool stalled);
    /// From now on, also after the server has been gone.
    void setForm(int channel, int stream, const VideoFormat &form);

private:
    enum class State { Starting, Running, Gone, Broken };

    static QString nameOf(int channel, int stream);
    QStringList arguments();
    void run();
    bool launch();
    void end(bool atOnce);
    bool readLine(std::string *line);
    bool command(const QString &line);

    const QString m_program;
    const QStringList m_names;

    std::mutex m_pipeMutex; // one command at a time; guards the pipes and the process
    int m_process = -1;
    int m_toServer = -1;
    int m_fromServer = -1;
    std::string m_pending;

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    DeviceConfig m_config; // with the forms of now
    State m_state = State::Starting;
    bool m_stop = false;
    bool m_away = false;
    std::chrono::steady_clock::time_point m_backAt;
    int m_port = 0;

    std::thread m_thread; // the last: it uses all the others
};

} // namespace vantrasim
