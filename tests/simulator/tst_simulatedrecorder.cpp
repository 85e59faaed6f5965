// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "framereader.h"

#include "simulator/simulateddevice.h"

#include "support/waitfor.h"

#include <QElapsedTimer>
#include <QtTest>

#include <thread>

using namespace vantrasim;

namespace {

QDateTime at(int hour, int minute, int second = 0, int ms = 0)
{
    return QDateTime(QDate(2026, 3, 14), QTime(hour, minute, second, ms));
}

StreamConfig form(qint32 codec, int width, int height, qint32 audio = HCodecG711A)
{
    StreamConfig stream;
    stream.video.codec = codec;
    stream.video.width = width;
    stream.video.height = height;
    stream.video.fps = 25;
    stream.audio.codec = audio;
    return stream;
}

/// One channel: recorded 10:00:00 to 10:00:04 in one form, 10:00:06 to 10:00:08 in the same one,
/// and straight on to 10:00:10 in another.
DeviceConfig withGaps()
{
    DeviceConfig config = DeviceConfig::simple(1, 1);
    ChannelConfig &channel = config.channels[0];
    channel.streams[0] = form(HCodecH264, 176, 144);
    channel.archive = {{at(10, 0, 6), at(10, 0, 8), form(HCodecH264, 176, 144)},
                       {at(10, 0, 0), at(10, 0, 4), form(HCodecH264, 176, 144)},
                       {at(10, 0, 8), at(10, 0, 10), form(HCodecH265, 320, 180, HCodecG711U)}};
    return config;
}

VodStartPara play(const QDateTime &begin, const QDateTime &end,
                  const QDateTime &first = QDateTime())
{
    VodStartPara para;
    para.time0 = begin;
    para.time1 = end;
    para.time2 = first;
    return para;
}

struct Recorded
{
    HFrameHeader header;
    QByteArray payload;
    VodSdp sdp;
};

enum class Road { Playback, Download };

/// Reads to the end of the recording, or `most` frames. `last` is the answer that ended it.
QVector<Recorded> readAll(HNetDevice &device, Road road, HRetError *last = nullptr,
                          int most = 1 << 20)
{
    QVector<Recorded> frames;
    FrameBuffer buffer;
    QElapsedTimer quiet;
    quiet.start();
    HRetError answer = HRetOk;
    while (frames.size() < most && quiet.elapsed() < 20000) {
        answer = road == Road::Playback ? device.vodReadFrame(0, buffer.header(), 200)
                                        : device.vodReadDLFrame(0, buffer.header(), 200);
        if (answer == HRetTimeout)
            continue;
        if (answer != HRetOk || !buffer.isGuardWhole())
            break;
        quiet.restart();
        Recorded frame{*buffer.header(), buffer.payload(), VodSdp()};
        if (road == Road::Download)
            device.vodGetDownloadSdp(0, frame.sdp);
        frames.append(frame);
    }
    if (last != nullptr)
        *last = answer;
    return frames;
}

QVector<Recorded> videoOf(const QVector<Recorded> &frames)
{
    QVector<Recorded> video;
    for (const Recorded &frame : frames) {
        if (frame.header.isVideo())
            video.append(frame);
    }
    return video;
}

VodDownloadPara span(const QDateTime &begin, const QDateTime &end)
{
    return {begin, end};
}

} // namespace

/// The recorder's side of a simulated device.
class TestSimulatedRecorder : public QObject
{
    Q_OBJECT

private slots:
    void download_hasEveryFrameOnce_withItsTime();
    void download_isTheSameEachTime();
    void download_skipsGaps_andMarksAChangeOfForm();
    void download_ofNothing_endsAtOnce();
    void download_keepsToItsSpeed();
    void download_isRefused_withoutTimesOrBeyondTheLimit();
    void sdp_isRefused_whileNoDownloadIsOpen();
    void archive_withoutSpans_isAllOfThePast();
    void night_isDark();
    void playback_showsTheAskedTime_atItsPace();
    void playback_beginsWithinTheSpan_ifSaid();
    void playback_skipsGaps_withoutWaiting();
    void pause_stopsDelivery_untilResume();
    void seek_landsOnTheNextKeyFrame_data();
    void seek_landsOnTheNextKeyFrame();
    void seek_worksAfterTheEnd();
    void speed_isThatAskedFor_data();
    void speed_isThatAskedFor();
    void limits_areAnswered();
    void operations_areRefused_whileNothingPlays();
    void lostConnection_endsPlaybackAndDownload();
    void faults_strikeTheirRoadAlone();
    void recorded_tellsWhatThereIs();
    void twoReadersAndManySteerers_getAlong();
};

void TestSimulatedRecorder::download_hasEveryFrameOnce_withItsTime()
{
    const Simulation sim = simulateDevice(withGaps());
    QCOMPARE(sim.device->vodDownloadStart(0, span(at(10, 0, 0), at(10, 0, 3))), HRetOk);
    HRetError last = HRetOk;
    const QVector<Recorded> frames = readAll(*sim.device, Road::Download, &last);
    QCOMPARE(last, HRetEndOfFile);
    const QVector<Recorded> video = videoOf(frames);
    QCOMPARE(video.size(), 75);
    PictureReader reader;
    const qint64 begin = deviceTime(at(10, 0, 0));
    for (int i = 0; i < video.size(); ++i) {
        QCOMPARE(video[i].header.pts, begin + i * 40);
        QCOMPARE(video[i].header.isKeyFrame(), i % 25 == 0);
        const auto seen = reader.decode(video[i].header.codecId, video[i].payload);
        QVERIFY(seen && seen->counter);
        QCOMPARE(*seen->counter, quint32((begin + i * 40) / 40 & 0xFFFFFF));
        QVERIFY((*seen->scene == vantratest::SceneId{0, 0, 0}));
    }
    QCOMPARE(frames.size() - video.size(), 75); // as many sounds of 40 ms
    for (int i = 1; i < frames.size(); ++i)
        QVERIFY(frames[i].header.pts >= frames[i - 1].header.pts);
    QCOMPARE(sim.control->download(0).pictures, qint64(75));
    QCOMPARE(sim.device->vodDownloadStop(0), HRetOk);
    QCOMPARE(sim.control->openDownloads(), 0);
}

void TestSimulatedRecorder::download_isTheSameEachTime()
{
    QVector<QByteArray> runs;
    for (int run = 0; run < 2; ++run) {
        const Simulation sim = simulateDevice(withGaps());
        sim.device->vodDownloadStart(0, span(at(10, 0, 0), at(10, 0, 10)));
        QByteArray all;
        for (const Recorded &frame : readAll(*sim.device, Road::Download))
            all += QByteArray::number(frame.header.pts) + frame.payload;
        runs << all;
    }
    QVERIFY(runs[0].size() > 10000);
    QVERIFY(runs[0] == runs[1]);
}

void TestSimulatedRecorder::download_skipsGaps_andMarksAChangeOfForm()
{
    const Simulation sim = simulateDevice(withGaps());
    sim.device->vodDownloadStart(0, span(at(9, 0), at(11, 0)));
    const QVector<Recorded> video = videoOf(readAll(*sim.device, Road::Download));
    QCOMPARE(video.size(), 100 + 50 + 50);
    QCOMPARE(video[99].header.pts, deviceTime(at(10, 0, 4)) - 40);
    QCOMPARE(video[100].header.pts, deviceTime(at(10, 0, 6)));
    QVERIFY(video[100].header.isKeyFrame());
    // A gap alone is no change of form.
    QCOMPARE(video[100].sdp.sdpMark, video[99].sdp.sdpMark);
    QVERIFY(video[150].sdp.sdpMark != video[149].sdp.sdpMark);
    QVERIFY(video[150].header.isKeyFrame());
    QVERIFY(video[150].sdp.hasVideo && video[150].sdp.hasAudio);
    QCOMPARE(video[149].sdp.video.codecId, qint32(HCodecH264));
    QCOMPARE(video[150].sdp.video.codecId, qint32(HCodecH265));
    QCOMPARE(video[150].sdp.video.width, 320);
    QCOMPARE(video[150].sdp.audio.codecId, qint32(HCodecG711U));
}

void TestSimulatedRecorder::download_ofNothing_endsAtOnce()
{
    const Simulation sim = simulateDevice(withGaps());
    QCOMPARE(sim.device->vodDownloadStart(0, span(at(12, 0), at(13, 0))), HRetOk);
    FrameBuffer buffer;
    QCOMPARE(sim.device->vodReadDLFrame(0, buffer.header(), 200), HRetEndOfFile);
    QCOMPARE(sim.device->vodReadDLFrame(0, buffer.header(), 200), HRetEndOfFile);
}

void TestSimulatedRecorder::download_keepsToItsSpeed()
{
    DeviceConfig config = withGaps();
    const Simulation quick = simulateDevice(config); // whose pictures, once encoded, are shared
    quick.device->vodDownloadStart(0, span(at(10, 0, 0), at(10, 0, 3)));
    QCOMPARE(videoOf(readAll(*quick.device, Road::Download)).size(), 75);
    config.downloadSpeed = 8;
    const Simulation sim = simulateDevice(config);
    sim.device->vodDownloadStart(0, span(at(10, 0, 0), at(10, 0, 3)));
    const auto begun = SteadyClock::now();
    QCOMPARE(videoOf(readAll(*sim.device, Road::Download)).size(), 75);
    QVERIFY(SteadyClock::now() - begun >= Milliseconds(74 * 40 / 8)); // no sooner
}

void TestSimulatedRecorder::download_isRefused_withoutTimesOrBeyondTheLimit()
{
    DeviceConfig config = DeviceConfig::simple(3, 1);
    config.mostDownloads = 2;
    const Simulation sim = simulateDevice(config);
    const VodDownloadPara good = span(at(10, 0), at(10, 1));
    QCOMPARE(sim.device->vodDownloadStart(0, span(QDateTime(), at(10, 1))), HRetRefused);
    QCOMPARE(sim.device->vodDownloadStart(3, good), HRetRefused);
    QCOMPARE(sim.device->vodDownloadStart(0xFFFFFFFFU, good), HRetRefused);
    QCOMPARE(sim.device->vodDownloadStart(0, good), HRetOk);
    QCOMPARE(sim.device->vodDownloadStart(0, good), HRetAlready);
    QCOMPARE(sim.device->vodDownloadStart(1, good), HRetOk);
    QCOMPARE(sim.device->vodDownloadStart(2, good), HRetExceedMax);
    QCOMPARE(sim.device->vodDownloadStop(1), HRetOk);
    QCOMPARE(sim.device->vodDownloadStart(2, good), HRetOk);
}

void TestSimulatedRecorder::sdp_isRefused_whileNoDownloadIsOpen()
{
    const Simulation sim = simulateDevice(withGaps());
    VodSdp sdp;
    QCOMPARE(sim.device->vodGetDownloadSdp(0, sdp), HRetRefused);
    QVERIFY(!sdp.hasVideo);
    sim.device->vodDownloadStart(0, span(at(10, 0, 8), at(10, 0, 9)));
    QCOMPARE(sim.device->vodGetDownloadSdp(0, sdp), HRetOk); // of what will come
    QCOMPARE(sdp.video.codecId, qint32(HCodecH265));
    sim.device->vodDownloadStop(0);
    QCOMPARE(sim.device->vodGetDownloadSdp(0, sdp), HRetRefused);
}

void TestSimulatedRecorder::archive_withoutSpans_isAllOfThePast()
{
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH264, 176, 144);
    const Simulation sim = simulateDevice(config);
    sim.device->vodDownloadStart(0, span(at(4, 5, 6), at(4, 5, 7)));
    const QVector<Recorded> video = videoOf(readAll(*sim.device, Road::Download));
    QCOMPARE(video.size(), 25);
    QCOMPARE(video[0].header.pts, deviceTime(at(4, 5, 6)));
    sim.device->vodDownloadStop(0);
    // The future has not been recorded.
    const QDateTime now = QDateTime::currentDateTime();
    sim.device->vodDownloadStart(0, span(now.addSecs(-2), now.addSecs(3600)));
    const QVector<Recorded> recent = videoOf(readAll(*sim.device, Road::Download));
    QVERIFY(!recent.isEmpty());
    QVERIFY(recent.last().header.pts <= deviceNow());
}

void TestSimulatedRecorder::night_isDark()
{
    QVERIFY(Archive::isNight(deviceTime(at(3, 0))));
    QVERIFY(!Archive::isNight(deviceTime(at(6, 0))));
    QVERIFY(!Archive::isNight(deviceTime(at(19, 59, 59))));
    QVERIFY(Archive::isNight(deviceTime(at(20, 0))));
    DeviceConfig config = DeviceConfig::simple(1, 1);
    config.channels[0].streams[0] = form(HCodecH264, 176, 144);
    const Simulation sim = simulateDevice(config);
    sim.device->vodDownloadStart(0, span(at(19, 59, 58), at(20, 0, 2)));
    PictureReader reader;
    int day = 0;
    int night = 0;
    for (const Recorded &frame : videoOf(readAll(*sim.device, Road::Download))) {
        const auto seen = reader.decode(frame.header.codecId, frame.payload);
        QVERIFY(seen && seen->counter);
        if (frame.header.pts < deviceTime(at(20, 0)))
            day = seen->roomY;
        else
            night = seen->roomY;
    }
    QVERIFY2(night > 0 && night < day - 30, qPrintable(QString::number(night)));
    QCOMPARE(reader.errors(), 0);
}

void TestSimulatedRecorder::playback_showsTheAskedTime_atItsPace()
{
    const Simulation sim = simulateDevice(withGaps());
    QCOMPARE(sim.device->vodStart(0, play(at(10, 0, 1), at(10, 0, 2))), HRetOk);
    HRetError last = HRetOk;
    const QVector<Recorded> first = readAll(*sim.device, Road::Playback, nullptr, 1);
    QCOMPARE(sim.device->vodSetSpeed(0, 1), HRetOk); // time counts from the next frame on
    const auto begun = SteadyClock::now();
    const QVector<Recorded> rest = videoOf(readAll(*sim.device, Road::Playback, &last));
    QCOMPARE(last, HRetEndOfFile);
    QCOMPARE(first[0].header.pts, deviceTime(at(10, 0, 1)));
    QVERIFY(first[0].header.isKeyFrame());
    QCOMPARE(rest.size(), 24);
    QVERIFY(SteadyClock::now() - begun >= Milliseconds(23 * 40)); // no sooner than recorded
    QVERIFY(sim.control->playback(0).position >= rest.last().header.pts);
}

void TestSimulatedRecorder::playback_beginsWithinTheSpan_ifSaid()
{
    const Simulation sim = simulateDevice(withGaps());
    sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 4), at(10, 0, 2, 500)));
    const QVector<Recorded> frames = readAll(*sim.device, Road::Playback, nullptr, 1);
    QCOMPARE(frames.value(0).header.pts, deviceTime(at(10, 0, 3)));
}

void TestSimulatedRecorder::playback_skipsGaps_withoutWaiting()
{
    DeviceConfig config = withGaps();
    config.channels[0].archive[0].begin = at(12, 0, 0); // two hours later
    config.channels[0].archive[0].end = at(12, 0, 1);
    config.channels[0].archive.removeLast();
    const Simulation sim = simulateDevice(config);
    sim.device->vodStart(0, play(at(10, 0, 3), QDateTime()));
    QCOMPARE(videoOf(readAll(*sim.device, Road::Playback)).size(), 50);
}

void TestSimulatedRecorder::pause_stopsDelivery_untilResume()
{
    const Simulation sim = simulateDevice(withGaps());
    sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 4)));
    const qint64 last = videoOf(readAll(*sim.device, Road::Playback, nullptr, 8)).last().header.pts;
    QCOMPARE(sim.device->vodPause(0), HRetOk);
    QVERIFY(sim.control->playback(0).paused);
    FrameBuffer buffer;
    QCOMPARE(sim.device->vodReadFrame(0, buffer.header(), 300), HRetTimeout);
    QCOMPARE(sim.device->vodResume(0), HRetOk);
    const QVector<Recorded> next = videoOf(readAll(*sim.device, Road::Playback, nullptr, 4));
    QCOMPARE(next.value(0).header.pts, last + 40); // nothing was lost
}

void TestSimulatedRecorder::seek_landsOnTheNextKeyFrame_data()
{
    QTest::addColumn<QDateTime>("asked");
    QTest::addColumn<QDateTime>("landed");
    QTest::newRow("on a key frame") << at(10, 0, 3) << at(10, 0, 3);
    QTest::newRow("between two") << at(10, 0, 1, 40) << at(10, 0, 2);
    QTest::newRow("in the last group") << at(10, 0, 3, 500) << at(10, 0, 6);
    QTest::newRow("in a gap") << at(10, 0, 5) << at(10, 0, 6);
    QTest::newRow("into another form") << at(10, 0, 8, 500) << at(10, 0, 9);
    QTest::newRow("back") << at(10, 0, 0) << at(10, 0, 0);
    QTest::newRow("before the span") << at(9, 0) << at(10, 0, 0);
}

void TestSimulatedRecorder::seek_landsOnTheNextKeyFrame()
{
    QFETCH(QDateTime, asked);
    QFETCH(QDateTime, landed);
    const Simulation sim = simulateDevice(withGaps());
    sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 10)));
    QCOMPARE(readAll(*sim.device, Road::Playback, nullptr, 10).size(), 10);
    QCOMPARE(sim.device->vodSeek(0, asked), HRetOk);
    const QVector<Recorded> frames = readAll(*sim.device, Road::Playback, nullptr, 1);
    QCOMPARE(frames.value(0).header.pts, deviceTime(landed));
    QVERIFY(frames.value(0).header.isKeyFrame());
    QCOMPARE(sim.control->calls().count(DeviceOp::vodSeek, {0U, deviceTime(asked)}), 1);
}

void TestSimulatedRecorder::seek_worksAfterTheEnd()
{
    const Simulation sim = simulateDevice(withGaps());
    sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 4), at(10, 0, 3)));
    HRetError last = HRetOk;
    readAll(*sim.device, Road::Playback, &last);
    QCOMPARE(last, HRetEndOfFile);
    QCOMPARE(sim.device->vodSeek(0, at(10, 0, 2)), HRetOk);
    QCOMPARE(readAll(*sim.device, Road::Playback, nullptr, 1).value(0).header.pts,
             deviceTime(at(10, 0, 2)));
    QCOMPARE(sim.device->vodSeek(0, QDateTime()), HRetRefused);
}

void TestSimulatedRecorder::speed_isThatAskedFor_data()
{
    QTest::addColumn<int>("asked");
    QTest::addColumn<double>("played");
    QTest::newRow("slow") << 0 << 0.5;
    QTest::newRow("plain") << 1 << 1.0;
    QTest::newRow("fast") << 8 << 8.0;
}

void TestSimulatedRecorder::speed_isThatAskedFor()
{
    QFETCH(int, asked);
    QFETCH(double, played);
    const Simulation sim = simulateDevice(withGaps());
    sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 4)));
    readAll(*sim.device, Road::Playback, nullptr, 1);
    QCOMPARE(sim.device->vodSetSpeed(0, asked), HRetOk);
    QCOMPARE(sim.control->playback(0).speed, played);
    QCOMPARE(sim.device->vodSetSpeed(0, -1), HRetRefused);
    const auto begun = SteadyClock::now();
    const QVector<Recorded> frames = readAll(*sim.device, Road::Playback, nullptr, 24);
    const double recorded = double(frames.last().header.pts - frames.first().header.pts);
    QVERIFY(SteadyClock::now() - begun >= Milliseconds(qint64(recorded / played)));
}

void TestSimulatedRecorder::limits_areAnswered()
{
    DeviceConfig config = DeviceConfig::simple(3, 1);
    config.mostPlaybacks = 2;
    const Simulation sim = simulateDevice(config);
    const VodStartPara good = play(at(10, 0), at(10, 1));
    QCOMPARE(sim.device->vodStart(0, play(QDateTime(), at(10, 1))), HRetRefused);
    QCOMPARE(sim.device->vodStart(3, good), HRetRefused);
    QCOMPARE(sim.device->vodStart(0, good), HRetOk);
    QCOMPARE(sim.device->vodStart(0, good), HRetAlready);
    QCOMPARE(sim.device->vodStart(1, good), HRetOk);
    QCOMPARE(sim.device->vodStart(2, good), HRetExceedMax);
    QCOMPARE(sim.control->openPlaybacks(), 2);
    QCOMPARE(sim.device->vodStop(0), HRetOk);
    QCOMPARE(sim.device->vodStart(2, good), HRetOk);
    sim.control->faults().refuse(DeviceOp::vodStart, HRetError(40));
    QCOMPARE(sim.device->vodStart(0, good), HRetError(40));
}

void TestSimulatedRecorder::operations_areRefused_whileNothingPlays()
{
    const Simulation sim = simulateDevice(withGaps());
    FrameBuffer buffer;
    QCOMPARE(sim.device->vodPause(0), HRetRefused);
    QCOMPARE(sim.device->vodResume(0), HRetRefused);
    QCOMPARE(sim.device->vodSeek(0, at(10, 0)), HRetRefused);
    QCOMPARE(sim.device->vodSetSpeed(0, 2), HRetRefused);
    QCOMPARE(sim.device->vodReadFrame(0, buffer.header(), 10), HRetTimeout);
    QCOMPARE(sim.device->vodReadDLFrame(0, buffer.header(), 10), HRetTimeout);
    QCOMPARE(sim.device->vodReadFrame(9, buffer.header(), 10), HRetTimeout);
    QCOMPARE(sim.device->vodPause(9), HRetRefused);
}

void TestSimulatedRecorder::lostConnection_endsPlaybackAndDownload()
{
    const Simulation sim = simulateDevice(withGaps());
    sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 4)));
    sim.device->vodDownloadStart(0, span(at(10, 0, 0), at(10, 0, 4)));
    readAll(*sim.device, Road::Playback, nullptr, 3);
    readAll(*sim.device, Road::Download, nullptr, 3);
    sim.control->loseConnection();
    FrameBuffer buffer;
    QCOMPARE(sim.device->vodReadFrame(0, buffer.header(), 20), HRetTimeout);
    QCOMPARE(sim.device->vodReadDLFrame(0, buffer.header(), 20), HRetTimeout);
    QCOMPARE(sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 4))), HRetRefused);
    QCOMPARE(sim.control->openPlaybacks() + sim.control->openDownloads(), 0);
    sim.control->restoreConnection();
    QCOMPARE(sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 4))), HRetOk);
}

void TestSimulatedRecorder::faults_strikeTheirRoadAlone()
{
    const Simulation sim = simulateDevice(withGaps());
    ScriptedFault fault;
    fault.fault = FrameFault::ReadError;
    fault.after = 2;
    fault.road = FaultRoad::Download;
    sim.control->faults().strike(fault);
    sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 1)));
    sim.device->vodDownloadStart(0, span(at(10, 0, 0), at(10, 0, 1)));
    HRetError last = HRetOk;
    QCOMPARE(videoOf(readAll(*sim.device, Road::Playback, &last)).size(), 25);
    QCOMPARE(last, HRetEndOfFile);
    QCOMPARE(readAll(*sim.device, Road::Download, &last).size(), 2);
    QCOMPARE(last, HRetError(99));
    QCOMPARE(videoOf(readAll(*sim.device, Road::Download, &last)).size(), 24);
    QCOMPARE(last, HRetEndOfFile);
}

void TestSimulatedRecorder::recorded_tellsWhatThereIs()
{
    const Simulation sim = simulateDevice(withGaps());
    const auto spans = sim.control->recorded(0, at(10, 0, 1), at(10, 0, 7));
    QCOMPARE(spans.size(), 2);
    QCOMPARE(spans[0].begin, deviceTime(at(10, 0, 1)));
    QCOMPARE(spans[0].end, deviceTime(at(10, 0, 4)));
    QCOMPARE(spans[1].begin, deviceTime(at(10, 0, 6)));
    QCOMPARE(spans[1].end, deviceTime(at(10, 0, 7)));
    QVERIFY(sim.control->recorded(5, at(10, 0), at(11, 0)).isEmpty());
}

void TestSimulatedRecorder::twoReadersAndManySteerers_getAlong()
{
    const Simulation sim = simulateDevice(withGaps());
    std::atomic<bool> stop{false};
    std::atomic<int> played{0};
    std::atomic<int> loaded{0};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        FrameBuffer buffer;
        while (!stop) {
            const HRetError answer = sim.device->vodReadFrame(0, buffer.header(), 10);
            if (answer == HRetOk)
                ++played;
            else
                sim.device->vodStart(0, play(at(10, 0, 0), at(10, 0, 10)));
            if (answer == HRetEndOfFile)
                sim.device->vodStop(0);
        }
    });
    threads.emplace_back([&] {
        FrameBuffer buffer;
        VodSdp sdp;
        while (!stop) {
            const HRetError answer = sim.device->vodReadDLFrame(0, buffer.header(), 10);
            if (answer == HRetOk)
                ++loaded;
            else
                sim.device->vodDownloadStart(0, span(at(10, 0, 0), at(10, 0, 10)));
            if (answer == HRetEndOfFile)
                sim.device->vodDownloadStop(0);
            sim.device->vodGetDownloadSdp(0, sdp);
        }
    });
    threads.emplace_back([&] {
        for (int round = 0; !stop; ++round) {
            sim.device->vodSetSpeed(0, 8);
            if (round % 3 == 0)
                sim.device->vodPause(0);
            sim.device->vodResume(0);
            if (round % 20 == 0)
                sim.device->vodSeek(0, at(10, 0, round / 20 % 10));
            if (round % 100 == 0)
                sim.control->loseConnection(3);
            sim.control->playback(0);
            sim.control->recorded(0, at(9, 0), at(11, 0));
            std::this_thread::sleep_for(Milliseconds(2));
        }
    });
    const bool flowed = vantratest::waitFor([&] { return played > 100 && loaded > 500; }, 60000);
    stop = true;
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY(flowed);
}

QTEST_GUILESS_MAIN(TestSimulatedRecorder)
#include "tst_simulatedrecorder.moc"
