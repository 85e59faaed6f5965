// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "rtspclient.h"

#include "simulator/simulateddevice.h"

#include "devicelink/hnetdevice.h"

#include "support/waitfor.h"

#include <QtTest>

#include <thread>

using namespace vantrasim;

/// A simulated device that sends by RTSP.
class TestSimulatedRtsp : public QObject
{
    Q_OBJECT

private slots:
    void urls_areOnePerStream_inFlatOrder();
    void framesOfThePrivateProtocols_areRefused();
    void pictures_tellChannelAndStream();
    void lostConnection_endsTheServer_whichComesBackOnItsPort();
    void stall_sendsNothing();
    void form_changes_andIsTold();
    void form_outlivesTheServer_alsoIfItChangedMeanwhile();
    void device_mayBeMadeAndDestroyedOnAnyThread();
};

void TestSimulatedRtsp::urls_areOnePerStream_inFlatOrder()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(2, 2, HTransportRtsp));
    QCOMPARE(sim.device->getStreamProtocol(), HTransportRtsp);
    const QStringList urls = sim.device->getRtspUrls();
    QCOMPARE(urls.size(), 4);
    QVERIFY(urls[1].endsWith(QStringLiteral("/ch0-1")));
    QVERIFY(urls[2].endsWith(QStringLiteral("/ch1-0")));
    QCOMPARE(sim.device->getRtspUrls(), urls);
    QVERIFY(simulateDevice(DeviceConfig::simple(1, 1)).device->getRtspUrls().isEmpty());
}

void TestSimulatedRtsp::framesOfThePrivateProtocols_areRefused()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1, HTransportRtsp));
    QCOMPARE(sim.device->enableMediaTransmit(0, 0, true), HRetRefused);
    QCOMPARE(sim.device->getConnectStatus(), HChannelConnected);
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(0, 0, video, audio), HRetOk);
    QVERIFY(video.isValid() && audio.isValid());
}

void TestSimulatedRtsp::pictures_tellChannelAndStream()
{
    DeviceConfig config = DeviceConfig::simple(2, 2, HTransportRtsp);
    config.number = 3;
    const Simulation sim = simulateDevice(config);
    const QStringList urls = sim.device->getRtspUrls();
    for (int index = 0; index < 4; ++index) {
        RtspClient client;
        QVERIFY(client.open(urls[index]));
        QCOMPARE(client.videoCodec(), index < 2 ? QStringLiteral("h264") : QStringLiteral("hevc"));
        QCOMPARE(client.audioCodec(),
                 index < 2 ? QStringLiteral("pcm_alaw") : QStringLiteral("pcm_mulaw"));
        const QList<Picture> pictures = client.pictures(10);
        QCOMPARE(pictures.size(), 10);
        QVERIFY(isGapless(pictures));
        for (const Picture &picture : pictures) {
            QVERIFY(picture.scene.has_value());
            QVERIFY((*picture.scene == vantratest::SceneId{3, index / 2, index % 2}));
            QCOMPARE(picture.size, index % 2 == 0 ? QSize(640, 360) : QSize(320, 180));
        }
    }
}

void TestSimulatedRtsp::lostConnection_endsTheServer_whichComesBackOnItsPort()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1, HTransportRtsp));
    const QString url = sim.device->getRtspUrls().value(0);
    RtspClient client;
    QVERIFY(client.open(url));
    QCOMPARE(client.pictures(3).size(), 3);
    sim.control->loseConnection();
    QCOMPARE(sim.device->getConnectStatus(), HChannelDisconnected);
    client.readToEnd();
    QVERIFY(!client.timedOut());
    RtspClient late;
    late.setPatience(500);
    QVERIFY(!late.open(url));
    sim.control->restoreConnection();
    QVERIFY(vantratest::waitFor([&] {
        RtspClient again;
        return again.open(url) && again.pictures(3).size() == 3;
    }));
    QCOMPARE(sim.device->getRtspUrls().value(0), url);
    // For a time.
    sim.control->loseConnection(200);
    QVERIFY(vantratest::waitFor([&] {
        RtspClient again;
        return again.open(url) && again.pictures(3).size() == 3;
    }));
    QCOMPARE(sim.device->getConnectStatus(), HChannelConnected);
}

void TestSimulatedRtsp::stall_sendsNothing()
{
    const Simulation sim = simulateDevice(DeviceConfig::simple(1, 1, HTransportRtsp));
    RtspClient client;
    QVERIFY(client.open(sim.device->getRtspUrls().value(0)));
    QCOMPARE(client.pictures(3).size(), 3);
    sim.control->setStalled(true);
    QVERIFY(vantratest::waitFor([&] { return client.isSilent(500); }));
    sim.control->setStalled(false);
    QCOMPARE(client.pictures(3).size(), 3);
}

void TestSimulatedRtsp::form_changes_andIsTold()
{
    DeviceConfig config = DeviceConfig::simple(1, 1, HTransportRtsp);
    const Simulation sim = simulateDevice(config);
    RtspClient client;
    QVERIFY(client.open(sim.device->getRtspUrls().value(0)));
    StreamConfig form = config.channels[0].streams[0];
    form.video.width = 352;
    form.video.height = 288;
    sim.control->setForm(0, 0, form);
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(sim.device->getCodecInfo(0, 0, video, audio), HRetOk);
    QCOMPARE(video.width, 352);
    QVERIFY(vantratest::waitFor([&] {
        const QList<Picture> pictures = client.pictures(1);
        return !pictures.isEmpty() && pictures.last().size == QSize(352, 288);
    }));
    form.video.codec = HCodecH265; // whoever watches is sent away, and finds the new codec
    sim.control->setForm(0, 0, form);
    RtspClient again;
    QVERIFY(again.open(sim.device->getRtspUrls().value(0)));
    QCOMPARE(again.videoCodec(), QStringLiteral("hevc"));
}

void TestSimulatedRtsp::form_outlivesTheServer_alsoIfItChangedMeanwhile()
{
    DeviceConfig config = DeviceConfig::simple(1, 2, HTransportRtsp);
    const Simulation sim = simulateDevice(config);
    const QStringList urls = sim.device->getRtspUrls();
    StreamConfig form = config.channels[0].streams[0];
    form.video.codec = HCodecH265;
    form.audio.codec = 0; // its sound does not change
    sim.control->setForm(0, 0, form);
    RtspClient watcher;
    QVERIFY(vantratest::waitFor([&] { return watcher.open(urls.value(1)); }));
    sim.control->loseConnection();
    watcher.readToEnd(); // the server has gone
    sim.control->setForm(0, 1, form);
    sim.control->restoreConnection();
    for (int stream = 0; stream < 2; ++stream) {
        RtspClient client;
        QVERIFY(vantratest::waitFor([&] { return client.open(urls.value(stream)); }));
        QCOMPARE(client.videoCodec(), QStringLiteral("hevc"));
        HVideoEncPara video;
        HAudioEncPara audio;
        QCOMPARE(sim.device->getCodecInfo(0, stream, video, audio), HRetOk);
        QCOMPARE(video.codecId, qint32(HCodecH265));
        QCOMPARE(audio.codecId, config.channels[0].streams[stream].audio.codec);
    }
}

void TestSimulatedRtsp::device_mayBeMadeAndDestroyedOnAnyThread()
{
    Simulation sim;
    std::thread maker([&] { sim = simulateDevice(DeviceConfig::simple(1, 1, HTransportRtsp)); });
    maker.join();
    RtspClient client;
    QVERIFY(client.open(sim.device->getRtspUrls().value(0))); // its maker's end did not end it
    std::thread breaker([&] { sim = Simulation(); });
    breaker.join();
    client.readToEnd();
    QVERIFY(!client.timedOut());
}

QTEST_GUILESS_MAIN(TestSimulatedRtsp)
#include "tst_simulatedrtsp.moc"
