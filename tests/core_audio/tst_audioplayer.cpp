// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/audioplayer.h"

#include "support/logcapture.h"
#include "support/privatepulse.h"
#include "support/tone.h"
#include "support/waitfor.h"

#include <QAudioInput>
#include <QAudioOutput>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

#include <cmath>
#include <limits>

using namespace vantratest;

namespace {

constexpr int kRate = 8000; ///< Hz, mono, 16 bits: the form of a camera
constexpr int kBlockFrames = 160;
constexpr int kBlockBytes = kBlockFrames * 2;
constexpr int kRecordedRate = SinkRecorder::kSampleRate;
constexpr int kHeardLately = 200; ///< milliseconds

/// Keeps an open player busy with a sine that does not break off.
class TonePump
{
public:
    TonePump(AudioPlayer &player, double hertz) : player(player), hertz(hertz) {}

    void feed()
    {
        while (player.getAudioOutput()->bytesFree() >= kBlockBytes) {
            const QByteArray block = sinePcm(hertz, kRate, kBlockFrames, 0.5, 1, frame);
            player.play(block.constData(), block.size());
            frame += kBlockFrames;
        }
    }

    /// Plays until the recorder hears the tone.
    bool playUntilHeard(SinkRecorder &recorder)
    {
        return waitFor([&] {
            feed();
            return hasTone(recorder.last(kHeardLately), kRecordedRate, hertz);
        });
    }

    qint64 framesPlayed() const { return frame; }

private:
    AudioPlayer &player;
    double hertz;
    qint64 frame = 0;
};

/// What a listener of the player is told.
struct Told
{
    explicit Told(AudioPlayer &player)
    {
        QObject::connect(&player, &AudioPlayer::receiveOutputData, &context,
                         [this](const char *data, int len) {
                             if (data && len > 0)
                                 blocks.append(QByteArray(data, len));
                             lengths.append(len);
                         });
        QObject::connect(&player, &AudioPlayer::receiveLevel, &context,
                         [this](double level) { levels.append(level); });
    }
    QObject context;
    QList<QByteArray> blocks;
    QList<int> lengths;
    QList<double> levels;
};

QStringList methodsOf(const QMetaObject &meta, QMetaMethod::MethodType type)
{
    QStringList found;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == type)
            found << QString::fromLatin1(meta.method(i).methodSignature());
    }
    return found;
}

const QByteArray kHalf = QByteArray::fromHex("00400040"); ///< two samples of half of full scale
constexpr double kHalfLevel = 16384.0 / 32767.0;

} // namespace

/// The player against a real sound server: what it plays is recorded from the sink.
class TestAudioPlayer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void signalsAndSlots_standInOrder();
    void player_isClosedAndQuiet_afterConstruction();
    void controls_answerForClosedSides_withoutDevices();
    void devices_areListedTwice_afterClearing();

    void play_tellsNobody_beforeOpening();
    void play_reachesTheSpeaker_atItsFrequency();
    void devices_haveTheFormatAskedFor_data();
    void devices_haveTheFormatAskedFor();
    void namedDevices_haveTheFormatAskedFor();
    void output_opensOnTheDeviceNamed();
    void output_opensNothing_forUnknownName();
    void output_isReplaced_whenOpenedAgain();
    void output_playsAgain_afterCloseAndOpen();
    void play_stillTellsListeners_afterClose();
    void play_survivesHostileBlocks();
    void play_survivesFormatsThatCannotBe_data();
    void play_survivesFormatsThatCannotBe();
    void play_survivesAListenerThatReopens();
    void listeners_mayDeleteThePlayer_data();
    void listeners_mayDeleteThePlayer();
    void level_isToldOnlyWhenAsked_mutedOrNot();
    void level_followsTheSampleSizeOfTheOutput();

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

    void input_deliversTheMicrophone();
    void input_opensOnTheDeviceNamed();
    void input_opensNothing_forUnknownName();
    void input_isReadAndDropped_whenMuted();
    void input_isReplaced_whenOpenedAgain();
    void input_deliversNothing_afterClose();
    void input_deliversNothing_betweenCloseAndRelease();

    void devices_areReleased_whenDestroyedOpen();

private:
    std::unique_ptr<LogCapture> log;
    PrivatePulse pulse;
};

void TestAudioPlayer::initTestCase()
{
    QVERIFY2(pulse.start(), qPrintable(pulse.log()));
}

void TestAudioPlayer::init()
{
    log = std::make_unique<LogCapture>();
}

void TestAudioPlayer::cleanup()
{
    // Failures of devices are not reported anywhere.
    QVERIFY(log->lines().isEmpty());
    log.reset();
}

void TestAudioPlayer::signalsAndSlots_standInOrder()
{
    const QMetaObject &meta = AudioPlayer::staticMetaObject;
    QCOMPARE(methodsOf(meta, QMetaMethod::Signal),
             QStringList({"receiveInputData(QByteArray)", "receiveOutputData(const char*,int)",
                          "receiveVolume(int)", "receiveMuted(bool)", "receiveLevel(double)"}));
    QCOMPARE(methodsOf(meta, QMetaMethod::Slot),
             QStringList({"readyRead()", "openAudioInput(int,int,int)",
                          "openAudioInput(QString,int,int,int)", "closeAudioInput()",
                          "resetAudioInput()", "openAudioOutput(int,int,int)",
                          "openAudioOutput(QString,int,int,int)", "closeAudioOutput()",
                          "resetAudioOutput()", "play(const char*,int)"}));
}

void TestAudioPlayer::player_isClosedAndQuiet_afterConstruction()
{
    AudioPlayer player;
    QVERIFY(!player.getAudioInput());
    QVERIFY(!player.getAudioOutput());
    QVERIFY(!player.getLevel());
    QVERIFY(!player.isPlaying());
}

void TestAudioPlayer::controls_answerForClosedSides_withoutDevices()
{
    AudioPlayer player;
    QSignalSpy volume(&player, &AudioPlayer::receiveVolume);
    QSignalSpy muted(&player, &AudioPlayer::receiveMuted);
    QSignalSpy input(&player, &AudioPlayer::receiveInputData);
    player.setVolume(30);
    player.setMuted(true);
    player.setMuted(false);
    player.setLevel(true);
    player.resetAudioInput();
    player.resetAudioOutput();
    player.closeAudioInput();
    player.closeAudioOutput();
    QVERIFY(QMetaObject::invokeMethod(&player, "readyRead"));

    QCOMPARE(volume, QList<QVariantList>({{30}}));
    QCOMPARE(muted, QList<QVariantList>({{true}, {false}}));
    QVERIFY(input.isEmpty());
    QVERIFY(player.getLevel());
    // Nothing is open that could have taken the volume.
    QCOMPARE(player.getVolume(), 100);
    QVERIFY(!player.getMuted());
}

void TestAudioPlayer::devices_areListedTwice_afterClearing()
{
    QStringList names{"left over"};
    QStringList names2{"left", "over"};
    AudioPlayer::getAudioDevices(names, names2, false);
    QCOMPARE(names, names2);
    QVERIFY(names.contains(PrivatePulse::kSpeaker));
    QVERIFY(names.contains(PrivatePulse::kSpare));
    QVERIFY(!names.contains(PrivatePulse::kMicrophone));
    QVERIFY(!names.contains("left over"));

    AudioPlayer::getAudioDevices(names, names2, true);
    QCOMPARE(names, names2);
    QVERIFY(names.contains(PrivatePulse::kMicrophone));
    QVERIFY(!names.contains(PrivatePulse::kSpeaker));
}

void TestAudioPlayer::play_tellsNobody_beforeOpening()
{
    AudioPlayer player;
    player.setLevel(true);
    Told told(player);
    player.play(kHalf.constData(), kHalf.size());
    QVERIFY(told.lengths.isEmpty());
    QVERIFY(told.levels.isEmpty());
}

void TestAudioPlayer::play_reachesTheSpeaker_atItsFrequency()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    QVERIFY(player.isPlaying());
    TonePump pump(player, 440.0);
    QVERIFY(pump.playUntilHeard(recorder));
    QVERIFY(player.isPlaying());

    const QByteArray heard = recorder.last(kHeardLately / 2);
    const double hertz = zeroCrossingHertz(heard, kRecordedRate);
    QVERIFY2(std::fabs(hertz - 440.0) < 5.0, qPrintable(QString::number(hertz)));
    player.closeAudioOutput();
    QVERIFY(!player.isPlaying());
    QVERIFY(!player.getAudioOutput());
}

void TestAudioPlayer::devices_haveTheFormatAskedFor_data()
{
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("channelCount");
    QTest::addColumn<int>("sampleSize");
    QTest::addColumn<QAudioFormat::SampleType>("sampleType");
    QTest::newRow("8 bit") << 8000 << 1 << 8 << QAudioFormat::UnSignedInt;
    QTest::newRow("16 bit") << 8000 << 1 << 16 << QAudioFormat::SignedInt;
    QTest::newRow("16 bit stereo") << 44100 << 2 << 16 << QAudioFormat::SignedInt;
    QTest::newRow("24 bit") << 48000 << 2 << 24 << QAudioFormat::SignedInt;
    QTest::newRow("32 bit") << 16000 << 1 << 32 << QAudioFormat::SignedInt;
}

void TestAudioPlayer::devices_haveTheFormatAskedFor()
{
    QFETCH(int, sampleRate);
    QFETCH(int, channelCount);
    QFETCH(int, sampleSize);
    QFETCH(QAudioFormat::SampleType, sampleType);
    const QAudioFormat expected = [&] {
        QAudioFormat format;
        format.setSampleRate(sampleRate);
        format.setChannelCount(channelCount);
        format.setSampleSize(sampleSize);
        format.setCodec("audio/pcm");
        format.setSampleType(sampleType);
        format.setByteOrder(QAudioFormat::LittleEndian);
        return format;
    }();
    AudioPlayer player;
    player.openAudioOutput(sampleRate, channelCount, sampleSize);
    QCOMPARE(player.getAudioOutput()->format(), expected);
    QVERIFY(!player.getAudioOutput()->parent());
    player.openAudioInput(sampleRate, channelCount, sampleSize);
    QCOMPARE(player.getAudioInput()->format(), expected);
}

void TestAudioPlayer::namedDevices_haveTheFormatAskedFor()
{
    AudioPlayer player;
    player.openAudioOutput(PrivatePulse::kSpare, 11025, 2, 8);
    player.openAudioInput(PrivatePulse::kMicrophone, 11025, 2, 8);
    QCOMPARE(player.getAudioInput()->parent(), &player);
    QVERIFY(!player.getAudioOutput()->parent());
    for (const QAudioFormat &format :
         {player.getAudioOutput()->format(), player.getAudioInput()->format()}) {
        QCOMPARE(format.sampleRate(), 11025);
        QCOMPARE(format.channelCount(), 2);
        QCOMPARE(format.sampleSize(), 8);
        QCOMPARE(format.codec(), QString("audio/pcm"));
        QCOMPARE(format.sampleType(), QAudioFormat::UnSignedInt);
        QCOMPARE(format.byteOrder(), QAudioFormat::LittleEndian);
    }
}

void TestAudioPlayer::output_opensOnTheDeviceNamed()
{
    SinkRecorder speaker;
    SinkRecorder spare(PrivatePulse::kSpare);
    QVERIFY(speaker.waitUntilRunning());
    QVERIFY(spare.waitUntilRunning());
    AudioPlayer player;
    player.openAudioOutput(PrivatePulse::kSpare, kRate, 1, 16);
    QVERIFY(TonePump(player, 500.0).playUntilHeard(spare));
    // An empty name is the default device.
    player.openAudioOutput(QString(), kRate, 1, 16);
    QVERIFY(TonePump(player, 700.0).playUntilHeard(speaker));
    QVERIFY(!hasTone(speaker.pcm(), kRecordedRate, 500.0));
    QVERIFY(!hasTone(spare.pcm(), kRecordedRate, 700.0));
}

void TestAudioPlayer::output_opensNothing_forUnknownName()
{
    AudioPlayer player;
    player.setLevel(true);
    Told told(player);
    QTest::ignoreMessage(QtWarningMsg, "using null output device, none available");
    player.openAudioOutput("no such device", kRate, 1, 16);
    QVERIFY(player.getAudioOutput());
    QVERIFY(!player.isPlaying());
    player.play(kHalf.constData(), kHalf.size());
    QVERIFY(told.lengths.isEmpty());
    QVERIFY(told.levels.isEmpty());
}

void TestAudioPlayer::output_isReplaced_whenOpenedAgain()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    const QPointer<QAudioOutput> first = player.getAudioOutput();
    player.openAudioOutput(kRate, 1, 16);
    QVERIFY(player.getAudioOutput());
    QVERIFY(player.getAudioOutput() != first);
    QVERIFY(waitFor([&] { return first.isNull(); }));
    QVERIFY(TonePump(player, 600.0).playUntilHeard(recorder));
}

void TestAudioPlayer::output_playsAgain_afterCloseAndOpen()
{
    SinkRecorder recorder;
    QVERIFY(recorder.waitUntilRunning());
    AudioPlayer player;
    for (const double hertz : {450.0, 650.0, 850.0}) {
        player.openAudioOutput(kRate, 1, 16);
        QVERIFY(TonePump(player, hertz).playUntilHeard(recorder));
        player.closeAudioOutput();
    }
}

void TestAudioPlayer::play_stillTellsListeners_afterClose()
{
    // Intended: between a close and the next open, listeners go on being told, and the block goes
    // nowhere, whether the device is already gone or not.
    AudioPlayer player;
    player.setLevel(true);
    player.openAudioOutput(kRate, 1, 16);
    const QPointer<QAudioOutput> output = player.getAudioOutput();
    Told told(player);
    player.closeAudioOutput();
    player.play(kHalf.constData(), kHalf.size());
    QVERIFY(waitFor([&] { return output.isNull(); }));
    player.play(kHalf.constData(), kHalf.size());
    QCOMPARE(told.blocks, QList<QByteArray>({kHalf, kHalf}));
    QCOMPARE(told.levels, QList<double>({kHalfLevel, kHalfLevel}));
}

void TestAudioPlayer::play_survivesHostileBlocks()
{
    AudioPlayer player;
    player.setLevel(true);
    player.openAudioOutput(kRate, 2, 16);
    Told told(player);
    const QByteArray odd(7, '\x10');
    player.play(nullptr, 0);
    player.play(nullptr, 4096);
    player.play(odd.constData(), 0);
    player.play(odd.constData(), -1);
    player.play(odd.constData(), std::numeric_limits<int>::min());
    player.play(odd.constData(), 3);
    player.play(odd.constData() + 1, 6);
    QCOMPARE(told.lengths, QList<int>({0, 4096, 0, -1, std::numeric_limits<int>::min(), 3, 6}));
    const double level = 0x1010 / 32767.0;
    QCOMPARE(told.levels, QList<double>({0.0, 0.0, 0.0, 0.0, 0.0, 0.0, level}));

    // None of them has harmed the connection to the server: later outputs still open and play.
    SinkRecorder recorder;
    player.openAudioOutput(kRate, 1, 16);
    QVERIFY(TonePump(player, 550.0).playUntilHeard(recorder));
}

void TestAudioPlayer::play_survivesFormatsThatCannotBe_data()
{
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("channelCount");
    QTest::addColumn<int>("sampleSize");
    QTest::newRow("nothing") << 0 << 0 << 0;
    QTest::newRow("no rate") << 0 << 1 << 16;
    QTest::newRow("no channels") << kRate << 0 << 16;
    QTest::newRow("no bits") << kRate << 1 << 0;
    QTest::newRow("four bits") << kRate << 1 << 4;
    QTest::newRow("negative") << -8000 << -1 << -16;
    QTest::newRow("too many channels") << kRate << 1000000 << 16;
    QTest::newRow("too fast") << std::numeric_limits<int>::max() << 1 << 16;
    QTest::newRow("64 bits") << kRate << 1 << 64;
}

void TestAudioPlayer::play_survivesFormatsThatCannotBe()
{
    QFETCH(int, sampleRate);
    QFETCH(int, channelCount);
    QFETCH(int, sampleSize);
    AudioPlayer player;
    player.setLevel(true);
    Told told(player);
    player.openAudioOutput(sampleRate, channelCount, sampleSize);
    player.openAudioInput(sampleRate, channelCount, sampleSize);
    const QByteArray block(64, '\x7f');
    player.play(block.constData(), block.size());
    QCOMPARE(told.levels.size(), told.lengths.size());
    for (const double level : qAsConst(told.levels))
        QCOMPARE(level, 0.0);
    player.closeAudioInput();
    player.closeAudioOutput();
}

void TestAudioPlayer::play_survivesAListenerThatReopens()
{
    AudioPlayer player;
    player.setLevel(true);
    player.openAudioOutput(kRate, 1, 16);
    QList<double> levels;
    connect(&player, &AudioPlayer::receiveLevel, this, [&](double level) { levels.append(level); });
    connect(&player, &AudioPlayer::receiveOutputData, this, [&] {
        player.closeAudioOutput();
        player.openAudioOutput(kRate, 1, 8);
    });
    player.play(kHalf.constData(), kHalf.size());
    // Measured in the format that is open now: 0x40 of 255.
    QCOMPARE(levels, QList<double>({64.0 / 255.0 - 0.5}));
}

void TestAudioPlayer::listeners_mayDeleteThePlayer_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("of a block") << 0;
    QTest::newRow("of a level") << 1;
    QTest::newRow("of the volume") << 2;
    QTest::newRow("of the mute") << 3;
}

void TestAudioPlayer::listeners_mayDeleteThePlayer()
{
    QFETCH(int, signal);
    const QPointer<AudioPlayer> player = new AudioPlayer;
    player->setLevel(true);
    player->openAudioOutput(kRate, 1, 16);
    const auto end = [player] { delete player.data(); };
    switch (signal) {
    case 0:
        connect(player.data(), &AudioPlayer::receiveOutputData, this, end);
        break;
    case 1:
        connect(player.data(), &AudioPlayer::receiveLevel, this, end);
        break;
    case 2:
        connect(player.data(), &AudioPlayer::receiveVolume, this, end);
        player->setVolume(50);
        break;
    default:
        connect(player.data(), &AudioPlayer::receiveMuted, this, end);
        player->setMuted(true);
        break;
    }
    if (player)
        player->play(kHalf.constData(), kHalf.size());
    QVERIFY(player.isNull());
}

void TestAudioPlayer::level_isToldOnlyWhenAsked_mutedOrNot()
{
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    Told told(player);
    player.play(kHalf.constData(), kHalf.size());
    QVERIFY(told.levels.isEmpty());
    player.setLevel(true);
    player.play(kHalf.constData(), kHalf.size());
    player.setMuted(true);
    player.play(kHalf.constData(), kHalf.size());
    QCOMPARE(told.levels, QList<double>({kHalfLevel, kHalfLevel}));
    player.setLevel(false);
    player.play(kHalf.constData(), kHalf.size());
    QCOMPARE(told.levels.size(), 2);
    QCOMPARE(told.blocks, QList<QByteArray>({kHalf, kHalf, kHalf, kHalf}));
}

void TestAudioPlayer::level_followsTheSampleSizeOfTheOutput()
{
    AudioPlayer player;
    player.setLevel(true);
    Told told(player);
    const QByteArray centre(160, char(128));
    player.openAudioOutput(kRate, 1, 8);
    player.play(centre.constData(), centre.size());
    QCOMPARE(told.levels.size(), 1);
    QVERIFY(std::fabs(told.levels.first() - 0.0019607843) < 1e-9);

    player.openAudioOutput(kRate, 2, 16);
    player.play(kHalf.constData(), 2); // half of a stereo frame
    player.play(kHalf.constData(), 4);
    player.openAudioOutput(kRate, 1, 32);
    player.play(kHalf.constData(), 4);
    QCOMPARE(told.levels.mid(1), QList<double>({0.0, kHalfLevel, 0x40004000 / 2147483647.0}));
}

void TestAudioPlayer::muted_silencesTheSpeaker()
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

void TestAudioPlayer::muted_isInForce_whenItIsTold()
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

void TestAudioPlayer::volume_followsTheLogarithmicScale()
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

void TestAudioPlayer::volume_100_isLinearOneAndReadsBackAs100()
{
    AudioPlayer player;
    player.openAudioOutput(kRate, 1, 16);
    player.setVolume(30);
    player.setVolume(100);
    QCOMPARE(player.getAudioOutput()->volume(), 1.0);
    QCOMPARE(player.getVolume(), 100);
}

void TestAudioPlayer::volume_readsBackAsSet_data()
{
    QTest::addColumn<int>("volume");
    QTest::addColumn<double>("linear");
    QTest::addColumn<int>("readBack");
    QTest::newRow("below the scale") << -20 << 0.0 << 0;
    QTest::newRow("silent") << 0 << 0.0 << 0;
    QTest::newRow("half") << 50 << 0.150515 << 50;
    QTest::newRow("above the scale") << 300 << 1.0 << 100;
}

void TestAudioPlayer::volume_readsBackAsSet()
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

void TestAudioPlayer::volume_isTold_beforeItIsSet()
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

void TestAudioPlayer::volume_belowFull_survivesBlocksThatDoNotFit()
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

void TestAudioPlayer::volume_isOfTheOutputThatIsOpen()
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

void TestAudioPlayer::mutedFlagAndMutedVolume_areTwoThings()
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

void TestAudioPlayer::reset_setsFullVolumeAndNothingElse()
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

void TestAudioPlayer::input_deliversTheMicrophone()
{
    AudioPlayer player;
    QByteArray heard;
    connect(&player, &AudioPlayer::receiveInputData, this,
            [&](const QByteArray &data) { heard += data; });
    player.openAudioInput(kRate, 1, 16);
    QVERIFY(waitFor(
        [&] { return hasTone(heard.right(kRate), kRate, PrivatePulse::kMicrophoneHertz); }));
    QVERIFY(player.getAudioInput());
    QCOMPARE(player.getAudioInput()->parent(), &player);
}

void TestAudioPlayer::input_opensOnTheDeviceNamed()
{
    // The monitor of a sink hears what is played there, the default microphone does not.
    AudioPlayer speaker;
    speaker.openAudioOutput(PrivatePulse::kSpare, kRate, 1, 16);
    TonePump pump(speaker, 440.0);
    AudioPlayer player;
    QByteArray heard;
    connect(&player, &AudioPlayer::receiveInputData, this,
            [&](const QByteArray &data) { heard += data; });
    player.openAudioInput(QString(PrivatePulse::kSpare) + ".monitor", kRate, 1, 16);
    QVERIFY(waitFor([&] {
        pump.feed();
        return hasTone(heard.right(kRate), kRate, 440.0);
    }));
    QVERIFY(!hasTone(heard, kRate, PrivatePulse::kMicrophoneHertz));
}

void TestAudioPlayer::input_opensNothing_forUnknownName()
{
    AudioPlayer player;
    QSignalSpy told(&player, &AudioPlayer::receiveInputData);
    QTest::ignoreMessage(QtWarningMsg, "using null input device, none available");
    player.openAudioInput("no such device", kRate, 1, 16);
    QVERIFY(player.getAudioInput());
    QCOMPARE(player.getAudioInput()->state(), QAudio::StoppedState);
    QVERIFY(QMetaObject::invokeMethod(&player, "readyRead"));
    QVERIFY(told.isEmpty());
    player.closeAudioInput();
    QVERIFY(!player.getAudioInput());
}

void TestAudioPlayer::input_isReadAndDropped_whenMuted()
{
    AudioPlayer player;
    QList<int> sizes;
    connect(&player, &AudioPlayer::receiveInputData, this,
            [&](const QByteArray &data) { sizes.append(data.size()); });
    player.setMuted(true);
    player.openAudioInput(kRate, 1, 16);
    constexpr qint64 kRead = 500000; // microseconds
    QVERIFY(waitFor([&] { return player.getAudioInput()->processedUSecs() > kRead; }));
    QVERIFY(sizes.isEmpty());
    player.setMuted(false);
    QVERIFY(waitFor([&] { return !sizes.isEmpty() && sizes.last() > 0; }));
    // What came while muted has not piled up: it would be half a second, 8000 bytes.
    QVERIFY(sizes.first() < 8000);
}

void TestAudioPlayer::input_isReplaced_whenOpenedAgain()
{
    AudioPlayer player;
    player.openAudioInput(kRate, 1, 16);
    const QPointer<QAudioInput> first = player.getAudioInput();
    player.openAudioInput(kRate, 1, 16);
    QVERIFY(player.getAudioInput() != first);
    QVERIFY(waitFor([&] { return first.isNull(); }));
    QSignalSpy told(&player, &AudioPlayer::receiveInputData);
    QVERIFY(waitFor([&] { return !told.isEmpty(); }));
}

void TestAudioPlayer::input_deliversNothing_afterClose()
{
    AudioPlayer player;
    QSignalSpy told(&player, &AudioPlayer::receiveInputData);
    player.openAudioInput(kRate, 1, 16);
    QVERIFY(waitFor([&] { return !told.isEmpty(); }));
    const QPointer<QAudioInput> input = player.getAudioInput();
    player.closeAudioInput();
    QVERIFY(!player.getAudioInput());
    told.clear();
    QVERIFY(waitFor([&] { return input.isNull(); }));
    QVERIFY(QMetaObject::invokeMethod(&player, "readyRead"));
    QVERIFY(told.isEmpty());
}

void TestAudioPlayer::input_deliversNothing_betweenCloseAndRelease()
{
    AudioPlayer player;
    QSignalSpy told(&player, &AudioPlayer::receiveInputData);
    player.openAudioInput(kRate, 1, 16);
    QVERIFY(waitFor([&] { return !told.isEmpty(); }));
    const QPointer<QAudioInput> input = player.getAudioInput();
    player.closeAudioInput();
    told.clear();
    // No deferred deletion here: the closed device goes on capturing, and nobody reads it.
    constexpr int kPiledUp = 4000; // bytes: a quarter of a second
    const QDeadlineTimer deadline(20000);
    while (input && input->bytesReady() < kPiledUp && told.isEmpty() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    QVERIFY(input);
    QCOMPARE(told.size(), 0);
    QVERIFY(input->bytesReady() >= kPiledUp);
}

void TestAudioPlayer::devices_areReleased_whenDestroyedOpen()
{
    QPointer<QAudioOutput> output;
    QPointer<QAudioInput> input;
    {
        AudioPlayer player;
        player.openAudioOutput(kRate, 1, 16);
        player.openAudioInput(kRate, 1, 16);
        output = player.getAudioOutput();
        input = player.getAudioInput();
        QVERIFY(output && input);
    }
    QVERIFY(output.isNull());
    QVERIFY(input.isNull());
}

QTEST_GUILESS_MAIN(TestAudioPlayer)
#include "tst_audioplayer.moc"
