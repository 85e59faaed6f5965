// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The example that downloads, as a person or a script starts it.
#include "support/players.h"
#include "support/waitfor.h"

#include <QDate>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using namespace vantratest;

namespace {

constexpr int kDeadlineMs = 120000; ///< safeguard

} // namespace

class TestVantraDownload : public QObject
{
    Q_OBJECT

private slots:
    void span_becomesFilesThatPlay_data();
    void span_becomesFilesThatPlay();
    void interrupt_leavesAWholeFile();
    void refusal_isTold();
    void folderWithoutRoomForFiles_isTold();
    void wrongUse_endsWithTwo_data();
    void wrongUse_endsWithTwo();
};

void TestVantraDownload::span_becomesFilesThatPlay_data()
{
    QTest::addColumn<QStringList>("more");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QString>("codec");
    QTest::addColumn<bool>("sound");
    QTest::newRow("H.264") << QStringList{"--channel", "0"}
                           << QStringList{"20260314T235955_20260314T235959_0.mp4"} << "h264"
                           << false;
    QTest::newRow("H.265, cut, with sound")
        << QStringList{"--channel", "1", "--interval", "2", "--sound"}
        << QStringList{"20260314T235955_20260314T235958_1.mp4",
                       "20260314T235958_20260314T235959_1.mp4"}
        << "hevc" << true;
}

void TestVantraDownload::span_becomesFilesThatPlay()
{
    QFETCH(QStringList, more);
    QFETCH(QStringList, names);
    QFETCH(QString, codec);
    QFETCH(bool, sound);
    QTemporaryDir dir;
    const QString folder = dir.filePath("not yet/there");
    const ProgramResult result = runProgram(
        VANTRA_DOWNLOAD,
        QStringList{"--out", folder, "--begin", "2026-03-14T23:59:55", "--seconds", "5"} + more,
        kDeadlineMs);
    QVERIFY2(result.clean, result.errors.constData());
    const QRegularExpression progress("\r\x1b\\[K\\d+ %, [1-4] of 5 s, \\d+\\.\\d times as fast as "
                                      "recorded, \\d+ s left");
    QVERIFY2(QString::fromUtf8(result.errors).contains(progress), result.errors.constData());

    // Nothing but progress: neither the library nor FFmpeg writes in between.
    QStringList reports = QString::fromUtf8(result.errors).split(QStringLiteral("\r\x1b[K"));
    QCOMPARE(reports.takeFirst(), QString());
    QCOMPARE(reports.takeLast(), QString("100 %\n"));
    for (const QString &report : reports)
        QVERIFY2(!report.contains('\n'), qPrintable(report));

    const QStringList lines = QString::fromUtf8(result.output).trimmed().split('\n');
    QCOMPARE(lines.size(), names.size());
    int pictures = 0;
    for (int i = 0; i < lines.size(); ++i) {
        const QRegularExpressionMatch match =
            QRegularExpression("^(.*) [1-9]\\d* kB$").match(lines[i]);
        QVERIFY2(match.hasMatch(), qPrintable(lines[i]));
        const QString file = match.captured(1);
        QVERIFY(file.startsWith(folder + "/"));
        QCOMPARE(QFileInfo(file).fileName(), names[i]);
        const ProbedFile probed = probeFile(file);
        QCOMPARE(probed.error, QString());
        QCOMPARE(probed.video.codec, codec);
        QCOMPARE(!probed.audio.codec.isEmpty(), sound);
        const Playback played = decodeWithFFmpeg(file);
        QCOMPARE(played.error, QString());
        pictures += played.pictures.size();
    }
    QCOMPARE(pictures, 5 * 25);
}

void TestVantraDownload::interrupt_leavesAWholeFile()
{
    QTemporaryDir dir;
    QProcess program;
    program.start(VANTRA_DOWNLOAD,
                  {"--out", dir.path(), "--seconds", "360000", "--begin", "2026-03-10T00:00:00"});
    QByteArray errors;
    const auto read = [&] { return errors += program.readAllStandardError(); };
    const bool running = waitFor([&] { return read().contains(" s left"); }, kDeadlineMs);
    ::kill(pid_t(program.processId()), SIGINT);
    const bool ended =
        waitFor([&] { return program.state() == QProcess::NotRunning; }, kDeadlineMs);
    program.kill();
    program.waitForFinished();
    QVERIFY2(running && ended, errors.constData());
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 1);
    QVERIFY2(read().endsWith("\nvantra-download: interrupted\n"), errors.constData());
    const QString line = QString::fromUtf8(program.readAllStandardOutput()).trimmed();
    const QRegularExpressionMatch match =
        QRegularExpression("^(.*/20260310T000000_20260310T\\d{6}_0\\.mp4) \\d+ kB$").match(line);
    QVERIFY2(match.hasMatch(), qPrintable(line));
    QCOMPARE(probeFile(match.captured(1)).error, QString());
}

void TestVantraDownload::refusal_isTold()
{
    QTemporaryDir dir;
    const ProgramResult result =
        runProgram(VANTRA_DOWNLOAD, {"--out", dir.path(), "--channel", "4"}, kDeadlineMs);
    QVERIFY(!result.clean);
    QCOMPARE(result.errors,
             QByteArray("\nvantra-download: the device refuses, or the disk is full\n"));
    QCOMPARE(result.output, QByteArray());
}

void TestVantraDownload::folderWithoutRoomForFiles_isTold()
{
    QTemporaryDir dir;
    QFile plain(dir.filePath("file"));
    QVERIFY(plain.open(QIODevice::WriteOnly));
    // A folder below a file cannot be made, whoever asks.
    const ProgramResult result =
        runProgram(VANTRA_DOWNLOAD, {"--out", dir.filePath("file/below")}, kDeadlineMs);
    QVERIFY(!result.clean);
    QCOMPARE(
        QString::fromUtf8(result.errors),
        QString("vantra-download: no file can be written in %1\n").arg(dir.filePath("file/below")));
}

void TestVantraDownload::wrongUse_endsWithTwo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unknown option") << QStringList{"--colour"};
    QTest::newRow("argument") << QStringList{"camera"};
    QTest::newRow("no time") << QStringList{"--begin", "yesterday"};
    QTest::newRow("bad seconds") << QStringList{"--seconds", "0"};
    QTest::newRow("bad channel") << QStringList{"--channel", "-1"};
    QTest::newRow("bad interval") << QStringList{"--interval", "often"};
}

void TestVantraDownload::wrongUse_endsWithTwo()
{
    QFETCH(QStringList, arguments);
    QProcess program;
    program.start(VANTRA_DOWNLOAD, arguments);
    QVERIFY(program.waitForFinished(kDeadlineMs));
    QCOMPARE(program.exitCode(), 2);
    QVERIFY(program.readAllStandardError().startsWith("usage: vantra-download "));
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
}

QTEST_GUILESS_MAIN(TestVantraDownload)
#include "tst_vantradownload.moc"
