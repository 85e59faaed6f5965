// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "logger/logger.h"
#include "logger/logsinks.h"

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QTextCodec>
#include <QtTest>

#include <atomic>
#include <functional>
#include <thread>

namespace {

constexpr char kExitArgument[] = "--log-at-exit";

/// Logs before main() and after it, in the program that log_worksBeforeMainAndAtExit() starts.
struct EarlyAndLate
{
    EarlyAndLate() { say("early"); }
    ~EarlyAndLate() { say("late"); }

    static void say(const char *text)
    {
        if (qEnvironmentVariableIsSet("VANTRA_TEST_LOG_AT_EXIT"))
            CuteMessageLogger(cuteLoggerInstance(), Logger::Warning, "f", 1, "g", "c").write()
                << text;
    }
} earlyAndLate;

/// Calls a function for each line.
class FunctionSink final : public LogSink
{
public:
    explicit FunctionSink(std::function<void(const LogRecord &)> function)
        : m_function(std::move(function))
    {
    }
    void write(const LogRecord &record) override { m_function(record); }

private:
    const std::function<void(const LogRecord &)> m_function;
};

QStringList texts(const MemorySink &sink)
{
    QStringList result;
    for (const LogRecord &record : sink.records())
        result.append(record.text);
    return result;
}

} // namespace

class tst_Logger : public QObject
{
    Q_OBJECT

private:
    /// A stream whose CuteMessageLogger is gone.
    QDebug start(Logger::LogLevel level = Logger::Info)
    {
        return CuteMessageLogger(&*m_logger, level, "core_x/y.cpp", 12, "void f()", "cat").write();
    }

    std::unique_ptr<Logger> m_logger;
    std::shared_ptr<MemorySink> m_sink;

private slots:
    void init()
    {
        m_logger = std::make_unique<Logger>();
        m_sink = std::make_shared<MemorySink>();
        m_logger->addSink(m_sink);
    }

    void levels_haveTheNumbersThatHostsKnow();
    void line_carriesEverything();
    void line_addsNoBlanksAndNoQuotes();
    void line_keepsTextThatIsNotAscii();
    void line_isNotSplit_whenLongOrFlushed();
    void line_isHandedOverOnce_whenTheLastCopyOfTheStreamEnds();
    void line_survivesItsCuteMessageLogger();
    void line_isHandedOverAtEachFlush_whenItsCuteMessageLoggerIsGone();
    void line_namesTheThreadThatEndsIt();
    void line_goesNowhere_whenLoggerIsNull();
    void line_isEmpty_whenNothingIsStreamed();
    void line_isMissing_whenWriteIsNotCalled();
    void minimumLevel_holdsBackWhatIsBelow();
    void isEnabled_isFalse_whenNoSinkWantsTheLevel();
    void fatal_doesNotEndTheProcess();
    void addSink_ignoresNullAndDuplicates();
    void removeSink_stopsLines_andUnknownSinkIsIgnored();
    void sinkThatLogs_reachesOtherSinksAfterTheCurrentLine();
    void sinksThatLog_doNotFeedEachOtherForEver();
    void sinkMayRemoveItself();
    void sinkMayLogToAnotherLogger();
    void threads_loseAndTearNothing();
    void removeSink_isSafe_whileAnotherThreadLogs();
    void instance_warnsOnTheConsoleOnly();
    void log_worksBeforeMainAndAtExit();
    void format_hasAllParts();
};

void tst_Logger::levels_haveTheNumbersThatHostsKnow()
{
    QCOMPARE(int(Logger::Trace), 0);
    QCOMPARE(int(Logger::Debug), 1);
    QCOMPARE(int(Logger::Info), 2);
    QCOMPARE(int(Logger::Warning), 3);
    QCOMPARE(int(Logger::Error), 4);
    QCOMPARE(int(Logger::Fatal), 5);
    QCOMPARE(Logger::LogLevel(3), Logger::Warning);
}

void tst_Logger::line_carriesEverything()
{
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    start(Logger::Error) << "x";
    const qint64 after = QDateTime::currentMSecsSinceEpoch();

    const LogRecord record = m_sink->records().at(0);
    QVERIFY(record.time >= before && record.time <= after);
    QCOMPARE(record.level, Logger::Error);
    QCOMPARE(record.category, QStringLiteral("cat"));
    QCOMPARE(record.file, QStringLiteral("core_x/y.cpp"));
    QCOMPARE(record.line, 12);
    QCOMPARE(record.function, QStringLiteral("void f()"));
    QCOMPARE(record.text, QStringLiteral("x"));
    QCOMPARE(record.threadName, QStringLiteral("main"));
    QVERIFY(record.threadId != 0);
}

void tst_Logger::line_addsNoBlanksAndNoQuotes()
{
    start() << "(tag)" << QStringLiteral("a \"b\"") << ' ' << 12 << -3 << 1.5 << QByteArray("raw")
            << "ends in a blank ";
    QCOMPARE(texts(*m_sink), QStringList("(tag)a \"b\" 12-31.5rawends in a blank "));
}

void tst_Logger::line_keepsTextThatIsNotAscii()
{
    const QString text = QString::fromUtf8("视频解码 é 😀 %1 %s \\n\nnext");
    // On a system without Unicode too: the text must not pass through its encoding.
    QTextCodec *const system = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    start() << text;
    QTextCodec::setCodecForLocale(system);
    QCOMPARE(texts(*m_sink), QStringList(text));
}

void tst_Logger::line_isNotSplit_whenLongOrFlushed()
{
    const QString longText(100000, QLatin1Char('x'));
    CuteMessageLogger(&*m_logger, Logger::Info, "f", 1, "g", "c").write() << longText << "end";
    CuteMessageLogger(&*m_logger, Logger::Info, "f", 1, "g", "c").write()
        << "a" << Qt::flush << "b" << Qt::endl
        << "c" << Qt::flush;
    QCOMPARE(texts(*m_sink), QStringList({longText + "end", "ab\nc"}));
}

void tst_Logger::line_isHandedOverOnce_whenTheLastCopyOfTheStreamEnds()
{
    {
        CuteMessageLogger line(&*m_logger, Logger::Info, "f", 1, "g", "c");
        {
            QDebug stream = line.write();
            stream << "a";
            {
                QDebug copy = stream;
                copy << "b";
            }
            stream << "c";
            QVERIFY(m_sink->records().empty());
        }
    }
    QCOMPARE(texts(*m_sink), QStringList("abc"));
}

void tst_Logger::line_survivesItsCuteMessageLogger()
{
    {
        QDebug stream = start();
        stream << "a";
        QDebug copy = stream;
        stream << "b";
        copy << "c";
        QVERIFY(m_sink->records().empty());
    }
    QCOMPARE(texts(*m_sink), QStringList("abc"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void tst_Logger::line_isHandedOverAtEachFlush_whenItsCuteMessageLoggerIsGone()
{
    start() << "a" << Qt::flush << "b";
    start(Logger::Trace) << "c" << Qt::flush;
    QCOMPARE(texts(*m_sink), QStringList({"a", "b", "c"}));
    m_logger->setMinimumLevel(Logger::Error);
    start() << "off" << Qt::flush << "off";
    QCOMPARE(m_sink->records().size(), size_t(3));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void tst_Logger::line_namesTheThreadThatEndsIt()
{
    struct Worker : QThread
    {
        std::function<void()> job;
        void run() override { job(); }
    } worker;
    worker.job = [this] { start() << "x"; };
    worker.setObjectName(QStringLiteral("worker 7"));
    worker.start();
    QVERIFY(worker.wait());
    start() << "y";

    const auto records = m_sink->records();
    QCOMPARE(records.at(0).threadName, QStringLiteral("worker 7"));
    QVERIFY(records.at(0).threadId != records.at(1).threadId);
}

void tst_Logger::line_goesNowhere_whenLoggerIsNull()
{
    CuteMessageLogger(nullptr, Logger::Fatal, "f", 1, "g", "c").write() << "x" << 1;
    QVERIFY(m_sink->records().empty());
    CuteMessageLogger(&*m_logger, Logger::Info, nullptr, 0, nullptr, nullptr).write() << "y";
    QCOMPARE(texts(*m_sink), QStringList("y"));
}

void tst_Logger::line_isEmpty_whenNothingIsStreamed()
{
    CuteMessageLogger(&*m_logger, Logger::Info, "f", 1, "g", "c").write();
    QCOMPARE(texts(*m_sink), QStringList(QString()));
}

void tst_Logger::line_isMissing_whenWriteIsNotCalled()
{
    CuteMessageLogger(&*m_logger, Logger::Info, "f", 1, "g", "c");
    QVERIFY(m_sink->records().empty());
}

void tst_Logger::minimumLevel_holdsBackWhatIsBelow()
{
    QCOMPARE(m_logger->minimumLevel(), Logger::Trace);
    m_logger->setMinimumLevel(Logger::Warning);
    start(Logger::Info) << "info";
    start(Logger::Warning) << "warning";
    m_logger->setMinimumLevel(Logger::Debug);
    start(Logger::Trace) << "trace";
    start(Logger::Debug) << "debug";
    QCOMPARE(texts(*m_sink), QStringList({"warning", "debug"}));
}

void tst_Logger::isEnabled_isFalse_whenNoSinkWantsTheLevel()
{
    m_logger->removeSink(m_sink);
    QVERIFY(!m_logger->isEnabled(Logger::Fatal));
    const auto errors = std::make_shared<MemorySink>(10, Logger::Error);
    m_logger->addSink(errors);
    QVERIFY(!m_logger->isEnabled(Logger::Warning));
    QVERIFY(m_logger->isEnabled(Logger::Error));

    m_logger->addSink(m_sink);
    start(Logger::Warning) << "w";
    start(Logger::Error) << "e";
    QCOMPARE(texts(*m_sink), QStringList({"w", "e"}));
    QCOMPARE(texts(*errors), QStringList("e"));
}

void tst_Logger::fatal_doesNotEndTheProcess()
{
    start(Logger::Fatal) << "x";
    QCOMPARE(m_sink->records().at(0).level, Logger::Fatal);
}

void tst_Logger::addSink_ignoresNullAndDuplicates()
{
    m_logger->addSink(nullptr);
    m_logger->addSink(m_sink);
    QCOMPARE(m_logger->sinks().size(), size_t(1));
    start() << "once";
    QCOMPARE(texts(*m_sink), QStringList("once"));
}

void tst_Logger::removeSink_stopsLines_andUnknownSinkIsIgnored()
{
    m_logger->removeSink(nullptr);
    m_logger->removeSink(std::make_shared<MemorySink>());
    start() << "a";
    m_logger->removeSink(m_sink);
    start() << "b";
    QCOMPARE(texts(*m_sink), QStringList("a"));
    QCOMPARE(m_sink.use_count(), 1L);
}

void tst_Logger::sinkThatLogs_reachesOtherSinksAfterTheCurrentLine()
{
    int calls = 0;
    const auto talker = std::make_shared<FunctionSink>([&](const LogRecord &record) {
        ++calls;
        start() << "about " << record.text;
    });
    m_logger->removeSink(m_sink);
    m_logger->addSink(talker); // first in the list
    m_logger->addSink(m_sink);
    start() << "a";
    start() << "b";
    QCOMPARE(texts(*m_sink), QStringList({"a", "about a", "b", "about b"}));
    QCOMPARE(calls, 2);
}

void tst_Logger::sinksThatLog_doNotFeedEachOtherForEver()
{
    const auto echo = [this](const char *name) {
        return std::make_shared<FunctionSink>(
            [this, name](const LogRecord &record) { start() << record.text << name; });
    };
    m_logger->addSink(echo("1"));
    m_logger->addSink(echo("2"));
    start() << "x";
    QCOMPARE(texts(*m_sink), QStringList({"x", "x1", "x2", "x12", "x21"}));
}

void tst_Logger::sinkMayRemoveItself()
{
    std::shared_ptr<LogSink> self;
    int calls = 0;
    self = std::make_shared<FunctionSink>([&](const LogRecord &) {
        ++calls;
        m_logger->removeSink(self);
        self.reset();
    });
    m_logger->addSink(self);
    start() << "a";
    start() << "b";
    QCOMPARE(calls, 1);
    QCOMPARE(texts(*m_sink), QStringList({"a", "b"}));
}

void tst_Logger::sinkMayLogToAnotherLogger()
{
    Logger other;
    const auto otherSink = std::make_shared<MemorySink>();
    other.addSink(otherSink);
    m_logger->addSink(std::make_shared<FunctionSink>([&](const LogRecord &record) {
        CuteMessageLogger(&other, Logger::Info, "f", 1, "g", "c").write()
            << "copy of " << record.text;
    }));
    start() << "a";
    QCOMPARE(texts(*otherSink), QStringList("copy of a"));
}

void tst_Logger::threads_loseAndTearNothing()
{
    constexpr int kThreads = 8;
    constexpr int kLines = 1000;
    const auto sink = std::make_shared<MemorySink>(kThreads * kLines + 1);
    m_logger->removeSink(m_sink);
    m_logger->addSink(sink);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < kLines; ++i)
                start() << "thread " << t << " line " << i << " end";
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    const auto records = sink->records();
    QCOMPARE(records.size(), size_t(kThreads * kLines));
    std::vector<int> next(kThreads, 0); // each thread's lines come in its own order
    for (const LogRecord &record : records) {
        const auto match =
            QRegularExpression(QStringLiteral("^thread (\\d) line (\\d+) end$")).match(record.text);
        QVERIFY2(match.hasMatch(), qPrintable(record.text));
        QCOMPARE(match.captured(2).toInt(), next[size_t(match.captured(1).toInt())]++);
    }
    QCOMPARE(next, std::vector<int>(kThreads, kLines));
}

void tst_Logger::removeSink_isSafe_whileAnotherThreadLogs()
{
    std::atomic<bool> stop{false};
    std::atomic<int> written{0};
    std::thread writer([&] {
        while (!stop) {
            start() << "x";
            ++written;
        }
    });
    for (int i = 0; i < 2000 || written < 100; ++i) {
        auto sink = std::make_shared<MemorySink>(4);
        m_logger->addSink(sink);
        m_logger->removeSink(sink);
    }
    stop = true;
    writer.join();
    QCOMPARE(m_logger->sinks().size(), size_t(1));
    m_logger->removeSink(m_sink);
    QCOMPARE(int(m_sink->records().size()), qMin(written.load(), 1000));
}

void tst_Logger::instance_warnsOnTheConsoleOnly()
{
    QCOMPARE(cuteLoggerInstance(), cuteLoggerInstance());
    QVERIFY(!cuteLoggerInstance()->isEnabled(Logger::Info));
    QVERIFY(cuteLoggerInstance()->isEnabled(Logger::Warning));
    QCOMPARE(cuteLoggerInstance()->sinks().size(), size_t(1));
    QVERIFY(dynamic_cast<ConsoleSink *>(cuteLoggerInstance()->sinks().front().get()));
}

void tst_Logger::log_worksBeforeMainAndAtExit()
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VANTRA_TEST_LOG_AT_EXIT"), QStringLiteral("1"));
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationFilePath(), {QLatin1String(kExitArgument)});
    QVERIFY(process.waitForFinished());
    const QString output = QString::fromUtf8(process.readAllStandardError());
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
             qPrintable(output));
    QStringList lines = output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (QString &line : lines)
        line = line.section(QStringLiteral(" - "), 1);
    QCOMPARE(lines, QStringList({"early", "main", "late"}));
}

void tst_Logger::format_hasAllParts()
{
    LogRecord record;
    record.time = QDateTime(QDate(2026, 1, 31), QTime(12, 0, 0, 7)).toMSecsSinceEpoch();
    record.level = Logger::Warning;
    record.category = QStringLiteral("vantra");
    record.threadId = 42;
    record.file = QStringLiteral("core_x/y.cpp");
    record.line = 12;
    record.function = QStringLiteral("void f(%1)");
    record.text = QStringLiteral("(tag)50%2 done %1");
    QCOMPARE(formatLogRecord(record),
             QStringLiteral("2026-01-31 12:00:00.007 W vantra 42 core_x/y.cpp:12 void f(%1) - "
                            "(tag)50%2 done %1"));
    record.threadName = QStringLiteral("main");
    record.level = Logger::Fatal;
    QVERIFY(formatLogRecord(record).contains(QStringLiteral(" F vantra 42(main) core_x")));
}

int main(int argc, char **argv)
{
    if (argc > 1 && qstrcmp(argv[1], kExitArgument) == 0) {
        QCoreApplication app(argc, argv);
        EarlyAndLate::say("main");
        return 0;
    }
    QCoreApplication app(argc, argv);
    tst_Logger test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_logger.moc"
