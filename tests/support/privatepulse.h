// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace vantratest {

/// A process that ends with this one, however this one ends.
class ChildProcess final : public QProcess
{
    Q_DISABLE_COPY(ChildProcess)

public:
    ChildProcess() = default;
    /// Kills the process and waits for it.
    ~ChildProcess() override;

protected:
    void setupChildProcess() override;
};

/// A sound server of its own, on a socket in a temporary folder, without hardware: two null sinks
/// to play to and a microphone that hears a sine for ever.
///
/// Build it before anything touches Qt's audio classes: it sets PULSE_SERVER for this process, and
/// Qt's sound plugin keeps the one connection that it made when it was loaded. Hence one server per
/// test executable.
class PrivatePulse final
{
    Q_DISABLE_COPY(PrivatePulse)

public:
    static constexpr const char *kSpeaker = "vantra_speaker";               ///< the default sink
    static constexpr const char *kSpare = "vantra_spare";                   ///< a second sink
    static constexpr const char *kMicrophone = "vantra_microphone.monitor"; ///< the default source
    static constexpr int kMicrophoneHertz = 1000;

    PrivatePulse();
    /// Stops the server.
    ~PrivatePulse();

    /// Starts the server and waits until it answers. False: see log().
    bool start();
    /// Ends the server abruptly, as a crash would.
    void kill();
    /// Leaves the server alive and silent: it accepts connections and answers nothing.
    void freeze();
    void thaw();

    QString log() const;
    /// What PULSE_SERVER holds.
    QString address() const;

private:
    QTemporaryDir folder;
    ChildProcess server;
};

/// Points this process to a place where no sound server listens. Same time as PrivatePulse.
void useNoSoundServer();

/// Records what a sink plays, as mono signed 16-bit PCM, until destroyed.
class SinkRecorder final
{
    Q_DISABLE_COPY(SinkRecorder)

public:
    static constexpr int kSampleRate = 48000; ///< Hz

    explicit SinkRecorder(const char *sink = PrivatePulse::kSpeaker);

    /// Whether the first sound (silence is sound too) has arrived, within a deadline.
    bool waitUntilRunning();
    /// All that was recorded since the start or the last clear().
    QByteArray pcm();
    /// The end of it.
    QByteArray last(int milliseconds);
    void clear();

private:
    QByteArray recorded;
    ChildProcess recorder;
};

} // namespace vantratest
