// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "streamsignals.h"
#include "support/loggedtest.h"
#include "videowidgetfakes.h"

#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

using namespace videowidgetfakes;
using vantratest::waitFor;

namespace {

const QString kCreateFail = QStringLiteral("(stdvwgt)create video thread fail");

} // namespace

class tst_StandardVideoWidget : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    void signal_isTheOnlyOneOfItsOwn()
    {
        const QMetaObject &meta = StandardVideoWidget::staticMetaObject;
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        QCOMPARE(meta.method(meta.methodOffset()).methodSignature(),
                 QByteArray("receivePosition(qlonglong)"));
    }

    // --- Start -----------------------------------------------------------------------------------

    void start_doesItsStepsInOrder()
    {
        PlayWidget widget;
        widget.setVideoMode(VideoMode_Painter);
        widget.osdWidget->stackUnder(widget.hwndWidget);
        bool ordered = false;
        bool unconnected = false;
        int previews = 0;
        int startedFlag = -1;
        widget.onCall = [&](const QString &call) {
            const QObjectList &layers = widget.children();
            if (call == QLatin1String("createVideoThread"))
                ordered = layers.indexOf(widget.hwndWidget) < layers.indexOf(widget.osdWidget);
            if (call == QLatin1String("startAudioThread")) {
                unconnected = !widget.thread()->connectsTo(SIGNAL(started()));
                previews = widget.thread()->previewRef();
                startedFlag = widget.isStart;
            }
        };
        QVERIFY(widget.start());
        QVERIFY(ordered);
        QVERIFY(!unconnected);
        QCOMPARE(previews, 1);
        QCOMPARE(startedFlag, 0);
        QCOMPARE(int(widget.isStart), 1);
        QCOMPARE(widget.calls, QStringList({QStringLiteral("createVideoThread"),
                                            QStringLiteral("startAudioThread")}));
        QVERIFY(widget.audioThread);
        QVERIFY(!widget.getIsRunning()); // the report is queued
        QVERIFY(waitFor([&] { return widget.getIsRunning(); }));
        QVERIFY(widget.thread()->isRunning());
        widget.stop();
    }

    void start_duringPlay_isTrueAndDoesNothing()
    {
        PlayWidget widget;
        QVERIFY(widget.start());
        const QPointer<AbstractVideoThread> thread = widget.videoThread;
        widget.calls.clear();
        QVERIFY(widget.start());
        QVERIFY(widget.calls.isEmpty());
        QCOMPARE(widget.videoThread.data(), thread.data());
        QCOMPARE(int(thread->previewRef()), 1);
        widget.stop();
    }

    void start_withoutAThread_isAnErrorInTheLog()
    {
        PlayWidget widget;
        widget.canCreate = false;
        log->expect(Logger::Error, kCreateFail);
        QVERIFY(!widget.start());
        QCOMPARE(log->count(Logger::Error, kCreateFail), 1);
        QCOMPARE(log->lines().constLast().category, QStringLiteral("vantra"));
        QVERIFY(log->lines().constLast().file.endsWith(
            QLatin1String("core_videobase/standardvideowidget.cpp")));
        QCOMPARE(int(widget.isStart), 0);
        QVERIFY(!widget.audioThread);
        QCOMPARE(widget.calls, QStringList(QStringLiteral("createVideoThread")));

        widget.canCreate = true;
        QVERIFY(widget.startAndRun());
        widget.stop();
    }

    void start_forgetsTheThreadsThatHaveEnded_andDeletesNone()
    {
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        FakeThread *ended = widget.thread();
        widget.stop();
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
        QVERIFY(widget.startAndRun());
        FakeThread *deaf = widget.thread();
        QVERIFY(deaf != ended);
        QVERIFY(widget.stoppedThreads.isEmpty());
        QVERIFY(widget.children().contains(ended));
        deaf->deafToStop = true;
        widget.stop();
        QVERIFY(widget.startAndRun());
        QCOMPARE(widget.stoppedThreads.size(), 1);
        QCOMPARE(widget.stoppedThreads.first().data(), deaf);
        deaf->deafToStop = false;
        QVERIFY(waitFor([&] { return deaf->isFinished(); }));
        auto *gone = new FakeThread;
        widget.stoppedThreads.append(gone);
        delete gone; // by somebody else
        widget.removeStoppedVideoThreads();
        QVERIFY(widget.stoppedThreads.isEmpty());
        QVERIFY(widget.children().contains(deaf));
        widget.stop();
    }

    // --- Stop ------------------------------------------------------------------------------------

    void stop_doesItsStepsInOrder()
    {
        class ClearedSurface : public FakeD3D9
        {
        public:
            using FakeD3D9::FakeD3D9;
            void clear() override
            {
                if (onClear)
                    onClear();
            }
            std::function<void()> onClear;
        };
        PlayWidget widget;
        widget.setVideoMode(VideoMode_Painter);
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        QVERIFY(thread->call([thread] { emit thread->receivePlayStart(0); }));
        widget.videoWidth = 10;
        widget.appendOsd(OsdInfo());
        widget.calls.clear();
        thread->calls.clear();

        QStringList steps;
        const auto state = [&] {
            QStringList words;
            if (receiversOf(*thread, kStreamSignals) == each(kStreamSignals, 0))
                words << QStringLiteral("streamOff");
            if (receiversOf(*thread, kBaseSignals) == each(kBaseSignals, 0))
                words << QStringLiteral("baseOff");
            if (thread->calls.contains(QStringLiteral("stop")))
                words << QStringLiteral("told");
            if (widget.isStart == 0)
                words << QStringLiteral("idle");
            if (widget.videoWidth == 0 && widget.osdList.items().isEmpty())
                words << QStringLiteral("cleared");
            if (!widget.osdTimer->isActive())
                words << QStringLiteral("baseClass");
            return words.join(QLatin1Char(' '));
        };
        auto *surface = new ClearedSurface(widget.hwndWidget);
        surface->onClear = [&] { steps << QStringLiteral("clear: ") + state(); };
        widget.nv12D3D9Widget = surface;
        widget.onCall = [&](const QString &call) {
            steps << call + QStringLiteral(": ") + state();
            if (call == QLatin1String("stopAudioThread"))
                widget.zoom.on = true;
        };
        connect(&widget, &AbstractVideoWidget::sig_receivePlayFinsh,
                [&] { steps << QStringLiteral("signal: ") + state(); });
        widget.stop();
        QCOMPARE(
            steps,
            QStringList({QStringLiteral("receivePlayFinsh: "),
                         QStringLiteral("releaseVideoThread: streamOff baseOff"),
                         QStringLiteral("clear: streamOff baseOff told idle cleared"), // the widget
                         QStringLiteral("clear: streamOff baseOff told idle cleared baseClass"),
                         QStringLiteral("signal: streamOff baseOff told idle cleared baseClass"),
                         QStringLiteral(
                             "stopAudioThread: streamOff baseOff told idle cleared baseClass")}));
        QVERIFY(!widget.isDigitalZoom()); // the last step
        QVERIFY(!widget.videoThread);
        QCOMPARE(int(thread->previewRef()), 0);
        QVERIFY(widget.stoppedThreads.contains(thread));
        QVERIFY(widget.audioThread);
    }

    void stop_whenIdle_doesNothing()
    {
        PlayWidget widget;
        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        widget.stop();
        QVERIFY(widget.calls.isEmpty());
        QCOMPARE(ends.count(), 0);
    }

    void isRunning_lastsUntilTheThreadHasEnded()
    {
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        thread->deafToStop = true;
        widget.stop();
        QVERIFY(settle());
        QVERIFY(widget.getIsRunning());
        thread->deafToStop = false;
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
        QCOMPARE(widget.calls.last(), QStringLiteral("finished"));
    }

    void nothingOfAFrame_arrivesAfterStop()
    {
        static quint8 pixel = 0;
        PlayWidget widget;
        QSignalSpy snap(&widget, &AbstractVideoWidget::snapImage);
        QSignalSpy exceed(&widget, &AbstractVideoWidget::sig_connExceedMax);
        QSignalSpy error(&widget, &AbstractVideoWidget::sig_otherError);
        QSignalSpy position(&widget, &StandardVideoWidget::receivePosition);
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        thread->deafToStop = true;
        widget.stop();
        widget.calls.clear();
        widget.zoom.sourceRect = QRectF();
        // Nobody serves the event loop: what blocked would never return.
        QVERIFY(thread->callWithoutEvents([thread] {
            emit thread->sig_updateCodecRender(QStringLiteral("H264"), 2, 2);
            emit thread->receivePlayStart(0);
            emit thread->receiveRenderStart();
            emit thread->receiveFrame(2, 2, &pixel, &pixel, &pixel, 2u, 1u, 1u);
            emit thread->receiveFrame(2, 2, &pixel, &pixel, 2u, 2u);
            emit thread->receiveFrame(2, 2, &pixel, false);
            emit thread->receiveFrame(2, 2, &pixel, 0, false);
            emit thread->receiveImage(colouredImage(2, 2, Qt::red), 0);
            emit thread->snapImage(QImage(), QString());
            emit thread->receiveAudioFormat(8000, 1, 16);
            emit thread->receiveAudio(QByteArray());
            emit thread->sig_decoderDestroyed();
            emit thread->receivePlayFinsh(thread);
            emit thread->sig_connExceedMax(); // these still reach the host
            emit thread->sig_otherError();
            emit thread->receivePosition(5);
        }));
        thread->deafToStop = false;
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
        QCOMPARE(widget.calls, QStringList(QStringLiteral("finished")));
        QCOMPARE(snap.count(), 0);
        QVERIFY(widget.zoom.sourceRect.isNull());
        QCOMPARE(exceed.count(), 1);
        QCOMPARE(error.count(), 1);
        QCOMPARE(position.count(), 1);
    }

    void image_thatWaitsInTheQueueAtStop_isDropped()
    {
        PlayWidget widget;
        QVERIFY(widget.showAndRun());
        FakeThread *thread = widget.thread();
        thread->deafToStop = true;
        QVERIFY(thread->callWithoutEvents(
            [thread] { emit thread->receiveImage(colouredImage(2, 2, Qt::red), 0); }));
        widget.stop();
        widget.calls.clear();
        QVERIFY(waitFor([&] { return widget.calls.contains(QStringLiteral("receiveImage")); }));
        QVERIFY(widget.image.isNull());
    }

    void threadThatEndsByItself_makesALaterStopANoOp()
    {
        PlayWidget widget;
        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        thread->post([thread] { emit thread->receivePlayFinsh(thread); });
        thread->end();
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
        QCOMPARE(int(widget.isStart), 0);
        QVERIFY(!widget.videoThread);
        QCOMPARE(ends.count(), 1);
        widget.calls.clear();
        widget.stop();
        QVERIFY(widget.calls.isEmpty());
        QCOMPARE(ends.count(), 1);
    }

    void threadThatEndsWithoutHavingPlayed_canBeStopped()
    {
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        widget.thread()->end();
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
        QCOMPARE(int(widget.isStart), 1); // nothing has reported the end of play
        widget.stop();
        QCOMPARE(int(widget.isStart), 0);
    }

    void close_duringPlay_stopsBeforeTheBaseClassCloses()
    {
        PlayWidget widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.startAndRun());
        const QPointer<QObject> preview(new QObject);
        widget.snapPreview = preview;
        widget.calls.clear();
        widget.onCall = [&](const QString &call) {
            if (call == QLatin1String("stopAudioThread"))
                widget.osdTimer->start(); // for the base class to stop, if it comes later
        };
        QVERIFY(widget.close());
        QCOMPARE(
            widget.calls,
            QStringList({QStringLiteral("closeEvent"), QStringLiteral("receivePlayFinsh"),
                         QStringLiteral("releaseVideoThread"), QStringLiteral("stopAudioThread")}));
        QVERIFY(!widget.osdTimer->isActive());
        QVERIFY(waitFor([&] { return !preview; }));
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
        widget.closeEvent(nullptr);
    }

    // --- Controls --------------------------------------------------------------------------------

    void controls_reachTheThread()
    {
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        thread->calls.clear();
        widget.pause();
        widget.resume();
        QCOMPARE(thread->calls, QStringList({QStringLiteral("pause"), QStringLiteral("next")}));
        thread->calls.clear();
        const QDateTime time(QDate(2024, 2, 29), QTime(1, 2, 3));
        widget.seekFile(time);
        widget.setSpeed(0.5);
        QVERIFY(thread->calls.isEmpty()); // queued
        QCoreApplication::sendPostedEvents(thread, QEvent::MetaCall);
        QCOMPARE(thread->calls, QStringList({QStringLiteral("seekFile 2024-02-29T01:02:03"),
                                             QStringLiteral("setSpeed 0.5")}));
        widget.stop();
    }

    void seekAndSpeed_needARunningThread_andTheOthersAnyThread()
    {
        PlayWidget widget;
        widget.pause();
        widget.resume();
        widget.seekFile(QDateTime::currentDateTime());
        widget.setSpeed(2);
        FakeThread thread;
        widget.videoThread = &thread;
        widget.seekFile(QDateTime::currentDateTime());
        widget.setSpeed(2);
        widget.pause();
        widget.resume();
        QCoreApplication::sendPostedEvents(&thread, QEvent::MetaCall);
        QCOMPARE(thread.calls, QStringList({QStringLiteral("pause"), QStringLiteral("next")}));
    }
};

QTEST_MAIN(tst_StandardVideoWidget)
#include "tst_standardvideowidget.moc"
