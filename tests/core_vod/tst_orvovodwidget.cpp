// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// The widget that plays recordings of a device.

#include "vodwidgetcase.h"

#include <QDir>
#include <QMetaMethod>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <time.h>

using namespace vantratest;
using videowidgetfakes::FakeThread;

namespace {

/// Of sig_receivePlayFinsh and the real end of all threads.
bool hasEnded(const VodView &view)
{
    const auto threads = view.findChildren<OrvoVodThread *>();
    return !view.thread() && std::all_of(threads.begin(), threads.end(),
                                         [](const auto *thread) { return !thread->isRunning(); });
}

/// Notes how things stand when it is asked to stop, or for a snapshot.
class NotingThread : public OrvoVodThread
{
    Q_DISABLE_COPY(NotingThread)

public:
    explicit NotingThread(const VodView &view) : view(view) {}
    ~NotingThread() override { endRun(); }

    void stop() override
    {
        viewersAtStop = previewRef();
        heldAtStop = view.videoThread == this && view.stoppedThreads.isEmpty();
        OrvoVodThread::stop();
    }
    void snap(const QString &) override { previewsAtSnap << snapPreview; }

    int viewersAtStop = -1;
    bool heldAtStop = false;
    QVector<bool> previewsAtSnap;

private:
    const VodView &view;
};

} // namespace

class TestOrvoVodWidget : public VodWidgetCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useNoSoundServer();
        quietConsole();
        qputenv("TZ", "LINT-14"); // days and times of a click are local
        tzset();
    }

    void snap_isASlotOfThreeForms();
    void init_fails_withoutDevice();
    void init_fails_belowChannelZero();
    void init_mayBeRepeated_andCountsFromTheNextStart();

    void thread_isGivenAllItNeeds();
    void thread_thatIsThere_isUsed();
    void thread_ofAnotherKind_cannotBeStarted();
    void start_beforeInit_isLogged_andGoesOn();
    void start_playsTheSpan();
    void startsInARow_useTwoThreads_andKeepTheFirstUntilItHasEnded();
    void release_takesBackTheViewer_butNotBelowZero();
    void release_stopsAThreadWithoutTheViewer_beforeItIsLetGoOf();
    void release_withoutThread_doesNothing();

    void refusal_reachesTheHost_data();
    void refusal_reachesTheHost();
    void endOfRecording_leavesTheWidgetReady();
    void readErrors_leaveTheWidgetReady();
    void readTimeout_isTrue_withoutThread();
    void readTimeout_isThatOfTheThread();

    void controls_reachTheDevice();
    void controls_withoutThread_areSilent();
    void position_reachesTheHost();

    void snap_asksForANameOfItsOwn();
    void snap_isAskedFor_beforeItsPreview();
    void snap_withoutThread_isSilent();
    void snap_isSavedByTheTimeOfTheRecording();
};

// --- The class, its source ----------------------------------------------------------------------

void TestOrvoVodWidget::snap_isASlotOfThreeForms()
{
    const QMetaObject &meta = OrvoVodWidget::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        QCOMPARE(meta.method(i).access(), QMetaMethod::Public);
        names << QString::fromLatin1(meta.method(i).methodSignature());
    }
    QCOMPARE(names, QStringList({"snap(QString,bool)", "snap(QString)", "snap()"}));
}

void TestOrvoVodWidget::init_fails_withoutDevice()
{
    const QString text =
        QString::asprintf("(orvodwgt)init param err (%p:%d)", static_cast<void *>(nullptr), 3);
    log->expect(Logger::Error, text);
    VodView view;
    QVERIFY(!view.init(QSharedPointer<HNetDevice>(), 3));
    QCOMPARE(log->count(Logger::Error, text), 1);
    QVERIFY(log->lines().first().file.endsWith(QLatin1String("core_vod/orvovodwidget.cpp")));
}

void TestOrvoVodWidget::init_fails_belowChannelZero()
{
    log->expect(Logger::Error, QString::asprintf("(orvodwgt)init param err (%p:%d)",
                                                 static_cast<const void *>(device.data()), -1));
    VodView view;
    QVERIFY(!view.init(device, -1));
    QCOMPARE(log->missing(), QStringList());
    QVERIFY(view.init(device, 0));
    QVERIFY(!view.init(device, -1)); // and leaves what was stored
    QVERIFY(view.createVideoThread());
    QCOMPARE(view.thread()->channel, 0);
    QCOMPARE(view.thread()->boundDevice(), device);
}

void TestOrvoVodWidget::init_mayBeRepeated_andCountsFromTheNextStart()
{
    VodView view;
    prepare(view);
    QVERIFY(startAndRead(view));
    const auto other = std::make_shared<DeviceScript>();
    QVERIFY(view.init(scriptedDevice(other), 5));
    view.setVodStartPara({noon(), noon(), noon()});
    QVERIFY(waitFor([&] { return view.isReadStreamTimeout(); }));
    QVERIFY(other->calls().isEmpty());
    view.stop();
    QVERIFY(view.start());
    QVERIFY(waitFor([&] { return other->count(Op::vodReadFrame) > 0; }));
    QCOMPARE(other->calls(Op::vodStart).first().arguments,
             QVariantList({5u, QVariantList({noon(), noon(), noon()})}));
    QCOMPARE(script->calls(Op::vodStart).first().arguments,
             QVariantList({uint(kChannel), QVariantList({QDateTime(), QDateTime(), QDateTime()})}));
    view.stop();
}

// --- Its threads --------------------------------------------------------------------------------

void TestOrvoVodWidget::thread_isGivenAllItNeeds()
{
    VodView view;
    prepare(view);
    VideoPara para = view.getVideoPara();
    para.hardware = QStringLiteral("dxva2");
    para.readTimeout = 4321;
    para.connectTimeout = 1234;
    view.setVideoPara(para);
    view.setVideoMode(VideoMode_Opengl);
    view.renderMode = VideoMode_Painter; // in force, as against what is configured
    view.hardware = QStringLiteral("none");
    QVERIFY(view.createVideoThread());
    OrvoVodThread *thread = view.thread();
    QVERIFY(thread);
    QCOMPARE(thread->parent(), &view);
    QCOMPARE(int(thread->getVideoMode()), int(VideoMode_Opengl));
    QCOMPARE(thread->getHardware(), QStringLiteral("dxva2"));
    QCOMPARE(thread->getReadTimeout(), 4321);
    QCOMPARE(thread->getConnectTimeout(), 1234);
    QCOMPARE(thread->channel, int(kChannel));
    QCOMPARE(thread->stream, 0);
    QCOMPARE(thread->boundDevice(), device);
    QVERIFY(!thread->isRunning());
    QVERIFY(script->calls().isEmpty());
}

void TestOrvoVodWidget::thread_thatIsThere_isUsed()
{
    VodView view;
    prepare(view);
    QVERIFY(view.createVideoThread());
    OrvoVodThread *thread = view.thread();
    QVERIFY(view.init(device, 7));
    QVERIFY(view.createVideoThread());
    QCOMPARE(view.thread(), thread);
    QCOMPARE(thread->channel, 7);
}

void TestOrvoVodWidget::thread_ofAnotherKind_cannotBeStarted()
{
    log->expect(Logger::Error, QStringLiteral("(stdvwgt)create video thread fail"));
    VodView view;
    prepare(view);
    FakeThread other;
    view.videoThread = &other;
    QVERIFY(!view.createVideoThread());
    QVERIFY(!view.start());
    QCOMPARE(log->missing(), QStringList());
    QCOMPARE(view.videoThread.data(), static_cast<AbstractVideoThread *>(&other));
    QVERIFY(!other.isRunning());
    view.videoThread = nullptr;
}

void TestOrvoVodWidget::start_beforeInit_isLogged_andGoesOn()
{
    log->expect(Logger::Error, QStringLiteral("(dvitf)dev is null"));
    log->expect(Logger::Error, QStringLiteral("(orvodthr)dev is null"));
    VodView view;
    QSignalSpy starts(&view, &AbstractVideoWidget::sig_receivePlayStart);
    QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
    QVERIFY(view.start());
    QCOMPARE(log->count(Logger::Error, QStringLiteral("(dvitf)dev is null")), 1);
    QVERIFY(waitFor([&] { return hasEnded(view); }));
    QCOMPARE(starts.count(), 0);
    QCOMPARE(ends.count(), 1);
    prepare(view);
    QVERIFY(startAndRead(view)); // and with a device it plays
    view.stop();
}

void TestOrvoVodWidget::start_playsTheSpan()
{
    VodView view;
    prepare(view);
    view.setVodStartPara({noon(), noon().addSecs(60), noon().addSecs(7)});
    QSignalSpy starts(&view, &AbstractVideoWidget::sig_receivePlayStart);
    QVERIFY(view.start());
    OrvoVodThread *thread = view.thread();
    QCOMPARE(int(thread->previewRef()), 1);
    QVERIFY(view.start()); // which changes nothing
    QCOMPARE(view.thread(), thread);
    QVERIFY(waitFor([&] { return starts.count() == 1 && view.getIsRunning(); }));
    QCOMPARE(starts.first(), QVariantList({0}));
    QCOMPARE(script->count(Op::vodStart), 1);
    QCOMPARE(script->calls(Op::vodStart).first().arguments,
             QVariantList(
                 {uint(kChannel), QVariantList({noon(), noon().addSecs(60), noon().addSecs(7)})}));
    view.stop();
    QVERIFY(waitFor([&] { return hasEnded(view) && !view.getIsRunning(); }));
    QCOMPARE(script->texts().last(), QStringLiteral("vodStop(2)"));
}

void TestOrvoVodWidget::startsInARow_useTwoThreads_andKeepTheFirstUntilItHasEnded()
{
    VodView view;
    prepare(view);
    VideoPara para = view.getVideoPara();
    para.readTimeout = 20000; // so that the first sits in its read
    view.setVideoPara(para);
    QVERIFY(startAndRead(view));
    OrvoVodThread *first = view.thread();
    view.stop();
    QVERIFY(!view.thread());
    QVERIFY(first->isRunning());
    QVERIFY(startAndRead(view));
    OrvoVodThread *second = view.thread();
    QVERIFY(second != first);
    QCOMPARE(view.stoppedThreads.size(), 1);
    QCOMPARE(view.stoppedThreads.first().data(), static_cast<AbstractVideoThread *>(first));
    script->setAnswer(Op::vodReadFrame, HRetTimeout);
    QVERIFY(waitFor([&] { return first->isFinished(); }));
    view.stop();
    QVERIFY(startAndRead(view));
    QVERIFY(!view.stoppedThreads.contains(first));
    QVERIFY(view.children().contains(first)); // until the widget goes
    view.stop();
    QVERIFY(waitFor([&] { return hasEnded(view); }));
    QCOMPARE(view.findChildren<OrvoVodThread *>().size(), 3);
}

void TestOrvoVodWidget::release_takesBackTheViewer_butNotBelowZero()
{
    VodView view;
    prepare(view);
    for (const int viewers : {2, 1, 0, -1}) {
        QVERIFY(view.createVideoThread());
        OrvoVodThread *thread = view.thread();
        thread->previewRef() = viewers;
        view.releaseVideoThread();
        QCOMPARE(int(thread->previewRef()), viewers > 0 ? viewers - 1 : viewers);
        QVERIFY(!view.videoThread);
        QCOMPARE(view.stoppedThreads.last().data(), static_cast<AbstractVideoThread *>(thread));
    }
}

void TestOrvoVodWidget::release_stopsAThreadWithoutTheViewer_beforeItIsLetGoOf()
{
    VodView view;
    prepare(view);
    NotingThread thread(view);
    thread.previewRef() = 1;
    view.videoThread = &thread;
    view.releaseVideoThread();
    QCOMPARE(thread.viewersAtStop, 0);
    QVERIFY(thread.heldAtStop);
    QVERIFY(!view.videoThread);
    QCOMPARE(view.stoppedThreads.size(), 1);
}

void TestOrvoVodWidget::release_withoutThread_doesNothing()
{
    VodView view;
    view.releaseVideoThread();
    QVERIFY(view.stoppedThreads.isEmpty());
}

// --- What ends a play ---------------------------------------------------------------------------

void TestOrvoVodWidget::refusal_reachesTheHost_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("too many") << int(HRetExceedMax);
    QTest::newRow("otherwise") << int(HRetBusy);
}

void TestOrvoVodWidget::refusal_reachesTheHost()
{
    QFETCH(int, answer);
    log->expect(Logger::Warning, QStringLiteral("(orvodthr)vod start err %1").arg(answer));
    VodView view;
    prepare(view);
    QSignalSpy starts(&view, &AbstractVideoWidget::sig_receivePlayStart);
    QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
    QSignalSpy exceed(&view, &AbstractVideoWidget::sig_connExceedMax);
    QSignalSpy other(&view, &AbstractVideoWidget::sig_otherError);
    script->enqueue(Op::vodStart, answer);
    QVERIFY(view.start());
    QVERIFY(waitFor([&] { return hasEnded(view); }));
    QCOMPARE(starts.count(), 0);
    QCOMPARE(ends.count(), 1);
    QCOMPARE(exceed.count(), answer == HRetExceedMax ? 1 : 0);
    QCOMPARE(other.count(), answer == HRetExceedMax ? 0 : 1);
    QVERIFY(startAndRead(view)); // now it has room
    view.stop();
}

void TestOrvoVodWidget::endOfRecording_leavesTheWidgetReady()
{
    VodView view;
    prepare(view);
    QSignalSpy ends(&view, &AbstractVideoWidget::sig_receivePlayFinsh);
    for (int play = 1; play <= 2; ++play) {
        feedPicture(0, noon().toMSecsSinceEpoch());
        feed(HRetEndOfFile);
        QVERIFY(view.start());
        QVERIFY(waitFor([&] { return hasEnded(view) && !view.getIsRunning(); }));
        QCOMPARE(ends.count(), play);
        QCOMPARE(int(view.isStart), 0);
        QCOMPARE(script->count(Op::vodStart), play);
    }
    view.stop(); // a later stop changes nothing
    QCOMPARE(ends.count(), 2);
    QCOMPARE(view.findChildren<OrvoVodThread *>().size(), 2);
}

void TestOrvoVodWidget::readErrors_leaveTheWidgetReady()
{
    log->expect(Logger::Error, QStringLiteral("(orvodthr)vod read frame err 16"));
    log->expect(Logger::Error, QStringLiteral("(orvodthr)read frame err 3"));
    VodView view;
    prepare(view);
    for (int i = 0; i < 4; ++i)
        feed(HRetBusy);
    QVERIFY(view.start());
    QVERIFY(waitFor([&] { return hasEnded(view); }));
    QVERIFY(startAndRead(view));
    view.stop();
}

void TestOrvoVodWidget::readTimeout_isTrue_withoutThread()
{
    VodView view;
    QVERIFY(view.isReadStreamTimeout());
}

void TestOrvoVodWidget::readTimeout_isThatOfTheThread()
{
    VodView view;
    prepare(view);
    QVERIFY(view.createVideoThread());
    QVERIFY(!view.isReadStreamTimeout());
    QVERIFY(view.start());
    QVERIFY(waitFor([&] { return view.isReadStreamTimeout(); }));
    QVERIFY(script->count(Op::vodReadFrame) >= 5);
    view.stop();
    QVERIFY(view.isReadStreamTimeout());
}

// --- Control ------------------------------------------------------------------------------------

void TestOrvoVodWidget::controls_reachTheDevice()
{
    VodView view;
    prepare(view);
    QVERIFY(startAndRead(view));
    script->clearCalls();
    view.pause();
    QCOMPARE(script->count(Op::vodPause), 1); // at once
    QVERIFY(view.thread()->getIsPause());
    view.resume();
    QCOMPARE(script->count(Op::vodResume), 1);
    QVERIFY(!view.thread()->getIsPause());
    view.seekFile(noon());
    view.setSpeed(0.5);
    view.setSpeed(8);
    QCOMPARE(script->count(Op::vodSeek) + script->count(Op::vodSetSpeed), 0); // queued
    QVERIFY(waitFor([&] { return script->count(Op::vodSetSpeed) == 2; }));
    QStringList calls = script->texts();
    calls.removeAll(QStringLiteral("vodReadFrame(2, 50)"));
    calls.removeAll(QStringLiteral("getIPAddr()"));
    QCOMPARE(calls,
             QStringList({"vodPause(2)", "vodResume(2)", "vodSeek(2, 2026-03-14T12:00:00.000Z)",
                          "vodSetSpeed(2, 0)", "vodSetSpeed(2, 8)"}));
    for (const Op operation : {Op::vodPause, Op::vodResume, Op::vodSeek, Op::vodSetSpeed})
        QCOMPARE(script->calls(operation).first().thread, QThread::currentThread());
    view.stop();
}

void TestOrvoVodWidget::controls_withoutThread_areSilent()
{
    VodView view;
    prepare(view);
    view.pause();
    view.resume();
    view.seekFile(noon());
    view.setSpeed(2);
    view.stop();
    QVERIFY(view.createVideoThread()); // which does not run
    view.seekFile(noon());
    view.setSpeed(2);
    view.pause();
    QCoreApplication::processEvents();
    QVERIFY(script->calls().isEmpty());
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodWidget::position_reachesTheHost()
{
    VodView view;
    prepare(view);
    QSignalSpy positions(&view, &StandardVideoWidget::receivePosition);
    const qint64 begin = noon().toMSecsSinceEpoch();
    for (const int ms : {0, 1000, 1001, 2002})
        feedPicture(0, begin + ms);
    QVERIFY(view.start());
    QVERIFY(waitFor([&] { return positions.count() == 3; }));
    QCOMPARE(positions.at(0).first().toLongLong(), begin);
    QCOMPARE(positions.at(1).first().toLongLong(), begin + 1001);
    QCOMPARE(positions.at(2).first().toLongLong(), begin + 2002);
    view.stop();
}

// --- Snapshots ----------------------------------------------------------------------------------

void TestOrvoVodWidget::snap_asksForANameOfItsOwn()
{
    QTemporaryDir folder;
    VodView view;
    prepare(view);
    QVERIFY(startAndRead(view));
    const QDateTime before = QDateTime::currentDateTime();
    view.snap(folder.path());
    const QString name = view.thread()->getSnapName();
    const QDateTime after = QDateTime::currentDateTime();
    const QRegularExpression form(QStringLiteral("^%1/(.+)/vod/(\\d{8}T\\d{6})_2\\.jpg$")
                                      .arg(QRegularExpression::escape(folder.path())));
    const auto match = form.match(name);
    QVERIFY2(match.hasMatch(), qPrintable(name));
    const QDateTime told =
        QDateTime::fromString(match.captured(2), QStringLiteral("yyyyMMddTHHmmss"));
    QVERIFY(told >= before.addSecs(-1) && told <= after);
    QVERIFY(match.captured(1) == before.date().toString(Qt::ISODate) ||
            match.captured(1) == after.date().toString(Qt::ISODate));
    QVERIFY(view.thread()->getIsSnap());
    QVERIFY(QFileInfo(name).dir().exists());
    view.stop();
}

void TestOrvoVodWidget::snap_isAskedFor_beforeItsPreview()
{
    VodView view;
    prepare(view);
    NotingThread thread(view);
    view.videoThread = &thread;
    for (const bool preview : {true, false, false})
        view.snap(QStringLiteral("/snaps"), preview);
    QCOMPARE(thread.previewsAtSnap, QVector<bool>({false, true, false}));
    view.videoThread = nullptr;
}

void TestOrvoVodWidget::snap_withoutThread_isSilent()
{
    QTemporaryDir folder;
    VodView view;
    prepare(view);
    view.snap(folder.path(), true);
    QVERIFY(QDir(folder.path()).isEmpty());
    QVERIFY(log->lines().isEmpty());
}

void TestOrvoVodWidget::snap_isSavedByTheTimeOfTheRecording()
{
    QTemporaryDir folder;
    VodView view;
    prepare(view);
    QSignalSpy snaps(&view, &AbstractVideoWidget::snapImage);
    QVERIFY(startAndRead(view));
    QVERIFY(
        QMetaObject::invokeMethod(&view, "snap", Q_ARG(QString, folder.path()), Q_ARG(bool, true)));
    feedPicture(0, noon().toMSecsSinceEpoch() + 61999);
    QVERIFY(waitFor([&] { return snaps.count() == 1; }));
    const QString name = snaps.first().at(1).toString();
    QVERIFY2(name.endsWith(QStringLiteral("/vod/20260314T120101_2.jpg")), qPrintable(name));
    QVERIFY(name.startsWith(folder.path()));
    QCOMPARE(QImage(name).size(), QSize(320, 240));
    view.snap(folder.path()); // without a preview
    feedPicture(10, noon().toMSecsSinceEpoch() + 90000);
    const QString second = QFileInfo(name).dir().filePath(QStringLiteral("20260314T120130_2.jpg"));
    QVERIFY(waitFor([&] { return QFile::exists(second) && !view.thread()->getIsSnap(); }));
    QCoreApplication::processEvents();
    QCOMPARE(snaps.count(), 1);
    view.stop();
}

QTEST_MAIN(TestOrvoVodWidget)
#include "tst_orvovodwidget.moc"
