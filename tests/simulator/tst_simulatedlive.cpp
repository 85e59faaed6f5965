// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_live/ffrtsplivethread.h"
#include "core_live/orvolivethread.h"
#include "core_live/zelklivethread.h"

#include "simulator/devicecontrol.h"

#include "support/counterblocks.h"
#include "support/loggedtest.h"
#include "support/waitfor.h"

#include <QImage>
#include <QtTest>

#include <atomic>
#include <optional>

using namespace vantrasim;
using namespace vantratest;

namespace {

/// What arrived of one stream. Filled on the stream's thread, which reuses its buffer as soon as
/// the signal is over: a slot that is called later may find the picture after the next.
struct Arrived
{
    std::atomic<int> pictures{0};
    std::atomic<int> wrong{0};  ///< without a counter, or of another stream
    std::atomic<int> jumps{0};  ///< counters that did not follow the one before
    std::atomic<int> sounds{0}; ///< blocks of PCM
    std::optional<quint32> last;
};

} // namespace

/// The library's live threads on simulated devices of each protocol: what the simulator sends is
/// what they take.
class TestSimulatedLive : public LoggedTest
{
    Q_OBJECT

private slots:
    void pictures_arriveOneByOne_data();
    void pictures_arriveOneByOne();
    void connection_comesBack_andPicturesGoOn();
};

void TestSimulatedLive::pictures_arriveOneByOne_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<int>("channel");
    for (const int channel : {0, 1}) { // H.264 and A-law, H.265 and mu-law
        const QByteArray name = channel == 0 ? " H.264" : " H.265";
        QTest::newRow("orvo" + name) << int(HTransportOrvo) << channel;
        QTest::newRow("zelk" + name) << int(HTransportZelk) << channel;
        QTest::newRow("rtsp" + name) << int(HTransportRtsp) << channel;
    }
}

namespace {

template<typename Thread>
std::unique_ptr<AbstractVideoThread> bound(const Simulation &sim, int channel, int stream)
{
    auto thread = std::make_unique<Thread>();
    thread->bindDevice(sim.device);
    thread->setStreamChannel(channel, stream);
    return thread;
}

std::unique_ptr<AbstractVideoThread> threadFor(const Simulation &sim, int channel, int stream)
{
    switch (sim.control->config().protocol) {
    case HTransportOrvo:
        return bound<OrvoLiveThread>(sim, channel, stream);
    case HTransportZelk:
        return bound<ZelkLiveThread>(sim, channel, stream);
    default:
        return bound<FFRtspLiveThread>(sim, channel, stream);
    }
}

void watch(AbstractVideoThread *thread, Arrived *arrived, SceneId scene)
{
    thread->setVideoMode(VideoMode_Painter);
    thread->setReadTimeout(5000);
    thread->setConnectTimeout(5000);
    QObject::connect(
        thread, &AbstractVideoThread::receiveImage, thread,
        [arrived, scene](const QImage &image, int) {
            const auto counter = readCounter(image);
            const auto seen = readSceneId(image);
            arrived->wrong += counter && seen && *seen == scene ? 0 : 1;
            arrived->jumps += counter && arrived->last && *counter != *arrived->last + 1 ? 1 : 0;
            arrived->last = counter;
            ++arrived->pictures;
        },
        Qt::DirectConnection);
    QObject::connect(
        thread, &AbstractVideoThread::receiveAudio, thread,
        [arrived](const QByteArray &) { ++arrived->sounds; }, Qt::DirectConnection);
    thread->previewRef() += 1;
    thread->start();
}

} // namespace

void TestSimulatedLive::pictures_arriveOneByOne()
{
    QFETCH(int, protocol);
    QFETCH(int, channel);
    DeviceConfig config = DeviceConfig::simple(2, 2, HTransportProtocol(protocol));
    config.number = 5;
    config.queueMs = 60000;
    const Simulation sim = simulateDevice(config);
    Arrived main;
    Arrived sub;
    if (protocol == HTransportRtsp) // a read that is ended says so
        log->expectMatching(Logger::Warning, QRegularExpression(QStringLiteral("try to stop$")));
    const auto mainThread = threadFor(sim, channel, 0);
    const auto subThread = threadFor(sim, channel, 1);
    watch(mainThread.get(), &main, {5, channel, 0});
    watch(subThread.get(), &sub, {5, channel, 1});
    QVERIFY(waitFor([&] { return main.pictures >= 60 && sub.pictures >= 30 && main.sounds > 0; },
                    60000));
    for (AbstractVideoThread *thread : {mainThread.get(), subThread.get()}) {
        thread->stop();
        QVERIFY(waitFor([&] { return thread->isFinished(); }));
    }
    QCOMPARE(main.wrong.load() + sub.wrong.load(), 0);
    QCOMPARE(main.jumps.load() + sub.jumps.load(), 0);
}

void TestSimulatedLive::connection_comesBack_andPicturesGoOn()
{
    for (const HTransportProtocol protocol : {HTransportOrvo, HTransportZelk}) {
        DeviceConfig config = DeviceConfig::simple(1, 1, protocol);
        const Simulation sim = simulateDevice(config);
        Arrived arrived;
        const auto thread = threadFor(sim, 0, 0);
        watch(thread.get(), &arrived, {0, 0, 0});
        thread->setReadTimeout(500);
        QVERIFY(waitFor([&] { return arrived.pictures >= 10; }));
        if (protocol == HTransportZelk) // it asks while there is no device
            log->expectMatching(Logger::Warning,
                                QRegularExpression(QStringLiteral("start media transmit fail")));
        sim.control->loseConnection(300);
        const int before = arrived.pictures;
        QVERIFY(waitFor([&] { return arrived.pictures >= before + 30; }));
        QCOMPARE(arrived.wrong.load(), 0);
        thread->stop();
        QVERIFY(waitFor([&] { return thread->isFinished(); }));
        QCOMPARE(sim.control->openStreams(), 0);
    }
}

QTEST_MAIN(TestSimulatedLive)
#include "tst_simulatedlive.moc"
