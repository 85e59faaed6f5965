// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/processload.h"
#include "support/waitfor.h"

#include "core_videobase/abstractsavethread.h"

#include <QMetaMethod>
#include <QMutex>
#include <QRegularExpression>
#include <QSemaphore>
#include <QStringList>
#include <QTemporaryDir>
#include <QWaitCondition>
#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>

using namespace vantratest;

namespace {

const QString kFile = QStringLiteral("/nowhere/50%1.mp4"); ///< a "%1" of its own does no harm

/// Notes what is called on which thread; save() and close() can be held.
class NotingWriter : public AbstractSaveThread
{
public:
    ~NotingWriter() override
    {
        saveGate.release(1000);
        closeGate.release(1000);
        requestStop();
        wait();
    }

    bool init() override
    {
        ++inits;
        initThread = QThread::currentThread();
        return initResult;
    }

    void save() override
    {
        ++saves;
        if (holdSave)
            saveGate.acquire();
        else
            QThread::yieldCurrentThread();
    }

    void close() override
    {
        openedInClose = getOpened();
        pausedInClose = getPaused();
        stoppedInClose = stopped.load();
        closeThread = QThread::currentThread();
        ++closesBegun;
        if (holdClose)
            closeGate.acquire();
        ++closes;
    }

    /// What a run that ends by itself would do.
    void endLoop() { stopped = true; }

    using AbstractSaveThread::channelCount;
    using AbstractSaveThread::debugEnabled;
    using AbstractSaveThread::directSave;
    using AbstractSaveThread::flag;
    using AbstractSaveThread::frameRate;
    using AbstractSaveThread::profile;
    using AbstractSaveThread::run;
    using AbstractSaveThread::sampleRate;
    using AbstractSaveThread::saveAudioType;
    using AbstractSaveThread::saveVideoType;
    using AbstractSaveThread::stopped;
    using AbstractSaveThread::videoHeight;
    using AbstractSaveThread::videoWidth;

    bool initResult = true;
    std::atomic<bool> holdSave{false};
    std::atomic<bool> holdClose{false};
    QSemaphore saveGate;
    QSemaphore closeGate;
    int inits = 0;
    QThread *initThread = nullptr;
    std::atomic<int> saves{0};
    std::atomic<int> closesBegun{0};
    std::atomic<int> closes{0};
    std::atomic<QThread *> closeThread{nullptr};
    std::atomic<bool> openedInClose{true};
    std::atomic<bool> pausedInClose{true};
    std::atomic<bool> stoppedInClose{true};
};

QMutex messageMutex;
QStringList messages;

void noteMessage(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    const QMutexLocker locker(&messageMutex);
    messages.append(QString::number(int(type)) + QLatin1Char(' ') + text);
}

} // namespace

class TestAbstractSaveThread : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        messages.clear();
        m_handler = qInstallMessageHandler(noteMessage);
    }
    void cleanup() { qInstallMessageHandler(m_handler); }

    void fields_haveTheirDefaults();
    void slots_standInTheirOrder();
    void base_doesNothingByItself();
    void open_keepsTheThreadAway_whenInitFails();
    void open_runsInit_onTheCallersThread();
    void open_isIgnored_whileOpened();
    void open_worksAgain_afterStop();
    void open_waits_forACloseUnderWay();
    void open_mayBeTriedAgain_whenTheSystemHadNoThread();
    void run_looksAtStopped_beforeTheFirstStep();
    void run_tellsStartAndStop_throughQt();
    void flags_areClear_whenCloseBegins();
    void pause_toggles_onlyWhileOpened();
    void pause_doesNotHoldTheLoop();
    void stop_returnsAtOnce_whenNotOpened();
    void stop_returnsAtOnce_theSecondTime();
    void stop_clearsPause_andEndsTheThread();
    void stop_waitsForTheStepUnderWay_andForClose();
    void stop_returnsAtOnce_whileTheThreadCloses();
    void stop_fromManyThreads_leavesNoRequestBehind();
    void destruction_endsTheThread();
    void rounds_leaveNothingBehind();
    void checkFile_removesOnlyEmptyFiles();
    void debug_hasNoEffect();

private:
    QtMessageHandler m_handler = nullptr;
};

void TestAbstractSaveThread::fields_haveTheirDefaults()
{
    const NotingWriter writer;
    QCOMPARE(int(writer.saveVideoType), 0);
    QCOMPARE(int(writer.saveAudioType), 0);
    QCOMPARE(sizeof(writer.saveVideoType), size_t(4));
    QCOMPARE(sizeof(writer.saveAudioType), size_t(4));
    QCOMPARE(writer.videoWidth, 640);
    QCOMPARE(writer.videoHeight, 480);
    QCOMPARE(writer.frameRate, 25);
    QCOMPARE(writer.sampleRate, 8000);
    QCOMPARE(writer.channelCount, 1);
    QCOMPARE(writer.profile, 1);
    QVERIFY(writer.flag.isEmpty());
    QVERIFY(writer.getFileName().isEmpty());
    QVERIFY(!writer.getOpened());
    QVERIFY(!writer.getPaused());
    QVERIFY(!writer.stopped);
    QVERIFY(NotingWriter::debugEnabled);
    QVERIFY(NotingWriter::directSave);
}

void TestAbstractSaveThread::slots_standInTheirOrder()
{
    const QMetaObject &meta = AbstractSaveThread::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        names += QString::fromLatin1(method.methodSignature()) +
                 QLatin1Char(method.access() == QMetaMethod::Private ? '-' : '+');
    }
    QCOMPARE(names, QStringList({"init()-", "save()-", "close()-", "open(QString)+", "pause()+",
                                 "stop()+"}));
}

void TestAbstractSaveThread::base_doesNothingByItself()
{
    AbstractSaveThread writer;
    writer.open(kFile);
    QVERIFY(writer.getOpened());
    QCOMPARE(writer.getFileName(), kFile);
    writer.stop();
    QVERIFY(!writer.getOpened());
    QVERIFY(writer.isFinished());
}

void TestAbstractSaveThread::open_keepsTheThreadAway_whenInitFails()
{
    NotingWriter writer;
    writer.initResult = false;
    writer.open(kFile);
    QCOMPARE(writer.inits, 1);
    QVERIFY(!writer.getOpened());
    QVERIFY(!writer.isRunning());
    QCOMPARE(writer.getFileName(), kFile);
    writer.stop();
    QCOMPARE(writer.saves.load(), 0);
    QCOMPARE(writer.closes.load(), 0);
    QVERIFY(messages.isEmpty());
}

void TestAbstractSaveThread::open_runsInit_onTheCallersThread()
{
    NotingWriter writer;
    writer.open(kFile);
    QCOMPARE(writer.initThread, QThread::currentThread());
    writer.stop();
    QCOMPARE(writer.closeThread.load(), static_cast<QThread *>(&writer));
}

void TestAbstractSaveThread::open_isIgnored_whileOpened()
{
    NotingWriter writer;
    writer.open(kFile);
    writer.open(QStringLiteral("/other.mp4"));
    QCOMPARE(writer.inits, 1);
    QCOMPARE(writer.getFileName(), kFile);
    QVERIFY(waitFor([&] { return writer.saves > 0; }));
    QVERIFY(writer.getOpened());
}

void TestAbstractSaveThread::open_worksAgain_afterStop()
{
    NotingWriter writer;
    writer.open(kFile);
    writer.stop();
    const int before = writer.saves;
    writer.open(QStringLiteral("/second.mp4"));
    QCOMPARE(writer.inits, 2);
    QCOMPARE(writer.getFileName(), QStringLiteral("/second.mp4"));
    QVERIFY(waitFor([&] { return writer.saves > before; }));
    writer.stop();
    QCOMPARE(writer.closes.load(), 2);
}

void TestAbstractSaveThread::open_mayBeTriedAgain_whenTheSystemHadNoThread()
{
    NotingWriter writer;
    writer.setStackSize(1); // which no thread can run with
    writer.open(kFile);
    QVERIFY(!writer.getOpened());
    QVERIFY(!writer.isRunning());
    QCOMPARE(writer.inits, 1);
    QCOMPARE(writer.closes.load(), 1);
    writer.stop(); // has nothing to do
    QCOMPARE(writer.closes.load(), 1);
    writer.setStackSize(0);
    writer.open(kFile);
    QVERIFY(writer.getOpened());
    writer.stop();
    QCOMPARE(writer.inits, 2);
    QCOMPARE(writer.closes.load(), 2);
}

void TestAbstractSaveThread::open_waits_forACloseUnderWay()
{
    NotingWriter writer;
    writer.holdClose = true;
    writer.open(kFile);
    writer.endLoop();
    QVERIFY(waitFor([&] { return writer.closesBegun == 1; }));
    std::thread release([&] { writer.closeGate.release(); });
    writer.open(QStringLiteral("/second.mp4"));
    QCOMPARE(writer.closes.load(), 1);
    release.join();
    QVERIFY(writer.getOpened());
    QVERIFY(writer.isRunning());
    writer.holdClose = false;
}

void TestAbstractSaveThread::run_looksAtStopped_beforeTheFirstStep()
{
    NotingWriter writer;
    writer.endLoop();
    writer.run();
    QCOMPARE(writer.saves.load(), 0);
    QCOMPARE(writer.closes.load(), 1);
    QVERIFY(!writer.stopped);
}

void TestAbstractSaveThread::run_tellsStartAndStop_throughQt()
{
    NotingWriter writer;
    writer.open(kFile);
    writer.stop();
    QCOMPARE(messages,
             QStringList({"4 start record -> file: " + kFile, "4 stop record -> file: " + kFile}));
}

void TestAbstractSaveThread::flags_areClear_whenCloseBegins()
{
    NotingWriter writer;
    writer.open(kFile);
    writer.pause();
    writer.endLoop();
    QVERIFY(waitFor([&] { return writer.isFinished(); }));
    QVERIFY(!writer.openedInClose);
    QVERIFY(!writer.pausedInClose);
    QVERIFY(!writer.stoppedInClose);
}

void TestAbstractSaveThread::pause_toggles_onlyWhileOpened()
{
    NotingWriter writer;
    writer.pause();
    QVERIFY(!writer.getPaused());
    writer.open(kFile);
    writer.pause();
    QVERIFY(writer.getPaused());
    writer.pause();
    QVERIFY(!writer.getPaused());
    writer.stop();
    writer.pause();
    QVERIFY(!writer.getPaused());
}

void TestAbstractSaveThread::pause_doesNotHoldTheLoop()
{
    NotingWriter writer;
    writer.open(kFile);
    writer.pause();
    const int before = writer.saves;
    QVERIFY(waitFor([&] { return writer.saves > before + 1; }));
    QVERIFY(writer.getPaused());
}

void TestAbstractSaveThread::stop_returnsAtOnce_whenNotOpened()
{
    NotingWriter writer;
    writer.stop();
    QVERIFY(!writer.stopped);
    writer.open(kFile);
    QVERIFY(waitFor([&] { return writer.saves > 0; }));
}

void TestAbstractSaveThread::stop_returnsAtOnce_theSecondTime()
{
    NotingWriter writer;
    writer.open(kFile);
    writer.stop();
    writer.stop();
    QCOMPARE(writer.closes.load(), 1);
    QVERIFY(!writer.stopped);
}

void TestAbstractSaveThread::stop_clearsPause_andEndsTheThread()
{
    NotingWriter writer;
    writer.open(kFile);
    writer.pause();
    writer.stop();
    QVERIFY(!writer.getPaused());
    QVERIFY(!writer.getOpened());
    QVERIFY(writer.isFinished());
}

void TestAbstractSaveThread::stop_waitsForTheStepUnderWay_andForClose()
{
    NotingWriter writer;
    writer.holdSave = true;
    writer.open(kFile);
    QVERIFY(waitFor([&] { return writer.saves == 1; }));
    std::atomic<bool> released{false};
    std::thread release([&] {
        waitFor([&] { return writer.stopped.load(); });
        released = true;
        writer.saveGate.release();
    });
    writer.stop();
    QVERIFY(released);
    QCOMPARE(writer.saves.load(), 1);
    QCOMPARE(writer.closes.load(), 1);
    release.join();
}

void TestAbstractSaveThread::stop_returnsAtOnce_whileTheThreadCloses()
{
    NotingWriter writer;
    writer.holdClose = true;
    writer.open(kFile);
    writer.endLoop();
    QVERIFY(waitFor([&] { return writer.closesBegun == 1; }));
    writer.stop();
    QCOMPARE(writer.closes.load(), 0);
    QVERIFY(!writer.stopped);
    writer.closeGate.release();
    QVERIFY(waitFor([&] { return writer.isFinished(); }));
}

void TestAbstractSaveThread::stop_fromManyThreads_leavesNoRequestBehind()
{
    for (int round = 0; round < 50; ++round) {
        NotingWriter writer;
        writer.open(kFile);
        std::thread other([&] { writer.stop(); });
        writer.stop();
        other.join();
        QVERIFY(!writer.stopped);
        QCOMPARE(writer.closes.load(), 1);
        QVERIFY(writer.wait(0));
    }
}

void TestAbstractSaveThread::destruction_endsTheThread()
{
    auto writer = std::make_unique<AbstractSaveThread>();
    writer->open(kFile);
    writer->pause();
    writer.reset();
    QCOMPARE(messages.last(), QString("4 stop record -> file: " + kFile));
}

void TestAbstractSaveThread::rounds_leaveNothingBehind()
{
    NotingWriter writer;
    const auto round = [&] {
        writer.open(kFile);
        writer.stop();
    };
    for (int i = 0; i < 20; ++i)
        round();
    messages.clear();
    const ProcessLoad before = ProcessLoad::now();
    for (int i = 0; i < 200; ++i)
        round();
    messages.clear();
    const ProcessLoad after = ProcessLoad::now();
    QCOMPARE(writer.closes.load(), 220);
    QVERIFY(waitFor([&] { return ProcessLoad::now().threads <= before.threads; }));
    QVERIFY(after.handles <= before.handles);
    QVERIFY2(after.residentKiB - before.residentKiB < 4096,
             qPrintable(QString::number(after.residentKiB - before.residentKiB)));
}

void TestAbstractSaveThread::checkFile_removesOnlyEmptyFiles()
{
    const QTemporaryDir dir;
    const QString empty = dir.filePath(QStringLiteral("empty.mp4"));
    const QString full = dir.filePath(QStringLiteral("full.mp4"));
    const QString missing = dir.filePath(QStringLiteral("missing.mp4"));
    QFile emptyFile(empty);
    QVERIFY(emptyFile.open(QIODevice::WriteOnly));
    emptyFile.close();
    QFile fullFile(full);
    QVERIFY(fullFile.open(QIODevice::WriteOnly));
    QCOMPARE(fullFile.write("x"), qint64(1));
    fullFile.close();

    AbstractSaveThread writer;
    writer.checkFile(empty);
    writer.checkFile(full);
    writer.checkFile(missing);
    writer.checkFile(QString());

    QVERIFY(!QFile::exists(empty));
    QCOMPARE(QFileInfo(full).size(), qint64(1));
    QVERIFY(!QFile::exists(missing));
    QVERIFY(messages.isEmpty());
}

void TestAbstractSaveThread::debug_hasNoEffect()
{
    NotingWriter writer;
    writer.debug(QStringLiteral("text"), QStringLiteral("data"));
    writer.flag = QStringLiteral("label %2");
    writer.debug(QStringLiteral("text"), QStringLiteral("data"));
    QCOMPARE(writer.flag, QStringLiteral("label %2"));
    QVERIFY(messages.isEmpty());
}

QTEST_GUILESS_MAIN(TestAbstractSaveThread)
#include "tst_abstractsavethread.moc"
