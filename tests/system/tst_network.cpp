// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Live views and recordings of a camera behind a bad link: the real protocols through packets that
// are lost, late, too many, or go nowhere. One transport per program, VANTRA_TEST_TRANSPORT.
#include "containerfault.h"
#include "devicelink/hnetdevice.h"
#include "devicelink/rtspcamerabackend.h"
#include "livecase.h"
#include "support/impairedlink.h"
#include "support/players.h"
#include "support/privatepulse.h"
#include "support/rtspserver.h"

#include <QTemporaryDir>

#include <cstdio>

using namespace vantratest;

namespace {

constexpr unsigned kSeed = 20261122;
constexpr int kSkipped = 77; ///< exit code, as CTest is told
const QString kTransport = QStringLiteral(VANTRA_TEST_TRANSPORT);
/// About 300 kbit/s, and more than twice what the slow link carries.
const QString kCamera = QStringLiteral("cam:h264:pcma:320x240:25:gop=25:kbps=300:id=010000");
const QString kFatCamera = QStringLiteral("fat:h264:none:1280x720:25:gop=25:kbps=1500");
/// What its pictures say of it.
const SceneId kId{1, 0, 0};
constexpr int kFps = 25;
constexpr int kSlowKbps = 512;
constexpr int kMostBehind = 5 * kFps; ///< pictures; what grows without bound passes that
constexpr int kPatientMs = 20000;     ///< time-outs that a bad link keeps
constexpr int kImpatientMs = 1500;
constexpr int kOpenSleepMs = 300;
constexpr int kHealMs = 60000; ///< safeguard
/// In which a stopped thread ends: sooner than any time-out of its own or of its socket could.
constexpr int kSoonMs = 2500;
constexpr int kEnough = 75;    ///< pictures
constexpr int kFewLost = 3;    ///< packets
constexpr int kShortMs = 2000; ///< a cut that no time-out notices
constexpr int kPaceMs = 2000;
constexpr int kPaces = 6;

ImpairedLink *theLink = nullptr;

bool isTcp()
{
    return kTransport == QLatin1String("tcp");
}

/// Stops watching and recording, whatever the test has come to.
class CameraView : public LiveView
{
public:
    explicit CameraView(int timeoutMs = kPatientMs) : LiveView(HTransportRtsp, timeoutMs) {}

    bool watch(const QSharedPointer<HNetDevice> &device)
    {
        const auto set =
            DevLiveThrSetManager::Instance()->newVideoThreadSet(device, HTransportRtsp);
        for (const auto &thread : set->getChannelThreads()) {
            thread->setTransport(kTransport);
            thread->setOpenSleepTime(kOpenSleepMs);
        }
        return begin(device, 0, 0);
    }
    /// The last counter that could be read.
    qint64 newest() const
    {
        for (auto picture = pictures().rbegin(); picture != pictures().rend(); ++picture) {
            if (picture->counter >= 0)
                return picture->counter;
        }
        return -1;
    }
};

} // namespace

class TestNetwork : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void badLink_isWatchedAndRecorded_data();
    void badLink_isWatchedAndRecorded();
    void slowLink_isInTime_orFallsBehindNoFurther_data();
    void slowLink_isInTime_orFallsBehindNoFurther();
    void shortCut_isSatOut();
    void outage_isShown_andHeals_data();
    void outage_isShown_andHeals();
    void movedCamera_isFoundAtItsNewAddress();
    void stop_endsSoon_whileTheNetworkHangs_data();
    void stop_endsSoon_whileTheNetworkHangs();

protected:
    void setUp() override;
    void tearDown() override;

private:
    QSharedPointer<HNetDevice> cameraAt(const QString &url);
    QStringList finishedFiles() const;
    /// How many pictures the camera has taken since the one that a view shows.
    qint64 behind(const CameraView &view, const QString &camera)
    {
        return server.stat(QStringLiteral("counter"), camera) - 1 - view.newest();
    }
    /// Whether the view is not far behind, as soon as a picture shows it: damage may lie about it.
    bool comesInTime(const CameraView &view, const QString &camera)
    {
        return waitFor(
            [&] {
                const qint64 pictures = behind(view, camera);
                return pictures >= 0 && pictures <= kMostBehind;
            },
            kHealMs / 6);
    }

    RtspServer server;
    RtspCameraBackend *backend = nullptr; ///< of the last device
    std::unique_ptr<QTemporaryDir> folder;
};

void TestNetwork::initTestCase()
{
    useNoSoundServer();
    quietConsole();
    server.setPlace(theLink->cameraNetwork(), QString::fromLatin1(ImpairedLink::kCameraAddress));
    QVERIFY2(server.start({"--camera", kCamera, "--camera", kFatCamera}), qPrintable(server.log()));
}

void TestNetwork::setUp()
{
    theLink->setQuality({});
    QVERIFY(theLink->setHostUp(true));
    QVERIFY(theLink->setCameraAddress(ImpairedLink::kCameraAddress));
    folder = std::make_unique<QTemporaryDir>();
    // How often, and at which call, differs from run to run.
    log->expectMatching(
        Logger::Warning,
        QRegularExpression(
            "^\\(ffvdthr\\)(try to stop|open timeout|read timeout|no audio stream)"));
    log->expectMatching(
        Logger::Error,
        QRegularExpression("^\\(ffvdthr\\)(open input err|find stream err|resolution err|"
                           "read frame err)"));
    QVERIFY(Vantra::init());
}

void TestNetwork::tearDown()
{
    theLink->setQuality({});
    Vantra::release();
    folder.reset();
}

QSharedPointer<HNetDevice> TestNetwork::cameraAt(const QString &url)
{
    auto camera = std::make_unique<RtspCameraBackend>(QVector<RtspCamera>{{url, QString()}});
    backend = camera.get();
    return QSharedPointer<HNetDevice>::create(std::move(camera));
}

/// That have got their last names.
QStringList TestNetwork::finishedFiles() const
{
    return filesBelow(folder->path())
        .filter(QRegularExpression(QStringLiteral("_\\d{8}T\\d{6}_0\\.mp4$")));
}

// --- Bad ways ------------------------------------------------------------------------------------

void TestNetwork::badLink_isWatchedAndRecorded_data()
{
    QTest::addColumn<double>("loss");
    QTest::addColumn<int>("delayMs");
    QTest::addColumn<int>("jitterMs");
    QTest::newRow("1 % lost") << 0.01 << 0 << 0;
    QTest::newRow("5 % lost") << 0.05 << 0 << 0;
    QTest::newRow("late") << 0.0 << 100 << 30;
}

/// By TCP everything arrives. By UDP what is lost is missing or damaged; the file is a whole one.
void TestNetwork::badLink_isWatchedAndRecorded()
{
    QFETCH(double, loss);
    QFETCH(int, delayMs);
    QFETCH(int, jitterMs);
    LinkQuality quality;
    quality.loss = loss;
    quality.delayMs = delayMs;
    quality.jitterMs = jitterMs;
    theLink->setQuality(quality);

    const auto device = cameraAt(server.url("cam"));
    CameraView view;
    const qint64 udpBefore = theLink->carriedUdp();
    QVERIFY(view.watch(device));
    QVERIFY(view.showsMore(3, kHealMs));
    QCOMPARE(theLink->carriedUdp() > udpBefore, !isTcp());
    const int plays = view.plays(); // a way as bad as this may need a second attempt
    view.recordStart(folder->path());
    view.forget();
    const qint64 lostBefore = theLink->lost();
    QVERIFY(waitFor(
        [&] {
            return view.count() >= kEnough &&
                   (loss == 0 || theLink->lost() >= lostBefore + kFewLost);
        },
        kHealMs));
    QVERIFY(comesInTime(view, "cam"));
    QCOMPARE(view.plays(), plays);
    view.recordStop();
    QVERIFY(waitFor([&] { return finishedFiles().size() == 1; }));
    QCOMPARE(view.ends(), plays - 1);
    view.finish();

    const QString path = finishedFiles().first();
    QCOMPARE(containerFault(path), QString());
    QVERIFY(probeFile(path).video.times.size() >= kFps);
    if (loss == 0 || isTcp()) {
        QCOMPARE(view.faults(kId), QString());
        RecordedFile file;
        QCOMPARE(faultOfRecording(path, &file), QString());
    }
}

void TestNetwork::slowLink_isInTime_orFallsBehindNoFurther_data()
{
    QTest::addColumn<QString>("camera");
    QTest::newRow("a stream that fits") << QStringLiteral("cam");
    QTest::newRow("a stream that does not fit") << QStringLiteral("fat");
}

/// What does not fit waits in the queues of the camera and of the two systems. They are full after
/// a while, and then it depends on the camera and the transport what is left out.
void TestNetwork::slowLink_isInTime_orFallsBehindNoFurther()
{
    QFETCH(QString, camera);
    LinkQuality slow;
    slow.kbps = kSlowKbps;
    theLink->setQuality(slow);
    CameraView view;
    QVERIFY(view.watch(cameraAt(server.url(camera))));
    QVERIFY(view.showsMore(1, kHealMs));
    QVector<qint64> late;
    for (int i = 0; i < kPaces; ++i) {
        const int before = view.count();
        QElapsedTimer time;
        time.start();
        QVERIFY(waitFor([&] { return time.elapsed() > kPaceMs; }, kHealMs));
        QVERIFY2(view.count() > before, qPrintable(QString::number(i))); // it never stands
        late << behind(view, camera);
    }
    qInfo() << "pictures behind:" << late << "shown:" << view.count();
    QCOMPARE(view.plays(), 1);
    QVERIFY(comesInTime(view, camera));
    if (camera == "cam")
        QCOMPARE(view.faults(kId), QString());
}

// --- No way --------------------------------------------------------------------------------------

void TestNetwork::shortCut_isSatOut()
{
    CameraView view;
    QVERIFY(view.watch(cameraAt(server.url("cam"))));
    QVERIFY(view.showsMore(3, kHealMs));
    LinkQuality cut;
    cut.isCut = true;
    theLink->setQuality(cut);
    // Shorter than every time-out; it has to last, so it is waited out by the clock.
    QElapsedTimer time;
    time.start();
    QVERIFY(waitFor([&] { return time.elapsed() > kShortMs / 2; }));
    theLink->setQuality({});
    const qint64 lasted = time.elapsed();
    QVERIFY(view.showsMore(2 * kFps, kHealMs));
    if (lasted > kShortMs)
        QSKIP("this machine was too busy to make it a short one");
    QCOMPARE(view.plays(), 1);
    QCOMPARE(view.ends(), 0);
    if (isTcp())
        QCOMPARE(view.faults(kId), QString());
}

void TestNetwork::outage_isShown_andHeals_data()
{
    QTest::addColumn<QString>("fault");
    for (const char *fault : {"link cut", "address gone", "card unplugged"})
        QTest::newRow(fault) << QString(fault);
}

void TestNetwork::outage_isShown_andHeals()
{
    QFETCH(QString, fault);
    CameraView view(kImpatientMs);
    view.setTimeouts(kPatientMs, kImpatientMs);
    QVERIFY(view.watch(cameraAt(server.url("cam"))));
    QVERIFY(view.showsMore(3, kHealMs));
    view.recordStart(folder->path());
    QVERIFY(view.showsMore(2 * kFps, kHealMs));

    if (fault == "link cut") {
        LinkQuality cut;
        cut.isCut = true;
        theLink->setQuality(cut);
    } else if (fault == "address gone") {
        QVERIFY(theLink->setCameraAddress(""));
    } else {
        QVERIFY(theLink->setHostUp(false));
    }
    // What stood there does not stay as if it were live, and the host is told.
    QVERIFY(waitFor([&] { return view.showsNothing(); }, kHealMs));
    QCOMPARE(view.ends(), 1);
    QVERIFY(view.isReadStreamTimeout());
    const int opens = log->count(Logger::Debug, QStringLiteral("(ffvdthr)check connect failed"));
    QVERIFY(waitFor(
        [&] {
            return log->count(Logger::Debug, QStringLiteral("(ffvdthr)check connect failed")) >
                   opens + 1;
        },
        kHealMs));
    QVERIFY(view.showsNothing());

    theLink->setQuality({});
    QVERIFY(theLink->setHostUp(true));
    QVERIFY(theLink->setCameraAddress(ImpairedLink::kCameraAddress));
    view.forget();
    QVERIFY(view.showsMore(kFps, kHealMs));
    QCOMPARE(view.plays(), 2);
    QVERIFY(!view.isReadStreamTimeout());
    QVERIFY(waitFor([&] { return filesBelow(folder->path()).size() == 2; }, kHealMs));
    QVERIFY(view.showsMore(kFps, kHealMs));
    view.recordStop();
    QVERIFY(waitFor([&] { return finishedFiles().size() == 2; }));
    view.finish();
    for (const QString &file : finishedFiles())
        QCOMPARE(containerFault(file), QString());
}

void TestNetwork::movedCamera_isFoundAtItsNewAddress()
{
    CameraView view;
    view.setTimeouts(kPatientMs, kImpatientMs);
    QVERIFY(view.watch(cameraAt(server.url("cam"))));
    QVERIFY(view.showsMore(3, kHealMs));
    // By UDP, pictures would go on coming from wherever the camera is.
    LinkQuality cut;
    cut.isCut = true;
    theLink->setQuality(cut);
    QVERIFY(waitFor([&] { return view.showsNothing(); }, kHealMs));
    QVERIFY(theLink->setCameraAddress(ImpairedLink::kOtherCameraAddress));
    theLink->setQuality({});
    view.forget();
    server.setAddress(QString::fromLatin1(ImpairedLink::kOtherCameraAddress));
    backend->setCamera(0, {server.url("cam"), QString()});
    server.setAddress(QString::fromLatin1(ImpairedLink::kCameraAddress));
    QVERIFY(view.showsMore(kFps, kHealMs));
}

void TestNetwork::stop_endsSoon_whileTheNetworkHangs_data()
{
    QTest::addColumn<QString>("phase");
    for (const char *phase :
         {"before the first picture", "while it opens", "while it plays", "while it opens again"})
        QTest::newRow(phase) << QString(phase);
}

void TestNetwork::stop_endsSoon_whileTheNetworkHangs()
{
    QFETCH(QString, phase);
    LinkQuality cut;
    cut.isCut = true;
    CameraView view;
    view.setTimeouts(kPatientMs, phase == "while it opens again" ? kImpatientMs : kPatientMs);
    if (phase == "before the first picture")
        theLink->setQuality(cut);
    const auto device = cameraAt(server.url("cam"));
    const qint64 carried = theLink->carried();
    QVERIFY(view.watch(device));
    const auto set = setOf(device);
    const QSharedPointer<AbstractVideoThread> thread = set->getChannelThreads().first();
    if (phase == "before the first picture") {
        QVERIFY(waitFor([&] { return thread->isRunning(); }));
    } else if (phase == "while it opens") {
        // Behind the probe, in the middle of the talk with the server.
        QVERIFY(waitFor([&] { return theLink->carried() > carried + 8; }));
        theLink->setQuality(cut);
    } else {
        QVERIFY(view.showsMore(3, kHealMs));
        theLink->setQuality(cut);
        if (phase == "while it opens again")
            QVERIFY(waitFor([&] { return view.showsNothing(); }, kHealMs));
    }
    QElapsedTimer time;
    time.start();
    view.finish();
    QVERIFY(waitFor([&] { return thread->isFinished(); }, kSoonMs));
    qInfo("ended after %d ms", int(time.elapsed()));
}

int main(int argc, char *argv[])
{
    ImpairedLink link;
    const QString reason = link.enter(kSeed);
    if (!reason.isEmpty()) {
        std::fprintf(stderr, "SKIP: this system allows no network of one's own: %s\n",
                     qPrintable(reason));
        return kSkipped;
    }
    theLink = &link;
    QApplication app(argc, argv);
    TestNetwork test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_network.moc"
