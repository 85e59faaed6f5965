// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The live thread of a device that sends by RTSP, with a scripted device and a real server.

#include "core_live/ffrtsplivethread.h"

#include "core_videosave/recordedfile.h"
#include "support/loggedtest.h"
#include "support/rtspserver.h"
#include "support/scriptedbackend.h"
#include "support/waitfor.h"

#include <QDirIterator>
#include <QTemporaryDir>
#include <QtTest>

extern "C" {
#include <libavutil/log.h>
}

using namespace vantratest;
using Op = DeviceScript::Op;

namespace {

constexpr auto kManual = AbstractVideoThread::MANUAL_RECORD;
constexpr auto kAuto = AbstractVideoThread::AUTO_RECORD;

/// Opens the inside to the tests.
class OpenThread final : public FFRtspLiveThread
{
public:
    ~OpenThread() override { endRun(); }

    using FFRtspLiveThread::curVideoPara;
    using FFRtspLiveThread::getLatestRecordCodec;
    using FFRtspLiveThread::parseVideoUrl;
};

HVideoEncPara video(int width, int height)
{
    HVideoEncPara para;
    para.codecId = HCodecH264;
    para.width = width;
    para.height = height;
    return para;
}

HAudioEncPara aLaw()
{
    HAudioEncPara para;
    para.codecId = HCodecG711A;
    para.sampleRate = 8000;
    para.bitsPerSample = 16;
    return para;
}

} // namespace

class TestFFRtspLiveThread : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void thread_isBoundToADevice_andNamed();
    void parseVideoUrl_takesTheAddressOfItsStream_data();
    void parseVideoUrl_takesTheAddressOfItsStream();
    void parseVideoUrl_fails_beyondTheAddresses_data();
    void parseVideoUrl_fails_beyondTheAddresses();
    void parseVideoUrl_fails_withoutDevice();
    void latestCodec_isThatOfTheDevice();
    void latestCodec_fails_withTheDevice();
    void fileName_tellsDayAndBegin();
    void fileName_ofASecondStream_isAnother();
    void rename_tellsBeginEndAndChannel();
    void rename_ofAFileThatIsGone_isTold();

    void open_fails_withoutDevice_andIsTriedAgain();
    void address_isAskedAtEachOpen();
    void recordings_areNamed_andWhole();
    void codecChange_cutsTheRecordings_andRestarts();
    void deletedWhileRecording_leavesWholeFiles();

protected:
    void setUp() override
    {
        script = std::make_shared<DeviceScript>();
        device = scriptedDevice(script);
    }
    void tearDown() override
    {
        device.reset();
        script.reset();
    }

private:
    QStringList files(const QTemporaryDir &dir) const
    {
        QStringList paths;
        QDirIterator it(dir.path(), {QStringLiteral("*.mp4")}, QDir::Files,
                        QDirIterator::Subdirectories);
        while (it.hasNext())
            paths << it.next();
        paths.sort();
        return paths;
    }
    bool startCamera()
    {
        return server.start(
            {QStringLiteral("--camera"), QStringLiteral("cam:h264:pcma:320x192:gop=12")});
    }
    /// A thread for channel 1, stream 1 of a device with two of each, whose address it is.
    std::unique_ptr<OpenThread> newThread(const QTemporaryDir &dir, const QString &url)
    {
        script->setAnswer(Op::getStreamCountPerChannel, 2);
        script->setAnswer(Op::getRtspUrls, QStringList({QString(), QString(), QString(), url}));
        script->setAnswer(Op::getCodecInfo, DeviceAnswer(video(320, 192), aLaw()));
        auto thread = std::make_unique<OpenThread>();
        thread->bindDevice(device);
        thread->setStreamChannel(1, 1);
        thread->setOpenSleepTime(100);
        thread->setConnectTimeout(20000);
        for (const auto type : {kManual, kAuto})
            thread->setSavePath(type, dir.path());
        return thread;
    }
    void end(OpenThread *thread)
    {
        announceEnd();
        thread->stop();
        QVERIFY(waitFor([&] { return thread->isFinished(); }));
        QVERIFY(thread->wait());
    }
    void announceEnd()
    {
        log->expect(Logger::Warning, QStringLiteral("(ffvdthr)try to stop"));
        log->expectMatching(Logger::Error,
                            QRegularExpression(QStringLiteral(
                                "^\\(ffvdthr\\)(read frame|open input|find stream) err")));
    }

    std::shared_ptr<DeviceScript> script;
    QSharedPointer<HNetDevice> device;
    RtspServer server;
};

void TestFFRtspLiveThread::initTestCase()
{
    quietConsole();
    av_log_set_level(AV_LOG_QUIET);
}

void TestFFRtspLiveThread::thread_isBoundToADevice_andNamed()
{
    FFRtspLiveThread thread;
    QCOMPARE(thread.objectName(), QStringLiteral("FFRtspLiveThread"));
    AbstractVideoThread *base = &thread;
    auto *binding = dynamic_cast<DeviceInterface *>(base);
    QVERIFY(binding);
    QCOMPARE(binding->bindDevice(device), 0);
    QCOMPARE(thread.device, device);
    QVERIFY(!binding->isStreamExceedMax());
    QVERIFY(script->calls().isEmpty());
}

void TestFFRtspLiveThread::parseVideoUrl_takesTheAddressOfItsStream_data()
{
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("stream");
    QTest::addColumn<QString>("url");
    QTest::newRow("first") << 0 << 0 << "rtsp://a/0";
    QTest::newRow("sub stream") << 0 << 1 << "rtsp://a/1";
    QTest::newRow("second channel") << 1 << 0 << "rtsp://a/2";
    QTest::newRow("last") << 1 << 1 << "rtsp://a/3";
}

void TestFFRtspLiveThread::parseVideoUrl_takesTheAddressOfItsStream()
{
    QFETCH(int, channel);
    QFETCH(int, stream);
    script->setAnswer(Op::getStreamCountPerChannel, 2);
    script->setAnswer(Op::getRtspUrls,
                      QStringList({QStringLiteral("rtsp://a/0"), QStringLiteral("rtsp://a/1"),
                                   QStringLiteral("rtsp://a/2"), QStringLiteral("rtsp://a/3")}));
    OpenThread thread;
    thread.bindDevice(device);
    thread.setStreamChannel(channel, stream);
    QVERIFY(thread.parseVideoUrl());
    QTEST(thread.getVideoUrl(), "url");
    QCOMPARE(script->texts(), QStringList({QStringLiteral("getStreamCountPerChannel()"),
                                           QStringLiteral("getRtspUrls()")}));
}

void TestFFRtspLiveThread::parseVideoUrl_fails_beyondTheAddresses_data()
{
    QTest::addColumn<int>("perChannel");
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("stream");
    QTest::addColumn<int>("urls");
    QTest::addColumn<int>("index");
    QTest::newRow("one is missing") << 2 << 1 << 1 << 3 << 3;
    QTest::newRow("none") << 1 << 0 << 0 << 0 << 0;
    QTest::newRow("below") << 2 << -1 << 1 << 3 << -1;
    QTest::newRow("far beyond") << 2147483647 << 2147483647 << 0 << 3 << -1;
}

void TestFFRtspLiveThread::parseVideoUrl_fails_beyondTheAddresses()
{
    QFETCH(int, perChannel);
    QFETCH(int, channel);
    QFETCH(int, stream);
    QFETCH(int, urls);
    QFETCH(int, index);
    script->setAnswer(Op::getStreamCountPerChannel, perChannel);
    QStringList addresses;
    for (int i = 0; i < urls; ++i)
        addresses << QStringLiteral("rtsp://a/%1").arg(i);
    script->setAnswer(Op::getRtspUrls, addresses);
    OpenThread thread;
    thread.bindDevice(device);
    thread.setStreamChannel(channel, stream);
    thread.setVideoUrl(QStringLiteral("rtsp://before"));
    const QString text = QStringLiteral("(ffrlthr)get urls (%1:%2)  fail").arg(urls).arg(index);
    log->expect(Logger::Error, text);
    QVERIFY(!thread.parseVideoUrl());
    QCOMPARE(log->count(Logger::Error, text), 1);
    QCOMPARE(thread.getVideoUrl(), QStringLiteral("rtsp://before"));
}

void TestFFRtspLiveThread::parseVideoUrl_fails_withoutDevice()
{
    OpenThread thread;
    log->expect(Logger::Error, QStringLiteral("(ffrlthr)dev is null"));
    QVERIFY(!thread.parseVideoUrl());
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(ffrlthr)dev is null")), 1);
}

void TestFFRtspLiveThread::latestCodec_isThatOfTheDevice()
{
    script->setAnswer(Op::getCodecInfo, DeviceAnswer(video(704, 576), aLaw()), {2, 1});
    OpenThread thread;
    thread.bindDevice(device);
    thread.setStreamChannel(2, 1);
    HVideoEncPara v;
    HAudioEncPara a;
    QCOMPARE(thread.getLatestRecordCodec(v, a), 0);
    QVERIFY(v == video(704, 576) && a == aLaw());
    QCOMPARE(script->texts().size(), 1);
    QVERIFY(log->lines().isEmpty());
}

void TestFFRtspLiveThread::latestCodec_fails_withTheDevice()
{
    OpenThread thread;
    HVideoEncPara v;
    HAudioEncPara a;
    log->expect(Logger::Error, QStringLiteral("(ffrlthr)dev is null"));
    QCOMPARE(thread.getLatestRecordCodec(v, a), -1);
    QCOMPARE(log->missing(), QStringList());

    script->setAnswer(Op::getCodecInfo, 23);
    thread.bindDevice(device);
    log->expect(Logger::Error, QStringLiteral("(ffrlthr)get codec err 23"));
    QCOMPARE(thread.getLatestRecordCodec(v, a), -1);
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(!v.isValid() && !a.isValid());
}

void TestFFRtspLiveThread::fileName_tellsDayAndBegin()
{
    QTemporaryDir dir;
    OpenThread thread;
    thread.setSavePath(kAuto, dir.path());
    const QDateTime before = QDateTime::currentDateTime();
    thread.setMP4FileName(kAuto);
    const QDateTime after = QDateTime::currentDateTime();
    const QString name = thread.getFileName(kAuto);
    const auto named = [&](const QDateTime &time) {
        return time.toString(QStringLiteral("yyyy-MM-dd'/live/'yyyyMMddTHHmmss'.mp4'"));
    };
    QVERIFY2(name == dir.filePath(named(before)) || name == dir.filePath(named(after)),
             qPrintable(name));
    QVERIFY(QFileInfo(QFileInfo(name).path()).isDir());
    QVERIFY(!QFileInfo::exists(name));
    QVERIFY(thread.getFileName(kManual).isEmpty());
    thread.setMP4FileName(static_cast<AbstractVideoThread::RecordType>(2)); // nothing
}

void TestFFRtspLiveThread::fileName_ofASecondStream_isAnother()
{
    // Both record into one folder and begin in one second.
    QTemporaryDir dir;
    OpenThread first;
    OpenThread second;
    first.setSavePath(kManual, dir.path());
    second.setSavePath(kManual, dir.path());
    for (int round = 0; round < 3; ++round) {
        first.setMP4FileName(kManual);
        QFile file(first.getFileName(kManual));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::NewOnly) && file.write("x") == 1);
        file.close();
        second.setMP4FileName(kManual);
        QVERIFY(second.getFileName(kManual) != first.getFileName(kManual));
        QVERIFY(!QFileInfo::exists(second.getFileName(kManual)));
    }
}

void TestFFRtspLiveThread::rename_tellsBeginEndAndChannel()
{
    QTemporaryDir dir;
    OpenThread thread;
    thread.setStreamChannel(5, 1);
    thread.setSavePath(kManual, dir.path());
    thread.setMP4FileName(kManual);
    const QString name = thread.getFileName(kManual);
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    thread.renameMP4File(kManual);
    QVERIFY(!QFileInfo::exists(name));
    const QStringList left = files(dir);
    QCOMPARE(left.size(), 1);
    QVERIFY2(
        QRegularExpression(
            QStringLiteral("^%1_\\d{8}T\\d{6}_5\\.mp4$").arg(QFileInfo(name).completeBaseName()))
            .match(QFileInfo(left.first()).fileName())
            .hasMatch(),
        qPrintable(left.first()));
    QCOMPARE(thread.getFileName(kManual), name);
}

void TestFFRtspLiveThread::rename_ofAFileThatIsGone_isTold()
{
    QTemporaryDir dir;
    OpenThread thread;
    const QString name = dir.filePath(QStringLiteral("a.mp4"));
    thread.setFileName(kManual, name);
    const QString text = QStringLiteral("(ffrlthr)%1 not exist").arg(name);
    log->expect(Logger::Warning, text);
    thread.renameMP4File(kManual);
    QCOMPARE(log->count(Logger::Warning, text), 1);
    QCOMPARE(thread.getFileName(kManual), name);
}

void TestFFRtspLiveThread::open_fails_withoutDevice_andIsTriedAgain()
{
    OpenThread thread;
    thread.setOpenSleepTime(100);
    const QString text = QStringLiteral("(ffrlthr)dev is null");
    log->expect(Logger::Error, text);
    thread.play();
    QVERIFY(waitFor([&] { return log->count(Logger::Error, text) >= 4; }));
    QVERIFY(!thread.getIsOk());
    end(&thread);
    // Without an address nothing is probed or opened.
    for (const auto &line : log->lines())
        QVERIFY2(line.text == text || line.text == QLatin1String("(ffvdthr)teminate ff thr"),
                 qPrintable(line.text));
}

void TestFFRtspLiveThread::address_isAskedAtEachOpen()
{
    QTemporaryDir dir;
    QVERIFY2(startCamera(), qPrintable(server.log()));
    const auto thread =
        newThread(dir, QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(refusedPort()));
    thread->play();
    QVERIFY(waitFor([&] { return script->count(Op::getRtspUrls) >= 2; }));
    QVERIFY(!thread->getIsOk());
    script->setAnswer(Op::getRtspUrls, QStringList({QString(), QString(), QString(),
                                                    server.url(QStringLiteral("cam"))}));
    QVERIFY2(waitFor([&] { return thread->getIsOk(); }), qPrintable(server.log()));
    QCOMPARE(thread->getVideoUrl(), server.url(QStringLiteral("cam")));
    end(thread.get());
}

void TestFFRtspLiveThread::recordings_areNamed_andWhole()
{
    QTemporaryDir dir;
    QVERIFY2(startCamera(), qPrintable(server.log()));
    const auto thread = newThread(dir, server.url(QStringLiteral("cam")));
    thread->setSaveInterval(kManual, 1);
    thread->setSaveAudio(kManual, false);
    thread->recordStart(kManual);
    thread->play();
    QVERIFY2(waitFor([&] { return files(dir).size() >= 3; }, 60000), qPrintable(server.log()));
    end(thread.get());
    const QStringList left = files(dir);
    qint64 last = -1;
    for (const QString &file : left) {
        QVERIFY2(QRegularExpression(QStringLiteral("/\\d{8}T\\d{6}_\\d{8}T\\d{6}_1\\.mp4$"))
                     .match(file)
                     .hasMatch(),
                 qPrintable(file));
        QCOMPARE(complaintsAbout(file), QString());
        const RecordedFile read = readRecording(file);
        QCOMPARE(read.error, QString());
        QCOMPARE(read.streams, 1);
        QVERIFY(read.keys.value(0));
        for (const qint64 counter : read.counters) {
            QVERIFY(counter >= 0 && (last < 0 || counter == last + 1));
            last = counter;
        }
    }
}

void TestFFRtspLiveThread::codecChange_cutsTheRecordings_andRestarts()
{
    QTemporaryDir dir;
    QVERIFY2(startCamera(), qPrintable(server.log()));
    const auto thread = newThread(dir, server.url(QStringLiteral("cam")));
    thread->recordStart(kManual);
    thread->recordStart(kAuto);
    thread->play();
    QVERIFY2(waitFor([&] { return files(dir).size() == 2; }, 60000), qPrintable(server.log()));
    HAudioEncPara other = aLaw();
    other.bitsPerSample = 8;
    script->setAnswer(Op::getCodecInfo, DeviceAnswer(video(320, 192), other));
    const QString restart = QStringLiteral("(ffvdthr)restart ff thr");
    QVERIFY(waitFor([&] { return log->count(Logger::Info, restart) == 1; }));
    QVERIFY2(waitFor([&] { return files(dir).size() == 4; }, 60000), qPrintable(server.log()));
    end(thread.get());
    QCOMPARE(log->count(Logger::Info, restart), 1);
    const QStringList left = files(dir);
    QCOMPARE(left.size(), 4);
    for (const QString &file : left) {
        QCOMPARE(complaintsAbout(file), QString());
        const RecordedFile read = readRecording(file);
        QCOMPARE(read.error, QString());
        QCOMPARE(read.streams, 2);
        QVERIFY(!read.counters.isEmpty());
    }
}

void TestFFRtspLiveThread::deletedWhileRecording_leavesWholeFiles()
{
    QTemporaryDir dir;
    QVERIFY2(startCamera(), qPrintable(server.log()));
    auto thread = newThread(dir, server.url(QStringLiteral("cam")));
    thread->recordStart(kAuto);
    thread->play();
    QVERIFY2(waitFor([&] { return files(dir).size() == 1; }, 60000), qPrintable(server.log()));
    announceEnd();
    thread.reset();
    const QStringList left = files(dir);
    QCOMPARE(left.size(), 1);
    QVERIFY2(left.first().endsWith(QLatin1String("_1.mp4")), qPrintable(left.first()));
    QCOMPARE(complaintsAbout(left.first()), QString());
    QCOMPARE(readRecording(left.first()).error, QString());
}

QTEST_GUILESS_MAIN(TestFFRtspLiveThread)
#include "tst_ffrtsplivethread.moc"
