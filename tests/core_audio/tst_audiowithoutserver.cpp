// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_audio/audioplayer.h"
#include "core_audio/audiothread.h"
#include "support/loggedtest.h"
#include "support/privatepulse.h"
#include "support/waitfor.h"

#include <QAudioInput>
#include <QAudioOutput>
#include <QSignalSpy>
#include <QTest>

using namespace vantratest;

/// A machine without a sound server: everything is refused in silence, and nothing hangs.
class TestAudioWithoutServer : public LoggedTest
{
    Q_OBJECT

private slots:
    void initTestCase() { useNoSoundServer(); }

    void output_isDeadAndQuiet();
    void input_isDeadAndQuiet();
    void controls_keepAnswering();
    void thread_startsTakesSoundAndStops();
};

void TestAudioWithoutServer::output_isDeadAndQuiet()
{
    AudioPlayer player;
    player.setLevel(true);
    int told = 0;
    connect(&player, &AudioPlayer::receiveOutputData, this, [&] { ++told; });
    connect(&player, &AudioPlayer::receiveLevel, this, [&] { ++told; });
    const QByteArray block(320, '\x40');
    for (int i = 0; i < 3; ++i) {
        player.openAudioOutput(8000, 1, 16);
        QVERIFY(player.getAudioOutput());
        QVERIFY(!player.isPlaying());
        player.play(block.constData(), block.size());
    }
    player.closeAudioOutput();
    player.play(block.constData(), block.size());
    QCOMPARE(told, 0);
}

void TestAudioWithoutServer::input_isDeadAndQuiet()
{
    AudioPlayer player;
    QSignalSpy blocks(&player, &AudioPlayer::receiveInputData);
    player.openAudioInput(8000, 1, 16);
    QVERIFY(player.getAudioInput());
    QCOMPARE(player.getAudioInput()->state(), QAudio::StoppedState);
    QVERIFY(QMetaObject::invokeMethod(&player, "readyRead"));
    player.resetAudioInput();
    player.closeAudioInput();
    QVERIFY(!player.getAudioInput());
    QVERIFY(blocks.isEmpty());
}

void TestAudioWithoutServer::controls_keepAnswering()
{
    AudioPlayer player;
    QSignalSpy volume(&player, &AudioPlayer::receiveVolume);
    player.openAudioOutput(8000, 1, 16);
    player.setVolume(50);
    QCOMPARE(volume, QList<QVariantList>({{50}}));
    const int answer = player.getVolume();
    QVERIFY(answer >= 0 && answer <= 100);
    player.resetAudioOutput();
    player.setMuted(true);
    QVERIFY(!player.isPlaying());
}

void TestAudioWithoutServer::thread_startsTakesSoundAndStops()
{
    AudioThread audio;
    for (int round = 0; round < 3; ++round) {
        audio.startThread();
        for (const char *slot : {"openAudioOutput", "openAudioInput"}) {
            QVERIFY(QMetaObject::invokeMethod(&audio, slot, Qt::QueuedConnection, Q_ARG(int, 8000),
                                              Q_ARG(int, 1), Q_ARG(int, 16)));
        }
        for (int block = 0; block < 100; ++block) {
            QVERIFY(QMetaObject::invokeMethod(&audio, "play", Qt::QueuedConnection,
                                              Q_ARG(QByteArray, QByteArray(320, '\x10'))));
        }
        QVERIFY(waitFor([&] {
            audio.setCalcLevel(true);
            return audio.getLevel();
        }));
        audio.stopThread();
        QVERIFY(!audio.getLevel());
    }
}

QTEST_GUILESS_MAIN(TestAudioWithoutServer)
#include "tst_audiowithoutserver.moc"
