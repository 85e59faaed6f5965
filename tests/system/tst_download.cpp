// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Downloads of a simulated recorder, picture by picture, read back by other programs.
#include "devicedownload.h"
#include "simulator/simulateddevice.h"
#include "support/loggedtest.h"
#include "support/smalldisk.h"
#include "support/waitfor.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

using namespace vantratest;
using namespace vantrasim;

namespace {

constexpr double kMostOutOfStep = 0.3; ///< seconds between the ends of sound and pictures
constexpr qint64 kDiskBytes = 3 * 1024 * 1024;

QString noMounts; ///< why there are no disks to be had; empty: there are

} // namespace

class TestDownload : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void everyPicture_isInOneFile_once_data();
    void everyPicture_isInOneFile_once();
    void failedDescription_cuts_andLosesNothing();
    void fileOverMidnight_isNamedFromMidnight_data();
    void fileOverMidnight_isNamedFromMidnight();
    void progress_leadsToTheEnd();
    void sound_staysInStep_behindGaps();
    void limitOfTheDevice_isTold();
    void otherRefusal_isTold();
    void stopAtAnyMoment_leavesFilesThatPlay_data();
    void stopAtAnyMoment_leavesFilesThatPlay();
    void lostConnection_leavesAWholeFile_andTheRestCanBeFetched();
    void spanWithoutRecording_isASuccessWithoutFiles();
    void faultyFrames_doNoHarm_data();
    void faultyFrames_doNoHarm();
    void fullDisk_isTold_andWhatWasWrittenPlays_data();
    void fullDisk_isTold_andWhatWasWrittenPlays();
    void diskWithoutRoomForAFile_isTold();

protected:
    void setUp() override
    {
        folder = std::make_unique<QTemporaryDir>();
        log->expectMatching(Logger::Warning,
                            QRegularExpression("^\\(svmp4ff\\).*\\.mp4 pts \\(\\d+:\\d+\\)$"));
    }

private:
    std::unique_ptr<QTemporaryDir> folder;
};

void TestDownload::everyPicture_isInOneFile_once_data()
{
    QTest::addColumn<qint32>("second");
    QTest::addColumn<qint32>("secondSound");
    QTest::addColumn<bool>("saveAudio");
    QTest::addColumn<int>("interval");
    QTest::addColumn<QStringList>("names");
    const auto name = [](const char *begin, const char *end) {
        return QStringLiteral("20260314T%1_20260314T%2_0.mp4").arg(begin, end);
    };
    const QString all = name("100000", "110017");
    const QStringList cut{name("100000", "110014"), name("110014", "110017")};
    QTest::newRow("one form") << qint32(HCodecH264) << qint32(HCodecG711A) << true << -1
                              << QStringList{all};
    QTest::newRow("another codec")
        << qint32(HCodecH265) << qint32(HCodecG711A) << true << -1 << cut;
    QTest::newRow("another codec, silent")
        << qint32(HCodecH265) << qint32(HCodecG711A) << false << -1 << cut;
    QTest::newRow("another sound")
        << qint32(HCodecH264) << qint32(HCodecG711U) << true << -1 << cut;
    // The device tells it by its mark, whoever wants the sound.
    QTest::newRow("another sound, silent")
        << qint32(HCodecH264) << qint32(HCodecG711U) << false << -1 << cut;
    QTest::newRow("interval") << qint32(HCodecH264) << qint32(HCodecG711A) << true << 3
                              << QStringList{name("100000", "100004"), name("100004", "110005"),
                                             name("110005", "110010"), name("110010", "110014"),
                                             name("110014", "110017")};
}

void TestDownload::everyPicture_isInOneFile_once()
{
    QFETCH(qint32, second);
    QFETCH(qint32, secondSound);
    QFETCH(bool, saveAudio);
    QFETCH(int, interval);
    QFETCH(QStringList, names);
    const Simulation sim =
        simulateDevice(withGaps(form(HCodecH264, HCodecG711A), form(second, secondSound)));
    Download download(sim.device, 0, at(9, 0), at(12, 0), folder->path());
    download.thread.setSaveAudio(saveAudio);
    download.thread.setSaveInterval(interval);
    QVERIFY(download.run());
    QVERIFY(download.ok());
    QCOMPARE(download.told(), QStringList({"start", "finsh"}));
    QCOMPARE(download.names(), names);
    QVector<qint64> counters;
    for (const QString &file : download.files())
        QCOMPARE(faultOf(file, saveAudio, &counters), QString());
    QCOMPARE(counters, countersOfGaps());
    QCOMPARE(sim.control->openDownloads(), 0);
}

void TestDownload::failedDescription_cuts_andLosesNothing()
{
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH264, HCodecG711A);
    const Simulation sim = simulateDevice(config);
    const QDateTime begin = at(10, 0), end = at(10, 0, 6);
    Download download(sim.device, 0, begin, end, folder->path());
    download.thread.setSaveAudio(true);
    log->expect(Logger::Error, QStringLiteral("(orvdlthr)vod get dl sdp err"));
    int reports = 0;
    // On the download thread, between two pictures: asked next is at the key picture of 10:00:03.
    QObject::connect(&download.thread, &AbstractVideoDLThread::sig_downloadPts, [&] {
        if (++reports == 2)
            sim.control->faults().refuse(DeviceOp::vodGetDownloadSdp, HRetBusy);
    });
    QVERIFY(download.run());
    QVERIFY(download.ok());
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(orvdlthr)vod get dl sdp err")), 1);
    QCOMPARE(download.names(), QStringList({"20260314T100000_20260314T100003_0.mp4",
                                            "20260314T100003_20260314T100005_0.mp4"}));
    QVector<qint64> counters;
    for (const QString &file : download.files())
        QCOMPARE(faultOf(file, true, &counters), QString());
    QCOMPARE(counters, countersOf(begin, end));
}

void TestDownload::fileOverMidnight_isNamedFromMidnight_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<QStringList>("names"); // in the order of time
    QTest::newRow("one file") << -1 << QStringList{"20260314T000000_20260314T000010_0.mp4"};
    // Key pictures come once a second, so the one more than six seconds later is the seventh.
    QTest::newRow("cut") << 6
                         << QStringList{"20260314T235950_20260314T235957_0.mp4",
                                        "20260314T000000_20260314T000004_0.mp4",
                                        "20260314T000004_20260314T000010_0.mp4"};
}

void TestDownload::fileOverMidnight_isNamedFromMidnight()
{
    QFETCH(int, interval);
    QFETCH(QStringList, names);
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH265, 0);
    const Simulation sim = simulateDevice(config);
    const QDateTime begin = at(23, 59, 50), end = at(0, 0, 11, 15);
    Download download(sim.device, 0, begin, end, folder->path());
    download.thread.setSaveInterval(interval);
    QVERIFY(download.run());
    QVERIFY(download.ok());
    QCOMPARE(download.files().size(), names.size());
    const QDir where = QFileInfo(download.files().first()).dir();
    QVector<qint64> counters;
    for (const QString &name : names)
        QCOMPARE(faultOf(where.filePath(name), false, &counters), QString());
    QCOMPARE(counters, countersOf(begin, end));
}

void TestDownload::progress_leadsToTheEnd()
{
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH264, HCodecG711A);
    const Simulation sim = simulateDevice(config);
    Download download(sim.device, 0, at(10, 0), at(10, 0, 12), folder->path());
    QVERIFY(download.run());
    qint64 before = deviceTime(at(10, 0));
    const auto calls = download.heard.calls("pts");
    for (const auto &call : calls) {
        const qint64 time = call.arguments.value(0).toLongLong();
        QCOMPARE(time - before, qint64(1040)); // the first picture beyond a second
        QCOMPARE(call.thread, static_cast<QThread *>(&download.thread));
        before = time;
    }
    QCOMPARE(calls.size(), 11);
    QCOMPARE(download.heard.names().first(), QStringLiteral("start"));
    QCOMPARE(download.heard.names().last(), QStringLiteral("finsh"));
}

void TestDownload::sound_staysInStep_behindGaps()
{
    const StreamConfig stream = form(HCodecH264, HCodecG711A);
    const Simulation sim = simulateDevice(withGaps(stream, stream));
    Download download(sim.device, 0, at(10, 0), at(12, 0), folder->path());
    download.thread.setSaveAudio(true);
    QVERIFY(download.run());
    QCOMPARE(download.files().size(), 1);
    const ProbedFile file = probeFile(download.files().first());
    QCOMPARE(file.error, QString());
    QVERIFY(file.video.times.size() == 16 * kRecordedFps && !file.audio.times.isEmpty());
    for (int i = 1; i < file.audio.times.size(); ++i)
        QVERIFY(file.audio.times.at(i) > file.audio.times.at(i - 1));
    const double apart = file.video.times.last() - file.audio.times.last();
    QVERIFY2(std::abs(apart) < kMostOutOfStep, qPrintable(QString::number(apart)));
    // Neither is longer than what was recorded, plus half a second for each of two gaps.
    QVERIFY2(file.duration < 17.1, qPrintable(QString::number(file.duration)));
}

void TestDownload::limitOfTheDevice_isTold()
{
    DeviceConfig config = DeviceConfig::simple(2, 1);
    config.mostDownloads = 1;
    config.downloadSpeed = 1;
    for (ChannelConfig &channel : config.channels)
        channel.streams[0] = form(HCodecH264, 0);
    const Simulation sim = simulateDevice(config);
    Download first(sim.device, 0, at(10, 0), at(11, 0), folder->filePath("first"));
    first.thread.startDL();
    QVERIFY(waitFor([&] { return first.heard.count("start") > 0; }, kDownloadMs));
    Download second(sim.device, 1, at(10, 0), at(10, 0, 2), folder->filePath("second"));
    log->expect(Logger::Error, QStringLiteral("(orvdlthr)vod dl start err 17"));
    log->expect(Logger::Error, QStringLiteral("(atvdlthr)before download thr err"));
    QVERIFY(second.run());
    QCOMPARE(second.told(), QStringList{"max"});
    first.thread.stopDL();
    QCOMPARE(first.told(), QStringList({"start", "finsh"}));
    QVERIFY(!first.ok());
    // Now it has its turn.
    second.heard.clear();
    QVERIFY(second.run());
    QVERIFY(second.ok());
    QVector<qint64> counters;
    QCOMPARE(faultOf(second.files().value(0), false, &counters), QString());
    QCOMPARE(counters, countersOf(at(10, 0), at(10, 0, 2)));
}

void TestDownload::otherRefusal_isTold()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1));
    Download download(sim.device, 1, at(10, 0), at(10, 1), folder->path()); // no such channel
    const QRegularExpression refused("^\\(orvdlthr\\)vod dl start err \\d+$");
    log->expectMatching(Logger::Error, refused);
    log->expect(Logger::Error, QStringLiteral("(atvdlthr)before download thr err"));
    QVERIFY(download.run());
    QCOMPARE(log->countMatching(Logger::Error, refused), 1);
    QCOMPARE(download.told(), QStringList{"error"});
    QCOMPARE(download.files(), QStringList());
}

void TestDownload::stopAtAnyMoment_leavesFilesThatPlay_data()
{
    QTest::addColumn<qint64>("frames");
    for (const qint64 frames : {1, 2, 26, 50, 51, 103, 180})
        QTest::addRow("after %lld frames", static_cast<long long>(frames)) << frames;
}

/// So many frames, of pictures and sound, are what the device has given at least.
void TestDownload::stopAtAnyMoment_leavesFilesThatPlay()
{
    QFETCH(qint64, frames);
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH264, HCodecG711A);
    config.downloadSpeed = 20; // so that there is a moment to stop at
    const Simulation sim = simulateDevice(config);
    const QDateTime begin = at(10, 0), end = at(11, 0);
    Download download(sim.device, 0, begin, end, folder->path());
    download.thread.setSaveAudio(true);
    download.thread.setSaveInterval(1);
    download.thread.startDL();
    QVERIFY(waitFor(
        [&] {
            const RecordedState state = sim.control->download(0);
            return state.pictures + state.sounds >= frames;
        },
        kDownloadMs));
    download.thread.stopDL();
    QCOMPARE(download.told(), QStringList({"start", "finsh"}));
    QVERIFY(!download.ok());
    QCOMPARE(sim.control->openDownloads(), 0);
    const QRegularExpression name("^20260314T1000\\d{2}_20260314T1000\\d{2}_0\\.mp4$");
    QVector<qint64> counters;
    QVERIFY(!download.files().isEmpty());
    for (const QString &file : download.files()) {
        QVERIFY2(name.match(QFileInfo(file).fileName()).hasMatch(), qPrintable(file));
        // Of less than half a second the sound is not yet AAC, and its track is empty.
        if (probeFile(file).audio.times.isEmpty()) {
            QCOMPARE(complaintsAbout(file), QString());
            counters += readRecording(file).counters;
            QCOMPARE(decodeWithGStreamer(file, {}, false).error, QString());
        } else {
            QCOMPARE(faultOf(file, true, &counters), QString());
        }
    }
    // All that was given, but for what may have been under way.
    QVERIFY(counters.size() >= sim.control->download(0).pictures - 1);
    QCOMPARE(counters, countersOf(begin, end).mid(0, counters.size()));
}

void TestDownload::lostConnection_leavesAWholeFile_andTheRestCanBeFetched()
{
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH264, HCodecG711A);
    config.downloadSpeed = 4;
    const Simulation sim = simulateDevice(config);
    Download download(sim.device, 0, at(10, 0), at(11, 0), folder->path());
    download.thread.startDL();
    QVERIFY(waitFor([&] { return download.heard.count("pts") >= 2; }, kDownloadMs));
    sim.control->faults().strike(
        {FrameFault::ReadError, {}, FrameSort::Any, 0, 1, 0, FaultRoad::Download});
    QVERIFY(download.thread.wait(kDownloadMs));
    QCOMPARE(download.told(), QStringList({"start", "finsh"}));
    QVERIFY(!download.ok());
    QVector<qint64> counters;
    QCOMPARE(download.files().size(), 1);
    QCOMPARE(faultOf(download.files().first(), false, &counters), QString());
    const QVector<qint64> expected = countersOf(at(10, 0), at(11, 0));
    QVERIFY(counters.size() > 2 * kRecordedFps);
    QCOMPARE(counters, expected.mid(0, counters.size()));

    // On from the second in which it ended, until the link is gone for good.
    const int seconds = counters.size() / kRecordedFps;
    Download rest(sim.device, 0, at(10, 0).addSecs(seconds), at(11, 0), folder->filePath("rest"));
    rest.thread.setReadTimeout(3000);
    rest.thread.startDL();
    QVERIFY(waitFor([&] { return rest.heard.count("pts") >= 2; }, kDownloadMs));
    sim.control->loseConnection();
    QVERIFY(rest.thread.wait(kDownloadMs));
    QCOMPARE(rest.told(), QStringList({"start", "finsh"}));
    QVERIFY(!rest.ok());
    QCOMPARE(log->count(Logger::Info,
                        QStringLiteral("(orvdlthr)read [192.0.2.1] frame timeout(3000 ms) ")),
             1);
    counters.clear();
    QCOMPARE(faultOf(rest.files().value(0), false, &counters), QString());
    QCOMPARE(counters, expected.mid(seconds * kRecordedFps, counters.size()));
}

void TestDownload::spanWithoutRecording_isASuccessWithoutFiles()
{
    const StreamConfig stream = form(HCodecH264, 0);
    const Simulation sim = simulateDevice(withGaps(stream, stream));
    Download download(sim.device, 0, at(10, 10), at(10, 20), folder->path());
    QVERIFY(download.run());
    QCOMPARE(download.told(), QStringList({"start", "finsh"}));
    QVERIFY(download.ok());
    QCOMPARE(download.files(), QStringList());
}

void TestDownload::faultyFrames_doNoHarm_data()
{
    QTest::addColumn<quint32>("seed");
    QTest::addColumn<qint32>("codec");
    for (const quint32 seed : {1u, 2u, 3u}) {
        QTest::addRow("H.264, %u", seed) << seed << qint32(HCodecH264);
        QTest::addRow("H.265, %u", seed) << seed << qint32(HCodecH265);
    }
}

/// Whatever frames are like, the recording is fetched to its end, and all files get their names.
void TestDownload::faultyFrames_doNoHarm()
{
    QFETCH(quint32, seed);
    QFETCH(qint32, codec);
    log->expectMatching(Logger::Error, QRegularExpression("^\\(svmp4ff\\)"));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(svmp4ff\\)"));
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(codec, HCodecG711A);
    const Simulation sim = simulateDevice(config);
    sim.control->faults().strikeAtRandom(
        seed, 0.1,
        {FrameFault::StampForward, FrameFault::StampBack, FrameFault::StampRepeat,
         FrameFault::HeaderTooSmall, FrameFault::HeaderTooLarge, FrameFault::Garbage,
         FrameFault::Truncated, FrameFault::Empty, FrameFault::UnknownType,
         FrameFault::UnknownCodec, FrameFault::Largest, FrameFault::NoParameterSets,
         FrameFault::Lost, FrameFault::Repeated, FrameFault::Swapped});
    Download download(sim.device, 0, at(10, 0), at(10, 0, 20), folder->path());
    download.thread.setSaveAudio(true);
    download.thread.setSaveInterval(4);
    QVERIFY(download.run());
    QVERIFY(sim.control->faults().struck() > 20);
    QCOMPARE(download.told(), QStringList({"start", "finsh"}));
    QVERIFY(download.ok());
    const QRegularExpression name("^20260314T\\d{6}_20260314T\\d{6}_0\\.mp4$");
    QVERIFY(!download.names().isEmpty());
    for (const QString &file : download.names())
        QVERIFY2(name.match(file).hasMatch(), qPrintable(file));
}

void TestDownload::fullDisk_isTold_andWhatWasWrittenPlays_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<qint64>("room");
    QTest::newRow("one file") << -1 << kDiskBytes / 2;
    QTest::newRow("many files") << 1 << kDiskBytes / 2;
    QTest::newRow("no room at all") << -1 << qint64(0);
}

void TestDownload::fullDisk_isTold_andWhatWasWrittenPlays()
{
    QFETCH(int, interval);
    QFETCH(qint64, room);
    if (!noMounts.isEmpty())
        QSKIP(qPrintable(noMounts));
    SmallDisk disk(kDiskBytes);
    QVERIFY(disk.isValid());
    QVERIFY(disk.fill(room));
    log->expectMatching(Logger::Error,
                        QRegularExpression("^\\(svmp4ff\\)(write (video|audio|trailer"
                                           "|header)|avio (open|close)|creat mp4) "));
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH264, 0, 10); // large
    const Simulation sim = simulateDevice(config);
    const QDateTime begin = at(10, 0), end = at(11, 0);
    Download download(sim.device, 0, begin, end, disk.path());
    download.thread.setSaveInterval(interval);
    QVERIFY(download.run());
    QCOMPARE(download.told(), QStringList({"start", "error", "finsh"}));
    QVERIFY(!download.ok());
    QCOMPARE(sim.control->openDownloads(), 0);
    // Nobody fetches the rest of the hour in vain.
    QVERIFY(sim.control->download(0).pictures < 1800 * kRecordedFps);

    const QRegularExpression name("/20260314T10\\d{4}_20260314T10\\d{4}_0\\.mp4$");
    QVector<qint64> counters;
    const QStringList files = download.files();
    for (const QString &file : files) {
        QVERIFY2(name.match(file).hasMatch(), qPrintable(file));
        // The one that filled the disk may end within a picture.
        if (file != files.last())
            QCOMPARE(faultOf(file, false, &counters), QString());
        else
            counters += readRecording(file).counters;
    }
    if (room > 0)
        QVERIFY2(counters.size() > 2 * kRecordedFps, qPrintable(QString::number(counters.size())));
    QCOMPARE(counters, countersOf(begin, end).mid(0, counters.size()));

    // With room again, it can be fetched.
    QVERIFY(disk.clear());
    Download again(sim.device, 0, begin, at(10, 0, 2), disk.path(QStringLiteral("again")));
    QVERIFY(again.run());
    QVERIFY(again.ok());
}

/// Its folders are all that it holds.
void TestDownload::diskWithoutRoomForAFile_isTold()
{
    constexpr int kFolders = 3; // that of the disk, of the day, "vod"
    if (!noMounts.isEmpty())
        QSKIP(qPrintable(noMounts));
    SmallDisk disk(kDiskBytes, kFolders);
    QVERIFY(disk.isValid());
    log->expectMatching(Logger::Error,
                        QRegularExpression("^\\(svmp4ff\\)(avio open .* err -28|creat mp4 err)$"));
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH264, 0);
    const Simulation sim = simulateDevice(config);
    Download download(sim.device, 0, at(10, 0), at(10, 0, 5), disk.path());
    QVERIFY(download.run());
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(svmp4ff)creat mp4 err")), 1);
    QCOMPARE(download.told(), QStringList({"start", "error", "finsh"}));
    QVERIFY(!download.ok());
    QCOMPARE(sim.control->download(0).pictures, qint64(1));
    QCOMPARE(download.files(), QStringList());
}

int main(int argc, char *argv[])
{
    noMounts = enterPrivateMounts();
    QCoreApplication app(argc, argv);
    TestDownload test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_download.moc"
