// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Every operation of a device goes to what stands behind it, and the answer comes back.

#include "devicelink/devicerules.h"
#include "support/scriptedbackend.h"
#include "support/waitfor.h"

#include <QtTest>

#include <cstring>
#include <limits>
#include <thread>
#include <type_traits>

using namespace vantratest;
using Op = DeviceScript::Op;

static_assert(!std::is_polymorphic<HNetDevice>::value, "the operations are not virtual");
static_assert(!std::is_copy_constructible<HNetDevice>::value);
static_assert(std::is_abstract<DeviceBackend>::value &&
              std::has_virtual_destructor<DeviceBackend>::value);

namespace {

/// Overrides nothing.
class BareBackend final : public DeviceBackend
{
public:
    explicit BareBackend(bool *gone) : m_gone(gone) {}
    ~BareBackend() override { *m_gone = true; }

private:
    bool *m_gone;
};

const QDateTime kMorning(QDate(2024, 1, 2), QTime(3, 4, 5, 6), Qt::UTC);

/// The buffer of a reading thread, with a stretch behind it that nobody may write to.
struct FrameBuffer
{
    QByteArray bytes = QByteArray(int(kHFrameBufferSize), '\0') + QByteArray(64, '\x5a');
    HFrameHeader *frame() { return reinterpret_cast<HFrameHeader *>(bytes.data()); }
    bool isIntact() const { return bytes.endsWith(QByteArray(64, '\x5a')); }
};

void everyOperationRefuses(HNetDevice &device)
{
    QVERIFY(device.getConnectStatus() != HChannelConnected);
    QVERIFY(device.getStreamStatus(0, 0) != HChannelConnected);
    QCOMPARE(device.getChannelCount(), 0);
    QCOMPARE(device.getStreamCount(), 0);
    QCOMPARE(device.getStreamCountPerChannel(), 0);
    for (const HTransportProtocol known : {HTransportZelk, HTransportRtsp, HTransportOrvo})
        QVERIFY(device.getStreamProtocol() != known);
    QCOMPARE(device.getRtspUrls(), QStringList());
    QCOMPARE(device.getIPAddr(), QString());
    QCOMPARE(device.serialNumber(), QString());

    HFrameHeader frame{};
    HVideoEncPara video;
    HAudioEncPara audio;
    VodSdp sdp;
    char sound[4] = {};
    const HRetError answers[] = {
        device.enableMediaTransmit(0, 0, true),
        device.requestVideoIFrame(0, 0),
        device.readFrame(0, 0, &frame, 0),
        device.getCodecInfo(0, 0, video, audio),
        device.setCodecInfo(0, 0, video, audio),
        device.vodStart(0, VodStartPara()),
        device.vodStop(0),
        device.vodPause(0),
        device.vodResume(0),
        device.vodSeek(0, kMorning),
        device.vodSetSpeed(0, 1),
        device.vodReadFrame(0, &frame, 0),
        device.vodDownloadStart(0, VodDownloadPara()),
        device.vodDownloadStop(0),
        device.vodReadDLFrame(0, &frame, 0),
        device.vodGetDownloadSdp(0, sdp),
        device.startTalk(0),
        device.stopTalk(0),
        device.sendTalkData(sound, 4, 0),
    };
    for (const HRetError answer : answers) {
        // A failure without a meaning of its own: nobody takes it for a time-out or an end.
        for (const HRetError known :
             {HRetOk, HRetTimeout, HRetAlready, HRetBusy, HRetExceedMax, HRetEndOfFile})
            QVERIFY(answer != known);
    }
}

} // namespace

class tst_HNetDevice : public QObject
{
    Q_OBJECT

private slots:
    void operations_reachTheBackend_withTheirArgumentsInOrder();
    void questions_giveTheAnswersOfTheBackend();
    void records_comeBackFilled();
    void orders_giveTheCodeOfTheBackend_data();
    void orders_giveTheCodeOfTheBackend();
    void vodSetSpeed_passes0_atHalfSpeed();
    void largestFrame_fitsTheBuffer_data();
    void largestFrame_fitsTheBuffer();
    void read_holdsUpNoOtherStream();
    void operations_runOnTheThreadsOfTheirCallers();
    void operations_refuse_withoutOverrides();
    void operations_refuse_withoutBackend();
};

void tst_HNetDevice::operations_reachTheBackend_withTheirArgumentsInOrder()
{
    auto script = std::make_shared<DeviceScript>();
    const auto device = scriptedDevice(script);
    FrameBuffer buffer;
    HVideoEncPara video{1, 640, 480, 25, 1, 500000};
    HAudioEncPara audio{33, 8000, 16, 1};
    VodSdp sdp;
    char sound[] = {'\x01', '\x7f', '\x22'};

    device->getConnectStatus();
    device->getStreamStatus(2, 1);
    device->getChannelCount();
    device->getStreamCount();
    device->getStreamCountPerChannel();
    device->getStreamProtocol();
    device->getRtspUrls();
    device->getIPAddr();
    device->serialNumber();
    device->enableMediaTransmit(3, 1, true);
    device->enableMediaTransmit(3, 1, false);
    device->requestVideoIFrame(4, 2);
    device->readFrame(5, 1, buffer.frame(), 0);
    device->setCodecInfo(6, 1, video, audio);
    device->getCodecInfo(6, 1, video, audio);
    device->vodStart(7, {kMorning, kMorning.addSecs(1), kMorning.addSecs(2)});
    device->vodStop(4294967295u);
    device->vodPause(8);
    device->vodResume(9);
    device->vodSeek(10, kMorning);
    device->vodSetSpeed(11, 16);
    device->vodReadFrame(12, buffer.frame(), -5);
    device->vodDownloadStart(13, {kMorning, kMorning.addSecs(60)});
    device->vodDownloadStop(14);
    device->vodReadDLFrame(15, buffer.frame(), 0);
    device->vodGetDownloadSdp(16, sdp);
    device->startTalk(17);
    device->stopTalk(18);
    device->sendTalkData(sound, 3, 19);

    QCOMPARE(script->texts(),
             QStringList({
                 "getConnectStatus()",
                 "getStreamStatus(2, 1)",
                 "getChannelCount()",
                 "getStreamCount()",
                 "getStreamCountPerChannel()",
                 "getStreamProtocol()",
                 "getRtspUrls()",
                 "getIPAddr()",
                 "serialNumber()",
                 "enableMediaTransmit(3, 1, true)",
                 "enableMediaTransmit(3, 1, false)",
                 "requestVideoIFrame(4, 2)",
                 "readFrame(5, 1, 0)",
                 "setCodecInfo(6, 1, [1, 640, 480, 25, 1, 500000], [33, 8000, 16, 1])",
                 "getCodecInfo(6, 1)",
                 "vodStart(7, [2024-01-02T03:04:05.006Z, 2024-01-02T03:04:06.006Z, "
                 "2024-01-02T03:04:07.006Z])",
                 "vodStop(4294967295)",
                 "vodPause(8)",
                 "vodResume(9)",
                 "vodSeek(10, 2024-01-02T03:04:05.006Z)",
                 "vodSetSpeed(11, 16)",
                 "vodReadFrame(12, -5)",
                 "vodDownloadStart(13, [2024-01-02T03:04:05.006Z, 2024-01-02T03:05:05.006Z])",
                 "vodDownloadStop(14)",
                 "vodReadDLFrame(15, 0)",
                 "vodGetDownloadSdp(16)",
                 "startTalk(17)",
                 "stopTalk(18)",
                 "sendTalkData(017f22, 3, 19)",
             }));
}

void tst_HNetDevice::questions_giveTheAnswersOfTheBackend()
{
    auto script = std::make_shared<DeviceScript>();
    script->enqueue(Op::getConnectStatus, -7);
    script->enqueue(Op::getStreamStatus, 3);
    script->enqueue(Op::getChannelCount, 16);
    script->enqueue(Op::getStreamCount, 48);
    script->enqueue(Op::getStreamCountPerChannel, 3);
    script->enqueue(Op::getStreamProtocol, HTransportRtsp);
    script->enqueue(Op::getRtspUrls, QStringList({"rtsp://a/0", "rtsp://a/1"}));
    script->enqueue(Op::getIPAddr, QStringList("198.51.100.7"));
    script->enqueue(Op::serialNumber, QStringList("SN-1"));
    const QSharedPointer<const HNetDevice> device = scriptedDevice(script);

    QCOMPARE(int(device->getConnectStatus()), -7);
    QCOMPARE(int(device->getStreamStatus(0, 0)), 3);
    QCOMPARE(device->getChannelCount(), 16);
    QCOMPARE(device->getStreamCount(), 48);
    QCOMPARE(device->getStreamCountPerChannel(), 3);
    QCOMPARE(device->getStreamProtocol(), HTransportRtsp);
    QCOMPARE(device->getRtspUrls(), QStringList({"rtsp://a/0", "rtsp://a/1"}));
    QCOMPARE(device->getIPAddr(), QString("198.51.100.7"));
    QCOMPARE(device->serialNumber(), QString("SN-1"));
}

void tst_HNetDevice::records_comeBackFilled()
{
    auto script = std::make_shared<DeviceScript>();
    const auto device = scriptedDevice(script);
    const HVideoEncPara video{2, 1920, 1080, 30, 1, 4000000};
    const HAudioEncPara audio{34, 8000, 16, 2};
    VodSdp sdp;
    sdp.hasVideo = true;
    sdp.sdpMark = 5;
    sdp.video = video;
    script->enqueue(Op::getCodecInfo, {video, audio});
    script->enqueue(Op::vodGetDownloadSdp, sdp);
    script->enqueue(Op::readFrame, ScriptedFrame::video(1, 1, 320, 240, "live", 41));
    script->enqueue(Op::vodReadFrame, ScriptedFrame::video(0, 0, 640, 480, "recorded", 42));
    script->enqueue(Op::vodReadDLFrame, ScriptedFrame::audio(4, 8000, 16, 1, "download", 43));

    HVideoEncPara videoGot;
    HAudioEncPara audioGot;
    QCOMPARE(device->getCodecInfo(0, 0, videoGot, audioGot), HRetOk);
    QVERIFY(videoGot == video && videoGot.bitRate == video.bitRate);
    QVERIFY(audioGot == audio);

    VodSdp sdpGot;
    QCOMPARE(device->vodGetDownloadSdp(0, sdpGot), HRetOk);
    QVERIFY(sdpGot.hasVideo && !sdpGot.hasAudio);
    QCOMPARE(sdpGot.sdpMark, 5);
    QVERIFY(sdpGot.video == video);

    FrameBuffer buffer;
    QCOMPARE(device->readFrame(0, 0, buffer.frame(), 0), HRetOk);
    QCOMPARE(buffer.frame()->pts, qint64(41));
    QCOMPARE(device->vodReadFrame(0, buffer.frame(), 0), HRetOk);
    QCOMPARE(buffer.frame()->pts, qint64(42));
    QCOMPARE(device->vodReadDLFrame(0, buffer.frame(), 0), HRetOk);
    QCOMPARE(buffer.frame()->pts, qint64(43));
    QCOMPARE(buffer.frame()->frameRateOrChannels, 1);
    QCOMPARE(QByteArray(reinterpret_cast<char *>(buffer.frame()->payload()), 8),
             QByteArray("download"));
}

void tst_HNetDevice::orders_giveTheCodeOfTheBackend_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, 8, 14, 16, 17, 18, 1234, -1})
        QTest::addRow("%d", code) << code;
}

void tst_HNetDevice::orders_giveTheCodeOfTheBackend()
{
    QFETCH(int, code);
    auto script = std::make_shared<DeviceScript>();
    for (int op = int(Op::enableMediaTransmit); op <= int(Op::sendTalkData); ++op)
        script->enqueue(Op(op), code);
    const auto device = scriptedDevice(script);
    FrameBuffer buffer;
    HVideoEncPara video;
    HAudioEncPara audio;
    VodSdp sdp;
    char sound[1] = {};

    QCOMPARE(int(device->enableMediaTransmit(0, 0, true)), code);
    QCOMPARE(int(device->requestVideoIFrame(0, 0)), code);
    QCOMPARE(int(device->readFrame(0, 0, buffer.frame(), 0)), code);
    QCOMPARE(int(device->getCodecInfo(0, 0, video, audio)), code);
    QCOMPARE(int(device->setCodecInfo(0, 0, video, audio)), code);
    QCOMPARE(int(device->vodStart(0, VodStartPara())), code);
    QCOMPARE(int(device->vodStop(0)), code);
    QCOMPARE(int(device->vodPause(0)), code);
    QCOMPARE(int(device->vodResume(0)), code);
    QCOMPARE(int(device->vodSeek(0, kMorning)), code);
    QCOMPARE(int(device->vodSetSpeed(0, 1)), code);
    QCOMPARE(int(device->vodReadFrame(0, buffer.frame(), 0)), code);
    QCOMPARE(int(device->vodDownloadStart(0, VodDownloadPara())), code);
    QCOMPARE(int(device->vodDownloadStop(0)), code);
    QCOMPARE(int(device->vodReadDLFrame(0, buffer.frame(), 0)), code);
    QCOMPARE(int(device->vodGetDownloadSdp(0, sdp)), code);
    QCOMPARE(int(device->startTalk(0)), code);
    QCOMPARE(int(device->stopTalk(0)), code);
    QCOMPARE(int(device->sendTalkData(sound, 1, 0)), code);
}

void tst_HNetDevice::vodSetSpeed_passes0_atHalfSpeed()
{
    auto script = std::make_shared<DeviceScript>();
    const auto device = scriptedDevice(script);
    device->vodSetSpeed(0, wholeSpeed(0.5));
    device->vodSetSpeed(0, wholeSpeed(1.5));
    // A double given as it is arrives the same way.
    const double slow = 0.5;
    device->vodSetSpeed(0, slow);
    QCOMPARE(script->texts(),
             QStringList({"vodSetSpeed(0, 0)", "vodSetSpeed(0, 1)", "vodSetSpeed(0, 0)"}));
}

void tst_HNetDevice::largestFrame_fitsTheBuffer_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("fits");
    QTest::newRow("empty") << 0 << true;
    QTest::newRow("within the record") << 8 << true;
    QTest::newRow("largest") << 1048584 << true;
    QTest::newRow("one byte more") << 1048585 << false;
}

void tst_HNetDevice::largestFrame_fitsTheBuffer()
{
    QFETCH(int, length);
    QFETCH(bool, fits);
    QByteArray payload(length, Qt::Uninitialized);
    for (int i = 0; i < length; ++i)
        payload[i] = char(i * 31 + i / 256);
    auto script = std::make_shared<DeviceScript>();
    script->enqueue(Op::readFrame, ScriptedFrame::video(0, 0, 640, 480, payload, 1));
    const auto device = scriptedDevice(script);

    FrameBuffer buffer;
    QCOMPARE(device->readFrame(0, 0, buffer.frame(), 0), HRetOk);
    QVERIFY(buffer.isIntact());
    QCOMPARE(buffer.frame()->frameSize, quint32(length));
    QCOMPARE(buffer.frame()->fitsBuffer(), fits);
    const int written = qMin(length, int(kHFrameMaxPayload));
    QVERIFY(std::memcmp(buffer.frame()->payload(), payload.constData(), size_t(written)) == 0);
}

void tst_HNetDevice::read_holdsUpNoOtherStream()
{
    auto script = std::make_shared<DeviceScript>();
    const auto device = scriptedDevice(script);
    FrameBuffer waiting;
    HRetError answer = HRetRefused;
    std::thread reader([&] {
        answer = device->readFrame(0, 0, waiting.frame(), std::numeric_limits<int>::max());
    });
    const bool reached = waitFor([&] { return script->count(Op::readFrame) == 1; });

    // With that read still under way, everything else gets through.
    FrameBuffer other;
    script->enqueue(Op::readFrame, ScriptedFrame::video(0, 0, 64, 48, "other", 7), {0, 1});
    const HRetError otherAnswer = device->readFrame(0, 1, other.frame(), 20000);
    const HRetError paused = device->vodPause(0);
    char sound[2] = {};
    const HRetError talked = device->sendTalkData(sound, 2, 0);

    script->enqueue(Op::readFrame, ScriptedFrame::video(0, 0, 64, 48, "first", 8), {0, 0});
    reader.join();
    QVERIFY(reached);
    QCOMPARE(otherAnswer, HRetOk);
    QCOMPARE(other.frame()->pts, qint64(7));
    QCOMPARE(paused, HRetOk);
    QCOMPARE(talked, HRetOk);
    QCOMPARE(answer, HRetOk);
    QCOMPARE(waiting.frame()->pts, qint64(8));
}

void tst_HNetDevice::operations_runOnTheThreadsOfTheirCallers()
{
    auto script = std::make_shared<DeviceScript>();
    const auto device = scriptedDevice(script);
    QThread *other = nullptr;
    device->vodPause(0);
    std::thread caller([&] {
        other = QThread::currentThread();
        device->vodResume(0);
    });
    caller.join();
    QCOMPARE(script->calls(Op::vodPause).value(0).thread, QThread::currentThread());
    QCOMPARE(script->calls(Op::vodResume).value(0).thread, other);
    QVERIFY(other != QThread::currentThread());
}

void tst_HNetDevice::operations_refuse_withoutOverrides()
{
    bool gone = false;
    {
        HNetDevice device(std::make_unique<BareBackend>(&gone));
        everyOperationRefuses(device);
        QVERIFY(!gone);
    }
    QVERIFY(gone); // it went with its device
}

void tst_HNetDevice::operations_refuse_withoutBackend()
{
    HNetDevice device(nullptr);
    everyOperationRefuses(device);
}

QTEST_GUILESS_MAIN(tst_HNetDevice)
#include "tst_hnetdevice.moc"
