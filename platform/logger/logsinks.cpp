// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "logger/logsinks.h"

#include <QFileInfo>

#include <cstdio>

#if defined(Q_OS_WIN)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

bool standardErrorIsTerminal()
{
#if defined(Q_OS_WIN)
    return _isatty(2) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

const char *colourOf(Logger::LogLevel level)
{
    switch (level) {
    case Logger::Trace:
    case Logger::Debug:
        return "\033[2m"; // faint
    case Logger::Info:
        return "";
    case Logger::Warning:
        return "\033[33m"; // yellow
    case Logger::Error:
        return "\033[31m"; // red
    case Logger::Fatal:
        return "\033[1;31m"; // bold red
    }
    return "";
}

QString rotatedName(const QString &path, int number)
{
    return path + QLatin1Char('.') + QString::number(number);
}

} // namespace

ConsoleSink::ConsoleSink(Logger::LogLevel minimumLevel)
    : LogSink(minimumLevel), m_coloured(standardErrorIsTerminal())
{
}

void ConsoleSink::write(const LogRecord &record)
{
    QByteArray line = formatLogRecord(record).toUtf8();
    if (m_coloured)
        line = colourOf(record.level) + line + "\033[0m";
    line += '\n';
    // One call, so that lines of several threads do not mix.
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

RotatingFileSink::RotatingFileSink(const QString &path, qint64 maximumSize, int fileCount,
                                   Logger::LogLevel minimumLevel)
    : LogSink(minimumLevel), m_path(path), m_maximumSize(maximumSize),
      m_fileCount(qMax(1, fileCount)), m_file(path)
{
}

RotatingFileSink::~RotatingFileSink() = default;

void RotatingFileSink::write(const LogRecord &record)
{
    const QByteArray line = formatLogRecord(record).toUtf8() + '\n';
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!writeLine(line)) {
        ++m_droppedLines;
        m_file.close();
    }
}

quint64 RotatingFileSink::droppedLines() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_droppedLines;
}

bool RotatingFileSink::writeLine(const QByteArray &line)
{
    // The file may have been moved or removed by somebody else, with its folder.
    if (m_file.isOpen() && !QFile::exists(m_path))
        m_file.close();
    if (!m_file.isOpen() && !openFile(QIODevice::Append))
        return false;
    qint64 size = m_file.size();
    if (size > 0 && size + line.size() > m_maximumSize) {
        rotate();
        // Empty even if the full file could not be renamed: the newest lines matter most.
        if (!openFile(QIODevice::Truncate))
            return false;
        size = 0;
    }
    if (m_file.write(line) == line.size())
        return true;
    m_file.resize(size); // no half lines
    return false;
}

bool RotatingFileSink::openFile(QIODevice::OpenMode mode)
{
    // To open a pipe could block.
    const QFileInfo info(m_path);
    if (info.exists() && !info.isFile())
        return false;
    return m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered | mode);
}

void RotatingFileSink::rotate()
{
    m_file.close();
    if (m_fileCount == 1)
        return;
    QFile::remove(rotatedName(m_path, m_fileCount - 1));
    for (int number = m_fileCount - 2; number >= 1; --number)
        QFile::rename(rotatedName(m_path, number), rotatedName(m_path, number + 1));
    QFile::rename(m_path, rotatedName(m_path, 1));
}

MemorySink::MemorySink(size_t maximumLines, Logger::LogLevel minimumLevel)
    : LogSink(minimumLevel), m_maximumLines(maximumLines)
{
}

void MemorySink::write(const LogRecord &record)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.push_back(record);
    while (m_records.size() > m_maximumLines)
        m_records.pop_front();
}

std::vector<LogRecord> MemorySink::records() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return {m_records.begin(), m_records.end()};
}

void MemorySink::clear()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
}
