// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The life of a writer: stops, disks that are slow or full, what is in the file before the end.

#include "mp4boxes.h"
#include "recordcase.h"
#include "recordedfile.h"
#include "recordingtools.h"

#include "support/diskfault.h"
#include "support/players.h"
#include "support/processload.h"

#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using namespace vantratest;

namespace {

const QString kFull = QStringLiteral("(svmp4ff)queue is full");
const QString kTimeout = QStringLiteral("(svmp4ff)wait data timeout");

/// A pipe in place of the file, for a disk that does not answer until it is told to.
class SilentDisk
{
public:
    explicit SilentDisk(const QString &fileName)
    {
        const QByteArray pipe = QFile::encodeName(fileName);
        if (mkfifo(pipe.constData(), 0600) == 0)
            reader = ::open(pipe.constData(), O_RDWR | O_NONBLOCK);
        if (reader < 0)
            qFatal("no pipe");
    }
    ~SilentDisk()
    {
        done = true;
        if (thread.joinable())
            thread.join();
        ::close(reader);
    }
    void answer()
    {
        thread = std::thread([this] {
            std::vector<char> buffer(65536);
            while (!done) {
                const ssize_t got = ::read(reader, buffer.data(), buffer.size());
                if (got > 0)
                    taken += got;
                else
                    QThread::yieldCurrentThread();
            }
        });
    }
    qint64 bytes() const { return taken; }

private:
    int reader = -1;
    std::atomic<bool> done{false};
    std::atomic<qint64> taken{0};
    std::thread thread;
};

} // namespace

class TestSaveMp4FFmpegLife : public RecordCase
{
    Q_OBJECT

private slots:
    void open_worksAgain_afterStopAndFailure();
    void timeout_isTold_after500ByDefault();
    void fullQueue_dropsAndNeverWaits();
    void slowDisk_takesNoMoreMemoryThanTheQueue();
    void fullDisk_endsNoRecording();
    void refusedBytes_loseTheFile_whenTheDiskIsWellAgainToo_data();
    void refusedBytes_loseTheFile_whenTheDiskIsWellAgainToo();
    void fileThatHasGone_isLost_fromTheNextKeyPictureOn();
    void fileThatGoesAtLast_isLost();
    void finishedFragments_areInTheFile_beforeTheEnd();
    void announcedSound_thatNeverComes_isNotWaitedForWithoutEnd();
    void littleSound_leavesAFileThatEveryPlayerPlays_data();
    void littleSound_leavesAFileThatEveryPlayerPlays();
    void stop_returnsAtOnce_whenNotOpened();
    void stop_twice();
    void stop_wakesTheWriter_andWritesWhatWaits();
    void destruction_completesTheFile();
    void rounds_leaveNothingBehind();
};

void TestSaveMp4FFmpegLife::open_worksAgain_afterStopAndFailure()
{
    log->expect(Logger::Error, QStringLiteral("(svmp4ff)creat easy aac null"));
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

void TestSaveMp4FFmpegLife::timeout_isTold_after500ByDefault()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.setPara(videoPara(), HAudioEncPara());
    writer.open(path());
    QVERIFY(waitFor([&] { return log->count(Logger::Info, kTimeout) >= 2; }));
    const QVector<LogCapture::Line> lines = log->lines();
    writer.stop();
    QCOMPARE(lines.first().category, QStringLiteral("vantra"));
}

void TestSaveMp4FFmpegLife::fullQueue_dropsAndNeverWaits()
{
    SilentDisk disk(path());
    log->expect(Logger::Warning, kFull);
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
    QVERIFY(log->count(Logger::Warning, kFull) > 0);
    disk.answer(); // and stop() comes to an end
    writer.stop();
    QVERIFY(writer.isQueueEmpty());
    QVERIFY(disk.bytes() > 600000);
}

void TestSaveMp4FFmpegLife::slowDisk_takesNoMoreMemoryThanTheQueue()
{
    SilentDisk disk(path());
    log->expect(Logger::Warning, kFull);
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    const QByteArray large = clip(1).first().data + QByteArray(300000, '\1');
    Frame frame(0, 0, large);
    const auto produceUntilFull = [&](int more) {
        for (int i = 0; !writer.isQueueFull() || i < more; ++i) {
            frame.header()->pts += kFrameMs;
            writer.writeData(frame.header());
        }
    };
    produceUntilFull(0);
    const int dropped = log->count(Logger::Warning, kFull);
    const ProcessLoad before = ProcessLoad::now();
    produceUntilFull(1000); // 300 MB
    const ProcessLoad after = ProcessLoad::now();
    // The writer had begun with a few, and each of the others has a line of its own.
    QVERIFY(log->count(Logger::Warning, kFull) - dropped >= 900);
    QVERIFY2(after.residentKiB - before.residentKiB < 40 * 1024,
             qPrintable(QString::number(after.residentKiB - before.residentKiB)));
    disk.answer();
    writer.stop();
}

void TestSaveMp4FFmpegLife::fullDisk_endsNoRecording()
{
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), path()));
    log->expectMatching(Logger::Error,
                        QRegularExpression(QStringLiteral(
                            "^\\(svmp4ff\\)write video （\\d+:.*\\)  err \\(-28:.*\\)$")));
    log->expectMatching(
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

void TestSaveMp4FFmpegLife::refusedBytes_loseTheFile_whenTheDiskIsWellAgainToo_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("full");
    QTest::newRow("broken") << EIO << false;
    QTest::newRow("read-only") << EROFS << false;
    QTest::newRow("file as large as may be") << EFBIG << false;
    QTest::newRow("full") << ENOSPC << true;
}

void TestSaveMp4FFmpegLife::refusedBytes_loseTheFile_whenTheDiskIsWellAgainToo()
{
    QFETCH(int, error);
    QFETCH(bool, full);
    log->expectMatching(Logger::Error,
                        QRegularExpression(QStringLiteral("^\\(svmp4ff\\)write video .* err "
                                                          "\\(-%1:.*\\)$")
                                               .arg(error)));
    log->expectMatching(
        Logger::Error,
        QRegularExpression(
            QStringLiteral("^\\(svmp4ff\\)(write trailer|avio close) err \\(-%1:").arg(error)));
    DiskFault disk(folder->path());
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i <= 2 * kGop; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    QVERIFY(waitFor([&] { return readBoxes(path()).top.count("mdat") == 2; }));
    QVERIFY(!writer.isFileLost() && !writer.isDiskFull());
    disk.refuse(error);
    for (int i = 2 * kGop + 1; i <= 3 * kGop; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    QVERIFY(waitFor([&] { return writer.isFileLost(); }));
    QCOMPARE(writer.isDiskFull(), full);
    QVERIFY(writer.getOpened());
    disk.refuse(0);
    for (int i = 3 * kGop + 1; i <= 4 * kGop; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    feed.settle();
    QVERIFY(writer.isFileLost());
    writer.stop();
    QVERIFY(writer.isFileLost());
    QCOMPARE(readRecording(path()).pictures.size(), 2 * kGop);
    // The next file is none of this one's business.
    writer.open(path(QStringLiteral("next.mp4")));
    QVERIFY(!writer.isFileLost() && !writer.isDiskFull());
    feed.picture(clip(1).first(), 0);
    writer.stop();
    QVERIFY(!writer.isFileLost());
}

void TestSaveMp4FFmpegLife::fileThatHasGone_isLost_fromTheNextKeyPictureOn()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    for (int i = 0; i <= kGop; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    feed.settle();
    QVERIFY(QFile::remove(path()));
    for (int i = kGop + 1; i < 2 * kGop; ++i)
        feed.picture(clip(1).at(i), i * kFrameMs);
    feed.settle();
    QVERIFY(!writer.isFileLost());
    feed.picture(clip(1).at(2 * kGop), 2 * kGop * kFrameMs);
    QVERIFY(waitFor([&] { return writer.isFileLost(); }));
    QVERIFY(!writer.isDiskFull());
    writer.stop();
    QVERIFY(writer.isFileLost());
    QVERIFY(!QFile::exists(path()));
}

void TestSaveMp4FFmpegLife::fileThatGoesAtLast_isLost()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), kHour);
    writer.open(path());
    Feeder feed(writer);
    feed.picture(clip(1).first(), 0);
    feed.settle();
    QVERIFY(QFile::remove(path()));
    writer.stop();
    QVERIFY(writer.isFileLost());
}

void TestSaveMp4FFmpegLife::finishedFragments_areInTheFile_beforeTheEnd()
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

void TestSaveMp4FFmpegLife::announcedSound_thatNeverComes_isNotWaitedForWithoutEnd()
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

void TestSaveMp4FFmpegLife::littleSound_leavesAFileThatEveryPlayerPlays_data()
{
    QTest::addColumn<int>("audio");
    QTest::addColumn<int>("pictures");
    QTest::addColumn<int>("blocks");
    // Four seconds of a camera whose microphone is off.
    for (const int audio : {HCodecG711A, HCodecG711U, HCodecPcm})
        QTest::addRow("%d, none", audio) << audio << 100 << 0;
    QTest::addRow("only at the beginning") << int(HCodecG711A) << 100 << 25;
    // The end comes before the first frame of AAC, with it, or soon after.
    for (const int blocks : {20, 26, 29})
        QTest::addRow("%d blocks", blocks) << int(HCodecG711A) << blocks / 2 << blocks;
}

/// The first frame of AAC holds no sound yet, and one player refuses a file that has no other.
void TestSaveMp4FFmpegLife::littleSound_leavesAFileThatEveryPlayerPlays()
{
    QFETCH(int, audio);
    QFETCH(int, pictures);
    QFETCH(int, blocks);
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), audioPara(audio), kHour);
    writer.open(path());
    Feeder feed(writer);
    const QVector<qint16> tone = makeTone(4 * kSampleRate, kSampleRate, kHertz);
    const QByteArray sound = audio == HCodecPcm     ? pcmBytes(tone)
                             : audio == HCodecG711U ? encodeMuLaw(tone)
                                                    : encodeALaw(tone);
    const int blockBytes = kBlockSamples * (audio == HCodecPcm ? 2 : 1);
    for (int i = 0; i < pictures; ++i) {
        QVERIFY(waitFor([&] { return !writer.isQueueFull(); }));
        feed.picture(clip(1).at(i % kPictures), i * kFrameMs);
        for (int block = 2 * i; block < std::min(2 * i + 2, blocks); ++block)
            feed.frame(4, block * kFrameMs / 2, sound.mid(block * blockBytes, blockBytes));
    }
    writer.stop();
    const ProbedFile probed = probeFile(path());
    QCOMPARE(probed.error, QString());
    QCOMPARE(probed.video.times.size(), pictures);
    for (int i = 1; i < probed.audio.times.size(); ++i)
        QVERIFY(probed.audio.times.at(i) > probed.audio.times.at(i - 1));
    // A track without a packet has nothing to be played.
    const bool hasSound = !probed.audio.times.isEmpty();
    const Playback played = decodeWithGStreamer(path(), QSize(320, 240), hasSound);
    QCOMPARE(played.error, QString());
    QCOMPARE(played.pictures.size(), pictures);
    QCOMPARE(!played.sound.isEmpty(), hasSound);
}

void TestSaveMp4FFmpegLife::stop_returnsAtOnce_whenNotOpened()
{
    SaveMp4FFmpeg writer;
    writer.stop();
    QVERIFY(!writer.getOpened());
    QVERIFY(log->lines().isEmpty());
}

void TestSaveMp4FFmpegLife::stop_twice()
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

void TestSaveMp4FFmpegLife::stop_wakesTheWriter_andWritesWhatWaits()
{
    SaveMp4FFmpeg writer;
    writer.setPara(videoPara(), HAudioEncPara(), -1); // waits without a limit
    writer.open(path());
    for (int i = 0; i < kPictures; ++i)
        writer.writeData(
            Frame(clip(1).at(i).key ? 0 : 1, i * kFrameMs, clip(1).at(i).data).header());
    writer.stop();
    QCOMPARE(readRecording(path()).pictures.size(), kPictures);
    QVERIFY(log->lines().isEmpty());
}

void TestSaveMp4FFmpegLife::destruction_completesTheFile()
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

void TestSaveMp4FFmpegLife::rounds_leaveNothingBehind()
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
    TestSaveMp4FFmpegLife test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_savemp4ffmpeglife.moc"
