// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Recordings of a real stream, begun and ended again and again.
#include "recordingcase.h"
#include "support/processload.h"
#include "support/rounds.h"

#include <QTemporaryDir>

#include <malloc.h>

using namespace vantratest;

namespace {

const QString kCamera = QStringLiteral("cam:h264:pcma:320x240:50:gop=2");
constexpr int kWarmUpRounds = 20;
const int kRounds = roundsOf(200, 60);
constexpr int kFewThreads = 1;
constexpr int kFewHandles = 2;
/// Of the allocator; in 200 rounds, 40 KiB each, which is less than a writer.
constexpr qint64 kNoiseKiB = 8 * 1024;
constexpr int kLongMs = 60000; ///< safeguard

} // namespace

class TestRecordLife : public RecordingCase
{
    Q_OBJECT

private slots:
    void initTestCase();

    void rounds_ofRecordings_leaveThreadsHandlesAndMemoryFlat();
    void rounds_ofThreads_leaveThreadsHandlesAndMemoryFlat();

private:
    RtspServer server;
};

void TestRecordLife::initTestCase()
{
    quietConsole();
    QVERIFY2(server.start({"--camera", kCamera}), qPrintable(server.log()));
}

/// One thread, whose recordings begin and end at other moments in each round.
void TestRecordLife::rounds_ofRecordings_leaveThreadsHandlesAndMemoryFlat()
{
    const QTemporaryDir dir;
    RecordingThread thread(server.url("cam"));
    thread.setNames(kManual, dir.path());
    thread.setNames(kAuto, dir.path());
    thread.setSaveAudio(kAuto, false);
    thread.play();
    const auto round = [&](int number) {
        const int pictures = number % 5 * 4;
        thread.recordStart(kManual);
        if (number % 2)
            thread.recordStart(kAuto);
        if (!waitFor([&] { return thread.isWriting(kManual); }, kLongMs))
            return false;
        const int before = thread.packets();
        if (!waitFor([&] { return thread.packets() >= before + pictures; }, kLongMs))
            return false;
        thread.recordStop(kManual);
        thread.recordStop(kAuto);
        return waitFor([&] { return !thread.isWriting(kManual) && !thread.isWriting(kAuto); },
                       kLongMs);
    };
    for (int i = 0; i < kWarmUpRounds; ++i)
        QVERIFY(round(i));
    const ProcessLoad before = ProcessLoad::now();
    for (int i = 0; i < kRounds; ++i)
        QVERIFY(round(i));
    QCOMPARE(loadLeftBehind(before, kFewThreads, kFewHandles, kNoiseKiB), QString());
    end(&thread);

    const QStringList files = thread.files(kManual);
    QCOMPARE(files.size(), kWarmUpRounds + kRounds);
    QCOMPARE(thread.closedFiles(kManual), files.size());
    QCOMPARE(thread.closedFiles(kAuto), thread.files(kAuto).size());
    for (const QString &name : files + thread.files(kAuto)) {
        const RecordedFile file = readRecording(name);
        QVERIFY2(file.error.isEmpty(), qPrintable(name + file.error));
        QCOMPARE(gapsIn(file.counters), QString());
        QVERIFY(file.keys.value(0));
    }
}

/// Threads that come and go while they record.
void TestRecordLife::rounds_ofThreads_leaveThreadsHandlesAndMemoryFlat()
{
    constexpr int kThreadRounds = 20;
    const QTemporaryDir dir;
    const auto round = [&](int number) {
        RecordingThread thread(server.url("cam"));
        thread.setNames(kManual, dir.filePath(QString::number(number)));
        thread.setNames(kAuto, dir.filePath(QString::number(number)));
        thread.recordStart(kManual);
        thread.recordStart(kAuto);
        thread.play();
        if (!waitFor([&] { return thread.isWriting(kManual) && thread.packets() > 20; }, kLongMs))
            return false;
        if (number % 2)
            end(&thread);
        return true; // else it is destroyed while it writes
    };
    log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
    for (int i = 0; i < 3; ++i)
        QVERIFY(round(i));
    const ProcessLoad before = ProcessLoad::now();
    for (int i = 0; i < kThreadRounds; ++i)
        QVERIFY(round(3 + i));
    QCOMPARE(loadLeftBehind(before, kFewThreads, kFewHandles, kNoiseKiB), QString());
    for (int i = 0; i < kThreadRounds + 3; ++i)
        QCOMPARE(readRecording(dir.filePath(QStringLiteral("%1/0-0.mp4").arg(i))).error, QString());
}

int main(int argc, char *argv[])
{
    // Memory that is free goes back, so that what stays is held by somebody.
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
    mallopt(M_TRIM_THRESHOLD, 64 * 1024);
    QCoreApplication app(argc, argv);
    TestRecordLife test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_recordlife.moc"
