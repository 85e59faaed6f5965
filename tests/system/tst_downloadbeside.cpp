// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Downloads beside all else that goes on with the same device.
#include "devicedownload.h"
#include "livecase.h"
#include "playbackcase.h"

#include <QTemporaryDir>

#include <algorithm>
#include <memory>
#include <vector>

using namespace vantratest;
using namespace vantrasim;

namespace {

constexpr int kChannels = 4;

} // namespace

class TestDownloadBeside : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void fourDownloads_disturbNeitherViewNorPlaybackNorRecording();

protected:
    void setUp() override
    {
        log->expectMatching(Logger::Warning,
                            QRegularExpression("^\\(svmp4ff\\).*\\.mp4 pts \\(\\d+:\\d+\\)$"));
        QVERIFY(Vantra::init());
    }
    void tearDown() override { Vantra::release(); }
};

void TestDownloadBeside::fourDownloads_disturbNeitherViewNorPlaybackNorRecording()
{
    const QTemporaryDir folder;
    DeviceConfig config = recorder(kChannels, HCodecH264, HCodecG711A);
    for (int i = 1; i < kChannels; i += 2)
        config.channels[i].streams[0].video.codec = HCodecH265;
    config.queueMs = 60000;
    const Simulation sim = simulateDevice(config);
    const QDateTime begin = at(10, 0), end = at(10, 0, 12);
    const Heartbeat heart;

    LiveView live;
    QVERIFY(live.begin(sim.device, 0, 0));
    live.recordStart(folder.filePath("live"));
    PlaybackView playback;
    QVERIFY(playback.begin(sim.device, 1, at(12, 0), at(13, 0)));
    QVERIFY(live.showsMore());
    QVERIFY(playback.showsMore());

    std::vector<std::unique_ptr<Download>> downloads;
    for (int i = 0; i < kChannels; ++i) {
        downloads.push_back(std::make_unique<Download>(
            sim.device, i, begin, end, folder.filePath(QStringLiteral("channel %1").arg(i))));
        downloads.back()->thread.setSaveAudio(true);
        downloads.back()->thread.startDL();
    }
    QVERIFY(waitFor(
        [&] {
            return std::all_of(downloads.begin(), downloads.end(),
                               [](const auto &download) { return download->thread.isFinished(); });
        },
        kDownloadMs));
    // What runs in real time goes on behind them.
    QVERIFY(live.showsMore(20));
    QVERIFY(playback.showsMore(20));
    playback.stop();
    QVERIFY(playback.waitForEnd());
    live.recordStop();
    QVERIFY(live.showsMore());
    live.finish();
    QVERIFY(waitFor([&] { return !threadOf(sim.device, 0); }));
    QVERIFY2(heart.longestGap() < kFrozenMs, qPrintable(QString::number(heart.longestGap())));

    for (int i = 0; i < kChannels; ++i) {
        QVERIFY(downloads[i]->ok());
        QCOMPARE(downloads[i]->names(),
                 QStringList{QStringLiteral("20260314T100000_20260314T100011_%1.mp4").arg(i)});
        QVector<qint64> counters;
        QCOMPARE(faultOf(downloads[i]->files().first(), true, &counters), QString());
        QCOMPARE(counters, countersOf(begin, end));
    }
    QCOMPARE(live.faults({config.number, 0, 0}), QString());
    QCOMPARE(playback.counters(), countersOf(at(12, 0), at(13, 0)).mid(0, playback.count()));
    const QStringList recorded = filesBelow(folder.filePath("live"));
    QCOMPARE(recorded.size(), 1);
    RecordedFile file;
    QCOMPARE(faultOfRecording(recorded.first(), &file), QString());
}

QTEST_MAIN(TestDownloadBeside)
#include "tst_downloadbeside.moc"
