// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// How a standard video widget is connected to the thread it plays: what is connected, who waits for
// whom, and what reaches the overrides of a subclass.
#include "streamsignals.h"
#include "support/loggedtest.h"
#include "support/pixels.h"
#include "videowidgetfakes.h"

#include <QSignalSpy>
#include <QtTest>

using namespace videowidgetfakes;
using vantratest::waitFor;

namespace {

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

} // namespace

class tst_StreamConnections : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
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
};

QTEST_MAIN(tst_StreamConnections)
#include "tst_streamconnections.moc"
