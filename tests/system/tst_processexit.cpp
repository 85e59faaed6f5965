// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Hosts that call exit() in the midst of everything: no window is closed, nothing is stopped or
// released, and the threads that show, play, record, download and sound are at work.
#include "devicedownload.h"
#include "endrounds.h"
#include "livecase.h"
#include "playbackcase.h"
#include "support/privatepulse.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdlib>
#include <thread>

using namespace vantratest;
using namespace vantrasim;

namespace {

constexpr char kFolder[] = "VANTRA_TEST_EXIT_FOLDER"; ///< where a host records
constexpr int kTimeoutMs = 500;
constexpr int kManyFormats = 100; ///< of sound, so that its worker has something to do
enum Fault { BeginFault = 1, PictureFault, DownloadFault, NotExited };

/// A host shows two streams of a device, with sound.
int exitingLiveHost(const QByteArray &mode, HTransportProtocol protocol)
{
    Vantra::init();
    const Simulation sim = simulateDevice(smallDevice(protocol, 1, 2));
    LiveView main(protocol);
    LiveView sub(protocol);
    if (mode == "report")
        QObject::connect(&sub, &LiveView::sig_receivePlayStart, [] { std::exit(0); });
    if (!main.begin(sim.device, 0, 0) || !sub.begin(sim.device, 0, 1))
        return BeginFault;
    main.setMuted(false);
    sub.setMuted(false);
    main.recordStart(qEnvironmentVariable(kFolder));
    if (!main.showsMore(15) || !sub.showsMore())
        return PictureFault;
    for (int i = 0; mode == "much sound" && i < kManyFormats; ++i) {
        QMetaObject::invokeMethod(&main, "openAudioOutput", Q_ARG(int, 8000), Q_ARG(int, 1),
                                  Q_ARG(int, 16));
        QMetaObject::invokeMethod(&main, "playAudio", Q_ARG(QByteArray, QByteArray(320, '\0')));
    }
    std::thread other;
    if (mode == "loop")
        QTimer::singleShot(0, [] { std::exit(0); });
    else if (mode == "end of a play")
        QObject::connect(&main, &LiveView::sig_receivePlayFinsh, [] { std::exit(0); });
    else if (mode == "other thread")
        other = std::thread([] { std::exit(0); });
    else
        std::exit(0);
    if (mode == "end of a play")
        QTimer::singleShot(0, &main, [&] { main.close(); });
    QApplication::exec();
    return NotExited;
}

/// A host plays recordings.
int exitingPlaybackHost(const QByteArray &mode)
{
    const Simulation sim = simulateDevice(recorder(2, HCodecH264, HCodecG711A));
    PlaybackView first(kTimeoutMs);
    PlaybackView second(kTimeoutMs);
    if (!first.begin(sim.device, 0, at(10, 0), at(11, 0)) ||
        !second.begin(sim.device, 1, at(10, 0), at(11, 0)))
        return BeginFault;
    first.setMuted(false);
    if (!first.showsMore(5) || !second.showsMore(5))
        return PictureFault;
    if (mode == "paused playback")
        second.pause();
    std::exit(0);
}

/// A host copies recordings.
int exitingDownloadHost()
{
    const Simulation sim = simulateDevice(recorder(1, HCodecH264, HCodecG711A));
    Download download(sim.device, 0, at(10, 0), at(20, 0), qEnvironmentVariable(kFolder));
    download.thread.startDL();
    if (!waitFor([&] { return download.heard.count("pts") > 0; }, kDownloadMs))
        return DownloadFault;
    std::exit(0);
}

int exitingHost(const QByteArray &mode, int argc, char **argv)
{
    quietConsole();
    const QApplication application(argc, argv);
    if (mode.contains("playback"))
        return exitingPlaybackHost(mode);
    if (mode == "download")
        return exitingDownloadHost();
    return exitingLiveHost(mode, mode == "rtsp" ? HTransportRtsp : HTransportOrvo);
}

} // namespace

class TestProcessExit : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        quietConsole();
        QVERIFY2(pulse.start(), qPrintable(pulse.log()));
    }

    void exit_endsAtOnce_whateverIsAtWork_data();
    void exit_endsAtOnce_whateverIsAtWork();

private:
    PrivatePulse pulse;
};

void TestProcessExit::exit_endsAtOnce_whateverIsAtWork_data()
{
    QTest::addColumn<bool>("leavesAFile");
    QTest::newRow("before the loop") << true;
    QTest::newRow("much sound") << true;
    QTest::newRow("loop") << true;
    QTest::newRow("end of a play") << true;
    QTest::newRow("report") << false; // perhaps nothing has come yet
    QTest::newRow("other thread") << true;
    QTest::newRow("rtsp") << true;
    QTest::newRow("playback") << false;
    QTest::newRow("paused playback") << false;
    QTest::newRow("download") << true;
}

void TestProcessExit::exit_endsAtOnce_whateverIsAtWork()
{
    QFETCH(bool, leavesAFile);
    const QTemporaryDir folder;
    qputenv(kFolder, QFile::encodeName(folder.path()));
    hostEndsCleanly(QString::fromLatin1(QTest::currentDataTag()));
    if (QTest::currentTestFailed() || !leavesAFile)
        return;
    const QStringList files = filesBelow(folder.path());
    QCOMPARE(files.size(), 1);
    RecordedFile file;
    QCOMPARE(faultOfRecording(files.first(), &file), QString());
}

int main(int argc, char **argv)
{
    if (argc == 3 && qstrcmp(argv[1], "--host") == 0)
        return exitingHost(argv[2], argc, argv);
    QApplication application(argc, argv);
    TestProcessExit test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_processexit.moc"
