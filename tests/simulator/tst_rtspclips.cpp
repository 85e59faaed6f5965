// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "rtspclient.h"

#include "support/filecontent.h"
#include "support/framemd5.h"
#include "support/media.h"
#include "support/rtspserver.h"
#include "support/waitfor.h"

#include <QDir>
#include <QFile>
#include <QMutex>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <thread>

using vantratest::RtspServer;

namespace {

QString mediaFile(const QString &name)
{
    return QDir(vantratest::mediaDir()).filePath(name);
}

QByteArray clip(const QString &name)
{
    return vantratest::contentOf(mediaFile(name));
}

QVector<QByteArray> referenceOf(const QString &name)
{
    return vantratest::readFrameMd5(mediaFile(name));
}

QVector<QByteArray> sumsOf(const QList<Picture> &pictures)
{
    QVector<QByteArray> sums;
    for (const Picture &picture : pictures)
        sums.append(picture.md5);
    return sums;
}

/// Empty if both are the same, else where they part.
QString difference(const QVector<QByteArray> &got, const QVector<QByteArray> &wanted)
{
    for (int i = 0; i < std::min(got.size(), wanted.size()); ++i) {
        if (got[i] != wanted[i])
            return QStringLiteral("frame %1 of %2 differs").arg(i).arg(wanted.size());
    }
    return got.size() == wanted.size()
               ? QString()
               : QStringLiteral("%1 frames instead of %2").arg(got.size()).arg(wanted.size());
}

/// One client and what it saw. All clips of a test play side by side, because each takes its time.
struct Viewing
{
    QString file;
    QString transport;
    QString name; ///< of the mount
    int frames;   ///< to read; 0: to the end
    QString failure;

    void run(const QString &url)
    {
        RtspClient client;
        if (!client.open(url, transport)) {
            failure = QStringLiteral("cannot be opened");
            return;
        }
        const QVector<QByteArray> pass = referenceOf(file);
        QList<Picture> pictures;
        QVector<QByteArray> wanted = pass;
        if (frames > 0) {
            pictures = client.pictures(frames);
            while (wanted.size() < frames)
                wanted += pass;
            wanted = wanted.mid(0, frames);
        } else if (!client.readToEnd(&pictures)) {
            failure = QStringLiteral("not ended but broken off; ");
        }
        failure += wanted.isEmpty() ? QStringLiteral("no reference")
                                    : difference(sumsOf(pictures), wanted);
    }
};

/// Failures of all viewings, one a line.
QString view(RtspServer *server, std::vector<Viewing> viewings)
{
    std::vector<std::thread> threads;
    for (Viewing &viewing : viewings)
        threads.emplace_back([&viewing, url = server->url(viewing.name)] { viewing.run(url); });
    for (std::thread &thread : threads)
        thread.join();
    QString failures;
    for (const Viewing &viewing : viewings) {
        if (!viewing.failure.isEmpty())
            failures += viewing.file + " " + viewing.transport + ": " + viewing.failure + "\n";
    }
    return failures;
}

} // namespace

class tst_RtspClips : public QObject
{
    Q_OBJECT

private slots:
    void once_everyFrameArrivesAsItIs();
    void endless_passesJoinWithoutALostFrame();
    void endless_openKeyPictureAtTheStartIsTakenAlikeInEachPass();
    void sound_arrivesByteForByte();
    void sound_otherThanG711IsLeftOut();
    void stall_holdsAClip_andEndEndsIt();
    void clip_startsAnewForEachClient();
    void clip_withoutUsableVideoIsRefused_data();
    void clip_withoutUsableVideoIsRefused();
    void clip_damagedIsServedOrRefused();
    void commandsForCamerasAreRefused();
};

void tst_RtspClips::once_everyFrameArrivesAsItIs()
{
    QStringList arguments;
    std::vector<Viewing> viewings;
    const auto add = [&](const QString &file, const QString &transport = QStringLiteral("tcp")) {
        const QString name = QStringLiteral("clip%1").arg(viewings.size());
        arguments << "--clip" << name + "=" + mediaFile(file) + ":once";
        viewings.push_back({file, transport, name, 0, QString()});
    };
    add("camera-like/car_h264_alaw.mkv");
    add("camera-like/car_h264_alaw.mkv", "udp");
    add("camera-like/car_h264_g726-32.mkv");
    add("camera-like/car_h265_mulaw.mkv");
    add("camera-like/car_h265_mulaw.mkv", "udp");
    add("derived/car_768x432_slices4_opengop.265");
    add("derived/car_reschange_3sizes.265");
    add("derived/cctv_318x238_ippp_aud.265");
    add("derived/cctv_320x240_intrarefresh.264");
    add("derived/cctv_320x240_mbaff_slices4.264");
    add("camera/car-detection.mp4");
    add("camera/eat.mkv");
    add("camera/nasa_13013.mp4");
    add("h264/VID_1280x720_cabac_temporal_direct.264");
    add("h264/test_res_change.h264");
    add("h264/CVFC1_Sony_C.jsv");
    add("h265/cars_320x240.h265");
    add("h265/fragmented_captions_h265.mp4");
    RtspServer server;
    QVERIFY2(server.start(arguments), qPrintable(server.log()));
    const QString failures = view(&server, viewings);
    QVERIFY2(failures.isEmpty(), qPrintable("\n" + failures));
}

void tst_RtspClips::endless_passesJoinWithoutALostFrame()
{
    QStringList arguments;
    std::vector<Viewing> viewings;
    const auto add = [&](const QString &file, int frames) {
        const QString name = QStringLiteral("clip%1").arg(viewings.size());
        arguments << "--clip" << name + "=" + mediaFile(file);
        viewings.push_back({file, QStringLiteral("tcp"), name, frames, QString()});
    };
    add("camera-like/car_h265_mulaw.mkv", 160);
    add("camera-like/car_h264_g726-32.mkv", 160);
    add("derived/car_768x432_slices4_opengop.265", 210);
    add("derived/car_reschange_3sizes.265", 160);
    add("derived/cctv_318x238_ippp_aud.265", 260);
    add("derived/cctv_320x240_intrarefresh.264", 310);
    add("derived/cctv_320x240_mbaff_slices4.264", 210);
    add("camera/eat.mkv", 150);
    RtspServer server;
    QVERIFY2(server.start(arguments), qPrintable(server.log()));
    const QString failures = view(&server, viewings);
    QVERIFY2(failures.isEmpty(), qPrintable("\n" + failures));
}

void tst_RtspClips::endless_openKeyPictureAtTheStartIsTakenAlikeInEachPass()
{
    // The clip from its second key picture on, which is an open one with pictures that lead it.
    const QByteArray whole = clip("derived/car_768x432_slices4_opengop.265");
    const QByteArray kVps("\0\0\0\1\x40\1", 6);
    const int at = whole.indexOf(kVps, kVps.size());
    QVERIFY(at > 0);
    QTemporaryDir folder;
    const QString path = folder.filePath("open.265");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(whole.mid(at)), qint64(whole.size() - at));
    file.close();

    RtspServer server;
    QVERIFY2(server.start({"--clip", "once=" + path + ":once", "--clip", "ever=" + path}),
             qPrintable(server.log()));
    RtspClient client;
    QVERIFY(client.open(server.url("once")));
    QList<Picture> pass;
    QVERIFY(client.readToEnd(&pass));
    const int length = pass.size();
    QVERIFY(length > 5);
    QVERIFY(client.open(server.url("ever")));
    const QVector<QByteArray> got = sumsOf(client.pictures(2 * length + 3));
    QCOMPARE(difference(got, sumsOf(pass + pass + pass.mid(0, 3))), QString());
}

void tst_RtspClips::sound_arrivesByteForByte()
{
    RtspServer server;
    QVERIFY2(server.start({"--clip", "a=" + mediaFile("camera-like/car_h264_alaw.mkv"), "--clip",
                           "u=" + mediaFile("camera-like/car_h265_mulaw.mkv")}),
             qPrintable(server.log()));
    for (const char *name : {"a", "u"}) {
        const bool alaw = *name == 'a';
        RtspClient client;
        QVERIFY(client.open(server.url(name)));
        QCOMPARE(client.audioCodec(), QString(alaw ? "pcm_alaw" : "pcm_mulaw"));
        const QByteArray wanted = clip(alaw ? "g711/allison_congrats.al" : "g711/itu_voice.ul");
        // The second clip is heard across the joint: 6 s of pictures make a pass.
        constexpr int kPassBytes = 48000;
        const int bytes = alaw ? 24000 : kPassBytes + 4000;
        const QByteArray got = client.sound(bytes);
        QVERIFY(got.size() >= bytes);
        QVERIFY(wanted.size() >= kPassBytes);
        const int first = std::min(bytes, kPassBytes);
        QVERIFY(got.left(first) == wanted.left(first));
        QVERIFY(got.mid(first, bytes - first) == wanted.left(bytes - first));
    }
}

void tst_RtspClips::sound_otherThanG711IsLeftOut()
{
    RtspServer server;
    QVERIFY(server.start({"--clip", "aac=" + mediaFile("camera/car-detection.mp4"), "--clip",
                          "g726=" + mediaFile("camera-like/car_h264_g726-32.mkv")}));
    for (const char *name : {"aac", "g726"}) {
        RtspClient client;
        QVERIFY(client.open(server.url(name)));
        QCOMPARE(client.audioCodec(), QString());
        QCOMPARE(client.pictures(5).size(), 5);
    }
    QVERIFY2(server.log().contains("clip aac: sound aac is left out\n"), qPrintable(server.log()));
    QVERIFY(server.log().contains("clip g726: sound adpcm_g726 is left out\n"));
}

void tst_RtspClips::stall_holdsAClip_andEndEndsIt()
{
    const QString file = "derived/cctv_318x238_ippp_aud.265";
    RtspServer server;
    QVERIFY(server.start({"--clip", "clip=" + mediaFile(file)}));
    RtspClient client;
    QVERIFY(client.open(server.url("clip")));
    QList<Picture> pictures = client.pictures(20);
    QVERIFY(server.command("stall clip on"));
    qint64 sent = -1;
    QVERIFY(vantratest::waitFor([&] {
        const qint64 before = sent;
        sent = server.stat("video", "clip");
        return before == sent;
    }));
    QVERIFY(server.command("stall clip off"));
    pictures += client.pictures(40);
    QVERIFY(server.command("end clip"));
    QList<Picture> rest;
    QVERIFY(client.readToEnd(&rest));
    pictures += rest;
    QVector<QByteArray> wanted = referenceOf(file);
    while (wanted.size() < pictures.size())
        wanted += referenceOf(file);
    QVERIFY(pictures.size() >= 60);
    QCOMPARE(difference(sumsOf(pictures), wanted.mid(0, pictures.size())), QString());
}

void tst_RtspClips::clip_startsAnewForEachClient()
{
    const QString file = "camera-like/car_h264_alaw.mkv";
    RtspServer server;
    QVERIFY(server.start({"--clip", "clip=" + mediaFile(file)}));
    RtspClient first;
    QVERIFY(first.open(server.url("clip")));
    QVERIFY(!first.pictures(20).isEmpty());
    RtspClient second;
    QVERIFY(second.open(server.url("clip")));
    QCOMPARE(difference(sumsOf(second.pictures(10)), referenceOf(file).mid(0, 10)), QString());
}

void tst_RtspClips::clip_withoutUsableVideoIsRefused_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("reason");
    QTest::newRow("other codec") << "camera-source/video02.avi"
                                 << "its video is mpeg4; only h264 and hevc can be served";
    QTest::newRow("no media") << "README.md"
                              << "cannot be opened as a media file";
    QTest::newRow("folder") << "camera"
                            << "cannot be opened as a media file";
    QTest::newRow("header only") << "corrupt/invalid_userdata.mp4"
                                 << "has no picture that can be decoded";
}

void tst_RtspClips::clip_withoutUsableVideoIsRefused()
{
    QFETCH(QString, file);
    QFETCH(QString, reason);
    QProcess process;
    process.start(RtspServer::program(), {"--clip", "c=" + mediaFile(file)});
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 1);
    const QString line = "vantra-rtsp-server: clip c: " + mediaFile(file) + " " + reason + "\n";
    const QString log = QString::fromUtf8(process.readAllStandardError());
    QVERIFY2(log.endsWith(line), qPrintable(log));
    QVERIFY(process.readAllStandardOutput().isEmpty());
}

void tst_RtspClips::clip_damagedIsServedOrRefused()
{
    QStringList files;
    for (const char *folder : {"corrupt", "corrupt-derived", "h264-unsupported"}) {
        for (const QFileInfo &file : QDir(mediaFile(folder)).entryInfoList(QDir::Files)) {
            if (!file.fileName().endsWith("md5"))
                files.append(file.filePath());
        }
    }
    QVERIFY(files.size() > 15);
    std::atomic<int> next{0};
    std::atomic<int> served{0};
    QMutex mutex;
    QString failures;
    const auto work = [&] {
        for (int i = next++; i < files.size(); i = next++) {
            QString failure;
            RtspServer server;
            if (!server.start({"--clip", "c=" + files[i]})) {
                if (!server.log().contains("vantra-rtsp-server: clip c: "))
                    failure = "ended without a reason";
            } else {
                ++served;
                RtspClient client;
                client.setPatience(5000); // what is left of the clip need not be playable
                if (client.open(server.url("c")))
                    client.pictures(3);
                client.close();
                if (!server.stop())
                    failure = "crashed";
            }
            if (!failure.isEmpty()) {
                const QMutexLocker lock(&mutex);
                failures += files[i] + ": " + failure + "\n" + server.log();
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
        threads.emplace_back(work);
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY2(failures.isEmpty(), qPrintable("\n" + failures));
    QVERIFY(served > 10);
}

void tst_RtspClips::commandsForCamerasAreRefused()
{
    RtspServer server;
    QVERIFY(server.start({"--clip", "clip=" + mediaFile("camera/eat.mkv")}));
    for (const char *line : {"size clip 320x240", "fps clip 5", "codec clip h265"}) {
        QVERIFY(!server.command(line));
        QCOMPARE(server.answer(), QString("ERR clip is a clip"));
    }
}

int main(int argc, char *argv[])
{
    if (const int code = vantratest::mediaExitCode(); code != 0)
        return code;
    QCoreApplication application(argc, argv);
    tst_RtspClips test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_rtspclips.moc"
