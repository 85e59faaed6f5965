// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playertest.h"

#include <QSignalSpy>

#include <cmath>

using namespace vantratest;

/// Mute and volume of the player.
class TestAudioPlayerVolume : public PlayerTest
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(pulse.start(), qPrintable(pulse.log())); }

    void muted_silencesTheSpeaker();
    void muted_isInForce_whenItIsTold();
    void volume_followsTheLogarithmicScale();
    void volume_100_isLinearOneAndReadsBackAs100();
    void volume_readsBackAsSet_data();
    void volume_readsBackAsSet();
    void volume_isTold_beforeItIsSet();
    void volume_belowFull_survivesBlocksThatDoNotFit();
    void volume_isOfTheOutputThatIsOpen();
    void mutedFlagAndMutedVolume_areTwoThings();
    void reset_setsFullVolumeAndNothingElse();
};

void TestAudioPlayerVolume::muted_silencesTheSpeaker()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    QVERIFY(TonePump(player, 440.0).playUntilHeard(recorder));
    recorder.clear();

    player.setMuted(true);
    Told told(player);
    qint64 frame = 0;
    QVERIFY(waitFor([&] {
        // Only when there is room, so that nothing but the mute can keep it from the speaker.
        if (player.getAudioOutput()->bytesFree() >= kBlockBytes) {
            const QByteArray block = sinePcm(880.0, kRate, kBlockFrames, 0.5, 1, frame);
            player.play(block.constData(), block.size());
            frame += kBlockFrames;
        }
        return frame >= kRate;
    }));
    QCOMPARE(told.blocks.size(), kRate / kBlockFrames);
    player.setMuted(false);
    QVERIFY(TonePump(player, 1320.0).playUntilHeard(recorder));
    QVERIFY(!hasTone(recorder.pcm(), kRecordedRate, 880.0));
}

void TestAudioPlayerVolume::muted_isInForce_whenItIsTold()
{
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    QAudioOutput *output = player.getAudioOutput();
    QVERIFY(waitFor([&] { return output->bytesFree() >= kBlockBytes; }));
    bool written = true;
    connect(&player, &AudioPlayer::receiveMuted, this, [&] {
        const int free = output->bytesFree();
        player.play(QByteArray(kBlockBytes, '\0').constData(), kBlockBytes);
        written = output->bytesFree() < free;
    });
    player.setMuted(true);
    QVERIFY(!written);
}

void TestAudioPlayerVolume::volume_followsTheLogarithmicScale()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    const double played = 0.5; // amplitude of the pump
    const struct
    {
        int volume;
        double hertz;  // one for each, so that none is taken for another
        double linear; // -ln(1 - volume / 100) / ln 100
    } steps[] = {
        {100, 400.0, 1.0}, {75, 500.0, 0.30103}, {50, 600.0, 0.150515}, {20, 700.0, 0.0484550}};
    for (const auto &step : steps) {
        player.setVolume(step.volume);
        QCOMPARE(player.getAudioOutput()->volume(),
                 QAudio::convertVolume(step.volume / 100.0, QAudio::LogarithmicVolumeScale,
                                       QAudio::LinearVolumeScale));
        TonePump pump(player, step.hertz);
        ToneMeasure heard;
        QVERIFY(waitFor([&] {
            pump.feed();
            heard = bestTone(recorder.last(kHeardLately), kRecordedRate, step.hertz);
            return heard.purity > 0.999;
        }));
        const double ratio = heard.amplitude / played;
        QVERIFY2(std::fabs(ratio / step.linear - 1.0) < 0.03,
                 qPrintable(QString("%1: %2").arg(step.volume).arg(ratio)));
    }
}

void TestAudioPlayerVolume::volume_100_isLinearOneAndReadsBackAs100()
{
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    player.setVolume(30);
    player.setVolume(100);
    QCOMPARE(player.getAudioOutput()->volume(), 1.0);
    QCOMPARE(player.getVolume(), 100);
}

void TestAudioPlayerVolume::volume_readsBackAsSet_data()
{
    QTest::addColumn<int>("volume");
    QTest::addColumn<double>("linear");
    QTest::addColumn<int>("readBack");
    QTest::newRow("below the scale") << -20 << 0.0 << 0;
    QTest::newRow("silent") << 0 << 0.0 << 0;
    QTest::newRow("half") << 50 << 0.150515 << 50;
    QTest::newRow("above the scale") << 300 << 1.0 << 100;
}

void TestAudioPlayerVolume::volume_readsBackAsSet()
{
    QFETCH(int, volume);
    QFETCH(double, linear);
    QFETCH(int, readBack);
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    QSignalSpy told(&player, &AudioPlayer::receiveVolume);
    player.setVolume(volume);
    QCOMPARE(told, QList<QVariantList>({{volume}}));
    QVERIFY(std::fabs(player.getAudioOutput()->volume() - linear) < 1e-6);
    // Cut to an integer, so that a rounding error may cost one.
    QVERIFY(player.getVolume() == readBack || player.getVolume() == readBack - 1);
    QCOMPARE(player.getMuted(), readBack == 0);
}

void TestAudioPlayerVolume::volume_isTold_beforeItIsSet()
{
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    QList<qreal> volumes;
    connect(&player, &AudioPlayer::receiveVolume, this,
            [&] { volumes.append(player.getAudioOutput()->volume()); });
    player.setVolume(0);
    player.setVolume(100);
    QCOMPARE(volumes, QList<qreal>({1.0, 0.0}));
}

void TestAudioPlayerVolume::volume_belowFull_survivesBlocksThatDoNotFit()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    QVERIFY(TonePump(player, 440.0).playUntilHeard(recorder));
    player.setVolume(50);
    // A burst, as a stream begins with: what does not fit is lost, and no more than that.
    const QByteArray burst = sinePcm(440.0, kRate, 10 * kRate);
    player.play(burst.constData(), burst.size());
    const QByteArray block = burst.left(kBlockBytes);
    for (int i = 0; i < 100; ++i)
        player.play(block.constData(), block.size());
    QCOMPARE(player.getAudioOutput()->error(), QAudio::NoError);
    QVERIFY(TonePump(player, 880.0).playUntilHeard(recorder));
}

void TestAudioPlayerVolume::volume_isOfTheOutputThatIsOpen()
{
    AudioPlayer player;
    player.setVolume(0);
    player.openAudioOutput(kRate, 1, 16);
    QCOMPARE(player.getVolume(), 100);
    player.setVolume(0);
    QVERIFY(player.getMuted());
    player.openAudioOutput(kRate, 1, 16);
    QVERIFY(!player.getMuted());
    player.setVolume(0);
    player.closeAudioOutput();
    QCOMPARE(player.getVolume(), 100);
}

void TestAudioPlayerVolume::mutedFlagAndMutedVolume_areTwoThings()
{
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    player.setMuted(true);
    QVERIFY(!player.getMuted());
    QCOMPARE(player.getVolume(), 100);
    player.setMuted(false);
    player.setVolume(0);
    QVERIFY(player.getMuted());
}

void TestAudioPlayerVolume::reset_setsFullVolumeAndNothingElse()
{
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    player.openAudioInput(kRate, 1, 16);
    QAudioOutput *output = player.getAudioOutput();
    QAudioInput *input = player.getAudioInput();
    output->setVolume(0.25);
    input->setVolume(0.25);
    QSignalSpy volume(&player, &AudioPlayer::receiveVolume);

    player.resetAudioOutput();
    QCOMPARE(output->volume(), 1.0);
    QCOMPARE(input->volume(), 0.25);
    player.resetAudioInput();
    QCOMPARE(input->volume(), 1.0);
    QCOMPARE(player.getAudioOutput(), output);
    QCOMPARE(player.getAudioInput(), input);
    QVERIFY(player.isPlaying());
    QVERIFY(volume.isEmpty());
}

QTEST_GUILESS_MAIN(TestAudioPlayerVolume)
#include "tst_audioplayervolume.moc"
