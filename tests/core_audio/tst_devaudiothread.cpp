// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/devaudiothread.h"

#include "audiocalls.h"
#include "core_codec/mediacodec.h"
#include "support/loggedtest.h"
#include "support/metaobject.h"
#include "support/privatepulse.h"
#include "support/scriptedbackend.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include <QElapsedTimer>
#include <QSemaphore>
#include <QTest>
#include <QtEndian>
#include <QtMath>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <utility>

using namespace vantratest;
using Op = DeviceScript::Op;

namespace {

constexpr int kFrameBytes = 320; ///< of A-law: 40 ms
constexpr int kDeadlineMs = 20000;

/// ITU-T G.711, A-law to 16 bits.
qint16 fromALaw(quint8 code)
{
    code ^= 0x55;
    const int exponent = (code >> 4) & 7;
    int value = ((code & 0x0f) << 4) + 8;
    if (exponent > 0)
        value = (value + 0x100) << (exponent - 1);
    return qint16(code & 0x80 ? value : -value);
}

QByteArray fromALaw(const QByteArray &codes)
{
    QByteArray pcm(codes.size() * 2, Qt::Uninitialized);
    for (int i = 0; i < codes.size(); ++i)
        qToLittleEndian(fromALaw(quint8(codes.at(i))), pcm.data() + 2 * i);
    return pcm;
}

/// Largest step by which PCM leaves the sine that its own last two samples go on with, as a share
/// of its amplitude. A sample that is missing, or comes twice, makes a step of a half and more.
double largestBreak(const QByteArray &mono, double hertz)
{
    const double factor = 2.0 * std::cos(2.0 * M_PI * hertz / kRate);
    double before = 0.0;
    double last = 0.0;
    double largest = 0.0;
    double peak = 1.0;
    for (int i = 0; i < mono.size() / 2; ++i) {
        const double now = qFromLittleEndian<qint16>(mono.constData() + 2 * i);
        if (i >= 2)
            largest = qMax(largest, qAbs(now - (factor * last - before)));
        peak = qMax(peak, qAbs(now));
        before = std::exchange(last, now);
    }
    return largest / peak;
}

/// A DevAudioThread that a test can look into.
class Talk final : public DevAudioThread
{
public:
    using DevAudioThread::codec;
    ~Talk() override { stopThread(); }

    /// Waits until everything queued so far has run on the worker.
    bool settle()
    {
        QSemaphore done;
        QMetaObject::invokeMethod(
            this, [&done] { done.release(); }, Qt::QueuedConnection);
        return done.tryAcquire(1, kDeadlineMs);
    }
};

} // namespace

/// Talk with a scripted device, from a real sound server's microphone.
class TestDevAudioThread : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void class_overridesTheThreeOperations();
    void bindDevice_refusesNull_andKeepsTheDevice();
    void bindDevice_sharesTheDevice_andUnbindLetsGo();
    void startTalk_isSilent_withoutDevice();
    void startTalk_capturesNothing_whenRefused_data();
    void startTalk_capturesNothing_whenRefused();
    void stopTalk_callsTheDevice_afterARefusedStart();
    void stopTalk_leavesTheMicrophoneOpen_withoutDevice();
    void stopTalk_endsTheCapture();
    void operations_runOnTheWorker();
    void slowDevice_holdsUpNobodyElse();

    void block_isEncodedAsOneFrame_data();
    void block_isEncodedAsOneFrame();
    void block_isDropped_whenEmpty();
    void block_isDropped_withoutDevice();
    void block_isDropped_whenItCannotBeEncoded();
    void sendFailure_isLogged_andTalkGoesOn();

    void talk_bringsTheToneWhole();
    void talk_staysWhole_whenTheDeviceIsSlow();
    void talk_goesOn_whileSoundPlays();
    void talk_isSilent_whileMuted();
    void talk_endsWithTheThread_andStartsAnew();
    void talk_survivesTheDevicesRemoval();
    void destruction_duringTalk_isSurvived();

private:
    void setUp() override
    {
        script = std::make_shared<DeviceScript>();
        script->setAnswer(Op::serialNumber, QStringList("SN-7"));
        talk = std::make_unique<Talk>();
    }
    void tearDown() override { talk.reset(); }

    /// Binds the device, starts the worker and talk, and waits for the first sound.
    bool startTalking()
    {
        if (talk->bindDevice(scriptedDevice(script)) != 0)
            return false;
        talk->startThread();
        return queue(*talk, "startTalk") &&
               waitFor([this] { return script->count(Op::sendTalkData) > 0; });
    }

    /// What the device has got, decoded; the first frame, in which the microphone may begin in the
    /// middle, left out.
    QByteArray received() const
    {
        QByteArray codes;
        const auto calls = script->calls(Op::sendTalkData);
        for (int i = 1; i < calls.size(); ++i)
            codes += calls.at(i).arguments.at(0).toByteArray();
        return fromALaw(codes);
    }

    /// Waits for that much more sound, and that every frame is whole.
    bool receives(int milliseconds)
    {
        const int wanted = script->count(Op::sendTalkData) + milliseconds / 40;
        return waitFor([&] { return script->count(Op::sendTalkData) >= wanted; }, 60000);
    }

    PrivatePulse pulse;
    std::shared_ptr<DeviceScript> script;
    std::unique_ptr<Talk> talk;
};

void TestDevAudioThread::initTestCase()
{
    quietConsole();
    QVERIFY2(pulse.start(), qPrintable(pulse.log()));
}

void TestDevAudioThread::class_overridesTheThreeOperations()
{
    QVERIFY(talk->inherits("AudioThread"));
    // Nothing that a host could reach by name is added.
    QCOMPARE(DevAudioThread::staticMetaObject.methodCount(),
             AudioThread::staticMetaObject.methodCount());
}

void TestDevAudioThread::bindDevice_refusesNull_andKeepsTheDevice()
{
    log->expect(Logger::Error, "(dvadthr)audio thr dev is null");
    QCOMPARE(talk->bindDevice({}), -1);
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    QCOMPARE(talk->bindDevice({}), -1);
    QCOMPARE(log->count(Logger::Error, "(dvadthr)audio thr dev is null"), 2);
    talk->startThread();
    QVERIFY(queue(*talk, "stopTalk"));
    QVERIFY(talk->settle());
    QCOMPARE(script->texts(), QStringList({"stopTalk(0)"}));
}

void TestDevAudioThread::bindDevice_sharesTheDevice_andUnbindLetsGo()
{
    auto first = scriptedDevice(script);
    auto second = scriptedDevice(std::make_shared<DeviceScript>());
    const QWeakPointer<HNetDevice> firstLeft(first);
    const QWeakPointer<HNetDevice> secondLeft(second);
    QCOMPARE(talk->bindDevice(first), 0);
    first.reset();
    QVERIFY(firstLeft);
    QCOMPARE(talk->bindDevice(second), 0);
    QVERIFY(!firstLeft);
    second.reset();
    QVERIFY(secondLeft);
    talk->unbindDevice();
    QVERIFY(!secondLeft);
    talk->unbindDevice();
}

void TestDevAudioThread::startTalk_isSilent_withoutDevice()
{
    std::atomic<int> told{0};
    connect(talk.get(), &AudioThread::sig_startTalkDeviceBusy, [&] { ++told; });
    connect(talk.get(), &AudioThread::sig_startTalkError, [&] { ++told; });
    talk->startThread();
    QVERIFY(queue(*talk, "startTalk"));
    QVERIFY(queue(*talk, "stopTalk"));
    QVERIFY(talk->settle());
    QCOMPARE(int(told), 0);
    const auto lines = log->lines();
    QVERIFY(std::none_of(lines.begin(), lines.end(),
                         [](const auto &line) { return line.text.startsWith("(dvadthr)"); }));
}

void TestDevAudioThread::startTalk_capturesNothing_whenRefused_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("busy");
    QTest::newRow("busy") << int(HRetBusy) << true;
    QTest::newRow("refused") << int(HRetRefused) << false;
    // Intended: for talk, unlike for streams, this is no success.
    QTest::newRow("already") << int(HRetAlready) << false;
    QTest::newRow("exceed max") << int(HRetExceedMax) << false;
    QTest::newRow("negative") << -1 << false;
}

void TestDevAudioThread::startTalk_capturesNothing_whenRefused()
{
    QFETCH(int, answer);
    QFETCH(bool, busy);
    script->setAnswer(Op::startTalk, answer);
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    QStringList told; // on this thread
    connect(talk.get(), &AudioThread::sig_startTalkDeviceBusy, this,
            [&](const QString &sn) { told << "busy " + sn; });
    connect(talk.get(), &AudioThread::sig_startTalkError, this,
            [&](const QString &sn) { told << "error " + sn; });
    talk->startThread();
    QVERIFY(queue(*talk, "startTalk"));
    QVERIFY(waitFor([&] { return !told.isEmpty(); }));
    QVERIFY(talk->settle());
    QCOMPARE(told, QStringList(busy ? "busy SN-7" : "error SN-7"));
    QCOMPARE(script->texts(), QStringList({"startTalk(0)", "serialNumber()"}));

    // What would have been opened would deliver before that which is opened now.
    script->setAnswer(Op::startTalk, HRetOk);
    QVERIFY(queue(*talk, "startTalk"));
    QVERIFY(waitFor([&] { return script->count(Op::sendTalkData) > 0; }));
    QCOMPARE(script->calls().at(2).operation, Op::startTalk);
    QCOMPARE(script->calls().at(3).operation, Op::sendTalkData);
    QCOMPARE(told.size(), 1);
}

void TestDevAudioThread::stopTalk_callsTheDevice_afterARefusedStart()
{
    script->setAnswer(Op::startTalk, HRetBusy);
    script->setAnswer(Op::stopTalk, HRetRefused); // and the answer is nobody's concern
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    talk->startThread();
    QVERIFY(queue(*talk, "startTalk"));
    QVERIFY(queue(*talk, "stopTalk"));
    QVERIFY(talk->settle());
    QCOMPARE(script->texts(), QStringList({"startTalk(0)", "serialNumber()", "stopTalk(0)"}));
}

void TestDevAudioThread::stopTalk_leavesTheMicrophoneOpen_withoutDevice()
{
    QVERIFY(startTalking());
    talk->unbindDevice();
    QVERIFY(queue(*talk, "stopTalk"));
    QVERIFY(talk->settle());
    QCOMPARE(script->count(Op::stopTalk), 0);
    // It goes on with the next device, without another startTalk().
    const auto other = std::make_shared<DeviceScript>();
    QCOMPARE(talk->bindDevice(scriptedDevice(other)), 0);
    QVERIFY(waitFor([&] { return other->count(Op::sendTalkData) > 2; }));
    QCOMPARE(other->count(Op::startTalk), 0);
}

void TestDevAudioThread::stopTalk_endsTheCapture()
{
    QVERIFY(startTalking());
    QVERIFY(queue(*talk, "stopTalk"));
    QVERIFY(talk->settle());
    QCOMPARE(script->calls().last().operation, Op::stopTalk);
    QVERIFY(queue(*talk, "startTalk"));
    QVERIFY(waitFor([&] { return script->calls().last().operation == Op::sendTalkData; }));
    // Nothing came between the end and the new start.
    const auto calls = script->calls();
    const auto end = std::find_if(calls.begin(), calls.end(),
                                  [](const auto &call) { return call.operation == Op::stopTalk; });
    QCOMPARE((end + 1)->operation, Op::startTalk);
}

void TestDevAudioThread::operations_runOnTheWorker()
{
    QVERIFY(startTalking());
    QVERIFY(queue(*talk, "stopTalk"));
    QVERIFY(talk->settle());
    QThread *worker = talk->QObject::thread();
    QVERIFY(worker != QThread::currentThread());
    for (const auto &call : script->calls())
        QCOMPARE(call.thread, worker);
}

void TestDevAudioThread::slowDevice_holdsUpNobodyElse()
{
    QSemaphore entered;
    QSemaphore leave;
    DeviceAnswer slow(HRetBusy);
    slow.first = [&] {
        entered.release();
        leave.acquire();
    };
    script->enqueue(Op::startTalk, slow);
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    talk->startThread();
    QVERIFY(queue(*talk, "startTalk")); // at once returned
    QVERIFY(entered.tryAcquire(1, kDeadlineMs));
    talk->unbindDevice(); // nor does this wait for the device
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    leave.release();
    QVERIFY(talk->settle());
}

void TestDevAudioThread::block_isEncodedAsOneFrame_data()
{
    QTest::addColumn<int>("size"); // bytes
    for (const int size : {1, 2, 320, 639, 640, 641, 642, 800, 1280, 1 << 20})
        QTest::addRow("%d", size) << size;
}

void TestDevAudioThread::block_isEncodedAsOneFrame()
{
    QFETCH(int, size);
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    // Quiet first; then a louder block. It is not cut into frames, and what it lacks stays quiet.
    talk->receiveInputData(QByteArray(640, '\0'));
    talk->receiveInputData(QByteArray(size, '\x20')); // each sample 0x2020
    const auto calls = script->calls(Op::sendTalkData);
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.at(0).arguments,
             QVariantList({QByteArray(kFrameBytes, char(0xd5)), kFrameBytes, 0}));
    const int loud = qMin(size / 2, kFrameBytes);
    QCOMPARE(calls.at(1).arguments.at(1).toInt(), kFrameBytes);
    QCOMPARE(calls.at(1).arguments.at(2).toInt(), 0);
    const QByteArray pcm = fromALaw(calls.at(1).arguments.at(0).toByteArray());
    for (int i = 0; i < kFrameBytes; ++i) {
        const int sample = qFromLittleEndian<qint16>(pcm.constData() + 2 * i);
        if (i < loud)
            QVERIFY2(qAbs(sample - 0x2020) <= 256, qPrintable(QString::number(i)));
        else if (i > loud)
            QVERIFY2(qAbs(sample) <= 8, qPrintable(QString::number(i)));
    }
}

void TestDevAudioThread::block_isDropped_whenEmpty()
{
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    talk->receiveInputData(QByteArray());
    talk->receiveInputData(QByteArray(""));
    QCOMPARE(script->count(Op::sendTalkData), 0);
}

void TestDevAudioThread::block_isDropped_withoutDevice()
{
    talk->receiveInputData(QByteArray(640, '\0'));
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    talk->unbindDevice();
    talk->receiveInputData(QByteArray(640, '\0'));
    QVERIFY(script->calls().isEmpty());
}

void TestDevAudioThread::block_isDropped_whenItCannotBeEncoded()
{
    log->expect(Logger::Warning, "(mdcdc)audio encoder is null");
    QCOMPARE(talk->bindDevice(scriptedDevice(script)), 0);
    talk->codec->destroyAudioEncoder();
    talk->receiveInputData(QByteArray(640, '\0'));
    QCOMPARE(log->missing(), QStringList());
    talk->codec.reset();
    talk->receiveInputData(QByteArray(640, '\0'));
    QCOMPARE(log->count(Logger::Warning, "(mdcdc)audio encoder is null"), 1);
    QVERIFY(script->calls().isEmpty());
}

void TestDevAudioThread::sendFailure_isLogged_andTalkGoesOn()
{
    log->expect(Logger::Error, "(dvadthr)dev audio thr send talk data err 8");
    log->expect(Logger::Error, "(dvadthr)dev audio thr send talk data err -3");
    script->enqueue(Op::sendTalkData, HRetTimeout);
    script->enqueue(Op::sendTalkData, -3);
    script->enqueue(Op::sendTalkData, HRetTimeout);
    QVERIFY(startTalking());
    QVERIFY(waitFor([&] { return script->count(Op::sendTalkData) > 5; }));
    QCOMPARE(log->count(Logger::Error, "(dvadthr)dev audio thr send talk data err 8"), 2);
    QCOMPARE(log->missing(), QStringList());
}

void TestDevAudioThread::talk_bringsTheToneWhole()
{
    QVERIFY(startTalking());
    QVERIFY(receives(4000));
    talk->stopThread();
    for (const auto &call : script->calls(Op::sendTalkData))
        QCOMPARE(call.arguments.at(0).toByteArray().size(), kFrameBytes);
    const QByteArray pcm = received();
    const double hertz = zeroCrossingHertz(pcm, kRate);
    QVERIFY2(qAbs(hertz - PrivatePulse::kMicrophoneHertz) < 1.0,
             qPrintable(QString::number(hertz)));
    const double found = largestBreak(pcm, PrivatePulse::kMicrophoneHertz);
    QVERIFY2(found < 0.2, qPrintable(QString::number(found)));
}

void TestDevAudioThread::talk_staysWhole_whenTheDeviceIsSlow()
{
    QSemaphore leave;
    QVERIFY(startTalking());
    DeviceAnswer slow(HRetOk);
    slow.first = [&] { leave.acquire(); };
    for (int i = 0; i < 3; ++i) {
        script->enqueue(Op::sendTalkData, slow);
        QVERIFY(waitFor([&] { return script->pending(Op::sendTalkData) == 0; }));
        QElapsedTimer held; // no measurement: sound piles up meanwhile
        held.start();
        QVERIFY(waitFor([&] { return held.elapsed() > 400; }));
        leave.release();
        QVERIFY(receives(800));
    }
    talk->stopThread();
    const double found = largestBreak(received(), PrivatePulse::kMicrophoneHertz);
    QVERIFY2(found < 0.2, qPrintable(QString::number(found)));
}

void TestDevAudioThread::talk_goesOn_whileSoundPlays()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    QVERIFY(startTalking());
    QVERIFY(queueOpen(*talk, "openAudioOutput"));
    QElapsedTimer clock;
    clock.start();
    qint64 frame = 0;
    const int before = script->count(Op::sendTalkData);
    QVERIFY(waitFor([&] {
        const qint64 due = clock.elapsed() + 100;
        for (; frame * 1000 / kRate < due; frame += kBlockFrames)
            queue(*talk, "play", sinePcm(440.0, kRate, kBlockFrames, 0.5, 1, frame));
        return script->count(Op::sendTalkData) > before + 25 &&
               hasTone(recorder.last(kHeardLately), kRecordedRate, 440.0);
    }));
    talk->stopThread();
    const double found = largestBreak(received(), PrivatePulse::kMicrophoneHertz);
    QVERIFY2(found < 0.2, qPrintable(QString::number(found)));
}

void TestDevAudioThread::talk_isSilent_whileMuted()
{
    // One flag mutes both directions; what was said meanwhile is not sent later.
    QVERIFY(startTalking());
    QVERIFY(queue(*talk, "receiveMuted", true));
    QVERIFY(talk->settle());
    const int muted = script->count(Op::sendTalkData);
    QElapsedTimer time;
    time.start();
    QVERIFY(waitFor([&] { return time.elapsed() > 300; }));
    QVERIFY(talk->settle());
    QCOMPARE(script->count(Op::sendTalkData), muted);
    QVERIFY(queue(*talk, "receiveMuted", false));
    QVERIFY(waitFor([&] { return script->count(Op::sendTalkData) > muted; }));
}

void TestDevAudioThread::talk_endsWithTheThread_andStartsAnew()
{
    for (int round = 0; round < 5; ++round) {
        QVERIFY(startTalking());
        talk->stopThread();
        // Intended: the end of the thread is not told to the device.
        QCOMPARE(script->count(Op::stopTalk), 0);
        const int sent = script->count(Op::sendTalkData);
        talk->startThread();
        QVERIFY(talk->settle());
        QCOMPARE(script->count(Op::sendTalkData), sent);
        talk->stopThread();
        script->clearCalls();
    }
}

void TestDevAudioThread::talk_survivesTheDevicesRemoval()
{
    for (int round = 0; round < 5; ++round) {
        auto device = scriptedDevice(script);
        const QWeakPointer<HNetDevice> left(device);
        QCOMPARE(talk->bindDevice(device), 0);
        talk->startThread();
        QVERIFY(queue(*talk, "startTalk"));
        QVERIFY(waitFor([&] { return script->count(Op::sendTalkData) > 1; }));
        device.reset();
        talk->unbindDevice(); // whatever the worker does at this moment
        QVERIFY(waitFor([&] { return !left; }));
        const int sent = script->count(Op::sendTalkData);
        QVERIFY(talk->settle());
        QCOMPARE(script->count(Op::sendTalkData), sent);
        talk->stopThread();
        script->clearCalls();
    }
}

void TestDevAudioThread::destruction_duringTalk_isSurvived()
{
    QVERIFY(startTalking());
    talk.reset();
    const int sent = script->count(Op::sendTalkData);
    talk = std::make_unique<Talk>();
    talk->startThread();
    QVERIFY(talk->settle());
    QCOMPARE(script->count(Op::sendTalkData), sent);

    // By an event of its own worker.
    auto *own = new DevAudioThread;
    const QPointer<DevAudioThread> left(own);
    QCOMPARE(own->bindDevice(scriptedDevice(script)), 0);
    own->startThread();
    QVERIFY(queue(*own, "startTalk"));
    QVERIFY(waitFor([&] { return script->count(Op::sendTalkData) > sent; }));
    own->deleteLater();
    QVERIFY(waitFor([&] { return !left; }));
}

QTEST_GUILESS_MAIN(TestDevAudioThread)
#include "tst_devaudiothread.moc"
