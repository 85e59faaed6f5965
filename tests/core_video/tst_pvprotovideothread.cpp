// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The loop of the thread that reads frame by frame: open, pause, stop. Its reads are tested beside
/// this.

#include "core_codec/mediacodec.h"
#include "fedthreadcase.h"
#include "support/metaobject.h"
#include "support/signalrecorder.h"
#include "threadwatcher.h"

#include <QtTest>

using namespace vantratest;

/// A receiver that tells when a stream thread has come to a signal.
class SignalGate : public QObject
{
    Q_OBJECT

public:
    std::atomic<bool> isReached{false};
    int stood = 0;
    bool wrongThread = false;

public slots:
    void reached() { isReached = true; }
    void stand()
    {
        ++stood;
        wrongThread |= QThread::currentThread() != thread();
    }
};

class TestPvProtoVideoThread : public FedThreadCase
{
    Q_OBJECT

private slots:
    void metaObject_addsPublicAndProtectedSlots();
    void fields_startAsTold();
    void hooks_ofTheBase();
    void opening_callsInThisOrder();
    void opening_stops_whenNotConnected();
    void opening_stops_whenTheStreamDoesNotStart();
    void failedOpens_areCounted_andTriedForEver();
    void initOther_forgetsTheLastSession();
    void initOption_leavesNoDecoderBehind();
    void end_resetsTheSession_andIsReadyForTheNext();
    void close_withoutOpen_tellsNobody();
    void close_afterAnOpen_forgetsTheDay();
    void stop2_reopens();
    void pause_readsNothing_untilNext();
    void stop_inTheCloseBeforeAReopen_isNotLost();
    void stop_endsAPausedThread();
    void stop_beforeTheFirstOpen_isOfThatRunOnly();
    void deletion_whileRunning_isSafe();
    void deletion_whileItStandsInASignal_isSafe_data();
    void deletion_whileItStandsInASignal_isSafe();
    void unwatched_handsNothingToTheDecoder();
    void anyFrame_isSaved_watchedOrNot();
};

void TestPvProtoVideoThread::metaObject_addsPublicAndProtectedSlots()
{
    const QMetaObject &meta = PvProtoVideoThread::staticMetaObject;
    QCOMPARE(methodsOf(meta, QMetaMethod::Slot, QMetaMethod::Public),
             (QStringList{"pause()", "next()"}));
    QCOMPARE(methodsOf(meta, QMetaMethod::Slot, QMetaMethod::Protected),
             (QStringList{"openVideo()", "closeVideo()"}));
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 4);
    QCOMPARE(meta.superClass(), &AbstractVideoThread::staticMetaObject);
}

void TestPvProtoVideoThread::fields_startAsTold()
{
    FedThread thread;
    QVERIFY(!thread.codec);
    QCOMPARE(thread.videoParam.codec, 0);
    QCOMPARE(thread.audioParam.codec, 0);
    QVERIFY(!thread.yuvOut.y);
    QVERIFY(!thread.pcmOut.data);
    QVERIFY(!thread.rgbOut.data);
    QCOMPARE(thread.lastVideoHeader.widthOrSampleRate, 0);
    QCOMPARE(thread.lastAudioHeader.widthOrSampleRate, 0);
    QVERIFY(thread.curVideoPara == HVideoEncPara());
    QCOMPARE(thread.curAudioPara.sampleRate, 0);
    QCOMPARE(thread.curAudioPara.channels, 1);
    QVERIFY(!thread.recordDate.isValid());
    QCOMPARE(thread.timeoutCount, 0);
}

void TestPvProtoVideoThread::hooks_ofTheBase()
{
    FedThread thread;
    thread.tellsCodec = false;
    HVideoEncPara video;
    HAudioEncPara audio;
    QVERIFY(thread.initInput());
    QVERIFY(thread.checkConnect());
    QCOMPARE(thread.getLatestRecordCodec(video, audio), -1);
    QVERIFY(video == HVideoEncPara() && audio == HAudioEncPara());
    thread.handlePreviewClose();
    HFrameHeader frame = {};
    thread.beforeSaveMP4(&frame);
    thread.setReadTimeout(700);
    QCOMPARE(thread.getReadTimeout(), 700);
    thread.pause();
    QVERIFY(!thread.getIsPause()); // it does not run
}

void TestPvProtoVideoThread::opening_callsInThisOrder()
{
    FedThread thread;
    ThreadWatcher watcher(&thread);
    bool okAtStart = false;
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0"))
            okAtStart = thread.getIsOk();
    };
    QVERIFY(begin(&thread));
    QCOMPARE(thread.calls(), (QStringList{"closeVideo", "openVideo", "checkConnect", "initOption",
                                          "initInput", "initOther", "readFrame:100"}));
    QCOMPARE(watcher.events, (QStringList{"started", "playStart:0"}));
    QVERIFY(okAtStart);
    QVERIFY(thread.getIsOk());
    QVERIFY(thread.codec);
    QVERIFY(!thread.isOpenTimeout());
    QVERIFY(end(&thread));
    QVERIFY(!watcher.wrongThread);
    QCOMPARE(log->lines().last().text, QStringLiteral("(pvptvthr)exit thread"));
    QCOMPARE(log->lines().last().level, Logger::Debug);
}

void TestPvProtoVideoThread::opening_stops_whenNotConnected()
{
    FedThread thread;
    thread.connects = false;
    thread.play();
    QVERIFY(waitFor([&] { return thread.count(QStringLiteral("openVideo")) >= 2; }));
    QVERIFY(end(&thread));
    QCOMPARE(thread.calls().mid(0, 5),
             (QStringList{"closeVideo", "openVideo", "checkConnect", "closeVideo", "openVideo"}));
    QVERIFY(!thread.codec);
}

void TestPvProtoVideoThread::opening_stops_whenTheStreamDoesNotStart()
{
    FedThread thread;
    thread.starts = false;
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return thread.count(QStringLiteral("openVideo")) >= 2; }));
    QVERIFY(end(&thread));
    QCOMPARE(thread.calls().mid(0, 6), (QStringList{"closeVideo", "openVideo", "checkConnect",
                                                    "initOption", "initInput", "closeVideo"}));
    QCOMPARE(watcher.events, (QStringList{"started", "finished"}));
}

void TestPvProtoVideoThread::failedOpens_areCounted_andTriedForEver()
{
    FedThread thread;
    thread.connects = false;
    thread.play();
    QVERIFY(waitFor([&] { return thread.openFailCount >= 3; }));
    QVERIFY(thread.isOpenTimeout());
    thread.connects = true;
    QVERIFY(settle(&thread));
    QVERIFY(!thread.isOpenTimeout());
    QCOMPARE(thread.openFailCount.load(), 0);
    QVERIFY(end(&thread));
    thread.openFailCount = 5; // of the last run
    QVERIFY(begin(&thread));
    QCOMPARE(thread.openFailCount.load(), 0);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThread::initOther_forgetsTheLastSession()
{
    FedThread thread;
    uchar bytes[8] = {};
    thread.videoParam.codec = 2;
    thread.audioParam.codec = HCodecG711U;
    thread.yuvOut.y = bytes;
    thread.pcmOut.data = bytes;
    thread.rgbOut.data = bytes;
    thread.lastVideoHeader.widthOrSampleRate = 320;
    thread.lastAudioHeader.widthOrSampleRate = 8000;
    thread.setCurRecordCodec(videoPara(), audioPara());
    thread.initOther();
    QCOMPARE(thread.videoParam.codec, 0);
    QCOMPARE(thread.audioParam.codec, 0);
    QVERIFY(!thread.yuvOut.y);
    QVERIFY(!thread.pcmOut.data);
    QVERIFY(!thread.rgbOut.data);
    QCOMPARE(thread.lastVideoHeader.widthOrSampleRate, 0);
    QCOMPARE(thread.lastAudioHeader.widthOrSampleRate, 0);
    QVERIFY(thread.curVideoPara == HVideoEncPara());
    QVERIFY(thread.curAudioPara == HAudioEncPara());
}

void TestPvProtoVideoThread::initOption_leavesNoDecoderBehind()
{
    FedThread thread;
    thread.initOption();
    _tag_vdec_param_s param = {};
    param.codec = 1;
    QVERIFY(thread.codec->createVideoDecoder(param));
    log->clear();
    thread.initOption();
    QVERIFY(thread.codec->isVideoDecoderNull());
    QCOMPARE(log->countMatching(Logger::Debug, QRegularExpression("destroy video decoder")), 1);
}

void TestPvProtoVideoThread::end_resetsTheSession_andIsReadyForTheNext()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    for (int round = 0; round < 2; ++round) {
        watcher.events.clear();
        QVERIFY(begin(&thread));
        thread.feed(picture(0));
        QVERIFY(settle(&thread));
        QCOMPARE(thread.getVideoWidth(), 320);
        QVERIFY(thread.keyFrameSeen);
        QVERIFY(end(&thread));
        QCOMPARE(watcher.events, (QStringList{"started", "playStart:0", "codecRender:H264:320x240",
                                              "renderStart", "sizeChanged", "frame",
                                              "decoderDestroyed", "playFinsh", "finished"}));
        QVERIFY(!thread.keyFrameSeen);
        QVERIFY(!thread.getIsOk());
        QVERIFY(!thread.stopped);
        QVERIFY(!thread.playedOnce);
        QVERIFY(!thread.recordDate.isValid());
        QCOMPARE(thread.getVideoWidth(), 0);
        QCOMPARE(thread.getVideoHeight(), 0);
        QVERIFY(thread.codec->isVideoDecoderNull());
    }
}

void TestPvProtoVideoThread::close_withoutOpen_tellsNobody()
{
    FedThread thread;
    thread.keyFrameSeen = true;
    thread.recordDate = QDate(2026, 5, 1);
    SignalRecorder recorder;
    recorder.watch(&thread, &AbstractVideoThread::receivePlayFinsh, "playFinsh");
    recorder.watch(&thread, &AbstractVideoThread::sig_decoderDestroyed, "decoderDestroyed");
    thread.closeVideo();
    QVERIFY(!thread.keyFrameSeen);
    QCOMPARE(thread.recordDate, QDate(2026, 5, 1));
    QVERIFY(recorder.names().isEmpty());
}

void TestPvProtoVideoThread::close_afterAnOpen_forgetsTheDay()
{
    FedThread thread;
    SignalRecorder recorder;
    recorder.watch(&thread, &AbstractVideoThread::receivePlayFinsh, "playFinsh");
    thread.playedOnce = true;
    thread.recordDate = QDate(2026, 5, 1);
    thread.closeVideo();
    QVERIFY(!thread.recordDate.isValid());
    QCOMPARE(recorder.names(), QStringList("playFinsh"));
}

void TestPvProtoVideoThread::stop2_reopens()
{
    FedThread thread;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.clearCalls();
    thread.stop2();
    thread.feed(DeviceReadTimeout); // the read under way comes to its end
    QVERIFY(waitFor([&] { return watcher.count(QStringLiteral("playStart:0")) == 2; }));
    QVERIFY(settle(&thread));
    QCOMPARE(thread.calls(),
             (QStringList{"initInput", "closeVideo", "openVideo", "checkConnect", "initOption",
                          "initInput", "initOther", "readFrame:100"}));
    QCOMPARE(watcher.events, (QStringList{"started", "playStart:0", "playFinsh", "playStart:0"}));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThread::pause_readsNothing_untilNext()
{
    FedThread thread;
    thread.previewRef() = 1;
    QVERIFY(begin(&thread));
    thread.pause();
    QVERIFY(thread.getIsPause());
    thread.feed(DeviceReadTimeout); // the read under way
    QVERIFY(waitFor([&] { return thread.count(QStringLiteral("initInput")) == 2; }));
    thread.clearCalls();
    thread.feed(picture(0));
    QVERIFY(!waitFor([&] { return !thread.calls().isEmpty(); }, 300));
    thread.next();
    QVERIFY(!thread.getIsPause());
    QVERIFY(settle(&thread));
    QCOMPARE(thread.count(QStringLiteral("beforeSaveMP4:0")), 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThread::stop_inTheCloseBeforeAReopen_isNotLost()
{
    FedThread thread;
    ThreadWatcher watcher(&thread);
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playFinsh"))
            thread.stop();
    };
    QVERIFY(begin(&thread));
    thread.stop2();
    thread.feed(DeviceReadTimeout);
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCOMPARE(watcher.count(QStringLiteral("playStart:0")), 1);
    // It is spent: the next run may be started without play().
    thread.start();
    QVERIFY(settle(&thread));
    watcher.atEvent = nullptr;
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThread::stop_endsAPausedThread()
{
    FedThread thread;
    QVERIFY(begin(&thread));
    thread.pause();
    thread.feed(DeviceReadTimeout);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThread::stop_beforeTheFirstOpen_isOfThatRunOnly()
{
    FedThread thread;
    thread.connects = false;
    thread.play();
    QVERIFY(waitFor([&] { return thread.openFailCount > 0; }));
    QVERIFY(end(&thread));
    thread.connects = true;
    thread.start(); // as a live view does
    QVERIFY(settle(&thread));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThread::deletion_whileRunning_isSafe()
{
    auto thread = std::make_unique<FedThread>();
    thread->setVideoMode(VideoMode_Opengl);
    thread->previewRef() = 1;
    ThreadWatcher watcher(thread.get());
    QVERIFY(begin(thread.get()));
    thread->feed(pictures(0, 10));
    QVERIFY(waitFor([&] { return !watcher.pictures.isEmpty(); }));
    thread.reset();
    QVERIFY(!watcher.wrongThread);
}

void TestPvProtoVideoThread::deletion_whileItStandsInASignal_isSafe_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char *name :
         {"receivePlayStart(int)", "sig_updateCodecRender(QString,int,int)", "receiveRenderStart()",
          "receiveFrame(int,int,quint8*,quint8*,quint8*,quint32,quint32,quint32)",
          "sig_decoderDestroyed()", "receivePlayFinsh(QObject*)"})
        QTest::newRow(name) << QByteArray(name);
}

void TestPvProtoVideoThread::deletion_whileItStandsInASignal_isSafe()
{
    // Nobody runs an event loop between the signal and the deletion, so that the stream thread
    // stands there until it is let go.
    QFETCH(QByteArray, name);
    auto thread = std::make_unique<FedThread>();
    thread->setVideoMode(VideoMode_Opengl);
    thread->previewRef() = 1;
    const QMetaObject *meta = thread->metaObject();
    const QMetaMethod signal = meta->method(meta->indexOfSignal(name));
    QVERIFY(signal.isValid());
    SignalGate gate;
    const QMetaObject *gateMeta = gate.metaObject();
    connect(thread.get(), signal, &gate, gateMeta->method(gateMeta->indexOfSlot("reached()")),
            Qt::DirectConnection);
    connect(thread.get(), signal, &gate, gateMeta->method(gateMeta->indexOfSlot("stand()")),
            Qt::BlockingQueuedConnection);
    thread->feed(picture(0));
    thread->feed(picture(0, 1, 640, 480)); // in place of the first decoder
    thread->feed(DeviceReadEnd);
    thread->play();
    for (int i = 0; i < 20000 && !gate.isReached; ++i)
        QThread::msleep(1);
    QVERIFY(gate.isReached);
    thread.reset();
    QVERIFY(gate.stood <= 1);
    QVERIFY(!gate.wrongThread);
}

void TestPvProtoVideoThread::unwatched_handsNothingToTheDecoder()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.renderStartPending = false;
    thread.keyFrameSeen = true;
    thread.feed(picture(0));
    thread.feed(sound());
    QVERIFY(settle(&thread));
    QVERIFY(!thread.keyFrameSeen);
    QVERIFY(thread.renderStartPending);
    QCOMPARE(thread.count(QStringLiteral("handlePreviewClose")), 2);
    QVERIFY(thread.codec->isVideoDecoderNull());
    QVERIFY(thread.codec->isAudioDecoderNull());
    QCOMPARE(watcher.events, (QStringList{"started", "playStart:0"}));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThread::anyFrame_isSaved_watchedOrNot()
{
    FedThread thread;
    QVERIFY(begin(&thread));
    for (const int viewers : {0, 1}) {
        thread.previewRef() = viewers;
        thread.clearCalls();
        ScriptedFrame odd = picture(1);
        odd.header.frameType = 77;
        thread.feed(picture(1));
        thread.feed(sound());
        thread.feed(odd);
        QVERIFY(settle(&thread));
        QCOMPARE(thread.calls().filter(QStringLiteral("beforeSave")),
                 (QStringList{"beforeSaveMP4:1", "beforeSaveMP4:4", "beforeSaveMP4:77"}));
        QCOMPARE(thread.count(QStringLiteral("handlePreviewClose")), viewers ? 0 : 3);
    }
    QVERIFY(end(&thread));
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThread)
#include "tst_pvprotovideothread.moc"
