// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playertest.h"
#include "support/metaobject.h"

#include <QCoreApplication>
#include <QSignalSpy>

#include <cmath>
#include <limits>

using namespace vantratest;

namespace {

const QByteArray kHalf = QByteArray::fromHex("00400040"); ///< two samples of half of full scale
constexpr double kHalfLevel = 16384.0 / 32767.0;

} // namespace

/// The player as such, and its output.
class TestAudioPlayer : public PlayerTest
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(pulse.start(), qPrintable(pulse.log())); }

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

    void devices_areReleased_whenDestroyedOpen();
};

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
