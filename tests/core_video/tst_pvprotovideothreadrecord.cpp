// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Recordings of a stream that is read frame by frame: begin, end and content of a file.

#include "core_codec/mediacodec.h"
#include "fedrecordcase.h"
#include "support/tone.h"
#include "threadwatcher.h"

#include <QtTest>

#include <limits>

using namespace vantratest;

class TestPvProtoVideoThreadRecord : public FedRecordCase
{
    Q_OBJECT

private slots:
    void file_beginsAtAKeyFrame();
    void opening_callsInThisOrder();
    void both_recordAtOnce_withSound_watchedByNobody_data();
    void both_recordAtOnce_withSound_watchedByNobody();
    void watching_doesNotDisturb_recording();
    void withoutAudio_theFileHasNone();
    void recordStop_endsTheFile_atTheNextFrame();
    void recordStop_withoutAudio_waitsForTheNextPicture();
    void recordStopAndStart_betweenTwoFrames_leavesTheFileRunning();
    void recordStop_ofNothing_isSilent();
    void typesAreIndependent();
    void unknownCodec_isTriedAgain_atTheNextKeyFrame();
    void silentDevice_isTriedAgain_atTheNextKeyFrame();
    void codecOfAFailedAnswer_countsAsToldBefore();
    void isCodecChanged_comparesWithTheRunningRecording_data();
    void isCodecChanged_comparesWithTheRunningRecording();
    void fileThatCannotBeOpened_isTriedAgain_underANewName();
    void frameTypeAboveFour_goesToTheWriter();
    void payloadBeyondTheBuffer_isNotWritten();
    void stampsOfAnyKind_leaveThePicturesAroundThem();
};

// --- Begin and end -------------------------------------------------------------------------------

void TestPvProtoVideoThreadRecord::file_beginsAtAKeyFrame()
{
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(7, 3)));
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QVERIFY(!running(&thread, Manual));
    QCOMPARE(thread.referenceCount(), 1); // it is wanted all the same
    QVERIFY(send(&thread, pictures(10, 5)));
    QVERIFY(running(&thread, Manual));
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 1);
    plays(thread.closedFiles().first(), kH264, numbers(10, 5), true);
}

void TestPvProtoVideoThreadRecord::opening_callsInThisOrder()
{
    FedThread thread;
    prepare(&thread);
    thread.setSaveAudio(Auto, false);
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    thread.clearCalls();
    WriterCalls::atCall = [&](const char *name) { thread.note(QString::fromLatin1(name)); };
    QVERIFY(send(&thread, pictures(0, 1)));
    WriterCalls::atCall = nullptr;
    QCOMPARE(thread.calls(),
             (QStringList{"handlePreviewClose", "beforeSaveMP4:0", "getLatestRecordCodec",
                          "setMP4FileName:0", "setPara", "setTimebase", "getLatestRecordCodec",
                          "setMP4FileName:1", "setPara", "setTimebase", "readFrame:100"}));
    QCOMPARE(WriterCalls::paras().size(), 2);
    for (const WriterCalls::Para &para : WriterCalls::paras()) {
        const bool isManual = para.writer == thread.saver.at(Manual);
        QVERIFY(para.video == videoPara());
        QVERIFY(para.audio == (isManual ? audioPara() : HAudioEncPara()));
        QCOMPARE(para.readTimeout, 500); // whatever the thread waits for frames
    }
    for (const AVRational &timebase : WriterCalls::timebases())
        QVERIFY(timebase.num == 1 && timebase.den == 1000);
    QVERIFY(thread.saveTimer.at(Manual).isValid());
    QVERIFY(thread.curVideoPara == videoPara());
    QVERIFY(thread.curAudioPara == audioPara());
    QCOMPARE(thread.saver.at(Manual)->getFileName(), thread.getFileName(Manual));
    QVERIFY(!thread.recordDate.isValid()); // no running file has been looked at
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadRecord::both_recordAtOnce_withSound_watchedByNobody_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("file");
    QTest::newRow("H.264") << 1 << kH264;
    QTest::newRow("H.265") << 2 << kH265;
}

void TestPvProtoVideoThreadRecord::both_recordAtOnce_withSound_watchedByNobody()
{
    QFETCH(int, codec);
    QFETCH(int, file);
    FedThread thread;
    prepare(&thread);
    thread.setDeviceCodec(videoPara(codec), audioPara());
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    for (int i = 0; i < 30; ++i) {
        thread.feed(picture(i, codec));
        thread.feed(sound(2 * i));
        thread.feed(sound(2 * i + 1));
        QVERIFY(settle(&thread));
    }
    QVERIFY(thread.codec->isVideoDecoderNull());
    QCOMPARE(WriterCalls::decoderCalls.load(), 0); // nothing is decoded
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 2);
    for (const QString &name : thread.closedFiles()) {
        plays(name, file, numbers(0, 30), true);
        const RecordedFile recorded = readRecording(name);
        QVERIFY(hasTone(recorded.sound, recorded.sampleRate, 440));
        QCOMPARE(recorded.times.last(), qint64(29 * kFrameMs));
    }
}

void TestPvProtoVideoThreadRecord::watching_doesNotDisturb_recording()
{
    FedThread thread;
    prepare(&thread);
    thread.setVideoMode(VideoMode_Opengl);
    ThreadWatcher watcher(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 8)));
    thread.previewRef() = 1;
    QVERIFY(send(&thread, pictures(8, 8)));
    thread.previewRef() = 0;
    QVERIFY(send(&thread, pictures(16, 8)));
    QVERIFY(end(&thread));
    QCOMPARE(watcher.pictures.size(), 6); // from the key picture 10 to 15
    QCOMPARE(thread.closedFiles().size(), 1);
    plays(thread.closedFiles().first(), kH264, numbers(0, 24), true);
}

void TestPvProtoVideoThreadRecord::withoutAudio_theFileHasNone()
{
    FedThread thread;
    prepare(&thread);
    thread.setSaveAudio(Auto, false);
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    for (int i = 0; i < 10; ++i)
        thread.feed({picture(i), sound(i)});
    QVERIFY(settle(&thread));
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 2);
    plays(thread.closedFiles().at(0), kH264, numbers(0, 10), true);
    plays(thread.closedFiles().at(1), kH264, numbers(0, 10), false);
}

void TestPvProtoVideoThreadRecord::recordStop_endsTheFile_atTheNextFrame()
{
    FedThread thread;
    prepare(&thread);
    for (const ScriptedFrame &next : {picture(3), sound()}) {
        thread.recordStart(Manual);
        if (!thread.isRunning())
            QVERIFY(begin(&thread));
        QVERIFY(send(&thread, pictures(0, 3)));
        thread.recordStop(Manual);
        QVERIFY(running(&thread, Manual)); // as long as nothing is read
        thread.clearCalls();
        thread.feed(next);
        QVERIFY(settle(&thread));
        QVERIFY(!running(&thread, Manual));
        QCOMPARE(thread.count(QStringLiteral("renameMP4File:0")), 1);
    }
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 2);
    plays(thread.closedFiles().at(0), kH264, numbers(0, 4), true); // that frame is in it
    plays(thread.closedFiles().at(1), kH264, numbers(0, 3), true);
}

void TestPvProtoVideoThreadRecord::recordStop_withoutAudio_waitsForTheNextPicture()
{
    FedThread thread;
    prepare(&thread);
    thread.setSaveAudio(Manual, false);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 2)));
    thread.recordStop(Manual);
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QVERIFY(running(&thread, Manual)); // sound is passed over with all that follows, as intended
    thread.feed(picture(2));
    QVERIFY(settle(&thread));
    QVERIFY(!running(&thread, Manual));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadRecord::recordStopAndStart_betweenTwoFrames_leavesTheFileRunning()
{
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 5)));
    thread.recordStop(Manual);
    thread.recordStart(Manual);
    QVERIFY(send(&thread, pictures(5, 10)));
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 1);
    plays(thread.closedFiles().first(), kH264, numbers(0, 15), true);
}

void TestPvProtoVideoThreadRecord::recordStop_ofNothing_isSilent()
{
    FedThread thread;
    prepare(&thread);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 12)));
    QVERIFY(end(&thread));
    QCOMPARE(thread.count(QStringLiteral("renameMP4File:0")), 0);
    QCOMPARE(thread.count(QStringLiteral("renameMP4File:1")), 0);
    QCOMPARE(thread.count(QStringLiteral("getLatestRecordCodec")), 0);
}

void TestPvProtoVideoThreadRecord::typesAreIndependent()
{
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 15)));
    thread.recordStart(Manual);
    QVERIFY(send(&thread, pictures(15, 10)));
    thread.recordStop(Auto);
    QVERIFY(send(&thread, pictures(25, 5)));
    QVERIFY(running(&thread, Manual) && !running(&thread, Auto));
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 2);
    plays(thread.closedFiles().at(0), kH264, numbers(0, 26), true);
    plays(thread.closedFiles().at(1), kH264, numbers(20, 10), true);
}

// --- What the device tells -----------------------------------------------------------------------

void TestPvProtoVideoThreadRecord::unknownCodec_isTriedAgain_atTheNextKeyFrame()
{
    const QString line = QStringLiteral("(pvptvthr)video codec param is invalid");
    log->expect(Logger::Warning, line);
    FedThread thread;
    prepare(&thread);
    thread.setDeviceCodec(HVideoEncPara(), audioPara());
    thread.recordStart(Manual);
    thread.recordStart(Auto);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 10)));
    QCOMPARE(log->count(Logger::Warning, line), 2);
    QVERIFY(thread.curAudioPara == audioPara()); // what it told is noted
    QCOMPARE(thread.count(QStringLiteral("setMP4FileName:0")), 0);
    thread.setDeviceCodec(videoPara(), audioPara());
    QVERIFY(send(&thread, pictures(10, 5)));
    QCOMPARE(log->count(Logger::Warning, line), 2);
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 2);
    plays(thread.closedFiles().first(), kH264, numbers(10, 5), true);
}

void TestPvProtoVideoThreadRecord::silentDevice_isTriedAgain_atTheNextKeyFrame()
{
    const QString line = QStringLiteral("(pvptvthr)video codec param is invalid");
    log->expect(Logger::Warning, line);
    FedThread thread;
    prepare(&thread);
    thread.tellsCodec = false;
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 21)));
    QCOMPARE(log->count(Logger::Warning, line), 3);
    QVERIFY(!running(&thread, Manual));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadRecord::codecOfAFailedAnswer_countsAsToldBefore()
{
    // What a failed answer filled is looked at, but the file is made with what was told before.
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 2)));
    thread.recordStop(Manual);
    QVERIFY(send(&thread, pictures(2, 1)));
    thread.setDeviceCodec(videoPara(2, 16, 16), HAudioEncPara(), -1);
    thread.recordStart(Manual);
    QVERIFY(send(&thread, pictures(10, 5)));
    QVERIFY(thread.curVideoPara == videoPara());
    QVERIFY(end(&thread));
    plays(thread.closedFiles().at(1), kH264, numbers(10, 5), true);
}

void TestPvProtoVideoThreadRecord::isCodecChanged_comparesWithTheRunningRecording_data()
{
    QTest::addColumn<int>("videoCodec");
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("result");
    QTest::addColumn<bool>("checkAudio");
    QTest::addColumn<bool>("changed");
    QTest::newRow("same") << 1 << 8000 << 0 << true << false;
    QTest::newRow("video") << 2 << 8000 << 0 << false << true;
    QTest::newRow("video, failed answer") << 2 << 8000 << -1 << false << true;
    QTest::newRow("video not valid") << 3 << 8000 << 0 << true << false;
    QTest::newRow("audio") << 1 << 16000 << 0 << true << true;
    QTest::newRow("audio, failed answer") << 1 << 16000 << -1 << true << true;
    QTest::newRow("audio does not matter") << 1 << 16000 << 0 << false << false;
    QTest::newRow("audio not valid") << 1 << 0 << 0 << true << false;
}

void TestPvProtoVideoThreadRecord::isCodecChanged_comparesWithTheRunningRecording()
{
    QFETCH(int, videoCodec);
    QFETCH(int, sampleRate);
    QFETCH(int, result);
    QFETCH(bool, checkAudio);
    FedThread thread;
    thread.setCurRecordCodec(videoPara(), audioPara());
    HAudioEncPara audio = audioPara();
    audio.sampleRate = sampleRate;
    thread.setDeviceCodec(videoPara(videoCodec), audio, result);
    QTEST(thread.isCodecChanged(checkAudio), "changed");
    QVERIFY(thread.curVideoPara == videoPara()); // only compared
}

void TestPvProtoVideoThreadRecord::fileThatCannotBeOpened_isTriedAgain_underANewName()
{
    log->expectMatching(Logger::Error,
                        QRegularExpression("^\\(svmp4ff\\)avio open .* err -?\\d+$"));
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err"));
    FedThread thread;
    prepare(&thread);
    thread.folder = QStringLiteral("/proc/nowhere");
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 12)));
    QVERIFY(!running(&thread, Manual));
    QCOMPARE(thread.count(QStringLiteral("setMP4FileName:0")), 2);
    QCOMPARE(log->missing(), QStringList());
    thread.folder = folder->path();
    QVERIFY(send(&thread, pictures(20, 5)));
    QVERIFY(end(&thread));
    QCOMPARE(thread.closedFiles().size(), 1);
    plays(thread.closedFiles().first(), kH264, numbers(20, 5), true);
}

void TestPvProtoVideoThreadRecord::frameTypeAboveFour_goesToTheWriter()
{
    const QString line = QStringLiteral("(svmp4ff)find av stream (0:1) err");
    log->expect(Logger::Error, line);
    FedThread thread;
    prepare(&thread);
    thread.previewRef() = 1;
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 2)));
    ScriptedFrame odd = picture(2);
    odd.header.frameType = 5;
    thread.feed(odd);
    QVERIFY(settle(&thread));
    QCOMPARE(log->count(Logger::Error, line), 1);
    QVERIFY(send(&thread, pictures(2, 3)));
    QVERIFY(end(&thread));
    plays(thread.closedFiles().first(), kH264, numbers(0, 5), true);
}

void TestPvProtoVideoThreadRecord::payloadBeyondTheBuffer_isNotWritten()
{
    QTest::ignoreMessage(QtCriticalMsg, "");
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 2)));
    ScriptedFrame liar = sound();
    liar.header.frameSize = 0xfffffff0u;
    thread.feed(liar);
    QVERIFY(send(&thread, pictures(2, 3)));
    QVERIFY(end(&thread));
    plays(thread.closedFiles().first(), kH264, numbers(0, 5), true);
}

void TestPvProtoVideoThreadRecord::stampsOfAnyKind_leaveThePicturesAroundThem()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(svmp4ff\\)write .* err "));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(svmp4ff\\).* pts \\(.*\\)$"));
    FedThread thread;
    prepare(&thread);
    thread.recordStart(Manual);
    QVERIFY(begin(&thread));
    QVERIFY(send(&thread, pictures(0, 3)));
    const qint64 stamps[] = {std::numeric_limits<qint64>::max(),
                             std::numeric_limits<qint64>::min(),
                             std::numeric_limits<qint64>::min(),
                             -1,
                             0,
                             std::numeric_limits<qint64>::max() - 1};
    int number = 3;
    for (const qint64 stamp : stamps) {
        ScriptedFrame frame = picture(number++);
        frame.header.pts = stamp;
        ScriptedFrame tone = sound(number);
        tone.header.pts = stamp;
        thread.feed({frame, tone});
        QVERIFY(settle(&thread));
    }
    QVERIFY(send(&thread, pictures(number, 20, 1, 320, 240, 2000)));
    QVERIFY(end(&thread));
    const RecordedFile file = readRecording(thread.closedFiles().first());
    QCOMPARE(file.error, QString());
    for (const int sent : numbers(0, 3) + numbers(number + 1, 19))
        QVERIFY2(file.pictures.contains(sent), qPrintable(QString::number(sent)));
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadRecord)
#include "tst_pvprotovideothreadrecord.moc"
