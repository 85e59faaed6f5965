// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "logger/logger.h"

#include <QFile>

#include <deque>

/// Writes lines to the standard error output, in colours if that is a terminal.
class VANTRA_LOGGER_EXPORT ConsoleSink : public LogSink
{
public:
    explicit ConsoleSink(Logger::LogLevel minimumLevel = Logger::Warning); ///< see LogSink
    void write(const LogRecord &record) override;

private:
    const bool m_coloured;
};

/// Appends lines to a file, which is renamed to "NAME.1" when it is full, the former "NAME.1" to
/// "NAME.2" and so on. A line that cannot be written (full disk, vanished folder) is dropped; the
/// next one tries anew.
class VANTRA_LOGGER_EXPORT RotatingFileSink : public LogSink
{
public:
    /// `maximumSize`: bytes per file, exceeded only by a single line that is longer than that.
    /// `fileCount`: number of files kept, the current one included; at least 1.
    explicit RotatingFileSink(const QString &path, qint64 maximumSize = 4 * 1024 * 1024,
                              int fileCount = 4, Logger::LogLevel minimumLevel = Logger::Info);
    ~RotatingFileSink() override;

    void write(const LogRecord &record) override;
    /// Number of lines that could not be written.
    quint64 droppedLines() const;

private:
    bool writeLine(const QByteArray &line);
    bool openFile(QIODevice::OpenMode mode);
    void rotate();

    const QString m_path;
    const qint64 m_maximumSize;
    const int m_fileCount;
    mutable std::mutex m_mutex; ///< guards what follows
    QFile m_file;
    quint64 m_droppedLines = 0;
};

/// Keeps the newest lines.
class VANTRA_LOGGER_EXPORT MemorySink : public LogSink
{
public:
    /// `maximumLines`: further ones push out the oldest.
    explicit MemorySink(size_t maximumLines = 1000, Logger::LogLevel minimumLevel = Logger::Trace);

    void write(const LogRecord &record) override;

    /// Oldest first.
    std::vector<LogRecord> records() const;
    void clear(); ///< forgets all lines

private:
    const size_t m_maximumLines;
    mutable std::mutex m_mutex; ///< guards m_records
    std::deque<LogRecord> m_records;
};
