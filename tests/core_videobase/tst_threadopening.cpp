// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// How a loop of a stream thread waits between opens, and what makes it open anew.

#include "loopthread.h"
#include "support/waitfor.h"

#include <QSignalSpy>
#include <QtTest>

using namespace vantratest;

namespace {

/// A host's own class of that name.
class VideoWidget : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(VideoWidget)

public:
    explicit VideoWidget(QObject *parent = nullptr) : QObject(parent) {}
    int stops = 0;

public slots:
    void stop() { ++stops; }
};

} // namespace

class TestThreadOpening : public QObject
{
    Q_OBJECT

private slots:
    void checkOpen_doesNotSleep_belowOneStep();
    void checkOpen_passesAtOnce_whenOpen();
    void checkOpen_isCutShort_byStop();
    void checkOpen_latchesWhetherTheSourceHasOpened();
    void stop2_reopens_whenItMay();
    void stop2_asksTheNextVideoWidget_otherwise();
    void resetSession_onlyAfterAnOpen();
};

void TestThreadOpening::checkOpen_doesNotSleep_belowOneStep()
{
    // With any pause the rounds would outlast the limit of this test many times over.
    LoopThread thread;
    for (const int sleep : {99, 0, -1, -500}) {
        thread.setOpenSleepTime(sleep);
        for (int i = 0; i < 2000; ++i)
            QVERIFY(!thread.checkOpen());
    }
}

void TestThreadOpening::checkOpen_passesAtOnce_whenOpen()
{
    LoopThread thread;
    thread.isOk = true;
    for (int i = 0; i < 2000; ++i)
        QVERIFY(thread.checkOpen());
}

void TestThreadOpening::checkOpen_isCutShort_byStop()
{
    LoopThread thread;
    thread.setOpenSleepTime(24 * 3600 * 1000);
    thread.opening = true;
    thread.play();
    waitBlind([&] { return thread.emitting.load(); });
    thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
}

void TestThreadOpening::checkOpen_latchesWhetherTheSourceHasOpened()
{
    LoopThread thread;
    thread.setOpenSleepTime(0);
    for (const bool stopped : {false, true}) {
        thread.stopped = stopped;
        thread.isOk = true;
        QVERIFY(thread.checkOpen());
        QVERIFY(thread.playedOnce);
        thread.isOk = false;
        QVERIFY(!thread.checkOpen());
        QVERIFY(!thread.playedOnce);
    }
}

void TestThreadOpening::stop2_reopens_whenItMay()
{
    VideoWidget host;
    auto *thread = new LoopThread(&host);
    thread->setReadTimeout(1);
    thread->play();
    thread->isOk = true;
    thread->stop2();
    QVERIFY(!thread->isOk);
    QVERIFY(!thread->stopped);
    QCOMPARE(host.stops, 0);
    // Any condition that fails leads to the other way.
    thread->stop2(); // not open
    QCOMPARE(host.stops, 1);
    thread->isOk = true;
    thread->setReadTimeout(0);
    thread->stop2();
    QCOMPARE(host.stops, 2);
    QVERIFY(thread->isOk);
}

void TestThreadOpening::stop2_asksTheNextVideoWidget_otherwise()
{
    VideoWidget far;
    VideoWidget near(&far);
    QObject between(&near);
    LoopThread thread(&between);
    thread.isOk = true;
    thread.setReadTimeout(1);
    thread.stop2(); // not running
    QCOMPARE(near.stops, 1);
    QCOMPARE(far.stops, 0);
    QVERIFY(thread.isOk);
    LoopThread orphan;
    orphan.stop2();
    QObject stranger;
    LoopThread other(&stranger);
    other.stop2();
    QCOMPARE(near.stops, 1);
}

void TestThreadOpening::resetSession_onlyAfterAnOpen()
{
    LoopThread thread;
    QSignalSpy spy(&thread, &LoopThread::receivePlayFinsh);
    const auto spoil = [&] {
        thread.setPosition(5);
        thread.videoWidth = thread.videoHeight = thread.rotate = thread.errorCount = 5;
        thread.setSnapName(QStringLiteral("a"));
        thread.stopped = thread.isOk = thread.isPause = thread.isSnap = true;
    };
    spoil();
    thread.resetSession();
    QCOMPARE(spy.count(), 0);
    QVERIFY(thread.stopped && thread.isOk && thread.videoWidth == 5);

    spoil();
    thread.playedOnce = true;
    // By the time that it is told, everything is reset.
    bool clean = false;
    connect(&thread, &LoopThread::receivePlayFinsh, this, [&] {
        clean = !thread.playedOnce && thread.getPosition() == 0 && thread.getDuration() == 0 &&
                thread.videoWidth == 0 && thread.videoHeight == 0 && thread.rotate == 0 &&
                thread.errorCount == 0 && thread.getSnapName().isEmpty() && !thread.stopped &&
                !thread.isOk && !thread.isPause && !thread.isSnap;
    });
    thread.resetSession();
    QVERIFY(clean);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<QObject *>(), &thread);
}

QTEST_MAIN(TestThreadOpening)
#include "tst_threadopening.moc"
