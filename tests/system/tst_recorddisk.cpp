// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Recordings of a real stream onto disks that are full, slow or gone: the stream goes on, so does
// the other recording, and the recording in trouble comes back by itself.
#include "recordingcase.h"
#include "support/processload.h"
#include "support/smalldisk.h"

#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

using namespace vantratest;

namespace {

QString noMounts; ///< why there are no disks to be had; empty: there are

const QString kCamera = QStringLiteral("cam:h264:pcma:320x240:50:gop=10:kbps=2400");
constexpr qint64 kDiskBytes = 3 * 1024 * 1024;
constexpr qint64 kFreeBytes = 500 * 1024; ///< of it, at first: some seconds
constexpr int kLongMs = 60000;            ///< safeguard
/// Of the allocator and of a queue of 100 packets; what is lost in ten seconds is more.
constexpr qint64 kBoundKiB = 12 * 1024;

} // namespace

class TestRecordDisk : public RecordingCase
{
    Q_OBJECT

private slots:
    void initTestCase();

    void fullDisk_endsNothingElse_andTheRecordingComesBack_data();
    void fullDisk_endsNothingElse_andTheRecordingComesBack();
    void readOnlyFolder_isTriedAgain_atEachKeyPicture();
    void vanishedFolder_isMadeAgain_forTheNextFile();
    void folderThatCannotBeMade_isTriedAgain();
    void unknownExtension_makesAProgramStream();
    void slowDisk_holdsUpNothing();

protected:
    void setUp() override;
    void tearDown() override;

private:
    void announce(Logger::LogLevel level, const char *pattern)
    {
        log->expectMatching(level, QRegularExpression(QString::fromUtf8(pattern)));
    }
    int count(const char *pattern) const
    {
        const QRegularExpression expression(QString::fromUtf8(pattern));
        return log->countMatching(Logger::Error, expression) +
               log->countMatching(Logger::Warning, expression);
    }
    /// Starts both recordings and waits until the one beside the trouble is being written.
    void begin();
    /// Whether the stream is read on, by so many packets.
    bool goesOn(int packets)
    {
        const int before = thread->packets();
        return waitFor([&] { return thread->packets() >= before + packets; }, kLongMs);
    }

    RtspServer server;
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<RecordingThread> thread;
};

void TestRecordDisk::initTestCase()
{
    quietConsole();
    QVERIFY2(server.start({"--camera", kCamera}), qPrintable(server.log()));
}

void TestRecordDisk::setUp()
{
    dir = std::make_unique<QTemporaryDir>();
    thread = std::make_unique<RecordingThread>(server.url("cam"));
    thread->setNames(kAuto, dir->filePath(QStringLiteral("good")));
}

/// Whatever became of the one recording, the other one is whole.
void TestRecordDisk::tearDown()
{
    if (thread->isRunning())
        end(thread.get());
    const QStringList good = thread->files(kAuto);
    thread.reset();
    if (QTest::currentTestFailed() || good.isEmpty())
        return;
    QCOMPARE(good.size(), 1);
    QCOMPARE(faultOf(good.first()), QString());
}

void TestRecordDisk::begin()
{
    thread->recordStart(kManual);
    thread->recordStart(kAuto);
    thread->play();
    QVERIFY(waitFor([&] { return thread->isWriting(kAuto); }, kLongMs));
}

void TestRecordDisk::fullDisk_endsNothingElse_andTheRecordingComesBack_data()
{
    QTest::addColumn<int>("interval");
    QTest::newRow("new file every second") << 1;
    QTest::newRow("one file without limit") << -1;
}

void TestRecordDisk::fullDisk_endsNothingElse_andTheRecordingComesBack()
{
    QFETCH(int, interval);
    if (!noMounts.isEmpty())
        QSKIP(qPrintable(noMounts));
    SmallDisk disk(kDiskBytes);
    QVERIFY(disk.isValid());
    QVERIFY(disk.fill(kFreeBytes));
    thread->setNames(kManual, disk.path());
    thread->setSaveInterval(kManual, interval);
    announce(Logger::Error, "^\\(svmp4ff\\)write (video|audio) （.*\\)  err \\(-28:");
    log->expectMatching(
        Logger::Error,
        QRegularExpression(QStringLiteral(
            "^\\(svmp4ff\\)(write (trailer|header|audio)|avio close) err \\(-28:|creat mp4 err")));
    begin();
    QVERIFY(waitFor([&] { return count("write video .* err \\(-28:") > 0; }, kLongMs));
    const int filled = thread->files(kManual).size();
    QVERIFY(goesOn(300));
    const qint64 before = ProcessLoad::now().residentKiB;
    QVERIFY(goesOn(300));
    QVERIFY(ProcessLoad::now().residentKiB - before < kBoundKiB);

    // What was written before still plays, and to the end but for the file that filled the disk.
    QVector<qint64> counters;
    for (int i = 0; i + 1 < filled; ++i)
        QCOMPARE(faultOf(thread->files(kManual).at(i), &counters), QString());
    counters += readRecording(thread->files(kManual).at(filled - 1)).counters;
    QCOMPARE(gapsIn(counters), QString());

    // There is room again.
    const int cleared = thread->files(kManual).size();
    if (interval < 0)
        QCOMPARE(cleared, 1);
    QVERIFY(disk.clear());
    QVERIFY(waitFor([&] { return thread->files(kManual).size() > cleared; }, kLongMs));
    QVERIFY(goesOn(150));
    thread->recordStop(kManual);
    QVERIFY(waitFor([&] { return !thread->isWriting(kManual); }, kLongMs));
    const QString resumed = thread->files(kManual).at(cleared);
    counters.clear();
    QCOMPARE(faultOf(resumed, &counters), QString());
    QVERIFY(counters.size() >= 20);
}

void TestRecordDisk::readOnlyFolder_isTriedAgain_atEachKeyPicture()
{
    if (!noMounts.isEmpty())
        QSKIP(qPrintable(noMounts));
    SmallDisk disk(64 * kDiskBytes);
    QVERIFY(disk.isValid() && disk.setReadOnly(true));
    thread->setNames(kManual, disk.path());
    announce(Logger::Error, "^\\(svmp4ff\\)avio open .*/0-\\d+\\.mp4 err -30$");
    announce(Logger::Error, "^\\(svmp4ff\\)creat mp4 err$");
    begin();
    QVERIFY(waitFor([&] { return thread->files(kManual).size() >= 5; }, kLongMs));
    QVERIFY(!thread->isWriting(kManual));
    QVERIFY(disk.setReadOnly(false));
    QVERIFY(waitFor([&] { return thread->isWriting(kManual); }, kLongMs));
    QVERIFY(goesOn(150));
    thread->recordStop(kManual);
    QVERIFY(waitFor([&] { return !thread->isWriting(kManual); }, kLongMs));
    QCOMPARE(faultOf(thread->files(kManual).constLast()), QString());
}

void TestRecordDisk::vanishedFolder_isMadeAgain_forTheNextFile()
{
    const QString folder = dir->filePath(QStringLiteral("gone"));
    thread->setNames(kManual, folder);
    thread->setSaveInterval(kManual, 1);
    begin();
    QVERIFY(waitFor([&] { return thread->isWriting(kManual); }, kLongMs));
    QVERIFY(QDir(folder).removeRecursively());
    const int lost = thread->files(kManual).size();
    QVERIFY(waitFor([&] { return thread->closedFiles(kManual) >= lost + 2; }, kLongMs));
    thread->recordStop(kManual);
    QVERIFY(waitFor([&] { return !thread->isWriting(kManual); }, kLongMs));
    QVector<qint64> counters;
    for (int i = lost; i < thread->files(kManual).size(); ++i)
        QCOMPARE(faultOf(thread->files(kManual).at(i), &counters), QString());
    QCOMPARE(gapsIn(counters), QString());
}

void TestRecordDisk::folderThatCannotBeMade_isTriedAgain()
{
    const QString folder = dir->filePath(QStringLiteral("blocked"));
    QFile obstacle(folder);
    QVERIFY(obstacle.open(QIODevice::WriteOnly));
    obstacle.close();
    thread->setNames(kManual, folder);
    // -2 where the obstacle went between the folder's making and the file's.
    announce(Logger::Error, "^\\(svmp4ff\\)avio open .*/blocked/0-\\d+\\.mp4 err -(20|2)$");
    announce(Logger::Error, "^\\(svmp4ff\\)creat mp4 err$");
    begin();
    QVERIFY(waitFor([&] { return thread->files(kManual).size() >= 5; }, kLongMs));
    QVERIFY(obstacle.remove());
    QVERIFY(waitFor([&] { return thread->isWriting(kManual); }, kLongMs));
    QVERIFY(goesOn(150));
    thread->recordStop(kManual);
    QVERIFY(waitFor([&] { return !thread->isWriting(kManual); }, kLongMs));
    QCOMPARE(faultOf(thread->files(kManual).constLast()), QString());
}

void TestRecordDisk::unknownExtension_makesAProgramStream()
{
    const QString name = dir->filePath(QStringLiteral("name.with.dots"));
    thread->setNames(kManual, [name](int) { return name; });
    thread->setSaveAudio(kManual, false); // a program stream holds no AAC
    log->expect(Logger::Warning, QStringLiteral("(svmp4ff)Could not deduce output format from file "
                                                "extension: using MPEG."));
    begin();
    QVERIFY(waitFor([&] { return thread->isWriting(kManual); }, kLongMs));
    QVERIFY(goesOn(150));
    thread->recordStop(kManual);
    QVERIFY(waitFor([&] { return !thread->isWriting(kManual); }, kLongMs));
    const RecordedFile file = readRecording(name);
    QCOMPARE(file.error, QString());
    QCOMPARE(file.format, QStringLiteral("mpeg"));
    QCOMPARE(gapsIn(file.counters), QString());
}

void TestRecordDisk::slowDisk_holdsUpNothing()
{
    const QString name = dir->filePath(QStringLiteral("pipe.mp4"));
    const QByteArray pipe = QFile::encodeName(name);
    QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
    const int reader = ::open(pipe.constData(), O_RDWR | O_NONBLOCK);
    QVERIFY(reader >= 0);
    const QString taken = dir->filePath(QStringLiteral("taken.mp4"));
    QFile copy(taken);
    QVERIFY(copy.open(QIODevice::WriteOnly));
    thread->setNames(kManual, [name](int) { return name; });
    log->expect(Logger::Warning, QStringLiteral("(svmp4ff)queue is full"));
    begin();

    // Nobody reads the pipe: the writer stands, its queue fills, and the stream is read on.
    QVERIFY(waitFor([&] { return count("queue is full") > 0; }, kLongMs));
    QVERIFY(thread->isWriting(kManual));
    const qint64 before = ProcessLoad::now().residentKiB;
    QVERIFY(goesOn(400));
    QVERIFY(ProcessLoad::now().residentKiB - before < kBoundKiB);
    QVERIFY(thread->saver.at(kManual)->isQueueFull());

    // Now it is read, slowly at first.
    std::atomic<bool> done{false};
    std::thread drain([&] {
        char buffer[4096];
        int slow = 50;
        while (true) {
            const bool last = done;
            const ssize_t got = ::read(reader, buffer, sizeof(buffer));
            if (got > 0)
                copy.write(buffer, got);
            else if (last)
                break;
            if (slow > 0 || got <= 0)
                QThread::msleep(2);
            slow -= got > 0;
        }
    });
    const bool flows = waitFor([&] { return thread->saver.at(kManual)->isQueueEmpty(); }, kLongMs);
    const int full = count("queue is full");
    const bool onAndOn = goesOn(150);
    const int fullNow = count("queue is full");
    thread->recordStop(kManual);
    const bool closed = waitFor([&] { return !thread->isWriting(kManual); }, kLongMs);
    done = true;
    drain.join();
    ::close(reader);
    copy.close();
    QVERIFY(flows && onAndOn && closed);
    QCOMPARE(fullNow, full);

    // There is a hole where the queue was full, and pictures before and behind it.
    const RecordedFile file = readRecording(taken);
    QVERIFY2(file.times.size() > 100, qPrintable(file.error));
}

int main(int argc, char *argv[])
{
    noMounts = enterPrivateMounts();
    QCoreApplication app(argc, argv);
    TestRecordDisk test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_recorddisk.moc"
