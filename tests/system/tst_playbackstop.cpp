// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The ends of playbacks, in all orders, while pictures flow: windows that are closed or deleted,
// stops, quick starts, devices that go, the end of the process.
#include "endrounds.h"
#include "playbackcase.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTimer>

using namespace vantratest;
using namespace vantrasim;

namespace {

/// Of the views. The read under way in a paused play, which the end of its view waits for, lasts so
/// long.
constexpr int kTimeoutMs = 500;
constexpr int kChannels = 4;

/// H.264 and H.265 in turn, with sound.
DeviceConfig smallRecorder()
{
    DeviceConfig config = recorder(kChannels, HCodecH264, HCodecG711A);
    for (int i = 1; i < kChannels; i += 2)
        config.channels[i].streams[0].video.codec = HCodecH265;
    return config;
}

/// A host whose process ends in the way of `mode` while it plays recordings.
int endingHost(const QByteArray &mode, int argc, char **argv)
{
    quietConsole();
    useNoSoundServer();
    auto application = std::make_unique<QApplication>(argc, argv);
    Simulation sim = simulateDevice(smallRecorder());
    auto first = std::make_unique<PlaybackView>(kTimeoutMs);
    auto second = std::make_unique<PlaybackView>(kTimeoutMs);
    if (!first->begin(sim.device, 0, at(10, 0), at(11, 0)) ||
        !second->begin(sim.device, 1, at(10, 0), at(11, 0)))
        return 1;
    if (!first->showsMore(1) || !second->showsMore(1))
        return 2;
    if (mode == "device-first")
        sim = {};
    else if (mode == "paused")
        first->pause();
    else if (mode == "application-first") {
        first.reset();
        second.release(); // a host that leaks its window
        application.reset();
    } else if (mode == "last-window-closed") {
        QTimer::singleShot(0, [&] {
            first->close();
            second->close();
        });
        return application->exec();
    }
    return 0;
}

} // namespace

class TestPlaybackStop : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override
    {
        // Refusals where a former play has not ended, controls of what is not open (any more).
        for (const Logger::LogLevel level : {Logger::Warning, Logger::Error})
            log->expectMatching(level, QRegularExpression("^\\(orvodthr\\)"));
        // Where two plays of one channel overlap, each lacks pictures that the other has read, and
        // those of H.265 that refer to them cannot be decoded.
        log->expectMatching(Logger::Error,
                            QRegularExpression("^\\(ffpg\\)avcodec_(receive_frame|send_packet) "));
        log->expectMatching(Logger::Warning, QRegularExpression("^\\(mdcdc\\)video decoder fail "));
        log->expectMatching(Logger::Error,
                            QRegularExpression("^\\(pvptvthr\\)decode video frame err$"));
    }

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void rounds_inAnyOrder_endInTime_andLeaveNothing_data();
    void rounds_inAnyOrder_endInTime_andLeaveNothing();
    void process_ends_whileRecordingsPlay_data();
    void process_ends_whileRecordingsPlay();

private:
    void playRound();
    std::function<void()> drawStep(std::unique_ptr<PlaybackView> &view, const QString &path);
    int draw(int below) { return rounds->draw(below); }

    std::unique_ptr<EndRounds> rounds;
};

/// Something that a host may do with a view, if it still has it.
std::function<void()> TestPlaybackStop::drawStep(std::unique_ptr<PlaybackView> &view,
                                                 const QString &path)
{
    const int what = draw(8);
    const QDateTime time = at(10, draw(60), draw(60));
    return [&view, path, what, time] {
        if (!view)
            return;
        switch (what) {
        case 0:
            return view->stop();
        case 1:
            return view->pause();
        case 2:
            return view->resume();
        case 3:
            return view->seekFile(time);
        case 4:
            return view->setSpeed(8);
        case 5:
            return view->snap(path, true);
        default:
            view->stop();
            view->start();
        }
    };
}

/// Some playbacks of a device; then everything that may end happens, in an order that is drawn.
void TestPlaybackStop::playRound()
{
    Simulation sim = simulateDevice(smallRecorder());
    const std::shared_ptr<DeviceControl> control = sim.control;
    const QTemporaryDir folder;
    std::vector<std::unique_ptr<PlaybackView>> views;
    const int count = 1 + draw(4);
    for (int i = 0; i < count; ++i) {
        views.push_back(std::make_unique<PlaybackView>(kTimeoutMs));
        ++rounds->viewsMade;
        PlaybackView &view = *views.back();
        view.setReads(false);
        const QDateTime end = draw(4) ? at(11, 0) : at(10, 0).addMSecs(200 + draw(400));
        QVERIFY(view.begin(sim.device, draw(kChannels), at(10, 0), end));
    }
    if (draw(3) > 0) // or it has ended, or another plays the same channel
        waitFor([&, wanted = 1 + draw(3)] { return views.front()->count() >= wanted; }, 1000);

    std::vector<std::function<void()>> steps;
    for (auto &view : views) {
        steps.push_back([&view] {
            if (view)
                view->close();
        });
        steps.push_back([&view] { view.reset(); });
        for (int i = draw(4); i > 0; --i)
            steps.push_back(drawStep(view, folder.path()));
    }
    steps.push_back([&sim] { sim.device.reset(); });
    if (draw(4) == 0)
        steps.push_back([&control, ms = 50 + draw(500)] { control->loseConnection(ms); });
    std::shuffle(steps.begin(), steps.end(), rounds->random);
    for (const auto &step : steps) {
        step();
        rounds->dog->feed();
        if (draw(2))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1 + draw(10));
    }
    views.clear();
    sim = {};
    rounds->dog->feed();
    QCOMPARE(control.use_count(), 1L); // no thread is left that holds the device
}

void TestPlaybackStop::rounds_inAnyOrder_endInTime_andLeaveNothing_data()
{
    QTest::addColumn<bool>("load");
    QTest::newRow("at leisure") << false;
    QTest::newRow("under load") << true;
}

void TestPlaybackStop::rounds_inAnyOrder_endInTime_andLeaveNothing()
{
    QFETCH(bool, load);
    rounds = std::make_unique<EndRounds>();
    // Its pictures are those of all the devices, and are made only once.
    const Simulation keeper = simulateDevice(smallRecorder());
    std::vector<std::unique_ptr<PlaybackView>> keeping;
    for (int i = 0; i < kChannels; ++i) {
        keeping.push_back(std::make_unique<PlaybackView>(kTimeoutMs));
        QVERIFY(keeping.back()->begin(keeper.device, i, at(10, 0), at(23, 0)));
        QVERIFY(keeping.back()->showsMore(1));
        keeping.back()->pause();
        keeping.back()->hide();
    }
    const BusyMachine busy(load);
    rounds->play([&] { playRound(); });
}

void TestPlaybackStop::process_ends_whileRecordingsPlay_data()
{
    QTest::addColumn<QString>("mode");
    for (const char *mode :
         {"views-first", "device-first", "paused", "application-first", "last-window-closed"})
        QTest::newRow(mode) << QString::fromLatin1(mode);
}

void TestPlaybackStop::process_ends_whileRecordingsPlay()
{
    QFETCH(QString, mode);
    hostEndsCleanly(mode);
}

int main(int argc, char **argv)
{
    mallopt(M_ARENA_MAX, 1); // as EndRounds asks
    if (argc == 3 && qstrcmp(argv[1], "--host") == 0)
        return endingHost(argv[2], argc, argv);
    QApplication application(argc, argv);
    TestPlaybackStop test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_playbackstop.moc"
