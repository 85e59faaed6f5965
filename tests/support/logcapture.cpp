// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/logcapture.h"

#include <algorithm>
#include <mutex>

namespace vantratest {

namespace {

struct Announcement
{
    Logger::LogLevel level;
    QString text;
    QRegularExpression pattern; ///< used when `matching`
    bool matching;

    bool covers(const LogCapture::Line &line) const
    {
        if (line.level != level)
            return false;
        return matching ? pattern.match(line.text).hasMatch() : line.text == text;
    }
};

QString describe(Logger::LogLevel level, const QString &text)
{
    static const char *const names[] = {"trace", "debug", "info", "warning", "error", "fatal"};
    const int index = qBound(0, int(level), 5);
    return QLatin1String(names[index]) + QLatin1String(": ") + text;
}

} // namespace

class LogCapture::Sink final : public LogSink
{
public:
    void write(const LogRecord &record) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        lines.append({record.level, record.text, record.category, record.file, record.function,
                      record.line});
    }

    mutable std::mutex mutex; ///< guards what follows
    QVector<Line> lines;
    QVector<Announcement> announcements;
};

LogCapture::LogCapture() : m_sink(std::make_shared<Sink>())
{
    cuteLoggerInstance()->addSink(m_sink);
}

LogCapture::~LogCapture()
{
    cuteLoggerInstance()->removeSink(m_sink);
}

QVector<LogCapture::Line> LogCapture::lines() const
{
    std::lock_guard<std::mutex> lock(m_sink->mutex);
    // Not shared: a vector that is being read must not be appended to when it is let go.
    QVector<Line> copy = m_sink->lines;
    copy.detach();
    return copy;
}

void LogCapture::clear()
{
    std::lock_guard<std::mutex> lock(m_sink->mutex);
    m_sink->lines.clear();
}

void LogCapture::expect(Logger::LogLevel level, const QString &text)
{
    std::lock_guard<std::mutex> lock(m_sink->mutex);
    m_sink->announcements.append({level, text, QRegularExpression(), false});
}

void LogCapture::expectMatching(Logger::LogLevel level, const QRegularExpression &pattern)
{
    std::lock_guard<std::mutex> lock(m_sink->mutex);
    m_sink->announcements.append({level, QString(), pattern, true});
}

int LogCapture::count(Logger::LogLevel level, const QString &text) const
{
    const Announcement wanted{level, text, QRegularExpression(), false};
    const auto all = lines();
    return int(std::count_if(all.begin(), all.end(),
                             [&](const Line &line) { return wanted.covers(line); }));
}

int LogCapture::countMatching(Logger::LogLevel level, const QRegularExpression &pattern) const
{
    const Announcement wanted{level, QString(), pattern, true};
    const auto all = lines();
    return int(std::count_if(all.begin(), all.end(),
                             [&](const Line &line) { return wanted.covers(line); }));
}

QStringList LogCapture::unexpected() const
{
    std::lock_guard<std::mutex> lock(m_sink->mutex);
    QStringList result;
    for (const Line &line : m_sink->lines) {
        const bool announced =
            std::any_of(m_sink->announcements.begin(), m_sink->announcements.end(),
                        [&](const Announcement &item) { return item.covers(line); });
        if (line.level >= Logger::Warning && !announced)
            result.append(describe(line.level, line.text));
    }
    return result;
}

QStringList LogCapture::missing() const
{
    std::lock_guard<std::mutex> lock(m_sink->mutex);
    QStringList result;
    for (const Announcement &item : m_sink->announcements) {
        if (!std::any_of(m_sink->lines.begin(), m_sink->lines.end(),
                         [&](const Line &line) { return item.covers(line); }))
            result.append(describe(item.level, item.matching ? item.pattern.pattern() : item.text));
    }
    return result;
}

} // namespace vantratest
