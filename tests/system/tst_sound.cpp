// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The sound of a camera on its way through a widget to a real sound server.
#include "core_audio/audioplayer.h"
#include "core_audio/audiothread.h"
#include "support/privatepulse.h"
#include "support/rtspserver.h"
#include "support/tone.h"
#include "systemcase.h"

#include <QApplication>
#include <QTest>
#include <QtEndian>

#include <cmath>

using namespace vantratest;

namespace {

constexpr double kHertz = 440;
constexpr double kOtherHertz = 1000;
/// Of the tone in each of two channels: 12000 in the one of the camera, and 3 dB less.
constexpr double kAmplitude = 12000 * M_SQRT1_2 / 32767;
constexpr double kToleranceOfVolume = 0.03;
constexpr int kHeardLateMs = 100;
constexpr int kSilenceMs = 300;
constexpr int kHeardMs = 60000; ///< safeguard
constexpr int kRate = SinkRecorder::kSampleRate;

/// A view whose audio thread a test may ask.
class SoundView : public PlayView
{
    Q_DISABLE_COPY(SoundView)

public:
    using PlayView::PlayView;
    AudioThread *audio() const { return audioThread.data(); }
};

bool isSilent(const QByteArray &pcm)
{
    return std::all_of(pcm.begin(), pcm.end(), [](char byte) { return byte == 0; });
}

} // namespace

class TestSound : public LoggedTest
{
    Q_OBJECT

protected:
    void setUp() override;
    void tearDown() override { recorder.reset(); }

private slots:
    void initTestCase();

    void tone_isHeard_atItsFrequencyAndLoudness_data();
    void tone_isHeard_atItsFrequencyAndLoudness();
    void muted_isSilent_whilePicturesAndSoundKeepComing();
    void volume_followsTheLogarithmicScale();
    void stop_isSilent_andAStartIsHeardAgain();
    void twoViews_areHeardTogether();
    void level_isThatOfTheTone();
    void calcLevel_reachesTheAudioThread();

private:
    bool startView(SoundView *view);
    /// Waits until the last of what is played is a tone and hardly anything else.
    bool isHeard(double hertz, ToneMeasure *measure = nullptr);
    bool silenceFalls();

    PrivatePulse pulse;
    RtspServer server;
    std::unique_ptr<SinkRecorder> recorder;
};

void TestSound::initTestCase()
{
    quietConsole();
    QVERIFY2(pulse.start(), qPrintable(pulse.log()));
    QVERIFY2(
        server.start({"--camera", "alaw:h264:pcma:320x180", "--camera", "ulaw:h265:pcmu:320x180",
                      "--camera", "other:h264:pcmu:320x180:tone=1000"}),
        qPrintable(server.log()));
}

void TestSound::setUp()
{
    announceStop(log.get());
    recorder = std::make_unique<SinkRecorder>();
    QVERIFY(recorder->waitUntilRunning());
}

bool TestSound::startView(SoundView *view)
{
    view->setTimeouts(20000, 20000);
    view->show();
    return view->start();
}

bool TestSound::isHeard(double hertz, ToneMeasure *measure)
{
    return waitFor(
        [&] {
            const ToneMeasure heard = bestTone(recorder->last(kHeardLateMs), kRate, hertz);
            if (measure)
                *measure = heard;
            return heard.purity > 0.98;
        },
        kHeardMs);
}

bool TestSound::silenceFalls()
{
    recorder->clear();
    return waitFor(
        [&] {
            const QByteArray last = recorder->last(kSilenceMs);
            return last.size() >= kRate / 1000 * kSilenceMs * 2 && isSilent(last);
        },
        kHeardMs);
}

void TestSound::tone_isHeard_atItsFrequencyAndLoudness_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<QString>("transport");
    QTest::addColumn<double>("hertz");
    QTest::newRow("A-law, TCP") << "alaw"
                                << "tcp" << kHertz;
    QTest::newRow("A-law, UDP") << "alaw"
                                << "udp" << kHertz;
    QTest::newRow("mu-law, TCP") << "ulaw"
                                 << "tcp" << kHertz;
    QTest::newRow("mu-law, UDP") << "ulaw"
                                 << "udp" << kHertz;
    QTest::newRow("another tone") << "other"
                                  << "tcp" << kOtherHertz;
}

void TestSound::tone_isHeard_atItsFrequencyAndLoudness()
{
    QFETCH(QString, camera);
    QFETCH(QString, transport);
    QFETCH(double, hertz);
    QVERIFY(isSilent(recorder->pcm()));
    SoundView view(server.url(camera), transport);
    QVERIFY(startView(&view));
    ToneMeasure measure;
    QVERIFY(isHeard(hertz, &measure));
    QVERIFY2(std::abs(measure.amplitude / kAmplitude - 1) < kToleranceOfVolume,
             qPrintable(QString::number(measure.amplitude)));
    QByteArray heard;
    QVERIFY(waitFor(
        [&] {
            heard = recorder->last(kHeardLateMs);
            return hasTone(heard, kRate, hertz);
        },
        kHeardMs));
    const double measured = zeroCrossingHertz(heard, kRate);
    QVERIFY2(std::abs(measured - hertz) < 5, qPrintable(QString::number(measured)));
    QVERIFY(endPlay(&view));
}

void TestSound::muted_isSilent_whilePicturesAndSoundKeepComing()
{
    SoundView view(server.url("alaw"));
    QVERIFY(startView(&view));
    QVERIFY(isHeard(kHertz));
    view.setMuted(true);
    QVERIFY(silenceFalls());
    // It is the mute that silences it: pictures and sound of another second come meanwhile.
    QByteArray sound;
    connect(view.thread(), &AbstractVideoThread::receiveAudio, &view,
            [&](const QByteArray &block) { sound += block; });
    view.forget();
    recorder->clear();
    QVERIFY(waitFor([&] { return view.pictures() >= 25 && sound.size() >= 8000 * 4; }, kHeardMs));
    QVERIFY(!recorder->pcm().isEmpty());
    QVERIFY(isSilent(recorder->pcm()));
    view.setMuted(false);
    QVERIFY(isHeard(kHertz));
    QVERIFY(endPlay(&view));
}

void TestSound::volume_followsTheLogarithmicScale()
{
    SoundView view(server.url("alaw"));
    QVERIFY(startView(&view));
    QVERIFY(isHeard(kHertz));
    const struct
    {
        int volume;
        double linear; // -ln(1 - volume / 100) / ln 100
    } steps[] = {{75, 0.30103}, {50, 0.150515}, {20, 0.0484550}, {100, 1.0}};
    for (const auto &step : steps) {
        view.setVolume(step.volume);
        ToneMeasure heard;
        const bool reached = waitFor(
            [&] {
                heard = bestTone(recorder->last(kHeardLateMs), kRate, kHertz);
                return heard.purity > 0.98 &&
                       std::abs(heard.amplitude / (kAmplitude * step.linear) - 1) <
                           kToleranceOfVolume;
            },
            kHeardMs);
        QVERIFY2(reached, qPrintable(QString("%1: %2").arg(step.volume).arg(heard.amplitude)));
    }
    view.setVolume(0);
    QVERIFY(silenceFalls());
    QVERIFY(endPlay(&view));
}

void TestSound::stop_isSilent_andAStartIsHeardAgain()
{
    SoundView view(server.url("ulaw"));
    QVERIFY(startView(&view));
    QVERIFY(isHeard(kHertz));
    view.stop();
    QVERIFY(silenceFalls());
    QVERIFY(view.start());
    QVERIFY(isHeard(kHertz));
    QVERIFY(endPlay(&view));
}

void TestSound::twoViews_areHeardTogether()
{
    SoundView view(server.url("alaw"));
    SoundView other(server.url("other"));
    QVERIFY(startView(&view));
    QVERIFY(startView(&other));
    // Each has half of the energy.
    QVERIFY(waitFor(
        [&] {
            const QByteArray last = recorder->last(kHeardLateMs);
            const double one = bestTone(last, kRate, kHertz).purity;
            const double two = bestTone(last, kRate, kOtherHertz).purity;
            return one > 0.45 && two > 0.45 && one + two > 0.98;
        },
        kHeardMs));
    view.setMuted(true);
    QVERIFY(isHeard(kOtherHertz));
    QVERIFY(endPlay(&view));
    QVERIFY(endPlay(&other));
}

void TestSound::level_isThatOfTheTone()
{
    SoundView view(server.url("alaw"));
    AudioPlayer player;
    player.openAudioOutput(8000, 2, 16);
    player.setLevel(true);
    QVector<double> levels;
    QVector<double> peaks;
    connect(&player, &AudioPlayer::receiveLevel, &view,
            [&](double level) { levels.append(level); });
    QVERIFY(startView(&view));
    connect(view.thread(), &AbstractVideoThread::receiveAudio, &view, [&](const QByteArray &pcm) {
        int peak = 0;
        for (int at = 0; at < pcm.size(); at += 2)
            peak = std::max(peak, std::abs(int(qFromLittleEndian<qint16>(pcm.constData() + at))));
        peaks.append(peak / 32767.0);
        player.play(pcm.constData(), pcm.size());
    });
    QVERIFY(waitFor([&] { return levels.size() >= 50; }, kHeardMs));
    QCOMPARE(levels, peaks);
    for (double level : levels) {
        QVERIFY2(std::abs(level / kAmplitude - 1) < kToleranceOfVolume,
                 qPrintable(QString::number(level)));
    }
    QVERIFY(endPlay(&view));
}

void TestSound::calcLevel_reachesTheAudioThread()
{
    SoundView view(server.url("alaw"));
    view.setCalcLevel(true); // without an audio thread, nothing is kept
    QVERIFY(startView(&view));
    QVERIFY(isHeard(kHertz));
    QVERIFY(!view.audio()->getLevel());
    view.setCalcLevel(true);
    QVERIFY(waitFor([&] { return view.audio()->getLevel(); }));
    view.setCalcLevel(false);
    QVERIFY(waitFor([&] { return !view.audio()->getLevel(); }));
    QVERIFY(endPlay(&view));
}

QTEST_MAIN(TestSound)
#include "tst_sound.moc"
