// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDebug>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#if defined(VANTRA_LOGGER_LIBRARY)
#define VANTRA_LOGGER_EXPORT Q_DECL_EXPORT
#else
#define VANTRA_LOGGER_EXPORT Q_DECL_IMPORT
#endif

class LogSink;
struct LogRecord;

/// Hands log lines to sinks. All functions may be called on any thread, from within a sink, before
/// main() and while the process ends.
class VANTRA_LOGGER_EXPORT Logger
{
    Q_DISABLE_COPY(Logger)

public:
    /// How much a line matters.
    enum LogLevel {
        Trace = 0,
        Debug = 1,
        Info = 2,
        Warning = 3, ///< a condition that is survived
        Error = 4,   ///< a failure that ends the current attempt
        Fatal = 5,   ///< as Error, but worse; the process is not ended
    };
    using SinkList = std::vector<std::shared_ptr<LogSink>>; ///< shared with the logger

    Logger(); ///< without any sink
    ~Logger();

    /// Least level that is handed on. Trace at first: what is written is then up to the sinks.
    void setMinimumLevel(LogLevel level);
    LogLevel minimumLevel() const;
    /// Whether a line of this level would reach any sink. Costs next to nothing.
    bool isEnabled(LogLevel level) const;

    /// From now on the sink gets every line of its levels. Null, or a sink that is there already,
    /// is ignored.
    void addSink(std::shared_ptr<LogSink> sink);
    /// A line that another thread is just handing over may still arrive after the return.
    void removeSink(const std::shared_ptr<LogSink> &sink);
    SinkList sinks() const; ///< those there are now

    /// Hands a line to all sinks that want its level, with the user names and passwords of URLs in
    /// its text masked. Returns when they have it. A line that a sink logs while it writes follows
    /// after the current one and goes to all sinks but that one, so that no sink feeds itself.
    void log(const LogRecord &record);

private:
    void deliver(const LogRecord &record);
    void updateThreshold();

    mutable std::mutex m_mutex; ///< guards the list, never held while a sink writes
    std::shared_ptr<const SinkList> m_sinks;
    LogLevel m_minimumLevel = Trace;
    std::atomic<int> m_threshold; ///< least level that any sink gets
};

/// One line of the log.
struct LogRecord
{
    qint64 time = 0;                       ///< milliseconds since the epoch
    Logger::LogLevel level = Logger::Info; ///< as given by the author
    QString category;                      ///< which part of the process speaks
    quint64 threadId = 0;                  ///< as the system numbers it
    QString threadName;                    ///< may be empty
    QString file;                          ///< as the compiler knows it
    int line = 0;                          ///< in that file
    QString function;                      ///< full signature
    QString text;                          ///< addresses masked once a sink gets it
};

/// Where lines go.
class VANTRA_LOGGER_EXPORT LogSink
{
    Q_DISABLE_COPY(LogSink)

public:
    /// The sink gets lines of this level and above.
    explicit LogSink(Logger::LogLevel minimumLevel = Logger::Trace);
    virtual ~LogSink();

    Logger::LogLevel minimumLevel() const { return m_minimumLevel; } ///< fixed

    /// Called on the thread that logs, possibly by several at once. May log; must not throw.
    virtual void write(const LogRecord &record) = 0;

private:
    const Logger::LogLevel m_minimumLevel;
};

/// "2026-01-31 12:00:00.000 W vantra 4242(name) core_video/x.cpp:12 void f() - text", without an
/// end of line. Line breaks within stay.
VANTRA_LOGGER_EXPORT QString formatLogRecord(const LogRecord &record);

/// The text with the user information of every URL in it replaced by "***:***" ("***" if it has no
/// password), also where the scheme is missing ("user:password@host") or the URL stands encoded in
/// another one; what follows "password=" and its like (passwd, passcode, pass, pwd, psw, secret,
/// token), and the credentials of an "Authorization:" line, by "***". Nothing else is changed. Any
/// thread.
VANTRA_LOGGER_EXPORT QString maskUrlCredentials(const QString &text);

/// Where the user information of a URL ends, which may hold any character: the position of the "@"
/// behind it. -1 if it has none, or if this is no URL. Any thread.
VANTRA_LOGGER_EXPORT int userInfoEnd(const QString &url);

/// The arguments of main() in the encoding of the system, with the program's name first. Masks them
/// in place, as maskUrlCredentials() does, so that no process list shows a password any longer;
/// what does not fit there is cut off. Call it once, before QCoreApplication is made, whose
/// arguments() are then masked too. An address that may not be seen even while the program starts
/// has to come from a file or a pipe.
VANTRA_LOGGER_EXPORT QStringList takeArguments(int argc, char **argv);

/// The logger of the process, never null and never destroyed. At first it has one sink, which
/// writes warnings and above to the standard error output.
VANTRA_LOGGER_EXPORT Logger *cuteLoggerInstance();

/// Starts one line of the log.
///
///     CuteMessageLogger(logger, Logger::Info, __FILE__, __LINE__, Q_FUNC_INFO, "app").write()
///         << "x";
class VANTRA_LOGGER_EXPORT CuteMessageLogger
{
    Q_DISABLE_COPY(CuteMessageLogger)

public:
    /// The logger must outlive the line; null gives a line that goes nowhere. The texts are copied.
    CuteMessageLogger(Logger *logger, Logger::LogLevel level, const char *file, int line,
                      const char *function, const char *category);
    ~CuteMessageLogger();

    /// A stream that adds no blanks and no quotes; call it once per object. The line is handed to
    /// the logger when the stream and all copies of it are destroyed, and this object too if it
    /// lives longer, which is so where all is one expression. A stream that outlives this object
    /// also hands over what it has, as a line of its own, at a flush and every 16384 characters.
    QDebug write();

private:
    class Line;
    Line *m_line;
};
