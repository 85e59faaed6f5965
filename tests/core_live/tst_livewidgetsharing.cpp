// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Several live widgets on the streams of one device.
#include "livewidgetcase.h"
#include "support/privatepulse.h"

#include <QSignalSpy>
#include <QtTest>

#include <vector>

using namespace livefakes;
using namespace vantratest;
using videowidgetfakes::colouredImage;
using videowidgetfakes::FakeAudio;
using Op = DeviceScript::Op;

class TestLiveWidgetSharing : public LiveWidgetCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    void secondWidget_joinsTheRunningStream()
    {
        LiveView first;
        QVERIFY(startAndRun(first, 0, 1));
        first.playStart(0);
        QVERIFY(stream(0)->open());
        stream(0)->setPicture(40, 30, 0, false);

        LiveView second;
        QSignalSpy starts(&second, &AbstractVideoWidget::sig_receivePlayStart);
        QSignalSpy sizes(stream(0), &AbstractVideoThread::receiveSizeChanged);
        QSignalSpy durations(stream(0), &AbstractVideoThread::receiveDuration);
        QVERIFY(second.init(device, 0, 1));
        QVERIFY(second.start());
        // All within start(): no report of the thread was waited for.
        QCOMPARE(starts.count(), 1);
        QCOMPARE(starts.first().first().toInt(), 0);
        QCOMPARE(second.calls, QStringList({"receivePlayStart", "startAudioThread"}));
        QVERIFY(second.getIsRunning());
        QVERIFY(second.osdTimer->isActive());
        QCOMPARE(sizes.count(), 1);
        QCOMPARE(durations.count(), 1);
        QCOMPARE(int(stream(0)->starts), 1);

        second.playStart(0);
        QCOMPARE(second.shown(), first.shown());
        QCOMPARE(int(stream(0)->previewRef()), 2);
        QCOMPARE(second.videoWidth, 40);

        first.playStop(true);
        first.stop(false);
        QVERIFY(set());
        QVERIFY(stream(0)->isRunning());
        QCOMPARE(int(stream(0)->stops), 0);
        QCOMPARE(int(stream(0)->previewRef()), 1);
        QVERIFY(second.getIsRunning());
        second.playStop(true);
        second.stop(false);
        QVERIFY(!set());
    }

    void secondWidget_joinsAStreamThatIsNotOpenYet()
    {
        LiveView first;
        QVERIFY(startAndRun(first, 0, 1));
        LiveView second;
        QSignalSpy starts(&second, &AbstractVideoWidget::sig_receivePlayStart);
        QVERIFY(second.init(device, 0, 1));
        QVERIFY(second.start());
        QVERIFY(second.getIsRunning()); // the thread is up
        QCOMPARE(starts.count(), 0);
        QVERIFY(stream(0)->open());
        QCOMPARE(starts.count(), 1);
        first.stop(false);
        second.stop(false);
    }

    void joinedStream_isNotMarkedAsPlaying()
    {
        // Intended: the direct calls name no stream. So each joined stream reports a start, and the
        // end of one ends play for the widget.
        LiveView first;
        QVERIFY(startAndRun(first));
        QVERIFY(stream(0)->open());
        QVERIFY(stream(1)->open());
        LiveView second;
        QSignalSpy starts(&second, &AbstractVideoWidget::sig_receivePlayStart);
        QSignalSpy ends(&second, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(second.init(device, 0, kAll));
        QVERIFY(second.start());
        QCOMPARE(starts.count(), 2);
        QVERIFY(stream(1)->close());
        QCOMPARE(ends.count(), 1);
        first.stop(false);
        second.stop(false);
    }

    void lastWidget_decidesModeAndHardware()
    {
        LiveView first;
        QVERIFY(startAndRun(first, 0, 1));
        LiveView second;
        second.setVideoMode(VideoMode_Painter);
        VideoPara para;
        para.hardware = "dxva2";
        para.readTimeout = 9999;
        second.setVideoPara(para);
        QVERIFY(startAndRun(second, 0, 1));
        QCOMPARE(stream(0)->getVideoMode(), VideoMode_Painter);
        QCOMPARE(stream(0)->getHardware(), QString("dxva2"));
        QVERIFY(stream(0)->getReadTimeout() != 9999); // only before a start
        first.stop(false);
        second.stop(false);
    }

    void protocolOfALaterWidget_isNotCompared()
    {
        LiveView first;
        QVERIFY(startAndRun(first, 0, 1));
        LiveView second(HTransportZelk);
        QVERIFY(startAndRun(second, 0, 1));
        QCOMPARE(int(stream(0)->starts), 1);
        first.stop(false);
        second.stop(false);
    }

    void stop_withForce_endsAStreamThatAnotherShows()
    {
        LiveView first;
        LiveView second;
        QVERIFY(startAndRun(first, 0));
        QVERIFY(startAndRun(second, 0));
        first.playStart(0);
        second.playStart(0);
        LiveThread *main = stream(0);
        first.playStop(true);
        first.stop(true);
        QVERIFY(set()); // it is still counted
        QVERIFY(waitFor([&] { return !main->isRunning() && !second.getIsRunning(); }));
        QCOMPARE(int(main->starts), 1); // and not started again
        QCOMPARE(second.shown(), main);
        second.playStop(true);
        second.stop(false);
    }

    void stop_endsStreamsThatAnotherHasStartedAndDoesNotShow()
    {
        // The set goes by what is shown and recorded, not by who has started it.
        LiveView first;
        LiveView second;
        QVERIFY(startAndRun(first, 0));
        QVERIFY(startAndRun(second, 1));
        first.stop(false);
        QVERIFY(!set());
        QVERIFY(waitFor([&] { return !second.getIsRunning(); }));
        second.stop(false);
        QVERIFY(startAndRun(second, 1)); // on a new set
        second.stop(false);
    }

    void set_askedForAgainAtOnce_isANewOne()
    {
        LiveView view;
        view.setVideoMode(VideoMode_Painter);
        view.show();
        QVERIFY(startAndRun(view, 0, 1));
        view.playStart(0);
        const QPointer<LiveThread> old = view.shown();
        old->stay();
        view.playStop(true);
        view.stop(false);
        QVERIFY(!set());
        QVERIFY(view.start());
        view.playStart(0);
        QVERIFY(view.shown() != old);
        QVERIFY(view.shown()->waitUntilUp());
        QVERIFY(waitFor([&] { return view.getIsRunning(); }));
        QVERIFY(old->isRunning());
        view.calls.clear();
        old->leave();
        QVERIFY(waitFor([&] { return !old; }));
        // The late end of the first is not that of this play: its pictures are shown.
        QVERIFY(waitFor([&] { return view.calls.contains("finished"); }));
        QVERIFY(view.getIsRunning());
        LiveThread *thread = view.shown();
        QVERIFY(thread->call(
            [thread] { emit thread->receiveImage(colouredImage(3, 3, Qt::blue), 0); }));
        QVERIFY(waitFor([&] { return view.image.size() == QSize(3, 3); }));
        view.playStop(true);
        view.stop(false);
    }

    void lateReportsOfAFormerPlay_leaveTheNextAlone()
    {
        LiveView view;
        QVERIFY(startAndRun(view, 0, 1));
        LiveThread *old = stream(0);
        const auto keep = set();
        const auto threads = keep->getChannelThreads();
        old->stay();
        view.stop(false);
        QVERIFY(view.start());
        QSignalSpy starts(&view, &AbstractVideoWidget::sig_receivePlayStart);
        QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
        view.appendOsd({});
        // What it had posted before it was disconnected arrives as over these.
        connect(old, &AbstractVideoThread::receivePlayStart, &view, &LiveView::receivePlayStart,
                Qt::BlockingQueuedConnection);
        connect(old, &AbstractVideoThread::receivePlayFinsh, &view, &LiveView::receivePlayFinsh,
                Qt::BlockingQueuedConnection);
        QVERIFY(old->call([old] {
            emit old->receivePlayStart(0);
            emit old->receivePlayFinsh(old);
        }));
        QCOMPARE(starts.count(), 0);
        QCOMPARE(ends.count(), 0);
        QCOMPARE(view.osdList.items().size(), 1);
        old->leave();
        view.stop(false);
    }

    void streamThatIsEnding_isStartedAgainForTheWidgetThatJoinsIt()
    {
        LiveView other;
        QVERIFY(startAndRun(other, 1));
        other.playStart(0); // keeps the set
        LiveView view;
        QVERIFY(startAndRun(view, 0, 1));
        LiveThread *main = stream(0);
        main->stay();
        view.stop(false); // told to end, and slow about it
        QCOMPARE(int(main->stops), 1);
        QVERIFY(view.start());
        view.playStart(0);
        QVERIFY(main->isRunning());
        QCOMPARE(int(main->starts), 1);
        main->leave();
        QVERIFY(waitFor([&] { return main->starts == 2 && view.getIsRunning(); }));
        QVERIFY(main->waitUntilUp());
        QVERIFY(!main->isStopAsked());
        view.playStop(true);
        view.stop(false);
        other.playStop(true);
        other.stop(false);
    }

    void streamThatIsEnding_isStartedAgain_thoughAnEarlierEndIsReportedFirst()
    {
        LiveView other;
        QVERIFY(startAndRun(other, 1));
        other.playStart(0);
        LiveView view;
        QVERIFY(startAndRun(view, 0, 1));
        LiveThread *main = stream(0);
        // No events from here on, so the report of this end waits ...
        view.stop(false);
        QVERIFY(main->wait(20000));
        QVERIFY(view.start());
        QVERIFY(main->callWithoutEvents([] {}));
        main->stay();
        view.stop(false);
        QVERIFY(view.start());
        QCOMPARE(int(main->starts), 2);
        view.calls.clear();
        QVERIFY(waitFor([&] { return view.calls.contains("finished"); })); // ... until now
        QVERIFY(main->isRunning());
        main->leave();
        QVERIFY(waitFor([&] { return main->starts == 3 && view.getIsRunning(); }));
        view.stop(false);
        other.playStop(true);
        other.stop(false);
    }

    void streamThatIsEnding_isLeftToItsEnd_whenToldOnceMore()
    {
        LiveView other;
        QVERIFY(startAndRun(other, 1));
        other.playStart(0);
        for (const bool bySelf : {true, false}) {
            LiveView view;
            QVERIFY(startAndRun(view, 0, 1));
            LiveThread *main = stream(0);
            const int starts = main->starts;
            main->stay();
            view.stop(false);
            QVERIFY(view.start());
            if (bySelf)
                view.stop(false);
            else
                other.stop(true);
            main->leave();
            QVERIFY(waitFor([&] { return main->isFinished(); }));
            QVERIFY(waitFor([&] { return !view.getIsRunning(); }));
            QCOMPARE(int(main->starts), starts);
            view.stop(false);
        }
    }

    void streamThatEndsByItself_isNotStartedAgain()
    {
        LiveView view;
        QVERIFY(startAndRun(view, 0, 1));
        LiveThread *main = stream(0);
        main->end();
        QVERIFY(waitFor([&] { return !view.getIsRunning(); }));
        QCOMPARE(int(main->starts), 1);
        QVERIFY(view.start()); // still started: nothing
        QCOMPARE(int(main->starts), 1);
        view.stop(false);
    }

    void streamThatWasStoppedBeforeItOpened_playsAgain()
    {
        LiveView other;
        QVERIFY(startAndRun(other, 1));
        other.playStart(0);
        LiveView view;
        QVERIFY(startAndRun(view, 0, 1));
        LiveThread *main = stream(0);
        view.stop(false);
        QVERIFY(waitFor([&] { return main->isFinished(); }));
        QVERIFY(view.start());
        QVERIFY(main->waitUntilUp()); // its former order to stop is not in the way
        view.stop(false);
        other.playStop(true);
        other.stop(false);
    }

    void stop_afterAnotherLetGoOfTheSet_leavesTheNewOne()
    {
        LiveView first;
        LiveView second;
        QVERIFY(startAndRun(first, 0));
        QVERIFY(startAndRun(second, 0));
        for (const auto &thread : maker->made())
            thread->stay(); // so that the old set is not unbound yet
        first.stop(false);
        QVERIFY(first.start());
        first.playStart(0);
        const auto current = set();
        second.stop(false);
        QCOMPARE(set(), current);
        QVERIFY(first.shown()->isRunning());
        for (const auto &thread : maker->made()) {
            if (thread)
                thread->leave();
        }
        first.playStop(true);
        first.stop(false);
    }

    void recording_outlivesItsLastWidget()
    {
        LiveThread *main = nullptr;
        {
            LiveView view;
            QVERIFY(startAndRun(view));
            view.recordStart("/records");
            main = stream(0);
            view.stop(false);
        }
        QVERIFY(set());
        QCOMPARE(stream(0), main);
        QVERIFY(main->isRunning());
        QCOMPARE(set()->referenceCount(), 1);
        // Nothing lets go of the set when it ends ...
        main->recordStop(AbstractVideoThread::MANUAL_RECORD);
        QCOMPARE(set()->referenceCount(), 0);
        QVERIFY(main->isRunning());
        // ... but the next widget that stops.
        LiveView view;
        QVERIFY(startAndRun(view, 1));
        QCOMPARE(stream(0), main);
        const QPointer<LiveThread> left(main);
        view.stop(false);
        QVERIFY(!set());
        QVERIFY(waitFor([&] { return !left; }));
    }

    void manyWidgets_shareOneStream()
    {
        constexpr int kWidgets = 16;
        std::vector<std::unique_ptr<LiveView>> views;
        for (int i = 0; i < kWidgets; ++i) {
            views.push_back(std::make_unique<LiveView>());
            views.back()->setVideoMode(VideoMode_Painter);
            views.back()->show();
            QVERIFY(startAndRun(*views.back(), 0, 1));
            views.back()->playStart(0);
        }
        QCOMPARE(maker->made().size(), 4);
        QCOMPARE(int(stream(0)->starts), 1);
        QCOMPARE(int(stream(0)->previewRef()), kWidgets);
        LiveThread *thread = stream(0);
        QVERIFY(thread->call([thread] {
            emit thread->receiveImage(colouredImage(3, 3, Qt::blue), 0);
            emit thread->sig_updateCodecRender("H264", 3, 3);
        }));
        for (const auto &view : views)
            QVERIFY(waitFor([&] { return view->image.size() == QSize(3, 3); }));
        for (int i = 0; i < kWidgets; ++i) {
            QCOMPARE(int(thread->previewRef()), kWidgets - i);
            QVERIFY(thread->isRunning());
            views.at(size_t(i))->playStop(true);
            views.at(size_t(i))->stop(false);
        }
        QVERIFY(!set());
    }

    void widgets_onDifferentStreams_hearTheirOwn()
    {
        LiveView first;
        LiveView second;
        QVERIFY(startAndRun(first));
        QVERIFY(startAndRun(second));
        const auto firstSound = QSharedPointer<FakeAudio>::create();
        const auto secondSound = QSharedPointer<FakeAudio>::create();
        first.audioThread = firstSound;
        second.audioThread = secondSound;
        first.playStart(0);
        second.playStart(1);
        for (const int i : {0, 1}) {
            QVERIFY(stream(i)->call([t = stream(i), i] {
                emit t->receiveAudioFormat(8000 + i, 1, 16);
                emit t->receiveAudio(QByteArray::number(i));
                emit t->receivePlayStart(0);
            }));
        }
        QVERIFY(waitFor([&] { return firstSound->calls.contains("play 0"); }));
        QVERIFY(waitFor([&] { return secondSound->calls.contains("play 1"); }));
        QCOMPARE(firstSound->calls.filter("play"), QStringList({"play 0"}));
        QCOMPARE(secondSound->calls.filter("play"), QStringList({"play 1"}));
        QCOMPARE(firstSound->calls.filter("open"), QStringList({"open 8000 1 16"}));
        // The form of the other stream was announced before this widget showed it.
        first.replay(1);
        QVERIFY(waitFor([&] { return firstSound->calls.contains("open 8001 1 16"); }));
        for (LiveView *view : {&first, &second}) {
            view->playStop(true);
            view->stop(false);
        }
    }

    void mutedWidget_isMuted_whenItJoins()
    {
        LiveView first;
        QVERIFY(startAndRun(first, 0, 1));
        QVERIFY(stream(0)->open());
        class Muted : public LiveView
        {
        public:
            QSharedPointer<FakeAudio> sound = QSharedPointer<FakeAudio>::create();
            void startAudioThread() override { audioThread = sound; }
        } second;
        WidgetPara look = second.getWidgetPara();
        look.muted = true;
        second.setWidgetPara(look);
        QVERIFY(startAndRun(second, 0, 1));
        QVERIFY(waitFor([&] { return second.sound->calls.contains("muted 1"); }));
        first.stop(false);
        second.stop(false);
    }
};

QTEST_MAIN(TestLiveWidgetSharing)
#include "tst_livewidgetsharing.moc"
