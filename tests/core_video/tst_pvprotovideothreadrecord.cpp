// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Recordings of a stream that is read frame by frame: when files begin and end, and what is in
/// them.

#include "core_codec/mediacodec.h"
#include "core_video/pvprotovideothread_p.h"
#include "core_videosave/recordedfile.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "fedthreadcase.h"
#include "support/players.h"
#include "support/tone.h"
#include "threadwatcher.h"
#include "writercalls.h"

#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

using namespace vantratest;

namespace {

constexpr auto Manual = AbstractVideoThread::MANUAL_RECORD;
constexpr auto Auto = AbstractVideoThread::AUTO_RECORD;
constexpr int kH264 = 27; // AVCodecID
constexpr int kH265 = 173;
constexpr int kAac = 0x15002;

const QDate kDay(2026, 2, 28);
std::atomic<int> daysGone{0};

QDate calendar()
{
    return kDay.addDays(daysGone);
}

QVector<int> numbers(int first, int count)
{
    QVector<int> result;
    for (int i = 0; i < count; ++i)
        result << first + i;
    return result;
}

} // namespace

class TestPvProtoVideoThreadRecord : public FedThreadCase
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

    void unknownCodec_isTriedAgain_atTheNextKeyFrame();
    void silentDevice_isTriedAgain_atTheNextKeyFrame();
    void codecOfAFailedAnswer_countsAsToldBefore();
    void isCodecChanged_comparesWithTheRunningRecording_data();
    void isCodecChanged_comparesWithTheRunningRecording();
    void fileThatCannotBeOpened_isTriedAgain_underANewName();
    void frameTypeAboveFour_goesToTheWriter();
    void payloadBeyondTheBuffer_isNotWritten();

protected:
    void setUp() override
    {
        folder = std::make_unique<QTemporaryDir>();
        WriterCalls::reset();
        daysGone = 0;
        pvProtoToday = &calendar;
    }
    void tearDown() override { pvProtoToday = &QDate::currentDate; }

private:
    void prepare(FedThread *thread)
    {
        thread->folder = folder->path();
        thread->setDeviceCodec(videoPara(), audioPara());
    }
    /// Feeds pictures no faster than they are written.
    static bool send(FedThread *thread, const QVector<ScriptedFrame> &frames)
    {
        thread->feed(frames);
        return settle(thread);
    }
    bool running(FedThread *thread, AbstractVideoThread::RecordType type) const
    {
        return thread->saver.at(type)->isRunning();
    }
    void plays(const QString &name, int codec, const QVector<int> &pictures, bool sound)
    {
        const RecordedFile file = readRecording(name);
        QCOMPARE(file.error, QString());
        QCOMPARE(file.videoCodec, codec);
        QCOMPARE(file.pictures, pictures);
        QCOMPARE(file.audioCodec, sound ? kAac : 0);
    }
    /// What other programs make of a file.
    void playsElsewhere(const QString &name, int codec, QSize size, int pictures)
    {
        const ProbedFile probed = probeFile(name);
        QCOMPARE(probed.error, QString());
        QCOMPARE(probed.video.codec,
                 codec == kH265 ? QStringLiteral("hevc") : QStringLiteral("h264"));
        QCOMPARE(probed.video.size, size);
        const Playback played = decodeWithFFmpeg(name);
        QCOMPARE(played.error, QString());
        QCOMPARE(played.pictures.size(), pictures);
    }

    std::unique_ptr<QTemporaryDir> folder;
};

// --- Begin and end ------------------------------------------------------------------------------

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

// --- Files that follow each other ---------------------------------------------------------------

void TestPvProtoVideoThreadRecord::codecChange_cutsTheFiles_andAllPlay_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::newRow("codec") << 2 << 320 << 240;
    QTest::newRow("size") << 1 << 640 << 480;
    QTest::newRow("both") << 2 << 160 << 120;
}

void TestPvProtoVideoThreadRecord::codecChange_cutsTheFiles_andAllPlay()
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
        playsElsewhere(files.at(i), form, isNew ? QSize(width, height) : QSize(320, 240), 10);
    }
    QCOMPARE(QSet<QString>(files.begin(), files.end()).size(), 4);
}

void TestPvProtoVideoThreadRecord::soundChange_cutsTheFile_onlyIfSoundIsSaved()
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

void TestPvProtoVideoThreadRecord::otherChanges_cutNothing()
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

void TestPvProtoVideoThreadRecord::codecChange_isComparedOnAKeyFrameOnly()
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

void TestPvProtoVideoThreadRecord::interval_endsTheFile_atTheNextKeyFrame()
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

void TestPvProtoVideoThreadRecord::noInterval_neverEndsTheFile_data()
{
    QTest::addColumn<int>("seconds");
    for (const int seconds : {0, -1, -7})
        QTest::newRow(qPrintable(QString::number(seconds))) << seconds;
}

void TestPvProtoVideoThreadRecord::noInterval_neverEndsTheFile()
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

void TestPvProtoVideoThreadRecord::reopen_cutsTheFile()
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

void TestPvProtoVideoThreadRecord::end_closesAllFiles_beforeTheSession_data()
{
    QTest::addColumn<QVector<int>>("reads");
    QTest::newRow("stop") << QVector<int>();
    QTest::newRow("end of file") << QVector<int>{1};
    QTest::newRow("read errors") << QVector<int>{3, 3, 3, 3};
}

void TestPvProtoVideoThreadRecord::end_closesAllFiles_beforeTheSession()
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

// --- Midnight -----------------------------------------------------------------------------------

void TestPvProtoVideoThreadRecord::midnight_cutsTheAutomaticRecording()
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

void TestPvProtoVideoThreadRecord::midnight_leavesTheManualRecording()
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

void TestPvProtoVideoThreadRecord::midnight_cutsOnlyTheFirstOfBoth()
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

void TestPvProtoVideoThreadRecord::midnight_isNoticed_againTheNextDay()
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

void TestPvProtoVideoThreadRecord::dateChange_isToldOnce()
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
    QVERIFY(thread.recordDate >= QDate(2026, 1, 1));
}

void TestPvProtoVideoThreadRecord::recordDate_isForgotten_withTheAutomaticRecording()
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

// --- What the device tells ----------------------------------------------------------------------

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

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadRecord)
#include "tst_pvprotovideothreadrecord.moc"
