// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "logger/logger.h"

#include "logger/logsinks.h"

#include <QDateTime>

#include <algorithm>
#include <deque>

namespace {

constexpr int kNoSink = Logger::Fatal + 1; ///< threshold of a logger that nobody listens to

/// A line that a sink has logged while it wrote, waiting for its turn.
struct NestedLine
{
    Logger *logger;
    LogRecord record;
    std::vector<const LogSink *> authors; ///< sinks that led to it; they do not get it
};

/// What one thread is handing over at the moment. Lives on the stack of Logger::log().
struct Handover
{
    std::deque<NestedLine> nested;
    std::vector<const LogSink *> authors; ///< of the current line, and then the sink that writes it
};

thread_local Handover *t_handover = nullptr;

} // namespace

LogSink::LogSink(Logger::LogLevel minimumLevel) : m_minimumLevel(minimumLevel) {}

LogSink::~LogSink() = default;

Logger::Logger() : m_sinks(std::make_shared<const SinkList>()), m_threshold(kNoSink) {}

Logger::~Logger() = default;

void Logger::setMinimumLevel(LogLevel level)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_minimumLevel = level;
    updateThreshold();
}

Logger::LogLevel Logger::minimumLevel() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_minimumLevel;
}

bool Logger::isEnabled(LogLevel level) const
{
    return level >= m_threshold.load(std::memory_order_relaxed);
}

void Logger::addSink(std::shared_ptr<LogSink> sink)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!sink || std::find(m_sinks->begin(), m_sinks->end(), sink) != m_sinks->end())
        return;
    auto sinks = std::make_shared<SinkList>(*m_sinks);
    sinks->push_back(std::move(sink));
    m_sinks = std::move(sinks);
    updateThreshold();
}

void Logger::removeSink(const std::shared_ptr<LogSink> &sink)
{
    std::shared_ptr<const SinkList> former; // destroyed after the lock: so may be the sink
    std::lock_guard<std::mutex> lock(m_mutex);
    auto sinks = std::make_shared<SinkList>(*m_sinks);
    sinks->erase(std::remove(sinks->begin(), sinks->end(), sink), sinks->end());
    former = std::move(m_sinks);
    m_sinks = std::move(sinks);
    updateThreshold();
}

Logger::SinkList Logger::sinks() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return *m_sinks;
}

void Logger::updateThreshold()
{
    int threshold = kNoSink;
    for (const auto &sink : *m_sinks)
        threshold = std::min<int>(threshold, sink->minimumLevel());
    m_threshold = std::max<int>(threshold, m_minimumLevel);
}

void Logger::log(const LogRecord &record)
{
    if (!isEnabled(record.level))
        return;
    LogRecord masked = record;
    masked.text = maskUrlCredentials(record.text);
    if (t_handover) {
        t_handover->nested.push_back({this, std::move(masked), t_handover->authors});
        return;
    }
    Handover handover;
    t_handover = &handover;
    deliver(masked);
    while (!handover.nested.empty()) {
        NestedLine line = std::move(handover.nested.front());
        handover.nested.pop_front();
        handover.authors = std::move(line.authors);
        line.logger->deliver(line.record);
    }
    t_handover = nullptr;
}

void Logger::deliver(const LogRecord &record)
{
    std::shared_ptr<const SinkList> sinks;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        sinks = m_sinks;
    }
    auto &authors = t_handover->authors;
    for (const auto &sink : *sinks) {
        if (record.level < sink->minimumLevel() ||
            std::find(authors.begin(), authors.end(), sink.get()) != authors.end())
            continue;
        authors.push_back(sink.get());
        sink->write(record);
        authors.pop_back();
    }
}

QString formatLogRecord(const LogRecord &record)
{
    static const char kLevels[] = "TDIWEF";
    const int level = std::min<int>(std::max<int>(record.level, Logger::Trace), Logger::Fatal);
    const QString time = QDateTime::fromMSecsSinceEpoch(record.time)
                             .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    QString thread = QString::number(record.threadId);
    if (!record.threadName.isEmpty())
        thread += QStringLiteral("(%1)").arg(record.threadName);
    return QStringLiteral("%1 %2 %3 %4 %5:%6 %7 - %8")
        .arg(time, QString(QLatin1Char(kLevels[level])), record.category, thread, record.file,
             QString::number(record.line), record.function, record.text);
}

Logger *cuteLoggerInstance()
{
    // Never destroyed, so that the destructors of static objects can still log.
    static Logger *const instance = [] {
        auto *logger = new Logger;
        logger->addSink(std::make_shared<ConsoleSink>());
        return logger;
    }();
    return instance;
}
