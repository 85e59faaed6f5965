// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Faults of the network and of the server, as a widget and its host meet them. A play that never
// opened goes on trying; one that breaks after it has opened ends, and the host begins anew.
#include "faulttest.h"
#include "support/playview.h"
#include "support/privatepulse.h"
#include "support/waitfor.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace vantratest;

namespace {

constexpr int kConnectTimeoutMs = 2000;
constexpr int kPatienceMs = 20000; ///< for an open that a loaded machine must not break
constexpr int kAgainMs = 300;      ///< pause of the host before it begins anew

/// Pixels of the widget's face that are not of its background.
int litPixels(QWidget &widget)
{
    const QImage image = widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
    int lit = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            lit += image.pixel(x, y) != image.pixel(image.width() - 1, image.height() - 1);
    }
    return lit;
}

} // namespace

class TestFaultsWidget : public FaultTest
{
    Q_OBJECT

protected:
    void setUp() override;
    void releaseClient() override;

private slots:
    void initTestCase() { useNoSoundServer(); }

    void unopenedPlay_goesOnTrying_untilTheServerAnswers_data();
    void unopenedPlay_goesOnTrying_untilTheServerAnswers();
    void brokenPlay_goesIdle_andStaysSo_data() { faults(); }
    void brokenPlay_goesIdle_andStaysSo();
    void hostThatBeginsAnew_seesPicturesAgain_data();
    void hostThatBeginsAnew_seesPicturesAgain();
    void hostThatBeginsAnew_outlivesFaultUponFault();
    void stop_goesIdleAtOnce_inEachPhase_data();
    void stop_goesIdleAtOnce_inEachPhase();
    void close_duringTheOpen_endsThePlay();

private:
    static void faults();
    bool playCamera(const QString &transport = QStringLiteral("tcp"));
    bool inflict(const QString &fault);
    bool undo(const QString &fault);
    bool picturesCome();
    bool reachPhase(const QString &phase);
    void expectBrokenStream();

    std::unique_ptr<PlayView> view;
};

void TestFaultsWidget::setUp()
{
    view = std::make_unique<PlayView>();
    view->setTimeouts(kConnectTimeoutMs, kReadTimeoutMs);
    view->setOpenSleepTime(kOpenSleepMs);
    view->show();
    FaultTest::setUp();
}

void TestFaultsWidget::releaseClient()
{
    view.reset();
}

// --- Helpers ------------------------------------------------------------------------------------

void TestFaultsWidget::faults()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("transport");
    const auto row = [](const char *fault, const char *transport) {
        QTest::addRow("%s, %s", fault, transport) << QString(fault) << QString(transport);
    };
    row("server killed", "tcp");
    row("server stands still", "tcp");
    row("stall", "udp");
    row("drop", "tcp");
    row("end", "udp");
    row("size", "tcp");
}

bool TestFaultsWidget::playCamera(const QString &transport)
{
    if (!startServer())
        return false;
    view->setTimeouts(kPatienceMs, kReadTimeoutMs);
    view->setTransport(transport);
    view->setUrl(server->url("cam"));
    return view->start() && picturesCome();
}

bool TestFaultsWidget::picturesCome()
{
    view->forget();
    return waitFor([&] { return view->pictures() >= kEnoughPictures && view->counter() >= 0; },
                   kHealMs);
}

bool TestFaultsWidget::inflict(const QString &fault)
{
    if (fault == "server killed") {
        heart->leaveOut([&] { server->kill(); });
        return true;
    }
    if (fault == "server stands still") {
        server->suspend();
        return true;
    }
    if (fault == "stall")
        return command("stall cam on");
    if (fault == "size")
        return command("size cam 480x272");
    if (fault == "codec")
        return command("codec cam h265");
    return command(fault + " cam");
}

bool TestFaultsWidget::undo(const QString &fault)
{
    if (fault == "server killed")
        return heart->leaveOut([&] { return server->restart(); });
    if (fault == "server stands still")
        server->resume();
    return fault != "stall" || command("stall cam off");
}

/// The lines of a stream that breaks, of the stop by which the widget ends it, and of the opens
/// that fail until the server is back.
void TestFaultsWidget::expectBrokenStream()
{
    expect(Logger::Error, "read frame err(");
    expect(Logger::Warning, "read timeout (1500:");
    expect(Logger::Warning, "try to stop");
    expect(Logger::Warning, "open timeout (2000000:");
    expect(Logger::Error, "open input err(");
}

// --- Faults -------------------------------------------------------------------------------------

void TestFaultsWidget::unopenedPlay_goesOnTrying_untilTheServerAnswers_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("refused") << "refused";
    QTest::newRow("dropped packets") << "dropped packets";
    QTest::newRow("silent") << "silent";
}

void TestFaultsWidget::unopenedPlay_goesOnTrying_untilTheServerAnswers()
{
    QFETCH(QString, fault);
    const int port = faultyPort(fault);
    if (hole && !hole->isValid())
        QSKIP("this system makes no black hole");
    if (fault == "silent") {
        expect(Logger::Warning, "open timeout (2000000:");
        expect(Logger::Error, "open input err(");
    }
    view->setUrl(QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(port));
    QVERIFY(view->start());
    const QString told = fault == "silent" ? "init input failed" : "check connect failed";
    QVERIFY(waitFor([&] { return count(told) >= 2; }, kHealMs));
    QVERIFY(view->getIsRunning());
    QVERIFY(!view->isIdle());
    QCOMPARE(view->playStarts(), 0);
    QCOMPARE(litPixels(*view), 0);

    hole.reset();
    silent.reset();
    QVERIFY2(startServer(port), qPrintable(server->log()));
    QVERIFY2(picturesCome(), qPrintable(server->log()));
    QCOMPARE(view->playStarts(), 1);
    QCOMPARE(view->playEnds(), 0);
    QCOMPARE(view->startedCalls(), 1);
    QCOMPARE(view->finishedCalls(), 0);
}

void TestFaultsWidget::brokenPlay_goesIdle_andStaysSo()
{
    QFETCH(QString, fault);
    QFETCH(QString, transport);
    QSignalSpy over(view.get(), &PlayView::sig_receivePlayFinsh);
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    QVERIFY(litPixels(*view) > 0);
    expectBrokenStream();
    QVERIFY(inflict(fault));

    QVERIFY(waitFor([&] { return !over.isEmpty(); }, kHealMs));
    QVERIFY(view->isIdle());
    QCOMPARE(litPixels(*view), 0); // no picture that stands still
    // The thread has been told to stop, and ends instead of starting again.
    QVERIFY(waitFor([&] { return view->finishedCalls() == 1; }, kSoonMs + kSlackMs));
    QVERIFY(!view->getIsRunning());
    QVERIFY(!view->hasRunningThread());
    QCOMPARE(count("teminate ff thr"), 1);
    QCOMPARE(count("restart ff thr"), 0);
    QCOMPARE(count("read frame err("), fault == "size" ? 0 : 3);

    QVERIFY(undo(fault));
    QCoreApplication::processEvents();
    QVERIFY(view->isIdle());
    QVERIFY(!view->hasRunningThread());
    QCOMPARE(over.size(), 1);
    view->stop(); // nothing left to stop
    QCOMPARE(over.size(), 1);
    QCOMPARE(view->playEnds(), 1);
    QCOMPARE(view->startedCalls(), 1);
}

/// Those that last; the others are strung together below.
void TestFaultsWidget::hostThatBeginsAnew_seesPicturesAgain_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("transport");
    QTest::newRow("server killed, udp") << "server killed"
                                        << "udp";
    QTest::newRow("server stands still, tcp") << "server stands still"
                                              << "tcp";
    QTest::newRow("stall, udp") << "stall"
                                << "udp";
}

void TestFaultsWidget::hostThatBeginsAnew_seesPicturesAgain()
{
    QFETCH(QString, fault);
    QFETCH(QString, transport);
    connect(view.get(), &PlayView::sig_receivePlayFinsh, view.get(),
            [this] { QTimer::singleShot(kAgainMs, view.get(), [this] { view->start(); }); });
    QVERIFY2(playCamera(transport), qPrintable(server->log()));
    expectBrokenStream();
    QVERIFY(inflict(fault));
    QVERIFY(waitFor([&] { return view->startedCalls() >= 2; }, kHealMs)); // the host has begun anew
    QVERIFY2(undo(fault), qPrintable(server->log()));
    QVERIFY(waitFor([&] { return view->playStarts() >= 2; }, kHealMs));
    QVERIFY2(picturesCome(), qPrintable(server->log()));
    QVERIFY(view->getIsRunning());
}

void TestFaultsWidget::hostThatBeginsAnew_outlivesFaultUponFault()
{
    connect(view.get(), &PlayView::sig_receivePlayFinsh, view.get(),
            [this] { QTimer::singleShot(kAgainMs, view.get(), [this] { view->start(); }); });
    QVERIFY2(playCamera(), qPrintable(server->log()));
    expectBrokenStream();
    const QStringList faults = {"drop", "codec", "server killed", "end", "size"};
    for (const QString &fault : faults) {
        const int starts = view->playStarts();
        QVERIFY(inflict(fault));
        QVERIFY(waitFor([&] { return !view->getIsRunning(); }, kHealMs));
        QVERIFY2(undo(fault), qPrintable(server->log()));
        QVERIFY2(waitFor([&] { return view->playStarts() > starts; }, kHealMs), qPrintable(fault));
        QVERIFY2(picturesCome(), qPrintable(fault + server->log()));
    }
    QCOMPARE(view->pictureSize(), QSize(480, 272));
    QCOMPARE(view->playEnds(), view->playStarts() - 1);
    QVERIFY(waitFor([&] { return view->finishedCalls() == view->playEnds(); }));
}

// --- Stop ---------------------------------------------------------------------------------------

void TestFaultsWidget::stop_goesIdleAtOnce_inEachPhase_data()
{
    QTest::addColumn<QString>("phase");
    QTest::addColumn<int>("limit"); // ms for which the phase may go on by itself
    QTest::newRow("probe") << "probe" << 500;
    QTest::newRow("pause") << "pause" << 100;
    QTest::newRow("open") << "open" << 0;
    QTest::newRow("find stream info") << "find stream info" << 0;
    QTest::newRow("read") << "read" << 0;
    QTest::newRow("read without data") << "read without data" << 0;
}

bool TestFaultsWidget::reachPhase(const QString &phase)
{
    if (phase == "probe") {
        hole = std::make_unique<BlackHole>();
        view->setUrl(hole->url());
        return view->start() && waitFor([&] { return view->getIsRunning(); });
    }
    if (phase == "pause") {
        view->setOpenSleepTime(600000);
        view->setUrl(QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(refusedPort()));
        return view->start() && waitFor([&] { return count("check connect failed") == 1; });
    }
    if (phase == "open") {
        silent = std::make_unique<SilentServer>();
        view->setUrl(silent->url());
        return view->start() &&
               waitFor([&] { return silent->accepted() == 2; }); // one is the probe
    }
    if (phase == "find stream info") {
        // The client that is known to a camera has been told to play it; its first packets follow.
        view->setUrl(server->url("cam"));
        return view->start() && waitFor([&] {
                   return heart->leaveOut([&] { return server->stat("clients", "cam") == 1; });
               }) &&
               view->playStarts() == 0;
    }
    view->setUrl(server->url("cam"));
    return view->start() && picturesCome() && (phase == "read" || command("stall cam on"));
}

void TestFaultsWidget::stop_goesIdleAtOnce_inEachPhase()
{
    QFETCH(QString, phase);
    QFETCH(int, limit);
    QSignalSpy over(view.get(), &PlayView::sig_receivePlayFinsh);
    view->setTimeouts(60000, 60000);
    QVERIFY(startServer());
    QVERIFY(reachPhase(phase));
    expectBrokenStream();
    expect(Logger::Error, "resolution err("); // a size that was not found yet

    QElapsedTimer taken;
    taken.start();
    view->stop();
    QVERIFY(taken.elapsed() < kAtOnceMs);
    QVERIFY(view->isIdle());
    QCOMPARE(over.size(), 1);
    QCOMPARE(litPixels(*view), 0);
    QVERIFY(waitFor([&] { return view->finishedCalls() == 1; }, limit + kSoonMs + kSlackMs));
    QVERIFY(!view->getIsRunning());
    QVERIFY(!view->hasRunningThread());
    QCOMPARE(count("teminate ff thr"), 1);
    QCOMPARE(view->playEnds(), 1);

    const int starts = view->playStarts();
    view->setUrl(server->url("cam"));
    QVERIFY(command("stall cam off"));
    QVERIFY(view->start());
    QVERIFY2(picturesCome(), qPrintable(server->log()));
    QCOMPARE(view->playStarts(), starts + 1);
}

void TestFaultsWidget::close_duringTheOpen_endsThePlay()
{
    QVERIFY(reachPhase("open"));
    expectBrokenStream();
    QElapsedTimer taken;
    taken.start();
    QVERIFY(view->close());
    QVERIFY(taken.elapsed() < kAtOnceMs);
    QVERIFY(view->isIdle());
    QVERIFY(waitFor([&] { return view->finishedCalls() == 1; }, kSoonMs + kSlackMs));
    QVERIFY(!view->hasRunningThread());
}

QTEST_MAIN(TestFaultsWidget)
#include "tst_faults_widget.moc"
