// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/logcapture.h"
#include "support/pixels.h"
#include "videowidgetfakes.h"

#include <QCloseEvent>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

using namespace videowidgetfakes;
using vantratest::waitFor;

namespace {

const QString kCreateFail = QStringLiteral("(stdvwgt)create video thread fail");

// Signals of a thread, as texts that name them.
const QList<QByteArray> kStreamSignals{
    SIGNAL(receiveImage(QImage, int)),
    SIGNAL(snapImage(QImage, QString)),
    SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32)),
    SIGNAL(receiveFrame(int, int, quint8 *, quint8 *, quint32, quint32)),
    SIGNAL(receiveFrame(int, int, quint8 *, bool)),
    SIGNAL(receiveFrame(int, int, quint8 *, qint32, bool)),
    SIGNAL(receiveSizeChanged()),
    SIGNAL(sig_updateCodecRender(QString, int, int)),
    SIGNAL(receiveRenderStart()),
};
const QList<QByteArray> kBaseSignals{
    SIGNAL(started()),
    SIGNAL(receivePlayStart(int)),
    SIGNAL(receivePlayFinsh(QObject *)),
    SIGNAL(sig_decoderDestroyed()),
};
const QList<QByteArray> kKeptSignals{
    SIGNAL(finished()),
    SIGNAL(sig_connExceedMax()),
    SIGNAL(sig_otherError()),
    SIGNAL(receivePosition(qint64)),
};
const QList<QByteArray> kAudioSignals{
    SIGNAL(receiveAudioFormat(int, int, int)),
    SIGNAL(receiveAudio(QByteArray)),
};

QList<int> receiversOf(const FakeThread &thread, const QList<QByteArray> &signalTexts)
{
    QList<int> counts;
    for (const QByteArray &text : signalTexts)
        counts << thread.receiverCount(QMetaObject::normalizedSignature(text).constData());
    return counts;
}

QList<int> each(const QList<QByteArray> &signalTexts, int count)
{
    QList<int> counts;
    for (int i = 0; i < signalTexts.size(); ++i)
        counts << count;
    return counts;
}

struct Emission
{
    std::function<void(FakeThread *)> emitIt;
    std::function<void(PlayWidget &)> prepare;    // on the GUI thread
    std::function<bool(const PlayWidget &)> seen; // the slot has done its work
};

Emission byCall(const QString &call, const std::function<void(FakeThread *)> &emitIt)
{
    return {emitIt, [](PlayWidget &widget) { widget.calls.clear(); },
            [call](const PlayWidget &widget) { return widget.calls.contains(call); }};
}

Emission byImageGone(const std::function<void(FakeThread *)> &emitIt)
{
    return {emitIt, [](PlayWidget &widget) { widget.image = colouredImage(2, 2, Qt::red); },
            [](const PlayWidget &widget) { return widget.image.isNull(); }};
}

QMap<QByteArray, Emission> blockingEmissions()
{
    static quint8 pixel = 0;
    QMap<QByteArray, Emission> all;
    all["receivePlayStart"] = byCall(QStringLiteral("receivePlayStart"),
                                     [](FakeThread *t) { emit t->receivePlayStart(0); });
    all["planar"] = byCall(QStringLiteral("planar"), [](FakeThread *t) {
        emit t->receiveFrame(2, 2, &pixel, &pixel, &pixel, 2u, 1u, 1u);
    });
    all["nv12"] = byCall(QStringLiteral("nv12"),
                         [](FakeThread *t) { emit t->receiveFrame(2, 2, &pixel, &pixel, 2u, 2u); });
    all["d3d9"] = byCall(QStringLiteral("d3d9"),
                         [](FakeThread *t) { emit t->receiveFrame(2, 2, &pixel, false); });
    all["d3d11"] = byCall(QStringLiteral("d3d11"),
                          [](FakeThread *t) { emit t->receiveFrame(2, 2, &pixel, 0, false); });
    all["decoderDestroyed"] = byImageGone([](FakeThread *t) { emit t->sig_decoderDestroyed(); });
    all["renderStart"] = byImageGone([](FakeThread *t) { emit t->receiveRenderStart(); });
    all["updateCodecRender"] = {
        [](FakeThread *t) { emit t->sig_updateCodecRender(QStringLiteral("H264"), 8, 4); },
        [](PlayWidget &widget) { widget.zoom.sourceRect = QRectF(); },
        [](const PlayWidget &widget) { return widget.zoom.sourceRect == QRectF(0, 0, 8, 4); }};
    return all;
}

// Emits whatever a stream may emit, over and over, until it is told to stop.
void emitEverything(FakeThread *thread)
{
    QByteArray memory(64, '\7');
    auto *pixel = reinterpret_cast<quint8 *>(memory.data());
    while (!thread->isStopAsked()) {
        emit thread->sig_updateCodecRender(QStringLiteral("H265"), 4, 4);
        emit thread->receivePlayStart(0);
        emit thread->receiveRenderStart();
        emit thread->receiveFrame(4, 4, pixel, pixel, pixel, 4u, 2u, 2u);
        emit thread->receiveFrame(4, 4, pixel, pixel, 4u, 4u);
        emit thread->receiveFrame(4, 4, pixel, false);
        emit thread->receiveFrame(4, 4, pixel, 0, false);
        emit thread->receiveImage(QImage(4, 4, QImage::Format_RGB32), 0);
        emit thread->snapImage(QImage(), QString());
        emit thread->receiveSizeChanged();
        emit thread->receiveAudio(memory);
        emit thread->receivePosition(1);
        emit thread->sig_otherError();
        emit thread->sig_decoderDestroyed();
    }
    emit thread->receivePlayFinsh(thread);
}

} // namespace

class tst_StandardVideoWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<vantratest::LogCapture> log;

private slots:
    void init() { log = std::make_unique<vantratest::LogCapture>(); }
    void cleanup()
    {
        QCOMPARE(log->unexpected(), QStringList());
        log.reset();
    }

    void signal_isTheOnlyOneOfItsOwn()
    {
        const QMetaObject &meta = StandardVideoWidget::staticMetaObject;
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        QCOMPARE(meta.method(meta.methodOffset()).methodSignature(),
                 QByteArray("receivePosition(qlonglong)"));
    }

    // --- Start ----------------------------------------------------------------------------------

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

    // --- Connections ----------------------------------------------------------------------------

    void connections_areMadeOnce_butForTheSize()
    {
        PlayWidget widget;
        FakeThread thread;
        widget.videoThread = &thread;
        widget.connectBaseSignalSlots();
        widget.connectStreamSignalSlots();
        QCOMPARE(receiversOf(thread, kBaseSignals), each(kBaseSignals, 1));
        QCOMPARE(receiversOf(thread, kKeptSignals), each(kKeptSignals, 1));
        QCOMPARE(receiversOf(thread, kAudioSignals), each(kAudioSignals, 1));
        QCOMPARE(receiversOf(thread, kStreamSignals), each(kStreamSignals, 1));
        widget.connectBaseSignalSlots();
        widget.connectStreamSignalSlots();
        QCOMPARE(receiversOf(thread, kBaseSignals), each(kBaseSignals, 1));
        QCOMPARE(receiversOf(thread, kKeptSignals), each(kKeptSignals, 1));
        QCOMPARE(receiversOf(thread, kAudioSignals), each(kAudioSignals, 1));
        QList<int> twice = each(kStreamSignals, 1);
        twice[kStreamSignals.indexOf(SIGNAL(receiveSizeChanged()))] = 2;
        QCOMPARE(receiversOf(thread, kStreamSignals), twice);

        widget.disconnectStreamSignalSlots();
        QCOMPARE(receiversOf(thread, kStreamSignals), each(kStreamSignals, 0));
        QCOMPARE(receiversOf(thread, kBaseSignals), each(kBaseSignals, 1));
    }

    void disconnectBase_leavesTheEndTheErrorsAndThePosition()
    {
        PlayWidget widget;
        FakeThread thread;
        widget.videoThread = &thread;
        widget.connectBaseSignalSlots();
        widget.connectStreamSignalSlots();
        widget.disconnectBaseSignalSlots();
        QCOMPARE(receiversOf(thread, kBaseSignals), each(kBaseSignals, 0));
        QCOMPARE(receiversOf(thread, kAudioSignals), each(kAudioSignals, 0));
        QCOMPARE(receiversOf(thread, kKeptSignals), each(kKeptSignals, 1));
        QCOMPARE(receiversOf(thread, kStreamSignals), each(kStreamSignals, 1));
    }

    void disconnecting_leavesOtherReceiversAlone()
    {
        PlayWidget widget;
        FakeThread thread;
        QSignalSpy images(&thread, &AbstractVideoThread::receiveImage);
        QSignalSpy starts(&thread, &AbstractVideoThread::receivePlayStart);
        widget.videoThread = &thread;
        widget.connectBaseSignalSlots();
        widget.connectStreamSignalSlots();
        widget.disconnectStreamSignalSlots();
        widget.disconnectBaseSignalSlots();
        emit thread.receiveImage(QImage(), 0);
        emit thread.receivePlayStart(0);
        QCOMPARE(images.count(), 1);
        QCOMPARE(starts.count(), 1);
    }

    void connecting_withoutAThread_doesNothing()
    {
        const vantratest::QtWarnings warnings;
        PlayWidget widget;
        widget.connectBaseSignalSlots();
        widget.connectStreamSignalSlots();
        widget.disconnectBaseSignalSlots();
        widget.disconnectStreamSignalSlots();
        QCOMPARE(warnings.lines(), QStringList());
    }

    void sound_isNotConnected_withoutStreamControl()
    {
        PlayWidget widget;
        FakeThread thread;
        widget.videoThread = &thread;
        widget.noStreamControl = true;
        widget.connectBaseSignalSlots();
        QCOMPARE(receiversOf(thread, kAudioSignals), each(kAudioSignals, 0));
        QCOMPARE(receiversOf(thread, kBaseSignals), each(kBaseSignals, 1));

        widget.noStreamControl = false;
        widget.connectBaseSignalSlots();
        widget.noStreamControl = true;
        widget.disconnectBaseSignalSlots(); // leaves what it would not have made
        QCOMPARE(receiversOf(thread, kAudioSignals), each(kAudioSignals, 1));
        QCOMPARE(receiversOf(thread, kBaseSignals), each(kBaseSignals, 0));
    }

    void blockingSignal_holdsTheThread_untilTheSlotHasReturned_data()
    {
        QTest::addColumn<QByteArray>("name");
        const QList<QByteArray> names = blockingEmissions().keys();
        for (const QByteArray &name : names)
            QTest::newRow(name.constData()) << name;
    }
    void blockingSignal_holdsTheThread_untilTheSlotHasReturned()
    {
        QFETCH(QByteArray, name);
        const Emission emission = blockingEmissions().value(name);
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        for (int round = 0; round < 50; ++round) {
            emission.prepare(widget);
            QVERIFY(!emission.seen(widget));
            bool seen = false;
            QVERIFY(thread->call([&] {
                emission.emitIt(thread);
                seen = emission.seen(widget); // the first thing after the emit
            }));
            QVERIFY(seen);
        }
        widget.stop();
    }

    void receivePlayFinsh_ofTheThread_holdsIt_untilTheWidgetHasStopped()
    {
        PlayWidget widget;
        for (int round = 0; round < 20; ++round) {
            QVERIFY(widget.startAndRun());
            FakeThread *thread = widget.thread();
            int started = -1;
            QVERIFY(thread->call([&] {
                emit thread->receivePlayFinsh(thread);
                started = widget.isStart;
            }));
            QCOMPARE(started, 0);
            QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
        }
    }

    void queuedSignals_doNotHoldTheThread()
    {
        PlayWidget widget;
        QSignalSpy position(&widget, &StandardVideoWidget::receivePosition);
        QSignalSpy exceed(&widget, &AbstractVideoWidget::sig_connExceedMax);
        QSignalSpy error(&widget, &AbstractVideoWidget::sig_otherError);
        QSignalSpy snap(&widget, &AbstractVideoWidget::snapImage);
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        thread->setPicture(11, 12, 0, false);
        widget.calls.clear();
        QVERIFY(thread->callWithoutEvents([thread] {
            emit thread->receivePosition(77);
            emit thread->sig_connExceedMax();
            emit thread->sig_otherError();
            emit thread->receiveAudioFormat(8000, 1, 16);
            emit thread->receiveAudio(QByteArray("pcm"));
            emit thread->receiveImage(colouredImage(2, 2, Qt::red), 0);
            emit thread->snapImage(colouredImage(3, 3, Qt::red), QStringLiteral("a.jpg"));
            emit thread->receiveSizeChanged();
        }));
        QVERIFY(widget.calls.isEmpty());
        QCOMPARE(position.count() + exceed.count() + error.count() + snap.count(), 0);
        QVERIFY(waitFor([&] { return widget.videoWidth == 11; })); // the last one of all
        QCOMPARE(widget.calls,
                 QStringList({QStringLiteral("openAudioOutput"), QStringLiteral("playAudio"),
                              QStringLiteral("receiveImage")}));
        QCOMPARE(position.count(), 1);
        QCOMPARE(position.first().first().toLongLong(), 77);
        QCOMPARE(exceed.count(), 1);
        QCOMPARE(error.count(), 1);
        QCOMPARE(snap.count(), 1);
        QCOMPARE(snap.first().at(0).value<QImage>().width(), 3);
        QCOMPARE(snap.first().at(1).toString(), QStringLiteral("a.jpg"));
        widget.stop();
    }

    void overrides_ofASubclass_areReached()
    {
        static quint8 pixel = 0;
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        FakeThread *thread = widget.thread();
        QVERIFY(thread->call([thread] {
            emit thread->receivePlayStart(0);
            emit thread->receiveFrame(2, 2, &pixel, &pixel, &pixel, 2u, 1u, 1u);
            emit thread->receiveFrame(2, 2, &pixel, &pixel, 2u, 2u);
            emit thread->receiveFrame(2, 2, &pixel, false);
            emit thread->receiveFrame(2, 2, &pixel, 0, false);
            emit thread->receiveAudioFormat(8000, 1, 16);
            emit thread->receiveAudio(QByteArray());
            emit thread->receiveImage(QImage(), 0);
            emit thread->receivePlayFinsh(thread);
        }));
        QVERIFY(waitFor([&] { return widget.calls.contains(QStringLiteral("finished")); }));
        for (const char *call :
             {"started", "receivePlayStart", "planar", "nv12", "d3d9", "d3d11", "openAudioOutput",
              "playAudio", "receiveImage", "receivePlayFinsh", "finished"})
            QCOMPARE(widget.calls.count(QLatin1String(call)), 1);
    }

    void receivePlayStart_tellsTheHost_afterTheBaseClass()
    {
        PlayWidget widget;
        QSignalSpy starts(&widget, &AbstractVideoWidget::sig_receivePlayStart);
        bool timerRan = false;
        connect(&widget, &AbstractVideoWidget::sig_receivePlayStart,
                [&] { timerRan = widget.osdTimer->isActive(); });
        widget.receivePlayStart(9);
        QCOMPARE(starts.count(), 1);
        QCOMPARE(starts.first().first().toInt(), 9);
        QVERIFY(timerRan);
    }

    // --- Stop -----------------------------------------------------------------------------------

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
        widget.setVideoMode(VideoMode_Painter);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.startAndRun());
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

    // --- Quick changes --------------------------------------------------------------------------

    void restart_atOnce_playsTheNewThreadOnly()
    {
        PlayWidget widget;
        widget.setVideoMode(VideoMode_Painter);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.startAndRun());
        FakeThread *first = widget.thread();
        first->deafToStop = true;
        QVERIFY(first->callWithoutEvents(
            [first] { emit first->receiveImage(colouredImage(2, 2, Qt::red), 0); }));
        widget.stop();
        QVERIFY(widget.start());
        FakeThread *second = widget.thread();
        QVERIFY(second != first);
        QCOMPARE(widget.stoppedThreads.size(), 1);
        QCOMPARE(widget.stoppedThreads.first().data(), first);

        // The picture of the first was in the queue; that of the second comes behind it.
        QVERIFY(second->call(
            [second] { emit second->receiveImage(colouredImage(3, 3, Qt::blue), 0); }));
        QVERIFY(waitFor([&] { return widget.calls.count(QStringLiteral("receiveImage")) == 2; }));
        QCOMPARE(widget.image.size(), QSize(3, 3));
        first->deafToStop = false;
        QVERIFY(waitFor([&] { return first->isFinished(); }));
        widget.stop();
    }

    void lateEndOfAStoppedThread_doesNotEndTheNextPlay()
    {
        PlayWidget widget;
        widget.setVideoMode(VideoMode_Painter);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.startAndRun());
        FakeThread *first = widget.thread();
        first->deafToStop = true;
        widget.stop();
        QVERIFY(widget.start());
        FakeThread *second = widget.thread();
        QVERIFY(second->call([] {}));
        first->deafToStop = false;
        QVERIFY(waitFor([&] { return widget.calls.contains(QStringLiteral("finished")); }));
        QVERIFY(widget.getIsRunning());
        QVERIFY(second->call(
            [second] { emit second->receiveImage(colouredImage(3, 3, Qt::blue), 0); }));
        QVERIFY(waitFor([&] { return !widget.image.isNull(); }));
        widget.stop();
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
    }

    void lateEndOfAForgottenThread_doesNotEndTheNextPlay()
    {
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        FakeThread *first = widget.thread();
        widget.stop();
        QVERIFY(waitFor([&] { return first->isFinished() && !widget.getIsRunning(); }));
        QVERIFY(widget.startAndRun());
        QVERIFY(widget.stoppedThreads.isEmpty());
        // A thread does not count as running any more a moment before it reports its end.
        QVERIFY(QMetaObject::invokeMethod(first, "finished", Qt::DirectConnection));
        QVERIFY(widget.getIsRunning());
        widget.thread()->end();
        QVERIFY(waitFor([&] { return !widget.getIsRunning(); }));
    }

    void lateReportsOfAStoppedThread_leaveTheNextPlayAlone()
    {
        PlayWidget widget;
        QSignalSpy starts(&widget, &AbstractVideoWidget::sig_receivePlayStart);
        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(widget.startAndRun());
        FakeThread *first = widget.thread();
        first->deafToStop = true;
        widget.stop();
        QCOMPARE(ends.count(), 1);
        // What a thread had posted before it was disconnected arrives as over these connections.
        connect(first, &AbstractVideoThread::receivePlayStart, &widget,
                &PlayWidget::receivePlayStart, Qt::BlockingQueuedConnection);
        connect(first, &AbstractVideoThread::receivePlayFinsh, &widget,
                &PlayWidget::receivePlayFinsh, Qt::BlockingQueuedConnection);
        QVERIFY(widget.startAndRun());
        FakeThread *second = widget.thread();
        QVERIFY(first->call([first] {
            emit first->receivePlayStart(0);
            emit first->receivePlayFinsh(first);
        }));
        QCOMPARE(starts.count(), 0);
        QCOMPARE(ends.count(), 1);
        QCOMPARE(widget.thread(), second);
        QCOMPARE(int(widget.isStart), 1);
        QVERIFY(!widget.osdTimer->isActive());
        widget.stop();
        QCOMPARE(ends.count(), 2);
    }

    void restart_fromTheReportOfTheEnd_keepsItsSound()
    {
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        FakeThread *first = widget.thread();
        connect(&widget, &AbstractVideoWidget::sig_receivePlayFinsh, &widget, [&] {
            disconnect(&widget, &AbstractVideoWidget::sig_receivePlayFinsh, &widget, nullptr);
            QVERIFY(widget.start());
        });
        first->post([first] { emit first->receivePlayFinsh(first); });
        first->end();
        QVERIFY(waitFor([&] { return first->isFinished(); }));
        QVERIFY(widget.thread() && widget.thread() != first);
        QVERIFY(waitFor([&] { return widget.thread()->isRunning() && widget.getIsRunning(); }));
        QCOMPARE(int(widget.isStart), 1);
        QVERIFY(!widget.calls.contains(QStringLiteral("stopAudioThread")));
        widget.stop();
        QVERIFY(widget.calls.contains(QStringLiteral("stopAudioThread")));
    }

    void manyQuickRounds_leaveNoThreadRunning()
    {
        PlayWidget widget;
        for (int round = 0; round < 100; ++round) {
            QVERIFY(widget.start());
            if (round % 3 == 0)
                QVERIFY(waitFor([&] { return widget.getIsRunning(); }));
            widget.thread()->post([thread = widget.thread()] { emitEverything(thread); });
            widget.stop();
        }
        QVERIFY(waitFor([&] {
            widget.removeStoppedVideoThreads();
            return widget.stoppedThreads.isEmpty() && !widget.getIsRunning();
        }));
        QCOMPARE(widget.findChildren<AbstractVideoThread *>().size(), 100);
    }

    // --- Controls -------------------------------------------------------------------------------

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

    // --- Ends of objects ------------------------------------------------------------------------

    void widget_mayGo_whileItsThreadEmits()
    {
        for (int round = 0; round < 30; ++round) {
            auto widget = std::make_unique<PlayWidget>();
            widget->setVideoMode(VideoMode_Painter);
            widget->show();
            QVERIFY(widget->startAndRun());
            const QPointer<FakeThread> thread(widget->thread());
            thread->post([t = thread.data()] { emitEverything(t); });
            const int wanted = round % 5;
            QVERIFY(waitFor([&] { return widget->calls.count(QStringLiteral("nv12")) >= wanted; }));
            widget.reset();
            QVERIFY(!thread);
        }
    }

    void widget_mayGo_whileItsStoppedThreadStillEmits()
    {
        for (int round = 0; round < 10; ++round) {
            auto widget = std::make_unique<PlayWidget>();
            QVERIFY(widget->startAndRun());
            FakeThread *first = widget->thread();
            first->deafToStop = true;
            widget->stop();
            first->post([first] {
                while (first->deafToStop) {
                    emit first->sig_otherError();
                    emit first->receivePosition(1);
                }
            });
            QVERIFY(widget->startAndRun());
            widget->thread()->post([t = widget->thread()] { emitEverything(t); });
            first->deafToStop = false;
            widget.reset();
        }
    }

    void widget_mayGo_inTheReportThatItHasStopped()
    {
        for (const bool closing : {false, true}) {
            auto *widget = new PlayWidget;
            const QPointer<QObject> gone(widget);
            QVERIFY(widget->startAndRun());
            connect(widget, &AbstractVideoWidget::sig_receivePlayFinsh,
                    [widget] { delete widget; });
            if (closing)
                widget->close();
            else
                widget->stop();
            QVERIFY(!gone);
        }
    }

    void widget_mayGo_inTheReportForWhichItsThreadWaits_data()
    {
        QTest::addColumn<bool>("start");
        QTest::addColumn<int>("way");
        for (const bool start : {true, false}) {
            const QByteArray report(start ? "start, " : "end, ");
            QTest::newRow(report + "by itself") << start << 0;
            QTest::newRow(report + "with its window") << start << 1;
            QTest::newRow(report + "later, in an event loop of the report") << start << 2;
            QTest::newRow(report + "by its button, in such a loop") << start << 3;
        }
    }
    void widget_mayGo_inTheReportForWhichItsThreadWaits()
    {
        QFETCH(bool, start);
        QFETCH(int, way);
        for (int round = 0; round < 2; ++round) {
            auto *window = new QWidget;
            auto *widget = new PlayWidget(window);
            const QPointer<QObject> widgetLeft(widget);
            QVERIFY(widget->startAndRun());
            const QPointer<FakeThread> thread(widget->thread());
            QObject *ownerThen = nullptr;
            const auto end = [&] {
                if (way == 0)
                    delete widget;
                if (way == 1)
                    delete window;
                if (way >= 2) {
                    QEventLoop loop;
                    connect(widget, &QObject::destroyed, &loop, &QEventLoop::quit);
                    connect(widget, &AbstractVideoWidget::sig_btnClicked, [&] { delete widget; });
                    if (way == 2)
                        QTimer::singleShot(0, widget, &QObject::deleteLater);
                    else
                        QMetaObject::invokeMethod(widget, "sig_btnClicked", Qt::QueuedConnection,
                                                  Q_ARG(QString, QStringLiteral("close")));
                    loop.exec();
                }
                ownerThen = thread->parent(); // it stands in its emit: it cannot have gone
            };
            bool stopAsked = false;
            if (start) {
                connect(widget, &AbstractVideoWidget::sig_receivePlayStart, end);
                thread->post([t = thread.data(), &stopAsked] {
                    emit t->receivePlayStart(0);
                    stopAsked = t->isStopAsked();
                });
            } else {
                connect(widget, &AbstractVideoWidget::sig_receivePlayFinsh, end);
                thread->post([t = thread.data(), &stopAsked] {
                    emit t->receivePlayFinsh(t);
                    stopAsked = t->isStopAsked();
                });
            }
            QVERIFY(waitFor([&] { return !thread; }));
            QVERIFY(!widgetLeft);
            QVERIFY(stopAsked);
            // Nothing of this library is left to own it, and it may not be left running at exit.
            QCOMPARE(ownerThen, static_cast<QObject *>(QCoreApplication::instance()));
            if (way != 1)
                delete window;
        }
    }

    void widget_mayGo_inAnyQueuedReport_whileItsThreadEmits()
    {
        for (int round = 0; round < 5; ++round) {
            auto *widget = new PlayWidget;
            const QPointer<QObject> widgetLeft(widget);
            QVERIFY(widget->startAndRun());
            // One that has been stopped and one that plays.
            const QPointer<FakeThread> first(widget->thread());
            first->deafToStop = true;
            widget->stop();
            first->post([t = first.data()] {
                while (t->deafToStop)
                    emit t->receivePosition(1);
            });
            QVERIFY(widget->startAndRun());
            const QPointer<FakeThread> second(widget->thread());
            connect(widget, &AbstractVideoWidget::sig_otherError, [widget] { delete widget; });
            second->post([t = second.data()] { emitEverything(t); });
            QVERIFY(waitFor([&] { return !widgetLeft; }));
            QVERIFY(first); // still running, and nobody has waited for it
            first->deafToStop = false;
            QVERIFY(waitFor([&] { return !first && !second; }));
        }
    }

    void widget_thatHasHandledReports_stillTakesItsThreadsAlong()
    {
        auto widget = std::make_unique<PlayWidget>();
        QVERIFY(widget->startAndRun());
        const QPointer<FakeThread> thread(widget->thread());
        QVERIFY(thread->call([t = thread.data()] {
            emit t->receivePlayStart(0);
            emit t->sig_otherError();
        }));
        widget.reset();
        QVERIFY(!thread);
    }

    void widget_mayGo_beforeAThreadThatIsNotItsChild()
    {
        FakeThread thread;
        auto widget = std::make_unique<PlayWidget>();
        widget->videoThread = &thread;
        QVERIFY(widget->startAndRun());
        thread.post([&thread] { emitEverything(&thread); });
        QVERIFY(waitFor([&] { return widget->calls.contains(QStringLiteral("nv12")); }));
        widget.reset();
        thread.AbstractVideoThread::stop();
        QVERIFY(waitFor([&] { return thread.isFinished(); }));
    }

    void thread_mayGo_duringPlay()
    {
        PlayWidget widget;
        QVERIFY(widget.startAndRun());
        widget.thread()->post([t = widget.thread()] { emitEverything(t); });
        QVERIFY(waitFor([&] { return widget.calls.contains(QStringLiteral("nv12")); }));
        delete widget.thread();
        QVERIFY(!widget.videoThread);
        widget.pause();
        widget.resume();
        widget.seekFile(QDateTime());
        widget.setSpeed(1);
        widget.stop();
        widget.resizeEvent(nullptr);
        QVERIFY(widget.startAndRun()); // and it plays again
        QVERIFY(widget.thread()->isRunning());
        widget.stop();
    }
};

QTEST_MAIN(tst_StandardVideoWidget)
#include "tst_standardvideowidget.moc"
