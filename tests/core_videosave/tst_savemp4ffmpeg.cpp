// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "recordcase.h"
#include "recordedfile.h"
#include "recordingtools.h"

#include "support/tone.h"

#include "core_videosave/mp4file_p.h"

#include <QMetaMethod>
#include <QtTest>

using namespace vantratest;

class TestSaveMp4FFmpeg : public RecordCase
{
    Q_OBJECT

private slots:
    void slots_standInTheirOrder();
    void codecs_areMapped();
    void adtsFrames_areFound();
    void records_data();
    void records();
    void sound_inLongBlocks_isWhole();
    void sound_betweenSlowPictures_isWhole();
    void soundAlone_isRecorded();
    void clockOfTheDevice_isNotInTheFile();
    void soundAlone_takesTheTimeOfPictures_thatAreNotRecorded();
    void soundWithoutProgress_failsThatFrameOnly();
    void join_shortensGaps_data();
    void join_shortensGaps();
    void frame_ofNoKind_isRefused();
    void frame_beyondItsBuffer_isRefused();
    void picture_thatTheMuxerWouldNotEndWith_isRefused_data();
    void picture_thatTheMuxerWouldNotEndWith_isRefused();
    void packets_withoutStream_areRefused();
    void nothing_isIgnored();
    void packet_withoutFirstStamp_isRecorded();
    void repeatedStamp_failsThatPacketOnly();
    void unknownExtension_makesAProgramStream();
    void unknownExtension_bearsNoSound();
    void init_fails_withoutFileName();
    void init_fails_withoutStreams();
    void init_fails_withoutFolder();
    void init_fails_whereTheTranscoderRefuses();
};

void TestSaveMp4FFmpeg::slots_standInTheirOrder()
{
    const QMetaObject &meta = SaveMp4FFmpeg::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        names += QString::fromLatin1(meta.method(i).methodSignature());
    QCOMPARE(names, QStringList({"setPara(HVideoEncPara,HAudioEncPara,int)",
                                 "setPara(HVideoEncPara,HAudioEncPara)", "setTimebase(AVRational)",
                                 "writeData(HFrameHeader*)", "writeData(AVPacket*,bool)",
                                 "setJoin(bool)", "init()", "save()", "close()", "stop()"}));
}

void TestSaveMp4FFmpeg::codecs_areMapped()
{
    QCOMPARE(int(getCodecId(HCodecH264)), 27);
    QCOMPARE(int(getCodecId(HCodecH265)), 173);
    QCOMPARE(int(getCodecId(HCodecG711A)), 0x10007);
    QCOMPARE(int(getCodecId(HCodecG711U)), 0x10006);
    QCOMPARE(int(getCodecId(HCodecPcm)), 0x10000);
    for (const int other : {-1, 0, 3, 32, 36})
        QCOMPARE(int(getCodecId(other)), 0);
}

void TestSaveMp4FFmpeg::adtsFrames_areFound()
{
    quint8 frame[20] = {0xff, 0xf1, 0x60, 0x40, 0x01, 0x7f, 0xfc}; // 11 bytes
    QCOMPARE(adtsFrameSize(frame, 20), 11);
    QCOMPARE(adtsFrameSize(frame, 11), 11);
    QCOMPARE(adtsFrameSize(frame, 10), 10); // longer than what is there
    QCOMPARE(adtsFrameSize(frame, 3), 3);
    frame[4] = 0; // 3 bytes, less than its header
    QCOMPARE(adtsFrameSize(frame, 20), 20);
    frame[0] = 0;
    QCOMPARE(adtsFrameSize(frame, 20), 20);
}

void TestSaveMp4FFmpeg::records_data()
{
    QTest::addColumn<int>("video");
    QTest::addColumn<int>("audio");
    QTest::addColumn<bool>("packets");
    for (const int video : {1, 2}) {
        for (const int audio : {0, 33, 34, 35}) {
            for (const bool packets : {false, true}) {
                QTest::addRow("%s, %s, %s", video == 2 ? "H.265" : "H.264",
                              audio == 0    ? "silent"
                              : audio == 33 ? "A-law"
                              : audio == 34 ? "mu-law"
                                            : "PCM",
                              packets ? "packets" : "frames")
                    << video << audio << packets;
            }
        }
    }
}

void TestSaveMp4FFmpeg::records()
{
    QFETCH(int, video);
    QFETCH(int, audio);
    QFETCH(bool, packets);
    const QVector<qint16> tone =
        makeTone(kPictures * kFrameMs * kSampleRate / 1000, kSampleRate, kHertz);
    const QByteArray sound = audio == 33   ? encodeALaw(tone)
                             : audio == 34 ? encodeMuLaw(tone)
                             : audio == 35 ? pcmBytes(tone)
                                           : QByteArray();
    const int block = audio == 35 ? 2 * kBlockSamples : kBlockSamples;
    constexpr qint64 kStart = 1700000000000;
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(video), audioPara(audio), kHour);
    writer.setTimebase(packets ? AVRational{1, 90000} : AVRational{1, 1000});
    writer.open(path());
    QVERIFY(writer.getOpened());
    Feeder feed(writer);
    int played = 0;
    for (int i = 0; i < kPictures; ++i) {
        const AccessUnit &unit = clip(video).at(i);
        if (packets)
            feed.packet(true, 12345 + i * kFrameMs * 90, unit.data, unit.key);
        else
            feed.picture(unit, kStart + i * kFrameMs);
        for (int j = 0; j < kFrameMs / 20 && played < sound.size(); ++j, played += block) {
            if (packets)
                feed.packet(false, 1, sound.mid(played, block));
            else
                feed.frame(4, kStart + i * kFrameMs + j * 20, sound.mid(played, block));
        }
    }
    writer.stop();

    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QVERIFY(file.format.contains(QLatin1String("mp4")));
    QCOMPARE(file.streams, audio ? 2 : 1);
    QCOMPARE(file.videoCodec, int(getCodecId(video)));
    QCOMPARE(file.pictures.size(), kPictures);
    for (int i = 0; i < kPictures; ++i) {
        QCOMPARE(file.pictures.at(i), i);
        QCOMPARE(file.times.at(i), qint64(i * kFrameMs));
    }
    QVERIFY2(qAbs(file.duration - kPictures * kFrameMs) <= 300,
             qPrintable(QString::number(file.duration)));
    if (!audio)
        return;
    QCOMPARE(file.audioCodec, int(AV_CODEC_ID_AAC));
    QCOMPARE(file.sampleRate, kSampleRate);
    QVERIFY(file.sound.size() >= kSampleRate); // half a second at the least
    if (audio != 35) // PCM is taken for A-law: there is sound, not this one
        QVERIFY(hasTone(file.sound, kSampleRate, kHertz));
}

void TestSaveMp4FFmpeg::sound_inLongBlocks_isWhole()
{
    constexpr int kSeconds = 4;
    const QByteArray sound = encodeALaw(makeTone(kSeconds * kSampleRate, kSampleRate, kHertz));
    SaveMp4FFmpeg writer;
    writer.setPara(HVideoEncPara(), audioPara(HCodecG711A), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int at = 0; at < sound.size(); at += kSampleRate)
        feed.frame(4, at / 8, sound.mid(at, kSampleRate)); // more than the transcoder takes at once
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QVERIFY(file.sound.size() >= 3 * kSampleRate * 2);
    QVERIFY(hasTone(file.sound, kSampleRate, kHertz));
}

void TestSaveMp4FFmpeg::sound_betweenSlowPictures_isWhole()
{
    constexpr int kSlowMs = 1000; // several frames of AAC bear the time of one picture
    const QByteArray sound =
        encodeALaw(makeTone(kPictures * kSlowMs * kSampleRate / 1000, kSampleRate, kHertz));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    writer.setTimebase({1, 90000});
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0, at = 0; i < kPictures; ++i) {
        feed.packet(true, i * kSlowMs * 90, clip(1).at(i).data, clip(1).at(i).key);
        for (; at < (i + 1) * kSampleRate; at += kBlockSamples)
            feed.packet(false, 0, sound.mid(at, kBlockSamples));
    }
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QVERIFY(file.sound.size() / 2 >= (kPictures - 1) * kSampleRate);
    QVERIFY2(qAbs(file.duration - kPictures * kSlowMs) <= kSlowMs,
             qPrintable(QString::number(file.duration)));
}

void TestSaveMp4FFmpeg::soundAlone_isRecorded()
{
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)find av stream (-1:0) err"));
    SaveMp4FFmpeg writer;
    HVideoEncPara noWidth = videoPara();
    noWidth.width = 0;
    writer.setPara(noWidth, audioPara(HCodecG711U), kHour);
    writer.setJoin(true);
    writer.open(path());
    Feeder feed(writer);
    const QByteArray sound = encodeMuLaw(makeTone(2 * kSampleRate, kSampleRate, kHertz));
    for (int at = 0; at < sound.size(); at += kBlockSamples)
        feed.frame(4, at / 8, sound.mid(at, kBlockSamples));
    feed.picture(clip(1).first(), 0);
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.streams, 1);
    QCOMPARE(file.videoCodec, 0);
    QVERIFY(hasTone(file.sound, kSampleRate, kHertz));
}

void TestSaveMp4FFmpeg::clockOfTheDevice_isNotInTheFile()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kPictures; ++i) {
        feed.picture(clip(1).at(i), 1700000000000 + i * kFrameMs);
        feed.frame(4, 1700000000000 + i * kFrameMs, QByteArray(2 * kBlockSamples, '\xd5'));
    }
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.start, qint64(0));
    QCOMPARE(file.pictures.size(), kPictures);
}

void TestSaveMp4FFmpeg::soundAlone_takesTheTimeOfPictures_thatAreNotRecorded()
{
    log->expect(Logger::Warning, QStringLiteral("(svmp4ff)find av stream [-1:0] err"));
    SaveMp4FFmpeg writer;
    writer.setPara(HVideoEncPara(), audioPara(HCodecG711A), kHour);
    writer.setTimebase({1, 90000});
    writer.open(path());
    Feeder feed(writer);
    const QByteArray sound = encodeALaw(makeTone(2 * kSampleRate, kSampleRate, kHertz));
    constexpr int kBlock = kSampleRate * kFrameMs / 1000;
    for (int i = 0; i < kPictures; ++i) {
        feed.packet(true, 12345 + i * kFrameMs * 90, clip(1).at(i).data, clip(1).at(i).key);
        feed.packet(false, 1, sound.mid(i * kBlock, kBlock));
    }
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.streams, 1);
    QVERIFY(hasTone(file.sound, kSampleRate, kHertz));
}

void TestSaveMp4FFmpeg::soundWithoutProgress_failsThatFrameOnly()
{
    log->expect(
        Logger::Error,
        QStringLiteral("(svmp4ff)write audio （320:%1)  err (-22:Invalid argument)").arg(path()));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < 2; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    for (int i = 0; i < kPictures; ++i) // a second of sound, and the clock stands
        feed.frame(4, kFrameMs, QByteArray(kBlockSamples, '\xd5'));
    for (int i = 2; i < kPictures; ++i) {
        feed.picture(clip(1).at(i), i * kFrameMs);
        feed.frame(4, i * kFrameMs, QByteArray(2 * kBlockSamples, '\xd5'));
    }
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures.size(), kPictures);
    QVERIFY(file.sound.size() >= kSampleRate);
}

void TestSaveMp4FFmpeg::join_shortensGaps_data()
{
    QTest::addColumn<bool>("join");
    QTest::addColumn<QVector<qint64>>("times");
    QTest::newRow("on") << true << QVector<qint64>{0, 40, 540, 580};
    QTest::newRow("off") << false << QVector<qint64>{0, 40, 60040, 60080};
}

void TestSaveMp4FFmpeg::join_shortensGaps()
{
    QFETCH(bool, join);
    QFETCH(QVector<qint64>, times);
    log->expect(Logger::Warning, QStringLiteral("(svmp4ff)%1 pts (61040:1040)").arg(path()));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.setTimebase({1, 1000});
    writer.setJoin(join);
    writer.open(path());
    Feeder feed(writer);
    const qint64 stamps[] = {1000, 1040, 61040, 61080};
    for (int i = 0; i < 4; ++i)
        feed.picture(clip(1).at(i), stamps[i]);
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.times, times);
}

void TestSaveMp4FFmpeg::frame_ofNoKind_isRefused()
{
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)find av stream (0:-1) err"));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    feed.picture(clip(1).at(0), 0);
    feed.frame(5, 40, clip(1).at(1).data);
    feed.frame(4, 40, clip(1).at(1).data); // sound, of which there is none
    feed.picture(clip(1).at(1), 40);
    writer.stop();
    QCOMPARE(log->lines().size(), 2);
    QCOMPARE(readRecording(path()).times, (QVector<qint64>{0, 40}));
}

void TestSaveMp4FFmpeg::frame_beyondItsBuffer_isRefused()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    feed.picture(clip(1).at(0), 0);
    for (const quint32 size : {kHFrameMaxPayload + 1, 0x7fffffffu, 0xffffffffu}) {
        Frame frame(1, 40, QByteArray());
        frame.header()->frameSize = size;
        QTest::ignoreMessage(QtCriticalMsg, "");
        writer.writeData(frame.header());
    }
    feed.picture(clip(1).at(1), 40);
    writer.stop();
    QCOMPARE(readRecording(path()).times, (QVector<qint64>{0, 40}));
}

void TestSaveMp4FFmpeg::picture_thatTheMuxerWouldNotEndWith_isRefused_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("picture");
    QTest::newRow("sets that it counts in for hours")
        << int(HCodecH265) << "a.mp4" << endlessSets() + clip(2).at(0).data;
    QTest::newRow("nothing") << int(HCodecH264) << "a.unknown" << QByteArray();
}

void TestSaveMp4FFmpeg::picture_thatTheMuxerWouldNotEndWith_isRefused()
{
    QFETCH(int, codec);
    QFETCH(QString, name);
    QFETCH(QByteArray, picture);
    if (!name.endsWith(QLatin1String(".mp4")))
        log->expectMatching(Logger::Warning, QRegularExpression("using MPEG\\.$"));
    const QRegularExpression refused(
        QStringLiteral("^\\(svmp4ff\\)write video （.*\\)  err \\(%1:").arg(AVERROR_INVALIDDATA));
    log->expectMatching(Logger::Error, refused);
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(codec), HAudioEncPara(), kHour);
    writer.open(path(name));
    Feeder feed(writer);
    feed.frame(0, 0, picture);
    for (int i = 0; i < 3; ++i)
        feed.picture(clip(codec).at(i), 40 * i);
    writer.stop();
    QCOMPARE(log->countMatching(Logger::Error, refused), 1);
    const RecordedFile file = readRecording(path(name));
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures.size(), 3);
}

void TestSaveMp4FFmpeg::packets_withoutStream_areRefused()
{
    log->expect(Logger::Warning, QStringLiteral("(svmp4ff)find av stream [-1:-1] err"));
    log->expect(Logger::Warning, QStringLiteral("(svmp4ff)find av stream [0:-1] err"));
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)find av stream (-1:-1) err"));
    SaveMp4FFmpeg writer;
    Feeder feed(writer);
    feed.packet(true, 0, "x");
    feed.picture(clip(1).at(0), 0);
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    feed.packet(false, 0, "x");
    writer.stop();
    feed.packet(true, 0, "x");
    QCOMPARE(log->count(Logger::Warning, QStringLiteral("(svmp4ff)find av stream [-1:-1] err")), 2);
}

void TestSaveMp4FFmpeg::nothing_isIgnored()
{
    SaveMp4FFmpeg writer;
    writer.writeData(static_cast<HFrameHeader *>(nullptr));
    writer.writeData(nullptr, true);
    QVERIFY(log->lines().isEmpty());
}

void TestSaveMp4FFmpeg::packet_withoutFirstStamp_isRecorded()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.setTimebase({1, 90000});
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < 10; ++i)
        feed.packet(true, i == 0 ? AV_NOPTS_VALUE : i * 3600, clip(1).at(i).data,
                    clip(1).at(i).key);
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.pictures.size(), 10);
    QCOMPARE(file.times.last(), qint64(320));
}

void TestSaveMp4FFmpeg::repeatedStamp_failsThatPacketOnly()
{
    log->expect(
        Logger::Error,
        QStringLiteral("(svmp4ff)write video （3600:%1)  err (-22:Invalid argument)").arg(path()));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.setTimebase({1, 90000});
    writer.open(path());
    Feeder feed(writer);
    const qint64 stamps[] = {0, 3600, 3600, 7200};
    for (int i = 0; i < 4; ++i)
        feed.packet(true, stamps[i], clip(1).at(i).data, clip(1).at(i).key);
    writer.stop();
    QCOMPARE(readRecording(path()).times, (QVector<qint64>{0, 40, 80}));
}

void TestSaveMp4FFmpeg::unknownExtension_makesAProgramStream()
{
    log->expect(Logger::Warning,
                QStringLiteral("(svmp4ff)Could not deduce output format from file extension: "
                               "using MPEG."));
    const QString name = path(QStringLiteral("a.nosuchformat"));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(name);
    Feeder feed(writer);
    for (int i = 0; i < kPictures; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    writer.stop();
    const RecordedFile file = readRecording(name);
    QCOMPARE(file.format, QStringLiteral("mpeg"));
    QCOMPARE(file.videoCodec, 27);
    QVERIFY(file.pictures.size() >= kPictures - 1);
}

void TestSaveMp4FFmpeg::unknownExtension_bearsNoSound()
{
    // A program stream has no place for AAC.
    log->expect(Logger::Warning,
                QStringLiteral("(svmp4ff)Could not deduce output format from file extension: "
                               "using MPEG."));
    log->expectMatching(Logger::Error,
                        QRegularExpression("^\\(svmp4ff\\)write header err \\(-\\d+:.+\\)$"));
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err"));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    writer.open(path(QStringLiteral("a.nosuchformat")));
    QVERIFY(!writer.getOpened());
    writer.open(path());
    QVERIFY(writer.getOpened());
}

void TestSaveMp4FFmpeg::init_fails_withoutFileName()
{
    QTest::ignoreMessage(QtCriticalMsg, "");
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara());
    writer.open(QString());
    QVERIFY(!writer.getOpened());
    QVERIFY(log->lines().isEmpty());
}

void TestSaveMp4FFmpeg::init_fails_withoutStreams()
{
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)write header err (-22:Invalid argument)"));
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err"));
    SaveMp4FFmpeg writer;
    writer.open(path());
    QVERIFY(!writer.getOpened());
    writer.stop();
}

void TestSaveMp4FFmpeg::init_fails_withoutFolder()
{
    const QString name = path(QStringLiteral("none/50%1.mp4"));
    log->expect(Logger::Error,
                QStringLiteral("(svmp4ff)avio open ") + name + QStringLiteral(" err -2"));
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err"));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A));
    writer.open(name);
    QVERIFY(!writer.getOpened());
}

void TestSaveMp4FFmpeg::init_fails_whereTheTranscoderRefuses()
{
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat easy aac null"));
    SaveMp4FFmpeg writer;
    HAudioEncPara audio = audioPara(HCodecG711A);
    audio.channels = 256; // cut to one byte
    writer.setPara(videoPara(), audio);
    writer.open(path());
    QVERIFY(!writer.getOpened());
    QVERIFY(QFile::exists(path())); // the file stays, be it without a recording
}

int main(int argc, char *argv[])
{
    av_log_set_level(AV_LOG_QUIET);
    QCoreApplication app(argc, argv);
    TestSaveMp4FFmpeg test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_savemp4ffmpeg.moc"
