// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// Every form of stream against a real RTSP server and a real sound server: what leaves the camera
// arrives in the pixels of the widget and in the speaker, all of it.
#include "support/privatepulse.h"
#include "support/rounds.h"
#include "support/rtspserver.h"
#include "support/tone.h"
#include "systemcase.h"

#include <QApplication>
#include <QTest>

#include <cmath>

using namespace vantratest;

namespace {

constexpr int kFps = 25;
constexpr int kSampleRate = 8000; ///< Hz, of the camera
constexpr double kHertz = 440;
constexpr int kHeardLateMs = 100;
constexpr int kPlayMs = 90000; ///< safeguard
constexpr int kMostAttempts = 4;

/// To be shown in each form, at the server's pace: groups of pictures.
int wantedPictures()
{
    return kFps * roundsOf(5, 3);
}

/// Empty if each picture has the counter after that of the picture before.
QString gaps(const QVector<qint64> &counters)
{
    QString found;
    for (int i = 0; i < counters.size(); ++i) {
        if (counters[i] == PlayView::kNoCounter || (i > 0 && counters[i] != counters[i - 1] + 1))
            found += QStringLiteral(" picture %1: %2").arg(i).arg(counters[i]);
    }
    return found;
}

/// What the thread of a view sends of sound.
class SoundNotes : public QObject
{
    Q_DISABLE_COPY(SoundNotes)

public:
    explicit SoundNotes(AbstractVideoThread *thread)
    {
        connect(thread, &AbstractVideoThread::receiveAudioFormat, this,
                [this](int rate, int channels, int bits) {
                    formats.append(QStringLiteral("%1:%2:%3").arg(rate).arg(channels).arg(bits));
                });
        connect(thread, &AbstractVideoThread::receiveAudio, this,
                [this](const QByteArray &block) { pcm += block; });
    }

    QStringList formats;
    QByteArray pcm;
};

} // namespace

class TestMatrix : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void everyPictureIsShown_andTheToneIsHeard_data();
    void everyPictureIsShown_andTheToneIsHeard();

private:
    void play(const QString &name, const QString &transport, const QString &sound, bool *lost);

    QString gapsFound; ///< by the last play
    PrivatePulse pulse;
    RtspServer server;
};

void TestMatrix::initTestCase()
{
    quietConsole();
    QVERIFY2(pulse.start(), qPrintable(pulse.log()));
    QStringList arguments;
    for (const char *codec : {"h264", "h265"}) {
        for (const char *sound : {"pcma", "pcmu", "none"})
            arguments << "--camera" << QStringLiteral("%1%2:%1:%2").arg(codec, sound);
    }
    QVERIFY2(server.start(arguments), qPrintable(server.log()));
}

void TestMatrix::everyPictureIsShown_andTheToneIsHeard_data()
{
    QTest::addColumn<QString>("codec");
    QTest::addColumn<QString>("sound");
    QTest::addColumn<QString>("transport");
    for (const char *codec : {"h264", "h265"}) {
        for (const char *sound : {"pcma", "pcmu", "none"}) {
            for (const char *transport : {"tcp", "udp"})
                QTest::newRow(qPrintable(QStringLiteral("%1 %2 %3").arg(codec, sound, transport)))
                    << codec << sound << transport;
        }
    }
}

void TestMatrix::everyPictureIsShown_andTheToneIsHeard()
{
    QFETCH(QString, codec);
    QFETCH(QString, sound);
    QFETCH(QString, transport);
    bool lost = true;
    for (int attempt = 1; lost; ++attempt) {
        const qint64 dropped = droppedDatagrams();
        play(codec + sound, transport, sound, &lost);
        if (QTest::currentTestFailed())
            return;
        // Over UDP a picture may be missing, if and only if the kernel owns up to it.
        const bool excused = transport == "udp" && droppedDatagrams() > dropped;
        QVERIFY2(!lost || (excused && attempt < kMostAttempts), qPrintable(gapsFound));
    }
}

void TestMatrix::play(const QString &name, const QString &transport, const QString &sound,
                      bool *lost)
{
    const bool silent = sound == "none";
    announceStop(log.get());
    if (silent)
        announceNoSound(log.get(), server.url(name));

    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    PlayView view(server.url(name), transport);
    view.setTimeouts(20000, 20000);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    QVERIFY(view.start());
    holdForEachPicture(&view);
    SoundNotes notes(view.thread());
    const int wanted = wantedPictures();
    QVERIFY(waitFor([&] { return view.pictures() >= wanted; }, kPlayMs));
    const int samples = notes.pcm.size() / 4; // two channels of 16 bits
    const int shown = view.pictures();

    gapsFound = gaps(view.counters());
    *lost = !gapsFound.isEmpty();
    QCOMPARE(view.pictureSize(), QSize(640, 360));
    QCOMPARE(view.thread()->getFrameRate(), kFps);
    QCOMPARE(view.playStarts(), 1);
    QCOMPARE(view.playEnds(), 0);

    if (silent) {
        QCOMPARE(notes.formats, QStringList());
        QCOMPARE(samples, 0);
    } else {
        QCOMPARE(notes.formats, QStringList("8000:2:16"));
        // The sound is the clock by which 25 pictures come in each of its seconds; both may be cut
        // off within a second of each other. Over UDP they come by two sockets, of which a client
        // that is late empties the one of the pictures first.
        const double fps = double(shown) * kSampleRate / samples;
        const double apart = shown / double(kFps) - samples / double(kSampleRate);
        QVERIFY2(transport != "tcp" || std::abs(apart) < 1.0, qPrintable(QString::number(fps)));
        QByteArray heard;
        QVERIFY(waitFor([&] {
            heard = recorder.last(kHeardLateMs);
            return hasTone(heard, SinkRecorder::kSampleRate, kHertz);
        }));
        const double hertz = zeroCrossingHertz(heard, SinkRecorder::kSampleRate);
        QVERIFY2(std::abs(hertz - kHertz) < 5, qPrintable(QString::number(hertz)));
    }
    QVERIFY(endPlay(&view));
    if (silent)
        QVERIFY(!hasTone(recorder.pcm(), SinkRecorder::kSampleRate, kHertz));
}

QTEST_MAIN(TestMatrix)
#include "tst_matrix.moc"
