// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "support/rtspserver.h"
#include "support/waitfor.h"

#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using namespace vantratest;

/// The host that the guide ends with, as a person starts it.
class TestVantraGrid : public QObject
{
    Q_OBJECT

private slots:
    void cameras_areShownAndRecorded();
    void wrongUse_endsWithTwo_data();
    void wrongUse_endsWithTwo();
};

void TestVantraGrid::cameras_areShownAndRecorded()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "gate:h264:pcma:gop=10", "--camera",
                           "small:h264:320x180:gop=10", "--camera", "yard:h265:gop=10"}),
             qPrintable(server.log()));
    QTemporaryDir folder;
    QProcess grid;
    grid.setProcessChannelMode(QProcess::MergedChannels);
    grid.start(VANTRA_GRID, {"--record", "--out", folder.path(), "--seconds", "8",
                             server.url("gate") + "," + server.url("small"), server.url("yard")});
    QVERIFY(waitFor([&] { return server.stat("clients", "small") == 1; }));
    QVERIFY(waitFor([&] { return grid.state() == QProcess::NotRunning; }, 60000));
    QVERIFY2(grid.exitStatus() == QProcess::NormalExit && grid.exitCode() == 0, grid.readAll());
    for (const char *camera : {"camera1", "camera2"}) {
        QDirIterator files(folder.filePath(camera), {"*T*_*T*_*.mp4"}, QDir::Files,
                           QDirIterator::Subdirectories);
        QVERIFY2(files.hasNext(), camera);
        QProcess probe;
        probe.start("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0",
                                files.next()});
        QVERIFY(probe.waitForFinished());
        QVERIFY(probe.readAllStandardOutput().trimmed().toDouble() > 1);
    }
}

void TestVantraGrid::wrongUse_endsWithTwo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("nothing") << QStringList();
    QTest::newRow("no address") << QStringList{"rtsp://127.0.0.1/x", "u:qsecret@127.0.0.1"};
    QTest::newRow("unknown option") << QStringList{"--colour", "rtsp://127.0.0.1/x"};
}

void TestVantraGrid::wrongUse_endsWithTwo()
{
    QFETCH(QStringList, arguments);
    QProcess grid;
    grid.setProcessChannelMode(QProcess::MergedChannels);
    grid.start(VANTRA_GRID, arguments);
    QVERIFY(waitFor([&] { return grid.state() == QProcess::NotRunning; }, 60000));
    QCOMPARE(grid.exitCode(), 2);
    const QByteArray said = grid.readAll();
    QVERIFY2(said.contains("usage: vantra-grid") && !said.contains("qsecret"), said);
}

QTEST_GUILESS_MAIN(TestVantraGrid)
#include "tst_vantragrid.moc"
