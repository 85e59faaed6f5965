// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Records a stream into MP4 files, with no window and no decoder.
//   vantra-record rtsp://192.168.1.10/stream1 --out DIR --seconds 60 --interval 20
#include "core_video/ffmpegvideothread.h"
#include "logger/logger.h"
#include "vantra.h"

#include <QtCore>
#include <csignal>

constexpr auto kManual = AbstractVideoThread::MANUAL_RECORD;
static volatile std::sig_atomic_t interrupted = 0;

/// A thread records once its subclass names the files: at their start and, anew, at their end.
class Recorder final : public FFmpegVideoThread
{
public:
    ~Recorder() override { endRun(); }
    QStringList files; ///< closed ones; the stream thread's until it has ended

private:
    void setMP4FileName(RecordType type) override
    {
        setFileName(type, savePath[type] + "/" + flag + now() + ".mp4");
    }
    void renameMP4File(RecordType type) override
    {
        const QString first = getFileName(type), last = first.chopped(4) + now() + ".mp4";
        files += QFile::rename(first, last) ? last : first;
    }
    QString now() const { return QDateTime::currentDateTime().toString("_yyyyMMddTHHmmss"); }
};

int main(int argc, char *argv[])
{
    const QStringList arguments = takeArguments(argc, argv); // no process list shows a password
    QCoreApplication application(argc, argv);
    QTextStream out(stdout), err(stderr);
    QCommandLineParser line;
    const QString most = QString::number(INT_MAX / 1000); // seconds
    line.addOptions(
        {{"out", "", "DIR", "."}, {"seconds", "", "N", most}, {"interval", "", "S", most}});
    const bool parsed = line.parse(arguments);
    const QUrl url(maskUrlCredentials(line.positionalArguments().value(0)));
    const int seconds = line.value("seconds").toInt(), interval = line.value("interval").toInt();
    if (!parsed || url.host().isEmpty() || seconds < 1 || interval < 1) {
        err << "usage: vantra-record rtsp://HOST/PATH [--out DIR] [--seconds N] [--interval S]\n";
        return 2;
    }
    const QDir folder(QDir().absoluteFilePath(line.value("out")));
    if (!folder.mkpath(".") || !QTemporaryFile(folder.filePath("XXXXXX")).open()) {
        err << "vantra-record: no file can be written in " << folder.path() << "\n";
        return 1;
    }
    for (const auto &sink : cuteLoggerInstance()->sinks())
        cuteLoggerInstance()->removeSink(sink); // the progress has the terminal for itself
    QLoggingCategory::setFilterRules("default.info=false");
    Vantra::init();
    Recorder recorder;
    recorder.setFlag(QString(url.host() + url.path()).replace(QRegularExpression("[^\\w.-]"), "_"));
    recorder.setVideoUrl(line.positionalArguments().first());
    recorder.setReadTimeout(3000); // above 0: a stream that breaks off is opened again
    recorder.setConnectTimeout(3000);
    recorder.setSavePath(kManual, folder.path());
    recorder.setSaveInterval(kManual, interval);
    recorder.recordStart(kManual);
    recorder.play();
    std::signal(SIGINT, [](int) { interrupted = 1; });
    QDeadlineTimer end(15000); // ms; of the wait for a first file, then of the recording
    bool wasOpen = false, begun = false;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &recorder, [&] {
        const QFileInfo file(recorder.getFileName(kManual));
        if (!begun && file.exists())
            end.setRemainingTime(seconds * 1000LL);
        begun |= file.exists();
        wasOpen |= recorder.getIsOk();
        if (interrupted || end.hasExpired()) // stop() returns at once: the thread ends by itself
            recorder.isRunning() ? recorder.stop() : application.quit();
        else
            err << (recorder.getIsOk() ? "\r\x1b[Krecording " : "\r\x1b[Kwaiting for the camera ")
                << (begun ? (seconds * 1000LL - end.remainingTime()) / 1000 : 0) << " s, "
                << file.fileName() << " " << file.size() / 1000 << " kB" << Qt::flush;
    });
    tick.start(250);
    application.exec();
    err << "\n" << Qt::flush;
    for (const QString &file : qAsConst(recorder.files))
        if (QProcess::execute("ffprobe",
                              {"-v", "error", "-show_entries", "format=filename,duration",
                               "-sexagesimal", "-of", "csv=p=0:s=\\ :e=none", file}) != 0)
            out << file << " of unknown length\n" << Qt::flush;
    if (recorder.files.isEmpty())
        err << "vantra-record: " << url.toDisplayString(QUrl::RemoveUserInfo)
            << (wasOpen ? " sends no video that can be recorded\n" : " cannot be opened\n");
    return recorder.files.isEmpty() ? 1 : 0;
}
