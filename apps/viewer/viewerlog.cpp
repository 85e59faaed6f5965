// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "viewerlog.h"

#include "logger/logger.h"
#include "logger/logsinks.h"

#include <QtGlobal>

extern "C" {
#include <libavutil/log.h>
}

namespace {

constexpr int kMaximumPiece = 1024; ///< bytes of what FFmpeg logs at a time
constexpr int kMaximumLine = 16 * kMaximumPiece;

void tell(Logger::LogLevel level, const QMessageLogContext &context, const char *category,
          const QString &text)
{
    CuteMessageLogger(cuteLoggerInstance(), level, context.file ? context.file : "", context.line,
                      context.function ? context.function : "", category)
            .write()
        << text;
}

void hearQt(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const Logger::LogLevel level = type == QtDebugMsg      ? Logger::Debug
                                   : type == QtInfoMsg     ? Logger::Info
                                   : type == QtWarningMsg  ? Logger::Warning
                                   : type == QtCriticalMsg ? Logger::Error
                                                           : Logger::Fatal;
    tell(level, context, "qt", text);
}

/// Any thread. A line may come in pieces, and an address with it.
void hearFfmpeg(void *object, int level, const char *format, va_list arguments)
{
    const Logger::LogLevel ours = level <= AV_LOG_ERROR     ? Logger::Error
                                  : level <= AV_LOG_WARNING ? Logger::Warning
                                                            : Logger::Debug;
    if (level > av_log_get_level() || !cuteLoggerInstance()->isEnabled(ours))
        return;
    static thread_local QByteArray line;
    static thread_local int prefix = 1;
    char piece[kMaximumPiece];
    av_log_format_line2(object, level, format, arguments, piece, sizeof piece, &prefix);
    line += piece;
    if (!line.endsWith('\n') && line.size() < kMaximumLine)
        return;
    tell(ours, QMessageLogContext(), "ffmpeg", QString::fromUtf8(line).trimmed());
    line.clear();
}

} // namespace

void setUpLog(bool verbose)
{
    Logger *logger = cuteLoggerInstance();
    for (const auto &sink : logger->sinks())
        logger->removeSink(sink);
    logger->addSink(std::make_shared<ConsoleSink>(verbose ? Logger::Debug : Logger::Fatal));
    av_log_set_callback(hearFfmpeg); // the level is the library's to set
    qInstallMessageHandler(hearQt);
}
