// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "liveview.h"
#include "mainwindow.h"
#include "support/counterblocks.h"
#include "support/loggedtest.h"
#include "support/rtspserver.h"
#include "support/waitfor.h"
#include "theme.h"
#include "vantra.h"
#include "viewhost.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

#include <memory>

using namespace vantratest;

class TestLiveView : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override;

private slots:
    void initTestCase() { QVERIFY(Vantra::init()); }
    void cleanupTestCase() { Vantra::release(); }
    void play_showsLivePictures();
    void halt_leavesAStoppedView();
    void frozenPicture_isCovered_andComesBack();
    void droppedView_comesBackByItself();
    void view_comesBack_whenTheCameraWasAway();
    void unreachableCamera_isExplained();
    void wrongPassword_isExplained_andNeverShown();
    void changeOfSize_isFollowed();
    void mute_isKept_throughStops();
    void controls_withoutAPicture_areHarmless();
    void scaleMode_goesRound();
    void bannerButtons_doWhatTheKeysDo();
    void savedPicture_isAJpegInTheFolderOfTheCamera();
    void savedPictures_ofOneSecond_areAllKept();
    void zoom_endsWithThePlay();
    void playAndHalt_manyTimes_leavesNoThreads();
    void window_emptiesAView_whoseThreadsStillRun();
    void window_withoutCameras_asksForAnAddress();
    void window_closesWhileConnecting();
};

void TestLiveView::setUp()
{
    // A stop that reaches a thread inside FFmpeg's calls is told so.
    log->expect(Logger::Warning, "(ffvdthr)try to stop");
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(ffvdthr\\)no audio stream in "));
    // On a slow machine an open may last that long.
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(ffvdthr\\)open timeout "));
}

void TestLiveView::play_showsLivePictures()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264:640x360"}), qPrintable(server.log()));
    Host host(server.url("cam"));
    QCOMPARE(host.view.state(), ViewState::Stopped);
    host.view.play();
    QVERIFY(host.becomes(ViewState::Live));
    QVERIFY(!host.overlay()->isVisible());
    // The counter drawn into the pictures moves on: what is on the screen lives.
    host.view.toggleLabels();
    host.view.setFrameVisible(false);
    host.view.nextScaleMode(); // fill, so that the picture is the whole view
    std::optional<quint32> first;
    QVERIFY(waitFor([&] { return (first = readCounter(host.view.grab().toImage())).has_value(); }));
    QVERIFY(waitFor([&] {
        const auto now = readCounter(host.view.grab().toImage());
        return now && *now > *first + 5;
    }));
    QVERIFY(waitFor([&] { return host.view.summary().pictures > 5; }));
    const ViewSummary summary = host.view.summary();
    QCOMPARE(summary.size, QSize(640, 360));
    QCOMPARE(summary.state, QString("live"));
}

void TestLiveView::halt_leavesAStoppedView()
{
    RtspServer server;
    const auto host = watch(&server);
    QVERIFY2(host, qPrintable(server.log()));
    host->view.halt();
    QCOMPARE(host->view.state(), ViewState::Stopped);
    QVERIFY(host->overlay()->isVisible());
    QCOMPARE(host->overlay()->title(), QString("Stopped"));
    QVERIFY(threadsEnd());
    // It does not come back: the server sees its client go and no other come.
    QVERIFY(waitFor([&] { return server.stat("clients", "cam") == 0; }));
    QCOMPARE(host->view.state(), ViewState::Stopped);
    host->view.play();
    QVERIFY(host->becomes(ViewState::Live));
}

void TestLiveView::frozenPicture_isCovered_andComesBack()
{
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(ffvdthr\\)read timeout "));
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)read frame err"));
    RtspServer server;
    const auto host = watch(&server);
    QVERIFY2(host, qPrintable(server.log()));
    QVERIFY(server.command("stall cam on"));
    QVERIFY(host->becomes(ViewState::NoSignal));
    QVERIFY(host->overlay()->isVisible());
    QCOMPARE(host->overlay()->geometry(), host->view.rect());
    QCOMPARE(host->overlay()->title(), QString("No signal"));
    // Nothing of the old picture is bright enough to pass for a live one.
    const QImage covered = host->view.grab().toImage();
    QVERIFY(qGray(covered.pixel(320, 300)) < 60);
    QVERIFY(server.command("stall cam off"));
    QVERIFY(host->becomes(ViewState::Live));
    QVERIFY(!host->overlay()->isVisible());
}

void TestLiveView::droppedView_comesBackByItself()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)read frame err"));
    RtspServer server;
    const auto host = watch(&server);
    QVERIFY2(host, qPrintable(server.log()));
    for (int i = 0; i < 3; ++i) {
        QVERIFY(server.command("drop cam"));
        QVERIFY(host->becomes(ViewState::Connecting));
        QCOMPARE(host->overlay()->title(), QString("No signal"));
        QVERIFY(host->becomes(ViewState::Live));
    }
}

void TestLiveView::view_comesBack_whenTheCameraWasAway()
{
    log->expectMatching(Logger::Error,
                        QRegularExpression("^\\(ffvdthr\\)(read frame|open input) err"));
    RtspServer server;
    const auto host = watch(&server);
    QVERIFY2(host, qPrintable(server.log()));
    server.kill();
    QVERIFY(host->becomes(ViewState::Connecting));
    QVERIFY(waitFor([&] { return host->overlay()->detail().contains("Nothing answers at"); }));
    QCOMPARE(host->overlay()->title(), QString("No signal"));
    QVERIFY(server.restart());
    QVERIFY(host->becomes(ViewState::Live));
}

void TestLiveView::unreachableCamera_isExplained()
{
    Host host(QString("rtsp://127.0.0.1:%1/x").arg(refusedPort()));
    host.view.play();
    QVERIFY(waitFor([&] { return host.overlay()->detail().contains("Nothing answers at"); }));
    QCOMPARE(host.overlay()->title(), QString("No picture"));
    QVERIFY(host.overlay()->isVisible());
    QVERIFY(host.view.summary().state.startsWith("no picture: Nothing answers at"));
    QCOMPARE(host.view.summary().pictures, quint64(0));
}

void TestLiveView::wrongPassword_isExplained_andNeverShown()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)open input err"));
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264", "--authenticate", "admin:right"}));
    Host host(server.url("cam", "admin:qwrong"));
    host.view.play();
    QVERIFY(waitFor([&] { return host.overlay()->detail().contains("refuses the user name"); }));
    const QString shown = host.overlay()->title() + host.overlay()->detail() +
                          host.view.summary().name + host.view.summary().state;
    QVERIFY2(!shown.contains("qwrong") && !shown.contains("admin"), qPrintable(shown));
    for (const LogCapture::Line &line : log->lines())
        QVERIFY2(!line.text.contains("qwrong"), qPrintable(line.text));
}

void TestLiveView::changeOfSize_isFollowed()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)read frame err"));
    RtspServer server;
    const auto host = watch(&server, "cam:h264:640x360");
    QVERIFY2(host, qPrintable(server.log()));
    QVERIFY(server.command("size cam 320x240"));
    QVERIFY(waitFor([&] {
        return host->view.state() == ViewState::Live &&
               host->view.summary().size == QSize(320, 240);
    }));
}

void TestLiveView::mute_isKept_throughStops()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:pcma"}));
    Host host(server.url("cam"));
    QVERIFY(host.view.isMuted());
    host.view.toggleMuted(); // while nothing plays
    QVERIFY(!host.view.isMuted());
    host.view.play();
    QVERIFY(host.becomes(ViewState::Live));
    QVERIFY(!host.view.isMuted());
    host.view.halt();
    QVERIFY(!host.view.isMuted());
    host.view.changeVolume(-500);
    host.view.changeVolume(+500);
    host.view.toggleMuted();
    QVERIFY(host.view.isMuted());
}

void TestLiveView::controls_withoutAPicture_areHarmless()
{
    Host host(QString("rtsp://127.0.0.1:%1/x").arg(refusedPort()));
    for (int round = 0; round < 2; ++round) {
        host.view.toggleZoom();
        QVERIFY(!host.view.isDigitalZoom());
        host.view.savePicture();
        host.view.toggleLabels();
        host.view.toggleMuted();
        host.view.changeVolume(10);
        host.view.nextScaleMode();
        host.view.tick();
        host.view.play(); // the second round runs while it connects
    }
}

void TestLiveView::scaleMode_goesRound()
{
    Host host("rtsp://127.0.0.1:1/x");
    QCOMPARE(host.view.getScaleMode(), ScaleMode_Aspect);
    host.view.nextScaleMode();
    QCOMPARE(host.view.getScaleMode(), ScaleMode_Fill);
    host.view.nextScaleMode();
    QCOMPARE(host.view.getScaleMode(), ScaleMode_Auto);
    host.view.nextScaleMode();
    QCOMPARE(host.view.getScaleMode(), ScaleMode_Aspect);
}

void TestLiveView::bannerButtons_doWhatTheKeysDo()
{
    RtspServer server;
    const auto host = watch(&server, "cam:h264:pcmu");
    QVERIFY2(host, qPrintable(server.log()));
    const auto click = [&](const char *name) {
        auto *button = host->view.findChild<QPushButton *>(name);
        if (button)
            button->click();
        return button != nullptr;
    };
    // The sound button's name is its state.
    QVERIFY(click("btnMuted"));
    QVERIFY(!host->view.isMuted());
    QVERIFY(click("btnSound"));
    QVERIFY(host->view.isMuted());
    QVERIFY(click("btnScale"));
    QCOMPARE(host->view.getScaleMode(), ScaleMode_Fill);
    QVERIFY(click("btnZoom"));
    QVERIFY(host->view.isDigitalZoom());
    QSignalSpy enlarge(&host->view, &LiveView::enlargeRequested);
    QVERIFY(click("btnEnlarge"));
    QCOMPARE(enlarge.count(), 1);
    QTest::mouseDClick(&host->view, Qt::LeftButton);
    QCOMPARE(enlarge.count(), 2);
    // The key changes the look of the button too.
    host->view.toggleMuted();
    QVERIFY(host->view.findChild<QPushButton *>("btnSound"));
    QVERIFY(click("btnStop"));
    QCOMPARE(host->view.state(), ViewState::Stopped);
    QVERIFY(!host->view.isWanted());
}

void TestLiveView::savedPicture_isAJpegInTheFolderOfTheCamera()
{
    RtspServer server;
    const auto host = watch(&server);
    QVERIFY2(host, qPrintable(server.log()));
    QSignalSpy saved(&host->view, &AbstractVideoWidget::snapImage);
    host->view.savePicture();
    QVERIFY(waitFor([&] { return !saved.isEmpty(); }));
    const QString file = saved.first().last().toString();
    QCOMPARE(QFileInfo(file).absolutePath(),
             host->files.folder() + QDate::currentDate().toString("/yyyy-MM-dd/'live'"));
    const QRegularExpression name("^\\d{8}T\\d{6}\\.jpg$");
    QVERIFY2(name.match(QFileInfo(file).fileName()).hasMatch(), qPrintable(file));
    QCOMPARE(QImage(file, "jpg").size(), QSize(640, 360));
}

void TestLiveView::savedPictures_ofOneSecond_areAllKept()
{
    RtspServer server;
    const auto host = watch(&server);
    QVERIFY2(host, qPrintable(server.log()));
    QSignalSpy saved(&host->view, &AbstractVideoWidget::snapImage);
    // As fast as a finger can, and faster.
    QSet<QString> names;
    QVERIFY(waitFor([&] {
        host->view.savePicture();
        for (const QList<QVariant> &arguments : qAsConst(saved))
            names.insert(arguments.last().toString());
        return names.size() >= 3;
    }));
    for (const QList<QVariant> &arguments : qAsConst(saved))
        QVERIFY(!arguments.first().value<QImage>().isNull());
    for (const QString &name : qAsConst(names))
        QCOMPARE(QImage(name, "jpg").size(), QSize(640, 360));
}

void TestLiveView::zoom_endsWithThePlay()
{
    RtspServer server;
    const auto host = watch(&server);
    QVERIFY2(host, qPrintable(server.log()));
    host->view.toggleZoom();
    QVERIFY(host->view.isDigitalZoom());
    host->view.halt();
    QVERIFY(!host->view.isDigitalZoom());
}

void TestLiveView::playAndHalt_manyTimes_leavesNoThreads()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)"));
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264"}));
    Host host(server.url("cam"));
    for (int i = 0; i < 30; ++i) {
        host.view.play();
        QCoreApplication::processEvents();
        host.view.halt();
    }
    QVERIFY(threadsEnd());
    host.view.play();
    QVERIFY(host.becomes(ViewState::Live));
}

void TestLiveView::window_emptiesAView_whoseThreadsStillRun()
{
    SilentServer silent; // an open that takes its time
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)open input err"));
    QTemporaryDir folder;
    MainWindow window("tcp", folder.path());
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    window.addCamera(addressOf(silent.url()));
    window.addCamera(addressOf(silent.url()));
    QVERIFY(waitFor([&] { return silent.accepted() > 0; }));
    QCOMPARE(window.summaries().size(), 2);
    QTest::keyClick(&window, Qt::Key_Delete);
    QCOMPARE(window.summaries().size(), 1);
    QTest::keyClick(&window, Qt::Key_Delete); // the place is empty already
    QCOMPARE(window.summaries().size(), 1);
    QTest::keyClick(&window, Qt::Key_2);
    QTest::keyClick(&window, Qt::Key_Delete);
    QCOMPARE(window.summaries().size(), 0);
    QVERIFY(threadsEnd());
    QVERIFY(waitFor([&] { return window.findChildren<LiveView *>().size() == 4; }));
}

void TestLiveView::window_withoutCameras_asksForAnAddress()
{
    QTemporaryDir folder;
    MainWindow window("tcp", folder.path());
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    auto *field = window.findChild<QLineEdit *>("addressField");
    QVERIFY(field->isVisible());
    QVERIFY(waitFor([&] { return field->hasFocus(); }));
    // Keys that are commands elsewhere are letters here.
    QTest::keyClicks(field, "msz not an address");
    QTest::keyClick(field, Qt::Key_Return);
    QCOMPARE(field->text(), QString("msz not an address"));
    auto *problem = window.findChild<QLabel *>("problem");
    QVERIFY(problem->text().contains("begins with rtsp://"));
    QCOMPARE(window.summaries().size(), 0);
    field->selectAll();
    QTest::keyClicks(field, QString("rtsp://u:p@127.0.0.1:%1/x").arg(refusedPort()));
    QVERIFY(problem->text().isEmpty());
    QTest::keyClick(field, Qt::Key_Return);
    QCOMPARE(window.summaries().size(), 1);
    QVERIFY(!field->isVisible());
    QTest::keyClick(&window, Qt::Key_Delete);
    QVERIFY(threadsEnd());
}

void TestLiveView::window_closesWhileConnecting()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)open input err"));
    SilentServer silent;
    QTemporaryDir folder;
    MainWindow window("tcp", folder.path());
    window.show();
    for (int i = 0; i < 4; ++i)
        window.addCamera(addressOf(silent.url()));
    QVERIFY(waitFor([&] { return silent.accepted() >= 1; }));
    QTimer::singleShot(0, &window, [&] { window.close(); });
    QTimer::singleShot(20000, &window, [&] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
    QVERIFY(!window.isVisible());
    QVERIFY(!window.hasRunningThreads());
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    theme::apply(application);
    TestLiveView test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_liveview.moc"
