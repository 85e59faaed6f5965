// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "rtspclient.h"

#include "support/rtspserver.h"

#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

using vantratest::RtspServer;

/// Clients of a test camera that nobody watched before, all at the same moment.
class TestRtspFirstClients : public QObject
{
    Q_OBJECT

private slots:
    void allGetPictures_whenManyComeAtOnce_data();
    void allGetPictures_whenManyComeAtOnce();
    void allGetPictures_whenTheyComeAgainAfterAllWent();
};

namespace {

/// Opens `urls` all at the same moment, each on a thread of its own, by TCP and UDP in turn. How
/// many got pictures.
int openAtOnce(const QStringList &urls)
{
    std::atomic<int> waiting{int(urls.size())};
    std::atomic<int> served{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < urls.size(); ++i) {
        threads.emplace_back([&, i] {
            RtspClient client;
            client.setPatience(30000);
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            const QString transport =
                i / 3 % 2 == 0 ? QStringLiteral("tcp") : QStringLiteral("udp");
            if (client.open(urls[i], transport) && client.pictures(5).size() == 5)
                ++served;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    return served;
}

} // namespace

void TestRtspFirstClients::allGetPictures_whenManyComeAtOnce_data()
{
    QTest::addColumn<QString>("form");
    QTest::addColumn<int>("clients");
    QTest::newRow("picture alone") << QStringLiteral("h264") << 9;
    QTest::newRow("picture and sound") << QStringLiteral("h264:pcma") << 9;
    QTest::newRow("H.265") << QStringLiteral("h265:pcmu") << 6;
}

void TestRtspFirstClients::allGetPictures_whenManyComeAtOnce()
{
    QFETCH(QString, form);
    QFETCH(int, clients);
    QStringList arguments;
    // Three cameras at a time: the busier the server is, the wider are the gaps that clients of
    // one camera slip into.
    constexpr int kRounds = 4;
    constexpr int kAtATime = 3;
    for (int i = 0; i < kRounds * kAtATime; ++i)
        arguments << QStringLiteral("--camera")
                  << QStringLiteral("cam%1:%2:320x240").arg(i).arg(form);
    RtspServer server;
    QVERIFY2(server.start(arguments), qPrintable(server.log()));
    for (int i = 0; i < kRounds; ++i) {
        QStringList urls;
        for (int k = 0; k < clients * kAtATime; ++k)
            urls << server.url(QStringLiteral("cam%1").arg(i * kAtATime + k % kAtATime));
        QCOMPARE(openAtOnce(urls), urls.size());
    }
    QVERIFY(server.stop());
}

void TestRtspFirstClients::allGetPictures_whenTheyComeAgainAfterAllWent()
{
    RtspServer server;
    QVERIFY(server.start({QStringLiteral("--camera"), QStringLiteral("cam:h264:pcma:320x240")}));
    for (int round = 0; round < 4; ++round) {
        const QString url = server.url(QStringLiteral("cam"));
        QCOMPARE(openAtOnce({url, url, url, url}), 4);
    }
}

QTEST_GUILESS_MAIN(TestRtspFirstClients)
#include "tst_rtspfirstclients.moc"
