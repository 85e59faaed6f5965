// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "playertest.h"

#include <QDeadlineTimer>
#include <QSignalSpy>

using namespace vantratest;

/// The microphone of the player.
class TestAudioPlayerInput : public PlayerTest
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(pulse.start(), qPrintable(pulse.log())); }

    void input_deliversTheMicrophone();
    void input_isRead_wheneverItIsTold();
    void input_opensOnTheDeviceNamed();
    void input_opensNothing_forUnknownName();
    void input_isReadAndDropped_whenMuted();
    void input_isReplaced_whenOpenedAgain();
    void input_deliversNothing_afterClose();
    void input_deliversNothing_betweenCloseAndRelease();
    void input_comesInBlocksOfTheSizeAsked();
    void input_keepsNoRest_overACloseOrAMute();
    void input_mayBeClosed_inTheMiddleOfItsBlocks();
};

void TestAudioPlayerInput::input_deliversTheMicrophone()
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

void TestAudioPlayerInput::input_isRead_wheneverItIsTold()
{
    AudioPlayer player;
    QByteArray heard;
    connect(&player, &AudioPlayer::receiveInputData, this,
            [&](const QByteArray &data) { heard += data; });
    player.openAudioInput(kRate, 1, 16);
    QVERIFY(waitFor([&] { return !heard.isEmpty(); }));
    // The input's own clock stands still; what has come is read all the same.
    for (int i = 0; i < 3; ++i) {
        heard.clear();
        for (QDeadlineTimer limit(20000); heard.isEmpty() && !limit.hasExpired();) {
            QThread::msleep(20);
            QVERIFY(QMetaObject::invokeMethod(&player, "readyRead"));
        }
        QVERIFY(!heard.isEmpty());
    }
}

void TestAudioPlayerInput::input_opensOnTheDeviceNamed()
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

void TestAudioPlayerInput::input_opensNothing_forUnknownName()
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

void TestAudioPlayerInput::input_isReadAndDropped_whenMuted()
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

void TestAudioPlayerInput::input_isReplaced_whenOpenedAgain()
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

void TestAudioPlayerInput::input_deliversNothing_afterClose()
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

void TestAudioPlayerInput::input_deliversNothing_betweenCloseAndRelease()
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

void TestAudioPlayerInput::input_comesInBlocksOfTheSizeAsked()
{
    constexpr int kAsked = 640; // bytes
    AudioPlayer player;
    QByteArray heard;
    QSet<int> sizes;
    connect(&player, &AudioPlayer::receiveInputData, this, [&](const QByteArray &data) {
        sizes.insert(data.size());
        heard += data;
    });
    player.setInputBlockSize(kAsked);
    player.openAudioInput(kRate, 1, 16);
    QCOMPARE(player.getAudioInput()->bufferSize(), kAsked);
    QVERIFY(waitFor([&] { return heard.size() >= 2 * kRate * 2; }));
    QCOMPARE(sizes, QSet<int>({kAsked}));
    QVERIFY(hasTone(heard, kRate, PrivatePulse::kMicrophoneHertz));
    // And as the platform likes again.
    player.setInputBlockSize(0);
    player.openAudioInput(kRate, 1, 16);
    sizes.clear();
    QVERIFY(waitFor([&] { return !sizes.isEmpty(); }));
    QVERIFY(!sizes.contains(kAsked));
}

void TestAudioPlayerInput::input_keepsNoRest_overACloseOrAMute()
{
    constexpr int kLong = 16000; // bytes: a second, so that most of it has come before the silence
    for (const bool closing : {true, false}) {
        AudioPlayer player;
        QList<qint64> blocks; // microseconds captured when each came
        connect(&player, &AudioPlayer::receiveInputData, this,
                [&] { blocks.append(player.getAudioInput()->processedUSecs()); });
        player.setInputBlockSize(kLong);
        player.openAudioInput(kRate, 1, 16);
        constexpr qint64 kHalf = 500000; // microseconds
        QVERIFY(waitFor([&] { return player.getAudioInput()->processedUSecs() > kHalf; }));
        QVERIFY(blocks.isEmpty());
        qint64 from = 0;
        if (closing) {
            player.openAudioInput(kRate, 1, 16);
        } else {
            player.setMuted(true);
            from = player.getAudioInput()->processedUSecs();
            QVERIFY(QMetaObject::invokeMethod(&player, "readyRead"));
            player.setMuted(false);
        }
        QVERIFY(waitFor([&] { return !blocks.isEmpty(); }));
        QVERIFY(blocks.first() - from >= 1000000);
    }
}

void TestAudioPlayerInput::input_mayBeClosed_inTheMiddleOfItsBlocks()
{
    AudioPlayer player;
    int blocks = 0;
    connect(&player, &AudioPlayer::receiveInputData, this, [&] {
        ++blocks;
        player.closeAudioInput();
    });
    player.setInputBlockSize(2); // many in one read
    player.openAudioInput(kRate, 1, 16);
    QVERIFY(waitFor([&] { return blocks > 0; }));
    QCOMPARE(blocks, 1);
}

QTEST_GUILESS_MAIN(TestAudioPlayerInput)
#include "tst_audioplayerinput.moc"
