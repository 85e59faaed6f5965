// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// What both OpenGL surfaces must do with files of raw pictures.

#include "surfacecase.h"

#include <limits>

using namespace vantratest;

void SurfaceTest::play(const QString &file, int frameRate)
{
    QVERIFY(QMetaObject::invokeMethod(surface, "play", Qt::DirectConnection, Q_ARG(QString, file),
                                      Q_ARG(int, frameRate)));
}

QString SurfaceTest::fileOf(const QList<RawPicture> &pictures, int cutBytes)
{
    QByteArray bytes;
    for (const RawPicture &picture : pictures)
        bytes += raw(picture);
    bytes.chop(cutBytes);
    static int count = 0;
    QFile file(folder.filePath(QString::number(++count)));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        return QString();
    return file.fileName();
}

bool SurfaceTest::pass(int milliseconds)
{
    QTimer time;
    time.setSingleShot(true);
    time.start(milliseconds);
    return waitFor([&] { return !time.isActive(); });
}

void SurfaceTest::play_showsEachPicture_andTellsItsEndOnce()
{
    const QList<RawPicture> pictures{RawPicture({32, 24}, {60, 128, 128}),
                                     RawPicture({32, 24}, {120, 90, 160}), sample()};
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    setFrameSize(pictures[0]);
    play(fileOf(pictures), 2);
    for (const RawPicture &picture : pictures)
        QVERIFY2(shows(picture), qPrintable(fault));
    QVERIFY(waitFor([&] { return ended.count() > 0; }));
    QVERIFY2(shows(pictures.last()), qPrintable(fault)); // stays
    QVERIFY(pass(1100));                                 // two times at this rate
    QCOMPARE(ended.count(), 1);
}

void SurfaceTest::play_showsACutOffPicture()
{
    const RawPicture first({32, 24}, {60, 128, 128});
    const RawPicture last({32, 24}, {160, 90, 170});
    const int missing = raw(last).size() - 32 * 10; // all but ten lines of luma
    RawPicture mixed = first;
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 32; ++x)
            mixed.y.at(x, y) = 160;
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    setFrameSize(first);
    play(fileOf({first, last}, missing), 1000);
    QVERIFY2(shows(mixed), qPrintable(fault));
    QVERIFY(waitFor([&] { return ended.count() == 1; }));
    QVERIFY2(shows(mixed), qPrintable(fault));
}

void SurfaceTest::play_ofAnotherFile_endsTheFirst()
{
    const RawPicture first({32, 24}, {60, 128, 128});
    const RawPicture other({32, 24}, {160, 90, 170});
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    setFrameSize(first);
    play(fileOf({first, first, first}), 1);
    play(fileOf({other}), 1000);
    QVERIFY2(shows(other), qPrintable(fault));
    QVERIFY(waitFor([&] { return ended.count() == 1; }));
    QVERIFY2(shows(other), qPrintable(fault));
}

void SurfaceTest::play_ofNoFile_endsTheFirst_withoutAWord()
{
    const RawPicture picture({32, 24}, {60, 128, 128});
    const QList<RawPicture> many{picture, picture, picture};
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    setFrameSize(picture);
    play(fileOf(many), 1);
    play(folder.filePath("none"), 1000);
    // The timer of the first would have run in the second after this.
    play(folder.path(), 1000);
    QVERIFY(pass(2000));
    QCOMPARE(ended.count(), 0);
    QVERIFY2(showsWindowColour(), qPrintable(fault));
}

void SurfaceTest::play_withoutASize_endsAtOnce()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    play(fileOf({sample()}), 1000);
    QVERIFY(waitFor([&] { return ended.count() == 1; }));
    QVERIFY2(showsWindowColour(), qPrintable(fault));
}

void SurfaceTest::play_withAnAbsurdSize_endsAtOnce_data()
{
    const int most = std::numeric_limits<int>::max();
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::newRow("largest") << most << most;
    QTest::newRow("product wraps to 0") << 65536 << 65536;
    QTest::newRow("product wraps to 16") << 65540 << 65532;
    QTest::newRow("negative") << -32 << 24;
    QTest::newRow("negative twice") << -32 << -24;
    QTest::newRow("least") << std::numeric_limits<int>::min() << 1;
}

void SurfaceTest::play_withAnAbsurdSize_endsAtOnce()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    QVERIFY(QMetaObject::invokeMethod(surface, "setFrameSize", Qt::DirectConnection,
                                      Q_ARG(int, width), Q_ARG(int, height)));
    play(fileOf({sample()}), 1000);
    QVERIFY(waitFor([&] { return ended.count() == 1; }));
    QVERIFY2(showsWindowColour(), qPrintable(fault));
}

void SurfaceTest::play_withoutARate_showsNothing()
{
    for (const int rate : {0, -1, std::numeric_limits<int>::min()}) {
        QVERIFY2(open({32, 24}), qPrintable(fault));
        QSignalSpy ended(surface, SIGNAL(playFinsh()));
        setFrameSize(sample());
        play(fileOf({sample()}), rate);
        QCoreApplication::processEvents();
        QVERIFY2(showsWindowColour(), qPrintable(fault));
        QCOMPARE(ended.count(), 0);
        call("stop");
        QCOMPARE(ended.count(), 1);
    }
}

void SurfaceTest::play_bearsAnotherSizeMeanwhile()
{
    const RawPicture small({4, 4}, {60, 128, 128});
    const RawPicture large({64, 48}, {160, 90, 170});
    QVERIFY2(open({64, 48}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    setFrameSize(small);
    play(fileOf({small, large, small, large}), 1);
    QVERIFY2(shows(small), qPrintable(fault));
    setFrameSize(large); // for which the memory of the start would not do
    QVERIFY2(shows(large), qPrintable(fault));
    setFrameSize(small);
    QVERIFY2(shows(small), qPrintable(fault));
    setFrameSize(large);
    QVERIFY2(shows(large), qPrintable(fault));
    QVERIFY(waitFor([&] { return ended.count() == 1; }));
}

void SurfaceTest::play_endsAfterClear()
{
    const RawPicture picture({32, 24}, {60, 128, 128});
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    setFrameSize(picture);
    play(fileOf({picture, picture, picture}), 2);
    QVERIFY2(shows(picture), qPrintable(fault));
    call("clear");
    QVERIFY(waitFor([&] { return ended.count() == 1; }));
    QVERIFY2(showsWindowColour(), qPrintable(fault));
}

void SurfaceTest::play_takesLinesWithoutPadding_afterFramesWithIt()
{
    const RawPicture padded({32, 24}, 40, [](int x, int y) { return Yuv{x * 4, y * 4, 128}; });
    QVERIFY2(open({32, 24}), qPrintable(fault));
    send(padded);
    QVERIFY2(shows(padded), qPrintable(fault));
    play(fileOf({sample()}), 1000);
    QVERIFY2(shows(sample()), qPrintable(fault));
}

void SurfaceTest::stop_tellsTheEnd_andForgetsThePicture()
{
    const RawPicture picture({32, 24}, {60, 128, 128});
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    setFrameSize(picture);
    play(fileOf({picture, picture, picture}), 2);
    QVERIFY2(shows(picture), qPrintable(fault));
    call("stop");
    QCOMPARE(ended.count(), 1);
    QVERIFY2(showsWindowColour(), qPrintable(fault));
    // Also of the size: the next play needs it again.
    play(fileOf({picture}), 1000);
    QVERIFY(waitFor([&] { return ended.count() == 2; }));
    QVERIFY2(showsWindowColour(), qPrintable(fault));
}

void SurfaceTest::stop_tellsTheEnd_withoutAPlay()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    send(sample());
    call("stop");
    QCOMPARE(ended.count(), 1);
    QVERIFY2(showsWindowColour(), qPrintable(fault));
}

void SurfaceTest::read_thatFails_isNoEnd()
{
    QVERIFY2(open({32, 24}), qPrintable(fault));
    QSignalSpy ended(surface, SIGNAL(playFinsh()));
    setFrameSize(sample());
    call("read"); // nothing is open
    QCOMPARE(ended.count(), 0);
    QVERIFY2(showsWindowColour(), qPrintable(fault));

    send(sample());
    QVERIFY2(shows(sample()), qPrintable(fault));
    play("/proc/self/mem", 1); // opens, and has nothing to read at its start
    call("read");
    QCOMPARE(ended.count(), 0);
    QVERIFY2(shows(sample()), qPrintable(fault));
    call("stop");
    QCOMPARE(ended.count(), 1);
}
