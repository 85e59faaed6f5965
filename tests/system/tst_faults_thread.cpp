// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Faults of the network and of the server, as a FFmpegVideoThread meets them: what it logs, what
// its receiver sees, that pictures come back without help, and that no fault holds up the GUI
// thread.
#include "core_video/ffmpegvideothread.h"
#include "faulttest.h"
#include "support/counterblocks.h"
#include "support/waitfor.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <memory>

using namespace vantratest;

namespace {

const QString kPicture = QStringLiteral("picture 320x240");
const QString kRender = QStringLiteral("H264 320x240");

constexpr int kConnectTimeoutMs = 20000; ///< which a loaded machine keeps
constexpr int kQuietMs = 500;            ///< without a picture, after which none is under way

/// A stream thread that tells how far its opening has come.
class WatchedThread final : public FFmpegVideoThread
{
public:
    ~WatchedThread() override { endRun(); }

    /// Begun; the probe of the port comes next.
    int opens() const { return m_opens; }
    /// Inside avformat_open_input(). A plain flag of the stream thread, only to be waited for.
    bool isInOpen() const { return isOpening; }

protected:
    bool parseVideoUrl() override
    {
        ++m_opens;
        return true;
    }

private:
    std::atomic<int> m_opens{0};
};

/// Shows a thread without a window: connected as a widget is, but it never lets go of the thread.
class Receiver : public QObject
{
    Q_DISABLE_COPY(Receiver)

public:
    explicit Receiver(AbstractVideoThread *thread)
    {
        using Thread = AbstractVideoThread;
        const auto waited = Qt::BlockingQueuedConnection;
        thread->setVideoMode(VideoMode_Opengl);
        thread->previewRef().fetch_add(1);
        connect(thread, &QThread::started, this, [this] { note("started"); });
        connect(thread, &QThread::finished, this, [this] { note("finished"); });
        connect(
            thread, &Thread::receivePlayStart, this,
            [this] {
                note("open");
                ++opens;
                pictures = 0;
            },
            waited);
        connect(
            thread, &Thread::receivePlayFinsh, this, [this] { note("closed"); }, waited);
        connect(
            thread, &Thread::sig_updateCodecRender, this,
            [this](const QString &codec, int width, int height) {
                note(QStringLiteral("%1 %2x%3").arg(codec).arg(width).arg(height));
            },
            waited);
        connect(
            thread,
            qOverload<int, int, quint8 *, quint8 *, quint8 *, quint32, quint32, quint32>(
                &Thread::receiveFrame),
            this,
            [this](int width, int height, quint8 *luma, quint8 *, quint8 *, quint32 line) {
                note(QStringLiteral("picture %1x%2").arg(width).arg(height));
                pictures += readCounter(luma, int(line), width, height).has_value();
            },
            waited);
    }

    int count(const QString &event) const { return events.count(event); }
    /// What came since the last session was closed, repeated events once; empty if none was.
    QStringList sinceClosed() const
    {
        const int closed = events.lastIndexOf(QStringLiteral("closed"));
        return closed < 0 ? QStringList() : events.mid(closed);
    }

    QStringList events;
    int opens = 0;
    int pictures = 0; ///< with a true counter, since the last open

private:
    void note(const QString &event)
    {
        if (events.isEmpty() || events.last() != event)
            events.append(event);
    }
};

} // namespace

class TestFaultsThread : public FaultTest
{
    Q_OBJECT

protected:
    void setUp() override;
    void releaseClient() override;

private slots:
    void unreachableServer_isTriedAgain_untilItAnswers_data();
    void unreachableServer_isTriedAgain_untilItAnswers();
    void silentServer_timesOutByTheSocket_whereTheConnectTimeoutIsLonger();
    void killedServer_isTriedAgain_untilItIsBack_data() { transports(); }
    void killedServer_isTriedAgain_untilItIsBack();
    void frozenServer_timesOutReadAndOpen_untilItGoesOn_data() { transports(); }
    void frozenServer_timesOutReadAndOpen_untilItGoesOn();
    void frozenServer_timesOutByTheSocket_whereTheReadTimeoutIsLonger();
    void stalledCamera_isReopened_untilItSendsAgain_data() { transports(); }
    void stalledCamera_isReopened_untilItSendsAgain();
    void shortStall_isSatOut_data() { transports(); }
    void shortStall_isSatOut();
    void brokenStream_isReopened_data();
    void brokenStream_isReopened();
    void changedSize_isReopened_beforeAnyPictureOfIt_data();
    void changedSize_isReopened_beforeAnyPictureOfIt();
    void brokenStream_endsTheThread_withoutReadTimeout_data();
    void brokenStream_endsTheThread_withoutReadTimeout();
    void stop_endsTheThreadSoon_inEachPhase_data();
    void stop_endsTheThreadSoon_inEachPhase();

private:
    static void transports();
    bool playCamera(const QString &transport = QStringLiteral("tcp"));
    bool picturesComeAfter(int opens);
    bool hasEnded() const { return thread->isFinished() && receiver->events.last() == "finished"; }
    bool reachPhase(const QString &phase);
    QStringList story() const;

    std::unique_ptr<WatchedThread> thread;
    std::unique_ptr<Receiver> receiver;
};

void TestFaultsThread::setUp()
{
    thread = std::make_unique<WatchedThread>();
    thread->setOpenSleepTime(kOpenSleepMs);
    thread->setConnectTimeout(kConnectTimeoutMs);
    thread->setReadTimeout(kReadTimeoutMs);
    receiver = std::make_unique<Receiver>(thread.get());
    FaultTest::setUp();
}

void TestFaultsThread::releaseClient()
{
    thread.reset();
    receiver.reset();
}

// --- Helpers ------------------------------------------------------------------------------------

void TestFaultsThread::transports()
{
    QTest::addColumn<QString>("transport");
    QTest::newRow("tcp") << QStringLiteral("tcp");
    QTest::newRow("udp") << QStringLiteral("udp");
}

bool TestFaultsThread::playCamera(const QString &transport)
{
    if (!startServer())
        return false;
    thread->setTransport(transport);
    thread->setVideoUrl(server->url("cam"));
    thread->play();
    return picturesComeAfter(0);
}

/// Waits for pictures of a session after the first `opens`.
bool TestFaultsThread::picturesComeAfter(int opens)
{
    return waitFor([&] { return receiver->opens > opens && receiver->pictures >= kEnoughPictures; },
                   kHealMs);
}

/// The thread's lines so far: repeated ones once, without how long a time-out took and why an open
/// failed, which differs between releases of FFmpeg.
QStringList TestFaultsThread::story() const
{
    static const QRegularExpression took(QStringLiteral("timeout \\((\\d+):\\d+\\)"));
    static const QRegularExpression reason(QStringLiteral("(open input err\\(.*/cam):.+\\)$"));
    QStringList lines;
    for (const LogCapture::Line &line : log->lines()) {
        QString text = line.text;
        if (!text.startsWith(QLatin1String("(ffvdthr)")))
            continue;
        text.remove(0, 9).replace(took, QStringLiteral("timeout (\\1)"));
        text.replace(reason, QStringLiteral("\\1)"));
        if (lines.isEmpty() || lines.last() != text)
            lines.append(text);
    }
    return lines;
}

// --- No open ------------------------------------------------------------------------------------

void TestFaultsThread::unreachableServer_isTriedAgain_untilItAnswers_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("transport");
    const auto row = [](const char *fault, const char *transport) {
        QTest::addRow("%s %s", fault, transport) << QString(fault) << QString(transport);
    };
    row("refused", "tcp");
    row("dropped packets", "udp");
    row("silent", "tcp");
    row("silent", "udp");
}

void TestFaultsThread::unreachableServer_isTriedAgain_untilItAnswers()
{
    QFETCH(QString, fault);
    QFETCH(QString, transport);
    const int port = faultyPort(fault);
    if (hole && !hole->isValid())
        QSKIP("this system makes no black hole");
    const QString url = QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(port);
    QStringList told = {"check connect failed"};
    if (fault == "silent") {
        told = QStringList{"open timeout (1000000)", "open input err(" + url + ")",
                           "init input failed"};
        thread->setConnectTimeout(1000);
        expect(Logger::Warning, "open timeout (1000000:");
        expect(Logger::Error, "open input err(" + url + ":");
    }
    thread->setTransport(transport);
    thread->setVideoUrl(url);
    thread->play();

    QVERIFY(waitFor([&] { return count(told.last()) >= 2; }, kHealMs));
    QCOMPARE(story().mid(0, told.size()), told);
    QCOMPARE(thread->isReadTimeout(), fault == "silent");
    QVERIFY(!thread->getIsOk());
    QVERIFY(thread->isRunning());
    QCOMPARE(receiver->events, QStringList({"started"}));

    thread->setConnectTimeout(kConnectTimeoutMs);
    hole.reset();
    silent.reset();
    QVERIFY2(startServer(port), qPrintable(server->log()));
    expect(Logger::Warning, "open timeout (");
    QVERIFY2(picturesComeAfter(0), qPrintable(server->log()));
    // The render signals come twice at the first session: at the open and before the first picture.
    QCOMPARE(receiver->events, QStringList({"started", kRender, "open", kRender, kPicture}));
    QVERIFY(!thread->isReadTimeout());
    QCOMPARE(count("restart ff thr"), 0);
}

void TestFaultsThread::silentServer_timesOutByTheSocket_whereTheConnectTimeoutIsLonger()
{
    silent = std::make_unique<SilentServer>();
    thread->setVideoUrl(silent->url());
    thread->setConnectTimeout(60000);
    expect(Logger::Error, "open input err(" + silent->url() + ":");
    thread->play();
    QVERIFY(waitFor([&] { return count("init input failed") >= 1; }));
    QCOMPARE(count("open timeout"), 0);
    QVERIFY(!thread->isReadTimeout());
    QVERIFY(thread->isRunning());
    QVERIFY(waitFor([&] { return thread->opens() >= 2; }));
}

// --- Broken streams -----------------------------------------------------------------------------

void TestFaultsThread::killedServer_isTriedAgain_untilItIsBack()
{
    QFETCH(QString, transport);
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    expect(Logger::Error, "read frame err(");
    heart->leaveOut([&] { server->kill(); });
    QVERIFY(waitFor([&] { return count("check connect failed") >= 2; }, kHealMs));
    QCOMPARE(story(), QStringList({"read frame err(1:End of file)", "read frame err(2:End of file)",
                                   "read frame err(3:End of file)", "restart ff thr",
                                   "check connect failed"}));
    QCOMPARE(receiver->sinceClosed(), QStringList({"closed", "finished", "started"}));
    QVERIFY(!thread->isReadTimeout());
    QCOMPARE(thread->getVideoWidth(), 0);

    QVERIFY2(heart->leaveOut([&] { return server->restart(); }), qPrintable(server->log()));
    QVERIFY2(picturesComeAfter(1), qPrintable(server->log()));
    QCOMPARE(receiver->sinceClosed(),
             QStringList({"closed", "finished", "started", kRender, "open", kPicture}));
}

void TestFaultsThread::frozenServer_timesOutReadAndOpen_untilItGoesOn()
{
    QFETCH(QString, transport);
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    expect(Logger::Warning, "read timeout (1500:");
    expect(Logger::Error, "read frame err(");
    expect(Logger::Warning, "open timeout (2000000:");
    expect(Logger::Error, "open input err(" + server->url("cam") + ":");
    thread->setConnectTimeout(2000);
    server->suspend();
    // The system accepts connections in the name of a server that stands still: the probe passes.
    QVERIFY(waitFor([&] { return count("init input failed") >= 1; }, kHealMs));
    const QStringList told = {"read timeout (1500)",
                              "read frame err(1:Immediate exit requested)",
                              "read timeout (1500)",
                              "read frame err(2:Immediate exit requested)",
                              "read timeout (1500)",
                              "read frame err(3:Immediate exit requested)",
                              "restart ff thr",
                              "open timeout (2000000)",
                              "open input err(" + server->url("cam") + ")",
                              "init input failed"};
    QCOMPARE(story().mid(0, told.size()), told);
    QVERIFY(thread->isReadTimeout());

    server->resume();
    QVERIFY2(picturesComeAfter(1), qPrintable(server->log()));
    QCOMPARE(receiver->sinceClosed(),
             QStringList({"closed", "finished", "started", kRender, "open", kPicture}));
    QVERIFY(!thread->isReadTimeout());
}

void TestFaultsThread::frozenServer_timesOutByTheSocket_whereTheReadTimeoutIsLonger()
{
    thread->setReadTimeout(60000);
    QVERIFY2(playCamera(), qPrintable(server->log()));
    expect(Logger::Error, "read frame err(");
    server->suspend();
    QVERIFY(waitFor([&] { return count("restart ff thr") >= 1; }, kHealMs));
    QCOMPARE(story(), QStringList({"read frame err(1:Connection timed out)",
                                   "read frame err(2:Connection timed out)",
                                   "read frame err(3:Connection timed out)", "restart ff thr"}));
    QVERIFY(!thread->isReadTimeout()); // that is of the thread's own time-outs
    expect(Logger::Warning, "open timeout (");
    expect(Logger::Error, "open input err(");
    server->resume();
    QVERIFY2(picturesComeAfter(1), qPrintable(server->log()));
}

void TestFaultsThread::stalledCamera_isReopened_untilItSendsAgain()
{
    QFETCH(QString, transport);
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    expect(Logger::Warning, "read timeout (1500:");
    expect(Logger::Error, "read frame err(");
    QVERIFY(command("stall cam on"));
    // The server answers, so that the open succeeds; but it sends no more than one picture.
    QVERIFY(waitFor([&] { return receiver->opens >= 2; }, kHealMs));
    const QStringList told = {"read timeout (1500)", "read frame err(1:Immediate exit requested)",
                              "read timeout (1500)", "read frame err(2:Immediate exit requested)",
                              "read timeout (1500)", "read frame err(3:Immediate exit requested)",
                              "restart ff thr"};
    QCOMPARE(story().mid(0, told.size()), told);

    QVERIFY(command("stall cam off"));
    QVERIFY2(picturesComeAfter(1), qPrintable(server->log()));
    QVERIFY(!thread->isReadTimeout());
}

void TestFaultsThread::shortStall_isSatOut()
{
    QFETCH(QString, transport);
    thread->setReadTimeout(20000);
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    QVERIFY(command("stall cam on"));
    const qint64 sent = heart->leaveOut([&] { return server->stat("video", "cam"); });
    QElapsedTimer stall;
    stall.start();
    // Shorter than every time-out; the stall has to last, so it is waited out by the clock.
    QVERIFY(waitFor([&] { return stall.elapsed() > 1200; }));
    QCOMPARE(heart->leaveOut([&] { return server->stat("video", "cam"); }), sent);
    receiver->pictures = 0;
    QVERIFY(command("stall cam off"));
    QVERIFY(waitFor([&] { return receiver->pictures >= kEnoughPictures; }, kHealMs));
    QCOMPARE(receiver->opens, 1);
    QCOMPARE(story(), QStringList());
}

void TestFaultsThread::brokenStream_isReopened_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("transport");
    QTest::addColumn<QString>("codec");
    for (const char *transport : {"tcp", "udp"}) {
        const auto row = [&](const char *name, const char *fault, const char *codec) {
            QTest::addRow("%s %s", name, transport)
                << QString(fault) << QString(transport) << QString(codec);
        };
        row("client dropped", "drop cam", "H264");
        row("stream ends", "end cam", "H264");
        row("codec changes", "codec cam h265", "H265");
    }
}

void TestFaultsThread::brokenStream_isReopened()
{
    QFETCH(QString, fault);
    QFETCH(QString, transport);
    QFETCH(QString, codec);
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    expect(Logger::Error, "read frame err(");
    QVERIFY(command(fault));
    QVERIFY2(picturesComeAfter(1), qPrintable(server->log()));
    QCOMPARE(receiver->sinceClosed(),
             QStringList({"closed", "finished", "started", codec + " 320x240", "open", kPicture}));
    QCOMPARE(story(), QStringList({"read frame err(1:End of file)", "read frame err(2:End of file)",
                                   "read frame err(3:End of file)", "restart ff thr"}));
}

void TestFaultsThread::changedSize_isReopened_beforeAnyPictureOfIt_data()
{
    QTest::addColumn<QString>("transport");
    QTest::addColumn<int>("readTimeout");
    QTest::newRow("tcp") << QStringLiteral("tcp") << kReadTimeoutMs;
    QTest::newRow("udp") << QStringLiteral("udp") << kReadTimeoutMs;
    QTest::newRow("tcp without read time-out") << QStringLiteral("tcp") << 0;
}

void TestFaultsThread::changedSize_isReopened_beforeAnyPictureOfIt()
{
    QFETCH(QString, transport);
    QFETCH(int, readTimeout);
    thread->setReadTimeout(readTimeout);
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    QVERIFY(command("size cam 480x272"));
    QVERIFY2(picturesComeAfter(1), qPrintable(server->log()));
    QCOMPARE(receiver->events,
             QStringList({"started", kRender, "open", kRender, kPicture, "closed", "finished",
                          "started", "H264 480x272", "open", "picture 480x272"}));
    QCOMPARE(story(), QStringList({"restart ff thr"}));
    QCOMPARE(thread->getVideoWidth(), 480);
    QCOMPARE(thread->getVideoHeight(), 272);
}

void TestFaultsThread::brokenStream_endsTheThread_withoutReadTimeout_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("transport");
    const auto row = [](const char *fault, const char *transport) {
        QTest::addRow("%s %s", fault, transport) << QString(fault) << QString(transport);
    };
    row("killed", "tcp");
    row("drop cam", "udp");
    row("end cam", "tcp");
    row("codec cam h265", "tcp");
    row("stall cam on", "udp");
}

void TestFaultsThread::brokenStream_endsTheThread_withoutReadTimeout()
{
    QFETCH(QString, fault);
    QFETCH(QString, transport);
    const bool stalls = fault == "stall cam on";
    thread->setReadTimeout(0);
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    expect(Logger::Error, "read frame err(");
    if (stalls) // the interrupt and the socket wait for 3 s, both
        expect(Logger::Warning, "read timeout (3000:");
    if (fault == "killed")
        heart->leaveOut([&] { server->kill(); });
    else
        QVERIFY(command(fault));

    QVERIFY(waitFor([&] { return hasEnded(); }, kHealMs));
    QCOMPARE(receiver->sinceClosed(), QStringList({"closed", "finished"}));
    QCOMPARE(count("read frame err("), 3);
    QCOMPARE(story().last(), QStringLiteral("teminate ff thr"));
    QCOMPARE(count("restart ff thr"), 0);
    QVERIFY(!thread->getIsOk());

    // It does not come back by itself, but whoever starts it again has it play.
    const int opens = thread->opens();
    if (fault == "killed")
        QVERIFY(heart->leaveOut([&] { return server->restart(); }));
    else if (stalls)
        QVERIFY(command("stall cam off"));
    QCoreApplication::processEvents();
    QVERIFY(!thread->isRunning());
    QCOMPARE(thread->opens(), opens);
    thread->play();
    QVERIFY2(picturesComeAfter(1), qPrintable(server->log()));
}

// --- Stop ---------------------------------------------------------------------------------------

void TestFaultsThread::stop_endsTheThreadSoon_inEachPhase_data()
{
    QTest::addColumn<QString>("phase");
    QTest::addColumn<QString>("transport");
    QTest::addColumn<int>("limit"); // ms for which the phase may go on by itself
    QTest::newRow("probe") << "probe"
                           << "tcp" << 500;
    QTest::newRow("pause") << "pause"
                           << "tcp" << 100;
    for (const char *phase : {"open", "find stream info", "read", "read without data"}) {
        for (const char *transport : {"tcp", "udp"})
            QTest::addRow("%s %s", phase, transport) << phase << transport << 0;
    }
}

bool TestFaultsThread::reachPhase(const QString &phase)
{
    if (phase == "probe") {
        hole = std::make_unique<BlackHole>();
        thread->setVideoUrl(hole->url());
        thread->play();
        return waitFor([&] { return thread->opens() == 1; });
    }
    if (phase == "pause") {
        thread->setOpenSleepTime(600000);
        thread->setVideoUrl(QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(refusedPort()));
        thread->play();
        return waitFor([&] { return count("check connect failed") == 1; });
    }
    if (phase == "open") {
        silent = std::make_unique<SilentServer>();
        thread->setVideoUrl(silent->url());
        thread->play();
        return waitFor([&] { return silent->accepted() == 2; }); // the probe was the first
    }
    if (phase == "find stream info") {
        thread->setVideoUrl(server->url("cam"));
        thread->play();
        return waitFor([&] { return thread->isInOpen(); }) &&
               waitFor([&] { return !thread->isInOpen(); }) && receiver->opens == 0;
    }
    thread->setVideoUrl(server->url("cam"));
    thread->play();
    if (!picturesComeAfter(0))
        return false;
    if (phase == "read")
        return true;
    QElapsedTimer quiet;
    int pictures = receiver->pictures;
    quiet.start();
    return command("stall cam on") && waitFor([&] {
               if (receiver->pictures != pictures)
                   quiet.start();
               pictures = receiver->pictures;
               return quiet.elapsed() > kQuietMs;
           });
}

void TestFaultsThread::stop_endsTheThreadSoon_inEachPhase()
{
    QFETCH(QString, phase);
    QFETCH(QString, transport);
    QFETCH(int, limit);
    thread->setTransport(transport);
    thread->setConnectTimeout(60000);
    thread->setReadTimeout(60000);
    QVERIFY(startServer());
    QVERIFY(reachPhase(phase));
    expect(Logger::Warning, "try to stop");
    expect(Logger::Error, "open input err(");
    expect(Logger::Error, "read frame err(1:Immediate exit requested)");
    expect(Logger::Error, "resolution err("); // a size that was not found yet

    QElapsedTimer taken;
    taken.start();
    thread->stop();
    QVERIFY(taken.elapsed() < kAtOnceMs);
    QVERIFY(waitFor([&] { return hasEnded(); }, limit + kSoonMs + kSlackMs));
    QCOMPARE(receiver->count("finished"), 1);
    QCOMPARE(receiver->count("started"), 1);
    QCOMPARE(receiver->count("closed"), receiver->opens);
    QCOMPARE(count("teminate ff thr"), 1);
    QCOMPARE(count("restart ff thr"), 0);
    QCOMPARE(story().last(), QStringLiteral("teminate ff thr"));
    if (limit == 0 && phase != "read")
        QVERIFY(count("try to stop") >= 1);

    if (transport != "tcp")
        return;
    // The object is ready for another play.
    const int opens = receiver->opens;
    QVERIFY(command("stall cam off"));
    thread->setVideoUrl(server->url("cam"));
    thread->play();
    QVERIFY2(picturesComeAfter(opens), qPrintable(server->log()));
}

QTEST_GUILESS_MAIN(TestFaultsThread)
#include "tst_faults_thread.moc"
