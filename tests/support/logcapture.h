// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "logger/logger.h"

#include <QRegularExpression>
#include <QStringList>
#include <QVector>

#include <memory>

namespace vantratest {

/// Collects the lines of the process's logger from its construction to its destruction, and knows
/// which warnings and errors the test has announced. All functions may be called on any thread.
///
/// A test case mostly has one for each test by being a LoggedTest, which also looks for the
/// unexpected.
class LogCapture
{
    Q_DISABLE_COPY(LogCapture)

public:
    struct Line
    {
        Logger::LogLevel level;
        QString text; ///< tag first, credentials of URLs masked
        QString category;
        QString file;
        QString function;
        int line;
    };

    LogCapture();
    ~LogCapture();

    /// Oldest first.
    QVector<Line> lines() const;
    /// Forgets the lines, not what was announced.
    void clear();

    /// Announces lines of exactly this level and text, any number of them, before or after they
    /// come.
    void expect(Logger::LogLevel level, const QString &text);
    /// The same for all texts that the pattern matches anywhere; anchor it to mean all of the text.
    void expectMatching(Logger::LogLevel level, const QRegularExpression &pattern);

    /// Number of lines of exactly this level and text.
    int count(Logger::LogLevel level, const QString &text) const;
    int countMatching(Logger::LogLevel level, const QRegularExpression &pattern) const;

    /// Lines of level warning and above that nobody announced, as "level: text".
    QStringList unexpected() const;
    /// Announced by expect() or expectMatching(), and no such line has come: as "level: text".
    QStringList missing() const;

private:
    class Sink;
    std::shared_ptr<Sink> m_sink;
};

} // namespace vantratest
