// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What live views keep and what they end when another camera is chosen, the device goes, or nobody
// sees them.
#include "support/loggedtest.h"
#include "vantra.h"
#include "viewdesk.h"

#include <QLabel>

using namespace vantratest;

namespace {

/// Whether the bar says so.
bool isTold(const Desk &desk, const QString &text)
{
    const QList<QLabel *> labels = desk.window->findChildren<QLabel *>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel *label) { return label->text().contains(text); });
}

} // namespace

class TestViewEnds : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override
    {
        const QRegularExpression faults("^\\((orlvthr|pvptvthr|lvvdwgt|dvadthr)\\)");
        log->expectMatching(Logger::Warning, faults);
        log->expectMatching(Logger::Error, faults);
        QCursor::setPos(0, 0);
    }

private slots:
    void initTestCase() { QVERIFY(Vantra::init()); }
    void cleanupTestCase() { Vantra::release(); }

    void cameraChosenAgain_goesOn_withItsRecording()
    {
        const Simulated device(1, 2);
        Desk desk({&device});
        QVERIFY(desk.allLive(2));
        LiveView *view = desk.view(0);
        desk.grid()->select(view);
        view->toggleRecording();
        desk.window->showCamera("Device 1/0");
        QCOMPARE(desk.view(0), view);
        QVERIFY(view->isRecording());
        QVERIFY(desk.isLive(0));
        view->halt();
        desk.window->showCamera("Device 1/0");
        QCOMPARE(desk.view(0), view);
        QVERIFY(desk.allLive(2));
    }

    void endOfARecording_isTold_whenItsViewGoes()
    {
        const Simulated device(1, 2);
        Desk desk({&device});
        QVERIFY(desk.allLive(2));
        const QString told = "the recording of " + desk.view(0)->camera().name + " has ended";
        desk.grid()->select(desk.view(0));
        desk.window->showCamera("Device 1/1"); // which records nothing
        QVERIFY(desk.allLive(2));
        desk.window->showCamera("Device 1/0");
        QVERIFY(desk.allLive(2));
        QVERIFY(!isTold(desk, "the recording of"));
        desk.view(0)->toggleRecording();
        desk.window->showCamera("Device 1/1");
        QVERIFY(waitFor([&] { return isTold(desk, told); }));
    }

    void talk_endsWithTheDevice_andDoesNotComeBack()
    {
        const Simulated device(1, 1);
        Desk desk({&device});
        QVERIFY(desk.allLive(1));
        desk.view(0)->toggleTalk();
        QVERIFY(desk.view(0)->isTalking());
        QVERIFY(waitFor([&] { return device.control->calls().count(DeviceOp::startTalk) == 1; }));
        QVERIFY(waitFor([&] { return isTold(desk, "talking to " + desk.view(0)->camera().name); }));
        device.control->loseConnection();
        QVERIFY(waitFor([&] { return !desk.view(0)->isTalking(); }));
        device.control->restoreConnection();
        QVERIFY(desk.allLive(1));
        QVERIFY(!desk.view(0)->isTalking());
        QCOMPARE(device.control->calls().count(DeviceOp::startTalk), qint64(1));
    }

    void talk_ends_outOfSight()
    {
        const Simulated device(1, 1);
        Desk desk({&device});
        QVERIFY(desk.allLive(1));
        desk.view(0)->toggleTalk();
        QVERIFY(waitFor([&] { return device.control->calls().count(DeviceOp::startTalk) == 1; }));
        desk.window->showPage(PageTabs::Downloads);
        QVERIFY(!desk.view(0)->isTalking());
        QVERIFY(waitFor([&] { return device.control->calls().count(DeviceOp::stopTalk) == 1; }));
    }

    void pictureOfBefore_isNotShown_whenAViewIsSeenAgain()
    {
        const Simulated device(1, 1);
        Desk desk({&device});
        QVERIFY(desk.allLive(1));
        desk.bare();
        QVERIFY(desk.shows(0, {1, 0, 0}));
        desk.view(0)->hide();
        desk.view(0)->show();
        QVERIFY(!readSceneId(desk.seen(0)));
        QVERIFY(desk.shows(0, {1, 0, 0}));
    }

    void silentStream_isOpenedAnew_alsoIfItHadSound()
    {
        const Simulated device(1, 1);
        Desk desk({&device});
        QVERIFY(desk.allLive(1));
        QVERIFY(waitFor([&] {
            desk.view(0)->toggleMuted();
            return desk.notice(0).startsWith("Sound o");
        }));
        device.control->setStalled(true, {0, -1});
        constexpr int kTwiceAsLong = 40000; // milliseconds; dead after 20 s
        QVERIFY(
            waitFor([&] { return desk.view(0)->state() == ViewState::Connecting; }, kTwiceAsLong));
        device.control->setStalled(false, {0, -1});
        QVERIFY(desk.allLive(1));
    }
};

QTEST_MAIN(TestViewEnds)
#include "tst_viewends.moc"
