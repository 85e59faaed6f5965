// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The loop of downloads, on a source that follows a script.
#include "core_videobase/abstractvideodlthread.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "devicelink/hframeheader.h"
#include "support/loggedtest.h"
#include "support/metaobject.h"
#include "support/signalrecorder.h"
#include "support/waitfor.h"

#include <QFileInfo>
#include <QPointer>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cstring>
#include <functional>
#include <type_traits>

using namespace vantratest;

namespace {

/// Notes what the loop asks of it. Frames are answered to with `stored`, in order, then with 0.
class Download final : public AbstractVideoDLThread
{
    Q_DISABLE_COPY(Download)

public:
    using AbstractVideoDLThread::beginTime;
    using AbstractVideoDLThread::curPts;
    using AbstractVideoDLThread::endTime;
    using AbstractVideoDLThread::fileStartPts;
    using AbstractVideoDLThread::isStop;
    using AbstractVideoDLThread::lastReportPts;
    using AbstractVideoDLThread::readTimeout;
    using AbstractVideoDLThread::saveAudio;
    using AbstractVideoDLThread::saveDir;
    using AbstractVideoDLThread::saveInterval;
    using AbstractVideoDLThread::savePath;
    using AbstractVideoDLThread::saver;
    using AbstractVideoDLThread::sparePts;
    using AbstractVideoDLThread::timeoutCount;

    Download() = default;
    ~Download() override { stopDL(); }

    bool opens = true;
    std::function<void()> opening;
    bool endIsLost = false;
    bool resetsTimeouts = false;
    QVector<int> answers; ///< of reads; then `last`
    int last = 1;
    QVector<int> stored;
    std::atomic<int> reads{0};

    // Of the download thread, until it has ended.
    QStringList hooks;
    QVector<int> timeouts;
    QVector<HFrameHeader *> buffers;

protected:
    void initOption() override
    {
        hooks << QStringLiteral("initOption");
        AbstractVideoDLThread::initOption();
    }
    void makeSaveSubDir() override
    {
        hooks << QStringLiteral("makeSaveSubDir");
        AbstractVideoDLThread::makeSaveSubDir();
    }
    bool beforeDownload() override
    {
        hooks << QStringLiteral("beforeDownload");
        if (opening)
            opening();
        return opens && AbstractVideoDLThread::beforeDownload();
    }
    void afterDownload() override
    {
        hooks << QStringLiteral("afterDownload");
        storeFailed |= endIsLost;
        AbstractVideoDLThread::afterDownload();
    }
    int readFrame(HFrameHeader *frame, int timeoutMs) override
    {
        timeouts << timeoutMs;
        buffers << frame;
        memset(frame, 0xab, kHFrameBufferSize); // all of it may be written
        const int number = reads++;
        if (number >= answers.size() && last == 0)
            msleep(1);
        return answers.value(number, last);
    }
    int handleSaveMP4(HFrameHeader *frame) override
    {
        hooks << QStringLiteral("handleSaveMP4");
        if (frame != buffers.last())
            hooks << QStringLiteral("another frame");
        if (resetsTimeouts)
            timeoutCount = 0;
        return stored.isEmpty() ? 0 : stored.takeFirst();
    }
};

/// A loop of its own, which needs nothing of what a subclass adds.
class Idler final : public AbstractVideoDLThread
{
    Q_DISABLE_COPY(Idler)

public:
    explicit Idler(QObject *parent = nullptr) : AbstractVideoDLThread(parent) {}
    ~Idler() override = default;

    std::atomic<bool> idles{false};

protected:
    void run() override
    {
        idles = true;
        while (!isStop)
            msleep(1);
    }
    int readFrame(HFrameHeader *, int) override { return 1; }
    int handleSaveMP4(HFrameHeader *) override { return 0; }
};

const QStringList kBegin{"initOption", "makeSaveSubDir", "beforeDownload"};

} // namespace

class TestAbstractVideoDLThread : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void newThread_hasDefaults();
    void setters_keepWhatTheyAreTold();
    void signals_standInThisOrder();
    void run_endsWithTheRecording();
    void refusedStart_endsAtOnce_withoutFinish();
    void refusedFrame_isAnError_andEndsTheLoop_data();
    void refusedFrame_isAnError_andEndsTheLoop();
    void fiveTimeoutsInARow_endWithoutError();
    void timeouts_beginAnew_withAStoredFrame();
    void timeouts_areCountedOn_inTheNextRun();
    void readError_endsWithoutError_data();
    void readError_endsWithoutError();
    void lostEnd_isAnError();
    void read_mayLastAFifthOfTheTimeout_data();
    void read_mayLastAFifthOfTheTimeout();
    void buffer_isOne_forAllFrames();
    void stop_endsTheDownload_andWaits();
    void stop_whileTheSourceOpens_isNotLost();
    void stop_returnsAtOnce_whenNotRunning();
    void start_doesNothing_whileRunning();
    void secondRun_beginsAnew();
    void nextRun_canBeStarted_uponTheEndOfTheThread();
    void folder_isMade();
    void destruction_endsTheDownload();
    void destruction_endsWhateverRuns();

protected:
    void setUp() override
    {
        thread = std::make_unique<Download>();
        recorder = std::make_unique<SignalRecorder>();
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadStart, "start");
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadFinsh, "finsh");
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadPts, "pts");
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadErrConnExceedMax, "max");
        recorder->watch(thread.get(), &AbstractVideoDLThread::sig_downloadError, "error");
    }
    void tearDown() override { thread.reset(); }

private:
    /// Runs to the end by itself.
    void run()
    {
        thread->startDL();
        QVERIFY(thread->wait(20000));
    }
    bool finshed() const { return recorder->calls("finsh").value(0).arguments.value(0).toBool(); }
    int debugs(const char *text) const { return log->count(Logger::Debug, QString(text)); }

    std::unique_ptr<Download> thread;
    std::unique_ptr<SignalRecorder> recorder;
};

void TestAbstractVideoDLThread::newThread_hasDefaults()
{
    static_assert(std::is_base_of<QThread, AbstractVideoDLThread>::value, "");
    static_assert(std::is_abstract<AbstractVideoDLThread>::value, "");
    QVERIFY(thread->isStop);
    QCOMPARE(thread->timeoutCount, 0);
    QVERIFY(!thread->saveAudio);
    QCOMPARE(thread->saveInterval, -1);
    QCOMPARE(thread->readTimeout, 300);
    QCOMPARE(thread->savePath, QString());
    QCOMPARE(thread->saveDir, QString());
    QVERIFY(!thread->beginTime.isValid() && !thread->endTime.isValid());
    QCOMPARE(thread->fileStartPts, qint64(0));
    QCOMPARE(thread->curPts, qint64(0));
    QCOMPARE(thread->sparePts, qint64(0));
    QCOMPARE(thread->lastReportPts, qint64(0));
    QVERIFY(thread->saver);
    QCOMPARE(thread->saver->parent(), nullptr);
    QVERIFY(!thread->isRunning());
    QObject parent;
    QCOMPARE((new Idler(&parent))->parent(), &parent);
}

void TestAbstractVideoDLThread::setters_keepWhatTheyAreTold()
{
    const QDateTime begin(QDate(2026, 3, 14), QTime(9, 0)), end(QDate(2026, 3, 15), QTime(8, 0));
    thread->setSavePath(QStringLiteral("/there"));
    thread->setDateTime(begin, end);
    thread->setSaveInterval(7);
    thread->setSaveAudio(true);
    thread->setReadTimeout(1234);
    QCOMPARE(thread->savePath, QStringLiteral("/there"));
    QCOMPARE(thread->beginTime, begin);
    QCOMPARE(thread->endTime, end);
    QCOMPARE(thread->saveInterval, 7);
    QVERIFY(thread->saveAudio);
    QCOMPARE(thread->readTimeout, 1234);
}

void TestAbstractVideoDLThread::signals_standInThisOrder()
{
    QCOMPARE(
        methodsOf(AbstractVideoDLThread::staticMetaObject, QMetaMethod::Signal),
        QStringList({"sig_downloadStart()", "sig_downloadFinsh(bool)", "sig_downloadPts(qlonglong)",
                     "sig_downloadErrConnExceedMax()", "sig_downloadError()"}));
}

void TestAbstractVideoDLThread::run_endsWithTheRecording()
{
    thread->answers = {0, 0, 1, 0};
    run();
    QCOMPARE(thread->hooks,
             kBegin + QStringList({"handleSaveMP4", "handleSaveMP4", "afterDownload"}));
    QCOMPARE(thread->reads.load(), 3);
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(finshed());
    for (const auto &call : recorder->calls())
        QCOMPARE(call.thread, static_cast<QThread *>(thread.get()));
    QCOMPARE(debugs("(atvdlthr)exit download thr"), 1);
}

void TestAbstractVideoDLThread::refusedStart_endsAtOnce_withoutFinish()
{
    thread->opens = false;
    log->expect(Logger::Error, QStringLiteral("(atvdlthr)before download thr err"));
    run();
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(thread->hooks, kBegin); // no afterDownload either
    QCOMPARE(recorder->names(), QStringList());
    QCOMPARE(thread->reads.load(), 0);
    QCOMPARE(debugs("(atvdlthr)exit download thr"), 0);
}

void TestAbstractVideoDLThread::refusedFrame_isAnError_andEndsTheLoop_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("-1") << -1;
    QTest::newRow("1") << 1;
}

void TestAbstractVideoDLThread::refusedFrame_isAnError_andEndsTheLoop()
{
    QFETCH(int, answer);
    thread->last = 0;
    thread->stored = {0, answer};
    run();
    QCOMPARE(thread->reads.load(), 2);
    QCOMPARE(recorder->names(), QStringList({"start", "error", "finsh"}));
    QVERIFY(!finshed());
    QCOMPARE(thread->hooks.last(), QStringLiteral("afterDownload"));
}

void TestAbstractVideoDLThread::fiveTimeoutsInARow_endWithoutError()
{
    thread->answers = {0};
    thread->last = 2;
    run();
    QCOMPARE(thread->reads.load(), 6);
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(!finshed());
    QCOMPARE(thread->hooks.last(), QStringLiteral("afterDownload"));
}

void TestAbstractVideoDLThread::timeouts_beginAnew_withAStoredFrame()
{
    thread->resetsTimeouts = true;
    thread->answers = {2, 2, 2, 2, 0, 2, 2, 2, 2, 0, 1};
    run();
    QVERIFY(finshed());
    QCOMPARE(thread->timeoutCount, 0);
}

/// A run that follows five time-outs has no more patience, until its first frame.
void TestAbstractVideoDLThread::timeouts_areCountedOn_inTheNextRun()
{
    thread->resetsTimeouts = true;
    thread->last = 2;
    run();
    QCOMPARE(thread->reads.load(), 5);
    run();
    QCOMPARE(thread->reads.load(), 6);
    thread->answers = QVector<int>(6, 0) + QVector<int>{0, 2, 2, 1};
    run();
    QCOMPARE(thread->reads.load(), 10);
    QCOMPARE(recorder->calls("finsh").last().arguments.first().toBool(), true);
}

void TestAbstractVideoDLThread::readError_endsWithoutError_data()
{
    QTest::addColumn<int>("answer");
    for (const int answer : {3, 4, -1, 18})
        QTest::addRow("%d", answer) << answer;
}

void TestAbstractVideoDLThread::readError_endsWithoutError()
{
    QFETCH(int, answer);
    thread->answers = {0, answer};
    thread->last = 0;
    run();
    QCOMPARE(thread->reads.load(), 2);
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(!finshed());
    QCOMPARE(thread->hooks.last(), QStringLiteral("afterDownload"));
}

void TestAbstractVideoDLThread::lostEnd_isAnError()
{
    thread->endIsLost = true;
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "error", "finsh"}));
    QVERIFY(!finshed());
    thread->endIsLost = false; // of that run only
    recorder->clear();
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(finshed());
    thread->endIsLost = true; // told once
    thread->last = 0;
    thread->stored = {-1};
    recorder->clear();
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "error", "finsh"}));
}

void TestAbstractVideoDLThread::read_mayLastAFifthOfTheTimeout_data()
{
    QTest::addColumn<int>("timeout");
    QTest::addColumn<int>("read");
    QTest::newRow("default") << 300 << 60;
    QTest::newRow("cut") << 1999 << 399;
    QTest::newRow("none") << 4 << 0;
}

void TestAbstractVideoDLThread::read_mayLastAFifthOfTheTimeout()
{
    QFETCH(int, timeout);
    QFETCH(int, read);
    if (timeout != 300)
        thread->setReadTimeout(timeout);
    run();
    QCOMPARE(thread->timeouts, QVector<int>{read});
}

void TestAbstractVideoDLThread::buffer_isOne_forAllFrames()
{
    thread->answers = {0, 2, 0, 0};
    run();
    QCOMPARE(thread->buffers.size(), 5);
    QCOMPARE(thread->buffers.count(thread->buffers.first()), 5);
    QVERIFY(!thread->hooks.contains(QStringLiteral("another frame")));
}

void TestAbstractVideoDLThread::stop_endsTheDownload_andWaits()
{
    thread->last = 0;
    thread->startDL();
    QVERIFY(!thread->isStop);
    QVERIFY(waitFor([&] { return thread->reads > 3; }));
    thread->stopDL();
    QVERIFY(thread->isFinished());
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(!finshed());
    QCOMPARE(thread->hooks.last(), QStringLiteral("afterDownload"));
}

void TestAbstractVideoDLThread::stop_whileTheSourceOpens_isNotLost()
{
    std::atomic<bool> open{false};
    thread->last = 0;
    thread->opening = [&] {
        open = true;
        while (!thread->isStop)
            QThread::msleep(1);
    };
    thread->startDL();
    QVERIFY(waitFor([&] { return open.load(); }));
    thread->stopDL();
    QVERIFY(thread->isFinished());
    QCOMPARE(thread->reads.load(), 0);
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(!finshed());
    QCOMPARE(thread->hooks, kBegin + QStringList{"afterDownload"});
}

void TestAbstractVideoDLThread::stop_returnsAtOnce_whenNotRunning()
{
    thread->stopDL();
    run();
    thread->stopDL();
    thread->stopDL();
    QVERIFY(thread->isStop);
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
}

void TestAbstractVideoDLThread::start_doesNothing_whileRunning()
{
    thread->last = 0;
    thread->startDL();
    QVERIFY(waitFor([&] { return thread->reads > 0; }));
    QCOMPARE(thread->priority(), QThread::InheritPriority);
    thread->startDL();
    thread->stopDL();
    QCOMPARE(recorder->count("start"), 1);
    QCOMPARE(recorder->count("finsh"), 1);
}

void TestAbstractVideoDLThread::secondRun_beginsAnew()
{
    run();
    thread->fileStartPts = thread->curPts = thread->sparePts = thread->lastReportPts = 5;
    thread->hooks.clear();
    run();
    QCOMPARE(thread->hooks, kBegin + QStringList{"afterDownload"});
    QCOMPARE(thread->fileStartPts, qint64(0));
    QCOMPARE(thread->curPts, qint64(0));
    QCOMPARE(thread->sparePts, qint64(0));
    QCOMPARE(thread->lastReportPts, qint64(0));
    QCOMPARE(recorder->names(), QStringList({"start", "finsh", "start", "finsh"}));
}

/// As a host does that fetches one span after the other.
void TestAbstractVideoDLThread::nextRun_canBeStarted_uponTheEndOfTheThread()
{
    constexpr int kRuns = 200;
    int left = kRuns;
    connect(thread.get(), &QThread::finished, this, [&] {
        if (--left > 0)
            thread->startDL();
    });
    thread->startDL();
    QVERIFY(waitFor([&] { return left == 0; }));
    QVERIFY(thread->wait(20000));
    QCOMPARE(recorder->count("start"), kRuns);
    QCOMPARE(recorder->count("finsh"), kRuns);
}

void TestAbstractVideoDLThread::folder_isMade()
{
    QTemporaryDir folder;
    thread->saveDir = folder.filePath(QStringLiteral("not/yet/there"));
    run();
    QVERIFY(QFileInfo(thread->saveDir).isDir());
}

void TestAbstractVideoDLThread::destruction_endsTheDownload()
{
    thread->last = 0;
    thread->startDL();
    QVERIFY(waitFor([&] { return thread->reads > 0; }));
    thread.reset();
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
}

/// Or Qt ends the process.
void TestAbstractVideoDLThread::destruction_endsWhateverRuns()
{
    auto idler = std::make_unique<Idler>();
    idler->startDL();
    QVERIFY(waitFor([&] { return idler->idles.load(); }));
    QPointer<QThread> running(idler.get());
    idler.reset();
    QVERIFY(running.isNull());
}

QTEST_GUILESS_MAIN(TestAbstractVideoDLThread)
#include "tst_abstractvideodlthread.moc"
