// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "logger/logsinks.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <thread>

#include <sys/resource.h>

namespace {

LogRecord record(const QString &text)
{
    LogRecord result;
    result.text = text;
    return result;
}

} // namespace

class tst_LogSinks : public QObject
{
    Q_OBJECT

private:
    QString path(const QString &name = QStringLiteral("app.log")) const
    {
        return m_folder->filePath(name);
    }

    /// Texts of the lines of a file; fails the test on a line that is not whole.
    QStringList textsOf(const QString &name) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::ReadOnly))
            return {QStringLiteral("(no file)")};
        QByteArray content = file.readAll();
        if (!content.isEmpty() && !content.endsWith('\n'))
            return {QStringLiteral("(torn)")};
        QStringList result;
        for (const QString &line : QString::fromUtf8(content).split('\n', Qt::SkipEmptyParts))
            result.append(line.section(QStringLiteral(" - "), 1));
        return result;
    }

    std::unique_ptr<QTemporaryDir> m_folder;

private slots:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void file_getsFormattedLines_andIsAppendedTo();
    void file_rotates_whenFull();
    void file_isReplaced_whenOnlyOneIsKept();
    void file_takesALineThatIsLongerThanTheLimit();
    void file_startsOver_whenItCannotBeRenamed();
    void file_dropsLines_whileTheFolderIsGone();
    void file_isMadeAnew_whenSomebodyRemovesIt();
    void file_dropsLines_andTearsNone_whenTheDiskIsFull();
    void file_dropsLines_whenThePathIsADevice();
    void file_neverBlocks_whenThePathIsAPipe();
    void file_losesNothing_whenThreadsShareIt();
    void memory_keepsTheNewestLines();
    void memory_keepsNothing_whenItsSizeIsZero();
    void console_writesOneLineWithoutColours_whenNotOnATerminal();
};

void tst_LogSinks::file_getsFormattedLines_andIsAppendedTo()
{
    LogRecord line = record(QString::fromUtf8("视频"));
    line.time = 1700000000000;
    line.category = QStringLiteral("vantra");
    RotatingFileSink(path()).write(line);
    RotatingFileSink(path()).write(record(QStringLiteral("second")));
    QCOMPARE(textsOf("app.log"), QStringList({QString::fromUtf8("视频"), "second"}));
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(file.readLine()), formatLogRecord(line) + '\n');
}

void tst_LogSinks::file_rotates_whenFull()
{
    const qint64 lineSize = formatLogRecord(record(QStringLiteral("line 0"))).toUtf8().size() + 1;
    RotatingFileSink sink(path(), 2 * lineSize, 3);
    for (int i = 0; i < 9; ++i)
        sink.write(record(QStringLiteral("line %1").arg(i)));
    QCOMPARE(textsOf("app.log"), QStringList("line 8"));
    QCOMPARE(textsOf("app.log.1"), QStringList({"line 6", "line 7"}));
    QCOMPARE(textsOf("app.log.2"), QStringList({"line 4", "line 5"}));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files).size(), 3);
    QCOMPARE(sink.droppedLines(), quint64(0));
}

void tst_LogSinks::file_isReplaced_whenOnlyOneIsKept()
{
    RotatingFileSink sink(path(), 1, 0); // 0 counts as 1
    sink.write(record(QStringLiteral("a")));
    sink.write(record(QStringLiteral("b")));
    QCOMPARE(textsOf("app.log"), QStringList("b"));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList("app.log"));
}

void tst_LogSinks::file_takesALineThatIsLongerThanTheLimit()
{
    const QString longText(5000, QLatin1Char('x'));
    RotatingFileSink sink(path(), 1000, 2);
    sink.write(record(longText));
    sink.write(record(QStringLiteral("next")));
    QCOMPARE(textsOf("app.log.1"), QStringList(longText));
    QCOMPARE(textsOf("app.log"), QStringList("next"));
}

void tst_LogSinks::file_startsOver_whenItCannotBeRenamed()
{
    QVERIFY(QDir(m_folder->path()).mkpath(QStringLiteral("app.log.1/in the way")));
    RotatingFileSink sink(path(), 1, 2);
    sink.write(record(QStringLiteral("a")));
    sink.write(record(QStringLiteral("b")));
    QCOMPARE(textsOf("app.log"), QStringList("b"));
}

void tst_LogSinks::file_dropsLines_whileTheFolderIsGone()
{
    QDir folder(m_folder->path());
    QVERIFY(folder.mkdir(QStringLiteral("logs")));
    RotatingFileSink sink(path(QStringLiteral("logs/app.log")));
    sink.write(record(QStringLiteral("a")));
    QVERIFY(QDir(folder.filePath(QStringLiteral("logs"))).removeRecursively());
    sink.write(record(QStringLiteral("b")));
    sink.write(record(QStringLiteral("c")));
    QCOMPARE(sink.droppedLines(), quint64(2));
    QVERIFY(folder.mkdir(QStringLiteral("logs")));
    sink.write(record(QStringLiteral("d")));
    QCOMPARE(textsOf("logs/app.log"), QStringList("d"));
    QCOMPARE(sink.droppedLines(), quint64(2));
}

void tst_LogSinks::file_isMadeAnew_whenSomebodyRemovesIt()
{
    RotatingFileSink sink(path());
    sink.write(record(QStringLiteral("a")));
    QVERIFY(QFile::rename(path(), path(QStringLiteral("taken"))));
    sink.write(record(QStringLiteral("b")));
    QCOMPARE(textsOf("taken"), QStringList("a"));
    QCOMPARE(textsOf("app.log"), QStringList("b"));
}

void tst_LogSinks::file_dropsLines_andTearsNone_whenTheDiskIsFull()
{
    // A limit on the size of files stands in for the full disk: a write ends within a line.
    const qint64 lineSize = formatLogRecord(record(QStringLiteral("line 0"))).toUtf8().size() + 1;
    const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former = {};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &former), 0);
    RotatingFileSink sink(path());
    const rlimit full = {rlim_t(lineSize * 2 + lineSize / 2), former.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
    for (int i = 0; i < 5; ++i)
        sink.write(record(QStringLiteral("line %1").arg(i)));
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &former), 0);
    std::signal(SIGXFSZ, formerHandler);

    QCOMPARE(sink.droppedLines(), quint64(3));
    QCOMPARE(textsOf("app.log"), QStringList({"line 0", "line 1"}));
    sink.write(record(QStringLiteral("line 5"))); // there is room again
    QCOMPARE(textsOf("app.log"), QStringList({"line 0", "line 1", "line 5"}));
    QCOMPARE(sink.droppedLines(), quint64(3));
}

void tst_LogSinks::file_dropsLines_whenThePathIsADevice()
{
    if (!QFile::exists(QStringLiteral("/dev/full")))
        QSKIP("no /dev/full here");
    RotatingFileSink sink(QStringLiteral("/dev/full"));
    for (int i = 0; i < 10; ++i)
        sink.write(record(QStringLiteral("x")));
    QCOMPARE(sink.droppedLines(), quint64(10));
}

void tst_LogSinks::file_neverBlocks_whenThePathIsAPipe()
{
    QCOMPARE(QProcess::execute(QStringLiteral("mkfifo"), {path()}), 0);
    RotatingFileSink sink(path());
    sink.write(record(QStringLiteral("x"))); // opening a pipe would wait for a reader
    QCOMPARE(sink.droppedLines(), quint64(1));
}

void tst_LogSinks::file_losesNothing_whenThreadsShareIt()
{
    constexpr int kThreads = 4;
    constexpr int kLines = 250;
    RotatingFileSink sink(path(), 20000, 20);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&sink, t] {
            for (int i = 0; i < kLines; ++i)
                sink.write(record(QStringLiteral("%1/%2").arg(t).arg(i)));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QStringList all;
    for (const QString &name : QDir(m_folder->path()).entryList(QDir::Files))
        all += textsOf(name);
    QCOMPARE(all.size(), kThreads * kLines);
    all.removeDuplicates();
    QCOMPARE(all.size(), kThreads * kLines);
}

void tst_LogSinks::memory_keepsTheNewestLines()
{
    MemorySink sink(3);
    for (const char *text : {"a", "b", "c", "d", "e"})
        sink.write(record(QLatin1String(text)));
    QCOMPARE(sink.records().size(), size_t(3));
    QCOMPARE(sink.records().front().text, QStringLiteral("c"));
    QCOMPARE(sink.records().back().text, QStringLiteral("e"));
    sink.clear();
    QVERIFY(sink.records().empty());
}

void tst_LogSinks::memory_keepsNothing_whenItsSizeIsZero()
{
    MemorySink sink(0);
    sink.write(record(QStringLiteral("a")));
    QVERIFY(sink.records().empty());
}

void tst_LogSinks::console_writesOneLineWithoutColours_whenNotOnATerminal()
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--console")});
    QVERIFY(process.waitForFinished());
    LogRecord line = record(QStringLiteral("hello"));
    line.level = Logger::Error;
    QCOMPARE(QString::fromUtf8(process.readAllStandardError()), formatLogRecord(line) + '\n');
    QCOMPARE(process.readAllStandardOutput(), QByteArray());
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--console") == 0) {
        LogRecord line = record(QStringLiteral("hello"));
        line.level = Logger::Error;
        ConsoleSink().write(line);
        return 0;
    }
    tst_LogSinks test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_logsinks.moc"
