// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The road of a frame from a device to the pixels of live widgets, for all three protocols.
#include "devicelink/hnetdevice.h"
#include "livecase.h"
#include "support/privatepulse.h"
#include "support/signalrecorder.h"

#include <QTemporaryDir>

using namespace vantratest;
using namespace vantrasim;

namespace {

constexpr int kEnough = 15; ///< pictures

SceneId sceneOf(const DeviceConfig &config, int channel, int stream)
{
    return {config.number, channel, stream};
}

} // namespace

class TestLive : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override
    {
        announceRtspStop(log.get());
        log->expectMatching(Logger::Warning,
                            QRegularExpression("^\\(ffvdthr\\)no audio stream in "));
        QVERIFY(Vantra::init());
        heart = std::make_unique<Heartbeat>();
    }
    void tearDown() override
    {
        const qint64 gap = heart->longestGap();
        heart.reset();
        Vantra::release();
        QVERIFY2(gap < kFrozenMs, qPrintable(QString::number(gap)));
    }

private slots:
    void initTestCase();

    void pictures_ofEachStream_reachItsWidget_withoutAGap_data() { roads(); }
    void pictures_ofEachStream_reachItsWidget_withoutAGap();
    void replay_showsTheOtherStream_withoutReconnecting_data() { roads(); }
    void replay_showsTheOtherStream_withoutReconnecting();
    void decoding_beginsWithAKeyFrame_forALateViewer_data() { protocols(); }
    void decoding_beginsWithAKeyFrame_forALateViewer();
    void subStream_keepsItsDecoder_whileItsViewerIsAway_data() { privateProtocols(); }
    void subStream_keepsItsDecoder_whileItsViewerIsAway();
    void mainStream_freesItsDecoders_whileItsViewerIsAway_data() { privateProtocols(); }
    void mainStream_freesItsDecoders_whileItsViewerIsAway();
    void sixteenWidgets_onOneStream_areOneFetchAndOneDecode_data() { protocols(); }
    void sixteenWidgets_onOneStream_areOneFetchAndOneDecode();
    void recording_outlivesTheLastWidget_data() { roads(); }
    void recording_outlivesTheLastWidget();

private:
    void protocols()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<int>("codec");
        QTest::newRow("orvo") << int(HTransportOrvo) << int(HCodecH264);
        QTest::newRow("zelk") << int(HTransportZelk) << int(HCodecH265);
        QTest::newRow("rtsp") << int(HTransportRtsp) << int(HCodecH264);
    }
    void privateProtocols()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<int>("codec");
        QTest::newRow("orvo") << int(HTransportOrvo) << int(HCodecH264);
        QTest::newRow("zelk") << int(HTransportZelk) << int(HCodecH265);
    }
    void roads()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<int>("codec");
        const QList<QPair<int, QByteArray>> all{
            {HTransportOrvo, "orvo"}, {HTransportZelk, "zelk"}, {HTransportRtsp, "rtsp"}};
        for (const auto &[protocol, name] : all) {
            QTest::newRow(name + " H.264") << protocol << int(HCodecH264);
            QTest::newRow(name + " H.265") << protocol << int(HCodecH265);
        }
    }
    /// The device of a row; the start of a server is not the widgets' affair.
    void makeDevice(int channels, int streams)
    {
        QFETCH(int, protocol);
        QFETCH(int, codec);
        transport = static_cast<HTransportProtocol>(protocol);
        heart->leaveOut([&] {
            config = smallDevice(transport, channels, streams, codec);
            config.number = 7;
            sim = simulateDevice(config);
            sim.device->getRtspUrls();
        });
    }

    HTransportProtocol transport = HTransportOrvo;
    DeviceConfig config;
    Simulation sim;
    std::unique_ptr<Heartbeat> heart;
};

void TestLive::initTestCase()
{
    useNoSoundServer();
    quietConsole();
}

void TestLive::pictures_ofEachStream_reachItsWidget_withoutAGap()
{
    makeDevice(2, 2);
    LiveView views[2][2] = {{LiveView(transport), LiveView(transport)},
                            {LiveView(transport), LiveView(transport)}};
    for (int channel = 0; channel < 2; ++channel)
        for (int stream = 0; stream < 2; ++stream)
            QVERIFY(views[channel][stream].begin(sim.device, channel, stream));
    for (int channel = 0; channel < 2; ++channel) {
        for (int stream = 0; stream < 2; ++stream) {
            LiveView &view = views[channel][stream];
            QVERIFY(waitFor([&] { return view.count() >= kEnough; }));
            QCOMPARE(view.faults(sceneOf(config, channel, stream)), QString());
            QCOMPARE(view.pictureSize(), stream == 0 ? QSize(320, 180) : QSize(192, 108));
        }
    }
    QCOMPARE(sim.control->counts(0, 0).skipped, 0);
}

void TestLive::replay_showsTheOtherStream_withoutReconnecting()
{
    makeDevice(1, 2);
    LiveView view(transport);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    const auto enabled = [&] {
        return sim.control->calls().count(DeviceOp::enableMediaTransmit, {0, 0, true}) +
               sim.control->calls().count(DeviceOp::enableMediaTransmit, {0, 1, true});
    };
    const int calls = enabled();
    for (int round = 0; round < 2; ++round) {
        const int stream = 1 - round % 2;
        QCOMPARE(view.faults(sceneOf(config, 0, 1 - stream)), QString());
        view.look(stream);
        view.forget();
        QVERIFY(!view.showsNothing()); // the old picture stays until the first new one
        QVERIFY(view.showsMore());
    }
    QCOMPARE(view.faults(sceneOf(config, 0, 0)), QString());
    QCOMPARE(enabled(), calls);
    QCOMPARE(view.plays(), 2); // each stream once
    QCOMPARE(view.ends(), 0);
}

void TestLive::decoding_beginsWithAKeyFrame_forALateViewer()
{
    makeDevice(1, 1);
    LiveView view(transport);
    QVERIFY(view.begin(sim.device, 0, 0));
    const QTemporaryDir folder;
    view.recordStart(folder.path()); // tells that frames pass by while nobody watches
    const auto size = [&] { return QFileInfo(filesBelow(folder.path()).value(0)).size(); };
    qint64 begins[2] = {};
    for (qint64 &begin : begins) {
        // Into the middle of a group.
        QVERIFY(view.showsMore(7));
        view.playStop(true);
        QVERIFY(view.showsNothing());
        const qint64 last = view.pictures().last().counter;
        view.forget();
        for (int steps = 0; steps < 2; ++steps) {
            const qint64 before = size();
            QVERIFY(waitFor([&] { return size() > before; }));
        }
        view.look(0);
        QVERIFY(view.showsMore());
        QCOMPARE(view.faults(sceneOf(config, 0, 0)), QString());
        begin = view.pictures().first().counter;
        QVERIFY(begin > last);
    }
    // Hence both are key frames.
    const int group = config.channels[0].streams[0].video.pictureGroup();
    QCOMPARE((begins[1] - begins[0]) % group, 0);
}

void TestLive::subStream_keepsItsDecoder_whileItsViewerIsAway()
{
    makeDevice(1, 2);
    LiveView view(transport);
    QVERIFY(view.begin(sim.device, 0, 1));
    QVERIFY(view.showsMore());
    AbstractVideoThread *thread = view.shown();
    SignalRecorder signalled;
    signalled.watch(thread, &AbstractVideoThread::sig_decoderDestroyed, "freed");
    signalled.watch(thread, &AbstractVideoThread::sig_updateCodecRender, "codec");
    signalled.watch(thread, &AbstractVideoThread::receiveRenderStart, "render");
    view.playStop(true);
    const qint64 sent = sim.control->counts(0, 1).pictures;
    QVERIFY(waitFor([&] { return sim.control->counts(0, 1).pictures > sent + 3; }));
    QCOMPARE(signalled.names(), QStringList());
    view.look(1);
    QVERIFY(view.showsMore());
    QCOMPARE(signalled.names(), QStringList({"codec", "render"}));
    QCOMPARE(view.shown(), thread);
}

void TestLive::mainStream_freesItsDecoders_whileItsViewerIsAway()
{
    makeDevice(1, 2);
    LiveView view(transport);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    AbstractVideoThread *thread = view.shown();
    SignalRecorder signalled;
    signalled.watch(thread, &AbstractVideoThread::sig_decoderDestroyed, "freed");
    signalled.watch(thread, &AbstractVideoThread::sig_updateCodecRender, "codec");
    view.look(1);
    QVERIFY(waitFor([&] { return signalled.count("freed") == 1; }));
    QVERIFY(thread->isRunning() && thread->getIsOk());
    view.look(0);
    view.forget();
    QVERIFY(view.showsMore());
    QCOMPARE(view.faults(sceneOf(config, 0, 0)), QString());
    QCOMPARE(signalled.names(), QStringList({"freed", "codec"}));
}

void TestLive::sixteenWidgets_onOneStream_areOneFetchAndOneDecode()
{
    makeDevice(1, 1);
    std::vector<std::unique_ptr<LiveView>> views;
    for (int i = 0; i < 16; ++i) {
        views.push_back(std::make_unique<LiveView>(transport));
        views.back()->setReads(i % 8 == 0);
    }
    SignalRecorder decoded;
    for (const auto &view : views) {
        QVERIFY(view->begin(sim.device, 0, 0));
        if (view == views.front()) {
            decoded.watch(view->shown(), &AbstractVideoThread::receiveImage, "picture");
            decoded.watch(view->shown(), &AbstractVideoThread::sig_updateCodecRender, "decoder");
        }
        QCOMPARE(view->shown(), views.front()->shown());
    }
    QCOMPARE(views.front()->shown()->previewRef().load(), 16);
    for (const auto &view : views)
        QVERIFY(waitFor([&] { return view->count() >= kEnough; }));
    QCOMPARE(views[0]->faults(sceneOf(config, 0, 0)), QString());
    QCOMPARE(views[8]->faults(sceneOf(config, 0, 0)), QString());
    if (transport != HTransportRtsp) {
        QCOMPARE(sim.control->calls().count(DeviceOp::enableMediaTransmit, {0, 0, true}), 1);
        QCOMPARE(decoded.count("decoder"), 1);
        QVERIFY(decoded.count("picture") <= sim.control->counts(0, 0).pictures);
    }
    // The thread waits for all of them with each picture, so none can be more than one behind.
    const int pictures = decoded.count("picture");
    for (const auto &view : views)
        QVERIFY2(qAbs(view->count() - pictures) <= 1, qPrintable(QString::number(view->count())));
}

void TestLive::recording_outlivesTheLastWidget()
{
    makeDevice(1, 1);
    const QTemporaryDir folder;
    AbstractVideoThread *thread = nullptr;
    qint64 shown = 0;
    {
        LiveView view(transport);
        QVERIFY(view.begin(sim.device, 0, 0));
        view.recordStart(folder.path());
        QVERIFY(waitFor([&] { return filesBelow(folder.path()).size() == 1; }));
        QVERIFY(view.showsMore());
        thread = view.shown();
        shown = view.pictures().last().counter;
    }
    const PtrDevLiveThrSet set = setOf(sim.device);
    QVERIFY(set);
    QCOMPARE(set->referenceCount(), 1);
    QVERIFY(thread->isRunning());
    const auto size = [&] { return QFileInfo(filesBelow(folder.path()).value(0)).size(); };
    const qint64 before = size();
    QVERIFY(waitFor([&] { return size() > before + 20000; }));
    heart->leaveOut([] { Vantra::release(); });
    const QStringList files = filesBelow(folder.path());
    QCOMPARE(files.size(), 1);
    QVERIFY2(QRegularExpression("/\\d{4}-\\d\\d-\\d\\d/live/\\d{8}T\\d{6}_\\d{8}T\\d{6}_0\\.mp4$")
                 .match(files.first())
                 .hasMatch(),
             qPrintable(files.first()));
    RecordedFile file;
    heart->leaveOut([&] { QCOMPARE(faultOfRecording(files.first(), &file), QString()); });
    QVERIFY2(file.counters.last() > shown, qPrintable(QString::number(file.counters.last())));
}

QTEST_MAIN(TestLive)
#include "tst_live.moc"
