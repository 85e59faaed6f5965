// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// What the base of stream threads does for recording and snapshots: settings, folders, names.
#include "loopthread.h"
#include "support/waitfor.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

namespace {

using T = AbstractVideoThread;

} // namespace

class TestThreadRecording : public QObject
{
    Q_OBJECT

private slots:
    void saveInterval_isMinusOne_outOfRange();
    void recordSettings_outOfRange_areIgnored();
    void recordStart_raisesReferenceCountAtOnce();
    void setFileName_makesTheFolder();
    void checkPath_relative_losesEveryDot();
    void checkPath_besideTheWorkingFolder_makesThatFolderAlone();
    void snap_isIgnored_withoutViewer();
    void snap_isIgnored_whenNotRunning();
    void snap_makesTheFolder_andPngEndsAsJpg();
    void snapFinsh_isSilent_withoutPreview();
    void snapFinsh_replacesOnlyTheSuffix();
    void snapFinsh_clearsTheFlag_ofAPictureThatWasNotWritten();
};

void TestThreadRecording::saveInterval_isMinusOne_outOfRange()
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

void TestThreadRecording::recordSettings_outOfRange_areIgnored()
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

void TestThreadRecording::recordStart_raisesReferenceCountAtOnce()
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

void TestThreadRecording::setFileName_makesTheFolder()
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

void TestThreadRecording::checkPath_relative_losesEveryDot()
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

void TestThreadRecording::checkPath_besideTheWorkingFolder_makesThatFolderAlone()
{
    QTemporaryDir dir;
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(dir.path()));
    LoopThread thread;
    thread.checkPath(QStringLiteral("rec/v1.2/a.mp4"));
    thread.checkPath(QStringLiteral("b.mp4"));
    const auto entries = [](const QString &folder) {
        return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    };
    const QStringList top = entries(dir.path());
    const QStringList rec = entries(dir.filePath(QStringLiteral("rec")));
    const QStringList last = entries(dir.filePath(QStringLiteral("rec/v1.2")));
    QDir::setCurrent(before);
    QCOMPARE(top, QStringList(QStringLiteral("rec")));
    QCOMPARE(rec, QStringList(QStringLiteral("v1.2"))); // no "./": the dot stays
    QCOMPARE(last, QStringList());
}

void TestThreadRecording::snap_isIgnored_withoutViewer()
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

void TestThreadRecording::snap_isIgnored_whenNotRunning()
{
    LoopThread thread;
    thread.previewRef() = 1;
    thread.snap(QStringLiteral("a.jpg"));
    QVERIFY(!thread.getIsSnap());
    QVERIFY(thread.getSnapName().isEmpty());
}

void TestThreadRecording::snap_makesTheFolder_andPngEndsAsJpg()
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
    bool canSnapAgain = false;
    connect(&thread, &T::snapImage, this, [&] { canSnapAgain = !thread.getIsSnap(); });
    thread.snapFinsh();
    QVERIFY(!thread.getIsSnap());
    QVERIFY(canSnapAgain);
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

void TestThreadRecording::snapFinsh_isSilent_withoutPreview()
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

void TestThreadRecording::snapFinsh_replacesOnlyTheSuffix()
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

void TestThreadRecording::snapFinsh_clearsTheFlag_ofAPictureThatWasNotWritten()
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

QTEST_MAIN(TestThreadRecording)
#include "tst_threadrecording.moc"
