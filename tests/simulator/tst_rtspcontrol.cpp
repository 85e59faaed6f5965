// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "rtspclient.h"

#include "support/rtspserver.h"
#include "support/waitfor.h"

#include <QFile>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <sys/stat.h>

using vantratest::RtspServer;
using vantratest::waitFor;

class tst_RtspControl : public QObject
{
    Q_OBJECT

private slots:
    void drop_closesTheConnectionsOfOneCamera();
    void drop_withoutNameClosesAll();
    void stall_sendsNothing_andGoesOnWithoutAGap();
    void stall_holdsForViewersThatComeLater();
    void size_changesInTheMiddle_data();
    void size_changesInTheMiddle();
    void fps_changesInTheMiddle();
    void codec_changesForTheNextViewer();
    void end_endsTheStream_andTheNextViewerIsServed_data();
    void end_endsTheStream_andTheNextViewerIsServed();
    void muteAccept_takesConnectionsAndNeverAnswers();
    void stats_countsClientsAndFrames();
    void quit_endsCleanly();
    void die_endsAtOnceWithoutGoodBye();
    void control_answersWrongCommandsWithErr_data();
    void control_answersWrongCommandsWithErr();
    void control_takesCommandsFromAFifo();
    void stdin_itsEndEndsTheServer();
    void parent_itsDeathEndsTheServer();

private:
    std::unique_ptr<RtspServer> corrected;
};

void tst_RtspControl::drop_closesTheConnectionsOfOneCamera()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "a:h264:none:320x180", "--camera", "b:h264:none:320x180"}));
    RtspClient a;
    RtspClient b;
    QVERIFY(a.open(server.url("a")));
    QVERIFY(b.open(server.url("b")));
    QVERIFY(server.command("drop a"));
    QCOMPARE(server.answer(), QString("OK drop a 1"));
    QVERIFY(a.readToEnd());
    QCOMPARE(b.pictures(40).size(), 40);
    QVERIFY(a.open(server.url("a")));
}

void tst_RtspControl::drop_withoutNameClosesAll()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "a:h264:none:320x180", "--camera", "b:h264:none:320x180"}));
    RtspClient a;
    RtspClient b;
    QVERIFY(a.open(server.url("a"), "udp"));
    QVERIFY(b.open(server.url("b"), "tcp"));
    QVERIFY(server.command("drop"));
    QCOMPARE(server.answer(), QString("OK drop 2"));
    QVERIFY(b.readToEnd());
    QCOMPARE(server.stat("clients"), qint64(0));
}

void tst_RtspControl::stall_sendsNothing_andGoesOnWithoutAGap()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:pcma:320x180"}));
    // One client to look for silence, which costs it its place in the stream, and one to go on.
    RtspClient listener;
    RtspClient viewer;
    QVERIFY(listener.open(server.url("cam")));
    QVERIFY(viewer.open(server.url("cam")));
    QList<Picture> pictures = viewer.pictures(30);
    QVERIFY(server.command("stall cam on"));
    QCOMPARE(server.answer(), QString("OK stall cam on"));
    // What is on its way still arrives. Reports would come within five seconds.
    QVERIFY(waitFor([&] { return listener.isSilent(1000); }));
    const qint64 sent = server.stat("video", "cam");
    QVERIFY(listener.isSilent(6000));
    QCOMPARE(server.stat("video", "cam"), sent);
    QCOMPARE(server.stat("clients", "cam"), qint64(2));
    QVERIFY(server.command("stall cam off"));
    while (*pictures.last().counter < sent + 20) {
        const QList<Picture> more = viewer.pictures(1);
        QVERIFY(!more.isEmpty() && more.last().counter);
        pictures += more;
    }
    QVERIFY(isGapless(pictures));
}

void tst_RtspControl::stall_holdsForViewersThatComeLater()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:none:320x180"}));
    QVERIFY(server.command("stall cam on"));
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(server.port()));
    QVERIFY(socket.waitForConnected(20000));
    // It is described by its first picture, and nothing follows.
    socket.write(QStringLiteral("DESCRIBE %1 RTSP/1.0\r\nCSeq: 1\r\n\r\n")
                     .arg(server.url("cam"))
                     .toLatin1());
    QByteArray reply;
    QVERIFY(waitFor([&] {
        socket.waitForReadyRead(10);
        reply += socket.readAll();
        return reply.contains("m=video");
    }));
    QVERIFY(reply.startsWith("RTSP/1.0 200 OK"));
    QCOMPARE(server.stat("video", "cam"), qint64(1));
}

void tst_RtspControl::size_changesInTheMiddle_data()
{
    QTest::addColumn<QString>("codec");
    QTest::newRow("h264") << "h264";
    QTest::newRow("h265") << "h265";
}

void tst_RtspControl::size_changesInTheMiddle()
{
    QFETCH(QString, codec);
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:" + codec + ":pcma:640x360"}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    QList<Picture> pictures = client.pictures(10);
    for (const QSize &size : {QSize(320, 240), QSize(1280, 720), QSize(642, 362)}) {
        QVERIFY(
            server.command(QStringLiteral("size cam %1x%2").arg(size.width()).arg(size.height())));
        while (pictures.last().size != size) {
            const QList<Picture> more = client.pictures(1);
            QVERIFY(!more.isEmpty());
            pictures += more;
        }
    }
    pictures += client.pictures(10);
    QVERIFY(isGapless(pictures));
}

void tst_RtspControl::fps_changesInTheMiddle()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:pcma:320x180:25"}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    QList<Picture> pictures = client.pictures(10);
    QVERIFY(server.command("fps cam 50"));
    // The sound is the clock: with 50 packets of 20 ms a second, there is now one to a picture,
    // where there were two.
    const qint64 video = server.stat("video", "cam");
    const qint64 audio = server.stat("audio", "cam");
    pictures += client.pictures(100);
    QVERIFY(isGapless(pictures));
    const double ratio =
        double(server.stat("video", "cam") - video) / double(server.stat("audio", "cam") - audio);
    QVERIFY2(ratio > 0.8 && ratio < 1.2, qPrintable(QString::number(ratio)));
}

void tst_RtspControl::codec_changesForTheNextViewer()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:pcma:320x180"}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    QCOMPARE(client.videoCodec(), QString("h264"));
    QVERIFY(server.command("codec cam h265"));
    QVERIFY(client.readToEnd());
    QVERIFY(client.open(server.url("cam")));
    QCOMPARE(client.videoCodec(), QString("hevc"));
    QVERIFY(isGapless(client.pictures(10)));
    QVERIFY(server.command("codec cam h264"));
    QVERIFY(client.open(server.url("cam")));
    QCOMPARE(client.videoCodec(), QString("h264"));
}

void tst_RtspControl::end_endsTheStream_andTheNextViewerIsServed_data()
{
    QTest::addColumn<QString>("transport");
    QTest::newRow("tcp") << "tcp";
    QTest::newRow("udp") << "udp";
}

void tst_RtspControl::end_endsTheStream_andTheNextViewerIsServed()
{
    QFETCH(QString, transport);
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:pcma:320x180"}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam"), transport));
    QVERIFY(!client.pictures(5).isEmpty());
    QVERIFY(server.command("end cam"));
    QVERIFY(client.readToEnd());
    // The first one has not even left yet.
    RtspClient next;
    QVERIFY(next.open(server.url("cam"), transport));
    QVERIFY(isGapless(next.pictures(30)));
}

void tst_RtspControl::muteAccept_takesConnectionsAndNeverAnswers()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264"}));
    QVERIFY(server.command("mute-accept on"));
    const int port = server.answer().section(' ', -1).toInt();
    QVERIFY(port > 0 && port != server.port());
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(port));
    QVERIFY(socket.waitForConnected(20000));
    socket.write("OPTIONS * RTSP/1.0\r\nCSeq: 1\r\n\r\n");
    QVERIFY(!socket.waitForReadyRead(500));
    QCOMPARE(socket.state(), QAbstractSocket::ConnectedState);
    QVERIFY(server.command("mute-accept off"));
    QVERIFY(socket.waitForDisconnected(20000));
}

void tst_RtspControl::stats_countsClientsAndFrames()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "a:h264:pcma:320x180", "--camera", "b:h264"}));
    QVERIFY(server.command("stats"));
    QCOMPARE(server.answer(), QString("OK clients=0; a clients=0 video=0 audio=0 counter=0; "
                                      "b clients=0 video=0 audio=0 counter=0"));
    {
        RtspClient client;
        QVERIFY(client.open(server.url("a")));
        QVERIFY(!client.pictures(20).isEmpty());
        QCOMPARE(server.stat("clients"), qint64(1));
        QCOMPARE(server.stat("clients", "a"), qint64(1));
        QCOMPARE(server.stat("clients", "b"), qint64(0));
        QVERIFY(server.stat("video", "a") >= 20);
        QVERIFY(server.stat("audio", "a") >= 20);
        QCOMPARE(server.stat("video", "b"), qint64(0));
    }
    QVERIFY(waitFor([&] { return server.stat("clients") == 0; }));
}

void tst_RtspControl::quit_endsCleanly()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:pcma"}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    QVERIFY(server.command("quit"));
    QVERIFY(client.readToEnd());
    QVERIFY(server.stop());
}

void tst_RtspControl::die_endsAtOnceWithoutGoodBye()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264"}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    QVERIFY(!server.command("die"));
    client.readToEnd();
    QVERIFY(!client.timedOut());
    QVERIFY(waitFor([&] { return !server.isRunning(); }));
    QVERIFY(!server.stop());
}

void tst_RtspControl::control_answersWrongCommandsWithErr_data()
{
    QTest::addColumn<QString>("line");
    for (const char *line : {"",
                             "nonsense",
                             "stall",
                             "stall nobody on",
                             "stall cam",
                             "stall cam 1",
                             "size cam",
                             "size cam 0x0",
                             "size cam 641x360",
                             "size cam 640",
                             "size cam 99999x99999",
                             "size cam 640x360x2",
                             "fps cam 0",
                             "fps cam fast",
                             "codec cam h263",
                             "codec cam",
                             "end nobody",
                             "mute-accept",
                             "drop nobody",
                             "explode cam"})
        QTest::newRow(line) << QString(line);
}

void tst_RtspControl::control_answersWrongCommandsWithErr()
{
    QFETCH(QString, line);
    // One server for all of them: what was wrong before does it no harm.
    if (!corrected) {
        corrected = std::make_unique<RtspServer>();
        QVERIFY(corrected->start({"--camera", "cam:h264"}));
    }
    QVERIFY(!corrected->command(line));
    QVERIFY2(corrected->answer().startsWith("ERR "), qPrintable(corrected->answer()));
    QVERIFY(corrected->command("stats"));
}

void tst_RtspControl::control_takesCommandsFromAFifo()
{
    QTemporaryDir folder;
    const QString fifo = folder.filePath("control");
    QCOMPARE(::mkfifo(qPrintable(fifo), 0600), 0);
    QProcess process;
    process.start(RtspServer::program(), {"--camera", "cam:h264", "--control", fifo});
    QByteArray output;
    const auto answered = [&](const QByteArray &text) {
        return waitFor(
            [&] {
                process.waitForReadyRead(10);
                output += process.readAllStandardOutput();
                return output.contains(text);
            },
            60000);
    };
    QVERIFY(answered("READY "));
    // One writer after the other: the end of one does not end the server.
    for (const char *line : {"stats\n", "fps cam 10\n", "quit\n"}) {
        QFile writer(fifo);
        QVERIFY(writer.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        writer.write(line);
        writer.close();
        QVERIFY2(answered(*line == 's'   ? "OK clients=0"
                          : *line == 'f' ? "OK fps cam 10"
                                         : "OK quit"),
                 output);
    }
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), 0);
}

void tst_RtspControl::stdin_itsEndEndsTheServer()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264"}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    QVERIFY(server.stop());
}

void tst_RtspControl::parent_itsDeathEndsTheServer()
{
    // The shell starts the server with an input that never ends, tells its id, and is killed.
    QTemporaryDir folder;
    const QString fifo = folder.filePath("input");
    QCOMPARE(::mkfifo(qPrintable(fifo), 0600), 0);
    QProcess shell;
    shell.start("sh", {"-c",
                       "exec 3<>\"$2\"; \"$1\" --camera cam:h264 --control stdin <&3 & "
                       "echo PID $!; wait",
                       "sh", RtspServer::program(), fifo});
    QByteArray output;
    QVERIFY(waitFor(
        [&] {
            shell.waitForReadyRead(10);
            output += shell.readAllStandardOutput();
            return output.contains("READY ") && output.contains("PID ");
        },
        60000));
    const int at = output.indexOf("PID ") + 4;
    const int pid = output.mid(at, output.indexOf('\n', at) - at).toInt();
    QVERIFY(pid > 0 && ::kill(pid, 0) == 0);
    shell.kill();
    QVERIFY(shell.waitForFinished(20000));
    const auto gone = [pid] {
        // An ended process that nobody waits for keeps its number, as a zombie.
        QFile status(QStringLiteral("/proc/%1/stat").arg(pid));
        return !status.open(QIODevice::ReadOnly) || status.readAll().contains(") Z ");
    };
    QVERIFY(waitFor(gone));
}

QTEST_GUILESS_MAIN(tst_RtspControl)
#include "tst_rtspcontrol.moc"
