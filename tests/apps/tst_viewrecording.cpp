// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "mainwindow.h"
#include "recordedfiles.h"
#include "recordingmark.h"
#include "support/loggedtest.h"
#include "theme.h"
#include "vantra.h"
#include "viewgrid.h"
#include "viewhost.h"
#include "viewlabels.h"

#include <QDir>
#include <QPushButton>
#include <QtTest>

using namespace vantratest;

namespace {

/// Key pictures often enough that a short recording has several.
const char kCamera[] = "cam:h264:pcma:gop=10";

RecordingMark *markOf(const LiveView &view)
{
    return view.findChild<RecordingMark *>();
}

QString noticeOf(const LiveView &view)
{
    return view.findChild<ViewLabels *>()->lastNotice();
}

QStringList recordingsOf(const CameraFiles &files)
{
    return files.recordingsSince(QDateTime::fromSecsSinceEpoch(0));
}

/// Recordings that have ended have two times in their names.
int ended(const CameraFiles &files)
{
    return recordingsOf(files)
        .filter(QRegularExpression("/\\d{8}T\\d{6}_\\d{8}T\\d{6}_0\\.mp4$"))
        .size();
}

bool becomes(const LiveView &view, const QString &mark)
{
    return waitFor(
        [&] { return markOf(view)->isVisible() && markOf(view)->text().contains(mark); });
}

bool plays(const QString &file)
{
    return readRecordedFile(1, file).seconds > 0;
}

} // namespace

/// What a person sees of the recordings of a view, and finds in its folder.
class TestViewRecording : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override;

private slots:
    void initTestCase() { QVERIFY(Vantra::init()); }
    void cleanupTestCase() { Vantra::release(); }
    void recording_isMarked_andLeavesAFileThatPlays();
    void recording_beginsWithTheStream_ifWantedBefore();
    void recording_goesOnInANewFile_afterABreak();
    void recording_waits_whileThePictureIsFrozen();
    void recording_goesOn_whileTheViewIsHidden();
    void halt_endsTheRecording();
    void recording_ofAStoppedView_isNotBegun();
    void folderThatCannotBeMade_isMarked();
    void bannerButton_beginsAndEnds();
    void window_recordsAllCameras_andEndsAll();
    void sameCameraTwice_hasTwoFolders();
    void windowThatCloses_leavesWholeFiles();
};

void TestViewRecording::setUp()
{
    log->expect(Logger::Warning, "(ffvdthr)try to stop");
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(ffvdthr\\)no audio stream in "));
    log->expectMatching(Logger::Warning,
                        QRegularExpression("^\\(ffvdthr\\)not support audio codec id "));
}

void TestViewRecording::recording_isMarked_andLeavesAFileThatPlays()
{
    RtspServer server;
    const auto host = watch(&server, kCamera);
    QVERIFY2(host, qPrintable(server.log()));
    QVERIFY(!markOf(host->view)->isVisible());
    host->view.toggleRecording();
    QVERIFY(host->view.isRecording());
    QVERIFY(becomes(host->view, "REC 0:02"));
    QCOMPARE(recordingsOf(host->files).size(), 1);
    host->view.toggleRecording();
    QVERIFY(!host->view.isRecording());
    QVERIFY(noticeOf(host->view).contains("saved in the folder camera"));
    QVERIFY(!markOf(host->view)->isVisible());
    QVERIFY(waitFor([&] { return ended(host->files) == 1; }));
    QCOMPARE(recordingsOf(host->files).size(), 1);
    QVERIFY(plays(recordingsOf(host->files).first()));
    // Again: the time begins anew, and the first file stays.
    host->view.toggleRecording();
    QVERIFY(becomes(host->view, "REC 0:0"));
    host->view.toggleRecording();
    QVERIFY(waitFor([&] { return ended(host->files) == 2; }));
}

void TestViewRecording::recording_beginsWithTheStream_ifWantedBefore()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", kCamera}));
    Host host(server.url("cam"));
    host.view.play();
    host.view.toggleRecording();
    QVERIFY(markOf(host.view)->text().contains("waits"));
    QVERIFY(becomes(host.view, "REC 0:01"));
    QCOMPARE(recordingsOf(host.files).size(), 1);
}

void TestViewRecording::recording_goesOnInANewFile_afterABreak()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)read frame err"));
    RtspServer server;
    const auto host = watch(&server, kCamera);
    QVERIFY2(host, qPrintable(server.log()));
    host->view.toggleRecording();
    QVERIFY(becomes(host->view, "REC 0:02"));
    QVERIFY(server.command("drop cam"));
    QVERIFY(becomes(host->view, "waits"));
    QVERIFY(host->view.isRecording());
    QVERIFY(becomes(host->view, "REC 0:03"));
    QCOMPARE(recordingsOf(host->files).size(), 2);
    QCOMPARE(ended(host->files), 1);
    host->view.toggleRecording();
    QVERIFY(waitFor([&] { return ended(host->files) == 2; }));
    for (const QString &name : recordingsOf(host->files))
        QVERIFY2(plays(name), qPrintable(name));
}

void TestViewRecording::recording_waits_whileThePictureIsFrozen()
{
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(ffvdthr\\)read timeout "));
    log->expectMatching(Logger::Error, QRegularExpression("^\\(ffvdthr\\)read frame err"));
    RtspServer server;
    const auto host = watch(&server, kCamera);
    QVERIFY2(host, qPrintable(server.log()));
    host->view.toggleRecording();
    QVERIFY(becomes(host->view, "REC"));
    QVERIFY(server.command("stall cam on"));
    QVERIFY(becomes(host->view, "waits"));
    // It lies above the sign that covers the picture.
    const QImage shown = host->view.grab().toImage();
    const QRect mark = markOf(host->view)->geometry();
    bool seen = false;
    for (int x = mark.left(); x < mark.right(); ++x)
        seen |= shown.pixelColor(x, mark.center().y()) == theme::warning;
    QVERIFY(seen);
    QVERIFY(server.command("stall cam off"));
    QVERIFY(becomes(host->view, "REC"));
}

void TestViewRecording::recording_goesOn_whileTheViewIsHidden()
{
    RtspServer server;
    const auto host = watch(&server, kCamera);
    QVERIFY2(host, qPrintable(server.log()));
    host->view.hide();
    host->view.toggleRecording();
    QVERIFY(waitFor([&] { return markOf(host->view)->text() == "REC 0:02"; }));
    host->view.show();
    QVERIFY(markOf(host->view)->isVisible());
}

void TestViewRecording::halt_endsTheRecording()
{
    RtspServer server;
    const auto host = watch(&server, kCamera);
    QVERIFY2(host, qPrintable(server.log()));
    host->view.toggleRecording();
    QVERIFY(becomes(host->view, "REC 0:01"));
    host->view.halt();
    QVERIFY(!host->view.isRecording());
    QVERIFY(!markOf(host->view)->isVisible());
    QVERIFY(threadsEnd());
    // A thread that has ended has closed its file.
    QCOMPARE(ended(host->files), 1);
    QVERIFY(plays(recordingsOf(host->files).first()));
    host->view.play();
    QVERIFY(host->becomes(ViewState::Live));
    QVERIFY(!host->view.isRecording());
    QCOMPARE(recordingsOf(host->files).size(), 1);
}

void TestViewRecording::recording_ofAStoppedView_isNotBegun()
{
    Host host("rtsp://127.0.0.1:1/x");
    host.view.toggleRecording();
    QVERIFY(!host.view.isRecording());
    QVERIFY(!markOf(host.view)->isVisible());
    QVERIFY(!QDir(host.files.folder()).exists());
}

void TestViewRecording::folderThatCannotBeMade_isMarked()
{
    log->expectMatching(Logger::Error, QRegularExpression("^\\(svmp4ff\\)"));
    log->expectMatching(Logger::Warning, QRegularExpression("^\\(svmp4ff\\)"));
    RtspServer server;
    QVERIFY(server.start({"--camera", kCamera}));
    QTemporaryDir dir;
    const QString file = dir.filePath("file");
    QVERIFY(QFile(file).open(QIODevice::WriteOnly));
    LiveView view(cameraOf(server.url("cam")), "tcp", CameraFiles(file, "cam"));
    QTimer ticks;
    connect(&ticks, &QTimer::timeout, &view, &LiveView::tick);
    ticks.start(50);
    view.show();
    view.play();
    QVERIFY(waitFor([&] { return view.state() == ViewState::Live; }));
    view.toggleRecording();
    QVERIFY(markOf(view)->isVisible());
    QVERIFY(markOf(view)->text().contains("NOT recording"));
    QVERIFY(noticeOf(view).contains("cannot be made"));
    view.toggleRecording();
    QVERIFY(noticeOf(view).contains("nothing was written"));
    view.toggleRecording();
    // As soon as files can be written, they are.
    QVERIFY(QFile::remove(file));
    QVERIFY(becomes(view, "REC"));
    view.halt();
    QVERIFY(threadsEnd());
    QCOMPARE(ended(view.files()), 1);
}

void TestViewRecording::bannerButton_beginsAndEnds()
{
    RtspServer server;
    const auto host = watch(&server, kCamera);
    QVERIFY2(host, qPrintable(server.log()));
    auto *button = host->view.findChild<QPushButton *>("btnRecord");
    QVERIFY(button);
    button->click();
    QVERIFY(host->view.isRecording());
    button->click();
    QVERIFY(!host->view.isRecording());
}

void TestViewRecording::window_recordsAllCameras_andEndsAll()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "one:h264", "--camera", "two:h265"}));
    QTemporaryDir dir;
    MainWindow window("tcp", dir.path());
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    window.addCamera(addressOf(server.url("one")));
    window.addCamera(addressOf(server.url("two")));
    const QList<LiveView *> &views = window.findChild<ViewGrid *>()->views();
    QTest::keyClick(&window, Qt::Key_R); // one alone
    QCOMPARE(views[0]->isRecording() + views[1]->isRecording(), 1);
    QTest::keyClick(&window, Qt::Key_R, Qt::ShiftModifier); // the missing one too
    QVERIFY(views[0]->isRecording() && views[1]->isRecording());
    QVERIFY(becomes(*views[0], "REC 0:01"));
    QVERIFY(becomes(*views[1], "REC 0:01"));
    QTest::keyClick(&window, Qt::Key_R, Qt::ShiftModifier);
    QVERIFY(!views[0]->isRecording() && !views[1]->isRecording());
    QVERIFY(waitFor([&] { return ended(views[0]->files()) + ended(views[1]->files()) == 2; }));
    for (LiveView *view : views)
        view->halt();
    QVERIFY(threadsEnd());
}

void TestViewRecording::sameCameraTwice_hasTwoFolders()
{
    QTemporaryDir dir;
    MainWindow window("tcp", dir.path());
    const CameraAddress address = addressOf(QString("rtsp://127.0.0.1:%1/x").arg(refusedPort()));
    for (int i = 0; i < 3; ++i)
        window.addCamera(address);
    QSet<QString> folders;
    for (const ViewSummary &summary : window.summaries())
        folders.insert(summary.files.folder());
    QCOMPARE(folders.size(), 3);
    for (LiveView *view : window.findChildren<LiveView *>())
        view->halt();
    QVERIFY(threadsEnd());
}

void TestViewRecording::windowThatCloses_leavesWholeFiles()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", kCamera}));
    QTemporaryDir dir;
    MainWindow window("tcp", dir.path());
    window.show();
    window.addCamera(addressOf(server.url("cam")));
    window.toggleAllRecordings();
    const LiveView *view = window.findChild<ViewGrid *>()->views().first();
    QVERIFY(becomes(*view, "REC 0:02"));
    QTimer::singleShot(0, &window, [&] { window.close(); });
    QTimer::singleShot(20000, &window, [&] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
    QVERIFY(!window.hasRunningThreads());
    QCOMPARE(ended(view->files()), 1);
    QVERIFY(plays(recordingsOf(view->files()).first()));
}

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    theme::apply(application);
    TestViewRecording test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_viewrecording.moc"
