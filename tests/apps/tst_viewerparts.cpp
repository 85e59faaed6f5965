// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "camerafiles.h"
#include "options.h"
#include "playbackstate.h"
#include "statistics.h"
#include "statusoverlay.h"
#include "support/waitfor.h"
#include "theme.h"
#include "viewgrid.h"
#include "viewstate.h"

#include <QDirIterator>
#include <QSvgRenderer>
#include <QtTest>

/// The parts of the viewer that need no stream: command line, summary, words, drawings.
class TestViewerParts : public QObject
{
    Q_OBJECT

private slots:
    void options_defaults();
    void options_allTaken();
    void options_refused_data();
    void options_refused();
    void options_helpAndVersion();
    void meter_countsAndGivesTheRate();
    void meter_forgetsTheRateButNotTheCount();
    void summary_hasALineForEachView();
    void state_isToldInWords_data();
    void state_isToldInWords();
    void playback_isToldInWords_data();
    void playback_isToldInWords();
    void everyIconOfTheViewer_isReadable_data();
    void everyIconOfTheViewer_isReadable();
    void link_isGone_whenLostOrLongAway();
    void overlay_showsTheNameThatIsTrueNow();
    void cameras_haveNamesAndFoldersOfTheirOwn();
    void nameOfAFile_holdsNothingThatAPathWouldMean();
    void grid_growsWithTheCameras();
    void disabledIcon_isMuchDarker();
    void label_fitsItsText();
    void label_isShortened_whenThereIsNoRoom();
};

void TestViewerParts::options_defaults()
{
    const Options options = Options::parse({"vantra-viewer"});
    QCOMPARE(options.action, Options::Action::Run);
    QVERIFY(options.cameras.isEmpty());
    QVERIFY(!options.simulate);
    QCOMPARE(options.transport, QString("tcp"));
    QVERIFY(!options.isTimed());
    QVERIFY(!options.record);
    QCOMPARE(options.page, PageTabs::Live);
    QVERIFY2(QDir::isAbsolutePath(options.folder) && options.folder.endsWith("/Vantra"),
             qPrintable(options.folder));
    QVERIFY(!options.opengl);
    QVERIFY(!options.verbose);
}

void TestViewerParts::options_allTaken()
{
    const Options options = Options::parse({"vantra-viewer",
                                            "--transport",
                                            "udp",
                                            "rtsp://a/1",
                                            "--screenshot",
                                            "x.png",
                                            "--after=3",
                                            "--seconds",
                                            "9",
                                            "--verbose",
                                            "--record",
                                            "--folder",
                                            "films",
                                            "--simulate",
                                            "--page",
                                            "downloads",
                                            "--render",
                                            "opengl",
                                            "rtsp://b/2,rtsp://b/3",
                                            "rtsp://c/a,b"});
    QCOMPARE(options.action, Options::Action::Run);
    QVERIFY(options.simulate);
    QCOMPARE(options.page, PageTabs::Downloads);
    QCOMPARE(options.cameras.size(), 3);
    QCOMPARE(options.cameras[0].main.name(), QString("a/1"));
    QVERIFY(!options.cameras[0].sub.isValid());
    QCOMPARE(options.cameras[1].main.name(), QString("b/2"));
    QCOMPARE(options.cameras[1].sub.name(), QString("b/3"));
    QCOMPARE(options.cameras[2].main.name(), QString("c/a,b")); // a comma like any other
    QVERIFY(!options.cameras[2].sub.isValid());
    QCOMPARE(options.transport, QString("udp"));
    QCOMPARE(options.screenshot, QString("x.png"));
    QCOMPARE(options.afterSeconds, 3);
    QCOMPARE(options.seconds, 9);
    QVERIFY(options.isTimed());
    QVERIFY(options.opengl);
    QVERIFY(options.verbose);
    QVERIFY(options.record);
    QCOMPARE(options.folder, QString("films"));
}

void TestViewerParts::options_refused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("word");
    QTest::newRow("unknown option") << QStringList{"--colour"} << "colour";
    QTest::newRow("transport") << QStringList{"--transport", "pigeon"} << "tcp or udp";
    QTest::newRow("page") << QStringList{"--page", "two"} << "live, playback or downloads";
    QTest::newRow("render") << QStringList{"--render", "ink"} << "painter or opengl";
    QTest::newRow("seconds") << QStringList{"--seconds", "soon"} << "--seconds";
    QTest::newRow("no seconds") << QStringList{"--seconds", "0"} << "--seconds";
    QTest::newRow("negative") << QStringList{"--after=-1"} << "--after";
    QTest::newRow("value missing") << QStringList{"--after"} << "after";
    QTest::newRow("no file") << QStringList{"--screenshot", ""} << "--screenshot";
    QTest::newRow("no folder") << QStringList{"--folder="} << "--folder";
    QTest::newRow("second address")
        << QStringList{"rtsp://a/1", "rtsp://u:secret@:1"} << "address 2:";
    QTest::newRow("bad sub stream") << QStringList{"rtsp://a/1,rtsp://u:secret@:1"} << "address 1:";
    QTest::newRow("three streams") << QStringList{"rtsp://a/1,rtsp://a/2,rtsp://a/3"} << "two";
}

void TestViewerParts::options_refused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, word);
    const Options options = Options::parse(QStringList{"vantra-viewer"} + arguments);
    QCOMPARE(options.action, Options::Action::Refuse);
    QVERIFY2(options.message.contains(word), qPrintable(options.message));
    QVERIFY(options.message.contains("--help"));
    QVERIFY(!options.message.contains("secret"));
}

void TestViewerParts::options_helpAndVersion()
{
    const Options help = Options::parse({"vantra-viewer", "--help", "rtsp://bad:"});
    QCOMPARE(help.action, Options::Action::ShowHelp);
    for (const char *option :
         {"--page", "--transport", "--seconds", "--screenshot", "--after", "--folder", "--record",
          "--render", "--verbose", "--help", "--version"})
        QVERIFY2(help.message.contains(option), option);
    const Options version = Options::parse({"vantra-viewer", "--version"});
    QCOMPARE(version.action, Options::Action::ShowVersion);
    QVERIFY(QRegularExpression("^vantra-viewer \\d+\\.\\d+\\.\\d+\n$")
                .match(version.message)
                .hasMatch());
}

void TestViewerParts::meter_countsAndGivesTheRate()
{
    PictureMeter meter;
    QCOMPARE(meter.rate(), 0.0);
    for (int i = 0; i < 30; ++i)
        meter.countPicture();
    QCOMPARE(meter.shown(), quint64(30));
    QVERIFY(vantratest::waitFor([&] {
        meter.sample();
        return meter.rate() > 0;
    }));
    QVERIFY(meter.rate() <= 30);
    // A second without pictures.
    QVERIFY(vantratest::waitFor([&] {
        meter.sample();
        return meter.rate() == 0;
    }));
    QCOMPARE(meter.shown(), quint64(30));
}

void TestViewerParts::meter_forgetsTheRateButNotTheCount()
{
    PictureMeter meter;
    meter.countPicture();
    QVERIFY(vantratest::waitFor([&] {
        meter.sample();
        return meter.rate() > 0;
    }));
    meter.pause();
    QCOMPARE(meter.rate(), 0.0);
    QCOMPARE(meter.shown(), quint64(1));
}

void TestViewerParts::summary_hasALineForEachView()
{
    const QString table = summaryTable({{"cam/1", "live", QSize(640, 360), 250, 25, {}},
                                        {"a-longer-name/2", "no picture: why", QSize(), 0, 0, {}}},
                                       12.4);
    QCOMPARE(table,
             QString("view  name             size     pictures  per second  state\n"
                     "1     cam/1            640x360       250        25.0  live\n"
                     "2     a-longer-name/2  -               0         0.0  no picture: why\n"
                     "streams 2, with pictures 1, pictures shown 250, 25.0 per second, "
                     "CPU 12 % of one core\n"));
}

Q_DECLARE_METATYPE(ViewFacts)

void TestViewerParts::state_isToldInWords_data()
{
    QTest::addColumn<ViewFacts>("facts");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("detail");
    QTest::addColumn<QString>("line");
    const QDateTime last(QDate::currentDate(), QTime(12, 34, 56));
    const QDateTime longAgo(QDate(2026, 5, 1), QTime(12, 34, 56));
    using S = ViewState;
    QTest::newRow("stopped") << ViewFacts{S::Stopped, false, false, true, "", last} << "Stopped"
                             << "Press Space to start."
                             << "stopped";
    QTest::newRow("at first") << ViewFacts{S::Connecting, false, false, false, "", {}}
                              << "Connecting"
                              << ""
                              << "connecting";
    QTest::newRow("failing") << ViewFacts{S::Connecting, false, true, false, "", {}} << "No picture"
                             << "Trying again."
                             << "connecting";
    QTest::newRow("reason known") << ViewFacts{S::Connecting, false,           true,
                                               false,         "Nobody\nhome.", {}}
                                  << "No picture"
                                  << "Nobody\nhome.\nTrying again."
                                  << "no picture: Nobody home.";
    QTest::newRow("open and mute")
        << ViewFacts{S::Connecting, true, true, false, "", {}} << "No picture"
        << "The camera is connected, but sends no picture.\n"
           "Trying again."
        << "connecting";
    QTest::newRow("lost") << ViewFacts{S::Connecting, false, false, true, "", last} << "No signal"
                          << "Last picture at 12:34:56. Trying again."
                          << "no signal";
    QTest::newRow("lost days ago")
        << ViewFacts{S::Connecting, false, false, true, "", longAgo} << "No signal"
        << "Last picture at 2026-05-01 12:34:56. Trying again."
        << "no signal";
    QTest::newRow("gone") << ViewFacts{S::Connecting, false, true, true, "It is gone.", last}
                          << "No signal"
                          << "It is gone.\nLast picture at 12:34:56. Trying again."
                          << "no signal: It is gone.";
    QTest::newRow("another stream")
        << ViewFacts{S::NoSignal, true, false, true, "", last, true} << "Changing the stream"
        << "Last picture at 12:34:56."
        << "no signal";
    QTest::newRow("frozen") << ViewFacts{S::NoSignal, true, false, true, "", last} << "No signal"
                            << "Last picture at 12:34:56."
                            << "no signal";
    QTest::newRow("live") << ViewFacts{S::Live, true, false, true, "", last} << ""
                          << ""
                          << "live";
}

void TestViewerParts::state_isToldInWords()
{
    QFETCH(ViewFacts, facts);
    const StatusOverlay::Message message = describe(facts);
    QTEST(message.title, "title");
    QTEST(message.detail, "detail");
    QTEST(stateText(facts), "line");
    // Only there is an old picture to be seen through the veil.
    QCOMPARE(message.veil, facts.state == ViewState::NoSignal);
}

Q_DECLARE_METATYPE(PlaybackFacts)

void TestViewerParts::playback_isToldInWords_data()
{
    QTest::addColumn<PlaybackFacts>("facts");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("detail");
    QTest::addColumn<QString>("line");
    const QDate day(2026, 3, 14);
    const qint64 time = recordingtime::of(day) + 9 * recordingtime::hourMs + 5040;
    using S = PlaybackState;
    QTest::newRow("empty") << PlaybackFacts{S::Empty, "", -1, day} << "Empty"
                           << "Drag a camera here from the list."
                           << "empty";
    QTest::newRow("ready") << PlaybackFacts{S::Ready, "", time, day} << "Ready"
                           << "Press Space to play from 09:00:05, or click the line below."
                           << "ready";
    QTest::newRow("missing") << PlaybackFacts{S::Ready, "", time, day, true} << "Nothing recorded"
                             << "There is no recording of 2026-03-14. Choose another day."
                             << "ready";
    QTest::newRow("opening") << PlaybackFacts{S::Opening, "", time, day} << "Opening the recording"
                             << ""
                             << "opening";
    QTest::newRow("opening late") << PlaybackFacts{S::Opening, "Soon.", time, day}
                                  << "Opening the recording"
                                  << "Soon."
                                  << "opening";
    QTest::newRow("playing") << PlaybackFacts{S::Playing, "", time, day} << ""
                             << ""
                             << "playing";
    QTest::newRow("paused") << PlaybackFacts{S::Paused, "", time, day} << ""
                            << ""
                            << "paused";
    QTest::newRow("gap") << PlaybackFacts{S::Gap, "", time, day} << "Nothing recorded"
                         << "The recording goes on at 09:00:05; the other playbacks are not there "
                            "yet."
                         << "in a gap";
    QTest::newRow("silent") << PlaybackFacts{S::Waiting, "", time, day} << "No pictures"
                            << "The device sends nothing.\nPress Space to try again."
                            << "no pictures";
    QTest::newRow("gone") << PlaybackFacts{S::Waiting, "It is gone.", time, day, false, true}
                          << "No pictures"
                          << "It is gone.\nPlay goes on when it is back."
                          << "no pictures: It is gone.";
    QTest::newRow("ended") << PlaybackFacts{S::Ended, "", time, day} << "End of the recording"
                           << "Played to 09:00:05.\nPress Space to play again, or choose a time."
                           << "ended";
    QTest::newRow("failed") << PlaybackFacts{S::Failed, "It refuses.", time, day} << "Not played"
                            << "It refuses.\nPress Space to try again."
                            << "not played: It refuses.";
}

void TestViewerParts::playback_isToldInWords()
{
    QFETCH(PlaybackFacts, facts);
    const StatusOverlay::Message message = describe(facts);
    QTEST(message.title, "title");
    QTEST(message.detail, "detail");
    QTEST(stateText(facts), "line");
    QCOMPARE(message.veil, facts.state == PlaybackState::Waiting);
}

void TestViewerParts::link_isGone_whenLostOrLongAway()
{
    LinkWatch watch;
    QCOMPARE(watch.look(1000, false), LinkState::Connecting);
    QCOMPARE(watch.look(1000 + LinkWatch::kGoneAfterMs - 1, false), LinkState::Connecting);
    QCOMPARE(watch.look(1000 + LinkWatch::kGoneAfterMs, false), LinkState::Gone);
    QCOMPARE(watch.look(20000, true), LinkState::Connected);
    QCOMPARE(watch.look(20001, false), LinkState::Gone);
    QCOMPARE(watch.look(20002, true), LinkState::Connected);
    QCOMPARE(linkText(LinkState::Gone), QString("gone"));
}

void TestViewerParts::overlay_showsTheNameThatIsTrueNow()
{
    QWidget view;
    view.resize(320, 180);
    StatusOverlay overlay(&view);
    overlay.resize(view.size());
    view.show();
    StatusOverlay::Message message = describeEmpty();
    message.name = "Gate";
    overlay.showMessage(message);
    const QImage former = overlay.grab().toImage();
    message.name = "Roof";
    overlay.showMessage(message);
    QVERIFY(overlay.grab().toImage() != former);
}

void TestViewerParts::nameOfAFile_holdsNothingThatAPathWouldMean()
{
    const QString name = CameraFiles::nameFor("[::1]:99/a/../b c%2F\\d");
    QVERIFY2(!name.contains('/') && !name.contains(':') && !name.contains('\\'), qPrintable(name));
}

void TestViewerParts::cameras_haveNamesAndFoldersOfTheirOwn()
{
    Device recorder{"Recorder (A)", {}, {"Gate", "Yard"}, {}};
    const QVector<Camera> cameras = recorder.cameras();
    QCOMPARE(cameras.size(), 2);
    QCOMPARE(cameras[1].name, QString("Recorder (A) · Yard"));
    QCOMPARE(cameras[1].channel, 1);
    QCOMPARE(cameras[1].fileName(), QString("Recorder__A____Yard"));
    QVERIFY(cameras[0].key != cameras[1].key);
    // One channel needs no name beside that of its device.
    QCOMPARE(Device({"Door", {}, {"Camera"}, {}}).cameras().first().name, QString("Door"));
}

void TestViewerParts::grid_growsWithTheCameras()
{
    const QVector<QPair<int, int>> sizes{{0, 1}, {1, 1}, {2, 4},   {4, 4},
                                         {5, 9}, {9, 9}, {10, 16}, {99, 16}};
    for (const auto &size : sizes)
        QCOMPARE(ViewGrid::sizeFor(size.first), size.second);
}

void TestViewerParts::everyIconOfTheViewer_isReadable_data()
{
    QTest::addColumn<QString>("path");
    QDirIterator icons(":/viewer/icons");
    while (icons.hasNext()) {
        const QString path = icons.next();
        QTest::newRow(qPrintable(icons.fileName())) << path;
    }
}

void TestViewerParts::everyIconOfTheViewer_isReadable()
{
    QFETCH(QString, path);
    QVERIFY(QSvgRenderer(path).isValid());
    const QImage image = QIcon(path).pixmap(16).toImage();
    int inked = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            inked += qAlpha(image.pixel(x, y)) > 127;
    QVERIFY2(inked >= 10, "next to nothing is drawn");
}

void TestViewerParts::disabledIcon_isMuchDarker()
{
    const auto alphaSum = [](QIcon::Mode mode) {
        const QImage image = theme::icon("play").pixmap(QSize(20, 20), mode).toImage();
        int sum = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                sum += qAlpha(image.pixel(x, y));
        return sum;
    };
    QVERIFY(alphaSum(QIcon::Normal) > 0);
    QVERIFY(alphaSum(QIcon::Disabled) > 0);
    QVERIFY(alphaSum(QIcon::Disabled) * 2 < alphaSum(QIcon::Normal));
}

void TestViewerParts::label_fitsItsText()
{
    const QImage narrow = theme::label("cam", 1);
    const QImage wide = theme::label("a camera with a longer name", 1);
    QVERIFY(wide.width() > narrow.width());
    QCOMPARE(narrow.height(), theme::labelHeight());
    const QImage sharp = theme::label("cam", 2);
    QCOMPARE(sharp.size(), narrow.size() * 2);
    QCOMPARE(sharp.devicePixelRatio(), 2.0);
}

void TestViewerParts::label_isShortened_whenThereIsNoRoom()
{
    QCOMPARE(theme::label("a camera with a longer name", 1, 80).width(), 80);
    QVERIFY(theme::label("cam", 1, 5).isNull());
}

QTEST_MAIN(TestViewerParts)
#include "tst_viewerparts.moc"
