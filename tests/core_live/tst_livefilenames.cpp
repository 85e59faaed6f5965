// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// How the files of live streams are named.

#include "core_live/livefilenames_p.h"
#include "support/filecontent.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <future>
#include <vector>

namespace {

const QDateTime kTime(QDate(2026, 3, 9), QTime(7, 5, 1));

void write(const QString &name, const QByteArray &bytes)
{
    QVERIFY(QDir().mkpath(QFileInfo(name).path()));
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

/// The time in a name, or an invalid one.
QDateTime timeIn(const QString &text)
{
    return QDateTime::fromString(text, QStringLiteral("yyyyMMddTHHmmss"));
}

} // namespace

class TestLiveFileNames : public QObject
{
    Q_OBJECT

private slots:
    void recordName_tellsDayAndBegin_data();
    void recordName_tellsDayAndBegin();
    void newRecordName_beginsNow();
    void newRecordName_neverNamesAFileThatIsThere();
    void newRecordName_isGivenOnce_beforeItsFileIsThere();
    void newRecordName_isGivenAgain_whenItsRecordingHasEnded();
    void newRecordName_isGivenAgain_toARecorderThatCouldNotOpenIt();
    void newRecordName_isNeverGivenTwice_howeverManyAreThere();
    void newRecordNames_ofManyThreads_differ();
    void lastName_tellsBeginEndAndChannel_data();
    void lastName_tellsBeginEndAndChannel();
    void rename_keepsTheContent();
    void rename_tellsAFileThatIsGone();
    void rename_leavesTheFile_whoseLastNameIsTaken();
    void snapName_tellsDayTimeAndChannel();
};

void TestLiveFileNames::recordName_tellsDayAndBegin_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    const QString rest = QStringLiteral("/2026-03-09/live/20260309T070501.mp4");
    for (const char *path : {"/rec/device", "./rec", "", "/a b/%2/%1", "/录像/门"})
        QTest::newRow(path) << QString::fromUtf8(path) << QString::fromUtf8(path) + rest;
}

void TestLiveFileNames::recordName_tellsDayAndBegin()
{
    QFETCH(QString, path);
    QTEST(liveRecordName(path, kTime), "name");
}

void TestLiveFileNames::newRecordName_beginsNow()
{
    QTemporaryDir dir;
    const QDateTime before = QDateTime::currentDateTime();
    const QString name = newLiveRecordName(dir.path());
    const QDateTime after = QDateTime::currentDateTime();
    const QDateTime begin = timeIn(QFileInfo(name).completeBaseName());
    QVERIFY(begin >= before.addSecs(-1) && begin <= after);
    QCOMPARE(name, liveRecordName(dir.path(), begin));
    QVERIFY(QDir(dir.path()).isEmpty()); // nothing is made
}

void TestLiveFileNames::newRecordName_neverNamesAFileThatIsThere()
{
    QTemporaryDir dir;
    QSet<QString> names;
    for (int i = 0; i < 5; ++i) {
        const QString name = newLiveRecordName(dir.path());
        QVERIFY2(!names.contains(name), qPrintable(name));
        names.insert(name);
        write(name, "x");
    }
}

void TestLiveFileNames::newRecordName_isGivenOnce_beforeItsFileIsThere()
{
    // As by a wall of views that begin to record in the same second.
    constexpr int kViews = 256;
    QTemporaryDir dir;
    QSet<QString> names;
    for (int i = 0; i < kViews; ++i)
        names.insert(newLiveRecordName(dir.path()));
    QCOMPARE(names.size(), kViews);
}

void TestLiveFileNames::newRecordName_isGivenAgain_whenItsRecordingHasEnded()
{
    QTemporaryDir dir;
    for (int i = 0; i < 2000; ++i) { // more than seconds may be told ahead
        const QString name = newLiveRecordName(dir.path());
        const QDateTime begin = timeIn(QFileInfo(name).completeBaseName());
        QVERIFY2(begin <= QDateTime::currentDateTime(), qPrintable(name));
        QVERIFY(!renameLiveRecord(name, 0)); // it could not be opened
    }
}

void TestLiveFileNames::newRecordName_isGivenAgain_toARecorderThatCouldNotOpenIt()
{
    QTemporaryDir dir;
    const int recorders[2] = {};
    const QString other = newLiveRecordName(dir.path(), &recorders[1]);
    for (int i = 0; i < 4000; ++i) {
        const QString name = newLiveRecordName(dir.path(), &recorders[0]);
        QVERIFY(name != other);
        const QDateTime begin = timeIn(QFileInfo(name).completeBaseName());
        QVERIFY2(begin <= QDateTime::currentDateTime().addSecs(1), qPrintable(name));
        if (i % 100 == 0)
            write(name, ""); // the muxer could not begin
    }
    // A file that holds anything stays.
    const QString last = newLiveRecordName(dir.path(), &recorders[0]);
    write(last, "x");
    QVERIFY(newLiveRecordName(dir.path(), &recorders[0]) != last);
    QVERIFY(newLiveRecordName(dir.path(), &recorders[1]) != last);
}

void TestLiveFileNames::newRecordName_isNeverGivenTwice_howeverManyAreThere()
{
    constexpr int kMoreThanAreAsked = 1900; // seconds ahead
    QTemporaryDir dir;
    const QDateTime now = QDateTime::currentDateTime();
    for (int i = 0; i < kMoreThanAreAsked; ++i)
        write(liveRecordName(dir.path(), now.addSecs(i)), "x");
    QSet<QString> names;
    for (int i = 0; i < 3; ++i)
        names.insert(newLiveRecordName(dir.path()));
    QCOMPARE(names.size(), 3);
}

void TestLiveFileNames::newRecordNames_ofManyThreads_differ()
{
    constexpr int kThreads = 8;
    constexpr int kNames = 4;
    QTemporaryDir dir;
    std::vector<std::future<QStringList>> given;
    for (int i = 0; i < kThreads; ++i) {
        given.push_back(std::async(std::launch::async, [&dir] {
            QStringList names;
            for (int k = 0; k < kNames; ++k)
                names << newLiveRecordName(dir.path());
            return names;
        }));
    }
    QSet<QString> names;
    for (auto &some : given) {
        for (const QString &name : some.get())
            names.insert(name);
    }
    QCOMPARE(names.size(), kThreads * kNames);
}

void TestLiveFileNames::lastName_tellsBeginEndAndChannel_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("channel");
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << "/rec/2026-03-09/live/20260309T070000.mp4" << 3
                           << "/rec/2026-03-09/live/20260309T070000_20260309T070501_3.mp4";
    QTest::newRow("dots stay") << "/r.1/a.b.mp4" << 0 << "/r.1/a.b_20260309T070501_0.mp4";
    QTest::newRow("markers stay") << "/%3/%4.mp4" << 12 << "/%3/%4_20260309T070501_12.mp4";
    QTest::newRow("other suffix") << "/r/a.mpg" << 0 << "/r/a_20260309T070501_0.mp4";
    QTest::newRow("relative") << "./r/a.mp4" << 0
                              << QDir::currentPath() + QStringLiteral("/r/a_20260309T070501_0.mp4");
}

void TestLiveFileNames::lastName_tellsBeginEndAndChannel()
{
    QFETCH(QString, file);
    QFETCH(int, channel);
    QTEST(liveRecordLastName(file, kTime, channel), "name");
}

void TestLiveFileNames::rename_keepsTheContent()
{
    QTemporaryDir dir;
    const QString name = liveRecordName(dir.path(), kTime);
    write(name, "recording");
    const QDateTime before = QDateTime::currentDateTime();
    QVERIFY(renameLiveRecord(name, 7));
    const QDateTime after = QDateTime::currentDateTime();
    const QFileInfoList files = QFileInfo(name).dir().entryInfoList(QDir::Files);
    QCOMPARE(files.size(), 1);
    QCOMPARE(vantratest::contentOf(files.first().filePath()), QByteArray("recording"));
    const QStringList parts = files.first().completeBaseName().split(QLatin1Char('_'));
    QCOMPARE(parts.size(), 3);
    QCOMPARE(parts.at(0), QStringLiteral("20260309T070501"));
    QVERIFY(timeIn(parts.at(1)) >= before.addSecs(-1) && timeIn(parts.at(1)) <= after);
    QCOMPARE(parts.at(2), QStringLiteral("7"));
}

void TestLiveFileNames::rename_tellsAFileThatIsGone()
{
    QTemporaryDir dir;
    QVERIFY(!renameLiveRecord(dir.filePath(QStringLiteral("a.mp4")), 0));
    QVERIFY(!renameLiveRecord(QString(), 0));
    QVERIFY(QDir(dir.path()).isEmpty());
}

void TestLiveFileNames::rename_leavesTheFile_whoseLastNameIsTaken()
{
    QTemporaryDir dir;
    const QString name = dir.filePath(QStringLiteral("a.mp4"));
    write(name, "new");
    // Whatever second it is when the file is closed.
    const QDateTime now = QDateTime::currentDateTime();
    for (int i = 0; i < 120; ++i)
        write(liveRecordLastName(name, now.addSecs(i), 0), "old");
    QVERIFY(renameLiveRecord(name, 0));
    QCOMPARE(vantratest::contentOf(name), QByteArray("new"));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files).size(), 121);
    QCOMPARE(vantratest::contentOf(liveRecordLastName(name, now, 0)), QByteArray("old"));
}

void TestLiveFileNames::snapName_tellsDayTimeAndChannel()
{
    QCOMPARE(liveSnapName(QStringLiteral("/s/%1"), kTime, 4),
             QStringLiteral("/s/%1/2026-03-09/live/20260309T070501_4.jpg"));
}

QTEST_GUILESS_MAIN(TestLiveFileNames)
#include "tst_livefilenames.moc"
