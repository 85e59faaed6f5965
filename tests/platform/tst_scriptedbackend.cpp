// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The scripted device of the tests.

#include "support/scriptedbackend.h"
#include "support/waitfor.h"

#include <QtTest>

#include <limits>
#include <thread>
#include <vector>

using namespace vantratest;
using Op = DeviceScript::Op;

class tst_ScriptedBackend : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void unscripted_isAConnectedDeviceWithOneStream();
    void queuedAnswers_comeInOrder_thenTheStandingOne();
    void answersOfAStream_goBeforeThoseOfAny();
    void pending_countsWhatIsLeft();
    void read_waitsForAFrame();
    void read_givesTimeout_whenItsTimeIsOver();
    void read_givesAScriptedTimeoutAtOnce();
    void read_leavesTheBuffer_withoutOk();
    void read_bearsNoBuffer();
    void frame_mayLieAboutItsSize();
    void codecInfo_isKeptPerStream();
    void codecInfo_isNotKept_whenRefused();
    void sdp_isLeftAlone_whenUnscriptedOrRefused();
    void first_runsOnTheCallersThread_withoutALock();
    void sound_isKept_andBearsBadSizes();
    void calls_canBeCleared();
    void calls_ofManyThreads_areAllKept();

private:
    std::shared_ptr<DeviceScript> script;
    QSharedPointer<HNetDevice> device;
    HFrameHeader frame; // frames of these tests have at most 8 bytes
};

void tst_ScriptedBackend::init()
{
    script = std::make_shared<DeviceScript>();
    device = scriptedDevice(script);
    frame = {};
}

void tst_ScriptedBackend::unscripted_isAConnectedDeviceWithOneStream()
{
    QCOMPARE(device->getConnectStatus(), HChannelConnected);
    QCOMPARE(device->getStreamStatus(0, 0), HChannelConnected);
    QCOMPARE(device->getChannelCount(), 1);
    QCOMPARE(device->getStreamCount(), 1);
    QCOMPARE(device->getStreamCountPerChannel(), 1);
    QCOMPARE(device->getStreamProtocol(), HTransportOrvo);
    QCOMPARE(device->getRtspUrls(), QStringList());
    QCOMPARE(device->getIPAddr(), QString("192.0.2.1"));
    QCOMPARE(device->serialNumber(), QString("scripted"));
    QCOMPARE(device->enableMediaTransmit(0, 0, true), HRetOk);
    QCOMPARE(device->vodStart(0, {}), HRetOk);
    QCOMPARE(device->vodDownloadStart(0, {}), HRetOk);
    QCOMPARE(device->startTalk(0), HRetOk);
    HVideoEncPara video;
    HAudioEncPara audio;
    QCOMPARE(device->getCodecInfo(0, 0, video, audio), HRetRefused);
}

void tst_ScriptedBackend::queuedAnswers_comeInOrder_thenTheStandingOne()
{
    script->setAnswer(Op::vodStart, HRetBusy);
    script->enqueue(Op::vodStart, HRetExceedMax);
    script->enqueue(Op::vodStart, HRetAlready);
    for (const HRetError expected : {HRetExceedMax, HRetAlready, HRetBusy, HRetBusy})
        QCOMPARE(device->vodStart(0, {}), expected);
    QCOMPARE(device->vodStop(0), HRetOk); // another operation
}

void tst_ScriptedBackend::answersOfAStream_goBeforeThoseOfAny()
{
    script->setAnswer(Op::enableMediaTransmit, HRetBusy);
    script->setAnswer(Op::enableMediaTransmit, HRetAlready, {1, 1});
    script->enqueue(Op::enableMediaTransmit, HRetExceedMax, {1, 1});
    QCOMPARE(device->enableMediaTransmit(0, 1, true), HRetBusy);
    QCOMPARE(device->enableMediaTransmit(1, 0, true), HRetBusy);
    QCOMPARE(device->enableMediaTransmit(1, 1, true), HRetExceedMax);
    QCOMPARE(device->enableMediaTransmit(1, 1, true), HRetAlready);

    script->enqueue(Op::vodPause, HRetBusy, {2, 0}); // a channel is its stream 0
    QCOMPARE(device->vodPause(1), HRetOk);
    QCOMPARE(device->vodPause(2), HRetBusy);
}

void tst_ScriptedBackend::pending_countsWhatIsLeft()
{
    QCOMPARE(script->pending(Op::stopTalk), 0);
    script->enqueue(Op::stopTalk, HRetBusy);
    script->enqueue(Op::stopTalk, HRetBusy);
    script->enqueue(Op::stopTalk, HRetBusy, {0, 0});
    device->stopTalk(0);
    QCOMPARE(script->pending(Op::stopTalk, {0, 0}), 0);
    device->stopTalk(0);
    QCOMPARE(script->pending(Op::stopTalk), 1);
}

void tst_ScriptedBackend::read_waitsForAFrame()
{
    HRetError answer = HRetRefused;
    std::thread reader(
        [&] { answer = device->vodReadFrame(3, &frame, std::numeric_limits<int>::max()); });
    const bool reached = waitFor([&] { return script->count(Op::vodReadFrame) == 1; });
    script->enqueue(Op::vodReadFrame, ScriptedFrame::audio(3, 8000, 16, 1, "sound", 5));
    reader.join();
    QVERIFY(reached);
    QCOMPARE(answer, HRetOk);
    QVERIFY(frame.isAudio());
    QCOMPARE(frame.codecId, 3u);
    QCOMPARE(frame.widthOrSampleRate, 8000);
    QCOMPARE(frame.heightOrBits, 16);
    QCOMPARE(frame.frameSize, 5u);
    QCOMPARE(QByteArray(reinterpret_cast<char *>(frame.payload()), 5), QByteArray("sound"));
}

void tst_ScriptedBackend::read_givesTimeout_whenItsTimeIsOver()
{
    QCOMPARE(device->readFrame(0, 0, &frame, 1), HRetTimeout);
    QCOMPARE(device->readFrame(0, 0, &frame, 0), HRetTimeout);
    QCOMPARE(device->readFrame(0, 0, &frame, -1), HRetTimeout);
}

void tst_ScriptedBackend::read_givesAScriptedTimeoutAtOnce()
{
    // Would outlast the test otherwise.
    script->enqueue(Op::readFrame, HRetTimeout);
    QCOMPARE(device->readFrame(0, 0, &frame, std::numeric_limits<int>::max()), HRetTimeout);
    script->setAnswer(Op::readFrame, HRetTimeout);
    QCOMPARE(device->readFrame(0, 0, &frame, std::numeric_limits<int>::max()), HRetTimeout);
}

void tst_ScriptedBackend::read_leavesTheBuffer_withoutOk()
{
    frame.pts = 77;
    DeviceAnswer answer(ScriptedFrame::video(0, 0, 64, 48, "x", 5));
    answer.number = HRetEndOfFile;
    script->enqueue(Op::vodReadDLFrame, answer);
    QCOMPARE(device->vodReadDLFrame(0, &frame, 0), HRetEndOfFile);
    QCOMPARE(frame.pts, qint64(77));
}

void tst_ScriptedBackend::read_bearsNoBuffer()
{
    script->enqueue(Op::readFrame, ScriptedFrame::video(0, 0, 64, 48, "x", 5));
    QCOMPARE(device->readFrame(0, 0, nullptr, 0), HRetOk);
}

void tst_ScriptedBackend::frame_mayLieAboutItsSize()
{
    auto lying = ScriptedFrame::video(2, 1, 64, 48, "abc", 5);
    QCOMPARE(lying.header.frameSize, 3u);
    lying.header.frameSize = 0xffffffff;
    script->enqueue(Op::readFrame, lying);
    QCOMPARE(device->readFrame(0, 0, &frame, 0), HRetOk);
    QCOMPARE(frame.frameSize, 0xffffffffu);
    QCOMPARE(QByteArray(reinterpret_cast<char *>(frame.payload()), 4), QByteArray("abc\0", 4));
}

void tst_ScriptedBackend::codecInfo_isKeptPerStream()
{
    HVideoEncPara video{1, 640, 480, 25, 1, 500000};
    HAudioEncPara audio{33, 8000, 16, 1};
    QCOMPARE(device->setCodecInfo(1, 1, video, audio), HRetOk);
    HVideoEncPara videoGot;
    HAudioEncPara audioGot;
    QCOMPARE(device->getCodecInfo(1, 0, videoGot, audioGot), HRetRefused);
    QVERIFY(!videoGot.isValid() && !audioGot.isValid());
    QCOMPARE(device->getCodecInfo(1, 1, videoGot, audioGot), HRetOk);
    QVERIFY(videoGot == video && audioGot == audio);
    QCOMPARE(videoGot.bitRate, 500000);
}

void tst_ScriptedBackend::codecInfo_isNotKept_whenRefused()
{
    HVideoEncPara video{1, 640, 480, 25, 1, 500000};
    HAudioEncPara audio{33, 8000, 16, 1};
    script->enqueue(Op::setCodecInfo, 99);
    QCOMPARE(int(device->setCodecInfo(0, 0, video, audio)), 99);
    QCOMPARE(device->getCodecInfo(0, 0, video, audio), HRetRefused);
}

void tst_ScriptedBackend::sdp_isLeftAlone_whenUnscriptedOrRefused()
{
    VodSdp sdp;
    sdp.sdpMark = 4;
    QCOMPARE(device->vodGetDownloadSdp(0, sdp), HRetOk);
    QCOMPARE(sdp.sdpMark, 4);
    script->enqueue(Op::vodGetDownloadSdp, HRetBusy);
    QCOMPARE(device->vodGetDownloadSdp(0, sdp), HRetBusy);
    QCOMPARE(sdp.sdpMark, 4);
}

void tst_ScriptedBackend::first_runsOnTheCallersThread_withoutALock()
{
    QThread *seen = nullptr;
    int callsSeen = 0;
    DeviceAnswer answer(HRetBusy);
    answer.first = [&] {
        seen = QThread::currentThread();
        callsSeen = script->calls().size(); // would hang if a lock were held
        device->stopTalk(0);
    };
    script->enqueue(Op::startTalk, answer);
    QCOMPARE(device->startTalk(0), HRetBusy);
    QCOMPARE(seen, QThread::currentThread());
    QCOMPARE(callsSeen, 1);
    QCOMPARE(script->texts(), QStringList({"startTalk(0)", "stopTalk(0)"}));
}

void tst_ScriptedBackend::sound_isKept_andBearsBadSizes()
{
    char sound[] = {'a', 'b', 'c'};
    device->sendTalkData(sound, 3, 0);
    sound[0] = 'x'; // only lent for the call
    device->sendTalkData(sound, -1, 0);
    device->sendTalkData(nullptr, 3, 0);
    const auto calls = script->calls(Op::sendTalkData);
    QCOMPARE(calls.size(), 3);
    QCOMPARE(calls[0].arguments, QVariantList({QByteArray("abc"), 3, 0}));
    QCOMPARE(calls[1].arguments, QVariantList({QByteArray(), -1, 0}));
    QCOMPARE(calls[2].arguments, QVariantList({QByteArray(), 3, 0}));
}

void tst_ScriptedBackend::calls_canBeCleared()
{
    device->stopTalk(0);
    QCOMPARE(script->count(Op::stopTalk), 1);
    script->clearCalls();
    QCOMPARE(script->texts(), QStringList());
}

void tst_ScriptedBackend::calls_ofManyThreads_areAllKept()
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    std::vector<std::thread> threads;
    for (int channel = 0; channel < kThreads; ++channel) {
        threads.emplace_back([this, channel] {
            for (int round = 0; round < kRounds; ++round) {
                script->enqueue(Op::requestVideoIFrame, 100 + channel, {channel, 0});
                if (int(device->requestVideoIFrame(channel, 0)) != 100 + channel)
                    device->stopTalk(channel);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(script->count(Op::requestVideoIFrame), kThreads * kRounds);
    QCOMPARE(script->count(Op::stopTalk), 0); // nobody got the answer of another
}

QTEST_GUILESS_MAIN(tst_ScriptedBackend)
#include "tst_scriptedbackend.moc"
