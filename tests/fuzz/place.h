// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "fuzzinput.h"

#include "logger/logger.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

#include <cstdarg>
#include <memory>

extern "C" {
#include <libavutil/log.h>
}

namespace vantrafuzz {

/// One process, one folder, below what TMPDIR says. The lines of the log are made, and shown to
/// nobody; Qt and FFmpeg are silent.
class Place
{
public:
    Place()
    {
        require(dir.isValid(), "there is a place for files");
        Logger *const log = cuteLoggerInstance();
        for (const auto &sink : log->sinks())
            log->removeSink(sink);
        log->addSink(std::make_shared<Nowhere>());
        av_log_set_callback(
            [](void *, int, const char *, va_list) {}); // the library sets the level
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    }
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;

    QString path() const { return dir.path(); }
    QString file(const QString &name) const { return dir.filePath(name); }

    /// Takes away what the last input has left.
    void clean() const
    {
        const QFileInfoList entries =
            QDir(dir.path()).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        for (const QFileInfo &entry : entries) {
            if (entry.isDir())
                QDir(entry.filePath()).removeRecursively();
            else
                QFile::remove(entry.filePath());
        }
    }

private:
    class Nowhere final : public LogSink
    {
    public:
        void write(const LogRecord &) override {}
    };

    QTemporaryDir dir;
};

/// What a process needs once, and keeps to its end: a place, and an application, without which the
/// plug-ins that save pictures are not found.
template<typename Application>
struct Process
{
    Process() : application(count, arguments) {}

    int count = 1;
    char program[5] = "fuzz";
    char *arguments[2] = {program, nullptr};
    Application application;
    Place place;
};

/// Whether a file is whole boxes from end to end. ISO/IEC 14496-12, 4.2: size and type, then a size
/// of 64 bits if the first one is 1.
inline void checkBoxes(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray bytes = file.readAll();
    quint64 at = 0;
    const auto end = static_cast<quint64>(bytes.size());
    while (at < end) {
        require(end - at >= 8, "a box has a head");
        const char *box = bytes.constData() + at;
        quint64 size = qFromBigEndian<quint32>(box);
        if (size == 1 && end - at >= 16)
            size = qFromBigEndian<quint64>(box + 8);
        require(size >= 8 && size <= end - at, "a box is whole");
        at += size;
    }
}

} // namespace vantrafuzz
