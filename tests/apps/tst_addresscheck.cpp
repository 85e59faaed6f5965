// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "addresscheck.h"
#include "support/rtspserver.h"
#include "support/waitfor.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

using namespace vantratest;

namespace {

CameraAddress addressOf(const QString &text)
{
    QString error;
    const CameraAddress address = CameraAddress::parse(text, &error);
    if (!address.isValid())
        qWarning() << error;
    return address;
}

/// What the check says of an address; empty if it says nothing.
QString reasonFor(const QString &text)
{
    AddressCheck check;
    QSignalSpy spy(&check, &AddressCheck::finished);
    check.start(addressOf(text));
    if (!waitFor([&] { return !spy.isEmpty(); }))
        return QString();
    return spy.first().first().toString();
}

/// Sends the same bytes to everybody, then waits or hangs up.
class FixedServer
{
public:
    FixedServer(const QByteArray &answer, bool hangUp)
    {
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [=] {
            QTcpSocket *socket = m_server.nextPendingConnection();
            socket->write(answer);
            if (hangUp)
                socket->disconnectFromHost();
        });
    }
    QString url() const { return QString("rtsp://127.0.0.1:%1/x").arg(m_server.serverPort()); }

private:
    QTcpServer m_server;
};

} // namespace

class TestAddressCheck : public QObject
{
    Q_OBJECT

private slots:
    void meaning_isPlain_data();
    void meaning_isPlain();
    void camera_withoutThePath();
    void camera_thatWantsAPassword();
    void camera_thatRefusesThePassword_isNotToldIt();
    void camera_thatAnswers();
    void port_whereNobodyListens();
    void name_thatDoesNotExist();
    void server_thatNeverAnswers();
    void server_thatSpeaksSomethingElse();
    void server_thatSendsWithoutEnd_isReadInBounds();
    void server_thatHangsUp();
    void cancel_isSilent();
    void start_whileChecking_isIgnored();
};

void TestAddressCheck::meaning_isPlain_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("word");
    QTest::newRow("ok") << QByteArray("RTSP/1.0 200 OK") << "cannot be opened";
    QTest::newRow("busy") << QByteArray("RTSP/1.0 453 Not Enough Bandwidth")
                          << "refuses the stream: 453 Not Enough Bandwidth.";
    QTest::newRow("control characters")
        << QByteArray("RTSP/1.0 500 a\x1b[31m\xff") << "500 a [31m .";
    QTest::newRow("no code") << QByteArray("RTSP/1.0") << "refuses the stream";
    QTest::newRow("http") << QByteArray("HTTP/1.1 400 Bad Request") << "does not speak RTSP";
    QTest::newRow("nothing") << QByteArray() << "does not speak RTSP";
}

void TestAddressCheck::meaning_isPlain()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, word);
    const QString meaning = AddressCheck::meaningOf(line, addressOf("rtsp://cam/x"));
    QVERIFY2(meaning.contains(word), qPrintable(meaning));
}

void TestAddressCheck::camera_withoutThePath()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264"}), qPrintable(server.log()));
    QCOMPARE(reasonFor(server.url("other")), QString("The camera has no stream with this path."));
}

void TestAddressCheck::camera_thatWantsAPassword()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264", "--authenticate", "admin:secret"}),
             qPrintable(server.log()));
    const QString reason = reasonFor(server.url("cam"));
    QVERIFY2(reason.contains("asks for a user name and password"), qPrintable(reason));
}

void TestAddressCheck::camera_thatRefusesThePassword_isNotToldIt()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264", "--authenticate", "admin:secret"}),
             qPrintable(server.log()));
    const QString reason = reasonFor(server.url("cam", "admin:wrong"));
    QVERIFY2(reason.contains("refuses the user name and password"), qPrintable(reason));
    QVERIFY(!reason.contains("wrong"));
}

void TestAddressCheck::camera_thatAnswers()
{
    RtspServer server;
    QVERIFY2(server.start({"--camera", "cam:h264"}), qPrintable(server.log()));
    QCOMPARE(reasonFor(server.url("cam")),
             QString("The camera answers, but its stream cannot be opened."));
}

void TestAddressCheck::port_whereNobodyListens()
{
    const QString reason = reasonFor(QString("rtsp://127.0.0.1:%1/x").arg(refusedPort()));
    QVERIFY2(reason.startsWith("Nothing answers at 127.0.0.1:"), qPrintable(reason));
}

void TestAddressCheck::name_thatDoesNotExist()
{
    const QString reason = reasonFor("rtsp://no-such-host.invalid/x");
    // A resolver without a network may take longer than our patience.
    QVERIFY2(reason == "There is no host with the name no-such-host.invalid." ||
                 reason == "no-such-host.invalid:554 does not answer.",
             qPrintable(reason));
}

void TestAddressCheck::server_thatNeverAnswers()
{
    SilentServer server;
    const QString reason = reasonFor(server.url());
    QVERIFY2(reason.contains("accepts the connection, but does not answer"), qPrintable(reason));
}

void TestAddressCheck::server_thatSpeaksSomethingElse()
{
    FixedServer server("220 mail.example ESMTP\r\n", false);
    const QString reason = reasonFor(server.url());
    QVERIFY2(reason.contains("does not speak RTSP"), qPrintable(reason));
}

void TestAddressCheck::server_thatSendsWithoutEnd_isReadInBounds()
{
    FixedServer server("RTSP/1.0 500 " + QByteArray(1 << 20, 'x'), false);
    const QString reason = reasonFor(server.url());
    QVERIFY2(reason.startsWith("The camera refuses the stream: 500 xxx"), qPrintable(reason));
    QVERIFY(reason.size() < 120);
}

void TestAddressCheck::server_thatHangsUp()
{
    FixedServer server("", true);
    const QString reason = reasonFor(server.url());
    QVERIFY2(reason.contains("closes the connection without an answer"), qPrintable(reason));
}

void TestAddressCheck::cancel_isSilent()
{
    FixedServer server("RTSP/1.0 200 OK\r\n", false);
    AddressCheck check;
    QSignalSpy spy(&check, &AddressCheck::finished);
    check.start(addressOf(server.url()));
    check.cancel();
    // A check of the same object that comes after it shows that the loop has run.
    QSignalSpy second(&check, &AddressCheck::finished);
    check.start(addressOf(server.url()));
    QVERIFY(waitFor([&] { return !second.isEmpty(); }));
    QCOMPARE(spy.count(), 1);
}

void TestAddressCheck::start_whileChecking_isIgnored()
{
    SilentServer silent;
    FixedServer other("RTSP/1.0 200 OK\r\n", false);
    AddressCheck check;
    QSignalSpy spy(&check, &AddressCheck::finished);
    check.start(addressOf(silent.url()));
    check.start(addressOf(other.url()));
    QVERIFY(waitFor([&] { return !spy.isEmpty(); }));
    QVERIFY(spy.first().first().toString().contains("does not answer"));
}

QTEST_GUILESS_MAIN(TestAddressCheck)
#include "tst_addresscheck.moc"
