// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Snapshots that the thread takes of its pictures.

#include "support/tcpsource.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestFFmpegVideoThreadSnap : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void snapshot_data();
    void snapshot();
    void snapshot_isPending_untilItIsFinished();
    void snapshot_withoutAName_isGivenUp();
    void snapshot_isNotTaken_ofAPictureThatIsNotOnTheCard();
};

void TestFFmpegVideoThreadSnap::snapshot_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("file");
    QTest::newRow("painter") << 1 << "s/a.jpg"
                             << "s/a.jpg";
    QTest::newRow("OpenGL") << 2 << "s/a.jpg"
                            << "s/a.jpg";
    QTest::newRow("png ends as jpg") << 2 << "s/a.png"
                                     << "s/a.jpg";
}

void TestFFmpegVideoThreadSnap::snapshot()
{
    QFETCH(int, mode);
    QFETCH(QString, name);
    QFETCH(QString, file);
    QTemporaryDir dir;
    QVector<int> offsets;
    TcpSource source(clip(100, &offsets));
    source.setLimit(offsets.at(60));
    TestThread thread(source.url());
    thread.setVideoMode(static_cast<VideoMode>(mode));
    thread.setSnapPreview(true);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets >= 50; }));
    thread.snap(dir.filePath(name));
    QVERIFY(thread.getIsSnap());
    source.release();
    QVERIFY(waitFor([&] { return !watcher.snaps.isEmpty() && !thread.getIsSnap(); }));
    QVERIFY(watcher.events.contains(QStringLiteral("snap:%1").arg(dir.filePath(file))));
    QCOMPARE(watcher.snaps.first().size(), QSize(320, 240));
    QFile written(dir.filePath(file));
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.read(2), QByteArray("\xff\xd8"));
    if (name != file)
        QVERIFY(!QFileInfo::exists(dir.filePath(name)));
    QVERIFY(!watcher.wrongThread);
    end(&thread);
}

void TestFFmpegVideoThreadSnap::snapshot_isPending_untilItIsFinished()
{
    QTemporaryDir dir;
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.previewRef() = 1;
    thread.finishesSnaps = false;
    announceNoAudio();
    const QString name = dir.filePath(QStringLiteral("a.png"));
    thread.atCodecAsk = [&](TestThread *asking) {
        if (asking->packets == 10)
            asking->snap(name);
    };
    thread.play();
    QVERIFY(waitFor([&] { return thread.packets == 50; }));
    QVERIFY(thread.getIsSnap()); // a picture after the first is saved over it
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList(QStringLiteral("a.png")));
    thread.finishesSnaps = true;
    thread.snapFinsh();
    QVERIFY(!thread.getIsSnap());
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList(QStringLiteral("a.jpg")));
    end(&thread);
}

void TestFFmpegVideoThreadSnap::snapshot_withoutAName_isGivenUp()
{
    QTemporaryDir dir;
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(dir.path()));
    TcpSource source(clip(50));
    TestThread thread(source.url());
    thread.setVideoMode(VideoMode_Painter);
    thread.setSnapPreview(true);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    watcher.atEvent = [&](const QString &event) {
        if (event == QLatin1String("playStart:0"))
            thread.snap();
    };
    thread.play();
    QVERIFY(waitFor([&] { return !watcher.snaps.isEmpty() && !thread.getIsSnap(); }));
    end(&thread);
    QVERIFY(watcher.snaps.first().isNull());
    QVERIFY(QDir().isEmpty());
    QDir::setCurrent(before);
}

void TestFFmpegVideoThreadSnap::snapshot_isNotTaken_ofAPictureThatIsNotOnTheCard()
{
    for (const auto mode : {VideoMode_D3D9, VideoMode_D3D11}) {
        QTemporaryDir dir;
        TcpSource source(clip(50));
        TestThread thread(source.url());
        thread.setVideoMode(mode);
        thread.previewRef() = 1;
        ThreadWatcher watcher(&thread);
        announceNoAudio();
        watcher.atEvent = [&](const QString &event) {
            if (event == QLatin1String("playStart:0"))
                thread.snap(dir.filePath(QStringLiteral("a.jpg")));
        };
        thread.play();
        QVERIFY(waitFor([&] { return thread.packets == 50; }));
        QVERIFY(thread.getIsSnap());
        QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("a.jpg"))));
        end(&thread);
    }
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadSnap)
#include "tst_ffmpegvideothreadsnap.moc"
