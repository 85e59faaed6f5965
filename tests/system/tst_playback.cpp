// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Recordings of a simulated recorder, played in a widget, picture by picture.
#include "playbackcase.h"

#include <QDir>
#include <QDirIterator>
#include <QSet>
#include <QTemporaryDir>

#include <cmath>

using namespace vantratest;
using namespace vantrasim;

namespace {

constexpr int kFast = 100;     ///< so many times the recorded speed, where time is no matter
constexpr int kQuietMs = 300;  ///< in which nothing is to happen
constexpr int kGroupMs = 1000; ///< from one key picture to the next

/// The first key picture that is not before `time`, in a span that begins with a whole second.
qint64 keyCounterFrom(const QDateTime &time, int ms = 0)
{
    const qint64 stamp = deviceTime(time) + ms;
    return counterOf((stamp + kGroupMs - 1) / kGroupMs * kGroupMs);
}

} // namespace

class TestPlayback : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void pictures_areThoseOfTheSpan_data();
    void pictures_areThoseOfTheSpan();
    void gapsAndForms_arePlayedThrough();
    void start_inTheMidst_beginsAtTheNextKeyPicture();
    void pause_stopsReading_andNothingIsLost();
    void seek_landsOnTheNextKeyPicture_data();
    void seek_landsOnTheNextKeyPicture();
    void seek_whilePaused_isSeenWithTheResume();
    void speeds_arriveAtTheDevice();
    void positions_comeInStepsOfJustOverASecond();
    void snapshot_isThatOfTheMoment();
    void tenStarts_useTenThreads_andNoneIsLeft();

    void limitOfTheDevice_isTold();
    void refusal_isTold();
    void absentDevice_endsThePlay();
    void lostConnection_isATimeout_untilTheNextStart();
    void readErrors_areSurvived_untilTheFourth();
    void faultyFrames_doNoHarm_data();
    void faultyFrames_doNoHarm();
};

// --- What is shown ------------------------------------------------------------------------------

void TestPlayback::pictures_areThoseOfTheSpan_data()
{
    QTest::addColumn<qint32>("codec");
    QTest::addColumn<qint32>("audio");
    QTest::newRow("H.264, A-law") << qint32(HCodecH264) << qint32(HCodecG711A);
    QTest::newRow("H.265, mu-law") << qint32(HCodecH265) << qint32(HCodecG711U);
    QTest::newRow("H.264, without sound") << qint32(HCodecH264) << 0;
}

void TestPlayback::pictures_areThoseOfTheSpan()
{
    QFETCH(qint32, codec);
    QFETCH(qint32, audio);
    const Simulation sim = simulateDevice(recorder(2, codec, audio));
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 1, at(10, 0), at(10, 0, 6)));
    QVERIFY(view.showsMore(1));
    view.setSpeed(kFast);
    QVERIFY(view.waitForEnd());
    QCOMPARE(view.counters(), countersOf(at(10, 0), at(10, 0, 6)));
    QVERIFY(view.isAllOf({sim.control->config().number, 1, 0}));
    QCOMPARE(view.told(), QStringList({"start", "finsh"}));
    QVERIFY(view.isReady());
    QVERIFY(view.showsNothing());
    QCOMPARE(sim.control->openPlaybacks(), 0);
    QCOMPARE(sim.control->playback(1).sounds > 0, audio != 0);
    QCOMPARE(log->count(Logger::Info, QStringLiteral("(orvodthr)end of file 1")), 1);
    // And once more, by another thread.
    view.forget();
    QVERIFY(view.start());
    QVERIFY(view.showsMore(3));
    QCOMPARE(view.counters(), countersOf(at(10, 0), at(10, 0, 6)).mid(0, view.count()));
    QCOMPARE(view.threads().size(), 2);
    view.stop();
    QVERIFY(view.waitForEnd());
    QCOMPARE(sim.control->openPlaybacks(), 0);
}

void TestPlayback::gapsAndForms_arePlayedThrough()
{
    StreamConfig second = form(HCodecH265, 0);
    second.video.width = 320;
    second.video.height = 180;
    const Simulation sim = simulateDevice(withGaps(form(HCodecH264, HCodecG711A), second));
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(9, 0), at(12, 0)));
    QVERIFY(view.showsMore(1));
    QCOMPARE(view.pictureSize(), QSize(176, 144));
    view.setSpeed(kFast);
    QVERIFY(waitFor([&] { return view.count() >= countersOfGaps().size(); }));
    QCOMPARE(view.counters(), countersOfGaps());
    QVERIFY(view.waitForEnd());
    QCOMPARE(view.told(), QStringList({"start", "finsh"}));
}

void TestPlayback::start_inTheMidst_beginsAtTheNextKeyPicture()
{
    const Simulation sim = simulateDevice(recorder());
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0), at(10, 20, 30).addMSecs(120)));
    QVERIFY(view.showsMore(2));
    QCOMPARE(view.counters().first(), keyCounterFrom(at(10, 20, 31)));
    view.stop();
}

// --- Control ------------------------------------------------------------------------------------

void TestPlayback::pause_stopsReading_andNothingIsLost()
{
    const Simulation sim = simulateDevice(recorder());
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0)));
    for (int round = 0; round < 3; ++round) {
        QVERIFY(view.showsMore(3));
        view.pause();
        QVERIFY(sim.control->playback(0).paused);
        // The read under way may still bring a picture that had been taken by then.
        waitFor([] { return false; }, kQuietMs);
        const int shown = view.count();
        const qint64 reads = sim.control->calls().count(DeviceOp::vodReadFrame);
        QVERIFY(!waitFor([&] { return view.count() > shown; }, kQuietMs));
        QCOMPARE(sim.control->calls().count(DeviceOp::vodReadFrame), reads);
        view.resume();
        QVERIFY(!sim.control->playback(0).paused);
    }
    QVERIFY(view.showsMore(3));
    QCOMPARE(view.counters(), countersOf(at(10, 0), at(11, 0)).mid(0, view.count()));
    QCOMPARE(sim.control->calls().count(DeviceOp::vodPause), qint64(3));
    QCOMPARE(sim.control->calls().count(DeviceOp::vodResume), qint64(3));
    view.stop();
}

void TestPlayback::seek_landsOnTheNextKeyPicture_data()
{
    QTest::addColumn<QDateTime>("to");
    QTest::newRow("forward, at a key picture") << at(10, 40);
    QTest::newRow("forward, between two") << at(10, 40).addMSecs(40);
    QTest::newRow("back") << at(10, 5, 7).addMSecs(999);
    QTest::newRow("before the span") << at(9, 0);
}

void TestPlayback::seek_landsOnTheNextKeyPicture()
{
    QFETCH(QDateTime, to);
    const Simulation sim = simulateDevice(recorder());
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0), at(10, 30)));
    QVERIFY(view.showsMore(3));
    view.seekFile(to);
    const QDateTime wanted = qMax(to, at(10, 0));
    const qint64 landed =
        keyCounterFrom(wanted.addMSecs(-wanted.time().msec()), wanted.time().msec());
    QVERIFY(waitFor([&] { return view.counters().contains(landed); }));
    QVERIFY(view.showsMore(3));
    // All pictures before, then all from there on.
    const QVector<qint64> counters = view.counters();
    const int at0 = counters.indexOf(landed);
    for (int i = 1; i < counters.size(); ++i) {
        if (i != at0)
            QCOMPARE(counters.at(i), counters.at(i - 1) + 1);
    }
    QCOMPARE(counters.first(), counterOf(deviceTime(at(10, 30))));
    QCOMPARE(sim.control->calls().calls(DeviceOp::vodSeek).size(), 1);
    QCOMPARE(view.told(), QStringList("start")); // play goes on
    view.stop();
}

void TestPlayback::seek_whilePaused_isSeenWithTheResume()
{
    const Simulation sim = simulateDevice(recorder());
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0)));
    QVERIFY(view.showsMore(3));
    view.pause();
    view.seekFile(at(10, 45));
    QVERIFY(waitFor([&] { return sim.control->calls().count(DeviceOp::vodSeek) == 1; }));
    waitFor([] { return false; }, kQuietMs);
    QVERIFY(!view.counters().contains(keyCounterFrom(at(10, 45))));
    view.resume();
    QVERIFY(waitFor([&] { return view.counters().contains(keyCounterFrom(at(10, 45))); }));
    view.stop();
}

void TestPlayback::speeds_arriveAtTheDevice()
{
    const Simulation sim = simulateDevice(recorder());
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0)));
    QVERIFY(view.showsMore(1));
    const QVector<QPair<double, int>> speeds{{0.5, 0}, {1, 1}, {1.5, 1},  {2, 2},
                                             {4, 4},   {8, 8}, {0.25, 0}, {1, 1}};
    QVector<int> told;
    for (const auto &speed : speeds) {
        view.setSpeed(speed.first);
        told << speed.second;
        QVERIFY(waitFor(
            [&] { return sim.control->calls().count(DeviceOp::vodSetSpeed) == told.size(); }));
        QVERIFY(view.showsMore(2));
        QCOMPARE(sim.control->playback(0).speed, speed.second == 0 ? 0.5 : double(speed.second));
    }
    QVector<int> arrived;
    for (const DeviceCall &call : sim.control->calls().calls(DeviceOp::vodSetSpeed)) {
        QCOMPARE(call.arguments.value(0).toInt(), 0);
        arrived << call.arguments.value(1).toInt();
    }
    QCOMPARE(arrived, told);
    QCOMPARE(view.counters(), countersOf(at(10, 0), at(11, 0)).mid(0, view.count()));
    view.stop();
}

void TestPlayback::positions_comeInStepsOfJustOverASecond()
{
    const Simulation sim = simulateDevice(recorder(1, HCodecH264, HCodecG711A));
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(10, 0, 12)));
    QVERIFY(view.showsMore(1));
    view.setSpeed(kFast);
    QVERIFY(view.waitForEnd());
    qint64 expected = deviceTime(at(10, 0));
    for (const qint64 position : view.positions()) {
        QCOMPARE(position, expected);
        expected += 1040; // the first picture beyond a second
    }
    QCOMPARE(view.positions().size(), 12);
}

void TestPlayback::snapshot_isThatOfTheMoment()
{
    const Simulation sim = simulateDevice(recorder(3));
    const QTemporaryDir folder;
    PlaybackView view;
    QString name;
    QImage picture;
    connect(&view, &AbstractVideoWidget::snapImage, &view,
            [&](const QImage &image, const QString &file) {
                picture = image;
                name = file;
            });
    QVERIFY(view.begin(sim.device, 2, at(10, 0), at(11, 0), at(10, 12, 34)));
    QVERIFY(view.showsMore(2));
    view.snap(folder.path(), true);
    QVERIFY(waitFor([&] { return !name.isEmpty(); }));
    view.stop();
    QCOMPARE(QFileInfo(name).fileName(), QStringLiteral("20260314T101234_2.jpg"));
    const QString today = QFileInfo(name).dir().path();
    QVERIFY2(today.startsWith(folder.path()) && today.endsWith(QStringLiteral("/vod")),
             qPrintable(today));
    const auto counter = readCounter(QImage(name));
    QVERIFY(counter);
    QVERIFY(countersOf(at(10, 12, 34), at(10, 12, 35)).contains(*counter));
    QCOMPARE(readCounter(picture), counter);
}

void TestPlayback::tenStarts_useTenThreads_andNoneIsLeft()
{
    const Simulation sim = simulateDevice(recorder());
    // The end of one play may stop the next on the device, whose read then lasts its whole
    // time-out.
    PlaybackView view(500);
    QSet<OrvoVodThread *> used;
    for (int round = 0; round < 10; ++round) {
        QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0)));
        used << view.thread();
        if (round % 2 == 0)
            QVERIFY(waitFor([&] { return view.getIsRunning(); }));
        view.stop();
        QVERIFY(view.isReady());
    }
    QVERIFY(view.waitForEnd());
    QCOMPARE(used.size(), 10);
    QCOMPARE(view.threads().size(), 10);
    QCOMPARE(view.running(), 0);
    QCOMPARE(sim.control->openPlaybacks(), 0);
    view.forget();
    QVERIFY(view.start()); // and the eleventh shows the recording
    QVERIFY(view.showsMore(2));
    QCOMPARE(view.counters().first(), counterOf(deviceTime(at(10, 0))));
    view.stop();
}

// --- What the device refuses, and what goes wrong -----------------------------------------------

void TestPlayback::limitOfTheDevice_isTold()
{
    DeviceConfig config = recorder(2);
    config.mostPlaybacks = 1;
    const Simulation sim = simulateDevice(config);
    PlaybackView first;
    QVERIFY(first.begin(sim.device, 0, at(10, 0), at(11, 0)));
    QVERIFY(first.showsMore(2));
    log->expect(Logger::Warning, QStringLiteral("(orvodthr)vod start err 17"));
    PlaybackView second;
    QVERIFY(second.begin(sim.device, 1, at(10, 0), at(11, 0)));
    QVERIFY(second.waitForEnd());
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(second.told(), QStringList({"max", "finsh"}));
    QVERIFY(first.showsMore(2)); // undisturbed
    QCOMPARE(first.counters(), countersOf(at(10, 0), at(11, 0)).mid(0, first.count()));
    first.stop();
    QVERIFY(first.waitForEnd());
    QVERIFY(second.start()); // now it has its turn
    QVERIFY(second.showsMore(2));
    second.stop();
}

void TestPlayback::refusal_isTold()
{
    const Simulation sim = simulateDevice(recorder());
    sim.control->faults().refuse(DeviceOp::vodStart, HRetBusy);
    log->expect(Logger::Warning, QStringLiteral("(orvodthr)vod start err 16"));
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0)));
    QVERIFY(view.waitForEnd());
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(view.told(), QStringList({"other", "finsh"}));
    QCOMPARE(sim.control->calls().count(DeviceOp::vodStart), qint64(1)); // one attempt

    const QVector<QPair<DeviceOp, QString>> refused{
        {DeviceOp::vodPause, "vod pause err 16"},
        {DeviceOp::vodResume, "vod resume err 16"},
        {DeviceOp::vodSeek, "vod seek err 16"},
        {DeviceOp::vodSetSpeed, "vod set speed err 16"}};
    for (const auto &order : refused) {
        sim.control->faults().refuse(order.first, HRetBusy);
        log->expect(Logger::Error, QStringLiteral("(orvodthr)") + order.second);
    }
    view.forget();
    QVERIFY(view.start());
    QVERIFY(view.showsMore(2));
    view.pause();
    view.resume();
    view.seekFile(at(10, 30));
    view.setSpeed(2);
    QVERIFY(waitFor([&] { return log->missing().isEmpty(); }));
    QVERIFY(view.showsMore(2)); // as if nobody had asked
    QCOMPARE(view.counters(), countersOf(at(10, 0), at(11, 0)).mid(0, view.count()));
    view.stop();
}

void TestPlayback::absentDevice_endsThePlay()
{
    const Simulation sim = simulateDevice(recorder());
    sim.control->loseConnection();
    PlaybackView view(200);
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0)));
    QVERIFY(view.waitForEnd());
    QCOMPARE(view.told(), QStringList("finsh"));
    QCOMPARE(log->countMatching(Logger::Info,
                                QRegularExpression("^\\(orvodthr\\)192\\.0\\.2\\.1 connect status "
                                                   "-?\\d+$")),
             1);
    QCOMPARE(sim.control->calls().count(DeviceOp::vodStart), qint64(0));
    sim.control->restoreConnection();
    QVERIFY(view.start());
    QVERIFY(view.showsMore(2));
    view.stop();
}

void TestPlayback::lostConnection_isATimeout_untilTheNextStart()
{
    const QString text = QStringLiteral("(orvodthr)read [192.0.2.1:0] frame timeout(200 ms) ");
    const Simulation sim = simulateDevice(recorder());
    PlaybackView view(200);
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0)));
    QVERIFY(view.showsMore(2));
    QVERIFY(!view.isReadStreamTimeout());
    sim.control->loseConnection();
    QVERIFY(waitFor([&] { return view.isReadStreamTimeout(); }));
    QVERIFY(log->count(Logger::Info, text) >= 1); // with the one that raised it
    // It neither ends nor asks anew, even when the device is there again.
    sim.control->restoreConnection();
    QVERIFY(waitFor([&] { return log->count(Logger::Info, text) >= 3; }));
    QCOMPARE(view.told(), QStringList("start"));
    QCOMPARE(sim.control->calls().count(DeviceOp::vodStart), qint64(1));
    view.stop();
    QVERIFY(view.waitForEnd());
    view.forget();
    QVERIFY(view.start());
    QVERIFY(view.showsMore(2));
    QVERIFY(!view.isReadStreamTimeout());
    view.stop();
}

void TestPlayback::readErrors_areSurvived_untilTheFourth()
{
    const QString error = QStringLiteral("(orvodthr)vod read frame err 99");
    const QString loop = QStringLiteral("(orvodthr)read frame err 3");
    log->expect(Logger::Error, error);
    log->expect(Logger::Error, loop);
    const Simulation sim = simulateDevice(recorder());
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(11, 0)));
    QVERIFY(view.showsMore(2));
    const auto fail = [&](int times) {
        sim.control->faults().strike(
            {FrameFault::ReadError, {}, FrameSort::Any, 0, times, 0, FaultRoad::Playback});
    };
    fail(3);
    QVERIFY(waitFor([&] { return log->count(Logger::Error, loop) == 3; }));
    QVERIFY(view.showsMore(3));
    QCOMPARE(view.counters(), countersOf(at(10, 0), at(11, 0)).mid(0, view.count()));
    fail(4);
    QVERIFY(view.waitForEnd());
    QCOMPARE(view.told(), QStringList({"start", "finsh"}));
    QCOMPARE(log->count(Logger::Error, error), 7);
    QCOMPARE(log->count(Logger::Error, loop), 7);
    QCOMPARE(sim.control->openPlaybacks(), 0);
}

void TestPlayback::faultyFrames_doNoHarm_data()
{
    QTest::addColumn<quint32>("seed");
    QTest::addColumn<qint32>("codec");
    for (const quint32 seed : {1u, 2u}) {
        QTest::addRow("H.264, %u", seed) << seed << qint32(HCodecH264);
        QTest::addRow("H.265, %u", seed) << seed << qint32(HCodecH265);
    }
}

/// Whatever frames are like, the recording is played to its end, and the next play is right.
void TestPlayback::faultyFrames_doNoHarm()
{
    QFETCH(quint32, seed);
    QFETCH(qint32, codec);
    for (const Logger::LogLevel level : {Logger::Warning, Logger::Error})
        log->expectMatching(level, QRegularExpression("^\\((pvptvthr|mdcdc|ffpg)\\)"));
    const Simulation sim = simulateDevice(recorder(1, codec, HCodecG711A));
    sim.control->faults().strikeAtRandom(
        seed, 0.1,
        {FrameFault::StampForward, FrameFault::StampBack, FrameFault::StampRepeat,
         FrameFault::HeaderTooSmall, FrameFault::HeaderTooLarge, FrameFault::OtherSize,
         FrameFault::Garbage, FrameFault::Truncated, FrameFault::Empty, FrameFault::UnknownType,
         FrameFault::UnknownCodec, FrameFault::Largest, FrameFault::NoParameterSets,
         FrameFault::Lost, FrameFault::Repeated, FrameFault::Swapped});
    PlaybackView view;
    QVERIFY(view.begin(sim.device, 0, at(10, 0), at(10, 0, 20)));
    QVERIFY(waitFor([&] { return view.thread() && view.thread()->getIsOk(); }));
    view.setSpeed(kFast);
    QVERIFY(view.waitForEnd());
    QVERIFY(sim.control->faults().struck() > 20);
    QCOMPARE(view.told(), QStringList({"start", "finsh"}));
    sim.control->faults().clear();
    view.forget();
    QVERIFY(view.start());
    QVERIFY(view.showsMore(2));
    QCOMPARE(view.counters(), countersOf(at(10, 0), at(10, 0, 20)).mid(0, view.count()));
    view.stop();
}

QTEST_MAIN(TestPlayback)
#include "tst_playback.moc"
