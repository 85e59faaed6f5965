// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "recordedfile.h"

#include "support/clipmaker.h"
#include "support/logcapture.h"
#include "support/processload.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/mp4file_p.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/hframeheader.h"

#include <QMetaMethod>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

using namespace vantratest;

namespace {

constexpr int kPictures = 50;
constexpr int kGop = 10;
constexpr int kFrameMs = 40;
constexpr int kSampleRate = 8000;
constexpr int kBlockSamples = 160; ///< 20 ms
constexpr double kHertz = 440;
constexpr int kHour = 3600 * 1000;

const QString kFull = QStringLiteral("(svmp4ff)queue is full");
const QString kTimeout = QStringLiteral("(svmp4ff)wait data timeout");

const QVector<AccessUnit> &clip(int codec)
{
    static const auto make = [](int codec) {
        ClipOptions options;
        options.codec = codec;
        options.count = kPictures;
        options.gop = kGop;
        return makeClip(options);
    };
    static const QVector<AccessUnit> h264 = make(1);
    static const QVector<AccessUnit> h265 = make(2);
    return codec == 2 ? h265 : h264;
}

HVideoEncPara videoPara(int codec = HCodecH264)
{
    HVideoEncPara para;
    para.codecId = codec;
    para.width = 320;
    para.height = 240;
    return para;
}

HAudioEncPara audioPara(int codec)
{
    HAudioEncPara para;
    para.codecId = codec;
    para.sampleRate = kSampleRate;
    para.bitsPerSample = 16;
    return para;
}

/// A device frame in a buffer of the size that readers lend.
class Frame
{
public:
    Frame(quint32 type, qint64 pts, const QByteArray &payload) : buffer(kHFrameBufferSize, '\0')
    {
        header()->frameType = type;
        header()->frameSize = quint32(payload.size());
        header()->pts = pts;
        memcpy(buffer.data() + kHFramePayloadOffset, payload.constData(), size_t(payload.size()));
    }
    HFrameHeader *header() { return reinterpret_cast<HFrameHeader *>(buffer.data()); }

private:
    QByteArray buffer;
};

/// Feeds a writer no faster than it writes.
class Feeder
{
public:
    explicit Feeder(SaveMp4FFmpeg &writer) : writer(writer) {}

    void frame(quint32 type, qint64 pts, const QByteArray &payload)
    {
        settle();
        writer.writeData(Frame(type, pts, payload).header());
    }
    void picture(const AccessUnit &unit, qint64 pts) { frame(unit.key ? 0 : 1, pts, unit.data); }
    void packet(bool video, qint64 pts, const QByteArray &payload, bool key = false)
    {
        settle();
        const AVPacketPtr packet(av_packet_alloc());
        QVERIFY(av_new_packet(packet.get(), payload.size()) == 0);
        memcpy(packet->data, payload.constData(), size_t(payload.size()));
        packet->pts = pts;
        packet->dts = pts;
        packet->stream_index = 7; // the demuxer's own numbers do not matter
        packet->flags = key ? AV_PKT_FLAG_KEY : 0;
        writer.writeData(packet.get(), video);
        QCOMPARE(packet->pts, pts); // stays the caller's
        QCOMPARE(packet->stream_index, 7);
    }
    void settle()
    {
        QVERIFY(waitFor([&] { return writer.isQueueEmpty(); }));
    }

private:
    SaveMp4FFmpeg &writer;
};

} // namespace

class TestSaveMp4FFmpeg : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_log = std::make_unique<LogCapture>();
    }
    void cleanup()
    {
        QCOMPARE(m_log->unexpected(), QStringList());
        QCOMPARE(m_log->missing(), QStringList());
        m_log.reset();
    }

    void slots_standInTheirOrder();
    void codecs_areMapped();
    void adtsFrames_areFound();
    void records_data();
    void records();
    void sound_inLongBlocks_isWhole();
    void soundAlone_isRecorded();
    void join_shortensGaps_data();
    void join_shortensGaps();
    void frame_ofNoKind_isRefused();
    void frame_beyondItsBuffer_isRefused();
    void packets_withoutStream_areRefused();
    void nothing_isIgnored();
    void packet_withoutFirstStamp_isRecorded();
    void repeatedStamp_failsThatPacketOnly();
    void unknownExtension_makesAProgramStream();
    void init_fails_withoutFileName();
    void init_fails_withoutStreams();
    void init_fails_withoutFolder();
    void init_fails_whereTheTranscoderRefuses();
    void open_worksAgain_afterStopAndFailure();
    void timeout_isTold_after500ByDefault();
    void fullQueue_dropsAndNeverWaits();
    void fullDisk_endsNoRecording();
    void finishedFragments_areInTheFile_beforeTheEnd();
    void announcedSound_thatNeverComes_isNotWaitedForWithoutEnd();
    void stop_returnsAtOnce_whenNotOpened();
    void stop_twice();
    void stop_wakesTheWriter_andWritesWhatWaits();
    void destruction_completesTheFile();
    void rounds_leaveNothingBehind();

private:
    QString path(const QString &name = QStringLiteral("a.mp4")) const
    {
        return m_dir->filePath(name);
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LogCapture> m_log;
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

void TestSaveMp4FFmpeg::soundAlone_isRecorded()
{
    m_log->expect(Logger::Error, QStringLiteral("(svmp4ff)find av stream (-1:0) err"));
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
    m_log->expect(Logger::Warning, QStringLiteral("(svmp4ff)%1 pts (61040:1040)").arg(path()));
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
    m_log->expect(Logger::Error, QStringLiteral("(svmp4ff)find av stream (0:-1) err"));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    feed.picture(clip(1).at(0), 0);
    feed.frame(5, 40, clip(1).at(1).data);
    feed.frame(4, 40, clip(1).at(1).data); // sound, of which there is none
    feed.picture(clip(1).at(1), 40);
    writer.stop();
    QCOMPARE(m_log->lines().size(), 2);
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

void TestSaveMp4FFmpeg::packets_withoutStream_areRefused()
{
    m_log->expect(Logger::Warning, QStringLiteral("(svmp4ff)find av stream [-1:-1] err"));
    m_log->expect(Logger::Warning, QStringLiteral("(svmp4ff)find av stream [0:-1] err"));
    m_log->expect(Logger::Error, QStringLiteral("(svmp4ff)find av stream (-1:-1) err"));
    SaveMp4FFmpeg writer;
    Feeder feed(writer);
    feed.packet(true, 0, "x");
    feed.picture(clip(1).at(0), 0);
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    feed.packet(false, 0, "x");
    writer.stop();
    feed.packet(true, 0, "x");
    QCOMPARE(m_log->count(Logger::Warning, QStringLiteral("(svmp4ff)find av stream [-1:-1] err")),
             2);
}

void TestSaveMp4FFmpeg::nothing_isIgnored()
{
    SaveMp4FFmpeg writer;
    writer.writeData(static_cast<HFrameHeader *>(nullptr));
    writer.writeData(nullptr, true);
    QVERIFY(m_log->lines().isEmpty());
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
    m_log->expect(
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
    m_log->expect(Logger::Warning,
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

void TestSaveMp4FFmpeg::init_fails_withoutFileName()
{
    QTest::ignoreMessage(QtCriticalMsg, "");
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara());
    writer.open(QString());
    QVERIFY(!writer.getOpened());
    QVERIFY(m_log->lines().isEmpty());
}

void TestSaveMp4FFmpeg::init_fails_withoutStreams()
{
    m_log->expect(Logger::Error,
                  QStringLiteral("(svmp4ff)write header err (-22:Invalid argument)"));
    m_log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err"));
    SaveMp4FFmpeg writer;
    writer.open(path());
    QVERIFY(!writer.getOpened());
    writer.stop();
}

void TestSaveMp4FFmpeg::init_fails_withoutFolder()
{
    const QString name = path(QStringLiteral("none/50%1.mp4"));
    m_log->expect(Logger::Error,
                  QStringLiteral("(svmp4ff)avio open ") + name + QStringLiteral(" err -2"));
    m_log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err"));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A));
    writer.open(name);
    QVERIFY(!writer.getOpened());
}

void TestSaveMp4FFmpeg::init_fails_whereTheTranscoderRefuses()
{
    m_log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat easy aac null"));
    SaveMp4FFmpeg writer;
    HAudioEncPara audio = audioPara(HCodecG711A);
    audio.channels = 256; // cut to one byte
    writer.setPara(videoPara(), audio);
    writer.open(path());
    QVERIFY(!writer.getOpened());
    QVERIFY(QFile::exists(path())); // the file stays, be it without a recording
}

void TestSaveMp4FFmpeg::open_worksAgain_afterStopAndFailure()
{
    m_log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat easy aac null"));
    SaveMp4FFmpeg writer;
    Feeder feed(writer);
    for (int round = 0; round < 3; ++round) {
        HAudioEncPara refused = audioPara(HCodecG711A);
        refused.channels = 256;
        writer.setPara(videoPara(), refused, kHour);
        writer.open(path());
        QVERIFY(!writer.getOpened());
        writer.setPara(videoPara(2), HAudioEncPara(), kHour);
        writer.open(path());
        for (int i = 0; i < kPictures; ++i)
            feed.picture(clip(2).at(i), i * kFrameMs);
        writer.stop();
        const RecordedFile file = readRecording(path());
        QCOMPARE(file.error, QString());
        QCOMPARE(file.pictures.size(), kPictures);
    }
}

void TestSaveMp4FFmpeg::timeout_isTold_after500ByDefault()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.setPara(videoPara(), HAudioEncPara());
    writer.open(path());
    QVERIFY(waitFor([&] { return m_log->count(Logger::Info, kTimeout) >= 2; }));
    const QVector<LogCapture::Line> lines = m_log->lines();
    writer.stop();
    QCOMPARE(lines.first().category, QStringLiteral("vantra"));
}

void TestSaveMp4FFmpeg::fullQueue_dropsAndNeverWaits()
{
    // A pipe that nobody empties stands for a disk that does not answer.
    const QByteArray pipe = QFile::encodeName(path());
    QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
    const int reader = ::open(pipe.constData(), O_RDWR | O_NONBLOCK);
    QVERIFY(reader >= 0);
    m_log->expect(Logger::Warning, kFull);
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    QVERIFY(writer.getOpened());
    const QByteArray large = clip(1).first().data + QByteArray(300000, '\1');
    for (int i = 0; i < 4; ++i)
        writer.writeData(Frame(0, i * kFrameMs, large).header());
    for (int i = 4; i < 300; ++i)
        writer.writeData(Frame(1, i * kFrameMs, clip(1).at(1).data).header());
    QVERIFY(writer.isQueueFull());
    QVERIFY(m_log->count(Logger::Warning, kFull) > 0);
    // The disk answers again, and stop() comes to an end.
    std::atomic<bool> done{false};
    std::atomic<qint64> bytes{0};
    std::thread drain([&] {
        char buffer[65536];
        while (!done) {
            const ssize_t got = ::read(reader, buffer, sizeof(buffer));
            if (got > 0)
                bytes += got;
            else
                QThread::yieldCurrentThread();
        }
    });
    writer.stop();
    done = true;
    drain.join();
    ::close(reader);
    QVERIFY(writer.isQueueEmpty());
    QVERIFY(bytes > 600000);
}

void TestSaveMp4FFmpeg::fullDisk_endsNoRecording()
{
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), path()));
    m_log->expectMatching(Logger::Error,
                          QRegularExpression(QStringLiteral(
                              "^\\(svmp4ff\\)write video （\\d+:.*\\)  err \\(-28:.*\\)$")));
    m_log->expectMatching(
        Logger::Error,
        QRegularExpression(QStringLiteral("^\\(svmp4ff\\)(write trailer|avio close) err \\(-28:")));
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kPictures; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    QVERIFY(writer.getOpened());
    writer.stop();
}

void TestSaveMp4FFmpeg::finishedFragments_areInTheFile_beforeTheEnd()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i <= 3 * kGop; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    const QString copy = path(QStringLiteral("copy.mp4"));
    RecordedFile file;
    QVERIFY(waitFor([&] {
        QFile::remove(copy);
        QFile::copy(path(), copy);
        file = readRecording(copy);
        return file.error.isEmpty() && file.pictures.size() >= 3 * kGop;
    }));
    QCOMPARE(file.pictures.size(), 3 * kGop);
    writer.stop();
    QCOMPARE(readRecording(path()).pictures.size(), 3 * kGop + 1);
}

void TestSaveMp4FFmpeg::announcedSound_thatNeverComes_isNotWaitedForWithoutEnd()
{
    constexpr int kMany = 800;
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i < kMany; ++i)
        feed.picture(clip(1).at(i % kPictures), i * kFrameMs);
    QVERIFY(waitFor([&] { return QFileInfo(path()).size() > 10000; }));
    writer.stop();
    const RecordedFile file = readRecording(path());
    QCOMPARE(file.times.size(), kMany);
}

void TestSaveMp4FFmpeg::stop_returnsAtOnce_whenNotOpened()
{
    SaveMp4FFmpeg writer;
    writer.stop();
    QVERIFY(!writer.getOpened());
    QVERIFY(m_log->lines().isEmpty());
}

void TestSaveMp4FFmpeg::stop_twice()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    writer.stop();
    const qint64 size = QFileInfo(path()).size();
    writer.stop();
    QVERIFY(!writer.getOpened());
    QCOMPARE(QFileInfo(path()).size(), size);
}

void TestSaveMp4FFmpeg::stop_wakesTheWriter_andWritesWhatWaits()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), -1); // waits without a limit
    writer.open(path());
    for (int i = 0; i < kPictures; ++i)
        writer.writeData(
            Frame(clip(1).at(i).key ? 0 : 1, i * kFrameMs, clip(1).at(i).data).header());
    writer.stop();
    QCOMPARE(readRecording(path()).pictures.size(), kPictures);
    QVERIFY(m_log->lines().isEmpty());
}

void TestSaveMp4FFmpeg::destruction_completesTheFile()
{
    auto writer = std::make_unique<SaveMp4FFmpeg>();
    writer->setPara(videoPara(), HAudioEncPara(), -1);
    writer->open(path());
    for (int i = 0; i < kPictures; ++i)
        writer->writeData(
            Frame(clip(1).at(i).key ? 0 : 1, i * kFrameMs, clip(1).at(i).data).header());
    writer.reset();
    QCOMPARE(readRecording(path()).pictures.size(), kPictures);
}

void TestSaveMp4FFmpeg::rounds_leaveNothingBehind()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(HCodecG711A), kHour);
    const auto round = [&] {
        writer.open(path());
        writer.writeData(Frame(0, 0, clip(1).first().data).header());
        writer.stop();
    };
    for (int i = 0; i < 20; ++i)
        round();
    const ProcessLoad before = ProcessLoad::now();
    for (int i = 0; i < 200; ++i)
        round();
    QVERIFY(waitFor([&] { return ProcessLoad::now().threads <= before.threads; }));
    const ProcessLoad after = ProcessLoad::now();
    QVERIFY(after.handles <= before.handles);
    QVERIFY2(after.residentKiB - before.residentKiB < 8192,
             qPrintable(QString::number(after.residentKiB - before.residentKiB)));
}

int main(int argc, char *argv[])
{
    av_log_set_level(AV_LOG_QUIET);
    QCoreApplication app(argc, argv);
    TestSaveMp4FFmpeg test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_savemp4ffmpeg.moc"
