// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The smallest host, as a person uses it: started as a program of its own, watched on the screen.
#include "support/counterblocks.h"
#include "support/rtspserver.h"
#include "support/waitfor.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace vantratest;

namespace {

constexpr int kDeadlineMs = 90000; ///< safeguard
constexpr int kPictures = 10;
constexpr int kCloseTries = 6;
constexpr int kCloseTryMs = 5000;

/// Output of xdotool; empty if it fails or hangs.
QByteArray xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start("xdotool", arguments);
    if (!process.waitForFinished(10000))
        process.kill();
    return process.readAllStandardOutput().trimmed();
}

/// vantra-play, which ends with this.
class Player
{
    Q_DISABLE_COPY(Player)

public:
    explicit Player(const QStringList &arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("PULSE_SERVER", "unix:/nonexistent"); // nobody is to hear it
        environment.insert("XDG_RUNTIME_DIR", runtime.path());   // or Qt complains
        process.setProcessEnvironment(environment);
        process.start(VANTRA_PLAY, arguments);
    }
    ~Player()
    {
        process.kill();
        process.waitForFinished();
    }

    /// What the window shows, as it is on the screen; null as long as there is none.
    QImage picture()
    {
        if (window == 0) {
            const QString pid = QString::number(process.processId());
            window =
                xdotool({"search", "--onlyvisible", "--all", "--pid", pid, "--name", "^Vantra$"})
                    .toULongLong();
        }
        return window == 0 ? QImage()
                           : QGuiApplication::primaryScreen()->grabWindow(window).toImage();
    }

    /// The counter on the screen, if one can be read.
    std::optional<quint32> counter() { return readCounter(picture()); }

    /// Whether so many different pictures come, each later than the one before.
    bool showsPictures()
    {
        QVector<quint32> seen;
        return waitFor(
            [&] {
                const auto now = counter();
                if (now && (seen.isEmpty() || *now > seen.last()))
                    seen.append(*now);
                return seen.size() >= kPictures;
            },
            kDeadlineMs);
    }

    /// Closes the window as its owner does, who presses the keys again if a busy window manager has
    /// missed them.
    void close()
    {
        const auto ended = [this] { return process.state() == QProcess::NotRunning; };
        for (int i = 0; i < kCloseTries && !ended(); ++i) {
            xdotool({"windowactivate", QString::number(window)});
            xdotool({"key", "--clearmodifiers", "alt+F4"});
            waitFor(ended, kCloseTryMs);
        }
    }

    /// Exit status; -1 if it does not end, or crashes.
    int exitCode()
    {
        const bool ended =
            waitFor([&] { return process.state() == QProcess::NotRunning; }, kDeadlineMs);
        return ended && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QString errors() { return QString::fromUtf8(process.readAllStandardError()); }

private:
    QTemporaryDir runtime;
    QProcess process;
    quint64 window = 0;
};

} // namespace

class TestPlay : public QObject
{
    Q_OBJECT

private slots:
    void showsPictures_beginsAgainAfterAKill_andEndsWell_data();
    void showsPictures_beginsAgainAfterAKill_andEndsWell();
    void closedWithoutServer_endsWell();
    void wrongUse_endsWithTwo();
};

void TestPlay::showsPictures_beginsAgainAfterAKill_andEndsWell_data()
{
    QTest::addColumn<QString>("camera");
    // The window is 960 by 540, of the shape of the picture, and its frame is a few pixels wide.
    QTest::newRow("H.264 with sound") << "cam:h264:pcma:640x360:gop=10";
    QTest::newRow("H.265 without") << "cam:h265:none:640x360:gop=10";
}

void TestPlay::showsPictures_beginsAgainAfterAKill_andEndsWell()
{
    QFETCH(QString, camera);
    RtspServer server;
    QVERIFY2(server.start({"--camera", camera}), qPrintable(server.log()));
    Player player({server.url("cam")});
    QVERIFY2(player.showsPictures(), qPrintable(player.errors()));

    server.kill();
    // The picture goes, and the text for none is there instead.
    QVERIFY(waitFor([&] { return !player.counter(); }, kDeadlineMs));
    QVERIFY(!player.picture().isNull());
    QVERIFY2(server.restart(), qPrintable(server.log()));
    QVERIFY2(player.showsPictures(), qPrintable(player.errors()));

    player.close();
    QCOMPARE(player.exitCode(), 0);
}

void TestPlay::closedWithoutServer_endsWell()
{
    Player player({QStringLiteral("rtsp://127.0.0.1:%1/none").arg(refusedPort())});
    QVERIFY(waitFor([&] { return !player.picture().isNull(); }, kDeadlineMs));
    QVERIFY(!player.counter());
    player.close();
    QCOMPARE(player.exitCode(), 0);
}

void TestPlay::wrongUse_endsWithTwo()
{
    Player player({});
    QCOMPARE(player.exitCode(), 2);
    QCOMPARE(player.errors(), QStringLiteral("usage: vantra-play rtsp://HOST/PATH\n"));
}

QTEST_MAIN(TestPlay)
#include "tst_play.moc"
