// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/abstractvideothread.h"
#include "support/processload.h"
#include "support/waitfor.h"

#include <QMetaMethod>
#include <QPointer>
#include <QResizeEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QWidget>
#include <QtTest>

#include <memory>

using namespace vantratest;

namespace {

using T = AbstractVideoThread;

/// Emits a blocking signal again and again, and opens the inside of the base to the tests.
class LoopThread final : public AbstractVideoThread
{
    Q_OBJECT
    Q_DISABLE_COPY(LoopThread)

public:
    explicit LoopThread(QObject *parent = nullptr) : AbstractVideoThread(parent) {}
    ~LoopThread() override { endRun(); }

    using AbstractVideoThread::channelCount;
    using AbstractVideoThread::endRun;
    using AbstractVideoThread::errorCount;
    using AbstractVideoThread::isOk;
    using AbstractVideoThread::isPause;
    using AbstractVideoThread::isSnap;
    using AbstractVideoThread::keyFrameSeen;
    using AbstractVideoThread::lastTime;
    using AbstractVideoThread::openFailCount;
    using AbstractVideoThread::parentObject;
    using AbstractVideoThread::playedOnce;
    using AbstractVideoThread::profile;
    using AbstractVideoThread::readTimedOut;
    using AbstractVideoThread::renderStartPending;
    using AbstractVideoThread::resetSession;
    using AbstractVideoThread::rotate;
    using AbstractVideoThread::sampleRate;
    using AbstractVideoThread::saveAudio;
    using AbstractVideoThread::savePath;
    using AbstractVideoThread::saveTimer;
    using AbstractVideoThread::stopped;
    using AbstractVideoThread::videoHeight;
    using AbstractVideoThread::videoSize;
    using AbstractVideoThread::videoWidth;

    std::atomic<int> runs{0};
    std::atomic<int> rounds{0};
    std::atomic<int> restarts{0};      ///< how often run() asks to be started again
    std::atomic<bool> opening{false};  ///< run() only stands in checkOpen()
    std::atomic<bool> emitting{false}; ///< run() is in the blocking signal, or just before it
    std::atomic<int> geometries{0};

    void setGeometry() override { ++geometries; }

protected:
    void run() override
    {
        restartPending = false;
        ++runs;
        if (restarts > 0) {
            --restarts;
            restartAfterRun();
            return;
        }
        while (!stopped) {
            if (opening) {
                emitting = true;
                checkOpen();
                continue;
            }
            emitting = true;
            emit receivePlayStart(0);
            emitting = false;
            ++rounds;
        }
    }
};

/// A receiver whose slot uses what its destructor takes away.
class Receiver : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Receiver)

public:
    explicit Receiver(QWidget *parent = nullptr) : QWidget(parent), calls(new int(0)) {}
    ~Receiver() override
    {
        destroyed = true;
        delete calls;
        calls = nullptr;
    }

    static bool destroyed;
    static bool calledTooLate;
    int *calls;

public slots:
    void started(int)
    {
        if (destroyed)
            calledTooLate = true;
        else
            ++*calls;
    }
};

bool Receiver::destroyed = false;
bool Receiver::calledTooLate = false;

/// A host's own class of that name.
class VideoWidget : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(VideoWidget)

public:
    explicit VideoWidget(QObject *parent = nullptr) : QObject(parent) {}
    int stops = 0;

public slots:
    void stop() { ++stops; }
};

void connectBlocking(AbstractVideoThread *thread, Receiver *receiver)
{
    QObject::connect(
        thread, &T::receivePlayStart, receiver, &Receiver::started,
        static_cast<Qt::ConnectionType>(Qt::BlockingQueuedConnection | Qt::UniqueConnection));
}

/// Waits without serving events, so that a thread that emits is blocked and stays so.
void waitBlind(const std::function<bool()> &condition)
{
    while (!condition())
        QThread::msleep(1);
}

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
    void checkOpen_doesNotSleep_belowOneStep();
    void checkOpen_passesAtOnce_whenOpen();
    void checkOpen_isCutShort_byStop();
    void checkOpen_latchesWhetherTheSourceHasOpened();
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
    void stop2_reopens_whenItMay();
    void stop2_asksTheNextVideoWidget_otherwise();
    void resetSession_onlyAfterAnOpen();

    void saveInterval_isMinusOne_outOfRange();
    void recordSettings_outOfRange_areIgnored();
    void recordStart_raisesReferenceCountAtOnce();
    void setFileName_makesTheFolder();
    void checkPath_relative_losesEveryDot();
    void snap_isIgnored_withoutViewer();
    void snap_isIgnored_whenNotRunning();
    void snap_makesTheFolder_andPngEndsAsJpg();
    void snapFinsh_isSilent_withoutPreview();
    void snapFinsh_replacesOnlyTheSuffix();
    void snapFinsh_clearsTheFlag_ofAPictureThatWasNotWritten();

    void restart_startsAgain_afterFinished();
    void restart_isDropped_byStopBetween();
    void restart_givesWay_toAStartByAnotherHand();
    void restart_isDropped_withTheObject();
    void stopBeforeStart_thenPlayRuns();
    void stopTwice_endsOnce();
    void stopWhileBlocked_ends();
    void deleted_whileRunning();
    void deleted_whileOpening();
    void deleted_whileBlockedInEmit();
    void deleted_byAnotherThread_whileBlockedInEmit();
    void deleted_whenNeverStarted_andWhenFinished();
    void parentDeleted_whileBlockedInEmit();
    void grandparentDeleted_whileBlockedInEmit();
    void receiverDeleted_threadGoesOn();
    void endRun_keepsFinishedAndDestroyed();
    void manyRounds_leaveNothingBehind();
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

void TestAbstractVideoThread::checkOpen_doesNotSleep_belowOneStep()
{
    // With any pause the rounds would outlast the limit of this test many times over.
    LoopThread thread;
    for (const int sleep : {99, 0, -1, -500}) {
        thread.setOpenSleepTime(sleep);
        for (int i = 0; i < 2000; ++i)
            QVERIFY(!thread.checkOpen());
    }
}

void TestAbstractVideoThread::checkOpen_passesAtOnce_whenOpen()
{
    LoopThread thread;
    thread.isOk = true;
    for (int i = 0; i < 2000; ++i)
        QVERIFY(thread.checkOpen());
}

void TestAbstractVideoThread::checkOpen_isCutShort_byStop()
{
    LoopThread thread;
    thread.setOpenSleepTime(24 * 3600 * 1000);
    thread.opening = true;
    thread.play();
    waitBlind([&] { return thread.emitting.load(); });
    thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
}

void TestAbstractVideoThread::checkOpen_latchesWhetherTheSourceHasOpened()
{
    LoopThread thread;
    thread.setOpenSleepTime(0);
    for (const bool stopped : {false, true}) {
        thread.stopped = stopped;
        thread.isOk = true;
        QVERIFY(thread.checkOpen());
        QVERIFY(thread.playedOnce);
        thread.isOk = false;
        QVERIFY(!thread.checkOpen());
        QVERIFY(!thread.playedOnce);
    }
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

void TestAbstractVideoThread::stop2_reopens_whenItMay()
{
    VideoWidget host;
    auto *thread = new LoopThread(&host);
    thread->setReadTimeout(1);
    thread->play();
    thread->isOk = true;
    thread->stop2();
    QVERIFY(!thread->isOk);
    QVERIFY(!thread->stopped);
    QCOMPARE(host.stops, 0);
    // Any condition that fails leads to the other way.
    thread->stop2(); // not open
    QCOMPARE(host.stops, 1);
    thread->isOk = true;
    thread->setReadTimeout(0);
    thread->stop2();
    QCOMPARE(host.stops, 2);
    QVERIFY(thread->isOk);
}

void TestAbstractVideoThread::stop2_asksTheNextVideoWidget_otherwise()
{
    VideoWidget far;
    VideoWidget near(&far);
    QObject between(&near);
    LoopThread thread(&between);
    thread.isOk = true;
    thread.setReadTimeout(1);
    thread.stop2(); // not running
    QCOMPARE(near.stops, 1);
    QCOMPARE(far.stops, 0);
    QVERIFY(thread.isOk);
    LoopThread orphan;
    orphan.stop2();
    QObject stranger;
    LoopThread other(&stranger);
    other.stop2();
    QCOMPARE(near.stops, 1);
}

void TestAbstractVideoThread::resetSession_onlyAfterAnOpen()
{
    LoopThread thread;
    QSignalSpy spy(&thread, &T::receivePlayFinsh);
    const auto spoil = [&] {
        thread.setPosition(5);
        thread.videoWidth = thread.videoHeight = thread.rotate = thread.errorCount = 5;
        thread.setSnapName(QStringLiteral("a"));
        thread.stopped = thread.isOk = thread.isPause = thread.isSnap = true;
    };
    spoil();
    thread.resetSession();
    QCOMPARE(spy.count(), 0);
    QVERIFY(thread.stopped && thread.isOk && thread.videoWidth == 5);

    spoil();
    thread.playedOnce = true;
    // By the time that it is told, everything is reset.
    bool clean = false;
    connect(&thread, &T::receivePlayFinsh, this, [&] {
        clean = !thread.playedOnce && thread.getPosition() == 0 && thread.getDuration() == 0 &&
                thread.videoWidth == 0 && thread.videoHeight == 0 && thread.rotate == 0 &&
                thread.errorCount == 0 && thread.getSnapName().isEmpty() && !thread.stopped &&
                !thread.isOk && !thread.isPause && !thread.isSnap;
    });
    thread.resetSession();
    QVERIFY(clean);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<QObject *>(), &thread);
}

// --- Recording and snapshots --------------------------------------------------------------------

void TestAbstractVideoThread::saveInterval_isMinusOne_outOfRange()
{
    LoopThread thread;
    thread.setSaveInterval(T::MANUAL_RECORD, 60);
    thread.setSaveInterval(static_cast<T::RecordType>(2), 61);
    thread.setSaveInterval(static_cast<T::RecordType>(-1), 62);
    QCOMPARE(thread.getSaveInterval(T::MANUAL_RECORD), 60);
    QCOMPARE(thread.getSaveInterval(T::AUTO_RECORD), -1);
    QCOMPARE(thread.getSaveInterval(static_cast<T::RecordType>(2)), -1);
    QCOMPARE(thread.getSaveInterval(static_cast<T::RecordType>(-1)), -1);
}

void TestAbstractVideoThread::recordSettings_outOfRange_areIgnored()
{
    QTemporaryDir dir;
    LoopThread thread;
    for (const int index : {2, -1, 1000000}) {
        const auto type = static_cast<T::RecordType>(index);
        thread.setFileName(type, dir.filePath(QStringLiteral("no/a.mp4")));
        thread.setSavePath(type, QStringLiteral("x"));
        thread.setSaveAudio(type, false);
        thread.recordStart(type);
        QVERIFY(!thread.isRecording(type));
        thread.recordStop(type);
        QVERIFY(thread.getFileName(type).isNull());
    }
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("no"))));
    QCOMPARE(thread.referenceCount(), 0);
    QCOMPARE(thread.savePath, (QVector<QString>{QString(), QString()}));
    QCOMPARE(thread.saveAudio, (QVector<bool>{true, true}));
}

void TestAbstractVideoThread::recordStart_raisesReferenceCountAtOnce()
{
    LoopThread thread;
    thread.recordStart(T::MANUAL_RECORD);
    QVERIFY(thread.isRecording(T::MANUAL_RECORD));
    QVERIFY(!thread.isRecording(T::AUTO_RECORD));
    QCOMPARE(thread.referenceCount(), 1);
    QVERIFY(thread.getFileName(T::MANUAL_RECORD).isEmpty());
    thread.recordStop(T::MANUAL_RECORD);
    QVERIFY(!thread.isRecording(T::MANUAL_RECORD));
    QCOMPARE(thread.referenceCount(), 0);
}

void TestAbstractVideoThread::setFileName_makesTheFolder()
{
    QTemporaryDir dir;
    LoopThread thread;
    const QString name = dir.filePath(QStringLiteral("a/b/c.mp4"));
    thread.setFileName(T::AUTO_RECORD, name);
    QCOMPARE(thread.getFileName(T::AUTO_RECORD), name);
    QVERIFY(thread.getFileName(T::MANUAL_RECORD).isEmpty());
    QVERIFY(QFileInfo(dir.filePath(QStringLiteral("a/b"))).isDir());
    QVERIFY(!QFileInfo::exists(name));
    thread.setSavePath(T::AUTO_RECORD, QStringLiteral("p"));
    thread.setSaveAudio(T::AUTO_RECORD, false);
    QCOMPARE(thread.savePath.at(T::AUTO_RECORD), QStringLiteral("p"));
    QVERIFY(!thread.saveAudio.at(T::AUTO_RECORD));
    QVERIFY(thread.saveAudio.at(T::MANUAL_RECORD));
}

void TestAbstractVideoThread::checkPath_relative_losesEveryDot()
{
    LoopThread thread;
    QDir program(QCoreApplication::applicationDirPath());
    thread.checkPath(QStringLiteral("./tst_athr.v1.2/x/a.mp4"));
    QVERIFY(program.exists(QStringLiteral("tst_athrv12/x")));
    QVERIFY(QDir(program.filePath(QStringLiteral("tst_athrv12"))).removeRecursively());

    // An absolute folder keeps its dots.
    QTemporaryDir dir;
    thread.checkPath(dir.filePath(QStringLiteral("v1.2/a.mp4")));
    QVERIFY(QFileInfo(dir.filePath(QStringLiteral("v1.2"))).isDir());
}

void TestAbstractVideoThread::snap_isIgnored_withoutViewer()
{
    QTemporaryDir dir;
    LoopThread thread;
    thread.play();
    thread.snap(dir.filePath(QStringLiteral("s/a.jpg")));
    QVERIFY(!thread.getIsSnap());
    QVERIFY(thread.getSnapName().isEmpty());
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("s"))));
    thread.previewRef() = 1;
    thread.snap(dir.filePath(QStringLiteral("s/a.jpg")));
    QVERIFY(thread.getIsSnap());
    QCOMPARE(thread.getSnapName(), dir.filePath(QStringLiteral("s/a.jpg")));
    QVERIFY(QFileInfo(dir.filePath(QStringLiteral("s"))).isDir());
}

void TestAbstractVideoThread::snap_isIgnored_whenNotRunning()
{
    LoopThread thread;
    thread.previewRef() = 1;
    thread.snap(QStringLiteral("a.jpg"));
    QVERIFY(!thread.getIsSnap());
    QVERIFY(thread.getSnapName().isEmpty());
}

void TestAbstractVideoThread::snap_makesTheFolder_andPngEndsAsJpg()
{
    const QDir program(QCoreApplication::applicationDirPath());
    const QString before = QDir::currentPath();
    QDir::setCurrent(program.path());
    LoopThread thread;
    thread.previewRef() = 1;
    thread.setSnapPreview(true);
    thread.play();
    QVERIFY(
        QMetaObject::invokeMethod(&thread, "snap", Q_ARG(QString, QStringLiteral("./snap/a.png"))));
    QVERIFY(program.exists(QStringLiteral("snap")));

    QImage image(16, 8, QImage::Format_RGB32);
    image.fill(Qt::blue);
    QVERIFY(image.save(thread.getSnapName(), "jpg")); // as the loop does, whatever the name says
    QSignalSpy spy(&thread, &T::snapImage);
    thread.snapFinsh();
    QVERIFY(!thread.getIsSnap());
    QCOMPARE(thread.getSnapName(), QStringLiteral("./snap/a.jpg"));
    QVERIFY(!program.exists(QStringLiteral("snap/a.png")));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<QImage>().size(), image.size());
    QCOMPARE(spy.at(0).at(1).toString(), QStringLiteral("./snap/a.jpg"));
    QFile file(program.filePath(QStringLiteral("snap/a.jpg")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.read(2), QByteArray("\xff\xd8"));
    QDir::setCurrent(before);
    QVERIFY(QDir(program.filePath(QStringLiteral("snap"))).removeRecursively());
}

void TestAbstractVideoThread::snapFinsh_isSilent_withoutPreview()
{
    QTemporaryDir dir;
    LoopThread thread;
    QImage image(16, 8, QImage::Format_RGB32);
    image.fill(Qt::blue);
    const QString name = dir.filePath(QStringLiteral("a.jpg"));
    QVERIFY(image.save(name, "jpg"));
    thread.setSnapName(name);
    thread.isSnap = true;
    QSignalSpy spy(&thread, &T::snapImage);
    thread.snapFinsh();
    QCOMPARE(spy.count(), 0);
    QVERIFY(!thread.isSnap);
    QVERIFY(QFileInfo::exists(name));
}

void TestAbstractVideoThread::snapFinsh_replacesOnlyTheSuffix()
{
    QTemporaryDir dir;
    LoopThread thread;
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("x.png.d")));
    QImage image(16, 8, QImage::Format_RGB32);
    image.fill(Qt::blue);
    const QString name = dir.filePath(QStringLiteral("x.png.d/a.png"));
    QVERIFY(image.save(name, "jpg"));
    thread.setSnapName(name);
    thread.snapFinsh();
    QVERIFY(QFileInfo::exists(dir.filePath(QStringLiteral("x.png.d/a.jpg"))));
}

void TestAbstractVideoThread::snapFinsh_clearsTheFlag_ofAPictureThatWasNotWritten()
{
    LoopThread thread;
    thread.setSnapName(QStringLiteral("/no/such/folder/a.jpg"));
    thread.isSnap = true;
    thread.setSnapPreview(true);
    QSignalSpy spy(&thread, &T::snapImage);
    thread.snapFinsh();
    QVERIFY(!thread.isSnap);
    QCOMPARE(spy.count(), 1);
    QVERIFY(spy.at(0).at(0).value<QImage>().isNull());
}

// --- Life ---------------------------------------------------------------------------------------

void TestAbstractVideoThread::restart_startsAgain_afterFinished()
{
    LoopThread thread;
    thread.restarts = 3;
    QStringList events;
    QObject context;
    connect(&thread, &QThread::started, &context, [&] { events << QStringLiteral("started"); });
    connect(&thread, &QThread::finished, &context, [&] { events << QStringLiteral("finished"); });
    thread.play();
    QVERIFY(waitFor([&] { return thread.rounds > 0 && events.size() == 7; }));
    QCOMPARE(thread.runs.load(), 4);
    QCOMPARE(events.count(QStringLiteral("started")), 4);
    QCOMPARE(events.last(), QStringLiteral("started"));
}

void TestAbstractVideoThread::restart_isDropped_byStopBetween()
{
    LoopThread thread;
    thread.restarts = 1;
    thread.play();
    QVERIFY(thread.wait(20000));
    thread.stop(); // nothing runs, and nothing is to run
    QVERIFY(!thread.stopped);
    QCoreApplication::processEvents();
    QVERIFY(!thread.isRunning());
    QCOMPARE(thread.runs.load(), 1);
    thread.play();
    QVERIFY(waitFor([&] { return thread.rounds > 0; }));
    QCOMPARE(thread.runs.load(), 2);
}

void TestAbstractVideoThread::restart_givesWay_toAStartByAnotherHand()
{
    LoopThread thread;
    thread.restarts = 1;
    thread.play();
    QVERIFY(thread.wait(20000));
    thread.start();
    QVERIFY(waitFor([&] { return thread.rounds > 0; }));
    QCOMPARE(thread.runs.load(), 2);
    thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QCoreApplication::processEvents();
    QVERIFY(!thread.isRunning());
    QCOMPARE(thread.runs.load(), 2);
}

void TestAbstractVideoThread::restart_isDropped_withTheObject()
{
    auto thread = std::make_unique<LoopThread>();
    thread->restarts = 1;
    thread->play();
    QVERIFY(thread->wait(20000));
    thread.reset();
    QCoreApplication::processEvents();
}

void TestAbstractVideoThread::stopBeforeStart_thenPlayRuns()
{
    LoopThread thread;
    thread.stop();
    thread.play();
    QVERIFY(waitFor([&] { return thread.rounds > 2; }));
}

void TestAbstractVideoThread::stopTwice_endsOnce()
{
    LoopThread thread;
    QSignalSpy finished(&thread, &QThread::finished);
    thread.play();
    thread.stop();
    thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished() && finished.count() > 0; }));
    thread.stop();
    QCoreApplication::processEvents();
    QCOMPARE(finished.count(), 1);
}

void TestAbstractVideoThread::stopWhileBlocked_ends()
{
    LoopThread thread;
    Receiver receiver;
    connectBlocking(&thread, &receiver);
    thread.play();
    waitBlind([&] { return thread.emitting.load(); });
    thread.stop();
    QVERIFY(waitFor([&] { return thread.isFinished(); }));
    QVERIFY(*receiver.calls > 0);
}

void TestAbstractVideoThread::deleted_whileRunning()
{
    auto *thread = new LoopThread;
    thread->play();
    waitBlind([&] { return thread->rounds > 0; });
    delete thread;
}

void TestAbstractVideoThread::deleted_whileOpening()
{
    auto *thread = new LoopThread;
    thread->setOpenSleepTime(24 * 3600 * 1000);
    thread->opening = true;
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    delete thread;
}

void TestAbstractVideoThread::deleted_whileBlockedInEmit()
{
    Receiver receiver;
    auto *thread = new LoopThread;
    connectBlocking(thread, &receiver);
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    delete thread;
    QCoreApplication::processEvents();
    QVERIFY(*receiver.calls <= 1); // the one that it stood waiting for
}

void TestAbstractVideoThread::deleted_byAnotherThread_whileBlockedInEmit()
{
    Receiver receiver;
    auto *thread = new LoopThread;
    connectBlocking(thread, &receiver);
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    std::unique_ptr<QThread> killer(QThread::create([thread] { delete thread; }));
    killer->start();
    QVERIFY(waitFor([&] { return killer->isFinished(); }));
}

void TestAbstractVideoThread::deleted_whenNeverStarted_andWhenFinished()
{
    delete new LoopThread;
    auto *thread = new LoopThread;
    thread->play();
    thread->stop();
    QVERIFY(waitFor([&] { return thread->isFinished(); }));
    delete thread;
}

void TestAbstractVideoThread::parentDeleted_whileBlockedInEmit()
{
    auto *parent = new Receiver;
    QWidget sibling;
    auto *thread = new LoopThread(parent);
    connectBlocking(thread, parent);
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    delete parent;
    QVERIFY(Receiver::destroyed);
    QVERIFY(!Receiver::calledTooLate);
}

void TestAbstractVideoThread::grandparentDeleted_whileBlockedInEmit()
{
    QWidget window;
    auto *top = new QWidget(&window);
    auto *parent = new Receiver(top);
    auto *owner = new QObject(parent);
    auto *thread = new LoopThread(owner);
    connectBlocking(thread, parent);
    // What other parts of the program have queued for a whole object stays in its queue or is
    // served.
    int served = 0;
    QMetaObject::invokeMethod(
        &window, [&] { ++served; }, Qt::QueuedConnection);
    thread->play();
    waitBlind([&] { return thread->emitting.load(); });
    delete top;
    QCoreApplication::processEvents();
    QVERIFY(!Receiver::calledTooLate);
    QCOMPARE(served, 1);
}

void TestAbstractVideoThread::receiverDeleted_threadGoesOn()
{
    auto *receiver = new Receiver;
    LoopThread thread;
    connectBlocking(&thread, receiver);
    thread.play();
    waitBlind([&] { return thread.emitting.load(); });
    const int before = thread.rounds;
    delete receiver;
    QVERIFY(waitFor([&] { return thread.rounds > before + 2; }));
    QVERIFY(!Receiver::calledTooLate);
}

void TestAbstractVideoThread::endRun_keepsFinishedAndDestroyed()
{
    auto *thread = new LoopThread;
    int destroyed = 0;
    std::atomic<int> finished{0};
    connect(thread, &QObject::destroyed, this, [&] { ++destroyed; });
    connect(
        thread, &QThread::finished, this, [&] { ++finished; }, Qt::DirectConnection);
    thread->play();
    waitBlind([&] { return thread->rounds > 0; });
    delete thread;
    QCOMPARE(destroyed, 1);
    QCOMPARE(finished.load(), 1);
}

void TestAbstractVideoThread::manyRounds_leaveNothingBehind()
{
    Receiver receiver;
    LoopThread thread;
    connectBlocking(&thread, &receiver);
    ProcessLoad first;
    for (int round = 0; round < 200; ++round) {
        thread.play();
        thread.stop();
        QVERIFY(waitFor([&] { return thread.isFinished(); }));
        if (round == 20)
            first = ProcessLoad::now();
    }
    const ProcessLoad last = ProcessLoad::now();
    QCOMPARE(last.threads, first.threads);
    QCOMPARE(last.handles, first.handles);
    QVERIFY2(last.residentKiB < first.residentKiB + 4096,
             qPrintable(QString::number(last.residentKiB - first.residentKiB)));
}

QTEST_MAIN(TestAbstractVideoThread)
#include "tst_abstractvideothread.moc"
