// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What ThreadSanitizer finds, and what it does not, with qtlocks.cpp and the list of suppressions
// in force: each scene is a process of its own, whose exit status tells whether a race was
// reported.
#include "core_videobase/abstractvideothread.h"

#include <QtTest>

#include <QMutex>
#include <QProcess>
#include <QReadWriteLock>
#include <QSemaphore>
#include <QThread>
#include <QWaitCondition>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace {

constexpr int kRaceStatus = 66; ///< exit status of a process with a report
constexpr int kRounds = 2000;

int g_plain = 0; ///< what the scenes fight about

/// Makes each of its copies in memory of its own, and looks at it when it goes.
class Note
{
public:
    Note() = default;
    Note(const Note &) : m_value(new int(1)) {}
    Note &operator=(const Note &) = delete;
    ~Note()
    {
        if (m_value)
            ++*m_value;
        delete m_value;
    }

private:
    int *m_value = nullptr;
};

} // namespace
Q_DECLARE_METATYPE(Note)
namespace {

/// A thread that runs a function, then tells it by a signal.
class Worker : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(Worker)

public:
    explicit Worker(std::function<void(Worker *)> body) : m_body(std::move(body)) {}

    std::atomic<int> step{0}; ///< orders without telling the sanitizer: relaxed
    int field = 0;

    void pass(int to) { step.store(to, std::memory_order_relaxed); }
    void await(int at)
    {
        while (step.load(std::memory_order_relaxed) < at)
            yieldCurrentThread();
    }

signals:
    void told(int *value);
    void wrote(const Note &note);

protected:
    void run() override { m_body(this); }

private:
    std::function<void(Worker *)> m_body;
};

/// A stream thread that does nothing but to use its fields.
class Loop final : public AbstractVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(Loop)

public:
    Loop() = default;
    ~Loop() override { endRun(); }
    std::atomic<int> rounds{0};
    int readErrors() const { return errorCount; }

protected:
    void run() override
    {
        while (!stopped) {
            isOk = !isPause && readTimeout < 100;
            isSnap = false;
            frameRate = videoWidth = videoHeight = rotate + recording.at(MANUAL_RECORD);
            ++errorCount;
            updateTime();
            setSnapName(getVideoUrl() + QLatin1Char('x'));
            rounds.fetch_add(1, std::memory_order_relaxed);
        }
    }
};

class Receiver : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Receiver)

public:
    Receiver() = default;
    int calls = 0;
    int seen = 0;

    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::User) {
            const bool handled = QObject::event(event); // acquires
            seen += g_plain;
            ++calls;
            return handled;
        }
        return QObject::event(event);
    }

public slots:
    void take(int *value)
    {
        seen += (*value)++;
        ++calls;
    }
    void takeGlobal() { take(&g_plain); }
};

void spinUntilCalled(const Receiver &receiver, int calls = 1)
{
    while (receiver.calls < calls)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

/// Both threads run `body` at the same time.
void both(const std::function<void()> &body)
{
    Worker worker([&](Worker *) { body(); });
    worker.start();
    body();
    worker.wait();
}

// --- Ordered scenes -----------------------------------------------------------------------------

void mutex()
{
    QMutex lock;
    both([&] {
        for (int i = 0; i < kRounds; ++i) {
            QMutexLocker locker(&lock);
            ++g_plain;
        }
    });
}

void triedMutex()
{
    QMutex lock;
    both([&] {
        for (int i = 0; i < kRounds; ++i) {
            while (!lock.tryLock(1)) {
            }
            ++g_plain;
            lock.unlock();
        }
    });
}

void standardMutex()
{
    std::mutex lock;
    both([&] {
        for (int i = 0; i < kRounds; ++i) {
            std::lock_guard<std::mutex> locker(lock);
            ++g_plain;
        }
    });
}

void readWriteLock()
{
    QReadWriteLock lock;
    std::atomic<int> sum{0};
    both([&] {
        for (int i = 0; i < kRounds; ++i) {
            {
                QReadLocker locker(&lock);
                sum.fetch_add(g_plain, std::memory_order_relaxed);
            }
            QWriteLocker locker(&lock);
            ++g_plain;
        }
    });
}

void semaphore()
{
    QSemaphore full;
    QSemaphore empty(1);
    Worker worker([&](Worker *) {
        for (int i = 0; i < kRounds; ++i) {
            empty.acquire();
            ++g_plain;
            full.release();
        }
    });
    worker.start();
    for (int i = 0; i < kRounds; ++i) {
        while (!full.tryAcquire(1, 10)) {
        }
        ++g_plain;
        empty.release();
    }
    worker.wait();
}

void waitCondition()
{
    QMutex lock;
    QWaitCondition changed;
    bool isSet = false;
    Worker worker([&](Worker *) {
        QMutexLocker locker(&lock);
        isSet = true;
        changed.wakeAll();
    });
    QMutexLocker locker(&lock);
    worker.start();
    while (!isSet)
        changed.wait(&lock);
    locker.unlock();
    worker.wait();
}

void startAndWait()
{
    for (int i = 0; i < 50; ++i) {
        ++g_plain;
        Worker worker([](Worker *) { ++g_plain; });
        worker.start();
        worker.wait();
        ++g_plain;
    }
}

void polledEnd()
{
    for (int i = 0; i < 50; ++i) {
        Worker worker([](Worker *) { ++g_plain; });
        worker.start();
        while (i % 2 ? worker.isRunning() : !worker.isFinished())
            QThread::msleep(1);
        ++g_plain;
        worker.wait();
    }
}

void finishedSignal()
{
    for (int i = 0; i < 20; ++i) {
        Receiver receiver;
        Worker worker([](Worker *) { ++g_plain; });
        QObject::connect(&worker, &QThread::finished, &receiver, &Receiver::takeGlobal);
        worker.start();
        spinUntilCalled(receiver);
    }
}

/// The report of one end comes when the thread runs again: it must not wait for the next end.
void finishedSignalOfAnEarlierRun()
{
    Receiver receiver;
    QSemaphore mayEnd;
    Worker worker([&](Worker *self) {
        if (self->step.load() > 0)
            mayEnd.acquire();
        else
            ++g_plain;
    });
    QObject::connect(&worker, &QThread::finished, &receiver, &Receiver::takeGlobal);
    worker.start();
    worker.wait();
    worker.step = 1;
    worker.start();
    spinUntilCalled(receiver);
    mayEnd.release();
    worker.wait();
}

void queuedSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        for (int i = 0; i < 20; ++i) {
            auto *value = new int(i); // the receiver's from now on
            emit self->told(value);
        }
    });
    QObject::connect(&worker, &Worker::told, &receiver, [&](int *value) {
        receiver.take(value);
        delete value;
    });
    worker.start();
    spinUntilCalled(receiver, 20);
    worker.wait();
}

void blockingSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        for (int i = 0; i < 20; ++i) {
            ++self->field;
            emit self->told(&self->field);
            ++self->field;
        }
    });
    QObject::connect(&worker, &Worker::told, &receiver, &Receiver::take,
                     Qt::BlockingQueuedConnection);
    worker.start();
    spinUntilCalled(receiver, 20);
    worker.wait();
}

void droppedBlockingSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        emit self->told(&self->field);
        ++g_plain;
    });
    QObject::connect(&worker, &Worker::told, &receiver, &Receiver::take,
                     Qt::BlockingQueuedConnection);
    ++g_plain;
    worker.start();
    ++worker.field;
    do {
        QCoreApplication::removePostedEvents(&receiver);
    } while (!worker.wait(1));
}

void droppedQueuedSignal()
{
    qRegisterMetaType<Note>("Note");
    Receiver receiver;
    int dropped = 0;
    Worker worker([](Worker *self) {
        emit self->wrote(Note());
        self->pass(1);
    });
    QObject::connect(
        &worker, &Worker::wrote, &receiver, [&](const Note &) { ++dropped; }, Qt::QueuedConnection);
    worker.start();
    worker.await(1);
    QCoreApplication::removePostedEvents(&receiver);
    QCoreApplication::processEvents();
    if (dropped > 0)
        abort(); // it was not dropped
    worker.wait();
}

void invokedMethod()
{
    Receiver receiver;
    Worker worker([&](Worker *) {
        ++g_plain;
        QMetaObject::invokeMethod(&receiver, "takeGlobal", Qt::QueuedConnection);
    });
    worker.start();
    spinUntilCalled(receiver);
    worker.wait();
}

void invokedFunction()
{
    Receiver receiver;
    Worker worker([&](Worker *) {
        for (int i = 0; i < 20; ++i) {
            ++g_plain;
            QMetaObject::invokeMethod(
                &receiver, [&] { receiver.takeGlobal(); }, Qt::BlockingQueuedConnection);
            ++g_plain;
        }
    });
    worker.start();
    spinUntilCalled(receiver, 20);
    worker.wait();
}

void postedEvent()
{
    Receiver receiver;
    Worker worker([&](Worker *) {
        ++g_plain;
        QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
    });
    worker.start();
    spinUntilCalled(receiver);
    ++g_plain;
    worker.wait();
}

void objectDeletedLater()
{
    QThread loop;
    loop.start();
    auto *receiver = new Receiver;
    receiver->moveToThread(&loop);
    receiver->seen = 1;
    receiver->deleteLater();
    loop.quit();
    loop.wait();
}

/// Flags and parameters that are shared on purpose, and what has a guard.
void sharedFieldsOfAStreamThread()
{
    Loop loop;
    loop.previewRef() = 1;
    loop.play();
    for (int i = 0; i < 50 || loop.rounds < 200; ++i) {
        loop.pause();
        loop.next();
        loop.snap(QStringLiteral("./a.jpg"));
        loop.setReadTimeout(i);
        loop.setRotate(i);
        loop.setVideoUrl(QString::number(i));
        loop.updateTime();
        loop.stop2();
        loop.recordStart(AbstractVideoThread::MANUAL_RECORD);
        loop.recordStop(AbstractVideoThread::MANUAL_RECORD);
        g_plain += loop.getIsOk() + loop.getIsSnap() + loop.getVideoWidth() + loop.getFrameRate() +
                   loop.getSnapName().size() + loop.referenceCount();
    }
    loop.stop();
    loop.wait();
}

// --- Scenes with a race -------------------------------------------------------------------------

void plainField()
{
    Worker worker([](Worker *self) {
        while (self->field < kRounds)
            ++self->field;
    });
    worker.start();
    worker.field = 1;
    worker.wait();
}

void lockOnOneSide()
{
    QMutex lock;
    Worker worker([&](Worker *self) {
        QMutexLocker locker(&lock);
        ++g_plain;
        self->pass(1);
    });
    worker.start();
    worker.await(1);
    ++g_plain;
    worker.wait();
}

void twoLocks()
{
    QMutex first;
    QMutex second;
    Worker worker([&](Worker *self) {
        QMutexLocker locker(&first);
        ++g_plain;
        self->pass(1);
    });
    worker.start();
    worker.await(1);
    {
        QMutexLocker locker(&second);
        ++g_plain;
    }
    worker.wait();
}

void writeUnderReadLock()
{
    QReadWriteLock lock;
    Worker worker([&](Worker *self) {
        {
            QReadLocker locker(&lock);
            ++g_plain;
        }
        self->pass(1);
    });
    worker.start();
    worker.await(1);
    {
        QReadLocker locker(&lock);
        ++g_plain;
    }
    worker.wait();
}

/// What a thread does after an emit is not ordered before the slot.
void writeAfterQueuedSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        emit self->told(&self->field);
        self->field = 2;
        self->pass(1);
    });
    QObject::connect(&worker, &Worker::told, &receiver, &Receiver::take);
    worker.start();
    worker.await(1);
    spinUntilCalled(receiver);
    worker.wait();
}

/// Nor before what is thrown away of it.
void writeAfterADroppedSignal()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        emit self->told(&self->field);
        self->field = 2;
        self->pass(1);
    });
    QObject::connect(&worker, &Worker::told, &receiver, &Receiver::take, Qt::QueuedConnection);
    worker.start();
    worker.await(1);
    QCoreApplication::removePostedEvents(&receiver);
    ++worker.field;
    worker.wait();
}

/// A slot does not order what another thread does.
void signalOfAnotherSender()
{
    Receiver receiver;
    Worker writer([](Worker *self) {
        ++g_plain;
        self->pass(1);
    });
    Worker teller([](Worker *self) { emit self->told(&self->field); });
    QObject::connect(&teller, &Worker::told, &receiver, [&](int *) { receiver.takeGlobal(); });
    writer.start();
    writer.await(1);
    teller.start();
    spinUntilCalled(receiver);
    teller.wait();
    writer.wait();
}

/// Without a blocking connection the sender goes on beside the slot.
void slotBesideItsSender()
{
    Receiver receiver;
    Worker worker([](Worker *self) {
        emit self->told(&self->field);
        self->await(1);
        ++self->field;
    });
    QObject::connect(&worker, &Worker::told, &receiver, [&](int *value) {
        receiver.take(value);
        worker.pass(1);
    });
    worker.start();
    spinUntilCalled(receiver);
    worker.wait();
}

void writeBeforeTheEndIsKnown()
{
    Worker worker([](Worker *self) {
        ++g_plain;
        self->pass(1);
    });
    worker.start();
    worker.await(1);
    ++g_plain;
    worker.wait();
}

/// What is the loop's alone has no place in the list.
void unsharedFieldOfAStreamThread()
{
    Loop loop;
    loop.play();
    while (loop.rounds.load(std::memory_order_relaxed) < 100)
        QThread::yieldCurrentThread();
    g_plain = loop.readErrors();
    loop.stop();
    loop.wait();
}

/// The object that Qt's own code calls in a loop is not exempt.
void insideAnEventLoop()
{
    QThread loop;
    loop.start();
    Receiver far;
    far.moveToThread(&loop);
    std::atomic<int> step{0};
    QMetaObject::invokeMethod(&far, [&] {
        ++g_plain;
        step.store(1, std::memory_order_relaxed);
    });
    while (step.load(std::memory_order_relaxed) < 1)
        QThread::yieldCurrentThread();
    ++g_plain;
    loop.quit();
    loop.wait();
}

using Scenes = std::map<QByteArray, void (*)()>;

#define VANTRA_SCENE(name)                                                                         \
    {                                                                                              \
        QByteArrayLiteral(#name), &name                                                            \
    }

const Scenes &orderedScenes()
{
    static const Scenes scenes = {
        VANTRA_SCENE(mutex),
        VANTRA_SCENE(triedMutex),
        VANTRA_SCENE(standardMutex),
        VANTRA_SCENE(readWriteLock),
        VANTRA_SCENE(semaphore),
        VANTRA_SCENE(waitCondition),
        VANTRA_SCENE(startAndWait),
        VANTRA_SCENE(polledEnd),
        VANTRA_SCENE(finishedSignal),
        VANTRA_SCENE(queuedSignal),
        VANTRA_SCENE(blockingSignal),
        VANTRA_SCENE(invokedMethod),
        VANTRA_SCENE(invokedFunction),
        VANTRA_SCENE(postedEvent),
        VANTRA_SCENE(finishedSignalOfAnEarlierRun),
        VANTRA_SCENE(sharedFieldsOfAStreamThread),
        VANTRA_SCENE(droppedBlockingSignal),
        VANTRA_SCENE(droppedQueuedSignal),
        VANTRA_SCENE(objectDeletedLater),
    };
    return scenes;
}

const Scenes &racingScenes()
{
    static const Scenes scenes = {
        VANTRA_SCENE(plainField),
        VANTRA_SCENE(unsharedFieldOfAStreamThread),
        VANTRA_SCENE(lockOnOneSide),
        VANTRA_SCENE(twoLocks),
        VANTRA_SCENE(writeUnderReadLock),
        VANTRA_SCENE(writeAfterQueuedSignal),
        VANTRA_SCENE(writeAfterADroppedSignal),
        VANTRA_SCENE(signalOfAnotherSender),
        VANTRA_SCENE(slotBesideItsSender),
        VANTRA_SCENE(writeBeforeTheEndIsKnown),
        VANTRA_SCENE(insideAnEventLoop),
    };
    return scenes;
}

} // namespace

class tst_QtLocks : public QObject
{
    Q_OBJECT

private slots:
    void order_isSeen_data() { addRows(orderedScenes()); }
    void order_isSeen();
    void race_isReported_data() { addRows(racingScenes()); }
    void race_isReported();

private:
    static void addRows(const Scenes &scenes)
    {
        QTest::addColumn<QString>("scene");
        for (const auto &scene : scenes)
            QTest::newRow(scene.first.constData()) << QString::fromLatin1(scene.first);
    }
    void play(QProcess &process)
    {
        QFETCH(QString, scene);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("-scene"), scene});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    }
};

void tst_QtLocks::order_isSeen()
{
    QProcess process;
    play(process);
    const QByteArray output = process.readAll();
    QVERIFY2(process.exitCode() == 0, output.constData());
    QCOMPARE(output, QByteArray());
}

void tst_QtLocks::race_isReported()
{
    QProcess process;
    play(process);
    const QByteArray output = process.readAll();
    QVERIFY2(output.contains("WARNING: ThreadSanitizer: data race"), output.constData());
    QCOMPARE(process.exitCode(), kRaceStatus);
}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "-scene") == 0) {
        for (const Scenes *scenes : {&orderedScenes(), &racingScenes()}) {
            const auto scene = scenes->find(argv[2]);
            if (scene != scenes->end()) {
                scene->second();
                return 0;
            }
        }
        return 1;
    }
    tst_QtLocks test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_qtlocks.moc"
