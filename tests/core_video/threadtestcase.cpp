// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "threadtestcase.h"

#include "support/streammaker.h"
#include "threadwatcher.h"

#include <QtTest>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavutil/log.h>
}

namespace vantratest {

QVector<AccessUnit> ThreadTestCase::units(int count)
{
    static QHash<int, QVector<AccessUnit>> made;
    if (!made.contains(count)) {
        ClipOptions options;
        options.count = count;
        made.insert(count, makeClip(options));
    }
    return made.value(count);
}

QByteArray ThreadTestCase::clip(int count, QVector<int> *unitOffsets)
{
    return makeStream(units(count), {}, unitOffsets);
}

QByteArray ThreadTestCase::clipWithSound(int count, QVector<int> *unitOffsets)
{
    StreamOptions options;
    options.audioCodec = AV_CODEC_ID_PCM_ALAW;
    options.audio = encodeALaw(makeTone(count * 8000 / 25, 8000, 440));
    return makeStream(units(count), options, unitOffsets);
}

void ThreadTestCase::announceNoAudio()
{
    log->expectMatching(Logger::Warning,
                        QRegularExpression(QStringLiteral("^\\(ffvdthr\\)no audio stream in ")));
}

void ThreadTestCase::announceReadErrors()
{
    log->expectMatching(Logger::Error, QRegularExpression(QStringLiteral(
                                           "^\\(ffvdthr\\)read frame err\\(\\d:[^)]+\\)$")));
}

void ThreadTestCase::announceReadTimeout()
{
    log->expectMatching(Logger::Warning, QRegularExpression(QStringLiteral(
                                             "^\\(ffvdthr\\)read timeout \\(\\d+:\\d+\\)$")));
    announceReadErrors();
}

int ThreadTestCase::infos(const char *text) const
{
    return log->count(Logger::Info, QStringLiteral("(ffvdthr)") + QLatin1String(text));
}

QRegularExpression ThreadTestCase::escaped(const QString &before, const QString &text,
                                           const QString &after)
{
    return QRegularExpression(before + QRegularExpression::escape(text) + after);
}

void ThreadTestCase::end(TestThread *thread)
{
    // A stop cuts the current call short, whichever it is.
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
    log->expectMatching(Logger::Error,
                        QRegularExpression(QStringLiteral(
                            "^\\(ffvdthr\\)(read frame err\\(\\d|open input err\\(.*|find stream "
                            "err\\(.*):Immediate exit requested\\)$")));
    thread->stop();
    QVERIFY(waitFor([&] { return thread->isFinished(); }));
    QVERIFY(thread->wait());           // its report of the end is still under way
    QCoreApplication::processEvents(); // what is still queued for a watcher
}

void ThreadTestCase::initTestCase()
{
    av_log_set_level(AV_LOG_QUIET);
    const auto sinks = cuteLoggerInstance()->sinks();
    for (const auto &sink : sinks)
        cuteLoggerInstance()->removeSink(sink);
}

void ThreadTestCase::init()
{
    reset();
    log = std::make_unique<LogCapture>();
}

void ThreadTestCase::cleanup()
{
    reset();
    const QStringList unexpected = log->unexpected();
    QVERIFY2(unexpected.isEmpty(), qPrintable(unexpected.join(QLatin1Char('\n'))));
    log.reset();
}

} // namespace vantratest
