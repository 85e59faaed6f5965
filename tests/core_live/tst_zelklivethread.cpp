// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Live streams of devices that send by HTransportZelk.

#include "core_live/zelklivethread.h"
#include "livethreadcase.h"

using namespace vantratest;

class TestZelkLiveThread : public LiveThreadCase<ZelkLiveThread>
{
    Q_OBJECT

public:
    TestZelkLiveThread() : LiveThreadCase(QStringLiteral("(zklvthr)")) {}

private slots:
    void initTestCase() { quietConsole(); }

    // As of both kinds.
    void thread_isBoundToADevice() { isBothThreadAndBound(QStringLiteral("ZelkLiveThread")); }
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
    void rename_ofAVanishedFile_isToldByQt_andKeepsTheName();
    void connect_makesNoPoll_belowATenthOfASecond();
    void connect_polls_untilTheStreamIsOpened();
    void connect_givesUp_andTellsTheLastStatus();
    void input_withoutDevice_fails();
    void input_asksForAKeyFrame_whenTheStreamHasStarted();
    void input_goesOn_whenTheKeyFrameIsRefused();
    void input_asksForNoKeyFrame_whenTheStreamIsOn();
    void input_refused_isOnlyLogged_forMaxToo();
    void close_endsTheStream_withoutAskingForItsState();
    void frames_areNotWrittenBack();
    void start_callsTheDeviceInThisOrder();
    void unwatchedMainStream_letsGoOfItsDecoder_andBeginsAnewAtTheNextViewer();
};

void TestZelkLiveThread::device_letGoOf_inMidCall_isThereUntilTheEnd()
{
    LiveThreadCase::device_letGoOf_inMidCall_isThereUntilTheEnd();
    isThere_inTheMidstOf(Op::getStreamStatus, [&] { QVERIFY(thread->checkConnect()); });
    isThere_inTheMidstOf(Op::requestVideoIFrame, [&] { QVERIFY(thread->initInput()); });
}

void TestZelkLiveThread::rename_ofAVanishedFile_isToldByQt_andKeepsTheName()
{
    const QString name = QStringLiteral("/nowhere/%2/a.mp4");
    thread->setFileName(AbstractVideoThread::AUTO_RECORD, name);
    QTest::ignoreMessage(QtCriticalMsg, "/nowhere/%2/a.mp4 is not exists");
    thread->renameMP4File(AbstractVideoThread::AUTO_RECORD);
    QVERIFY(log->lines().isEmpty());
    QCOMPARE(thread->getFileName(AbstractVideoThread::AUTO_RECORD), name);
}

void TestZelkLiveThread::connect_makesNoPoll_belowATenthOfASecond()
{
    for (const int timeout : {50, 99, 0, -100}) {
        log->clear();
        thread->setConnectTimeout(timeout);
        QVERIFY(!thread->checkConnect());
        QCOMPARE(infos(QStringLiteral("stream not opened (2:0:0)")), 1);
    }
    QVERIFY(script->calls().isEmpty());
}

void TestZelkLiveThread::connect_polls_untilTheStreamIsOpened()
{
    thread->setConnectTimeout(500);
    thread->setStreamChannel(kChannel, 1);
    script->enqueue(Op::getStreamStatus, HChannelDisconnected);
    QVERIFY(thread->checkConnect());
    QCOMPARE(script->texts(), QStringList({"getStreamStatus(2, 1)", "getStreamStatus(2, 1)"}));
    QVERIFY(log->lines().isEmpty());
}

void TestZelkLiveThread::connect_givesUp_andTellsTheLastStatus()
{
    thread->setConnectTimeout(299);
    thread->setStreamChannel(kChannel, 1);
    script->enqueue(Op::getStreamStatus, HChannelDisconnected);
    script->setAnswer(Op::getStreamStatus, 4);
    QVERIFY(!thread->checkConnect());
    QCOMPARE(script->count(Op::getStreamStatus), 2);
    QCOMPARE(infos(QStringLiteral("stream not opened (2:1:4)")), 1);
}

void TestZelkLiveThread::input_withoutDevice_fails()
{
    thread->unbindDevice();
    expectError(QStringLiteral("dev is null"));
    QVERIFY(!thread->initInput());
    QCOMPARE(errors(QStringLiteral("dev is null")), 1);
}

void TestZelkLiveThread::input_asksForAKeyFrame_whenTheStreamHasStarted()
{
    script->setAnswer(Op::getConnectStatus, HChannelDisconnected); // nobody asks for it
    QVERIFY(thread->initInput());
    QCOMPARE(script->texts(),
             QStringList({"enableMediaTransmit(2, 0, true)", "requestVideoIFrame(2, 0)"}));
    QVERIFY(log->lines().isEmpty());
}

void TestZelkLiveThread::input_goesOn_whenTheKeyFrameIsRefused()
{
    script->enqueue(Op::requestVideoIFrame, HRetBusy);
    expectWarning(QStringLiteral("req i fram fail (2:0:16)"));
    QVERIFY(thread->initInput());
    QCOMPARE(log->missing(), QStringList());
}

void TestZelkLiveThread::input_asksForNoKeyFrame_whenTheStreamIsOn()
{
    script->enqueue(Op::enableMediaTransmit, HRetAlready);
    QVERIFY(thread->initInput());
    QCOMPARE(script->texts(), QStringList("enableMediaTransmit(2, 0, true)"));
    QVERIFY(log->lines().isEmpty());
}

void TestZelkLiveThread::input_refused_isOnlyLogged_forMaxToo()
{
    SignalRecorder recorder;
    recorder.watch(thread.get(), &AbstractVideoThread::sig_connExceedMax, "max");
    recorder.watch(thread.get(), &AbstractVideoThread::sig_otherError, "other");
    for (const HRetError answer : {HRetExceedMax, HRetBusy}) {
        thread->exceedCount = 1;
        script->enqueue(Op::enableMediaTransmit, answer);
        expectWarning(QStringLiteral("start media transmit fail (2:0:%1)").arg(int(answer)));
        QVERIFY(!thread->initInput());
        QCOMPARE(log->missing(), QStringList());
        QCOMPARE(thread->exceedCount.load(), 1); // never touched
    }
    QVERIFY(thread->initInput());
    QCOMPARE(thread->exceedCount.load(), 1);
    QVERIFY(recorder.names().isEmpty());
    QCOMPARE(script->count(Op::requestVideoIFrame), 1);
}

void TestZelkLiveThread::close_endsTheStream_withoutAskingForItsState()
{
    script->setAnswer(Op::enableMediaTransmit, HRetBusy); // ignored
    thread->closeVideo();
    QCOMPARE(script->texts(), QStringList("enableMediaTransmit(2, 0, false)"));
    QVERIFY(log->lines().isEmpty());
}

void TestZelkLiveThread::frames_areNotWrittenBack()
{
    HFrameHeader frame = {};
    thread->beforeSaveMP4(&frame);
    QVERIFY(script->calls().isEmpty());
}

void TestZelkLiveThread::start_callsTheDeviceInThisOrder()
{
    QVERIFY(begin());
    QVERIFY(end());
    QCOMPARE(script->texts().mid(0, 5),
             QStringList({"enableMediaTransmit(2, 0, false)", "getStreamStatus(2, 0)",
                          "enableMediaTransmit(2, 0, true)", "requestVideoIFrame(2, 0)",
                          "readFrame(2, 0, 100)"}));
    QCOMPARE(script->texts().last(), QStringLiteral("enableMediaTransmit(2, 0, false)"));
}

void TestZelkLiveThread::unwatchedMainStream_letsGoOfItsDecoder_andBeginsAnewAtTheNextViewer()
{
    thread->setVideoMode(VideoMode_Painter);
    SignalRecorder recorder;
    recorder.watch(thread.get(), &AbstractVideoThread::sig_decoderDestroyed, "destroyed");
    recorder.watch(thread.get(), &AbstractVideoThread::receiveRenderStart, "renderStart");
    recorder.watch(thread.get(), &AbstractVideoThread::receiveImage, "image");
    thread->previewRef() = 1;
    QVERIFY(begin());
    const auto send = [&](int number) {
        script->enqueue(Op::readFrame, picture(number));
        QVERIFY(taken());
    };
    send(0);
    thread->previewRef() = 0;
    send(1);
    thread->previewRef() = 1;
    send(2); // no key picture
    send(10);
    QVERIFY(end());
    QCOMPARE(recorder.names(), QStringList({"renderStart", "image", "destroyed", "renderStart",
                                            "image", "destroyed"}));
}

QTEST_GUILESS_MAIN(TestZelkLiveThread)
#include "tst_zelklivethread.moc"
