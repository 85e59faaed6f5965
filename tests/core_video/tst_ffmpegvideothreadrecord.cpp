// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Recordings by the URL thread, from scripted sources.

#include "recordtestcase.h"
#include "support/filecontent.h"
#include "support/streammaker.h"
#include "support/tcpsource.h"
#include "threadwatcher.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestFFmpegVideoThreadRecord : public RecordTestCase
{
    Q_OBJECT

private slots:
    void callsOfAnOpening_comeInOrder();
    void parameters_areThoseOfTheSource_data();
    void parameters_areThoseOfTheSource();
    void aacSource_isRecordedWithoutItsSound();
    void recording_withoutViewer_decodesNothing_untilOneComes();
    void endOfThread_closesAndRenames_beforeTheSession();
    void codecChangeOfTheDevice_closesTheFiles_andRestarts();
    void deletedWhileRecording_leavesAWholeFile();
    void parameterSets_thatAreToldOnce_areInEveryFile_data();
    void parameterSets_thatAreToldOnce_areInEveryFile();
};

void TestFFmpegVideoThreadRecord::callsOfAnOpening_comeInOrder()
{
    QTemporaryDir dir;
    TcpSource source(clip(50));
    RecordThread thread(dir.path(), source.url());
    slowDown(&thread);
    announceNoAudio();
    WriterCalls::atCall = [&](const char *name) { thread.note(QLatin1String(name)); };
    thread.recordStart(kManual);
    thread.recordStart(kAuto);
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    const QStringList opening = {QStringLiteral("setPara"), QStringLiteral("setTimebase")};
    QCOMPARE(thread.calls(), opening + QStringList(QStringLiteral("name(0)")) + opening +
                                 QStringList(QStringLiteral("name(1)")));
    end(&thread);
    for (const auto type : {kManual, kAuto}) {
        QCOMPARE(faultOf(thread.file(type, 0), numbers(0, 49)), QString());
        const QVector<qint64> times = readRecording(thread.file(type, 0)).times;
        for (int i = 0; i < times.size(); ++i)
            QCOMPARE(times.at(i), qint64(i * kFrameMs)); // by the time base of the source
    }
}

void TestFFmpegVideoThreadRecord::parameters_areThoseOfTheSource_data()
{
    QTest::addColumn<int>("audioCodec");
    QTest::addColumn<int>("audio");
    QTest::newRow("A-law") << int(AV_CODEC_ID_PCM_ALAW) << 33;
    QTest::newRow("mu-law") << int(AV_CODEC_ID_PCM_MULAW) << 34;
}

void TestFFmpegVideoThreadRecord::parameters_areThoseOfTheSource()
{
    QFETCH(int, audioCodec);
    QFETCH(int, audio);
    QTemporaryDir dir;
    StreamOptions options;
    options.audioCodec = audioCodec;
    const auto tone = makeTone(50 * 8000 / 25, 8000, 440);
    options.audio = audio == 33 ? encodeALaw(tone) : encodeMuLaw(tone);
    TcpSource source(makeStream(units(50), options));
    RecordThread thread(dir.path(), source.url());
    slowDown(&thread);
    thread.recordStart(kManual);
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 150; })); // 50 pictures, 100 blocks of sound
    end(&thread);
    const QVector<WriterCalls::Para> told = WriterCalls::paras();
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.at(0).video.codecId, qint32(HCodecH264));
    QCOMPARE(told.at(0).video.width, 320);
    QCOMPARE(told.at(0).video.height, 240);
    QCOMPARE(told.at(0).video.frameRate, 25);
    QCOMPARE(told.at(0).video.bitRate, 400000);
    QCOMPARE(told.at(0).audio.codecId, audio);
    QCOMPARE(told.at(0).audio.sampleRate, 8000);
    QCOMPARE(told.at(0).audio.bitsPerSample, 16);
    QCOMPARE(told.at(0).audio.channels, 1);
    const RecordedFile file = readRecording(thread.file(kManual, 0));
    QCOMPARE(file.error, QString());
    QCOMPARE(file.audioCodec, int(AV_CODEC_ID_AAC));
}

void TestFFmpegVideoThreadRecord::aacSource_isRecordedWithoutItsSound()
{
    QTemporaryDir dir;
    const QString made = dir.filePath(QStringLiteral("source.nut"));
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 QStringLiteral("-nostdin -v error -f lavfi -i testsrc=s=320x240:r=25 -f lavfi -i "
                                "sine=440:sample_rate=44100 -t 4 -c:v libx264 -preset ultrafast "
                                "-tune zerolatency -g 25 -bsf:v dump_extra -c:a aac")
                         .split(QLatin1Char(' '))
                     << made);
    QVERIFY(ffmpeg.waitForFinished(60000));
    QVERIFY2(ffmpeg.exitCode() == 0, ffmpeg.readAllStandardError().constData());
    TcpSource source(contentOf(made));
    source.setClosing(true);
    RecordThread thread(dir.path(), source.url());
    slowDown(&thread);
    announceReadErrors();
    const QString text =
        QStringLiteral("(ffvdthr)not support audio codec id %1").arg(int(AV_CODEC_ID_AAC));
    log->expect(Logger::Warning, text);
    log->expect(Logger::Warning, QStringLiteral("(svmp4ff)find av stream [0:-1] err"));
    thread.recordStart(kManual);
    thread.play();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCOMPARE(log->count(Logger::Warning, text), 1);
    const QVector<WriterCalls::Para> told = WriterCalls::paras();
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.at(0).audio.codecId, 0);
    QCOMPARE(told.at(0).audio.sampleRate, 44100);
    QCOMPARE(told.at(0).audio.bitsPerSample, 32); // decoded as floats
    QCOMPARE(complaintsAbout(thread.file(kManual, 0)), QString());
    const RecordedFile file = readRecording(thread.file(kManual, 0));
    QCOMPARE(file.error, QString());
    QCOMPARE(file.streams, 1);
    QCOMPARE(file.pictures.size(), 100);
}

void TestFFmpegVideoThreadRecord::recording_withoutViewer_decodesNothing_untilOneComes()
{
    QTemporaryDir dir;
    QVector<int> offsets;
    const QByteArray bytes = clipWithSound(100, &offsets);
    TcpSource source(bytes);
    source.setLimit(offsets.at(60));
    RecordThread thread(dir.path(), source.url());
    slowDown(&thread);
    thread.setVideoMode(VideoMode_Opengl);
    ThreadWatcher watcher(&thread);
    thread.recordStart(kManual);
    thread.play();
    QVERIFY(waitFor([&] { return thread.keyPackets == 3; })); // the next one is picture 75
    QCOMPARE(WriterCalls::decoderCalls.load(), 0);
    QVERIFY(watcher.pictures.isEmpty() && watcher.sound.isEmpty());
    QCOMPARE(thread.referenceCount(), 1);

    watcher.events.clear();
    thread.previewRef() = 1;
    source.release();
    QVERIFY(waitFor([&] { return watcher.pictures.size() == 25; }));
    QCOMPARE(watcher.pictures.first().number, 75);
    QCOMPARE(watcher.first(3), QStringLiteral("codecRender:H264:320x240 renderStart frame"));
    QVERIFY(WriterCalls::decoderCalls > 0);

    end(&thread);
    QCOMPARE(faultOf(thread.file(kManual, 0), numbers(0, 99), true), QString());
}

void TestFFmpegVideoThreadRecord::endOfThread_closesAndRenames_beforeTheSession()
{
    QTemporaryDir dir;
    TcpSource source(clip(50));
    source.setClosing(true);
    RecordThread thread(dir.path(), source.url());
    slowDown(&thread);
    announceNoAudio();
    announceReadErrors();
    connect(
        &thread, &AbstractVideoThread::receivePlayFinsh, &thread,
        [&] { thread.note(QStringLiteral("playFinsh")); }, Qt::DirectConnection);
    thread.recordStart(kManual);
    thread.recordStart(kAuto);
    thread.play();
    QVERIFY(waitFor([&] { return thread.isFinished(); })); // at the end of the source
    QCOMPARE(thread.calls(), QStringList({QStringLiteral("name(0)"), QStringLiteral("name(1)"),
                                          QStringLiteral("rename(0)"), QStringLiteral("rename(1)"),
                                          QStringLiteral("playFinsh")}));
    QVERIFY(thread.isRecording(kManual) && thread.isRecording(kAuto)); // still wanted
    for (const auto type : {kManual, kAuto}) {
        QVERIFY(!thread.saver.at(type)->isRunning());
        QCOMPARE(faultOf(thread.file(type, 0), numbers(0, 49)), QString());
    }
}

void TestFFmpegVideoThreadRecord::codecChangeOfTheDevice_closesTheFiles_andRestarts()
{
    QTemporaryDir dir;
    QVector<int> offsets;
    const QByteArray bytes = clip(50, &offsets);
    TcpSource source(bytes);
    source.setLimit(offsets.at(45));
    RecordThread thread(dir.path(), source.url());
    slowDown(&thread);
    announceNoAudio();
    HVideoEncPara first;
    first.codecId = HCodecH264;
    first.width = 320;
    first.height = 240;
    thread.setDeviceCodec(first, HAudioEncPara());
    thread.recordStart(kManual);
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets >= 40; }));
    QCOMPARE(thread.closed[kManual].load(), 0);
    HVideoEncPara second = first;
    second.width = 640;
    second.height = 480;
    thread.setDeviceCodec(second, HAudioEncPara());
    QCOMPARE(thread.getReadTimeout(), 0);
    source.release();
    const QString restart = QStringLiteral("(ffvdthr)restart ff thr");
    QVERIFY(waitFor([&] { return log->count(Logger::Info, restart) == 1; }));
    QCOMPARE(thread.closed[kManual].load(), 1);
    QVERIFY(waitFor([&] { return thread.named[kManual] == 2; }));
    QVERIFY(waitFor([&] { return thread.packets >= 80; }));
    end(&thread);
    const QVector<WriterCalls::Para> told = WriterCalls::paras();
    QCOMPARE(told.size(), 2);
    QCOMPARE(told.at(0).video.width, 320);
    QCOMPARE(told.at(1).video.width, 640);
    const RecordedFile file = readRecording(thread.file(kManual, 0));
    QCOMPARE(file.error, QString());
    QVERIFY(file.pictures.size() >= 40);
    QCOMPARE(file.pictures, numbers(0, file.pictures.size() - 1));
    QCOMPARE(readRecording(thread.file(kManual, 1)).pictures.value(0, -1), 0);
}

void TestFFmpegVideoThreadRecord::deletedWhileRecording_leavesAWholeFile()
{
    QTemporaryDir dir;
    TcpSource source(clip(50));
    auto thread = std::make_unique<RecordThread>(dir.path(), source.url());
    slowDown(thread.get());
    announceNoAudio();
    thread->recordStart(kManual);
    thread->recordStart(kAuto);
    thread->play();
    QVERIFY(waitFor([&] { return thread->packets == 50; }));
    const QString manual = thread->file(kManual, 0);
    const QString automatic = thread->file(kAuto, 0);
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
    announceReadErrors();
    thread.reset();
    QCOMPARE(faultOf(manual, numbers(0, 49)), QString());
    QCOMPARE(faultOf(automatic, numbers(0, 49)), QString());
}

void TestFFmpegVideoThreadRecord::parameterSets_thatAreToldOnce_areInEveryFile_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << 1;
    QTest::newRow("H.265") << 2;
}

void TestFFmpegVideoThreadRecord::parameterSets_thatAreToldOnce_areInEveryFile()
{
    QFETCH(int, codec);
    ClipOptions clipOptions;
    clipOptions.codec = codec;
    clipOptions.count = 75;
    QVector<AccessUnit> pictures = makeClip(clipOptions);
    QCOMPARE(pictures.size(), 75);
    const QVector<AccessUnit> bare = withoutParameterSets(pictures, codec);
    for (int i = 1; i < pictures.size(); ++i)
        pictures[i] = bare.at(i);
    StreamOptions options;
    options.videoCodec = codec == 2 ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264;
    QTemporaryDir dir;
    TcpSource source(makeStream(pictures, options));
    source.setClosing(true);
    RecordThread thread(dir.path(), source.url());
    announceNoAudio();
    announceReadErrors();
    // Of the second and of the third group of pictures.
    thread.beforeSave = [&](bool isKeyVideo) {
        for (SaveMp4FFmpeg *writer : qAsConst(thread.saver))
            while (!writer->isQueueEmpty())
                QThread::msleep(1);
        if (isKeyVideo && thread.keyPackets == 1)
            thread.recordStart(kManual);
        if (isKeyVideo && thread.keyPackets == 2)
            thread.recordStart(kAuto);
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCOMPARE(faultOf(thread.file(kManual, 0), numbers(25, 74)), QString());
    QCOMPARE(faultOf(thread.file(kAuto, 0), numbers(50, 74)), QString());
    // The sets are in front of the first picture of each file, and of no other.
    for (const auto type : {kManual, kAuto}) {
        int number = type == kManual ? 25 : 50;
        for (const WriterCalls::Packet &packet : WriterCalls::packets()) {
            if (packet.writer != thread.saver.at(type))
                continue;
            const bool first = number == 25 * (type + 1);
            QVERIFY2((packet.size > bare.at(number).data.size()) == first,
                     qPrintable(QStringLiteral("%1: %2 bytes").arg(number).arg(packet.size)));
            ++number;
        }
        QCOMPARE(number, 75);
    }
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadRecord)
#include "tst_ffmpegvideothreadrecord.moc"
