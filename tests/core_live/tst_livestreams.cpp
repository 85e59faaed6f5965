// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Live widgets on a simulated device, with real stream threads, decoders and a real sound server.
#include "livewidgetcase.h"
#include "simulator/devicecontrol.h"
#include "support/counterblocks.h"
#include "support/privatepulse.h"
#include "support/tone.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <vector>

using namespace vantratest;
using livefakes::LiveView;
using vantrasim::DeviceOp;

namespace {

constexpr int kLongTimeoutMs = 60000; // so that no busy machine makes a read time out
// Where a read is left to time out, as by the end of another stream of the device: a fifth of it.
constexpr int kShortTimeoutMs = 5000;
constexpr int kPatientMs = 60000;

/// A widget in a window, which paints what it gets.
std::unique_ptr<LiveView> makeView(HTransportProtocol protocol, int readTimeoutMs = kLongTimeoutMs)
{
    auto view = std::make_unique<LiveView>(protocol);
    view->setVideoMode(VideoMode_Painter);
    VideoPara para = view->getVideoPara();
    para.readTimeout = readTimeoutMs;
    para.connectTimeout = kLongTimeoutMs;
    view->setVideoPara(para);
    WidgetPara look = view->getWidgetPara();
    look.copyImage = true; // the picture is looked at later
    view->setWidgetPara(look);
    view->resize(320, 180);
    view->show();
    return view;
}

bool shows(LiveView &view, const SceneId &id)
{
    return waitFor([&] { return readSceneId(view.image) == id; }, kPatientMs);
}

QRegularExpression decoderBegins()
{
    return QRegularExpression("^\\(ffpg\\)create video decoder ");
}
QRegularExpression decoderEnds()
{
    return QRegularExpression("^\\(ffpg\\)destroy video decoder ");
}

} // namespace

class TestLiveStreams : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        quietConsole();
        QVERIFY2(pulse.start(), qPrintable(pulse.log()));
    }

    void manyWidgets_causeOneTransmission_andOneDecoder_data() { addProtocols(); }
    void manyWidgets_causeOneTransmission_andOneDecoder()
    {
        constexpr int kWidgets = 16;
        std::vector<std::unique_ptr<LiveView>> views;
        for (int i = 0; i < kWidgets; ++i) {
            views.push_back(makeView(protocol));
            QVERIFY(views.back()->init(camera.device, 0, 1));
            QVERIFY(views.back()->start());
            views.back()->playStart(0);
        }
        for (const auto &view : views)
            QVERIFY(shows(*view, {kDevice, 0, 0}));
        QCOMPARE(camera.control->calls().count(DeviceOp::enableMediaTransmit, {0, 0, true}), 1);
        QCOMPARE(camera.control->openStreams(), 1);
        QCOMPARE(log->countMatching(Logger::Debug, decoderBegins()), 1);
        QCOMPARE(set()->getChannelThreads().size(), 4);
        QCOMPARE(set()->referenceCount(), kWidgets);
        for (const auto &view : views) {
            view->playStop(true);
            view->stop(false);
        }
        QVERIFY(!set());
        QVERIFY(waitFor([&] { return camera.control->openStreams() == 0; }, kPatientMs));
    }

    void eachWidget_showsItsChannelAndStream_data() { addProtocols(); }
    void eachWidget_showsItsChannelAndStream()
    {
        std::vector<std::unique_ptr<LiveView>> views;
        for (int i = 0; i < 4; ++i) {
            views.push_back(makeView(protocol));
            QVERIFY(views.back()->init(camera.device, i / 2, -1));
            QVERIFY(views.back()->start());
            views.back()->playStart(i % 2);
        }
        for (int i = 0; i < 4; ++i) {
            QVERIFY(shows(*views.at(size_t(i)), {kDevice, i / 2, i % 2}));
            const auto first = readCounter(views.at(size_t(i))->image);
            QVERIFY(first);
            QVERIFY(waitFor(
                [&] { return readCounter(views.at(size_t(i))->image).value_or(0) > *first + 5; },
                kPatientMs));
        }
        for (const auto &view : views) {
            view->playStop(true);
            view->stop(false);
        }
    }

    void replay_changesTheStream_withoutReconnecting_data() { addProtocols(); }
    void replay_changesTheStream_withoutReconnecting()
    {
        const auto view = makeView(protocol);
        QVERIFY(view->init(camera.device, 0, -1));
        QVERIFY(view->start());
        view->playStart(0);
        QVERIFY(shows(*view, {kDevice, 0, 0}));
        QCOMPARE(log->countMatching(Logger::Debug, decoderBegins()), 1);

        view->replay(1);
        QVERIFY(shows(*view, {kDevice, 0, 1}));
        // The main stream frees its decoder and is read on.
        QVERIFY(waitFor([&] { return log->countMatching(Logger::Debug, decoderEnds()) == 1; }));
        QCOMPARE(log->countMatching(Logger::Debug, decoderBegins()), 2);
        QVERIFY(set()->getChannelThreads().at(0)->isRunning());
        const qint64 sent = camera.control->counts(0, 0).pictures;
        QVERIFY(waitFor([&] { return camera.control->counts(0, 0).pictures > sent + 5; }));

        view->replay(0);
        QVERIFY(shows(*view, {kDevice, 0, 0}));
        QCOMPARE(log->countMatching(Logger::Debug, decoderBegins()), 3);
        // The sub stream keeps its decoder.
        view->replay(1);
        QVERIFY(shows(*view, {kDevice, 0, 1}));
        QCOMPARE(log->countMatching(Logger::Debug, decoderBegins()), 3);
        for (const int stream : {0, 1})
            QCOMPARE(
                camera.control->calls().count(DeviceOp::enableMediaTransmit, {0, stream, true}), 1);
        view->playStop(true);
        view->stop(false);
    }

    void recording_goesOn_withoutAWidget()
    {
        QTemporaryDir folder;
        {
            const auto view = makeView(protocol);
            QVERIFY(view->init(camera.device, 0, 1));
            QVERIFY(view->start());
            QVERIFY(waitFor([&] { return camera.control->counts(0, 0).pictures > 0; }, kPatientMs));
            view->recordStart(folder.path());
            view->stop(false);
        }
        QVERIFY(set());
        const auto main = set()->getChannelThreads().at(0);
        QVERIFY(main->isRunning());
        const auto file = [&] { return main->getFileName(AbstractVideoThread::MANUAL_RECORD); };
        QVERIFY(waitFor([&] { return QFileInfo(file()).size() > 20000; }, kPatientMs));
        QCOMPARE(log->countMatching(Logger::Debug, decoderBegins()),
                 0); // nothing is decoded for it
        main->recordStop(AbstractVideoThread::MANUAL_RECORD);
        QVERIFY(waitFor([&] { return !QFile::exists(file()); }, kPatientMs)); // has its last name
    }

    void set_releasedAndAskedForAtOnce_showsAgain_data() { addProtocols(); }
    void set_releasedAndAskedForAtOnce_showsAgain()
    {
        // The former play may close the stream at the device while the new one opens it.
        log->expectMatching(Logger::Warning, QRegularExpression("^\\(zklvthr\\)req i fram fail "));
        const auto view = makeView(protocol, kShortTimeoutMs);
        QVERIFY(view->init(camera.device, 0, -1));
        for (int round = 0; round < 5; ++round) {
            QVERIFY(view->start());
            view->playStart(round % 2);
            QVERIFY(shows(*view, {kDevice, 0, round % 2}));
            view->playStop(true);
            view->stop(false);
            QVERIFY(view->image.isNull());
        }
    }

    void release_whileEverythingPlays_endsAll_data() { addProtocols(); }
    void release_whileEverythingPlays_endsAll()
    {
        std::vector<std::unique_ptr<LiveView>> views;
        for (int i = 0; i < 6; ++i) {
            views.push_back(makeView(protocol));
            QVERIFY(views.back()->init(camera.device, i % 2, -1));
            QVERIFY(views.back()->start());
            views.back()->playStart(i / 2 % 2);
        }
        QVERIFY(shows(*views.at(0), {kDevice, 0, 0}));
        Vantra::release();
        QCOMPARE(camera.control->openStreams(), 0);
        QVERIFY(!set());
    }

    // --- Sound -----------------------------------------------------------------------------------

    void talk_arrives_whileLiveSoundPlays_data() { addProtocols(); }
    void talk_arrives_whileLiveSoundPlays()
    {
        SinkRecorder recorder;
        QVERIFY(recorder.waitUntilRunning());
        const auto view = makeView(protocol);
        QVERIFY(view->init(camera.device, 0, -1));
        QVERIFY(view->start());
        view->playStart(0);
        QVERIFY(shows(*view, {kDevice, 0, 0}));
        view->talkStart();
        constexpr int kSecond = 8000; // bytes of A-law
        QVERIFY(waitFor([&] { return camera.control->talk().received().size() > 2 * kSecond; },
                        kPatientMs));
        QVERIFY(camera.control->talk().isTalking());
        for (const int size : camera.control->talk().blocks())
            QCOMPARE(size, 320); // 40 ms
        const int hertz = camera.control->config().channels.at(0).streams.at(0).audio.hertz;
        QVERIFY(
            waitFor([&] { return hasTone(recorder.last(500), SinkRecorder::kSampleRate, hertz); },
                    kPatientMs));
        view->talkStop();
        QVERIFY(waitFor([&] { return !camera.control->talk().isTalking(); }));
        view->playStop(true);
        view->stop(false);
    }

    void talk_isRefused_withASignal_data() { addProtocols(); }
    void talk_isRefused_withASignal()
    {
        const auto view = makeView(protocol, kShortTimeoutMs);
        QSignalSpy busy(view.get(), &AbstractVideoWidget::sig_startTalkDeviceBusy);
        QSignalSpy error(view.get(), &AbstractVideoWidget::sig_startTalkError);
        QVERIFY(view->init(camera.device, 0, 1));
        QVERIFY(view->start());
        camera.control->talk().setBusy(true);
        view->talkStart();
        QVERIFY(waitFor([&] { return busy.count() == 1; }));
        QCOMPARE(busy.first().first().toString(), camera.control->config().serial);
        camera.control->talk().setBusy(false);
        // A stream may ask anew while the device is gone, or lose it between its two requests.
        log->expectMatching(Logger::Warning, QRegularExpression("start media transmit fail \\("));
        log->expectMatching(Logger::Warning, QRegularExpression("req i fram fail \\("));
        camera.control->loseConnection();
        view->talkStart();
        QVERIFY(waitFor([&] { return error.count() == 1; }));
        QCOMPARE(error.first().first().toString(), camera.control->config().serial);
        QCOMPARE(camera.control->talk().received().size(), 0);
        camera.control->restoreConnection();
        view->stop(false);
    }

    void device_mayBeDropped_duringTalk()
    {
        auto view = makeView(protocol);
        QVERIFY(view->init(camera.device, 0, 1));
        QVERIFY(view->start());
        view->playStart(0);
        view->talkStart();
        QVERIFY(waitFor([&] { return camera.control->talk().received().size() > 0; }, kPatientMs));
        const QWeakPointer<HNetDevice> left(camera.device);
        camera.device.reset(); // the widget and its set keep it
        QVERIFY(left);
        view->playStop(true);
        view->stop(false);
        view.reset();
        QVERIFY(waitFor([&] { return !left; }, kPatientMs));
    }

    void device_mayBeLost_duringTalk()
    {
        log->expectMatching(Logger::Error,
                            QRegularExpression("^\\(dvadthr\\)dev audio thr send talk data err "));
        log->expectMatching(Logger::Error, QRegularExpression("read frame"));
        log->expectMatching(Logger::Warning, QRegularExpression("."));
        const auto view = makeView(protocol, kShortTimeoutMs);
        QVERIFY(view->init(camera.device, 0, 1));
        QVERIFY(view->start());
        view->talkStart();
        QVERIFY(waitFor([&] { return camera.control->talk().received().size() > 0; }, kPatientMs));
        camera.control->loseConnection();
        QVERIFY(waitFor([&] { return log->missing().filter("talk").isEmpty(); }, kPatientMs));
        view->talkStop();
        view->stop(true);
    }

private:
    static constexpr int kDevice = 7;

    static void addProtocols()
    {
        QTest::addColumn<int>("protocol");
        QTest::newRow("orvo") << int(HTransportOrvo);
        QTest::newRow("zelk") << int(HTransportZelk);
    }

    void setUp() override
    {
        protocol = HTransportOrvo;
        const char *row = QTest::currentDataTag();
        if (row && qstrcmp(row, "zelk") == 0)
            protocol = HTransportZelk;
        auto config = vantrasim::DeviceConfig::simple(2, 2, protocol);
        config.number = kDevice;
        camera = vantrasim::simulateDevice(config);
        QVERIFY(Vantra::init());
    }
    void tearDown() override
    {
        Vantra::release();
        camera = {};
    }

    PtrDevLiveThrSet set() const
    {
        return DevLiveThrSetManager::Instance()->getVideoThreadSet(camera.device);
    }

    PrivatePulse pulse;
    HTransportProtocol protocol = HTransportOrvo;
    vantrasim::Simulation camera;
};

QTEST_MAIN(TestLiveStreams)
#include "tst_livestreams.moc"
