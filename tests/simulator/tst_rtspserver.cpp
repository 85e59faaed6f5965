// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "rtspclient.h"

#include "support/rtspserver.h"
#include "support/waitfor.h"

#include <QFile>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

using vantratest::RtspServer;
using vantratest::waitFor;

namespace {

constexpr int kSampleRate = 8000; // Hz

/// 16 bit samples of G.711 bytes, by the ITU's formulas.
QVector<double> expand(const QByteArray &bytes, bool alaw)
{
    QVector<double> samples;
    for (char byte : bytes) {
        int value = uchar(byte) ^ (alaw ? 0x55 : 0xFF);
        const bool negative = alaw ? (value & 0x80) == 0 : (value & 0x80) != 0;
        const int exponent = (value >> 4) & 7;
        const int mantissa = value & 15;
        int level = 0;
        if (alaw)
            level = exponent == 0 ? mantissa * 16 + 8 : (mantissa * 16 + 264) << (exponent - 1);
        else
            level = ((mantissa * 8 + 132) << exponent) - 132;
        samples.append(negative ? -level : level);
    }
    return samples;
}

/// Share of the energy of `samples` that lies at `frequency` Hz, from 0 to 1.
double shareAt(const QVector<double> &samples, double frequency)
{
    double re = 0;
    double im = 0;
    double energy = 0;
    for (int i = 0; i < samples.size(); ++i) {
        const double angle = 2 * M_PI * frequency * i / kSampleRate;
        re += samples[i] * std::cos(angle);
        im += samples[i] * std::sin(angle);
        energy += samples[i] * samples[i];
    }
    return energy > 0 ? 2 * (re * re + im * im) / (energy * samples.size()) : 0;
}

/// Runs a tool to its end; its standard output.
QByteArray outputOf(const QString &tool, const QStringList &arguments)
{
    QProcess process;
    process.start(tool, arguments);
    process.waitForFinished(60000);
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
               ? process.readAllStandardOutput()
               : QByteArray();
}

/// Runs the server until it ends by itself; standard error and, in *status, the exit code.
QString failureOf(const QStringList &arguments, int *status)
{
    QProcess process;
    process.start(RtspServer::program(), arguments);
    process.waitForFinished(60000);
    *status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return QString::fromUtf8(process.readAllStandardError());
}

} // namespace

class tst_RtspServer : public QObject
{
    Q_OBJECT

private slots:
    void camera_isServedAsNamed_data();
    void camera_isServedAsNamed();
    void camera_losesNoPicture();
    void camera_isReadByFfprobeAndFfmpeg_data();
    void camera_isReadByFfprobeAndFfmpeg();
    void camera_playsItsTone_data();
    void camera_playsItsTone();
    void camera_isSharedByItsViewers();
    void camera_sendsWholePicturesWithParameterSets();
    void sendLog_notesEachPicture_withItsTime();
    void server_hasFourCameras_whenNoneIsNamed();
    void server_isReachedTwice_onPortsOfItsOwn();
    void kill_isSeenByTheClient();
    void suspend_keepsTheConnection_andResumeGoesOn();
    void connections_ofAWallOfViews_areAllHeld_untilTheyAreAccepted();
    void restart_listensOnTheSamePort();
    void authentication_isDemanded_data();
    void authentication_isDemanded();
    void options_wrongOnesAreRefusedInOneLine_data();
    void options_wrongOnesAreRefusedInOneLine();
    void help_namesEveryOption();
    void silentServer_acceptsAndNeverAnswers();
    void refusedPort_refuses();
    void blackHole_answersNoConnection();
};

void tst_RtspServer::camera_isServedAsNamed_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<QString>("transport");
    QTest::addColumn<QString>("video");
    QTest::addColumn<QString>("audio");
    QTest::addColumn<QSize>("size");
    for (const char *transport : {"tcp", "udp"}) {
        const auto row = [&](const char *camera, const char *video, const char *audio, QSize size) {
            QTest::addRow("%s %s", camera, transport) << QString(camera) << QString(transport)
                                                      << QString(video) << QString(audio) << size;
        };
        row("cam:h264:pcma:640x360:25", "h264", "pcm_alaw", QSize(640, 360));
        row("cam:h265:pcmu:320x240:15", "hevc", "pcm_mulaw", QSize(320, 240));
        row("cam:h264", "h264", "", QSize(640, 360));
        row("cam:h265:none:1280x720:10", "hevc", "", QSize(1280, 720));
    }
}

void tst_RtspServer::camera_isServedAsNamed()
{
    QFETCH(QString, camera);
    QFETCH(QString, transport);
    QFETCH(QSize, size);
    RtspServer server;
    QVERIFY2(server.start({"--camera", camera}), qPrintable(server.log()));
    RtspClient client;
    QVERIFY2(client.open(server.url("cam"), transport), qPrintable(server.log()));
    QTEST(client.videoCodec(), "video");
    QTEST(client.audioCodec(), "audio");
    QCOMPARE(client.announcedSize(), size);
    if (!client.audioCodec().isEmpty()) {
        QCOMPARE(client.sampleRate(), 8000);
        QCOMPARE(client.channels(), 1);
    }
    const QList<Picture> pictures = client.pictures(5);
    QCOMPARE(pictures.size(), 5);
    for (const Picture &picture : pictures)
        QCOMPARE(picture.size, size);
}

void tst_RtspServer::camera_losesNoPicture()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "a:h264:pcma", "--camera", "b:h265:pcmu"}),
             qPrintable(server.log()));
    for (const char *name : {"a", "b"}) {
        RtspClient client;
        QVERIFY(client.open(server.url(name)));
        const QList<Picture> pictures = client.pictures(60);
        QCOMPARE(pictures.size(), 60);
        QVERIFY(isGapless(pictures));
        QCOMPARE(pictures.first().counter, std::optional<quint32>(0));
        client.close();
        // The counter goes on from one viewer to the next.
        QVERIFY(client.open(server.url(name)));
        const QList<Picture> later = client.pictures(10);
        QCOMPARE(later.size(), 10);
        QVERIFY(isGapless(later));
        QVERIFY(*later.first().counter > *pictures.last().counter);
    }
}

void tst_RtspServer::camera_isReadByFfprobeAndFfmpeg_data()
{
    QTest::addColumn<QString>("transport");
    QTest::newRow("tcp") << "tcp";
    QTest::newRow("udp") << "udp";
}

void tst_RtspServer::camera_isReadByFfprobeAndFfmpeg()
{
    QFETCH(QString, transport);
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264:pcma:320x180"}), qPrintable(server.log()));
    const QByteArray json = outputOf("ffprobe", {"-v", "error", "-rtsp_transport", transport, "-of",
                                                 "json", "-show_streams", server.url("cam")});
    const QJsonArray streams = QJsonDocument::fromJson(json).object()["streams"].toArray();
    QCOMPARE(streams.size(), 2);
    const QJsonObject video = streams[0].toObject();
    QCOMPARE(video["codec_name"].toString(), QString("h264"));
    QCOMPARE(video["profile"].toString(), QString("Constrained Baseline"));
    QCOMPARE(video["has_b_frames"].toInt(), 0);
    QCOMPARE(video["width"].toInt(), 320);
    QCOMPARE(video["height"].toInt(), 180);
    const QJsonObject audio = streams[1].toObject();
    QCOMPARE(audio["codec_name"].toString(), QString("pcm_alaw"));
    QCOMPARE(audio["sample_rate"].toString(), QString("8000"));

    QTemporaryDir folder;
    const QString file = folder.filePath("out.mkv");
    outputOf("ffmpeg", {"-v", "error", "-rtsp_transport", transport, "-i", server.url("cam"), "-c",
                        "copy", "-frames:v", "30", file});
    const QByteArray packets =
        outputOf("ffprobe", {"-v", "error", "-count_packets", "-select_streams", "v", "-of",
                             "csv=p=0", "-show_entries", "stream=nb_read_packets", file});
    QCOMPARE(packets.trimmed().toInt(), 30);
}

void tst_RtspServer::camera_playsItsTone_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<bool>("alaw");
    QTest::addColumn<int>("tone");
    QTest::newRow("A-law") << "cam:h264:pcma" << true << 440;
    QTest::newRow("mu-law") << "cam:h264:pcmu" << false << 440;
    QTest::newRow("own tone") << "cam:h264:pcma:tone=1250" << true << 1250;
}

void tst_RtspServer::camera_playsItsTone()
{
    QFETCH(QString, camera);
    QFETCH(bool, alaw);
    QFETCH(int, tone);
    RtspServer server;
    QVERIFY2(server.start({"--camera", camera}), qPrintable(server.log()));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    const QVector<double> samples = expand(client.sound(kSampleRate), alaw).mid(0, kSampleRate);
    QCOMPARE(samples.size(), kSampleRate);
    QVERIFY(shareAt(samples, tone) > 0.99);
    QVERIFY(shareAt(samples, tone + 20) < 0.01);
}

void tst_RtspServer::camera_isSharedByItsViewers()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264:none:320x180"}), qPrintable(server.log()));
    RtspClient first;
    RtspClient second;
    QVERIFY(first.open(server.url("cam"), "tcp"));
    QVERIFY(second.open(server.url("cam"), "udp"));
    const QList<Picture> a = first.pictures(60);
    const QList<Picture> b = second.pictures(20);
    QVERIFY(isGapless(a));
    QVERIFY(isGapless(b));
    // One encoder: the same frame is the same to the bit for both.
    int common = 0;
    for (const Picture &x : a) {
        for (const Picture &y : b) {
            if (x.counter == y.counter) {
                QCOMPARE(x.md5, y.md5);
                ++common;
            }
        }
    }
    QVERIFY(common > 0);
}

void tst_RtspServer::camera_sendsWholePicturesWithParameterSets()
{
    // Each key frame must be decodable by itself, and no picture may be cut into slices.
    RtspServer server;
    QVERIFY2(server.start({"--camera", "a:h264:none:1280x720:10:gop=5", "--camera",
                           "b:h265:none:1280x720:10:gop=5"}),
             qPrintable(server.log()));
    for (const char *name : {"a", "b"}) {
        const bool h264 = *name == 'a';
        const QByteArray stream = outputOf("ffmpeg", {"-v", "error", "-rtsp_transport", "tcp", "-i",
                                                      server.url(name), "-c", "copy", "-frames:v",
                                                      "21", "-f", h264 ? "h264" : "hevc", "-"});
        QVector<int> types;
        for (int at = stream.indexOf(QByteArray("\0\0\1", 3)); at >= 0 && at + 3 < stream.size();
             at = stream.indexOf(QByteArray("\0\0\1", 3), at + 3))
            types.append(h264 ? stream[at + 3] & 0x1F : (uchar(stream[at + 3]) >> 1) & 0x3F);
        int slices = 0;
        int keys = 0;
        bool sps = false;
        bool pps = false;
        for (int type : types) {
            sps = sps || type == (h264 ? 7 : 33);
            pps = pps || type == (h264 ? 8 : 34);
            const bool key = h264 ? type == 5 : type >= 16 && type <= 21;
            if (!key && type != 1 && !(!h264 && type == 0))
                continue;
            ++slices;
            if (key) {
                ++keys;
                QVERIFY(sps && pps);
            }
            sps = pps = false;
        }
        QCOMPARE(slices, 21);
        QVERIFY(keys >= 4);
    }
}

void tst_RtspServer::sendLog_notesEachPicture_withItsTime()
{
    const QTemporaryDir folder;
    const QString file = folder.filePath("sent");
    const auto monotonic = [] {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    };
    const qint64 begin = monotonic();
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:pcma:320x180", "--send-log", file}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    QVERIFY(isGapless(client.pictures(10)));
    client.close();
    const qint64 sent = server.stat("video", "cam");
    QVERIFY(server.stop());
    const qint64 end = monotonic();

    QFile lines(file);
    QVERIFY(lines.open(QIODevice::ReadOnly));
    qint64 number = 0;
    qint64 last = begin;
    for (QByteArray line = lines.readLine(); !line.isEmpty(); line = lines.readLine()) {
        const QList<QByteArray> words = line.trimmed().split(' ');
        QCOMPARE(words.size(), 3);
        QCOMPARE(words[0], QByteArray("cam"));
        QCOMPARE(words[1].toLongLong(), number++);
        QVERIFY(words[2].toLongLong() > last);
        last = words[2].toLongLong();
    }
    QVERIFY(last < end);
    QVERIFY(number >= 10 && number >= sent);
}

void tst_RtspServer::server_hasFourCameras_whenNoneIsNamed()
{
    RtspServer server;
    QVERIFY2(server.start({}), qPrintable(server.log()));
    QSet<QByteArray> seen;
    QSet<QString> codecs;
    for (const char *name : {"gate", "yard", "hall", "roof"}) {
        RtspClient client;
        QVERIFY2(client.open(server.url(name)), name);
        const QList<Picture> pictures = client.pictures(1);
        QCOMPARE(pictures.size(), 1);
        seen.insert(pictures.first().md5);
        codecs.insert(client.videoCodec() + client.audioCodec());
    }
    QCOMPARE(seen.size(), 4);
    QCOMPARE(codecs.size(), 4);
}

void tst_RtspServer::server_isReachedTwice_onPortsOfItsOwn()
{
    RtspServer one;
    RtspServer two;
    QVERIFY(one.start({"--camera", "cam:h264"}));
    QVERIFY(two.start({"--camera", "cam:h265"}));
    QVERIFY(one.port() != two.port());
    RtspClient a;
    RtspClient b;
    QVERIFY(a.open(one.url("cam")));
    QVERIFY(b.open(two.url("cam")));
    QCOMPARE(a.videoCodec(), QString("h264"));
    QCOMPARE(b.videoCodec(), QString("hevc"));
    one.kill();
    QCOMPARE(b.pictures(30).size(), 30);
}

void tst_RtspServer::kill_isSeenByTheClient()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264"}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    server.kill();
    QVERIFY(!server.isRunning());
    client.readToEnd();
    QVERIFY(client.error() < 0);
    QVERIFY(!client.timedOut());
}

void tst_RtspServer::suspend_keepsTheConnection_andResumeGoesOn()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:none:320x180"}));
    RtspClient client;
    RtspClient listener;
    QVERIFY(client.open(server.url("cam")));
    QVERIFY(listener.open(server.url("cam")));
    server.suspend();
    QVERIFY(waitFor([&] { return listener.isSilent(1000); }));
    QVERIFY(!server.command("stats"));
    server.resume();
    QVERIFY(isGapless(client.pictures(100)));
    QVERIFY(server.command("stats"));
    // A suspended one can be ended, too.
    server.suspend();
    QVERIFY(server.stop());
}

void tst_RtspServer::connections_ofAWallOfViews_areAllHeld_untilTheyAreAccepted()
{
    constexpr int kConnections = 128; // of 64 views, each with its probe
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:none:320x180"}));
    server.suspend(); // accepts nothing
    std::vector<std::unique_ptr<QTcpSocket>> sockets;
    for (int i = 0; i < kConnections; ++i) {
        sockets.push_back(std::make_unique<QTcpSocket>());
        sockets.back()->connectToHost(QHostAddress(QHostAddress::LocalHost),
                                      quint16(server.port()));
    }
    const auto isConnected = [](const std::unique_ptr<QTcpSocket> &socket) {
        return socket->state() == QAbstractSocket::ConnectedState;
    };
    QVERIFY(waitFor([&] { return std::all_of(sockets.begin(), sockets.end(), isConnected); }));
    server.resume();
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
}

void tst_RtspServer::restart_listensOnTheSamePort()
{
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:none:320x180"}));
    const int port = server.port();
    RtspClient client;
    QVERIFY(client.open(server.url("cam")));
    server.kill();
    QVERIFY(server.restart());
    QCOMPARE(server.port(), port);
    QVERIFY(client.open(server.url("cam")));
    QVERIFY(isGapless(client.pictures(5)));
}

void tst_RtspServer::authentication_isDemanded_data()
{
    QTest::addColumn<QString>("method");
    for (const char *method : {"basic", "digest", "any"})
        QTest::newRow(method) << QString(method);
}

void tst_RtspServer::authentication_isDemanded()
{
    QFETCH(QString, method);
    RtspServer server;
    QVERIFY(server.start({"--camera", "cam:h264:pcma:320x180", "--authenticate", "operator:p@ss 1",
                          "--auth-method", method}));
    RtspClient client;
    QVERIFY(client.open(server.url("cam", "operator:p%40ss%201")));
    QVERIFY(isGapless(client.pictures(5)));
    QVERIFY(!client.open(server.url("cam")));
    QVERIFY(!client.open(server.url("cam", "operator:wrong")));
    QVERIFY(!client.open(server.url("cam", "nobody:p%40ss%201")));
}

void tst_RtspServer::options_wrongOnesAreRefusedInOneLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");
    const auto row = [](const QStringList &arguments, const char *reason) {
        QTest::newRow(reason) << arguments << QString(reason);
    };
    row({"--camera", "cam"}, "camera cam: the codec must be h264 or h265");
    row({"--camera", "a b:h264"}, "camera name \"a b\": use letters, digits, '-', '_' and '.'");
    row({"--camera", "cam:h264:mp3"}, "camera cam: \"mp3\" is not understood");
    row({"--camera", "cam:h264:641x360"}, "camera cam: \"641x360\" is not understood");
    row({"--camera", "cam:h264:pcma:640x360:1000"}, "camera cam: \"1000\" is not understood");
    row({"--camera", "cam:h264", "--camera", "cam:h265"}, "the name cam is used twice");
    row({"--clip", "file.mp4"}, "clip \"file.mp4\": write NAME=FILE");
    row({"--clip", "c=/no/such/file.mp4"},
        "clip c: /no/such/file.mp4 cannot be opened as a media file");
    row({"--port", "70000"}, "--port must be a number from 0 to 65535");
    row({"--authenticate", "nobody"}, "--authenticate needs USER:PASSWORD");
    row({"--auth-method", "kerberos"}, "--auth-method must be basic, digest or any");
    row({"--control", "/no/such/fifo"}, "control /no/such/fifo: No such file or directory");
    row({"--send-log", "/no/such/folder/sent"}, "cannot write /no/such/folder/sent");
    row({"--frobnicate", "1"}, "unknown option --frobnicate; see --help");
    row({"--camera"}, "--camera needs a value, or is unknown; see --help");
    row({"huh"}, "\"huh\" is not understood; see --help");
}

void tst_RtspServer::options_wrongOnesAreRefusedInOneLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    int status = 0;
    QCOMPARE(failureOf(arguments, &status), "vantra-rtsp-server: " + reason + "\n");
    QCOMPARE(status, 1);
}

void tst_RtspServer::help_namesEveryOption()
{
    const QString help = outputOf(RtspServer::program(), {"--help"});
    for (const char *word :
         {"--camera",  "--clip",         "--once",        "--port",     "--address",
          "--control", "--authenticate", "--auth-method", "--send-log", "READY",
          "drop",      "stall",          "size",          "fps",        "codec",
          "end",       "mute-accept",    "stats",         "quit",       "die"})
        QVERIFY2(help.contains(word), word);
}

void tst_RtspServer::silentServer_acceptsAndNeverAnswers()
{
    vantratest::SilentServer silent;
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(silent.port()));
    QVERIFY(socket.waitForConnected(20000));
    QVERIFY(waitFor([&] { return silent.accepted() == 1; }));
    socket.write("OPTIONS * RTSP/1.0\r\nCSeq: 1\r\n\r\n");
    QVERIFY(!socket.waitForReadyRead(500));
    QCOMPARE(socket.state(), QAbstractSocket::ConnectedState);
}

void tst_RtspServer::refusedPort_refuses()
{
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(vantratest::refusedPort()));
    QVERIFY(!socket.waitForConnected(20000));
    QCOMPARE(socket.error(), QAbstractSocket::ConnectionRefusedError);
}

void tst_RtspServer::blackHole_answersNoConnection()
{
    vantratest::BlackHole hole;
    if (!hole.isValid())
        QSKIP("this kernel answers every connection attempt on the loopback interface");
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(hole.port()));
    QVERIFY(!socket.waitForConnected(1500));
    QCOMPARE(socket.error(), QAbstractSocket::SocketTimeoutError);
}

QTEST_GUILESS_MAIN(tst_RtspServer)
#include "tst_rtspserver.moc"
