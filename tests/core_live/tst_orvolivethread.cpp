// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Live streams of devices that send by HTransportOrvo.

#include "core_live/orvolivethread.h"
#include "livethreadcase.h"
#include "recordedfile.h"

using namespace vantratest;

class TestOrvoLiveThread : public LiveThreadCase<OrvoLiveThread>
{
    Q_OBJECT

public:
    TestOrvoLiveThread() : LiveThreadCase(QStringLiteral("(orlvthr)")) {}

private slots:
    void initTestCase() { quietConsole(); }

    // As of both kinds.
    void thread_isBoundToADevice() { isBothThreadAndBound(QStringLiteral("OrvoLiveThread")); }
    void read_fails_withoutDevice() { withoutDevice_readFails(); }
    void read_answersAsTheDeviceDoes() { read_mapsTheAnswers(); }
    void readTimeouts_areSilent_untilTheFifth() { readTimeouts_areTold_fromTheFifthOn(); }
    void previewClose_freesDecoders_ofTheMainStreamOnly()
    {
        preview_freesDecoders_ofTheMainStreamOnly();
    }
    void latestCodec_isAskedOfTheDevice() { codec_isAskedOfTheDevice(); }
    void recording_tellsBeginEndAndChannel() { recording_isNamedByItsBegin_andRenamedByItsEnd(); }

    void device_letGoOf_whileItPlays_endsTheThread()
    {
        device_letGoOf_whileRunning_endsTheThread();
    }
    void device_letGoOf_inMidCall_isThereUntilTheEnd();
    void rename_ofAVanishedFile_isLogged_andKeepsTheName();
    void connect_makesNoPoll_belowATenthOfASecond();
    void connect_polls_untilConnected();
    void connect_givesUp_andTellsTheLastStatus();
    void input_isNotAsked_whileTheLinkIsDown();
    void input_isAsked_andAlreadyCountsAsSuccess();
    void input_refusedForMax_isCounted_untilTheNextSuccess();
    void input_refusedOtherwise_isOnlyLogged();
    void input_withoutDevice_doesNothing();
    void close_endsTheStream_whileTheLinkIsUp();
    void codecOfKeyFrame_isWrittenBack_data();
    void codecOfKeyFrame_isWrittenBack();
    void unknownVideoCodec_isLogged_andLeavesTheOldOne();
    void codecOfSound_isWrittenBack_data();
    void codecOfSound_isWrittenBack();
    void unknownSoundCodec_stillOverwritesTheRest();
    void otherFrames_areWrittenBackAsRead_data();
    void otherFrames_areWrittenBackAsRead();
    void codec_isNotWrittenBack_whenTheDeviceTellsNone();
    void refusedCodec_isLogged();
    void start_callsTheDeviceInThisOrder();
    void timeouts_askForTheStreamAgain_andAreTold();
    void codecChange_cutsTheRecording_andBothFilesPlay();

private:
    /// What the device was last told of the stream.
    QVariantList toldVideo() const { return told(2); }
    QVariantList toldAudio() const { return told(3); }
    QVariantList told(int argument) const
    {
        const auto calls = script->calls(Op::setCodecInfo);
        return calls.isEmpty() ? QVariantList() : calls.last().arguments.value(argument).toList();
    }
};

void TestOrvoLiveThread::device_letGoOf_inMidCall_isThereUntilTheEnd()
{
    LiveThreadCase::device_letGoOf_inMidCall_isThereUntilTheEnd();
    isThere_inTheMidstOf(Op::getConnectStatus, [&] { QVERIFY(thread->checkConnect()); });
    isThere_inTheMidstOf(Op::getConnectStatus, [&] { QVERIFY(thread->initInput()); });
    isThere_inTheMidstOf(Op::getConnectStatus, [&] { thread->closeVideo(); });
    script->enqueue(Op::getCodecInfo, DeviceAnswer(videoPara(), audioPara()));
    HFrameHeader frame = {};
    isThere_inTheMidstOf(Op::setCodecInfo, [&] { thread->beforeSaveMP4(&frame); });
}

void TestOrvoLiveThread::rename_ofAVanishedFile_isLogged_andKeepsTheName()
{
    const QString name = QStringLiteral("/nowhere/%2/a.mp4");
    thread->setFileName(AbstractVideoThread::MANUAL_RECORD, name);
    expectError(name + QStringLiteral(" is not exists"));
    thread->renameMP4File(AbstractVideoThread::MANUAL_RECORD);
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(thread->getFileName(AbstractVideoThread::MANUAL_RECORD), name);
}

// --- Connecting ---------------------------------------------------------------------------------

void TestOrvoLiveThread::connect_makesNoPoll_belowATenthOfASecond()
{
    for (const int timeout : {50, 99, 0, -100}) {
        log->clear();
        thread->setConnectTimeout(timeout);
        QVERIFY(!thread->checkConnect());
        QCOMPARE(infos(QStringLiteral("not connected (0)")), 1);
    }
    QVERIFY(script->calls().isEmpty());
}

void TestOrvoLiveThread::connect_polls_untilConnected()
{
    thread->setConnectTimeout(500);
    script->enqueue(Op::getConnectStatus, HChannelDisconnected);
    script->enqueue(Op::getConnectStatus, 7);
    QVERIFY(thread->checkConnect());
    QCOMPARE(script->texts(),
             QStringList({"getConnectStatus()", "getConnectStatus()", "getConnectStatus()"}));
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoLiveThread::connect_givesUp_andTellsTheLastStatus()
{
    thread->setConnectTimeout(399);
    script->enqueue(Op::getConnectStatus, HChannelDisconnected);
    script->enqueue(Op::getConnectStatus, HChannelDisconnected);
    script->setAnswer(Op::getConnectStatus, -2);
    QVERIFY(!thread->checkConnect());
    QCOMPARE(script->count(Op::getConnectStatus), 3);
    QCOMPARE(infos(QStringLiteral("not connected (-2)")), 1);
}

// --- Asking for the stream ----------------------------------------------------------------------

void TestOrvoLiveThread::input_isNotAsked_whileTheLinkIsDown()
{
    script->setAnswer(Op::getConnectStatus, HChannelDisconnected);
    thread->exceedCount = 3;
    QVERIFY(thread->initInput());
    QCOMPARE(script->texts(), QStringList("getConnectStatus()"));
    QCOMPARE(thread->exceedCount.load(), 3);
}

void TestOrvoLiveThread::input_isAsked_andAlreadyCountsAsSuccess()
{
    for (const HRetError answer : {HRetOk, HRetAlready}) {
        script->clearCalls();
        script->enqueue(Op::enableMediaTransmit, answer);
        thread->exceedCount = 1;
        QVERIFY(thread->initInput());
        QCOMPARE(script->texts(),
                 QStringList({"getConnectStatus()", "enableMediaTransmit(2, 0, true)"}));
        QCOMPARE(thread->exceedCount.load(), 0);
    }
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoLiveThread::input_refusedForMax_isCounted_untilTheNextSuccess()
{
    SignalRecorder recorder;
    recorder.watch(thread.get(), &AbstractVideoThread::sig_connExceedMax, "max");
    recorder.watch(thread.get(), &AbstractVideoThread::sig_otherError, "other");
    expectWarning(QStringLiteral("start media transmit fail (2:0:17)"));
    script->enqueue(Op::enableMediaTransmit, HRetExceedMax);
    script->enqueue(Op::enableMediaTransmit, HRetExceedMax);
    QVERIFY(!thread->isStreamExceedMax());
    QVERIFY(!thread->initInput());
    QVERIFY(!thread->initInput());
    QVERIFY(thread->isStreamExceedMax());
    QCOMPARE(thread->exceedCount.load(), 2);
    QCOMPARE(recorder.names(), QStringList({"max", "max"}));
    QVERIFY(thread->initInput());
    QVERIFY(!thread->isStreamExceedMax());
    QCOMPARE(
        log->count(Logger::Warning, line(QStringLiteral("start media transmit fail (2:0:17)"))), 2);
}

void TestOrvoLiveThread::input_refusedOtherwise_isOnlyLogged()
{
    SignalRecorder recorder;
    recorder.watch(thread.get(), &AbstractVideoThread::sig_connExceedMax, "max");
    recorder.watch(thread.get(), &AbstractVideoThread::sig_otherError, "other");
    thread->setStreamChannel(kChannel, 1);
    thread->exceedCount = 1;
    script->enqueue(Op::enableMediaTransmit, HRetBusy);
    expectWarning(QStringLiteral("start media transmit fail (2:1:16)"));
    QVERIFY(!thread->initInput());
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(recorder.names().isEmpty());
    QCOMPARE(thread->exceedCount.load(), 1); // it counts refusals for one reason
}

void TestOrvoLiveThread::input_withoutDevice_doesNothing()
{
    thread->unbindDevice();
    QVERIFY(thread->initInput());
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoLiveThread::close_endsTheStream_whileTheLinkIsUp()
{
    script->setAnswer(Op::enableMediaTransmit, HRetBusy); // ignored
    thread->closeVideo();
    QCOMPARE(script->texts(),
             QStringList({"getConnectStatus()", "enableMediaTransmit(2, 0, false)"}));
    script->clearCalls();
    script->setAnswer(Op::getConnectStatus, HChannelDisconnected);
    thread->closeVideo();
    QCOMPARE(script->texts(), QStringList("getConnectStatus()"));
    QVERIFY(log->lines().isEmpty());
}

// --- The device's record of the stream ----------------------------------------------------------

void TestOrvoLiveThread::codecOfKeyFrame_isWrittenBack_data()
{
    QTest::addColumn<uint>("frameCode");
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << 0u << int(HCodecH264);
    QTest::newRow("H.265") << 1u << int(HCodecH265);
}

void TestOrvoLiveThread::codecOfKeyFrame_isWrittenBack()
{
    QFETCH(uint, frameCode);
    QFETCH(int, codec);
    script->enqueue(Op::getCodecInfo, DeviceAnswer(HVideoEncPara(), audioPara()));
    HFrameHeader frame = {};
    frame.codecId = frameCode;
    frame.widthOrSampleRate = 640;
    frame.heightOrBits = 360;
    frame.frameRateOrChannels = 12;
    frame.bitRate = 4711;
    thread->beforeSaveMP4(&frame);
    QCOMPARE(toldVideo(), QVariantList({codec, 640, 360, 12, 1, 4711}));
    QCOMPARE(toldAudio(), QVariantList({int(HCodecG711A), 8000, 16, 1}));
    QCOMPARE(script->texts().value(0), QStringLiteral("getCodecInfo(2, 0)"));
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoLiveThread::unknownVideoCodec_isLogged_andLeavesTheOldOne()
{
    script->enqueue(Op::getCodecInfo, DeviceAnswer(videoPara(2), audioPara()));
    expectWarning(QStringLiteral("unknown code_id 9"));
    HFrameHeader frame = {};
    frame.codecId = 9;
    frame.widthOrSampleRate = 640;
    frame.heightOrBits = -1;
    thread->beforeSaveMP4(&frame);
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(toldVideo(), QVariantList({int(HCodecH265), 640, -1, 0, 1, 0}));
}

void TestOrvoLiveThread::codecOfSound_isWrittenBack_data()
{
    QTest::addColumn<uint>("frameCode");
    QTest::addColumn<int>("codec");
    QTest::newRow("A-law") << 3u << int(HCodecG711A);
    QTest::newRow("mu-law") << 4u << int(HCodecG711U);
    QTest::newRow("PCM") << 5u << int(HCodecPcm);
}

void TestOrvoLiveThread::codecOfSound_isWrittenBack()
{
    QFETCH(uint, frameCode);
    QFETCH(int, codec);
    script->enqueue(Op::getCodecInfo, DeviceAnswer(videoPara(2), HAudioEncPara()));
    HFrameHeader frame = ScriptedFrame::audio(frameCode, 16000, 8, 2, "x", 0).header;
    thread->beforeSaveMP4(&frame);
    QCOMPARE(toldAudio(), QVariantList({codec, 16000, 8, 2}));
    QCOMPARE(toldVideo(), QVariantList({int(HCodecH265), 320, 240, 25, 1, 0}));
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoLiveThread::unknownSoundCodec_stillOverwritesTheRest()
{
    script->enqueue(Op::getCodecInfo, DeviceAnswer(videoPara(), audioPara()));
    HFrameHeader frame = ScriptedFrame::audio(6, 44100, 24, 6, "x", 0).header;
    thread->beforeSaveMP4(&frame);
    QCOMPARE(toldAudio(), QVariantList({int(HCodecG711A), 44100, 24, 6}));
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoLiveThread::otherFrames_areWrittenBackAsRead_data()
{
    QTest::addColumn<uint>("frameType");
    for (const uint type : {1u, 2u, 3u, 5u, 0xffffffffu})
        QTest::newRow(qPrintable(QString::number(type))) << type;
}

void TestOrvoLiveThread::otherFrames_areWrittenBackAsRead()
{
    QFETCH(uint, frameType);
    script->enqueue(Op::getCodecInfo, DeviceAnswer(videoPara(2), audioPara()));
    HFrameHeader frame = {};
    frame.frameType = frameType;
    frame.codecId = 77;
    frame.widthOrSampleRate = 5;
    thread->beforeSaveMP4(&frame);
    QCOMPARE(toldVideo(), QVariantList({int(HCodecH265), 320, 240, 25, 1, 0}));
    QCOMPARE(toldAudio(), QVariantList({int(HCodecG711A), 8000, 16, 1}));
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoLiveThread::codec_isNotWrittenBack_whenTheDeviceTellsNone()
{
    expectError(QStringLiteral("get codec err 1"));
    HFrameHeader frame = {};
    thread->beforeSaveMP4(&frame);
    QCOMPARE(script->count(Op::setCodecInfo), 0);
    QCOMPARE(log->missing(), QStringList());
    expectError(QStringLiteral("dev is null"));
    thread->unbindDevice();
    thread->beforeSaveMP4(&frame);
    QCOMPARE(errors(QStringLiteral("dev is null")), 1);
}

void TestOrvoLiveThread::refusedCodec_isLogged()
{
    script->enqueue(Op::getCodecInfo, DeviceAnswer(videoPara(), audioPara()));
    script->enqueue(Op::setCodecInfo, HRetBusy);
    expectError(QStringLiteral("set codec err 16"));
    HFrameHeader frame = {};
    frame.frameType = HFrameHeader::VideoFrame;
    thread->beforeSaveMP4(&frame);
    QCOMPARE(log->missing(), QStringList());
}

// --- On its thread ------------------------------------------------------------------------------

void TestOrvoLiveThread::start_callsTheDeviceInThisOrder()
{
    QVERIFY(begin());
    QVERIFY(end());
    QCOMPARE(script->texts().mid(0, 6),
             QStringList({"getConnectStatus()", "enableMediaTransmit(2, 0, false)",
                          "getConnectStatus()", "getConnectStatus()",
                          "enableMediaTransmit(2, 0, true)", "readFrame(2, 0, 100)"}));
    QCOMPARE(script->texts().last(), QStringLiteral("enableMediaTransmit(2, 0, false)"));
    QVERIFY(script->calls().first().thread != QThread::currentThread());
}

void TestOrvoLiveThread::timeouts_askForTheStreamAgain_andAreTold()
{
    const QString text = QStringLiteral("read [192.0.2.1:0] frame timeout(500 ms) ");
    int enabled = 0;
    bool raised = false;
    for (int i = 0; i < 5; ++i) {
        DeviceAnswer answer(HRetTimeout);
        if (i == 4)
            answer.first = [&] { raised = thread->isReadTimeout(); };
        script->enqueue(Op::readFrame, answer);
    }
    DeviceAnswer sixth(HRetTimeout);
    sixth.first = [&] {
        enabled = script->count(Op::enableMediaTransmit);
        raised = !raised && thread->isReadTimeout() && infos(text) == 1;
    };
    script->enqueue(Op::readFrame, sixth);
    script->setAnswer(Op::enableMediaTransmit, HRetAlready);
    QVERIFY(begin());
    QVERIFY(waitFor([&] { return script->pending(Op::readFrame) == 0; }));
    QVERIFY(end());
    QCOMPARE(enabled, 2 + 5); // off and on at the open, then once for each time-out
    QVERIFY(raised);          // by the fifth, not before
    QVERIFY(infos(text) >= 2);
}

void TestOrvoLiveThread::codecChange_cutsTheRecording_andBothFilesPlay()
{
    QTemporaryDir folder;
    thread->setSavePath(AbstractVideoThread::MANUAL_RECORD, folder.path());
    thread->recordStart(AbstractVideoThread::MANUAL_RECORD);
    DeviceAnswer known{HVideoEncPara(), HAudioEncPara()};
    script->enqueue(Op::getCodecInfo, known); // asked before the first key frame is told
    QVERIFY(begin());
    for (const auto &frame : pictures(0, 20, 1))
        script->enqueue(Op::readFrame, frame);
    QVERIFY(taken());
    // Names tell seconds; within one the second file could not be given its last name.
    const QDateTime begin = QDateTime::currentDateTime();
    QVERIFY(waitFor([&] { return begin.secsTo(QDateTime::currentDateTime()) >= 1; }));
    for (const auto &frame : pictures(0, 20, 2, 320, 240, 2000))
        script->enqueue(Op::readFrame, frame);
    QVERIFY(taken());
    QVERIFY(end());
    const QDir day(
        folder.filePath(QDir(folder.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).value(0)));
    QDir live(day.filePath(QStringLiteral("live")));
    const QStringList files = live.entryList(QDir::Files, QDir::Name);
    QCOMPARE(files.size(), 2);
    const int codecs[] = {27, 173}; // AVCodecID: H.264, H.265
    for (int i = 0; i < 2; ++i) {
        QVERIFY(files.at(i).endsWith(QStringLiteral("_2.mp4")));
        const RecordedFile file = readRecording(live.filePath(files.at(i)));
        QCOMPARE(file.error, QString());
        QCOMPARE(file.videoCodec, codecs[i]);
        QCOMPARE(file.pictures.size(), 20);
        QCOMPARE(file.pictures.first(), 0);
        QCOMPARE(file.pictures.last(), 19);
    }
}

QTEST_GUILESS_MAIN(TestOrvoLiveThread)
#include "tst_orvolivethread.moc"
