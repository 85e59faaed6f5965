// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "rtspclient.h"

#include "support/rtspserver.h"
#include "support/waitfor.h"

#include <QTest>

using vantratest::RtspServer;

class tst_RtspServer : public QObject
{
    Q_OBJECT

private slots:
    void camera_isServedAsNamed_data();
    void camera_isServedAsNamed();
    void camera_losesNoPicture();
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
            QTest::addRow("%s %s", camera, transport)
                    << QString(camera) << QString(transport) << QString(video) << QString(audio)
                    << size;
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
        for (int i = 0; i < pictures.size(); ++i)
            QCOMPARE(pictures[i].counter, std::optional<quint32>(quint32(i)));
    }
}

QTEST_GUILESS_MAIN(tst_RtspServer)
#include "tst_rtspserver.moc"
