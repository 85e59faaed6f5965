// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/privatepulse.h"

#include "support/filecontent.h"
#include "support/waitfor.h"

#include <QFile>
#include <QProcessEnvironment>

#include <csignal>
#include <sys/prctl.h>

namespace vantratest {

namespace {

/// A null sink that plays a sine to itself; its monitor is the microphone. (The module that is a
/// source of a sine delivers only every two seconds.)
constexpr char kMicrophoneSink[] = "vantra_microphone";
constexpr int kEndDeadline = 10000; ///< milliseconds

void pointTo(const QTemporaryDir &folder)
{
    const QByteArray path = QFile::encodeName(folder.path());
    qputenv("PULSE_SERVER", "unix:" + path + "/native");
    qputenv("PULSE_RUNTIME_PATH", path);
    qputenv("PULSE_STATE_PATH", path);
    qputenv("PULSE_COOKIE", path + "/cookie");
    // A latency forced from outside would change the blocks that the tests count on.
    qunsetenv("PULSE_LATENCY_MSEC");
    qunsetenv("PULSE_SINK");
    qunsetenv("PULSE_SOURCE");
}

/// norewinds: what was handed to a null sink is heard as it was, not rewritten.
QByteArray serverScript(const QString &socket)
{
    QByteArray script;
    script += "load-module module-native-protocol-unix auth-anonymous=1 socket=" +
              QFile::encodeName(socket) + "\n";
    for (const char *sink : {PrivatePulse::kSpeaker, PrivatePulse::kSpare, kMicrophoneSink}) {
        script += "load-module module-null-sink rate=48000 channels=2 norewinds=1 sink_name=" +
                  QByteArray(sink) + "\n";
    }
    script += "load-module module-sine sink=" + QByteArray(kMicrophoneSink) +
              " frequency=" + QByteArray::number(PrivatePulse::kMicrophoneHertz) + "\n";
    script += "set-default-sink " + QByteArray(PrivatePulse::kSpeaker) + "\n";
    script += "set-default-source " + QByteArray(PrivatePulse::kMicrophone) + "\n";
    return script;
}

bool answers()
{
    ChildProcess question;
    question.setStandardOutputFile(QProcess::nullDevice());
    question.setStandardErrorFile(QProcess::nullDevice());
    question.start("pactl", {"info"});
    return question.waitForFinished() && question.exitStatus() == QProcess::NormalExit &&
           question.exitCode() == 0;
}

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

ChildProcess::~ChildProcess()
{
    if (state() != QProcess::NotRunning) {
        kill();
        waitForFinished(kEndDeadline);
    }
}

void ChildProcess::setupChildProcess()
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

PrivatePulse::PrivatePulse()
{
    pointTo(folder);
}

PrivatePulse::~PrivatePulse()
{
    thaw();
    kill();
}

bool PrivatePulse::start()
{
    const QString script = folder.filePath("setup.pa");
    if (!folder.isValid() || !writeFile(script, serverScript(folder.filePath("native"))))
        return false;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *variable : {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME"})
        environment.insert(variable, folder.path());
    environment.remove("DISPLAY");
    environment.remove("DBUS_SESSION_BUS_ADDRESS");
    environment.remove("PULSE_SERVER");
    server.setProcessEnvironment(environment);
    server.setStandardOutputFile(folder.filePath("stdout.log"));
    server.setStandardErrorFile(folder.filePath("stderr.log"));
    server.start("pulseaudio", {"-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                                "--disallow-exit", "--realtime=no", "--high-priority=no",
                                "--log-target=file:" + folder.filePath("pulse.log"), "-F", script});
    if (!server.waitForStarted())
        return false;
    return waitFor([this] { return server.state() != QProcess::Running || answers(); }) &&
           server.state() == QProcess::Running;
}

void PrivatePulse::kill()
{
    if (server.state() == QProcess::NotRunning)
        return;
    server.kill();
    server.waitForFinished(kEndDeadline);
}

void PrivatePulse::freeze()
{
    if (server.processId() > 0)
        ::kill(static_cast<pid_t>(server.processId()), SIGSTOP);
}

void PrivatePulse::thaw()
{
    if (server.processId() > 0)
        ::kill(static_cast<pid_t>(server.processId()), SIGCONT);
}

QString PrivatePulse::log() const
{
    return QString::fromUtf8(contentOf(folder.filePath("pulse.log")));
}

QString PrivatePulse::address() const
{
    return QString::fromUtf8(qgetenv("PULSE_SERVER"));
}

void useNoSoundServer()
{
    static const QTemporaryDir empty;
    pointTo(empty);
}

SinkRecorder::SinkRecorder(const char *sink)
{
    recorder.start("parec", {"--raw", "--format=s16le", "--channels=1", "--latency-msec=20",
                             "--rate=" + QString::number(kSampleRate),
                             "--device=" + QString::fromLatin1(sink) + ".monitor"});
}

bool SinkRecorder::waitUntilRunning()
{
    return waitFor([this] { return !pcm().isEmpty(); });
}

QByteArray SinkRecorder::pcm()
{
    recorded += recorder.readAllStandardOutput();
    return recorded;
}

QByteArray SinkRecorder::last(int milliseconds)
{
    return pcm().right(kSampleRate / 1000 * milliseconds * int(sizeof(qint16)));
}

void SinkRecorder::clear()
{
    recorder.readAllStandardOutput();
    recorded.clear();
}

} // namespace vantratest
