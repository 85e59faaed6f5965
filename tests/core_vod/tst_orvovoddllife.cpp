// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Downloads that are stopped, that meet a slow disk, and whose device means harm.
#include "downloadcase.h"

#include "core_videobase/threadframebuffer_p.h"

#include <QFile>

#include <atomic>
#include <cstring>
#include <limits>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vantratest;

class TestOrvoVodDLLife : public DownloadCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void run_forgetsTheLastOne();
    void stopAtAnyMoment_leavesWholeFiles_data();
    void stopAtAnyMoment_leavesWholeFiles();
    void destruction_leavesAWholeFile();
    void startAndStop_manyTimes_leaveNothingBehind();
    void fastDevice_waitsForTheDisk();
    void stuckDisk_holdsTheDeviceBack_andLosesNothing();
    void stop_whileTheDiskIsStuck_closesTheDevice();
    void stop_withinACallOfTheDevice_leavesWholeFiles_data();
    void stop_withinACallOfTheDevice_leavesWholeFiles();
    void question_comesWithAnEmptyRecord();
    void hostileFrames_failAlone();
    void hostileStamps_doNoHarm();
    void hostileForms_doNoHarm_data();
    void hostileForms_doNoHarm();

private:
    /// Has the first file written into a pipe, and so at the pace of who reads it. From the first
    /// picture on; returns once the writer is held up with all that it may hold.
    bool holdUpTheDisk(int pictures);
    /// Lets the writer go on, until it is done.
    QString drained();

    std::unique_ptr<QFile> pipe;
};

// --- Life ---------------------------------------------------------------------------------------

void TestOrvoVodDLLife::run_forgetsTheLastOne()
{
    announceSteps();
    sendPictures(0, 12, at(10, 0, 0));
    sendEnd();
    run();
    describeOnce(HRetRefused); // and the form of the last run does not help
    sendPictures(0, 2, at(9, 0, 0));
    recorder->clear();
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "error", "finsh"}));
    recorder->clear();
    script->clearCalls();
    const FrameBuffer frame = makeFrameBuffer();
    while (script->pending(Op::vodReadDLFrame) > 0)
        thread->readFrame(frame.get(), 1);
    sendPictures(0, 30, at(9, 0, 0)); // earlier than the first time
    send(picture(0, at(9, 0, 2)));
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(progress(), QVector<qint64>{at(9, 0, 1, 40)});
    QCOMPARE(files(), QStringList({"20260314T090000_20260314T090002_3.mp4",
                                   "20260314T100000_20260314T100000_3.mp4"}));
}

void TestOrvoVodDLLife::stopAtAnyMoment_leavesWholeFiles_data()
{
    QTest::addColumn<int>("reads");
    for (const int reads : {0, 1, 2, 3, 10, 11, 12, 17, 25, 40, 58})
        QTest::addRow("after %d reads", reads) << reads;
}

void TestOrvoVodDLLife::stopAtAnyMoment_leavesWholeFiles()
{
    QFETCH(int, reads);
    thread->setSaveInterval(1);
    thread->setReadTimeout(2000);
    for (int i = 0; i < 60; ++i) {
        DeviceAnswer answer(picture(i, at(10, 0, 0) + i * 100));
        // Then slowly, so that the stop comes in between.
        answer.first = [i, reads] { QThread::msleep(i < reads ? 0 : 5); };
        send(answer);
    }
    thread->startDL();
    QVERIFY(waitFor([&] { return script->count(Op::vodReadDLFrame) >= reads; }));
    thread->stopDL();
    QVERIFY(thread->isFinished());
    QCOMPARE(recorder->names().last(), QStringLiteral("finsh"));
    QVERIFY(!ok());
    QVector<int> pictures;
    const QRegularExpression name("^20260314T10000\\d_20260314T10000\\d_3\\.mp4$");
    for (const QString &file : files()) {
        QVERIFY2(name.match(file).hasMatch(), qPrintable(file));
        const RecordedFile recorded = read(file);
        QCOMPARE(recorded.error, QString());
        QVERIFY(recorded.keys.value(0));
        pictures += recorded.pictures;
    }
    QVERIFY2(pictures.size() >= reads - 1, qPrintable(QString::number(pictures.size())));
    QCOMPARE(pictures, numbers(0, pictures.size()));
}

/// Of the class as hosts have it: the probe of the other tests stops by itself.
void TestOrvoVodDLLife::destruction_leavesAWholeFile()
{
    sendPictures(0, 12, at(10, 0, 0));
    auto download = std::make_unique<OrvoVodDLThread>();
    recorder->watch(download.get(), &AbstractVideoDLThread::sig_downloadStart, "start");
    recorder->watch(download.get(), &AbstractVideoDLThread::sig_downloadFinsh, "finsh");
    QVERIFY(download->bindDevice(scriptedDevice(script), kChannel));
    download->setSavePath(folder->path());
    download->setDateTime(QDateTime(day(), QTime(9, 0)), QDateTime(day(), QTime(23, 0)));
    download->setReadTimeout(2000);
    thread->makeSaveSubDir();
    download->startDL();
    QVERIFY(waitFor([&] { return script->count(Op::vodReadDLFrame) > 12; }));
    download.reset();
    QCOMPARE(files(), QStringList{"20260314T100000_20260314T100000_3.mp4"});
    QCOMPARE(read(files().first()).pictures, numbers(0, 12));
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
}

void TestOrvoVodDLLife::startAndStop_manyTimes_leaveNothingBehind()
{
    announceSteps();
    constexpr int kTimes = 60;
    thread->setReadTimeout(50);
    for (int i = 0; i < kTimes; ++i) {
        sendPictures(0, 30, at(10, 0, 0)); // what is left over goes to the next one
        const int reads = script->count(Op::vodReadDLFrame) + i % 12;
        thread->startDL();
        QVERIFY(waitFor([&] { return script->count(Op::vodReadDLFrame) >= reads; }));
        thread->stopDL();
        QVERIFY(!thread->isRunning());
        QVERIFY(!thread->saver->isRunning());
    }
    QCOMPARE(recorder->count("finsh"), recorder->count("start"));
    QCOMPARE(script->count(Op::vodDownloadStart), script->count(Op::vodDownloadStop));
    QCOMPARE(script->count(Op::vodDownloadStop), kTimes);
    for (const QString &file : files()) {
        QVERIFY2(file.endsWith(QLatin1String("_3.mp4")), qPrintable(file));
        QCOMPARE(read(file).error, QString());
    }
}

/// Many times what the writer's queue holds, at once: nothing is dropped.
void TestOrvoVodDLLife::fastDevice_waitsForTheDisk()
{
    constexpr int kPictures = 1500;
    sendPictures(0, kPictures, at(10, 0, 0));
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(files().size(), 1);
    QCOMPARE(read(files().first()).pictures, numbers(0, kPictures));
    QVERIFY(!log->countMatching(Logger::Warning, QRegularExpression("queue is full")));
}

bool TestOrvoVodDLLife::holdUpTheDisk(int pictures)
{
    constexpr int kPipeBytes = 4096;
    std::atomic<bool> isPipe{false};
    DeviceAnswer first(picture(0, at(10, 0, 0)));
    first.first = [this, &isPipe] {
        const QByteArray name = (thread->saveDir + "/20260314T100000.mp4").toUtf8();
        if (mkfifo(name.constData(), 0600) != 0)
            return;
        pipe = std::make_unique<QFile>();
        const int end = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        isPipe = end >= 0 && pipe->open(end, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle) &&
                 fcntl(end, F_SETPIPE_SZ, kPipeBytes) >= 0 && fcntl(end, F_SETFL, 0) == 0;
    };
    send(first);
    sendPictures(1, pictures - 1, at(10, 0, 0) + kFrameMs);
    sendEnd();
    thread->startDL();
    return waitFor([&] { return thread->saver->isQueueFull(); }) && isPipe;
}

QString TestOrvoVodDLLife::drained()
{
    const QString name = folder->filePath(QStringLiteral("drained.mp4"));
    QFile file(name);
    QByteArray bytes(65536, 0);
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    for (;;) {
        const ssize_t count = ::read(pipe->handle(), bytes.data(), size_t(bytes.size()));
        if (count <= 0)
            return name;
        file.write(bytes.constData(), count);
    }
}

void TestOrvoVodDLLife::stuckDisk_holdsTheDeviceBack_andLosesNothing()
{
    constexpr int kPictures = 600;
    QVERIFY(holdUpTheDisk(kPictures));
    QVERIFY(script->pending(Op::vodReadDLFrame) > 0);
    const QString file = drained();
    QVERIFY(thread->wait(20000));
    QVERIFY(ok());
    QCOMPARE(readRecording(file).pictures, numbers(0, kPictures));
    QVERIFY(!log->countMatching(Logger::Warning, QRegularExpression("queue is full")));
}

/// What the device waits for is not what the disk waits for.
void TestOrvoVodDLLife::stop_whileTheDiskIsStuck_closesTheDevice()
{
    constexpr int kPictures = 600;
    QVERIFY(holdUpTheDisk(kPictures));
    std::thread host([this] { thread->stopDL(); });
    const bool closed = waitFor([&] { return script->count(Op::vodDownloadStop) > 0; });
    // It gets its name only once it is whole.
    const QStringList names = QDir(thread->saveDir).entryList(QDir::System);
    const QString file = drained();
    host.join();
    QVERIFY(closed);
    QCOMPARE(names, QStringList{"20260314T100000.mp4"});
    QVERIFY(thread->isFinished());
    QVERIFY(!ok());
    const QVector<int> pictures = readRecording(file).pictures;
    QVERIFY(pictures.size() >= 100);
    QCOMPARE(pictures, numbers(0, pictures.size()));
}

void TestOrvoVodDLLife::stop_withinACallOfTheDevice_leavesWholeFiles_data()
{
    QTest::addColumn<int>("operation");
    QTest::addColumn<int>("call");
    QTest::addColumn<bool>("success");
    QTest::addColumn<int>("pictures");
    QTest::newRow("start") << int(Op::vodDownloadStart) << 0 << false << 0;
    QTest::newRow("first read") << int(Op::vodReadDLFrame) << 0 << false << 1;
    QTest::newRow("form of the first file") << int(Op::vodGetDownloadSdp) << 0 << false << 1;
    QTest::newRow("last read of a file") << int(Op::vodReadDLFrame) << 9 << false << 10;
    QTest::newRow("read of a key picture") << int(Op::vodReadDLFrame) << 10 << false << 11;
    QTest::newRow("whether the form is new") << int(Op::vodGetDownloadSdp) << 1 << false << 11;
    QTest::newRow("form of the next file") << int(Op::vodGetDownloadSdp) << 2 << false << 11;
    QTest::newRow("end") << int(Op::vodReadDLFrame) << 20 << true << 20;
    QTest::newRow("close") << int(Op::vodDownloadStop) << 0 << true << 20;
}

void TestOrvoVodDLLife::stop_withinACallOfTheDevice_leavesWholeFiles()
{
    QFETCH(int, operation);
    QFETCH(int, call);
    QFETCH(bool, success);
    QFETCH(int, pictures);
    std::atomic<bool> isThere{false};
    const auto add = [&](Op op, int number, DeviceAnswer answer) {
        if (op == Op(operation) && number == call) {
            answer.first = [this, &isThere] {
                isThere = true;
                while (!thread->isStop)
                    QThread::msleep(1);
            };
        }
        script->enqueue(op, answer);
    };
    add(Op::vodDownloadStart, 0, HRetOk);
    for (int i = 0; i < 20; ++i)
        add(Op::vodReadDLFrame, i, picture(i, at(10, 0, 0) + i * 150));
    add(Op::vodReadDLFrame, 20, HRetEndOfFile);
    for (int i = 0; i < 3; ++i)
        add(Op::vodGetDownloadSdp, i, sdp());
    add(Op::vodDownloadStop, 0, HRetOk);
    thread->setSaveInterval(1);
    thread->startDL();
    QVERIFY(waitFor([&] { return isThere.load(); }));
    thread->stopDL();
    QVERIFY(thread->isFinished());
    QCOMPARE(recorder->count("start"), 1);
    QCOMPARE(recorder->names().last(), QStringLiteral("finsh"));
    QCOMPARE(ok(), success);
    QCOMPARE(script->count(Op::vodDownloadStop), 1);
    QStringList names{"20260314T100000_20260314T100001_3.mp4",
                      "20260314T100001_20260314T100002_3.mp4"};
    if (pictures == 1)
        names = QStringList{"20260314T100000_20260314T100000_3.mp4"};
    else if (pictures == 11)
        names[1] = QStringLiteral("20260314T100001_20260314T100001_3.mp4");
    QCOMPARE(files(), names.mid(0, (pictures + 9) / 10));
    QVector<int> found;
    for (const QString &file : files())
        found += read(file).pictures;
    QCOMPARE(found, numbers(0, pictures));
}

// --- Hostile devices ----------------------------------------------------------------------------

namespace {

/// Keeps the records in which it was asked to describe a download.
class AskedDevice final : public DeviceBackend
{
    Q_DISABLE_COPY(AskedDevice)

public:
    AskedDevice(const VodSdp &answer, QVector<VodSdp> *asked) : m_answer(answer), m_asked(asked) {}
    HRetError vodGetDownloadSdp(unsigned int, VodSdp &sdp) override
    {
        m_asked->append(sdp);
        sdp = m_answer;
        return m_asked->size() < 4 ? HRetOk : HRetBusy; // what it fills in all the same
    }

private:
    const VodSdp m_answer;
    QVector<VodSdp> *const m_asked;
};

} // namespace

void TestOrvoVodDLLife::question_comesWithAnEmptyRecord()
{
    announceSteps();
    expectError(QStringLiteral("vod get dl sdp err"));
    QVector<VodSdp> asked;
    thread->bindDevice(
        QSharedPointer<HNetDevice>::create(std::make_unique<AskedDevice>(sdp(), &asked)), kChannel);
    thread->makeSaveSubDir();
    const FrameBuffer frame = makeFrameBuffer();
    frame->frameType = HFrameHeader::VideoKeyFrame;
    const QByteArray payload = picture(0, 0).payload;
    frame->frameSize = quint32(payload.size());
    memcpy(frame->payload(), payload.constData(), size_t(payload.size()));
    for (int i = 0; i < 4; ++i) {
        frame->pts = at(10, 0, i);
        QCOMPARE(thread->handleSaveMP4(frame.get()), 0);
    }
    thread->saver->stop();
    // Once for the file, at each further key picture, and again for the file after the failure.
    QCOMPARE(asked.size(), 5);
    for (const VodSdp &record : asked) {
        QVERIFY(!record.hasVideo && !record.hasAudio);
        QCOMPARE(record.sdpMark, 0);
        QCOMPARE(record.video.width, 0);
        QCOMPARE(record.audio.sampleRate, 0);
        QCOMPARE(record.audio.channels, 1);
    }
}

void TestOrvoVodDLLife::hostileFrames_failAlone()
{
    announceSteps();
    log->expectMatching(Logger::Error,
                        QRegularExpression("^\\(svmp4ff\\)find av stream \\(0:-1\\) err$"));
    log->expectMatching(Logger::Error, QRegularExpression("^\\(svmp4ff\\)write video （.*"));
    const qint64 t = at(10, 0, 0);
    QVector<ScriptedFrame> frames;
    for (int i = 0; i < 30; ++i)
        frames << picture(i, t + i * kFrameMs);
    ScriptedFrame unknown = picture(1, t);
    unknown.header.frameType = 5;
    send(unknown); // before the first key picture nobody looks at it
    ScriptedFrame tooLong = picture(1, t);
    tooLong.header.frameSize = std::numeric_limits<quint32>::max();
    ScriptedFrame empty = picture(1, t);
    empty.header.frameSize = 0;
    for (int i = 0; i < 30; ++i) {
        send(frames.at(i));
        if (i == 12)
            send(unknown);
        if (i == 24)
            send(tooLong);
        if (i == 26)
            send(empty);
    }
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(svmp4ff)find av stream (0:-1) err")), 1);
    QCOMPARE(read(files().value(0)).pictures, numbers(0, 30));
}

void TestOrvoVodDLLife::hostileStamps_doNoHarm()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(svmp4ff\\)"));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(svmp4ff\\)"));
    constexpr qint64 kLeast = std::numeric_limits<qint64>::min();
    constexpr qint64 kMost = std::numeric_limits<qint64>::max();
    thread->setSaveInterval(std::numeric_limits<int>::max());
    for (const qint64 pts : {qint64(0), kLeast, kMost, qint64(-1), kMost, kLeast, qint64(5)}) {
        for (const int number : {0, 1, 10})
            send(picture(number, pts));
    }
    sendEnd();
    run();
    QVERIFY(ok());
    const QRegularExpression name("^20260314T\\d{6}_20260314T\\d{6}_3\\.mp4$");
    QVERIFY(!files().isEmpty());
    for (const QString &file : files())
        QVERIFY2(name.match(file).hasMatch(), qPrintable(file));
}

void TestOrvoVodDLLife::hostileForms_doNoHarm_data()
{
    QTest::addColumn<VodSdp>("form");
    constexpr int kMost = std::numeric_limits<int>::max();
    VodSdp form = sdp();
    form.video.width = form.video.height = kMost;
    QTest::newRow("largest picture") << form;
    form.video.width = form.video.height = 1;
    QTest::newRow("smallest picture") << form;
    form = sdp();
    form.audio.sampleRate = form.audio.bitsPerSample = form.audio.channels = kMost;
    QTest::newRow("most sound") << form;
    form.audio.sampleRate = form.audio.bitsPerSample = form.audio.channels = 1;
    QTest::newRow("least sound") << form;
    form = sdp();
    form.audio.channels = 256;
    QTest::newRow("channels beyond a byte") << form;
    form = sdp();
    form.sdpMark = std::numeric_limits<int>::min();
    form.video.codecId = HCodecH265;
    QTest::newRow("another codec than that of the frames") << form;
}

/// Whatever a device tells, the recording is fetched to its end.
void TestOrvoVodDLLife::hostileForms_doNoHarm()
{
    QFETCH(VodSdp, form);
    log->expectMatching(Logger::Error, QRegularExpression("^\\(svmp4ff\\)"));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(svmp4ff\\)"));
    thread->setSaveAudio(true);
    describeOnce(form);
    for (int i = 0; i < 40; ++i) {
        DeviceAnswer answer(picture(i, at(10, 0, 0) + i * 400));
        if (i == 15)
            answer.first = [&] { describe(form); };
        if (i == 25)
            answer.first = [&] { describe(sdp()); };
        send(answer);
        send(sound(i, at(10, 0, 0) + i * 400));
    }
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(recorder->count("error"), 0);
    QVERIFY(!thread->saver->isRunning());
    // What it tells in between is no harm to what comes before and after.
    QCOMPARE(read("20260314T100004_20260314T100008_3.mp4").pictures, numbers(10, 10));
    QCOMPARE(read("20260314T100012_20260314T100015_3.mp4").pictures, numbers(0, 10));
}

int main(int argc, char *argv[])
{
    return runInNewYork<TestOrvoVodDLLife>(argc, argv);
}
#include "tst_orvovoddllife.moc"
