// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "logger/logger.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QIODevice>
#include <QTextStream>
#include <QThread>

#if defined(Q_OS_LINUX)
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace {

/// The number that debuggers and system tools show.
quint64 currentThreadId()
{
#if defined(Q_OS_LINUX)
    return quint64(syscall(SYS_gettid));
#else
    return quint64(quintptr(QThread::currentThreadId()));
#endif
}

QTextStream &useUtf8(QTextStream &stream)
{
    stream.setCodec("UTF-8");
    return stream;
}

QString currentThreadName()
{
    const QThread *thread = QThread::currentThread();
    if (!thread)
        return QString();
    const QCoreApplication *app = QCoreApplication::instance();
    if (app && thread == app->thread() && thread->objectName().isEmpty())
        return QStringLiteral("main");
    return thread->objectName();
}

} // namespace

/// The device under the QDebug of one line.
///
/// QDebug writes into a device through a QTextStream, which at its end flushes into the device and
/// then disconnects from it: that is how the end of the last copy is noticed. Within that
/// disconnecting Qt holds a lock of its own, so the line is not handed over there. In the usual
/// case, where everything is one expression, the CuteMessageLogger is destroyed right after the
/// stream and hands the line over. If the stream lives longer, the line is handed over at the
/// flush.
class CuteMessageLogger::Line final : public QIODevice
{
public:
    Line(Logger *logger, bool enabled) : m_logger(logger), m_enabled(enabled)
    {
        setOpenMode(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

    LogRecord record;

    /// Called at the end of the CuteMessageLogger.
    void release()
    {
        if (!m_started || m_ended) {
            if (m_started)
                submit();
            delete this;
        } else {
            m_alone = true;
        }
    }

    void start() { m_started = true; }

protected:
    qint64 readData(char *, qint64) override { return -1; }

    qint64 writeData(const char *data, qint64 size) override
    {
        if (m_enabled)
            m_text.append(data, int(size));
        if (m_alone)
            submit();
        return size;
    }

    void disconnectNotify(const QMetaMethod &) override
    {
        m_ended = true;
        if (m_alone)
            deleteLater();
    }

private:
    void submit()
    {
        if (!m_enabled)
            return;
        record.time = QDateTime::currentMSecsSinceEpoch();
        record.threadId = currentThreadId();
        record.threadName = currentThreadName();
        record.text = QString::fromUtf8(m_text);
        m_text.clear();
        m_logger->log(record);
    }

    Logger *const m_logger;
    const bool m_enabled;
    QByteArray m_text;
    bool m_started = false; ///< there is a stream
    bool m_ended = false;   ///< and it is gone
    bool m_alone = false;   ///< the CuteMessageLogger has gone before the stream
};

CuteMessageLogger::CuteMessageLogger(Logger *logger, Logger::LogLevel level, const char *file,
                                     int line, const char *function, const char *category)
    : m_line(new Line(logger, logger && logger->isEnabled(level)))
{
    if (!logger || !logger->isEnabled(level))
        return;
    m_line->record.level = level;
    m_line->record.file = QString::fromUtf8(file);
    m_line->record.line = line;
    m_line->record.function = QString::fromUtf8(function);
    m_line->record.category = QString::fromUtf8(category);
}

CuteMessageLogger::~CuteMessageLogger()
{
    m_line->release();
}

QDebug CuteMessageLogger::write()
{
    QDebug stream(m_line);
    m_line->start();
    stream.noquote().nospace() << useUtf8;
    return stream;
}
