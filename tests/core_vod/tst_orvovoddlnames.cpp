// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// How the files of downloads are called, and what happens where they cannot be.

#include "downloadcase.h"

using namespace vantratest;

class TestOrvoVodDLNames : public DownloadCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void name_tellsFirstAndLastPicture_onTheDayOfTheRequest_data();
    void name_tellsFirstAndLastPicture_onTheDayOfTheRequest();
    void name_beforeTheEnd_hasNoEnd();
    void names_overMidnight_whereAnIntervalCuts();
    void name_thatIsTaken_isReplaced();
    void name_thatIsTaken_isReplaced_withinOneDownloadToo();
    void name_thatCannotBeHad_leavesTheFileAsItWas();
    void name_isMissing_withoutADay();
    void folderThatIsGone_leavesNoFile_andTheDownloadGoesOn();
    void fileThatIsGone_failsTheDownload();
};

void TestOrvoVodDLNames::name_tellsFirstAndLastPicture_onTheDayOfTheRequest_data()
{
    QTest::addColumn<QDateTime>("request");
    QTest::addColumn<qint64>("first");
    QTest::addColumn<qint64>("last");
    QTest::addColumn<QString>("name");
    const QDateTime morning(day(), QTime(9, 0));
    QTest::newRow("within a day") << morning << at(10, 0, 0) << at(10, 0, 0, 999)
                                  << "20260314T100000_20260314T100000_3.mp4";
    QTest::newRow("cut to seconds") << morning << at(10, 0, 0, 999) << at(10, 0, 2, 1)
                                    << "20260314T100000_20260314T100002_3.mp4";
    QTest::newRow("whole day") << morning << at(0, 0, 0) << at(23, 59, 59, 999)
                               << "20260314T000000_20260314T235959_3.mp4";
    QTest::newRow("over midnight") << morning << at(23, 59, 50) << at(0, 0, 10, 0, 1)
                                   << "20260314T000000_20260314T000010_3.mp4";
    QTest::newRow("just over midnight") << morning << at(23, 59, 59, 960) << at(0, 0, 0, 0, 1)
                                        << "20260314T000000_20260314T000000_3.mp4";
    QTest::newRow("another day") << morning << at(10, 0, 0, 0, 5) << at(10, 0, 7, 0, 5)
                                 << "20260314T100000_20260314T100007_3.mp4";
    QTest::newRow("backwards") << morning << at(10, 0, 7) << at(10, 0, 0)
                               << "20260314T000000_20260314T100000_3.mp4";
    QTest::newRow("backwards by less than a second")
        << morning << at(10, 0, 0, 999) << at(10, 0, 0, 1)
        << "20260314T000000_20260314T100000_3.mp4";
    QTest::newRow("same time a day later")
        << morning << at(10, 0, 0) << at(10, 0, 0, 0, 1) << "20260314T100000_20260314T100000_3.mp4";
    // The clock goes from two to three in the night of that day.
    QTest::newRow("hour that does not exist")
        << QDateTime(QDate(2026, 3, 8), QTime(0, 0)) << at(2, 29, 59) << at(2, 30, 1)
        << "20260308T022959_20260308T023001_3.mp4";
    QTest::newRow("request in UTC")
        << QDateTime(QDate(2026, 3, 15), QTime(1, 0), Qt::UTC) << at(10, 0, 0) << at(10, 0, 1)
        << "20260315T100000_20260315T100001_3.mp4";
    QTest::newRow("before 1970") << morning << qint64(-2000) << qint64(-1)
                                 << "20260314T235958_20260314T235959_3.mp4";
}

void TestOrvoVodDLNames::name_tellsFirstAndLastPicture_onTheDayOfTheRequest()
{
    QFETCH(QDateTime, request);
    QFETCH(qint64, first);
    QFETCH(qint64, last);
    QFETCH(QString, name);
    announceSteps();
    thread->setDateTime(request, request.addDays(1));
    send(picture(0, first));
    send(picture(1, first + 20));
    send(picture(2, last));
    sendEnd();
    run();
    QCOMPARE(files(), QStringList{name});
    QCOMPARE(read(name).pictures, numbers(0, 3));
}

void TestOrvoVodDLNames::name_beforeTheEnd_hasNoEnd()
{
    thread->setReadTimeout(10000);
    sendPictures(0, 3, at(23, 59, 59, 960));
    thread->startDL();
    QVERIFY(waitFor([&] { return script->count(Op::vodReadDLFrame) > 3; }));
    QCOMPARE(files(), QStringList{"20260314T235959.mp4"});
    thread->stopDL();
    QCOMPARE(files(), QStringList{"20260314T000000_20260314T000000_3.mp4"});
}

void TestOrvoVodDLNames::names_overMidnight_whereAnIntervalCuts()
{
    announceSteps();
    thread->setSaveInterval(3);
    for (int i = 0; i < 6; ++i)
        send(picture(i * 10, at(23, 59, 55) + i * 2000));
    sendEnd();
    run();
    // From 23:59:55 to 23:59:59, from there over midnight, and on, all on the day of the request.
    QCOMPARE(files(), QStringList({"20260314T000000_20260314T000003_3.mp4",
                                   "20260314T000003_20260314T000005_3.mp4",
                                   "20260314T235955_20260314T235959_3.mp4"}));
    QCOMPARE(allPictures(), QVector<int>({20, 0, 10, 20, 0, 10}));
}

void TestOrvoVodDLNames::name_thatIsTaken_isReplaced()
{
    for (const int count : {5, 8}) {
        sendPictures(0, count, at(10, 0, 0));
        sendEnd();
        run();
        QCOMPARE(files(), QStringList{"20260314T100000_20260314T100000_3.mp4"});
        QCOMPARE(allPictures(), numbers(0, count));
    }
}

/// Two files of the same second have the same name, and the later one is what stays. That is
/// intended.
void TestOrvoVodDLNames::name_thatIsTaken_isReplaced_withinOneDownloadToo()
{
    announceSteps();
    for (int mark = 1; mark <= 3; ++mark)
        describeOnce(sdp(mark));
    describe(sdp(3)); // 2 has cut the first file, 3 is of the second, which therefore goes on
    send(picture(0, at(10, 0, 0)));
    send(picture(10, at(10, 0, 0, 400)));
    send(picture(20, at(10, 0, 0, 800)));
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(files(), QStringList{"20260314T100000_20260314T100000_3.mp4"});
    QCOMPARE(allPictures(), QVector<int>({10, 20}));
}

void TestOrvoVodDLNames::name_thatCannotBeHad_leavesTheFileAsItWas()
{
    DeviceAnswer first(picture(0, at(10, 0, 0)));
    first.first = [this] {
        QDir(thread->saveDir).mkpath("20260314T100000_20260314T100000_3.mp4/taken");
    };
    send(first);
    sendPictures(1, 9, at(10, 0, 0) + kFrameMs);
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(files(), QStringList{"20260314T100000.mp4"});
    QCOMPARE(allPictures(), numbers(0, 10));
}

void TestOrvoVodDLNames::name_isMissing_withoutADay()
{
    thread->setDateTime(QDateTime(), QDateTime());
    sendPictures(0, 2, at(10, 0, 0));
    sendEnd();
    run();
    QCOMPARE(files(), QStringList{"__3.mp4"});
}

/// What cannot be opened is tried again at the next key picture.
void TestOrvoVodDLNames::folderThatIsGone_leavesNoFile_andTheDownloadGoesOn()
{
    log->expectMatching(
        Logger::Error, QRegularExpression("^\\(svmp4ff\\)(avio open .* err -\\d+|creat mp4 err)$"));
    for (int i = 0; i < 30; ++i) {
        DeviceAnswer answer(picture(i, at(10, 0, 0) + i * 100));
        if (i == 0)
            answer.first = [this] { QDir(thread->saveDir).removeRecursively(); };
        if (i == 15)
            answer.first = [this] { QDir().mkpath(thread->saveDir); };
        send(answer);
    }
    sendEnd();
    run();
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err")), 2);
    QVERIFY(ok());
    QCOMPARE(recorder->count("error"), 0);
    QCOMPARE(files(), QStringList{"20260314T100002_20260314T100002_3.mp4"});
    QCOMPARE(allPictures(), numbers(20, 10));
}

/// What the device sends after that would be thrown away.
void TestOrvoVodDLNames::fileThatIsGone_failsTheDownload()
{
    for (int i = 0; i < 30; ++i) {
        DeviceAnswer answer(picture(i, at(10, 0, 0) + i * 100));
        if (i == 5)
            answer.first = [this] { QDir(thread->saveDir).removeRecursively(); };
        send(answer);
    }
    sendEnd();
    run();
    QCOMPARE(recorder->names().filter(QRegularExpression("start|error|finsh")),
             QStringList({"start", "error", "finsh"}));
    QVERIFY(!ok());
    QCOMPARE(files(), QStringList());
}

int main(int argc, char *argv[])
{
    return runInNewYork<TestOrvoVodDLNames>(argc, argv);
}
#include "tst_orvovoddlnames.moc"
