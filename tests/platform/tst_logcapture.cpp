// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/logcapture.h"

#include <QtTest>

#include <thread>

using vantratest::LogCapture;

namespace {

void log(Logger::LogLevel level, const QString &text)
{
    CuteMessageLogger(cuteLoggerInstance(), level, "core_x/y.cpp", 7, "void f()", "vantra").write()
        << text;
}

} // namespace

class tst_LogCapture : public QObject
{
    Q_OBJECT

private slots:
    void lines_haveAllParts_inOrder();
    void capture_endsWithTheObject();
    void capture_seesLinesOfAllLevels();
    void unexpected_listsWarningsAndAbove();
    void unexpected_leavesOutWhatWasAnnounced();
    void unexpected_namesTextThatDiffersInLevelOnly();
    void missing_listsAnnouncementsThatNeverCame();
    void count_comparesLevelAndWholeText();
    void clear_forgetsLinesOnly();
    void capture_takesLinesOfSeveralThreads();
};

void tst_LogCapture::lines_haveAllParts_inOrder()
{
    LogCapture capture;
    log(Logger::Debug, QStringLiteral("(t)a"));
    log(Logger::Info, QStringLiteral("(t)rtsp://u:p@h/x"));
    const auto lines = capture.lines();
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.at(0).level, Logger::Debug);
    QCOMPARE(lines.at(0).text, QStringLiteral("(t)a"));
    QCOMPARE(lines.at(0).category, QStringLiteral("vantra"));
    QCOMPARE(lines.at(0).file, QStringLiteral("core_x/y.cpp"));
    QCOMPARE(lines.at(0).function, QStringLiteral("void f()"));
    QCOMPARE(lines.at(0).line, 7);
    QCOMPARE(lines.at(1).text, QStringLiteral("(t)rtsp://***:***@h/x"));
}

void tst_LogCapture::capture_endsWithTheObject()
{
    const size_t before = cuteLoggerInstance()->sinks().size();
    {
        LogCapture outer;
        log(Logger::Info, QStringLiteral("a"));
        {
            LogCapture inner;
            log(Logger::Info, QStringLiteral("b"));
            QCOMPARE(inner.lines().size(), 1);
        }
        log(Logger::Info, QStringLiteral("c"));
        QCOMPARE(outer.lines().size(), 3);
    }
    QCOMPARE(cuteLoggerInstance()->sinks().size(), before);
}

void tst_LogCapture::capture_seesLinesOfAllLevels()
{
    LogCapture capture;
    for (int level = Logger::Trace; level <= Logger::Info; ++level)
        log(Logger::LogLevel(level), QStringLiteral("x"));
    QCOMPARE(capture.lines().size(), 3);
    QCOMPARE(capture.unexpected(), QStringList());
}

void tst_LogCapture::unexpected_listsWarningsAndAbove()
{
    LogCapture capture;
    log(Logger::Info, QStringLiteral("i"));
    log(Logger::Warning, QStringLiteral("w"));
    log(Logger::Error, QStringLiteral("e"));
    log(Logger::Fatal, QStringLiteral("f"));
    QCOMPARE(capture.unexpected(), QStringList({"warning: w", "error: e", "fatal: f"}));
}

void tst_LogCapture::unexpected_leavesOutWhatWasAnnounced()
{
    LogCapture capture;
    capture.expect(Logger::Warning, QStringLiteral("before"));
    log(Logger::Warning, QStringLiteral("before"));
    log(Logger::Warning, QStringLiteral("before"));
    log(Logger::Error, QStringLiteral("code -110"));
    capture.expectMatching(Logger::Error, QRegularExpression(QStringLiteral("^code -\\d+$")));
    log(Logger::Warning, QStringLiteral("before and more"));
    QCOMPARE(capture.unexpected(), QStringList("warning: before and more"));
}

void tst_LogCapture::unexpected_namesTextThatDiffersInLevelOnly()
{
    LogCapture capture;
    capture.expect(Logger::Warning, QStringLiteral("x"));
    capture.expectMatching(Logger::Warning, QRegularExpression(QStringLiteral("x")));
    log(Logger::Error, QStringLiteral("x"));
    QCOMPARE(capture.unexpected(), QStringList("error: x"));
}

void tst_LogCapture::missing_listsAnnouncementsThatNeverCame()
{
    LogCapture capture;
    capture.expect(Logger::Warning, QStringLiteral("came"));
    capture.expect(Logger::Error, QStringLiteral("did not"));
    capture.expectMatching(Logger::Info, QRegularExpression(QStringLiteral("nor this")));
    log(Logger::Warning, QStringLiteral("came"));
    QCOMPARE(capture.missing(), QStringList({"error: did not", "info: nor this"}));
}

void tst_LogCapture::count_comparesLevelAndWholeText()
{
    LogCapture capture;
    for (const char *text : {"a", "a", "ab"})
        log(Logger::Info, QLatin1String(text));
    log(Logger::Debug, QStringLiteral("a"));
    QCOMPARE(capture.count(Logger::Info, QStringLiteral("a")), 2);
    QCOMPARE(capture.count(Logger::Info, QStringLiteral("b")), 0);
    QCOMPARE(capture.countMatching(Logger::Info, QRegularExpression(QStringLiteral("a"))), 3);
}

void tst_LogCapture::clear_forgetsLinesOnly()
{
    LogCapture capture;
    capture.expect(Logger::Warning, QStringLiteral("w"));
    log(Logger::Error, QStringLiteral("e"));
    capture.clear();
    log(Logger::Warning, QStringLiteral("w"));
    QCOMPARE(capture.lines().size(), 1);
    QCOMPARE(capture.unexpected(), QStringList());
}

void tst_LogCapture::capture_takesLinesOfSeveralThreads()
{
    LogCapture capture;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 200; ++i)
                log(Logger::Debug, QStringLiteral("x"));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(capture.count(Logger::Debug, QStringLiteral("x")), 800);
}

QTEST_GUILESS_MAIN(tst_LogCapture)
#include "tst_logcapture.moc"
