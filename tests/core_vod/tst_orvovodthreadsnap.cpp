// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Snapshots of recordings, which are named after the time in the recording.

#include "core_vod/vodsnapnames_p.h"
#include "vodthreadcase.h"

#include <QDir>
#include <QTemporaryDir>

#include <limits>

#include <time.h>

using namespace vantratest;

class TestOrvoVodThreadSnap : public VodThreadCase
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        quietConsole();
        qputenv("TZ", "EST5EDT,M3.2.0,M11.1.0"); // names tell UTC wherever they are made
        tzset();
    }

    void askedName_tellsTheClick();
    void lastName_tellsTheTimeInTheRecording_data();
    void lastName_tellsTheTimeInTheRecording();
    void snapshot_isNamedByTheRecording_data();
    void snapshot_isNamedByTheRecording();
    void snapshot_ofPng_endsAsJpg();
    void snapshot_waitsForTheNextPicture();
    void snapshot_withoutAName_isGivenUp();
    void snapshot_isIgnored_withoutAViewer();
    void snapshot_ofAnyStamp_staysInItsFolder();
    void picture_isDelivered_afterItsSnapshot();

private:
    static QStringList filesIn(const QString &path)
    {
        return QDir(path).entryList(QDir::Files, QDir::Name);
    }
    static qint64 at(int hour, int minute, int second, int ms)
    {
        return QDateTime(QDate(2026, 3, 14), QTime(hour, minute, second, ms), Qt::UTC)
            .toMSecsSinceEpoch();
    }
};

void TestOrvoVodThreadSnap::askedName_tellsTheClick()
{
    const QDateTime click(QDate(2026, 11, 2), QTime(7, 8, 9));
    QCOMPARE(vodSnapName(QStringLiteral("/a%2/b"), click, 12),
             QStringLiteral("/a%2/b/2026-11-02/vod/20261102T070809_12.jpg"));
}

void TestOrvoVodThreadSnap::lastName_tellsTheTimeInTheRecording_data()
{
    QTest::addColumn<QString>("asked");
    QTest::addColumn<qint64>("pts");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *title, const char *asked, qint64 pts, const char *name) {
        QTest::newRow(title) << asked << pts << name;
    };
    row("in its folder", "/snaps/a.jpg", at(12, 34, 56, 999), "/snaps/20260314T123456_2.jpg");
    row("in a folder with marks", "/%1/%3.b/a", at(0, 0, 0, 0), "/%1/%3.b/20260314T000000_2.jpg");
    row("before 1970", "/snaps/a.jpg", -1, "/snaps/19691231T235959_2.jpg");
}

void TestOrvoVodThreadSnap::lastName_tellsTheTimeInTheRecording()
{
    QFETCH(QString, asked);
    QFETCH(qint64, pts);
    QFETCH(QString, name);
    QCOMPARE(vodSnapLastName(asked, pts, 2), name);
}

void TestOrvoVodThreadSnap::snapshot_isNamedByTheRecording_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("preview");
    QTest::newRow("painter") << int(VideoMode_Painter) << false;
    QTest::newRow("painter, shown") << int(VideoMode_Painter) << true;
    QTest::newRow("OpenGL") << int(VideoMode_Opengl) << false;
    QTest::newRow("OpenGL, shown") << int(VideoMode_Opengl) << true;
}

void TestOrvoVodThreadSnap::snapshot_isNamedByTheRecording()
{
    QFETCH(int, mode);
    QFETCH(bool, preview);
    QTemporaryDir folder;
    const QString name = folder.filePath(QStringLiteral("new/20260314T123457_2.jpg"));
    thread->setVideoMode(VideoMode(mode));
    thread->setSnapPreview(preview);
    feedPicture(0, at(12, 34, 56, 960));
    QVERIFY(begin());
    QVERIFY(settle());
    thread->snap(folder.filePath(QStringLiteral("new/click.jpg")));
    QVERIFY(thread->getIsSnap());
    feedPicture(1, at(12, 34, 57, 0));
    feedPicture(2, at(12, 34, 58, 40));
    QVERIFY(settle());
    QCoreApplication::processEvents(); // snapFinsh(), before the end of play forgets the name
    QVERIFY(!thread->getIsSnap());
    QCOMPARE(filesIn(folder.filePath(QStringLiteral("new"))), QStringList("20260314T123457_2.jpg"));
    const QImage saved(name);
    QCOMPARE(saved.size(), QSize(320, 240));
    QCOMPARE(numberIn(saved), 1); // of the first picture after it was asked for
    QCOMPARE(thread->getSnapName(), name);
    // The image of a snapshot is shown by the painter only.
    QCOMPARE(shown(), mode == VideoMode_Painter ? QVector<int>({0, 1, 2}) : QVector<int>());
    QVERIFY(end());
    QCOMPARE(recorder->count(QStringLiteral("snap")), preview ? 1 : 0);
    if (!preview)
        return;
    const auto call = recorder->calls(QStringLiteral("snap")).first();
    QCOMPARE(call.arguments.value(0).value<QImage>().size(), QSize(320, 240));
    QCOMPARE(call.arguments.value(1).toString(), name);
    QCOMPARE(call.thread, QThread::currentThread());
}

void TestOrvoVodThreadSnap::snapshot_ofPng_endsAsJpg()
{
    QTemporaryDir folder;
    QVERIFY(begin());
    thread->snap(folder.filePath(QStringLiteral("a.png")));
    feedPicture(0, at(1, 2, 3, 4));
    QVERIFY(settle());
    QCOMPARE(filesIn(folder.path()), QStringList("20260314T010203_2.jpg"));
    QVERIFY(end());
}

void TestOrvoVodThreadSnap::snapshot_waitsForTheNextPicture()
{
    QTemporaryDir folder;
    thread->setVideoMode(VideoMode_Opengl);
    int frames = 0;
    // Asked for while a picture is being handed over, which was decoded without RGB.
    QObject::connect(
        thread.get(), kPlanes3, thread.get(),
        [&] {
            if (++frames == 1)
                thread->snap(folder.filePath(QStringLiteral("a.jpg")));
        },
        Qt::DirectConnection);
    feedPicture(0, at(1, 2, 3, 0));
    feedPicture(1, at(1, 2, 4, 0));
    QVERIFY(begin());
    QVERIFY(settle());
    QCOMPARE(filesIn(folder.path()), QStringList("20260314T010204_2.jpg"));
    QCOMPARE(numberIn(QImage(folder.filePath(QStringLiteral("20260314T010204_2.jpg")))), 1);
    QVERIFY(end());
}

void TestOrvoVodThreadSnap::snapshot_withoutAName_isGivenUp()
{
    // Its folder would be the root of the disk.
    thread->setSnapPreview(true);
    QVERIFY(begin());
    thread->snap();
    feedPicture(0, at(1, 2, 3, 4));
    QVERIFY(settle());
    QVERIFY(waitFor([&] { return recorder->count(QStringLiteral("snap")) == 1; }));
    QVERIFY(!thread->getIsSnap());
    const auto call = recorder->calls(QStringLiteral("snap")).first();
    QVERIFY(call.arguments.value(0).value<QImage>().isNull());
    QCOMPARE(call.arguments.value(1).toString(), QString());
    QVERIFY(!QFile::exists(QStringLiteral("/20260314T010203_2.jpg")));
    QVERIFY(end());
}

void TestOrvoVodThreadSnap::snapshot_isIgnored_withoutAViewer()
{
    QTemporaryDir folder;
    QVERIFY(begin(0));
    thread->snap(folder.filePath(QStringLiteral("a.jpg")));
    QVERIFY(!thread->getIsSnap());
    feedPicture(0, at(1, 2, 3, 4));
    QVERIFY(settle());
    QVERIFY(filesIn(folder.path()).isEmpty());
    QVERIFY(end());
}

void TestOrvoVodThreadSnap::snapshot_ofAnyStamp_staysInItsFolder()
{
    QTemporaryDir folder;
    QVERIFY(begin());
    int made = 0;
    for (const qint64 stamp :
         {std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max()}) {
        thread->snap(folder.filePath(QStringLiteral("a.jpg")));
        feedPicture(0, stamp);
        QVERIFY(settle());
        QCOMPARE(filesIn(folder.path()).size(), ++made);
        QCoreApplication::processEvents(); // snapFinsh(), which would take back the next one
    }
    QVERIFY(end());
}

void TestOrvoVodThreadSnap::picture_isDelivered_afterItsSnapshot()
{
    QTemporaryDir folder;
    bool saved = false;
    QObject::connect(
        thread.get(), &AbstractVideoThread::receiveImage, thread.get(),
        [&](const QImage &image, int time) {
            saved = filesIn(folder.path()).size() == 1 && time == 0 &&
                    image.format() == QImage::Format_RGB888;
        },
        Qt::DirectConnection);
    QVERIFY(begin());
    thread->snap(folder.filePath(QStringLiteral("a.jpg")));
    feedPicture(0, at(1, 2, 3, 4));
    QVERIFY(settle());
    QVERIFY(saved);
    QVERIFY(end());
}

QTEST_GUILESS_MAIN(TestOrvoVodThreadSnap)
#include "tst_orvovodthreadsnap.moc"
