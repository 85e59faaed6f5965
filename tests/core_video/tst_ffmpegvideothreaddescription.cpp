// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What the URL thread makes of what an RTSP source says of itself.

#include "describedcamera.h"
#include "threadtestcase.h"
#include "threadwatcher.h"

#include <QtTest>

using namespace vantratest;

namespace {

QVector<AccessUnit> clipOf(int width, int height, int rate, int bFrames = 0)
{
    ClipOptions options;
    options.width = width;
    options.height = height;
    options.fps = rate;
    options.bFrames = bFrames;
    options.count = 80;
    return makeClip(options);
}

} // namespace

class TestFFmpegVideoThreadDescription : public ThreadTestCase
{
    Q_OBJECT

private slots:
    void setsThatTell_openWithTheFirstPicture_data();
    void setsThatTell_openWithTheFirstPicture();
    void withoutSets_thePicturesTell();
    void setsOfOtherPictures_playAtTheSecondOpen();

private:
    void prepare(TestThread *thread)
    {
        thread->setVideoMode(VideoMode_Opengl);
        thread->setReadTimeout(20000);
        thread->previewRef() = 1;
        announceNoAudio();
        announceReadErrors();
    }
};

void TestFFmpegVideoThreadDescription::setsThatTell_openWithTheFirstPicture_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("bFrames");
    for (const int rate : {5, 12, 15, 25, 30, 50})
        QTest::addRow("%d a second", rate) << rate << 0;
    QTest::newRow("reordered") << 25 << 2;
}

void TestFFmpegVideoThreadDescription::setsThatTell_openWithTheFirstPicture()
{
    QFETCH(int, rate);
    QFETCH(int, bFrames);
    const QVector<AccessUnit> pictures = clipOf(320, 240, rate, bFrames);
    QVERIFY(!pictures.isEmpty());
    DescribedCamera camera(pictures);
    camera.describe(pictures.first().data);
    // The end of the first picture is known when the second begins.
    camera.allow(2);
    TestThread thread(camera.url());
    prepare(&thread);
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return watcher.events.contains(QStringLiteral("playStart:0")); }));
    if (bFrames == 0)
        QVERIFY(waitFor([&] { return !watcher.pictures.isEmpty(); }));
    camera.allow(-1);
    QVERIFY(waitFor([&] { return watcher.pictures.size() >= 40; }));
    QCOMPARE(thread.getFrameRate(), rate);
    QCOMPARE(thread.getVideoWidth(), 320);
    QCOMPARE(thread.getVideoHeight(), 240);
    for (int i = 0; i < 40; ++i)
        QCOMPARE(watcher.pictures[i].number, i); // none is lost, and all in their order
    QCOMPARE(camera.plays(), 1);
    end(&thread);
}

void TestFFmpegVideoThreadDescription::withoutSets_thePicturesTell()
{
    const QVector<AccessUnit> pictures = clipOf(320, 240, 25);
    DescribedCamera camera(pictures);
    TestThread thread(camera.url());
    prepare(&thread);
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() >= 40; }));
    QCOMPARE(thread.getFrameRate(), 25);
    for (int i = 0; i < 40; ++i)
        QCOMPARE(watcher.pictures[i].number, i);
    end(&thread);
}

void TestFFmpegVideoThreadDescription::setsOfOtherPictures_playAtTheSecondOpen()
{
    // A camera that was set to another size, describes the old one, and does not begin with a key
    // picture, so that only the description is at hand when it is opened.
    QVector<AccessUnit> pictures = clipOf(320, 240, 25);
    pictures.remove(0, 10);
    QVERIFY(!pictures.isEmpty() && !pictures.first().key);
    DescribedCamera camera(pictures);
    camera.describe(clipOf(640, 360, 25).first().data);
    TestThread thread(camera.url());
    prepare(&thread);
    ThreadWatcher watcher(&thread);
    thread.play();
    QVERIFY(waitFor([&] { return watcher.pictures.size() >= 10; }));
    QCOMPARE(watcher.pictures.first().width, 320);
    QCOMPARE(watcher.pictures.first().height, 240);
    QCOMPARE(camera.plays(), 2);
    QCOMPARE(log->count(Logger::Info, QStringLiteral("(ffvdthr)restart ff thr")), 1);
    end(&thread);
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadDescription)
#include "tst_ffmpegvideothreaddescription.moc"
