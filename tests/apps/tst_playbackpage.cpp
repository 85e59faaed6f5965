// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "daybar.h"
#include "download.h"
#include "downloadpage.h"
#include "downloadqueue.h"
#include "liveview.h"
#include "playbackbar.h"
#include "playbackdesk.h"
#include "support/loggedtest.h"
#include "support/players.h"
#include "support/waitfor.h"
#include "theme.h"
#include "vantra.h"
#include "viewgrid.h"

#include <QApplication>
#include <QDateEdit>
#include <QDirIterator>
#include <QLabel>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

using namespace vantratest;
using namespace vantrasim;
using recordingtime::minuteMs;
using recordingtime::none;
using recordingtime::secondMs;

namespace {

/// Of a day on a line a thousand pixels wide a pixel is worth a minute and a half.
bool isAbout(qint64 time, qint64 expected)
{
    return qAbs(time - expected) <= 3 * minuteMs;
}

} // namespace

/// The page of playbacks in the window, as a person uses it.
class TestPlaybackPage : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override;

private slots:
    void initTestCase() { QVERIFY(Vantra::init()); }
    void cleanupTestCase() { Vantra::release(); }
    void tabsAndKeys_changePages_andLiveGoesOn();
    void firstVisit_showsTheChosenChannel();
    void fourSideBySide_showTheirOwnChannels_atTheSameTime();
    void togetherOff_eachGoesByItself();
    void gapOfOne_isWaitedOutWhileTheOthersPlay();
    void stampsOfAnotherDay_holdNobodyUp();
    void clickOnTheLine_playsFromThere();
    void keys_playHoldStepAndChangeSpeed();
    void day_isChosen_byButtonsFieldAndKeys();
    void dayField_givesTheFocusBack_unlessThePersonHasGoneElsewhere();
    void viewCount_keepsTheFirstPlaybacks();
    void doubleClick_showsOneAlone();
    void listAndEnter_putAChannelIntoTheSelectedPlayback();
    void channelThatIsShownAlready_changesPlaces();
    void channelThatComesLater_joinsTheOthers();
    void limitOfTheDevice_isToldWhereItMeets();
    void marks_becomeDownloads();
    void markKeys_setItsEdges();
    void emptiedView_isHarmless();
    void fullScreen_leavesPicturesAndLine();
    void window_closesWhilePlayingAndDownloading();
    void manyRounds_leaveNoThreads();
};

void TestPlaybackPage::setUp()
{
    const QRegularExpression faults("^\\((orlvthr|zklvthr|pvptvthr|lvvdwgt)\\)");
    log->expectMatching(Logger::Warning, faults);
    log->expectMatching(Logger::Error, faults);
    QCursor::setPos(0, 0);
}

void TestPlaybackPage::tabsAndKeys_changePages_andLiveGoesOn()
{
    const Recorder recorder(1, 2);
    PlaybackDesk desk({&recorder});
    QVERIFY(desk.becomesActive());
    auto *tabs = desk.window->findChild<PageTabs *>();
    auto *grid = desk.window->findChild<ViewGrid *>();
    QVERIFY(desk.page->isVisible() && !grid->isVisible());
    desk.key(Qt::Key_F2);
    QCOMPARE(desk.window->page(), PageTabs::Live);
    QVERIFY(grid->isVisible() && !desk.page->isVisible());
    QVERIFY(waitFor([&] { return grid->views()[0]->state() == ViewState::Live; }));
    desk.key(Qt::Key_F4);
    QVERIFY(desk.window->downloadPage()->isVisible());
    const QList<QToolButton *> buttons = tabs->findChildren<QToolButton *>();
    QCOMPARE(buttons.size(), 3);
    QVERIFY(buttons[2]->isChecked());
    buttons[1]->click();
    QVERIFY(desk.page->isVisible());
    QVERIFY(buttons[1]->isChecked() && !buttons[2]->isChecked());
    QVERIFY(grid->views()[0]->isWanted());
    // Keys of one page mean nothing to the others.
    desk.key(Qt::Key_Space);
    QVERIFY(grid->views()[0]->isWanted());
    QVERIFY(waitFor([&] { return desk.view(0)->isWanted(); }));
    desk.key(Qt::Key_F2);
    desk.key(Qt::Key_Space);
    QVERIFY(!grid->views()[0]->isWanted());
    QVERIFY(desk.view(0)->isWanted());
}

void TestPlaybackPage::firstVisit_showsTheChosenChannel()
{
    const Recorder recorder(1, 3);
    QTemporaryDir folder;
    MainWindow window("tcp", folder.path());
    window.show();
    window.addDevice(recorder.device);
    auto *tree = window.findChild<DeviceTree *>();
    tree->setCurrentItem(tree->topLevelItem(0)->child(2));
    window.showPage(PageTabs::Playback);
    QCOMPARE(window.playback()->views()[0]->camera().channel, 2);
    QVERIFY(!window.playback()->views()[0]->isWanted()); // nobody has said when
    // On the next visit it is what was left.
    tree->setCurrentItem(tree->topLevelItem(0)->child(1));
    window.showPage(PageTabs::Live);
    window.showPage(PageTabs::Playback);
    QCOMPARE(window.playback()->views()[0]->camera().channel, 2);
}

void TestPlaybackPage::fourSideBySide_showTheirOwnChannels_atTheSameTime()
{
    const Recorder recorder(1, 4);
    PlaybackDesk desk({&recorder}, 4);
    for (int i = 0; i < 4; ++i)
        desk.view(i)->nextScaleMode(); // fill
    desk.page->playFrom(recordedAt(9, 20));
    QVERIFY(desk.allPass(recordedAt(9, 20, 2)));
    for (int i = 0; i < 4; ++i) {
        const SceneId expected{1, i, 0};
        QVERIFY2(waitFor([&] { return desk.scene(i) == expected; }),
                 qPrintable(QString::number(i)));
    }
    QCOMPARE(recorder.control->openPlaybacks(), 4);
    // However long each took to open, they are together.
    QVERIFY(waitFor([&] {
        qint64 first = desk.view(0)->position(), last = first;
        for (int i = 1; i < 4; ++i) {
            first = qMin(first, desk.view(i)->position());
            last = qMax(last, desk.view(i)->position());
        }
        return last - first < secondMs;
    }));
    QCOMPARE(desk.line()->rows().size(), 4);
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(desk.line()->rows()[i].recorded.size(), 2);
        QVERIFY(desk.line()->rows()[i].position > recordedAt(9, 20));
    }
    // Held together, too.
    desk.key(Qt::Key_Space);
    QVERIFY(waitFor([&] {
        bool held = true;
        for (int i = 0; i < 4; ++i)
            held &= recorder.control->playback(uint(i)).paused;
        return held;
    }));
    QCOMPARE(desk.window->summaries().size(), 4);
}

void TestPlaybackPage::togetherOff_eachGoesByItself()
{
    const Recorder recorder(1, 2);
    PlaybackDesk desk({&recorder}, 2);
    QVERIFY(desk.becomesActive());
    desk.key(Qt::Key_T);
    QVERIFY(!desk.page->isTogether());
    desk.page->playFrom(recordedAt(9, 20));
    QVERIFY(desk.passes(0, recordedAt(9, 20)));
    QVERIFY(!desk.view(1)->isWanted());
    desk.key(Qt::Key_2);
    QCOMPARE(desk.page->selected(), desk.view(1));
    desk.page->playFrom(recordedAt(11, 20));
    QVERIFY(desk.passes(1, recordedAt(11, 20)));
    QVERIFY(desk.passes(0, desk.view(0)->position() + secondMs)); // an hour apart, neither waits
    desk.key(Qt::Key_Space);
    QVERIFY(desk.view(1)->isHeld() && !desk.view(0)->isHeld());
    desk.page->setTogether(true);
    desk.key(Qt::Key_Space);
    QVERIFY(!desk.view(1)->isHeld() && !desk.view(0)->isHeld());
}

void TestPlaybackPage::gapOfOne_isWaitedOutWhileTheOthersPlay()
{
    const Recorder recorder(1, 2, [](DeviceConfig *config) {
        config->channels[1].archive.clear();
        Recorder::record(&config->channels[1], recordedAt(9, 0), recordedAt(9, 0, 10));
        Recorder::record(&config->channels[1], recordedAt(9, 0, 18), recordedAt(9, 30));
    });
    PlaybackDesk desk({&recorder}, 2);
    desk.page->playFrom(recordedAt(9, 0, 7));
    QVERIFY(waitFor([&] { return desk.view(1)->state() == PlaybackState::Gap; }));
    QCOMPARE(desk.sign(1)->title(), QString("Nothing recorded"));
    QVERIFY2(desk.sign(1)->detail().contains("09:00:18"), qPrintable(desk.sign(1)->detail()));
    QVERIFY(desk.view(0)->position() < recordedAt(9, 0, 18));
    QVERIFY(waitFor([&] { return recorder.control->playback(1).paused; }));
    const qint64 stood = recorder.control->playback(1).position;
    QVERIFY(desk.passes(0, recordedAt(9, 0, 14)));
    QCOMPARE(recorder.control->playback(1).position, stood);
    QVERIFY(desk.allPass(recordedAt(9, 0, 20)));
    QVERIFY(qAbs(desk.view(0)->position() - desk.view(1)->position()) < 3 * secondMs);
}

void TestPlaybackPage::stampsOfAnotherDay_holdNobodyUp()
{
    const Recorder recorder(1, 2);
    ScriptedFault otherClock;
    otherClock.fault = FrameFault::StampBack;
    otherClock.place = {1, -1};
    otherClock.value = recordingtime::dayMs;
    otherClock.road = FaultRoad::Playback;
    recorder.control->faults().strike(otherClock);
    PlaybackDesk desk({&recorder}, 2);
    desk.page->playFrom(recordedAt(9, 5));
    QVERIFY(waitFor([&] { return desk.view(1)->position() < recordedAt(0); }));
    QVERIFY(desk.passes(0, recordedAt(9, 5, 2)));
    QCOMPARE(desk.view(1)->state(), PlaybackState::Playing);
}

void TestPlaybackPage::clickOnTheLine_playsFromThere()
{
    const Recorder recorder(1, 2);
    PlaybackDesk desk({&recorder}, 2);
    QTest::mouseClick(desk.line(), Qt::LeftButton, {}, desk.pointOn(recordedAt(9, 30), 1));
    QCOMPARE(desk.page->selected(), desk.view(1)); // whose row it was
    for (int i = 0; i < 2; ++i) {
        QVERIFY(waitFor([&] { return desk.view(i)->state() == PlaybackState::Playing; }));
        QVERIFY(isAbout(desk.view(i)->position(), recordedAt(9, 30)));
    }
    QTest::mouseClick(desk.line(), Qt::LeftButton, {}, desk.pointOn(recordedAt(11, 30), 0));
    for (int i = 0; i < 2; ++i)
        QVERIFY(waitFor(
            [&] { return recorder.control->playback(uint(i)).position > recordedAt(11, 20); }));
    // The line and the bar tell where play is.
    auto *position = desk.page->findChild<QLabel *>("position");
    QVERIFY(waitFor([&] {
        return desk.view(0)->state() == PlaybackState::Playing &&
               position->text() == recordingtime::text(desk.view(0)->position(), true);
    }));
    QVERIFY(position->text().startsWith("2026-03-14 11:"));
    QCOMPARE(desk.line()->rows()[0].position, desk.view(0)->position());
}

void TestPlaybackPage::keys_playHoldStepAndChangeSpeed()
{
    const Recorder recorder;
    PlaybackDesk desk({&recorder});
    QVERIFY(desk.becomesActive());
    desk.key(Qt::Key_Space);
    QVERIFY(desk.passes(0, recordedAt(9)));
    desk.key(Qt::Key_Space);
    QCOMPARE(desk.view(0)->state(), PlaybackState::Paused);
    QVERIFY(waitFor([&] { return recorder.control->playback(0).paused; }));
    const qint64 place = desk.view(0)->position();
    desk.key(Qt::Key_Right);
    QVERIFY(waitFor([&] { return recorder.control->playback(0).position >= place + 10000; }));
    desk.key(Qt::Key_Right, Qt::ControlModifier);
    QVERIFY(waitFor([&] { return recorder.control->playback(0).position >= place + 70000; }));
    desk.key(Qt::Key_Left, Qt::ControlModifier);
    desk.key(Qt::Key_Left);
    QVERIFY(waitFor([&] {
        const qint64 now = recorder.control->playback(0).position;
        return now < place + 20000 && now == desk.view(0)->position();
    }));
    QVERIFY(desk.view(0)->isHeld());
    desk.key(Qt::Key_Space);
    for (int i = 0; i < 6; ++i)
        desk.key(Qt::Key_BracketRight);
    QCOMPARE(desk.view(0)->playSpeed(), 8.0); // and no further
    QVERIFY(waitFor([&] { return recorder.control->playback(0).speed == 8.0; }));
    for (int i = 0; i < 6; ++i)
        desk.key(Qt::Key_BracketLeft);
    QCOMPARE(desk.view(0)->playSpeed(), 0.5);
    QVERIFY(waitFor([&] { return recorder.control->playback(0).speed == 0.5; }));
    desk.key(Qt::Key_Space, Qt::ShiftModifier);
    QCOMPARE(desk.view(0)->state(), PlaybackState::Ready);
    QVERIFY(waitFor([&] { return recorder.control->openPlaybacks() == 0; }));
    // Every button has words.
    for (const QToolButton *button : desk.page->bar()->findChildren<QToolButton *>())
        QVERIFY(!button->toolTip().isEmpty() && !button->accessibleName().isEmpty());
    for (const QToolButton *button : desk.page->findChild<DayBar *>()->findChildren<QToolButton *>(
             QString(), Qt::FindDirectChildrenOnly))
        QVERIFY(!button->toolTip().isEmpty() && !button->accessibleName().isEmpty());
}

void TestPlaybackPage::day_isChosen_byButtonsFieldAndKeys()
{
    const Recorder recorder;
    PlaybackDesk desk({&recorder});
    QVERIFY(desk.becomesActive());
    QCOMPARE(desk.line()->rows()[0].recorded.size(), 2);
    desk.page->playFrom(recordedAt(9, 5));
    QVERIFY(desk.passes(0, recordedAt(9, 5)));
    desk.key(Qt::Key_PageDown);
    QCOMPARE(desk.view(0)->day(), recordedDay().addDays(1));
    QCOMPARE(desk.line()->day(), recordedDay().addDays(1));
    QVERIFY(desk.line()->rows()[0].recorded.isEmpty());
    QCOMPARE(desk.view(0)->state(), PlaybackState::Ready); // the play of the other day is over
    QVERIFY(waitFor([&] { return desk.sign(0)->title() == "Nothing recorded"; }));
    desk.key(Qt::Key_PageUp);
    QCOMPARE(desk.line()->rows()[0].recorded.size(), 2);
    auto *field = desk.page->findChild<QDateEdit *>();
    QCOMPARE(field->date(), recordedDay());
    field->setDate(recordedDay().addDays(-3)); // as the calendar does
    QCOMPARE(desk.view(0)->day(), recordedDay().addDays(-3));
    field->setDate(recordedDay());
    QCOMPARE(desk.view(0)->position(), recordedAt(9));
}

void TestPlaybackPage::dayField_givesTheFocusBack_unlessThePersonHasGoneElsewhere()
{
    const Recorder recorder;
    PlaybackDesk desk({&recorder});
    QVERIFY(desk.becomesActive());
    auto *field = desk.page->findChild<QDateEdit *>();
    QTest::mouseClick(field, Qt::LeftButton);
    QVERIFY(field->hasFocus());
    desk.key(Qt::Key_Return);
    QVERIFY(desk.view(0)->hasFocus());
    QTest::mouseClick(field, Qt::LeftButton);
    QVERIFY(field->hasFocus());
    QTest::mouseClick(desk.tree()->viewport(), Qt::LeftButton);
    QVERIFY(desk.tree()->hasFocus());
}

void TestPlaybackPage::viewCount_keepsTheFirstPlaybacks()
{
    const Recorder recorder(1, 4);
    PlaybackDesk desk({&recorder}, 4);
    QVERIFY(desk.becomesActive());
    desk.page->playFrom(recordedAt(9, 5));
    QVERIFY(desk.allPass(recordedAt(9, 5)));
    desk.key(Qt::Key_2, Qt::ControlModifier);
    QCOMPARE(desk.page->views().size(), 2);
    QCOMPARE(desk.line()->rows().size(), 2);
    QVERIFY(waitFor([&] { return recorder.control->openPlaybacks() == 2; }));
    QVERIFY(desk.allPass(recordedAt(9, 5, 1)));
    desk.key(Qt::Key_1, Qt::ControlModifier);
    QVERIFY(waitFor([&] { return recorder.control->openPlaybacks() == 1; }));
    desk.key(Qt::Key_4, Qt::ControlModifier);
    QCOMPARE(desk.page->views().size(), 4);
    QCOMPARE(desk.view(3)->state(), PlaybackState::Empty);
    QCOMPARE(desk.view(0)->camera().channel, 0);
}

void TestPlaybackPage::doubleClick_showsOneAlone()
{
    const Recorder recorder(1, 4);
    PlaybackDesk desk({&recorder}, 4);
    QVERIFY(desk.becomesActive());
    QTest::mouseDClick(desk.view(2), Qt::LeftButton);
    QVERIFY(desk.view(2)->isVisible() && !desk.view(0)->isVisible());
    desk.key(Qt::Key_1); // another in its place
    QVERIFY(desk.view(0)->isVisible() && !desk.view(2)->isVisible());
    desk.key(Qt::Key_Escape);
    for (int i = 0; i < 4; ++i)
        QVERIFY(desk.view(i)->isVisible());
    desk.key(Qt::Key_Return);
    QVERIFY(!desk.view(1)->isVisible());
    desk.key(Qt::Key_Return);
    QVERIFY(desk.view(1)->isVisible());
}

void TestPlaybackPage::listAndEnter_putAChannelIntoTheSelectedPlayback()
{
    const Recorder recorder(1, 4);
    PlaybackDesk desk({&recorder}, 2);
    QVERIFY(desk.becomesActive());
    desk.key(Qt::Key_2);
    desk.key(Qt::Key_L);
    QVERIFY(desk.tree()->hasFocus());
    desk.tree()->setCurrentItem(desk.tree()->topLevelItem(0)->child(3));
    desk.key(Qt::Key_Return);
    QCOMPARE(desk.view(1)->camera().channel, 3);
    QVERIFY(desk.tree()->hasFocus()); // a person may go on choosing
    desk.key(Qt::Key_Escape);
    QCOMPARE(QApplication::focusWidget(), desk.view(1));
    QCOMPARE(desk.tree()->topLevelItem(0)->child(3)->text(1), QString("view 2"));
    QCOMPARE(desk.line()->rows()[1].name, desk.view(1)->camera().name);
}

void TestPlaybackPage::channelThatIsShownAlready_changesPlaces()
{
    const Recorder recorder(1, 2);
    PlaybackDesk desk({&recorder}, 2);
    desk.page->playFrom(recordedAt(9, 5));
    QVERIFY(desk.allPass(recordedAt(9, 5)));
    emit desk.view(0)->cameraDropped(recorder.camera(1).key);
    QCOMPARE(desk.view(0)->camera().channel, 1);
    QCOMPARE(desk.view(1)->camera().channel, 0);
    QVERIFY(waitFor([&] {
        return recorder.control->openPlaybacks() == 0 ||
               desk.view(0)->state() == PlaybackState::Playing;
    }));
    // Dropped onto itself nothing happens.
    const Camera same = desk.view(0)->camera();
    desk.page->playFrom(recordedAt(9, 10));
    QVERIFY(desk.allPass(recordedAt(9, 10)));
    const qint64 starts = recorder.count(DeviceOp::vodStart);
    desk.page->put(desk.view(0), same);
    QVERIFY(desk.view(0)->isWanted());
    QCOMPARE(recorder.count(DeviceOp::vodStart), starts);
}

void TestPlaybackPage::channelThatComesLater_joinsTheOthers()
{
    const Recorder recorder(1, 3);
    PlaybackDesk desk({&recorder}, 2);
    desk.page->put(desk.view(1), Camera());
    desk.page->playFrom(recordedAt(9, 30));
    QVERIFY(desk.passes(0, recordedAt(9, 30)));
    desk.page->put(desk.view(1), recorder.camera(2));
    QVERIFY(desk.passes(1, recordedAt(9, 30)));
    QVERIFY(desk.view(1)->position() < recordedAt(9, 32));
}

void TestPlaybackPage::limitOfTheDevice_isToldWhereItMeets()
{
    log->expect(Logger::Warning, "(orvodthr)vod start err 17");
    const Recorder recorder(1, 4, [](DeviceConfig *config) { config->mostPlaybacks = 2; });
    PlaybackDesk desk({&recorder}, 4);
    desk.page->playFrom(recordedAt(9, 5));
    const auto inState = [&](PlaybackState state) {
        int count = 0;
        for (int i = 0; i < 4; ++i)
            count += desk.view(i)->state() == state;
        return count;
    };
    QVERIFY(waitFor([&] {
        return inState(PlaybackState::Playing) == 2 && inState(PlaybackState::Failed) == 2;
    }));
    for (int i = 0; i < 4; ++i)
        if (desk.view(i)->state() == PlaybackState::Failed)
            QVERIFY(desk.sign(i)->detail().contains("as many recordings as it can"));
    // Those that have failed hold up nobody.
    const qint64 start = recordedAt(9, 5, 3);
    QVERIFY(waitFor([&] {
        int on = 0;
        for (int i = 0; i < 4; ++i)
            on +=
                desk.view(i)->state() == PlaybackState::Playing && desk.view(i)->position() > start;
        return on == 2;
    }));
}

void TestPlaybackPage::marks_becomeDownloads()
{
    const Recorder recorder(1, 2);
    PlaybackDesk desk({&recorder}, 2);
    QVERIFY(desk.becomesActive());
    desk.line()->setMark({recordedAt(9, 10), recordedAt(9, 10, 20)});
    desk.key(Qt::Key_D);
    const QList<Download *> downloads = desk.window->downloads()->downloads();
    QCOMPARE(downloads.size(), 2); // playbacks go together
    QCOMPARE(downloads[0]->span(), (TimeSpan{recordedAt(9, 10), recordedAt(9, 10, 20)}));
    QCOMPARE(downloads[1]->camera().channel, 1);
    // The tab tells how many are to come.
    auto *tabs = desk.window->findChild<PageTabs *>();
    QCOMPARE(tabs->findChildren<QToolButton *>()[2]->text(), QString("Downloads 2"));
    for (Download *download : downloads)
        QVERIFY(waitFor([&] { return download->state() == DownloadState::Done; }));
    QVERIFY(waitFor([&] { return tabs->findChildren<QToolButton *>()[2]->text() == "Downloads"; }));
    desk.page->setTogether(false);
    desk.key(Qt::Key_2);
    desk.key(Qt::Key_D);
    QCOMPARE(desk.window->downloads()->downloads().size(), 3);
    QCOMPARE(desk.window->downloads()->downloads()[2]->camera().channel, 1);
    desk.key(Qt::Key_U);
    QVERIFY(!desk.line()->mark().isValid());
    desk.key(Qt::Key_D); // nothing is marked
    QCOMPARE(desk.window->downloads()->downloads().size(), 3);
}

void TestPlaybackPage::markKeys_setItsEdges()
{
    const Recorder recorder;
    PlaybackDesk desk({&recorder});
    QVERIFY(desk.becomesActive());
    const auto goTo = [&](qint64 time) {
        desk.page->playFrom(time);
        desk.view(0)->hold();
    };
    goTo(recordedAt(9, 10));
    const qint64 begin = desk.view(0)->position();
    desk.key(Qt::Key_I);
    QCOMPARE(desk.line()->mark(), (TimeSpan{begin, recordedAt(24)}));
    goTo(recordedAt(9, 20));
    const qint64 end = desk.view(0)->position();
    desk.key(Qt::Key_O);
    QCOMPARE(desk.line()->mark(), (TimeSpan{begin, end}));
    auto *bar = desk.page->findChild<DayBar *>();
    const auto labels = bar->findChildren<QLabel *>("dim");
    QCOMPARE(labels.size(), 1);
    QVERIFY2(labels[0]->text().startsWith("09:10:0") && labels[0]->text().contains("to 09:20:0"),
             qPrintable(labels[0]->text()));
    // An end before the beginning begins anew.
    goTo(recordedAt(9, 5));
    const qint64 early = desk.view(0)->position();
    desk.key(Qt::Key_O);
    QCOMPARE(desk.line()->mark(), (TimeSpan{recordedAt(0), early}));
}

void TestPlaybackPage::emptiedView_isHarmless()
{
    const Recorder recorder;
    PlaybackDesk desk({&recorder});
    QVERIFY(desk.becomesActive());
    desk.key(Qt::Key_Delete);
    QCOMPARE(desk.view(0)->state(), PlaybackState::Empty);
    for (const int key : {Qt::Key_Space, Qt::Key_Left, Qt::Key_Right, Qt::Key_M, Qt::Key_S,
                          Qt::Key_P, Qt::Key_I, Qt::Key_O, Qt::Key_D, Qt::Key_U, Qt::Key_T,
                          Qt::Key_BracketLeft, Qt::Key_BracketRight, Qt::Key_Plus, Qt::Key_Minus,
                          Qt::Key_PageUp, Qt::Key_PageDown, Qt::Key_Delete, Qt::Key_Return})
        desk.key(key);
    QTest::mouseClick(desk.line(), Qt::LeftButton, {}, desk.pointOn(recordedAt(9, 30), 0));
    QVERIFY(desk.window->downloads()->downloads().isEmpty());
    QCOMPARE(desk.view(0)->state(), PlaybackState::Empty);
    QCOMPARE(recorder.count(DeviceOp::vodStart), qint64(0));
}

void TestPlaybackPage::fullScreen_leavesPicturesAndLine()
{
    const Recorder recorder;
    PlaybackDesk desk({&recorder});
    QVERIFY(desk.becomesActive());
    desk.key(Qt::Key_F);
    QVERIFY(desk.window->isFullScreen());
    QVERIFY(!desk.tree()->isVisible() && !desk.page->bar()->isVisible());
    QVERIFY(desk.line()->isVisible() && desk.view(0)->isVisible());
    desk.key(Qt::Key_Escape);
    QVERIFY(waitFor([&] { return !desk.window->isFullScreen(); }));
    QVERIFY(desk.tree()->isVisible() && desk.page->bar()->isVisible());
}

void TestPlaybackPage::window_closesWhilePlayingAndDownloading()
{
    const Recorder recorder(1, 4, [](DeviceConfig *config) { config->downloadSpeed = 1; });
    PlaybackDesk desk({&recorder}, 4);
    desk.page->playFrom(recordedAt(9, 5));
    QVERIFY(desk.allPass(recordedAt(9, 5)));
    DownloadQueue *queue = desk.window->downloads();
    for (int channel = 0; channel < 3; ++channel)
        queue->add(recorder.camera(channel), {recordedAt(9, 5), recordedAt(9, 55)}, true);
    QVERIFY(waitFor(
        [&] { return queue->downloads()[0]->part() > 0 && queue->downloads()[1]->part() > 0; }));
    QTimer::singleShot(0, desk.window.get(), [&] { desk.window->close(); });
    QTimer::singleShot(20000, desk.window.get(), [&] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
    QVERIFY(!desk.window->isVisible());
    QVERIFY(!desk.window->hasRunningThreads());
    QCOMPARE(recorder.control->openPlaybacks(), 0);
    QCOMPARE(recorder.control->openDownloads(), 0);
    int films = 0;
    QDirIterator walk(desk.folder.path(), {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QString file = walk.next();
        ++films;
        QCOMPARE(walk.fileName().count('_'), 2); // it has its last name
        QVERIFY(probeFile(file).duration > 0);
    }
    QCOMPARE(films, 2); // the third was not begun
}

void TestPlaybackPage::manyRounds_leaveNoThreads()
{
    const Recorder recorder(1, 4);
    for (int round = 0; round < 10; ++round) {
        PlaybackDesk desk({&recorder}, 4);
        desk.page->playFrom(recordedAt(9, 5));
        if (round % 2 == 1)
            QVERIFY(desk.passes(0, recordedAt(9, 5)));
        if (round % 3 == 1)
            desk.page->setViewCount(1);
    }
    QVERIFY(waitFor([&] { return recorder.control->openPlaybacks() == 0; }));
    QVERIFY(waitFor([&] { return recorder.control->openStreams() == 0; }));
    QVERIFY(!PlaybackThread::anyRuns());
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    theme::apply(application);
    TestPlaybackPage test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_playbackpage.moc"
