// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Devices whose frames are wrong, or change their form, under live widgets and recordings.
#include "livefaultcase.h"
#include "support/privatepulse.h"
#include "support/signalrecorder.h"

#include <QTemporaryDir>

using namespace vantratest;
using namespace vantrasim;

Q_DECLARE_METATYPE(vantrasim::FrameFault)
Q_DECLARE_METATYPE(vantrasim::FrameSort)

namespace {

constexpr quint32 kSeed = 20260; ///< of the faults drawn at random
constexpr auto kManual = AbstractVideoThread::MANUAL_RECORD;
constexpr auto kAuto = AbstractVideoThread::AUTO_RECORD;

} // namespace

class TestLiveBadFrames : public LiveFaultCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void badFrames_areSurvived_data();
    void badFrames_areSurvived();
    void framesOfUnknownType_areNotShown_andGoIntoTheRecording();
    void stampsThatGoBack_areShownAndRecorded_data() { protocols(false); }
    void stampsThatGoBack_areShownAndRecorded();
    void changedForm_cutsTheRecordings_andBothFilesPlay_data();
    void changedForm_cutsTheRecordings_andBothFilesPlay();
    void everythingAtRandom_onFourStreams_isSurvived();

private:
    /// The lines that frames without sense may cause.
    void announceBadFrames();
    void makeSmall(int channels = 1)
    {
        QFETCH(int, protocol);
        make(smallDevice(static_cast<HTransportProtocol>(protocol), channels, 1));
    }
};

void TestLiveBadFrames::announceBadFrames()
{
    expect(Logger::Error, "^\\(pvptvthr\\)(decode video frame err|create video decoder fail)$");
    expect(Logger::Warning, "^\\(pvptvthr\\)(decode audio frame err$|unsupported video codec id |"
                            "not support audio codec id )");
    expect(Logger::Error, "^\\(pvptvthr\\)create audio decoder fail ");
    expect(Logger::Warning, "^\\(orlvthr\\)unknown code_id ");
    expect(Logger::Error, "^\\(mdcdc\\)create (video|audio) decoder fail$");
    expect(Logger::Warning, "^\\(mdcdc\\)(video decoder (fail |is null)|decode audio frame fail )");
    expect(Logger::Error, "^\\(ffpg\\)");
    expect(Logger::Warning, "^\\(ffpg\\)");
    expect(Logger::Error, "^\\((orlv|zklv)thr\\)read frame err -?\\d+$");
    expect(Logger::Error, "^\\(pvptvthr\\)read frame error$");
}

void TestLiveBadFrames::badFrames_areSurvived_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<FrameFault>("fault");
    QTest::addColumn<FrameSort>("sort");
    QTest::addColumn<int>("value");
    const struct
    {
        const char *name;
        FrameFault fault;
        FrameSort sort;
        int value;
    } all[] = {
        {"tells fewer bytes", FrameFault::HeaderTooSmall, FrameSort::Any, 0},
        {"tells none", FrameFault::HeaderTooSmall, FrameSort::Any, 1 << 30},
        {"tells a few more bytes", FrameFault::HeaderTooLarge, FrameSort::Any, 1000},
        {"tells more than a buffer holds", FrameFault::HeaderTooLarge, FrameSort::Any, 0},
        {"tells a smaller picture", FrameFault::OtherSize, FrameSort::Video, 50},
        {"tells a larger picture", FrameFault::OtherSize, FrameSort::Video, 200},
        {"tells an enormous picture", FrameFault::OtherSize, FrameSort::Video, 1000000},
        {"garbage", FrameFault::Garbage, FrameSort::Any, 0},
        {"truncated", FrameFault::Truncated, FrameSort::Any, 0},
        {"one byte", FrameFault::Truncated, FrameSort::Any, 1},
        {"empty", FrameFault::Empty, FrameSort::Any, 0},
        {"largest", FrameFault::Largest, FrameSort::Any, 0},
        {"no parameter sets", FrameFault::NoParameterSets, FrameSort::Key, 0},
        {"unknown codec", FrameFault::UnknownCodec, FrameSort::Any, 0},
        {"lost", FrameFault::Lost, FrameSort::Any, 0},
    };
    int row = 0;
    for (const auto &one : all) {
        // Both protocols share this code: each takes every second fault.
        const bool zelk = row++ % 2 == 1;
        QTest::newRow(QByteArray(zelk ? "zelk " : "orvo ") + one.name)
            << int(zelk ? HTransportZelk : HTransportOrvo) << one.fault << one.sort << one.value;
    }
}

void TestLiveBadFrames::badFrames_areSurvived()
{
    QFETCH(FrameFault, fault);
    QFETCH(FrameSort, sort);
    QFETCH(int, value);
    makeSmall();
    announceBadFrames();
    LiveView view(config.protocol);
    QVERIFY(view.begin(sim.device, 0, 0));
    QVERIFY(view.showsMore());
    AbstractVideoThread *thread = view.shown();
    ScriptedFault script;
    script.fault = fault;
    script.sort = sort;
    script.value = value;
    script.count = sort == FrameSort::Key ? 2 : 30; // a key frame among them
    sim.control->faults().strike(script);
    QVERIFY(waitFor([&] { return sim.control->faults().struck() == script.count; }, kHealMs));
    // From the next sound key frame on all is well.
    QVERIFY(waitFor([&] {
        view.forget();
        return view.showsMore(6) && view.faults(source()).isEmpty();
    }));
    QCOMPARE(view.pictureSize(), QSize(320, 180));
    QVERIFY(thread->isRunning());
    QCOMPARE(view.plays(), 1);
    QCOMPARE(view.ends(), 0);
}

void TestLiveBadFrames::framesOfUnknownType_areNotShown_andGoIntoTheRecording()
{
    make(smallDevice(HTransportOrvo, 1, 1));
    announceBadFrames(); // the rest of the group has lost what it refers to
    expect(Logger::Error, "^\\(svmp4\\w*\\)");
    expect(Logger::Warning, "^\\(svmp4\\w*\\)");
    const QTemporaryDir folder;
    LiveView view;
    QVERIFY(view.begin(sim.device, 0, 0));
    view.recordStart(folder.path());
    QVERIFY(waitFor([&] { return filesBelow(folder.path()).size() == 1; }));
    QVERIFY(view.showsMore());
    SignalRecorder decoded;
    decoded.watch(view.shown(), &AbstractVideoThread::receiveImage, "picture");
    ScriptedFault script;
    script.fault = FrameFault::UnknownType;
    script.count = -1;
    sim.control->faults().strike(script);
    QVERIFY(waitFor([&] { return sim.control->faults().struck() > 0; }));
    // What was under way has been shown.
    const int struck = sim.control->faults().struck();
    QVERIFY(waitFor([&] { return sim.control->faults().struck() > struck + 2; }));
    const int pictures = decoded.count("picture");
    const int more = sim.control->faults().struck() + 20;
    QVERIFY(waitFor([&] { return sim.control->faults().struck() > more; }));
    QCOMPARE(decoded.count("picture"), pictures);
    sim.control->faults().clear();
    QVERIFY(waitFor([&] {
        view.forget();
        return view.showsMore(6) && view.faults(source()).isEmpty();
    }));
    QCOMPARE(view.ends(), 0);
}

void TestLiveBadFrames::stampsThatGoBack_areShownAndRecorded()
{
    makeSmall();
    expect(Logger::Warning, "^\\(svmp4ff\\).* pts \\(");
    // The file's timeline does not go back: what lies before its end is left out, one by one.
    expect(Logger::Error, "^\\(svmp4ff\\)write (video|audio) .*Invalid argument\\)$");
    const QTemporaryDir folder;
    QStringList files;
    qint64 lastOfAll = 0;
    {
        LiveView view(config.protocol);
        QVERIFY(view.begin(sim.device, 0, 0));
        view.recordStart(folder.path());
        QVERIFY(waitFor([&] { return filesBelow(folder.path()).size() == 1; }));
        QVERIFY(view.showsMore());
        for (const int value : {40, 400, 7 * 3600 * 1000}) {
            ScriptedFault script;
            script.fault = FrameFault::StampBack;
            script.sort = FrameSort::Video;
            script.value = value;
            sim.control->faults().strike(script);
            QVERIFY(waitFor([&] { return sim.control->faults().struck() > 0; }));
            lastOfAll = view.pictures().last().counter;
            QVERIFY(view.showsMore(25));
        }
        view.recordStop();
        QCOMPARE(view.faults(source()), QString()); // each of them was shown
        QVERIFY(waitFor([&] {
            files = filesBelow(folder.path());
            return files.size() == 1 && files.first().endsWith("_0.mp4");
        }));
    }
    const RecordedFile file = heart->leaveOut([&] { return readRecording(files.first()); });
    const QString complaints = heart->leaveOut([&] { return complaintsAbout(files.first()); });
    QCOMPARE(file.error + complaints, QString());
    QVERIFY(std::is_sorted(file.times.begin(), file.times.end()));
    QVERIFY(std::is_sorted(file.counters.begin(), file.counters.end()));
    QVERIFY(file.counters.first() > 0);
    QVERIFY(file.counters.last() > lastOfAll + 10);
}

void TestLiveBadFrames::changedForm_cutsTheRecordings_andBothFilesPlay_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<int>("codec");
    QTest::addColumn<QSize>("size");
    QTest::newRow("orvo size") << int(HTransportOrvo) << int(HCodecH264) << QSize(192, 108);
    QTest::newRow("zelk size") << int(HTransportZelk) << int(HCodecH264) << QSize(480, 272);
    QTest::newRow("orvo codec") << int(HTransportOrvo) << int(HCodecH265) << QSize(320, 180);
    QTest::newRow("zelk both") << int(HTransportZelk) << int(HCodecH265) << QSize(192, 108);
}

void TestLiveBadFrames::changedForm_cutsTheRecordings_andBothFilesPlay()
{
    QFETCH(int, codec);
    QFETCH(QSize, size);
    makeSmall();
    const QTemporaryDir manual;
    const QTemporaryDir automatic;
    LiveView view(config.protocol);
    QVERIFY(view.begin(sim.device, 0, 0));
    AbstractVideoThread *thread = view.recorded();
    thread->setSavePath(kAuto, automatic.path());
    thread->recordStart(kAuto);
    view.recordStart(manual.path());
    const auto begun = [&](int files) {
        return waitFor([&] {
            return filesBelow(manual.path()).size() == files &&
                   filesBelow(automatic.path()).size() == files;
        });
    };
    QVERIFY(begun(1));
    QVERIFY(view.showsMore(12));
    SignalRecorder told;
    told.watch(thread, &AbstractVideoThread::receiveSizeChanged, "size");
    told.watch(thread, &AbstractVideoThread::sig_decoderDestroyed, "freed");
    StreamConfig form = config.channels[0].streams[0];
    form.video.codec = codec;
    form.video.width = size.width();
    form.video.height = size.height();
    sim.control->setForm(0, 0, form);
    QVERIFY(begun(2));
    QVERIFY(waitFor([&] { return view.pictureSize() == size; }));
    QVERIFY(view.showsMore(12));
    QCOMPARE(view.faults(source()), QString()); // without a gap
    QCOMPARE(told.count("freed"), 1);
    QCOMPARE(told.count("size"), size == QSize(320, 180) ? 0 : 1);
    QCOMPARE(view.plays(), 1);
    view.recordStop();
    thread->recordStop(kAuto);
    for (const QTemporaryDir *folder : {&manual, &automatic}) {
        QStringList files;
        QVERIFY(waitFor([&] {
            files = filesBelow(folder->path());
            return files.size() == 2 && files.filter(QRegularExpression("_0\\.mp4$")).size() == 2;
        }));
        RecordedFile before;
        RecordedFile after;
        heart->leaveOut([&] {
            QCOMPARE(faultOfRecording(files.at(0), &before), QString());
            QCOMPARE(faultOfRecording(files.at(1), &after), QString());
        });
        QCOMPARE(before.size, QSize(320, 180));
        QCOMPARE(after.size, size);
        QCOMPARE(after.videoCodec != before.videoCodec, codec != HCodecH264);
        QCOMPARE(after.counters.first(), before.counters.last() + 1);
    }
}

void TestLiveBadFrames::everythingAtRandom_onFourStreams_isSurvived()
{
    make(smallDevice(HTransportOrvo, 4, 1));
    announceBadFrames();
    qInfo("seed %u", kSeed);
    std::vector<std::unique_ptr<LiveView>> views;
    for (int channel = 0; channel < 4; ++channel) {
        views.push_back(std::make_unique<LiveView>());
        QVERIFY(views.back()->begin(sim.device, channel, 0));
    }
    for (const auto &view : views)
        QVERIFY(view->showsMore());
    sim.control->faults().strikeAtRandom(
        kSeed, 0.4,
        {FrameFault::StampForward, FrameFault::StampBack, FrameFault::StampRepeat,
         FrameFault::HeaderTooSmall, FrameFault::HeaderTooLarge, FrameFault::OtherSize,
         FrameFault::Garbage, FrameFault::Truncated, FrameFault::Empty, FrameFault::UnknownType,
         FrameFault::UnknownCodec, FrameFault::Largest, FrameFault::NoParameterSets,
         FrameFault::Lost, FrameFault::Repeated, FrameFault::Swapped});
    QVERIFY(waitFor([&] { return sim.control->faults().struck() > 400; }, kHealMs));
    sim.control->faults().clear();
    for (int channel = 0; channel < 4; ++channel) {
        LiveView &view = *views[channel];
        QVERIFY(waitFor([&] {
            view.forget();
            return view.showsMore(6) && view.faults(source(channel)).isEmpty();
        }));
        QCOMPARE(view.ends(), 0);
    }
}

QTEST_MAIN(TestLiveBadFrames)
#include "tst_livebadframes.moc"
