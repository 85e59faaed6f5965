// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "onestream.h"

#include "support/waitfor.h"

#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace vantrasim;

/// What a simulated device answers, and when it sends.
class TestSimulatedDevice : public QObject
{
    Q_OBJECT

private slots:
    void topology_isThatOfTheConfiguration();
    void missingStreams_areThoseOfTheLastOne();
    void unknownStreams_areRefused();
    void read_timesOut_whileTheStreamIsClosed();
    void read_withTimeoutZero_returnsAtOnce();
    void frames_areNotSentBeforeTheirTime();
    void lateReader_getsWhatIsKept_thenAKeyFrameOfNow();
    void enable_answersAlready_whenOpen();
    void enable_answersExceedMax_atTheLimit();
    void codecInfo_isTheForm_untilItIsSet();
    void calls_areCountedAndKeptInOrder();
    void streams_doNotHoldEachOtherUp();
    void everyOperation_bearsManyThreads();
};

void TestSimulatedDevice::topology_isThatOfTheConfiguration()
{
    DeviceConfig config = DeviceConfig::simple(3, 2, HTransportZelk);
    config.serial = QStringLiteral("S-7");
    config.address = QStringLiteral("192.0.2.7");
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.device->getConnectStatus(), HChannelConnected);
    QCOMPARE(sim.device->getChannelCount(), 3);
    QCOMPARE(sim.device->getStreamCount(), 6);
    QCOMPARE(sim.device->getStreamCountPerChannel(), 2);
    QCOMPARE(sim.device->getStreamProtocol(), HTransportZelk);
    QCOMPARE(sim.device->serialNumber(), QStringLiteral("S-7"));
    QCOMPARE(sim.device->getIPAddr(), QStringLiteral("192.0.2.7"));
    // A stream can be asked about before it is sent: it is there.
    QCOMPARE(sim.device->getStreamStatus(2, 1), HChannelConnected);
    sim.control->pretendStreamCount(7);
    QCOMPARE(sim.device->getStreamCount(), 7);
    QCOMPARE(simulateDevice(DeviceConfig()).device->getStreamCount(), 0);
}

void TestSimulatedDevice::missingStreams_areThoseOfTheLastOne()
{
    DeviceConfig config = DeviceConfig::simple(2, 2);
    config.channels[1].streams.removeLast();
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.device->getStreamCount(), 4);
    HVideoEncPara main;
    HVideoEncPara sub;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(1, 0, main, audio), HRetOk);
    QCOMPARE(sim.device->getCodecInfo(1, 1, sub, audio), HRetOk);
    QVERIFY(main == sub);
}

void TestSimulatedDevice::unknownStreams_areRefused()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1));
    HVideoEncPara video;
    HAudioEncPara audio;
    FrameBuffer buffer;
    for (const auto &[channel, stream] : {std::pair(1, 0), std::pair(0, 1), std::pair(-1, 0)}) {
        QCOMPARE(sim.device->getStreamStatus(channel, stream), HChannelDisconnected);
        QCOMPARE(sim.device->enableMediaTransmit(channel, stream, true), HRetRefused);
        QCOMPARE(sim.device->requestVideoIFrame(channel, stream), HRetRefused);
        QCOMPARE(sim.device->getCodecInfo(channel, stream, video, audio), HRetRefused);
        QCOMPARE(sim.device->setCodecInfo(channel, stream, video, audio), HRetRefused);
        QCOMPARE(sim.device->readFrame(channel, stream, buffer.header(), 1), HRetTimeout);
    }
}

void TestSimulatedDevice::read_timesOut_whileTheStreamIsClosed()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1));
    FrameBuffer buffer;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(sim.device->readFrame(0, 0, buffer.header(), 60), HRetTimeout);
    QVERIFY(timer.elapsed() >= 60); // it waits that long, for the stream may be opened
}

void TestSimulatedDevice::read_withTimeoutZero_returnsAtOnce()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    int frames = 0;
    QVERIFY(vantratest::waitFor([&] {
        frames += sim.device->readFrame(0, 0, buffer.header(), 0) == HRetOk ? 1 : 0;
        return frames == 10;
    }));
}

void TestSimulatedDevice::frames_areNotSentBeforeTheirTime()
{
    const Simulation sim = simulateDevice(oneStream(format(HCodecH264, 320, 180, 50)));
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    for (int i = 0; i < 100; ++i) {
        QVERIFY(readOne(*sim.device, buffer, [](const HFrameHeader &) { return true; }));
        QVERIFY(buffer.header()->pts <= deviceNow());
    }
}

void TestSimulatedDevice::lateReader_getsWhatIsKept_thenAKeyFrameOfNow()
{
    DeviceConfig config = oneStream(format(HCodecH264, 320, 180, 25, 25));
    config.queueMs = 400;
    const Simulation sim = simulateDevice(config);
    sim.device->enableMediaTransmit(0, 0, true);
    FrameBuffer buffer;
    PictureReader reader;
    const auto isVideo = [](const HFrameHeader &h) { return h.isVideo(); };
    QVERIFY(readOne(*sim.device, buffer, isVideo));
    const qint64 first = buffer.header()->pts;
    // A little late: everything is still there, one frame after the other.
    QVERIFY(vantratest::waitFor([&] { return deviceNow() >= first + 200; }));
    QVERIFY(readOne(*sim.device, buffer, isVideo));
    const qint64 second = buffer.header()->pts;
    if (sim.control->counts(0, 0).skipped == 0) // unless this process stood still meanwhile
        QCOMPARE(second - first, qint64(40));
    // Too late: the stream goes on now, with a key frame.
    QVERIFY(vantratest::waitFor([&] { return deviceNow() >= second + 1000; }));
    QVERIFY(readOne(*sim.device, buffer, isVideo));
    QVERIFY(buffer.header()->isKeyFrame());
    QVERIFY(buffer.header()->pts >= second + 1000);
    QVERIFY(sim.control->counts(0, 0).skipped >= 20);
}

void TestSimulatedDevice::enable_answersAlready_whenOpen()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 2));
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetAlready);
    QCOMPARE(sim.control->openStreams(), 1);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, false), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetOk);
}

void TestSimulatedDevice::enable_answersExceedMax_atTheLimit()
{
    DeviceConfig config = DeviceConfig::simple(2, 2);
    config.mostLive = 2;
    const Simulation sim = simulateDevice(config);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(1, 0, true), HRetExceedMax);
    QCOMPARE(sim.device->enableMediaTransmit(0, 1, true), HRetAlready);
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, false), HRetOk);
    QCOMPARE(sim.device->enableMediaTransmit(1, 0, true), HRetOk);
}

void TestSimulatedDevice::codecInfo_isTheForm_untilItIsSet()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(2, 2));
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(1, 1, video, audio), HRetOk);
    QCOMPARE(video.codecId, qint32(HCodecH265));
    QCOMPARE(video.width, 320);
    QCOMPARE(audio.codecId, qint32(HCodecG711U));
    video.width = 111;
    audio.sampleRate = 222;
    QCOMPARE(sim.device->setCodecInfo(1, 1, video, audio), HRetOk);
    HVideoEncPara video2;
    HAudioEncPara audio2;
    QCOMPARE(sim.device->getCodecInfo(1, 1, video2, audio2), HRetOk);
    QCOMPARE(video2.width, 111);
    QCOMPARE(audio2.sampleRate, 222);
    // Kept for that stream alone.
    QCOMPARE(sim.device->getCodecInfo(1, 0, video2, audio2), HRetOk);
    QCOMPARE(video2.width, 640);
}

void TestSimulatedDevice::calls_areCountedAndKeptInOrder()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(2, 2));
    FrameBuffer buffer;
    sim.device->getConnectStatus();
    sim.device->enableMediaTransmit(1, 0, true);
    sim.device->requestVideoIFrame(1, 0);
    sim.device->readFrame(1, 0, buffer.header(), 0);
    sim.device->enableMediaTransmit(1, 0, false);
    DeviceCalls &calls = sim.control->calls();
    QCOMPARE(calls.texts(), QStringList({QStringLiteral("enableMediaTransmit(1, 0, true)"),
                                         QStringLiteral("requestVideoIFrame(1, 0)"),
                                         QStringLiteral("enableMediaTransmit(1, 0, false)")}));
    QCOMPARE(calls.count(DeviceOp::readFrame), qint64(1));
    QCOMPARE(calls.count(DeviceOp::getConnectStatus), qint64(1));
    QCOMPARE(calls.count(DeviceOp::enableMediaTransmit), qint64(2));
    QCOMPARE(calls.count(DeviceOp::enableMediaTransmit, {1, 0, true}), 1);
    calls.clear();
    QCOMPARE(calls.count(DeviceOp::enableMediaTransmit), qint64(0));
    calls.keepAll(true);
    sim.device->readFrame(1, 0, buffer.header(), 0);
    QCOMPARE(calls.texts(), QStringList(QStringLiteral("readFrame(1, 0, 0)")));
}

void TestSimulatedDevice::streams_doNotHoldEachOtherUp()
{
    // One reader waits on a closed stream for ever so long; the other one's pictures flow.
    const Simulation sim = simulateDevice(DeviceConfig::simple(2, 1));
    sim.device->enableMediaTransmit(1, 0, true);
    std::atomic<bool> done{false};
    std::thread waiter([&] {
        FrameBuffer buffer;
        sim.device->readFrame(0, 0, buffer.header(), 60000);
        done = true;
    });
    QCOMPARE(readPictures(*sim.device, 1, 0, 30).size(), 30);
    QVERIFY(!done);
    // A stream that is opened meanwhile wakes its reader.
    sim.device->enableMediaTransmit(0, 0, true);
    waiter.join();
    QVERIFY(done);
}

void TestSimulatedDevice::everyOperation_bearsManyThreads()
{
    DeviceConfig config = DeviceConfig::simple(2, 2);
    for (ChannelConfig &channel : config.channels) {
        for (StreamConfig &stream : channel.streams)
            stream.video = format(stream.video.codec, 176, 144, 60);
    }
    const Simulation sim = simulateDevice(config);
    std::atomic<bool> stop{false};
    std::atomic<int> frames{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            FrameBuffer buffer;
            while (!stop) {
                if (sim.device->readFrame(i / 2, i % 2, buffer.header(), 20) == HRetTimeout)
                    sim.device->enableMediaTransmit(i / 2, i % 2, true);
                else
                    ++frames;
                HVideoEncPara video;
                HAudioEncPara audio;
                sim.device->getCodecInfo(i / 2, i % 2, video, audio);
                sim.device->setCodecInfo(i / 2, i % 2, video, audio);
            }
        });
    }
    threads.emplace_back([&] {
        for (int round = 0; !stop; ++round) {
            sim.device->enableMediaTransmit(round % 2, round / 2 % 2, round % 5 != 0);
            sim.device->requestVideoIFrame(round % 2, round / 2 % 2);
            sim.device->getStreamStatus(0, 0);
            if (round % 50 == 0)
                sim.control->loseConnection(5);
            char sound[320] = {};
            sim.device->startTalk(0);
            sim.device->sendTalkData(sound, sizeof sound, 0);
            sim.device->stopTalk(0);
            sim.control->counts(1, 1);
            sim.control->setStalled(round % 7 == 0, {1, 1});
            std::this_thread::sleep_for(Milliseconds(2));
        }
    });
    const bool flowed = vantratest::waitFor([&] { return frames > 200; }, 60000);
    stop = true;
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY(flowed);
}

QTEST_GUILESS_MAIN(TestSimulatedDevice)
#include "tst_simulateddevice.moc"
