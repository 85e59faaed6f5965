// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "options.h"
#include "support/heartbeat.h"
#include "support/loggedtest.h"
#include "support/rtspserver.h"
#include "theme.h"
#include "vantra.h"
#include "viewdesk.h"

#include <QProcess>
#include <QPushButton>
#include <QtTest>

using namespace vantratest;

namespace {

constexpr int kSignWithinMs = 2000;

/// Runs a tool while the event loop goes on.
bool runTool(const QString &program, const QStringList &arguments)
{
    QProcess tool;
    tool.start(program, arguments);
    return waitFor([&] { return tool.state() == QProcess::NotRunning; }) && tool.exitCode() == 0;
}

QStringList moveTo(const QPoint &point)
{
    return {"mousemove", QString::number(point.x()), QString::number(point.y())};
}

} // namespace

/// The grid of views on simulated devices, as a person sees and uses it.
class TestViewGrid : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override;

private slots:
    void initTestCase() { QVERIFY(Vantra::init()); }
    void cleanupTestCase() { Vantra::release(); }
    void everyView_showsItsOwnChannel();
    void deviceThatIsGone_isSignedWithinTwoSeconds_andComesBack();
    void rtspDeviceThatIsGone_isSigned_andComesBack();
    void stalledStream_isSigned_andComesBack();
    void readErrors_areOvercome();
    void refusal_isToldInPlainWords();
    void refusalWithoutAReason_isToldInPlainWords();
    void deviceWithoutStreams_isShown_whenItHasSome();
    void doubleClick_showsTheMainStream_andBackTheSubStream();
    void cameraWithOneStream_isShownLargeAndSmall();
    void cameraByTwoAddresses_isShownLargeAndSmall();
    void drag_fromTheList_showsThatCamera();
    void keys_chooseFromTheList();
    void viewCount_keepsTheFirstViews();
    void emptiedView_leavesTheOthersAlone();
    void sameCameraTwice_sharesItsStreamAndItsRecording();
    void talk_reachesTheDevice_andBusyIsTold();
    void window_closesWhilePlaying();
    void manyRounds_leaveNoThreads();
};

void TestViewGrid::setUp()
{
    const QRegularExpression faults("^\\((ffvdthr|ffrlthr|orlvthr|zklvthr|pvptvthr|lvvdwgt)\\)");
    log->expectMatching(Logger::Warning, faults);
    log->expectMatching(Logger::Error, faults);
    // A view below the pointer has its banner over the picture.
    QCursor::setPos(0, 0);
}

void TestViewGrid::everyView_showsItsOwnChannel()
{
    const Simulated orvo(1, 4), zelk(2, 3, HTransportZelk), rtsp(3, 2, HTransportRtsp);
    Desk desk({&orvo, &zelk, &rtsp});
    QCOMPARE(desk.grid()->views().size(), 9);
    QVERIFY(desk.allLive(9));
    desk.bare();
    int place = 0;
    for (const Simulated *device : {&orvo, &zelk, &rtsp})
        for (int channel = 0; channel < device->device.channels.size(); ++channel, ++place) {
            const SceneId expected{device->control->config().number, channel, 1};
            QVERIFY2(desk.shows(place, expected), qPrintable(QString::number(place)));
            QVERIFY(desk.lives(place));
            // The middle of the room is of the channel's own colour, more or less.
            const QImage seen = desk.seen(place);
            const QColor room(seen.pixel(seen.width() / 8, seen.height() / 3));
            const QColor own(QRgb(device->control->config().channels[channel].colour));
            QVERIFY2(qAbs(room.hue() - own.hue()) < 25, qPrintable(room.name() + own.name()));
            QVERIFY(desk.view(place)->summary().name.endsWith(device->device.channels[channel]));
        }
    for (int device = 0; device < 3; ++device)
        QVERIFY(waitFor([&] { return desk.tree()->linkTextOf(device) == "connected"; }));
    QCOMPARE(desk.window->summaries().size(), 9);
}

void TestViewGrid::deviceThatIsGone_isSignedWithinTwoSeconds_andComesBack()
{
    for (const HTransportProtocol protocol : {HTransportOrvo, HTransportZelk}) {
        const Simulated cut(1, 2, protocol), other(2, 2);
        Desk desk({&cut, &other});
        QVERIFY(desk.allLive(4));
        desk.bare();
        QVERIFY(desk.shows(0, {1, 0, 1}));
        Heartbeat heart;
        QElapsedTimer since;
        since.start();
        cut.control->loseConnection();
        QVERIFY(waitFor([&] { return desk.sign(0)->isVisible() && desk.sign(1)->isVisible(); }));
        // What the machine did not get round to is not the viewer's.
        QVERIFY2(since.elapsed() <= kSignWithinMs + heart.longestGap(),
                 qPrintable(QString::number(since.elapsed())));
        QCOMPARE(desk.sign(0)->title(), QString("No signal"));
        QVERIFY(waitFor([&] { return desk.sign(0)->detail().contains("The device is gone."); }));
        // Nothing of the old picture is bright enough to pass for a live one.
        QVERIFY(qGray(desk.seen(0).pixel(40, 60)) < 60);
        QVERIFY(waitFor([&] { return desk.tree()->linkTextOf(0) == "gone"; }));
        // The other device is not concerned.
        QVERIFY(desk.isLive(2) && desk.isLive(3));
        QVERIFY(desk.lives(2));
        QCOMPARE(desk.tree()->linkTextOf(1), QString("connected"));

        cut.control->restoreConnection();
        QVERIFY(desk.shows(0, {1, 0, 1}));
        QVERIFY(desk.shows(1, {1, 1, 1}));
        QVERIFY(desk.lives(0));
        QVERIFY(!desk.sign(0)->isVisible());
        QVERIFY(waitFor([&] { return desk.tree()->linkTextOf(0) == "connected"; }));
    }
}

void TestViewGrid::rtspDeviceThatIsGone_isSigned_andComesBack()
{
    const Simulated rtsp(3, 1, HTransportRtsp);
    Desk desk({&rtsp});
    QVERIFY(desk.allLive(1));
    rtsp.control->loseConnection();
    QVERIFY(waitFor([&] { return desk.sign(0)->isVisible(); }));
    QCOMPARE(desk.sign(0)->title(), QString("No signal"));
    QVERIFY(waitFor([&] { return desk.tree()->linkTextOf(0) == "gone"; }));
    rtsp.control->restoreConnection();
    QVERIFY(desk.allLive(1));
    QVERIFY(waitFor([&] { return desk.tree()->linkTextOf(0) == "connected"; }));
}

void TestViewGrid::stalledStream_isSigned_andComesBack()
{
    const Simulated device(1, 2);
    Desk desk({&device});
    QVERIFY(desk.allLive(2));
    device.control->setStalled(true, {0, -1});
    QVERIFY(waitFor([&] { return desk.sign(0)->isVisible(); }));
    QCOMPARE(desk.sign(0)->title(), QString("No signal"));
    QVERIFY(desk.isLive(1));
    // Nothing of the old picture is bright enough to pass for a live one.
    const QImage covered = desk.seen(0);
    QVERIFY(qGray(covered.pixel(covered.width() / 8, covered.height() * 3 / 4)) < 60);
    device.control->setStalled(false, {0, -1});
    QVERIFY(desk.allLive(2));
}

void TestViewGrid::readErrors_areOvercome()
{
    const Simulated device(1, 1);
    Desk desk({&device});
    QVERIFY(desk.allLive(1));
    // The fourth in a row ends the thread.
    ScriptedFault errors;
    errors.fault = FrameFault::ReadError;
    errors.count = 8;
    device.control->faults().strike(errors);
    QVERIFY(waitFor([&] { return device.control->faults().struck() == 8; }));
    desk.bare();
    QVERIFY(desk.lives(0));
}

void TestViewGrid::refusal_isToldInPlainWords()
{
    const Simulated device(1, 1);
    device.control->faults().refuse(DeviceOp::enableMediaTransmit, HRetExceedMax, -1);
    Desk desk({&device});
    QVERIFY(waitFor([&] { return desk.sign(0)->detail().contains("as many viewers as it can"); }));
    QCOMPARE(desk.sign(0)->title(), QString("No picture"));
    QVERIFY(desk.view(0)->summary().state.startsWith("no picture: The device refuses"));
    device.control->faults().clear();
    QVERIFY(desk.allLive(1));
}

void TestViewGrid::refusalWithoutAReason_isToldInPlainWords()
{
    const Simulated device(2, 1, HTransportZelk);
    device.control->faults().refuse(DeviceOp::enableMediaTransmit, HRetBusy, -1);
    Desk desk({&device});
    QVERIFY(waitFor([&] { return desk.sign(0)->detail().contains("does not send this stream"); }));
    QCOMPARE(desk.sign(0)->title(), QString("No picture"));
    device.control->faults().clear();
    QVERIFY(desk.allLive(1));
}

void TestViewGrid::deviceWithoutStreams_isShown_whenItHasSome()
{
    const Simulated device(1, 1);
    device.control->pretendStreamCount(0);
    Desk desk({&device});
    QVERIFY(waitFor([&] { return desk.sign(0)->detail().contains("offers no stream"); }));
    device.control->pretendStreamCount(-1);
    QVERIFY(desk.allLive(1));
}

void TestViewGrid::doubleClick_showsTheMainStream_andBackTheSubStream()
{
    const Simulated orvo(1, 2), zelk(2, 1, HTransportZelk), rtsp(3, 1, HTransportRtsp);
    Desk desk({&orvo, &zelk, &rtsp});
    QVERIFY(desk.allLive(4));
    desk.bare();
    const QVector<SceneId> scenes{{1, 0, 0}, {1, 1, 0}, {2, 0, 0}, {3, 0, 0}};
    for (int i = 0; i < 4; ++i) {
        const qint64 starts = orvo.control->calls().count(DeviceOp::enableMediaTransmit);
        QTest::mouseDClick(desk.view(i), Qt::LeftButton);
        QVERIFY(desk.grid()->isEnlarged());
        QVERIFY2(desk.shows(i, scenes[i]), qPrintable(QString::number(i)));
        QVERIFY(desk.lives(i));
        QCOMPARE(desk.view(i)->width(), desk.grid()->width() - 4);
        QVERIFY(!desk.view((i + 1) % 4)->isVisible());
        QTest::mouseDClick(desk.view(i), Qt::LeftButton);
        QVERIFY(!desk.grid()->isEnlarged());
        QVERIFY(desk.shows(i, {scenes[i].device, scenes[i].channel, 1}));
        // Both streams had been there all the time.
        QCOMPARE(orvo.control->calls().count(DeviceOp::enableMediaTransmit), starts);
    }
}

void TestViewGrid::cameraWithOneStream_isShownLargeAndSmall()
{
    const Simulated device(1, 2, HTransportOrvo, 1);
    Desk desk({&device});
    QVERIFY(desk.allLive(2));
    desk.bare();
    QVERIFY(desk.shows(0, {1, 0, 0}));
    QTest::mouseDClick(desk.view(0), Qt::LeftButton);
    QVERIFY(desk.shows(0, {1, 0, 0}));
}

void TestViewGrid::cameraByTwoAddresses_isShownLargeAndSmall()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "large:h264:640x360", "--camera", "small:h265:320x180"}),
             qPrintable(server.log()));
    Desk desk({});
    QString problem;
    const auto camera =
        CameraOption::parse(server.url("large") + ',' + server.url("small"), &problem);
    QVERIFY2(camera.sub.isValid(), qPrintable(problem));
    desk.window->addCamera(camera.main, camera.sub);
    const auto showsSize = [&](const QSize &size) {
        return waitFor([&] { return desk.isLive(0) && desk.view(0)->summary().size == size; });
    };
    QVERIFY(showsSize(QSize(640, 360)));
    desk.window->setViewCount(4);
    QVERIFY(showsSize(QSize(320, 180)));
    QTest::mouseDClick(desk.view(0), Qt::LeftButton);
    QVERIFY(showsSize(QSize(640, 360)));
    QCOMPARE(server.stat("clients", "large"), 1);
    QCOMPARE(server.stat("clients", "small"), 1);
}

void TestViewGrid::drag_fromTheList_showsThatCamera()
{
    const Simulated device(1, 4);
    Desk desk({&device});
    QVERIFY(desk.becomesActive());
    QVERIFY(desk.allLive(4));
    DeviceTree *tree = desk.tree();
    const QPoint from = tree->viewport()->mapToGlobal(
        tree->visualItemRect(tree->topLevelItem(0)->child(2)).center());
    const QPoint to = desk.view(0)->mapToGlobal(desk.view(0)->rect().center());
    QVERIFY(runTool("xdotool", moveTo(from) + QStringList{"mousedown", "1", "sleep", "0.2"} +
                                   moveTo(from + QPoint(30, 6)) + QStringList{"sleep", "0.2"} +
                                   moveTo((from + to) / 2) + QStringList{"sleep", "0.2"} +
                                   moveTo(to) + QStringList{"sleep", "0.3"} +
                                   moveTo(to + QPoint(3, 3)) +
                                   QStringList{"sleep", "0.3", "mouseup", "1"}));
    QVERIFY(waitFor([&] { return desk.view(0)->camera().channel == 2; }));
    QCursor::setPos(0, 0);
    desk.bare();
    QVERIFY(desk.shows(0, {1, 2, 1}));
    QVERIFY(desk.shows(2, {1, 2, 1})); // where it was before it is still
}

void TestViewGrid::keys_chooseFromTheList()
{
    const Simulated device(1, 4);
    Desk desk({&device});
    QVERIFY(desk.becomesActive());
    QVERIFY(desk.allLive(4));
    desk.key(Qt::Key_2);
    QCOMPARE(desk.grid()->selected(), desk.view(1));
    desk.key(Qt::Key_L);
    QVERIFY(desk.tree()->hasFocus());
    desk.key(Qt::Key_Down); // from the first channel to the second
    desk.key(Qt::Key_Down);
    desk.key(Qt::Key_Return);
    QCOMPARE(desk.view(1)->camera().channel, 2);
    QVERIFY(desk.tree()->hasFocus());
    desk.key(Qt::Key_Escape);
    QCOMPARE(QApplication::focusWidget(), desk.view(1));
    desk.key(Qt::Key_Return);
    QVERIFY(desk.grid()->isEnlarged());
    QVERIFY(desk.view(1)->isMainStreamShown());
    desk.key(Qt::Key_1); // another in its place
    QVERIFY(desk.view(0)->isVisible() && !desk.view(1)->isVisible());
    QVERIFY(!desk.view(1)->isMainStreamShown());
    desk.key(Qt::Key_Escape);
    QVERIFY(!desk.grid()->isEnlarged());
    QVERIFY(desk.allLive(4));
}

void TestViewGrid::viewCount_keepsTheFirstViews()
{
    const Simulated device(1, 4);
    Desk desk({&device});
    QVERIFY(desk.becomesActive());
    QVERIFY(desk.allLive(4));
    desk.key(Qt::Key_4, Qt::ControlModifier);
    QCOMPARE(desk.grid()->views().size(), 16);
    QVERIFY(desk.isLive(0) && desk.isLive(3));
    QCOMPARE(desk.sign(4)->title(), QString("Empty"));
    QCOMPARE(desk.window->summaries().size(), 4);
    desk.key(Qt::Key_1, Qt::ControlModifier);
    QCOMPARE(desk.grid()->views().size(), 1);
    desk.bare();
    QVERIFY(desk.shows(0, {1, 0, 0})); // alone, so by the main stream
    desk.key(Qt::Key_3, Qt::ControlModifier);
    QCOMPARE(desk.grid()->views().size(), 9);
    QVERIFY(desk.shows(0, {1, 0, 1}));
    QVERIFY(waitFor([&] { return device.control->openStreams() == 2; }));
}

void TestViewGrid::emptiedView_leavesTheOthersAlone()
{
    const Simulated device(1, 2);
    Desk desk({&device});
    QVERIFY(desk.becomesActive());
    QVERIFY(desk.allLive(2));
    desk.key(Qt::Key_1);
    desk.key(Qt::Key_Delete);
    QCOMPARE(desk.sign(0)->title(), QString("Empty"));
    QVERIFY(desk.isLive(1));
    // All that can be done with a view is harmless where there is no camera.
    for (const int key : {Qt::Key_Space, Qt::Key_M, Qt::Key_T, Qt::Key_S, Qt::Key_Z, Qt::Key_P,
                          Qt::Key_R, Qt::Key_O, Qt::Key_Plus, Qt::Key_Minus, Qt::Key_Delete})
        desk.key(key);
    QVERIFY(!desk.view(0)->isRecording() && !desk.view(0)->isWanted());
    // The library ends streams that nobody looks at when a view of the device stops; the main
    // stream of the other is there again when it is wanted.
    QTest::mouseDClick(desk.view(1), Qt::LeftButton);
    desk.bare();
    QVERIFY(desk.shows(1, {1, 1, 0}));
    QVERIFY(desk.lives(1));
}

void TestViewGrid::sameCameraTwice_sharesItsStreamAndItsRecording()
{
    const Simulated device(1, 2);
    Desk desk({&device});
    QVERIFY(desk.becomesActive());
    QVERIFY(desk.allLive(2));
    const int starts = device.control->calls().count(DeviceOp::enableMediaTransmit, {0, 1, true});
    desk.key(Qt::Key_3); // an empty one
    desk.window->showCamera("Device 1/0");
    QVERIFY(desk.allLive(3));
    QCOMPARE(device.control->calls().count(DeviceOp::enableMediaTransmit, {0, 1, true}), starts);
    QCOMPARE(desk.view(0)->files().folder(), desk.view(2)->files().folder());
    // The recording ends with the last wish for it.
    desk.view(0)->toggleRecording();
    desk.view(2)->toggleRecording();
    const auto files = [&] {
        return desk.view(0)->files().recordingsSince(QDateTime::fromSecsSinceEpoch(0));
    };
    QVERIFY(waitFor([&] { return files().size() == 1; }));
    desk.view(0)->toggleRecording();
    desk.key(Qt::Key_1);
    desk.key(Qt::Key_Delete);
    QVERIFY(desk.view(2)->isRecording());
    const qint64 size = QFileInfo(files().first()).size();
    QVERIFY(waitFor([&] { return QFileInfo(files().first()).size() > size + 10000; }));
    desk.view(2)->toggleRecording();
    QVERIFY(waitFor([&] { return files().first().contains(QRegularExpression("T\\d+_.*T")); }));
    QCOMPARE(files().size(), 1);
}

void TestViewGrid::talk_reachesTheDevice_andBusyIsTold()
{
    const Simulated device(1, 1);
    Desk desk({&device});
    QVERIFY(desk.allLive(1));
    auto *button = desk.view(0)->findChild<QPushButton *>("btnTalkMuted");
    QVERIFY(button);
    device.control->faults().refuse(DeviceOp::startTalk, HRetBusy);
    button->click();
    QVERIFY(waitFor([&] { return desk.notice(0).contains("Somebody else is talking"); }));
    QVERIFY(!desk.view(0)->isTalking());
    QCOMPARE(button->objectName(), QString("btnTalkMuted"));
    device.control->faults().refuse(DeviceOp::startTalk, HRetRefused);
    button->click();
    QVERIFY(waitFor([&] { return desk.notice(0).contains("does not take talk"); }));
    button->click();
    QVERIFY(desk.view(0)->isTalking());
    QCOMPARE(button->objectName(), QString("btnTalk"));
    QVERIFY(waitFor([&] { return device.control->calls().count(DeviceOp::startTalk) == 3; }));
    // The sound button is another one.
    desk.view(0)->toggleMuted();
    QCOMPARE(button->objectName(), QString("btnTalk"));
    desk.view(0)->toggleMuted();
    desk.view(0)->toggleTalk();
    QCOMPARE(button->objectName(), QString("btnTalkMuted"));
    const auto stops = [&] { return device.control->calls().count(DeviceOp::stopTalk); };
    QVERIFY(waitFor([&] { return stops() == 1; })); // and none for what was refused
    // A view that stops leaves no device that believes somebody is talking.
    desk.view(0)->toggleTalk();
    desk.view(0)->halt();
    QCOMPARE(stops(), qint64(2));
    QVERIFY(!desk.view(0)->isTalking());
}

void TestViewGrid::window_closesWhilePlaying()
{
    const Simulated orvo(1, 4), zelk(2, 4, HTransportZelk), rtsp(3, 1, HTransportRtsp);
    Desk desk({&orvo, &zelk, &rtsp});
    QVERIFY(desk.allLive(9));
    QTimer::singleShot(0, desk.window.get(), [&] { desk.window->close(); });
    QTimer::singleShot(20000, desk.window.get(), [&] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
    QVERIFY(!desk.window->isVisible());
    QVERIFY(!desk.window->hasRunningThreads());
    QVERIFY(waitFor([&] { return orvo.control->openStreams() == 0; }));
    QVERIFY(waitFor([&] { return zelk.control->openStreams() == 0; }));
}

void TestViewGrid::manyRounds_leaveNoThreads()
{
    const Simulated orvo(1, 2), zelk(2, 2, HTransportZelk);
    for (int round = 0; round < 20; ++round) {
        Desk desk({&orvo, &zelk});
        // Closed at any moment: before the first picture, at it, and after.
        QVERIFY(waitFor([&] { return desk.view(0)->summary().pictures >= quint64(round % 4); }));
    }
    QVERIFY(waitFor([] { return !streamthreads::anyLeftRuns(); }));
    QVERIFY(waitFor([&] { return orvo.control->openStreams() == 0; }));
    QVERIFY(waitFor([&] { return zelk.control->openStreams() == 0; }));
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    theme::apply(application);
    TestViewGrid test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_viewgrid.moc"
