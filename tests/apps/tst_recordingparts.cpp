// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "camerafiles.h"
#include "filesize.h"
#include "openfolder.h"
#include "recordedfiles.h"
#include "recordingmark.h"
#include "recordingwatch.h"
#include "theme.h"
#include "viewlabels.h"

#include <QDesktopServices>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QDateTime kNine(QDate(2026, 11, 21), QTime(9, 0, 0));

bool touch(const QString &path)
{
    return QDir().mkpath(QFileInfo(path).path()) && QFile(path).open(QIODevice::WriteOnly);
}

} // namespace

/// The parts of the viewer's recordings and pictures that need no stream.
class TestRecordingParts : public QObject
{
    Q_OBJECT

public slots:
    void takeUrl(const QUrl &url) { opened.append(url); }

private slots:
    void files_lieInOneFolderForEachCamera();
    void files_neverOverwriteOneAnother();
    void files_areFoundFromATimeOn();
    void folder_isMade_andProblemsAreTold();
    void size_isThatOfTheFile_asSoonAsItIsKnown();
    void watch_waitsForAFile_andCountsWhatIsWritten();
    void watch_waits_whileTheCameraIsAway();
    void watch_fails_whenNoFileGrows();
    void watch_fails_atOnce_whenNothingCanBeWritten();
    void watch_begins_anew();
    void duration_data();
    void duration();
    void mark_isSeenOnlyWhileARecordingIsWanted();
    void mark_staysInsideItsView();
    void recordedFile_isReadAsAPlayerReadsIt();
    void recordingsTable_hasALineForEachFile();
    void openFolder_asksTheDesktop();
    void openFolder_withoutADesktop_tellsThePath();

private:
    QVector<QUrl> opened;
};

void TestRecordingParts::files_lieInOneFolderForEachCamera()
{
    const CameraFiles files("/videos/", "10.0.0.7_gate");
    QCOMPARE(files.folder(), QString("/videos/10.0.0.7_gate"));
    QCOMPARE(files.newPicture(kNine),
             QString("/videos/10.0.0.7_gate/2026-11-21/live/20261121T090000.jpg"));
    // A relative folder means one below the present folder, whatever the library makes of "./".
    QCOMPARE(CameraFiles("./a", "b").folder(), QDir::currentPath() + "/a/b");
}

void TestRecordingParts::files_neverOverwriteOneAnother()
{
    QTemporaryDir dir;
    const CameraFiles files(dir.path(), "cam");
    QStringList made;
    for (int i = 0; i < 3; ++i) {
        made.append(files.newPicture(kNine));
        QVERIFY(QDir().mkpath(QFileInfo(made.last()).path()) && touch(made.last()));
    }
    QCOMPARE(QSet<QString>(made.begin(), made.end()).size(), 3);
    QCOMPARE(QFileInfo(made[1]).fileName(), QString("20261121T090000_2.jpg"));
}

void TestRecordingParts::files_areFoundFromATimeOn()
{
    QTemporaryDir dir;
    const CameraFiles files(dir.path(), "cam");
    QVERIFY(files.recordingsSince(kNine).isEmpty()); // the folder is not there yet
    const auto make = [&](const QString &name, const QDateTime &time) {
        QFile file(files.folder() + '/' + name);
        return QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly) &&
               file.setFileTime(time, QFileDevice::FileModificationTime);
    };
    QVERIFY(make("b.mp4", kNine));
    QVERIFY(make("a/live/c.mp4", kNine.addSecs(5)));
    QVERIFY(make("before.mp4", kNine.addSecs(-1)));
    QVERIFY(make("picture.jpg", kNine));
    QCOMPARE(files.recordingsSince(kNine),
             (QStringList{files.folder() + "/a/live/c.mp4", files.folder() + "/b.mp4"}));
}

void TestRecordingParts::folder_isMade_andProblemsAreTold()
{
    QTemporaryDir dir;
    const CameraFiles files(dir.filePath("deep/er"), "cam");
    QCOMPARE(files.problem(), QString());
    QVERIFY(QDir(files.folder()).exists());
    QVERIFY(QDir(files.folder()).isEmpty()); // the trial leaves nothing
    QVERIFY(touch(dir.filePath("file")));
    const QString problem = CameraFiles(dir.filePath("file"), "cam").problem();
    QVERIFY2(problem.contains(dir.filePath("file/cam")), qPrintable(problem));
    // A folder of the system in which nobody makes files.
    const QString readOnly = CameraFiles("/proc", "self").problem();
    QVERIFY2(readOnly.contains("No file can be written"), qPrintable(readOnly));
}

void TestRecordingParts::size_isThatOfTheFile_asSoonAsItIsKnown()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("grows");
    FileSize size;
    QCOMPARE(size.look(QString()), qint64(-1));
    QCOMPARE(size.look(path), qint64(-1));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    QTRY_COMPARE(size.look(path), qint64(0));
    QCOMPARE(file.write("abc"), qint64(3));
    QTRY_COMPARE(size.look(path), qint64(3));
    // What is known of one file says nothing of another.
    const QString other = dir.filePath("other");
    QVERIFY(touch(other));
    QCOMPARE(size.look(other), qint64(-1));
    QTRY_COMPARE(size.look(other), qint64(0));
    QTRY_COMPARE(size.look(path), qint64(3));
    QVERIFY(file.remove());
    QTRY_COMPARE(size.look(path), qint64(-1));
    QVERIFY(touch(path));
    QTRY_COMPARE(size.look(path), qint64(0));
    size.forget();
    QCOMPARE(size.look(path), qint64(-1));
    QTRY_COMPARE(size.look(path), qint64(0));
    // A look that nobody awaits any more.
    FileSize().look(path);
}

void TestRecordingParts::watch_waitsForAFile_andCountsWhatIsWritten()
{
    RecordingWatch watch;
    QCOMPARE(watch.state(), RecordingState::Off);
    watch.look(0, "a", 100, true); // nobody wants it
    QCOMPARE(watch.state(), RecordingState::Off);
    watch.begin();
    QVERIFY(watch.isWanted());
    QCOMPARE(watch.state(), RecordingState::Waiting);
    watch.look(1000, QString(), -1, true);
    QCOMPARE(watch.state(), RecordingState::Waiting);
    watch.look(2000, "a", 0, true);
    QCOMPARE(watch.state(), RecordingState::Writing);
    QCOMPARE(watch.writtenMs(), qint64(0));
    watch.look(4000, "a", 500, true);
    QCOMPARE(watch.writtenMs(), qint64(2000));
    // The next file of the same recording: the time runs on.
    watch.look(5000, "b", 0, true);
    QCOMPARE(watch.state(), RecordingState::Writing);
    QCOMPARE(watch.writtenMs(), qint64(3000));
    watch.end();
    QCOMPARE(watch.state(), RecordingState::Off);
    QVERIFY(!watch.isWanted());
}

void TestRecordingParts::watch_waits_whileTheCameraIsAway()
{
    RecordingWatch watch;
    watch.begin();
    watch.look(0, "a", 10, true);
    watch.look(1000, "a", 20, false);
    QCOMPARE(watch.state(), RecordingState::Waiting);
    // However long that lasts, it is no fault of the file.
    watch.look(1000 + 10 * RecordingWatch::kFailingAfterMs, QString(), -1, false);
    QCOMPARE(watch.state(), RecordingState::Waiting);
    QCOMPARE(watch.writtenMs(), qint64(1000));
    const qint64 back = 1000 + 11 * RecordingWatch::kFailingAfterMs;
    watch.look(back, QString(), -1, true);
    QCOMPARE(watch.state(), RecordingState::Waiting);
    watch.look(back + 100, "b", 5, true);
    QCOMPARE(watch.state(), RecordingState::Writing);
    watch.look(back + 600, "b", 6, true);
    QCOMPARE(watch.writtenMs(), qint64(1500));
}

void TestRecordingParts::watch_fails_whenNoFileGrows()
{
    RecordingWatch watch;
    watch.begin();
    watch.look(0, "a", 10, true);
    watch.look(RecordingWatch::kFailingAfterMs - 1, "a", 10, true);
    QCOMPARE(watch.state(), RecordingState::Writing);
    watch.look(RecordingWatch::kFailingAfterMs, "a", 10, true);
    QCOMPARE(watch.state(), RecordingState::Failing);
    // Attempts that leave empty files are no success.
    watch.look(RecordingWatch::kFailingAfterMs + 1, "b", 0, true);
    QCOMPARE(watch.state(), RecordingState::Failing);
    watch.look(RecordingWatch::kFailingAfterMs + 2, "c", 7, true);
    QCOMPARE(watch.state(), RecordingState::Writing);
}

void TestRecordingParts::watch_fails_atOnce_whenNothingCanBeWritten()
{
    RecordingWatch watch;
    watch.begin(false);
    QVERIFY(watch.isWanted());
    QCOMPARE(watch.state(), RecordingState::Failing);
    watch.look(0, QString(), -1, true);
    QCOMPARE(watch.state(), RecordingState::Failing);
    watch.look(1, "a", 1, true);
    QCOMPARE(watch.state(), RecordingState::Writing);
}

void TestRecordingParts::watch_begins_anew()
{
    RecordingWatch watch;
    watch.begin();
    watch.look(0, "a", 10, true);
    watch.look(5000, "a", 20, true);
    watch.end();
    watch.begin();
    watch.look(90000, QString(), -1, true);
    QCOMPARE(watch.state(), RecordingState::Waiting);
    QCOMPARE(watch.writtenMs(), qint64(0));
}

void TestRecordingParts::duration_data()
{
    QTest::addColumn<qint64>("milliseconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << qint64(0) << "0:00";
    QTest::newRow("seconds") << qint64(7999) << "0:07";
    QTest::newRow("minutes") << qint64(3599000) << "59:59";
    QTest::newRow("hours") << qint64(3723000) << "1:02:03";
    QTest::newRow("days") << qint64(90000000) << "25:00:00";
}

void TestRecordingParts::duration()
{
    QFETCH(qint64, milliseconds);
    QTEST(durationText(milliseconds), "text");
}

void TestRecordingParts::mark_isSeenOnlyWhileARecordingIsWanted()
{
    QWidget view;
    view.resize(400, 300);
    RecordingMark mark(&view);
    view.show();
    QVERIFY(!mark.isVisible());
    const auto has = [&](const QColor &colour) {
        const QImage image = mark.grab().toImage();
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (image.pixelColor(x, y).rgb() == colour.rgb())
                    return true;
        return false;
    };
    mark.showState(RecordingState::Writing, 61000);
    QVERIFY(mark.isVisible());
    QCOMPARE(mark.text(), QString("REC 1:01"));
    QVERIFY(has(theme::recording));
    mark.showState(RecordingState::Waiting, 61000);
    QVERIFY(mark.text().contains("waits"));
    QVERIFY(!has(theme::recording));
    QVERIFY(has(theme::warning));
    mark.showState(RecordingState::Failing, 61000);
    QVERIFY(mark.text().contains("NOT"));
    QVERIFY(!has(theme::recording));
    mark.showState(RecordingState::Off, 61000);
    QVERIFY(!mark.isVisible());
    QVERIFY(mark.testAttribute(Qt::WA_TransparentForMouseEvents));
}

void TestRecordingParts::mark_staysInsideItsView()
{
    QWidget view;
    view.resize(400, 300);
    RecordingMark mark(&view);
    view.show();
    mark.showState(RecordingState::Failing, 0);
    QVERIFY(view.rect().contains(mark.geometry()));
    // It lies below the name.
    QVERIFY(mark.y() >= ViewLabels::kOffset + theme::labelHeight());
    view.resize(160, 90);
    QVERIFY(view.rect().contains(mark.geometry()));
    QVERIFY(mark.isVisible());
}

void TestRecordingParts::recordedFile_isReadAsAPlayerReadsIt()
{
    QTemporaryDir dir;
    const QString clip = dir.filePath("clip.mp4");
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "testsrc=d=2:r=25:s=64x64", clip});
    QVERIFY(ffmpeg.waitForFinished());
    const RecordedFile good = readRecordedFile(3, clip);
    QCOMPARE(good.view, 3);
    QCOMPARE(good.path, clip);
    QCOMPARE(good.bytes, QFileInfo(clip).size());
    QVERIFY2(qAbs(good.seconds - 2) < 0.1, qPrintable(QString::number(good.seconds)));

    const QString broken = dir.filePath("broken.mp4");
    QVERIFY(touch(broken));
    QVERIFY(readRecordedFile(1, broken).seconds < 0);
    QVERIFY(readRecordedFile(1, dir.filePath("none.mp4")).seconds < 0);
}

void TestRecordingParts::recordingsTable_hasALineForEachFile()
{
    QCOMPARE(recordingsTable({{1, "/v/a.mp4", 1234567, 19.44}, {12, "/v/b.mp4", 0, -1}}),
             QString("view      length     size  recording\n"
                     "1         19.4 s  1235 kB  /v/a.mp4\n"
                     "12    unreadable     0 kB  /v/b.mp4\n"
                     "recordings 2, 19.4 s, 1235 kB\n"));
    QCOMPARE(recordingsTable({}), QString("view  length  size  recording\n"
                                          "recordings 0, 0.0 s, 0 kB\n"));
}

void TestRecordingParts::openFolder_asksTheDesktop()
{
    QTemporaryDir dir;
    qputenv("XDG_CURRENT_DESKTOP", "test");
    opened.clear();
    QDesktopServices::setUrlHandler("file", this, "takeUrl");
    QVERIFY(openFolder(dir.filePath("new one")));
    QDesktopServices::unsetUrlHandler("file");
    QCOMPARE(opened, QVector<QUrl>{QUrl::fromLocalFile(dir.filePath("new one"))});
    QVERIFY(QDir(dir.filePath("new one")).exists());
}

void TestRecordingParts::openFolder_withoutADesktop_tellsThePath()
{
    QTemporaryDir dir;
    qunsetenv("XDG_CURRENT_DESKTOP");
    qunsetenv("DESKTOP_SESSION");
    opened.clear();
    QDesktopServices::setUrlHandler("file", this, "takeUrl");
    QVERIFY(!openFolder(dir.path()));
    QDesktopServices::unsetUrlHandler("file");
    QVERIFY(opened.isEmpty());
}

QTEST_MAIN(TestRecordingParts)
#include "tst_recordingparts.moc"
