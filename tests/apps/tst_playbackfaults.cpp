// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playbackhost.h"
#include "support/loggedtest.h"
#include "support/scriptedbackend.h"
#include "theme.h"
#include "vantra.h"

#include <QApplication>
#include <QPointer>
#include <QScopeGuard>
#include <QSemaphore>
#include <QtTest>

#include <memory>

using namespace vantratest;
using namespace vantrasim;
using recordingtime::secondMs;

/// What goes wrong with a playback and is told, and how plays end.
class TestPlaybackFaults : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override { QCursor::setPos(0, 0); }

private slots:
    void initTestCase() { QVERIFY(Vantra::init()); }
    void cleanupTestCase() { Vantra::release(); }
    void refusals_areToldInPlainWords_data();
    void refusals_areToldInPlainWords();
    void refusalOfACameraByAddress_saysThatItHasNoRecordings();
    void silentDevice_isTold_andTriedAgain();
    void lostLink_isTold_andPlayGoesOnWhereItWas();
    void deviceThatIsNotThere_isWaitedFor();
    void brokenRecording_isTold_andTriedAgain();
    void picture_thatCannotBeWritten_isTold();
    void twoViewsOfAChannel_neverDisturbEachOther();
    void view_isDeletedWhilePlaying();
    void viewThatIsTakenAway_staysUntilItsDeviceAnswers();
    void manyPlays_leaveNoThread();
    void haltAndPlay_waitsForTheLastPlayToEnd();
};

void TestPlaybackFaults::refusals_areToldInPlainWords_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("words");
    QTest::newRow("exceed max") << int(HRetExceedMax) << "as many recordings as it can";
    QTest::newRow("other") << int(HRetRefused) << "refuses to play this recording";
}

void TestPlaybackFaults::refusals_areToldInPlainWords()
{
    QFETCH(int, answer);
    QFETCH(QString, words);
    log->expect(Logger::Warning, QString("(orvodthr)vod start err %1").arg(answer));
    const Recorder recorder;
    recorder.control->faults().refuse(DeviceOp::vodStart, HRetError(answer), 2);
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.becomes(PlaybackState::Failed));
    QVERIFY(host.showsWords("Not played", words));
    QVERIFY(host.overlay()->detail().contains("Press Space to try again."));
    QVERIFY(!host.view.isWanted());
    QVERIFY(host.view.summary().state.startsWith("not played: The device refuses"));
    host.view.play();
    QVERIFY(waitFor([&] { return recorder.count(DeviceOp::vodStart) == 2; }));
    QVERIFY(host.becomes(PlaybackState::Failed));
    QCOMPARE(host.view.position(), recordedAt(9, 5)); // that is what is tried again
    host.view.play();
    QVERIFY(host.passes(recordedAt(9, 5)));
    QVERIFY(host.view.position() < recordedAt(9, 6));
}

void TestPlaybackFaults::refusalOfACameraByAddress_saysThatItHasNoRecordings()
{
    log->expect(Logger::Warning, "(orvodthr)vod start err 1");
    QString problem;
    const Device device =
        cameraDevice(CameraAddress::parse("rtsp://127.0.0.1:1/x", &problem), CameraAddress());
    PlaybackHost host(device.cameras().first());
    QVERIFY(!host.view.isRecordedKnown());
    host.view.play();
    QVERIFY(host.showsWords("Not played", "by its address alone"));
}

void TestPlaybackFaults::silentDevice_isTold_andTriedAgain()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    recorder.control->faults().refuse(DeviceOp::vodReadFrame, HRetTimeout, -1);
    QVERIFY(host.showsWords("No pictures", "The device sends nothing."));
    QCOMPARE(host.view.state(), PlaybackState::Waiting);
    const qint64 place = host.view.position();
    recorder.control->faults().clear();
    QVERIFY(host.passes(place)); // of its own accord, where the device goes on
    recorder.control->faults().refuse(DeviceOp::vodReadFrame, HRetTimeout, -1);
    QVERIFY(host.becomes(PlaybackState::Waiting));
    const qint64 starts = recorder.count(DeviceOp::vodStart);
    recorder.control->faults().clear();
    host.view.play(); // or by a new playback, if a person has no patience
    QVERIFY(host.becomes(PlaybackState::Playing));
    QVERIFY(recorder.count(DeviceOp::vodStart) <= starts + 1);
}

void TestPlaybackFaults::lostLink_isTold_andPlayGoesOnWhereItWas()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(orvodthr\\)"));
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    recorder.control->loseConnection();
    QVERIFY(host.becomes(PlaybackState::Waiting));
    QVERIFY(host.showsWords("No pictures", "The device is gone."));
    QVERIFY(host.overlay()->detail().contains("Play goes on when it is back."));
    const qint64 place = host.view.position();
    recorder.control->restoreConnection();
    QVERIFY(host.passes(place));
    QVERIFY(host.view.position() < place + 60 * secondMs);
    // Held, it comes back held.
    host.view.hold();
    recorder.control->loseConnection();
    QVERIFY(host.becomes(PlaybackState::Waiting));
    recorder.control->restoreConnection();
    QVERIFY(host.becomes(PlaybackState::Paused));
    QVERIFY(waitFor([&] { return recorder.control->playback(0).paused; }));
}

void TestPlaybackFaults::deviceThatIsNotThere_isWaitedFor()
{
    const Recorder recorder;
    recorder.control->loseConnection();
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.becomes(PlaybackState::Waiting));
    QVERIFY(host.overlay()->detail().contains("Play goes on when it is back."));
    // Longer than a thread waits for the link.
    QVERIFY(waitFor([&] { return !PlaybackThread::anyRuns(); }));
    QCOMPARE(host.view.state(), PlaybackState::Waiting);
    recorder.control->restoreConnection();
    QVERIFY(host.passes(recordedAt(9, 5)));
    // Who stops waits no longer.
    recorder.control->loseConnection();
    QVERIFY(host.becomes(PlaybackState::Waiting));
    host.view.halt();
    QCOMPARE(host.view.state(), PlaybackState::Ready);
    const qint64 starts = recorder.count(DeviceOp::vodStart);
    recorder.control->restoreConnection();
    waitFor([] { return false; }, 500);
    QCOMPARE(recorder.count(DeviceOp::vodStart), starts);
}

void TestPlaybackFaults::brokenRecording_isTold_andTriedAgain()
{
    log->expect(Logger::Error, "(orvodthr)vod read frame err 99");
    log->expect(Logger::Error, "(orvodthr)read frame err 3");
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    recorder.control->faults().refuse(DeviceOp::vodReadFrame, HRetError(99), 4);
    QVERIFY(host.becomes(PlaybackState::Failed));
    QVERIFY(host.showsWords("Not played", "has broken off the recording"));
    const qint64 place = host.view.position();
    host.view.play();
    QVERIFY(host.passes(place));
    QVERIFY(host.view.position() < place + 60 * secondMs);
}

void TestPlaybackFaults::picture_thatCannotBeWritten_isTold()
{
    const Recorder recorder;
    PlaybackView view("/proc/pictures");
    view.setDay(recordedDay());
    view.setCamera(recorder.camera());
    view.resize(640, 360);
    view.show();
    view.playFrom(recordedAt(9, 15));
    QVERIFY(waitFor([&] { return view.state() == PlaybackState::Playing; }));
    view.savePicture();
    QVERIFY(view.findChild<ViewLabels *>()->lastNotice().contains("cannot be made"));
}

void TestPlaybackFaults::twoViewsOfAChannel_neverDisturbEachOther()
{
    const Recorder recorder;
    PlaybackHost one(recorder.camera()), two(recorder.camera());
    one.view.playFrom(recordedAt(9, 5));
    QVERIFY(one.passes(recordedAt(9, 5)));
    two.view.playFrom(recordedAt(9, 30));
    QVERIFY(two.showsWords("Opening the recording", "about to end"));
    const qint64 place = one.view.position();
    QVERIFY(one.passes(place + secondMs));
    QCOMPARE(recorder.count(DeviceOp::vodStart), qint64(1));
    one.view.halt();
    QVERIFY(two.passes(recordedAt(9, 30)));
    QVERIFY(two.view.position() < recordedAt(9, 31));
}

void TestPlaybackFaults::view_isDeletedWhilePlaying()
{
    const Recorder recorder;
    for (int i = 0; i < 5; ++i) {
        auto host = std::make_unique<PlaybackHost>(recorder.camera());
        host->view.playFrom(recordedAt(9, 5));
        if (i > 0)
            QVERIFY(host->passes(recordedAt(9, 5) + i * 100));
    }
    QVERIFY(waitFor([&] { return recorder.control->openPlaybacks() == 0; }));
    QVERIFY(!PlaybackThread::anyRuns());
    PlaybackView *bare = new PlaybackView(QString());
    bare->setDay(recordedDay());
    bare->setCamera(recorder.camera());
    bare->show();
    bare->playFrom(recordedAt(9, 5));
    QVERIFY(waitFor([&] { return bare->state() == PlaybackState::Playing; }));
    delete bare;
    QVERIFY(!PlaybackThread::anyRuns());
}

/// A device that does not answer holds up no person who takes its view away.
void TestPlaybackFaults::viewThatIsTakenAway_staysUntilItsDeviceAnswers()
{
    QSemaphore asked;
    QSemaphore mayAnswer;
    const auto answersInTheEnd = qScopeGuard([&] { mayAnswer.release(); });
    DeviceAnswer late(HRetTimeout);
    late.first = [&] {
        asked.release();
        mayAnswer.acquire();
    };
    const auto script = std::make_shared<DeviceScript>();
    script->enqueue(DeviceScript::Op::vodReadFrame, late);
    Camera camera = Recorder().camera();
    camera.link = scriptedDevice(script);
    QTemporaryDir folder;
    auto *view = new PlaybackView(folder.path());
    view->setDay(recordedDay());
    view->setCamera(camera);
    view->playFrom(recordedAt(9, 5));
    QVERIFY(waitFor([&] { return asked.available() > 0; }));
    const QPointer<PlaybackView> watched = view;
    view->halt();
    view->deleteOnceEnded();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(watched);
    mayAnswer.release();
    QVERIFY(waitFor([&] { return !watched; }));
    QVERIFY(!PlaybackThread::anyRuns());
}

void TestPlaybackFaults::manyPlays_leaveNoThread()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    for (int i = 0; i < 30; ++i) {
        host.view.playFrom(recordedAt(9, i));
        for (int turn = 0; turn < i % 5; ++turn)
            QCoreApplication::processEvents();
        host.view.halt();
    }
    QVERIFY(waitFor([] { return !PlaybackThread::anyRuns(); }));
    QVERIFY(waitFor([&] { return recorder.control->openPlaybacks() == 0; }));
    QVERIFY(waitFor([&] { return host.view.findChildren<PlaybackThread *>().isEmpty(); }));
    host.view.play();
    QVERIFY(host.becomes(PlaybackState::Playing));
}

void TestPlaybackFaults::haltAndPlay_waitsForTheLastPlayToEnd()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    for (int i = 0; i < 10; ++i) {
        host.view.halt();
        QCOMPARE(host.view.state(), PlaybackState::Ready);
        host.view.playFrom(recordedAt(9, 10 + i));
        QVERIFY(host.view.isWanted());
        QVERIFY(host.passes(recordedAt(9, 10 + i)));
        QVERIFY(host.view.position() < recordedAt(9, 11 + i));
    }
    // Never a start before the stop of the play before, which would have ended the new one.
    int open = 0;
    for (const DeviceCall &call : recorder.calls().calls()) {
        if (call.operation == DeviceOp::vodStart)
            QCOMPARE(++open, 1);
        else if (call.operation == DeviceOp::vodStop)
            open = 0;
    }
    QCOMPARE(recorder.count(DeviceOp::vodStart), qint64(11));
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    theme::apply(application);
    TestPlaybackFaults test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_playbackfaults.moc"
