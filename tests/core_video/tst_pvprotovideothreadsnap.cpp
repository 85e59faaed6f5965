// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Snapshots of a stream that is read frame by frame.

#include "core_codec/mediacodec.h"
#include "fedthreadcase.h"
#include "pictureforms.h"
#include "threadwatcher.h"

#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestPvProtoVideoThreadSnap : public FedThreadCase
{
    Q_OBJECT

private slots:
    void rgb_isMadeOnDemandOnly();
    void snapshot_data();
    void snapshot();
    void snapshot_ofPng_endsAsJpg();
    void snapshot_withoutRgb_waitsForTheNextPicture();
    void snapshot_withoutAName_isGivenUp();
};

void TestPvProtoVideoThreadSnap::rgb_isMadeOnDemandOnly()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(pictures(0, 3));
    QVERIFY(settle(&thread));
    QVERIFY(!thread.rgbOut.data);
    QVERIFY(!thread.codec->shareVideoRgb());
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSnap::snapshot_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("preview");
    QTest::newRow("painter") << int(VideoMode_Painter) << false;
    QTest::newRow("painter, shown") << int(VideoMode_Painter) << true;
    QTest::newRow("OpenGL") << int(VideoMode_Opengl) << false;
    QTest::newRow("OpenGL, shown") << int(VideoMode_Opengl) << true;
}

void TestPvProtoVideoThreadSnap::snapshot()
{
    QFETCH(int, mode);
    QFETCH(bool, preview);
    QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("new/a.jpg"));
    FedThread thread;
    thread.setVideoMode(VideoMode(mode));
    thread.setSnapPreview(preview);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.feed(picture(0));
    QVERIFY(settle(&thread));
    thread.snap(name);
    QVERIFY(thread.getIsSnap());
    thread.feed(pictures(1, 2));
    QVERIFY(settle(&thread));
    QVERIFY(!thread.getIsSnap());
    const QImage saved(name);
    QCOMPARE(saved.size(), QSize(320, 240));
    QCOMPARE(numberIn(saved), 1); // of the first picture after it was asked for
    QCOMPARE(watcher.count("snap:" + name), preview ? 1 : 0);
    if (preview)
        QCOMPARE(watcher.snaps.first().size(), QSize(320, 240));
    QCOMPARE(thread.count(QStringLiteral("decodeImage")), mode == VideoMode_Painter ? 3 : 1);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSnap::snapshot_ofPng_endsAsJpg()
{
    QTemporaryDir folder;
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.snap(folder.filePath(QStringLiteral("a.png")));
    thread.feed(picture(0));
    QVERIFY(settle(&thread));
    QVERIFY(waitFor([&] { return QFile::exists(folder.filePath(QStringLiteral("a.jpg"))); }));
    QVERIFY(!QFile::exists(folder.filePath(QStringLiteral("a.png"))));
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSnap::snapshot_withoutRgb_waitsForTheNextPicture()
{
    QTemporaryDir folder;
    const QString before = folder.filePath(QStringLiteral("before.jpg"));
    const QString name = folder.filePath(QStringLiteral("a.jpg"));
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    // Asked for while a picture is being handed over, which was decoded without RGB.
    watcher.atFrame = [&] {
        if (watcher.pictures.size() == 3)
            thread.snap(name);
    };
    QVERIFY(begin(&thread));
    thread.snap(before);
    thread.feed(picture(0));
    QVERIFY(settle(&thread));
    QCOMPARE(numberIn(QImage(before)), 0);
    thread.clearCalls();
    thread.feed(pictures(1, 2));
    QVERIFY(settle(&thread));
    QCOMPARE(thread.count(QStringLiteral("decodeImage")), 1);
    QVERIFY(thread.getIsSnap());
    QVERIFY(!QFile::exists(name)); // least of all the picture of the last snapshot
    thread.feed(picture(3));
    QVERIFY(settle(&thread));
    QCOMPARE(numberIn(QImage(name)), 3);
    QVERIFY(end(&thread));
}

void TestPvProtoVideoThreadSnap::snapshot_withoutAName_isGivenUp()
{
    FedThread thread;
    thread.setVideoMode(VideoMode_Opengl);
    thread.setSnapPreview(true);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    QVERIFY(begin(&thread));
    thread.snap();
    thread.feed(picture(0));
    QVERIFY(settle(&thread));
    QVERIFY(!thread.getIsSnap());
    QVERIFY(waitFor([&] { return watcher.snaps.size() == 1; }));
    QVERIFY(watcher.snaps.first().isNull());
    QVERIFY(end(&thread));
}

QTEST_GUILESS_MAIN(TestPvProtoVideoThreadSnap)
#include "tst_pvprotovideothreadsnap.moc"
