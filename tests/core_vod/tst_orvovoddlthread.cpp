// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Downloads of a device that follows a script: what it is asked, what is told of it, and how that
// ends.
#include "downloadcase.h"

#include "core_videobase/threadframebuffer_p.h"
#include "support/metaobject.h"

using namespace vantratest;

class TestOrvoVodDLThread : public DownloadCase
{
    Q_OBJECT

private slots:
    void initTestCase() { quietConsole(); }

    void bind_needsADevice_andKeepsTheOneItHas();
    void class_addsNoSignalsOrSlots();
    void download_callsTheDeviceInThisOrder();
    void folder_isThatOfToday_belowTheSavePath();
    void refusal_isTold_data();
    void refusal_isTold();
    void missingDevice_isAnError();
    void read_mapsTheAnswers();
    void readTimeout_isLogged_fromTheFifthOn();
    void frame_endsARowOfTimeouts();
    void timeouts_end_withAWholeFile();
    void readError_ends_withAWholeFile();
    void endOfRecording_isASuccess();
    void stop_isNoSuccess();
    void formWithoutVideo_isAnError_data();
    void formWithoutVideo_isAnError();
    void formOfTheFirstPicture_isNeeded();
    void progress_comesInStepsOfMoreThanASecond();
    void firstPicture_isNoProgress();
    void progress_isNotTold_withoutAFile();
    void progress_goesBackWithTheRecording_inSilence();
    void sound_isNoProgress();
};

void TestOrvoVodDLThread::bind_needsADevice_andKeepsTheOneItHas()
{
    expectError(QStringLiteral("dev is null"));
    QVERIFY(!thread->bindDevice(QSharedPointer<HNetDevice>(), 7));
    QCOMPARE(log->missing(), QStringList());
    sendEnd();
    run();
    QCOMPARE(script->texts().value(1), QStringLiteral("vodReadDLFrame(3, 4000)"));
}

void TestOrvoVodDLThread::class_addsNoSignalsOrSlots()
{
    QCOMPARE(QString(OrvoVodDLThread::staticMetaObject.className()), QString("OrvoVodDLThread"));
    QCOMPARE(OrvoVodDLThread::staticMetaObject.superClass(),
             &AbstractVideoDLThread::staticMetaObject);
    QCOMPARE(OrvoVodDLThread::staticMetaObject.methodCount(),
             AbstractVideoDLThread::staticMetaObject.methodCount());
    QObject parent;
    QCOMPARE((new OrvoVodDLThread(&parent))->parent(), &parent);
}

void TestOrvoVodDLThread::download_callsTheDeviceInThisOrder()
{
    announceSteps();
    const QDateTime begin(day(), QTime(10, 0, 0, 250)), end(day(), QTime(10, 0, 1));
    thread->setDateTime(begin, end);
    thread->setReadTimeout(1000);
    send(sound(0, at(10, 0, 0)));
    send(picture(0, at(10, 0, 0)));
    send(picture(1, at(10, 0, 0, 40)));
    send(picture(10, at(10, 0, 0, 400))); // a key picture
    sendEnd();
    run();
    const QString read = QStringLiteral("vodReadDLFrame(3, 200)");
    const QString sdp = QStringLiteral("vodGetDownloadSdp(3)");
    const QStringList calls = script->texts();
    QVERIFY(calls.value(0).startsWith(QStringLiteral("vodDownloadStart(3, ")));
    QCOMPARE(calls.mid(1), QStringList({read, read, sdp, read, read, sdp, read,
                                        QStringLiteral("vodDownloadStop(3)")}));
    const QVariantList span =
        script->calls(Op::vodDownloadStart).first().arguments.value(1).toList();
    QCOMPARE(span.value(0).toDateTime(), begin);
    QCOMPARE(span.value(1).toDateTime(), end);
    for (const auto &call : script->calls())
        QCOMPARE(call.thread, static_cast<QThread *>(thread.get()));
}

void TestOrvoVodDLThread::folder_isThatOfToday_belowTheSavePath()
{
    thread->setSavePath(folder->filePath(QStringLiteral("50%2/deep")));
    const QDate before = QDate::currentDate();
    sendEnd();
    run();
    const QString form = folder->filePath(QStringLiteral("50%2/deep")) + "/" + "yyyy-MM-dd/vod";
    const auto name = [&](const QDate &date) {
        return QString(form).replace("yyyy-MM-dd", date.toString(Qt::ISODate));
    };
    QVERIFY(thread->saveDir == name(before) || thread->saveDir == name(QDate::currentDate()));
    QVERIFY(QFileInfo(thread->saveDir).isDir());
}

// --- How it begins and ends ---------------------------------------------------------------------

void TestOrvoVodDLThread::refusal_isTold_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("signal");
    QTest::newRow("too many") << int(HRetExceedMax) << "max";
    QTest::newRow("already") << int(HRetAlready) << "error"; // no success here
    QTest::newRow("busy") << int(HRetBusy) << "error";
    QTest::newRow("unnamed") << -7 << "error";
}

void TestOrvoVodDLThread::refusal_isTold()
{
    QFETCH(int, answer);
    QFETCH(QString, signal);
    script->enqueue(Op::vodDownloadStart, answer);
    expectError(QStringLiteral("vod dl start err %1").arg(answer));
    log->expect(Logger::Error, QStringLiteral("(atvdlthr)before download thr err"));
    run();
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(recorder->names(), QStringList{signal});
    QCOMPARE(script->calls().size(), 1); // it is not closed either
}

void TestOrvoVodDLThread::missingDevice_isAnError()
{
    OrvoVodDLThread unbound;
    unbound.setSavePath(folder->path());
    SignalRecorder signals_;
    signals_.watch(&unbound, &AbstractVideoDLThread::sig_downloadError, "error");
    signals_.watch(&unbound, &AbstractVideoDLThread::sig_downloadStart, "start");
    signals_.watch(&unbound, &AbstractVideoDLThread::sig_downloadFinsh, "finsh");
    expectError(QStringLiteral("dev is null"));
    log->expect(Logger::Error, QStringLiteral("(atvdlthr)before download thr err"));
    unbound.startDL();
    QVERIFY(unbound.wait(20000));
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(signals_.names(), QStringList{"error"});

    DownloadProbe probe;
    HFrameHeader frame = {};
    QCOMPARE(probe.readFrame(&frame, 10), 3);
    QCOMPARE(probe.handleSaveMP4(&frame), -1); // nothing tells what it is
    probe.afterDownload();
}

void TestOrvoVodDLThread::read_mapsTheAnswers()
{
    for (const int answer : {int(HRetOk), int(HRetEndOfFile), int(HRetTimeout), int(HRetBusy), -5})
        send(answer == HRetOk ? DeviceAnswer(picture(1, 77)) : DeviceAnswer(answer));
    const FrameBuffer frame = makeFrameBuffer();
    QVector<int> results;
    for (int i = 0; i < 5; ++i)
        results << thread->readFrame(frame.get(), 70);
    QCOMPARE(results, QVector<int>({0, 1, 2, 3, 3}));
    QCOMPARE(frame->pts, qint64(77));
    QCOMPARE(script->texts().value(0), QStringLiteral("vodReadDLFrame(3, 70)"));
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodDLThread::readTimeout_isLogged_fromTheFifthOn()
{
    const QString text = line(QStringLiteral("read [192.0.2.1] frame timeout(20000 ms) "));
    script->setAnswer(Op::vodReadDLFrame, HRetTimeout);
    HFrameHeader frame = {};
    for (const int before : {0, 1, 2, 3}) {
        thread->timeoutCount = before;
        QCOMPARE(thread->readFrame(&frame, 10), 2);
    }
    QVERIFY(log->lines().isEmpty());
    for (const int before : {4, 5}) {
        thread->timeoutCount = before;
        QCOMPARE(thread->readFrame(&frame, 10), 2);
    }
    QCOMPARE(log->count(Logger::Info, text), 2);
    QCOMPARE(log->lines().size(), 2);
}

void TestOrvoVodDLThread::frame_endsARowOfTimeouts()
{
    for (int row = 0; row < 2; ++row) {
        for (int i = 0; i < 4; ++i)
            send(HRetTimeout);
        send(sound(0, at(10, 0, 0))); // also one that is not stored
    }
    sendEnd();
    run();
    QVERIFY(ok());
    QCOMPARE(thread->timeoutCount, 0);
}

void TestOrvoVodDLThread::timeouts_end_withAWholeFile()
{
    sendPictures(0, 15, at(10, 0, 0));
    for (int i = 0; i < 5; ++i)
        send(HRetTimeout);
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(!ok());
    QCOMPARE(script->count(Op::vodDownloadStop), 1);
    QCOMPARE(files(), QStringList{"20260314T100000_20260314T100000_3.mp4"});
    QCOMPARE(read(files().first()).pictures, numbers(0, 15));
    QCOMPARE(
        log->count(Logger::Info, line(QStringLiteral("read [192.0.2.1] frame timeout(20000 ms) "))),
        1);
}

void TestOrvoVodDLThread::readError_ends_withAWholeFile()
{
    sendPictures(0, 15, at(10, 0, 0));
    send(99);
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(!ok());
    QCOMPARE(script->count(Op::vodDownloadStop), 1);
    QCOMPARE(read(files().value(0)).pictures, numbers(0, 15));
    QVERIFY(files().first().endsWith(QLatin1String("_3.mp4")));
}

void TestOrvoVodDLThread::endOfRecording_isASuccess()
{
    sendPictures(0, 15, at(10, 0, 0));
    sendEnd();
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(ok());
    QCOMPARE(read(files().value(0)).pictures, numbers(0, 15));
}

void TestOrvoVodDLThread::stop_isNoSuccess()
{
    sendPictures(0, 5, at(10, 0, 0));
    thread->setReadTimeout(2000);
    thread->startDL();
    QVERIFY(waitFor([&] { return script->count(Op::vodReadDLFrame) > 5; }));
    thread->stopDL();
    QVERIFY(thread->isFinished());
    QCOMPARE(recorder->names(), QStringList({"start", "finsh"}));
    QVERIFY(!ok());
    QCOMPARE(script->texts().last(), QStringLiteral("vodDownloadStop(3)"));
    QCOMPARE(read(files().value(0)).pictures, numbers(0, 5));
}

void TestOrvoVodDLThread::formWithoutVideo_isAnError_data()
{
    QTest::addColumn<bool>("hasVideo");
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("width");
    QTest::newRow("no video") << false << 1 << 320;
    QTest::newRow("unknown codec") << true << 3 << 320;
    QTest::newRow("no size") << true << 1 << 0;
}

void TestOrvoVodDLThread::formWithoutVideo_isAnError()
{
    QFETCH(bool, hasVideo);
    QFETCH(int, codec);
    QFETCH(int, width);
    VodSdp form = sdp();
    form.hasVideo = hasVideo;
    form.video.codecId = codec;
    form.video.width = width;
    describe(form);
    sendPictures(9, 3, at(10, 0, 0)); // the key picture is the second
    sendEnd();
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "error", "finsh"}));
    QVERIFY(!ok());
    QCOMPARE(script->count(Op::vodReadDLFrame), 2);
    QCOMPARE(script->count(Op::vodDownloadStop), 1);
    QCOMPARE(files(), QStringList());
}

void TestOrvoVodDLThread::formOfTheFirstPicture_isNeeded()
{
    describeOnce(HRetRefused); // in silence
    sendPictures(0, 2, at(10, 0, 0));
    run();
    QCOMPARE(recorder->names(), QStringList({"start", "error", "finsh"}));
    QVERIFY(log->countMatching(Logger::Error, QRegularExpression("sdp")) == 0);
}

// --- Progress -----------------------------------------------------------------------------------

void TestOrvoVodDLThread::progress_comesInStepsOfMoreThanASecond()
{
    announceSteps();
    const qint64 t = at(10, 0, 0);
    send(picture(0, t));
    send(picture(1, t + 500));
    send(picture(2, t + 1000)); // not more than a second
    send(picture(3, t + 1001));
    send(picture(4, t + 2001));
    send(picture(10, t + 2002)); // key pictures count as well
    send(picture(11, t + 10000));
    send(picture(12, t + 10040));
    sendEnd();
    run();
    QCOMPARE(progress(), QVector<qint64>({t + 1001, t + 2002, t + 10000}));
    QCOMPARE(thread->curPts, t + 10040);
    for (const auto &call : recorder->calls())
        QCOMPARE(call.thread, static_cast<QThread *>(thread.get()));
}

/// No file is being written yet when it comes.
void TestOrvoVodDLThread::firstPicture_isNoProgress()
{
    const qint64 t = at(10, 0, 0);
    send(picture(0, t));
    sendEnd();
    run();
    QCOMPARE(progress(), QVector<qint64>());
    QCOMPARE(thread->lastReportPts, t);
    QCOMPARE(thread->curPts, t);
}

void TestOrvoVodDLThread::progress_isNotTold_withoutAFile()
{
    announceSteps();
    const qint64 t = at(10, 0, 0);
    for (int i = 1; i < 5; ++i)
        send(picture(i, t + i * 2000)); // no key picture among them
    send(picture(10, t + 10000));
    send(picture(11, t + 11001));
    sendEnd();
    run();
    QCOMPARE(progress(), QVector<qint64>{t + 11001});
}

void TestOrvoVodDLThread::progress_goesBackWithTheRecording_inSilence()
{
    announceSteps();
    const qint64 t = at(10, 0, 0);
    send(picture(0, t));
    send(picture(1, t + 1500));
    send(picture(2, t - 5000));
    send(picture(3, t + 2500));
    send(picture(4, t + 2501));
    sendEnd();
    run();
    QCOMPARE(progress(), QVector<qint64>({t + 1500, t + 2501}));
}

void TestOrvoVodDLThread::sound_isNoProgress()
{
    const qint64 t = at(10, 0, 0);
    thread->setSaveAudio(true);
    send(picture(0, t));
    send(sound(0, t + 5000));
    send(picture(1, t + 40));
    send(sound(1, t + 9000)); // nor does it tell the end of the file
    sendEnd();
    run();
    QCOMPARE(progress(), QVector<qint64>());
    QCOMPARE(thread->curPts, t + 40);
    QCOMPARE(files(), QStringList{"20260314T100000_20260314T100000_3.mp4"});
}

int main(int argc, char *argv[])
{
    return runInNewYork<TestOrvoVodDLThread>(argc, argv);
}
#include "tst_orvovoddlthread.moc"
