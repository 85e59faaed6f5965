// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Recordings of a stream that is read frame by frame: files that follow each other.

#include "core_video/pvprotovideothread_p.h"
#include "fedrecordcase.h"
#include "threadwatcher.h"

#include <QtTest>

#include <atomic>

using namespace vantratest;

namespace {

const QDate kDay(2026, 2, 28);
std::atomic<int> daysGone{0};

QDate calendar()
{
    return kDay.addDays(daysGone);
}

} // namespace

class TestPvProtoVideoThreadCuts : public FedRecordCase
{
    Q_OBJECT

private slots:
    void codecChange_cutsTheFiles_andAllPlay_data();
    void codecChange_cutsTheFiles_andAllPlay();
    void soundChange_cutsTheFile_onlyIfSoundIsSaved();
    void otherChanges_cutNothing();
    void codecChange_isComparedOnAKeyFrameOnly();
    void interval_endsTheFile_atTheNextKeyFrame();
    void noInterval_neverEndsTheFile_data();
    void noInterval_neverEndsTheFile();
    void reopen_cutsTheFile();
    void end_closesAllFiles_beforeTheSession_data();
    void end_closesAllFiles_beforeTheSession();
    void midnight_cutsTheAutomaticRecording();
    void midnight_leavesTheManualRecording();
    void midnight_cutsOnlyTheFirstOfBoth();
    void midnight_isNoticed_againTheNextDay();
    void dateChange_isToldOnce();
    void recordDate_isForgotten_withTheAutomaticRecording();

protected:
    void setUp() override
    {
        FedRecordCase::setUp();
        daysGone = 0;
        pvProtoToday = &calendar;
    }
    void tearDown() override { pvProtoToday = &QDate::currentDate; }
};

// --- Files that follow each other ----------------------------------------------------------------

void TestPvProtoVideoThreadCuts::codecChange_cutsTheFiles_andAllPlay_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::newRow("codec") << 2 << 320 << 240;
    QTest::newRow("size") << 1 << 640 << 480;
    QTest::newRow("both") << 2 << 160 << 120;
}

void TestPvProtoVideoThreadCuts::codecChange_cutsTheFiles_andAllPlay()
{
    QFETCH(int, codec);
    QFETCH(int, width);
    QFETCH(int, height);
    FedThread thread;
    prepare(&thread);
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 10)));
    thread.setDeviceCodec(videoPara(codec, width, height), audioPara());
    QVERIFY(send(&thread, pictures(0, 10, codec, width, height, 2000)));
    QVERIFY(end(&thread));
    QCOMPARE(watcher.pictures.size(), 20);
    const QStringList files = thread.closedFiles();
    QCOMPARE(files.size(), 4);
    for (int i = 0; i < 4; ++i) { // manual, automatic; then the same in the new form
        const bool isNew = i >= 2;
        const int form = isNew && codec == 2 ? kH265 : kH264;
        plays(files.at(i), form, numbers(0, 10), true);
        if (i % 2 == 0) // the automatic recording holds the same
            playsElsewhere(files.at(i), form, isNew ? QSize(width, height) : QSize(320, 240), 10);
    }
    QCOMPARE(QSet<QString>(files.begin(), files.end()).size(), 4);
}

void TestPvProtoVideoThreadCuts::soundChange_cutsTheFile_onlyIfSoundIsSaved()
{
    FedThread thread;
    prepare(&thread);
    thread.setSaveAudio(Auto, false);
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 10)));
    HAudioEncPara other = audioPara();
    other.codecId = HCodecG711U;
    thread.setDeviceCodec(videoPara(), other);
    QVERIFY(send(&thread, pictures(10, 10)));
    QVERIFY(end(&thread));
    QCOMPARE(thread.count(QStringLiteral("setMP4FileName:0")), 2);
    QCOMPARE(thread.count(QStringLiteral("setMP4FileName:1")), 1);
    QCOMPARE(thread.closedFiles().size(), 3);
}

void TestPvProtoVideoThreadCuts::otherChanges_cutNothing()
{
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 10)));
    HVideoEncPara video = videoPara();
    video.frameRate = 5;
    video.bitRate = 9;
    video.mode = 7;
    thread.setDeviceCodec(video, audioPara());
    QVERIFY(send(&thread, pictures(10, 1)));
    thread.setDeviceCodec(HVideoEncPara(), HAudioEncPara()); // not valid: nothing is known
    QVERIFY(send(&thread, pictures(11, 10)));
    QVERIFY(end(&thread));
    QCOMPARE(thread.count(QStringLiteral("setMP4FileName:0")), 1);
}

void TestPvProtoVideoThreadCuts::codecChange_isComparedOnAKeyFrameOnly()
{
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 2)));
    thread.setDeviceCodec(videoPara(2), audioPara());
    thread.clearCalls();
    QVERIFY(send(&thread, pictures(2, 5)));
    QCOMPARE(thread.count(QStringLiteral("getLatestRecordCodec")), 0);
    QVERIFY(thread.closedFiles().isEmpty());
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadCuts::interval_endsTheFile_atTheNextKeyFrame()
{
    FedThread thread;
    prepare(&thread);
    thread.setSaveInterval(Manual, 1);
    thread.setSaveInterval(Auto, 1000000000); // more milliseconds than an int holds
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 5)));
    QVERIFY(waitFor([&] { return thread.saveTimer.at(Manual).hasExpired(1000); }));
    QVERIFY(send(&thread, pictures(5, 5)));
    QVERIFY(thread.closedFiles().isEmpty());
    QVERIFY(send(&thread, pictures(10, 3)));
    QCOMPARE(thread.closedFiles().size(), 1);
    QVERIFY(!thread.saveTimer.at(Manual).hasExpired(60000)); // it runs anew
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 3);
    plays(thread.closedFiles().at(0), kH264, numbers(0, 10), true);
    plays(thread.closedFiles().at(1), kH264, numbers(10, 3), true);
    plays(thread.closedFiles().at(2), kH264, numbers(0, 13), true);
}

void TestPvProtoVideoThreadCuts::noInterval_neverEndsTheFile_data()
{
    QTest::addColumn<int>("seconds");
    for (const int seconds : {0, -1, -7})
        QTest::newRow(qPrintable(QString::number(seconds))) << seconds;
}

void TestPvProtoVideoThreadCuts::noInterval_neverEndsTheFile()
{
    QFETCH(int, seconds);
    FedThread thread;
    prepare(&thread);
    thread.setSaveInterval(Manual, seconds);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 10)));
    QVERIFY(waitFor([&] { return thread.saveTimer.at(Manual).hasExpired(50); }));
    QVERIFY(send(&thread, pictures(10, 11)));
    QVERIFY(thread.closedFiles().isEmpty());
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadCuts::reopen_cutsTheFile()
{
    FedThread thread;
    prepare(&thread);
    ThreadWatcher watcher(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 10)));
    thread.stop2();
    thread.feed(DeviceReadTimeout);
    QVERIFY(waitFor([&] { return watcher.count(QStringLiteral("playStart:0")) == 2; }));
    QVERIFY(settle(&thread));
    QVERIFY(running(&thread, Manual)); // it goes on until the next key picture
    QVERIFY(send(&thread, pictures(11, 2)));
    QVERIFY(send(&thread, pictures(20, 5)));
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 2);
    plays(thread.closedFiles().at(1), kH264, numbers(20, 5), true);
}

void TestPvProtoVideoThreadCuts::end_closesAllFiles_beforeTheSession_data()
{
    QTest::addColumn<QVector<int>>("reads");
    QTest::newRow("stop") << QVector<int>();
    QTest::newRow("end of file") << QVector<int>{1};
    QTest::newRow("read errors") << QVector<int>{3, 3, 3, 3};
}

void TestPvProtoVideoThreadCuts::end_closesAllFiles_beforeTheSession()
{
    QFETCH(QVector<int>, reads);
    if (reads.size() > 1)
        log->expect(Logger::Error, QStringLiteral("(pvptvthr)read frame error"));
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 12)));
    thread.clearCalls();
    for (const int read : reads)
        thread.feed(read);
    if (reads.isEmpty())
        thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    const QStringList calls = thread.calls();
    QCOMPARE(calls.mid(calls.size() - 3),
             (QStringList{"renameMP4File:0", "renameMP4File:1", "closeVideo"}));
    QVERIFY(thread.isRecording(Manual)); // what is wanted stays
    for (const QString &name : thread.closedFiles())
        plays(name, kH264, numbers(0, 12), true);
}

// --- Midnight ------------------------------------------------------------------------------------

void TestPvProtoVideoThreadCuts::midnight_cutsTheAutomaticRecording()
{
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 11))); // the second key picture notes the day
    QCOMPARE(thread.recordDate, kDay);
    daysGone = 1;
    QVERIFY(send(&thread, pictures(11, 9)));
    QVERIFY(thread.closedFiles().isEmpty()); // only a key picture may begin a file
    QVERIFY(send(&thread, pictures(20, 5)));
    QCOMPARE(thread.closedFiles().size(), 1);
    QVERIFY(end(&thread));
    plays(thread.closedFiles().at(0), kH264, numbers(0, 20), true);
    plays(thread.closedFiles().at(1), kH264, numbers(20, 5), true);
}

void TestPvProtoVideoThreadCuts::midnight_leavesTheManualRecording()
{
    // The day is that of the automatic recording, and forgotten at each frame while none runs. That
    // is intended.
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 11)));
    QVERIFY(!thread.recordDate.isValid());
    daysGone = 1;
    QVERIFY(send(&thread, pictures(11, 14)));
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 1);
}

void TestPvProtoVideoThreadCuts::midnight_cutsOnlyTheFirstOfBoth()
{
    // Who asks first is told, and the second finds the new day noted. That is intended.
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 11)));
    daysGone = 1;
    QVERIFY(send(&thread, pictures(11, 14)));
    QCOMPARE(thread.closedFiles(), QStringList(folder->filePath(QStringLiteral("0-0.mp4"))));
    QVERIFY(running(&thread, Manual) && running(&thread, Auto));
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 3);
}

void TestPvProtoVideoThreadCuts::midnight_isNoticed_againTheNextDay()
{
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    qint64 pts = 1000;
    const auto sendKey = [&] {
        return send(&thread, pictures(0, 1, 1, 320, 240, pts += kFrameMs));
    };
    for (int day = 0; day < 3; ++day) {
        daysGone = day;
        QVERIFY(sendKey());
        QVERIFY(sendKey()); // which notes the day of a new file
        QCOMPARE(thread.closedFiles().size(), day);
    }
    daysGone = 1; // the clock was put back
    QVERIFY(sendKey());
    QCOMPARE(thread.closedFiles().size(), 3);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadCuts::dateChange_isToldOnce()
{
    FedThread thread;
    QVERIFY(!thread.isDateChanged()); // no day is known
    QCOMPARE(thread.recordDate, kDay);
    QVERIFY(!thread.isDateChanged());
    daysGone = 1;
    QVERIFY(thread.isDateChanged());
    QCOMPARE(thread.recordDate, kDay.addDays(1));
    QVERIFY(!thread.isDateChanged());
    daysGone = 0;
    QVERIFY(thread.isDateChanged()); // backwards too
    pvProtoToday = &QDate::currentDate;
    thread.isDateChanged();
    QVERIFY(thread.recordDate >= QDate(2020, 1, 1));
}

void TestPvProtoVideoThreadCuts::recordDate_isForgotten_withTheAutomaticRecording()
{
    FedThread thread;
    thread.recordDate = kDay;
    thread.closeMP4(Manual);
    QCOMPARE(thread.recordDate, kDay);
    thread.closeMP4(Auto);
    QVERIFY(!thread.recordDate.isValid());
    thread.recordDate = kDay;
    thread.closeAllMP4();
    QVERIFY(!thread.recordDate.isValid());
    QVERIFY(thread.closedFiles().isEmpty()); // nothing ran
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadCuts)
#include "tst_pvprotovideothreadcuts.moc"
