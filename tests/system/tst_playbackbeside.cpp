// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Playbacks beside whatever else goes on with the same device, none of which may notice another.
#include "core_vod/orvovoddlthread.h"
#include "livecase.h"
#include "playbackcase.h"
#include "support/heartbeat.h"
#include "support/signalrecorder.h"

#include <QTemporaryDir>

using namespace vantratest;
using namespace vantrasim;

class TestPlaybackBeside : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void everythingAtOnce_isUndisturbed();
    void fourPlaybacks_areUndisturbed_byOneThatIsPausedAndOneThatEnds();

protected:
    void setUp() override
    {
        log->expectMatching(Logger::Warning,
                            QRegularExpression("^\\(svmp4ff\\).*\\.mp4 pts \\(\\d+:\\d+\\)$"));
        QVERIFY(Vantra::init());
    }
    void tearDown() override { Vantra::release(); }
};

/// A live view that is recorded, two playbacks and a download, the first three of one channel.
void TestPlaybackBeside::everythingAtOnce_isUndisturbed()
{
    DeviceConfig config = recorder(2, HCodecH264, HCodecG711A);
    config.channels[1].streams[0].video.codec = HCodecH265;
    config.queueMs = 60000;
    const Simulation sim = simulateDevice(config);
    const QTemporaryDir folder;
    const Heartbeat heart;

    LiveView live;
    QVERIFY(live.begin(sim.device, 0, 0));
    live.recordStart(folder.filePath("live"));
    PlaybackView first, second;
    QVERIFY(first.begin(sim.device, 0, at(10, 0), at(11, 0)));
    QVERIFY(second.begin(sim.device, 1, at(12, 0), at(13, 0)));
    SignalRecorder heard;
    OrvoVodDLThread download;
    heard.watch(&download, &AbstractVideoDLThread::sig_downloadFinsh, "finsh");
    download.bindDevice(sim.device, 0);
    download.setDateTime(at(10, 0), at(10, 0, 12));
    download.setSavePath(folder.filePath("download"));
    download.setReadTimeout(60000);
    download.startDL();

    const int pictures = 2 * kRecordedFps;
    QVERIFY(waitFor([&] {
        return heard.count("finsh") == 1 && live.count() > pictures && first.count() > pictures &&
               second.count() > pictures;
    }));
    first.seekFile(at(10, 30)); // which concerns nobody else
    const qint64 landed = counterOf(deviceTime(at(10, 30)));
    QVERIFY(waitFor([&] { return first.counters().contains(landed); }));
    second.pause();
    QVERIFY(live.showsMore());
    second.resume();
    QVERIFY(second.showsMore());
    const QVector<qint64> before = first.counters();
    first.stop();
    QVERIFY(second.showsMore());
    QVERIFY(live.showsMore());
    second.stop();
    live.recordStop();
    QVERIFY(live.showsMore());
    live.finish();
    QVERIFY(first.waitForEnd() && second.waitForEnd());
    const qint64 gap = heart.longestGap();

    QCOMPARE(live.faults({config.number, 0, 0}), QString());
    const int seek = before.indexOf(landed);
    QCOMPARE(before.mid(0, seek), countersOf(at(10, 0), at(11, 0)).mid(0, seek));
    QCOMPARE(before.mid(seek), countersOf(at(10, 30), at(11, 0)).mid(0, before.size() - seek));
    QVERIFY(first.isAllOf({config.number, 0, 0}));
    QCOMPARE(second.counters(), countersOf(at(12, 0), at(13, 0)).mid(0, second.count()));
    QVERIFY(second.isAllOf({config.number, 1, 0}));
    QVERIFY(heard.calls("finsh").first().arguments.first().toBool());
    RecordedFile file;
    const QStringList downloaded = filesBelow(folder.filePath("download"));
    QCOMPARE(downloaded.size(), 1);
    QCOMPARE(faultOfRecording(downloaded.first(), &file), QString());
    QCOMPARE(file.counters, countersOf(at(10, 0), at(10, 0, 12)));
    QVERIFY(waitFor([&] { return !threadOf(sim.device, 0); }));
    const QStringList recorded = filesBelow(folder.filePath("live"));
    QCOMPARE(recorded.size(), 1);
    QCOMPARE(faultOfRecording(recorded.first(), &file), QString());
    QVERIFY(file.counters.size() > pictures);
    QVERIFY2(gap < kFrozenMs, qPrintable(QString::number(gap)));
    QCOMPARE(sim.control->openPlaybacks() + sim.control->openDownloads(), 0);
}

void TestPlaybackBeside::fourPlaybacks_areUndisturbed_byOneThatIsPausedAndOneThatEnds()
{
    DeviceConfig config = recorder(5);
    config.mostPlaybacks = 4;
    for (int i = 1; i < 5; i += 2)
        config.channels[i].streams[0].video.codec = HCodecH265;
    const Simulation sim = simulateDevice(config);
    std::vector<std::unique_ptr<PlaybackView>> views;
    for (int i = 0; i < 4; ++i) {
        views.push_back(std::make_unique<PlaybackView>());
        const QDateTime end = i == 3 ? at(10, 0, 2) : at(11, 0);
        QVERIFY(views.back()->begin(sim.device, i, at(10, 0), end));
    }
    for (const auto &view : views)
        QVERIFY(view->showsMore(3));
    QCOMPARE(sim.control->openPlaybacks(), 4);

    PlaybackView fifth;
    log->expect(Logger::Warning, QStringLiteral("(orvodthr)vod start err 17"));
    QVERIFY(fifth.begin(sim.device, 4, at(10, 0), at(11, 0)));
    QVERIFY(fifth.waitForEnd());
    QCOMPARE(fifth.told(), QStringList({"max", "finsh"}));
    views[0]->pause();
    views[1]->setSpeed(4);
    QVERIFY(views[3]->waitForEnd()); // by itself
    QVERIFY(fifth.start());          // in its place
    QVERIFY(fifth.showsMore());
    QVERIFY(views[1]->showsMore(20));
    QVERIFY(views[2]->showsMore(20));
    const int paused = views[0]->count();
    views[0]->resume();
    QVERIFY(views[0]->showsMore());
    QVERIFY(views[0]->count() > paused);

    QCOMPARE(views[3]->counters(), countersOf(at(10, 0), at(10, 0, 2)));
    for (int i = 0; i < 3; ++i) {
        views[i]->stop();
        QCOMPARE(views[i]->counters(), countersOf(at(10, 0), at(11, 0)).mid(0, views[i]->count()));
        QVERIFY(views[i]->isAllOf({config.number, i, 0}));
    }
    views.clear();
    QVERIFY(fifth.showsMore());
    QCOMPARE(fifth.counters(), countersOf(at(10, 0), at(11, 0)).mid(0, fifth.count()));
    fifth.stop();
    QVERIFY(fifth.waitForEnd());
    QCOMPARE(sim.control->openPlaybacks(), 0);
}

QTEST_MAIN(TestPlaybackBeside)
#include "tst_playbackbeside.moc"
