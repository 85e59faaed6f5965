// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playbackhost.h"
#include "support/loggedtest.h"
#include "theme.h"
#include "vantra.h"

#include <QApplication>
#include <QSignalSpy>
#include <QtTest>

using namespace vantratest;
using namespace vantrasim;
using recordingtime::none;
using recordingtime::secondMs;

namespace {

constexpr qint64 kFrameMs = 1000 / Recorder::kFps;
constexpr qint64 kKeyMs = Recorder::kGop * kFrameMs;

/// The first key picture from a time on, where the recording began at `begin`.
qint64 keyFrom(qint64 time, qint64 begin)
{
    const qint64 frames = (time - begin) * Recorder::kFps / 1000;
    qint64 key = frames / Recorder::kGop * Recorder::kGop;
    while (begin + key * kFrameMs < time)
        key += Recorder::kGop;
    return begin + key * kFrameMs;
}

} // namespace

/// One playback, from a simulated recorder to the screen.
class TestPlaybackView : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override { QCursor::setPos(0, 0); }

private slots:
    void initTestCase() { QVERIFY(Vantra::init()); }
    void cleanupTestCase() { Vantra::release(); }
    void emptyPlace_tellsWhatToDo_andIsHarmless();
    void camera_isReadyAtItsFirstRecording();
    void dayWithoutRecordings_isTold();
    void deviceThatDoesNotTell_isPlayedAllTheSame();
    void play_showsPicturesOfTheAskedTime();
    void position_isThatOfThePicture_toTheFrame();
    void hold_stopsReading_andPlayGoesOn();
    void seek_landsAtTheNextKeyPicture();
    void seekWhileHeld_showsThePictureOfThatTime();
    void seekIntoAGap_goesOnBehindIt();
    void drag_asksOneTimeAfterTheOther_andEndsWhereItWasLetGo();
    void seekBeforeItIsOpen_isKept();
    void speeds_arriveAtTheDevice_alsoInTheNextPlay();
    void end_isTold_andPlayBeginsAgain();
    void picture_isNamedByItsTimeInTheRecording_data();
    void picture_isNamedByItsTimeInTheRecording();
    void sound_isOffUntilWanted_andKept();
    void anotherCamera_endsThePlayOfTheLast();
    void viewThatIsAhead_waits_andIsCoveredInAGap();
};

void TestPlaybackView::emptyPlace_tellsWhatToDo_andIsHarmless()
{
    QTemporaryDir folder;
    PlaybackView view(folder.path());
    view.show();
    auto *overlay = view.findChild<StatusOverlay *>();
    QCOMPARE(view.state(), PlaybackState::Empty);
    QCOMPARE(overlay->title(), QString("Empty"));
    view.play();
    view.hold();
    view.playFrom(recordedAt(9));
    view.setPlaySpeed(4);
    view.toggleMuted();
    view.changeVolume(10);
    view.nextScaleMode();
    view.savePicture();
    view.setAhead(5000);
    view.tick();
    view.halt();
    QCOMPARE(view.state(), PlaybackState::Empty);
    QVERIFY(!view.isWanted());
}

void TestPlaybackView::camera_isReadyAtItsFirstRecording()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    QCOMPARE(host.view.state(), PlaybackState::Ready);
    QCOMPARE(host.view.position(), recordedAt(9));
    QVERIFY(host.showsWords("Ready", "09:00:00"));
    QVERIFY(host.view.isRecordedKnown());
    QCOMPARE(host.view.recorded(), (QVector<TimeSpan>{{recordedAt(9), recordedAt(10)},
                                                      {recordedAt(11), recordedAt(12)}}));
    QCOMPARE(recorder.count(DeviceOp::vodStart), qint64(0)); // nobody has asked for anything
}

void TestPlaybackView::dayWithoutRecordings_isTold()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.setDay(recordedDay().addDays(1));
    QVERIFY(host.showsWords("Nothing recorded", "2026-03-15"));
    QVERIFY(host.view.recorded().isEmpty());
    host.view.play(); // a person may believe otherwise
    QVERIFY(host.becomes(PlaybackState::Ended));
}

void TestPlaybackView::deviceThatDoesNotTell_isPlayedAllTheSame()
{
    Recorder recorder;
    recorder.device.recorded = {};
    PlaybackHost host(recorder.camera());
    QVERIFY(!host.view.isRecordedKnown());
    QVERIFY(host.showsWords("Ready", "00:00:00"));
    host.view.play();
    QVERIFY(host.becomes(PlaybackState::Playing));
    QVERIFY(host.view.position() >= recordedAt(9)); // the device goes to what there is
}

void TestPlaybackView::play_showsPicturesOfTheAskedTime()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    QSignalSpy moved(&host.view, &PlaybackView::positionChanged);
    host.view.playFrom(recordedAt(9, 20));
    QVERIFY(host.becomes(PlaybackState::Playing));
    QVERIFY(!host.overlay()->isVisible());
    const qint64 first = host.view.position();
    QVERIFY2(first >= recordedAt(9, 20) && first < recordedAt(9, 20, 5),
             qPrintable(recordingtime::text(first, true)));
    QVERIFY(host.passes(first + secondMs));
    QVERIFY(moved.size() > 10);
    QCOMPARE(host.view.summary().size, QSize(640, 360));
    QCOMPARE(host.view.summary().state, QString("playing"));
    // The whole day is asked for, to be begun there.
    const DeviceCall start = recorder.calls().calls(DeviceOp::vodStart).last();
    QCOMPARE(start.arguments, (QVariantList{0u, recordedAt(0), recordedAt(24), recordedAt(9, 20)}));
}

void TestPlaybackView::position_isThatOfThePicture_toTheFrame()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    for (int i = 0; i < 5; ++i) {
        const qint64 before = host.view.position();
        QVERIFY(host.passes(before + 300));
        host.view.hold();
        QCOMPARE(host.view.state(), PlaybackState::Paused);
        QVERIFY(waitFor([&] { return host.seen() == host.view.position(); }));
        host.view.play();
    }
}

void TestPlaybackView::hold_stopsReading_andPlayGoesOn()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.hold(); // not played yet
    QVERIFY(!host.view.isHeld());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    host.view.hold();
    QVERIFY(host.view.isHeld());
    QVERIFY(waitFor([&] { return recorder.control->playback(0).paused; }));
    // One read may have been under way.
    const qint64 reads = recorder.count(DeviceOp::vodReadFrame);
    const qint64 place = host.view.position();
    waitFor([] { return false; }, 1000);
    QVERIFY(recorder.count(DeviceOp::vodReadFrame) <= reads + 1);
    QVERIFY(host.view.position() <= place + 2 * kFrameMs);
    QCOMPARE(host.view.state(), PlaybackState::Paused);
    QVERIFY(!host.overlay()->isVisible());
    host.view.play();
    QVERIFY(host.passes(place + 300));
    QCOMPARE(recorder.count(DeviceOp::vodPause), qint64(1));
    QCOMPARE(recorder.count(DeviceOp::vodResume), qint64(1));
    QCOMPARE(recorder.count(DeviceOp::vodStart), qint64(1)); // the same playback
}

void TestPlaybackView::seek_landsAtTheNextKeyPicture()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    for (const qint64 wanted :
         {recordedAt(9, 40) + 130, recordedAt(9, 2) + 777, recordedAt(11, 30) + 1}) {
        const int at = int(recorder.count(DeviceOp::vodSeek));
        host.view.playFrom(wanted);
        QCOMPARE(host.view.position(), wanted); // at once, where it goes
        qint64 landed = none;
        const auto note =
            QObject::connect(&host.view, &PlaybackView::positionChanged, &host.view, [&] {
                if (landed == none)
                    landed = host.view.position();
            });
        QVERIFY(waitFor([&] { return landed != none; }));
        QObject::disconnect(note);
        const qint64 begin = wanted < recordedAt(11) ? recordedAt(9) : recordedAt(11);
        QVERIFY2(landed >= keyFrom(wanted, begin) && landed <= keyFrom(wanted, begin) + kKeyMs,
                 qPrintable(recordingtime::text(landed, true)));
        QCOMPARE(int(recorder.count(DeviceOp::vodSeek)), at + 1);
        QCOMPARE(recorder.calls().calls(DeviceOp::vodSeek).last().arguments.last().toLongLong(),
                 wanted);
    }
}

void TestPlaybackView::seekWhileHeld_showsThePictureOfThatTime()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    host.view.hold();
    for (const qint64 wanted : {recordedAt(9, 50), recordedAt(9, 1), recordedAt(11, 20)}) {
        host.view.playFrom(wanted);
        QVERIFY(waitFor([&] {
            return recorder.control->playback(0).paused && host.view.position() >= wanted &&
                   host.seen() == host.view.position();
        }));
        QVERIFY(host.view.position() < wanted + 3 * secondMs);
        QVERIFY(host.view.isHeld());
        QCOMPARE(host.view.state(), PlaybackState::Paused);
    }
}

void TestPlaybackView::seekIntoAGap_goesOnBehindIt()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    host.view.playFrom(recordedAt(10, 30));
    QVERIFY(host.passes(recordedAt(11) - 1));
    QVERIFY(host.view.position() < recordedAt(11, 0, 10));
}

void TestPlaybackView::drag_asksOneTimeAfterTheOther_andEndsWhereItWasLetGo()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    for (int minute = 10; minute < 50; ++minute)
        host.view.playFrom(recordedAt(9, minute));
    QVERIFY(host.passes(recordedAt(9, 49)));
    QVERIFY(host.view.position() < recordedAt(9, 49, 30));
    QVERIFY(recorder.count(DeviceOp::vodSeek) < 10); // and not forty
    const auto last = recorder.calls().calls(DeviceOp::vodSeek).last().arguments.last();
    QCOMPARE(last.toLongLong(), recordedAt(9, 49));
}

void TestPlaybackView::seekBeforeItIsOpen_isKept()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    host.view.playFrom(recordedAt(11, 5));
    QVERIFY(host.passes(recordedAt(11, 5)));
    QVERIFY(host.view.position() < recordedAt(11, 5, 30));
    QCOMPARE(recorder.count(DeviceOp::vodStart), qint64(1));
}

void TestPlaybackView::speeds_arriveAtTheDevice_alsoInTheNextPlay()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    QVector<int> told;
    for (const double speed : {0.5, 2.0, 4.0, 8.0}) {
        host.view.setPlaySpeed(speed);
        QCOMPARE(host.view.playSpeed(), speed);
    }
    QVERIFY(waitFor([&] { return recorder.count(DeviceOp::vodSetSpeed) == 4; }));
    for (const DeviceCall &call : recorder.calls().calls(DeviceOp::vodSetSpeed))
        told.append(call.arguments.last().toInt());
    QCOMPARE(told, (QVector<int>{0, 2, 4, 8}));
    QCOMPARE(recorder.control->playback(0).speed, 8.0);
    host.view.halt();
    host.view.setPlaySpeed(4); // while nothing is played the device is told nothing
    QCOMPARE(recorder.count(DeviceOp::vodSetSpeed), qint64(4));
    host.view.play();
    QVERIFY(host.becomes(PlaybackState::Playing));
    QVERIFY(waitFor([&] { return recorder.control->playback(0).speed == 4.0; }));
}

void TestPlaybackView::end_isTold_andPlayBeginsAgain()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(11, 59, 58));
    QVERIFY(host.becomes(PlaybackState::Ended));
    QVERIFY(host.showsWords("End of the recording", "Played to 11:59:59."));
    QVERIFY(!host.view.isWanted());
    QVERIFY(waitFor([&] { return recorder.control->openPlaybacks() == 0; }));
    QCOMPARE(host.view.summary().state, QString("ended"));
    host.view.play();
    QVERIFY(host.becomes(PlaybackState::Playing));
    QVERIFY(host.view.position() < recordedAt(9, 1)); // from the first recording of the day
    host.view.playFrom(recordedAt(11, 59, 58));
    QVERIFY(host.becomes(PlaybackState::Ended));
    host.view.playFrom(recordedAt(9, 30)); // or from a time
    QVERIFY(host.passes(recordedAt(9, 30)));
    QVERIFY(host.view.position() < recordedAt(9, 31));
}

void TestPlaybackView::picture_isNamedByItsTimeInTheRecording_data()
{
    QTest::addColumn<bool>("held");
    QTest::newRow("playing") << false;
    QTest::newRow("held") << true;
}

void TestPlaybackView::picture_isNamedByItsTimeInTheRecording()
{
    QFETCH(bool, held);
    const Recorder recorder(1, 2);
    PlaybackHost host(recorder.camera(1));
    host.view.savePicture(); // there is none
    host.view.playFrom(recordedAt(9, 15));
    QVERIFY(host.passes(recordedAt(9, 15)));
    if (held) {
        host.view.hold();
        QVERIFY(waitFor([&] { return recorder.control->playback(1).paused; }));
    }
    const qint64 earliest = host.view.position();
    host.view.savePicture();
    const QDir folder(host.view.files().folder() +
                      QDate::currentDate().toString("/yyyy-MM-dd/'vod'"));
    QVERIFY(waitFor([&] { return host.notice().startsWith("Saved as "); }));
    const QStringList files = folder.entryList(QDir::Files);
    QCOMPARE(files.size(), 1);
    QCOMPARE(host.notice(), "Saved as " + files.first());
    const QRegularExpression name("^(20260314T0915\\d\\d)_1\\.jpg$");
    QVERIFY2(name.match(files.first()).hasMatch(), qPrintable(files.first()));
    // What the picture itself says agrees with its name.
    const QImage picture(folder.filePath(files.first()), "jpg");
    QCOMPARE(picture.size(), QSize(640, 360));
    const auto counter = readCounter(picture);
    QVERIFY(counter);
    const qint64 frame = earliest * Recorder::kFps / 1000;
    const qint64 time = (frame - frame % kCounterModulus + *counter) * 1000 / Recorder::kFps;
    QCOMPARE(QDateTime::fromMSecsSinceEpoch(time, Qt::UTC).toString("yyyyMMdd'T'HHmmss"),
             name.match(files.first()).captured(1));
    QVERIFY(time >= earliest - (held ? 0 : secondMs));
}

void TestPlaybackView::sound_isOffUntilWanted_andKept()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    QVERIFY(host.view.isMuted());
    host.view.toggleMuted(); // while nothing is played
    QVERIFY(!host.view.isMuted());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 6) - 59 * secondMs));
    QVERIFY(!host.view.isMuted());
    host.view.toggleMuted();
    QCOMPARE(host.notice(), QString("Sound off"));
    host.view.toggleMuted();
    QCOMPARE(host.notice(), QString("Sound on"));
    host.view.setPlaySpeed(2);
    host.view.toggleMuted();
    host.view.toggleMuted();
    QCOMPARE(host.notice(), QString("Sound on, at the speed of recording"));
    QVERIFY(waitFor([&] { return recorder.count(DeviceOp::vodSetSpeed) == 1; }));
    host.view.changeVolume(-30);
    QCOMPARE(host.notice(), QString("Volume 70 %"));
    host.view.halt();
    QVERIFY(!host.view.isMuted());
}

void TestPlaybackView::anotherCamera_endsThePlayOfTheLast()
{
    const Recorder recorder(1, 2);
    PlaybackHost host(recorder.camera(0));
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    host.view.setCamera(recorder.camera(1));
    QCOMPARE(host.view.state(), PlaybackState::Ready);
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    QVERIFY(waitFor([&] { return !recorder.control->playback(0).open; }));
    QVERIFY(recorder.control->playback(1).open);
    QVERIFY(waitFor([&] {
        host.view.findChild<ViewLabels *>()->reset();
        host.view.clearOsd();
        return readSceneId(host.view.grab().toImage()) == SceneId{1, 1, 0};
    }));
    host.view.setCamera(Camera());
    QCOMPARE(host.view.state(), PlaybackState::Empty);
    QVERIFY(waitFor([&] { return recorder.control->openPlaybacks() == 0; }));
}

void TestPlaybackView::viewThatIsAhead_waits_andIsCoveredInAGap()
{
    const Recorder recorder;
    PlaybackHost host(recorder.camera());
    host.view.playFrom(recordedAt(9, 5));
    QVERIFY(host.passes(recordedAt(9, 5)));
    host.view.setAhead(1000);
    QVERIFY(waitFor([&] { return recorder.control->playback(0).paused; }));
    QCOMPARE(host.view.state(), PlaybackState::Playing); // it is not for long
    QVERIFY(!host.view.isHeld());
    host.view.setAhead(0);
    QVERIFY(waitFor([&] { return !recorder.control->playback(0).paused; }));
    host.view.setAhead(3600 * 1000);
    QCOMPARE(host.view.state(), PlaybackState::Gap);
    QVERIFY(host.showsWords("Nothing recorded", "goes on at 09:05"));
    // A person who holds it meanwhile finds it held.
    host.view.hold();
    host.view.setAhead(0);
    QCOMPARE(host.view.state(), PlaybackState::Paused);
    QVERIFY(recorder.control->playback(0).paused);
    host.view.play();
    QVERIFY(waitFor([&] { return !recorder.control->playback(0).paused; }));
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    theme::apply(application);
    TestPlaybackView test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_playbackview.moc"
