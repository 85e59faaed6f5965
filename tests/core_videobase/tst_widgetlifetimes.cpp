// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// A standard video widget, its threads and its host that start, stop and go in any order, while the
// threads emit.
#include "support/loggedtest.h"
#include "videowidgetfakes.h"

#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

using namespace videowidgetfakes;
using vantratest::waitFor;

namespace {

/// Emits whatever a stream may emit, over and over, until it is told to stop.
void emitEverything(FakeThread *thread)
{
    QByteArray memory(64, '\7');
    while (!thread->isStopAsked()) {
        emitRound(thread, &memory);
        emit thread->receivePosition(1);
        emit thread->sig_otherError();
        emit thread->sig_decoderDestroyed();
    }
    emit thread->receivePlayFinsh(thread);
}

} // namespace

class tst_WidgetLifetimes : public vantratest::LoggedTest
{
    Q_OBJECT

private slots:
    // --- Quick changes ---------------------------------------------------------------------------

    void restart_atOnce_playsTheNewThreadOnly()
    {
        PlayWidget widget;
        QVERIFY(widget.showAndRun());
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
        QVERIFY(widget.showAndRun());
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

    // --- Ends of objects -------------------------------------------------------------------------

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

QTEST_MAIN(tst_WidgetLifetimes)
#include "tst_widgetlifetimes.moc"
