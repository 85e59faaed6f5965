// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "loopthread.h"
#include "support/waitfor.h"

#include <QMetaEnum>
#include <QResizeEvent>
#include <QSignalSpy>
#include <QtTest>

using namespace vantratest;

namespace {

using T = AbstractVideoThread;

} // namespace

class TestAbstractVideoThread : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        Receiver::destroyed = false;
        Receiver::calledTooLate = false;
        T::debugInfo = true;
    }

    void startsWithTheseValues();
    void accessorsKeepWhatTheyAreGiven();
    void metaObject_keepsTheOrderOfSignalsAndSlots();
    void recorderState_isRegistered();
    void debug_hasNoVisibleEffect();
    void controls_changeNothing_whenNotRunning();
    void play_changesNothing_whenRunning();
    void play_clearsTheFlags();
    void stop_returnsAtOnce_andClearsPauseAndSnap();
    void pauseAndNext_setTheFlagOnly();
    void checkVideoSize_data();
    void checkVideoSize();
    void setVideoSize_data();
    void setVideoSize();
    void checkCameraUrl_data();
    void checkCameraUrl();
    void referenceCount_countsWidgetsAndRecordings();
    void timeouts_areThoseOfTheCounters();
    void setters_passPicturesAndSoundOn();
    void setPosition_isStoredAndTold();
    void eventFilter_callsSetGeometry_onResizeOnly();
};

void TestAbstractVideoThread::startsWithTheseValues()
{
    QObject parent;
    LoopThread thread(&parent);
    QCOMPARE(thread.parentObject, &parent);
    QCOMPARE(thread.getVideoMode(), VideoMode_Hwnd);
    QCOMPARE(thread.getVideoCore(), VideoCore_None);
    QCOMPARE(thread.getDecodeType(), DecodeType_Fast);
    QCOMPARE(thread.getHardware(), QStringLiteral("none"));
    QCOMPARE(thread.getTransport(), QStringLiteral("tcp"));
    QCOMPARE(thread.getBufferSize(), QStringLiteral("0x0"));
    QCOMPARE(thread.videoSize, QStringLiteral("0x0"));
    QCOMPARE(thread.getVideoUrl(), QString());
    QCOMPARE(thread.getSnapName(), QString());
    QCOMPARE(thread.getVideoWidth(), 0);
    QCOMPARE(thread.getVideoHeight(), 0);
    QCOMPARE(thread.getFrameRate(), 0);
    QCOMPARE(thread.getRotate(), 0);
    QCOMPARE(thread.sampleRate, 8000);
    QCOMPARE(thread.channelCount, 1);
    QCOMPARE(thread.profile, 1);
    QCOMPARE(thread.getCaching(), 500);
    QVERIFY(!thread.getPlayRepeat());
    QVERIFY(!thread.getOnlyAudio());
    QCOMPARE(thread.getOpenSleepTime(), 3000);
    QCOMPARE(thread.getReadTimeout(), 0);
    QCOMPARE(thread.getConnectTimeout(), 500);
    QVERIFY(!thread.getIsOk() && !thread.getIsPause() && !thread.getIsSnap());
    QVERIFY(!thread.stopped && !thread.playedOnce && thread.renderStartPending);
    QVERIFY(!thread.getTimer()->isValid());
    QCOMPARE(thread.previewRef().load(), 0);
    QVERIFY(!thread.isOwned());
    QVERIFY(!thread.isOpenTimeout() && !thread.isReadTimeout());
    QCOMPARE(thread.getDuration(), 0);
    QCOMPARE(thread.getPosition(), 0);
    QCOMPARE(thread.getSpeed(), 1.0);
    QVERIFY(qAbs(thread.lastTime.secsTo(QDateTime::currentDateTime())) < 60);
    for (const auto type : {T::MANUAL_RECORD, T::AUTO_RECORD}) {
        QCOMPARE(thread.getSaveInterval(type), -1);
        QVERIFY(!thread.isRecording(type));
        QCOMPARE(thread.getFileName(type), QString());
        QCOMPARE(thread.savePath.at(type), QString());
        QVERIFY(thread.saveAudio.at(type));
        QVERIFY(!thread.saveTimer.at(type).isValid());
    }
    QVERIFY(T::sharedData);
    QVERIFY(T::debugInfo);
}

void TestAbstractVideoThread::accessorsKeepWhatTheyAreGiven()
{
    LoopThread thread;
    thread.setVideoMode(VideoMode_D3D11);
    QCOMPARE(thread.getVideoMode(), VideoMode_D3D11);
    thread.setVideoCore(VideoCore_Device);
    QCOMPARE(thread.getVideoCore(), VideoCore_Device);
    thread.setDecodeType(DecodeType_Balanced);
    QCOMPARE(thread.getDecodeType(), DecodeType_Balanced);
    thread.setHardware(QStringLiteral("dxva2"));
    QCOMPARE(thread.getHardware(), QStringLiteral("dxva2"));
    thread.setTransport(QStringLiteral("udp"));
    QCOMPARE(thread.getTransport(), QStringLiteral("udp"));
    thread.setBufferSize(QStringLiteral("1x2"));
    QCOMPARE(thread.getBufferSize(), QStringLiteral("1x2"));
    thread.setVideoUrl(QStringLiteral("rtsp://a"));
    QCOMPARE(thread.getVideoUrl(), QStringLiteral("rtsp://a"));
    thread.setSnapName(QStringLiteral("a.jpg"));
    QCOMPARE(thread.getSnapName(), QStringLiteral("a.jpg"));
    thread.setFrameRate(7);
    QCOMPARE(thread.getFrameRate(), 7);
    thread.setRotate(90);
    QCOMPARE(thread.getRotate(), 90);
    thread.setCaching(1);
    QCOMPARE(thread.getCaching(), 1);
    thread.setPlayRepeat(true);
    QVERIFY(thread.getPlayRepeat());
    thread.setOpenSleepTime(2);
    QCOMPARE(thread.getOpenSleepTime(), 2);
    thread.setReadTimeout(3);
    QCOMPARE(thread.getReadTimeout(), 3);
    thread.setConnectTimeout(4);
    QCOMPARE(thread.getConnectTimeout(), 4);
    thread.getTimer()->start();
    QVERIFY(thread.getTimer()->isValid());
    thread.isOwned() = true;
    QVERIFY(thread.isOwned());
    thread.lastTime = QDateTime();
    thread.updateTime();
    QVERIFY(thread.lastTime.isValid());
    QCOMPARE(thread.lastTime.timeSpec(), Qt::UTC); // a local time costs too much, so often
}

void TestAbstractVideoThread::metaObject_keepsTheOrderOfSignalsAndSlots()
{
    const QStringList names = {"receivePlayStart(int)",
                               "receivePlayFinsh(QObject*)",
                               "receiveImage(QImage,int)",
                               "snapImage(QImage,QString)",
                               "receiveSizeChanged()",
                               "recorderStateChanged(RecorderState,QString)",
                               "receiveRenderStart()",
                               "sig_updateCodecRender(QString,int,int)",
                               "receiveFrame(int,int,quint8*,quint8*,quint8*,uint,uint,uint)",
                               "receiveFrame(int,int,quint8*,quint8*,uint,uint)",
                               "receiveFrame(int,int,quint8*,bool)",
                               "receiveFrame(int,int,quint8*,int,bool)",
                               "receiveAudioFormat(int,int,int)",
                               "receiveAudio(QByteArray)",
                               "receiveVolume(int)",
                               "receiveMuted(bool)",
                               "receiveDuration(qlonglong)",
                               "receivePosition(qlonglong)",
                               "sig_decoderDestroyed()",
                               "sig_connExceedMax()",
                               "sig_otherError()",
                               "debug(QString,QString,QString)",
                               "debug(QString,QString)",
                               "setImage(QImage)",
                               "setYuv(quint8*,quint8*,quint8*,int,int)",
                               "setPcm(const char*,int)",
                               "readMediaInfo()",
                               "getDuration()",
                               "getPosition()",
                               "setPosition(qlonglong)",
                               "getSpeed()",
                               "setSpeed(double)",
                               "stop2()",
                               "play()",
                               "stop()",
                               "pause()",
                               "next()",
                               "snap(QString)",
                               "snap()",
                               "snapFinsh()"};
    QStringList expected;
    for (const QString &name : names)
        expected << QString::fromLatin1(QMetaObject::normalizedSignature(qPrintable(name)));
    QStringList found;
    const QMetaObject &meta = T::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        found << QString::fromLatin1(
            QMetaObject::normalizedSignature(meta.method(i).methodSignature()));
    QCOMPARE(found, expected);
    const QMetaEnum types = meta.enumerator(meta.indexOfEnumerator("RecordType"));
    QCOMPARE(types.keyCount(), 3);
    QCOMPARE(types.keyToValue("MANUAL_RECORD"), 0);
    QCOMPARE(types.keyToValue("AUTO_RECORD"), 1);
    QCOMPARE(types.keyToValue("RECORD_TYPE_MAX"), 2);
}

void TestAbstractVideoThread::recorderState_isRegistered()
{
    LoopThread thread;
    const int type = QMetaType::type("RecorderState");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(QMetaType::sizeOf(type), 4);
    QVERIFY(QMetaType::typeFlags(type) & QMetaType::IsEnumeration);
    QVERIFY(QMetaType::typeFlags(type) & QMetaType::MovableType);
}

void TestAbstractVideoThread::debug_hasNoVisibleEffect()
{
    LoopThread thread;
    const QMetaObject &meta = T::staticMetaObject;
    QSignalSpy spy(&thread, &T::receivePlayStart);
    for (const bool on : {true, false}) {
        T::debugInfo = on;
        for (const char *flag : {"", "camera 1"}) {
            thread.setFlag(QString::fromLatin1(flag));
            thread.debug(QStringLiteral("head"), QStringLiteral("msg"));
            thread.debug(QStringLiteral("head"), QStringLiteral("msg"), QStringLiteral("url"));
            QVERIFY(QMetaObject::invokeMethod(&thread, "debug", Q_ARG(QString, QStringLiteral("h")),
                                              Q_ARG(QString, QString())));
        }
    }
    QVERIFY(meta.indexOfSlot("debug(QString,QString)") >= 0);
    QCOMPARE(spy.count(), 0);
    QVERIFY(!thread.stopped && !thread.isOk);
}

void TestAbstractVideoThread::controls_changeNothing_whenNotRunning()
{
    LoopThread thread;
    thread.isPause = true;
    thread.isSnap = true;
    thread.stop();
    QVERIFY(!thread.stopped && thread.isPause && thread.isSnap);
    thread.next();
    QVERIFY(thread.isPause);
    thread.isPause = false;
    thread.pause();
    QVERIFY(!thread.isPause);
    QVERIFY(!thread.isRunning());
}

void TestAbstractVideoThread::play_changesNothing_whenRunning()
{
    LoopThread thread;
    thread.play();
    QVERIFY(waitFor([&] { return thread.rounds > 0; }));
    thread.isPause = true;
    thread.isSnap = true;
    thread.play();
    QVERIFY(thread.isPause && thread.isSnap);
    QCOMPARE(thread.runs.load(), 1);
}

void TestAbstractVideoThread::play_clearsTheFlags()
{
    LoopThread thread;
    thread.stopped = thread.isPause = thread.isSnap = true;
    thread.play();
    QVERIFY(!thread.stopped && !thread.isPause && !thread.isSnap);
    QVERIFY(waitFor([&] { return thread.rounds > 0; }));
    QCOMPARE(thread.priority(), QThread::InheritPriority);
}

void TestAbstractVideoThread::stop_returnsAtOnce_andClearsPauseAndSnap()
{
    LoopThread thread;
    Receiver receiver;
    connectBlocking(&thread, &receiver);
    thread.play();
    waitBlind([&] { return thread.emitting.load(); });
    thread.isPause = thread.isSnap = true;
    thread.stop(); // the thread is blocked: a stop that waited would never return
    QVERIFY(thread.stopped && !thread.isPause && !thread.isSnap);
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
}

void TestAbstractVideoThread::pauseAndNext_setTheFlagOnly()
{
    LoopThread thread;
    thread.play();
    thread.pause();
    QVERIFY(thread.getIsPause());
    thread.next();
    QVERIFY(!thread.getIsPause());
    QVERIFY(!thread.stopped);
}

void TestAbstractVideoThread::checkVideoSize_data()
{
    QTest::addColumn<QSize>("stored");
    QTest::addColumn<QSize>("given");
    QTest::addColumn<bool>("changes");
    QTest::newRow("first size comes from the open") << QSize(0, 0) << QSize(640, 480) << false;
    QTest::newRow("same") << QSize(640, 480) << QSize(640, 480) << false;
    QTest::newRow("width") << QSize(640, 480) << QSize(641, 480) << true;
    QTest::newRow("height") << QSize(640, 480) << QSize(640, 481) << true;
    QTest::newRow("zero width") << QSize(640, 480) << QSize(0, 480) << false;
    QTest::newRow("negative height") << QSize(640, 480) << QSize(640, -1) << false;
    QTest::newRow("stored height unknown") << QSize(640, 0) << QSize(640, 480) << false;
}

void TestAbstractVideoThread::checkVideoSize()
{
    QFETCH(QSize, stored);
    QFETCH(QSize, given);
    QFETCH(bool, changes);
    LoopThread thread;
    thread.videoWidth = stored.width();
    thread.videoHeight = stored.height();
    QSignalSpy spy(&thread, &T::receiveSizeChanged);
    thread.checkVideoSize(given.width(), given.height());
    QCOMPARE(QSize(thread.getVideoWidth(), thread.getVideoHeight()), changes ? given : stored);
    QCOMPARE(spy.count(), changes ? 1 : 0);
}

void TestAbstractVideoThread::setVideoSize_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QSize>("size");
    QTest::newRow("x") << "640x480" << QSize(640, 480);
    QTest::newRow("star") << "1280*720" << QSize(1280, 720);
    QTest::newRow("star goes before x") << "1x2*3" << QSize(0, 3);
    QTest::newRow("three parts") << "1x2x3" << QSize(5, 6);
    QTest::newRow("no mark") << "640" << QSize(5, 6);
    QTest::newRow("no numbers") << "axb" << QSize(0, 0);
}

void TestAbstractVideoThread::setVideoSize()
{
    QFETCH(QString, text);
    QFETCH(QSize, size);
    LoopThread thread;
    thread.videoWidth = 5;
    thread.videoHeight = 6;
    thread.setVideoSize(text);
    QCOMPARE(thread.videoSize, text);
    QCOMPARE(QSize(thread.videoWidth, thread.videoHeight), size);
}

void TestAbstractVideoThread::checkCameraUrl_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("sizeBefore");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("size");
    QTest::addColumn<int>("fps");
    QTest::newRow("name alone, size stays") << "cam0"
                                            << "320x240"
                                            << "cam0"
                                            << "320x240" << -7;
    QTest::newRow("name alone, no size") << "cam0"
                                         << "0x0"
                                         << "cam0"
                                         << "640x480" << -7;
    QTest::newRow("all") << "cam0|1280*720|15"
                         << "0x0"
                         << "cam0"
                         << "1280x720" << 15;
    QTest::newRow("x") << "cam0|1280x720|15"
                       << ""
                       << "cam0"
                       << "1280x720" << 15;
    QTest::newRow("no size in it") << "cam0|abc"
                                   << "320x240"
                                   << "cam0"
                                   << "640x480" << -7;
    QTest::newRow("more parts") << "cam0|1x2|9|z"
                                << ""
                                << "cam0"
                                << "1x2" << 9;
    QTest::newRow("fps no number") << "cam0|1x2|z"
                                   << ""
                                   << "cam0"
                                   << "1x2" << 0;
    QTest::newRow("empty") << ""
                           << ""
                           << ""
                           << "" << -7;
}

void TestAbstractVideoThread::checkCameraUrl()
{
    QFETCH(QString, url);
    QFETCH(QString, sizeBefore);
    QString name = QStringLiteral("before");
    QString size = sizeBefore;
    int fps = -7;
    T::checkCameraUrl(url, name, size, fps);
    QTEST(name, "name");
    QTEST(size, "size");
    QTEST(fps, "fps");
}

void TestAbstractVideoThread::referenceCount_countsWidgetsAndRecordings()
{
    LoopThread thread;
    thread.previewRef() += 2;
    thread.recordStart(T::AUTO_RECORD);
    QCOMPARE(thread.referenceCount(), 3);
    thread.recordStart(T::MANUAL_RECORD);
    QCOMPARE(thread.referenceCount(), 4);
    thread.previewRef() -= 2;
    thread.recordStop(T::AUTO_RECORD);
    QCOMPARE(thread.referenceCount(), 1);
}

void TestAbstractVideoThread::timeouts_areThoseOfTheCounters()
{
    LoopThread thread;
    thread.openFailCount = 1;
    QVERIFY(thread.isOpenTimeout());
    thread.openFailCount = 0;
    QVERIFY(!thread.isOpenTimeout());
    thread.readTimedOut = true;
    QVERIFY(thread.isReadTimeout());
}

void TestAbstractVideoThread::setters_passPicturesAndSoundOn()
{
    LoopThread thread;
    thread.lastTime = QDateTime();
    QSignalSpy images(&thread, &T::receiveImage);
    QImage image(4, 2, QImage::Format_RGB32);
    image.fill(Qt::red);
    thread.setImage(image);
    QVERIFY(thread.lastTime.isValid());
    QCOMPARE(images.count(), 1);
    QCOMPARE(images.at(0).at(0).value<QImage>(), image);
    QCOMPARE(images.at(0).at(1).toInt(), 0);

    quint8 y = 0, u = 0, v = 0;
    QVector<qint64> seen;
    connect(&thread,
            QOverload<int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32>::of(
                &T::receiveFrame),
            this,
            [&](int w, int h, quint8 *a, quint8 *b, quint8 *c, quint32 la, quint32 lb, quint32 lc) {
                QVERIFY(a == &y && b == &u && c == &v);
                seen = {w, h, la, lb, lc};
            });
    thread.lastTime = QDateTime();
    thread.setYuv(&y, &u, &v, 7, 5);
    QVERIFY(thread.lastTime.isValid());
    QCOMPARE(seen, (QVector<qint64>{7, 5, 7, 3, 3}));

    QSignalSpy sound(&thread, &T::receiveAudio);
    thread.lastTime = QDateTime();
    {
        QByteArray pcm("abcd");
        thread.setPcm(pcm.constData(), 3);
        pcm.fill('z');
    }
    thread.setPcm(nullptr, -1);
    QVERIFY(thread.lastTime.isValid());
    QCOMPARE(sound.at(0).at(0).toByteArray(), QByteArray("abc"));
    QCOMPARE(sound.at(1).at(0).toByteArray(), QByteArray());
}

void TestAbstractVideoThread::setPosition_isStoredAndTold()
{
    LoopThread thread;
    QSignalSpy spy(&thread, &T::receivePosition);
    thread.setPosition(1234567890123);
    QCOMPARE(thread.getPosition(), 1234567890123);
    QCOMPARE(spy.at(0).at(0).toLongLong(), 1234567890123);
    thread.setSpeed(2.0);
    QCOMPARE(thread.getSpeed(), 1.0);
    thread.readMediaInfo();
}

void TestAbstractVideoThread::eventFilter_callsSetGeometry_onResizeOnly()
{
    LoopThread thread;
    QObject watched;
    QResizeEvent resize(QSize(1, 1), QSize(2, 2));
    QVERIFY(!thread.eventFilter(&watched, &resize));
    QCOMPARE(thread.geometries.load(), 1);
    QEvent other(QEvent::Move);
    QVERIFY(!thread.eventFilter(&watched, &other));
    QCOMPARE(thread.geometries.load(), 1);
}

QTEST_MAIN(TestAbstractVideoThread)
#include "tst_abstractvideothread.moc"
