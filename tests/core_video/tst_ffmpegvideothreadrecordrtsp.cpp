// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT

/// Recordings by the URL thread from a real RTSP server.

#include "recordtestcase.h"
#include "support/rtspserver.h"
#include "threadwatcher.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

class TestFFmpegVideoThreadRecordRtsp : public RecordTestCase
{
    Q_OBJECT

private slots:
    void recordings_rotateAtKeyPictures_eachByItsInterval_data();
    void recordings_rotateAtKeyPictures_eachByItsInterval();
    void interval_ofNothing_meansOneFile_data();
    void interval_ofNothing_meansOneFile();
    void snapshot_isTakenWhileViewing_andRefusedWhileOnlyRecording();
    void sizeChange_beginsANewFile();
    void stall_endsTheFile_andAnotherBegins();
    void softStop_opensAnew_andBeginsANewFile();

private:
    bool startCamera(const QString &form)
    {
        return server.start({QStringLiteral("--camera"), QStringLiteral("cam:") + form});
    }
    void announceBreaks()
    {
        announceReadErrors();
        for (const char *text :
             {"^\\(ffvdthr\\)read timeout \\(", "^\\(ffvdthr\\)open timeout \\("})
            log->expectMatching(Logger::Warning, QRegularExpression(QLatin1String(text)));
        for (const char *text :
             {"^\\(ffvdthr\\)open input err\\(", "^\\(ffvdthr\\)find stream err\\("})
            log->expectMatching(Logger::Error, QRegularExpression(QLatin1String(text)));
    }
    /// What is wrong with a file of the camera: each picture follows on the one before, and the
    /// first on *last unless that is -1; empty if nothing.
    static QString faultOf(const QString &name, QSize size, bool sound, qint64 *last)
    {
        const RecordedFile file = readRecording(name);
        const QString fault = file.error + complaintsAbout(name);
        if (!fault.isEmpty())
            return name + QLatin1String(": ") + fault;
        if (!file.keys.value(0) || file.size != size || (file.audioCodec != 0) != sound)
            return QStringLiteral("%1: key %2, %3x%4, sound %5")
                .arg(name)
                .arg(file.keys.value(0))
                .arg(file.size.width())
                .arg(file.size.height())
                .arg(file.audioCodec);
        for (const qint64 counter : file.counters) {
            if (counter < 0 || (*last >= 0 && counter != *last + 1))
                return QStringLiteral("%1: %2 follows %3").arg(name).arg(counter).arg(*last);
            *last = counter;
        }
        return QString();
    }

    RtspServer server;
};

void TestFFmpegVideoThreadRecordRtsp::recordings_rotateAtKeyPictures_eachByItsInterval_data()
{
    QTest::addColumn<QString>("form");
    QTest::addColumn<QString>("transport");
    QTest::addColumn<bool>("sound");
    QTest::newRow("H.264, A-law, TCP") << "h264:pcma"
                                       << "tcp" << true;
    QTest::newRow("H.265, mu-law, UDP") << "h265:pcmu"
                                        << "udp" << true;
    QTest::newRow("H.264, no sound, TCP") << "h264:none"
                                          << "tcp" << false;
}

void TestFFmpegVideoThreadRecordRtsp::recordings_rotateAtKeyPictures_eachByItsInterval()
{
    QFETCH(QString, form);
    QFETCH(QString, transport);
    QFETCH(bool, sound);
    QTemporaryDir dir;
    QVERIFY2(startCamera(form + QStringLiteral(":320x192:gop=6")), qPrintable(server.log()));
    RecordThread thread(dir.path(), server.url(QStringLiteral("cam")));
    thread.setTransport(transport);
    ThreadWatcher watcher(&thread);
    if (!sound)
        announceNoAudio();
    thread.setSaveInterval(kManual, 1);
    thread.setSaveInterval(kAuto, 2);
    thread.recordStart(kManual);
    thread.recordStart(kAuto);
    thread.play();
    QVERIFY2(
        waitFor([&] { return thread.closed[kManual] >= 2 && thread.closed[kAuto] >= 1; }, 60000),
        qPrintable(server.log()));
    end(&thread);

    QCOMPARE(WriterCalls::decoderCalls.load(), 0); // nobody watches
    QVERIFY(watcher.pictures.isEmpty() && watcher.images.isEmpty() && watcher.sound.isEmpty());
    for (const auto type : {kManual, kAuto}) {
        QCOMPARE(thread.closed[type].load(), thread.named[type].load());
        qint64 last = -1;
        for (int number = 0; number < thread.named[type]; ++number)
            QCOMPARE(faultOf(thread.file(type, number), QSize(320, 192), sound, &last), QString());
    }
}

void TestFFmpegVideoThreadRecordRtsp::interval_ofNothing_meansOneFile_data()
{
    QTest::addColumn<int>("seconds");
    QTest::newRow("0") << 0;
    QTest::newRow("-1") << -1;
}

void TestFFmpegVideoThreadRecordRtsp::interval_ofNothing_meansOneFile()
{
    QFETCH(int, seconds);
    QTemporaryDir dir;
    QVERIFY2(startCamera(QStringLiteral("h264:none:320x192:gop=6")), qPrintable(server.log()));
    RecordThread thread(dir.path(), server.url(QStringLiteral("cam")));
    announceNoAudio();
    thread.setSaveInterval(kManual, seconds);
    thread.setSaveInterval(kAuto, 1);
    thread.recordStart(kManual);
    thread.recordStart(kAuto);
    thread.play();
    QVERIFY2(waitFor([&] { return thread.closed[kAuto] >= 2; }, 60000), qPrintable(server.log()));
    QCOMPARE(thread.named[kManual].load(), 1);
    QCOMPARE(thread.closed[kManual].load(), 0);
    end(&thread);
    qint64 last = -1;
    QCOMPARE(faultOf(thread.file(kManual, 0), QSize(320, 192), false, &last), QString());
}

void TestFFmpegVideoThreadRecordRtsp::snapshot_isTakenWhileViewing_andRefusedWhileOnlyRecording()
{
    QTemporaryDir dir;
    QVERIFY2(startCamera(QStringLiteral("h264:none:320x192")), qPrintable(server.log()));
    RecordThread thread(dir.path(), server.url(QStringLiteral("cam")));
    thread.setVideoMode(VideoMode_Opengl);
    thread.setSnapPreview(true);
    ThreadWatcher watcher(&thread);
    announceNoAudio();
    thread.recordStart(kManual);
    thread.play();
    QVERIFY2(waitFor([&] { return thread.saver.at(kManual)->isRunning(); }),
             qPrintable(server.log()));
    const int before = thread.packets;
    thread.snap(dir.filePath(QStringLiteral("no/a.jpg")));
    QVERIFY(!thread.getIsSnap());
    QVERIFY(waitFor([&] { return thread.packets > before + 30; }));
    QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("no"))));
    QVERIFY(watcher.snaps.isEmpty());

    thread.previewRef() = 1;
    QVERIFY(waitFor([&] { return watcher.pictures.size() > 3; }));
    thread.snap(dir.filePath(QStringLiteral("new/a.png")));
    QVERIFY(waitFor([&] { return watcher.snaps.size() == 1; }));
    QVERIFY(!thread.getIsSnap());
    QCOMPARE(watcher.snaps.first().size(), QSize(320, 192));
    QVERIFY(watcher.events.contains(QStringLiteral("snap:") +
                                    dir.filePath(QStringLiteral("new/a.jpg"))));
    QCOMPARE(QDir(dir.filePath(QStringLiteral("new"))).entryList(QDir::Files),
             QStringList(QStringLiteral("a.jpg")));
    QCOMPARE(QImage(dir.filePath(QStringLiteral("new/a.jpg"))).size(), QSize(320, 192));
    end(&thread);
    qint64 last = -1;
    QCOMPARE(faultOf(thread.file(kManual, 0), QSize(320, 192), false, &last), QString());
}

void TestFFmpegVideoThreadRecordRtsp::sizeChange_beginsANewFile()
{
    QTemporaryDir dir;
    QVERIFY2(startCamera(QStringLiteral("h264:pcma:320x192")), qPrintable(server.log()));
    RecordThread thread(dir.path(), server.url(QStringLiteral("cam")));
    thread.setVideoMode(VideoMode_Opengl);
    thread.previewRef() = 1;
    ThreadWatcher watcher(&thread);
    announceBreaks();
    announceNoAudio();
    thread.recordStart(kManual);
    thread.recordStart(kAuto);
    thread.play();
    QVERIFY2(waitFor([&] {
                 return watcher.pictures.size() > 10 && thread.named[kManual] == 1 &&
                        thread.named[kAuto] == 1;
             }),
             qPrintable(server.log()));
    QVERIFY(server.command(QStringLiteral("size cam 640x360")));
    const auto isNew = [&] {
        return !watcher.pictures.isEmpty() && watcher.pictures.last().width == 640;
    };
    QVERIFY2(waitFor(isNew, 60000), qPrintable(server.log()));
    const int atNewSize = thread.keyPackets;
    QVERIFY2(waitFor([&] { return thread.keyPackets > atNewSize + 1; }), qPrintable(server.log()));
    end(&thread);
    for (const auto type : {kManual, kAuto}) {
        const int count = thread.named[type];
        QVERIFY(count >= 2);
        QCOMPARE(thread.closed[type].load(), count);
        qint64 last = -1;
        QCOMPARE(faultOf(thread.file(type, 0), QSize(320, 192), true, &last), QString());
        last = -1;
        QCOMPARE(faultOf(thread.file(type, count - 1), QSize(640, 360), true, &last), QString());
    }
}

void TestFFmpegVideoThreadRecordRtsp::stall_endsTheFile_andAnotherBegins()
{
    QTemporaryDir dir;
    QVERIFY2(startCamera(QStringLiteral("h264:pcma:320x192")), qPrintable(server.log()));
    RecordThread thread(dir.path(), server.url(QStringLiteral("cam")));
    thread.setReadTimeout(1000);
    announceBreaks();
    announceNoAudio();
    thread.recordStart(kManual);
    thread.play();
    QVERIFY2(waitFor([&] { return thread.keyPackets >= 2; }), qPrintable(server.log()));
    QVERIFY(server.command(QStringLiteral("stall cam on")));
    QVERIFY(waitFor([&] { return thread.closed[kManual] == 1; }));
    QVERIFY(thread.isRecording(kManual));
    QVERIFY(server.command(QStringLiteral("stall cam off")));
    QVERIFY2(waitFor([&] { return thread.named[kManual] == 2; }, 60000), qPrintable(server.log()));
    const int keys = thread.keyPackets;
    QVERIFY2(waitFor([&] { return thread.keyPackets > keys; }), qPrintable(server.log()));
    end(&thread);
    QCOMPARE(WriterCalls::decoderCalls.load(), 0);
    for (int number = 0; number < 2; ++number) {
        qint64 last = -1;
        QCOMPARE(faultOf(thread.file(kManual, number), QSize(320, 192), true, &last), QString());
    }
}

void TestFFmpegVideoThreadRecordRtsp::softStop_opensAnew_andBeginsANewFile()
{
    QTemporaryDir dir;
    QVERIFY2(startCamera(QStringLiteral("h264:pcma:320x192:gop=6")), qPrintable(server.log()));
    RecordThread thread(dir.path(), server.url(QStringLiteral("cam")));
    thread.setReadTimeout(10000);
    announceBreaks();
    thread.recordStart(kManual);
    thread.play();
    QVERIFY2(waitFor([&] { return thread.keyPackets >= 6; }), qPrintable(server.log()));
    const int before = thread.keyPackets;
    thread.stop2();
    QVERIFY2(waitFor([&] { return thread.keyPackets >= before + 6; }), qPrintable(server.log()));
    end(&thread);
    QVERIFY(thread.named[kManual] >= 2); // the stamps of the new session begin anew
    QCOMPARE(thread.closed[kManual].load(), thread.named[kManual].load());
    for (int number = 0; number < thread.named[kManual]; ++number) {
        qint64 last = -1;
        QCOMPARE(faultOf(thread.file(kManual, number), QSize(320, 192), true, &last), QString());
    }
}

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadRecordRtsp)
#include "tst_ffmpegvideothreadrecordrtsp.moc"
