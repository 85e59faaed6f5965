// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "core_codec/mediacodec.h"
#include "core_video/deviceinterface.h"
#include "core_video/pvprotovideothread.h"
#include "support/deviceframes.h"
#include "support/loggedtest.h"
#include "support/scriptedbackend.h"
#include "support/signalrecorder.h"
#include "support/waitfor.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <type_traits>

namespace vantratest {

/// A live thread whose hooks a test may call by itself, on its own thread.
template<typename Thread>
class LiveProbe final : public Thread
{
public:
    LiveProbe() = default;
    ~LiveProbe() override { this->endRun(); }

    using Thread::beforeSaveMP4;
    using Thread::checkConnect;
    using Thread::closeVideo;
    using Thread::codec;
    using Thread::getLatestRecordCodec;
    using Thread::handlePreviewClose;
    using Thread::initInput;
    using Thread::initOption;
    using Thread::readFrame;
    using Thread::timeoutCount;
};

/// What the two kinds of private-protocol live threads have in common, as tests of either. `tag` is
/// that of its lines in the log.
template<typename Thread>
class LiveThreadCase : public LoggedTest, protected DeviceFrames
{
public:
    explicit LiveThreadCase(const QString &tag) : tag(tag) {}

protected:
    using Op = DeviceScript::Op;
    using Probe = LiveProbe<Thread>;
    static constexpr int kChannel = 2;

    void setUp() override
    {
        script = std::make_shared<DeviceScript>();
        thread = std::make_unique<Probe>();
        thread->bindDevice(scriptedDevice(script));
        thread->setStreamChannel(kChannel, 0);
        thread->setReadTimeout(500);
    }

    void tearDown() override { thread.reset(); }

    QString line(const QString &text) const { return tag + text; }
    void expectError(const QString &text) { log->expect(Logger::Error, line(text)); }
    void expectWarning(const QString &text) { log->expect(Logger::Warning, line(text)); }
    int errors(const QString &text) const { return log->count(Logger::Error, line(text)); }
    int infos(const QString &text) const { return log->count(Logger::Info, line(text)); }

    void isBothThreadAndBound(const QString &name)
    {
        static_assert(std::is_base_of<PvProtoVideoThread, Thread>::value, "");
        static_assert(std::is_base_of<DeviceInterface, Thread>::value, "");
        // The thread comes first: who has the one pointer has the other.
        QCOMPARE(static_cast<void *>(static_cast<PvProtoVideoThread *>(thread.get())),
                 static_cast<void *>(thread.get()));
        AbstractVideoThread *held = thread.get();
        QCOMPARE(dynamic_cast<DeviceInterface *>(held)->channel, int(kChannel));
        QCOMPARE(thread->objectName(), name);
        QCOMPARE(QString::fromLatin1(Thread::staticMetaObject.className()), name);
        QCOMPARE(Thread::staticMetaObject.methodCount(),
                 PvProtoVideoThread::staticMetaObject.methodCount()); // it adds none
        QObject parent;
        auto *child = new Thread(&parent);
        QCOMPARE(child->parent(), &parent);
    }

    void withoutDevice_readFails()
    {
        thread->unbindDevice();
        expectError(QStringLiteral("dev is null"));
        HFrameHeader frame = {};
        QCOMPARE(thread->readFrame(&frame, 10), 3);
        HVideoEncPara video;
        HAudioEncPara audio;
        QCOMPARE(thread->getLatestRecordCodec(video, audio), -1);
        QVERIFY(!thread->checkConnect());
        QCOMPARE(errors(QStringLiteral("dev is null")), 3);
        thread->closeVideo(); // in silence
        QCOMPARE(errors(QStringLiteral("dev is null")), 3);
        QVERIFY(script->calls().isEmpty());
    }

    void read_mapsTheAnswers()
    {
        script->enqueue(Op::readFrame, ScriptedFrame::video(1, 0, 16, 8, "abcd", 5));
        script->enqueue(Op::readFrame, HRetTimeout);
        script->enqueue(Op::readFrame, HRetEndOfFile); // not known to a live stream
        script->enqueue(Op::readFrame, HRetBusy);
        script->enqueue(Op::readFrame, -5);
        expectError(QStringLiteral("read frame err 18"));
        expectError(QStringLiteral("read frame err 16"));
        expectError(QStringLiteral("read frame err -5"));
        HFrameHeader frame = {};
        QCOMPARE(thread->readFrame(&frame, 70), 0);
        QCOMPARE(frame.frameSize, 4u);
        QCOMPARE(thread->readFrame(&frame, 70), 2);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(thread->readFrame(&frame, 70), 3);
        QCOMPARE(script->texts().value(0), QStringLiteral("readFrame(2, 0, 70)"));
        QCOMPARE(log->missing(), QStringList());
        QCOMPARE(log->lines().size(), 3); // a time-out is silent
    }

    void readTimeouts_areTold_fromTheFifthOn()
    {
        const QString text = QStringLiteral("read [192.0.2.1:1] frame timeout(500 ms) ");
        thread->setStreamChannel(kChannel, 1);
        script->setAnswer(Op::readFrame, HRetTimeout);
        HFrameHeader frame = {};
        for (int before = 0; before < 4; ++before) { // as the loop counts them
            thread->timeoutCount = before;
            QCOMPARE(thread->readFrame(&frame, 100), 2);
        }
        QVERIFY(log->lines().isEmpty());
        for (const int before : {4, 5, 6, std::numeric_limits<int>::max()}) {
            thread->timeoutCount = before;
            QCOMPARE(thread->readFrame(&frame, 100), 2);
        }
        QCOMPARE(infos(text), 4);
        QCOMPARE(log->lines().size(), 4);
    }

    void preview_freesDecoders_ofTheMainStreamOnly()
    {
        thread->handlePreviewClose(); // nothing is open yet
        SignalRecorder recorder;
        recorder.watch(thread.get(), &AbstractVideoThread::sig_decoderDestroyed, "destroyed");
        _tag_vdec_param_s video = {};
        video.codec = 1;
        const _tag_adec_param_s audio = {HCodecG711A, 8000, 16, 1};
        thread->initOption();
        QVERIFY(thread->codec->createVideoDecoder(video));
        QVERIFY(thread->codec->createAudioDecoder(audio));
        for (const int stream : {1, 2, -1}) {
            thread->setStreamChannel(kChannel, stream);
            thread->handlePreviewClose();
            QVERIFY(!thread->codec->isVideoDecoderNull());
            QVERIFY(!thread->codec->isAudioDecoderNull());
        }
        QCOMPARE(recorder.count("destroyed"), 0);
        thread->setStreamChannel(kChannel, 0);
        thread->handlePreviewClose();
        QVERIFY(thread->codec->isVideoDecoderNull());
        QVERIFY(thread->codec->isAudioDecoderNull());
        QCOMPARE(recorder.count("destroyed"), 1);
        QVERIFY(thread->codec->createAudioDecoder(audio));
        thread->handlePreviewClose(); // sound alone: nobody holds memory of it
        QVERIFY(thread->codec->isAudioDecoderNull());
        QCOMPARE(recorder.count("destroyed"), 1);
    }

    void codec_isAskedOfTheDevice()
    {
        HVideoEncPara video;
        HAudioEncPara audio;
        script->enqueue(Op::getCodecInfo, DeviceAnswer(videoPara(2, 64, 32), audioPara()));
        QCOMPARE(thread->getLatestRecordCodec(video, audio), 0);
        QVERIFY(video == videoPara(2, 64, 32) && audio == audioPara());
        QCOMPARE(script->texts(), QStringList{QStringLiteral("getCodecInfo(2, 0)")});
        script->enqueue(Op::getCodecInfo, HRetBusy);
        expectError(QStringLiteral("get codec err 16"));
        QCOMPARE(thread->getLatestRecordCodec(video, audio), -1);
        QCOMPARE(log->missing(), QStringList());
    }

    void recording_isNamedByItsBegin_andRenamedByItsEnd()
    {
        QTemporaryDir folder;
        const QString stamp = QStringLiteral("\\d{8}T\\d{6}");
        for (const auto type :
             {AbstractVideoThread::MANUAL_RECORD, AbstractVideoThread::AUTO_RECORD}) {
            const QString path = folder.filePath(QString::number(type));
            thread->setSavePath(type, path);
            const QDate before = QDate::currentDate();
            thread->setMP4FileName(type);
            const QString name = thread->getFileName(type);
            const QRegularExpression form(
                QStringLiteral("^%1/(\\d{4}-\\d\\d-\\d\\d)/live/(%2)\\.mp4$")
                    .arg(QRegularExpression::escape(path), stamp));
            const QRegularExpressionMatch match = form.match(name);
            QVERIFY2(match.hasMatch(), qPrintable(name));
            const QDate day = QDate::fromString(match.captured(1), Qt::ISODate);
            QVERIFY(day == before || day == QDate::currentDate());
            QVERIFY(QFileInfo(name).dir().exists());

            QFile file(name);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.close();
            thread->renameMP4File(type);
            const QStringList left = QFileInfo(name).dir().entryList(QDir::Files);
            QCOMPARE(left.size(), 1);
            QVERIFY2(
                QRegularExpression(QStringLiteral("^%1_%2_2\\.mp4$").arg(match.captured(2), stamp))
                    .match(left.first())
                    .hasMatch(),
                qPrintable(left.first()));
            QCOMPARE(thread->getFileName(type), name);
        }
    }

    /// Does something that asks the device, which is let go of by everybody else in the midst of
    /// `operation`. It has to be there until its call returns.
    template<typename Work>
    void isThere_inTheMidstOf(Op operation, Work work)
    {
        QSharedPointer<HNetDevice> device = scriptedDevice(script);
        const QWeakPointer<HNetDevice> watched = device;
        thread->bindDevice(device);
        device.reset();
        script->clearCalls();
        bool there = false;
        DeviceAnswer answer = HRetOk;
        if (operation == Op::getConnectStatus || operation == Op::getStreamStatus)
            answer = HChannelConnected;
        answer.first = [&] {
            thread->unbindDevice();
            there = !watched.isNull();
        };
        script->enqueue(operation, answer);
        work();
        QCOMPARE(script->pending(operation), 0);
        QVERIFY(there);
        QVERIFY(watched.isNull()); // and no longer
    }

    void device_letGoOf_inMidCall_isThereUntilTheEnd()
    {
        HFrameHeader frame = {};
        HVideoEncPara video;
        HAudioEncPara audio;
        isThere_inTheMidstOf(Op::readFrame, [&] { thread->readFrame(&frame, 10); });
        isThere_inTheMidstOf(Op::getCodecInfo, [&] { thread->getLatestRecordCodec(video, audio); });
        isThere_inTheMidstOf(Op::enableMediaTransmit, [&] { QVERIFY(thread->initInput()); });
        isThere_inTheMidstOf(Op::enableMediaTransmit, [&] { thread->closeVideo(); });
    }

    void device_letGoOf_whileRunning_endsTheThread()
    {
        expectError(QStringLiteral("dev is null"));
        log->expect(Logger::Error, QStringLiteral("(pvptvthr)read frame error"));
        QVERIFY(begin());
        thread->unbindDevice();
        QVERIFY(waitFor([&] { return thread->isFinished(); }) && thread->wait());
        QVERIFY(errors(QStringLiteral("dev is null")) >= 4);
    }

    /// Starts the thread; false if it does not come to read.
    bool begin()
    {
        thread->play();
        return waitFor([&] { return script->count(Op::readFrame) > 0; });
    }

    bool end()
    {
        thread->stop();
        const bool ended = waitFor([&] { return thread->isFinished(); }) && thread->wait();
        QCoreApplication::processEvents();
        return ended;
    }

    /// Waits until the loop has taken all frames and asked for one more.
    bool taken()
    {
        const int reads = script->count(Op::readFrame) + script->pending(Op::readFrame);
        return waitFor([&] { return script->count(Op::readFrame) > reads; });
    }

    std::shared_ptr<DeviceScript> script;
    std::unique_ptr<Probe> thread;

private:
    const QString tag;
};

} // namespace vantratest
