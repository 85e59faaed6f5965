// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/players.h"

#include "support/filecontent.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include <csignal>
#include <cstdio>

#include <unistd.h>

namespace vantratest {

namespace {

constexpr int kBrowserMs = 90000; ///< safeguard

double number(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString().toDouble();
}

QString complaints(const ProgramResult &result)
{
    const QByteArray text = result.errors.trimmed();
    return result.clean || !text.isEmpty() ? QString::fromUtf8(text) : QStringLiteral("crashed");
}

/// One video element per file, all at once; each tells its end on the console.
QByteArray page(const QStringList &files)
{
    QByteArray html = R"(<!doctype html><script>
function tell(index, video, error) {
    const quality = video.getVideoPlaybackQuality();
    console.log('SHOWN ' + JSON.stringify({index: index, error: error, ended: video.ended,
        duration: video.duration, time: video.currentTime, width: video.videoWidth,
        height: video.videoHeight, pictures: quality.totalVideoFrames,
        sound: video.webkitAudioDecodedByteCount}));
}
function play(index, source) {
    const video = document.createElement('video');
    video.muted = true;
    video.src = source;
    video.onended = () => tell(index, video, '');
    video.onerror = () => tell(index, video, video.error.code + ' ' + video.error.message);
    document.body.append(video);
    video.play().catch(error => tell(index, video, String(error)));
}
</script><body><script>
)";
    for (int i = 0; i < files.size(); ++i) {
        html += "play(" + QByteArray::number(i) + ", '" +
                QUrl::fromLocalFile(files.at(i)).toEncoded() + "');\n";
    }
    return html + "</script></body>\n";
}

/// Takes a line of the browser's log, which holds the object as the page has written it.
bool readShown(const QByteArray &line, QVector<Shown> *all)
{
    const int begin = line.indexOf("SHOWN {");
    const int end = line.indexOf('}', begin);
    if (begin < 0 || end < 0)
        return false;
    const QJsonObject told = QJsonDocument::fromJson(line.mid(begin + 6, end - begin - 5)).object();
    Shown shown;
    shown.error = told.value(QLatin1String("error")).toString();
    shown.ended = told.value(QLatin1String("ended")).toBool();
    shown.duration = told.value(QLatin1String("duration")).toDouble();
    shown.time = told.value(QLatin1String("time")).toDouble();
    shown.size = QSize(told.value(QLatin1String("width")).toInt(),
                       told.value(QLatin1String("height")).toInt());
    shown.pictures = told.value(QLatin1String("pictures")).toInt();
    shown.soundBytes = qint64(told.value(QLatin1String("sound")).toDouble());
    const int index = told.value(QLatin1String("index")).toInt(-1);
    if (index < 0 || index >= all->size())
        return false;
    (*all)[index] = shown;
    return true;
}

} // namespace

ProgramResult runProgram(const QString &program, const QStringList &arguments, int milliseconds)
{
    ProgramResult result;
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForStarted(milliseconds)) {
        result.errors = "cannot start " + program.toUtf8();
        return result;
    }
    if (!process.waitForFinished(milliseconds)) {
        process.kill();
        process.waitForFinished();
        result.errors = "does not end: ";
    } else {
        result.clean = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    }
    result.output = process.readAllStandardOutput();
    result.errors += process.readAllStandardError();
    return result;
}

ProbedFile probeFile(const QString &file)
{
    const ProgramResult result =
        runProgram(QStringLiteral("ffprobe"),
                   {"-v", "error", "-of", "json", "-show_format", "-show_streams", "-show_packets",
                    "-show_entries", "packet=stream_index,pts_time,flags", file});
    ProbedFile probed;
    probed.error = complaints(result);
    const QJsonObject root = QJsonDocument::fromJson(result.output).object();
    const QJsonObject format = root.value(QLatin1String("format")).toObject();
    probed.format = format.value(QLatin1String("format_name")).toString();
    probed.duration = number(format, "duration");
    QVector<ProbedStream *> streams;
    for (const QJsonValue &value : root.value(QLatin1String("streams")).toArray()) {
        const QJsonObject told = value.toObject();
        const bool video = told.value(QLatin1String("codec_type")).toString() == "video";
        ProbedStream *stream = video ? &probed.video : &probed.audio;
        streams.append(stream);
        stream->codec = told.value(QLatin1String("codec_name")).toString();
        stream->size = QSize(told.value(QLatin1String("width")).toInt(),
                             told.value(QLatin1String("height")).toInt());
        stream->sampleRate = int(number(told, "sample_rate"));
        stream->channels = told.value(QLatin1String("channels")).toInt();
        stream->duration = number(told, "duration");
    }
    for (const QJsonValue &value : root.value(QLatin1String("packets")).toArray()) {
        const QJsonObject told = value.toObject();
        ProbedStream *stream = streams.value(told.value(QLatin1String("stream_index")).toInt(-1));
        if (!stream)
            continue;
        stream->times.append(number(told, "pts_time"));
        stream->keys.append(told.value(QLatin1String("flags")).toString().startsWith('K'));
    }
    return probed;
}

Playback decodeWithFFmpeg(const QString &file, bool sound)
{
    const QTemporaryDir dir;
    const QString sums = dir.filePath(QStringLiteral("pictures"));
    const QString samples = dir.filePath(QStringLiteral("sound"));
    QStringList arguments{"-v",         "error", "-nostdin", "-i", file, "-map",     "0:v",
                          "-autoscale", "0",     "-vsync",   "0",  "-f", "framemd5", sums};
    if (sound)
        arguments << "-map"
                  << "0:a"
                  << "-ac"
                  << "1"
                  << "-f"
                  << "s16le" << samples;
    const ProgramResult result = runProgram(QStringLiteral("ffmpeg"), arguments);
    Playback playback;
    playback.error = complaints(result);
    for (const QByteArray &line : contentOf(sums).split('\n')) {
        if (!line.isEmpty() && !line.startsWith('#'))
            playback.pictures.append(line.mid(line.lastIndexOf(',') + 1).trimmed());
    }
    playback.sound = contentOf(samples);
    return playback;
}

Playback decodeWithGStreamer(const QString &file, QSize pictures, bool sound)
{
    const QTemporaryDir dir;
    const QString planes = dir.filePath(QStringLiteral("pictures"));
    const QString samples = dir.filePath(QStringLiteral("sound"));
    QStringList arguments{"-q", "filesrc", "location=" + file, "!", "decodebin", "name=d"};
    arguments << "d."
              << "!"
              << "video/x-raw"
              << "!"
              << "queue"
              << "!"
              << "videoconvert"
              << "!"
              << "video/x-raw,format=I420"
              << "!"
              << "filesink"
              << "location=" + planes;
    if (sound) {
        arguments << "d."
                  << "!"
                  << "audio/x-raw"
                  << "!"
                  << "queue"
                  << "!"
                  << "audioconvert"
                  << "!"
                  << "audio/x-raw,format=S16LE,channels=1"
                  << "!"
                  << "filesink"
                  << "location=" + samples;
    }
    const ProgramResult result = runProgram(QStringLiteral("gst-launch-1.0"), arguments);
    Playback playback;
    playback.error = complaints(result);
    const QByteArray raw = contentOf(planes);
    const int size = pictures.width() * pictures.height() * 3 / 2;
    for (int at = 0; size > 0 && at < raw.size(); at += size) {
        playback.pictures.append(
            QCryptographicHash::hash(raw.mid(at, size), QCryptographicHash::Md5).toHex());
    }
    playback.sound = contentOf(samples);
    return playback;
}

QString browserProgram()
{
    for (const char *name : {"chromium-headless-shell", "chromium"}) {
        const QString path = QStandardPaths::findExecutable(QLatin1String(name));
        if (!path.isEmpty())
            return path;
    }
    return QString();
}

int browserExitCode()
{
    if (!browserProgram().isEmpty())
        return 0;
    if (qEnvironmentVariableIsSet("VANTRA_REQUIRE_BROWSER")) {
        std::fputs("a browser is demanded and missing\n", stderr);
        return 1;
    }
    std::fputs("SKIP: no browser; install chromium-headless-shell\n", stderr);
    return 77;
}

namespace {

/// A program and all that it starts. The browser's is a script, whose end would leave it behind.
class ProcessGroup : public QProcess
{
public:
    ~ProcessGroup() override { killAll(); }

    void killAll()
    {
        if (state() != NotRunning)
            ::kill(-static_cast<pid_t>(processId()), SIGKILL);
        waitForFinished();
    }

protected:
    void setupChildProcess() override { ::setpgid(0, 0); }
};

} // namespace

QVector<Shown> playInBrowser(const QStringList &files, QString *failure)
{
    const QTemporaryDir dir;
    QFile html(dir.filePath(QStringLiteral("page.html")));
    if (!html.open(QIODevice::WriteOnly) || html.write(page(files)) < 0) {
        *failure = html.errorString();
        return {};
    }
    html.close();
    ProcessGroup browser;
    browser.setProcessChannelMode(QProcess::MergedChannels);
    browser.setStandardInputFile(QProcess::nullDevice());
    // No sandbox: it shows nothing but the page above, and root may have none.
    browser.start(browserProgram(),
                  {"--headless", "--no-sandbox", "--disable-gpu", "--mute-audio",
                   "--autoplay-policy=no-user-gesture-required", "--enable-logging=stderr",
                   "--remote-debugging-port=0", // else it ends as soon as the page is loaded
                   "--user-data-dir=" + dir.filePath(QStringLiteral("profile")),
                   QUrl::fromLocalFile(html.fileName()).toString()});
    QVector<Shown> shown(files.size());
    int told = 0;
    QByteArray log;
    QElapsedTimer since;
    since.start();
    while (told < files.size() && since.elapsed() < kBrowserMs &&
           browser.state() != QProcess::NotRunning) {
        if (!browser.canReadLine() && !browser.waitForReadyRead(1000))
            continue;
        while (browser.canReadLine()) {
            const QByteArray line = browser.readLine();
            log += line;
            told += readShown(line, &shown) ? 1 : 0;
        }
    }
    browser.killAll();
    if (told >= files.size())
        return shown;
    *failure = QString::fromUtf8(log + browser.readAll());
    return {};
}

} // namespace vantratest
