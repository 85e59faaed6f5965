// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The thread that reads frame by frame, given frames that no honest device sends.

#include "fedthreadcase.h"
#include "pictureforms.h"
#include "support/streammaker.h"
#include "threadwatcher.h"

#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cstring>
#include <limits>

using namespace vantratest;

namespace {

/// Of a device that says it has read, and writes only the first bytes of a frame, if any.
class LazyThread final : public PvProtoVideoThread
{
public:
    explicit LazyThread(int written) : written(written) {}
    ~LazyThread() override { endRun(); }

    std::atomic<int> reads{0};

protected:
    int readFrame(HFrameHeader *frame, int) override
    {
        if (++reads > 6)
            return DeviceReadEnd;
        const HFrameHeader garbage = {-1, 4, 0xffffffffu, 3, -1, -1, -1, -1, -1, -1, {}};
        if (reads % 2 == 0)
            memcpy(frame, &garbage, size_t(written));
        return DeviceReadFrame;
    }
    int getLatestRecordCodec(HVideoEncPara &video, HAudioEncPara &audio) override
    {
        video.codecId = HCodecH264;
        video.width = video.height = 16;
        audio = {HCodecG711A, 8000, 16, 1};
        return 0;
    }
    void setMP4FileName(RecordType type) override
    {
        setFileName(type, getSavePath(type) + QStringLiteral("/a.mp4"));
    }

private:
    const int written;
};

} // namespace

class TestPvProtoVideoThreadHostile : public FedThreadCase
{
    Q_OBJECT

private slots:
    void unknownVideoCodec_failsUntilTheNextKeyFrame();
    void headerOfAnotherSize_doesNotHide_theRealOne_data();
    void headerOfAnotherSize_doesNotHide_theRealOne();
    void garbage_failsThatFrameOnly();
    void missingParameterSets_fail_untilTheyCome();
    void truncatedPayloads_areSurvived_data();
    void truncatedPayloads_areSurvived();
    void stampsOfAnyKind_changeNothing();
    void payloadBeyondTheBuffer_failsThatFrameOnly_data();
    void payloadBeyondTheBuffer_failsThatFrameOnly();
    void largestFrame_isDecoded();
    void frameShorterThanItSays_isDecodedFromWhatTheBufferHolds();
    void soundOfAnyForm_isSurvived_data();
    void soundOfAnyForm_isSurvived();
    void readThatWritesLessThanARecord_isSurvived_data();
    void readThatWritesLessThanARecord_isSurvived();
    void codecNull_isLogged();
};

void TestPvProtoVideoThreadHostile::garbage_failsThatFrameOnly()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffpg\\)avcodec_.*failed"));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(mdcdc\\)video decoder fail"));
    const QString line = QStringLiteral("(pvptvthr)decode video frame err");
    log->expect(Logger::Error, line);
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    thread.feed(ScriptedFrame::video(1, 0, 320, 240, QByteArray(3000, '\xa5'), 5));
    thread.feed(ScriptedFrame::video(1, 0, 320, 240, QByteArray(), 6));
    QVERIFY(settle(&thread));
    QCOMPARE(log->count(Logger::Error, line), 2);
    QCOMPARE(watcher.pictures.size(), 1);
    thread.feed(picture(10));
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 2);
    QCOMPARE(watcher.pictures.last().number, 10);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::missingParameterSets_fail_untilTheyCome()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffpg\\)avcodec_.*failed"));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(mdcdc\\)video decoder fail"));
    const QString line = QStringLiteral("(pvptvthr)decode video frame err");
    log->expect(Logger::Error, line);
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    const QVector<AccessUnit> bare = withoutParameterSets(units());
    for (int i = 0; i < 10; ++i)
        thread.feed(ScriptedFrame::video(bare.at(i).key ? 0 : 1, 0, 320, 240, bare.at(i).data, i));
    QVERIFY(settle(&thread));
    QCOMPARE(log->count(Logger::Error, line), 10);
    QVERIFY(watcher.pictures.isEmpty());
    thread.feed(pictures(10, 10));
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 10);
    QCOMPARE(created(), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::truncatedPayloads_areSurvived_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << 1;
    QTest::newRow("H.265") << 2;
}

void TestPvProtoVideoThreadHostile::truncatedPayloads_areSurvived()
{
    QFETCH(int, codec);
    log->expectMatching(
        Logger::Error, QRegularExpression("^\\((ffpg\\)avcodec_.*failed|pvptvthr\\)decode video)"));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(mdcdc\\)video decoder fail"));
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread); // which reads every byte that it is lent
    QVERIFY(begin(&thread));
    for (int i = 0; i < 20; ++i) {
        ScriptedFrame frame = picture(i, codec);
        frame.payload.truncate(frame.payload.size() * (i % 7 + 1) / 8);
        frame.header.frameSize = quint32(frame.payload.size());
        thread.feed(frame);
        QVERIFY(settle(&thread));
    }
    watcher.pictures.clear();
    thread.feed(pictures(20, 10, codec));
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 10);
    QCOMPARE(watcher.pictures.last().number, 29);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::stampsOfAnyKind_changeNothing()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    const qint64 stamps[] = {5000,
                             1000,
                             1000,
                             -7,
                             std::numeric_limits<qint64>::max(),
                             std::numeric_limits<qint64>::min(),
                             0};
    for (int i = 0; i < 7; ++i) {
        ScriptedFrame frame = picture(i);
        frame.header.pts = stamps[i];
        thread.feed(frame);
    }
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 7);
    for (int i = 0; i < 7; ++i)
        QCOMPARE(watcher.pictures.at(i).number, i); // in the order read
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::payloadBeyondTheBuffer_failsThatFrameOnly_data()
{
    QTest::addColumn<uint>("size");
    QTest::newRow("one byte") << kHFrameMaxPayload + 1;
    QTest::newRow("the buffer") << kHFrameBufferSize;
    QTest::newRow("above int") << 0x80000000u;
    QTest::newRow("all") << 0xffffffffu;
}

void TestPvProtoVideoThreadHostile::payloadBeyondTheBuffer_failsThatFrameOnly()
{
    QFETCH(uint, size);
    const QString video = QStringLiteral("(pvptvthr)decode video frame err");
    const QString audio = QStringLiteral("(pvptvthr)decode audio frame err");
    log->expect(Logger::Error, video);
    log->expect(Logger::Warning, audio);
    FedThread thread;
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    for (const int number : {0, 1}) {
        ScriptedFrame frame = picture(number);
        frame.header.frameSize = size;
        thread.feed(frame);
    }
    ScriptedFrame noise = sound();
    noise.header.frameSize = size;
    thread.feed(noise);
    QVERIFY(settle(&thread));
    QCOMPARE(log->count(Logger::Error, video), 2);
    QCOMPARE(log->count(Logger::Warning, audio), 1);
    QVERIFY(watcher.images.isEmpty());
    QVERIFY(watcher.sound.isEmpty());
    thread.feed(picture(0));
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QVERIFY(waitFor([&] { return watcher.images.size() == 1 && !watcher.sound.isEmpty(); }));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::largestFrame_isDecoded()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    ScriptedFrame frame = picture(0); // zeros may follow a coded picture
    frame.payload.append(QByteArray(int(kHFrameMaxPayload) - frame.payload.size(), '\0'));
    frame.header.frameSize = kHFrameMaxPayload;
    QCOMPARE(frame.payload.size(), 1048584);
    thread.feed(frame);
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::frameShorterThanItSays_isDecodedFromWhatTheBufferHolds()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    ScriptedFrame frame = picture(0);
    frame.header.frameSize = kHFrameMaxPayload; // the rest is zero, or what was read before
    thread.feed(frame);
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::soundOfAnyForm_isSurvived_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("channels");
    const int most = std::numeric_limits<int>::max();
    const int least = std::numeric_limits<int>::min();
    QTest::newRow("no rate") << 0 << 16 << 1;
    QTest::newRow("negative rate") << -8000 << 16 << 1;
    QTest::newRow("highest rate") << most << 16 << 1;
    QTest::newRow("odd bits") << 8000 << least << 1;
    for (const int channels : {-1, 2, 7, 64, 65, 511, 512, 513, 65536, most, least})
        QTest::newRow(qPrintable(QString::number(channels))) << 8000 << 16 << channels;
}

void TestPvProtoVideoThreadHostile::soundOfAnyForm_isSurvived()
{
    QFETCH(int, rate);
    QFETCH(int, bits);
    QFETCH(int, channels);
    log->expectMatching(Logger::Error, QRegularExpression("^\\((ffpg|mdcdc|pvptvthr)\\)"));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\((mdcdc|pvptvthr)\\)"));
    FedThread thread;
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    for (const int size : {1, 160, int(kHFrameMaxPayload), 3}) {
        thread.feed(ScriptedFrame::audio(3, rate, bits, channels, QByteArray(size, 'a'), 0));
        QVERIFY(settle(&thread));
    }
    watcher.sound.clear();
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QVERIFY(waitFor([&] { return watcher.sound.size() == 320; }));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::readThatWritesLessThanARecord_isSurvived_data()
{
    QTest::addColumn<int>("written");
    for (const int bytes : {0, 3, 8, 12, 20, 47})
        QTest::newRow(qPrintable(QString::number(bytes))) << bytes;
}

void TestPvProtoVideoThreadHostile::readThatWritesLessThanARecord_isSurvived()
{
    // What stands in the buffer counts: nothing at first, then what was read before.
    QFETCH(int, written);
    log->expectMatching(Logger::Error, QRegularExpression(".*"));
    log->expectMatching(Logger::Warning, QRegularExpression(".*"));
    QTemporaryDir folder;
    LazyThread thread(written);
    thread.setVideoMode(VideoMode_Painter);
    thread.setSavePath(AbstractVideoThread::MANUAL_RECORD, folder.path());
    thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return thread.isFinished(); }) && thread.wait());
    QCOMPARE(thread.reads.load(), 7);
    QVERIFY(watcher.images.isEmpty());
    QVERIFY(watcher.sound.isEmpty());
    QVERIFY(log->count(Logger::Error, QStringLiteral("(pvptvthr)decode video frame err")) > 0);
}

void TestPvProtoVideoThreadHostile::codecNull_isLogged()
{
    log->expect(Logger::Warning, QStringLiteral("(pvptvthr)codec is null"));
    FedThread thread;
    SignalRecorder recorder;
    recorder.watch(&thread, &AbstractVideoThread::sig_updateCodecRender, "codecRender");
    HFrameHeader frame = {};
    thread.decodeVideo(&frame);
    QCOMPARE(log->count(Logger::Warning, QStringLiteral("(pvptvthr)codec is null")), 1);
    thread.decodeAudio(&frame);
    QCOMPARE(log->count(Logger::Warning, QStringLiteral("(pvptvthr)codec is null")), 2);
    QVERIFY(recorder.names().isEmpty());
}

void TestPvProtoVideoThreadHostile::unknownVideoCodec_failsUntilTheNextKeyFrame()
{
    const QString unsupported = QStringLiteral("(pvptvthr)unsupported video codec id 7");
    const QString notMade = QStringLiteral("(pvptvthr)create video decoder fail");
    const QString notDecoded = QStringLiteral("(pvptvthr)decode video frame err");
    for (const QString &text : {unsupported, QStringLiteral("(mdcdc)video decoder is null")})
        log->expect(Logger::Warning, text);
    for (const QString &text :
         {notMade, notDecoded, QStringLiteral("(ffpg)codec 0 is not supported"),
          QStringLiteral("(mdcdc)create video decoder fail")})
        log->expect(Logger::Error, text);
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    ScriptedFrame key = picture(0);
    key.header.codecId = 7;
    thread.feed(key);
    thread.feed(pictures(1, 2));
    QVERIFY(settle(&thread));
    QCOMPARE(log->count(Logger::Warning, unsupported), 1);
    QCOMPARE(log->count(Logger::Error, notMade), 1);
    QCOMPARE(log->count(Logger::Error, notDecoded), 3);
    QCOMPARE(watcher.events,
             (QStringList{"started", "playStart:0", "codecRender:H264:320x240", "renderStart"}));
    QCOMPARE(thread.videoParam.codec, 0);
    QCOMPARE(thread.lastVideoHeader.codecId, 0u); // as if it had not come
    QCOMPARE(thread.lastVideoHeader.widthOrSampleRate, 0);
    QCOMPARE(thread.getVideoWidth(), 0);
    thread.feed(pictures(10, 2));
    QVERIFY(settle(&thread));
    QCOMPARE(watcher.pictures.size(), 2);
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadHostile::headerOfAnotherSize_doesNotHide_theRealOne_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::newRow("smaller") << 16 << 8;
    QTest::newRow("larger") << 4096 << 2160;
    QTest::newRow("nothing") << 0 << 0;
    QTest::newRow("huge") << std::numeric_limits<int>::max() << std::numeric_limits<int>::max();
    QTest::newRow("negative") << -320 << std::numeric_limits<int>::min();
}

void TestPvProtoVideoThreadHostile::headerOfAnotherSize_doesNotHide_theRealOne()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("a.jpg"));
    for (const VideoMode mode : {VideoMode_Opengl, VideoMode_Painter}) {
        FedThread thread;
        thread.setVideoMode(mode);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        QVERIFY(begin(&thread));
        for (int i = 0; i < 3; ++i) {
            ScriptedFrame frame = picture(i);
            frame.header.widthOrSampleRate = width;
            frame.header.heightOrBits = height;
            thread.feed(frame);
            if (i == 1) {
                QVERIFY(settle(&thread));
                thread.snap(name);
            }
        }
        QVERIFY(settle(&thread));
        QVERIFY(watcher.events.contains(
            QStringLiteral("codecRender:H264:%1x%2").arg(width).arg(height)));
        QCOMPARE(thread.getVideoWidth(), width);
        QCOMPARE(thread.getVideoHeight(), height);
        if (mode == VideoMode_Opengl) {
            QCOMPARE(watcher.pictures.size(), 3);
            QCOMPARE(watcher.pictures.last().width, 320);
            QCOMPARE(watcher.pictures.last().number, 2);
        } else {
            QVERIFY(waitFor([&] { return watcher.images.size() == 3; }));
            QCOMPARE(watcher.images.last().size(), QSize(320, 240));
        }
        QCOMPARE(QImage(name).size(), QSize(320, 240));
        QVERIFY(end(&thread));
    }
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadHostile)
#include "tst_pvprotovideothreadhostile.moc"
