// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What the URL thread hands to its writers, and when, packet by packet on the test's own thread.

#include "recordtestcase.h"

#include "core_ffmpeg/ffmpegptr.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <limits>

using namespace vantratest;

namespace {

constexpr int kVideoStream = 0;
constexpr int kAudioStream = 1;

} // namespace

class TestFFmpegVideoThreadSave : public RecordTestCase
{
    Q_OBJECT

private slots:
    void writers_areMadeWithTheThread_andKept();
    void file_opensAtAKeyPicture_withATimeStamp();
    void recordStart_withoutKeyPicture_opensNoFile_butCounts();
    void recordStop_andStartAtOnce_keepsTheFile();
    void recordings_areIndependent();
    void recordStop_withSound_endsAtTheNextPacket();
    void recordStop_withoutSound_endsAtTheNextPicture();
    void sound_isLeftOut_whenNotWanted();
    void interval_isOverAfterItsSeconds_data();
    void interval_isOverAfterItsSeconds();
    void interval_cutsAtTheNextKeyPicture();
    void fileThatHasGone_isReplaced_onceItIsSomeSecondsOld();
    void failedOpen_isTriedAgain_withANewName();
    void parameters_areBuiltFromTheStream_data();
    void parameters_areBuiltFromTheStream();
    void parameters_ofTheDevice_areTaken();
    void streamThatIsNotThere_isTold_andRecorded();
    void aacSound_isToldAtEachFile_andLeftOut();

private:
    /// As after the open of a source of made pictures.
    static void prepare(RecordThread *thread)
    {
        thread->videoIndex = kVideoStream;
        thread->videoWidth = 320;
        thread->videoHeight = 240;
        thread->frameRate = 25;
    }
    static void prepareSound(RecordThread *thread)
    {
        thread->audioIndex = kAudioStream;
        thread->curAudioPara.codecId = HCodecG711A;
        thread->curAudioPara.sampleRate = 8000;
        thread->curAudioPara.bitsPerSample = 16;
    }
    static AVPacketPtr packetOf(const QByteArray &bytes, int stream, qint64 pts)
    {
        AVPacketPtr packet(av_packet_alloc());
        if (av_new_packet(packet.get(), bytes.size()) == 0)
            memcpy(packet->data, bytes.constData(), size_t(bytes.size()));
        packet->stream_index = stream;
        packet->pts = packet->dts = pts;
        return packet;
    }
    /// Picture n of the clip, in order of the writers' own unit, 1/1000 s.
    static void feed(RecordThread *thread, int n, qint64 pts)
    {
        const AccessUnit unit = units(2 * kGop).at(n);
        const AVPacketPtr packet = packetOf(unit.data, kVideoStream, pts);
        if (unit.key)
            packet->flags |= AV_PKT_FLAG_KEY;
        settle(thread);
        thread->saveMP4(packet.get(), unit.key);
    }
    static void feed(RecordThread *thread, int n) { feed(thread, n, n * kFrameMs); }
    static void feedSound(RecordThread *thread)
    {
        settle(thread);
        thread->saveMP4(packetOf(QByteArray(160, '\xd5'), kAudioStream, 0).get(), false);
    }
    static void settle(RecordThread *thread)
    {
        for (SaveMp4FFmpeg *writer : qAsConst(thread->saver))
            QVERIFY(waitFor([&] { return writer->isQueueEmpty(); }));
    }
    void announceWriterErrors(const QStringList &texts)
    {
        for (const QString &text : texts)
            log->expectMatching(Logger::Error,
                                QRegularExpression(QStringLiteral("^\\(svmp4ff\\)") + text));
    }
};

void TestFFmpegVideoThreadSave::writers_areMadeWithTheThread_andKept()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    QCOMPARE(thread.saver.size(), 2);
    QVERIFY(thread.saver.at(0) && thread.saver.at(1));
    QVERIFY(thread.saver.at(0) != thread.saver.at(1));
    const QVector<SaveMp4FFmpeg *> writers = thread.saver;
    for (const SaveMp4FFmpeg *writer : writers) {
        QVERIFY(!writer->parent());
        QVERIFY(!writer->isRunning());
    }
    prepare(&thread);
    for (int round = 0; round < 2; ++round) {
        thread.recordStart(kManual);
        feed(&thread, 0);
        QVERIFY(writers.at(kManual)->isRunning());
        thread.recordStop(kManual);
        feed(&thread, 1);
        QVERIFY(!writers.at(kManual)->isRunning());
        QVERIFY(thread.saver == writers);
    }
}

void TestFFmpegVideoThreadSave::file_opensAtAKeyPicture_withATimeStamp()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    feed(&thread, 0); // nothing is wanted yet
    thread.recordStart(kManual);
    feed(&thread, 1);
    feed(&thread, 0, AV_NOPTS_VALUE);
    QCOMPARE(thread.calls(), QStringList());
    QVERIFY(!thread.saver.at(kManual)->isRunning());
    feed(&thread, 0);
    QCOMPARE(thread.calls(), QStringList(QStringLiteral("name(0)")));
    QVERIFY(thread.saver.at(kManual)->isRunning());
    QVERIFY(!thread.saver.at(kAuto)->isRunning());
    QVERIFY(thread.saveTimer.at(kManual).isValid());
    QCOMPARE(thread.getFileName(kManual), thread.file(kManual, 0));
    for (int i = 1; i < 30; ++i)
        feed(&thread, i);
    thread.recordStop(kManual);
    QVERIFY(thread.saver.at(kManual)->isRunning()); // until the next packet, which still counts
    feed(&thread, 30);
    QVERIFY(!thread.saver.at(kManual)->isRunning());
    QCOMPARE(thread.calls(), QStringList({QStringLiteral("name(0)"), QStringLiteral("rename(0)")}));
    QCOMPARE(faultOf(thread.file(kManual, 0), numbers(0, 30)), QString());
}

void TestFFmpegVideoThreadSave::recordStart_withoutKeyPicture_opensNoFile_butCounts()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    thread.recordStart(kManual);
    QCOMPARE(thread.referenceCount(), 1);
    thread.recordStart(kAuto);
    QCOMPARE(thread.referenceCount(), 2);
    for (int i = 1; i < kGop; ++i)
        feed(&thread, i);
    QCOMPARE(thread.calls(), QStringList());
    QVERIFY(QDir(dir.path()).isEmpty());
}

void TestFFmpegVideoThreadSave::recordStop_andStartAtOnce_keepsTheFile()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    thread.recordStart(kManual);
    for (int i = 0; i < 2 * kGop; ++i) {
        if (i % 7 == 3 || i == kGop) {
            thread.recordStop(kManual);
            thread.recordStart(kManual);
        }
        feed(&thread, i);
    }
    QCOMPARE(thread.calls(), QStringList(QStringLiteral("name(0)")));
    thread.closeMP4(kManual);
    QCOMPARE(faultOf(thread.file(kManual, 0), numbers(0, 2 * kGop - 1)), QString());
}

void TestFFmpegVideoThreadSave::recordings_areIndependent()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    thread.recordStart(kAuto);
    for (int i = 0; i < 2 * kGop; ++i) {
        if (i == 10)
            thread.recordStart(kManual);
        if (i == 40)
            thread.recordStop(kAuto);
        feed(&thread, i);
    }
    QVERIFY(thread.saver.at(kManual)->isRunning());
    thread.closeMP4(kManual);
    thread.closeMP4(kManual); // nothing runs: neither ended nor renamed again
    thread.closeMP4(static_cast<AbstractVideoThread::RecordType>(7));
    QCOMPARE(thread.calls(),
             QStringList({QStringLiteral("name(1)"), QStringLiteral("name(0)"),
                          QStringLiteral("rename(1)"), QStringLiteral("rename(0)")}));
    QCOMPARE(faultOf(thread.file(kAuto, 0), numbers(0, 40)), QString());
    QCOMPARE(faultOf(thread.file(kManual, 0), numbers(kGop, 2 * kGop - 1)), QString());
}

void TestFFmpegVideoThreadSave::recordStop_withSound_endsAtTheNextPacket()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    prepareSound(&thread);
    thread.recordStart(kManual);
    feed(&thread, 0);
    thread.recordStop(kManual);
    feedSound(&thread);
    QVERIFY(!thread.saver.at(kManual)->isRunning());
}

void TestFFmpegVideoThreadSave::recordStop_withoutSound_endsAtTheNextPicture()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    prepareSound(&thread);
    thread.setSaveAudio(kManual, false);
    thread.recordStart(kManual);
    feed(&thread, 0);
    thread.recordStop(kManual);
    feedSound(&thread);
    QVERIFY(thread.saver.at(kManual)->isRunning());
    feed(&thread, 1);
    QVERIFY(!thread.saver.at(kManual)->isRunning());
    QCOMPARE(faultOf(thread.file(kManual, 0), numbers(0, 1)), QString());
}

void TestFFmpegVideoThreadSave::sound_isLeftOut_whenNotWanted()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    prepareSound(&thread);
    thread.setSaveAudio(kAuto, false);
    thread.recordStart(kManual);
    thread.recordStart(kAuto);
    for (int i = 0; i < 2 * kGop; ++i) {
        feed(&thread, i);
        feedSound(&thread);
        feedSound(&thread);
    }
    const QVector<WriterCalls::Para> told = WriterCalls::paras();
    QCOMPARE(told.size(), 2);
    QVERIFY(told.at(kManual).writer == thread.saver.at(kManual));
    QVERIFY(told.at(kManual).audio == thread.curAudioPara);
    QVERIFY(told.at(kAuto).audio == HAudioEncPara());
    QVERIFY(thread.curAudioPara.isValid());
    thread.closeMP4(kManual);
    thread.closeMP4(kAuto);
    QCOMPARE(faultOf(thread.file(kManual, 0), numbers(0, 2 * kGop - 1), true), QString());
    QCOMPARE(faultOf(thread.file(kAuto, 0), numbers(0, 2 * kGop - 1)), QString());
}

void TestFFmpegVideoThreadSave::interval_isOverAfterItsSeconds_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<bool>("over");
    QTest::newRow("none") << -1 << false;
    QTest::newRow("0") << 0 << false;
    QTest::newRow("below none") << std::numeric_limits<int>::min() << false;
    QTest::newRow("1") << 1 << true;
    QTest::newRow("an hour") << 3600 << false;
    QTest::newRow("largest") << std::numeric_limits<int>::max() << false;
}

void TestFFmpegVideoThreadSave::interval_isOverAfterItsSeconds()
{
    QFETCH(int, seconds);
    RecordThread thread{QString()};
    thread.setSaveInterval(kAuto, seconds);
    thread.saveTimer[kAuto].start();
    if (seconds != 1)
        QVERIFY(!thread.isFileExpired(kAuto));
    QVERIFY(waitFor([&] { return thread.saveTimer.at(kAuto).elapsed() > 1000; }));
    QTEST(thread.isFileExpired(kAuto), "over");
    QVERIFY(!thread.isFileExpired(static_cast<AbstractVideoThread::RecordType>(2)));
}

void TestFFmpegVideoThreadSave::interval_cutsAtTheNextKeyPicture()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    thread.setSaveInterval(kManual, 1);
    thread.recordStart(kManual);
    feed(&thread, 0);
    QVERIFY(waitFor([&] { return thread.isFileExpired(kManual); }));
    for (int i = 1; i < kGop; ++i)
        feed(&thread, i);
    QCOMPARE(thread.calls(), QStringList(QStringLiteral("name(0)")));
    feed(&thread, kGop, AV_NOPTS_VALUE); // cannot begin a file
    QCOMPARE(thread.calls(), QStringList(QStringLiteral("name(0)")));
    const qint64 firstBegan = thread.saveTimer.at(kManual).msecsSinceReference();
    feed(&thread, kGop);
    QCOMPARE(thread.calls(), QStringList({QStringLiteral("name(0)"), QStringLiteral("rename(0)"),
                                          QStringLiteral("name(0)")}));
    QVERIFY(thread.saveTimer.at(kManual).msecsSinceReference() >= firstBegan + 1000);
    for (int i = kGop + 1; i < 2 * kGop; ++i)
        feed(&thread, i);
    thread.closeMP4(kManual);
    QCOMPARE(faultOf(thread.file(kManual, 0), numbers(0, kGop)), QString());
    QCOMPARE(faultOf(thread.file(kManual, 1), numbers(kGop, 2 * kGop - 1)), QString());
}

/// Also one without a limit.
void TestFFmpegVideoThreadSave::fileThatHasGone_isReplaced_onceItIsSomeSecondsOld()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    thread.recordStart(kManual);
    feed(&thread, 0);
    QVERIFY(QFile::remove(thread.file(kManual, 0)));
    feed(&thread, kGop);
    QVERIFY(waitFor([&] { return thread.saver.at(kManual)->isFileLost(); }));
    const bool isOver = thread.isFileExpired(kManual);
    QVERIFY(!isOver || thread.saveTimer.at(kManual).hasExpired(5000));
    QVERIFY(waitFor([&] { return thread.isFileExpired(kManual); }));
    QVERIFY(thread.saveTimer.at(kManual).hasExpired(5000));
    for (int i = 0; i < kGop; ++i)
        feed(&thread, i);
    QCOMPARE(thread.calls(), QStringList({QStringLiteral("name(0)"), QStringLiteral("rename(0)"),
                                          QStringLiteral("name(0)")}));
    QVERIFY(!thread.isFileExpired(kManual));
    thread.closeMP4(kManual);
    QVERIFY(!QFile::exists(thread.file(kManual, 0)));
    QCOMPARE(faultOf(thread.file(kManual, 1), numbers(0, kGop - 1)), QString());
}

void TestFFmpegVideoThreadSave::failedOpen_isTriedAgain_withANewName()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    announceWriterErrors({QStringLiteral("avio open .* err "), QStringLiteral("creat mp4 err$")});
    thread.atName = [&](AbstractVideoThread::RecordType type) {
        if (thread.named[type] <= 2) // a folder stands where the file is to be
            QVERIFY(QDir(dir.path()).mkdir(thread.file(type, thread.named[type] - 1)));
    };
    thread.recordStart(kManual);
    for (int round = 0; round < 2; ++round) {
        feed(&thread, 0);
        QVERIFY(!thread.saver.at(kManual)->isRunning());
        feed(&thread, 1);
        QCOMPARE(thread.named[kManual].load(), round + 1);
    }
    for (int i = 0; i < kGop; ++i)
        feed(&thread, i);
    QVERIFY(thread.saver.at(kManual)->isRunning());
    thread.closeMP4(kManual);
    QCOMPARE(thread.closed[kManual].load(), 1);
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err")), 2);
    QCOMPARE(faultOf(thread.file(kManual, 2), numbers(0, kGop - 1)), QString());
}

void TestFFmpegVideoThreadSave::parameters_areBuiltFromTheStream_data()
{
    QTest::addColumn<int>("videoCodec");
    QTest::addColumn<int>("audioCodec");
    QTest::addColumn<int>("video");
    QTest::addColumn<int>("audio");
    QTest::newRow("H.264, A-law") << 27 << 0x10007 << 1 << 33;
    QTest::newRow("H.265, mu-law") << 173 << 0x10006 << 2 << 34;
    QTest::newRow("H.264, AAC") << 27 << 0x15002 << 1 << 0;
    QTest::newRow("MJPEG") << 7 << 0x10006 << 0 << 34;
}

void TestFFmpegVideoThreadSave::parameters_areBuiltFromTheStream()
{
    QFETCH(int, videoCodec);
    QFETCH(int, audioCodec);
    QFETCH(int, video);
    QFETCH(int, audio);
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    thread.videoCodecId = videoCodec;
    thread.audioCodecId = audioCodec;
    thread.videoWidth = 1920;
    thread.videoHeight = 1080;
    thread.sampleRate = 16000;
    const QString unknown =
        QStringLiteral("(ffvdthr)not support audio codec id %1").arg(audioCodec);
    if (audio == 0)
        log->expect(Logger::Warning, unknown);
    if (video == 0) // a file without any stream
        announceWriterErrors(
            {QStringLiteral("write header err "), QStringLiteral("creat mp4 err$")});
    if (video == 2) // the clip is H.264
        announceWriterErrors({QStringLiteral("write video .* err \\(-1094995529:")});
    thread.recordStart(kManual);
    feed(&thread, 0);
    QCOMPARE(thread.saver.at(kManual)->isRunning(), video != 0);
    const QVector<WriterCalls::Para> told = WriterCalls::paras();
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.at(0).readTimeout, 500);
    QCOMPARE(told.at(0).video.codecId, video);
    QCOMPARE(told.at(0).video.width, 1920);
    QCOMPARE(told.at(0).video.height, 1080);
    QCOMPARE(told.at(0).video.frameRate, 25);
    QCOMPARE(told.at(0).video.mode, 1);
    QCOMPARE(told.at(0).video.bitRate, 3000000);
    QCOMPARE(told.at(0).audio.codecId, audio);
    QCOMPARE(told.at(0).audio.sampleRate, 16000);
    QCOMPARE(told.at(0).audio.bitsPerSample, 0); // no sound is open
    QCOMPARE(told.at(0).audio.channels, 1);
    QVERIFY(thread.curVideoPara == told.at(0).video && thread.curVideoPara.bitRate == 3000000);
    QVERIFY(thread.curAudioPara == told.at(0).audio);
    QCOMPARE(log->count(Logger::Warning, unknown), audio == 0 ? 1 : 0);
}

void TestFFmpegVideoThreadSave::parameters_ofTheDevice_areTaken()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    prepareSound(&thread);
    thread.curVideoPara.codecId = HCodecH264;
    thread.curVideoPara.width = 704;
    thread.curVideoPara.height = 576;
    thread.curVideoPara.frameRate = 12;
    thread.curVideoPara.bitRate = 123;
    thread.recordStart(kManual);
    feed(&thread, 0);
    const QVector<WriterCalls::Para> told = WriterCalls::paras();
    QCOMPARE(told.size(), 1);
    QVERIFY(told.at(0).video == thread.curVideoPara);
    QCOMPARE(told.at(0).video.width, 704);
    QCOMPARE(told.at(0).video.frameRate, 12);
    QCOMPARE(told.at(0).video.bitRate, 123);
    QCOMPARE(told.at(0).video.mode, 0);
    QVERIFY(told.at(0).audio == thread.curAudioPara);
    QCOMPARE(told.at(0).audio.codecId, qint32(HCodecG711A));
}

void TestFFmpegVideoThreadSave::streamThatIsNotThere_isTold_andRecorded()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    thread.recordStart(kManual);
    feed(&thread, 0); // one beyond the last of no streams is not told
    QVERIFY(thread.saver.at(kManual)->isRunning());
    thread.closeMP4(kManual);
    for (const int index : {-1, 1}) {
        const QString text = QStringLiteral("(ffvdthr)invalid param (%1:0)").arg(index);
        log->expect(Logger::Warning, text);
        thread.videoIndex = index;
        const AVPacketPtr packet = packetOf(units(2 * kGop).at(0).data, index, 0);
        thread.saveMP4(packet.get(), true);
        QCOMPARE(log->count(Logger::Warning, text), 1);
        QVERIFY(thread.saver.at(kManual)->isRunning());
        thread.closeMP4(kManual);
        QCOMPARE(faultOf(thread.file(kManual, thread.named[kManual] - 1), {0}), QString());
    }
    QVERIFY(WriterCalls::timebases().isEmpty());
}

void TestFFmpegVideoThreadSave::aacSound_isToldAtEachFile_andLeftOut()
{
    QTemporaryDir dir;
    RecordThread thread(dir.path());
    prepare(&thread);
    thread.audioIndex = kAudioStream;
    thread.audioCodecId = AV_CODEC_ID_AAC;
    const QString text =
        QStringLiteral("(ffvdthr)not support audio codec id %1").arg(int(AV_CODEC_ID_AAC));
    const QString noStream = QStringLiteral("(svmp4ff)find av stream [0:-1] err");
    log->expect(Logger::Warning, text);
    log->expect(Logger::Warning, noStream);
    thread.recordStart(kManual);
    for (int round = 0; round < 3; ++round) {
        feed(&thread, 0);
        QCOMPARE(log->count(Logger::Warning, text), round + 1);
        QCOMPARE(thread.curAudioPara.codecId, 0);
        feedSound(&thread);
        QCOMPARE(log->count(Logger::Warning, noStream), round + 1);
        feed(&thread, 1);
        thread.closeMP4(kManual);
        QCOMPARE(faultOf(thread.file(kManual, round), numbers(0, 1)), QString());
    }
    for (const WriterCalls::Para &para : WriterCalls::paras())
        QCOMPARE(para.audio.codecId, 0);
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadSave)
#include "tst_ffmpegvideothreadsave.moc"
