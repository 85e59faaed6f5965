// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// One live widget that has started: its connections, reports, what it shows and what is heard.
#include "core_audio/devaudiothread.h"
#include "livewidgetcase.h"
#include "support/privatepulse.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <limits>

using namespace livefakes;
using namespace vantratest;
using videowidgetfakes::colouredImage;
using videowidgetfakes::each;
using videowidgetfakes::FakeAudio;
using videowidgetfakes::kAudioSignals;
using videowidgetfakes::kStreamSignals;
using videowidgetfakes::receiversOf;
using Op = DeviceScript::Op;

class TestLiveWidgetShow : public LiveWidgetCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
    }

    // --- Connections -----------------------------------------------------------------------------

    void connections_areMadeAndUnmade()
    {
        LiveView view;
        QVERIFY(startAndRun(view, 0, 1));
        const auto keep = set();
        LiveThread *thread = stream(0);
        QCOMPARE(receiversOf(*thread, kLiveSignals), each(kLiveSignals, 1));
        QCOMPARE(receiversOf(*thread, kLiveKeptSignals), each(kLiveKeptSignals, 1));
        QCOMPARE(receiversOf(*thread, kAudioSignals), each(kAudioSignals, 1));
        QCOMPARE(receiversOf(*thread, kLiveUnusedSignals), each(kLiveUnusedSignals, 0));
        QCOMPARE(receiversOf(*thread, kStreamSignals), each(kStreamSignals, 0));
        QCOMPARE(receiversOf(*stream(1), kLiveSignals), each(kLiveSignals, 0));

        view.playStart(0);
        QCOMPARE(receiversOf(*thread, kStreamSignals), each(kStreamSignals, 1));
        view.playStart(0); // shown already
        QCOMPARE(receiversOf(*thread, kStreamSignals), each(kStreamSignals, 1));
        view.playStop(true);
        QCOMPARE(receiversOf(*thread, kStreamSignals), each(kStreamSignals, 0));
        QCOMPARE(receiversOf(*thread, kLiveSignals), each(kLiveSignals, 1));

        view.stop(false);
        QCOMPARE(receiversOf(*thread, kLiveSignals), each(kLiveSignals, 0));
        QCOMPARE(receiversOf(*thread, kAudioSignals), each(kAudioSignals, 0));
        // The real end of the thread still arrives.
        QCOMPARE(receiversOf(*thread, kLiveKeptSignals), each(kLiveKeptSignals, 1));
    }

    void sound_isOff_withoutStreamControl()
    {
        LiveView view;
        view.noStreamControl = true;
        QVERIFY(startAndRun(view));
        QCOMPARE(receiversOf(*stream(0), kAudioSignals), each(kAudioSignals, 0));
        QVERIFY(!view.audioThread);
        view.talkStart();
        view.talkStop();
        const auto sound = QSharedPointer<FakeAudio>::create();
        view.audioThread = sound;
        view.talkStart();
        view.talkStop();
        view.playStart(0);
        view.playStop(true);
        view.stop(false);
        QCOMPARE(script->count(Op::startTalk), 0);
        QVERIFY(sound->calls.isEmpty());
    }

    void blockingSignals_holdTheThread_untilTheSlotHasReturned()
    {
        static quint8 pixel = 0;
        LiveView view;
        view.setVideoMode(VideoMode_Painter);
        view.show();
        QVERIFY(startAndRun(view, 0, 1));
        view.playStart(0);
        LiveThread *thread = view.shown();
        const QList<std::pair<const char *, std::function<void()>>> calls{
            {"receivePlayStart", [&] { emit thread->receivePlayStart(0); }},
            {"receivePlayFinsh", [&] { emit thread->receivePlayFinsh(thread); }},
            {"planar",
             [&] { emit thread->receiveFrame(2, 2, &pixel, &pixel, &pixel, 2u, 1u, 1u); }},
            {"nv12", [&] { emit thread->receiveFrame(2, 2, &pixel, &pixel, 2u, 2u); }},
            {"d3d9", [&] { emit thread->receiveFrame(2, 2, &pixel, false); }},
            {"d3d11", [&] { emit thread->receiveFrame(2, 2, &pixel, 0, false); }},
        };
        for (int round = 0; round < 20; ++round) {
            for (const auto &one : calls) {
                view.calls.clear();
                bool seen = false;
                QVERIFY(thread->call([&] {
                    one.second();
                    seen = view.calls.contains(one.first); // the first thing after the emit
                }));
                QVERIFY2(seen, one.first);
            }
            const QList<std::function<void()>> forgets{
                [&] { emit thread->sig_decoderDestroyed(); },
                [&] { emit thread->receiveRenderStart(); },
            };
            for (const auto &one : forgets) {
                view.image = colouredImage(2, 2, Qt::red);
                bool gone = false;
                QVERIFY(thread->call([&] {
                    one();
                    gone = view.image.isNull();
                }));
                QVERIFY(gone);
            }
            view.zoom.sourceRect = QRectF();
            bool told = false;
            QVERIFY(thread->call([&] {
                emit thread->sig_updateCodecRender("H264", 8, 4);
                told = view.zoom.sourceRect == QRectF(0, 0, 8, 4);
            }));
            QVERIFY(told);
        }
        view.playStop(true);
        view.stop(false);
    }

    void queuedSignals_doNotHoldTheThread()
    {
        LiveView view;
        QSignalSpy exceed(&view, &AbstractVideoWidget::sig_connExceedMax);
        QSignalSpy snap(&view, &AbstractVideoWidget::snapImage);
        QVERIFY(startAndRun(view, 0, 1));
        view.playStart(0);
        LiveThread *thread = view.shown();
        QVERIFY(thread->call([] {}));
        thread->setPicture(11, 12, 0, false);
        view.calls.clear();
        QVERIFY(thread->callWithoutEvents([thread] {
            emit thread->sig_connExceedMax();
            emit thread->receiveAudioFormat(8000, 1, 16);
            emit thread->receiveAudio(QByteArray("pcm"));
            emit thread->receiveImage(colouredImage(2, 2, Qt::red), 0);
            emit thread->snapImage(colouredImage(3, 3, Qt::red), "a.jpg");
            emit thread->receiveSizeChanged();
        }));
        QCOMPARE(exceed.count() + snap.count() + view.calls.size(), 0);
        QVERIFY(waitFor([&] { return view.videoWidth == 11; })); // the last of all
        QCOMPARE(exceed.count(), 1);
        QCOMPARE(snap.count(), 1);
        QCOMPARE(view.calls, QStringList({"receiveImage"}));
        view.playStop(true);
        view.stop(false);
    }

    // --- Reports of the threads ------------------------------------------------------------------

    void started_waitsForTheLastWantedThread()
    {
        LiveView view;
        QVERIFY(view.init(device, 0, kAll));
        // The set is made by another widget, so that one of its threads can be held back.
        LiveView other;
        QVERIFY(other.init(device, 1, kAll));
        QVERIFY(other.start());
        stream(1)->heldBack = true;
        QVERIFY(view.start());
        QVERIFY(waitFor([&] { return view.calls.contains("started"); }));
        QVERIFY(!view.getIsRunning());
        stream(1)->heldBack = false;
        stream(1)->play();
        QVERIFY(waitFor([&] { return view.calls.count("started") == 2; }));
        QVERIFY(view.getIsRunning());
        view.stop(false);
        other.stop(false);
    }

    void finished_endsTheWidgetsRun_alsoWhenAnotherStreamGoesOn()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        stream(1)->end();
        QVERIFY(waitFor([&] { return view.calls.contains("finished"); }));
        QVERIFY(!view.getIsRunning()); // intended
        QVERIFY(stream(0)->isRunning());
        // And both are needed to begin again.
        stream(0)->end();
        QVERIFY(waitFor([&] { return view.calls.count("finished") == 2; }));
        stream(0)->play();
        QVERIFY(waitFor([&] { return view.calls.count("started") == 3; }));
        QVERIFY(!view.getIsRunning());
        stream(1)->play();
        QVERIFY(waitFor([&] { return view.calls.count("started") == 4; }));
        QVERIFY(view.getIsRunning());
        view.stop(false);
    }

    void playStart_isReported_whenEveryWantedStreamPlays()
    {
        LiveView view;
        QSignalSpy starts(&view, &AbstractVideoWidget::sig_receivePlayStart);
        QVERIFY(startAndRun(view));
        QVERIFY(!view.osdTimer->isActive());
        QVERIFY(stream(1)->open());
        QVERIFY(view.osdTimer->isActive()); // the first stream starts the widget
        QCOMPARE(starts.count(), 0);
        view.osdTimer->stop();
        QVERIFY(stream(0)->open());
        QVERIFY(!view.osdTimer->isActive()); // the second does not
        QCOMPARE(starts.count(), 1);
        QCOMPARE(starts.first().first().toInt(), 0);
        QVERIFY(stream(0)->open()); // again, as after a reopen
        QCOMPARE(starts.count(), 2);
        view.stop(false);
    }

    void playFinsh_isReported_whenNoStreamPlays()
    {
        LiveView view;
        QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(startAndRun(view));
        QVERIFY(stream(0)->open());
        QVERIFY(stream(1)->open());
        view.appendOsd({});
        view.videoWidth = 5;
        QVERIFY(stream(0)->close());
        QCOMPARE(view.videoWidth, 0); // each clears
        QVERIFY(view.osdList.items().isEmpty());
        QVERIFY(view.osdTimer->isActive());
        QCOMPARE(ends.count(), 0);
        QVERIFY(stream(1)->close());
        QVERIFY(!view.osdTimer->isActive());
        QCOMPARE(ends.count(), 1);
        view.stop(false);
    }

    void reports_reachAFreshWidget_thatIsCalledDirectly()
    {
        LiveView view;
        QSignalSpy starts(&view, &AbstractVideoWidget::sig_receivePlayStart);
        QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
        view.receivePlayStart(9);
        QCOMPARE(starts.count(), 1);
        QCOMPARE(starts.first().first().toInt(), 0);
        QVERIFY(view.osdTimer->isActive());
        view.receivePlayFinsh(nullptr);
        QCOMPARE(ends.count(), 1);
        QVERIFY(!view.osdTimer->isActive());
        view.started();
        QVERIFY(view.getIsRunning());
        view.finished();
        QVERIFY(!view.getIsRunning());
    }

    void endOfAFormerThread_thatIsGone_leavesThePlay()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        view.finished(); // without a sender, which went with its thread
        QVERIFY(view.getIsRunning());
        view.stop(false);
    }

    void connExceedMax_isPassedOn()
    {
        LiveView view;
        QSignalSpy exceed(&view, &AbstractVideoWidget::sig_connExceedMax);
        QVERIFY(startAndRun(view));
        stream(1)->post([t = stream(1)] { emit t->sig_connExceedMax(); });
        QVERIFY(waitFor([&] { return exceed.count() == 1; }));
        view.stop(false);
    }

    // --- Showing ---------------------------------------------------------------------------------

    void playStart_isRefused_beforeStart()
    {
        log->expect(Logger::Error, "(lvvdwgt)play not started");
        LiveView view;
        view.playStart(0);
        QVERIFY(view.init(device, 0, kAll));
        view.replay(0);
        QCOMPARE(log->count(Logger::Error, "(lvvdwgt)play not started"), 2);
        QVERIFY(!view.shown());
    }

    void playStart_ignoresStreamsThatAreNotThere()
    {
        LiveView view;
        QVERIFY(startAndRun(view, 1));
        for (const int s : {2, 100, -3, std::numeric_limits<int>::max()}) {
            view.playStart(s);
            QVERIFY(!view.shown());
        }
        QCOMPARE(set()->referenceCount(), 0);
        view.stop(false);
    }

    void playStart_showsAStream_andCountsIt()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        stream(0)->setPicture(40, 30, 0, false);
        view.playStart(0);
        QCOMPARE(view.shown(), stream(0));
        QCOMPARE(int(stream(0)->previewRef()), 1);
        QCOMPARE(view.videoWidth, 40); // the surface has its size
        view.playStart(0);
        QCOMPARE(int(stream(0)->previewRef()), 1);
        view.playStop(true);
        QVERIFY(!view.shown());
        QCOMPARE(int(stream(0)->previewRef()), 0);
        QVERIFY(stream(0)->isRunning());
        view.stop(false);
    }

    void playStop_clears_ifAsked_data()
    {
        QTest::addColumn<bool>("showing");
        QTest::addColumn<bool>("clear");
        for (const bool showing : {true, false}) {
            for (const bool clear : {true, false})
                QTest::addRow("%d %d", showing, clear) << showing << clear;
        }
    }
    void playStop_clears_ifAsked()
    {
        QFETCH(bool, showing);
        QFETCH(bool, clear);
        LiveView view;
        QVERIFY(startAndRun(view));
        if (showing)
            view.playStart(0);
        view.image = colouredImage(2, 2, Qt::red);
        view.setDigitalZoom(true);
        view.playStop(clear);
        QCOMPARE(view.image.isNull(), clear);
        QVERIFY(!view.isDigitalZoom());
        view.stop(false);
    }

    void playStop_doesNotCountBelowZero()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        view.playStart(0);
        stream(0)->previewRef() = 0; // somebody else has miscounted
        view.playStop(true);
        QCOMPARE(int(stream(0)->previewRef()), 0);
        view.playStop(true);
        QCOMPARE(int(stream(0)->previewRef()), 0);
        view.stop(false);
    }

    void replay_changesTheStream_andLeavesThePicture()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        view.playStart(0);
        view.image = colouredImage(2, 2, Qt::red);
        stream(1)->setPicture(11, 12, 0, false);
        view.replay(1);
        QCOMPARE(view.shown(), stream(1));
        QCOMPARE(int(stream(0)->previewRef()), 0);
        QCOMPARE(int(stream(1)->previewRef()), 1);
        QVERIFY(stream(0)->isRunning());
        QVERIFY(!view.image.isNull());
        QCOMPARE(receiversOf(*stream(0), kStreamSignals), each(kStreamSignals, 0));
        QCOMPARE(receiversOf(*stream(1), kStreamSignals), each(kStreamSignals, 1));
        // The layout follows in the event loop, too.
        view.videoWidth = 0;
        QVERIFY(waitFor([&] { return view.videoWidth == 11; }));
        view.playStop(true);
        view.stop(false);
    }

    void playStart_showsAStreamThatTheMaskLeavesOut()
    {
        LiveView view;
        QVERIFY(startAndRun(view, 0, 2));
        QVERIFY(!stream(0)->isRunning());
        QVERIFY(stream(1)->isRunning());
        view.playStart(0);
        QCOMPARE(view.shown(), stream(0));
        QCOMPARE(int(stream(0)->previewRef()), 1);
        QVERIFY(!stream(0)->isRunning());
        QCOMPARE(int(stream(0)->starts), 0);
        view.playStop(true);
        view.stop(false);
    }

    void lateImage_isNotShown_afterPlayStop()
    {
        LiveView view;
        view.setVideoMode(VideoMode_Painter);
        view.show();
        QVERIFY(startAndRun(view, 0, 1));
        view.playStart(0);
        LiveThread *thread = view.shown();
        QVERIFY(thread->callWithoutEvents(
            [thread] { emit thread->receiveImage(colouredImage(2, 2, Qt::red), 0); }));
        view.playStop(true);
        view.calls.clear();
        QVERIFY(waitFor([&] { return view.calls.contains("receiveImage"); }));
        QVERIFY(view.image.isNull());
        view.stop(false);
    }

    void timeouts_areThoseOfTheShownStream()
    {
        LiveView view;
        QVERIFY(!view.isOpenStreamTimeout());
        QVERIFY(view.isReadStreamTimeout()); // intended: other than the one above
        QVERIFY(!view.isStreamExceedMax());
        QVERIFY(startAndRun(view));
        QVERIFY(!view.isOpenStreamTimeout());
        QVERIFY(view.isReadStreamTimeout());
        view.playStart(1);
        QVERIFY(!view.isOpenStreamTimeout());
        QVERIFY(!view.isReadStreamTimeout());
        stream(1)->setTimedOut(true, false);
        QVERIFY(view.isOpenStreamTimeout());
        QVERIFY(!view.isReadStreamTimeout());
        stream(1)->setTimedOut(false, true);
        QVERIFY(!view.isOpenStreamTimeout());
        QVERIFY(view.isReadStreamTimeout());
        stream(0)->setExceeded(1);
        QVERIFY(!view.isStreamExceedMax());
        stream(1)->setExceeded(2);
        QVERIFY(view.isStreamExceedMax());
        stream(1)->setExceeded(0);
        QVERIFY(!view.isStreamExceedMax());
        view.playStop(true);
        view.stop(false);
    }

    void exceedMax_isFalse_forAThreadWithoutDevice()
    {
        LiveView view;
        videowidgetfakes::FakeThread thread;
        view.videoThread = &thread;
        QVERIFY(!view.isStreamExceedMax());
    }

    void snap_namesTheFile()
    {
        QTemporaryDir folder;
        LiveView view;
        view.snap(folder.path(), true); // nothing is shown
        QVERIFY(startAndRun(view, 1));
        view.playStart(1);
        QVERIFY(view.shown()->waitUntilUp());
        QDateTime before = QDateTime::currentDateTime();
        view.snap(folder.path(), false);
        const QString name = view.shown()->getSnapName();
        QVERIFY(view.shown()->getIsSnap());
        const QDateTime after = QDateTime::currentDateTime();
        QStringList possible;
        for (; before <= after.addSecs(1); before = before.addSecs(1))
            possible << QString("%1/%2/live/%3_1.jpg")
                            .arg(folder.path(), before.toString("yyyy-MM-dd"),
                                 before.toString("yyyyMMddTHHmmss"));
        QVERIFY2(possible.contains(name), qPrintable(name));
        view.playStop(true);
        view.stop(false);
    }

    void snap_tellsWhenItIsThere_ifAsked()
    {
        QTemporaryDir folder;
        LiveView view;
        QSignalSpy told(&view, &AbstractVideoWidget::snapImage);
        QVERIFY(startAndRun(view, 0));
        view.playStart(0);
        QVERIFY(view.shown()->waitUntilUp());
        for (const bool preview : {false, true}) {
            view.snap(folder.path(), preview);
            const QString name = view.shown()->getSnapName();
            QVERIFY(colouredImage(4, 4, Qt::red).save(name, "jpg"));
            view.shown()->snapFinsh();
            QCOMPARE(told.count(), preview ? 1 : 0);
        }
        QCOMPARE(told.first().at(0).value<QImage>().size(), QSize(4, 4));
        view.playStop(true);
        view.stop(false);
    }

    void recording_usesTheMainStream_whicheverIsShown()
    {
        LiveView view;
        view.recordStart("/nowhere"); // without a thread
        QVERIFY(startAndRun(view, 1));
        view.playStart(1);
        view.setSaveInterval(7);
        view.recordStart("/records");
        QVERIFY(stream(2)->isRecording(AbstractVideoThread::MANUAL_RECORD));
        QCOMPARE(stream(2)->recordPath(), QString("/records"));
        QCOMPARE(stream(2)->getSaveInterval(AbstractVideoThread::MANUAL_RECORD), 7);
        QVERIFY(!stream(3)->isRecording(AbstractVideoThread::MANUAL_RECORD));
        QCOMPARE(set()->referenceCount(), 2);
        view.recordStop();
        QVERIFY(!stream(2)->isRecording(AbstractVideoThread::MANUAL_RECORD));
        view.playStop(true);
        view.stop(false);
    }

    // --- Sound -----------------------------------------------------------------------------------

    void audioThread_isBoundToTheDevice_whileStarted()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        QVERIFY(qobject_cast<DevAudioThread *>(view.audioThread.data()));
        QThread *worker = view.audioThread->QObject::thread();
        QVERIFY(worker->isRunning());
        view.talkStart();
        QVERIFY(waitFor([&] { return script->count(Op::startTalk) == 1; }));
        QCOMPARE(script->calls(Op::startTalk).first().thread, worker);
        view.talkStop();
        QVERIFY(waitFor([&] { return script->count(Op::stopTalk) == 1; }));
        view.stop(false);
        QVERIFY(!worker->isRunning());
        QCOMPARE(view.calls.count("stopAudioThread"), 1);
        view.talkStart(); // reaches nobody
    }

    void sound_ofTheShownStreamOnly()
    {
        LiveView view;
        QVERIFY(startAndRun(view));
        const auto sound = QSharedPointer<FakeAudio>::create();
        view.audioThread = sound;
        const auto say = [&](int index, const char *text) {
            return stream(index)->call([t = stream(index), text] {
                emit t->receiveAudioFormat(8000, 1, 16);
                emit t->receiveAudio(QByteArray(text));
                emit t->receivePlayStart(0); // waits until the others have been delivered
            });
        };
        QVERIFY(say(0, "unseen"));
        view.playStart(0);
        // The form had been announced before.
        QVERIFY(waitFor([&] { return sound->calls.contains("open 8000 1 16"); }));
        sound->calls.clear();
        QVERIFY(say(0, "main"));
        QVERIFY(say(1, "other"));
        QVERIFY(waitFor([&] { return sound->calls.contains("play main"); }));
        view.replay(1);
        QVERIFY(say(0, "former"));
        QVERIFY(say(1, "sub"));
        QVERIFY(waitFor([&] { return sound->calls.contains("play sub"); }));
        QCOMPARE(sound->calls.filter("play"), QStringList({"play main", "play sub"}));
        view.playStop(true);
        QVERIFY(say(1, "late"));
        QCOMPARE(sound->calls.filter("play").size(), 2);
        view.stop(false);
        // A host's own call is played.
        view.playAudio("host");
        QVERIFY(waitFor([&] { return sound->calls.contains("play host"); }));
    }
};

QTEST_MAIN(TestLiveWidgetShow)
#include "tst_livewidgetshow.moc"
