// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_videobase/snapfile_p.h"
#include "support/diskfault.h"
#include "support/filecontent.h"
#include "support/pixels.h"

#include <QDir>
#include <QImage>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

using namespace vantratest;

class TestSnapFile : public QObject
{
    Q_OBJECT

private slots:
    void picture_isSavedAsJpeg_whateverTheName();
    void picture_replacesTheOneBefore();
    void threads_maySaveUnderOneName();
    void refusedPicture_leavesTheOneBefore_andNothingElse_data();
    void refusedPicture_leavesTheOneBefore_andNothingElse();
    void picture_isNotWaitedForUntilItIsOnTheDisk();
    void nameless_isNotSaved();
    void folderThatIsNotThere_isNotMade();

private:
    static QImage picture(Qt::GlobalColor colour, int width = 320)
    {
        QImage image(width, 240, QImage::Format_RGB888);
        image.fill(colour);
        return image;
    }
};

void TestSnapFile::picture_isSavedAsJpeg_whateverTheName()
{
    const QTemporaryDir dir;
    for (const char *name : {"a.jpg", "b.png", "c"}) {
        QVERIFY(saveSnapFile(picture(Qt::blue), dir.filePath(name)));
        QImage image;
        QVERIFY(image.load(dir.filePath(name), "jpg"));
        QCOMPARE(image.size(), QSize(320, 240));
    }
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList({"a.jpg", "b.png", "c"}));
}

void TestSnapFile::picture_replacesTheOneBefore()
{
    const QTemporaryDir dir;
    const QString name = dir.filePath("a.jpg");
    QVERIFY(saveSnapFile(picture(Qt::blue), name));
    QVERIFY(saveSnapFile(picture(Qt::red, 160), name));
    QCOMPARE(QImage(name).size(), QSize(160, 240));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"a.jpg"});
}

void TestSnapFile::threads_maySaveUnderOneName()
{
    const QTemporaryDir dir;
    const QString name = dir.filePath("a.jpg");
    std::atomic<int> failed{0};
    std::atomic<int> running{0};
    std::vector<std::thread> threads;
    for (const int width : {64, 160, 320, 640}) {
        ++running;
        threads.emplace_back([&, width] {
            for (int i = 0; i < 100; ++i)
                failed += !saveSnapFile(picture(Qt::red, width), name);
            --running;
        });
    }
    int torn = 0;
    while (running > 0) {
        // Whoever was the last: a whole picture, from the first on.
        const QByteArray bytes = contentOf(name);
        torn += !bytes.isEmpty() && !bytes.endsWith("\xff\xd9");
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(failed.load(), 0);
    QCOMPARE(torn, 0);
    QVERIFY(!QImage(name).isNull());
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"a.jpg"});
}

void TestSnapFile::refusedPicture_leavesTheOneBefore_andNothingElse_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("full") << ENOSPC;
    QTest::newRow("read-only") << EROFS;
    QTest::newRow("broken") << EIO;
}

void TestSnapFile::refusedPicture_leavesTheOneBefore_andNothingElse()
{
    QFETCH(int, error);
    const QTemporaryDir dir;
    const QString name = dir.filePath("a.jpg");
    QVERIFY(saveSnapFile(picture(Qt::blue), name));
    DiskFault disk(dir.path());
    disk.refuse(error);
    QVERIFY(!saveSnapFile(picture(Qt::red, 160), name));
    QVERIFY(!saveSnapFile(picture(Qt::red, 160), dir.filePath("b.jpg")));
    QVERIFY(disk.struck() >= 2);
    QCOMPARE(QImage(name).size(), QSize(320, 240));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"a.jpg"});
    disk.refuse(0);
    QVERIFY(saveSnapFile(picture(Qt::red, 160), dir.filePath("b.jpg")));
}

void TestSnapFile::picture_isNotWaitedForUntilItIsOnTheDisk()
{
    const QTemporaryDir dir;
    const DiskFault disk(dir.path());
    QSaveFile waits(dir.filePath("other")); // so that it is known to be seen
    QVERIFY(waits.open(QIODevice::WriteOnly) && waits.commit());
    QVERIFY(disk.syncs() > 0);
    const int before = disk.syncs();
    QVERIFY(saveSnapFile(picture(Qt::blue), dir.filePath("a.jpg")));
    QCOMPARE(disk.syncs(), before);
}

void TestSnapFile::nameless_isNotSaved()
{
    const vantratest::QtWarnings warnings;
    QVERIFY(!saveSnapFile(picture(Qt::blue), QString()));
    QCOMPARE(warnings.lines(), QStringList()); // nothing was tried
}

void TestSnapFile::folderThatIsNotThere_isNotMade()
{
    const QTemporaryDir dir;
    QVERIFY(!saveSnapFile(picture(Qt::blue), dir.filePath("none/a.jpg")));
    QVERIFY(QDir(dir.path()).isEmpty());
}

QTEST_GUILESS_MAIN(TestSnapFile)
#include "tst_snapfile.moc"
